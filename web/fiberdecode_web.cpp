// SPDX-License-Identifier: Apache-2.0
// The browser page's way into the dump layer, compiled to WebAssembly: the
// bytes of a dump (pasted text as UTF-8, or a file's bytes), a display name
// and the format / kind overrides in; the command's JSON document, its text
// report, or its input error out. Nothing is decoded here: every step is the
// dump layer's, so the page shows what `fiberdecode --json` prints.
//
// One call decodes and keeps its results until the next call; the page reads
// them through the accessors below (pointers into memory the page copies
// from at once). Calls are made from the page's one thread.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "dump.h"

namespace {

// Exit statuses of the command for one file.
constexpr int kDecoded = 0;
constexpr int kNotDecoded = 1;
constexpr int kBadInput = 2;

struct last_result {
    std::string json;     // the JSON document (status 0 or 1)
    std::string text;     // the text report (status 0 or 1)
    std::string message;  // status 2: the input error; status 1: why the module was not decoded
};

last_result last;

// The names the command's --format and --kind accept, in the dump layer's
// order: every value of the enumeration whose name parses back to it.
// "auto" is the command's own word for no --kind.
template <class Enum, class Name, class Parse>
std::string accepted_names(Name name_of, Parse parse) {
    std::string names;
    for (int value = 0; value < 64; ++value) {
        const Enum e = static_cast<Enum>(value);
        const char *name = name_of(e);
        auto parsed = parse(name);
        if (parsed && *parsed == e) names += std::string(names.empty() ? "" : " ") + name;
    }
    return names;
}

std::string names_line;

}  // namespace

extern "C" {

// Decodes SIZE bytes at DATA as the file NAME. FORMAT is a --format value
// ("auto" when empty); KIND a --kind value ("auto" or empty: from the
// SFF-8024 identifier). Returns the command's exit status for the file:
// 0 decoded, 1 not decoded (the document says "decoded": false), 2 input
// error (fiberdecode_web_message() holds the message).
__attribute__((used, visibility("default"))) int fiberdecode_web_decode(const uint8_t *data, std::size_t size,
                                                                         const char *name, const char *format,
                                                                         const char *kind) {
    last = {};
    fdump::decode_options options;
    const std::string format_text = format && *format ? format : "auto";
    const std::string kind_text = kind && *kind ? kind : "auto";
    auto parsed_format = fdump::parse_format_name(format_text);
    if (!parsed_format) {
        last.message = "unknown format \"" + format_text + "\" (the formats are " +
                       accepted_names<fdump::input_format>(fdump::format_name, fdump::parse_format_name) + ")";
        return kBadInput;
    }
    options.format = *parsed_format;
    if (kind_text != "auto") {
        options.kind = fdump::parse_family_name(kind_text);
        if (!options.kind) {
            last.message = "unknown kind \"" + kind_text + "\" (the kinds are auto " +
                           accepted_names<fdump::module_family>(fdump::family_name, fdump::parse_family_name) + ")";
            return kBadInput;
        }
    }
    auto decoded = fdump::decode_bytes(std::span<const uint8_t>(data, size), name ? name : "", options);
    if (!decoded) {
        last.message = decoded.error;
        return kBadInput;
    }
    const fdump::decoded_module &module = *decoded.value;
    last.json = fdump::json_report(module).dump(2);  // as `fiberdecode --json` prints it
    last.text = fdump::text_report(module);
    if (!module.failure.empty()) {
        last.message = "not decoded: " + module.failure;
        return kNotDecoded;
    }
    return kDecoded;
}

__attribute__((used, visibility("default"))) const char *fiberdecode_web_json() { return last.json.c_str(); }
__attribute__((used, visibility("default"))) const char *fiberdecode_web_text() { return last.text.c_str(); }
__attribute__((used, visibility("default"))) const char *fiberdecode_web_message() { return last.message.c_str(); }

// Two lines: the --format names, then the --kind names (without "auto"),
// each separated by blanks.
__attribute__((used, visibility("default"))) const char *fiberdecode_web_names() {
    if (names_line.empty())
        names_line = accepted_names<fdump::input_format>(fdump::format_name, fdump::parse_format_name) + "\n" +
                     accepted_names<fdump::module_family>(fdump::family_name, fdump::parse_family_name);
    return names_line.c_str();
}

}  // extern "C"
