// Reference tables: transceiver type map, connector and encoding names, the
// alarm text catalogue and the CMIS state tables, checked through the public
// lookups against copies of the tables written out here.
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <tuple>
#include <utility>

#include "fiber_internal.h"

namespace {

std::string str(const char *s) { return s ? s : "(null)"; }

// Transceiver type map in search order, two rows a line: type, rate (Mb/s),
// connector class (1 RJ45, 2 other, 3 copper cable), name, and the speed
// prefix of the SFP rows (absent: the name is the whole display name).
struct TypeRow { uint64_t type; uint32_t rate, connector; const char *name, *prefix = nullptr; };
const TypeRow kTypes[] = {
    {2, 100, 1, "-GT-SFP", "100BASE"},                  {3, 100, 2, "-SX-SFP", "100BASE"},
    {4, 100, 2, "-LX-SFP", "100BASE"},                  {5, 100, 2, "-LH-SFP", "100BASE"},
    {6, 100, 2, "-ZX-SFP", "100BASE"},                  {8, 1000, 1, "-GT-SFP", "1000BASE"},
    {119, 1000, 1, "-GT-SFP", "10/100/1000BASE"},       {9, 1000, 2, "-SX-SFP", "1000BASE"},
    {10, 1000, 2, "-LX-SFP", "1000BASE"},               {11, 1000, 2, "-LH-SFP", "1000BASE"},
    {12, 1000, 2, "-ZX-SFP", "1000BASE"},               {15, 10000, 2, "-SR-SFP+", "10GBASE"},
    {16, 10000, 2, "-LR-SFP+", "10GBASE"},              {50, 10000, 2, "-LRM-SFP+", "10GBASE"},
    {17, 10000, 2, "-ER-SFP+", "10GBASE"},              {18, 10000, 2, "-ZR-SFP+", "10GBASE"},
    {103, 10000, 2, "-T-SFP+", "10GBASE"},              {7, 100, 3, "-Copper-SFP", "100"},
    {13, 1000, 3, "-Copper-SFP", "1000"},               {28, 2500, 3, "-Copper-SFP", "2.5G"},
    {64, 10000, 3, "-Passive Copper-SFP+", "10G"},      {14, 10000, 3, "-Copper-SFP+", "10G"},
    {66, 10000, 2, "-Loopback-SFP+", "10G"},            {33, 10000, 2, "-Active-Cable-SFP+", "10G"},
    {20, 10000, 2, "10GBASE-SR-XFP"},                   {21, 10000, 2, "10GBASE-LR-XFP"},
    {22, 10000, 2, "10GBASE-ER-XFP"},                   {23, 10000, 2, "10GBASE-ZR-XFP"},
    {19, 10000, 3, "10GBASE-Copper-XFP"},               {24, 40000, 2, "40G-Active Cable-QSFP+"},
    {25, 40000, 2, "40GBASE-LR4-QSFP+"},                {67, 40000, 3, "40G-Passive Copper-QSFP+"},
    {68, 40000, 3, "40G-Active Copper-QSFP+"},          {69, 40000, 2, "40G-Loopback-QSFP+"},
    {26, 40000, 2, "40GBASE-CR4-QSFP+"},                {27, 40000, 2, "40GBASE-SR4-QSFP+"},
    {34, 40000, 2, "40GBASE-ER4-QSFP+"},                {61, 40000, 2, "40GBASE-ZR-QSFP+"},
    {51, 40000, 2, "40GBASE-LSR4-QSFP+"},               {52, 40000, 2, "40GBASE-SWDM4-QSFP+"},
    {53, 40000, 2, "40GBASE-iLR4-QSFP+"},               {54, 40000, 2, "40GBASE-PSM4-QSFP+"},
    {55, 40000, 2, "40GBASE-SR4-BiDi-QSFP+"},           {99, 40000, 2, "40GBASE-LX4-QSFP+"},
    {36, 100000, 2, "100G-Active Cable-QSFP28"},        {37, 100000, 2, "100GBASE-LR4-QSFP28"},
    {49, 100000, 2, "100GBASE-iLR4-QSFP28"},            {63, 100000, 2, "100GBASE-CWDM4-QSFP28"},
    {38, 100000, 2, "100GBASE-SR4-QSFP28"},             {39, 100000, 2, "100GBASE-ER4-QSFP28"},
    {62, 100000, 2, "100GBASE-ZR-QSFP28"},              {70, 100000, 3, "100GBASE-Passive Copper-QSFP28"},
    {71, 100000, 3, "100GBASE-Active Copper-QSFP28"},   {41, 100000, 2, "100GBASE-CR4-QSFP28"},
    {42, 100000, 2, "100GBASE-PSM4-QSFP28"},            {56, 100000, 2, "100GBASE-SWDM4-QSFP28"},
    {57, 100000, 2, "100GBASE-PAM4-BiDi-QSFP28"},       {58, 100000, 2, "100GBASE-ER4-Lite-QSFP28"},
    {59, 100000, 2, "100GBASE-4WDM-40-QSFP28"},         {60, 100000, 2, "100GBASE-DWDM2-QSFP28"},
    {93, 100000, 2, "100GBASE-DR1-QSFP28"},             {94, 100000, 2, "100GBASE-FR1-QSFP28"},
    {43, 25000, 2, "25GBASE-SR-SFP28"},                 {44, 25000, 2, "25GBASE-LR-SFP28"},
    {45, 25000, 2, "25GBASE-ER-SFP28"},                 {46, 25000, 2, "25GBASE-ZR-SFP28"},
    {73, 25000, 3, "25G-Passive Copper-SFP28"},         {74, 25000, 3, "25G-Active Copper-SFP28"},
    {75, 25000, 2, "25G-Loopback-SFP28"},               {48, 25000, 2, "25G-Activecable-SFP28"},
    {76, 200000, 2, "200GBASE-SR4-QSFP56"},             {77, 200000, 2, "200GBASE-FR4-QSFP56"},
    {78, 200000, 3, "200GBASE-Passive Copper-QSFP56"},  {79, 200000, 3, "200GBASE-Active Copper-QSFP56"},
    {86, 200000, 2, "200GBASE-Loopback-QSFP56"},        {80, 400000, 2, "400GBASE-SR8-QSFP-DD"},
    {81, 400000, 2, "400GBASE-DR4-QSFP-DD"},            {82, 400000, 2, "400GBASE-FR4-QSFP-DD"},
    {85, 400000, 2, "400GBASE-LR8-QSFP-DD"},            {95, 400000, 2, "400GBASE-ZR-QSFP-DD"},
    {83, 400000, 3, "400GBASE-Passive Copper-QSFP-DD"}, {87, 400000, 3, "400GBASE-Active Copper-QSFP-DD"},
    {84, 400000, 2, "400GBASE-Active cable-QSFP-DD"},   {88, 400000, 2, "400GBASE-Loopback-QSFP-DD"},
    {89, 100000, 3, "100GBASE-Passive Copper-DSFP"},    {90, 100000, 3, "100GBASE-Active Copper-DSFP"},
    {91, 100000, 2, "100GBASE-Active cable-DSFP"},      {92, 100000, 2, "100GBASE-Loopback-DSFP"},
    {100, 10000, 2, "10GBASE-LR8-SFX"},                 {101, 1000, 2, "1000BASE-LX8-SFG"},
    {102, 10000, 3, "10G-copper8-SFX"},                 {120, 2500, 2, "2500BASE-LX8-SFM"},
};

TEST(TransMap, EveryRowInSearchOrderAndThroughBothLookups) {
    static_assert(std::size(kTypes) == fiber::kTransMapRows);
    for (std::size_t i = 0; i < fiber::kTransMapRows; ++i) {
        const TypeRow &t = kTypes[i];
        const fiber::fiber_trans_entry_t &r = fiber::fiber_trans_map[i];
        const char *name = fiber_get_trans_str_bytype(t.prefix, t.type);
        uint32_t rate = 0xDEAD, connector = 0xBEEF;
        fiber_get_trans_rate_connector_bytype(t.type, &rate, &connector);
        EXPECT_EQ(std::tuple(r.type, str(r.prefix), str(r.name), r.rate, r.connector, str(name), rate, connector),
                  std::tuple(t.type, str(t.prefix), str(t.name), t.rate, t.connector, str(t.name), t.rate, t.connector))
            << "row " << i + 1;
    }
}

// Ids without a row are unknown to both lookups, which clear stale outputs.
// A prefix must agree as a whole string, and null only with an unprefixed
// row; the name answered is the suffix, never the composed display name.
TEST(TransMap, UnknownIdsAndPrefixesThatDoNotAgree) {
    for (uint64_t id : {0ull, 1ull, 29ull, 30ull, 31ull, 32ull, 35ull, 40ull, 47ull, 65ull, 72ull, 96ull, 97ull,
                        98ull, 104ull, 110ull, 118ull, 121ull, 122ull, 255ull, 256ull, 0x100000014ull, ~0ull}) {
        uint32_t rate = 77, connector = 77;
        fiber_get_trans_rate_connector_bytype(id, &rate, &connector);
        EXPECT_EQ(std::tuple(str(fiber_get_trans_str_bytype(nullptr, id)),
                             str(fiber_get_trans_str_bytype("10GBASE", id)), rate, connector),
                  std::tuple("Unknown module", "Unknown module", 0u, 0u))
            << id;
    }
    const std::pair<const char *, uint64_t> cases[] = {
        {nullptr, 9}, {"10GBASE", 20}, {"100", 13}, {"1000BASE", 119}, {"10/100/1000BASE", 8}, {"", 9},
        {"100BAS", 3}, {"1000BASE-", 9}, {"1000base", 9}, {"10G", 15}, {"25GBASE", 43}, {"1000BASE-SX-SFP", 9},
    };
    for (auto [prefix, type] : cases)
        EXPECT_STREQ(fiber_get_trans_str_bytype(prefix, type), "Unknown module") << str(prefix) << " / " << type;
}

// Connector names (SFF-8024): the listed codes, otherwise unknown below 80h
// and vendor specific from 80h.
TEST(ConnectorTable, EveryCode) {
    const std::pair<unsigned, const char *> rows[] = {
        {0x00, "Unknown or unspecified"}, {0x01, "SC"}, {0x02, "Fiber Channel Style 1 copper connector"},
        {0x03, "Fiber Channel Style 2 copper connector"}, {0x04, "BNC/TNC"}, {0x05, "Fiber Channel coax headers"},
        {0x06, "FiberJack"}, {0x07, "LC"}, {0x08, "MT-RJ"}, {0x09, "MU"}, {0x0A, "SG"}, {0x0B, "Optical Pigtail"},
        {0x0C, "MPO"}, {0x0D, "MPO"}, {0x20, "HSSDC II"}, {0x21, "Copper pigtail"}, {0x22, "RJ45"},
        {0x23, "No separable connector"}, {0x24, "MXC"}, {0x25, "CS optical connector"},
        {0x26, "SN optical connector"}, {0x27, "MPO"}, {0x28, "MPO"},
    };
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
    const char *module[] = {"Temp low alarm",    "Temp high alarm",    "Temp low warn",    "Temp high warn",
                            "Voltage low alarm", "Voltage high alarm", "Voltage low warn", "Voltage high warn"};
    const char *level[] = {" low alarm", " high alarm", " low warn", " high warn"};
    const char *threshold[] = {"TX bias", "RX power", "TX power"};
    const char *state[] = {"RX loss of signal", "RX CDR loss of lock", "TX loss of signal", "TX CDR loss of lock",
                           "TX fault"};
    const char *tail[] = {"Media-side Pre-FEC BER high alarm", " ", "Media-side Pre-FEC BER high warning",
                          "Media-side Rx total power low alarm", "Media-side Rx total power low warning", " ", " ", " ",
                          "Transceiver info checksum error", "Module not ready", "RX not ready", "TX CDR loss of lock",
                          "RX CDR loss of lock", "Transceiver type and port configuration mismatch",
                          "Transceiver type not supported by port hardware"};
    if (id < 8) return module[id];
    const unsigned t = (id - 8) % 64;  // place in a threshold group
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
// (256 and up included) an unknown state; data-path lane masks: lane, state
// nibble (odd lanes low, even lanes high), lane bit, one table in lane order.
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

    const unsigned lanes[8][3] = {{1, 0x0F, 0x01}, {2, 0xF0, 0x02}, {3, 0x0F, 0x04}, {4, 0xF0, 0x08},
                                  {5, 0x0F, 0x10}, {6, 0xF0, 0x20}, {7, 0x0F, 0x40}, {8, 0xF0, 0x80}};
    const cmis_lane_mask_entry_t *first = cmis_get_datapath_lane_mask(1);
    ASSERT_NE(first, nullptr);
    for (const auto &r : lanes) {
        const cmis_lane_mask_entry_t *row = cmis_get_datapath_lane_mask(r[0]);
        ASSERT_EQ(row, first + (r[0] - 1)) << r[0];
        EXPECT_EQ(std::tuple(row->lane, unsigned{row->state_mask}, unsigned{row->lane_bit}),
                  std::tuple(uint64_t{r[0]}, r[1], r[2]));
    }
    for (uint64_t lane : {0ull, 9ull, 16ull, 256ull + 1, 0x100000001ull})
        EXPECT_EQ(cmis_get_datapath_lane_mask(lane), nullptr) << lane;
}

}  // namespace
