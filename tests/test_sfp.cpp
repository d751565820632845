// SPDX-License-Identifier: Apache-2.0
// SFP family (SFF-8472): identification, vendor, diagnostics and alarms.
#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "fiber_internal.h"

namespace {

using bytes = std::vector<std::pair<unsigned, uint8_t>>;
using ids = std::vector<int>;

// One 128-byte block, A0h (identifier in byte 0) or A2h; b[n] is byte n.
struct block {
    uint8_t b[128] = {};
    explicit block(const bytes &set = {}, uint8_t id = 0x03) { b[0] = id; for (auto [n, v] : set) b[n] = v; }
    block &word(unsigned n, uint16_t w) { b[n] = uint8_t(w >> 8), b[n + 1] = uint8_t(w); return *this; }
    block &real(unsigned n, float f) { return word(n, std::bit_cast<uint32_t>(f) >> 16).word(n + 2, std::bit_cast<uint32_t>(f)); }
    block &sealed() {  // A0h CC_BASE (63) over bytes 0-62, CC_EXT (95) over 64-94
        b[63] = b[95] = 0;
        for (int i = 0; i < 63; ++i) b[63] += b[i];
        for (int i = 64; i < 95; ++i) b[95] += b[i];
        return *this;
    }
};
block a2_block(const bytes &set = {}) { return block(set, 0); }
const block kDdm({{92, 0x68}}), kExternal({{92, 0x58}});  // byte 92: internally / externally calibrated

std::string str(const char *s) { return s ? s : "(null)"; }
template <class R>
R filled(uint8_t fill = 0x5A) { R r; std::memset(&r, fill, sizeof r); return r; }
template <class R>
bool same(const R &a, const R &b) { return std::memcmp(&a, &b, sizeof a) == 0; }
fiber_normal_info_t identify(const bytes &set) { fiber_normal_info_t i{}; fiber_decode_sfp_normal(block(set).b, &i); return i; }
fiber_alarm_info_t alarm(const block &a0, block &a2) { fiber_alarm_info_t i{}; fiber_decode_sfp_alarm(a0.b, a2.b, &i); return i; }
// A record through the entry point (A2h as page 00h), from a filled one.
template <class R>
R entry(void (*decode)(fiber_module_kind, const uint8_t *, const fiber_pages_t, R *, uint8_t), const uint8_t *a0,
        const uint8_t *a2) {
    const fiber_pages_t pages = {a2};
    R r = filled<R>();
    decode(FIBER_KIND_SFP, a0, pages, &r, 0);
    return r;
}
fiber_diag_info_t diag(const block &a0, const block &a2) { return entry(fiber_decode_diag, a0.b, a2.b); }  // byte 92: calibration
ids ids_of(const fiber_alarm_info_t &info) {
    ids out;
    for (int id = 0; id < 256; ++id) if (info.alarm_bits[id / 32] >> (id % 32) & 1u) out.push_back(id);
    return out;
}

// Byte 12 (nominal rate, 100 MBd), other bytes; name as displayed (prefix and type name); type id;
// flags: c is_copper, a is_active_cable, z zx_within_90km, r is_rj45.
struct id_case { uint8_t br; bytes set; const char *name = "Unknown SFP module"; uint32_t type = 0; const char *flags = ""; };
const id_case kIdCases[] = {
    // 10G (byte 12 from 90 to 120): distance class, compliance codes (LRM needs no length), cable rules (byte 8
    // bits 3-2, byte 18 metres; pigtail 0Bh ignores byte 8; the 10G prefix has no type 9).
    {103, {{19, 30}}, "10GBASE-SR-SFP+", 15}, {90, {{15, 100}}, "10GBASE-LR-SFP+", 16}, {89, {{19, 30}}},
    {120, {{14, 40}}, "10GBASE-ER-SFP+", 17}, {103, {{14, 80}}, "10GBASE-ZR-SFP+", 18}, {121, {{19, 30}}},
    {103, {}}, {103, {{3, 0x40}}, "10GBASE-LRM-SFP+", 50}, {103, {{3, 0x40}, {36, 0x16}, {18, 30}}, "10GBASE-T-SFP+", 103},
    {103, {{2, 0x23}, {8, 0x04}, {18, 7}}, "10G-Passive Copper-SFP+", 64, "c"},
    {103, {{2, 0x21}, {8, 0x04}, {18, 8}}, "10GUnknown module", 9, "c"},
    {103, {{2, 0x21}, {8, 0x04}}, "10G-Loopback-SFP+", 66, "c"}, {103, {{2, 0x21}, {8, 0x0C}, {19, 30}}, "10GBASE-SR-SFP+", 15},
    {103, {{2, 0x23}, {8, 0x08}}, "10G-Active-Cable-SFP+", 33, "a"}, {103, {{2, 0x21}}, "10G-Active-Cable-SFP+", 33, "a"},
    {103, {{2, 0x0B}, {8, 0x04}, {18, 3}}, "10G-Active-Cable-SFP+", 33, "a"},
    // 1000BASE (byte 12 from 10 to 14): both sides of each bound of the longest length in metres; byte 18 unscaled.
    {10, {{16, 100}}, "1000BASE-SX-SFP", 9}, {14, {{16, 101}}, "1000BASE-LX-SFP", 10}, {12, {{14, 121}}},
    {12, {{14, 15}}, "1000BASE-LX-SFP", 10}, {12, {{15, 151}}, "1000BASE-LH-SFP", 11}, {12, {{18, 255}}, "1000BASE-SX-SFP", 9},
    {12, {{14, 45}}, "1000BASE-LH-SFP", 11}, {12, {{14, 46}}, "1000BASE-ZX-SFP", 12, "z"},
    {12, {{14, 90}}, "1000BASE-ZX-SFP", 12, "z"}, {12, {{14, 91}}, "1000BASE-ZX-SFP", 12}, {12, {{14, 120}}, "1000BASE-ZX-SFP", 12},
    // 100BASE (byte 12 1 or 2), BASE-T (byte 6 08h), copper pigtails (connector 21h; the ZX flag follows the
    // candidate type) and the rates next to each family.
    {1, {{16, 10}}, "100BASE-SX-SFP", 3}, {2, {{15, 100}}, "100BASE-LX-SFP", 4}, {1, {{14, 40}}, "100BASE-LH-SFP", 5},
    {1, {{14, 80}}, "100BASE-ZX-SFP", 6}, {1, {{6, 0x08}}, "100BASE-GT-SFP", 2, "r"}, {9, {{16, 10}}}, {15, {{16, 10}}},
    {0, {{6, 0x08}}, "10/100/1000BASE-GT-SFP", 119, "r"}, {13, {{2, 0x21}, {18, 3}}, "1000-Copper-SFP", 13, "c"},
    {1, {{2, 0x21}}, "100-Copper-SFP", 7, "c"}, {25, {{2, 0x21}}, "2.5G-Copper-SFP", 28, "c"}, {3, {{16, 10}}}, {25, {{16, 10}}},
    {0, {{2, 0x21}}, "Unknown SFP module", 0, "c"}, {26, {{2, 0x21}}, "Unknown SFP module", 0, "c"},
    {24, {{2, 0x21}}, "Unknown SFP module", 0, "c"}, {12, {{2, 0x21}, {14, 70}}, "1000-Copper-SFP", 13, "cz"},
    {13, {{2, 0x23}, {16, 10}}, "1000BASE-SX-SFP", 9}, {13, {{2, 0x0B}, {16, 10}}, "1000BASE-SX-SFP", 9},
    // Fibre Channel (byte 10 bits 6, 5, 4, 2; byte 3 zero; 2.5G first).
    {21, {{10, 0x60}}, "FC(16G) SFP Module"}, {21, {{10, 0x50}}, "FC(8G) SFP Module"}, {21, {{10, 0x14}}, "FC(4G) SFP Module"},
    {21, {{10, 0x04}}, "FC(2G) SFP Module"}, {0, {{6, 0x08}, {10, 0x40}}, "FC(8G) SFP Module"}, {21, {{10, 0x08}}},
    {21, {{10, 0x40}, {3, 0x10}}}, {25, {{10, 0x40}}},
    // SFP28: byte 12 FFh, rate in byte 66 (none, or 91 to 119 in units of 250 MBd); the Fibre Channel prefix
    // stays; a copper pigtail flags copper first.
    {255, {}, "25GBASE-SR-SFP28", 43}, {255, {{66, 103}, {10, 0x40}}, "FC(8G) 25GBASE-SR-SFP28", 43}, {255, {{66, 90}}},
    {255, {{66, 91}}, "25GBASE-SR-SFP28", 43}, {255, {{66, 119}}, "25GBASE-SR-SFP28", 43}, {255, {{66, 120}}},
    {255, {{2, 0x21}, {8, 0x04}, {18, 6}}, "25GBASE-SR-SFP28", 43, "c"}, {255, {{16, 100}}, "25GBASE-SR-SFP28", 43},
    {255, {{16, 101}}, "25GBASE-LR-SFP28", 44}, {255, {{14, 40}}, "25GBASE-ER-SFP28", 45},
    {255, {{14, 120}}, "25GBASE-ZR-SFP28", 46}, {255, {{14, 121}}, "Unknown SFP28 module"},
    {255, {{2, 0x0B}}, "25G-Activecable-SFP28", 48, "a"}, {255, {{2, 0x23}, {8, 0x04}}, "25G-Loopback-SFP28", 75, "c"},
    {255, {{2, 0x23}, {8, 0x04}, {18, 5}}, "25G-Passive Copper-SFP28", 73, "c"},
    {255, {{2, 0x23}, {8, 0x04}, {18, 6}}, "25GBASE-SR-SFP28", 43}, {255, {{2, 0x23}, {8, 0x0C}}, "25GBASE-SR-SFP28", 43},
    {255, {{2, 0x23}, {8, 0x08}, {18, 5}}, "25G-Activecable-SFP28", 48, "a"},
    {255, {{2, 0x23}, {8, 0x08}, {18, 6}}, "25G-Activecable-SFP28", 48, "ca"},
};

TEST(SfpIdentify, DecisionProcedure) {
    for (const id_case &c : kIdCases) {
        bytes set = c.set;
        set.push_back({12, c.br});
        const fiber_normal_info_t i = identify(set);
        const std::string flags = std::string(i.is_copper ? "c" : "") + (i.is_active_cable ? "a" : "") +
                                  (i.zx_within_90km ? "z" : "") + (i.is_rj45 ? "r" : "");
        EXPECT_EQ(std::tuple(std::string(i.name_prefix ? i.name_prefix : "") + str(i.type_name), i.trans_type, flags, i.is_sfp),
                  std::tuple(c.name, c.type, c.flags, uint8_t{1})) << "row " << &c - kIdCases;
    }
}

TEST(SfpIdentify, WavelengthLengthsConnector) {
    auto nm = [](const bytes &set) { return identify(set).wavelength_nm; };  // stated, else by 1000BASE-SX / -LX
    EXPECT_EQ(std::tuple(nm({{60, 0x05}, {61, 0x1E}, {6, 0x01}}), nm({{6, 0x01}}), nm({{6, 0x02}}), nm({{6, 0x03}})),
              std::tuple(1310.0f, 850.0f, 1310.0f, 0.0f));
    const fiber_normal_info_t i = identify({{14, 10}, {15, 100}, {16, 8}, {17, 3}, {19, 30}}), j = identify({{15, 25}});
    EXPECT_EQ(std::tuple(i.length_smf_km, i.length_smf_km_from_100m, i.length_om2_m, i.length_om1_m, i.length_om3_m,
                         i.ddm_supported, j.length_smf_km, j.length_smf_km_from_100m, str(identify({{6, 0x08}}).connector_name)),
              std::tuple(10u, 0u, 80u, 30u, 300u, uint8_t{0}, 0u, 2u, "RJ45"));  // BASE-T names its connector RJ45
    // Byte 18 (10): copper metres for cable connectors, 10GBASE-T and BASE-T, else OM4 in units of 10 m.
    const std::pair<bytes, bool> byte18[] = {
        {{{2, 0x07}}, false}, {{{2, 0x21}}, true}, {{{2, 0x22}}, true}, {{{2, 0x23}}, true},
        {{{2, 0x0B}}, true},  {{{12, 103}, {36, 0x16}}, true}, {{{12, 13}, {6, 0x08}}, true},
    };
    for (auto [set, copper] : byte18) {
        set.push_back({18, 10});
        const fiber_normal_info_t k = identify(set);
        EXPECT_EQ(std::pair(k.length_copper_m, k.length_om4_m), copper ? std::pair(10u, 0u) : std::pair(0u, 100u));
    }
}

TEST(SfpFields, FromTheirOffsets) {
    block a0;
    for (int n = 1; n < 128; ++n) a0.b[n] = static_cast<uint8_t>(n == 11 ? 6 : n == 100 ? 0 : n);  // encoding 06h
    fiber_vendor_info_t v{};
    fiber_normal_info_t i{};
    fiber_decode_sfp_vendor(a0.b, &v);
    fiber_decode_sfp_normal(a0.b, &i);
    auto at = [&](unsigned n, unsigned len) { return std::string(a0.b + n, a0.b + n + len); };
    EXPECT_EQ(std::tuple(std::string(v.vendor_name), std::string(v.vendor_oui, v.vendor_oui + 3), std::string(v.vendor_pn),
                         std::string(v.vendor_rev), std::string(v.date_code), str(v.encoding), std::string(i.serial_number),
                         std::string(i.vendor_specific, i.vendor_specific + 16), i.ddm_supported),  // zero byte 100 kept
              std::tuple(at(20, 16), at(37, 3), at(40, 16), at(56, 4), at(84, 8), "64B/66B", at(68, 16), at(96, 16), uint8_t{1}));
}

TEST(SfpEntryPoints, OtherIdentifiersAndNoDiagnosticsReportOnlyUnsupported) {
    const block a2 = a2_block({{96, 0x19}, {112, 0xFF}});
    auto only_unsupported = [&](auto decode, const block &a0) {  // the record ends all zero but unsupported
        auto got = entry(decode, a0.b, a2.b), want = filled<decltype(got)>(0);
        want.unsupported = 1;
        return same(got, want);
    };
    for (uint8_t id : {0x00, 0x02, 0x06, 0x0B, 0x0D, 0x81, 0x83}) {  // byte 63 also a wrong check code
        const block a0({{12, 103}, {19, 30}, {92, 0x68}, {20, 'V'}, {63, 0x55}, {68, 'S'}}, id);
        EXPECT_TRUE(only_unsupported(fiber_decode_normal, a0) && only_unsupported(fiber_decode_vendor, a0) &&
                    only_unsupported(fiber_decode_diag, a0) && only_unsupported(fiber_decode_alarm, a0)) << int(id);
    }
    const block no_ddm({{63, 0x55}});  // byte 92 zero: no diagnostics
    EXPECT_TRUE(only_unsupported(fiber_decode_diag, no_ddm) && only_unsupported(fiber_decode_alarm, no_ddm));
    EXPECT_EQ(identify({{0, 0x82}, {12, 103}, {19, 30}}).trans_type, 15u);  // vendor-specific identifier
}

TEST(SfpEntryPoints, FamilyDecodersIgnoreANullPointer) {
    const block a0 = block({{92, 0x68}, {12, 103}}).sealed();
    block a2 = a2_block({{110, 0x06}, {112, 0xFF}});  // A0h byte 93 zero: status bits 1 and 2 are masked
    auto untouched = [](auto call, auto r) { const auto before = r; call(&r); return same(r, before); };
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_sfp_normal(nullptr, i); }, filled<fiber_normal_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_sfp_vendor(nullptr, i); }, filled<fiber_vendor_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_sfp_diag(nullptr, a2.b, 0x20, i); }, filled<fiber_diag_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_sfp_diag(a0.b, nullptr, 0x10, i); }, filled<fiber_diag_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_sfp_alarm(nullptr, a2.b, i); }, filled<fiber_alarm_info_t>()));
    EXPECT_TRUE(untouched([&](auto *i) { fiber_decode_sfp_alarm(a0.b, nullptr, i); }, filled<fiber_alarm_info_t>()));
    fiber_decode_sfp_normal(a0.b, nullptr);  // a null record: nothing to write, no fault
    fiber_decode_sfp_vendor(a0.b, nullptr);
    fiber_decode_sfp_diag(a0.b, a2.b, 0x20, nullptr);
    fiber_decode_sfp_alarm(a0.b, a2.b, nullptr);
    EXPECT_EQ(a2.b[110], 0x06);  // no record, no masking
}

