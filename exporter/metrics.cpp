// SPDX-License-Identifier: Apache-2.0
// Samples from the JSON document and the exposition text.
#include "metrics.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace fexporter {

namespace {

using fdump::json;

constexpr family_def kFamilies[] = {
    {family::module_present, "fiberdecode_module_present", "gauge",
     "1 when the last read of the port found a module, 0 when it found none or failed."},
    {family::module_info, "fiberdecode_module_info", "gauge",
     "Identification of the module in the port (value 1)."},
    {family::temperature_celsius, "fiberdecode_temperature_celsius", "gauge",
     "Module temperature in degrees Celsius, at the module's 1/256 degree resolution."},
    {family::supply_voltage_volts, "fiberdecode_supply_voltage_volts", "gauge", "Module supply voltage in volts."},
    {family::tx_bias_amperes, "fiberdecode_tx_bias_amperes", "gauge",
     "Laser bias current per lane in amperes (CMIS: times the module's bias multiplier)."},
    {family::tx_power_dbm, "fiberdecode_tx_power_dbm", "gauge",
     "Transmitted optical power per lane in dBm; -Inf for no light (0 W)."},
    {family::rx_power_dbm, "fiberdecode_rx_power_dbm", "gauge",
     "Received optical power per lane in dBm (average or OMA as the module measures it); -Inf for no light (0 W)."},
    {family::temperature_threshold_celsius, "fiberdecode_temperature_threshold_celsius", "gauge",
     "Module temperature alarm and warning thresholds in degrees Celsius."},
    {family::supply_voltage_threshold_volts, "fiberdecode_supply_voltage_threshold_volts", "gauge",
     "Supply voltage alarm and warning thresholds in volts."},
    {family::tx_bias_threshold_amperes, "fiberdecode_tx_bias_threshold_amperes", "gauge",
     "Laser bias alarm and warning thresholds in amperes."},
    {family::tx_power_threshold_dbm, "fiberdecode_tx_power_threshold_dbm", "gauge",
     "Transmitted optical power alarm and warning thresholds in dBm."},
    {family::rx_power_threshold_dbm, "fiberdecode_rx_power_threshold_dbm", "gauge",
     "Received optical power alarm and warning thresholds in dBm."},
    {family::alarm_active, "fiberdecode_alarm_active", "gauge",
     "1 for each alarm, warning or fault the module raises; id and text from the alarm catalogue."},
    {family::module_state, "fiberdecode_module_state", "gauge",
     "CMIS module state (value 1; the state's name in the state label)."},
    {family::datapath_state, "fiberdecode_datapath_state", "gauge",
     "CMIS data-path state per host lane (value 1; the state's name in the state label)."},
    {family::read_errors_total, "fiberdecode_read_errors_total", "counter",
     "Reads of the port that failed (source unreadable, image truncated or not a module, read timed out) since the exporter started; a missing source counts as no module, not as an error."},
    {family::last_read_success_timestamp_seconds, "fiberdecode_last_read_success_timestamp_seconds", "gauge",
     "Time of the last read that found and decoded a module, in seconds since the epoch."},
    {family::read_duration_seconds, "fiberdecode_read_duration_seconds", "gauge",
     "How long the last read of the port took, in seconds."},
    {family::exporter_build_info, "fiberdecode_exporter_build_info", "gauge",
     "Version of fiberdecode-exporter (value 1)."},
};
static_assert(std::size(kFamilies) == kFamilyCount);

constexpr const char *kLevels[] = {"high_alarm", "low_alarm", "high_warning", "low_warning"};

// The keys of the readings object and their families.
struct threshold_key {
    const char *key;
    const char *watts_key;  // for powers: the key whose 0 W makes a null dBm -Inf
    family f;
};
constexpr threshold_key kThresholds[] = {
    {"temperature_celsius", nullptr, family::temperature_threshold_celsius},
    {"supply_voltage_volts", nullptr, family::supply_voltage_threshold_volts},
    {"tx_bias_amperes", nullptr, family::tx_bias_threshold_amperes},
    {"tx_power_dbm", "tx_power_watts", family::tx_power_threshold_dbm},
    {"rx_power_dbm", "rx_power_watts", family::rx_power_threshold_dbm},
};

struct lane_key {
    const char *key;
    const char *watts_key;
    family f;
};
constexpr lane_key kLaneKeys[] = {
    {"tx_bias_amperes", nullptr, family::tx_bias_amperes},
    {"tx_power_dbm", "tx_power_watts", family::tx_power_dbm},
    {"rx_power_dbm", "rx_power_watts", family::rx_power_dbm},
};

const json &member(const json &object, const char *key) {
    static const json null_value;
    if (!object.is_object()) return null_value;
    auto it = object.find(key);
    return it == object.end() ? null_value : *it;
}

std::string text_of(const json &value) { return value.is_string() ? value.get<std::string>() : std::string(); }

// A coded value of the description: {"code": N, "name": "..."} gives its name.
std::string name_of(const json &value) { return value.is_object() ? text_of(member(value, "name")) : text_of(value); }

// CMIS host lanes with a data path: the most host lanes an advertised
// application uses (lower page and page 01h application descriptors), eight
// when the module advertises none.
std::size_t host_lanes(const json &report) {
    const json &applications = member(member(report, "description"), "applications");
    std::size_t lanes = 0;
    if (applications.is_array())
        for (const auto &app : applications) {
            const json &n = member(app, "host_lanes");
            if (n.is_number_unsigned() || n.is_number_integer()) lanes = std::max<std::size_t>(lanes, n.get<std::size_t>());
        }
    return lanes == 0 || lanes > 8 ? 8 : lanes;
}

// A power in dBm: the document's number, or -Inf where the document writes
// null because the power is 0 W (dBm has no value for no light); nothing
// where the power itself is unknown.
std::optional<std::string> dbm_value(const json &dbm, const json &watts) {
    if (auto v = json_value(dbm)) return v;
    if (dbm.is_null() && watts.is_number() && watts.get<double>() == 0.0)
        return format_value(-std::numeric_limits<double>::infinity());
    return std::nullopt;
}

std::optional<std::string> reading(const json &object, const char *key, const char *watts_key) {
    return watts_key ? dbm_value(member(object, key), member(object, watts_key)) : json_value(member(object, key));
}

void add_identification(sample_set &set, const std::string &port, const json &report) {
    const json &normal = member(report, "normal");
    const json &vendor = member(report, "vendor");
    const json &description = member(report, "description");
    const std::string type = text_of(member(normal, "name_prefix")) + text_of(member(normal, "type_name"));
    set.add(family::module_info,
            label_set({{"port", port},
                       {"family", text_of(member(report, "kind"))},
                       {"identifier", name_of(member(description, "identifier"))},
                       {"vendor", text_of(member(vendor, "vendor_name"))},
                       {"part_number", text_of(member(vendor, "vendor_pn"))},
                       {"serial", text_of(member(normal, "serial_number"))},
                       {"revision", text_of(member(vendor, "vendor_rev"))},
                       {"type", type},
                       {"summary", text_of(member(description, "summary"))}}),
            "1");
}

void add_readings(sample_set &set, const std::string &port, const json &readings) {
    if (!readings.is_object()) return;
    if (auto v = json_value(member(readings, "temperature_celsius")))
        set.add(family::temperature_celsius, label_set({{"port", port}}), *v);
    if (auto v = json_value(member(readings, "supply_voltage_volts")))
        set.add(family::supply_voltage_volts, label_set({{"port", port}}), *v);
    const json &lanes = member(readings, "lanes");
    if (lanes.is_array()) {
        for (const auto &lane : lanes) {
            const auto number = json_value(member(lane, "lane"));
            if (!number) continue;
            for (const auto &k : kLaneKeys)
                if (auto v = reading(lane, k.key, k.watts_key))
                    set.add(k.f, label_set({{"port", port}, {"lane", *number}}), *v);
        }
    }
    const json &thresholds = member(readings, "thresholds");
    for (const auto &t : kThresholds) {
        const json &levels = member(thresholds, t.key);
        const json &watts = t.watts_key ? member(thresholds, t.watts_key) : json();
        for (const char *level : kLevels) {
            std::optional<std::string> v = t.watts_key ? dbm_value(member(levels, level), member(watts, level))
                                                       : json_value(member(levels, level));
            if (v) set.add(t.f, label_set({{"port", port}, {"level", level}}), *v);
        }
    }
}

void add_alarms(sample_set &set, const std::string &port, const json &alarm) {
    const json &alarms = member(alarm, "alarms");
    if (!alarms.is_array()) return;
    for (const auto &a : alarms) {
        const auto id = json_value(member(a, "id"));
        if (id) set.add(family::alarm_active, label_set({{"port", port}, {"id", *id}, {"alarm", text_of(member(a, "text"))}}), "1");
    }
}

void add_states(sample_set &set, const std::string &port, const json &report) {
    const json &coremgmt = member(report, "coremgmt");
    if (!coremgmt.is_object()) return;
    const json &module_state = member(coremgmt, "module_state");
    if (module_state.is_string())
        set.add(family::module_state, label_set({{"port", port}, {"state", text_of(module_state)}}), "1");
    const json &lanes = member(coremgmt, "datapath_state");
    if (!lanes.is_array()) return;
    const std::size_t count = std::min(lanes.size(), host_lanes(report));
    for (std::size_t i = 0; i < count; ++i)
        if (lanes[i].is_string())
            set.add(family::datapath_state,
                    label_set({{"port", port}, {"lane", std::to_string(i + 1)}, {"state", text_of(lanes[i])}}), "1");
}

template <class T>
std::string shortest(T value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
    char buf[64];
    auto result = std::to_chars(buf, buf + sizeof buf, value);
    return std::string(buf, result.ptr);
}

}  // namespace

