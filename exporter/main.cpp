// SPDX-License-Identifier: Apache-2.0
// fiberdecode-exporter: reads pluggable modules (sysfs EEPROM files, dumps,
// Linux network interfaces) in the background and serves their health as
// Prometheus metrics.
//
// Exit status: 0 after SIGTERM or SIGINT, 1 when the listen address cannot
// be bound, 2 for usage errors and unusable module sources.
#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "poller.h"
#include "source.h"
#include "web.h"

namespace {

using namespace fexporter;

constexpr int kUsage = 2;
constexpr int kBindFailed = 1;

struct options {
    fdump::source_options sources;
    double interval = 60, timeout = 5;
    unsigned workers = 4;
    std::string listen = ":" + std::to_string(kDefaultPort);
    std::string telemetry_path = "/metrics";
    std::size_t max_connections = 64;
};

int usage_error(const std::string &message) {
    std::fprintf(stderr, "fiberdecode-exporter: %s\n", message.c_str());
    return kUsage;
}

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0 + 0.5));
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app{"Serve the health of pluggable transceiver modules (SFP, XFP, QSFP, CMIS) as Prometheus metrics.\n"
                 "Modules are read in the background every --interval seconds; scrapes are served from the\n"
                 "last reading.",
                 "fiberdecode-exporter"};
    options opt;
    opt.sources.use = fdump::source_use::polled;  // read every round, under unique port labels
    app.add_option("--module", opt.sources.modules, "A module file as NAME=PATH (repeatable)")->type_name("NAME=PATH");
    app.add_option("--modules-file", opt.sources.modules_files, "A file of \"NAME PATH\" lines (# comments)")
        ->type_name("FILE");
    app.add_option("--module-glob", opt.sources.globs,
                   "Module files matching a shell pattern, named by the matched parts")
        ->type_name("PATTERN");
    app.add_option("--interface", opt.sources.interfaces, "A network interface whose module is read (repeatable)")
        ->type_name("IFACE");
    app.add_flag("--all-interfaces", opt.sources.all_interfaces, "Every network interface backed by a device");
    app.add_option("--interval", opt.interval, "Seconds between polling rounds (default 60)")
        ->check(CLI::Range(0.05, 86400.0))->type_name("SECONDS");
    app.add_option("--read-timeout", opt.timeout, "Seconds after which a module read is abandoned (default 5)")
        ->check(CLI::Range(0.01, 600.0))->type_name("SECONDS");
    app.add_option("--read-workers", opt.workers, "Modules read at the same time (default 4)")
        ->check(CLI::Range(1, 256));
    app.add_option("--web.listen-address", opt.listen,
                   "Address to listen on, HOST:PORT, [IPV6]:PORT or :PORT (default :" +
                       std::to_string(kDefaultPort) + ")")
        ->type_name("ADDRESS");
    app.add_option("--web.telemetry-path", opt.telemetry_path, "Path of the metrics (default /metrics)")
        ->type_name("PATH");
    app.add_option("--web.max-connections", opt.max_connections, "Connections served at once (default 64)")
        ->check(CLI::Range(1, 4096));
    app.set_version_flag("--version", FIBERDECODE_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        int code = app.exit(e);
        return code == 0 ? 0 : kUsage;
    }

    std::string error;
    auto address = parse_listen_address(opt.listen, &error);
    if (!address) return usage_error("--web.listen-address: " + error);
    if (opt.telemetry_path.empty() || opt.telemetry_path[0] != '/' || opt.telemetry_path == "/modules")
        return usage_error("--web.telemetry-path must start with '/' and differ from /modules");
    // Patterns are expanded once, here: a pattern without match yet is a
    // warning, a bad source or a port name given twice a usage error.
    std::vector<std::string> warnings;
    auto gathered = fdump::gather_sources(opt.sources, &warnings);
    for (const auto &warning : warnings) std::fprintf(stderr, "fiberdecode-exporter: %s\n", warning.c_str());
    if (!gathered) return usage_error(gathered.error);
    std::vector<fdump::module_source> sources = std::move(*gathered.value);
    if (sources.empty() && opt.sources.globs.empty() && !opt.sources.all_interfaces)
        return usage_error("no module to read: give --module, --modules-file, --module-glob, --interface or "
                           "--all-interfaces (see --help)");

    // Signals are taken by sigwait below; every thread started from here on
    // inherits the blocked set.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    poller_options popt;
    popt.interval = milliseconds(opt.interval);
    popt.timeout = milliseconds(opt.timeout);
    popt.workers = opt.workers;
    popt.version = FIBERDECODE_VERSION;
    const std::size_t port_count = sources.size();
    poller poll(std::move(sources), popt);

    web_options wopt;
    wopt.telemetry_path = opt.telemetry_path;
    wopt.max_connections = opt.max_connections;
    wopt.max_queued = opt.max_connections;
    wopt.version = FIBERDECODE_VERSION;
    httplib::Server server;
    configure_server(server, poll, wopt);
    int port = address->port;
    if (port == 0) {
        port = server.bind_to_any_port(address->host);
    } else if (!server.bind_to_port(address->host, port)) {
        port = -1;
    }
    if (port <= 0) {
        std::fprintf(stderr, "fiberdecode-exporter: cannot listen on %s\n", opt.listen.c_str());
        return kBindFailed;
    }
    const bool v6 = address->host.find(':') != std::string::npos;
    std::fprintf(stderr, "fiberdecode-exporter: listening on %s%s%s:%d, %zu modules, every %g s\n", v6 ? "[" : "",
                 address->host.c_str(), v6 ? "]" : "", port, port_count, opt.interval);

    poll.start();
    std::thread listener([&server] { server.listen_after_bind(); });
    int received = 0;
    sigwait(&signals, &received);
    std::fprintf(stderr, "fiberdecode-exporter: %s, stopping\n", received == SIGTERM ? "SIGTERM" : "SIGINT");
    server.stop();
    listener.join();
    poll.stop();
    return 0;
}