// SFF-8472 A2h flag bits {byte, bit, alarm id}; alarm id k is monitor_flags bit k,
// rx_power_flags bit k - 64 or tx_power_flags bit k - 128 (none from 192).
const int kSfpFlags[][3] = {
    {112, 7, 1},   {112, 6, 0},  {112, 5, 5},  {112, 4, 4},   {112, 3, 9},   {112, 2, 8},   {112, 1, 137}, {112, 0, 136},
    {113, 7, 73},  {113, 6, 72}, {116, 7, 3},  {116, 6, 2},   {116, 5, 7},   {116, 4, 6},   {116, 3, 11},  {116, 2, 10},
    {116, 1, 139}, {116, 0, 138}, {117, 7, 75}, {117, 6, 74}, {110, 2, 232}, {110, 1, 200},
};
uint64_t flag(int id, int base) { return id >= base && id < base + 64 ? uint64_t{1} << (id - base) : 0; }

TEST(SfpFlags, EveryBitToOneFlagAndOneId) {
    const block a0 = block({{92, 0x68}, {93, 0x30}}).sealed();  // Rx LOS and Tx fault monitored
    for (unsigned byte : {110u, 112u, 113u, 114u, 116u, 117u, 118u}) for (unsigned bit = 0; bit < 8; ++bit) {
        int id = -1;
        for (auto &f : kSfpFlags) id = f[0] == int(byte) && f[1] == int(bit) ? f[2] : id;
        block a2 = a2_block({{byte, uint8_t(1u << bit)}});
        const fiber_diag_info_t d = diag(a0, a2);
        const fiber_alarm_info_t a = alarm(a0, a2);
        EXPECT_EQ(std::tuple(d.monitor_flags, d.rx_power_flags, d.tx_power_flags, ids_of(a), a.alarm_id_count, a.ddm_supported),
                  std::tuple(flag(id, 0), flag(id, 64), flag(id, 128), id < 0 ? ids{} : ids{id}, 255u, uint8_t{1}))
            << byte << "." << bit;
    }
}