const family_def &definition(family f) { return kFamilies[static_cast<std::size_t>(f)]; }

std::string escape_label_value(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        switch (c) {
            case '\\': out += "\\\\"; break;
            case '"': out += "\\\""; break;
            case '\n': out += "\\n"; break;
            default: out += c;
        }
    }
    return out;
}

std::string module_text(std::string_view value) {
    const auto end = value.find_last_not_of(' ');
    return escape_label_value(end == std::string_view::npos ? std::string_view() : value.substr(0, end + 1));
}

std::string label_set(std::initializer_list<std::pair<const char *, std::string_view>> labels) {
    std::string out;
    for (const auto &[name, value] : labels) {
        if (!out.empty()) out += ',';
        out += name;
        out += "=\"";
        out += module_text(value);
        out += '"';
    }
    return out;
}

std::string format_value(double value) { return shortest(value); }
std::string format_value(float value) { return shortest(value); }

std::optional<std::string> json_value(const json &value) {
    switch (value.type()) {
        case json::value_t::number_float: {
            // The document's own text of the number: of the shortest texts
            // that read back as the float, the one the JSON document shows.
            const float f = value.get<float>();
            return std::isfinite(f) ? value.dump() : format_value(f);
        }
        case json::value_t::number_integer: return std::to_string(value.get<std::int64_t>());
        case json::value_t::number_unsigned: return std::to_string(value.get<std::uint64_t>());
        default: return std::nullopt;
    }
}

