// SFP family (SFF-8472): identification, vendor, diagnostics and alarms.
#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "fiber_internal.h"

namespace {

using bytes = std::vector<std::pair<unsigned, uint8_t>>;
using ids = std::vector<int>;

struct block {
    uint8_t b[128] = {};
    explicit block(const bytes &set = {}, uint8_t id = 0x03) {
        b[0] = id;
        for (auto [n, v] : set) b[n] = v;
    }
    block &word(unsigned n, uint16_t w) {
        b[n] = static_cast<uint8_t>(w >> 8), b[n + 1] = static_cast<uint8_t>(w);
        return *this;
    }
    block &real(unsigned n, float f) {
        return word(n, std::bit_cast<uint32_t>(f) >> 16).word(n + 2, std::bit_cast<uint32_t>(f) & 0xFFFF);
    }
    block &sealed() {  // A0h CC_BASE (63) over bytes 0-62, CC_EXT (95) over 64-94
        b[63] = b[95] = 0;
        for (int i = 0; i < 63; ++i) b[63] = static_cast<uint8_t>(b[63] + b[i]);
        for (int i = 64; i < 95; ++i) b[95] = static_cast<uint8_t>(b[95] + b[i]);
        return *this;
    }
};
block a2_block(const bytes &set = {}) { return block(set, 0); }

fiber_normal_info_t identify(const bytes &set) {
    block a0(set);
    fiber_normal_info_t info{};
    fiber_decode_sfp_normal(a0.b, &info);
    return info;
}
std::string str(const char *s) { return s ? s : "(null)"; }
std::string flags(const fiber_normal_info_t &i) {
    return std::string(i.is_copper ? "c" : "") + (i.is_active_cable ? "a" : "") + (i.zx_within_90km ? "z" : "") +
           (i.is_rj45 ? "r" : "");
}

// Identification: one row per leaf or boundary of the type decision.
// Flags: c is_copper, a is_active_cable, z zx_within_90km, r is_rj45.
struct id_case {
    bytes set;
    const char *prefix, *name;
    uint32_t type;
    const char *flags;
};
const id_case kIdCases[] = {
    {{{12, 103}, {2, 0x07}, {19, 30}, {16, 8}, {17, 3}}, "10GBASE", "-SR-SFP+", 15, ""},
    {{{12, 90}, {15, 100}}, "10GBASE", "-LR-SFP+", 16, ""},
    {{{12, 120}, {14, 40}}, "10GBASE", "-ER-SFP+", 17, ""},
    {{{12, 103}, {14, 80}}, "10GBASE", "-ZR-SFP+", 18, ""},
    {{{12, 103}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 89}, {19, 30}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 121}, {19, 30}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 103}, {3, 0x40}, {16, 22}}, "10GBASE", "-LRM-SFP+", 50, ""},
    {{{12, 103}, {3, 0x40}, {36, 0x16}, {18, 30}}, "10GBASE", "-T-SFP+", 103, ""},
    {{{12, 103}, {2, 0x21}, {8, 0x04}, {18, 3}}, "10G", "-Passive Copper-SFP+", 64, "c"},
    {{{12, 103}, {2, 0x23}, {8, 0x04}, {18, 7}}, "10G", "-Passive Copper-SFP+", 64, "c"},
    {{{12, 103}, {2, 0x21}, {8, 0x04}, {18, 8}}, "10G", "Unknown module", 9, "c"},  // prefix not of type 9
    {{{12, 103}, {2, 0x21}, {8, 0x04}}, "10G", "-Loopback-SFP+", 66, "c"},
    {{{12, 103}, {2, 0x23}, {8, 0x08}}, "10G", "-Active-Cable-SFP+", 33, "a"},
    {{{12, 103}, {2, 0x21}}, "10G", "-Active-Cable-SFP+", 33, "a"},
    {{{12, 103}, {2, 0x21}, {8, 0x0C}, {19, 30}}, "10GBASE", "-SR-SFP+", 15, ""},
    {{{12, 103}, {2, 0x0B}}, "10G", "-Active-Cable-SFP+", 33, "a"},
    {{{12, 13}, {2, 0x07}, {6, 0x01}, {16, 55}}, "1000BASE", "-SX-SFP", 9, ""},
    {{{12, 10}, {16, 100}}, "1000BASE", "-SX-SFP", 9, ""},
    {{{12, 14}, {16, 101}}, "1000BASE", "-LX-SFP", 10, ""},
    {{{12, 12}, {14, 15}}, "1000BASE", "-LX-SFP", 10, ""},
    {{{12, 12}, {15, 151}}, "1000BASE", "-LH-SFP", 11, ""},
    {{{12, 12}, {14, 45}}, "1000BASE", "-LH-SFP", 11, ""},
    {{{12, 12}, {14, 46}}, "1000BASE", "-ZX-SFP", 12, "z"},
    {{{12, 12}, {14, 90}}, "1000BASE", "-ZX-SFP", 12, "z"},
    {{{12, 12}, {14, 91}}, "1000BASE", "-ZX-SFP", 12, ""},
    {{{12, 12}, {14, 120}}, "1000BASE", "-ZX-SFP", 12, ""},
    {{{12, 12}, {14, 121}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 12}, {18, 255}}, "1000BASE", "-SX-SFP", 9, ""},  // byte 18 unscaled
    {{{12, 1}, {16, 10}}, "100BASE", "-SX-SFP", 3, ""},
    {{{12, 2}, {15, 100}}, "100BASE", "-LX-SFP", 4, ""},
    {{{12, 1}, {14, 40}}, "100BASE", "-LH-SFP", 5, ""},
    {{{12, 1}, {14, 80}}, "100BASE", "-ZX-SFP", 6, ""},
    {{{12, 1}, {6, 0x08}}, "100BASE", "-GT-SFP", 2, "r"},
    {{{12, 13}, {6, 0x08}, {2, 0x22}}, "1000BASE", "-GT-SFP", 8, "r"},
    {{{6, 0x08}}, "10/100/1000BASE", "-GT-SFP", 119, "r"},
    {{{6, 0x08}, {3, 0x10}, {10, 0x40}}, "10/100/1000BASE", "-GT-SFP", 119, "r"},
    {{{12, 13}, {2, 0x21}, {18, 3}}, "1000", "-Copper-SFP", 13, "c"},
    {{{12, 1}, {2, 0x21}}, "100", "-Copper-SFP", 7, "c"},
    {{{12, 25}, {2, 0x21}}, "2.5G", "-Copper-SFP", 28, "c"},
    {{{12, 25}, {2, 0x07}, {10, 0x40}}, nullptr, "Unknown SFP module", 0, ""},
    {{{2, 0x21}}, nullptr, "Unknown SFP module", 0, "c"},
    {{{12, 21}, {10, 0x60}}, "FC(16G) ", "SFP Module", 0, ""},
    {{{12, 21}, {10, 0x50}}, "FC(8G) ", "SFP Module", 0, ""},
    {{{12, 21}, {10, 0x14}}, "FC(4G) ", "SFP Module", 0, ""},
    {{{12, 21}, {10, 0x04}}, "FC(2G) ", "SFP Module", 0, ""},
    {{{6, 0x08}, {10, 0x40}}, "FC(8G) ", "SFP Module", 0, ""},
    {{{12, 21}, {10, 0x08}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 21}, {10, 0x40}, {3, 0x10}}, nullptr, "Unknown SFP module", 0, ""},
    // SFP28: byte 12 FFh, rate in byte 66.
    {{{12, 255}, {66, 103}, {2, 0x07}, {15, 1}}, nullptr, "25GBASE-SR-SFP28", 43, ""},
    {{{12, 255}}, nullptr, "25GBASE-SR-SFP28", 43, ""},
    {{{12, 255}, {66, 90}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 255}, {66, 91}}, nullptr, "25GBASE-SR-SFP28", 43, ""},
    {{{12, 255}, {66, 119}}, nullptr, "25GBASE-SR-SFP28", 43, ""},
    {{{12, 255}, {66, 120}}, nullptr, "Unknown SFP module", 0, ""},
    {{{12, 255}, {16, 101}}, nullptr, "25GBASE-LR-SFP28", 44, ""},
    {{{12, 255}, {14, 40}}, nullptr, "25GBASE-ER-SFP28", 45, ""},
    {{{12, 255}, {14, 120}}, nullptr, "25GBASE-ZR-SFP28", 46, ""},
    {{{12, 255}, {14, 121}}, nullptr, "Unknown SFP28 module", 0, ""},
    {{{12, 255}, {2, 0x0B}}, nullptr, "25G-Activecable-SFP28", 48, "a"},
    {{{12, 255}, {2, 0x23}, {8, 0x04}, {18, 5}}, nullptr, "25G-Passive Copper-SFP28", 73, "c"},
    {{{12, 255}, {2, 0x23}, {8, 0x04}, {18, 6}}, nullptr, "25GBASE-SR-SFP28", 43, ""},
    {{{12, 255}, {2, 0x23}, {8, 0x04}}, nullptr, "25G-Loopback-SFP28", 75, "c"},
    {{{12, 255}, {2, 0x23}, {8, 0x08}, {18, 5}}, nullptr, "25G-Activecable-SFP28", 48, "a"},
    {{{12, 255}, {2, 0x23}, {8, 0x08}, {18, 6}}, nullptr, "25G-Activecable-SFP28", 48, "ca"},
    {{{12, 255}, {2, 0x23}, {8, 0x0C}}, nullptr, "25GBASE-SR-SFP28", 43, ""},
    {{{12, 255}, {66, 103}, {10, 0x40}}, "FC(8G) ", "25GBASE-SR-SFP28", 43, ""},
};