TEST(SfpDiag, InternalCalibrationAndThresholds) {
    block a2 = a2_block().word(98, 33000).word(100, 3000).word(102, 10000).word(84, 0x0200).word(88, 0x0200).real(68, 2);
    for (uint8_t monitoring : {0x68, 0x78, 0x48}) {  // byte 92 bits 5-4 other than 01b: coefficients ignored
        const fiber_diag_info_t i = diag(block({{92, monitoring}}), a2.word(96, 0xFF80));
        EXPECT_EQ(std::tuple(i.temperature, i.voltage, i.tx_bias[0], i.tx_power[0], i.rx_power[0], i.rx_power_type,
                             i.module_type, i.tx_bias[1]),
                  std::tuple(-1, 33000, 3000, fiber_dbm(10000), -40.0f, uint8_t{1}, uint32_t{FIBER_DIAG_SFP}, 0));
    }
    fiber_diag_info_t none{};  // byte 92 zero: measurements without thresholds
    fiber_decode_sfp_diag(block().b, a2.word(0, 0x5000).word(96, 0x1980).b, 0x20, &none);
    EXPECT_EQ(std::tuple(none.thresholds_valid, none.temp_high_alarm, none.temperature), std::tuple(uint8_t{0}, 0, 26));
    // A2h thresholds, four words each (high alarm, low alarm, high warning, low warning): temperature at 0
    // (signed, 1/256 degC), voltage 8, bias 16, Tx power 24, Rx power 32. Word k holds k - 2 degC, else k + 1.
    for (unsigned k = 0; k < 20; ++k) a2.word(2 * k, uint16_t(k < 4 ? (int(k) - 2) * 256 : int(k) + 1));
    const fiber_diag_info_t d = diag(kExternal, a2);  // thresholds are never calibrated
    EXPECT_EQ(std::tuple(d.temp_low_alarm, d.voltage_high_warning, d.tx_bias_low_warning, d.tx_power_high_alarm,
                         d.rx_power_low_alarm, d.thresholds_valid),
              std::tuple(-1, 7, 12, fiber_dbm(13), fiber_dbm(18), uint8_t{1}));
}

