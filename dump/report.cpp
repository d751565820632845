// SPDX-License-Identifier: Apache-2.0
// Text and JSON reports. Records are shown in operator units (degrees C, V,
// mA, dBm, nm, m/km) in text; JSON carries the record fields as the library
// fills them (units as the records define them) plus alarm ids with their
// catalogue texts.
#include "report.h"
#include "describe.h"
#include "readings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace fdump {

namespace {

// Sections of "  Label  value" lines; every section is preceded by an
// empty line.
struct text_writer {
    std::string out;
    void section(const char *title) {
        out += '\n';
        out += title;
        out += '\n';
    }
    void field(std::string_view label, std::string_view value) {
        out += "  ";
        append_padded(out, label, kLabelWidth);
        out += value;
        out += '\n';
    }
    // A row of a table: a label and columns of kColumnWidth characters.
    void row(std::string_view label, const std::vector<std::string> &cells) {
        append_row(out, label, cells);
        out += '\n';
    }
};

const char *text_or_dash(const char *s) { return s && *s ? s : "-"; }

std::string yes_no(uint8_t flag) { return flag ? "yes" : "no"; }

// Alarm ids raised in a diagnostics flag set: bit k is id base + k.
void collect_flags(fiber_diag_flags_t flags, unsigned base, std::vector<unsigned> &ids) {
    for (unsigned k = 0; k < 64; ++k)
        if ((flags >> k) & 1u) ids.push_back(base + k);
}

std::vector<unsigned> diag_flag_ids(const fiber_diag_info_t &g) {
    std::vector<unsigned> ids;
    collect_flags(g.monitor_flags, 0, ids);
    collect_flags(g.rx_power_flags, 64, ids);
    collect_flags(g.tx_power_flags, 128, ids);
    return ids;
}

std::vector<unsigned> alarm_ids(const fiber_alarm_info_t &a) {
    std::vector<unsigned> ids;
    for (unsigned id = 0; id < FIBER_ALARM_COUNT; ++id)
        if ((a.alarm_bits[id / 32] >> (id % 32)) & 1u) ids.push_back(id);
    return ids;
}

const char *alarm_text(unsigned id) { return id < FIBER_ALARM_COUNT && fiber_alarms[id] ? fiber_alarms[id] : "?"; }

// Lanes worth showing: one for SFP and XFP, four for QSFP; for CMIS the
// media lane count of the first application (eight when it says 0 or more).
unsigned shown_lanes(const fiber_diag_info_t &g) {
    switch (g.module_type) {
    case FIBER_DIAG_SFP:
    case FIBER_DIAG_XFP: return 1;
    case FIBER_DIAG_QSFP: return 4;
    default: return g.media_lane_count >= 1 && g.media_lane_count <= 8 ? g.media_lane_count : 8;
    }
}

std::string celsius(int32_t degrees) { return strprintf("%d \u00B0C", degrees); }

std::string module_name(const fiber_normal_info_t &n) {
    if (n.is_xfp && n.display_name[0]) return printable(n.display_name, sizeof n.display_name);
    std::string name = n.name_prefix ? n.name_prefix : "";
    name += n.type_name ? n.type_name : "";
    return name.empty() ? "-" : name;
}

const char *connector_class_name(uint32_t c) {
    switch (c) {
    case 1: return "RJ45";
    case 2: return "other";
    case 3: return "copper cable";
    }
    return "none";
}

// SFF-8472/SFF-8636/CMIS date codes start YYMMDD.
std::string date_text(const char *code, std::size_t size) {
    std::string s = printable(code, size);
    bool digits = s.size() >= 6;
    for (std::size_t i = 0; digits && i < 6; ++i) digits = s[i] >= '0' && s[i] <= '9';
    if (!digits) return s.empty() ? "-" : s;
    return s + " (20" + s.substr(0, 2) + "-" + s.substr(2, 2) + "-" + s.substr(4, 2) + ")";
}

// Why an operation gave `unsupported`: the reason decode_module found (the
// family decoder rejected the identifier, or found no transceiver type).
std::string not_decoded_status(const decoded_module &m) {
    return "not decoded: " + (m.failure.empty() ? std::string("the ") + family_title(m.family) +
                                                      " decoder does not recognise this module"
                                                : m.failure);
}

void identification_text(text_writer &w, const fiber_normal_info_t &n, const decoded_module &m) {
    w.section("Identification");
    if (n.unsupported) {
        if (n.type_name) w.field("Module", n.type_name);
        w.field("Status", m.identifier_in_place ? substituted_identification_status(m) : not_decoded_status(m));
        return;
    }
    w.field("Module", module_name(n));
    if (n.trans_type) {
        std::string type = std::to_string(n.trans_type) + " (";
        if (n.rate_mbps) type += std::to_string(n.rate_mbps) + " Mb/s, ";
        type += "connector class " + std::to_string(n.connector_class) + ": " +
                connector_class_name(n.connector_class) + ")";
        w.field("Transceiver type", type);
    }
    w.field("Connector", text_or_dash(n.connector_name));
    if (n.wavelength_nm != 0.0f) {
        std::string wl = compact(n.wavelength_nm) + " nm";
        if (n.wavelength_tolerance_nm != 0.0f) wl += " \u00B1 " + compact(n.wavelength_tolerance_nm) + " nm";
        w.field("Wavelength", wl);
    }
    unsigned last_lane = 0;
    for (unsigned i = 0; i < 8; ++i)
        if (n.lane_wavelength_nm[i]) last_lane = i + 1;
    if (last_lane) {
        std::vector<std::string> lanes;
        for (unsigned i = 0; i < last_lane; ++i) lanes.push_back(std::to_string(n.lane_wavelength_nm[i]));
        w.field("Lane wavelengths", join(lanes, ", ") + " nm");
    }
    std::vector<std::string> lengths;
    if (n.length_smf_km) lengths.push_back("SMF " + std::to_string(n.length_smf_km) + " km");
    if (n.length_smf_m) lengths.push_back("SMF " + std::to_string(n.length_smf_m) + " m");
    if (n.length_smf_km_from_100m) lengths.push_back("SMF " + std::to_string(n.length_smf_km_from_100m) + " km");
    const std::pair<const char *, uint32_t> fibres[] = {{"OM5", n.length_om5_m}, {"OM4", n.length_om4_m},
                                                        {"OM3", n.length_om3_m}, {"OM2", n.length_om2_m},
                                                        {"OM1", n.length_om1_m}, {"copper", n.length_copper_m}};
    for (const auto &[fibre, metres] : fibres)
        if (metres) lengths.push_back(std::string(fibre) + " " + std::to_string(metres) + " m");
    if (!lengths.empty()) w.field("Link length", join(lengths, ", "));
    std::vector<std::string> properties;
    if (n.is_copper) properties.push_back("copper");
    if (n.is_active_cable) properties.push_back("active cable");
    if (n.is_rj45) properties.push_back("RJ45");
    if (n.is_x8_module) properties.push_back("eight lanes");
    if (n.zx_within_90km) properties.push_back("ZX within 90 km");
    if (!properties.empty()) w.field("Properties", join(properties, ", "));
    std::string serial = printable(n.serial_number, sizeof n.serial_number);
    w.field("Serial number", serial.empty() ? "-" : serial);
    std::string specific = printable(n.vendor_specific, sizeof n.vendor_specific);
    if (!specific.empty()) w.field("Vendor specific", specific);
    w.field("Digital diagnostics", yes_no(n.ddm_supported));
}

void vendor_text(text_writer &w, const fiber_vendor_info_t &v, const decoded_module &m) {
    w.section("Vendor");
    if (v.unsupported) {
        w.field("Status", not_decoded_status(m));
        return;
    }
    auto text = [](const char *field, std::size_t size) {
        std::string s = printable(field, size);
        return s.empty() ? std::string("-") : s;
    };
    w.field("Name", text(v.vendor_name, sizeof v.vendor_name));
    w.field("OUI", strprintf("%02x:%02x:%02x", v.vendor_oui[0], v.vendor_oui[1], v.vendor_oui[2]));
    w.field("Part number", text(v.vendor_pn, sizeof v.vendor_pn));
    w.field("Revision", text(v.vendor_rev, sizeof v.vendor_rev));
    w.field("Date code", date_text(v.date_code, sizeof v.date_code));
    w.field("Encoding", text_or_dash(v.encoding));
    if (v.firmware_version[0]) w.field("Firmware", printable(v.firmware_version, sizeof v.firmware_version));
    if (v.hardware_version[0]) w.field("Hardware", printable(v.hardware_version, sizeof v.hardware_version));
}

// Why the diagnostics or alarm operation gave `unsupported`: an SFP module
// without diagnostics (A0h byte 92 is 00h), or a module its family decoder
// rejects.
std::string not_decoded(const decoded_module &m) {
    if (m.family == module_family::sfp && m.normal && !m.normal->unsupported && !m.normal->ddm_supported)
        return "not implemented by the module";
    return not_decoded_status(m);
}

void diagnostics_text(text_writer &w, const fiber_diag_info_t &g, const decoded_module &m) {
    w.section("Diagnostics");
    if (g.unsupported) {
        w.field("Status", not_decoded(m));
        return;
    }
    if (g.module_type == 0) {
        w.field("Status", "not decoded");
        return;
    }
    if (m.readings) {  // calibrated, multiplied, full resolution, real lanes (readings.h)
        w.out += readings_text(m);
    } else {
        if (!g.ddm_supported) w.field("Monitors", "not implemented by the module (readings are zero)");
        w.field("Temperature", celsius(g.temperature));
        w.field("Supply voltage", format_volts(g.voltage));
        w.field("Rx power measured", g.rx_power_type ? "average" : "OMA");
        if (g.module_type == FIBER_DIAG_CMIS) {
            w.field("Media lanes", std::to_string(g.media_lane_count));
            w.field("Max module power", fixed(g.max_power, 2) + " W");
        }
        w.row("Lane", {"Tx bias", "Tx power", "Rx power"});
        for (unsigned lane = 0; lane < shown_lanes(g); ++lane)
            w.row(std::to_string(lane + 1),
                  {format_milliamps(g.tx_bias[lane]), format_dbm(g.tx_power[lane]), format_dbm(g.rx_power[lane])});
        if (g.thresholds_valid) {
            w.row("Thresholds", {"High alarm", "Low alarm", "High warn", "Low warn"});
            w.row("Temperature", {celsius(g.temp_high_alarm), celsius(g.temp_low_alarm),
                                  celsius(g.temp_high_warning), celsius(g.temp_low_warning)});
            w.row("Supply voltage", {format_volts(g.voltage_high_alarm), format_volts(g.voltage_low_alarm),
                                     format_volts(g.voltage_high_warning), format_volts(g.voltage_low_warning)});
            w.row("Tx bias", {format_milliamps(g.tx_bias_high_alarm), format_milliamps(g.tx_bias_low_alarm),
                              format_milliamps(g.tx_bias_high_warning), format_milliamps(g.tx_bias_low_warning)});
            w.row("Tx power", {format_dbm(g.tx_power_high_alarm), format_dbm(g.tx_power_low_alarm),
                               format_dbm(g.tx_power_high_warning), format_dbm(g.tx_power_low_warning)});
            w.row("Rx power", {format_dbm(g.rx_power_high_alarm), format_dbm(g.rx_power_low_alarm),
                               format_dbm(g.rx_power_high_warning), format_dbm(g.rx_power_low_warning)});
        } else {
            // XFP thresholds are not decoded; a CMIS module's page 02h is read
            // only when page 01h advertises the monitors (bytes 159 and 160).
            const bool page02 = std::find(m.pages.begin(), m.pages.end(), "02h") != m.pages.end();
            w.field("Thresholds", g.module_type == FIBER_DIAG_XFP ? "not decoded for XFP modules"
                                  : g.module_type == FIBER_DIAG_CMIS && page02
                                      ? "not decoded: the module advertises no monitors"
                                      : "not in the image");
        }
    }
    std::vector<std::string> flags;
    for (unsigned id : diag_flag_ids(g)) flags.push_back(alarm_text(id));
    if (flags.empty()) {
        w.field("Flags", "none");
    } else {
        for (std::size_t i = 0; i < flags.size(); ++i) w.field(i == 0 ? "Flags" : "", flags[i]);
    }
}

void alarms_text(text_writer &w, const fiber_alarm_info_t &a, const decoded_module &m) {
    w.section("Alarms");
    if (a.unsupported) {
        w.field("Status", not_decoded(m));
        return;
    }
    std::vector<unsigned> ids = alarm_ids(a);
    if (ids.empty()) w.out += "  none\n";
    for (unsigned id : ids) {
        w.out += "  ";
        append_padded(w.out, std::to_string(id), 6);
        w.out += alarm_text(id);
        w.out += '\n';
    }
}

void state_text(text_writer &w, const fiber_coremgmt_info_t &c) {
    w.section("Module state");
    if (c.unsupported) {
        w.field("Status", "not decoded");
        return;
    }
    w.field("Module state", text_or_dash(c.module_state));
    w.field("Media lanes", std::to_string(c.media_lane_count));
    w.row("Lane", {"Data path", "Changed"});
    for (unsigned lane = 0; lane < 8; ++lane)
        w.row(std::to_string(lane + 1), {text_or_dash(c.datapath_state[lane]), yes_no(c.datapath_state_changed[lane])});
}

// Module text and library text for JSON: bytes up to the terminating zero,
// each byte taken as a Latin-1 character so that any module content is
// valid UTF-8 in the document.
std::string json_text(const char *s, std::size_t size) {
    std::string out;
    for (std::size_t i = 0; i < size && s[i]; ++i) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

using value = document_builder::value;

value json_text(document_builder &b, const char *s) { return s ? b.text(json_text(s, std::strlen(s))) : b.null(); }

// A file name as given: UTF-8 names unchanged, other bytes as Latin-1 (the
// document must be valid UTF-8, and a name need not be).
std::string file_name(const std::string &name) {
    try {
        (void)json(name).dump();
        return name;
    } catch (const json::type_error &) {
        return json_text(name.c_str(), name.size());
    }
}

value json_ids(document_builder &b, const std::vector<unsigned> &ids) {
    const value list = b.array(ids.size());
    for (unsigned id : ids) b.push(list, object_writer(b, 2).put("id", id).put("text", json_text(b, alarm_text(id))).value);
    return list;
}

#define FIELD(record, name) put(#name, record.name)
#define TEXT(record, name) put(#name, b.text(json_text(record.name, sizeof record.name)))
#define TEXT_OR_NULL(record, name) put(#name, json_text(b, record.name))

value normal_json(document_builder &b, const fiber_normal_info_t &n) {
    object_writer o(b, 31);
    o.FIELD(n, unsupported).FIELD(n, ddm_supported).FIELD(n, is_xfp).FIELD(n, is_qsfp);
    o.FIELD(n, is_copper).FIELD(n, is_active_cable).FIELD(n, is_sfp).FIELD(n, zx_within_90km);
    o.TEXT_OR_NULL(n, name_prefix).TEXT_OR_NULL(n, type_name);
    o.TEXT_OR_NULL(n, connector_name).FIELD(n, wavelength_nm);
    o.FIELD(n, wavelength_tolerance_nm).FIELD(n, length_smf_m).FIELD(n, length_smf_km);
    o.FIELD(n, length_smf_km_from_100m).FIELD(n, length_om5_m).FIELD(n, length_om4_m);
    o.FIELD(n, length_om3_m).FIELD(n, length_om2_m).FIELD(n, length_om1_m).FIELD(n, length_copper_m);
    o.TEXT(n, display_name).TEXT(n, serial_number).TEXT(n, vendor_specific).FIELD(n, trans_type);
    o.FIELD(n, rate_mbps).FIELD(n, connector_class).put("lane_wavelength_nm", array_of(b, n.lane_wavelength_nm));
    o.FIELD(n, is_x8_module).FIELD(n, is_rj45);
    return o.value;
}

value vendor_json(document_builder &b, const fiber_vendor_info_t &v) {
    object_writer o(b, 9);
    o.FIELD(v, unsupported).TEXT(v, vendor_name).put("vendor_oui", array_of(b, v.vendor_oui));
    o.TEXT(v, vendor_pn).TEXT(v, vendor_rev).TEXT(v, date_code).TEXT_OR_NULL(v, encoding);
    o.TEXT(v, firmware_version).TEXT(v, hardware_version);
    return o.value;
}

value diag_json(document_builder &b, const fiber_diag_info_t &g) {
    object_writer o(b, 38);
    o.FIELD(g, unsupported).FIELD(g, ddm_supported).FIELD(g, qsfp_done).FIELD(g, cmis_done);
    o.FIELD(g, rx_power_type).FIELD(g, thresholds_valid).FIELD(g, temperature).FIELD(g, voltage);
    o.FIELD(g, media_lane_count).put("tx_bias", array_of(b, g.tx_bias)).put("rx_power", array_of(b, g.rx_power));
    o.put("tx_power", array_of(b, g.tx_power)).FIELD(g, temp_high_alarm).FIELD(g, temp_low_alarm);
    o.FIELD(g, temp_high_warning).FIELD(g, temp_low_warning).FIELD(g, voltage_high_alarm);
    o.FIELD(g, voltage_low_alarm).FIELD(g, voltage_high_warning).FIELD(g, voltage_low_warning);
    o.FIELD(g, rx_power_high_alarm).FIELD(g, rx_power_low_alarm).FIELD(g, rx_power_high_warning);
    o.FIELD(g, rx_power_low_warning).FIELD(g, tx_bias_high_alarm).FIELD(g, tx_bias_low_alarm);
    o.FIELD(g, tx_bias_high_warning).FIELD(g, tx_bias_low_warning).FIELD(g, tx_power_high_alarm);
    o.FIELD(g, tx_power_low_alarm).FIELD(g, tx_power_high_warning).FIELD(g, tx_power_low_warning);
    o.FIELD(g, module_type).FIELD(g, monitor_flags).FIELD(g, rx_power_flags).FIELD(g, tx_power_flags);
    o.FIELD(g, max_power).put("flags", json_ids(b, diag_flag_ids(g)));
    return o.value;
}

value alarm_json(document_builder &b, const fiber_alarm_info_t &a) {
    object_writer o(b, 7);
    o.FIELD(a, unsupported).FIELD(a, ddm_supported).FIELD(a, qsfp_done).FIELD(a, cmis_done);
    o.FIELD(a, alarm_id_count).put("alarm_bits", array_of(b, a.alarm_bits)).put("alarms", json_ids(b, alarm_ids(a)));
    return o.value;
}

value coremgmt_json(document_builder &b, const fiber_coremgmt_info_t &c) {
    object_writer o(b, 5);
    o.FIELD(c, unsupported).FIELD(c, media_lane_count).TEXT_OR_NULL(c, module_state);
    const value states = b.array(std::size(c.datapath_state));
    for (const char *s : c.datapath_state) b.push(states, json_text(b, s));
    o.put("datapath_state", states).put("datapath_state_changed", array_of(b, c.datapath_state_changed));
    return o.value;
}

#undef FIELD
#undef TEXT
#undef TEXT_OR_NULL

template <class Record>
value optional_json(document_builder &b, const std::optional<Record> &record,
                    value (*convert)(document_builder &, const Record &)) {
    return record ? convert(b, *record) : b.null();
}

}  // namespace

std::string format_dbm(float dbm) { return fixed(dbm, 2) + " dBm"; }

std::string format_volts(int32_t units_100uv) { return fixed(units_100uv / 10000.0, 4) + " V"; }

std::string format_milliamps(int32_t units_2ua) { return fixed(units_2ua * 0.002, 3) + " mA"; }

// --- text helpers shared by the report, the readings and the description ---

std::string fixed(double value, int decimals) {
    char buf[400];  // a double in fixed notation needs at most 309 digits before the point
    std::string s;
#if defined(__cpp_lib_to_chars)
    // Exact, as printf's %.*f, without printf's multi-precision arithmetic.
    if (std::isfinite(value)) {
        const auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals);
        s.assign(buf, r.ptr);
    }
#endif
    if (s.empty()) {
        std::snprintf(buf, sizeof buf, "%.*f", decimals, value);
        s = buf;
    }
    if (s[0] == '-' && s.find_first_not_of("-0.") == std::string::npos) s.erase(0, 1);
    return s;
}

