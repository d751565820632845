// QSFP family (SFF-8436 / SFF-8636): identification rule tree, vendor
// fields, diagnostics and alarm flags, and real module dumps.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fiber_internal.h"

namespace {

// A QSFP module image: lower page, upper page 00h and page 03h, addressed
// with SFF-8636 byte numbers (page 00h/03h 128..255).
struct module {
    uint8_t lower[128]{}, page00[128]{}, page03[128]{};
    uint8_t &up(unsigned n) { return page00[n - 128]; }
    void text(unsigned n, const char *s) { std::memcpy(&up(n), s, std::strlen(s)); }
    // Check codes: byte 191 over bytes 128-190, byte 223 over 192-222.
    void seal() {
        unsigned a = 0, b = 0;
        for (unsigned i = 128; i <= 190; ++i) a += up(i);
        for (unsigned i = 192; i <= 222; ++i) b += up(i);
        up(191) = static_cast<uint8_t>(a);
        up(223) = static_cast<uint8_t>(b);
    }
};

float dbm(double units) { return static_cast<float>(10.0 * std::log10(units / 10000.0)); }

// ----------------------------------------------------------------------------
// Identification: every leaf of the rule tree and the range boundaries.
// ----------------------------------------------------------------------------
struct leaf {
    uint8_t id, k, s, e, r, d, g, w, x;
    const char *vendor;
    uint32_t t;    // 1: rejected
    char medium;   // 'c' copper, 'a' active cable, '-' neither
};

constexpr leaf kLeaves[] = {
    // id    K     S     E     R    D    G    W    X     vendor     t  medium
    // Identifier 0Ch: cable rules.
    {0x0C, 0x23, 0x00, 0, 0, 0, 0, 0, 0x00, "", 24, 'a'},
    {0x0C, 0x23, 0x80, 0, 0, 0, 0, 0, 0x00, "", 1, '-'},
    {0x0C, 0x23, 0x08, 0, 0, 0, 0, 1, 0x00, "", 67, 'c'},
    {0x0C, 0x23, 0x08, 0, 0, 0, 0, 7, 0x0B, "", 67, 'c'},
    {0x0C, 0x23, 0x08, 0, 0, 0, 0, 8, 0x00, "", 68, 'c'},
    {0x0C, 0x23, 0x08, 0, 0, 0, 0, 0, 0x00, "", 69, 'c'},
    {0x0C, 0x23, 0x08, 0, 0, 0, 0, 3, 0x02, "", 1, '-'},
    {0x0C, 0x23, 0x88, 0, 0, 0, 0, 3, 0x00, "", 1, '-'},
    {0x0C, 0x21, 0x80, 0, 0, 0, 0, 3, 0x00, "", 1, '-'},
    {0x0C, 0x21, 0x00, 0, 0, 0, 0, 3, 0x00, "", 67, 'c'},
    {0x0C, 0x21, 0x88, 0, 0, 0, 0, 9, 0x0B, "", 68, 'c'},
    {0x0C, 0x21, 0x08, 0, 0, 0, 0, 0, 0x19, "", 68, 'c'},
    {0x0C, 0x21, 0x08, 0, 0, 0, 0, 3, 0x02, "", 1, '-'},
    {0x0C, 0x0B, 0x00, 0, 0, 0, 0, 0, 0x00, "", 24, 'a'},
    {0x0C, 0x0B, 0x08, 0, 0, 0, 0, 0, 0x00, "", 1, '-'},
    {0x0C, 0x0B, 0x80, 0, 0, 0, 0, 0, 0x00, "", 1, '-'},
    {0x0C, 0x07, 0x02, 0, 103, 10, 0, 0, 0x00, "", 1, '-'},
    // Identifier 0Dh, R 90..120, MPO: 40G rule then 100G rule.
    {0x0D, 0x0C, 0x04, 0, 90, 0, 1, 0, 0x00, "", 27, '-'},
    {0x0D, 0x0C, 0x04, 0, 120, 0, 99, 0, 0x00, "", 27, '-'},
    {0x0D, 0x0C, 0x04, 0, 89, 0, 50, 0, 0x00, "", 1, '-'},
    {0x0D, 0x0C, 0x04, 0, 121, 0, 50, 0, 0x00, "", 1, '-'},
    {0x0D, 0x0C, 0x04, 0, 103, 0, 100, 0, 0x00, "", 51, '-'},
    {0x0D, 0x0C, 0x04, 0, 103, 0, 254, 0, 0x00, "", 51, '-'},
    {0x0D, 0x0C, 0x04, 0, 103, 0, 0, 0, 0x00, "", 1, '-'},
    {0x0D, 0x0C, 0x04, 0, 103, 0, 255, 0, 0x00, "", 1, '-'},
    {0x0D, 0x0C, 0x80, 0, 103, 0, 0, 0, 0x12, "", 54, '-'},
    {0x0D, 0x0C, 0x80, 0, 103, 0, 0, 0, 0x13, "", 1, '-'},
    {0x0D, 0x0C, 0x02, 0, 103, 0, 0, 0, 0x00, "", 54, '-'},
    {0x0D, 0x0C, 0x08, 0, 103, 0, 0, 0, 0x00, "", 1, '-'},
    {0x0D, 0x0C, 0x80, 0, 103, 0, 0, 0, 0x02, "", 38, '-'},
    {0x0D, 0x0C, 0x84, 0, 103, 0, 50, 0, 0x07, "", 42, '-'},
    // Identifier 0Dh, R 90..120, LC: rules 1-5, then the 100G rule.
    {0x0D, 0x07, 0x04, 0, 103, 8, 0, 0, 0x00, "", 25, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 14, 0, 0, 0x00, "", 25, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 1, 0, 0, 0x00, "", 53, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 7, 0, 0, 0x00, "", 53, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 15, 0, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 0, 75, 0, 0x00, "", 55, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 0, 99, 0, 0x00, "", 55, '-'},
    {0x0D, 0x07, 0x02, 0, 105, 0, 75, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x02, 0, 103, 0, 100, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x82, 0, 103, 10, 0, 0, 0x1F, "", 52, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 2, 75, 0, 0x00, "", 99, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 2, 74, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 14, 0, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 15, 0, 0, 0x00, "", 34, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 50, 0, 0, 0x00, "", 34, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 51, 0, 0, 0x00, "", 61, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 90, 0, 0, 0x00, "", 61, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 91, 0, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x80, 0, 103, 40, 0, 0, 0x03, "", 39, '-'},  // 40G ER4, then 100G reach
    {0x0D, 0x07, 0x81, 0, 103, 2, 75, 0, 0x00, "", 99, '-'},
    {0x0D, 0x07, 0x00, 0, 103, 2, 75, 0, 0x00, "", 99, '-'},
    {0x0D, 0x07, 0x00, 0, 103, 2, 0, 0, 0x00, "", 1, '-'},
    // Identifier 0Dh, R = 206 with LC, and the other rates.
    {0x0D, 0x07, 0x00, 0, 206, 0, 50, 0, 0x00, "", 55, '-'},
    {0x0D, 0x07, 0x00, 0, 206, 0, 100, 0, 0x00, "", 1, '-'},
    {0x0D, 0x07, 0x80, 0, 206, 10, 0, 0, 0x03, "", 37, '-'},
    {0x0D, 0x07, 0x80, 0, 205, 10, 0, 0, 0x03, "", 37, '-'},
    {0x0D, 0x0C, 0x80, 0, 206, 0, 0, 0, 0x02, "", 38, '-'},
    {0x0D, 0x23, 0x08, 0, 0, 0, 0, 3, 0x00, "", 67, 'c'},
    {0x0D, 0x23, 0x08, 0, 103, 0, 0, 0, 0x00, "", 69, 'c'},
    {0x0D, 0x23, 0x00, 0, 255, 0, 0, 0, 0x00, "", 24, 'a'},
    // 100G LC rule (identifier 11h, LC, S bit 7).
    {0x11, 0x07, 0x80, 0, 0, 8, 0, 0, 0x03, "", 37, '-'},
    {0x11, 0x07, 0x80, 0, 0, 14, 0, 0, 0x03, "", 37, '-'},
    {0x11, 0x07, 0x80, 0, 0, 15, 0, 0, 0x03, "", 58, '-'},
    {0x11, 0x07, 0x80, 0, 0, 34, 0, 0, 0x03, "", 58, '-'},
    {0x11, 0x07, 0x80, 0, 0, 35, 0, 0, 0x03, "", 39, '-'},
    {0x11, 0x07, 0x80, 0, 0, 50, 0, 0, 0x03, "", 39, '-'},
    {0x11, 0x07, 0x80, 0, 0, 51, 0, 0, 0x03, "", 62, '-'},
    {0x11, 0x07, 0x80, 0, 0, 90, 0, 0, 0x03, "", 62, '-'},
    {0x11, 0x07, 0x80, 0, 0, 91, 0, 0, 0x03, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 7, 0, 0, 0x03, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 10, 0, 0, 0x04, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 40, 0, 0, 0x04, "", 39, '-'},
    {0x11, 0x07, 0x80, 0, 0, 2, 0, 0, 0x06, "TALMOR", 49, '-'},
    {0x11, 0x07, 0x80, 0, 0, 2, 0, 0, 0x06, "TALMOX", 63, '-'},
    {0x11, 0x07, 0x80, 0, 0, 7, 0, 0, 0x09, "", 63, '-'},
    {0x11, 0x07, 0x80, 0, 0, 8, 0, 0, 0x06, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 80, 0, 0, 0x1A, "", 60, '-'},
    {0x11, 0x07, 0x80, 0, 0, 79, 0, 0, 0x1A, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 35, 0, 0, 0x24, "", 59, '-'},
    {0x11, 0x07, 0x80, 0, 0, 50, 0, 0, 0x24, "", 59, '-'},
    {0x11, 0x07, 0x80, 0, 0, 51, 0, 0, 0x24, "", 1, '-'},
    {0x11, 0x07, 0x00, 0, 0, 10, 0, 0, 0x03, "", 1, '-'},
    // Identifier 11h: MPO, LC single-code leaves.
    {0x11, 0x0C, 0x80, 0, 0, 0, 0, 0, 0x02, "", 38, '-'},
    {0x11, 0x0C, 0x80, 0, 0, 0, 0, 0, 0x07, "", 42, '-'},
    {0x11, 0x0C, 0x00, 0, 0, 0, 0, 0, 0x02, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 0, 0, 0, 0x20, "", 56, '-'},
    {0x11, 0x07, 0x80, 0, 0, 0, 0, 0, 0x21, "", 57, '-'},
    {0x11, 0x07, 0x80, 0, 0, 1, 0, 0, 0x25, "", 93, '-'},
    {0x11, 0x07, 0x80, 0, 0, 2, 0, 0, 0x25, "", 1, '-'},
    {0x11, 0x07, 0x80, 0, 0, 0, 0, 0, 0x26, "", 94, '-'},
    // Identifier 11h: copper and active cables.
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 1, 0x0B, "", 70, 'c'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 5, 0x0B, "", 70, 'c'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 6, 0x0B, "", 71, 'c'},
    {0x11, 0x21, 0x80, 0, 0, 0, 0, 0, 0x0B, "", 72, 'c'},
    {0x11, 0x21, 0x80, 0, 0, 0, 0, 2, 0x00, "", 70, 'c'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 0, 0x00, "", 72, 'c'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 6, 0x00, "", 1, '-'},
    {0x11, 0x21, 0x80, 0, 0, 0, 0, 0, 0x19, "", 71, 'c'},
    {0x11, 0x21, 0x80, 0, 0, 0, 0, 0, 0x01, "", 1, '-'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 0, 0x01, "", 36, 'a'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 0, 0x02, "", 36, 'a'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 0, 0x08, "", 36, 'a'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 0, 0x18, "", 36, 'a'},
    {0x11, 0x23, 0x80, 0, 0, 0, 0, 0, 0x19, "", 36, 'a'},
    {0x11, 0x21, 0x80, 8, 0, 0, 0, 1, 0x40, "", 78, 'c'},
    {0x11, 0x23, 0x80, 8, 0, 0, 0, 3, 0x40, "", 78, 'c'},
    {0x11, 0x21, 0x80, 8, 0, 0, 0, 4, 0x40, "", 79, 'a'},
    {0x11, 0x23, 0x80, 8, 0, 0, 0, 6, 0x40, "", 79, 'a'},
    {0x11, 0x21, 0x80, 8, 0, 0, 0, 7, 0x40, "", 1, '-'},
    {0x11, 0x23, 0x80, 8, 0, 0, 0, 0, 0x40, "", 86, 'c'},
    {0x11, 0x21, 0x80, 8, 0, 0, 0, 0, 0x40, "", 1, '-'},
    {0x11, 0x21, 0x80, 3, 0, 0, 0, 2, 0x40, "", 1, '-'},
    {0x11, 0x21, 0x00, 0, 0, 0, 0, 2, 0x0B, "", 1, '-'},
    {0x11, 0x23, 0x00, 0, 0, 0, 0, 0, 0x00, "", 36, 'a'},
    {0x11, 0x23, 0x08, 0, 0, 0, 0, 0, 0x00, "", 1, '-'},
    {0x11, 0x0B, 0x80, 0, 0, 0, 0, 0, 0x01, "", 36, 'a'},
    {0x11, 0x0B, 0x80, 0, 0, 0, 0, 0, 0x03, "", 1, '-'},
    {0x11, 0x0B, 0x00, 0, 0, 0, 0, 0, 0x00, "", 36, 'a'},
    {0x11, 0x0B, 0x08, 0, 0, 0, 0, 0, 0x00, "", 1, '-'},
    {0x11, 0x01, 0x80, 0, 0, 0, 0, 0, 0x02, "", 1, '-'},
    // Identifiers without rules: 1Eh passes the test but is always rejected.
    {0x1E, 0x0C, 0x04, 0, 103, 0, 50, 0, 0x00, "", 1, '-'},
    {0x06, 0x0C, 0x04, 0, 103, 0, 50, 0, 0x00, "", 1, '-'},
    {0x00, 0x0C, 0x04, 0, 103, 0, 50, 0, 0x00, "", 1, '-'},
};

