// SPDX-License-Identifier: Apache-2.0
// Handlers, limits and the connection queue of the exporter's HTTP server.
#include "web.h"

#include <charconv>
#include <memory>

namespace fexporter {

namespace {

constexpr const char *kHtml = "text/html; charset=utf-8";
constexpr const char *kJson = "application/json";
constexpr const char *kText = "text/plain; charset=utf-8";

// cpp-httplib matches paths as regular expressions: a configured path is
// matched literally.
std::string regex_escape(const std::string &path) {
    std::string out;
    for (char c : path) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) out += '\\';
        out += c;
    }
    return out;
}

std::string html_escape(std::string_view text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string_view trim(std::string_view s) {
    const auto first = s.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

bool iequals(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

// Serves a body held by a snapshot without copying it; the response keeps
// the snapshot alive until it is written. A body of known length is sent
// as it stands (cpp-httplib compresses only what it is given to hold).
void serve(httplib::Response &res, std::shared_ptr<const snapshot> snap, const std::string &body,
           const char *content_type) {
    const std::string *text = &body;
    res.set_content_provider(body.size(), content_type,
                             [snap = std::move(snap), text](std::size_t offset, std::size_t length,
                                                            httplib::DataSink &sink) {
                                 sink.write(text->data() + offset, length);
                                 return true;
                             });
}

std::string status_text(int status) {
    switch (status) {
        case 400: return "400 Bad Request";
        case 404: return "404 Not Found";
        case 405: return "405 Method Not Allowed";
        case 413: return "413 Payload Too Large";
        case 414: return "414 URI Too Long";
        case 431: return "431 Request Header Fields Too Large";
        default: return std::to_string(status);
    }
}

}  // namespace

std::optional<listen_address> parse_listen_address(std::string_view text, std::string *error) {
    auto fail = [&](const std::string &why) -> std::optional<listen_address> {
        if (error) *error = "invalid listen address \"" + std::string(text) + "\": " + why;
        return std::nullopt;
    };
    listen_address address;
    std::string_view port;
    if (!text.empty() && text.front() == '[') {
        const auto close = text.find(']');
        if (close == std::string_view::npos || close + 1 >= text.size() || text[close + 1] != ':')
            return fail("expected [IPV6]:PORT");
        address.host = std::string(text.substr(1, close - 1));
        if (address.host.empty()) return fail("empty IPv6 address");
        port = text.substr(close + 2);
    } else {
        const auto colon = text.rfind(':');
        if (colon == std::string_view::npos) return fail("expected HOST:PORT");
        address.host = std::string(text.substr(0, colon));
        if (address.host.find(':') != std::string::npos) return fail("an IPv6 address needs brackets: [ADDRESS]:PORT");
        if (address.host.empty()) address.host = "0.0.0.0";
        port = text.substr(colon + 1);
    }
    int value = -1;
    auto [end, ec] = std::from_chars(port.data(), port.data() + port.size(), value);
    if (port.empty() || ec != std::errc() || end != port.data() + port.size() || value < 0 || value > 65535)
        return fail("the port must be a number from 0 to 65535");
    address.port = value;
    return address;
}

bool accepts_gzip(std::string_view accept_encoding) {
    while (!accept_encoding.empty()) {
        const auto comma = accept_encoding.find(',');
        std::string_view item = accept_encoding.substr(0, comma);
        accept_encoding = comma == std::string_view::npos ? std::string_view() : accept_encoding.substr(comma + 1);
        const auto semicolon = item.find(';');
        const std::string_view coding = trim(item.substr(0, semicolon));
        if (!iequals(coding, "gzip") && !iequals(coding, "x-gzip") && coding != "*") continue;
        if (semicolon == std::string_view::npos) return true;
        // q=0 (0, 0.0, 0.00, 0.000) refuses the coding; any other weight accepts it.
        std::string_view param = trim(item.substr(semicolon + 1));
        if (param.size() < 2 || (param[0] != 'q' && param[0] != 'Q') || param[1] != '=') return true;
        const std::string_view q = trim(param.substr(2));
        if (q.empty() || q[0] != '0' || q.find_first_not_of("0.") != std::string_view::npos) return true;
    }
    return false;
}

std::string landing_page(const snapshot &snap, const web_options &options) {
    const std::string metrics = html_escape(options.telemetry_path);
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\"><title>fiberdecode-exporter</title>\n"
        "<style>body{font-family:sans-serif;margin:2em}table{border-collapse:collapse}"
        "td,th{border:1px solid #ccc;padding:.2em .6em;text-align:left}</style></head>\n<body>\n"
        "<h1>fiberdecode-exporter</h1>\n<p>Transceiver module health as Prometheus metrics. Version " +
        html_escape(options.version) + ".</p>\n<ul>\n<li><a href=\"" + metrics + "\">" + metrics +
        "</a>: metrics</li>\n<li><a href=\"/modules\">/modules</a>: the decoded document of every module "
        "(JSON)</li>\n</ul>\n";
    page += "<p>" + std::to_string(snap.ports.size()) + " ports, " + std::to_string(snap.round) +
            " polling rounds completed.</p>\n";
    page += "<table>\n<tr><th>port</th><th>source</th><th>state</th><th>read errors</th></tr>\n";
    for (const auto &p : snap.ports) {
        std::string state = !p.read ? "not read yet" : !p.error.empty() ? p.error : "module present";
        page += "<tr><td>" + html_escape(p.name) + "</td><td>" + html_escape(p.kind) + " " + html_escape(p.target) +
                "</td><td>" + html_escape(state) + "</td><td>" + std::to_string(p.errors_total) + "</td></tr>\n";
    }
    page += "</table>\n</body>\n</html>\n";
    return page;
}

bounded_queue::bounded_queue(std::size_t workers, std::size_t max_queued) : max_queued_(max_queued) {
    for (std::size_t i = 0; i < workers; ++i) threads_.emplace_back([this] { work(); });
}

bounded_queue::~bounded_queue() { shutdown(); }

void bounded_queue::enqueue(std::function<void()> fn) {
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return jobs_.size() < max_queued_ || shutdown_; });
        if (shutdown_) {
            // The server is stopping: serve the connection here, so that
            // its socket is still closed.
            lock.unlock();
            fn();
            return;
        }
        jobs_.push_back(std::move(fn));
    }
    changed_.notify_all();
}

