// SPDX-License-Identifier: Apache-2.0
// Reports of a decoded module: readable text and one JSON document.
#ifndef FIBERDECODE_DUMP_REPORT_H
#define FIBERDECODE_DUMP_REPORT_H

#include <cstdint>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "pages.h"

namespace fdump {

// Keys keep the records' field order; floats are written with the precision
// of the records' own single-precision fields (-2.5, not -2.5000000001).
using json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, std::int64_t,
                                  std::uint64_t, float>;

// A JSON object built member by member, keys in the order they are put.
// Cheaper than an initializer list, which copies every value: values are
// moved in, and room for `members` is reserved, since growing an ordered
// object copies the members it holds (their keys are const). Keys are
// distinct by construction, so put() appends without looking them up.
struct json_object {
    json value = json::object();
    explicit json_object(std::size_t members) { value.get_ref<json::object_t &>().reserve(members); }
    json_object &put(const char *key, json member) {
        value.get_ref<json::object_t &>().emplace_back(key, std::move(member));
        return *this;
    }
};

// The first line of a file's text report and its notes.
std::string text_header(const decoded_module &module);
// The sections: identification, vendor, diagnostics, alarms, module state.
std::string text_body(const decoded_module &module);

json json_report(const decoded_module &module);

// A power in dBm with two decimals; -40.00 dBm (no light, or a zero reading)
// is shown as such.
std::string format_dbm(float dbm);
// Record units to operator units: 100 uV to V, 2 uA to mA.
std::string format_volts(int32_t units_100uv);
std::string format_milliamps(int32_t units_2ua);
// Module text as stored, trailing blanks removed, other bytes outside
// printable ASCII as \xNN.
std::string printable(const char *field, std::size_t size);
// printf into a string of at most 255 characters (report fields and values).
std::string strprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace fdump

#endif
