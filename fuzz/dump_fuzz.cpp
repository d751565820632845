// SPDX-License-Identifier: Apache-2.0
// libFuzzer target over the dump layer's whole road: input bytes (a file's
// contents as any front-end hands them over) to a decoded module or an input
// error, then to the text report and the JSON document.
//
// The first byte of an input chooses the overrides: bits 0-2 the format
// (auto, raw, optoe, hex, a0a2; other values auto), bits 4-6 the module kind
// (none, sfp, xfp, qsfp, cmis; other values none). The rest is the dump.
// Seeds: fuzz/dump_corpus (every dump in the test data and the shapes).
//
// Checked beyond memory safety: no exception escapes; an input error is one
// line; the JSON document parses and is valid UTF-8 (the serialiser throws on
// invalid UTF-8, the parser checks it again); the text and the JSON agree on
// whether the module was decoded; decoding the same input twice gives the
// same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>

#include "dump.h"

namespace {

using namespace fdump;

[[noreturn]] void fail(const char *what, const std::string &detail = {}) {
    std::fprintf(stderr, "dump_fuzz: %s %s\n", what, detail.substr(0, 200).c_str());
    std::abort();
}

struct rendered {
    std::string error, text, json;
};

rendered road(std::span<const uint8_t> data, const decode_options &options) {
    rendered r;
    auto decoded = decode_bytes(data, "fuzz", options);
    if (!decoded) {
        r.error = decoded.error;
        return r;
    }
    r.text = text_report(*decoded.value);
    r.json = json_report(*decoded.value).dump(2);
    const decoded_module &m = *decoded.value;
    const json parsed = json::parse(r.json);  // throws on invalid UTF-8 or syntax
    if (parsed.at("decoded").get<bool>() != m.failure.empty()) fail("JSON decoded disagrees with the module");
    if (!m.failure.empty() && r.text.find(m.failure) == std::string::npos)
        fail("text does not say why the module was not decoded", m.failure);
    return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    if (size == 0) return 0;
    constexpr input_format kFormats[] = {input_format::automatic, input_format::raw, input_format::optoe,
                                         input_format::hex, input_format::a0a2};
    constexpr module_family kKinds[] = {module_family::sfp, module_family::xfp, module_family::qsfp,
                                        module_family::cmis};
    decode_options options;
    const unsigned format = data[0] & 0x07, kind = (data[0] >> 4) & 0x07;
    if (format < std::size(kFormats)) options.format = kFormats[format];
    if (kind >= 1 && kind <= std::size(kKinds)) options.kind = kKinds[kind - 1];
    const std::span<const uint8_t> dump(data + 1, size - 1);
    try {
        const rendered first = road(dump, options), second = road(dump, options);
        if (first.error != second.error || first.text != second.text || first.json != second.json)
            fail("two decodings of the same input differ");
        if (!first.error.empty() && first.error.find('\n') != std::string::npos) fail("error of more than one line", first.error);
        if (first.error.empty() && first.text.empty()) fail("neither an error nor a report");
    } catch (const std::exception &e) {
        fail("exception escaped:", e.what());
    } catch (...) {
        fail("unknown exception escaped");
    }
    return 0;
}