TEST(SfpIdentify, DecisionProcedure) {
    for (std::size_t i = 0; i < std::size(kIdCases); ++i) {
        const id_case &c = kIdCases[i];
        const fiber_normal_info_t info = identify(c.set);
        EXPECT_EQ(std::tuple(str(info.name_prefix), str(info.type_name), info.trans_type, flags(info), info.is_sfp),
                  std::tuple(str(c.prefix), str(c.name), c.type, std::string(c.flags), uint8_t{1}))
            << "row " << i;
    }
}

TEST(SfpIdentify, RateClassConnector) {
    auto view = [](const fiber_normal_info_t &i) { return std::tuple(i.rate_mbps, i.connector_class, str(i.connector_name)); };
    EXPECT_EQ(view(identify({{12, 103}, {2, 0x07}, {19, 30}})), std::tuple(10000u, 2u, "LC"));
    EXPECT_EQ(view(identify({{12, 13}, {6, 0x08}, {2, 0x07}})), std::tuple(1000u, 1u, "RJ45"));  // BASE-T: RJ45
    EXPECT_EQ(view(identify({{12, 103}, {2, 0x21}, {8, 0x04}, {18, 3}})), std::tuple(10000u, 3u, "Copper pigtail"));
    EXPECT_EQ(view(identify({{12, 21}, {10, 0x40}, {2, 0x07}})), std::tuple(0u, 0u, "LC"));  // Fibre Channel
}

