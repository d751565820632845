// SPDX-License-Identifier: Apache-2.0
// The dump layer's calls: bytes or pages to one decoded module, and the
// module to its text report.
#include "dump.h"

#include <cstdio>
#include <utility>

namespace fdump {

namespace {

decoded_module decode_plan(page_plan plan, const std::string &name, input_format format, bool forced) {
    auto shared = std::make_shared<const page_plan>(std::move(plan));
    decoded_module module = decode_module(*shared);
    module.file = name;
    module.format = format;
    module.size = shared->size;
    module.family_forced = forced;
    module.plan = std::move(shared);
    return module;
}

}  // namespace

outcome<decoded_module> decode_bytes(std::span<const uint8_t> data, const std::string &name,
                                     const decode_options &options) {
    using result = outcome<decoded_module>;
    auto image = make_image(std::vector<uint8_t>(data.begin(), data.end()), options.format);
    if (!image) return result::fail(image.error);
    module_family family = options.kind ? *options.kind : detect_family(image.value->bytes);
    if (family == module_family::unknown) {
        char buf[128];
        std::snprintf(buf, sizeof buf, "unrecognised module identifier %02Xh at byte 0 (--kind decodes it anyway)",
                      image.value->bytes[0]);
        return result::fail(buf);
    }
    if (std::string missing = check_needs(family, *image.value); !missing.empty()) return result::fail(missing);
    decoded_module module =
        decode_plan(plan_pages(family, *image.value), name, image.value->format, options.kind.has_value());
    module.notes.insert(module.notes.begin(), image.value->notes.begin(), image.value->notes.end());
    return result::ok(std::move(module));
}

outcome<decoded_module> decode_path(const std::string &path, const decode_options &options) {
    const std::string name = path == "-" ? "<stdin>" : path;
    auto data = read_file(path);
    if (!data) return outcome<decoded_module>::fail(data.error);
    return decode_bytes(*data.value, name, options);
}

outcome<decoded_module> decode_pages(module_family family, const uint8_t *lower, const fiber_pages_t &pages,
                                     const std::string &name) {
    using result = outcome<decoded_module>;
    if (family == module_family::unknown) return result::fail("unknown module family");
    if (!lower) return result::fail("no lower page given");
    if (family != module_family::sfp && !pages[0])
        return result::fail(family == module_family::xfp ? "no lower memory given (pages[0x00])"
                                                          : "no upper page 00h given");
    return result::ok(decode_plan(plan_given_pages(family, lower, pages), name, input_format::pages, true));
}

std::string text_report(const decoded_module &module) { return text_header(module) + text_body(module); }

}  // namespace fdump
