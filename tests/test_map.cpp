// Reference tables: transceiver type map, connector and encoding names, the
// alarm text catalogue and the CMIS state tables, checked through the public
// lookups against the tables as written out here.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "fiber_internal.h"

namespace {

// ---------------------------------------------------------------------------
// Transceiver type map
// ---------------------------------------------------------------------------
struct TypeRow {
    uint64_t type;
    const char *prefix;  // null: name is the whole display name
    const char *name;
    uint32_t rate;
    uint32_t connector;
};

// The 92 rows in search order.
const TypeRow kTypes[] = {
    {2, "100BASE", "-GT-SFP", 100, 1},
    {3, "100BASE", "-SX-SFP", 100, 2},
    {4, "100BASE", "-LX-SFP", 100, 2},
    {5, "100BASE", "-LH-SFP", 100, 2},
    {6, "100BASE", "-ZX-SFP", 100, 2},
    {8, "1000BASE", "-GT-SFP", 1000, 1},
    {119, "10/100/1000BASE", "-GT-SFP", 1000, 1},
    {9, "1000BASE", "-SX-SFP", 1000, 2},
    {10, "1000BASE", "-LX-SFP", 1000, 2},
    {11, "1000BASE", "-LH-SFP", 1000, 2},
    {12, "1000BASE", "-ZX-SFP", 1000, 2},
    {15, "10GBASE", "-SR-SFP+", 10000, 2},
    {16, "10GBASE", "-LR-SFP+", 10000, 2},
    {50, "10GBASE", "-LRM-SFP+", 10000, 2},
    {17, "10GBASE", "-ER-SFP+", 10000, 2},
    {18, "10GBASE", "-ZR-SFP+", 10000, 2},
    {103, "10GBASE", "-T-SFP+", 10000, 2},
    {7, "100", "-Copper-SFP", 100, 3},
    {13, "1000", "-Copper-SFP", 1000, 3},
    {28, "2.5G", "-Copper-SFP", 2500, 3},
    {64, "10G", "-Passive Copper-SFP+", 10000, 3},
    {14, "10G", "-Copper-SFP+", 10000, 3},
    {66, "10G", "-Loopback-SFP+", 10000, 2},
    {33, "10G", "-Active-Cable-SFP+", 10000, 2},
    {20, nullptr, "10GBASE-SR-XFP", 10000, 2},
    {21, nullptr, "10GBASE-LR-XFP", 10000, 2},
    {22, nullptr, "10GBASE-ER-XFP", 10000, 2},
    {23, nullptr, "10GBASE-ZR-XFP", 10000, 2},
    {19, nullptr, "10GBASE-Copper-XFP", 10000, 3},
    {24, nullptr, "40G-Active Cable-QSFP+", 40000, 2},
    {25, nullptr, "40GBASE-LR4-QSFP+", 40000, 2},
    {67, nullptr, "40G-Passive Copper-QSFP+", 40000, 3},
    {68, nullptr, "40G-Active Copper-QSFP+", 40000, 3},
    {69, nullptr, "40G-Loopback-QSFP+", 40000, 2},
    {26, nullptr, "40GBASE-CR4-QSFP+", 40000, 2},
    {27, nullptr, "40GBASE-SR4-QSFP+", 40000, 2},
    {34, nullptr, "40GBASE-ER4-QSFP+", 40000, 2},
    {61, nullptr, "40GBASE-ZR-QSFP+", 40000, 2},
    {51, nullptr, "40GBASE-LSR4-QSFP+", 40000, 2},
    {52, nullptr, "40GBASE-SWDM4-QSFP+", 40000, 2},
    {53, nullptr, "40GBASE-iLR4-QSFP+", 40000, 2},
    {54, nullptr, "40GBASE-PSM4-QSFP+", 40000, 2},
    {55, nullptr, "40GBASE-SR4-BiDi-QSFP+", 40000, 2},
    {99, nullptr, "40GBASE-LX4-QSFP+", 40000, 2},
    {36, nullptr, "100G-Active Cable-QSFP28", 100000, 2},
    {37, nullptr, "100GBASE-LR4-QSFP28", 100000, 2},
    {49, nullptr, "100GBASE-iLR4-QSFP28", 100000, 2},
    {63, nullptr, "100GBASE-CWDM4-QSFP28", 100000, 2},
    {38, nullptr, "100GBASE-SR4-QSFP28", 100000, 2},
    {39, nullptr, "100GBASE-ER4-QSFP28", 100000, 2},
    {62, nullptr, "100GBASE-ZR-QSFP28", 100000, 2},
    {70, nullptr, "100GBASE-Passive Copper-QSFP28", 100000, 3},
    {71, nullptr, "100GBASE-Active Copper-QSFP28", 100000, 3},
    {41, nullptr, "100GBASE-CR4-QSFP28", 100000, 2},
    {42, nullptr, "100GBASE-PSM4-QSFP28", 100000, 2},
    {56, nullptr, "100GBASE-SWDM4-QSFP28", 100000, 2},
    {57, nullptr, "100GBASE-PAM4-BiDi-QSFP28", 100000, 2},
    {58, nullptr, "100GBASE-ER4-Lite-QSFP28", 100000, 2},
    {59, nullptr, "100GBASE-4WDM-40-QSFP28", 100000, 2},
    {60, nullptr, "100GBASE-DWDM2-QSFP28", 100000, 2},
    {93, nullptr, "100GBASE-DR1-QSFP28", 100000, 2},
    {94, nullptr, "100GBASE-FR1-QSFP28", 100000, 2},
    {43, nullptr, "25GBASE-SR-SFP28", 25000, 2},
    {44, nullptr, "25GBASE-LR-SFP28", 25000, 2},
    {45, nullptr, "25GBASE-ER-SFP28", 25000, 2},
    {46, nullptr, "25GBASE-ZR-SFP28", 25000, 2},
    {73, nullptr, "25G-Passive Copper-SFP28", 25000, 3},
    {74, nullptr, "25G-Active Copper-SFP28", 25000, 3},
    {75, nullptr, "25G-Loopback-SFP28", 25000, 2},
    {48, nullptr, "25G-Activecable-SFP28", 25000, 2},
    {76, nullptr, "200GBASE-SR4-QSFP56", 200000, 2},
    {77, nullptr, "200GBASE-FR4-QSFP56", 200000, 2},
    {78, nullptr, "200GBASE-Passive Copper-QSFP56", 200000, 3},
    {79, nullptr, "200GBASE-Active Copper-QSFP56", 200000, 3},
    {86, nullptr, "200GBASE-Loopback-QSFP56", 200000, 2},
    {80, nullptr, "400GBASE-SR8-QSFP-DD", 400000, 2},
    {81, nullptr, "400GBASE-DR4-QSFP-DD", 400000, 2},
    {82, nullptr, "400GBASE-FR4-QSFP-DD", 400000, 2},
    {85, nullptr, "400GBASE-LR8-QSFP-DD", 400000, 2},
    {95, nullptr, "400GBASE-ZR-QSFP-DD", 400000, 2},
    {83, nullptr, "400GBASE-Passive Copper-QSFP-DD", 400000, 3},
    {87, nullptr, "400GBASE-Active Copper-QSFP-DD", 400000, 3},
    {84, nullptr, "400GBASE-Active cable-QSFP-DD", 400000, 2},
    {88, nullptr, "400GBASE-Loopback-QSFP-DD", 400000, 2},
    {89, nullptr, "100GBASE-Passive Copper-DSFP", 100000, 3},
    {90, nullptr, "100GBASE-Active Copper-DSFP", 100000, 3},
    {91, nullptr, "100GBASE-Active cable-DSFP", 100000, 2},
    {92, nullptr, "100GBASE-Loopback-DSFP", 100000, 2},
    {100, nullptr, "10GBASE-LR8-SFX", 10000, 2},
    {101, nullptr, "1000BASE-LX8-SFG", 1000, 2},
    {102, nullptr, "10G-copper8-SFX", 10000, 3},
    {120, nullptr, "2500BASE-LX8-SFM", 2500, 2},
};

std::string str_or_null(const char *s) { return s ? std::string(s) : std::string("(null)"); }

TEST(TransMap, HasTheRowsInSearchOrder) {
    static_assert(fiber::kTransMapRows == 92);
    ASSERT_EQ(std::size(kTypes), fiber::kTransMapRows);
    for (std::size_t i = 0; i < fiber::kTransMapRows; ++i) {
        SCOPED_TRACE("row " + std::to_string(i + 1));
        const fiber::fiber_trans_entry_t &row = fiber::fiber_trans_map[i];
        EXPECT_EQ(row.type, kTypes[i].type);
        EXPECT_EQ(str_or_null(row.prefix), str_or_null(kTypes[i].prefix));
        EXPECT_STREQ(row.name, kTypes[i].name);
        EXPECT_EQ(row.rate, kTypes[i].rate);
        EXPECT_EQ(row.connector, kTypes[i].connector);
    }
}

TEST(TransMap, EveryRowAnswersBothLookups) {
    for (const TypeRow &t : kTypes) {
        SCOPED_TRACE("type " + std::to_string(t.type));
        EXPECT_STREQ(fiber_get_trans_str_bytype(t.prefix, t.type), t.name);
        uint32_t rate = 0xDEAD, connector = 0xBEEF;
        fiber_get_trans_rate_connector_bytype(t.type, &rate, &connector);
        EXPECT_EQ(rate, t.rate);
        EXPECT_EQ(connector, t.connector);
    }
}

TEST(TransMap, TypeIdsAreUniqueAndPrefixesSitInTheFirst24Rows) {
    std::set<uint64_t> ids;
    for (std::size_t i = 0; i < fiber::kTransMapRows; ++i) {
        EXPECT_TRUE(ids.insert(fiber::fiber_trans_map[i].type).second) << "duplicate type id";
        EXPECT_EQ(fiber::fiber_trans_map[i].prefix != nullptr, i < 24) << "row " << i + 1;
        EXPECT_NE(fiber::fiber_trans_map[i].name, nullptr);
    }
}

TEST(TransMap, IdsWithoutARowAreUnknown) {
    const uint64_t missing[] = {0,   1,   29,  30,  31,  32,  35,  40,  47,  65,  72,  96,
                                97,  98,  104, 110, 118, 121, 122, 255, 256, 0x100000014ull,
                                ~0ull};
    for (uint64_t id : missing) {
        SCOPED_TRACE("type " + std::to_string(id));
        EXPECT_STREQ(fiber_get_trans_str_bytype(nullptr, id), "Unknown module");
        EXPECT_STREQ(fiber_get_trans_str_bytype("10GBASE", id), "Unknown module");
        uint32_t rate = 77, connector = 77;
        fiber_get_trans_rate_connector_bytype(id, &rate, &connector);
        EXPECT_EQ(rate, 0u);  // stale values never survive a failed lookup
        EXPECT_EQ(connector, 0u);
    }
}

TEST(TransMap, PrefixMustAgreeAsAWholeString) {
    struct Case {
        const char *prefix;
        uint64_t type;
        const char *name;
    };
    const Case cases[] = {
        {"1000BASE", 9, "-SX-SFP"},
        {nullptr, 9, "Unknown module"},       // row 8 carries a prefix
        {"10GBASE", 20, "Unknown module"},    // row 25 has none
        {"1000", 13, "-Copper-SFP"},
        {"100", 13, "Unknown module"},        // row 19 carries "1000"
        {"1000BASE", 119, "Unknown module"},  // only "10/100/1000BASE"
        {"10/100/1000BASE", 119, "-GT-SFP"},
        {"10/100/1000BASE", 8, "Unknown module"},
        {"", 9, "Unknown module"},
        {"1000BASE-", 9, "Unknown module"},
        {"1000base", 9, "Unknown module"},
        {"100BAS", 3, "Unknown module"},
        {"10GBASE", 103, "-T-SFP+"},
        {"10G", 15, "Unknown module"},
        {"10G", 64, "-Passive Copper-SFP+"},
        {nullptr, 43, "25GBASE-SR-SFP28"},
        {"25GBASE", 43, "Unknown module"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(str_or_null(c.prefix) + " / " + std::to_string(c.type));
        EXPECT_STREQ(fiber_get_trans_str_bytype(c.prefix, c.type), c.name);
    }
    // The rate lookup ignores the prefix.
    uint32_t rate = 0, connector = 0;
    fiber_get_trans_rate_connector_bytype(13, &rate, &connector);
    EXPECT_EQ(rate, 1000u);
    EXPECT_EQ(connector, 3u);
}

TEST(TransMap, NameIsTheSuffixNotTheComposedDisplayName) {
    EXPECT_STREQ(fiber_get_trans_str_bytype("1000BASE", 9), "-SX-SFP");
    EXPECT_STREQ(fiber_get_trans_str_bytype("1000BASE-SX-SFP", 9), "Unknown module");
}

// ---------------------------------------------------------------------------
// Connector names (SFF-8024)
// ---------------------------------------------------------------------------
const char *connector(unsigned code) {
    const char *name = nullptr;
    fiber_decode_connect_type(static_cast<uint8_t>(code), &name);
    return name;
}

TEST(ConnectorTable, EveryCode) {
    struct Row {
        uint8_t code;
        const char *name;
    };
    const Row rows[] = {
        {0x00, "Unknown or unspecified"},
        {0x01, "SC"},
        {0x02, "Fiber Channel Style 1 copper connector"},
        {0x03, "Fiber Channel Style 2 copper connector"},
        {0x04, "BNC/TNC"},
        {0x05, "Fiber Channel coax headers"},
        {0x06, "FiberJack"},
        {0x07, "LC"},
        {0x08, "MT-RJ"},
        {0x09, "MU"},
        {0x0A, "SG"},
        {0x0B, "Optical Pigtail"},
        {0x0C, "MPO"},
        {0x0D, "MPO"},
        {0x20, "HSSDC II"},
        {0x21, "Copper pigtail"},
        {0x22, "RJ45"},
        {0x23, "No separable connector"},
        {0x24, "MXC"},
        {0x25, "CS optical connector"},
        {0x26, "SN optical connector"},
        {0x27, "MPO"},
        {0x28, "MPO"},
    };
    std::string expected[256];
    for (unsigned code = 0; code < 0x80; ++code) expected[code] = "unknow connect type";
    for (unsigned code = 0x80; code < 0x100; ++code) expected[code] = "Vendor specific";
    for (const Row &r : rows) expected[r.code] = r.name;
    for (unsigned code = 0; code < 0x100; ++code) {
        SCOPED_TRACE("code " + std::to_string(code));
        ASSERT_NE(connector(code), nullptr);
        EXPECT_EQ(connector(code), expected[code]);
    }
}

TEST(ConnectorTable, BoundariesAroundTheRows) {
    EXPECT_STREQ(connector(0x0E), "unknow connect type");
    EXPECT_STREQ(connector(0x1F), "unknow connect type");
    EXPECT_STREQ(connector(0x29), "unknow connect type");
    EXPECT_STREQ(connector(0x7F), "unknow connect type");
    EXPECT_STREQ(connector(0x80), "Vendor specific");
    EXPECT_STREQ(connector(0xFF), "Vendor specific");
    EXPECT_STREQ(connector(0x87), "Vendor specific");  // LC code with bit 7 set
}

// ---------------------------------------------------------------------------
// Encoding names
// ---------------------------------------------------------------------------
TEST(Encoding, SfpCodes) {
    const char *expected[] = {"Unspecified", "8B10B",   "4B5B",    "NRZ",     "Manchester",
                              "SONET Scrambled", "64B/66B", "Reserved", "Reserved"};
    for (unsigned code = 0; code < std::size(expected); ++code)
        EXPECT_STREQ(fiber::sfp_encoding_name(static_cast<uint8_t>(code)), expected[code]) << code;
    for (unsigned code = 9; code < 256; ++code)
        EXPECT_STREQ(fiber::sfp_encoding_name(static_cast<uint8_t>(code)), "Reserved") << code;
}

TEST(Encoding, QsfpCodes) {
    const char *expected[] = {"Unspecified", "8B10B",      "4B5B",      "NRZ",  "SONET Scrambled",
                              "64B/66B",     "Manchester", "256B/257B", "PAM4", "Reserved"};
    for (unsigned code = 0; code < std::size(expected); ++code)
        EXPECT_STREQ(fiber::qsfp_encoding_name(static_cast<uint8_t>(code)), expected[code]) << code;
    for (unsigned code = 10; code < 256; ++code)
        EXPECT_STREQ(fiber::qsfp_encoding_name(static_cast<uint8_t>(code)), "Reserved") << code;
}

TEST(Encoding, XfpLowestOfBits3To7Wins) {
    // Reference rule, written independently: bit 3 RZ, 4 NRZ, 5 SONET,
    // 6 8B10B, 7 64B/66B; bits 2..0 ignored.
    const char *by_bit[8] = {nullptr, nullptr, nullptr, "RZ", "NRZ", "SONET Scrambled", "8B10B", "64B/66B"};
    for (unsigned bits = 0; bits < 256; ++bits) {
        const char *want = "Reserved";
        for (unsigned b = 3; b < 8; ++b)
            if (bits & (1u << b)) {
                want = by_bit[b];
                break;
            }
        EXPECT_STREQ(fiber::xfp_encoding_name(static_cast<uint8_t>(bits)), want) << bits;
    }
    EXPECT_STREQ(fiber::xfp_encoding_name(0x18), "RZ");
    EXPECT_STREQ(fiber::xfp_encoding_name(0xC0), "8B10B");
    EXPECT_STREQ(fiber::xfp_encoding_name(0x07), "Reserved");
    EXPECT_STREQ(fiber::xfp_encoding_name(0x80), "64B/66B");
    EXPECT_STREQ(fiber::xfp_encoding_name(0x27), "SONET Scrambled");
}

TEST(Encoding, CmisIsUnspecified) { EXPECT_STREQ(fiber::cmis_encoding_name(), "Unspecified"); }

// ---------------------------------------------------------------------------
// Alarm catalogue
// ---------------------------------------------------------------------------
TEST(AlarmCatalogue, HasExactly255Slots) {
    static_assert(FIBER_ALARM_COUNT == 255);
    static_assert(sizeof fiber_alarms / sizeof fiber_alarms[0] == 255);
    for (unsigned id = 0; id < FIBER_ALARM_COUNT; ++id) EXPECT_NE(fiber_alarms[id], nullptr) << id;
}

// Every text, built from the id rule.
std::string expected_alarm_text(unsigned id) {
    const char *module[] = {"Temp low alarm",    "Temp high alarm",    "Temp low warn",    "Temp high warn",
                            "Voltage low alarm", "Voltage high alarm", "Voltage low warn", "Voltage high warn"};
    const char *k_text[] = {" low alarm", " high alarm", " low warn", " high warn"};
    struct Group {
        unsigned base;
        const char *what;
    };
    const Group threshold[] = {{FIBER_ALARM_TX_BIAS_BASE, "TX bias"},
                               {FIBER_ALARM_RX_POWER_BASE, "RX power"},
                               {FIBER_ALARM_TX_POWER_BASE, "TX power"}};
    const Group state[] = {{FIBER_ALARM_RX_LOS_BASE, "RX loss of signal"},
                           {FIBER_ALARM_RX_LOL_BASE, "RX CDR loss of lock"},
                           {FIBER_ALARM_TX_LOS_BASE, "TX loss of signal"},
                           {FIBER_ALARM_TX_LOL_BASE, "TX CDR loss of lock"},
                           {FIBER_ALARM_TX_FAULT_BASE, "TX fault"}};
    if (id < 8) return module[id];
    for (const Group &g : threshold)
        if (id >= g.base && id < g.base + 64) {
            unsigned lane = (id - g.base) / 4 + 1;
            if (lane > 8) return " ";
            return "Channel-" + std::to_string(lane) + " " + g.what + k_text[(id - g.base) % 4];
        }
    for (const Group &g : state)
        if (id >= g.base && id < g.base + 8) return "Channel-" + std::to_string(id - g.base + 1) + " " + g.what;
    switch (id) {
        case 240: return "Media-side Pre-FEC BER high alarm";
        case 242: return "Media-side Pre-FEC BER high warning";
        case 243: return "Media-side Rx total power low alarm";
        case 244: return "Media-side Rx total power low warning";
        case 248: return "Transceiver info checksum error";
        case 249: return "Module not ready";
        case 250: return "RX not ready";
        case 251: return "TX CDR loss of lock";
        case 252: return "RX CDR loss of lock";
        case 253: return "Transceiver type and port configuration mismatch";
        case 254: return "Transceiver type not supported by port hardware";
        default: return " ";  // 241, 245-247
    }
}

TEST(AlarmCatalogue, EveryTextFollowsTheIdRule) {
    for (unsigned id = 0; id < FIBER_ALARM_COUNT; ++id) {
        ASSERT_NE(fiber_alarms[id], nullptr) << id;
        EXPECT_EQ(fiber_alarms[id], expected_alarm_text(id)) << "id " << id;
    }
}

TEST(AlarmCatalogue, SpotTexts) {
    EXPECT_STREQ(fiber_alarms[13], "Channel-2 TX bias high alarm");
    EXPECT_STREQ(fiber_alarms[39], "Channel-8 TX bias high warn");
    EXPECT_STREQ(fiber_alarms[103], "Channel-8 RX power high warn");
    EXPECT_STREQ(fiber_alarms[138], "Channel-1 TX power low warn");
    EXPECT_STREQ(fiber_alarms[207], "Channel-8 RX loss of signal");
    EXPECT_STREQ(fiber_alarms[239], "Channel-8 TX fault");
    EXPECT_STREQ(fiber_alarms[FIBER_ALARM_CHECKSUM], "Transceiver info checksum error");
    EXPECT_STREQ(fiber_alarms[254], "Transceiver type not supported by port hardware");
}

TEST(AlarmCatalogue, BlankSlotsShareOneText) {
    const char *blank = fiber_alarms[40];
    ASSERT_STREQ(blank, " ");
    unsigned blanks = 0;
    for (unsigned id = 0; id < FIBER_ALARM_COUNT; ++id) {
        const bool is_blank = (id >= 40 && id <= 71) || (id >= 104 && id <= 135) || (id >= 168 && id <= 199) ||
                              id == 241 || (id >= 245 && id <= 247);
        if (is_blank) {
            EXPECT_EQ(fiber_alarms[id], blank) << "id " << id << " is not the shared blank";
            ++blanks;
        } else {
            EXPECT_NE(fiber_alarms[id], blank) << id;
            EXPECT_STRNE(fiber_alarms[id], " ") << id;
        }
    }
    EXPECT_EQ(blanks, 3u * 32u + 4u);
}

// ---------------------------------------------------------------------------
// CMIS state tables
// ---------------------------------------------------------------------------
TEST(CmisState, ModuleStates) {
    const char *expected[] = {"Unknown or unspecified", "ModuleLowPwr", "ModulePwrUp", "ModuleReady",
                              "ModulePwrDn",            "Fault",        "Unknown or unspecified",
                              "Unknown or unspecified"};
    for (uint64_t code = 0; code < 8; ++code)
        EXPECT_STREQ(cmis_get_module_state_byencode(code), expected[code]) << code;
    for (uint64_t code : {8ull, 15ull, 255ull, 256ull, 256ull + 3, 0x100000003ull, ~0ull})
        EXPECT_STREQ(cmis_get_module_state_byencode(code), "Unknown state") << code;
}

TEST(CmisState, DataPathStates) {
    const char *expected[] = {"Unknown", "Deactivated", "Init", "Deinit", "Activated", "TxTurnOn", "TxTurnOff",
                              "Initialized"};
    for (uint64_t code = 0; code < 8; ++code)
        EXPECT_STREQ(cmis_get_datapath_state_byencode(code), expected[code]) << code;
    for (uint64_t code = 8; code < 16; ++code)
        EXPECT_STREQ(cmis_get_datapath_state_byencode(code), "Unspecified") << code;
    for (uint64_t code : {16ull, 255ull, 256ull + 4, 0x100000004ull, ~0ull})
        EXPECT_STREQ(cmis_get_datapath_state_byencode(code), "Unknown state") << code;
}

TEST(CmisState, LaneMasks) {
    for (uint64_t lane = 1; lane <= 8; ++lane) {
        SCOPED_TRACE("lane " + std::to_string(lane));
        const cmis_lane_mask_entry_t *row = cmis_get_datapath_lane_mask(lane);
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(row->lane, lane);
        EXPECT_EQ(row->state_mask, lane % 2 ? 0x0F : 0xF0);
        EXPECT_EQ(row->lane_bit, 1u << (lane - 1));
        // The rows are one table in lane order.
        EXPECT_EQ(row, cmis_get_datapath_lane_mask(1) + (lane - 1));
    }
    const cmis_lane_mask_entry_t *six = cmis_get_datapath_lane_mask(6);
    ASSERT_NE(six, nullptr);
    EXPECT_EQ(six->state_mask, 0xF0);
    EXPECT_EQ(six->lane_bit, 0x20);
    for (uint64_t lane : {0ull, 9ull, 16ull, 256ull + 1, 0x100000001ull})
        EXPECT_EQ(cmis_get_datapath_lane_mask(lane), nullptr) << lane;
}

}  // namespace
