// CMIS modules (QSFP-DD, QSFP56, DSFP, eight-lane): identification, the
// lower-page queries, vendor, diagnostics, alarms, module and data-path state.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "fiber_internal.h"

namespace {

// A module's pages, zero until set. put() takes bytes as CMIS numbers them.
struct cmis_module {
    uint8_t lower[128]{}, p00[128]{}, p01[128]{}, p02[128]{}, p11[128]{}, p12[128]{};
};
void put(uint8_t *page, unsigned n, uint8_t v) { page[n % 128] = v; }
void put_word(uint8_t *page, unsigned n, uint16_t v) {
    put(page, n, static_cast<uint8_t>(v >> 8));
    put(page, n + 1, static_cast<uint8_t>(v));
}

template <class Record>
std::vector<uint8_t> bytes_of(const Record &r) {
    const auto *p = reinterpret_cast<const uint8_t *>(&r);
    return {p, p + sizeof r};
}

// ===========================================================================
// Identification
// ===========================================================================

struct id_case {
    uint8_t id128, lower0, media, interface, connector, length202;
    uint32_t type;  // 0: rejected
    uint8_t copper, x8;
};

const id_case kIdCases[] = {
    // QSFP-DD
    {0x18, 0, 0x01, 0x10, 0x28, 0, 80, 0, 0},
    {0x18, 0, 0x01, 0x10, 0x0C, 0, 0, 0, 0},
    {0x18, 0, 0x01, 0x11, 0x28, 0, 0, 0, 0},
    {0x18, 0, 0x02, 0x1C, 0x0C, 0, 81, 0, 0},
    {0x18, 0, 0x02, 0x1C, 0x07, 0, 0, 0, 0},
    {0x18, 0, 0x02, 0x1D, 0x07, 0, 82, 0, 0},
    {0x18, 0, 0x02, 0x1D, 0x0C, 0, 0, 0, 0},
    {0x18, 0, 0x02, 0x1B, 0x07, 0, 85, 0, 0},
    {0x18, 0, 0x02, 0x3E, 0x07, 0, 95, 0, 0},
    {0x18, 0, 0x02, 0xC1, 0x07, 0, 95, 0, 0},
    {0x18, 0, 0x02, 0x3E, 0x0C, 0, 0, 0, 0},
    {0x18, 0, 0x02, 0x1E, 0x07, 0, 0, 0, 0},
    {0x18, 0, 0x03, 0x00, 0x21, 0x01, 83, 0, 0},  // n = 1
    {0x18, 0, 0x03, 0x00, 0x23, 0x01, 83, 0, 0},
    {0x18, 0, 0x03, 0x00, 0x23, 0x02, 87, 0, 0},  // n = 4
    {0x18, 0, 0x03, 0x00, 0x23, 0x03, 87, 0, 0},  // n = 5
    {0x18, 0, 0x03, 0x00, 0x23, 0xF3, 87, 0, 0},  // bits 7-4 play no part
    {0x18, 0, 0x03, 0x00, 0x23, 0x04, 0, 0, 0},   // n = 16
    {0x18, 0, 0x03, 0x00, 0x23, 0x00, 88, 1, 0},  // n = 0, no separable connector
    {0x18, 0, 0x03, 0x00, 0x21, 0x00, 0, 0, 0},   // n = 0 needs K = 23h
    {0x18, 0, 0x03, 0x00, 0x07, 0x01, 0, 0, 0},
    {0x18, 0, 0x04, 0x00, 0x23, 0x00, 0, 0, 0},   // active cable without length
    {0x18, 0, 0x04, 0x00, 0x21, 0x01, 84, 0, 0},
    {0x18, 0, 0x04, 0x00, 0x23, 0x08, 84, 0, 0},
    {0x18, 0, 0x04, 0x00, 0x07, 0x01, 0, 0, 0},
    {0x18, 0, 0x05, 0xBF, 0x07, 0, 0, 0, 0},
    {0x18, 0, 0x00, 0x10, 0x28, 0, 0, 0, 0},
    {0x18, 0x0A, 0x02, 0x04, 0x07, 0, 0, 0, 0},   // page 00h identifier wins
    // QSFP56
    {0x1E, 0, 0x01, 0x0E, 0x0C, 0, 76, 0, 0},
    {0x1E, 0, 0x02, 0x18, 0x07, 0, 77, 0, 0},
    {0x1E, 0, 0x01, 0x0E, 0x07, 0, 0, 0, 0},
    {0x1E, 0, 0x02, 0x18, 0x0C, 0, 0, 0, 0},
    {0x1E, 0, 0x02, 0x1D, 0x07, 0, 0, 0, 0},
    {0x1E, 0, 0x03, 0x00, 0x23, 0x01, 0, 0, 0},
    // DSFP
    {0x1B, 0, 0x03, 0x00, 0x23, 0x01, 89, 0, 0},
    {0x1B, 0, 0x03, 0x00, 0x23, 0x02, 90, 0, 0},
    {0x1B, 0, 0x03, 0x00, 0x23, 0x03, 90, 0, 0},
    {0x1B, 0, 0x03, 0x00, 0x23, 0x00, 92, 0, 0},
    {0x1B, 0, 0x03, 0x00, 0x23, 0x04, 0, 0, 0},
    {0x1B, 0, 0x03, 0x00, 0x21, 0x01, 0, 0, 0},
    {0x1B, 0, 0x04, 0x00, 0x23, 0x01, 91, 0, 0},
    {0x1B, 0, 0x04, 0x00, 0x23, 0x00, 0, 0, 0},
    {0x1B, 0, 0x04, 0x00, 0x21, 0x01, 0, 0, 0},
    {0x1B, 0, 0x02, 0x1D, 0x23, 0, 0, 0, 0},
    // eight-lane, recognised by lower page byte 0
    {0x00, 0x0A, 0x02, 0x04, 0x07, 0, 100, 0, 1},
    {0x00, 0x0A, 0x02, 0x00, 0x07, 0, 101, 0, 1},
    {0x00, 0x0A, 0x02, 0x02, 0x07, 0, 120, 0, 1},
    {0x00, 0x0A, 0x05, 0xBF, 0x07, 0, 102, 1, 1},
    {0x0D, 0x0A, 0x02, 0x04, 0x07, 0, 100, 0, 1},
    {0x00, 0x0A, 0x02, 0x04, 0x0C, 0, 0, 0, 0},
    {0x00, 0x0A, 0x05, 0xBF, 0x0C, 0, 0, 0, 0},
    {0x00, 0x0A, 0x01, 0x04, 0x07, 0, 0, 0, 0},
};

struct type_row {
    uint32_t type;
    const char *name;
    uint32_t rate, connector_class;
};
const type_row kCmisTypes[] = {
    {76, "200GBASE-SR4-QSFP56", 200000, 2},
    {77, "200GBASE-FR4-QSFP56", 200000, 2},
    {80, "400GBASE-SR8-QSFP-DD", 400000, 2},
    {81, "400GBASE-DR4-QSFP-DD", 400000, 2},
    {82, "400GBASE-FR4-QSFP-DD", 400000, 2},
    {85, "400GBASE-LR8-QSFP-DD", 400000, 2},
    {95, "400GBASE-ZR-QSFP-DD", 400000, 2},
    {83, "400GBASE-Passive Copper-QSFP-DD", 400000, 3},
    {87, "400GBASE-Active Copper-QSFP-DD", 400000, 3},
    {84, "400GBASE-Active cable-QSFP-DD", 400000, 2},
    {88, "400GBASE-Loopback-QSFP-DD", 400000, 2},
    {89, "100GBASE-Passive Copper-DSFP", 100000, 3},
    {90, "100GBASE-Active Copper-DSFP", 100000, 3},
    {91, "100GBASE-Active cable-DSFP", 100000, 2},
    {92, "100GBASE-Loopback-DSFP", 100000, 2},
    {100, "10GBASE-LR8-SFX", 10000, 2},
    {101, "1000BASE-LX8-SFG", 1000, 2},
    {102, "10G-copper8-SFX", 10000, 3},
    {120, "2500BASE-LX8-SFM", 2500, 2},
};

const type_row &type_of(uint32_t type) {
    for (const type_row &r : kCmisTypes)
        if (r.type == type) return r;
    static const type_row none{0, "", 0, 0};
    return none;
}

std::string connector_of(uint8_t k) {
    switch (k) {
    case 0x07: return "LC";
    case 0x0C: case 0x28: return "MPO";
    case 0x21: return "Copper pigtail";
    case 0x23: return "No separable connector";
    default: return "?";
    }
}

std::string unknown_name_of(uint8_t id128) {
    switch (id128) {
    case 0x18: return "Unknown QSFPDD module";
    case 0x1E: return "Unknown QSFP56 module";
    case 0x1B: return "Unknown DSFP module";
    default: return "Unknown module";
    }
}

cmis_module module_of(const id_case &c) {
    cmis_module m;
    put(m.p00, 128, c.id128);
    put(m.lower, 0, c.lower0);
    put(m.lower, 85, c.media);
    put(m.lower, 87, c.interface);
    put(m.p00, 203, c.connector);
    put(m.p00, 202, c.length202);
    std::memcpy(m.p00 + (166 - 128), "SERIAL-0123456 X", 16);
    return m;
}

fiber_normal_info_t identify(const cmis_module &m, const uint8_t *page12 = nullptr) {
    fiber_normal_info_t info{};
    fiber_decode_cmis_normal(m.p00, m.lower, m.p01, page12, &info);
    return info;
}

TEST(CmisIdentify, EveryRuleLeafAndRejection) {
    for (const id_case &c : kIdCases) {
        SCOPED_TRACE(testing::Message() << std::hex << "id " << +c.id128 << " lower0 " << +c.lower0 << " M "
                                        << +c.media << " A " << +c.interface << " K " << +c.connector << " len "
                                        << +c.length202);
        const fiber_normal_info_t info = identify(module_of(c));
        if (c.type == 0) {
            EXPECT_EQ(info.unsupported, 1);
            EXPECT_EQ(info.trans_type, 1u);
            EXPECT_STREQ(info.type_name, unknown_name_of(c.id128).c_str());
            EXPECT_EQ(info.connector_name, nullptr);
            EXPECT_EQ(info.is_qsfp, 0);
            EXPECT_EQ(info.serial_number[0], 0);
            continue;
        }
        const type_row &t = type_of(c.type);
        EXPECT_EQ(info.unsupported, 0);
        EXPECT_EQ(info.trans_type, c.type);
        EXPECT_STREQ(info.type_name, t.name);
        EXPECT_EQ(info.rate_mbps, t.rate);
        EXPECT_EQ(info.connector_class, t.connector_class);
        EXPECT_STREQ(info.connector_name, connector_of(c.connector).c_str());
        EXPECT_EQ(info.is_copper, c.copper);
        EXPECT_EQ(info.is_x8_module, c.x8);
        EXPECT_EQ(info.is_qsfp, 1);
        EXPECT_EQ(info.name_prefix, nullptr);
        EXPECT_STREQ(info.serial_number, "SERIAL-0123456 X");
    }
}

TEST(CmisIdentify, ForeignIdentifierIsRejectedWithoutName) {
    const fiber_normal_info_t info = identify(module_of({0x19, 0x19, 0x02, 0x1D, 0x07, 0, 0, 0, 0}));
    EXPECT_EQ(info.unsupported, 1);
    EXPECT_EQ(info.trans_type, 0u);
    EXPECT_EQ(info.type_name, nullptr);
}

TEST(CmisIdentify, NullPagesLeaveTheRecordUntouched) {
    const cmis_module m = module_of({0x18, 0, 0x02, 0x1D, 0x07, 0, 82, 0, 0});
    fiber_normal_info_t info;
    std::memset(&info, 0xA5, sizeof info);
    const auto before = bytes_of(info);
    _fiber_decode_cmis_normal(nullptr, m.lower, m.p01, nullptr, &info, 0);
    _fiber_decode_cmis_normal(m.p00, nullptr, m.p01, nullptr, &info, 0);
    _fiber_decode_cmis_normal(m.p00, m.lower, nullptr, nullptr, &info, 0);
    _fiber_decode_cmis_normal(m.p00, m.lower, m.p01, nullptr, nullptr, 0);
    EXPECT_EQ(bytes_of(info), before);
}

// 400ZR module (type 95) with a nominal wavelength of 1552.80 nm.
cmis_module zr_module(uint8_t revision) {
    cmis_module m = module_of({0x18, 0, 0x02, 0x3E, 0x07, 0, 95, 0, 0});
    put(m.lower, 1, revision);
    put_word(m.p01, 138, 31056);
    return m;
}

TEST(CmisIdentify, TunableFrequencyForms) {
    struct {
        uint8_t revision;
        uint8_t freq[4];  // page 12h bytes 168-171
        double ghz;
    } const cases[] = {
        {0x50, {0x0B, 0x82, 0x7E, 0xE0}, 193101536 * 0.001},           // signed MHz count
        {0x41, {0xFF, 0xFF, 0xFF, 0xFF}, -1 * 0.001},                  // negative, not 4294967 GHz
        {0x40, {0x00, 0xC1, 0x07, 0xEE}, 193 * 1000.0 + 2030 * 0.05},  // THz + 0.05 GHz units
        {0x40, {0x0B, 0x82, 0x7E, 0xE0}, 2946 * 1000.0 + 32480 * 0.05},
    };
    for (const auto &c : cases) {
        cmis_module m = zr_module(c.revision);
        std::memcpy(m.p12 + (168 - 128), c.freq, 4);
        const fiber_normal_info_t info = identify(m, m.p12);
        EXPECT_FLOAT_EQ(info.wavelength_nm, 299792448.0f / static_cast<float>(c.ghz)) << std::hex << +c.revision;
    }
    cmis_module m = zr_module(0x50);
    std::memcpy(m.p12 + (168 - 128), cases[0].freq, 4);
    EXPECT_NEAR(identify(m, m.p12).wavelength_nm, 1552.52, 0.01);
    EXPECT_FLOAT_EQ(identify(m).wavelength_nm, 1552.8f);  // without page 12h
    std::memset(m.p12, 0, sizeof m.p12);
    EXPECT_FLOAT_EQ(identify(m, m.p12).wavelength_nm, 1552.8f);  // zero frequency
    // Only type 95 is tuned.
    cmis_module fr4 = module_of({0x18, 0, 0x02, 0x1D, 0x07, 0, 82, 0, 0});
    put(fr4.lower, 1, 0x50);
    put_word(fr4.p01, 138, 26000);
    std::memcpy(fr4.p12 + (168 - 128), cases[0].freq, 4);
    EXPECT_FLOAT_EQ(identify(fr4, fr4.p12).wavelength_nm, 1300.0f);
}

TEST(CmisIdentify, WavelengthsAndTolerance) {
    cmis_module m = module_of({0x18, 0, 0x02, 0x1D, 0x07, 0, 82, 0, 0});
    put_word(m.p01, 140, 3200);  // 16.0 nm
    const uint16_t lanes[8] = {26000, 26011, 31027, 0, 0xFFFF, 25999, 19, 20};
    const int32_t nm[8] = {1300, 1300, 1551, 0, 3276, 1299, 0, 1};
    for (unsigned i = 0; i < 8; ++i) put_word(m.p01, 168 + 2 * i, lanes[i]);
    const fiber_normal_info_t info = identify(m);
    EXPECT_FLOAT_EQ(info.wavelength_nm, 0.0f);
    EXPECT_FLOAT_EQ(info.wavelength_tolerance_nm, 16.0f);
    for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(info.lane_wavelength_nm[i], nm[i]) << "lane " << i + 1;
}

TEST(CmisIdentify, SingleModeLengthMultipliers) {
    struct {
        uint8_t revision, length;
        int32_t m;
        uint32_t km;
    } const cases[] = {
        {0x50, 0x45, 0, 5},  {0x50, 0x85, 0, 50},  {0x41, 0x85, 0, 50}, {0x40, 0x85, 0, 0},
        {0x50, 0x05, 500, 0}, {0x50, 0x3F, 6300, 0}, {0x50, 0x01, 100, 0}, {0x50, 0xC5, 0, 0},
        {0x50, 0x7F, 0, 63}, {0x50, 0x00, 0, 0},
    };
    for (const auto &c : cases) {
        cmis_module m = module_of({0x18, 0, 0x02, 0x1D, 0x07, 0, 82, 0, 0});
        put(m.lower, 1, c.revision);
        put(m.p01, 132, c.length);
        const fiber_normal_info_t info = identify(m);
        EXPECT_EQ(info.length_smf_m, c.m) << std::hex << +c.length << " rev " << +c.revision;
        EXPECT_EQ(info.length_smf_km, c.km) << std::hex << +c.length << " rev " << +c.revision;
    }
}

TEST(CmisIdentify, MultimodeLengths) {
    cmis_module m = module_of({0x18, 0, 0x01, 0x10, 0x28, 0, 80, 0, 0});
    put(m.p01, 133, 10);
    put(m.p01, 134, 150);
    put(m.p01, 135, 0xFF);
    put(m.p01, 136, 70);
    const fiber_normal_info_t info = identify(m);
    EXPECT_EQ(info.length_om5_m, 20u);
    EXPECT_EQ(info.length_om4_m, 300u);
    EXPECT_EQ(info.length_om3_m, 510u);
    EXPECT_EQ(info.length_om2_m, 70u);
    EXPECT_EQ(info.length_om1_m, 0u);
}

TEST(CmisIdentify, DiagnosticsSupport) {
    struct {
        uint8_t b159, b160, interface;  // 1Dh: type 82, 3Eh: type 95
        uint8_t ddm;
    } const cases[] = {
        {0x03, 0x07, 0x1D, 1}, {0xFF, 0xFF, 0x1D, 1}, {0x01, 0x07, 0x1D, 0}, {0x03, 0x03, 0x1D, 0},
        {0x02, 0x07, 0x1D, 0}, {0x03, 0x06, 0x1D, 0}, {0x01, 0x07, 0x3E, 1}, {0x00, 0x00, 0x3E, 1},
    };
    for (const auto &c : cases) {
        cmis_module m = module_of({0x18, 0, 0x02, c.interface, 0x07, 0, 0, 0, 0});
        put(m.p01, 159, c.b159);
        put(m.p01, 160, c.b160);
        EXPECT_EQ(identify(m).ddm_supported, c.ddm) << std::hex << +c.b159 << " " << +c.b160 << " " << +c.interface;
        EXPECT_EQ(fiber::cmis_check_support_ddm(m.p00, m.lower, m.p01, nullptr), c.ddm);
        fiber_normal_info_t ignored{};
        fiber_decode_cmis_normal_ignore(m.p00, m.lower, m.p01, nullptr, &ignored);
        EXPECT_EQ(ignored.ddm_supported, 0);
        EXPECT_EQ(ignored.is_qsfp, 1);
    }
    // The monitor bits answer before the module is classified.
    cmis_module rejected = module_of({0x18, 0, 0x07, 0, 0, 0, 0, 0, 0});
    put(rejected.p01, 159, 0x03);
    put(rejected.p01, 160, 0x07);
    EXPECT_EQ(fiber::cmis_check_support_ddm(rejected.p00, rejected.lower, rejected.p01, nullptr), 1);
}

// ===========================================================================
// Lower-page queries
// ===========================================================================

TEST(CmisQuery, CmisColourAndVersion) {
    struct {
        uint8_t b1, b2;
        uint8_t cmis;
    } const cases[] = {
        {0x40, 0x00, 1}, {0x07, 0x10, 1}, {0x07, 0x00, 0}, {0x50, 0x20, 0}, {0x30, 0x00, 1}, {0x2F, 0x00, 0},
        {0x50, 0x30, 0}, {0x00, 0x10, 1}, {0x30, 0xCF, 1}, {0x51, 0x04, 1},
    };
    for (const auto &c : cases) {
        uint8_t lower[128] = {};
        put(lower, 1, c.b1);
        put(lower, 2, c.b2);
        EXPECT_EQ(fiber_is_cmis(lower), c.cmis) << std::hex << +c.b1 << " " << +c.b2;
        EXPECT_EQ(fiber_get_cmis_ver_id(lower), c.cmis ? c.b1 : 0);
        EXPECT_EQ(fiber_is_color_module(lower), 0);
        put(lower, 87, 0x3E);
        EXPECT_EQ(fiber_is_color_module(lower), c.cmis);
        put(lower, 87, 0xC1);
        EXPECT_EQ(fiber_is_color_module(lower), 0);
    }
    EXPECT_EQ(fiber_is_cmis(nullptr), 0);
    EXPECT_EQ(fiber_is_color_module(nullptr), 0);
    EXPECT_EQ(fiber_get_cmis_ver_id(nullptr), 0);
}

}  // namespace
