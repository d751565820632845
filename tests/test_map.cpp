// SPDX-License-Identifier: Apache-2.0
// Reference tables: transceiver type map, connector and encoding names, the
// alarm text catalogue and the CMIS state tables, checked through the public
// lookups against copies of the tables written out here.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "fiber_internal.h"

namespace {

std::string str(const char *s) { return s ? s : "(null)"; }

// Transceiver type map in search order: type, rate (Mb/s) and display name.
// The first 24 rows (SFP and SFP+) split the name at its first "-" into a
// speed prefix and the name proper. Connector class: 1 (RJ45) for the three
// -GT-SFP rows, 3 (copper cable) for names that say Copper or copper8, 2 for
// every other row, -T-SFP+ and the CR4 rows included.
struct TypeRow { uint64_t type; uint32_t rate; const char *display; };
const TypeRow kTypes[] = {
    // rows 1-24: SFP, SFP+
    {2, 100, "100BASE-GT-SFP"}, {3, 100, "100BASE-SX-SFP"}, {4, 100, "100BASE-LX-SFP"}, {5, 100, "100BASE-LH-SFP"},
    {6, 100, "100BASE-ZX-SFP"}, {8, 1000, "1000BASE-GT-SFP"}, {119, 1000, "10/100/1000BASE-GT-SFP"},
    {9, 1000, "1000BASE-SX-SFP"}, {10, 1000, "1000BASE-LX-SFP"}, {11, 1000, "1000BASE-LH-SFP"},
    {12, 1000, "1000BASE-ZX-SFP"}, {15, 10000, "10GBASE-SR-SFP+"}, {16, 10000, "10GBASE-LR-SFP+"},
    {50, 10000, "10GBASE-LRM-SFP+"}, {17, 10000, "10GBASE-ER-SFP+"}, {18, 10000, "10GBASE-ZR-SFP+"},
    {103, 10000, "10GBASE-T-SFP+"}, {7, 100, "100-Copper-SFP"}, {13, 1000, "1000-Copper-SFP"},
    {28, 2500, "2.5G-Copper-SFP"}, {64, 10000, "10G-Passive Copper-SFP+"}, {14, 10000, "10G-Copper-SFP+"},
    {66, 10000, "10G-Loopback-SFP+"}, {33, 10000, "10G-Active-Cable-SFP+"},
    // rows 25-29: XFP
    {20, 10000, "10GBASE-SR-XFP"}, {21, 10000, "10GBASE-LR-XFP"}, {22, 10000, "10GBASE-ER-XFP"},
    {23, 10000, "10GBASE-ZR-XFP"}, {19, 10000, "10GBASE-Copper-XFP"},
    // rows 30-44: 40G QSFP+
    {24, 40000, "40G-Active Cable-QSFP+"}, {25, 40000, "40GBASE-LR4-QSFP+"}, {67, 40000, "40G-Passive Copper-QSFP+"},
    {68, 40000, "40G-Active Copper-QSFP+"}, {69, 40000, "40G-Loopback-QSFP+"}, {26, 40000, "40GBASE-CR4-QSFP+"},
    {27, 40000, "40GBASE-SR4-QSFP+"}, {34, 40000, "40GBASE-ER4-QSFP+"}, {61, 40000, "40GBASE-ZR-QSFP+"},
    {51, 40000, "40GBASE-LSR4-QSFP+"}, {52, 40000, "40GBASE-SWDM4-QSFP+"}, {53, 40000, "40GBASE-iLR4-QSFP+"},
    {54, 40000, "40GBASE-PSM4-QSFP+"}, {55, 40000, "40GBASE-SR4-BiDi-QSFP+"}, {99, 40000, "40GBASE-LX4-QSFP+"},
    // rows 45-62: 100G QSFP28
    {36, 100000, "100G-Active Cable-QSFP28"}, {37, 100000, "100GBASE-LR4-QSFP28"}, {49, 100000, "100GBASE-iLR4-QSFP28"},
    {63, 100000, "100GBASE-CWDM4-QSFP28"}, {38, 100000, "100GBASE-SR4-QSFP28"}, {39, 100000, "100GBASE-ER4-QSFP28"},
    {62, 100000, "100GBASE-ZR-QSFP28"}, {70, 100000, "100GBASE-Passive Copper-QSFP28"},
    {71, 100000, "100GBASE-Active Copper-QSFP28"}, {41, 100000, "100GBASE-CR4-QSFP28"},
    {42, 100000, "100GBASE-PSM4-QSFP28"}, {56, 100000, "100GBASE-SWDM4-QSFP28"},
    {57, 100000, "100GBASE-PAM4-BiDi-QSFP28"}, {58, 100000, "100GBASE-ER4-Lite-QSFP28"},
    {59, 100000, "100GBASE-4WDM-40-QSFP28"}, {60, 100000, "100GBASE-DWDM2-QSFP28"}, {93, 100000, "100GBASE-DR1-QSFP28"},
    {94, 100000, "100GBASE-FR1-QSFP28"},
    // rows 63-70: SFP28
    {43, 25000, "25GBASE-SR-SFP28"}, {44, 25000, "25GBASE-LR-SFP28"}, {45, 25000, "25GBASE-ER-SFP28"},
    {46, 25000, "25GBASE-ZR-SFP28"}, {73, 25000, "25G-Passive Copper-SFP28"}, {74, 25000, "25G-Active Copper-SFP28"},
    {75, 25000, "25G-Loopback-SFP28"}, {48, 25000, "25G-Activecable-SFP28"},
    // rows 71-75: QSFP56
    {76, 200000, "200GBASE-SR4-QSFP56"}, {77, 200000, "200GBASE-FR4-QSFP56"},
    {78, 200000, "200GBASE-Passive Copper-QSFP56"}, {79, 200000, "200GBASE-Active Copper-QSFP56"},
    {86, 200000, "200GBASE-Loopback-QSFP56"},
    // rows 76-84: QSFP-DD
    {80, 400000, "400GBASE-SR8-QSFP-DD"}, {81, 400000, "400GBASE-DR4-QSFP-DD"}, {82, 400000, "400GBASE-FR4-QSFP-DD"},
    {85, 400000, "400GBASE-LR8-QSFP-DD"}, {95, 400000, "400GBASE-ZR-QSFP-DD"},
    {83, 400000, "400GBASE-Passive Copper-QSFP-DD"}, {87, 400000, "400GBASE-Active Copper-QSFP-DD"},
    {84, 400000, "400GBASE-Active cable-QSFP-DD"}, {88, 400000, "400GBASE-Loopback-QSFP-DD"},
    // rows 85-88: DSFP
    {89, 100000, "100GBASE-Passive Copper-DSFP"}, {90, 100000, "100GBASE-Active Copper-DSFP"},
    {91, 100000, "100GBASE-Active cable-DSFP"}, {92, 100000, "100GBASE-Loopback-DSFP"},
    // rows 89-92: eight-lane CMIS types
    {100, 10000, "10GBASE-LR8-SFX"}, {101, 1000, "1000BASE-LX8-SFG"}, {102, 10000, "10G-copper8-SFX"},
    {120, 2500, "2500BASE-LX8-SFM"},
};
constexpr std::size_t kPrefixedRows = 24;

// What both lookups answer for row i: the name under the row's prefix (null
// for an unprefixed row), the rate and the connector class.
struct Expected { bool prefixed; std::string prefix, name; uint32_t rate, connector; };
Expected expected_row(std::size_t i) {
    const std::string d = kTypes[i].display;
    const std::size_t cut = i < kPrefixedRows ? d.find('-') : 0;
    const uint32_t connector = d.ends_with("-GT-SFP") ? 1 : d.find("opper") != std::string::npos ? 3 : 2;
    return {i < kPrefixedRows, d.substr(0, cut), d.substr(cut), kTypes[i].rate, connector};
}

// Every row in search order; then every id to 127 and some far beyond
// through both lookups: a row's name under its own prefix and its rate and
// class; an id without a row, or the other kind of prefix (null against a
// prefixed row, a prefix against an unprefixed one), gives "Unknown module",
// and the rate lookup clears stale outputs. All 64 bits of the id count.
TEST(TransMap, EveryRowAndEveryIdThroughBothLookups) {
    static_assert(std::size(kTypes) == fiber::kTransMapRows);
    for (std::size_t i = 0; i < fiber::kTransMapRows; ++i)
        EXPECT_EQ(fiber::fiber_trans_map[i].type, kTypes[i].type) << "row " << i + 1;
    std::vector<uint64_t> ids = {256, 0x100000014ull, 0x100000009ull, ~0ull};
    for (uint64_t id = 0; id < 128; ++id) ids.push_back(id);
    for (uint64_t id : ids) {
        const auto row = std::ranges::find(kTypes, id, &TypeRow::type);
        const Expected e = row == std::end(kTypes) ? Expected{false, "", "Unknown module", 0, 0}
                                                   : expected_row(static_cast<std::size_t>(row - kTypes));
        const char *prefix = e.prefixed ? e.prefix.c_str() : nullptr, *other = e.prefixed ? nullptr : "10GBASE";
        uint32_t rate = 77, connector = 77;
        fiber_get_trans_rate_connector_bytype(id, &rate, &connector);
        EXPECT_EQ(std::tuple(str(fiber_get_trans_str_bytype(prefix, id)), str(fiber_get_trans_str_bytype(other, id)),
                             rate, connector),
                  std::tuple(e.name, "Unknown module", e.rate, e.connector)) << id;
    }
    // A prefix agrees only as a whole string, and only with its own row.
    const std::pair<const char *, uint64_t> others[] = {{"100", 13},     {"1000BASE", 119}, {"", 9},
                                                        {"100BAS", 3},   {"1000BASE-", 9},  {"1000base", 9},
                                                        {"10G", 15},     {"1000BASE-SX-SFP", 9}};
    for (auto [prefix, type] : others)
        EXPECT_STREQ(fiber_get_trans_str_bytype(prefix, type), "Unknown module") << prefix << " / " << type;
}

// Connector names (SFF-8024): the listed codes, otherwise unknown below 80h
// and vendor specific from 80h.
TEST(ConnectorTable, EveryCode) {
    const std::pair<unsigned, const char *> rows[] = {
        {0x00, "Unknown or unspecified"}, {0x01, "SC"}, {0x02, "Fiber Channel Style 1 copper connector"},
        {0x03, "Fiber Channel Style 2 copper connector"}, {0x04, "BNC/TNC"}, {0x05, "Fiber Channel coax headers"},
        {0x06, "FiberJack"}, {0x07, "LC"}, {0x08, "MT-RJ"}, {0x09, "MU"}, {0x0A, "SG"}, {0x0B, "Optical Pigtail"},
        {0x0C, "MPO"}, {0x0D, "MPO"}, {0x20, "HSSDC II"}, {0x21, "Copper pigtail"}, {0x22, "RJ45"}, {0x24, "MXC"},
        {0x23, "No separable connector"}, {0x25, "CS optical connector"}, {0x26, "SN optical connector"},
        {0x27, "MPO"}, {0x28, "MPO"}};
    for (unsigned code = 0; code < 256; ++code) {
        const char *name = nullptr, *want = code < 0x80 ? "unknow connect type" : "Vendor specific";
        for (auto [c, n] : rows) want = c == code ? n : want;
        fiber_decode_connect_type(static_cast<uint8_t>(code), &name);
        EXPECT_EQ(str(name), want) << code;
    }
}

// Encoding names: SFF-8472 and SFF-8636 number the codes differently and are
// Reserved past their lists; the INF-8077i bit set names the lowest of bits
// 3..7 (bits 2..0 ignored); CMIS has no encoding byte.
TEST(Encoding, EveryCodeOfEveryFamily) {
    const char *sfp[] = {"Unspecified", "8B10B", "4B5B", "NRZ", "Manchester", "SONET Scrambled", "64B/66B"};
    const char *qsfp[] = {"Unspecified", "8B10B",      "4B5B",      "NRZ", "SONET Scrambled",
                          "64B/66B",     "Manchester", "256B/257B", "PAM4"};
    const char *xfp_by_bit[] = {"Reserved", "", "", "RZ", "NRZ", "SONET Scrambled", "8B10B", "64B/66B"};
    for (unsigned code = 0; code < 256; ++code) {
        const uint8_t c = static_cast<uint8_t>(code);
        const int lowest = (code & 0xF8) ? std::countr_zero(code & 0xF8) : 0;
        EXPECT_EQ(std::tuple(str(fiber::sfp_encoding_name(c)), str(fiber::qsfp_encoding_name(c)),
                             str(fiber::xfp_encoding_name(c))),
                  std::tuple(str(code < std::size(sfp) ? sfp[code] : "Reserved"),
                             str(code < std::size(qsfp) ? qsfp[code] : "Reserved"), str(xfp_by_bit[lowest])))
            << code;
    }
    EXPECT_STREQ(fiber::cmis_encoding_name(), "Unspecified");
}

// Alarm catalogue: 0-7 module temperature and voltage; from 8, 72 and 136 the
// TX bias, RX power and TX power thresholds, four ids a lane for lanes 1-8,
// then 32 blank ids; 200-239 five per-lane state groups; 240-254 module-level.
static_assert(FIBER_ALARM_TX_BIAS_BASE == 8 && FIBER_ALARM_RX_POWER_BASE == 72 && FIBER_ALARM_TX_POWER_BASE == 136 &&
              FIBER_ALARM_RX_LOS_BASE == 200 && FIBER_ALARM_RX_LOL_BASE == 208 && FIBER_ALARM_TX_LOS_BASE == 216 &&
              FIBER_ALARM_TX_LOL_BASE == 224 && FIBER_ALARM_TX_FAULT_BASE == 232 && FIBER_ALARM_CHECKSUM == 248);

std::string expected_alarm_text(unsigned id) {
    const char *level[] = {" low alarm", " high alarm", " low warn", " high warn"};
    const char *threshold[] = {"TX bias", "RX power", "TX power"};
    const char *state[] = {"RX loss of signal", "RX CDR loss of lock", "TX loss of signal", "TX CDR loss of lock",
                           "TX fault"};
    const char *tail[] = {"Media-side Pre-FEC BER high alarm", " ", "Media-side Pre-FEC BER high warning",
                          "Media-side Rx total power low alarm", "Media-side Rx total power low warning", " ", " ", " ",
                          "Transceiver info checksum error", "Module not ready", "RX not ready", "TX CDR loss of lock",
                          "RX CDR loss of lock", "Transceiver type and port configuration mismatch",
                          "Transceiver type not supported by port hardware"};
    const unsigned t = (id - 8) % 64;  // place in a threshold group
    if (id < 8) return std::string(id < 4 ? "Temp" : "Voltage") + level[id % 4];
    if (id < 200 && t >= 32) return " ";
    if (id < 200) return "Channel-" + std::to_string(t / 4 + 1) + " " + threshold[(id - 8) / 64] + level[t % 4];
    if (id < 240) return "Channel-" + std::to_string((id - 200) % 8 + 1) + " " + state[(id - 200) / 8];
    return tail[id - 240];
}

TEST(AlarmCatalogue, EveryTextAndOneSharedBlank) {
    static_assert(FIBER_ALARM_COUNT == 255 && std::size(fiber_alarms) == 255);
    for (unsigned id = 0; id < FIBER_ALARM_COUNT; ++id) {
        const std::string want = expected_alarm_text(id);
        EXPECT_EQ(str(fiber_alarms[id]), want) << id;
        EXPECT_TRUE(want != " " || fiber_alarms[id] == fiber_alarms[40]) << id << " is not the shared blank";
    }
}

// CMIS module states (3 bits) and data-path states (4 bits), any other code
// (256 and up included) an unknown state; data-path lane masks in lane order:
// the state nibble (odd lanes low, even lanes high) and the lane's bit.
TEST(CmisState, StatesAndLaneMasks) {
    const char *module[] = {"Unknown or unspecified", "ModuleLowPwr", "ModulePwrUp", "ModuleReady", "ModulePwrDn",
                            "Fault", "Unknown or unspecified", "Unknown or unspecified"};
    const char *datapath[] = {"Unknown", "Deactivated", "Init", "Deinit", "Activated", "TxTurnOn", "TxTurnOff",
                              "Initialized"};
    auto both = [](uint64_t code) {
        return std::tuple(str(cmis_get_module_state_byencode(code)), str(cmis_get_datapath_state_byencode(code)));
    };
    for (uint64_t code = 0; code < 16; ++code)
        EXPECT_EQ(both(code),
                  code < 8 ? std::tuple(module[code], datapath[code]) : std::tuple("Unknown state", "Unspecified"))
            << code;
    for (uint64_t code : {16ull, 255ull, 256ull + 3, 256ull + 4, 0x100000003ull, 0x100000004ull, ~0ull})
        EXPECT_EQ(both(code), std::tuple("Unknown state", "Unknown state")) << code;
    const cmis_lane_mask_entry_t *first = cmis_get_datapath_lane_mask(1);
    ASSERT_NE(first, nullptr);
    for (uint64_t lane = 1; lane <= 8; ++lane) {
        const cmis_lane_mask_entry_t *row = cmis_get_datapath_lane_mask(lane);
        ASSERT_EQ(row, first + (lane - 1)) << lane;
        EXPECT_EQ(std::tuple(row->lane, unsigned{row->state_mask}, unsigned{row->lane_bit}),
                  std::tuple(lane, lane % 2 ? 0x0Fu : 0xF0u, 1u << (lane - 1)));
    }
    for (uint64_t lane : {0ull, 9ull, 16ull, 256ull + 1, 0x100000001ull})
        EXPECT_EQ(cmis_get_datapath_lane_mask(lane), nullptr) << lane;
}

}  // namespace
