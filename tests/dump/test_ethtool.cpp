// SPDX-License-Identifier: Apache-2.0
// Live reads through a network interface: the ioctl's image, the netlink
// module-EEPROM messages built and parsed byte by byte as the kernel lays
// them out, the pages asked for by what the module advertises, and images
// assembled from both decoding as the same module's file does.
#include <gtest/gtest.h>
#include <linux/netlink.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ethtool.h"
#include "report.h"

namespace {

using namespace fdump;
using namespace fdump::ethtool;
using bytes = std::vector<uint8_t>;

bytes read_bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const std::string kData = FIBER_TEST_DATA, kSamples = std::string(FIBER_SOURCE_DIR) + "/samples";

// --- netlink messages written by hand, as the kernel's UAPI numbers them ---

// linux/ethtool_netlink.h
constexpr uint8_t kMsgModuleEepromGet = 31, kMsgModuleEepromGetReply = 32;
constexpr uint16_t kAttrHeader = 1, kAttrOffset = 2, kAttrLength = 3, kAttrPage = 4, kAttrBank = 5,
                   kAttrI2cAddress = 6, kAttrData = 7, kAttrHeaderDevName = 2;
// linux/netlink.h
constexpr uint16_t kNlmsgError = 2, kFlagRequest = 0x1, kFlagCapped = 0x100, kFlagAckTlvs = 0x200;
constexpr uint16_t kErrAttrMsg = 1;
constexpr uint16_t kFamily = 0x1C;  // any dynamic generic-netlink family id

struct message {
    bytes buf;
    void put(const void *data, std::size_t size) {
        const auto *p = static_cast<const uint8_t *>(data);
        buf.insert(buf.end(), p, p + size);
        buf.resize((buf.size() + 3) / 4 * 4, 0);
    }
    void u32(uint32_t v) { put(&v, 4); }
    void u16s(uint16_t a, uint16_t b) {
        uint16_t v[2] = {a, b};
        put(v, 4);
    }
    void attr(uint16_t type, const void *data, std::size_t size) {
        u16s(static_cast<uint16_t>(4 + size), type);
        put(data, size);
    }
};

// One netlink message: header, then `body`.
bytes netlink(uint16_t type, uint16_t flags, uint32_t sequence, const bytes &body) {
    message m;
    m.u32(static_cast<uint32_t>(16 + body.size()));
    m.u16s(type, flags);
    m.u32(sequence);
    m.u32(0);  // port id
    m.buf.insert(m.buf.end(), body.begin(), body.end());
    return m.buf;
}

// The kernel's reply to a module-EEPROM request: the header nest with the
// device name, then the data.
bytes eeprom_reply(uint32_t sequence, const std::string &iface, const uint8_t *data, std::size_t size) {
    message body;
    uint8_t genl[4] = {kMsgModuleEepromGetReply, 1, 0, 0};
    body.put(genl, 4);
    message nest;
    nest.attr(kAttrHeaderDevName, iface.c_str(), iface.size() + 1);
    body.attr(static_cast<uint16_t>(kAttrHeader | NLA_F_NESTED), nest.buf.data(), nest.buf.size());
    body.attr(kAttrData, data, size);
    return netlink(kFamily, 0, sequence, body.buf);
}

// An NLMSG_ERROR for `request`, with the kernel's extended-ack text; the
// request is echoed in full unless the ack is capped.
bytes error_reply(uint32_t sequence, int error, const bytes &request, bool capped, const std::string &text) {
    message body;
    body.u32(static_cast<uint32_t>(-error));
    if (capped)
        body.put(request.data(), 16);
    else
        body.put(request.data(), request.size());
    if (!text.empty()) body.attr(kErrAttrMsg, text.c_str(), text.size() + 1);
    return netlink(kNlmsgError, static_cast<uint16_t>(kFlagAckTlvs | (capped ? kFlagCapped : 0)), sequence, body.buf);
}

// The attributes of a request built by eeprom_request(), by type.
struct parsed_request {
    uint16_t type = 0, flags = 0;
    uint32_t sequence = 0;
    uint8_t cmd = 0, version = 0;
    std::string dev_name;
    uint32_t offset = ~0u, length = ~0u;
    int page = -1, bank = -1, address = -1;
};

parsed_request parse_request(const bytes &b) {
    parsed_request r;
    auto u16 = [&](std::size_t at) { uint16_t v; std::memcpy(&v, &b[at], 2); return v; };
    auto u32 = [&](std::size_t at) { uint32_t v; std::memcpy(&v, &b[at], 4); return v; };
    EXPECT_EQ(u32(0), b.size());
    r.type = u16(4), r.flags = u16(6), r.sequence = u32(8);
    r.cmd = b[16], r.version = b[17];
    for (std::size_t at = 20; at + 4 <= b.size();) {
        uint16_t len = u16(at), type = u16(at + 2) & NLA_TYPE_MASK;
        std::size_t payload = at + 4;
        if (type == kAttrHeader) {
            EXPECT_TRUE(u16(at + 2) & NLA_F_NESTED);
            EXPECT_EQ(u16(payload + 2), kAttrHeaderDevName);
            r.dev_name = reinterpret_cast<const char *>(&b[payload + 4]);
        }
        if (type == kAttrOffset) r.offset = u32(payload);
        if (type == kAttrLength) r.length = u32(payload);
        if (type == kAttrPage) r.page = b[payload];
        if (type == kAttrBank) r.bank = b[payload];
        if (type == kAttrI2cAddress) r.address = b[payload];
        at += (len + 3u) / 4 * 4;
    }
    return r;
}

TEST(Netlink, RequestCarriesEveryAttributeTheKernelRequires) {
    const bytes request = eeprom_request(kFamily, 7, "swp12", page_request{0x11, 0, 0x50, 128, 128});
    parsed_request r = parse_request(request);
    EXPECT_EQ(r.type, kFamily);
    EXPECT_EQ(r.flags, kFlagRequest);
    EXPECT_EQ(r.sequence, 7u);
    EXPECT_EQ(r.cmd, kMsgModuleEepromGet);
    EXPECT_EQ(r.version, 1);
    EXPECT_EQ(r.dev_name, "swp12");
    EXPECT_EQ(r.offset, 128u);
    EXPECT_EQ(r.length, 128u);
    EXPECT_EQ(r.page, 0x11);
    EXPECT_EQ(r.bank, 0);
    EXPECT_EQ(r.address, 0x50);
}

TEST(Netlink, ReplyDataAndErrors) {
    bytes page(128);
    for (std::size_t i = 0; i < page.size(); ++i) page[i] = static_cast<uint8_t>(i ^ 0x5A);
    const bytes request = eeprom_request(kFamily, 9, "eth3", page_request{});

    // A stale reply of an earlier request comes first and is skipped.
    bytes two = eeprom_reply(8, "eth3", page.data(), 64);
    bytes current = eeprom_reply(9, "eth3", page.data(), page.size());
    two.insert(two.end(), current.begin(), current.end());
    netlink_reply ok = parse_eeprom_reply(two, 9);
    EXPECT_TRUE(ok.complete);
    EXPECT_EQ(ok.error, 0);
    EXPECT_EQ(ok.data, page);

    const std::string kernel_text = "reading cross half page boundary is illegal";
    for (bool capped : {true, false}) {
        netlink_reply failed = parse_eeprom_reply(error_reply(9, EINVAL, request, capped, kernel_text), 9);
        EXPECT_TRUE(failed.complete);
        EXPECT_EQ(failed.error, EINVAL) << capped;
        EXPECT_EQ(failed.message, kernel_text) << capped;
        EXPECT_TRUE(failed.data.empty());
    }
    netlink_reply plain = parse_eeprom_reply(error_reply(9, EOPNOTSUPP, request, true, ""), 9);
    EXPECT_EQ(plain.error, EOPNOTSUPP);
    EXPECT_EQ(plain.message, "");

    // Another sequence only, or a message cut short: no reply yet.
    EXPECT_FALSE(parse_eeprom_reply(current, 10).complete);
    EXPECT_FALSE(parse_eeprom_reply(std::span(current).first(current.size() / 2), 9).complete);
}

// --- where the pieces go, and which pages are asked for ---

TEST(Assembly, FlatOffsets) {
    struct row {
        module_family family;
        page_request request;
        std::size_t offset;
    };
    const row rows[] = {
        {module_family::sfp, {0, 0, 0x50, 0, 128}, 0},      // A0h lower
        {module_family::sfp, {0, 0, 0x50, 128, 128}, 128},  // A0h upper
        {module_family::sfp, {0, 0, 0x51, 0, 128}, 256},    // A2h lower
        {module_family::sfp, {0, 0, 0x51, 128, 128}, 384},  // A2h upper page 00h
        {module_family::sfp, {2, 0, 0x51, 128, 128}, 640},  // A2h upper page 02h: 384 + 128 x 2
        {module_family::qsfp, {0, 0, 0x50, 0, 128}, 0},
        {module_family::qsfp, {0, 0, 0x50, 128, 128}, 128},
        {module_family::qsfp, {3, 0, 0x50, 128, 128}, 512},
        {module_family::cmis, {0x01, 0, 0x50, 128, 128}, 256},
        {module_family::cmis, {0x11, 0, 0x50, 128, 128}, 2304},
    };
    for (const row &r : rows)
        EXPECT_EQ(flat_offset(r.family, r.request), r.offset)
            << family_name(r.family) << " page " << int(r.request.page) << " address " << int(r.request.address)
            << " offset " << r.request.offset;
}

std::string describe(const std::vector<page_request> &requests) {
    std::string out;
    char buf[32];
    for (const page_request &r : requests) {
        std::snprintf(buf, sizeof buf, "%s%02X/%u@%02X+%u:%u", out.empty() ? "" : " ", r.page, r.bank, r.address,
                      r.offset, r.length);
        out += buf;
    }
    return out;
}

TEST(Assembly, UpperPagesAskedAsTheModuleAdvertises) {
    struct row {
        const char *name;
        module_family family;
        std::size_t image_size;
        std::vector<std::pair<std::size_t, uint8_t>> set;  // byte, value
        const char *expected;                              // page/bank@address+offset:length
    };
    const row rows[] = {
        {"sfp diagnostics (A0h 92 bit 6)", module_family::sfp, 256, {{92, 0x68}}, "00/0@51+0:128 00/0@51+128:128"},
        {"sfp without diagnostics", module_family::sfp, 256, {{92, 0x08}}, ""},
        {"sfp needing an address change (A0h 92 bit 2)", module_family::sfp, 256, {{92, 0x44}}, ""},
        {"sfp with A2h already", module_family::sfp, 512, {{92, 0x40}}, ""},
        {"qsfp paged, 01h and 02h provided (00h 195)", module_family::qsfp, 256, {{195, 0xC0}},
         "01/0@50+128:128 02/0@50+128:128 03/0@50+128:128"},
        {"qsfp paged, page 02h only", module_family::qsfp, 256, {{195, 0x80}}, "02/0@50+128:128 03/0@50+128:128"},
        {"qsfp paged, 640-byte ioctl image", module_family::qsfp, 640, {{195, 0xC0}}, ""},
        {"qsfp flat memory (lower 2 bit 2)", module_family::qsfp, 256, {{2, 0x04}, {195, 0xC0}}, ""},
        {"cmis paged", module_family::cmis, 256, {}, "01/0@50+128:128 02/0@50+128:128 11/0@50+128:128"},
        {"cmis paged, 01h and 02h in the image", module_family::cmis, 512, {}, "11/0@50+128:128"},
        {"cmis flat memory (lower 2 bit 7)", module_family::cmis, 256, {{2, 0x80}}, ""},
        {"xfp", module_family::xfp, 256, {}, ""},
    };
    for (const row &r : rows) {
        bytes image(r.image_size, 0);
        for (auto [at, value] : r.set) image[at] = value;
        live_image live;
        live.place(0, image);
        EXPECT_EQ(describe(upper_requests(r.family, live)), r.expected) << r.name;
    }
    // Nothing is asked before the identification block is in.
    live_image lower_only;
    lower_only.place(0, bytes(128, 0));
    EXPECT_EQ(describe(upper_requests(module_family::cmis, lower_only)), "");
}

TEST(Assembly, IoctlImages) {
    struct row {
        uint32_t type, length;
        std::size_t given;
        const char *error;  // empty: accepted
        const char *note;
    };
    // linux/ethtool.h: ETH_MODULE_SFF_8079 1 (256 bytes), SFF_8472 2 (512),
    // SFF_8636 3 and SFF_8436 4 (256, or 640 with pages 01h-03h).
    const row rows[] = {
        {1, 256, 256, "", ""},
        {2, 512, 512, "", ""},
        {3, 256, 256, "", ""},
        {3, 640, 640, "", ""},
        {4, 640, 640, "", ""},
        {3, 512, 512, "", "the driver reports an SFF-8636 module EEPROM of 512 bytes"},
        {2, 256, 256, "", "the driver reports an SFF-8472 module EEPROM of 256 bytes"},
        {0, 0, 0, "no module: the driver reports an empty module EEPROM", ""},
        {2, 500, 500, "the driver reports a module EEPROM of 500 bytes, not a module image", ""},
        {2, 512, 300, "the driver returned 300 of 512 module EEPROM bytes", ""},
    };
    for (const row &r : rows) {
        bytes data(r.given, 0xA5);
        auto image = ioctl_image(r.type, r.length, data);
        EXPECT_EQ(image.error, r.error) << r.type << "/" << r.length;
        if (!image) continue;
        EXPECT_EQ(image.value->bytes.size(), r.length);
        EXPECT_EQ(image.value->have, std::vector<bool>(r.length / 128, true));
        EXPECT_EQ(image.value->notes, *r.note ? std::vector<std::string>{r.note} : std::vector<std::string>{});
    }
}

// --- images assembled from the ioctl and netlink decode as the file does ---

json records(const decoded_module &module) {
    json report = json_report(module), r;
    for (const char *key : {"kind", "kind_forced", "decoded", "normal", "vendor", "diag", "alarm", "coremgmt"})
        r[key] = report.at(key);
    return r;
}

// Answers each netlink request from `file` (a flat image) through a reply
// message, as the reader places it.
void answer(live_image &image, module_family family, const bytes &file, const std::vector<page_request> &requests) {
    uint32_t sequence = 100;
    for (const page_request &request : requests) {
        std::size_t at = flat_offset(family, request);
        ASSERT_LE(at + request.length, file.size());
        ++sequence;
        netlink_reply reply = parse_eeprom_reply(eeprom_reply(sequence, "eth1", &file[at], request.length), sequence);
        ASSERT_TRUE(reply.complete);
        image.place(at, reply.data);
    }
}

TEST(Assembly, IoctlImagePlusNetlinkPagesDecodeAsTheFile) {
    struct row {
        std::string path;
        module_family family;
        const char *format;  // of the live decode
        const char *pages;   // the pages the live decode names
    };
    const row rows[] = {
        // 400GBASE-FR4 QSFP-DD: the ioctl's 256 bytes, then pages 01h, 02h
        // and 11h; pages 03h-10h are not read, so the pages go in one by one.
        {kSamples + "/qsfpdd-400g-fr4.bin", module_family::cmis, "pages", "[\"lower\",\"00h\",\"01h\",\"02h\",\"11h\"]"},
        // 100GBASE-SR4 QSFP28 (real module): 256 bytes, then what page 00h
        // byte 195 advertises (02h, not 01h) and page 03h.
        {kData + "/qsfp28-100g-sr4-mellanox-mma1b00/dump.bin", module_family::qsfp, "pages",
         "[\"lower\",\"00h\",\"02h\",\"03h\"]"},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.path);
        const bytes file = read_bytes(r.path);
        auto expected = decode_bytes(file, "eth1");
        ASSERT_TRUE(expected) << expected.error;

        auto image = ioctl_image(3, 256, std::span(file).first(256));
        ASSERT_TRUE(image);
        auto requests = upper_requests(r.family, *image.value);
        EXPECT_FALSE(requests.empty());
        answer(*image.value, r.family, file, requests);
        auto live = decode_live(*image.value, "eth1");
        ASSERT_TRUE(live) << live.error;
        EXPECT_EQ(live.value->file, "eth1");
        if (*r.format) {
            EXPECT_EQ(format_name(live.value->format), std::string(r.format));
        }
        if (*r.pages) {
            EXPECT_EQ(json(live.value->pages).dump(), r.pages);
        }
        json got = records(*live.value), want = records(*expected.value);
        EXPECT_EQ(got, want) << got.dump(1) << "\n" << want.dump(1);
    }
}

