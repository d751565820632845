// SPDX-License-Identifier: Apache-2.0
// The HTTP side: listen addresses, content coding, the landing page, and a
// live server on loopback with a poller over a scripted reader (limits,
// methods, paths, gzip, HEAD).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <zlib.h>

#include "poller.h"
#include "web.h"

namespace {

using namespace fexporter;

TEST(Web, ListenAddresses) {
    const struct {
        const char *text;
        bool ok;
        const char *host;
        int port;
    } cases[] = {
        {":9724", true, "0.0.0.0", 9724},
        {"127.0.0.1:0", true, "127.0.0.1", 0},
        {"localhost:65535", true, "localhost", 65535},
        {"[::1]:9724", true, "::1", 9724},
        {"[::]:80", true, "::", 80},
        {"9724", false, "", 0},
        {"::1:9724", false, "", 0},      // IPv6 needs brackets
        {"[::1]9724", false, "", 0},
        {"[]:1", false, "", 0},
        {"host:", false, "", 0},
        {"host:65536", false, "", 0},
        {"host:-1", false, "", 0},
        {"host:12x", false, "", 0},
    };
    for (const auto &c : cases) {
        std::string error;
        auto address = parse_listen_address(c.text, &error);
        ASSERT_EQ(address.has_value(), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(address->host, c.host) << c.text;
            EXPECT_EQ(address->port, c.port) << c.text;
        } else {
            EXPECT_NE(error.find(c.text), std::string::npos) << error;
        }
    }
}

TEST(Web, AcceptEncodingGzip) {
    const struct {
        const char *header;
        bool gzip;
    } cases[] = {
        {"", false},
        {"gzip", true},
        {"GZip", true},
        {"identity", false},
        {"deflate, gzip;q=0.5", true},
        {"br, x-gzip", true},
        {"*", true},
        {"gzip;q=0", false},
        {"gzip; q=0.000", false},
        {"gzip;q=0.001", true},
        {"gzipped", false},
        {"identity;q=1, *;q=0", false},
    };
    for (const auto &c : cases) EXPECT_EQ(accepts_gzip(c.header), c.gzip) << c.header;
}

TEST(Web, LandingPageEscapesPortNamesAndErrors) {
    snapshot snap;
    snap.round = 3;
    snap.ports.push_back({"<script>", "/tmp/a&b", "file", true, false, "x: \"bad\"", 4});
    snap.ports.push_back({"p2", "eth0", "interface", false, false, "", 0});
    web_options options;
    options.telemetry_path = "/custom";
    options.version = "9.9";
    const std::string page = landing_page(snap, options);
    EXPECT_EQ(page.find("<script>"), std::string::npos);
    EXPECT_NE(page.find("&lt;script&gt;"), std::string::npos);
    EXPECT_NE(page.find("/tmp/a&amp;b"), std::string::npos);
    EXPECT_NE(page.find("x: &quot;bad&quot;"), std::string::npos);
    EXPECT_NE(page.find("href=\"/custom\""), std::string::npos);
    EXPECT_NE(page.find("href=\"/modules\""), std::string::npos);
    EXPECT_NE(page.find("not read yet"), std::string::npos);
    EXPECT_NE(page.find("3 polling rounds"), std::string::npos);
}

std::string gunzip(const std::string &data) {
    z_stream stream{};
    if (inflateInit2(&stream, 15 + 16) != Z_OK) return {};
    std::string out(1 << 20, '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int status = inflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return status == Z_STREAM_END ? out : std::string("<corrupt>");
}

TEST(Web, GzipIsAGzipStreamOfTheText) {
    const std::string text = "fiberdecode_module_present{port=\"a\"} 1\n";
    const std::string packed = gzip(text);
    ASSERT_GE(packed.size(), 18u);
    EXPECT_EQ(static_cast<unsigned char>(packed[0]), 0x1f);  // RFC 1952 ID1, ID2
    EXPECT_EQ(static_cast<unsigned char>(packed[1]), 0x8b);
    EXPECT_EQ(gunzip(packed), text);
}

// A server on a free loopback port over a poller whose reader returns a
// small document for every port.
class LiveServer : public ::testing::Test {
protected:
    void SetUp() override {
        std::vector<fdump::module_source> sources = {{fdump::module_source::type::file, "sfp1", "/x/sfp1"}};
        poller_options popt;
        popt.interval = std::chrono::milliseconds(50);
        popt.version = "1.0.0";
        poll = std::make_unique<poller>(sources, popt, [](const fdump::module_source &, std::chrono::milliseconds) {
            read_result r;
            r.report = fdump::json::parse(R"({"kind":"sfp","readings":{"temperature_celsius":36.5}})");
            return r;
        });
        poll->start();
        ASSERT_TRUE(poll->wait_for_round(1, std::chrono::seconds(10)));
        options.telemetry_path = "/metrics";
        options.max_connections = 4;
        options.max_queued = 4;
        options.max_headers = 16;
        configure_server(server, *poll, options);
        port = server.bind_to_any_port("127.0.0.1");
        ASSERT_GT(port, 0);
        listener = std::thread([this] { server.listen_after_bind(); });
        for (int i = 0; i < 200 && !server.is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    void TearDown() override {
        server.stop();
        if (listener.joinable()) listener.join();
        poll->stop();
    }
    httplib::Client client() {
        httplib::Client c("127.0.0.1", port);
        c.set_connection_timeout(2, 0);
        c.set_read_timeout(5, 0);
        c.set_decompress(false);
        return c;
    }
    std::unique_ptr<poller> poll;
    web_options options;
    httplib::Server server;
    int port = 0;
    std::thread listener;
};

TEST_F(LiveServer, MetricsPlainAndGzip) {
    auto c = client();
    auto plain = c.Get("/metrics");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->status, 200);
    EXPECT_EQ(plain->get_header_value("Content-Type"), kContentType);
    EXPECT_NE(plain->body.find("fiberdecode_temperature_celsius{port=\"sfp1\"} 36.5\n"), std::string::npos);
    EXPECT_NE(plain->body.find("fiberdecode_exporter_build_info{version=\"1.0.0\"} 1\n"), std::string::npos);
    EXPECT_EQ(plain->get_header_value("Content-Encoding"), "");

    auto packed = c.Get("/metrics", {{"Accept-Encoding", "gzip"}});
    ASSERT_TRUE(packed);
    EXPECT_EQ(packed->status, 200);
    EXPECT_EQ(packed->get_header_value("Content-Encoding"), "gzip");
    EXPECT_EQ(packed->get_header_value("Vary"), "Accept-Encoding");
    // Served once compressed: the body is the snapshot's own gzip stream.
    EXPECT_EQ(gunzip(packed->body), plain->body);

    auto head = c.Head("/metrics");
    ASSERT_TRUE(head);
    EXPECT_EQ(head->status, 200);
    EXPECT_TRUE(head->body.empty());
}

TEST_F(LiveServer, ModulesAndLandingPage) {
    auto c = client();
    auto modules = c.Get("/modules");
    ASSERT_TRUE(modules);
    EXPECT_EQ(modules->status, 200);
    EXPECT_EQ(modules->get_header_value("Content-Type"), "application/json");
    auto doc = fdump::json::parse(modules->body);
    ASSERT_TRUE(doc.is_array());
    ASSERT_EQ(doc.size(), 1u);
    EXPECT_EQ(doc[0]["port"], "sfp1");
    EXPECT_EQ(doc[0]["source"], "file");
    EXPECT_EQ(doc[0]["target"], "/x/sfp1");
    EXPECT_EQ(doc[0]["present"], true);
    EXPECT_TRUE(doc[0]["error"].is_null());
    EXPECT_EQ(doc[0]["module"]["kind"], "sfp");

    auto landing = c.Get("/");
    ASSERT_TRUE(landing);
    EXPECT_EQ(landing->status, 200);
    EXPECT_NE(landing->body.find("href=\"/metrics\""), std::string::npos);
}

TEST_F(LiveServer, OnlyGetAndHeadOfKnownPaths) {
    auto c = client();
    const char *missing[] = {"/metrics/", "/metricsx", "/../../etc/passwd", "/modules/../metrics", "/%2e%2e/etc/passwd",
                             "/favicon.ico"};
    for (const char *path : missing) {
        auto res = c.Get(path);
        ASSERT_TRUE(res) << path;
        EXPECT_EQ(res->status, 404) << path;
        EXPECT_EQ(res->body.find("root:"), std::string::npos) << path;
    }
    auto post = c.Post("/metrics", "x", "text/plain");
    ASSERT_TRUE(post);
    EXPECT_EQ(post->status, 405);
    EXPECT_EQ(post->get_header_value("Allow"), "GET, HEAD");
    auto del = c.Delete("/modules");
    ASSERT_TRUE(del);
    EXPECT_EQ(del->status, 405);
}

TEST_F(LiveServer, RequestLimits) {
    auto c = client();
    httplib::Headers many;
    for (int i = 0; i < 40; ++i) many.emplace("X-H" + std::to_string(i), "v");
    auto headers = c.Get("/metrics", many);
    ASSERT_TRUE(headers);
    EXPECT_EQ(headers->status, 431);

    auto long_uri = c.Get(("/" + std::string(9000, 'a')).c_str());
    ASSERT_TRUE(long_uri);
    EXPECT_EQ(long_uri->status, 414);

    // More clients than connections served at once: each is answered in turn.
    std::atomic<int> ok{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 12; ++i)
        clients.emplace_back([&] {
            auto cc = client();
            cc.set_keep_alive(false);
            auto res = cc.Get("/metrics");
            if (res && res->status == 200) ++ok;
        });
    for (auto &t : clients) t.join();
    EXPECT_EQ(ok.load(), 12);
}

}  // namespace
