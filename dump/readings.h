// SPDX-License-Identifier: Apache-2.0
// Readings as the module means them, next to the records that keep the raw
// words: temperature at the module's 1/256 degree resolution, supply voltage
// in volts, per-lane Tx bias in amperes and optical powers in watts and dBm,
// for the module's real lanes only, with the thresholds of each quantity in
// the same units.
//
//   SFF-8472 external calibration (A0h byte 92 bit 4 set, bit 5 clear): the
//     thresholds are A/D values like the readings and are converted with the
//     same A2h constants (slopes and offsets at bytes 76-91, the Rx power
//     polynomial Rx_PWR(4..0) at bytes 56-75).
//   CMIS: Tx bias and its thresholds times the multiplier of page 01h
//     byte 160 bits 4-3 (1, 2, 4).
//   Lanes: SFP and XFP 1, QSFP 4, CMIS the media lanes of the active
//     data paths (page 11h bytes 206-213), else of the first application.
//   Powers: 0.1 uW per count; zero is 0 W and minus infinity dBm.
//
// Computed from the diagnostics record and the library's helpers; only what
// the record does not carry is read from the image through the module's page
// plan: the temperature words (their fraction), the power words (a record
// dBm of -40.0 is both a zero reading and one count), the calibration
// constants, the bias multiplier and the application lane counts.
#ifndef FIBERDECODE_DUMP_READINGS_H
#define FIBERDECODE_DUMP_READINGS_H

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "fiber_decode.h"
#include "report.h"

namespace fdump {

// A power as counts of 0.1 uW (after calibration; never negative).
struct power_reading {
    double watts = 0.0;
    // 10 log10(P / 1 mW), rounded to 0.01 dB; minus infinity for 0 W.
    double dbm = -std::numeric_limits<double>::infinity();
};

struct lane_reading {
    unsigned lane = 0;                       // 1-based
    std::optional<double> tx_bias_amperes;   // empty: the bias scale is unknown
    power_reading tx_power, rx_power;
};

// High alarm, low alarm, high warning, low warning.
template <class T>
struct threshold_set {
    T high_alarm{}, low_alarm{}, high_warning{}, low_warning{};
};

struct reading_thresholds {
    threshold_set<double> temperature_celsius, supply_voltage_volts;
    std::optional<threshold_set<double>> tx_bias_amperes;  // empty: the bias scale is unknown
    threshold_set<power_reading> tx_power, rx_power;
};

struct module_readings {
    double temperature_celsius = 0.0;
    double supply_voltage_volts = 0.0;
    bool rx_power_average = false;  // else OMA
    std::vector<lane_reading> lanes;
    std::optional<reading_thresholds> thresholds;  // empty where the record has none

    // How the values were derived, for the text report.
    bool external_calibration = false;  // SFF-8472 A0h byte 92 bit 4
    unsigned bias_multiplier = 1;       // CMIS page 01h byte 160 bits 4-3; 0: reserved code
    std::string lane_source;            // "active data paths", "first application", ...
};

// The readings of a module from its diagnostics record and its page plan:
// empty when the record was not decoded or the module implements no
// monitors. Appends to `notes` why a value is unknown.
std::optional<module_readings> compute_readings(const page_plan &plan, const fiber_diag_info_t &diag,
                                                std::vector<std::string> &notes);

// The media lanes of a CMIS module: those of the active data paths (page 11h
// Active Control Set, bytes 206-213: AppSel bits 7-4, DataPathID bits 3-1 per
// host lane), else those of the first application (lower page byte 88
// bits 3-0); 0 when neither says. `source` names which one answered.
unsigned cmis_media_lanes(const uint8_t *lower, const uint8_t *page01, const uint8_t *page11, std::string *source);

// The JSON `readings` object (null for a module without readings) and the
// readings part of the text report's diagnostics section: lines of
// "  label  value" with the record's value beneath where it differs.
document_builder::value readings_json(const decoded_module &module, document_builder &builder);
std::string readings_text(const decoded_module &module);

}  // namespace fdump

#endif