TEST(QsfpNormal, RuleTreeLeaves) {
    for (const leaf &c : kLeaves) {
        module m;
        m.up(128) = c.id, m.up(130) = c.k, m.up(131) = c.s, m.up(139) = c.e, m.up(140) = c.r;
        m.up(142) = c.d, m.up(143) = c.g, m.up(146) = c.w, m.up(192) = c.x;
        m.text(148, c.vendor);
        fiber_normal_info_t info{};
        fiber_decode_qsfp_normal(m.page00, m.lower, &info);
        SCOPED_TRACE(testing::Message() << std::hex << "id " << +c.id << " K " << +c.k << " S " << +c.s << " X "
                                        << +c.x << std::dec << " R " << +c.r << " D " << +c.d << " G " << +c.g
                                        << " W " << +c.w);
        EXPECT_EQ(info.trans_type, c.t);
        EXPECT_EQ(info.unsupported, c.t == 1);
        EXPECT_EQ(info.is_qsfp, c.t != 1);
        EXPECT_EQ(info.is_copper, c.medium == 'c');
        EXPECT_EQ(info.is_active_cable, c.medium == 'a');
        if (c.t == 1) {
            EXPECT_STREQ(info.type_name, "Unknown QSFP+ module");
            EXPECT_EQ(info.connector_name, nullptr);
            EXPECT_EQ(info.length_smf_km + info.length_om3_m + info.length_copper_m, 0u);
        }
    }
}

