// SPDX-License-Identifier: Apache-2.0
// XFP family (INF-8077i): identification, vendor, diagnostics and alarms.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "fiber_internal.h"

namespace {

using bytes = std::vector<std::pair<unsigned, uint8_t>>;
using ids = std::vector<int>;

// One 128-byte page: upper page 01h by its byte numbers 128-255, lower memory by 0-127.
struct page {
    uint8_t b[128] = {};
    explicit page(const bytes &set = {}) { for (auto [n, v] : set) b[n % 128] = v; }
    uint8_t &operator[](unsigned n) { return b[n % 128]; }
    page &sealed() {  // CC_BASE (191) over bytes 128-190, CC_EXT (223) over 192-222
        b[63] = b[95] = 0;
        for (int i = 0; i < 63; ++i) b[63] += b[i];
        for (int i = 64; i < 95; ++i) b[95] += b[i];
        return *this;
    }
};
page page01(bytes set = {}) { set.insert(set.begin(), {128, 0x06}); return page(set); }  // identifier 06h: XFP
template <class R>
R filled(uint8_t fill = 0x5A) { R r; std::memset(&r, fill, sizeof r); return r; }
template <class R>
bool same(const R &a, const R &b) { return std::memcmp(&a, &b, sizeof a) == 0; }
// A record through the entry point (page 01h first, lower memory as page 00h), from a filled one.
template <class R>
R entry(void (*decode)(fiber_module_kind, const uint8_t *, const fiber_pages_t, R *, uint8_t), const page &p01,
        const page &lower = page()) {
    const fiber_pages_t pages = {lower.b};
    R r = filled<R>();
    decode(FIBER_KIND_XFP, p01.b, pages, &r, 0);
    return r;
}
ids ids_of(const fiber_alarm_info_t &info) {
    ids out;
    for (int id = 0; id < 256; ++id) if (info.alarm_bits[id / 32] >> (id % 32) & 1u) out.push_back(id);
    return out;
}

// Type by the longest length in metres (byte 142 km, 143 2 m, 144-146 m), copper by connector 21h, which wins
// over the 600-1000 m gap; 510 m is the longest without byte 142. Every type is 10G, class 3 copper, else 2.
struct id_case { bytes set; const char *name = "Unknown XFP module"; uint32_t type = 0; };
const id_case kIdCases[] = {
    {{{130, 0x07}, {143, 150}}, "10GBASE-SR-XFP", 20}, {{{130, 0x07}}, "10GBASE-SR-XFP", 20}, {{{130, 0x07}, {142, 1}}},
    {{{143, 255}, {144, 255}}, "10GBASE-SR-XFP", 20},  {{{142, 2}}, "10GBASE-LR-XFP", 21},   {{{142, 121}}},
    {{{142, 15}}, "10GBASE-LR-XFP", 21},  {{{142, 16}}, "10GBASE-ER-XFP", 22},  {{{142, 45}}, "10GBASE-ER-XFP", 22},
    {{{142, 46}}, "10GBASE-ZR-XFP", 23},  {{{142, 120}}, "10GBASE-ZR-XFP", 23},
    {{{130, 0x21}, {146, 3}}, "10GBASE-Copper-XFP", 19}, {{{130, 0x21}, {142, 1}}, "10GBASE-Copper-XFP", 19},
};

TEST(XfpIdentify, TypeByLengthAndConnector) {
    for (const id_case &c : kIdCases) {
        const auto n = entry(fiber_decode_normal, page01(c.set));
        EXPECT_EQ(std::tuple(std::string(n.type_name), std::string(n.display_name), n.trans_type, n.rate_mbps,
                             n.connector_class, n.is_copper, n.name_prefix, n.is_xfp, n.ddm_supported, n.is_sfp),
                  std::tuple(c.name, c.name, c.type, c.type ? 10000u : 0u, c.type == 19 ? 3u : c.type ? 2u : 0u,
                             uint8_t(c.type == 19), nullptr, uint8_t{1}, uint8_t{1}, uint8_t{0}))
            << "row " << &c - kIdCases;
    }
}

TEST(XfpIdentify, LengthsWavelengthAndFields) {  // the entry point clears the record first
    const auto n = entry(fiber_decode_normal, page01({{143, 150}, {144, 82}, {145, 33}, {146, 5}, {186, 0x79}, {187, 0xF0}}));
    const auto smf = entry(fiber_decode_normal, page01({{142, 40}, {143, 40}}));  // OM3 only without single-mode
    EXPECT_EQ(std::tuple(n.length_smf_km, n.length_om3_m, n.length_om2_m, n.length_om1_m, n.length_copper_m,
                         n.length_om4_m, n.wavelength_nm, smf.length_smf_km, smf.length_om3_m, smf.wavelength_nm),
              std::tuple(0u, 300u, 82u, 33u, 5u, 0u, 1560.8f, 40u, 0u, 0.0f));  // wavelength in 0.05 nm
    page p = page01();
    for (unsigned n = 129; n < 256; ++n) p[n] = static_cast<uint8_t>(n == 139 ? 0x80 : n);  // encoding 80h
    const auto v = entry(fiber_decode_vendor, p);
    const auto i = entry(fiber_decode_normal, p);
    auto at = [&](unsigned n, unsigned len) { return std::string(&p[n], &p[n] + len); };
    EXPECT_EQ(std::tuple(std::string(v.vendor_name), std::string(v.vendor_oui, v.vendor_oui + 3), std::string(v.vendor_pn),
                         std::string(v.vendor_rev), std::string(v.date_code), std::string(v.encoding),
                         std::string(i.serial_number)),
              std::tuple(at(148, 16), at(165, 3), at(168, 16), at(184, 2), at(212, 8), "64B/66B", at(196, 16)));
}

TEST(XfpEntryPoints, OtherIdentifiersAndNullPointers) {
    const page lower({{96, 0x19}, {80, 0xFF}});
    auto only_unsupported = [&](auto decode, const page &p01) {  // the record ends all zero but unsupported
        auto got = entry(decode, p01, lower), want = filled<decltype(got)>(0);
        want.unsupported = 1;
        return same(got, want);
    };
    for (uint8_t id : {0x00, 0x03, 0x05, 0x07, 0x0D}) {  // byte 191 also a wrong check code
        const page p01 = page01({{128, id}, {142, 10}, {148, 'V'}, {191, 0x55}});
        EXPECT_TRUE(only_unsupported(fiber_decode_normal, p01) && only_unsupported(fiber_decode_vendor, p01) &&
                    only_unsupported(fiber_decode_diag, p01) && only_unsupported(fiber_decode_alarm, p01)) << int(id);
    }
    // The family decoders leave the record as it was when a pointer is null.
    const page p01 = page01({{142, 10}}).sealed();
    auto untouched = [](auto call, auto r) { const auto before = r; call(&r); return same(r, before); };
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_xfp_normal(nullptr, i); }, filled<fiber_normal_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_xfp_vendor(nullptr, i); }, filled<fiber_vendor_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_xfp_diag(nullptr, lower.b, i); }, filled<fiber_diag_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_xfp_diag(p01.b, nullptr, i); }, filled<fiber_diag_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_xfp_alarm(nullptr, lower.b, i); }, filled<fiber_alarm_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_xfp_alarm(p01.b, nullptr, i); }, filled<fiber_alarm_info_t>()));
    fiber_decode_xfp_normal(p01.b, nullptr);  // a null record: nothing to write, no fault
    fiber_decode_xfp_vendor(p01.b, nullptr);
    fiber_decode_xfp_diag(p01.b, lower.b, nullptr);
    fiber_decode_xfp_alarm(p01.b, lower.b, nullptr);
}

