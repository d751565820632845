// SPDX-License-Identifier: Apache-2.0
// The exporter's HTTP side on cpp-httplib: GET (and HEAD) of the landing
// page, the telemetry path and /modules, served from the poller's current
// snapshot; every other method or path is refused. Requests are bounded in
// size, header count, time and the number of connections.
#ifndef FIBERDECODE_EXPORTER_WEB_H
#define FIBERDECODE_EXPORTER_WEB_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <httplib.h>

#include "poller.h"

namespace fexporter {

struct listen_address {
    std::string host;  // as bound: a name, an IPv4 address or an IPv6 address without brackets
    int port = 0;      // 0: a free port chosen by the system
};

constexpr int kDefaultPort = 9724;

// --web.listen-address: "HOST:PORT", "[IPV6]:PORT" or ":PORT" (every IPv4
// address). An error message when it is none of these.
std::optional<listen_address> parse_listen_address(std::string_view text, std::string *error);

// Whether an Accept-Encoding header value accepts gzip (RFC 9110: "gzip"
// or "x-gzip" or "*", unless its q is 0).
bool accepts_gzip(std::string_view accept_encoding);

struct web_options {
    std::string telemetry_path = "/metrics";
    std::size_t max_connections = 64;  // served at once (worker threads)
    std::size_t max_queued = 64;       // accepted and waiting for a worker
    std::size_t max_headers = 64;
    std::string version;
};

// The landing page: links to the telemetry path and /modules, and each
// port's state after the last round.
std::string landing_page(const snapshot &snap, const web_options &options);

// Connections for cpp-httplib's server: a fixed set of worker threads and a
// bounded queue. When the queue is full, the accepting thread waits for a
// free place, so further clients wait in the kernel's listen backlog
// instead of growing the exporter's memory.
class bounded_queue : public httplib::TaskQueue {
public:
    bounded_queue(std::size_t workers, std::size_t max_queued);
    ~bounded_queue() override;
    void enqueue(std::function<void()> fn) override;
    void shutdown() override;

private:
    void work();
    std::size_t max_queued_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> jobs_;
    bool shutdown_ = false;
    std::vector<std::thread> threads_;
};

// Registers the handlers and limits on `server`.
void configure_server(httplib::Server &server, const poller &source, const web_options &options);

}  // namespace fexporter

#endif
