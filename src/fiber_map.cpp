// SPDX-License-Identifier: Apache-2.0
// Reference tables and their lookups: transceiver types, connector and
// encoding names (SFF-8024), the alarm text catalogue, and the CMIS module
// and data-path state machines.
#include <cstring>
#include <iterator>

#include "fiber_internal.h"

namespace fiber {

namespace {

// The one loop of every lookup: the first row of a table that satisfies
// pred, or null. Tables are searched in the order they are written.
template <class Row, std::size_t N, class Pred>
constexpr const Row *first_row(const Row (&rows)[N], Pred pred) {
    for (const Row &r : rows)
        if (pred(r)) return &r;
    return nullptr;
}

// Connector classes of the transceiver type map.
constexpr uint32_t RJ45 = 1;    // twisted-pair RJ45 port
constexpr uint32_t OTHER = 2;   // optics, active optical cables, loopbacks
constexpr uint32_t COPPER = 3;  // direct-attach copper cable

}  // namespace

// ---------------------------------------------------------------------------
// Transceiver type map, in search order. The SFP/SFP+ rows carry a speed
// prefix chosen by the SFP decoder (display name = prefix + name); every
// other row holds the whole display name.
// ---------------------------------------------------------------------------
constexpr fiber_trans_entry_t fiber_trans_map[kTransMapRows] = {
    // prefix              name                                 type  rate    class
    // SFP / SFP+
    {"100BASE",         "-GT-SFP",                             2,   100,    RJ45},
    {"100BASE",         "-SX-SFP",                             3,   100,    OTHER},
    {"100BASE",         "-LX-SFP",                             4,   100,    OTHER},
    {"100BASE",         "-LH-SFP",                             5,   100,    OTHER},
    {"100BASE",         "-ZX-SFP",                             6,   100,    OTHER},
    {"1000BASE",        "-GT-SFP",                             8,   1000,   RJ45},
    {"10/100/1000BASE", "-GT-SFP",                             119, 1000,   RJ45},
    {"1000BASE",        "-SX-SFP",                             9,   1000,   OTHER},
    {"1000BASE",        "-LX-SFP",                             10,  1000,   OTHER},
    {"1000BASE",        "-LH-SFP",                             11,  1000,   OTHER},
    {"1000BASE",        "-ZX-SFP",                             12,  1000,   OTHER},
    {"10GBASE",         "-SR-SFP+",                            15,  10000,  OTHER},
    {"10GBASE",         "-LR-SFP+",                            16,  10000,  OTHER},
    {"10GBASE",         "-LRM-SFP+",                           50,  10000,  OTHER},
    {"10GBASE",         "-ER-SFP+",                            17,  10000,  OTHER},
    {"10GBASE",         "-ZR-SFP+",                            18,  10000,  OTHER},
    {"10GBASE",         "-T-SFP+",                             103, 10000,  OTHER},
    {"100",             "-Copper-SFP",                         7,   100,    COPPER},
    {"1000",            "-Copper-SFP",                         13,  1000,   COPPER},
    {"2.5G",            "-Copper-SFP",                         28,  2500,   COPPER},
    {"10G",             "-Passive Copper-SFP+",                64,  10000,  COPPER},
    {"10G",             "-Copper-SFP+",                        14,  10000,  COPPER},
    {"10G",             "-Loopback-SFP+",                      66,  10000,  OTHER},
    {"10G",             "-Active-Cable-SFP+",                  33,  10000,  OTHER},
    // XFP
    {nullptr,           "10GBASE-SR-XFP",                      20,  10000,  OTHER},
    {nullptr,           "10GBASE-LR-XFP",                      21,  10000,  OTHER},
    {nullptr,           "10GBASE-ER-XFP",                      22,  10000,  OTHER},
    {nullptr,           "10GBASE-ZR-XFP",                      23,  10000,  OTHER},
    {nullptr,           "10GBASE-Copper-XFP",                  19,  10000,  COPPER},
    // 40G QSFP+
    {nullptr,           "40G-Active Cable-QSFP+",              24,  40000,  OTHER},
    {nullptr,           "40GBASE-LR4-QSFP+",                   25,  40000,  OTHER},
    {nullptr,           "40G-Passive Copper-QSFP+",            67,  40000,  COPPER},
    {nullptr,           "40G-Active Copper-QSFP+",             68,  40000,  COPPER},
    {nullptr,           "40G-Loopback-QSFP+",                  69,  40000,  OTHER},
    {nullptr,           "40GBASE-CR4-QSFP+",                   26,  40000,  OTHER},
    {nullptr,           "40GBASE-SR4-QSFP+",                   27,  40000,  OTHER},
    {nullptr,           "40GBASE-ER4-QSFP+",                   34,  40000,  OTHER},
    {nullptr,           "40GBASE-ZR-QSFP+",                    61,  40000,  OTHER},
    {nullptr,           "40GBASE-LSR4-QSFP+",                  51,  40000,  OTHER},
    {nullptr,           "40GBASE-SWDM4-QSFP+",                 52,  40000,  OTHER},
    {nullptr,           "40GBASE-iLR4-QSFP+",                  53,  40000,  OTHER},
    {nullptr,           "40GBASE-PSM4-QSFP+",                  54,  40000,  OTHER},
    {nullptr,           "40GBASE-SR4-BiDi-QSFP+",              55,  40000,  OTHER},
    {nullptr,           "40GBASE-LX4-QSFP+",                   99,  40000,  OTHER},
    // 100G QSFP28
    {nullptr,           "100G-Active Cable-QSFP28",            36,  100000, OTHER},
    {nullptr,           "100GBASE-LR4-QSFP28",                 37,  100000, OTHER},
    {nullptr,           "100GBASE-iLR4-QSFP28",                49,  100000, OTHER},
    {nullptr,           "100GBASE-CWDM4-QSFP28",               63,  100000, OTHER},
    {nullptr,           "100GBASE-SR4-QSFP28",                 38,  100000, OTHER},
    {nullptr,           "100GBASE-ER4-QSFP28",                 39,  100000, OTHER},
    {nullptr,           "100GBASE-ZR-QSFP28",                  62,  100000, OTHER},
    {nullptr,           "100GBASE-Passive Copper-QSFP28",      70,  100000, COPPER},
    {nullptr,           "100GBASE-Active Copper-QSFP28",       71,  100000, COPPER},
    {nullptr,           "100GBASE-CR4-QSFP28",                 41,  100000, OTHER},
    {nullptr,           "100GBASE-PSM4-QSFP28",                42,  100000, OTHER},
    {nullptr,           "100GBASE-SWDM4-QSFP28",               56,  100000, OTHER},
    {nullptr,           "100GBASE-PAM4-BiDi-QSFP28",           57,  100000, OTHER},
    {nullptr,           "100GBASE-ER4-Lite-QSFP28",            58,  100000, OTHER},
    {nullptr,           "100GBASE-4WDM-40-QSFP28",             59,  100000, OTHER},
    {nullptr,           "100GBASE-DWDM2-QSFP28",               60,  100000, OTHER},
    {nullptr,           "100GBASE-DR1-QSFP28",                 93,  100000, OTHER},
    {nullptr,           "100GBASE-FR1-QSFP28",                 94,  100000, OTHER},
    // SFP28
    {nullptr,           "25GBASE-SR-SFP28",                    43,  25000,  OTHER},
    {nullptr,           "25GBASE-LR-SFP28",                    44,  25000,  OTHER},
    {nullptr,           "25GBASE-ER-SFP28",                    45,  25000,  OTHER},
    {nullptr,           "25GBASE-ZR-SFP28",                    46,  25000,  OTHER},
    {nullptr,           "25G-Passive Copper-SFP28",            73,  25000,  COPPER},
    {nullptr,           "25G-Active Copper-SFP28",             74,  25000,  COPPER},
    {nullptr,           "25G-Loopback-SFP28",                  75,  25000,  OTHER},
    {nullptr,           "25G-Activecable-SFP28",               48,  25000,  OTHER},
    // QSFP56
    {nullptr,           "200GBASE-SR4-QSFP56",                 76,  200000, OTHER},
    {nullptr,           "200GBASE-FR4-QSFP56",                 77,  200000, OTHER},
    {nullptr,           "200GBASE-Passive Copper-QSFP56",      78,  200000, COPPER},
    {nullptr,           "200GBASE-Active Copper-QSFP56",       79,  200000, COPPER},
    {nullptr,           "200GBASE-Loopback-QSFP56",            86,  200000, OTHER},
    // QSFP-DD
    {nullptr,           "400GBASE-SR8-QSFP-DD",                80,  400000, OTHER},
    {nullptr,           "400GBASE-DR4-QSFP-DD",                81,  400000, OTHER},
    {nullptr,           "400GBASE-FR4-QSFP-DD",                82,  400000, OTHER},
    {nullptr,           "400GBASE-LR8-QSFP-DD",                85,  400000, OTHER},
    {nullptr,           "400GBASE-ZR-QSFP-DD",                 95,  400000, OTHER},
    {nullptr,           "400GBASE-Passive Copper-QSFP-DD",     83,  400000, COPPER},
    {nullptr,           "400GBASE-Active Copper-QSFP-DD",      87,  400000, COPPER},
    {nullptr,           "400GBASE-Active cable-QSFP-DD",       84,  400000, OTHER},
    {nullptr,           "400GBASE-Loopback-QSFP-DD",           88,  400000, OTHER},
    // DSFP
    {nullptr,           "100GBASE-Passive Copper-DSFP",        89,  100000, COPPER},
    {nullptr,           "100GBASE-Active Copper-DSFP",         90,  100000, COPPER},
    {nullptr,           "100GBASE-Active cable-DSFP",          91,  100000, OTHER},
    {nullptr,           "100GBASE-Loopback-DSFP",              92,  100000, OTHER},
    // Eight-lane CMIS modules
    {nullptr,           "10GBASE-LR8-SFX",                     100, 10000,  OTHER},
    {nullptr,           "1000BASE-LX8-SFG",                    101, 1000,   OTHER},
    {nullptr,           "10G-copper8-SFX",                     102, 10000,  COPPER},
    {nullptr,           "2500BASE-LX8-SFM",                    120, 2500,   OTHER},
};

// ---------------------------------------------------------------------------
// Connector codes, SFF-8024 table 4-3 (SFP A0h byte 2, XFP page 01h byte 130,
// QSFP page 00h byte 130, CMIS page 00h byte 203). Codes 80h-FFh are vendor
// specific and are answered before the table is searched.
// ---------------------------------------------------------------------------
constexpr fiber_connector_entry_t fiber_connector_tab[] = {
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
    {0x0C, "MPO"},  // MPO 1x12
    {0x0D, "MPO"},  // MPO 2x16
    {0x20, "HSSDC II"},
    {0x21, "Copper pigtail"},
    {0x22, "RJ45"},
    {0x23, "No separable connector"},
    {0x24, "MXC"},
    {0x25, "CS optical connector"},
    {0x26, "SN optical connector"},
    {0x27, "MPO"},  // MPO 2x12
    {0x28, "MPO"},  // MPO 1x16
};
static_assert(std::size(fiber_connector_tab) == 23);

// ---------------------------------------------------------------------------
// Encoding names. SFF-8024 numbers the encoding codes differently for the
// SFF-8472 map (A0h byte 11) and the SFF-8636 map (page 00h byte 139);
// INF-8077i page 01h byte 139 is a bit set; CMIS has no encoding byte.
// ---------------------------------------------------------------------------
enum encoding_index : uint8_t {
    ENC_UNSPECIFIED, ENC_8B10B, ENC_4B5B, ENC_RZ, ENC_NRZ, ENC_SONET,
    ENC_64B66B, ENC_MANCHESTER, ENC_256B257B, ENC_PAM4, ENC_RESERVED,
};

constexpr const char *fiber_encoding[] = {
    "Unspecified", "8B10B", "4B5B", "RZ", "NRZ", "SONET Scrambled",
    "64B/66B", "Manchester", "256B/257B", "PAM4", "Reserved",
};
static_assert(std::size(fiber_encoding) == ENC_RESERVED + 1);

namespace {

// Code -> encoding index, SFF-8472 A0h byte 11.
constexpr encoding_index kSfpEncoding[] = {
    ENC_UNSPECIFIED,  // 00h
    ENC_8B10B,        // 01h
    ENC_4B5B,         // 02h
    ENC_NRZ,          // 03h
    ENC_MANCHESTER,   // 04h
    ENC_SONET,        // 05h
    ENC_64B66B,       // 06h
};

// Code -> encoding index, SFF-8636 page 00h byte 139.
constexpr encoding_index kQsfpEncoding[] = {
    ENC_UNSPECIFIED,  // 00h
    ENC_8B10B,        // 01h
    ENC_4B5B,         // 02h
    ENC_NRZ,          // 03h
    ENC_SONET,        // 04h
    ENC_64B66B,       // 05h
    ENC_MANCHESTER,   // 06h
    ENC_256B257B,     // 07h
    ENC_PAM4,         // 08h
};

// INF-8077i page 01h byte 139, tested from bit 3 upward; bits 2-0 reserved.
struct xfp_encoding_bit {
    uint8_t bit;
    encoding_index index;
};
constexpr xfp_encoding_bit kXfpEncoding[] = {
    {3, ENC_RZ},
    {4, ENC_NRZ},
    {5, ENC_SONET},
    {6, ENC_8B10B},
    {7, ENC_64B66B},
};

template <std::size_t N>
constexpr const char *coded_encoding_name(const encoding_index (&mapping)[N], uint8_t code) {
    return fiber_encoding[code < N ? mapping[code] : ENC_RESERVED];
}

}  // namespace

const char *sfp_encoding_name(uint8_t code) { return coded_encoding_name(kSfpEncoding, code); }
const char *qsfp_encoding_name(uint8_t code) { return coded_encoding_name(kQsfpEncoding, code); }
const char *xfp_encoding_name(uint8_t bits) {
    const xfp_encoding_bit *row = first_row(kXfpEncoding, [bits](const xfp_encoding_bit &r) {
        return ((bits >> r.bit) & 1u) != 0;
    });
    return fiber_encoding[row ? row->index : ENC_RESERVED];
}
const char *cmis_encoding_name() { return fiber_encoding[ENC_UNSPECIFIED]; }

// ---------------------------------------------------------------------------
// CMIS module state (lower page byte 3 bits 3-1) and data-path state
// (page 11h bytes 128-131, one nibble per host lane).
// ---------------------------------------------------------------------------
constexpr cmis_state_entry_t cmis_module_sm[] = {
    {0, "Unknown or unspecified"},
    {1, "ModuleLowPwr"},
    {2, "ModulePwrUp"},
    {3, "ModuleReady"},
    {4, "ModulePwrDn"},
    {5, "Fault"},
    {6, "Unknown or unspecified"},
    {7, "Unknown or unspecified"},
};
static_assert(std::size(cmis_module_sm) == 8);

constexpr cmis_state_entry_t cmis_datapath_sm[] = {
    {0, "Unknown"},
    {1, "Deactivated"},
    {2, "Init"},
    {3, "Deinit"},
    {4, "Activated"},
    {5, "TxTurnOn"},
    {6, "TxTurnOff"},
    {7, "Initialized"},
    {8, "Unspecified"},
    {9, "Unspecified"},
    {10, "Unspecified"},
    {11, "Unspecified"},
    {12, "Unspecified"},
    {13, "Unspecified"},
    {14, "Unspecified"},
    {15, "Unspecified"},
};
static_assert(std::size(cmis_datapath_sm) == 16);

// Odd lanes own the low nibble of their page 11h state byte, even lanes the
// high nibble; lane_bit is the lane's bit in a byte of per-lane flags.
constexpr cmis_lane_mask_entry_t cmis_datapath_lane_mask[] = {
    // lane  state_mask  lane_bit
    {1, 0x0F, 0x01},
    {2, 0xF0, 0x02},
    {3, 0x0F, 0x04},
    {4, 0xF0, 0x08},
    {5, 0x0F, 0x10},
    {6, 0xF0, 0x20},
    {7, 0x0F, 0x40},
    {8, 0xF0, 0x80},
};
static_assert(std::size(cmis_datapath_lane_mask) == 8);

namespace {

const char *state_name(const cmis_state_entry_t *row) { return row ? row->name : "Unknown state"; }

template <std::size_t N>
const cmis_state_entry_t *state_row(const cmis_state_entry_t (&table)[N], uint64_t code) {
    // All 64 bits take part: a code of 256 or more matches no 8-bit encode.
    return first_row(table, [code](const cmis_state_entry_t &r) { return uint64_t{r.encode} == code; });
}

}  // namespace

}  // namespace fiber

