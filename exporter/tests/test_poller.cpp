// SPDX-License-Identifier: Apache-2.0
// Polling rounds over a scripted reader: what each outcome does to a port's
// metrics, error counter and presence, and that ports are independent.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>

#include "poller.h"

namespace {

using namespace fexporter;
using fdump::json;

struct script {
    std::mutex mutex;
    std::map<std::string, read_result> next;
    std::map<std::string, int> reads;
    read_result operator()(const fdump::module_source &source) {
        std::lock_guard lock(mutex);
        ++reads[source.name];
        return next[source.name];
    }
    void set(const std::string &port, read_result r) {
        std::lock_guard lock(mutex);
        next[port] = std::move(r);
    }
};

read_result module(double temperature) {
    read_result r;
    r.report = json::parse(R"({"kind":"sfp","readings":{"temperature_celsius":)" + std::to_string(temperature) + "}}");
    return r;
}
read_result failure(const std::string &why) { return {std::nullopt, why, false}; }
read_result absent() { return {std::nullopt, "gone: cannot open", true}; }

bool has(const std::string &text, const std::string &line) { return text.find(line + "\n") != std::string::npos; }

TEST(Poller, EachOutcomeShowsUpAfterTheNextRoundAndOtherPortsKeepTheirValues) {
    script s;
    s.set("a", module(30.5));
    s.set("b", module(40.25));
    s.set("c", module(50));
    std::vector<fdump::module_source> sources;
    for (const char *name : {"a", "b", "c"}) sources.push_back({fdump::module_source::type::file, name, name});
    poller_options options;
    options.interval = std::chrono::milliseconds(20);
    options.workers = 2;
    poller p(sources, options, [&s](const fdump::module_source &src, std::chrono::milliseconds) { return s(src); });

    // Before the first round: only the exporter's own metric, no port yet.
    EXPECT_EQ(p.current()->round, 0u);
    EXPECT_EQ(p.current()->metrics.find("port="), std::string::npos);

    p.start();
    ASSERT_TRUE(p.wait_for_round(1, std::chrono::seconds(10)));
    std::string m = p.current()->metrics;
    EXPECT_TRUE(has(m, R"(fiberdecode_temperature_celsius{port="a"} 30.5)"));
    EXPECT_TRUE(has(m, R"(fiberdecode_module_present{port="b"} 1)"));

    // b fails twice, c disappears: b counts errors, c does not; a is untouched.
    s.set("b", failure("b: read timed out after 5000 ms (abandoned)"));
    s.set("c", absent());
    std::uint64_t round = p.current()->round;
    ASSERT_TRUE(p.wait_for_round(round + 2, std::chrono::seconds(10)));
    auto snap = p.current();
    m = snap->metrics;
    EXPECT_TRUE(has(m, R"(fiberdecode_temperature_celsius{port="a"} 30.5)"));
    EXPECT_TRUE(has(m, R"(fiberdecode_module_present{port="a"} 1)"));
    EXPECT_TRUE(has(m, R"(fiberdecode_module_present{port="b"} 0)"));
    EXPECT_TRUE(has(m, R"(fiberdecode_module_present{port="c"} 0)"));
    EXPECT_FALSE(has(m, R"(fiberdecode_temperature_celsius{port="b"} 40.25)"));  // no stale value
    EXPECT_EQ(m.find(R"(fiberdecode_temperature_celsius{port="c"})"), std::string::npos);
    EXPECT_TRUE(has(m, R"(fiberdecode_read_errors_total{port="c"} 0)"));
    EXPECT_EQ(m.find(R"(fiberdecode_read_errors_total{port="b"} 0)"), std::string::npos);
    EXPECT_EQ(m.find(R"(fiberdecode_read_errors_total{port="b"} 1)"), std::string::npos);  // at least two rounds
    ASSERT_EQ(snap->ports.size(), 3u);
    EXPECT_EQ(snap->ports[1].error, "b: read timed out after 5000 ms (abandoned)");
    EXPECT_GE(snap->ports[1].errors_total, 2u);
    EXPECT_EQ(snap->ports[2].errors_total, 0u);
    EXPECT_NE(snap->modules.find(R"("port":"b","source":"file","target":"b","present":false,"error":"b: read timed out)"),
              std::string::npos);

    // b recovers: its counter stays, its readings come back.
    s.set("b", module(41));
    round = p.current()->round;
    ASSERT_TRUE(p.wait_for_round(round + 1, std::chrono::seconds(10)));
    m = p.current()->metrics;
    EXPECT_TRUE(has(m, R"(fiberdecode_temperature_celsius{port="b"} 41.0)"));
    EXPECT_TRUE(has(m, R"(fiberdecode_module_present{port="b"} 1)"));
    EXPECT_EQ(m.find(R"(fiberdecode_read_errors_total{port="b"} 0)"), std::string::npos);
    p.stop();
    EXPECT_GE(s.reads["a"], 3);
}

TEST(Poller, ASlowPortDoesNotHoldBackTheSnapshotOfTheOthersBeyondItsRead) {
    // A reader that takes 300 ms for one port: with two workers the other
    // ports are read meanwhile, and the round ends when the slow read does.
    std::atomic<int> fast_reads{0};
    std::vector<fdump::module_source> sources;
    for (const char *name : {"slow", "f1", "f2", "f3"}) sources.push_back({fdump::module_source::type::file, name, name});
    poller_options options;
    options.interval = std::chrono::seconds(60);
    options.workers = 2;
    poller p(sources, options, [&](const fdump::module_source &src, std::chrono::milliseconds) {
        if (src.name == "slow") std::this_thread::sleep_for(std::chrono::milliseconds(300));
        else ++fast_reads;
        return module(20);
    });
    const auto started = std::chrono::steady_clock::now();
    p.start();
    ASSERT_TRUE(p.wait_for_round(1, std::chrono::seconds(10)));
    const auto took = std::chrono::steady_clock::now() - started;
    EXPECT_EQ(fast_reads.load(), 3);
    EXPECT_LT(took, std::chrono::seconds(5));
    // Stopping in the middle of the long interval returns at once.
    const auto stopping = std::chrono::steady_clock::now();
    p.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(2));
}

