// SPDX-License-Identifier: Apache-2.0
// fiberdecode: decodes pluggable module memory dumps (raw, optoe or hex
// text) with the fiberdecode library and prints a text or JSON report per
// file.
//
// Exit status: 0 when every file was decoded, 1 when some module could not
// be decoded (its family decoder rejected it), 2 for usage errors and input
// errors (unreadable file, empty, truncated, not hex, too short, unknown
// identifier). Every file is attempted; errors go to standard error.
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "dump.h"

namespace {

using namespace fdump;

constexpr int kDecoded = 0;
constexpr int kNotDecoded = 1;
constexpr int kBadInput = 2;

struct options {
    std::vector<std::string> files;
    input_format format = input_format::automatic;
    std::optional<module_family> kind;
    bool json = false;
    bool dump = false;
};

void error(const std::string &file, const std::string &message) {
    std::fflush(stdout);
    std::fprintf(stderr, "fiberdecode: %s: %s\n", file.c_str(), message.c_str());
}

void write(const std::string &text) { std::fwrite(text.data(), 1, text.size(), stdout); }

int decode_file(const options &opt, const std::string &path, bool first) {
    const std::string name = path == "-" ? "<stdin>" : path;
    auto decoded = decode_path(path, decode_options{opt.format, opt.kind});
    if (!decoded) {
        error(name, decoded.error);
        return kBadInput;
    }
    const decoded_module &module = *decoded.value;
    if (opt.json) {
        write(json_report(module).dump(2) + "\n");
    } else {
        if (!first) write("\n");
        write(text_header(module));
        if (opt.dump) {
            write("\nPage dump\n");
            dump_pages(*module.plan);
        }
        write(text_body(module));
    }
    std::fflush(stdout);
    if (!module.failure.empty()) {
        error(name, "not decoded: " + module.failure);
        return kNotDecoded;
    }
    return kDecoded;
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app{"Decode pluggable transceiver module memory dumps (SFP, XFP, QSFP, CMIS).\n"
                 "FILE is a raw image (ethtool -m DEV raw on), an optoe sysfs file, or hex text\n"
                 "(ethtool -m DEV hex on, a plain hex dump, i2cdump output); - reads standard input.",
                 "fiberdecode"};
    options opt;
    std::string format = "auto";
    std::string kind = "auto";
    app.add_option("FILE", opt.files, "Module dumps to decode")->required();
    app.add_option("--format", format, "Input format (default: detected)")
        ->check(CLI::IsMember({"auto", "raw", "optoe", "hex"}));
    app.add_option("--kind", kind, "Module family (default: from the SFF-8024 identifier)")
        ->check(CLI::IsMember({"auto", "sfp", "xfp", "qsfp", "cmis"}));
    auto *json_flag = app.add_flag("--json", opt.json, "Print one JSON document per file");
    app.add_flag("--dump", opt.dump, "Also print the library's page dump (text mode)")->excludes(json_flag);
    app.set_version_flag("--version", FIBERDECODE_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        int code = app.exit(e);
        return code == 0 ? 0 : kBadInput;
    }
    opt.format = *parse_format_name(format);
    if (kind != "auto") opt.kind = parse_family_name(kind);

    int status = kDecoded;
    bool first = true;
    for (const auto &file : opt.files) {
        status = std::max(status, decode_file(opt, file, first));
        first = false;
    }
    return status;
}
