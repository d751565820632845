// SPDX-License-Identifier: Apache-2.0
// Module descriptions: code names against the standards' tables, compliance
// bit positions, CMIS application descriptors, the SFF-8472 layout test, the
// summaries of the real modules in tests/data, and modules built from the
// standards' layouts whose identifiers the family decoders turn away (an
// OSFP 800G module, a DWDM SFP+ with identifier 0Bh) next to their twins
// with an accepted identifier.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "describe.h"
#include "dump.h"

namespace {

using namespace fdump;
using bytes = std::vector<uint8_t>;

const std::string kData = FIBER_TEST_DATA;

TEST(CodeNames, Sff8024Tables) {
    const struct { const char *(*lookup)(uint8_t); uint8_t code; const char *name; } rows[] = {
        {identifier_name, 0x03, "SFP/SFP+/SFP28 and later"},
        {identifier_name, 0x0B, "DWDM-SFP/SFP+ (not using SFF-8472)"},
        {identifier_name, 0x11, "QSFP28 or later with SFF-8636"},
        {identifier_name, 0x18, "QSFP-DD Double Density 8X Pluggable Transceiver"},
        {identifier_name, 0x19, "OSFP 8X Pluggable Transceiver"},
        {identifier_name, 0x1E, "QSFP+ or later with CMIS"},
        {identifier_name, 0x7F, "unknown"},
        {identifier_name, 0x80, "vendor specific"},
        {connector_name, 0x07, "LC (Lucent Connector)"},
        {connector_name, 0x0C, "MPO 1x12 (Multifiber Parallel Optic)"},
        {connector_name, 0x23, "No separable connector"},
        {connector_name, 0x26, "SN (previously Mini CS) optical connector"},
        {connector_name, 0x28, "MPO 1x16"},
        {connector_name, 0x0E, "unknown"},
        {connector_name, 0xFF, "vendor specific"},
        {extended_compliance_name, 0x02, "100GBASE-SR4 or 25GBASE-SR"},
        {extended_compliance_name, 0x06, "100G CWDM4"},
        {extended_compliance_name, 0x0B, "100GBASE-CR4, 25GBASE-CR CA-25G-L or 50GBASE-CR2 with RS (Clause 91) FEC"},
        {extended_compliance_name, 0x25, "100GBASE-DR (Clause 140), CAUI-4 (no FEC on host interface)"},
        {extended_compliance_name, 0x4C, "400GBASE-ZR (Clause 156)"},
        {extended_compliance_name, 0x0A, "unknown"},
        {host_interface_name, 0x0B, "CAUI-4 C2M (Annex 83E)"},
        {host_interface_name, 0x11, "400GAUI-8 C2M (Annex 120E)"},
        {host_interface_name, 0x1F, "1000BASE-T (Clause 40)"},
        {host_interface_name, 0x12, "unknown"},
        {host_interface_name, 0xC0, "custom"},  // C0h-FEh custom; FFh ends the list
        {host_interface_name, 0xFE, "custom"},
        {host_interface_name, 0xFF, "unknown"},
        {transmitter_technology_name, 0x4, "1310 nm DFB"},
        {transmitter_technology_name, 0x9, "1490 nm DFB"},
        {transmitter_technology_name, 0xA, "Copper cable unequalized"},
        {media_type_name, 0x02, "Optical interfaces: single-mode fibre (SMF)"},
        {media_type_name, 0x40, "custom"},
        {media_type_name, 0x06, "unknown"},
    };
    for (const auto &r : rows) EXPECT_STREQ(r.lookup(r.code), r.name) << std::hex << int(r.code);

    // Media interface codes are read in the table of the module media type.
    const struct { uint8_t media_type, code; const char *name; } media[] = {
        {0x01, 0x09, "100GBASE-SR4 (Clause 95)"},     {0x01, 0x10, "400GBASE-SR8 (Clause 138)"},
        {0x02, 0x09, "40GBASE-LR4 (Clause 87)"},      {0x02, 0x14, "100GBASE-DR (Clause 140)"},
        {0x02, 0x1C, "400GBASE-DR4 (Clause 124)"},    {0x02, 0x1D, "400G-FR4/400GBASE-FR4 (Clause 151)"},
        {0x03, 0x01, "Copper cable"},                 {0x04, 0xBF, "Active loopback module"},
        {0x05, 0x04, "10GBASE-T (Clause 55)"},        {0x02, 0xBE, "unknown"},
        {0x02, 0xC0, "custom"},                       {0x01, 0xFF, "custom"},  // C0h-FFh custom
        {0x06, 0x01, "unknown"},                      {0x06, 0xC0, "unknown"},  // no table: no range
        {0x00, 0xC0, "unknown"},
    };
    for (const auto &m : media)
        EXPECT_STREQ(media_interface_name(m.media_type, m.code), m.name) << int(m.media_type) << "/" << int(m.code);
}

TEST(CodeNames, ComplianceBits) {
    // One set bit of the block each: SFF-8472 A0h bytes 3-10 and 62, SFF-8636
    // page 00h bytes 131-138 (byte 128 at index 0).
    const struct { bool qsfp; unsigned byte, bit; std::vector<std::string> compliance, speeds; } rows[] = {
        {false, 3, 7, {"10GBASE-ER"}, {}},
        {false, 3, 5, {"10GBASE-LR"}, {}},
        {false, 3, 4, {"10GBASE-SR"}, {}},
        {false, 3, 0, {"InfiniBand 1X Copper Passive"}, {}},
        {false, 4, 5, {"OC-192, short reach"}, {}},
        {false, 5, 0, {"OC-3, short reach"}, {}},
        {false, 6, 0, {"1000BASE-SX"}, {}},
        {false, 6, 3, {"1000BASE-T"}, {}},
        {false, 6, 7, {"BASE-PX"}, {}},
        {false, 7, 4, {"Fibre Channel long distance (L)"}, {}},
        {false, 8, 2, {}, {}},  // passive cable: the cable technology, not a compliance code
        {false, 9, 0, {"Fibre Channel single mode (SM)"}, {}},
        {false, 10, 6, {}, {"800 MB/s"}},
        {false, 10, 3, {}, {"3200 MB/s"}},
        {false, 62, 0, {}, {}},  // byte 62 counts only when byte 10 bit 1 says so
        {true, 131, 1, {"40GBASE-LR4"}, {}},
        {true, 131, 2, {"40GBASE-SR4"}, {}},
        {true, 131, 3, {"40GBASE-CR4"}, {}},
        {true, 131, 7, {}, {}},  // "see byte 192"
        {true, 133, 6, {"SAS 12.0 Gb/s"}, {}},
        {true, 134, 3, {"1000BASE-T"}, {}},
        {true, 137, 1, {"Fibre Channel multimode, 50 um OM3 (M5E)"}, {}},
        {true, 138, 5, {}, {"1600 MB/s"}},
    };
    for (const auto &r : rows) {
        bytes block(128);
        block[r.byte - (r.qsfp ? 128 : 0)] = static_cast<uint8_t>(1u << r.bit);
        EXPECT_EQ(r.qsfp ? qsfp_compliance(block.data()) : sfp_compliance(block.data()), r.compliance)
            << r.byte << "." << r.bit;
        EXPECT_EQ(r.qsfp ? qsfp_fc_speeds(block.data()) : sfp_fc_speeds(block.data()), r.speeds) << r.byte << "." << r.bit;
    }
    bytes a0(128);
    a0[10] = 0x02, a0[62] = 0x01;  // byte 10 bit 1: speed 2 in byte 62, bit 0: 64GFC
    EXPECT_EQ(sfp_fc_speeds(a0.data()), std::vector<std::string>{"6400 MB/s (64GFC)"});
}

// --- modules built from the standards' layouts --------------------------------------

void put(bytes &b, std::size_t at, const std::string &text) { std::copy(text.begin(), text.end(), b.begin() + at); }
void put16(bytes &b, std::size_t at, unsigned v) { b[at] = uint8_t(v >> 8), b[at + 1] = uint8_t(v); }

// A CMIS image in the flat layout (lower page at 0, page N at 128 (N + 1)),
// pages 00h to 11h. Offsets below are CMIS byte numbers: page N byte k
// (k >= 128) lies at 128 N + k.
constexpr std::size_t kCmisSize = 128 * 19;
std::size_t at(unsigned page, unsigned byte) { return 128u * page + byte; }

// An 800G OSFP module (SFF-8024 identifier 19h), CMIS 5.0, two 400GBASE-DR4
// data paths on an MPO 1x12, with monitors, thresholds, flags and states.
bytes osfp_800g() {
    bytes b(kCmisSize);
    b[0] = 0x19, b[1] = 0x50, b[2] = 0x00;     // identifier, revision 5.0, paged memory
    b[3] = 0x06;                               // module state ModuleReady (bits 3-1 = 3)
    b[9] = 0x14;                               // temperature high warning (bit 2), voltage high alarm (bit 4)
    put16(b, 14, 0x2A00);                      // 42 degrees C
    put16(b, 16, 33000);                       // 3.3 V
    b[39] = 3, b[40] = 7;                      // firmware 3.7
    b[85] = 0x02;                              // single-mode fibre
    const uint8_t apps[] = {0x51, 0x1C, 0x44, 0x11,   // 800G host interface (a code this table does not name)
                                                      // -> 400GBASE-DR4, 4 + 4 lanes, starting on lanes 1 and 5
                            0x0D, 0x14, 0x21, 0x55,   // 100GAUI-2 -> 100GBASE-DR, 2 + 1 lanes, lanes 1, 3, 5, 7
                            0xFF};                    // end of the list
    std::copy(std::begin(apps), std::end(apps), b.begin() + 86);
    b[at(0, 128)] = 0x19;
    put(b, at(0, 129), "FIBERTEST OSFP  ");
    b[at(0, 145)] = 0x00, b[at(0, 146)] = 0x90, b[at(0, 147)] = 0x65;
    put(b, at(0, 148), "OSFP-800G-2DR4  ");
    put(b, at(0, 164), "A1");
    put(b, at(0, 166), "FT26011500000042");
    put(b, at(0, 182), "260115  ");
    b[at(0, 200)] = 0xE0;                      // power class 8
    b[at(0, 201)] = 64;                        // 16 W
    b[at(0, 203)] = 0x0C;                      // MPO 1x12
    b[at(1, 130)] = 1, b[at(1, 131)] = 2;      // hardware 1.2
    b[at(1, 132)] = 0x42;                      // 2 km (multiplier 1 km, base 2)
    put16(b, at(1, 138), 26220);               // 1311 nm in 0.05 nm
    b[at(1, 151)] = 0x10;                      // Rx power measured as average
    b[at(1, 159)] = 0x03, b[at(1, 160)] = 0x07;  // temperature, voltage, bias, Tx and Rx power monitors
    const unsigned thresholds[][4] = {{0x4B00, 0xFB00, 0x4600, 0x0000},   // temperature 75, -5, 70, 0 C
                                      {36300, 29700, 34650, 31350}};      // voltage
    for (unsigned k = 0; k < 4; ++k) put16(b, at(2, 128 + 2 * k), thresholds[0][k]), put16(b, at(2, 136 + 2 * k), thresholds[1][k]);
    for (unsigned k = 0; k < 4; ++k) {
        put16(b, at(2, 176 + 2 * k), 31623 >> k);  // Tx power
        put16(b, at(2, 184 + 2 * k), 7500 >> k);   // Tx bias
        put16(b, at(2, 192 + 2 * k), 15849 >> k);  // Rx power
    }
    for (unsigned n = 0; n < 4; ++n) b[at(0x11, 128 + n)] = 0x44;  // data paths Activated
    b[at(0x11, 134)] = 0x01;                   // lane 1 data-path state changed
    b[at(0x11, 147)] = 0x02;                   // lane 2 Rx loss of signal
    b[at(0x11, 150)] = 0x02;                   // lane 2 Rx power low alarm
    for (unsigned lane = 0; lane < 8; ++lane) {
        put16(b, at(0x11, 154 + 2 * lane), 10000);                  // Tx 1 mW
        put16(b, at(0x11, 170 + 2 * lane), 3250 + lane);            // bias 6.5 mA and up
        put16(b, at(0x11, 186 + 2 * lane), lane == 1 ? 0 : 5000);   // Rx 0.5 mW, lane 2 dark
        b[at(0x11, 206 + lane)] = 0x10;                             // ApSel 1
    }
    return b;
}

decoded_module decoded(const bytes &b, std::optional<module_family> kind = std::nullopt) {
    auto m = decode_bytes(b, "module.bin", {input_format::raw, kind});
    EXPECT_TRUE(m) << m.error;
    return m ? std::move(*m.value) : decoded_module{};
}

template <class Record>
void expect_same(const std::optional<Record> &got, const std::optional<Record> &want, const char *what) {
    ASSERT_TRUE(got && want) << what;
    EXPECT_EQ(std::memcmp(&*got, &*want, sizeof(Record)), 0) << what;
}

TEST(AlternateIdentifier, OsfpDecodedAsCmisLikeItsQsfpDdTwin) {
    const bytes osfp = osfp_800g();
    bytes twin = osfp;
    twin[0] = twin[at(0, 128)] = 0x18;  // the same map as a QSFP-DD
    const decoded_module m = decoded(osfp), t = decoded(twin);
    ASSERT_EQ(m.family, module_family::cmis);
    EXPECT_EQ(m.identifier_in_place, std::optional<uint8_t>(0x18));
    EXPECT_FALSE(t.identifier_in_place);
    EXPECT_EQ(m.failure, "");
    // Every record but identification is the twin's, byte for byte.
    expect_same(m.vendor, t.vendor, "vendor");
    expect_same(m.diag, t.diag, "diag");
    expect_same(m.alarm, t.alarm, "alarm");
    expect_same(m.coremgmt, t.coremgmt, "coremgmt");

    // What the module says, through the library's decoders.
    EXPECT_STREQ(m.vendor->vendor_name, "FIBERTEST OSFP  ");
    EXPECT_STREQ(m.vendor->firmware_version, "3.7");
    EXPECT_STREQ(m.vendor->hardware_version, "1.2");
    const fiber_diag_info_t &g = *m.diag;
    EXPECT_EQ(g.temperature, 42);
    EXPECT_EQ(g.voltage, 33000);
    EXPECT_EQ(g.tx_bias[0], 3250);
    EXPECT_EQ(g.tx_bias[7], 3257);
    EXPECT_NEAR(g.tx_power[5], 0.0f, 0.01f);  // 1 mW
    EXPECT_FLOAT_EQ(g.rx_power[1], -40.0f); // dark lane
    EXPECT_NEAR(g.rx_power[0], -3.01f, 0.01f);
    EXPECT_TRUE(g.thresholds_valid);
    EXPECT_EQ(g.temp_high_alarm, 75);
    EXPECT_EQ(g.temp_low_alarm, -5);
    EXPECT_EQ(g.voltage_low_warning, 31350);
    EXPECT_EQ(g.tx_bias_high_alarm, 7500);
    EXPECT_FLOAT_EQ(g.max_power, 16.0f);
    std::vector<unsigned> alarms;
    for (unsigned id = 0; id < FIBER_ALARM_COUNT; ++id)
        if ((m.alarm->alarm_bits[id / 32] >> (id % 32)) & 1u) alarms.push_back(id);
    EXPECT_EQ(alarms, (std::vector<unsigned>{3, 5, 76, 201}));  // temp high warn, voltage high alarm, lane 2 Rx low, LOS
    EXPECT_STREQ(m.coremgmt->module_state, "ModuleReady");
    EXPECT_STREQ(m.coremgmt->datapath_state[7], "Activated");
    EXPECT_EQ(m.coremgmt->datapath_state_changed[0], 1);

    // Identification stays the library's for the real bytes: identifier 19h
    // is in no group of its type map.
    fiber_normal_info_t n{};
    fiber_pages_t pages{};
    for (unsigned p = 0; p <= 0x11; ++p) pages[p] = osfp.data() + 128 * (p + 1);
    fiber_decode_normal(FIBER_KIND_CMIS, osfp.data(), pages, &n, 0);
    expect_same(m.normal, std::optional<fiber_normal_info_t>(n), "normal");
    EXPECT_EQ(n.unsupported, 1);
    // ... and the exported entry points still turn the real pages away.
    fiber_vendor_info_t v{};
    fiber_diag_info_t d{};
    fiber_alarm_info_t a{};
    fiber_decode_vendor(FIBER_KIND_CMIS, osfp.data(), pages, &v, 0);
    fiber_decode_diag(FIBER_KIND_CMIS, osfp.data(), pages, &d, 0);
    fiber_decode_alarm(FIBER_KIND_CMIS, osfp.data(), pages, &a, 0);
    EXPECT_EQ(v.unsupported + d.unsupported + a.unsupported, 3);

    // The reports say which identifier the module has and how it was read.
    const json j = json_report(m);
    const json &desc = j.at("description");
    EXPECT_EQ(desc.at("summary"), "OSFP 2 x 400GBASE-DR4, MPO 1x12, 1311 nm, 2 km, 8 lanes");
    EXPECT_EQ(desc.at("identifier").at("code"), 0x19);
    EXPECT_EQ(desc.at("decoded_with_identifier").at("code"), 0x18);
    EXPECT_EQ(desc.at("memory_map"), "CMIS");
    EXPECT_EQ(desc.at("revision"), "5.0");
    EXPECT_EQ(desc.at("active_application"), 1);
    EXPECT_EQ(desc.at("applications").at(0).at("host_interface"), (json{{"code", 0x51}, {"name", "unknown"}}));
    EXPECT_EQ(desc.at("applications").at(1).at("host_lane_options"), (json{1, 3, 5, 7}));
    EXPECT_EQ(j.at("decoded"), true);
    const std::string text = text_report(m);
    EXPECT_NE(text.find("  Note: identifier 19h (OSFP 8X Pluggable Transceiver) is not one the CMIS decoders accept"),
              std::string::npos) << text;
    EXPECT_NE(text.find("  Decoded as           CMIS map with identifier 18h in place of 19h"), std::string::npos);
    EXPECT_LT(text.find("\nDescription\n"), text.find("\nIdentification\n"));

    // The other CMIS form factors of SFF-8024 take the same road; the
    // identifiers the CMIS decoders accept do not.
    const struct { uint8_t id; std::optional<uint8_t> in_place; const char *form; } forms[] = {
        {0x1F, 0x18, "SFP-DD"}, {0x20, 0x18, "SFP (CMIS)"}, {0x21, 0x18, "OSFP-XD"}, {0x22, 0x18, "ELSFP"},
        {0x23, 0x18, "CDFP"},   {0x1E, std::nullopt, "QSFP (CMIS)"}, {0x1B, std::nullopt, "DSFP"},
    };
    for (const auto &f : forms) {
        bytes other = osfp;
        other[0] = other[at(0, 128)] = f.id;
        const decoded_module o = decoded(other);
        EXPECT_EQ(o.identifier_in_place, f.in_place) << int(f.id);
        EXPECT_EQ(o.diag->temperature, 42) << int(f.id);
        EXPECT_EQ(o.coremgmt->module_state, m.coremgmt->module_state) << int(f.id);
        EXPECT_EQ(module_summary(o).substr(0, std::strlen(f.form) + 1), std::string(f.form) + " ") << int(f.id);
    }
}

// An SFF-8472 A0h + A2h image with check codes: a 10GBASE-LR DWDM SFP+ at
// 1550 nm, 80 km, internally calibrated diagnostics.
bytes dwdm_sfp(uint8_t identifier) {
    bytes b(512);
    b[0] = identifier, b[1] = 0x04, b[2] = 0x07;  // extended identifier, LC
    b[3] = 0x20;                                  // 10GBASE-LR
    b[12] = 103;                                  // 10.3 GBd
    b[14] = 80;                                   // 80 km
    put(b, 20, "FIBERTEST DWDM  ");
    b[37] = 0x00, b[38] = 0x90, b[39] = 0x65;
    put(b, 40, "DWDM-SFP10G-C34 ");
    put(b, 56, "A   ");
    put16(b, 60, 1550);
    b[63] = get_check_code(b.data(), 63);
    put(b, 68, "FT2601150000DW34");
    put(b, 84, "260115  ");
    b[92] = 0x68, b[93] = 0x30;  // diagnostics, internally calibrated, average power; LOS and Tx fault in byte 110
    b[95] = get_check_code(b.data() + 64, 31);
    bytes a2(128);
    put16(a2, 0, 0x5000), put16(a2, 8, 36300);     // temperature and voltage high alarms
    put16(a2, 96, 0x2300), put16(a2, 98, 32900);   // 35 C, 3.29 V
    put16(a2, 100, 6000), put16(a2, 102, 8000), put16(a2, 104, 4000);
    a2[110] = 0x02;                                // Rx LOS
    a2[116] = 0x80;                                // temperature high warning
    std::copy(a2.begin(), a2.end(), b.begin() + 256);
    return b;
}

TEST(AlternateIdentifier, SfpWithIdentifier0BhDecodedAsSff8472) {
    const decoded_module m = decoded(dwdm_sfp(0x0B)), t = decoded(dwdm_sfp(0x03));
    ASSERT_EQ(m.family, module_family::sfp);  // found by its A0h layout and check code
    EXPECT_EQ(m.identifier_in_place, std::optional<uint8_t>(0x03));
    EXPECT_EQ(m.failure, "");
    expect_same(m.vendor, t.vendor, "vendor");
    expect_same(m.diag, t.diag, "diag");
    expect_same(m.alarm, t.alarm, "alarm");  // no check code error: CC_BASE moved with byte 0
    EXPECT_EQ(m.diag->temperature, 35);
    EXPECT_EQ(m.alarm->alarm_bits[0], 1u << 3);            // temperature high warning
    EXPECT_EQ(m.alarm->alarm_bits[200 / 32], 1u << (200 % 32));  // Rx LOS, and not id 248
    EXPECT_EQ(m.normal->unsupported, 1);
    const json desc = json_report(m).at("description");
    EXPECT_EQ(desc.at("summary"), "DWDM SFP 10GBASE-LR, LC, 1550 nm, 80 km");
    EXPECT_EQ(desc.at("decoded_with_identifier").at("code"), 0x03);
    EXPECT_EQ(desc.at("calibration"), "internal");
    EXPECT_EQ(desc.at("compliance"), json::array({"10GBASE-LR"}));

    // A check code error the module really has is still reported (id 248).
    bytes broken = dwdm_sfp(0x0B), broken_twin = dwdm_sfp(0x03);
    ++broken[95], ++broken_twin[95];
    expect_same(decoded(broken).alarm, decoded(broken_twin).alarm, "alarm with a bad CC_EXT");
    EXPECT_TRUE((decoded(broken).alarm->alarm_bits[248 / 32] >> (248 % 32)) & 1u);
    // Without a valid CC_BASE the bytes are not taken for SFF-8472.
    ++broken[63];
    EXPECT_EQ(decode_bytes(broken, "x", {}).error, "unrecognised module identifier 0Bh at byte 0 (--kind decodes it anyway)");
    EXPECT_FALSE(decoded(broken, module_family::sfp).identifier_in_place);
}

TEST(AlternateIdentifier, OnlyOnAMapTheDecodersRead) {
    bytes a0 = dwdm_sfp(0x0B);
    a0.resize(128);
    EXPECT_TRUE(sff8472_layout(a0.data()));
    bytes blank(128);
    EXPECT_FALSE(sff8472_layout(blank.data()));  // all zero: the check code holds, but nothing is there
    a0[25] = 0x01;
    a0[63] = get_check_code(a0.data(), 63);
    EXPECT_FALSE(sff8472_layout(a0.data()));  // vendor name not ASCII
    // A QSFP module forced to CMIS stays rejected: its lower page is no CMIS map.
    bytes qsfp(kCmisSize);
    qsfp[0] = qsfp[at(0, 128)] = 0x11, qsfp[1] = 0x07;  // SFF-8636 revision 07h
    const decoded_module q = decoded(qsfp, module_family::cmis);
    EXPECT_FALSE(q.identifier_in_place);
    EXPECT_EQ(q.failure, "the CMIS decoder does not recognise this module");
}

TEST(CmisApplications, DescriptorsActiveSetAndLaneCounts) {
    bytes b(kCmisSize);
    b[0] = b[at(0, 128)] = 0x18, b[1] = 0x40, b[85] = 0x02;
    b[at(0, 203)] = 0x0C;
    const uint8_t lower_apps[] = {0x11, 0x1C, 0x84, 0x01,   // 400GAUI-8 -> 400GBASE-DR4, 8 + 4 lanes, lane 1
                                  0x00, 0x00, 0x00, 0x00,   // unused
                                  0x0D, 0x14, 0x21, 0x55,   // 100GAUI-2 -> 100GBASE-DR, 2 + 1 lanes
                                  0x0F, 0x17, 0x44, 0x11};  // 200GAUI-4 -> 200GBASE-DR4, 4 + 4 lanes
    std::copy(std::begin(lower_apps), std::end(lower_apps), b.begin() + 86);
    b[86 + 4 * 4] = 0x0B, b[87 + 4 * 4] = 0x10, b[88 + 4 * 4] = 0x44, b[89 + 4 * 4] = 0x01;  // ApSel 5
    for (unsigned i = 5; i < 8; ++i) b[86 + 4 * i] = 0x0B, b[88 + 4 * i] = 0x41;            // ApSel 6-8
    b[at(1, 223)] = 0x11, b[at(1, 224)] = 0x1D, b[at(1, 225)] = 0x84, b[at(1, 226)] = 0x01;  // ApSel 9: 400G-FR4
    b[at(1, 227)] = 0xFF;                                                                    // end
    b[at(1, 231)] = 0x11;                                                                    // after the end
    b[at(0x11, 206)] = 0x30;  // host lane 1 runs ApSel 3
    page_plan plan = plan_pages(module_family::cmis, {b, input_format::raw});
    auto apps = cmis_applications(plan);
    std::vector<unsigned> apsel, host, media, host_lanes, media_lanes, options;
    for (const auto &a : apps)
        apsel.push_back(a.apsel), host.push_back(a.host_interface), media.push_back(a.media_interface),
            host_lanes.push_back(a.host_lanes), media_lanes.push_back(a.media_lanes), options.push_back(a.host_lane_options);
    EXPECT_EQ(apsel, (std::vector<unsigned>{1, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(host, (std::vector<unsigned>{0x11, 0x0D, 0x0F, 0x0B, 0x0B, 0x0B, 0x0B, 0x11}));
    EXPECT_EQ(media, (std::vector<unsigned>{0x1C, 0x14, 0x17, 0x10, 0, 0, 0, 0x1D}));
    EXPECT_EQ(host_lanes, (std::vector<unsigned>{8, 2, 4, 4, 4, 4, 4, 8}));
    EXPECT_EQ(media_lanes, (std::vector<unsigned>{4, 1, 4, 4, 1, 1, 1, 4}));
    EXPECT_EQ(options, (std::vector<unsigned>{0x01, 0x55, 0x11, 0x01, 0, 0, 0, 0x01}));
    EXPECT_EQ(cmis_active_apsel(plan), 3u);
    decoded_module m = decoded(b);
    const json desc = json_report(m).at("description");
    EXPECT_EQ(desc.at("applications").size(), 8u);
    EXPECT_EQ(desc.at("applications").at(1).at("media_interface").at("name"), "100GBASE-DR (Clause 140)");
    EXPECT_EQ(desc.at("lanes"), 4);  // four instances of one media lane
    EXPECT_EQ(desc.at("summary"), "QSFP-DD 400GBASE-DR4, MPO 1x12, 4 lanes");  // the library's type 400GBASE-DR4

    b[at(0x11, 206)] = 0x00;  // no active application: the first one counts, one instance of 4 media lanes
    EXPECT_EQ(json_report(decoded(b)).at("description").at("lanes"), 4);
    b[89] = 0x11;             // may start on host lane 1 or 5, but two 8-lane instances do not fit: one
    EXPECT_EQ(json_report(decoded(b)).at("description").at("lanes"), 4);
    b[88] = 0x44;             // 4 host lanes: two instances of 4 media lanes
    EXPECT_EQ(json_report(decoded(b)).at("description").at("lanes"), 8);
    b[2] = 0x80;              // flat memory: no page 01h, whatever the image holds there
    EXPECT_EQ(cmis_applications(plan_pages(module_family::cmis, {b, input_format::raw})).size(), 7u);
}

// --- the real modules in tests/data ---------------------------------------------------

TEST(RealModules, SummaryNamesTheTechnology) {
    // What each module is (source.md of each entry), as its bytes say it.
    const struct { const char *entry, *summary; } rows[] = {
        {"qsfp-40g-dac-molex-1110401054", "QSFP+ 40G-Passive Copper, 1 m"},
        {"qsfp-40g-lr4-kaiam-xqx2502", "QSFP+ 40GBASE-iLR4, LC, 1310 nm, 2 km"},
        {"qsfp28-100g-dac-fs-q28pc", "QSFP+ 100GBASE-CR4, 1 m"},                 // byte 192 0Bh
        {"qsfp28-100g-dac-te-2821987-2", "QSFP28 100GBASE-Passive Copper, 1 m"},
        {"qsfp28-100g-fit-afct89sfdz", "QSFP28 100GBASE-DR, LC, 1310 nm, 2 km"}, // byte 192 25h
        {"qsfp28-100g-ir4-fs", "QSFP28 100GBASE-LR4, LC, 1302.35 nm, 2 km"},     // coded 100GBASE-LR4 (03h)
        {"qsfp28-100g-sr4-mellanox-mma1b00", "QSFP28 100GBASE-SR4, MPO 1x12, 850 nm, OM4 100 m"},
        {"qsfpdd-400g-dac-fit-cu4ep54", "QSFP-DD 400GBASE-Passive Copper, 1 m, 8 lanes"},
        {"qsfpdd-400g-dr4-avago-afct93drphz", "QSFP-DD 400GBASE-DR4, SN, 4 lanes"},
        {"qsfpdd-dac-cisco-68-103205-02", "QSFP-DD 400GAUI-8 C2M passive copper cable, 8 lanes"},  // ApSel 8 only
        {"sfp-10g-lr-flexoptix-pb1696", "SFP+ 10GBASE-LR, LC, 1330 nm, 10 km"},
        {"sfp-10g-lr-oem-sfp10gblr", "SFP+ 10GBASE-LR, LC, 1310 nm, 10 km"},
        {"sfp-10g-sr-finisar-ftlx8571", "SFP+ 10GBASE-SR, LC, 850 nm, OM3 300 m"},
        {"sfp-10g-sr-intel-ftlx8574", "SFP+ 10GBASE-SR, LC, 850 nm, OM3 300 m"},
        {"sfp-1g-t-brocade-57-1000042", "SFP 1000BASE-GT, RJ45, 100 m"},
        {"sfp-1g-t-netgear-agm734", "SFP 1000BASE-GT, RJ45, 100 m"},
        {"sfp-gpon-odi-dfp-34x-2c2", "SFP 1000BASE-LH, SC, 1310 nm, 20 km"},
        {"synthetic-fboss-cmis-400g-lr4", "QSFP-DD 400G-LR4-10, LC, 1301 nm, 10 km, 4 lanes"},
        {"synthetic-fboss-sff8636-cwdm4", "QSFP+ 40GBASE-SR4, MPO 1x12, 850 nm, OM3 100 m"},
    };
    for (const auto &r : rows) {
        auto m = decode_path(kData + "/" + r.entry + "/dump.bin");
        ASSERT_TRUE(m) << r.entry << ": " << m.error;
        const json desc = json_report(*m.value).at("description");
        EXPECT_EQ(desc.at("summary"), r.summary) << r.entry;
        EXPECT_EQ(std::string(r.summary).find("nknown"), std::string::npos);
        // Where the type map names the module, the summary agrees with it
        // (an image without CMIS page 01h has no identification record).
        if (!m.value->normal) continue;
        const fiber_normal_info_t &n = *m.value->normal;
        if (!n.unsupported && n.trans_type > 1 && std::strncmp(n.type_name, "Unknown", 7) != 0) {
            const std::string summary = r.summary, name = std::string(n.name_prefix ? n.name_prefix : "") + n.type_name;
            const std::size_t from = summary.find(' ') + 1;
            EXPECT_EQ(name.rfind(summary.substr(from, summary.find(',') - from) + "-", 0), 0u) << r.entry << ": " << name;
        }
    }
}

}  // namespace