// QSFP-DD modules presented as QSFP: CMIS page 00h bytes 132, 134, 203 and
// lower page bytes 85, 87.
TEST(QsfpNormal, QsfpDdRules) {
    struct dd {
        uint8_t b132, b134, media, interface, conn;
        uint32_t t;
        char medium;
    };
    constexpr dd kCases[] = {
        {0, 0x32, 0x01, 0x10, 0x28, 80, '-'}, {0, 0x32, 0x01, 0x11, 0x28, 1, '-'},
        {0, 0x32, 0x01, 0x10, 0x0C, 1, '-'}, {0x05, 0, 0x02, 0x1C, 0x0C, 81, '-'},
        {0x05, 0, 0x02, 0x1C, 0x07, 1, '-'}, {0x42, 0, 0x02, 0x1D, 0x07, 82, '-'},
        {0x42, 0, 0x02, 0x1C, 0x07, 1, '-'}, {0, 0, 0x03, 0, 0x21, 83, 'c'},
        {0, 0, 0x04, 0, 0x23, 84, 'a'},      {0, 0, 0x05, 0, 0x23, 1, '-'},
        {0, 0, 0x03, 0, 0x07, 1, '-'},       {0x05, 0x32, 0x02, 0x1C, 0x0C, 81, '-'},
    };
    for (const dd &c : kCases) {
        module m;
        m.up(128) = 0x18, m.up(130) = 0x07, m.up(132) = c.b132, m.up(134) = c.b134, m.up(203) = c.conn;
        m.lower[85] = c.media, m.lower[87] = c.interface;
        fiber_normal_info_t info{};
        fiber_decode_qsfp_normal(m.page00, m.lower, &info);
        SCOPED_TRACE(testing::Message() << "media " << +c.media << " T " << +c.conn);
        EXPECT_EQ(info.trans_type, c.t);
        EXPECT_EQ(info.unsupported, c.t == 1);
        EXPECT_EQ(info.is_copper, c.medium == 'c');
        EXPECT_EQ(info.is_active_cable, c.medium == 'a');
    }
}

TEST(QsfpNormal, NamesRatesAndType72) {
    struct named { uint32_t t; uint8_t k, s, x, w; const char *name; uint32_t rate, cls; };
    constexpr named kCases[] = {
        {38, 0x0C, 0x80, 0x02, 0, "100GBASE-SR4-QSFP28", 100000, 2},
        {70, 0x23, 0x80, 0x0B, 2, "100GBASE-Passive Copper-QSFP28", 100000, 3},
        {36, 0x23, 0x00, 0x00, 0, "100G-Active Cable-QSFP28", 100000, 2},
        {72, 0x23, 0x80, 0x0B, 0, "Unknown module", 0, 0},
    };
    for (const named &c : kCases) {
        module m;
        m.up(128) = 0x11, m.up(130) = c.k, m.up(131) = c.s, m.up(192) = c.x, m.up(146) = c.w;
        fiber_normal_info_t info{};
        fiber_decode_qsfp_normal(m.page00, m.lower, &info);
        EXPECT_EQ(info.trans_type, c.t);
        EXPECT_EQ(info.unsupported, 0);
        EXPECT_STREQ(info.type_name, c.name);
        EXPECT_EQ(info.rate_mbps, c.rate);
        EXPECT_EQ(info.connector_class, c.cls);
        EXPECT_EQ(info.name_prefix, nullptr);
    }
}