TEST(SfpDiag, ExternalCalibration) {
    block a2 = a2_block()
                   .word(96, 0x1980).word(84, 0x0100).word(86, 0xFF00)   // 25.5 degC, slope 1.0, offset -1 degC
                   .word(98, 1000).word(88, 0x0200).word(90, 0xFFF6)     // slope 2.0, offset -10
                   .word(100, 1001).word(76, 0x0080).word(78, 0x0005)    // slope 0.5 (500.5 truncates), offset 5
                   .word(102, 5000).word(80, 0x0200);                    // slope 2.0
    fiber_diag_info_t i = diag(kExternal, a2);
    EXPECT_EQ(std::tuple(i.temperature, i.voltage, i.tx_bias[0], i.tx_power[0]), std::tuple(25, 1990, 505, fiber_dbm(10000)));
    a2.word(96, 0x7F00).word(84, 0x0200).word(86, 0);   // past 16 bits: 254 degC
    a2.word(98, 0xFFFF).word(88, 0xFFFF).word(90, 0);   // unsigned product: 65535^2 = 256 x 16776704 + 1
    a2.word(82, 0x8000);                                // negative power clamps
    i = diag(kExternal, a2);
    EXPECT_EQ(std::tuple(i.temperature, i.voltage, i.tx_power[0]), std::tuple(254, 16776704, -40.0f));
    EXPECT_EQ(diag(kExternal, a2.word(96, 0xFF00).word(84, 0x0180)).temperature, -2);  // -1 degC x 1.5
    // Rx power: Rx_PWR(4) at byte 56 ... Rx_PWR(0) at 72 = 1, 2, 3, 4, 5; reading 10 gives 12345 x 0.1 uW.
    a2 = a2_block().real(56, 1).real(60, 2).real(64, 3).real(68, 4).real(72, 5).word(104, 10);
    EXPECT_EQ(diag(kExternal, a2).rx_power[0], fiber_dbm(12345));
    a2 = a2_block().real(68, 1).real(72, 0.5f).word(104, 100);  // 100.5 rounds up
    EXPECT_EQ(diag(kExternal, a2).rx_power[0], fiber_dbm(101));
    EXPECT_EQ(diag(kExternal, a2.real(72, 0.49f)).rx_power[0], fiber_dbm(100));
    EXPECT_EQ(diag(kExternal, a2.real(68, -1)).rx_power[0], -40.0f);  // below zero clamps
}

