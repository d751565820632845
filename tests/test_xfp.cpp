// XFP family (INF-8077i): identification, vendor, diagnostics and alarms.
// Page 01h is indexed by its byte number (128-255), lower memory by 0-127.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "fiber_internal.h"

namespace {

using bytes = std::vector<std::pair<unsigned, uint8_t>>;
using ids = std::vector<int>;

struct page {
    uint8_t b[128] = {};
    uint8_t &operator[](unsigned n) { return b[n % 128]; }
    explicit page(const bytes &set = {}) {
        for (auto [n, v] : set) (*this)[n] = v;
    }
    page &sealed() {  // CC_BASE (191) over bytes 128-190, CC_EXT (223) over 192-222
        (*this)[191] = (*this)[223] = 0;
        for (unsigned n = 128; n < 191; ++n) (*this)[191] = static_cast<uint8_t>((*this)[191] + (*this)[n]);
        for (unsigned n = 192; n < 223; ++n) (*this)[223] = static_cast<uint8_t>((*this)[223] + (*this)[n]);
        return *this;
    }
};
page page01(const bytes &set = {}) {
    page p({{128, 0x06}});
    for (auto [n, v] : set) p[n] = v;
    return p;
}

fiber_normal_info_t identify(const bytes &set) {
    page p = page01(set);
    fiber_normal_info_t info{};
    fiber_decode_xfp_normal(p.b, &info);
    return info;
}

struct id_case {
    bytes set;
    const char *name;
    uint32_t type, rate, connector_class;
};
const id_case kIdCases[] = {
    {{{130, 0x07}, {142, 10}}, "10GBASE-LR-XFP", 21, 10000, 2},
    {{{130, 0x07}, {143, 150}}, "10GBASE-SR-XFP", 20, 10000, 2},
    {{{130, 0x07}}, "10GBASE-SR-XFP", 20, 10000, 2},
    {{{143, 255}, {144, 255}}, "10GBASE-SR-XFP", 20, 10000, 2},  // 510 m: longest without byte 142
    {{{130, 0x07}, {142, 1}}, "Unknown XFP module", 0, 0, 0},    // 1000 m lies in the gap
    {{{142, 2}}, "10GBASE-LR-XFP", 21, 10000, 2},
    {{{142, 15}}, "10GBASE-LR-XFP", 21, 10000, 2},
    {{{142, 16}}, "10GBASE-ER-XFP", 22, 10000, 2},
    {{{142, 40}, {143, 40}}, "10GBASE-ER-XFP", 22, 10000, 2},
    {{{142, 45}}, "10GBASE-ER-XFP", 22, 10000, 2},
    {{{142, 46}}, "10GBASE-ZR-XFP", 23, 10000, 2},
    {{{142, 120}}, "10GBASE-ZR-XFP", 23, 10000, 2},
    {{{142, 121}}, "Unknown XFP module", 0, 0, 0},
    {{{130, 0x21}, {146, 3}}, "10GBASE-Copper-XFP", 19, 10000, 3},
    {{{130, 0x21}, {142, 1}}, "10GBASE-Copper-XFP", 19, 10000, 3},  // connector wins over the gap
};

TEST(XfpIdentify, TypeByLengthAndConnector) {
    for (std::size_t i = 0; i < std::size(kIdCases); ++i) {
        const id_case &c = kIdCases[i];
        const fiber_normal_info_t n = identify(c.set);
        EXPECT_EQ(std::tuple(std::string(n.type_name), std::string(n.display_name), n.trans_type, n.rate_mbps,
                             n.connector_class, n.is_copper, n.name_prefix, n.is_xfp, n.ddm_supported, n.is_sfp),
                  std::tuple(c.name, c.name, c.type, c.rate, c.connector_class, uint8_t(c.type == 19), nullptr,
                             uint8_t{1}, uint8_t{1}, uint8_t{0}))
            << "row " << i;
    }
}

TEST(XfpIdentify, LengthsWavelengthSerialConnector) {
    page p = page01({{130, 0x07}, {143, 150}, {144, 82}, {145, 33}, {146, 5}, {186, 0x79}, {187, 0xF0}});
    std::memcpy(&p[196], "XFP-SN-1        ", 16);
    fiber_normal_info_t n{};
    fiber_decode_xfp_normal(p.b, &n);
    EXPECT_EQ(std::tuple(n.length_smf_km, n.length_om3_m, n.length_om2_m, n.length_om1_m, n.length_copper_m,
                         n.length_om4_m, std::string(n.serial_number), std::string(n.connector_name)),
              std::tuple(0u, 300u, 82u, 33u, 5u, 0u, "XFP-SN-1        ", "LC"));
    EXPECT_FLOAT_EQ(n.wavelength_nm, 1560.8f);
    n = identify({{142, 40}, {143, 40}});  // OM3 only without a single-mode length
    EXPECT_EQ(std::tuple(n.length_smf_km, n.length_om3_m, n.wavelength_nm), std::tuple(40u, 0u, 0.0f));
}

TEST(XfpIdentify, RejectedIdentifierAndEntryPoint) {
    for (uint8_t id : {0x00, 0x03, 0x05, 0x07, 0x0D}) {
        page p = page01({{128, id}, {142, 10}});
        fiber_normal_info_t info, expected;
        std::memset(&info, 0, sizeof info);
        std::memset(&expected, 0, sizeof expected);
        expected.unsupported = 1;
        fiber_decode_xfp_normal(p.b, &info);
        EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0) << int(id);
    }
    fiber_pages_t pages{};
    fiber_normal_info_t info;
    std::memset(&info, 0x5A, sizeof info);
    fiber_decode_normal(FIBER_KIND_XFP, page01({{142, 10}}).b, pages, &info, 0);
    EXPECT_EQ(std::pair(std::string(info.display_name), info.length_om1_m), std::pair(std::string("10GBASE-LR-XFP"), 0u));
}

