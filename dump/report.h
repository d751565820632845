// SPDX-License-Identifier: Apache-2.0
// Reports of a decoded module: readable text and one JSON document.
#ifndef FIBERDECODE_DUMP_REPORT_H
#define FIBERDECODE_DUMP_REPORT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "document.h"
#include "pages.h"

namespace fdump {

// The first line of a file's text report and its notes.
std::string text_header(const decoded_module &module);
// The sections: identification, vendor, diagnostics, alarms, module state.
std::string text_body(const decoded_module &module);

// The JSON document, as an nlohmann::json value or into any builder.
json json_report(const decoded_module &module);
document_builder::value json_report(const decoded_module &module, document_builder &builder);

// A power in dBm with two decimals; -40.00 dBm (no light, or a zero reading)
// is shown as such.
std::string format_dbm(float dbm);
// Record units to operator units: 100 uV to V, 2 uA to mA.
std::string format_volts(int32_t units_100uv);
std::string format_milliamps(int32_t units_2ua);
// Module text as stored, trailing blanks removed, other bytes outside
// printable ASCII as \xNN.
std::string printable(const char *field, std::size_t size);
// Fixed decimals, exact as printf's %.*f, without a minus sign on a value
// that rounds to zero.
std::string fixed(double value, int decimals);
// Up to two decimals, trailing zeros dropped (850 nm, 1560.8 nm, 1552.52 nm).
std::string compact(double value);
std::string join(const std::vector<std::string> &items, const char *separator);
// Width of a text on a terminal: UTF-8 continuation bytes take no column
// (the degree and plus-minus signs are two bytes, one column).
std::size_t columns(std::string_view s);
// The report's text columns: a label of kLabelWidth columns after two
// blanks, table cells of kColumnWidth.
constexpr std::size_t kLabelWidth = 21, kColumnWidth = 13;
// Appends the text and blanks up to `width` columns.
void append_padded(std::string &out, std::string_view s, std::size_t width);
// Appends a table row without its line end: the label, then the cells, each
// but the last padded to kColumnWidth.
void append_row(std::string &out, std::string_view label, const std::vector<std::string> &cells);
// printf into a string of at most 255 characters (report fields and values).
std::string strprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace fdump

#endif
