// SPDX-License-Identifier: Apache-2.0
// Background polling: worker threads read every module once per interval
// and, after each round, the poller publishes one immutable snapshot (the
// exposition text, its gzip form, the /modules document and the port list
// of the landing page). A request only takes the current snapshot, so a
// scrape never waits on module I/O.
#ifndef FIBERDECODE_EXPORTER_POLLER_H
#define FIBERDECODE_EXPORTER_POLLER_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "metrics.h"
#include "source.h"

namespace fexporter {

// The outcome of one read of a port: the module's JSON document, or why
// there is none. `absent` marks a source that does not exist (no module in
// the port), which is not counted as a read error.
struct read_result {
    std::optional<fdump::json> report;
    std::string error;
    bool absent = false;
};

using reader = std::function<read_result(const fdump::module_source &, std::chrono::milliseconds timeout)>;

// Whether a failed read means that there is no module to read rather than
// a fault: a file that does not exist; an interface that does not exist,
// whose driver gives no module access (copper ports under
// --all-interfaces), or that reports no module in its cage.
bool no_module(const fdump::module_source &source, const std::string &error);

// Reads through the dump layer (fdump::read_module) and renders the JSON
// document; a failure no_module() accepts is absent.
read_result read_source(const fdump::module_source &source, std::chrono::milliseconds timeout);

struct port_status {
    std::string name, target, kind;  // kind: "file" or "interface"
    bool read = false;               // at least one read has finished
    bool present = false;
    std::string error;               // of the last read; empty when it succeeded
    std::uint64_t errors_total = 0;
};

struct snapshot {
    std::uint64_t round = 0;          // completed polling rounds (0: none yet)
    std::string metrics;              // exposition text
    std::string metrics_gzip;         // the same, gzip-compressed
    std::string modules;              // the /modules JSON document
    std::vector<port_status> ports;
};

struct poller_options {
    std::chrono::milliseconds interval{60000};
    std::chrono::milliseconds timeout{5000};
    unsigned workers = 4;
    std::string version;
};

class poller {
public:
    poller(std::vector<fdump::module_source> sources, poller_options options, reader read = read_source);
    ~poller();
    poller(const poller &) = delete;
    poller &operator=(const poller &) = delete;

    void start();
    // Ends the current round (reads in progress finish or time out) and
    // joins every thread.
    void stop();
    // The latest snapshot; never blocks on I/O.
    std::shared_ptr<const snapshot> current() const;
    // Waits until `round` rounds have completed or `limit` has passed.
    bool wait_for_round(std::uint64_t round, std::chrono::milliseconds limit) const;

private:
    struct port;
    void poll_loop();
    void worker_loop();
    void run_round();
    void read_port(std::size_t index);
    void publish();

    poller_options options_;
    reader read_;
    std::vector<port> ports_;

    mutable std::mutex mutex_;                 // guards everything below
    mutable std::condition_variable changed_;  // jobs queued, reads done, rounds published, stop
    std::vector<std::size_t> queue_;
    std::size_t pending_ = 0;                  // reads queued or running in this round
    bool stopping_ = false;
    std::shared_ptr<const snapshot> current_;
    std::uint64_t round_ = 0;

    std::thread poll_thread_;
    std::vector<std::thread> workers_;
};

// The gzip form of a text (RFC 1952), as Content-Encoding: gzip serves it.
std::string gzip(const std::string &text);

}  // namespace fexporter

#endif