TEST(SfpAlarm, CheckCodesAndStatusMasking) {
    // {A0h byte 93, A2h byte 110, A0h byte spoilt after sealing (0: none), ids, byte 110 afterwards: the
    // decoder's own block is masked}. A2h byte 112 bit 7 (id 1) is raised throughout: flags are still translated.
    const std::tuple<uint8_t, uint8_t, unsigned, ids, uint8_t> cases[] = {
        {0x00, 0x06, 0, {1}, 0x00},   {0x30, 0x06, 0, {1, 200, 232}, 0x06}, {0x10, 0x06, 0, {1, 200}, 0x02},
        {0x20, 0x06, 0, {1, 232}, 0x04}, {0x00, 0xF9, 0, {1}, 0xF9},       {0x00, 0x00, 1, {1, 248}, 0x00},
        {0x00, 0x00, 62, {1, 248}, 0}, {0x00, 0x00, 63, {1, 248}, 0},    {0x00, 0x00, 64, {1, 248}, 0},
        {0x00, 0x00, 94, {1, 248}, 0}, {0x00, 0x00, 95, {1, 248}, 0},
    };
    for (auto &[options, status, spoilt, expected, after] : cases) {
        block a0 = block({{92, 0x68}, {93, options}, {20, 'X'}, {70, 'S'}}).sealed(), a2 = a2_block({{110, status}, {112, 0x80}});
        if (spoilt) ++a0.b[spoilt];
        EXPECT_EQ(std::pair(ids_of(alarm(a0, a2)), a2.b[110]), std::pair(expected, after)) << int(options) << " " << spoilt;
    }
    const block a2 = a2_block({{110, 0x06}});  // through the entry point the caller's A2h is left alone
    const fiber_alarm_info_t info = entry(fiber_decode_alarm, block({{92, 0x68}}).sealed().b, a2.b);
    EXPECT_EQ(std::tuple(a2.b[110], info.alarm_id_count, ids_of(info)), std::tuple(uint8_t{0x06}, 255u, ids{}));
}