std::string compact(double value) {
    std::string s = fixed(value, 2);
    while (s.back() == '0') s.pop_back();
    if (s.back() == '.') s.pop_back();
    return s;
}

std::string join(const std::vector<std::string> &items, const char *separator) {
    std::string out;
    for (const auto &item : items) {
        if (!out.empty()) out += separator;
        out += item;
    }
    return out;
}

std::size_t columns(std::string_view s) {
    std::size_t n = 0;
    for (unsigned char c : s) n += (c & 0xC0) != 0x80;
    return n;
}

void append_padded(std::string &out, std::string_view s, std::size_t width) {
    out += s;
    if (const std::size_t w = columns(s); w < width) out.append(width - w, ' ');
}

void append_row(std::string &out, std::string_view label, const std::vector<std::string> &cells) {
    out += "  ";
    append_padded(out, label, kLabelWidth);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (i + 1 < cells.size()) append_padded(out, cells[i], kColumnWidth);
        else out += cells[i];
    }
}

std::string strprintf(const char *format, ...) {
    char buf[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    return buf;
}

std::string printable(const char *field, std::size_t size) {
    std::size_t n = strnlen(field, size);
    while (n > 0 && field[n - 1] == ' ') --n;
    std::string out;
    for (std::size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(field[i]);
        if (c >= 0x20 && c < 0x7F && c != '\\')
            out += static_cast<char>(c);
        else
            out += strprintf("\\x%02x", c);
    }
    return out;
}

std::string text_header(const decoded_module &m) {
    const char *source = m.format == input_format::hex     ? "hex text"
                         : m.format == input_format::optoe ? "optoe file"
                         : m.format == input_format::pages ? "pages read"
                                                           : "raw image";
    std::string out = strprintf("%s: %s module%s, %s, %zu bytes (%s)\n", m.file.c_str(), family_title(m.family),
                                m.family_forced ? " (--kind)" : "", source, m.size, join(m.pages, ", ").c_str());
    for (const auto &note : m.notes) out += "  Note: " + note + "\n";
    return out;
}

std::string text_body(const decoded_module &m) {
    text_writer w;
    w.out += description_text(m);
    if (m.normal) identification_text(w, *m.normal, m);
    if (m.vendor) vendor_text(w, *m.vendor, m);
    if (m.diag) diagnostics_text(w, *m.diag, m);
    if (m.alarm) alarms_text(w, *m.alarm, m);
    if (m.coremgmt) state_text(w, *m.coremgmt);
    return w.out;
}

document_builder::value json_report(const decoded_module &m, document_builder &b) {
    object_writer o(b, 15);
    o.put("file", file_name(m.file)).put("format", format_name(m.format)).put("size", m.size);
    o.put("kind", family_name(m.family)).put("kind_forced", m.family_forced);
    const value pages = b.array(m.pages.size());
    for (const auto &p : m.pages) b.push(pages, b.text(p));
    const value notes = b.array(m.notes.size());
    for (const auto &n : m.notes) b.push(notes, b.text(n));
    o.put("pages", pages).put("decoded", m.failure.empty()).put("notes", notes);
    o.put("description", description_json(m, b));
    o.put("normal", optional_json(b, m.normal, normal_json)).put("vendor", optional_json(b, m.vendor, vendor_json));
    o.put("diag", optional_json(b, m.diag, diag_json)).put("readings", readings_json(m, b));
    o.put("alarm", optional_json(b, m.alarm, alarm_json)).put("coremgmt", optional_json(b, m.coremgmt, coremgmt_json));
    return o.value;
}

json json_report(const decoded_module &m) {
    json_builder b;
    return b.take(json_report(m, b));
}

}  // namespace fdump
