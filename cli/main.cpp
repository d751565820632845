// SPDX-License-Identifier: Apache-2.0
// fiberdecode: decodes pluggable module memory dumps (raw, optoe or hex
// text) with the fiberdecode library and prints a text or JSON report per
// file, and the modules of live sources: EEPROM files named by the user
// (--module, --modules-file, --module-glob) and network interfaces
// (--interface, --all-interfaces), each read within --timeout.
//
// Exit status: 0 when every file was decoded, 1 when some module could not
// be decoded (its family decoder rejected it), 2 for usage errors and input
// errors (unreadable file, empty, truncated, not hex, too short, unknown
// identifier). Every file is attempted; errors go to standard error.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "dump.h"
#include "source.h"

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
    // Live sources, read after the files.
    source_options sources;
    std::string modules_file;  // --modules-file is given at most once here
    double timeout_s = 5.0;
};

void error(const std::string &file, const std::string &message) {
    std::fflush(stdout);
    std::fprintf(stderr, "fiberdecode: %s: %s\n", file.c_str(), message.c_str());
}

void write(const std::string &text) { std::fwrite(text.data(), 1, text.size(), stdout); }

int report(const options &opt, const decoded_module &module, bool first) {
    const std::string &name = module.file;
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

int decode_file(const options &opt, const std::string &path, bool first) {
    const std::string name = path == "-" ? "<stdin>" : path;
    auto decoded = decode_path(path, decode_options{opt.format, opt.kind});
    if (!decoded) {
        error(name, decoded.error);
        return kBadInput;
    }
    return report(opt, *decoded.value, first);
}

// Reads every source, a few at a time so that one that hangs costs at most
// the timeout and never holds up the others, then reports them in order.
int decode_sources(const options &opt, const std::vector<module_source> &sources, bool first) {
    const auto timeout = std::chrono::milliseconds(static_cast<long long>(opt.timeout_s * 1000.0 + 0.5));
    std::vector<outcome<decoded_module>> results(sources.size());
    std::atomic<std::size_t> next{0};
    auto worker = [&] {
        for (std::size_t i; (i = next++) < sources.size();)
            results[i] = read_module(sources[i], timeout, decode_options{opt.format, opt.kind});
    };
    std::vector<std::thread> workers;
    const std::size_t count = std::min<std::size_t>(sources.size(), 16);
    for (std::size_t i = 1; i < count; ++i) workers.emplace_back(worker);
    worker();
    for (auto &thread : workers) thread.join();

    int status = kDecoded;
    for (const auto &result : results) {
        if (!result) {
            std::fflush(stdout);
            std::fprintf(stderr, "fiberdecode: %s\n", result.error.c_str());
            status = std::max(status, kBadInput);
        } else {
            status = std::max(status, report(opt, *result.value, first));
            first = false;
        }
    }
    return status;
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
    app.add_option("FILE", opt.files, "Module dumps to decode");
    app.add_option("--format", format, "Input format (default: detected)")
        ->check(CLI::IsMember(format_names()));
    app.add_option("--kind", kind, "Module family (default: from the SFF-8024 identifier)")
        ->check(CLI::IsMember({"auto", "sfp", "xfp", "qsfp", "cmis"}));
    auto *json_flag = app.add_flag("--json", opt.json, "Print one JSON document per file");
    app.add_flag("--dump", opt.dump, "Also print the library's page dump (text mode)")->excludes(json_flag);
    app.add_option("--interface", opt.sources.interfaces,
                   "Read the module of network interface IFACE through the kernel (needs CAP_NET_ADMIN); repeatable")
        ->type_name("IFACE");
    app.add_flag("--all-interfaces", opt.sources.all_interfaces,
                 "Read the modules of every interface backed by a device");
    app.add_option("--module", opt.sources.modules,
                   "Read an EEPROM file (optoe, at24 sysfs) or dump as port NAME; repeatable")
        ->type_name("NAME=PATH");
    app.add_option("--modules-file", opt.modules_file, "Read the modules listed in FILE, lines \"NAME PATH\"")
        ->type_name("FILE");
    app.add_option("--module-glob", opt.sources.globs,
                   "Read the files matching PATTERN, named by the parts the wildcards match; repeatable")
        ->type_name("PATTERN");
    app.add_option("--timeout", opt.timeout_s, "Time limit of each module read from the sources above, in s (default 5)")
        ->check(CLI::Range(0.001, 3600.0));
    app.set_version_flag("--version", FIBERDECODE_VERSION);
    try {
        app.parse(argc, argv);
        if (opt.files.empty() && opt.sources.interfaces.empty() && opt.sources.modules.empty() &&
            opt.modules_file.empty() && opt.sources.globs.empty() && !opt.sources.all_interfaces)
            throw CLI::RequiredError("FILE");
    } catch (const CLI::ParseError &e) {
        int code = app.exit(e);
        return code == 0 ? 0 : kBadInput;
    }
    opt.format = *parse_format_name(format);
    if (kind != "auto") opt.kind = parse_family_name(kind);
    if (!opt.modules_file.empty()) opt.sources.modules_files.push_back(opt.modules_file);

    int status = kDecoded;
    bool first = true;
    for (const auto &file : opt.files) {
        status = std::max(status, decode_file(opt, file, first));
        first = false;
    }
    // A source error is an input error (exit status 2).
    auto sources = gather_sources(opt.sources);
    if (!sources) {
        std::fflush(stdout);
        std::fprintf(stderr, "fiberdecode: %s\n", sources.error.c_str());
        return kBadInput;
    }
    return std::max(status, decode_sources(opt, *sources.value, first));
}