// Real modules (tests/data/<entry>/source.md tells where each dump was published; expected.txt holds the
// values published with it). dump.bin: A0h at 0, A2h at 256; modules whose A0h byte 92 is zero come
// without A2h and report no diagnostics.
struct real_sfp { const char *entry, *normal, *vendor; int temperature, voltage, bias, tx, rx; ids alarms; };
const real_sfp kRealModules[] = {  // whole degC, 100 uV, 2 uA, 0.1 uW
    {"sfp-10g-lr-flexoptix-pb1696", "10GBASE-LR-SFP+|LC|10000/2|1330|10,0,0,0,0|F79B5KH         |1",
     "FLEXOPTIX       |P.B1696.10.DA   |A   |191218  |64B/66B", 26, 32545, 13936, 6361, 5518, {}},
    // Published: 34.54 degC, 3.29 V, 35.994 mA, 0 mW; no light raises Rx power low alarm and warning and Rx LOS.
    {"sfp-10g-lr-oem-sfp10gblr", "10GBASE-LR-SFP+|LC|10000/2|1310|10,0,0,0,0|YAOY1060        |1",
     "OEM             |SFP-10GB-LR     |B4  |150703  |64B/66B", 35, 32893, 17997, 5171, 0, {72, 74, 200}},
    {"sfp-10g-sr-finisar-ftlx8571", "10GBASE-SR-SFP+|LC|10000/2|850|0,300,80,30,0|AUJ0RCJ         |1",
     "FINISAR CORP.   |FTLX8571D3BCL   |A   |151029  |64B/66B", 20, 33201, 3418, 6053, 5511, {}},
    {"sfp-10g-sr-intel-ftlx8574", "10GBASE-SR-SFP+|LC|10000/2|850|0,300,80,30,0|A41ASYK         |1",
     "Intel Corp      |FTLX8574D3BNL-IT|A   |200706  |64B/66B", 35, 34272, 4344, 5780, 21, {72, 74, 200}},
    {"sfp-1g-t-netgear-agm734", "1000BASE-GT-SFP|RJ45|1000/1|0|0,0,0,0,100|181604100347    |0",
     "NETGEAR         |AGM734          |0000|18042501|8B10B", 0, 0, 0, 0, 0, {}},
    {"sfp-gpon-odi-dfp-34x-2c2", "1000BASE-LH-SFP|SC|1000/2|1310|20,0,0,0,0|XPON23040711    |0",
     "ODI             |DFP-34X-2C2     |    |230504  |8B10B", 0, 0, 0, 0, 0, {}},
};