TEST(SfpIdentify, RejectedIdentifierWritesOnlyUnsupported) {
    for (uint8_t id : {0x00, 0x02, 0x06, 0x0D, 0x81, 0x83}) {
        block a0({{12, 103}, {19, 30}, {92, 0x68}, {68, 'S'}}, id);
        fiber_normal_info_t info, expected;
        std::memset(&info, 0, sizeof info);
        std::memset(&expected, 0, sizeof expected);
        expected.unsupported = 1;
        fiber_decode_sfp_normal(a0.b, &info);
        EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0) << int(id);
    }
    EXPECT_EQ(identify({{0, 0x82}, {12, 103}, {19, 30}}).trans_type, 15u);
}

TEST(SfpIdentify, WavelengthAndLengths) {
    EXPECT_EQ(identify({{60, 0x05}, {61, 0x1E}, {6, 0x01}}).wavelength_nm, 1310.0f);  // stated value wins
    EXPECT_EQ(identify({{6, 0x01}}).wavelength_nm, 850.0f);
    EXPECT_EQ(identify({{6, 0x02}}).wavelength_nm, 1310.0f);
    EXPECT_EQ(identify({{6, 0x03}}).wavelength_nm, 0.0f);
    auto lengths = [](const fiber_normal_info_t &i) {
        return std::tuple(i.length_smf_km, i.length_smf_km_from_100m, i.length_om2_m, i.length_om1_m, i.length_om3_m);
    };
    EXPECT_EQ(lengths(identify({{14, 10}, {15, 100}, {16, 8}, {17, 3}, {19, 30}})), std::tuple(10u, 0u, 80u, 30u, 300u));
    EXPECT_EQ(lengths(identify({{15, 25}})), std::tuple(0u, 2u, 0u, 0u, 0u));
}