TEST(QsfpNormal, WavelengthLengthsSerial) {
    module m;  // 100GBASE-LR4 over LC
    m.up(128) = 0x11, m.up(130) = 0x07, m.up(131) = 0x80, m.up(192) = 0x03, m.up(142) = 10;
    m.up(143) = 25, m.up(144) = 30, m.up(145) = 20, m.up(146) = 50;
    m.up(186) = 0x65, m.up(187) = 0xA4;  // 26020 x 0.05 nm
    m.up(188) = 0x0B, m.up(189) = 0xB8;  // 3000 x 0.005 nm
    m.text(196, "SN0123456789ABCD");
    m.up(212) = 'X';  // the date code does not run into the serial number
    fiber_normal_info_t info{};
    fiber_decode_qsfp_normal(m.page00, m.lower, &info);
    EXPECT_STREQ(info.connector_name, "LC");
    EXPECT_FLOAT_EQ(info.wavelength_nm, 1301.0f);
    EXPECT_FLOAT_EQ(info.wavelength_tolerance_nm, 15.0f);
    EXPECT_EQ(info.length_smf_km, 10u);
    EXPECT_EQ(info.length_om3_m, 50u);
    EXPECT_EQ(info.length_om2_m, 30u);
    EXPECT_EQ(info.length_om1_m, 20u);
    EXPECT_EQ(info.length_om4_m, 100u);
    EXPECT_EQ(info.length_copper_m, 0u);
    EXPECT_STREQ(info.serial_number, "SN0123456789ABCD");

    // Byte 146 is a copper length in m for connectors 21h, 23h and 0Bh.
    for (uint8_t k : {0x21, 0x23, 0x0B}) {
        module c;
        c.up(128) = 0x11, c.up(130) = k, c.up(131) = 0x80, c.up(192) = 0x01, c.up(146) = 3;
        if (k == 0x21) c.up(192) = 0x0B;
        c.up(188) = 0x00, c.up(189) = 0x01;  // tolerance written even without a wavelength
        fiber_normal_info_t ci{};
        fiber_decode_qsfp_normal(c.page00, c.lower, &ci);
        ASSERT_EQ(ci.unsupported, 0) << +k;
        EXPECT_EQ(ci.length_copper_m, 3u) << +k;
        EXPECT_EQ(ci.length_om4_m, 0u) << +k;
        EXPECT_EQ(ci.wavelength_nm, 0.0f);
        EXPECT_FLOAT_EQ(ci.wavelength_tolerance_nm, 0.005f);
    }
}

TEST(QsfpNormal, DdmFromEachMonitorWord) {
    module base;
    base.up(128) = 0x11, base.up(130) = 0x0C, base.up(131) = 0x80, base.up(192) = 0x02;
    std::vector<unsigned> monitors = {22, 23, 26, 27};
    for (unsigned n = 34; n <= 57; ++n) monitors.push_back(n);
    for (unsigned n = 0; n < 128; ++n) {
        module m = base;
        m.lower[n] = 0x01;
        fiber_normal_info_t info{};
        fiber_decode_qsfp_normal(m.page00, m.lower, &info);
        const bool monitor = std::find(monitors.begin(), monitors.end(), n) != monitors.end();
        EXPECT_EQ(info.ddm_supported, monitor) << "lower byte " << n;
        EXPECT_EQ(fiber::qsfp_check_support_ddm(m.lower), monitor) << "lower byte " << n;
    }
}

TEST(QsfpNormal, IdentifierTestAndNullPointers) {
    for (unsigned id = 0; id < 256; ++id)
        EXPECT_EQ(fiber::is_qsfp_id_invalid(static_cast<uint8_t>(id)), id != 0x18 && id != 0x1E) << id;
    module m;
    fiber_normal_info_t info{};
    fiber_decode_qsfp_normal(nullptr, m.lower, &info);
    fiber_decode_qsfp_normal(m.page00, nullptr, &info);
    EXPECT_EQ(info.type_name, nullptr);
    fiber_decode_qsfp_normal(m.page00, m.lower, nullptr);  // must not crash
}

// ----------------------------------------------------------------------------
// Vendor.
// ----------------------------------------------------------------------------
TEST(QsfpVendor, FieldsEncodingsIdentifiers) {
    module m;
    m.up(128) = 0x0D;
    m.text(148, "ACME OPTICS     ");
    m.up(164) = 'x', m.up(165) = 0x00, m.up(166) = 0x11, m.up(167) = 0x22;
    m.text(168, "QSFP-40G-LR4    ");
    m.text(184, "B1ZZ");  // bytes 186/187 hold wavelength, not revision
    m.text(212, "20210315");
    m.up(220) = 'y';
    for (const auto &[code, name] : std::initializer_list<std::pair<uint8_t, const char *>>{
             {0, "Unspecified"}, {3, "NRZ"}, {4, "SONET Scrambled"}, {7, "256B/257B"}, {8, "PAM4"}, {9, "Reserved"}}) {
        m.up(139) = code;
        fiber_vendor_info_t v{};
        fiber_decode_qsfp_vendor(m.page00, &v);
        EXPECT_STREQ(v.encoding, name);
        EXPECT_EQ(std::string(v.vendor_name, 17), std::string("ACME OPTICS     \0", 17));
        EXPECT_EQ(v.vendor_oui[0], 0x00);
        EXPECT_EQ(v.vendor_oui[1], 0x11);
        EXPECT_EQ(v.vendor_oui[2], 0x22);
        EXPECT_STREQ(v.vendor_pn, "QSFP-40G-LR4    ");
        EXPECT_EQ(std::string(v.vendor_rev, 5), std::string("B1\0\0\0", 5));
        EXPECT_STREQ(v.date_code, "20210315");
    }
    for (unsigned id = 0; id < 256; ++id) {
        m.up(128) = static_cast<uint8_t>(id);
        fiber_vendor_info_t v{};
        fiber_decode_qsfp_vendor(m.page00, &v);
        const bool ok = id == 0x0C || id == 0x0D || id == 0x11 || id == 0x18 || id == 0x1E;
        EXPECT_EQ(v.unsupported, !ok) << id;
        EXPECT_EQ(v.vendor_name[0], ok ? 'A' : 0) << id;
        EXPECT_EQ(v.encoding == nullptr, !ok) << id;
    }
}

