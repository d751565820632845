// SPDX-License-Identifier: Apache-2.0
// Prometheus metrics of pluggable modules, in the text exposition format
// (version 0.0.4), built from the dump layer's JSON document of each module
// so that the exporter decodes nothing itself and shows exactly what
// `fiberdecode --json` shows.
//
//   in:  per port, the outcome of its last read (the JSON document, or why
//        there is none) and the read statistics the poller keeps;
//   out: the samples of each metric family for that port; render() joins
//        the ports family by family, with one HELP and TYPE line each.
#ifndef FIBERDECODE_EXPORTER_METRICS_H
#define FIBERDECODE_EXPORTER_METRICS_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report.h"

namespace fexporter {

// Every metric family the exporter writes, in the order of the output.
enum class family : std::size_t {
    module_present,
    module_info,
    temperature_celsius,
    supply_voltage_volts,
    tx_bias_amperes,
    tx_power_dbm,
    rx_power_dbm,
    temperature_threshold_celsius,
    supply_voltage_threshold_volts,
    tx_bias_threshold_amperes,
    tx_power_threshold_dbm,
    rx_power_threshold_dbm,
    alarm_active,
    module_state,
    datapath_state,
    read_errors_total,
    last_read_success_timestamp_seconds,
    read_duration_seconds,
    exporter_build_info,
    count_
};
constexpr std::size_t kFamilyCount = static_cast<std::size_t>(family::count_);

struct family_def {
    family id;
    const char *name;
    const char *type;  // "gauge" or "counter"
    const char *help;
};
const family_def &definition(family f);

// One sample: its label set as written between the braces, and its value
// as written after them.
struct sample {
    std::string labels;
    std::string value;
};

// The samples of one port (or of the exporter itself), by family.
struct sample_set {
    std::array<std::vector<sample>, kFamilyCount> by_family;
    void add(family f, std::string labels, std::string value) {
        by_family[static_cast<std::size_t>(f)].push_back({std::move(labels), std::move(value)});
    }
    const std::vector<sample> &of(family f) const { return by_family[static_cast<std::size_t>(f)]; }
};

// What the poller knows about a port after its reads.
struct read_state {
    bool present = false;                          // the last read found a module
    double errors_total = 0;                       // failed reads so far
    std::optional<double> last_success_unix;       // seconds since the epoch
    std::optional<double> last_duration_seconds;   // of the last read, failed or not
};

// A label value as the format requires: backslash, double quote and line
// feed escaped as \\, \" and \n; everything else (UTF-8) as it stands.
std::string escape_label_value(std::string_view value);
// Module text as a label value: trailing blanks removed, then escaped.
std::string module_text(std::string_view value);
// `name="value"` pairs joined by commas; each value as module_text().
std::string label_set(std::initializer_list<std::pair<const char *, std::string_view>> labels);

// Sample values: the shortest text that reads back as the same number
// (a float from the JSON document as the document writes it), +Inf, -Inf,
// NaN.
std::string format_value(double value);
std::string format_value(float value);
// A number of the JSON document as a sample value, written as the document
// writes it; empty for null or a value that is not a number.
std::optional<std::string> json_value(const fdump::json &value);

// The samples of one port from its last read: `report` is the module's JSON
// document, null when the last read failed.
sample_set port_samples(const std::string &port, const read_state &state, const fdump::json *report);

// The exporter's own samples.
sample_set exporter_samples(const std::string &version);

// The exposition text: for each family in order, its HELP and TYPE lines
// and the samples of every set, in the order given. Families without a
// sample are left out.
std::string render(const std::vector<const sample_set *> &sets);

constexpr const char *kContentType = "text/plain; version=0.0.4; charset=utf-8";

}  // namespace fexporter

#endif