TEST(SfpIdentify, Byte18IsCopperOrOm4) {
    const std::pair<bytes, bool> cases[] = {
        {{{12, 103}, {2, 0x07}}, false}, {{{2, 0x21}}, true}, {{{2, 0x22}}, true}, {{{2, 0x23}}, true},
        {{{2, 0x0B}}, true}, {{{12, 103}, {2, 0x07}, {36, 0x16}}, true}, {{{12, 13}, {2, 0x07}, {6, 0x08}}, true},
    };
    for (auto [set, copper] : cases) {
        set.push_back({18, 10});
        const fiber_normal_info_t info = identify(set);
        EXPECT_EQ(std::pair(info.length_copper_m, info.length_om4_m), copper ? std::pair(10u, 0u) : std::pair(0u, 100u));
    }
}

TEST(SfpIdentify, SerialVendorSpecificAndDdm) {
    block a0({{92, 0x68}});
    std::memcpy(a0.b + 68, "AB12            ", 16);
    std::memcpy(a0.b + 96, "0123456789abcdef", 16);
    fiber_normal_info_t info{};
    fiber_decode_sfp_normal(a0.b, &info);
    EXPECT_STREQ(info.serial_number, "AB12            ");
    EXPECT_STREQ(info.vendor_specific, "0123456789abcdef");
    EXPECT_EQ(info.ddm_supported, 1);
    EXPECT_EQ(identify({}).ddm_supported, 0);
}

TEST(SfpVendor, FieldsFromTheirOffsets) {
    block a0;
    for (int i = 1; i < 128; ++i) a0.b[i] = static_cast<uint8_t>(i);
    const std::pair<uint8_t, const char *> encodings[] = {{3, "NRZ"}, {4, "Manchester"}, {6, "64B/66B"}, {7, "Reserved"}};
    for (auto [code, name] : encodings) {
        a0.b[11] = code;
        fiber_vendor_info_t info{};
        fiber_decode_sfp_vendor(a0.b, &info);
        EXPECT_STREQ(info.encoding, name);
        EXPECT_EQ(std::string(info.vendor_name), std::string(a0.b + 20, a0.b + 36));
        EXPECT_EQ(std::vector<uint8_t>(info.vendor_oui, info.vendor_oui + 3), std::vector<uint8_t>(a0.b + 37, a0.b + 40));
        EXPECT_EQ(std::string(info.vendor_pn), std::string(a0.b + 40, a0.b + 56));
        EXPECT_EQ(std::string(info.vendor_rev), std::string(a0.b + 56, a0.b + 60));
        EXPECT_EQ(std::string(info.date_code), std::string(a0.b + 84, a0.b + 92));
    }
}

