// SPDX-License-Identifier: Apache-2.0
// Module sources: the --module, --modules-file and --module-glob forms, the
// interfaces listed by --all-interfaces, the sources all of them gather (in
// the command's and the exporter's use), reads that hang (a FIFO nobody
// writes) and the errors of this machine's own interfaces, through the
// library calls and through the fiberdecode command.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <grp.h>
#include <net/if.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "source.h"

namespace {

using namespace fdump;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

const std::string kSamples = std::string(FIBER_SOURCE_DIR) + "/samples";

// A fresh directory of this test's own.
fs::path scratch() {
    const auto *info = testing::UnitTest::GetInstance()->current_test_info();
    fs::path dir = fs::path(testing::TempDir()) /
                   ("fiberdecode-source-" + std::to_string(getpid()) + "-" + info->name());
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir;
}

void write(const fs::path &path, const std::string &text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

module_source file_source(const std::string &name, const std::string &path) {
    return {module_source::type::file, name, path};
}

TEST(Sources, ModuleArguments) {
    struct row {
        const char *arg;
        const char *name, *target, *error;
    };
    const row rows[] = {
        {"port1=/sys/bus/i2c/devices/2-0050/eeprom", "port1", "/sys/bus/i2c/devices/2-0050/eeprom", ""},
        {"Ethernet4=/tmp/a=b.bin", "Ethernet4", "/tmp/a=b.bin", ""},  // split at the first '='
        {"p=dump with blanks.bin", "p", "dump with blanks.bin", ""},
        {"=/dev/null", "", "", "the module name before '=' must be non-empty, without blanks or control characters"},
        {"my port=/x", "", "", "the module name before '=' must be non-empty, without blanks or control characters"},
        {"port1=", "", "", "no path after \"port1=\""},
        {"/sys/bus/i2c/devices/2-0050/eeprom", "", "", "expected NAME=PATH, got \"/sys/bus/i2c/devices/2-0050/eeprom\""},
    };
    for (const row &r : rows) {
        auto source = parse_module_arg(r.arg);
        EXPECT_EQ(source.error, r.error) << r.arg;
        if (!source) continue;
        EXPECT_EQ(*source.value, file_source(r.name, r.target)) << r.arg;
    }
}

TEST(Sources, ModulesFile) {
    const fs::path dir = scratch();
    write(dir / "good", "# ports of switch 1\r\n"
                        "\n"
                        "swp1 /sys/bus/i2c/devices/2-0050/eeprom\r\n"
                        "   # indented comment\n"
                        "swp2\t /srv/dumps/port two.bin  \n"
                        "swp3 /srv/dumps/#3.bin");
    auto listed = read_modules_file(dir / "good");
    ASSERT_TRUE(listed) << listed.error;
    EXPECT_EQ(*listed.value, (std::vector<module_source>{
                                 file_source("swp1", "/sys/bus/i2c/devices/2-0050/eeprom"),
                                 file_source("swp2", "/srv/dumps/port two.bin"),
                                 file_source("swp3", "/srv/dumps/#3.bin"),
                             }));

    struct row {
        const char *text, *error;
    };
    const row rows[] = {
        {"swp1 /a\n\nswp1 /b\n", ":3: module swp1 already named on line 1"},
        {"# header\nswp1\n", ":2: expected NAME PATH"},
        {"swp\x01 /a\n", ":1: the module name holds a control character"},
    };
    for (const row &r : rows) {
        write(dir / "bad", r.text);
        auto bad = read_modules_file(dir / "bad");
        EXPECT_EQ(bad.error, (dir / "bad").string() + r.error) << r.text;
    }
    auto missing = read_modules_file(dir / "none");
    EXPECT_EQ(missing.error, (dir / "none").string() + ": cannot open: No such file or directory");
    write(dir / "empty", "# nothing yet\n");
    auto empty = read_modules_file(dir / "empty");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty.value->empty());
}

TEST(Sources, GlobNamesByTheWildcardComponents) {
    const fs::path dir = scratch();
    for (const char *f : {"i2c/3-0050/eeprom", "i2c/2-0050/eeprom", "i2c/2-0051/name", "dumps/sfp1.bin",
                          "dumps/qsfp2.bin", "dumps/notes.txt", "sw/a/p1/eeprom", "sw/b/p1/eeprom"})
        write(dir / f, "x");
    struct row {
        std::string pattern;
        std::vector<std::string> names, targets;
    };
    const std::string d = dir.string();
    const row rows[] = {
        {d + "/i2c/*/eeprom", {"2-0050", "3-0050"}, {d + "/i2c/2-0050/eeprom", d + "/i2c/3-0050/eeprom"}},
        {d + "/dumps/*.bin", {"qsfp2.bin", "sfp1.bin"}, {d + "/dumps/qsfp2.bin", d + "/dumps/sfp1.bin"}},
        {d + "/sw/*/p?/eeprom", {"a/p1", "b/p1"}, {d + "/sw/a/p1/eeprom", d + "/sw/b/p1/eeprom"}},
        {d + "/i2c/[3]-0050/eeprom", {"3-0050"}, {d + "/i2c/3-0050/eeprom"}},
        {d + "/dumps/sfp1.bin", {"sfp1.bin"}, {d + "/dumps/sfp1.bin"}},  // no wildcard: the file name
        {d + "/i2c/*/nothing", {}, {}},
    };
    for (const row &r : rows) {
        std::vector<std::string> names, targets;
        for (const auto &source : glob_modules(r.pattern)) {
            EXPECT_EQ(source.kind, module_source::type::file);
            names.push_back(source.name);
            targets.push_back(source.target);
        }
        EXPECT_EQ(names, r.names) << r.pattern;
        EXPECT_EQ(targets, r.targets) << r.pattern;
    }
}

// --- gathering the source options ---

source_options options_of(source_use use, std::vector<std::string> modules, std::vector<std::string> files,
                          std::vector<std::string> globs, std::vector<std::string> interfaces) {
    return {std::move(modules), std::move(files), std::move(globs), std::move(interfaces), false, use};
}

std::vector<std::string> names_of(const std::vector<module_source> &sources) {
    std::vector<std::string> names;
    for (const auto &source : sources) names.push_back(source.name);
    return names;
}

TEST(Gather, SourcesInTheOrderOfTheOptionKinds) {
    const fs::path dir = scratch();
    const std::string d = dir.string();
    write(dir / "list", "f1 /srv/c.bin\nf2 /srv/d.bin\n");
    write(dir / "list2", "f3 /srv/e.bin\n");
    write(dir / "dumps/b.bin", "x");
    write(dir / "dumps/a.bin", "x");
    const std::vector<module_source> expected = {
        file_source("m2", "/srv/b.bin"),  // --module, in the order given
        file_source("m1", "/srv/a.bin"),
        file_source("f1", "/srv/c.bin"),  // --modules-file, each file in turn
        file_source("f2", "/srv/d.bin"),
        file_source("f3", "/srv/e.bin"),
        file_source("a.bin", d + "/dumps/a.bin"),  // --module-glob, sorted by path
        file_source("b.bin", d + "/dumps/b.bin"),
        interface_source("swp9"),  // --interface, in the order given
        interface_source("swp1"),
    };
    for (source_use use : {source_use::once, source_use::polled}) {
        std::vector<std::string> warnings;
        auto gathered = gather_sources(options_of(use, {"m2=/srv/b.bin", "m1=/srv/a.bin"},
                                                  {d + "/list", d + "/list2"}, {d + "/dumps/*.bin"},
                                                  {"swp9", "swp1"}),
                                       &warnings);
        ASSERT_TRUE(gathered) << gathered.error;
        EXPECT_EQ(*gathered.value, expected);
        EXPECT_TRUE(warnings.empty());
    }

    // --all-interfaces comes last, with this machine's device-backed
    // interfaces; the command refuses to find none.
    auto present = all_interfaces();
    ASSERT_TRUE(present) << present.error;
    source_options all = options_of(source_use::once, {"m1=/srv/a.bin"}, {}, {}, {"swp9"});
    all.all_interfaces = true;
    auto gathered = gather_sources(all);
    if (present.value->empty()) {
        EXPECT_EQ(gathered.error, "--all-interfaces: no network interface is backed by a device");
    } else {
        ASSERT_TRUE(gathered) << gathered.error;
        std::vector<module_source> with_all = {file_source("m1", "/srv/a.bin"), interface_source("swp9")};
        with_all.insert(with_all.end(), present.value->begin(), present.value->end());
        EXPECT_EQ(*gathered.value, with_all);
    }
    all.use = source_use::polled;
    all.interfaces.clear();
    EXPECT_TRUE(gather_sources(all)) << "the exporter may start before any interface is up";
}

TEST(Gather, ErrorsNameTheOption) {
    const fs::path dir = scratch();
    const std::string d = dir.string();
    write(dir / "dumps/sfp1.bin", "x");
    write(dir / "dumps/qsfp2.bin", "x");
    write(dir / "twice", "swp1 /a\n\nswp1 /b\n");
    write(dir / "short", "# header\nswp1\n");
    constexpr source_use once = source_use::once, polled = source_use::polled;
    struct row {
        source_options options;
        std::string error;                  // empty: gathered
        std::vector<std::string> names;     // when gathered
        std::vector<std::string> warnings;  // either way
    };
    const std::string none = d + "/none", no_match = d + "/dumps/*.txt";
    const std::vector<row> rows = {
        // A bad --module names the argument in the command's message.
        {options_of(once, {"swp0=/a", "swp1"}, {}, {}, {}), "--module swp1: expected NAME=PATH, got \"swp1\"", {}, {}},
        {options_of(polled, {"swp0=/a", "swp1"}, {}, {}, {}), "--module: expected NAME=PATH, got \"swp1\"", {}, {}},
        {options_of(once, {"swp1="}, {}, {}, {}), "--module swp1=: no path after \"swp1=\"", {}, {}},
        // The first bad source stops the gathering.
        {options_of(once, {"swp1"}, {none}, {no_match}, {}), "--module swp1: expected NAME=PATH, got \"swp1\"", {},
         {}},
        // A modules file's errors name the file (and the line).
        {options_of(once, {}, {none}, {}, {}), none + ": cannot open: No such file or directory", {}, {}},
        {options_of(polled, {}, {none}, {}, {}), "--modules-file: " + none + ": cannot open: No such file or directory",
         {}, {}},
        {options_of(once, {}, {d + "/short"}, {}, {}), d + "/short:2: expected NAME PATH", {}, {}},
        {options_of(polled, {}, {d + "/twice"}, {}, {}),
         "--modules-file: " + d + "/twice:3: module swp1 already named on line 1", {}, {}},
        // A pattern without match: an error for the command, a warning for
        // the exporter, which reads what the other patterns found.
        {options_of(once, {}, {}, {d + "/dumps/*.bin", no_match}, {}),
         "--module-glob " + no_match + ": no file matches", {}, {}},
        {options_of(polled, {}, {}, {no_match, d + "/dumps/*.bin"}, {}), "", {"qsfp2.bin", "sfp1.bin"},
         {"--module-glob " + no_match + ": no file matches (yet)"}},
        // Port names must be unique for the exporter, across option kinds;
        // the command reports each source under its name.
        {options_of(polled, {"sfp1.bin=/a"}, {}, {d + "/dumps/*.bin"}, {}), "port name \"sfp1.bin\" given twice", {},
         {}},
        {options_of(once, {"sfp1.bin=/a"}, {}, {d + "/dumps/*.bin"}, {}), "", {"sfp1.bin", "qsfp2.bin", "sfp1.bin"},
         {}},
        {options_of(polled, {}, {}, {}, {"swp1", "swp2", "swp1"}), "port name \"swp1\" given twice", {}, {}},
        {options_of(once, {}, {}, {}, {"swp1", "swp1"}), "", {"swp1", "swp1"}, {}},
        // A warning is kept when an error follows.
        {options_of(polled, {"swp1=/a"}, {}, {no_match}, {"swp1"}), "port name \"swp1\" given twice", {},
         {"--module-glob " + no_match + ": no file matches (yet)"}},
        // Nothing given: nothing gathered.
        {options_of(once, {}, {}, {}, {}), "", {}, {}},
        {options_of(polled, {}, {}, {}, {}), "", {}, {}},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const row &r = rows[i];
        std::vector<std::string> warnings;
        auto gathered = gather_sources(r.options, &warnings);
        EXPECT_EQ(gathered.error, r.error) << "row " << i;
        if (gathered) {
            EXPECT_EQ(names_of(*gathered.value), r.names) << "row " << i;
        }
        EXPECT_EQ(warnings, r.warnings) << "row " << i;
    }
}

// --- reading ---

TEST(Read, FilesDecodeUnderTheSourceName) {
    auto module = read_module(file_source("swp1", kSamples + "/sfp-10g-sr.bin"), 5s);
    ASSERT_TRUE(module) << module.error;
    EXPECT_EQ(module.value->file, "swp1");
    EXPECT_EQ(module.value->family, module_family::sfp);
    EXPECT_TRUE(module.value->diag.has_value());

    auto text = read_module(file_source("swp2", kSamples + "/qsfp28-100g-sr4.hex"), 5s);
    ASSERT_TRUE(text) << text.error;
    EXPECT_EQ(text.value->format, input_format::hex);

    const fs::path dir = scratch();
    write(dir / "garbage", "\x2A" + std::string(255, '\0'));
    write(dir / "short", std::string(100, '\x03'));
    struct row {
        module_source source;
        std::string error;
    };
    const row rows[] = {
        {file_source("swp3", (dir / "none").string()),
         "swp3 (" + (dir / "none").string() + "): cannot open: No such file or directory"},
        {file_source("swp4", (dir / "garbage").string()),
         "swp4 (" + (dir / "garbage").string() + "): unrecognised module identifier 2Ah at byte 0 (--kind decodes it anyway)"},
        {file_source((dir / "short").string(), (dir / "short").string()),
         (dir / "short").string() + ": truncated image: 100 bytes is not a whole number of 128-byte pages"},
    };
    for (const row &r : rows) EXPECT_EQ(read_module(r.source, 5s).error, r.error);
}

TEST(Read, HungFifoTimesOutAndDelaysNothingElse) {
    const fs::path fifo = scratch() / "eeprom";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const module_source hung = file_source("swp9", fifo.string());

    auto start = std::chrono::steady_clock::now();
    auto first = read_module(hung, 100ms);
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(first.error, "swp9 (" + fifo.string() + "): read timed out after 100 ms (abandoned)");
    EXPECT_GE(waited, 100ms);
    EXPECT_LT(waited, 3s);  // bounded by the timeout, not by the FIFO

    // The abandoned reader is still blocked: a second read of the same file
    // fails at once rather than stacking another blocked thread.
    start = std::chrono::steady_clock::now();
    auto second = read_module(hung, 10s);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    EXPECT_EQ(second.error, "swp9 (" + fifo.string() + "): an earlier read has not returned yet (the device does not answer)");

    // Other modules read as usual meanwhile.
    EXPECT_TRUE(read_module(file_source("swp1", kSamples + "/sfp-10g-sr.bin"), 5s));

    // Once a writer comes and goes, the abandoned reader ends at end of
    // file, and the FIFO reads like any file when someone writes a module.
    int writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    close(writer);
    std::this_thread::sleep_for(100ms);
    std::thread feed([&] {
        int fd = -1;
        for (int i = 0; i < 1000 && fd < 0; ++i) {  // until a reader opens it
            fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
            if (fd < 0) std::this_thread::sleep_for(5ms);
        }
        if (fd < 0) return;
        fcntl(fd, F_SETFL, 0);
        std::ifstream in(kSamples + "/sfp-10g-sr.bin", std::ios::binary);
        std::string bin((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        EXPECT_EQ(::write(fd, bin.data(), bin.size()), static_cast<ssize_t>(bin.size()));
        close(fd);
    });
    outcome<decoded_module> again;
    for (int i = 0; i < 300; ++i) {
        again = read_module(hung, 5s);
        if (again || again.error.find("has not returned") == std::string::npos) break;
        std::this_thread::sleep_for(10ms);
    }
    feed.join();
    ASSERT_TRUE(again) << again.error;
    EXPECT_EQ(again.value->file, "swp9");
    EXPECT_EQ(again.value->family, module_family::sfp);
}

TEST(Read, OneTargetReadAtOnceIsShared) {
    // Two ports named on one FIFO ask while the first read waits for a
    // writer: one read, whose bytes both decode under their own names.
    const fs::path fifo = scratch() / "eeprom";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    outcome<decoded_module> a, b;
    std::thread first([&] { a = read_module(file_source("swpA", fifo.string()), 5s); });
    std::thread second([&] { b = read_module(file_source("swpB", fifo.string()), 5s); });
    std::this_thread::sleep_for(200ms);
    int fd = open(fifo.c_str(), O_WRONLY);  // waits for the one reader
    ASSERT_GE(fd, 0);
    std::ifstream in(kSamples + "/sfp-1g-t.bin", std::ios::binary);
    std::string bin((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(::write(fd, bin.data(), bin.size()), static_cast<ssize_t>(bin.size()));
    close(fd);
    first.join();
    second.join();
    ASSERT_TRUE(a) << a.error;
    ASSERT_TRUE(b) << b.error;
    EXPECT_EQ(a.value->file, "swpA");
    EXPECT_EQ(b.value->file, "swpB");
    EXPECT_EQ(a.value->size, 256u);
    EXPECT_EQ(b.value->size, 256u);
}

// --- interfaces: this machine has no pluggable module ---

bool privileged() { return geteuid() == 0; }

TEST(Read, InterfaceErrorsNameTheInterface) {
    struct row {
        std::string iface, error;
    };
    std::vector<row> rows = {
        {"fdnosuch0", "fdnosuch0: no such network interface"},
        {"a-name-longer-than-ifnamsiz", "a-name-longer-than-ifnamsiz: no such network interface"},
        {"../lo", "../lo: no such network interface"},
        // The loopback driver has no module access; without CAP_NET_ADMIN
        // the kernel refuses before it asks the driver.
        {"lo", privileged() ? "lo: the driver gives no access to plug-in module EEPROM (Operation not supported)"
                            : "lo: permission denied: reading a module's EEPROM needs CAP_NET_ADMIN"},
    };
    for (const row &r : rows) EXPECT_EQ(read_module(interface_source(r.iface), 5s).error, r.error);

    // eth0, when there is one: decoded, or an error that names it.
    if (if_nametoindex("eth0") == 0) GTEST_SKIP() << "no eth0 here";
    auto eth0 = read_module(interface_source("eth0"), 5s);
    if (!eth0) {
        EXPECT_EQ(eth0.error.rfind("eth0: ", 0), 0u) << eth0.error;
    }
}

// --- the command ---

struct run_result {
    int status;
    std::string out, err;
};

// Runs fiberdecode with `args`; `unprivileged` drops to the nobody user
// first (as root only).
run_result run_tool(const std::vector<std::string> &args, bool unprivileged = false) {
    const fs::path dir = fs::path(testing::TempDir()) / ("fiberdecode-run-" + std::to_string(getpid()));
    fs::create_directories(dir);
    const std::string out = (dir / "out").string(), err = (dir / "err").string();
    pid_t pid = fork();
    if (pid == 0) {
        int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        dup2(o, 1), dup2(e, 2);
        if (unprivileged && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) _exit(99);
        std::vector<char *> argv{const_cast<char *>(FIBERDECODE_TOOL)};
        for (const auto &a : args) argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        execv(FIBERDECODE_TOOL, argv.data());
        _exit(98);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    auto slurp = [](const std::string &path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
}

TEST(Command, Interfaces) {
    run_result lo = run_tool({"--interface", "lo"});
    EXPECT_EQ(lo.status, 2);
    EXPECT_EQ(lo.out, "");
    EXPECT_EQ(lo.err, privileged()
                          ? "fiberdecode: lo: the driver gives no access to plug-in module EEPROM (Operation not supported)\n"
                          : "fiberdecode: lo: permission denied: reading a module's EEPROM needs CAP_NET_ADMIN\n");

    run_result json_run = run_tool({"--json", "--interface", "fdnosuch0", "--interface", "lo"});
    EXPECT_EQ(json_run.status, 2);
    EXPECT_EQ(json_run.out, "");
    EXPECT_NE(json_run.err.find("fiberdecode: fdnosuch0: no such network interface\nfiberdecode: lo: "), std::string::npos)
        << json_run.err;

    // A file and a failing interface: the file is still reported, status 2.
    run_result mixed = run_tool({kSamples + "/sfp-1g-t.bin", "--interface", "fdnosuch0"});
    EXPECT_EQ(mixed.status, 2);
    EXPECT_NE(mixed.out.find("sfp-1g-t.bin: SFP module"), std::string::npos) << mixed.out;

    // Device-backed interfaces only: never loopback.
    run_result all = run_tool({"--all-interfaces"});
    EXPECT_EQ(all.err.find("fiberdecode: lo:"), std::string::npos) << all.err;

    if (privileged()) {
        run_result denied = run_tool({"--interface", "lo"}, true);
        EXPECT_EQ(denied.status, 2);
        EXPECT_EQ(denied.err, "fiberdecode: lo: permission denied: reading a module's EEPROM needs CAP_NET_ADMIN\n");
    }
}

TEST(Command, FileSources) {
    const fs::path dir = scratch();
    write(dir / "list", "swp1 " + kSamples + "/sfp-10g-sr.bin\nswp2 " + kSamples + "/qsfpdd-400g-fr4.hex\n");
    run_result r = run_tool({"--json", "--module", "cage7=" + kSamples + "/xfp-10g-lr.bin", "--modules-file",
                             (dir / "list").string(), "--module-glob", kSamples + "/qsfp28-*.bin"});
    EXPECT_EQ(r.status, 0) << r.err;
    std::vector<std::string> files;
    for (std::size_t at = 0; (at = r.out.find("\"file\": \"", at)) != std::string::npos; at += 9)
        files.push_back(r.out.substr(at + 9, r.out.find('"', at + 9) - at - 9));
    EXPECT_EQ(files, (std::vector<std::string>{"cage7", "swp1", "swp2", "qsfp28-100g-sr4.bin"}));

    ASSERT_EQ(mkfifo((dir / "hung").c_str(), 0600), 0);
    run_result hung = run_tool({"--timeout", "0.2", "--module", "swp5=" + (dir / "hung").string(), "--module",
                                "swp6=" + kSamples + "/sfp-1g-t.bin"});
    EXPECT_EQ(hung.status, 2);
    EXPECT_EQ(hung.err, "fiberdecode: swp5 (" + (dir / "hung").string() + "): read timed out after 200 ms (abandoned)\n");
    EXPECT_NE(hung.out.find("swp6: SFP module"), std::string::npos) << hung.out;

    run_result bad = run_tool({"--module", "swp1"});
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.err, "fiberdecode: --module swp1: expected NAME=PATH, got \"swp1\"\n");

    // Source errors come after the files' reports, with exit status 2.
    const std::string no_match = (dir / "*.bin").string();
    run_result unmatched = run_tool({kSamples + "/sfp-1g-t.bin", "--module-glob", no_match});
    EXPECT_EQ(unmatched.status, 2);
    EXPECT_NE(unmatched.out.find("sfp-1g-t.bin: SFP module"), std::string::npos) << unmatched.out;
    EXPECT_EQ(unmatched.err, "fiberdecode: --module-glob " + no_match + ": no file matches\n");
}

}  // namespace