TEST(SfpRealModule, DecodesAsPublished) {
    for (const real_sfp &m : kRealModules) {
        uint8_t raw[512] = {};
        FILE *f = std::fopen((std::string(FIBER_TEST_DATA) + "/" + m.entry + "/dump.bin").c_str(), "rb");
        ASSERT_TRUE(f) << m.entry;
        const bool ddm = std::fread(raw, 1, sizeof raw, f) == 512;
        std::fclose(f);
        const auto i = entry(fiber_decode_normal, raw, raw + 256);
        const auto v = entry(fiber_decode_vendor, raw, raw + 256);
        const auto d = entry(fiber_decode_diag, raw, raw + 256);
        const auto a = entry(fiber_decode_alarm, raw, raw + 256);  // check codes hold in every dump
        std::ostringstream normal, vendor;
        normal << (i.name_prefix ? i.name_prefix : "") << i.type_name << '|' << i.connector_name << '|' << i.rate_mbps << '/'
               << i.connector_class << '|' << i.wavelength_nm << '|' << i.length_smf_km << ',' << i.length_om3_m << ','
               << i.length_om2_m << ',' << i.length_om1_m << ',' << i.length_copper_m << '|' << i.serial_number << '|'
               << +i.ddm_supported;
        vendor << v.vendor_name << '|' << v.vendor_pn << '|' << v.vendor_rev << '|' << v.date_code << '|' << v.encoding;
        EXPECT_EQ(std::tuple(normal.str(), vendor.str(), d.temperature, d.voltage, d.tx_bias[0], d.tx_power[0],
                             d.rx_power[0], ids_of(a), a.alarm_id_count, d.unsupported, a.unsupported),
                  std::tuple(m.normal, m.vendor, m.temperature, m.voltage, m.bias, ddm ? fiber_dbm(m.tx) : 0.0f,
                             ddm ? fiber_dbm(m.rx) : 0.0f, m.alarms, ddm ? 255u : 0u, uint8_t(!ddm), uint8_t(!ddm)))
            << m.entry;
    }
}

}  // namespace