// ---------------------------------------------------------------------------
// Alarm text catalogue, indexed by alarm id (0-254). The per-lane texts
// differ only in the lane digit after "Channel-"; the ids of lanes 9-16 in
// the threshold groups and the unused module-level ids are blank, and every
// blank slot points to the one text kBlank.
// ---------------------------------------------------------------------------
namespace {

constexpr char kBlank[] = " ";

}  // namespace

// Low alarm, high alarm, low warning, high warning of one lane (k = 0..3).
#define FIBER_THRESHOLD_TEXTS(lane, what)                                                \
    "Channel-" #lane " " what " low alarm", "Channel-" #lane " " what " high alarm",   \
        "Channel-" #lane " " what " low warn", "Channel-" #lane " " what " high warn"
#define FIBER_THRESHOLD_LANES(what)                                                            \
    FIBER_THRESHOLD_TEXTS(1, what), FIBER_THRESHOLD_TEXTS(2, what), FIBER_THRESHOLD_TEXTS(3, what), \
        FIBER_THRESHOLD_TEXTS(4, what), FIBER_THRESHOLD_TEXTS(5, what), FIBER_THRESHOLD_TEXTS(6, what), \
        FIBER_THRESHOLD_TEXTS(7, what), FIBER_THRESHOLD_TEXTS(8, what)