TEST(SfpVendor, ThroughTheEntryPoint) {
    block a0({{20, 'A'}}, 0x82);
    fiber_pages_t pages{};
    fiber_vendor_info_t info, expected;
    std::memset(&expected, 0, sizeof expected);
    testing::internal::CaptureStdout();
    fiber_decode_vendor(FIBER_KIND_SFP, a0.b, pages, &info, 1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::pair(out.find("page00 lower  eeprom") != out.npos, out.find("page00 upper") != out.npos),
              std::pair(true, false));
    EXPECT_STREQ(info.vendor_name, "A");
    fiber_decode_vendor(FIBER_KIND_SFP, nullptr, pages, &info, 0);  // no A0h: all zero
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
    a0.b[0] = 0x0D;
    fiber_decode_vendor(FIBER_KIND_SFP, a0.b, pages, &info, 0);
    expected.unsupported = 1;
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

// SFF-8472 A2h flag bits: {byte, bit, alarm id}; the diagnostics flag of id k is
// monitor_flags bit k, rx_power_flags bit k - 64 or tx_power_flags bit k - 128.
const int kSfpFlags[][3] = {
    {112, 7, 1},   {112, 6, 0},   {112, 5, 5},   {112, 4, 4},  {112, 3, 9},  {112, 2, 8},  {112, 1, 137},
    {112, 0, 136}, {113, 7, 73},  {113, 6, 72},  {116, 7, 3},  {116, 6, 2},  {116, 5, 7},  {116, 4, 6},
    {116, 3, 11},  {116, 2, 10},  {116, 1, 139}, {116, 0, 138}, {117, 7, 75}, {117, 6, 74},
};
int flag_id(unsigned byte, unsigned bit) {
    for (auto &f : kSfpFlags)
        if (f[0] == int(byte) && f[1] == int(bit)) return f[2];
    return -1;
}
std::tuple<uint64_t, uint64_t, uint64_t> diag_flags(int id) {
    const uint64_t one = 1;
    if (id < 0) return {0, 0, 0};
    return {id < 64 ? one << id : 0, id >= 64 && id < 128 ? one << (id - 64) : 0, id >= 128 ? one << (id - 128) : 0};
}

fiber_diag_info_t diag(const block &a0, const block &a2, uint8_t calibration) {
    fiber_diag_info_t info{};
    fiber_decode_sfp_diag(a0.b, a2.b, calibration, &info);
    return info;
}

TEST(SfpDiag, EveryFlagBitLandsOnOneFlag) {
    for (unsigned byte : {110u, 112u, 113u, 114u, 116u, 117u, 118u}) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const fiber_diag_info_t info = diag(block({{92, 0x68}}), a2_block({{byte, uint8_t(1u << bit)}}), 0x20);
            EXPECT_EQ(std::tuple(info.monitor_flags, info.rx_power_flags, info.tx_power_flags),
                      diag_flags(flag_id(byte, bit)))
                << byte << "." << bit;
        }
    }
}

TEST(SfpDiag, TemperatureRounding) {
    const std::pair<uint16_t, int> cases[] = {{127, 0},     {128, 1},     {0xFF81, 0},   {0xFF80, -1},
                                              {384, 2},     {0xFE80, -2}, {0x1980, 26},  {0xE680, -26},
                                              {0x7FFF, 128}, {0x8000, -128}};
    for (auto [raw, degrees] : cases) EXPECT_EQ(diag(block({{92, 0x68}}), a2_block().word(96, raw), 0x20).temperature, degrees) << raw;
}

TEST(SfpDiag, InternalCalibrationIgnoresCoefficients) {
    block a2 = a2_block().word(98, 33000).word(100, 3000).word(102, 10000).word(84, 0x0200).word(88, 0x0200);
    a2.real(68, 2.0f);
    for (uint8_t cal : {0x00, 0x20, 0x30}) {
        const fiber_diag_info_t i = diag(block({{92, 0x68}}), a2, cal);
        EXPECT_EQ(std::tuple(i.voltage, i.tx_bias[0], i.rx_power[0], i.rx_power_type, i.module_type, i.tx_bias[1], i.rx_power[1]),
                  std::tuple(33000, 3000, -40.0f, uint8_t{1}, uint32_t{FIBER_DIAG_SFP}, 0, 0.0f));
        EXPECT_NEAR(i.tx_power[0], 0.0f, 1e-4);
    }
}

TEST(SfpDiag, ExternalCalibration) {
    const block a0({{92, 0x58}});
    block a2 = a2_block()
                   .word(96, 0x1980).word(84, 0x0100).word(86, 0xFF00)   // 25.5 degC, slope 1.0, offset -1 degC
                   .word(98, 1000).word(88, 0x0200).word(90, 0xFFF6)     // slope 2.0, offset -10
                   .word(100, 1001).word(76, 0x0080).word(78, 0x0005)    // slope 0.5 (500.5 truncates), offset 5
                   .word(102, 5000).word(80, 0x0200);                    // slope 2.0
    fiber_diag_info_t i = diag(a0, a2, 0x10);
    EXPECT_EQ(std::tuple(i.temperature, i.voltage, i.tx_bias[0]), std::tuple(25, 1990, 505));
    EXPECT_NEAR(i.tx_power[0], 0.0f, 1e-4);
    a2.word(96, 0x7F00).word(84, 0x0200).word(86, 0);   // past 16 bits: 254 degC
    a2.word(98, 0xFFFF).word(88, 0xFFFF).word(90, 0);   // unsigned product: 65535^2 = 256 x 16776704 + 1
    a2.word(82, 0x8000);                                // negative power clamps
    i = diag(a0, a2, 0x10);
    EXPECT_EQ(std::tuple(i.temperature, i.voltage, i.tx_power[0]), std::tuple(254, 16776704, -40.0f));
    EXPECT_EQ(diag(a0, a2.word(96, 0xFF00).word(84, 0x0180), 0x10).temperature, -2);  // -1 degC x 1.5
}