TEST(XfpVendor, FieldsFromTheirOffsets) {
    page p;
    for (unsigned n = 129; n < 256; ++n) p[n] = static_cast<uint8_t>(n);
    p[128] = 0x06;
    const std::pair<uint8_t, const char *> encodings[] = {{0x30, "NRZ"}, {0x18, "RZ"}, {0xC0, "8B10B"}, {0x07, "Reserved"}};
    for (auto [code, name] : encodings) {
        p[139] = code;
        fiber_vendor_info_t v{};
        fiber_decode_xfp_vendor(p.b, &v);
        EXPECT_STREQ(v.encoding, name);
        EXPECT_EQ(std::string(v.vendor_name), std::string(&p[148], &p[148] + 16));
        EXPECT_EQ(std::vector<uint8_t>(v.vendor_oui, v.vendor_oui + 3), std::vector<uint8_t>(&p[165], &p[165] + 3));
        EXPECT_EQ(std::string(v.vendor_pn), std::string(&p[168], &p[168] + 16));
        EXPECT_EQ(std::string(v.vendor_rev), std::string(&p[184], &p[184] + 2));  // two bytes only
        EXPECT_EQ(std::string(v.date_code), std::string(&p[212], &p[212] + 8));
    }
}

TEST(XfpVendor, RejectionAndEntryPoint) {
    page p = page01({{148, 'V'}, {139, 0x80}, {128, 0x03}});
    page lower;
    fiber_pages_t pages{};
    fiber_vendor_info_t info, expected;
    std::memset(&expected, 0, sizeof expected);
    expected.unsupported = 1;
    fiber_decode_vendor(FIBER_KIND_XFP, p.b, pages, &info, 0);
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
    pages[0] = lower.b;
    testing::internal::CaptureStdout();
    fiber_decode_vendor(FIBER_KIND_XFP, nullptr, pages, &info, 1);  // no page 01h: nothing decoded
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::pair(out.find("page00 lower") != out.npos, out.find("page00 upper  eeprom") != out.npos),
              std::pair(false, true));
    expected.unsupported = 0;
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
    p[128] = 0x06;
    fiber_decode_vendor(FIBER_KIND_XFP, p.b, pages, &info, 0);
    EXPECT_EQ(std::pair(std::string(info.vendor_name), std::string(info.encoding)), std::pair(std::string("V"), std::string("64B/66B")));
}

// INF-8077i lower memory flags: {byte, bit, alarm id}; ids below 192 are also
// diagnostics flags (monitor bit k, Rx power bit k - 64, Tx power bit k - 128).
const int kXfpFlags[][3] = {
    {80, 7, 1},   {80, 6, 0},   {80, 3, 9},   {80, 2, 8},   {80, 1, 137}, {80, 0, 136}, {81, 7, 73},
    {81, 6, 72},  {81, 5, 5},   {81, 4, 4},   {82, 7, 3},   {82, 6, 2},   {82, 3, 11},  {82, 2, 10},
    {82, 1, 139}, {82, 0, 138}, {83, 7, 75},  {83, 6, 74},  {83, 5, 7},   {83, 4, 6},   {84, 6, 232},
    {84, 5, 251}, {84, 4, 250}, {84, 3, 200}, {84, 2, 252}, {84, 1, 249},
};