void bounded_queue::shutdown() {
    {
        std::lock_guard lock(mutex_);
        shutdown_ = true;
    }
    changed_.notify_all();
    for (auto &t : threads_)
        if (t.joinable()) t.join();
}

void bounded_queue::work() {
    for (;;) {
        std::function<void()> fn;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return !jobs_.empty() || shutdown_; });
            if (jobs_.empty()) return;  // shut down and drained
            fn = std::move(jobs_.front());
            jobs_.pop_front();
        }
        changed_.notify_all();
        fn();
    }
}

void configure_server(httplib::Server &server, const poller &source, const web_options &options) {
    const std::size_t workers = options.max_connections ? options.max_connections : 1;
    const std::size_t queued = options.max_queued ? options.max_queued : 1;
    server.new_task_queue = [workers, queued] { return new bounded_queue(workers, queued); };
    server.set_read_timeout(5, 0);
    server.set_write_timeout(5, 0);
    server.set_keep_alive_timeout(5);
    server.set_keep_alive_max_count(1000);
    server.set_payload_max_length(4096);  // a GET carries no body
    server.set_tcp_nodelay(true);

    const std::size_t max_headers = options.max_headers;
    server.set_pre_routing_handler([max_headers](const httplib::Request &req, httplib::Response &res) {
        if (req.method != "GET" && req.method != "HEAD") {
            res.status = 405;
            res.set_header("Allow", "GET, HEAD");
            res.set_content("only GET and HEAD are served\n", kText);
            return httplib::Server::HandlerResponse::Handled;
        }
        if (req.headers.size() > max_headers) {
            res.status = 431;
            res.set_content("too many request header fields\n", kText);
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    server.set_error_handler([](const httplib::Request &, httplib::Response &res) {
        if (res.body.empty() && res.content_length_ == 0) res.set_content(status_text(res.status) + "\n", kText);
    });

    server.Get(regex_escape(options.telemetry_path), [&source](const httplib::Request &req, httplib::Response &res) {
        auto snap = source.current();
        res.set_header("Vary", "Accept-Encoding");
        if (accepts_gzip(req.get_header_value("Accept-Encoding")) && !snap->metrics_gzip.empty()) {
            res.set_header("Content-Encoding", "gzip");
            serve(res, snap, snap->metrics_gzip, kContentType);
        } else {
            serve(res, snap, snap->metrics, kContentType);
        }
    });
    server.Get("/modules", [&source](const httplib::Request &, httplib::Response &res) {
        auto snap = source.current();
        serve(res, snap, snap->modules, kJson);
    });
    if (options.telemetry_path != "/") {
        server.Get("/", [&source, options](const httplib::Request &, httplib::Response &res) {
            res.set_content(landing_page(*source.current(), options), kHtml);
        });
    }
}

}  // namespace fexporter