TEST(SfpDiag, RxPowerPolynomial) {
    // {Rx_PWR(n) byte (56 for n = 4 ... 72 for n = 0), coefficient, raw, expected 0.1 uW units}
    const std::tuple<unsigned, float, uint16_t, float> cases[] = {
        {56, 1.0f, 10, 10000}, {60, 10.0f, 10, 10000}, {64, 100.0f, 10, 10000},
        {68, 1000.0f, 10, 10000}, {72, 10000.0f, 10, 10000}, {68, -1.0f, 100, 0},
    };
    const block a0({{92, 0x58}});
    for (auto [at, value, raw, units] : cases)
        EXPECT_EQ(diag(a0, a2_block().real(at, value).word(104, raw), 0x10).rx_power[0], fiber_dbm(units)) << at;
    block a2 = a2_block().real(68, 1.0f).real(64, 0.0001f).word(104, 100);
    EXPECT_EQ(diag(a0, a2, 0x10).rx_power[0], fiber_dbm(101.0f));
    EXPECT_EQ(diag(a0, a2.real(64, 0.0f).real(72, 0.5f), 0x10).rx_power[0], fiber_dbm(101.0f));  // rounds up
    EXPECT_EQ(diag(a0, a2.real(72, 0.49f), 0x10).rx_power[0], fiber_dbm(100.0f));
}

TEST(SfpDiag, Thresholds) {
    const uint16_t words[20] = {0x5000, 0xFB00, 0x4B00, 0x0000, 36000, 29000, 35000, 30000, 15000, 2000,
                                14000,  3000,   20000,  1000,   18000, 1200,  30000, 100,   25000, 200};
    block a2 = a2_block();
    for (unsigned n = 0; n < 20; ++n) a2.word(2 * n, words[n]);
    fiber_diag_info_t i = diag(block({{92, 0x68}}), a2, 0x20);
    EXPECT_EQ(std::tuple(i.thresholds_valid, i.temp_high_alarm, i.temp_low_alarm, i.temp_high_warning, i.temp_low_warning),
              std::tuple(uint8_t{1}, 80, -5, 75, 0));
    EXPECT_EQ(std::tuple(i.voltage_high_alarm, i.voltage_low_warning, i.tx_bias_high_alarm, i.tx_bias_low_alarm,
                         i.tx_bias_high_warning, i.tx_bias_low_warning),
              std::tuple(36000, 30000, 15000, 2000, 14000, 3000));
    EXPECT_EQ(std::tuple(i.tx_power_high_alarm, i.tx_power_low_warning, i.rx_power_high_alarm, i.rx_power_low_alarm,
                         i.rx_power_high_warning, i.rx_power_low_warning),
              std::tuple(fiber_dbm(20000), fiber_dbm(1200), fiber_dbm(30000), fiber_dbm(100), fiber_dbm(25000),
                         fiber_dbm(200)));
    i = diag(block(), a2.word(96, 0x1980), 0x20);  // byte 92 zero: measurements only
    EXPECT_EQ(std::tuple(i.thresholds_valid, i.temp_high_alarm, i.temperature), std::tuple(uint8_t{0}, 0, 26));
}

TEST(SfpDiag, IdentifierAndByte92ThroughTheEntryPoint) {
    block a2 = a2_block().word(96, 0x1980).word(84, 0x0200);  // slope 2.0 only when externally calibrated
    fiber_pages_t pages{};
    pages[0] = a2.b;
    fiber_diag_info_t i;
    for (auto [monitoring, degrees] : {std::pair<uint8_t, int>(0x68, 26), std::pair<uint8_t, int>(0x58, 51),
                                       std::pair<uint8_t, int>(0x78, 26), std::pair<uint8_t, int>(0x00, 0)}) {
        fiber_decode_diag(FIBER_KIND_SFP, block({{92, monitoring}}).b, pages, &i, 0);
        EXPECT_EQ(std::tuple(i.temperature, i.unsupported, i.module_type),
                  std::tuple(degrees, uint8_t(monitoring == 0), monitoring ? 2u : 0u));
    }
    i = diag(block({{92, 0x68}}, 0x06), a2, 0x20);
    EXPECT_EQ(std::tuple(i.unsupported, i.module_type, i.temperature), std::tuple(uint8_t{1}, 0u, 0));
}