ids ids_of(const fiber_alarm_info_t &info) {
    ids out;
    for (int id = 0; id < 256; ++id)
        if (info.alarm_bits[id / 32] >> (id % 32) & 1u) out.push_back(id);
    return out;
}

TEST(XfpFlags, EveryBitToOneFlagAndOneId) {
    page id = page01().sealed();
    for (unsigned byte = 79; byte <= 85; ++byte) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            int expected = -1;
            for (auto &f : kXfpFlags)
                if (f[0] == int(byte) && f[1] == int(bit)) expected = f[2];
            const uint64_t one = 1;
            const auto flags = expected < 0 || expected >= 192 ? std::tuple(uint64_t{0}, uint64_t{0}, uint64_t{0})
                               : std::tuple(expected < 64 ? one << expected : 0,
                                            expected >= 64 && expected < 128 ? one << (expected - 64) : 0,
                                            expected >= 128 ? one << (expected - 128) : 0);
            page lower({{byte, uint8_t(1u << bit)}});
            fiber_diag_info_t d{};
            fiber_decode_xfp_diag(id.b, lower.b, &d);
            EXPECT_EQ(std::tuple(d.monitor_flags, d.rx_power_flags, d.tx_power_flags), flags) << byte << "." << bit;
            fiber_alarm_info_t a{};
            fiber_decode_xfp_alarm(id.b, lower.b, &a);
            EXPECT_EQ(ids_of(a), expected < 0 ? ids{} : ids{expected}) << byte << "." << bit;
        }
    }
}

TEST(XfpDiag, Measurements) {
    page lower({{96, 0x00}, {97, 0x80}, {100, 0x0B}, {101, 0xB8}, {102, 0x27}, {103, 0x10}, {106, 0x80}, {107, 0xE8}});
    fiber_diag_info_t d{};
    fiber_decode_xfp_diag(page01({{220, 0x08}}).b, lower.b, &d);
    EXPECT_EQ(std::tuple(d.temperature, d.tx_bias[0], d.rx_power[0], d.voltage, d.rx_power_type, d.ddm_supported,
                         d.module_type, d.thresholds_valid, d.tx_bias[1]),
              std::tuple(1, 3000, -40.0f, 33000, uint8_t{1}, uint8_t{1}, uint32_t{FIBER_DIAG_XFP}, uint8_t{0}, 0));
    EXPECT_NEAR(d.tx_power[0], 0.0f, 1e-4);
    lower[96] = 0xFF;  // -0.5 degC
    fiber_diag_info_t neg{};
    fiber_decode_xfp_diag(page01().b, lower.b, &neg);
    EXPECT_EQ(std::pair(neg.temperature, neg.rx_power_type), std::pair(-1, uint8_t{0}));
}

TEST(XfpDiag, RejectionAndEntryPoint) {
    page lower({{96, 0x19}});
    fiber_diag_info_t d{};
    fiber_decode_xfp_diag(page01({{128, 0x03}}).b, lower.b, &d);
    EXPECT_EQ(std::tuple(d.unsupported, d.module_type, d.temperature), std::tuple(uint8_t{1}, 0u, 0));
    fiber_pages_t pages{};
    pages[0] = lower.b;
    fiber_decode_diag(FIBER_KIND_XFP, page01().b, pages, &d, 0);  // page 01h first, lower memory as slot 0
    EXPECT_EQ(std::pair(d.unsupported, d.temperature), std::pair(uint8_t{0}, 25));
}

TEST(XfpAlarm, CheckCodesAndRejection) {
    page id = page01({{148, 'V'}, {200, 'S'}}).sealed();
    page lower({{84, 0x81}});  // bits 7 and 0 are not mapped
    fiber_alarm_info_t a{};
    fiber_decode_xfp_alarm(id.b, lower.b, &a);
    EXPECT_EQ(std::tuple(ids_of(a), a.alarm_id_count, a.ddm_supported), std::tuple(ids{}, 255u, uint8_t{1}));
    lower[84] = 0x7E;
    for (unsigned n : {191u, 223u, 148u, 200u}) {
        page bad = id;
        ++bad[n];
        fiber_alarm_info_t b{};
        fiber_decode_xfp_alarm(bad.b, lower.b, &b);
        EXPECT_EQ(ids_of(b), (ids{200, 232, 248, 249, 250, 251, 252})) << n;
    }
    id[128] = 0x03;
    ++id[191];
    fiber_alarm_info_t r{};
    fiber_decode_xfp_alarm(id.b, lower.b, &r);
    EXPECT_EQ(std::tuple(r.unsupported, r.alarm_id_count, ids_of(r)), std::tuple(uint8_t{1}, 0u, ids{}));
}

}  // namespace