// INF-8077i lower memory flags {byte, bit, alarm id}; alarm id k is monitor_flags bit k,
// rx_power_flags bit k - 64 or tx_power_flags bit k - 128 (none from 192).
const int kXfpFlags[][3] = {
    {80, 7, 1},   {80, 6, 0},   {80, 3, 9},   {80, 2, 8},   {80, 1, 137}, {80, 0, 136}, {81, 7, 73},
    {81, 6, 72},  {81, 5, 5},   {81, 4, 4},   {82, 7, 3},   {82, 6, 2},   {82, 3, 11},  {82, 2, 10},
    {82, 1, 139}, {82, 0, 138}, {83, 7, 75},  {83, 6, 74},  {83, 5, 7},   {83, 4, 6},   {84, 6, 232},
    {84, 5, 251}, {84, 4, 250}, {84, 3, 200}, {84, 2, 252}, {84, 1, 249},
};
uint64_t flag(int id, int base) { return id >= base && id < base + 64 ? uint64_t{1} << (id - base) : 0; }

TEST(XfpFlags, EveryBitToOneFlagAndOneId) {
    const page id = page01().sealed();
    for (unsigned byte = 79; byte <= 85; ++byte) for (unsigned bit = 0; bit < 8; ++bit) {
        int k = -1;
        for (auto &f : kXfpFlags) k = f[0] == int(byte) && f[1] == int(bit) ? f[2] : k;
        const page lower({{byte, uint8_t(1u << bit)}});
        const auto d = entry(fiber_decode_diag, id, lower);
        const auto a = entry(fiber_decode_alarm, id, lower);
        EXPECT_EQ(std::tuple(d.monitor_flags, d.rx_power_flags, d.tx_power_flags, ids_of(a), a.alarm_id_count, a.ddm_supported),
                  std::tuple(flag(k, 0), flag(k, 64), flag(k, 128), k < 0 ? ids{} : ids{k}, 255u, uint8_t{1}))
            << byte << "." << bit;
    }
}

TEST(XfpDiag, Measurements) {
    page lower({{96, 0x00}, {97, 0x80}, {100, 0x0B}, {101, 0xB8}, {102, 0x27}, {103, 0x10}, {106, 0x80}, {107, 0xE8}});
    auto d = entry(fiber_decode_diag, page01({{220, 0x08}}), lower);
    EXPECT_EQ(std::tuple(d.temperature, d.tx_bias[0], d.tx_power[0], d.rx_power[0], d.voltage, d.rx_power_type,
                         d.ddm_supported, d.module_type, d.thresholds_valid, d.tx_bias[1]),
              std::tuple(1, 3000, fiber_dbm(10000), -40.0f, 33000, uint8_t{1}, uint8_t{1}, uint32_t{FIBER_DIAG_XFP},
                         uint8_t{0}, 0));
    lower[96] = 0xFF;  // -0.5 degC
    d = entry(fiber_decode_diag, page01(), lower);
    EXPECT_EQ(std::pair(d.temperature, d.rx_power_type), std::pair(-1, uint8_t{0}));
}

TEST(XfpAlarm, CheckCodes) {
    const page id = page01({{148, 'V'}, {200, 'S'}}).sealed(), lower({{80, 0x80}});
    for (unsigned n : {0u, 129u, 190u, 191u, 192u, 222u, 223u}) {  // 0: as sealed
        page p = id;
        p[n] += n != 0;
        EXPECT_EQ(ids_of(entry(fiber_decode_alarm, p, lower)), (n ? ids{1, 248} : ids{1})) << n;  // flags still translated
    }
}

}  // namespace