// ----------------------------------------------------------------------------
// Diagnostics.
// ----------------------------------------------------------------------------
// Flag bytes of the lower page: the diagnostics bit each bit raises, bit 7
// first; 'm' monitor_flags, 'r' rx_power_flags, 't' tx_power_flags.
struct flag_byte { uint8_t byte; char set; int bits[8]; };
constexpr flag_byte kDiagFlagBytes[] = {
    {6, 'm', {1, 0, 3, 2, -1, -1, -1, -1}},  {7, 'm', {5, 4, 7, 6, -1, -1, -1, -1}},
    {9, 'r', {9, 8, 11, 10, 13, 12, 15, 14}}, {10, 'r', {17, 16, 19, 18, 21, 20, 23, 22}},
    {11, 'm', {9, 8, 11, 10, 13, 12, 15, 14}}, {12, 'm', {17, 16, 19, 18, 21, 20, 23, 22}},
    {13, 't', {9, 8, 11, 10, 13, 12, 15, 14}}, {14, 't', {17, 16, 19, 18, 21, 20, 23, 22}},
};

module diag_module() {
    module m;
    m.up(128) = 0x11, m.up(131) = 0x80;
    return m;
}

TEST(QsfpDiag, OneFlagBitAtATime) {
    for (const flag_byte &f : kDiagFlagBytes)
        for (int b = 0; b < 8; ++b) {
            module m = diag_module();
            m.lower[f.byte] = static_cast<uint8_t>(0x80 >> b);
            fiber_diag_info_t d{};
            fiber_decode_qsfp_diag(m.page00, m.lower, nullptr, &d);
            const uint64_t want = f.bits[b] < 0 ? 0 : uint64_t{1} << f.bits[b];
            SCOPED_TRACE(testing::Message() << "byte " << +f.byte << " bit " << 7 - b);
            EXPECT_EQ(d.monitor_flags, f.set == 'm' ? want : 0);
            EXPECT_EQ(d.rx_power_flags, f.set == 'r' ? want : 0);
            EXPECT_EQ(d.tx_power_flags, f.set == 't' ? want : 0);
        }
    // Data-not-ready and lane state bytes are alarm-only.
    module m = diag_module();
    m.lower[2] = m.lower[3] = m.lower[4] = m.lower[5] = 0xFF;
    fiber_diag_info_t d{};
    fiber_decode_qsfp_diag(m.page00, m.lower, nullptr, &d);
    EXPECT_EQ(d.monitor_flags | d.rx_power_flags | d.tx_power_flags, 0u);
}

TEST(QsfpDiag, MonitorsAndLanesFiveToEightStayZero) {
    module m = diag_module();
    m.up(220) = 0x08;                          // average power
    m.lower[22] = 0xFE, m.lower[23] = 0x80;    // -384/256 degC -> -2
    m.lower[26] = 0x80, m.lower[27] = 0xE8;    // 33000 x 100 uV
    const uint16_t rx[4] = {10000, 0, 1, 20000}, bias[4] = {1, 2, 0x8000, 0xFFFF}, tx[4] = {5000, 40000, 65535, 2};
    for (unsigned l = 0; l < 4; ++l) {
        m.lower[34 + 2 * l] = rx[l] >> 8, m.lower[35 + 2 * l] = rx[l] & 0xFF;
        m.lower[42 + 2 * l] = bias[l] >> 8, m.lower[43 + 2 * l] = bias[l] & 0xFF;
        m.lower[50 + 2 * l] = tx[l] >> 8, m.lower[51 + 2 * l] = tx[l] & 0xFF;
    }
    for (unsigned n = 6; n <= 14; ++n) m.lower[n] = 0xFF;
    fiber_diag_info_t d{};
    fiber_decode_qsfp_diag(m.page00, m.lower, nullptr, &d);
    EXPECT_EQ(d.temperature, -2);
    EXPECT_EQ(d.voltage, 33000);
    EXPECT_EQ(d.rx_power_type, 1);
    EXPECT_EQ(d.ddm_supported, 1);
    for (unsigned l = 0; l < 4; ++l) {
        EXPECT_EQ(d.tx_bias[l], bias[l]);
        EXPECT_NEAR(d.rx_power[l], rx[l] ? dbm(rx[l]) : -40.0f, 0.001);
        EXPECT_NEAR(d.tx_power[l], dbm(tx[l]), 0.001);
    }
    for (unsigned l = 4; l < 8; ++l) {
        EXPECT_EQ(d.tx_bias[l], 0);
        EXPECT_EQ(d.rx_power[l], 0.0f);
        EXPECT_EQ(d.tx_power[l], 0.0f);
    }
    EXPECT_EQ(d.monitor_flags, 0x00FFFFFFu);
    EXPECT_EQ(d.rx_power_flags, 0x00FFFF00u);
    EXPECT_EQ(d.tx_power_flags, 0x00FFFF00u);
    EXPECT_EQ(d.qsfp_done, 1);
    EXPECT_EQ(d.module_type, static_cast<uint32_t>(FIBER_DIAG_QSFP));
    EXPECT_EQ(d.thresholds_valid, 0);
    EXPECT_EQ(d.temp_high_alarm, 0);
    EXPECT_EQ(d.cmis_done, 0);
}