ids ids_of(const fiber_alarm_info_t &info) {
    ids out;
    for (int id = 0; id < 256; ++id)
        if (info.alarm_bits[id / 32] >> (id % 32) & 1u) out.push_back(id);
    return out;
}
fiber_alarm_info_t alarm(const block &a0, block &a2) {
    fiber_alarm_info_t info{};
    fiber_decode_sfp_alarm(a0.b, a2.b, &info);
    return info;
}

TEST(SfpAlarm, EveryFlagBitRaisesOneId) {
    const block a0 = block({{92, 0x68}, {93, 0x30}}).sealed();
    for (unsigned byte : {110u, 112u, 113u, 114u, 116u, 117u, 118u}) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            block a2 = a2_block({{byte, uint8_t(1u << bit)}});
            const fiber_alarm_info_t info = alarm(a0, a2);
            int id = flag_id(byte, bit);
            if (byte == 110 && (bit == 1 || bit == 2)) id = bit == 1 ? 200 : 232;
            EXPECT_EQ(ids_of(info), id < 0 ? ids{} : ids{id}) << byte << "." << bit;
            EXPECT_EQ(std::pair(info.alarm_id_count, info.ddm_supported), std::pair(255u, uint8_t{1}));
        }
    }
}

TEST(SfpAlarm, CheckCodes) {
    const block a0 = block({{92, 0x68}, {20, 'X'}, {70, 'S'}}).sealed();
    block a2 = a2_block({{112, 0x80}});
    EXPECT_EQ(ids_of(alarm(a0, a2)), ids{1});
    for (unsigned n : {63u, 95u, 20u, 70u}) {
        block bad = a0;
        ++bad.b[n];
        EXPECT_EQ(ids_of(alarm(bad, a2)), (ids{1, 248})) << n;  // flags still translated
    }
}

TEST(SfpAlarm, StatusMaskingByEnhancedOptions) {
    const std::tuple<uint8_t, uint8_t, ids, uint8_t> cases[] = {
        {0x00, 0x06, {}, 0x00}, {0x30, 0x06, {200, 232}, 0x06}, {0x10, 0x04, {}, 0x00},
        {0x10, 0x06, {200}, 0x02}, {0x20, 0x06, {232}, 0x04}, {0x00, 0xF9, {}, 0xF9},
    };
    for (auto &[options, status, expected, after] : cases) {
        block a2 = a2_block({{110, status}});
        EXPECT_EQ(ids_of(alarm(block({{92, 0x68}, {93, options}}).sealed(), a2)), expected) << int(options);
        EXPECT_EQ(a2.b[110], after) << int(options);  // the decoder's own block is masked
    }
    block a2 = a2_block({{110, 0x06}});  // through the entry point the caller's A2h is not
    fiber_pages_t pages{};
    pages[0] = a2.b;
    fiber_alarm_info_t info;
    fiber_decode_alarm(FIBER_KIND_SFP, block({{92, 0x68}}).sealed().b, pages, &info, 0);
    EXPECT_EQ(std::tuple(a2.b[110], info.alarm_id_count, ids_of(info)), std::tuple(uint8_t{0x06}, 255u, ids{}));
}

TEST(SfpAlarm, RejectionsReportNothing) {
    block a2 = a2_block({{112, 0xFF}});
    fiber_alarm_info_t info = alarm(block({{92, 0x68}, {63, 0x55}}, 0x0B), a2);  // also a wrong check code
    EXPECT_EQ(std::tuple(info.unsupported, info.alarm_id_count, ids_of(info)), std::tuple(uint8_t{1}, 0u, ids{}));
    fiber_pages_t pages{};
    pages[0] = a2.b;
    fiber_decode_alarm(FIBER_KIND_SFP, block({{63, 0x55}}).b, pages, &info, 0);  // byte 92 zero
    EXPECT_EQ(std::tuple(info.unsupported, info.alarm_id_count, ids_of(info)), std::tuple(uint8_t{1}, 0u, ids{}));
}