TEST(Poller, FileSourcesThatDoNotExistAreAbsentNotErrors) {
    fdump::module_source missing{fdump::module_source::type::file, "m", "/nonexistent/fiberdecode/eeprom"};
    read_result r = read_source(missing, std::chrono::milliseconds(1000));
    EXPECT_FALSE(r.report);
    EXPECT_TRUE(r.absent);
    EXPECT_NE(r.error.find("m (/nonexistent/fiberdecode/eeprom)"), std::string::npos) << r.error;

    fdump::module_source dir{fdump::module_source::type::file, "d", "/"};
    r = read_source(dir, std::chrono::milliseconds(1000));
    EXPECT_FALSE(r.report);
    EXPECT_FALSE(r.absent);

    // Interfaces: none of this machine's holds a module (lo, the first
    // Ethernet interface, one that does not exist); permission problems
    // stay errors.
    for (const char *iface : {"lo", "eth0", "fdx-nosuch0"}) {
        r = read_source(fdump::interface_source(iface), std::chrono::milliseconds(2000));
        EXPECT_FALSE(r.report) << iface;
        EXPECT_TRUE(r.absent) << iface << ": " << r.error;
    }
    EXPECT_FALSE(no_module(fdump::interface_source("eth0"),
                           "eth0: permission denied: reading a module's EEPROM needs CAP_NET_ADMIN"));
    EXPECT_FALSE(no_module(fdump::interface_source("eth0"), "eth0: read timed out after 5000 ms (abandoned)"));

    fdump::module_source real{fdump::module_source::type::file, "s", std::string(FIBER_TEST_DATA) +
                                                                           "/sfp-10g-sr-finisar-ftlx8571/dump.bin"};
    r = read_source(real, std::chrono::milliseconds(5000));
    ASSERT_TRUE(r.report) << r.error;
    EXPECT_EQ((*r.report)["kind"], "sfp");
    EXPECT_EQ((*r.report)["file"], "s");
}

}  // namespace