TEST(QsfpDiag, ThresholdsFromPage03EvenWithoutMonitors) {
    module m = diag_module();
    const uint8_t words[][2] = {{128, 0x50}, {130, 0xF6}, {132, 0x46}, {134, 0x00}, {144, 0x88}, {146, 0x79},
                                {148, 0x87}, {150, 0x7A}, {176, 0x27}, {178, 0x00}, {180, 0x13}, {182, 0x01},
                                {184, 0x10}, {186, 0x0A}, {188, 0x0F}, {190, 0x0B}, {192, 0x4E}, {194, 0x01},
                                {196, 0x03}, {198, 0x00}};
    for (const auto &w : words) m.page03[w[0] - 128] = w[1];  // high bytes; low bytes zero
    fiber_diag_info_t d{};
    fiber_decode_qsfp_diag(m.page00, m.lower, m.page03, &d);
    EXPECT_EQ(d.ddm_supported, 0);
    EXPECT_EQ(d.thresholds_valid, 1);
    EXPECT_EQ(d.rx_power[0], -40.0f);
    EXPECT_EQ(d.temp_high_alarm, 80);
    EXPECT_EQ(d.temp_low_alarm, -10);
    EXPECT_EQ(d.temp_high_warning, 70);
    EXPECT_EQ(d.temp_low_warning, 0);
    EXPECT_EQ(d.voltage_high_alarm, 0x8800);
    EXPECT_EQ(d.voltage_low_alarm, 0x7900);
    EXPECT_EQ(d.voltage_high_warning, 0x8700);
    EXPECT_EQ(d.voltage_low_warning, 0x7A00);
    EXPECT_NEAR(d.rx_power_high_alarm, dbm(0x2700), 0.001);
    EXPECT_EQ(d.rx_power_low_alarm, -40.0f);
    EXPECT_NEAR(d.rx_power_high_warning, dbm(0x1300), 0.001);
    EXPECT_NEAR(d.rx_power_low_warning, dbm(0x0100), 0.001);
    EXPECT_EQ(d.tx_bias_high_alarm, 0x1000);
    EXPECT_EQ(d.tx_bias_low_alarm, 0x0A00);
    EXPECT_EQ(d.tx_bias_high_warning, 0x0F00);
    EXPECT_EQ(d.tx_bias_low_warning, 0x0B00);
    EXPECT_NEAR(d.tx_power_high_alarm, dbm(0x4E00), 0.001);
    EXPECT_NEAR(d.tx_power_low_alarm, dbm(0x0100), 0.001);
    EXPECT_NEAR(d.tx_power_high_warning, dbm(0x0300), 0.001);
    EXPECT_EQ(d.tx_power_low_warning, -40.0f);
}

TEST(QsfpDiag, IdentifierAndComplianceGate) {
    for (unsigned id = 0; id < 256; ++id)
        for (uint8_t s : {0x00, 0x70, 0x01, 0x08, 0x80}) {
            module m;
            m.up(128) = static_cast<uint8_t>(id), m.up(131) = s, m.lower[22] = 0x19;
            fiber_diag_info_t d{};
            fiber_decode_qsfp_diag(m.page00, m.lower, nullptr, &d);
            const bool ok = (id == 0x0C || id == 0x0D || id == 0x11 || id == 0x18 || id == 0x1E) && (s & 0x8F);
            ASSERT_EQ(d.unsupported, !ok) << id << " " << +s;
            EXPECT_EQ(d.module_type, ok ? 1u : 0u);
            EXPECT_EQ(d.temperature, ok ? 25 : 0);
        }
}

TEST(QsfpDiag, EntryPointDumpOrder) {
    module m = diag_module();
    fiber_pages_t pages{};
    pages[0x00] = m.page00;
    pages[0x03] = m.page03;
    fiber_diag_info_t d;
    testing::internal::CaptureStdout();
    fiber_decode_diag(FIBER_KIND_QSFP, m.lower, pages, &d, 1);
    const std::string out = testing::internal::GetCapturedStdout();
    const auto lower = out.find("page00 lower  eeprom"), upper = out.find("page00 upper  eeprom"),
               p3 = out.find("page03  eeprom");
    ASSERT_NE(p3, std::string::npos);
    EXPECT_LT(lower, upper);
    EXPECT_LT(upper, p3);
    EXPECT_EQ(d.thresholds_valid, 1);
    EXPECT_EQ(d.qsfp_done, 1);
}

// ----------------------------------------------------------------------------
// Alarms.
// ----------------------------------------------------------------------------
// Lower page bytes 2..14, the id each bit raises, bit 0 first (-1: none).
constexpr int kAlarmIds[][8] = {
    /* 2 */ {249, -1, -1, -1, -1, -1, -1, -1},
    /* 3 */ {200, 201, 202, 203, 216, 217, 218, 219},
    /* 4 */ {232, 233, 234, 235, -1, -1, -1, -1},
    /* 5 */ {-1, -1, -1, -1, -1, -1, -1, -1},
    /* 6 */ {-1, -1, -1, -1, 2, 3, 0, 1},
    /* 7 */ {-1, -1, -1, -1, 6, 7, 4, 5},
    /* 8 */ {-1, -1, -1, -1, -1, -1, -1, -1},
    /* 9 */ {78, 79, 76, 77, 74, 75, 72, 73},
    /* 10 */ {86, 87, 84, 85, 82, 83, 80, 81},
    /* 11 */ {14, 15, 12, 13, 10, 11, 8, 9},
    /* 12 */ {22, 23, 20, 21, 18, 19, 16, 17},
    /* 13 */ {142, 143, 140, 141, 138, 139, 136, 137},
    /* 14 */ {150, 151, 148, 149, 146, 147, 144, 145},
};

module alarm_module() {
    module m;
    m.up(128) = 0x0D, m.up(131) = 0x04;
    m.seal();
    return m;
}

bool id_set(const fiber_alarm_info_t &a, unsigned id) { return (a.alarm_bits[id / 32] >> (id % 32)) & 1u; }
unsigned ids_set(const fiber_alarm_info_t &a) {
    unsigned n = 0;
    for (uint32_t w : a.alarm_bits) n += std::popcount(w);
    return n;
}

TEST(QsfpAlarm, EveryIdFromItsBit) {
    for (unsigned byte = 2; byte <= 14; ++byte)
        for (unsigned b = 0; b < 8; ++b) {
            module m = alarm_module();
            m.lower[byte] = static_cast<uint8_t>(1u << b);
            fiber_alarm_info_t a{};
            fiber_decode_qsfp_alarm(m.page00, m.lower, &a);
            const int id = kAlarmIds[byte - 2][b];
            SCOPED_TRACE(testing::Message() << "byte " << byte << " bit " << b);
            EXPECT_EQ(ids_set(a), id < 0 ? 0u : 1u);
            if (id >= 0) {
                EXPECT_TRUE(id_set(a, id));
            }
            EXPECT_EQ(a.alarm_id_count, 255u);
            EXPECT_EQ(a.qsfp_done, 1);
            EXPECT_EQ(a.cmis_done, 0);
        }
    module m = alarm_module();  // data not ready suppresses nothing
    m.lower[2] = 0x01, m.lower[3] = 0xFF, m.lower[4] = 0xF0;
    fiber_alarm_info_t a{};
    fiber_decode_qsfp_alarm(m.page00, m.lower, &a);
    EXPECT_EQ(ids_set(a), 9u);
    EXPECT_TRUE(id_set(a, 249));
    EXPECT_TRUE(id_set(a, 219));
}