TEST(Assembly, NetlinkOnlySfpIsTheRawImage) {
    // A driver that reads module memory only by page: A0h in two halves,
    // then A2h as A0h byte 92 advertises it.
    const bytes file = read_bytes(kData + "/sfp-10g-sr-finisar-ftlx8571/dump.bin");
    ASSERT_EQ(file.size(), 512u);
    live_image image;
    answer(image, module_family::sfp, file, {{0, 0, 0x50, 0, 128}, {0, 0, 0x50, 128, 128}});
    auto requests = upper_requests(module_family::sfp, image);
    ASSERT_EQ(requests.size(), 2u);
    answer(image, module_family::sfp, file, requests);
    EXPECT_EQ(image.bytes, file);

    auto live = decode_live(image, "swp1");
    auto expected = decode_bytes(file, "swp1");
    ASSERT_TRUE(live && expected);
    EXPECT_EQ(json_report(*live.value), json_report(*expected.value));
    EXPECT_EQ(json_report(*live.value).at("format"), "raw");
}

TEST(Assembly, PagesThatFailAreNotedAndLeftOut) {
    const bytes file = read_bytes(kSamples + "/qsfpdd-400g-fr4.bin");
    auto image = ioctl_image(3, 256, std::span(file).first(256));
    ASSERT_TRUE(image);
    // Pages 01h and 02h arrive, page 11h is refused.
    answer(*image.value, module_family::cmis, file, {{0x01, 0, 0x50, 128, 128}, {0x02, 0, 0x50, 128, 128}});
    image.value->notes.push_back("page 11h not read: Input/output error");
    auto live = decode_live(*image.value, "eth1", {input_format::automatic, module_family::cmis});
    ASSERT_TRUE(live) << live.error;
    EXPECT_EQ(json(live.value->pages).dump(), "[\"lower\",\"00h\",\"01h\",\"02h\"]");
    EXPECT_FALSE(live.value->diag.has_value());  // CMIS diagnostics need page 11h
    EXPECT_TRUE(live.value->family_forced);
    const auto &notes = live.value->notes;
    EXPECT_NE(std::find(notes.begin(), notes.end(), "page 11h not read: Input/output error"), notes.end());

    live_image empty;
    EXPECT_EQ(decode_live(empty, "eth1").error, "no module memory could be read");
}

}  // namespace
