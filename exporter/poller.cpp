// SPDX-License-Identifier: Apache-2.0
// Rounds of reads on a fixed pool of worker threads, and the snapshots
// published after each round.
#include "poller.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include <zlib.h>

namespace fexporter {

using fdump::json;
using clock_type = std::chrono::steady_clock;

struct poller::port {
    fdump::module_source source;
    read_state state;
    std::optional<json> report;
    std::string error;
    bool read = false, read_before = false;
    std::uint64_t errors = 0;
};

namespace {

double unix_now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

const char *kind_name(fdump::module_source::type kind) {
    return kind == fdump::module_source::type::file ? "file" : "interface";
}

void log_line(const std::string &message) {
    std::fprintf(stderr, "fiberdecode-exporter: %s\n", message.c_str());
}

}  // namespace

bool no_module(const fdump::module_source &source, const std::string &error) {
    if (source.kind == fdump::module_source::type::file) {
        struct stat st;
        return stat(source.target.c_str(), &st) != 0 && errno == ENOENT;
    }
    // The dump layer's texts for an interface without a module to read.
    for (const char *text : {": no such network interface", ": the driver gives no access to plug-in module EEPROM",
                             ": no module"})
        if (error.find(text) != std::string::npos) return true;
    return false;
}

read_result read_source(const fdump::module_source &source, std::chrono::milliseconds timeout) {
    read_result result;
    auto decoded = fdump::read_module(source, timeout);
    if (decoded) {
        result.report = fdump::json_report(*decoded.value);
        return result;
    }
    result.error = decoded.error;
    result.absent = no_module(source, decoded.error);
    return result;
}

poller::poller(std::vector<fdump::module_source> sources, poller_options options, reader read)
    : options_(std::move(options)), read_(std::move(read)) {
    ports_.resize(sources.size());
    for (std::size_t i = 0; i < sources.size(); ++i) ports_[i].source = std::move(sources[i]);
    if (options_.workers == 0) options_.workers = 1;
    publish();  // round 0: the exporter's own metrics, no port read yet
}

poller::~poller() { stop(); }

void poller::start() {
    for (unsigned i = 0; i < options_.workers; ++i) workers_.emplace_back([this] { worker_loop(); });
    poll_thread_ = std::thread([this] { poll_loop(); });
}

void poller::stop() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        queue_.clear();
    }
    changed_.notify_all();
    if (poll_thread_.joinable()) poll_thread_.join();
    for (auto &w : workers_)
        if (w.joinable()) w.join();
    workers_.clear();
}

std::shared_ptr<const snapshot> poller::current() const {
    std::lock_guard lock(mutex_);
    return current_;
}

bool poller::wait_for_round(std::uint64_t round, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return round_ >= round || stopping_; }) && round_ >= round;
}

void poller::poll_loop() {
    for (;;) {
        const auto started = clock_type::now();
        run_round();
        std::unique_lock lock(mutex_);
        if (stopping_) return;
        changed_.wait_until(lock, started + options_.interval, [&] { return stopping_; });
        if (stopping_) return;
    }
}

void poller::run_round() {
    {
        std::unique_lock lock(mutex_);
        if (stopping_) return;
        // Reads in index order, so that ports are read in the order given.
        queue_.clear();
        for (std::size_t i = ports_.size(); i-- > 0;) queue_.push_back(i);
        pending_ = ports_.size();
        changed_.notify_all();
        changed_.wait(lock, [&] { return pending_ == 0 || stopping_; });
        if (stopping_) return;
    }
    publish();
}

void poller::worker_loop() {
    for (;;) {
        std::size_t index;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return !queue_.empty() || stopping_; });
            if (stopping_) return;
            index = queue_.back();
            queue_.pop_back();
        }
        read_port(index);
    }
}

void poller::read_port(std::size_t index) {
    const auto started = clock_type::now();
    read_result result = read_(ports_[index].source, options_.timeout);
    const double duration = std::chrono::duration<double>(clock_type::now() - started).count();

    std::string message;
    {
        std::lock_guard lock(mutex_);
        port &p = ports_[index];
        const bool was_ok = p.read && p.error.empty();
        const std::string previous_error = p.error;
        p.read_before = p.read;
        p.read = true;
        p.state.last_duration_seconds = duration;
        p.state.present = result.report.has_value();
        if (result.report) {
            p.state.last_success_unix = unix_now();
            p.report = std::move(result.report);
            p.error.clear();
            if (p.read_before && !was_ok) message = p.source.name + ": module read again";
        } else {
            p.report.reset();
            p.error = result.absent ? result.error + " (no module)" : result.error;
            if (!result.absent) p.state.errors_total = static_cast<double>(++p.errors);
            if (p.error != previous_error) message = p.error;
        }
        --pending_;
    }
    changed_.notify_all();
    if (!message.empty()) log_line(message);
}

void poller::publish() {
    // Called by the constructor and at the end of a round: no read is
    // running, so the ports are read without the lock.
    auto next = std::make_shared<snapshot>();
    std::vector<sample_set> sets;
    sets.reserve(ports_.size() + 1);
    sets.push_back(exporter_samples(options_.version));
    std::string modules = "[";
    for (const port &p : ports_) {
        port_status status{p.source.name, p.source.target, kind_name(p.source.kind), p.read,
                           p.state.present, p.error, p.errors};
        if (p.read) {
            sets.push_back(port_samples(p.source.name, p.state, p.report ? &*p.report : nullptr));
        }
        if (modules.size() > 1) modules += ",\n";
        modules += "{\"port\":" + json(p.source.name).dump(-1, ' ', false, json::error_handler_t::replace);
        modules += ",\"source\":\"" + std::string(kind_name(p.source.kind)) + "\"";
        modules += ",\"target\":" + json(p.source.target).dump(-1, ' ', false, json::error_handler_t::replace);
        modules += ",\"present\":" + std::string(p.state.present ? "true" : "false");
        modules += ",\"error\":" + (p.error.empty() ? std::string("null")
                                                    : json(p.error).dump(-1, ' ', false, json::error_handler_t::replace));
        modules += ",\"read_errors_total\":" + std::to_string(p.errors);
        modules += ",\"last_read_success\":" +
                   (p.state.last_success_unix ? format_value(*p.state.last_success_unix) : std::string("null"));
        modules += ",\"module\":" + (p.report ? p.report->dump(-1, ' ', false, json::error_handler_t::replace)
                                              : std::string("null"));
        modules += "}";
        next->ports.push_back(std::move(status));
    }
    modules += "]\n";
    std::vector<const sample_set *> pointers;
    for (const auto &s : sets) pointers.push_back(&s);
    next->metrics = render(pointers);
    next->metrics_gzip = gzip(next->metrics);
    next->modules = std::move(modules);
    {
        std::lock_guard lock(mutex_);
        if (current_) round_ += 1;
        next->round = round_;
        current_ = std::move(next);
    }
    changed_.notify_all();
}

std::string gzip(const std::string &text) {
    z_stream stream{};
    // windowBits 15 + 16: a gzip header and trailer around the deflate data.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
    std::string out(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int status = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return status == Z_STREAM_END ? out : std::string();
}

}  // namespace fexporter