TEST(QsfpAlarm, ComplianceByteRules) {
    struct rule { uint8_t s; bool monitors; uint8_t unsupported, ddm; };
    constexpr rule kRules[] = {
        {0x10, true, 1, 0}, {0x70, true, 1, 0}, {0x08, true, 0, 0}, {0x01, true, 0, 0}, {0x04, false, 0, 0},
        {0x04, true, 0, 1}, {0x02, true, 0, 1}, {0x80, true, 0, 1}, {0x80, false, 0, 0},
    };
    for (const rule &r : kRules) {
        module m;
        m.up(128) = 0x11, m.up(131) = r.s;
        m.seal();
        if (r.monitors) m.lower[23] = 0x01;
        m.lower[3] = 0x01;
        fiber_alarm_info_t a{};
        fiber_decode_qsfp_alarm(m.page00, m.lower, &a);
        SCOPED_TRACE(testing::Message() << "S " << +r.s);
        EXPECT_EQ(a.unsupported, r.unsupported);
        EXPECT_EQ(a.ddm_supported, r.ddm);
        EXPECT_EQ(a.alarm_id_count, r.unsupported ? 0u : 255u);
        EXPECT_EQ(a.qsfp_done, !r.unsupported);
        EXPECT_EQ(id_set(a, 200), !r.unsupported);
    }
}

TEST(QsfpAlarm, CheckCodeRangesAndIdentifiers) {
    // Byte changed after sealing -> id 248 for the base and extended ranges
    // and their check bytes; bytes past 223 are not covered.
    for (unsigned n : {128u, 150u, 190u, 191u, 192u, 210u, 222u, 223u, 224u, 255u}) {
        module m = alarm_module();
        m.up(n) ^= 0x01;  // byte 128 becomes 0Ch, still accepted
        fiber_alarm_info_t a{};
        fiber_decode_qsfp_alarm(m.page00, m.lower, &a);
        EXPECT_EQ(id_set(a, FIBER_ALARM_CHECKSUM), n <= 223) << n;
        EXPECT_EQ(ids_set(a), n <= 223 ? 1u : 0u) << n;
    }
    for (unsigned id = 0; id < 256; ++id) {
        module m = alarm_module();
        m.up(128) = static_cast<uint8_t>(id);
        m.seal();
        fiber_alarm_info_t a{};
        fiber_decode_qsfp_alarm(m.page00, m.lower, &a);
        const bool ok = id == 0x0C || id == 0x0D || id == 0x11 || id == 0x18 || id == 0x1E;
        EXPECT_EQ(a.unsupported, !ok) << id;
        EXPECT_EQ(a.qsfp_done, ok) << id;
    }
    fiber_alarm_info_t untouched;
    std::memset(&untouched, 0xA5, sizeof untouched);
    module m = alarm_module();
    fiber_decode_qsfp_alarm(nullptr, m.lower, &untouched);
    fiber_decode_qsfp_alarm(m.page00, nullptr, &untouched);
    EXPECT_EQ(untouched.alarm_id_count, 0xA5A5A5A5u);
}