// Real modules: tests/data/<entry>/dump.bin holds A0h at 0 and A2h at 256.
struct real_module {
    block a0 = block({}, 0), a2 = block({}, 0);
    fiber_pages_t pages{};
    explicit real_module(const char *entry) {
        const std::string path = std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin";
        uint8_t raw[512] = {};
        FILE *f = std::fopen(path.c_str(), "rb");
        EXPECT_TRUE(f) << path;
        if (f) {
            EXPECT_GE(std::fread(raw, 1, sizeof raw, f), 256u);
            std::fclose(f);
        }
        std::memcpy(a0.b, raw, 128);
        std::memcpy(a2.b, raw + 256, 128);
        pages[0] = a2.b;
    }
};

TEST(SfpRealModule, Finisar10GSr) {
    real_module m("sfp-10g-sr-finisar-ftlx8571");
    fiber_normal_info_t id;
    fiber_decode_normal(FIBER_KIND_SFP, m.a0.b, m.pages, &id, 0);
    EXPECT_EQ(std::tuple(str(id.name_prefix), str(id.type_name), str(id.connector_name), id.wavelength_nm,
                         id.length_om3_m, id.length_om2_m, id.length_om1_m, std::string(id.serial_number), id.ddm_supported),
              std::tuple("10GBASE", "-SR-SFP+", "LC", 850.0f, 300u, 80u, 30u, "AUJ0RCJ         ", uint8_t{1}));
    fiber_vendor_info_t v;
    fiber_decode_vendor(FIBER_KIND_SFP, m.a0.b, m.pages, &v, 0);
    EXPECT_EQ(std::tuple(std::string(v.vendor_name), std::string(v.vendor_pn), std::string(v.vendor_rev),
                         std::string(v.date_code), v.vendor_oui[1], v.vendor_oui[2], str(v.encoding)),
              std::tuple("FINISAR CORP.   ", "FTLX8571D3BCL   ", "A   ", "151029  ", 0x90, 0x65, "64B/66B"));
    fiber_diag_info_t d;
    fiber_decode_diag(FIBER_KIND_SFP, m.a0.b, m.pages, &d, 0);
    EXPECT_EQ(std::tuple(d.temperature, d.voltage, d.tx_bias[0], d.temp_high_alarm, d.temp_low_alarm,
                         d.voltage_high_alarm, d.tx_bias_low_warning, d.monitor_flags | d.rx_power_flags | d.tx_power_flags),
              std::tuple(20, 33201, 3418, 78, -13, 0x9088, 0x09C4, uint64_t{0}));
    EXPECT_NEAR(d.tx_power[0], -2.180f, 0.001f);          // 6053 x 0.1 uW
    EXPECT_NEAR(d.rx_power[0], -2.588f, 0.001f);          // 5511 x 0.1 uW
    EXPECT_NEAR(d.rx_power_low_alarm, -20.0f, 0.001f);    // 0064h
    fiber_alarm_info_t a;
    fiber_decode_alarm(FIBER_KIND_SFP, m.a0.b, m.pages, &a, 0);
    EXPECT_EQ(std::pair(a.alarm_id_count, ids_of(a)), std::pair(255u, ids{}));  // check codes hold
}

TEST(SfpRealModule, Netgear1000BaseT) {
    real_module m("sfp-1g-t-netgear-agm734");
    fiber_normal_info_t id{};
    fiber_decode_sfp_normal(m.a0.b, &id);
    EXPECT_EQ(std::tuple(str(id.name_prefix), str(id.type_name), id.trans_type, id.connector_class,
                         str(id.connector_name), id.is_rj45, id.length_copper_m, id.wavelength_nm, id.ddm_supported,
                         std::string(id.serial_number)),
              std::tuple("1000BASE", "-GT-SFP", 8u, 1u, "RJ45", uint8_t{1}, 100u, 0.0f, uint8_t{0}, "181604100347    "));
    fiber_vendor_info_t v{};
    fiber_decode_sfp_vendor(m.a0.b, &v);
    EXPECT_EQ(std::tuple(std::string(v.vendor_name), std::string(v.vendor_rev), str(v.encoding)),
              std::tuple("NETGEAR         ", "0000", "8B10B"));
}

}  // namespace