// One text per lane 1-8.
#define FIBER_LANE_TEXTS(what)                                                                 \
    "Channel-1 " what, "Channel-2 " what, "Channel-3 " what, "Channel-4 " what, "Channel-5 " what, \
        "Channel-6 " what, "Channel-7 " what, "Channel-8 " what
#define FIBER_BLANK8 kBlank, kBlank, kBlank, kBlank, kBlank, kBlank, kBlank, kBlank
// Lanes 9-16 of a threshold group: 32 blank ids.
#define FIBER_BLANK_LANES_9_16 FIBER_BLANK8, FIBER_BLANK8, FIBER_BLANK8, FIBER_BLANK8

extern "C" {

constinit const char *fiber_alarms[FIBER_ALARM_COUNT] = {
    // 0-7: module temperature and supply voltage
    "Temp low alarm", "Temp high alarm", "Temp low warn", "Temp high warn",
    "Voltage low alarm", "Voltage high alarm", "Voltage low warn", "Voltage high warn",
    // 8-39: Tx bias, lanes 1-8; 40-71 blank
    FIBER_THRESHOLD_LANES("TX bias"), FIBER_BLANK_LANES_9_16,
    // 72-103: Rx power, lanes 1-8; 104-135 blank
    FIBER_THRESHOLD_LANES("RX power"), FIBER_BLANK_LANES_9_16,
    // 136-167: Tx power, lanes 1-8; 168-199 blank
    FIBER_THRESHOLD_LANES("TX power"), FIBER_BLANK_LANES_9_16,
    // 200-239: per-lane state flags
    FIBER_LANE_TEXTS("RX loss of signal"),      // 200-207
    FIBER_LANE_TEXTS("RX CDR loss of lock"),    // 208-215
    FIBER_LANE_TEXTS("TX loss of signal"),      // 216-223
    FIBER_LANE_TEXTS("TX CDR loss of lock"),    // 224-231
    FIBER_LANE_TEXTS("TX fault"),               // 232-239
    // 240-254: module-level conditions
    "Media-side Pre-FEC BER high alarm",                  // 240
    kBlank,                                               // 241
    "Media-side Pre-FEC BER high warning",                // 242
    "Media-side Rx total power low alarm",                // 243
    "Media-side Rx total power low warning",              // 244
    kBlank, kBlank, kBlank,                               // 245-247
    "Transceiver info checksum error",                    // 248
    "Module not ready",                                   // 249
    "RX not ready",                                       // 250
    "TX CDR loss of lock",                                // 251
    "RX CDR loss of lock",                                // 252
    "Transceiver type and port configuration mismatch",   // 253
    "Transceiver type not supported by port hardware",    // 254
};

#undef FIBER_THRESHOLD_TEXTS
#undef FIBER_THRESHOLD_LANES
#undef FIBER_LANE_TEXTS
#undef FIBER_BLANK8
#undef FIBER_BLANK_LANES_9_16

const char *fiber_get_trans_str_bytype(const char *prefix, fiber_trans_type type) {
    const fiber::fiber_trans_entry_t *row =
        fiber::first_row(fiber::fiber_trans_map, [prefix, type](const fiber::fiber_trans_entry_t &r) {
            // A null prefix matches only unprefixed rows, a string only a
            // prefixed row with the same whole string.
            const bool prefix_agrees = prefix == nullptr ? r.prefix == nullptr
                                                         : r.prefix != nullptr && std::strcmp(r.prefix, prefix) == 0;
            return prefix_agrees && r.type == type;
        });
    return row ? row->name : "Unknown module";
}

void fiber_get_trans_rate_connector_bytype(fiber_trans_type type, uint32_t *rate, uint32_t *connector) {
    *rate = 0;
    *connector = 0;
    const fiber::fiber_trans_entry_t *row = fiber::first_row(
        fiber::fiber_trans_map, [type](const fiber::fiber_trans_entry_t &r) { return r.type == type; });
    if (row) {
        *rate = row->rate;
        *connector = row->connector;
    }
}

void fiber_decode_connect_type(uint8_t code, const char **name_out) {
    if (code & 0x80) {  // SFF-8024: 80h-FFh vendor specific
        *name_out = "Vendor specific";
        return;
    }
    const fiber::fiber_connector_entry_t *row = fiber::first_row(
        fiber::fiber_connector_tab, [code](const fiber::fiber_connector_entry_t &r) { return r.code == code; });
    *name_out = row ? row->name : "unknow connect type";
}

const char *cmis_get_module_state_byencode(uint64_t code) {
    return fiber::state_name(fiber::state_row(fiber::cmis_module_sm, code));
}

const char *cmis_get_datapath_state_byencode(uint64_t code) {
    return fiber::state_name(fiber::state_row(fiber::cmis_datapath_sm, code));
}

const cmis_lane_mask_entry_t *cmis_get_datapath_lane_mask(uint64_t lane) {
    return fiber::first_row(fiber::cmis_datapath_lane_mask,
                            [lane](const cmis_lane_mask_entry_t &r) { return r.lane == lane; });
}

}  // extern "C"