// ----------------------------------------------------------------------------
// Real modules (tests/data/<entry>/dump.bin: lower page at 0, upper page N
// at 128 x (N + 1)).
// ----------------------------------------------------------------------------
module load(const char *entry) {
    module m;
    std::ifstream in(std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin", std::ios::binary);
    std::vector<char> b((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_GE(b.size(), 256u) << entry;
    b.resize(640);
    std::memcpy(m.lower, b.data(), 128);
    std::memcpy(m.page00, b.data() + 128, 128);
    std::memcpy(m.page03, b.data() + 512, 128);
    return m;
}

struct real_module {
    const char *entry;
    uint32_t t;  // 1: the rules reject it
    const char *type_name, *connector, *serial, *vendor, *pn, *rev, *date, *encoding;
    uint8_t oui[3];
    float wavelength, tolerance;
    uint32_t smf_km, om3_m, om4_m;
    int32_t temperature, voltage;
    uint8_t rx_power_type;
    uint64_t monitor_flags, rx_flags, tx_flags;
    std::vector<unsigned> alarms;
};

const real_module kReal[] = {
    // I 11h, K 0Ch, S 80h, X 02h: 100GBASE-SR4; Rx LOS on all lanes, Rx power low.
    {"qsfp28-100g-sr4-mellanox-mma1b00", 38, "100GBASE-SR4-QSFP28", "MPO", "MT1834FT03846   ", "Mellanox        ",
     "MMA1B00-SS1     ", "A2", "180703", "64B/66B", {0x00, 0x02, 0xC9}, 850.0f, 15.0f, 0, 70, 100, 39, 0x82C5, 1,
     0, 0x555500, 0, {200, 201, 202, 203, 216, 217, 218, 219, 72, 74, 76, 78, 80, 82, 84, 86}},
    // I 0Dh, R 255, K 23h, S 88h: cable rules, CR4 bit with the extended bit -> rejected.
    {"qsfp28-100g-dac-fs-q28pc", 1, "Unknown QSFP+ module", nullptr, "", "FS              ", "Q28-PCxx        ",
     "A2", "190805  ", "Unspecified", {0x00, 0x02, 0xC9}, 0.0f, 0.0f, 0, 0, 0, 28, 0x7DCB, 0, 0, 0, 0, {}},
    // I 0Dh, R 103, K 07h, S 02h, D 2: LC rule 3 -> iLR4.
    {"qsfp-40g-lr4-kaiam-xqx2502", 53, "40GBASE-iLR4-QSFP+", "LC", "KD70201159      ", "KAIAM CORP      ",
     "XQX2502         ", "1A", "17020100", "Unspecified", {0x14, 0xED, 0xE4}, 1310.0f, 6.5f, 2, 0, 0, 49, 0x823B, 1,
     0, 0x111100, 0x111100, {200, 201, 202, 203, 72, 76, 80, 84, 136, 140, 144, 148}},
    // I 11h, K 07h, S 80h, X 25h with D 2 (not 1): no 100G rule matches -> rejected.
    {"qsfp28-100g-fit-afct89sfdz", 1, "Unknown QSFP+ module", nullptr, "", "FIT             ", "AFCT-89SFDZ-AZ1 ",
     "01", "191021  ", "PAM4", {0xEC, 0x01, 0xE2}, 0.0f, 0.0f, 0, 0, 0, 36, 0x8105, 1, 0, 0x500, 0, {200, 72, 74}},
    // I 0Dh, R 103, K 0Ch, S 04h, G 50: 40G MPO rule -> SR4 (the bytes say SR4, not CWDM4).
    {"synthetic-fboss-sff8636-cwdm4", 27, "40GBASE-SR4-QSFP+", "MPO", "MRE01B0         ", "FACETEST        ",
     "FTL410QE2C      ", "A ", "140502  ", "64B/66B", {0, 0, 0}, 850.0f, 10.0f, 0, 100, 0, 31, 0x80DD, 1,
     (1u << 6) | (1u << 7) | (1u << 8) | (1u << 9) | (1u << 12) | (1u << 14) | (0xFu << 18),
     (1u << 8) | (1u << 9) | (1u << 12) | (1u << 14) | (0xFu << 16) | (3u << 22),
     (1u << 8) | (1u << 9) | (1u << 12) | (1u << 14) | (3u << 22),
     {200, 201, 203, 217, 219, 234, 235, 6, 7, 72, 73, 76, 78, 80, 81, 82, 83, 86, 87, 8, 9, 12, 14, 18, 19, 20, 21,
      136, 137, 140, 142, 150, 151}},
};

TEST(QsfpRealModules, IdentificationVendorDiagnosticsAlarms) {
    for (const real_module &r : kReal) {
        SCOPED_TRACE(r.entry);
        module m = load(r.entry);
        fiber_normal_info_t n{};
        fiber_decode_qsfp_normal(m.page00, m.lower, &n);
        EXPECT_EQ(n.trans_type, r.t);
        EXPECT_EQ(n.unsupported, r.t == 1);
        EXPECT_STREQ(n.type_name, r.type_name);
        if (r.t != 1) {
            EXPECT_STREQ(n.connector_name, r.connector);
            EXPECT_STREQ(n.serial_number, r.serial);
            EXPECT_FLOAT_EQ(n.wavelength_nm, r.wavelength);
            EXPECT_FLOAT_EQ(n.wavelength_tolerance_nm, r.tolerance);
            EXPECT_EQ(n.length_smf_km, r.smf_km);
            EXPECT_EQ(n.length_om3_m, r.om3_m);
            EXPECT_EQ(n.length_om4_m, r.om4_m);
            EXPECT_EQ(n.ddm_supported, 1);
        }

        fiber_vendor_info_t v{};
        fiber_decode_qsfp_vendor(m.page00, &v);
        EXPECT_STREQ(v.vendor_name, r.vendor);
        EXPECT_STREQ(v.vendor_pn, r.pn);
        EXPECT_STREQ(v.vendor_rev, r.rev);
        EXPECT_STREQ(v.date_code, r.date);
        EXPECT_STREQ(v.encoding, r.encoding);
        EXPECT_EQ(std::memcmp(v.vendor_oui, r.oui, 3), 0);

        const bool has_page03 = std::any_of(std::begin(m.page03), std::end(m.page03), [](uint8_t b) { return b; });
        fiber_diag_info_t d{};
        fiber_decode_qsfp_diag(m.page00, m.lower, has_page03 ? m.page03 : nullptr, &d);
        EXPECT_EQ(d.unsupported, 0);
        EXPECT_EQ(d.temperature, r.temperature);
        EXPECT_EQ(d.voltage, r.voltage);
        EXPECT_EQ(d.rx_power_type, r.rx_power_type);
        EXPECT_EQ(d.monitor_flags, r.monitor_flags);
        EXPECT_EQ(d.rx_power_flags, r.rx_flags);
        EXPECT_EQ(d.tx_power_flags, r.tx_flags);
        EXPECT_EQ(d.thresholds_valid, has_page03);

        fiber_alarm_info_t a{};
        fiber_decode_qsfp_alarm(m.page00, m.lower, &a);
        EXPECT_EQ(a.ddm_supported, 1);
        EXPECT_EQ(ids_set(a), r.alarms.size());
        for (unsigned id : r.alarms) EXPECT_TRUE(id_set(a, id)) << id;
    }
}

// Lane monitors and page 03h thresholds of two modules, read off their bytes.
TEST(QsfpRealModules, LaneMonitorsAndThresholds) {
    module k = load("qsfp-40g-lr4-kaiam-xqx2502");  // lower bytes 34-57
    fiber_diag_info_t d{};
    fiber_decode_qsfp_diag(k.page00, k.lower, nullptr, &d);
    const float rx[4] = {dbm(0x0010), dbm(0x0011), dbm(0x0031), -40.0f};
    const int32_t bias[4] = {0x36FF, 0x36FF, 0x36FF, 0x3683};
    for (unsigned l = 0; l < 4; ++l) {
        EXPECT_NEAR(d.rx_power[l], rx[l], 0.001);
        EXPECT_EQ(d.tx_bias[l], bias[l]);
        EXPECT_EQ(d.tx_power[l], -40.0f);
    }

    module s = load("synthetic-fboss-sff8636-cwdm4");
    fiber_diag_info_t t{};
    fiber_decode_qsfp_diag(s.page00, s.lower, s.page03, &t);
    EXPECT_NEAR(t.rx_power[3], dbm(0x1212), 0.001);
    EXPECT_EQ(t.tx_bias[0], 0x1414);
    EXPECT_NEAR(t.tx_power[3], dbm(0x4444), 0.001);
    EXPECT_EQ(t.temp_high_alarm, 75);
    EXPECT_EQ(t.temp_low_alarm, -5);
    EXPECT_EQ(t.temp_high_warning, 70);
    EXPECT_EQ(t.temp_low_warning, 0);
    EXPECT_EQ(t.voltage_high_alarm, 0x9470);
    EXPECT_EQ(t.voltage_low_warning, 0x7B0C);
    EXPECT_NEAR(t.rx_power_high_alarm, dbm(0x1A1B), 0.001);
    EXPECT_NEAR(t.rx_power_low_warning, dbm(0x1112), 0.001);
    EXPECT_EQ(t.tx_bias_high_alarm, 0x0011);
    EXPECT_EQ(t.tx_bias_low_warning, 0x6677);
    EXPECT_NEAR(t.tx_power_high_alarm, dbm(0x1122), 0.001);
    EXPECT_NEAR(t.tx_power_low_warning, dbm(0x7788), 0.001);
}

}  // namespace
