// SPDX-License-Identifier: Apache-2.0
// Readings as the module means them: calibrated, multiplied, at full
// resolution and for the module's real lanes (see readings.h).
#include "readings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <utility>

#include "describe.h"

namespace fdump {

namespace {

constexpr unsigned kUpper = 128;  // upper pages are passed from their byte 128

uint16_t word(const uint8_t *p, unsigned offset) { return static_cast<uint16_t>(p[offset] << 8 | p[offset + 1]); }
int16_t signed_word(const uint8_t *p, unsigned offset) { return static_cast<int16_t>(word(p, offset)); }

// A block of module memory addressed by the standard's byte numbers: lower
// pages and SFF-8472 blocks from byte 0, upper pages from byte 128.
struct block_ref {
    const uint8_t *bytes = nullptr;
    unsigned first = 0;  // the byte number of bytes[0]
    explicit operator bool() const { return bytes != nullptr; }
    uint16_t word_at(unsigned n) const { return word(bytes, n - first); }
};

// ---------------------------------------------------------------------------
// Where the words the record does not carry lie, per family. Offsets are
// byte numbers of the block passed (upper pages minus 128 where noted).
// ---------------------------------------------------------------------------

// Measurement words of lane 1; lane L's power words follow at 2 (L - 1).
struct monitor_words {
    unsigned temperature, tx_power, rx_power;
};
constexpr monitor_words kSfpMonitors = {96, 102, 104};   // SFF-8472 A2h bytes 96, 102, 104
constexpr monitor_words kXfpMonitors = {96, 102, 104};   // INF-8077i lower memory bytes 96, 102, 104
constexpr monitor_words kQsfpMonitors = {22, 50, 34};    // SFF-8636 lower page bytes 22, 50-57, 34-41
constexpr unsigned kCmisTemperature = 14;                // CMIS lower page bytes 14-15
constexpr monitor_words kCmisLaneMonitors = {0, 154, 186};  // CMIS page 11h bytes 154-169, 186-201

// Threshold blocks: high alarm, low alarm, high warning, low warning, one
// word each.
struct threshold_words {
    unsigned temperature, tx_power, rx_power;
};
constexpr threshold_words kSfpThresholds = {0, 24, 32};       // SFF-8472 A2h bytes 0-7, 24-31, 32-39
constexpr threshold_words kQsfpThresholds = {128, 192, 176};  // SFF-8636 page 03h bytes 128-135, 192-199, 176-183
constexpr threshold_words kCmisThresholds = {128, 176, 192};  // CMIS page 02h bytes 128-135, 176-183, 192-199

// SFF-8472 A0h byte 92: bit 5 internally calibrated, bit 4 externally
// calibrated; external only with bit 4 set and bit 5 clear.
constexpr unsigned kSfpDiagType = 92;
constexpr uint8_t kCalibrationBits = 0x30, kExternal = 0x10;

// SFF-8472 A2h external calibration constants.
constexpr unsigned kRxPwr4 = 56;     // Rx_PWR(4) .. Rx_PWR(0): IEEE singles at 56, 60, 64, 68, 72
constexpr unsigned kTxISlope = 76;   // Tx_I slope (unsigned 8.8), offset (signed) at 78
constexpr unsigned kTxPwrSlope = 80; // Tx_PWR slope, offset at 82
constexpr unsigned kTSlope = 84;     // T slope, offset at 86
constexpr unsigned kVSlope = 88;     // V slope, offset at 90

// CMIS page 01h byte 160 bits 4-3: Tx bias and its thresholds are to be
// multiplied by 1, 2 or 4; 11b is reserved.
constexpr unsigned kCmisMonitorsByte = 160;
constexpr unsigned kBiasMultiplier[4] = {1, 2, 4, 0};

// CMIS page 11h bytes 206-213: DPConfigLane of host lanes 1-8 in the active
// control set: AppSel bits 7-4 (0: lane unused), DataPathID bits 3-1.
constexpr unsigned kActiveDpConfig = 206;

// Record units to operator units.
constexpr double kVoltsPerCount = 100e-6;   // supply voltage, 100 uV
constexpr double kAmperesPerCount = 2e-6;   // Tx bias, 2 uA
constexpr double kWattsPerCount = 100e-9;   // optical power, 0.1 uW
constexpr double kCountsPerMilliwatt = 10000.0;

// ---------------------------------------------------------------------------
// SFF-8472 external calibration, computed exactly as for the record's
// readings: integers for the linear quantities, single precision for the
// Rx power polynomial rounded to whole counts.
// ---------------------------------------------------------------------------
struct sfp_calibration {
    const uint8_t *a2 = nullptr;  // null: internally calibrated
    // offset + slope x reading / 256 for an unsigned reading.
    int64_t linear(unsigned slope_byte, uint16_t reading) const {
        if (!a2) return reading;
        const uint32_t scaled = static_cast<uint32_t>(word(a2, slope_byte)) * reading / 256u;
        return static_cast<int64_t>(scaled) + signed_word(a2, slope_byte + 2);
    }
    // Temperature is signed: the product keeps its sign and the division
    // truncates toward zero.
    int64_t temperature(int16_t reading) const {
        if (!a2) return reading;
        return signed_word(a2, kTSlope + 2) + static_cast<int32_t>(word(a2, kTSlope)) * reading / 256;
    }
    int64_t rx_power(uint16_t reading) const {
        if (!a2) return reading;
        float c[5];  // Rx_PWR(4) first
        for (unsigned i = 0; i < 5; ++i) c[i] = get_float_from_reg(a2 + kRxPwr4 + 4 * i);
        const float r = static_cast<float>(reading);
        const float r2 = r * r, r3 = r2 * r, r4 = r3 * r;
        const float p = c[0] * r4 + c[1] * r3 + c[2] * r2 + c[3] * r + c[4];
        const float rounded = p + 0.5f;
        if (rounded != rounded) return 0;
        return static_cast<int64_t>(std::clamp(rounded, -2147483648.0f, 2147483520.0f));
    }
};

power_reading power_of(int64_t counts) {
    power_reading p;
    if (counts <= 0) return p;  // 0 W, minus infinity dBm
    p.watts = static_cast<double>(counts) * kWattsPerCount;
    const double dbm = counts < 65536 ? fiber_dbm(static_cast<float>(counts))
                                      : 10.0 * std::log10(static_cast<double>(counts) / kCountsPerMilliwatt);
    p.dbm = std::round(dbm * 100.0) / 100.0;
    return p;
}

double celsius_of(int64_t units_of_1_256) { return static_cast<double>(units_of_1_256) / 256.0; }

// The four words of a threshold block (high alarm, low alarm, high warning,
// low warning) through a conversion.
template <class F>
auto block(const block_ref &p, unsigned first, F convert) {
    threshold_set<decltype(convert(uint16_t{}))> t;
    t.high_alarm = convert(p.word_at(first));
    t.low_alarm = convert(p.word_at(first + 2));
    t.high_warning = convert(p.word_at(first + 4));
    t.low_warning = convert(p.word_at(first + 6));
    return t;
}

// The record's four thresholds of one quantity through a conversion.
template <class F>
threshold_set<double> record_block(int32_t high_alarm, int32_t low_alarm, int32_t high_warning, int32_t low_warning,
                                   F convert) {
    return {convert(high_alarm), convert(low_alarm), convert(high_warning), convert(low_warning)};
}

// The media lane count of application `apsel` (lower page bytes 86-117,
// page 01h bytes 223-250 for ApSel 9-15), 0 when it is not advertised.
unsigned application_media_lanes(const std::vector<cmis_application> &apps, unsigned apsel) {
    for (const cmis_application &a : apps)
        if (a.apsel == apsel) return a.media_lanes;
    return 0;
}

}  // namespace

unsigned cmis_media_lanes(const uint8_t *lower, const uint8_t *page01, const uint8_t *page11, std::string *source) {
    const std::vector<cmis_application> apps = cmis_applications(lower, page01);
    if (page11) {
        std::set<std::pair<unsigned, unsigned>> paths;  // (AppSel, DataPathID)
        unsigned lanes = 0;
        for (unsigned host_lane = 0; host_lane < 8; ++host_lane) {
            const uint8_t config = page11[kActiveDpConfig - kUpper + host_lane];
            const unsigned app = config >> 4, path = (config >> 1) & 0x07u;
            if (app == 0 || !paths.insert({app, path}).second) continue;
            lanes += application_media_lanes(apps, app);
        }
        if (lanes > 0) {
            if (source) *source = "active data paths";
            return std::min(lanes, 8u);
        }
    }
    const unsigned first = application_media_lanes(apps, 1);
    if (first > 0 && source) *source = "first application";
    return std::min(first, 8u);
}

std::optional<module_readings> compute_readings(const page_plan &plan, const fiber_diag_info_t &g,
                                                std::vector<std::string> &notes) {
    if (g.unsupported || g.module_type == 0 || !plan.lower) return std::nullopt;
    if (!g.ddm_supported) {
        notes.push_back("no readings: the module implements no diagnostic monitors");
        return std::nullopt;
    }
    module_readings r;
    r.rx_power_average = g.rx_power_type != 0;
    r.supply_voltage_volts = g.voltage * kVoltsPerCount;

    // Per family: the block holding the monitor words, the threshold block,
    // the lanes, the SFF-8472 calibration.
    block_ref monitors, lane_monitors, thresholds;
    monitor_words words{};
    threshold_words threshold_at{};
    unsigned lanes = 1;
    sfp_calibration cal;
    switch (g.module_type) {
    case FIBER_DIAG_SFP:
        monitors = lane_monitors = thresholds = {plan.pages[0], 0};  // A2h
        words = kSfpMonitors;
        threshold_at = kSfpThresholds;
        if ((plan.lower[kSfpDiagType] & kCalibrationBits) == kExternal) cal.a2 = plan.pages[0];
        r.external_calibration = cal.a2 != nullptr;
        break;
    case FIBER_DIAG_XFP:
        monitors = lane_monitors = {plan.pages[0], 0};  // lower memory
        words = kXfpMonitors;
        break;
    case FIBER_DIAG_QSFP:
        monitors = lane_monitors = {plan.lower, 0};
        words = kQsfpMonitors;
        thresholds = {plan.pages[3], kUpper};
        threshold_at = kQsfpThresholds;
        lanes = 4;
        break;
    case FIBER_DIAG_CMIS: {
        monitors = {plan.lower, 0};
        lane_monitors = {plan.pages[0x11], kUpper};
        words = kCmisLaneMonitors;
        words.temperature = kCmisTemperature;
        thresholds = {plan.pages[2], kUpper};
        threshold_at = kCmisThresholds;
        const uint8_t *page01 = plan.has(1) ? plan.pages[1] : nullptr;
        if (page01) r.bias_multiplier = kBiasMultiplier[(page01[kCmisMonitorsByte - kUpper] >> 3) & 0x03u];
        if (r.bias_multiplier == 0)
            notes.push_back("Tx bias unknown: page 01h byte 160 bits 4-3 hold the reserved multiplier code 11b");
        lanes = cmis_media_lanes(plan.lower, page01, plan.has(0x11) ? plan.pages[0x11] : nullptr, &r.lane_source);
        if (lanes == 0) {
            lanes = 8;
            r.lane_source = "all eight";
            notes.push_back("readings show all eight lanes: the module advertises no application with media lanes");
        }
        break;
    }
    default:
        return std::nullopt;
    }
    if (!monitors || !lane_monitors) return std::nullopt;

    r.temperature_celsius = celsius_of(cal.temperature(static_cast<int16_t>(monitors.word_at(words.temperature))));
    const unsigned multiplier = r.bias_multiplier;
    auto bias_amperes = [&](int32_t counts) -> std::optional<double> {
        if (multiplier == 0) return std::nullopt;
        return static_cast<double>(counts) * multiplier * kAmperesPerCount;
    };
    for (unsigned lane = 0; lane < lanes; ++lane) {
        lane_reading l;
        l.lane = lane + 1;
        l.tx_bias_amperes = bias_amperes(g.tx_bias[lane]);  // calibrated in the record
        l.tx_power = power_of(cal.linear(kTxPwrSlope, lane_monitors.word_at(words.tx_power + 2 * lane)));
        l.rx_power = power_of(cal.rx_power(lane_monitors.word_at(words.rx_power + 2 * lane)));
        r.lanes.push_back(l);
    }

    if (g.thresholds_valid && thresholds) {
        reading_thresholds t;
        t.temperature_celsius = block(thresholds, threshold_at.temperature, [&](uint16_t w) {
            return celsius_of(cal.temperature(static_cast<int16_t>(w)));
        });
        auto volts = [&](int32_t raw) {
            return static_cast<double>(cal.linear(kVSlope, static_cast<uint16_t>(raw))) * kVoltsPerCount;
        };
        t.supply_voltage_volts = record_block(g.voltage_high_alarm, g.voltage_low_alarm, g.voltage_high_warning,
                                              g.voltage_low_warning, volts);
        if (multiplier != 0) {
            auto amperes = [&](int32_t raw) {
                return static_cast<double>(cal.linear(kTxISlope, static_cast<uint16_t>(raw))) * multiplier *
                       kAmperesPerCount;
            };
            t.tx_bias_amperes = record_block(g.tx_bias_high_alarm, g.tx_bias_low_alarm, g.tx_bias_high_warning,
                                             g.tx_bias_low_warning, amperes);
        }
        t.tx_power = block(thresholds, threshold_at.tx_power,
                           [&](uint16_t w) { return power_of(cal.linear(kTxPwrSlope, w)); });
        t.rx_power = block(thresholds, threshold_at.rx_power, [&](uint16_t w) { return power_of(cal.rx_power(w)); });
        r.thresholds = t;
    }
    return r;
}

// ---------------------------------------------------------------------------
// JSON
// ---------------------------------------------------------------------------
namespace {

using value = document_builder::value;

// JSON has no infinity: a dark lane's dBm is null.
value dbm_json(document_builder &b, const power_reading &p) { return std::isfinite(p.dbm) ? b.make(p.dbm) : b.null(); }

value optional_number(document_builder &b, const std::optional<double> &v) { return v ? b.make(*v) : b.null(); }

template <class T, class F>
value threshold_json(document_builder &b, const threshold_set<T> &t, F level) {
    object_writer o(b, 4);
    o.put("high_alarm", level(b, t.high_alarm)).put("low_alarm", level(b, t.low_alarm));
    o.put("high_warning", level(b, t.high_warning)).put("low_warning", level(b, t.low_warning));
    return o.value;
}

value thresholds_json(document_builder &b, const reading_thresholds &t) {
    auto number = [](document_builder &b, double v) { return b.make(v); };
    auto watts = [](document_builder &b, const power_reading &p) { return b.make(p.watts); };
    object_writer o(b, 7);
    o.put("temperature_celsius", threshold_json(b, t.temperature_celsius, number));
    o.put("supply_voltage_volts", threshold_json(b, t.supply_voltage_volts, number));
    o.put("tx_bias_amperes", t.tx_bias_amperes ? threshold_json(b, *t.tx_bias_amperes, number) : b.null());
    o.put("tx_power_watts", threshold_json(b, t.tx_power, watts));
    o.put("tx_power_dbm", threshold_json(b, t.tx_power, dbm_json));
    o.put("rx_power_watts", threshold_json(b, t.rx_power, watts));
    o.put("rx_power_dbm", threshold_json(b, t.rx_power, dbm_json));
    return o.value;
}

}  // namespace

document_builder::value readings_json(const decoded_module &m, document_builder &b) {
    if (!m.readings) return b.null();
    const module_readings &r = *m.readings;
    object_writer o(b, 5);
    o.put("temperature_celsius", r.temperature_celsius).put("supply_voltage_volts", r.supply_voltage_volts);
    o.put("rx_power_type", r.rx_power_average ? "average" : "OMA");
    const value lanes = b.array(r.lanes.size());
    for (const lane_reading &l : r.lanes) {
        object_writer lane(b, 6);
        lane.put("lane", l.lane).put("tx_bias_amperes", optional_number(b, l.tx_bias_amperes));
        lane.put("tx_power_watts", l.tx_power.watts).put("tx_power_dbm", dbm_json(b, l.tx_power));
        lane.put("rx_power_watts", l.rx_power.watts).put("rx_power_dbm", dbm_json(b, l.rx_power));
        b.push(lanes, lane.value);
    }
    o.put("lanes", lanes).put("thresholds", r.thresholds ? thresholds_json(b, *r.thresholds) : b.null());
    return o.value;
}

// ---------------------------------------------------------------------------
// Text: the diagnostics section's values, in the layout of the report's
// other sections ("  label  value", table columns of 13 characters). Under a
// row whose values the record shows otherwise, a "(record)" row shows the
// record's, so that nothing is hidden.
// ---------------------------------------------------------------------------
namespace {

// A table row without trailing blanks.
std::string line(std::string_view label, const std::vector<std::string> &cells) {
    std::string out;
    append_row(out, label, cells);
    while (!out.empty() && out.back() == ' ') out.pop_back();
    out += '\n';
    return out;
}

// A cell: the reading as shown, and the reading and the record in the
// record's own resolution, which must agree unless the reading is
// calibrated, multiplied or a zero power.
struct cell {
    std::string shown, reading_as_record, record;
};

std::string celsius_text(double c, int decimals) { return fixed(c, decimals) + " \u00B0C"; }
std::string whole_celsius(int32_t c) { return std::to_string(c) + " \u00B0C"; }
std::string volts_text(double v) { return fixed(v, 4) + " V"; }
std::string milliamps_text(double a) { return fixed(a * 1000.0, 3) + " mA"; }
std::string dbm_text(double dbm) { return std::isfinite(dbm) ? fixed(dbm, 2) + " dBm" : "-Inf dBm"; }

cell temperature_cell(double reading, int32_t record) {
    return {celsius_text(reading, 2), whole_celsius(static_cast<int32_t>(std::lround(reading))), whole_celsius(record)};
}
cell voltage_cell(double reading, int32_t record) {
    return {volts_text(reading), volts_text(reading), format_volts(record)};
}
cell bias_cell(const std::optional<double> &reading, int32_t record) {
    const std::string shown = reading ? milliamps_text(*reading) : "unknown";
    return {shown, shown, format_milliamps(record)};
}
cell power_cell(const power_reading &reading, float record) {
    return {dbm_text(reading.dbm), dbm_text(reading.dbm), format_dbm(record)};
}

// A table row and, where any cell differs from the record, the record's row.
std::string rows(const std::string &label, const std::vector<cell> &cells) {
    std::vector<std::string> shown, record;
    bool differs = false;
    for (const cell &c : cells) {
        shown.push_back(c.shown);
        const bool d = c.reading_as_record != c.record;
        record.push_back(d ? c.record : "");
        differs = differs || d;
    }
    return line(label, shown) + (differs ? line("  (record)", record) : "");
}

template <class T, class F>
std::vector<cell> threshold_cells(const threshold_set<T> &t, F make, const int32_t (&record)[4]) {
    return {make(t.high_alarm, record[0]), make(t.low_alarm, record[1]), make(t.high_warning, record[2]),
            make(t.low_warning, record[3])};
}

}  // namespace

std::string readings_text(const decoded_module &m) {
    if (!m.readings || !m.diag) return {};
    const module_readings &r = *m.readings;
    const fiber_diag_info_t &g = *m.diag;
    std::string out;
    out += rows("Temperature", {temperature_cell(r.temperature_celsius, g.temperature)});
    out += rows("Supply voltage", {voltage_cell(r.supply_voltage_volts, g.voltage)});
    out += line("Rx power measured", {r.rx_power_average ? "average" : "OMA"});
    if (r.external_calibration) out += line("Calibration", {"external (A2h bytes 56-91 applied)"});
    if (g.module_type == FIBER_DIAG_CMIS) {
        std::string lanes = std::to_string(r.lanes.size()) + " (" + r.lane_source + ")";
        if (g.media_lane_count != r.lanes.size())
            lanes += ", first application " + std::to_string(g.media_lane_count);
        out += line("Media lanes", {lanes});
        out += line("Max module power", {fixed(g.max_power, 2) + " W"});
        if (r.bias_multiplier != 1)
            out += line("Tx bias multiplier",
                        {r.bias_multiplier ? std::to_string(r.bias_multiplier) : std::string("reserved code 11b")});
    }
    out += line("Lane", {"Tx bias", "Tx power", "Rx power"});
    for (const lane_reading &l : r.lanes) {
        const unsigned i = l.lane - 1;
        out += rows(std::to_string(l.lane), {bias_cell(l.tx_bias_amperes, g.tx_bias[i]),
                                             power_cell(l.tx_power, g.tx_power[i]),
                                             power_cell(l.rx_power, g.rx_power[i])});
    }
    if (!r.thresholds) {
        out += line("Thresholds", {g.module_type == FIBER_DIAG_XFP ? "not decoded for XFP modules" : "not in the image"});
        return out;
    }
    const reading_thresholds &t = *r.thresholds;
    out += line("Thresholds", {"High alarm", "Low alarm", "High warn", "Low warn"});
    const int32_t temperature[4] = {g.temp_high_alarm, g.temp_low_alarm, g.temp_high_warning, g.temp_low_warning};
    const int32_t voltage[4] = {g.voltage_high_alarm, g.voltage_low_alarm, g.voltage_high_warning,
                                g.voltage_low_warning};
    const int32_t bias[4] = {g.tx_bias_high_alarm, g.tx_bias_low_alarm, g.tx_bias_high_warning,
                             g.tx_bias_low_warning};
    out += rows("Temperature", threshold_cells(t.temperature_celsius, temperature_cell, temperature));
    out += rows("Supply voltage", threshold_cells(t.supply_voltage_volts, voltage_cell, voltage));
    if (t.tx_bias_amperes) {
        out += rows("Tx bias", threshold_cells(*t.tx_bias_amperes, [](double a, int32_t rec) {
                        return bias_cell(a, rec);
                    }, bias));
    } else {
        out += rows("Tx bias", {bias_cell(std::nullopt, bias[0]), bias_cell(std::nullopt, bias[1]),
                                bias_cell(std::nullopt, bias[2]), bias_cell(std::nullopt, bias[3])});
    }
    auto power_row = [&](const char *label, const threshold_set<power_reading> &p, const float (&record)[4]) {
        out += rows(label, {power_cell(p.high_alarm, record[0]), power_cell(p.low_alarm, record[1]),
                            power_cell(p.high_warning, record[2]), power_cell(p.low_warning, record[3])});
    };
    const float tx[4] = {g.tx_power_high_alarm, g.tx_power_low_alarm, g.tx_power_high_warning,
                         g.tx_power_low_warning};
    const float rx[4] = {g.rx_power_high_alarm, g.rx_power_low_alarm, g.rx_power_high_warning,
                         g.rx_power_low_warning};
    power_row("Tx power", t.tx_power, tx);
    power_row("Rx power", t.rx_power, rx);
    return out;
}

}  // namespace fdump
