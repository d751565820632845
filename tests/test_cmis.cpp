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

// Reference dBm, independent of the library's fixed-point logarithm.
double dbm(double units) { return units > 0 ? 10.0 * std::log10(units / 10000.0) : -40.0; }

std::string captured(void (*run)(const void *), const void *arg) {
    testing::internal::CaptureStdout();
    run(arg);
    return testing::internal::GetCapturedStdout();
}

// Labels of the page dumps in printed order (the rule under the column
// header also starts with "---- + ").
std::vector<std::string> labels_of(const std::string &out) {
    std::vector<std::string> labels;
    const std::string head = "\n---- + ";
    for (std::size_t at = out.find(head); at != std::string::npos; at = out.find(head, at + 1)) {
        const std::size_t from = at + head.size();
        std::string label = out.substr(from, out.find('\n', from) - from);
        if (label.rfind("--", 0) != 0) labels.push_back(label);
    }
    return labels;
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

// ===========================================================================
// Vendor
// ===========================================================================

TEST(CmisVendor, FieldsByteForByte) {
    cmis_module m;
    for (unsigned n = 128; n < 256; ++n) put(m.p00, n, static_cast<uint8_t>(n));
    put(m.p00, 128, 0x18);
    put(m.lower, 39, 3);
    put(m.lower, 40, 12);
    put(m.p01, 130, 1);
    put(m.p01, 131, 0);
    fiber_vendor_info_t info{};
    fiber_decode_cmis_vendor(m.p00, m.lower, m.p01, &info);
    EXPECT_EQ(info.unsupported, 0);
    auto field = [](const char *f, unsigned first, unsigned n) {
        for (unsigned j = 0; j < n; ++j) EXPECT_EQ(static_cast<uint8_t>(f[j]), first + j) << "byte " << first + j;
    };
    field(info.vendor_name, 129, 16);
    EXPECT_EQ(info.vendor_name[16], 0);
    EXPECT_EQ(info.vendor_oui[0], 145);
    EXPECT_EQ(info.vendor_oui[1], 146);
    EXPECT_EQ(info.vendor_oui[2], 147);
    field(info.vendor_pn, 148, 16);
    field(info.vendor_rev, 164, 2);
    EXPECT_EQ(std::string(info.vendor_rev, 5), std::string("\xA4\xA5\0\0\0", 5));
    field(info.date_code, 182, 8);
    EXPECT_EQ(info.date_code[8], 0);
    EXPECT_STREQ(info.firmware_version, "3.12");
    EXPECT_STREQ(info.hardware_version, "1.0");
    EXPECT_STREQ(info.encoding, "Unspecified");
}

TEST(CmisVendor, VersionTexts) {
    struct {
        uint8_t major, minor;
        const char *text;
    } const cases[] = {{3, 12, "3.12"}, {1, 0, "1.0"}, {255, 255, "255.255"}, {0, 0, "0.0"}, {128, 7, "128.7"}};
    for (const auto &c : cases) {
        cmis_module m;
        put(m.p00, 128, 0x1E);
        put(m.lower, 39, c.major);
        put(m.lower, 40, c.minor);
        put(m.p01, 130, c.minor);
        put(m.p01, 131, c.major);
        fiber_vendor_info_t info;
        std::memset(&info, 0x7F, sizeof info);
        fiber_decode_cmis_vendor(m.p00, m.lower, m.p01, &info);
        EXPECT_STREQ(info.firmware_version, c.text);
        EXPECT_EQ(std::string(info.hardware_version), std::to_string(c.minor) + "." + std::to_string(c.major));
    }
}

TEST(CmisVendor, WithoutPage01TheVersionsStayAsTheyWere) {
    cmis_module m;
    put(m.p00, 128, 0x1B);
    std::memcpy(m.p00 + 1, "VENDOR NAME     ", 16);
    put(m.lower, 39, 3);
    fiber_vendor_info_t info;
    std::memset(&info, 0x7F, sizeof info);
    fiber_decode_cmis_vendor(m.p00, m.lower, nullptr, &info);
    EXPECT_EQ(info.unsupported, 0x7F);
    EXPECT_EQ(std::string(info.vendor_name, 16), "VENDOR NAME     ");
    EXPECT_EQ(info.vendor_name[16], 0x7F);  // the decoder writes no terminator
    EXPECT_EQ(info.firmware_version[0], 0x7F);
    EXPECT_EQ(info.hardware_version[0], 0x7F);
}

TEST(CmisVendor, Acceptance) {
    struct {
        uint8_t id128, lower0;
        bool with_lower;
        uint8_t unsupported;
    } const cases[] = {
        {0x18, 0, false, 0}, {0x1B, 0, false, 0}, {0x1E, 0, false, 0}, {0x0D, 0x0A, true, 0},
        {0x0D, 0x0A, false, 1}, {0x0D, 0x00, true, 1}, {0x11, 0x11, true, 1}, {0x19, 0x0B, true, 1},
    };
    for (const auto &c : cases) {
        cmis_module m;
        put(m.p00, 128, c.id128);
        put(m.p00, 129, 'V');
        put(m.lower, 0, c.lower0);
        fiber_vendor_info_t info{};
        fiber_decode_cmis_vendor(m.p00, c.with_lower ? m.lower : nullptr, m.p01, &info);
        EXPECT_EQ(info.unsupported, c.unsupported) << std::hex << +c.id128 << " " << +c.lower0;
        EXPECT_EQ(info.vendor_name[0], c.unsupported ? 0 : 'V');
        EXPECT_EQ(info.encoding == nullptr, c.unsupported == 1);
    }
}

TEST(CmisVendor, ThroughTheEntryPoint) {
    cmis_module m;
    put(m.p00, 128, 0x0D);
    put(m.lower, 0, 0x0A);
    put(m.lower, 39, 2);
    put(m.lower, 40, 10);
    put(m.p01, 131, 1);
    fiber_pages_t pages = {};
    pages[0x00] = m.p00;
    pages[0x01] = m.p01;
    fiber_vendor_info_t info;
    fiber_decode_vendor(FIBER_KIND_CMIS, m.lower, pages, &info, 0);
    EXPECT_EQ(info.unsupported, 0);
    EXPECT_STREQ(info.firmware_version, "2.10");
    EXPECT_STREQ(info.hardware_version, "0.1");
    pages[0x01] = nullptr;  // accepted only by page 00h byte 128 now
    fiber_decode_vendor(FIBER_KIND_CMIS, m.lower, pages, &info, 0);
    EXPECT_EQ(info.unsupported, 1);
    put(m.p00, 128, 0x18);
    fiber_decode_vendor(FIBER_KIND_CMIS, m.lower, pages, &info, 0);
    EXPECT_EQ(info.unsupported, 0);
    EXPECT_STREQ(info.firmware_version, "");
    EXPECT_STREQ(info.hardware_version, "");
    EXPECT_STREQ(info.encoding, "Unspecified");
}

// ===========================================================================
// Diagnostics
// ===========================================================================

// A QSFP-DD module with every monitor advertised.
cmis_module monitored_module() {
    cmis_module m;
    put(m.lower, 0, 0x18);
    put(m.p00, 128, 0x18);
    put(m.p01, 159, 0x03);
    put(m.p01, 160, 0x07);
    return m;
}

fiber_diag_info_t diagnose(const cmis_module &m, bool with02 = true) {
    fiber_diag_info_t info{};
    fiber_decode_cmis_diag(m.p00, m.lower, m.p01, with02 ? m.p02 : nullptr, m.p11, nullptr, &info);
    return info;
}

enum flag_set { MONITOR, RX_POWER, TX_POWER };

TEST(CmisDiag, LaneFlagsOneBitAtATime) {
    struct {
        uint8_t byte;
        flag_set set;
        unsigned k;  // 0 low alarm, 1 high alarm, 2 low warning, 3 high warning
    } const rows[] = {
        {144, MONITOR, 0},  {143, MONITOR, 1},  {146, MONITOR, 2},  {145, MONITOR, 3},
        {150, RX_POWER, 0}, {149, RX_POWER, 1}, {152, RX_POWER, 2}, {151, RX_POWER, 3},
        {140, TX_POWER, 0}, {139, TX_POWER, 1}, {142, TX_POWER, 2}, {141, TX_POWER, 3},
    };
    for (const auto &r : rows)
        for (unsigned lane = 1; lane <= 8; ++lane) {
            cmis_module m = monitored_module();
            put(m.lower, 88, 0x11);  // one media lane: diagnostics decode all eight anyway
            put(m.p11, r.byte, static_cast<uint8_t>(1u << (lane - 1)));
            const fiber_diag_info_t info = diagnose(m);
            const uint64_t expected = uint64_t{1} << (8 + 4 * (lane - 1) + r.k);
            EXPECT_EQ(info.monitor_flags, r.set == MONITOR ? expected : 0) << "byte " << +r.byte << " lane " << lane;
            EXPECT_EQ(info.rx_power_flags, r.set == RX_POWER ? expected : 0) << "byte " << +r.byte << " lane " << lane;
            EXPECT_EQ(info.tx_power_flags, r.set == TX_POWER ? expected : 0) << "byte " << +r.byte << " lane " << lane;
        }
}

TEST(CmisDiag, ModuleFlagsAndStateBytesRaiseNoLaneFlags) {
    const unsigned to_monitor_bit[8] = {1, 0, 3, 2, 5, 4, 7, 6};  // byte 9 bit b -> monitor_flags bit
    for (unsigned b = 0; b < 8; ++b) {
        cmis_module m = monitored_module();
        put(m.lower, 9, static_cast<uint8_t>(1u << b));
        const fiber_diag_info_t info = diagnose(m);
        EXPECT_EQ(info.monitor_flags, uint64_t{1} << to_monitor_bit[b]) << "bit " << b;
        EXPECT_EQ(info.rx_power_flags | info.tx_power_flags, 0u);
    }
    cmis_module m = monitored_module();
    for (unsigned n : {134u, 135u, 136u, 137u, 138u, 147u, 148u, 153u}) put(m.p11, n, 0xFF);
    const fiber_diag_info_t info = diagnose(m);
    EXPECT_EQ(info.monitor_flags | info.rx_power_flags | info.tx_power_flags, 0u);
}

TEST(CmisDiag, MonitorsLanesAndModulePower) {
    cmis_module m = monitored_module();
    put_word(m.lower, 14, 0x1F08);  // 31.03 degC
    put_word(m.lower, 16, 0x8103);
    put(m.lower, 88, 0x44);
    put(m.p00, 201, 0x3C);
    put(m.p01, 151, 0x10);
    const uint16_t tx[8] = {10000, 1, 20000, 0, 65535, 500, 31623, 12};
    const uint16_t rx[8] = {0, 10, 40000, 32768, 7, 9999, 100, 10001};
    for (unsigned i = 0; i < 8; ++i) {
        put_word(m.p11, 154 + 2 * i, tx[i]);
        put_word(m.p11, 170 + 2 * i, static_cast<uint16_t>(0x1000 * (i + 1) + 0xF));
        put_word(m.p11, 186 + 2 * i, rx[i]);
    }
    const fiber_diag_info_t info = diagnose(m, false);
    EXPECT_EQ(info.unsupported, 0);
    EXPECT_EQ(info.ddm_supported, 1);
    EXPECT_EQ(info.rx_power_type, 1);
    EXPECT_EQ(info.temperature, 31);
    EXPECT_EQ(info.voltage, 0x8103);
    EXPECT_EQ(info.media_lane_count, 4u);
    EXPECT_FLOAT_EQ(info.max_power, 15.0f);
    EXPECT_EQ(info.cmis_done, 1);
    EXPECT_EQ(info.qsfp_done, 0);
    EXPECT_EQ(info.module_type, static_cast<uint32_t>(FIBER_DIAG_CMIS));
    for (unsigned i = 0; i < 8; ++i) {
        EXPECT_EQ(info.tx_bias[i], static_cast<int32_t>(0x1000 * (i + 1) + 0xF)) << "lane " << i + 1;
        EXPECT_NEAR(info.tx_power[i], dbm(tx[i]), 0.001) << "lane " << i + 1;
        EXPECT_NEAR(info.rx_power[i], dbm(rx[i]), 0.001) << "lane " << i + 1;
    }
    EXPECT_EQ(info.thresholds_valid, 0);  // no page 02h

    put_word(m.lower, 14, static_cast<uint16_t>(-384));
    put(m.lower, 88, 0x88);
    put(m.p00, 201, 0xFF);
    put(m.p01, 151, 0xEF);
    const fiber_diag_info_t other = diagnose(m, false);
    EXPECT_EQ(other.temperature, -2);
    EXPECT_EQ(other.media_lane_count, 8u);
    EXPECT_FLOAT_EQ(other.max_power, 63.75f);
    EXPECT_EQ(other.rx_power_type, 0);
}

TEST(CmisDiag, ThresholdsFromPage02) {
    cmis_module m = monitored_module();
    const uint16_t words[] = {
        0x4B00, 0x0A00, 0x4680, 0xF600,  // 128: temperature 75, 10, 70.5 -> 71, -10
        0x8B42, 0x768E, 0x88B8, 0x7918,  // 136: voltage
        0xAE7C, 0x0E2F, 0x9C40, 0x1000,  // 176: Tx power
        0xFDE8, 0x3A98, 0xD6D8, 0x445C,  // 184: Tx bias
        0x7530, 0x0001, 0x4E20, 0x0000,  // 192: Rx power
    };
    const unsigned blocks[] = {128, 136, 176, 184, 192};
    for (unsigned b = 0; b < 5; ++b)
        for (unsigned j = 0; j < 4; ++j) put_word(m.p02, blocks[b] + 2 * j, words[4 * b + j]);
    const fiber_diag_info_t info = diagnose(m);
    EXPECT_EQ(info.thresholds_valid, 1);
    EXPECT_EQ(info.temp_high_alarm, 75);
    EXPECT_EQ(info.temp_low_alarm, 10);
    EXPECT_EQ(info.temp_high_warning, 71);
    EXPECT_EQ(info.temp_low_warning, -10);
    // One word of each block: the blocks are where page 02h keeps them.
    EXPECT_EQ(info.voltage_low_warning, 0x7918);
    EXPECT_NEAR(info.tx_power_high_alarm, dbm(0xAE7C), 0.001);
    EXPECT_EQ(info.tx_bias_low_alarm, 0x3A98);
    EXPECT_NEAR(info.rx_power_high_warning, dbm(0x4E20), 0.001);
    EXPECT_FLOAT_EQ(info.rx_power_low_warning, -40.0f);

    // Without advertised monitors only a ZR module keeps its thresholds.
    put(m.p01, 160, 0x03);
    const fiber_diag_info_t gated = diagnose(m);
    EXPECT_EQ(gated.ddm_supported, 0);
    EXPECT_EQ(gated.thresholds_valid, 0);
    EXPECT_EQ(gated.temp_high_alarm, 0);
    EXPECT_FLOAT_EQ(gated.rx_power_high_alarm, 0.0f);
    put(m.lower, 85, 0x02);
    put(m.lower, 87, 0x3E);
    put(m.p00, 203, 0x07);
    const fiber_diag_info_t zr = diagnose(m);
    EXPECT_EQ(zr.ddm_supported, 1);
    EXPECT_EQ(zr.thresholds_valid, 1);
    EXPECT_EQ(zr.temp_high_alarm, 75);
}

TEST(CmisDiag, Identifiers) {
    for (unsigned id = 0; id < 256; ++id) {
        cmis_module m = monitored_module();
        put(m.lower, 0, static_cast<uint8_t>(id));
        const bool accepted = id == 0x0A || id == 0x18 || id == 0x1B || id == 0x1E;
        const fiber_diag_info_t info = diagnose(m);
        EXPECT_EQ(info.unsupported, accepted ? 0 : 1) << "identifier " << id;
        EXPECT_EQ(info.module_type, accepted ? 4u : 0u) << "identifier " << id;
    }
    // The lower page's identifier decides, not page 00h's.
    cmis_module m = monitored_module();
    put(m.lower, 0, 0x0D);
    EXPECT_EQ(diagnose(m).unsupported, 1);
}

TEST(CmisDiag, NullPagesLeaveTheRecordUntouched) {
    const cmis_module m = monitored_module();
    fiber_diag_info_t info;
    std::memset(&info, 0x5A, sizeof info);
    const auto before = bytes_of(info);
    fiber_decode_cmis_diag(nullptr, m.lower, m.p01, m.p02, m.p11, nullptr, &info);
    fiber_decode_cmis_diag(m.p00, nullptr, m.p01, m.p02, m.p11, nullptr, &info);
    fiber_decode_cmis_diag(m.p00, m.lower, nullptr, m.p02, m.p11, nullptr, &info);
    fiber_decode_cmis_diag(m.p00, m.lower, m.p01, m.p02, nullptr, nullptr, &info);
    EXPECT_EQ(bytes_of(info), before);
}

struct entry_call {
    const cmis_module *m;
    const fiber_pages_t *pages;
};

TEST(CmisDiag, DumpOrderThroughTheEntryPoint) {
    const cmis_module m = monitored_module();
    fiber_pages_t pages = {};
    pages[0x00] = m.p00;
    pages[0x01] = m.p01;
    pages[0x02] = m.p02;
    pages[0x11] = m.p11;
    pages[0x12] = m.p12;
    const entry_call call{&m, &pages};
    auto run = [](const void *arg) {
        const auto *c = static_cast<const entry_call *>(arg);
        fiber_diag_info_t info;
        fiber_decode_diag(FIBER_KIND_CMIS, c->m->lower, *c->pages, &info, 1);
    };
    EXPECT_EQ(labels_of(captured(run, &call)),
              (std::vector<std::string>{"page00 lower  eeprom", "page00 upper  eeprom", "page01  eeprom",
                                        "page11  eeprom", "page02  eeprom"}));
    pages[0x11] = nullptr;
    EXPECT_EQ(labels_of(captured(run, &call)),
              (std::vector<std::string>{"page00 lower  eeprom", "page00 upper  eeprom"}));
}

// ===========================================================================
// Alarms
// ===========================================================================

fiber_alarm_info_t alarms_of(const cmis_module &m) {
    fiber_alarm_info_t info{};
    fiber_decode_cmis_alarm(m.p00, m.lower, m.p01, m.p11, nullptr, nullptr, nullptr, &info);
    return info;
}

bool raised(const fiber_alarm_info_t &info, unsigned id) { return (info.alarm_bits[id / 32] >> (id % 32)) & 1u; }

unsigned raised_count(const fiber_alarm_info_t &info) {
    unsigned n = 0;
    for (unsigned id = 0; id < 256; ++id) n += raised(info, id);
    return n;
}

TEST(CmisAlarm, LaneFlagsToIds) {
    struct {
        uint8_t byte;
        unsigned first_id, step;
        const char *text;  // lane 1
    } const rows[] = {
        {144, 8, 4, "Channel-1 TX bias low alarm"},    {143, 9, 4, "Channel-1 TX bias high alarm"},
        {146, 10, 4, "Channel-1 TX bias low warn"},    {145, 11, 4, "Channel-1 TX bias high warn"},
        {150, 72, 4, "Channel-1 RX power low alarm"},  {149, 73, 4, "Channel-1 RX power high alarm"},
        {152, 74, 4, "Channel-1 RX power low warn"},   {151, 75, 4, "Channel-1 RX power high warn"},
        {140, 136, 4, "Channel-1 TX power low alarm"}, {139, 137, 4, "Channel-1 TX power high alarm"},
        {142, 138, 4, "Channel-1 TX power low warn"},  {141, 139, 4, "Channel-1 TX power high warn"},
        {147, 200, 1, "Channel-1 RX loss of signal"},  {148, 208, 1, "Channel-1 RX CDR loss of lock"},
        {136, 216, 1, "Channel-1 TX loss of signal"},  {137, 224, 1, "Channel-1 TX CDR loss of lock"},
        {135, 232, 1, "Channel-1 TX fault"},
    };
    for (const auto &r : rows)
        for (unsigned lane = 1; lane <= 8; ++lane) {
            cmis_module m = monitored_module();
            put(m.p11, r.byte, static_cast<uint8_t>(1u << (lane - 1)));
            const fiber_alarm_info_t info = alarms_of(m);
            const unsigned id = r.first_id + r.step * (lane - 1);
            EXPECT_TRUE(raised(info, id)) << "byte " << +r.byte << " lane " << lane;
            EXPECT_EQ(raised_count(info), 1u) << "byte " << +r.byte << " lane " << lane;
            std::string text = r.text;
            text[8] = static_cast<char>('0' + lane);
            EXPECT_STREQ(fiber_alarms[id], text.c_str());
        }
}

TEST(CmisAlarm, ModuleFlagsToIds) {
    const unsigned to_id[8] = {1, 0, 3, 2, 5, 4, 7, 6};  // byte 9 bit b -> id
    for (unsigned b = 0; b < 8; ++b) {
        cmis_module m = monitored_module();
        put(m.lower, 88, 0x01);  // examined whatever the lane count
        put(m.lower, 9, static_cast<uint8_t>(1u << b));
        const fiber_alarm_info_t info = alarms_of(m);
        EXPECT_TRUE(raised(info, to_id[b])) << "bit " << b;
        EXPECT_EQ(raised_count(info), 1u);
    }
    cmis_module m = monitored_module();
    put(m.lower, 9, 0x01);
    EXPECT_STREQ(fiber_alarms[0], "Temp low alarm");
    EXPECT_TRUE(raised(alarms_of(m), 1));  // "Temp high alarm"
}

TEST(CmisAlarm, MediaLaneCountLimitsTheLanes) {
    for (unsigned count = 0; count < 16; ++count) {
        cmis_module m = monitored_module();
        put(m.lower, 88, static_cast<uint8_t>(0xF0 | count));  // bits 7-4 play no part
        put(m.p11, 147, 0xFF);
        put(m.p11, 135, 0xFF);
        const unsigned lanes = (count == 1 || count == 2 || count == 4) ? count : 8;
        const fiber_alarm_info_t info = alarms_of(m);
        for (unsigned lane = 1; lane <= 8; ++lane) {
            EXPECT_EQ(raised(info, 200 + lane - 1), lane <= lanes) << "count " << count << " lane " << lane;
            EXPECT_EQ(raised(info, 232 + lane - 1), lane <= lanes) << "count " << count << " lane " << lane;
        }
    }
}

TEST(CmisAlarm, EverythingRaisedStillNoModuleLevelIds) {
    cmis_module m = monitored_module();
    put(m.lower, 9, 0xFF);
    for (unsigned n = 128; n < 256; ++n) put(m.p11, n, 0xFF);
    for (unsigned n = 128; n < 256; ++n) put(m.p00, n, n == 128 ? 0x18 : 0xEE);  // no valid check codes
    put(m.lower, 3, 0x0B);
    const fiber_alarm_info_t info = alarms_of(m);
    EXPECT_EQ(raised_count(info), 8u + 17u * 8u);
    for (unsigned id = 240; id < 256; ++id) EXPECT_FALSE(raised(info, id)) << id;
    EXPECT_EQ(info.alarm_id_count, 255u);
    EXPECT_EQ(info.cmis_done, 1);
    EXPECT_EQ(info.qsfp_done, 0);
    EXPECT_EQ(info.ddm_supported, 1);
}

TEST(CmisAlarm, Identifiers) {
    struct {
        uint8_t id128, lower0, unsupported;
    } const cases[] = {{0x19, 0x19, 1}, {0x40, 0x0A, 0}, {0x18, 0x00, 0}, {0x1B, 0x00, 0},
                       {0x1E, 0x11, 0}, {0x11, 0x18, 1}, {0x0D, 0x0D, 1}};
    for (const auto &c : cases) {
        cmis_module m;
        put(m.p00, 128, c.id128);
        put(m.lower, 0, c.lower0);
        put(m.lower, 9, 0xFF);
        const fiber_alarm_info_t info = alarms_of(m);
        EXPECT_EQ(info.unsupported, c.unsupported) << std::hex << +c.id128 << " " << +c.lower0;
        EXPECT_EQ(info.alarm_id_count, c.unsupported ? 0u : 255u);
        EXPECT_EQ(info.cmis_done, c.unsupported ? 0 : 1);
        EXPECT_EQ(raised_count(info), c.unsupported ? 0u : 8u);
        EXPECT_EQ(info.ddm_supported, 0);
    }
}

TEST(CmisAlarm, VdmPagesAndDumpOrder) {
    cmis_module m = monitored_module();
    put(m.p11, 147, 0x0F);
    put(m.lower, 9, 0x30);
    static uint8_t vdm[5][512];
    for (auto &v : vdm) std::memset(v, 0xFF, sizeof v);
    fiber_pages_t pages = {};
    pages[0x00] = m.p00;
    pages[0x01] = m.p01;
    pages[0x11] = m.p11;
    pages[0x12] = m.p12;
    const entry_call call{&m, &pages};
    auto run = [](const void *arg) {
        const auto *c = static_cast<const entry_call *>(arg);
        fiber_alarm_info_t info;
        fiber_decode_alarm(FIBER_KIND_CMIS, c->m->lower, *c->pages, &info, 1);
    };
    fiber_alarm_info_t without{};
    fiber_decode_alarm(FIBER_KIND_CMIS, m.lower, pages, &without, 0);
    const std::vector<std::string> first = {"page00 lower  eeprom", "page00 upper  eeprom", "page01  eeprom",
                                            "page11  eeprom"};
    EXPECT_EQ(labels_of(captured(run, &call)), first);

    const unsigned vdm_pages[5] = {0x20, 0x21, 0x22, 0x23, 0x2C};
    for (unsigned i = 0; i < 4; ++i) pages[vdm_pages[i]] = vdm[i];
    EXPECT_EQ(labels_of(captured(run, &call)), first);  // page 2Ch missing: no VDM dump, page 12h not dumped

    pages[0x2C] = vdm[4];
    std::vector<std::string> all = first;
    for (const char *l : {"page20  eeprom", "page21  eeprom", "page22  eeprom", "page23  eeprom", "page2C  eeprom",
                          "page12  eeprom"})
        all.push_back(l);
    EXPECT_EQ(labels_of(captured(run, &call)), all);

    fiber_alarm_info_t with{};
    fiber_decode_alarm(FIBER_KIND_CMIS, m.lower, pages, &with, 0);
    EXPECT_EQ(bytes_of(with), bytes_of(without));
    EXPECT_EQ(raised_count(with), 4u + 2u);  // Rx LOS lanes 1-4, ids 4 and 5

    pages[0x11] = nullptr;
    EXPECT_EQ(labels_of(captured(run, &call)),
              (std::vector<std::string>{"page00 lower  eeprom", "page00 upper  eeprom"}));
}

// ===========================================================================
// Module and data-path state
// ===========================================================================

fiber_coremgmt_info_t coremgmt_of(const cmis_module &m) {
    fiber_pages_t pages = {};
    pages[0x11] = m.p11;
    fiber_coremgmt_info_t info;
    std::memset(&info, 0xFF, sizeof info);
    fiber_decode_coremgmt(FIBER_KIND_CMIS, m.lower, pages, &info, 0);
    return info;
}

TEST(CmisCoremgmt, ModuleState) {
    struct {
        uint8_t byte3;
        const char *state;
    } const cases[] = {
        {0x06, "ModuleReady"},
        {0x0A, "Fault"},
        {0x02, "ModuleLowPwr"},
        {0x01, "Unknown or unspecified"},  // code 0, bit 0 plays no part
        {0x0C, "Unknown or unspecified"},
        {0x0E, "Unknown or unspecified"},
        {0xF6, "ModuleReady"},  // bits 7-4 play no part
        {0x04, "ModulePwrUp"},
        {0x09, "ModulePwrDn"},
    };
    for (const auto &c : cases) {
        cmis_module m;
        put(m.lower, 3, c.byte3);
        EXPECT_STREQ(coremgmt_of(m).module_state, c.state) << std::hex << +c.byte3;
    }
}

TEST(CmisCoremgmt, DataPathStates) {
    const char *const names[16] = {"Unknown",     "Deactivated", "Init",        "Deinit",
                                   "Activated",   "TxTurnOn",    "TxTurnOff",   "Initialized",
                                   "Unspecified", "Unspecified", "Unspecified", "Unspecified",
                                   "Unspecified", "Unspecified", "Unspecified", "Unspecified"};
    for (unsigned code = 0; code < 16; ++code) {
        cmis_module m;
        for (unsigned n = 128; n < 132; ++n) put(m.p11, n, static_cast<uint8_t>(code * 0x11));
        const fiber_coremgmt_info_t info = coremgmt_of(m);
        for (unsigned lane = 0; lane < 8; ++lane) EXPECT_STREQ(info.datapath_state[lane], names[code]);
    }
    // Odd lanes in the low nibble, two lanes per byte from byte 128.
    cmis_module m;
    put(m.p11, 128, 0x21);
    put(m.p11, 129, 0x43);
    put(m.p11, 130, 0x65);
    put(m.p11, 131, 0x07);
    const fiber_coremgmt_info_t info = coremgmt_of(m);
    for (unsigned lane = 0; lane < 8; ++lane) EXPECT_STREQ(info.datapath_state[lane], names[(lane + 1) % 8]);
    put(m.p11, 128, 0x41);
    EXPECT_STREQ(coremgmt_of(m).datapath_state[0], "Deactivated");
    EXPECT_STREQ(coremgmt_of(m).datapath_state[1], "Activated");
}

TEST(CmisCoremgmt, StateChangedAndLaneCount) {
    cmis_module m;
    put(m.p11, 134, 0xA5);
    put(m.lower, 88, 0x48);
    fiber_coremgmt_info_t info = coremgmt_of(m);
    const uint8_t changed[8] = {1, 0, 1, 0, 0, 1, 0, 1};
    for (unsigned lane = 0; lane < 8; ++lane) EXPECT_EQ(info.datapath_state_changed[lane], changed[lane]);
    EXPECT_EQ(info.media_lane_count, 8u);
    EXPECT_EQ(info.unsupported, 0);
    put(m.lower, 88, 0x81);
    info = coremgmt_of(m);
    EXPECT_EQ(info.media_lane_count, 1u);
    EXPECT_STREQ(info.datapath_state[7], "Unknown");  // all eight lanes whatever the count
}

TEST(CmisCoremgmt, OtherKindAndMissingPage) {
    cmis_module m;
    put(m.lower, 3, 0x06);
    fiber_pages_t pages = {};
    pages[0x11] = m.p11;
    const entry_call call{&m, &pages};
    fiber_coremgmt_info_t info;
    std::memset(&info, 0xFF, sizeof info);
    std::vector<uint8_t> expected = bytes_of(info);
    expected[0] = 1;
    static fiber_coremgmt_info_t *target;
    target = &info;
    static fiber_module_kind kind;
    auto run = [](const void *arg) {
        const auto *c = static_cast<const entry_call *>(arg);
        fiber_decode_coremgmt(kind, c->m->lower, *c->pages, target, 1);
    };
    kind = FIBER_KIND_QSFP;
    EXPECT_EQ(captured(run, &call), "");
    EXPECT_EQ(bytes_of(info), expected);

    std::memset(&info, 0xFF, sizeof info);
    pages[0x11] = nullptr;
    kind = FIBER_KIND_CMIS;
    EXPECT_EQ(captured(run, &call), "");
    EXPECT_EQ(bytes_of(info), std::vector<uint8_t>(sizeof info, 0xFF));

    pages[0x11] = m.p11;
    EXPECT_EQ(labels_of(captured(run, &call)), (std::vector<std::string>{"page00 lower  eeprom", "page11  eeprom"}));
    EXPECT_STREQ(info.module_state, "ModuleReady");
}

// ===========================================================================
// Real modules (tests/data/<entry>/dump.bin: lower page at 0, upper page N
// at 128 * (N + 1); pages the dump lacks read as zero)
// ===========================================================================

struct real_module {
    std::vector<uint8_t> bytes;
    cmis_module m;
    fiber_pages_t pages{};
};

real_module load(const char *entry, std::initializer_list<unsigned> present) {
    real_module r;
    std::ifstream in(std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin", std::ios::binary);
    r.bytes.assign(std::istreambuf_iterator<char>(in), {});
    EXPECT_GE(r.bytes.size(), 256u) << entry;
    r.bytes.resize(128 * 0x31, 0);
    auto page = [&r](unsigned n) { return r.bytes.data() + 128 * (n + 1); };
    std::memcpy(r.m.lower, r.bytes.data(), 128);
    std::memcpy(r.m.p00, page(0x00), 128);
    std::memcpy(r.m.p01, page(0x01), 128);
    std::memcpy(r.m.p02, page(0x02), 128);
    std::memcpy(r.m.p11, page(0x11), 128);
    std::memcpy(r.m.p12, page(0x12), 128);
    for (unsigned n : present) r.pages[n] = page(n);
    return r;
}

TEST(CmisRealModule, FitHonTengPassiveCopper) {
    const real_module r = load("qsfpdd-400g-dac-fit-cu4ep54", {0x00});
    EXPECT_EQ(fiber_is_cmis(r.m.lower), 1);  // CMIS 3.0
    EXPECT_EQ(fiber_get_cmis_ver_id(r.m.lower), 0x30);
    // M = 03h, K = 23h, byte 202 = 41h: n = 1.
    const fiber_normal_info_t info = identify(r.m);
    EXPECT_EQ(info.unsupported, 0);
    EXPECT_EQ(info.trans_type, 83u);
    EXPECT_STREQ(info.type_name, "400GBASE-Passive Copper-QSFP-DD");
    EXPECT_EQ(info.rate_mbps, 400000u);
    EXPECT_EQ(info.connector_class, 3u);
    EXPECT_STREQ(info.connector_name, "No separable connector");
    EXPECT_STREQ(info.serial_number, "N010Z8350100030 ");
    EXPECT_EQ(info.ddm_supported, 0);
    EXPECT_EQ(info.is_copper, 0);
    // The dump has no page 01h: the entry point leaves the record zero.
    fiber_normal_info_t entry;
    fiber_decode_normal(FIBER_KIND_CMIS, r.m.lower, r.pages, &entry, 0);
    EXPECT_EQ(bytes_of(entry), std::vector<uint8_t>(sizeof entry, 0));

    fiber_vendor_info_t vendor;
    fiber_decode_vendor(FIBER_KIND_CMIS, r.m.lower, r.pages, &vendor, 0);
    EXPECT_EQ(vendor.unsupported, 0);
    EXPECT_STREQ(vendor.vendor_name, "FIT HON TENG    ");
    EXPECT_EQ(vendor.vendor_oui[0], 0xEC);
    EXPECT_EQ(vendor.vendor_oui[1], 0x01);
    EXPECT_EQ(vendor.vendor_oui[2], 0xE2);
    EXPECT_STREQ(vendor.vendor_pn, "CU4EP54-01000-EF");
    EXPECT_STREQ(vendor.vendor_rev, "A0");
    EXPECT_STREQ(vendor.date_code, "180827  ");
    EXPECT_STREQ(vendor.firmware_version, "");
}

TEST(CmisRealModule, AvagoDr4) {
    real_module r = load("qsfpdd-400g-dr4-avago-afct93drphz", {0x00});
    // M = 02h, A = 1Ch but K = 26h (not MPO): no DR4 rule matches.
    const fiber_normal_info_t info = identify(r.m);
    EXPECT_EQ(info.unsupported, 1);
    EXPECT_STREQ(info.type_name, "Unknown QSFPDD module");
    EXPECT_EQ(fiber_is_cmis(r.m.lower), 1);
    EXPECT_EQ(fiber_is_color_module(r.m.lower), 0);

    r.pages[0x01] = r.m.p01;  // zero page 01h: versions from lower bytes 39-40
    fiber_vendor_info_t vendor;
    fiber_decode_vendor(FIBER_KIND_CMIS, r.m.lower, r.pages, &vendor, 0);
    EXPECT_STREQ(vendor.vendor_name, "AVAGO           ");
    EXPECT_EQ(vendor.vendor_oui[1], 0x17);
    EXPECT_EQ(vendor.vendor_oui[2], 0x6A);
    EXPECT_STREQ(vendor.vendor_pn, "AFCT-93DRPHZ-AZ2");
    EXPECT_STREQ(vendor.vendor_rev, "01");
    EXPECT_STREQ(vendor.date_code, "201007  ");
    EXPECT_STREQ(vendor.firmware_version, "80.24");
    EXPECT_STREQ(vendor.hardware_version, "0.0");

    r.pages[0x11] = r.m.p11;
    fiber_diag_info_t diag;
    fiber_decode_diag(FIBER_KIND_CMIS, r.m.lower, r.pages, &diag, 0);
    EXPECT_EQ(diag.module_type, 4u);
    EXPECT_EQ(diag.temperature, 31);  // 1F08h
    EXPECT_EQ(diag.voltage, 0x8103);
    EXPECT_EQ(diag.media_lane_count, 4u);
    EXPECT_FLOAT_EQ(diag.max_power, 12.0f);
    EXPECT_EQ(diag.ddm_supported, 0);
    EXPECT_EQ(diag.monitor_flags, 0u);
    EXPECT_FLOAT_EQ(diag.tx_power[0], -40.0f);

    fiber_coremgmt_info_t core;
    fiber_decode_coremgmt(FIBER_KIND_CMIS, r.m.lower, r.pages, &core, 0);
    EXPECT_STREQ(core.module_state, "ModuleReady");
    EXPECT_EQ(core.media_lane_count, 4u);
}

TEST(CmisRealModule, SyntheticLr4AllPages) {
    const real_module r = load("synthetic-fboss-cmis-400g-lr4",
                               {0x00, 0x01, 0x02, 0x10, 0x11, 0x13, 0x14, 0x20, 0x21, 0x24, 0x25, 0x2F});
    fiber_normal_info_t info;
    fiber_decode_normal(FIBER_KIND_CMIS, r.m.lower, r.pages, &info, 0);
    EXPECT_EQ(info.unsupported, 1);  // A = 1Eh has no QSFP-DD rule
    EXPECT_EQ(info.trans_type, 1u);

    fiber_diag_info_t diag;
    fiber_decode_diag(FIBER_KIND_CMIS, r.m.lower, r.pages, &diag, 0);
    EXPECT_EQ(diag.ddm_supported, 1);  // page 01h bytes 159-160 = 0Fh, 07h
    EXPECT_EQ(diag.rx_power_type, 1);
    EXPECT_EQ(diag.temperature, 45);  // 2D14h
    EXPECT_EQ(diag.voltage, 0x7F42);
    EXPECT_EQ(diag.media_lane_count, 4u);
    EXPECT_FLOAT_EQ(diag.max_power, 12.0f);
    const int32_t bias[8] = {0x88D0, 0x84CB, 0x7F12, 0x8484, 0, 0, 0, 0};
    const uint16_t tx[8] = {0x4B35, 0x4E72, 0x5125, 0x4D5D, 0, 0, 0, 0};
    const uint16_t rx[8] = {0x42E5, 0x432F, 0x46EE, 0x5332, 0, 0, 0, 0};
    for (unsigned i = 0; i < 8; ++i) {
        EXPECT_EQ(diag.tx_bias[i], bias[i]);
        EXPECT_NEAR(diag.tx_power[i], dbm(tx[i]), 0.001);
        EXPECT_NEAR(diag.rx_power[i], dbm(rx[i]), 0.001);
    }
    EXPECT_EQ(diag.monitor_flags | diag.rx_power_flags | diag.tx_power_flags, 0u);
    EXPECT_EQ(diag.thresholds_valid, 1);
    EXPECT_EQ(diag.temp_high_alarm, 75);
    EXPECT_EQ(diag.temp_low_alarm, 10);
    EXPECT_EQ(diag.voltage_low_warning, 0x768E);
    EXPECT_EQ(diag.tx_bias_low_warning, 17500);
    EXPECT_NEAR(diag.tx_power_low_alarm, dbm(0x0E2F), 0.001);
    EXPECT_FLOAT_EQ(diag.rx_power_low_alarm, -40.0f);

    fiber_alarm_info_t alarm;
    fiber_decode_alarm(FIBER_KIND_CMIS, r.m.lower, r.pages, &alarm, 0);
    EXPECT_EQ(alarm.alarm_id_count, 255u);
    EXPECT_EQ(alarm.ddm_supported, 1);
    EXPECT_EQ(raised_count(alarm), 0u);

    fiber_coremgmt_info_t core;
    fiber_decode_coremgmt(FIBER_KIND_CMIS, r.m.lower, r.pages, &core, 0);
    EXPECT_STREQ(core.module_state, "ModuleReady");  // byte 3 = 07h
    for (unsigned lane = 0; lane < 8; ++lane) {
        EXPECT_STREQ(core.datapath_state[lane], "Activated");
        EXPECT_EQ(core.datapath_state_changed[lane], 0);
    }
}

}  // namespace
