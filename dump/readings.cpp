// SPDX-License-Identifier: Apache-2.0
// Readings as the module means them: calibrated, multiplied, at full
// resolution and for the module's real lanes (see readings.h).
#include "readings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <utility>

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

// CMIS application descriptors: four bytes each, the third holding the host
// lane count (bits 7-4) and the media lane count (bits 3-0). Applications
// 1-8 at lower page bytes 86-117, 9-15 at page 01h bytes 223-250.
constexpr unsigned kAppLower = 86, kAppPage01 = 223, kAppLaneCounts = 2, kAppSize = 4;
constexpr uint8_t kHostIdUnused = 0xFF;
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

unsigned application_media_lanes(const uint8_t *lower, const uint8_t *page01, unsigned app) {
    const uint8_t *descriptor = nullptr;
    if (app >= 1 && app <= 8) descriptor = lower + kAppLower + kAppSize * (app - 1);
    else if (app >= 9 && app <= 15 && page01) descriptor = page01 + kAppPage01 - kUpper + kAppSize * (app - 9);
    if (!descriptor || descriptor[0] == kHostIdUnused || descriptor[0] == 0) return 0;
    return descriptor[kAppLaneCounts] & 0x0Fu;
}

}  // namespace

unsigned cmis_media_lanes(const uint8_t *lower, const uint8_t *page01, const uint8_t *page11, std::string *source) {
    if (page11) {
        std::set<std::pair<unsigned, unsigned>> paths;  // (AppSel, DataPathID)
        unsigned lanes = 0;
        for (unsigned host_lane = 0; host_lane < 8; ++host_lane) {
            const uint8_t config = page11[kActiveDpConfig - kUpper + host_lane];
            const unsigned app = config >> 4, path = (config >> 1) & 0x07u;
            if (app == 0 || !paths.insert({app, path}).second) continue;
            lanes += application_media_lanes(lower, page01, app);
        }
        if (lanes > 0) {
            if (source) *source = "active data paths";
            return std::min(lanes, 8u);
        }
    }
    const unsigned first = application_media_lanes(lower, page01, 1);
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

// JSON has no infinity: a dark lane's dBm is null.
json dbm_json(const power_reading &p) { return std::isfinite(p.dbm) ? json(p.dbm) : json(nullptr); }

json optional_number(const std::optional<double> &v) { return v ? json(*v) : json(nullptr); }

template <class T, class F>
json threshold_json(const threshold_set<T> &t, F value) {
    return json{{"high_alarm", value(t.high_alarm)},
                {"low_alarm", value(t.low_alarm)},
                {"high_warning", value(t.high_warning)},
                {"low_warning", value(t.low_warning)}};
}

json thresholds_json(const reading_thresholds &t) {
    auto number = [](double v) { return json(v); };
    auto watts = [](const power_reading &p) { return json(p.watts); };
    return json{{"temperature_celsius", threshold_json(t.temperature_celsius, number)},
                {"supply_voltage_volts", threshold_json(t.supply_voltage_volts, number)},
                {"tx_bias_amperes", t.tx_bias_amperes ? threshold_json(*t.tx_bias_amperes, number) : json(nullptr)},
                {"tx_power_watts", threshold_json(t.tx_power, watts)},
                {"tx_power_dbm", threshold_json(t.tx_power, dbm_json)},
                {"rx_power_watts", threshold_json(t.rx_power, watts)},
                {"rx_power_dbm", threshold_json(t.rx_power, dbm_json)}};
}

}  // namespace

json readings_json(const decoded_module &m) {
    if (!m.readings) return nullptr;
    const module_readings &r = *m.readings;
    json lanes = json::array();
    for (const lane_reading &l : r.lanes)
        lanes.push_back(json{{"lane", l.lane},
                             {"tx_bias_amperes", optional_number(l.tx_bias_amperes)},
                             {"tx_power_watts", l.tx_power.watts},
                             {"tx_power_dbm", dbm_json(l.tx_power)},
                             {"rx_power_watts", l.rx_power.watts},
                             {"rx_power_dbm", dbm_json(l.rx_power)}});
    return json{{"temperature_celsius", r.temperature_celsius},
                {"supply_voltage_volts", r.supply_voltage_volts},
                {"rx_power_type", r.rx_power_average ? "average" : "OMA"},
                {"lanes", lanes},
                {"thresholds", r.thresholds ? thresholds_json(*r.thresholds) : json(nullptr)}};
}

std::string readings_text(const decoded_module &) { return {}; }

}  // namespace fdump