sample_set port_samples(const std::string &port, const read_state &state, const json *report) {
    sample_set set;
    const std::string labels = label_set({{"port", port}});
    set.add(family::module_present, labels, state.present ? "1" : "0");
    set.add(family::read_errors_total, labels, format_value(state.errors_total));
    if (state.last_success_unix)
        set.add(family::last_read_success_timestamp_seconds, labels, format_value(*state.last_success_unix));
    if (state.last_duration_seconds)
        set.add(family::read_duration_seconds, labels, format_value(*state.last_duration_seconds));
    if (!report || !report->is_object()) return set;
    add_identification(set, port, *report);
    add_readings(set, port, member(*report, "readings"));
    add_alarms(set, port, member(*report, "alarm"));
    add_states(set, port, *report);
    return set;
}

sample_set exporter_samples(const std::string &version) {
    sample_set set;
    set.add(family::exporter_build_info, label_set({{"version", version}}), "1");
    return set;
}

std::string render(const std::vector<const sample_set *> &sets) {
    std::string out;
    for (const auto &def : kFamilies) {
        bool any = false;
        for (const auto *set : sets) any = any || !set->of(def.id).empty();
        if (!any) continue;
        out += "# HELP ";
        out += def.name;
        out += ' ';
        out += def.help;
        out += "\n# TYPE ";
        out += def.name;
        out += ' ';
        out += def.type;
        out += '\n';
        for (const auto *set : sets) {
            for (const auto &s : set->of(def.id)) {
                out += def.name;
                out += '{';
                out += s.labels;
                out += "} ";
                out += s.value;
                out += '\n';
            }
        }
    }
    return out;
}

}  // namespace fexporter
