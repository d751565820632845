// SPDX-License-Identifier: Apache-2.0
// QSFP family (SFF-8436 / SFF-8636): identification, vendor, diagnostics and
// alarm decoders. Page 00h is read with upper-page numbering (128..255), the
// lower page with 0..127. QSFP-DD modules presented as QSFP (identifier 18h)
// are classified from their CMIS positions.
#include "fiber_internal.h"

#include <array>
#include <cstring>
#include <iterator>

namespace {

using namespace fiber;

// ---------------------------------------------------------------------------
// SFF-8024 codes used by the rule tree.
// ---------------------------------------------------------------------------
// Identifier (page 00h byte 128).
constexpr uint8_t kIdQsfp = 0x0C;
constexpr uint8_t kIdQsfpPlus = 0x0D;
constexpr uint8_t kIdQsfp28 = 0x11;
constexpr uint8_t kIdQsfpDd = 0x18;
constexpr uint8_t kIdCmisOther = 0x1E;

// Connector (page 00h byte 130; CMIS page 00h byte 203).
constexpr uint8_t kConnLc = 0x07;
constexpr uint8_t kConnOpticalPigtail = 0x0B;
constexpr uint8_t kConnMpo1x12 = 0x0C;
constexpr uint8_t kConnCopperPigtail = 0x21;
constexpr uint8_t kConnNoSeparable = 0x23;
constexpr uint8_t kConnMpo2x16 = 0x28;

// Encoding (page 00h byte 139).
constexpr uint8_t kEncodingPam4 = 0x08;

// Extended compliance codes (SFF-8024, page 00h byte 192).
constexpr uint8_t kXUnspecified = 0x00;
constexpr uint8_t kX100gSr4 = 0x02;
constexpr uint8_t kX100gLr4 = 0x03;
constexpr uint8_t kX100gEr4 = 0x04;
constexpr uint8_t kX100gCwdm4 = 0x06;
constexpr uint8_t kX100gPsm4 = 0x07;
constexpr uint8_t kX100gAcc = 0x08;
constexpr uint8_t kX100gClr4 = 0x09;
constexpr uint8_t kX100gCr4 = 0x0B;
constexpr uint8_t kX40gPsm4 = 0x12;
constexpr uint8_t kX100gAocLowBer = 0x18;
constexpr uint8_t kX100gAccLowBer = 0x19;
constexpr uint8_t kX100gDwdm2 = 0x1A;
constexpr uint8_t kX40gSwdm4 = 0x1F;
constexpr uint8_t kX100gSwdm4 = 0x20;
constexpr uint8_t kX100gBidi = 0x21;
constexpr uint8_t kX100g4wdm40 = 0x24;
constexpr uint8_t kX100gDr = 0x25;
constexpr uint8_t kX100gFr = 0x26;
constexpr uint8_t kX200gCr4 = 0x40;
constexpr uint8_t kX100gAoc = 0x01;

// 10/40G/100G Ethernet compliance bits (page 00h byte 131).
constexpr unsigned kS40gLr4 = 1;
constexpr unsigned kS40gSr4 = 2;
constexpr unsigned kS40gCr4 = 3;
constexpr unsigned kSExtended = 7;

// Transceiver type ids of the type map that the QSFP rules reach.
enum qsfp_type : uint32_t {
    T_NONE = 1,
    T_40G_ACTIVE_CABLE = 24,
    T_40G_LR4 = 25,
    T_40G_SR4 = 27,
    T_40G_ER4 = 34,
    T_100G_ACTIVE_CABLE = 36,
    T_100G_LR4 = 37,
    T_100G_SR4 = 38,
    T_100G_ER4 = 39,
    T_100G_PSM4 = 42,
    T_100G_ILR4 = 49,
    T_40G_LSR4 = 51,
    T_40G_SWDM4 = 52,
    T_40G_ILR4 = 53,
    T_40G_PSM4 = 54,
    T_40G_SR4_BIDI = 55,
    T_100G_SWDM4 = 56,
    T_100G_PAM4_BIDI = 57,
    T_100G_ER4_LITE = 58,
    T_100G_4WDM40 = 59,
    T_100G_DWDM2 = 60,
    T_40G_ZR = 61,
    T_100G_ZR = 62,
    T_100G_CWDM4 = 63,
    T_40G_PASSIVE_COPPER = 67,
    T_40G_ACTIVE_COPPER = 68,
    T_40G_LOOPBACK = 69,
    T_100G_PASSIVE_COPPER = 70,
    T_100G_ACTIVE_COPPER = 71,
    T_100G_COPPER_LOOPBACK = 72,  // no row in the type map: "Unknown module"
    T_200G_PASSIVE_COPPER = 78,
    T_200G_ACTIVE_COPPER = 79,
    T_400G_SR8 = 80,
    T_400G_DR4 = 81,
    T_400G_FR4 = 82,
    T_400G_PASSIVE_COPPER = 83,
    T_400G_ACTIVE_CABLE = 84,
    T_200G_LOOPBACK = 86,
    T_100G_DR1 = 93,
    T_100G_FR1 = 94,
    T_40G_LX4 = 99,
};

// ---------------------------------------------------------------------------
// The fields the rule tree reads.
// ---------------------------------------------------------------------------
struct qsfp_fields {
    uint8_t id;           // I, page 00h byte 128
    uint8_t connector;    // K, byte 130
    uint8_t compliance;   // S, byte 131
    uint8_t encoding;     // E, byte 139
    uint8_t rate;         // R, byte 140, 100 MBd
    uint8_t smf_km;       // D, byte 142
    uint8_t om3;          // G, byte 143, 2 m
    uint8_t om4_copper;   // W, byte 146, copper m or OM4 2 m
    uint8_t ext;          // X, byte 192
    const uint8_t *name;  // N, bytes 148..
    // CMIS positions of a QSFP-DD module presented as QSFP.
    uint8_t dd_132, dd_134;   // V4, V6
    uint8_t media_type;       // M, lower page byte 85
    uint8_t media_interface;  // A, lower page byte 87
    uint8_t dd_connector;     // T, byte 203

    bool s(unsigned b) const { return (compliance >> b) & 1u; }
};

qsfp_fields read_fields(const uint8_t *page00, const uint8_t *lower) {
    return qsfp_fields{
        .id = byte(page00, 128),
        .connector = byte(page00, 130),
        .compliance = byte(page00, 131),
        .encoding = byte(page00, 139),
        .rate = byte(page00, 140),
        .smf_km = byte(page00, 142),
        .om3 = byte(page00, 143),
        .om4_copper = byte(page00, 146),
        .ext = byte(page00, 192),
        .name = at(page00, 148),
        .dd_132 = byte(page00, 132),
        .dd_134 = byte(page00, 134),
        .media_type = byte(lower, 85),
        .media_interface = byte(lower, 87),
        .dd_connector = byte(page00, 203),
    };
}

// Candidate type and the medium flag that comes with it.
enum class medium : uint8_t { none, copper, active_cable };
struct qsfp_class {
    uint32_t t = T_NONE;
    medium m = medium::none;
    void set(uint32_t type, medium with = medium::none) {
        t = type;
        m = with;
    }
};

// A range row: value from lo to hi (inclusive) gives type, with medium.
struct range_row {
    uint8_t lo, hi;
    uint32_t type;
    medium m;
};

// Applies the first row whose range holds v; false when none does (t is
// then left as it was).
template <std::size_t N>
bool choose(const range_row (&rows)[N], uint8_t v, qsfp_class &c) {
    for (const range_row &r : rows)
        if (v >= r.lo && v <= r.hi) {
            c.set(r.type, r.m);
            return true;
        }
    return false;
}

constexpr bool between(uint8_t v, uint8_t lo, uint8_t hi) { return v >= lo && v <= hi; }

template <std::size_t N>
constexpr bool one_of(uint8_t v, const uint8_t (&set)[N]) {
    for (uint8_t s : set)
        if (v == s) return true;
    return false;
}

// 40G copper length choice, by W (copper length in m).
constexpr range_row kCopperLength40g[] = {
    {1, 7, T_40G_PASSIVE_COPPER, medium::copper},
    {8, 255, T_40G_ACTIVE_COPPER, medium::copper},
    {0, 0, T_40G_LOOPBACK, medium::copper},
};
// 100G copper by W, extended code 0Bh (100GBASE-CR4) and 00h.
constexpr range_row kCopperLength100gCr4[] = {
    {1, 5, T_100G_PASSIVE_COPPER, medium::copper},
    {0, 0, T_100G_COPPER_LOOPBACK, medium::copper},
    {6, 255, T_100G_ACTIVE_COPPER, medium::copper},
};
constexpr range_row kCopperLength100gUnspecified[] = {
    {1, 5, T_100G_PASSIVE_COPPER, medium::copper},
    {0, 0, T_100G_COPPER_LOOPBACK, medium::copper},
};
// 200G copper choice by W (the W = 0 loopback needs K = 23h, see below).
constexpr range_row kCopperLength200g[] = {
    {1, 3, T_200G_PASSIVE_COPPER, medium::copper},
    {4, 6, T_200G_ACTIVE_COPPER, medium::active_cable},
};
// 40G SR4 over MPO by G (OM3 length, 2 m units).
constexpr range_row kSr4ByOm3[] = {
    {1, 99, T_40G_SR4, medium::none},
    {100, 254, T_40G_LSR4, medium::none},
};
// 40G LR4 / iLR4 over LC by D (single-mode km).
constexpr range_row kLr4BySmf[] = {
    {1, 7, T_40G_ILR4, medium::none},
    {8, 14, T_40G_LR4, medium::none},
};
// 40G extended-only LC by D.
constexpr range_row kLong40gBySmf[] = {
    {15, 50, T_40G_ER4, medium::none},
    {51, 90, T_40G_ZR, medium::none},
};
// 100G reach choice by D.
constexpr range_row kReach100g[] = {
    {15, 34, T_100G_ER4_LITE, medium::none},
    {35, 50, T_100G_ER4, medium::none},
    {51, 90, T_100G_ZR, medium::none},
};

// Extended codes of 100G active cables: AOC and ACC, with or without FEC.
constexpr uint8_t kActiveCable100g[] = {kX100gAoc, kX100gSr4, kX100gAcc, kX100gAocLowBer, kX100gAccLowBer};

// Cable rules (identifier 0Ch or 0Dh), by connector.
void cable_rules(const qsfp_fields &f, qsfp_class &c) {
    const bool cr4 = f.s(kS40gCr4), ext = f.s(kSExtended);
    switch (f.connector) {
    case kConnNoSeparable:
        if (!cr4) {
            if (!ext) c.set(T_40G_ACTIVE_CABLE, medium::active_cable);
        } else if (!ext && (f.ext == kXUnspecified || f.ext == kX100gCr4)) {
            choose(kCopperLength40g, f.om4_copper, c);
        }
        break;
    case kConnCopperPigtail:
        if (!cr4 && ext) break;
        if (f.ext == kXUnspecified || f.ext == kX100gCr4)
            choose(kCopperLength40g, f.om4_copper, c);
        else if (f.ext == kX100gAccLowBer)
            c.set(T_40G_ACTIVE_COPPER, medium::copper);
        break;
    case kConnOpticalPigtail:
        if (!cr4 && !ext) c.set(T_40G_ACTIVE_CABLE, medium::active_cable);
        break;
    default:
        break;
    }
}

// 40G MPO rule (identifier 0Dh, R 90..120, connector 0Ch).
void mpo_40g(const qsfp_fields &f, qsfp_class &c) {
    if (f.s(kS40gSr4)) {
        if (!choose(kSr4ByOm3, f.om3, c)) c.set(T_NONE);  // G = 0 or 255
    } else if (f.s(kSExtended)) {
        c.set(f.ext == kX40gPsm4 ? T_40G_PSM4 : T_NONE);
    } else {
        c.set(f.s(kS40gLr4) ? T_40G_PSM4 : T_NONE);
    }
}

// 40G LC rules (identifier 0Dh, R 90..120, connector 07h); first match wins.
void lc_40g(const qsfp_fields &f, qsfp_class &c) {
    const bool lx4 = f.smf_km == 2 && f.om3 == 75;
    if (f.rate == 103 && f.smf_km == 0 && between(f.om3, 1, 99))
        c.set(T_40G_SR4_BIDI);
    else if (f.s(kSExtended) && f.ext == kX40gSwdm4)
        c.set(T_40G_SWDM4);
    else if (f.s(kS40gLr4) || f.s(kS40gSr4)) {
        if (!choose(kLr4BySmf, f.smf_km, c)) c.set(T_NONE);
    } else if (f.compliance == 1u << kSExtended) {  // the extended code alone
        if (f.smf_km == 2)
            c.set(lx4 ? T_40G_LX4 : T_NONE);
        else if (!choose(kLong40gBySmf, f.smf_km, c))
            c.set(T_NONE);
    } else
        c.set(lx4 ? T_40G_LX4 : T_NONE);
}

// 100G MPO rule: applies only with the extended code bit; no match leaves t.
void mpo_100g(const qsfp_fields &f, qsfp_class &c) {
    if (!f.s(kSExtended)) return;
    if (f.ext == kX100gSr4) c.set(T_100G_SR4);
    if (f.ext == kX100gPsm4) c.set(T_100G_PSM4);
}

// 100G LC rule: applies only with the extended code bit; no match leaves t.
void lc_100g(const qsfp_fields &f, qsfp_class &c) {
    if (!f.s(kSExtended)) return;
    switch (f.ext) {
    case kX100gLr4:
        if (between(f.smf_km, 8, 14))
            c.set(T_100G_LR4);
        else
            choose(kReach100g, f.smf_km, c);
        break;
    case kX100gEr4:
        choose(kReach100g, f.smf_km, c);
        break;
    case kX100gCwdm4:
    case kX100gClr4:
        if (f.smf_km <= 7) c.set(std::memcmp(f.name, "TALMOR", 6) == 0 ? T_100G_ILR4 : T_100G_CWDM4);
        break;
    case kX100gDwdm2:
        if (f.smf_km == 80) c.set(T_100G_DWDM2);
        break;
    case kX100g4wdm40:
        if (between(f.smf_km, 35, 50)) c.set(T_100G_4WDM40);
        break;
    default:
        break;
    }
}

// Identifier 0Ch (QSFP).
void rules_qsfp(const qsfp_fields &f, qsfp_class &c) { cable_rules(f, c); }

// Identifier 0Dh (QSFP+).
void rules_qsfp_plus(const qsfp_fields &f, qsfp_class &c) {
    if (between(f.rate, 90, 120)) {
        if (f.connector == kConnMpo1x12) {
            mpo_40g(f, c);
            mpo_100g(f, c);
        } else if (f.connector == kConnLc) {
            lc_40g(f, c);
            lc_100g(f, c);
        } else {
            cable_rules(f, c);
        }
    } else if (f.rate == 206 && f.connector == kConnLc) {
        if (f.smf_km == 0 && between(f.om3, 1, 99)) c.set(T_40G_SR4_BIDI);
        lc_100g(f, c);
    } else {
        cable_rules(f, c);
        if (f.connector == kConnMpo1x12) mpo_100g(f, c);
        if (f.connector == kConnLc) lc_100g(f, c);
    }
}

// 200G copper choice (QSFP28 copper, PAM4 encoding, extended code 40h).
void copper_200g(const qsfp_fields &f, qsfp_class &c) {
    if (f.encoding != kEncodingPam4 || f.ext != kX200gCr4) return;
    if (!choose(kCopperLength200g, f.om4_copper, c) && f.om4_copper == 0 && f.connector == kConnNoSeparable)
        c.set(T_200G_LOOPBACK, medium::copper);
}

// Identifier 11h (QSFP28), by connector.
void rules_qsfp28(const qsfp_fields &f, qsfp_class &c) {
    const bool ext = f.s(kSExtended);
    switch (f.connector) {
    case kConnMpo1x12:
        mpo_100g(f, c);
        break;
    case kConnLc:
        if (!ext) {
            c.set(T_NONE);
            break;
        }
        if (f.ext == kX100gSwdm4) c.set(T_100G_SWDM4);
        if (f.ext == kX100gBidi) c.set(T_100G_PAM4_BIDI);
        if (f.ext == kX100gDr && f.smf_km == 1) c.set(T_100G_DR1);
        if (f.ext == kX100gFr) c.set(T_100G_FR1);
        lc_100g(f, c);
        break;
    case kConnCopperPigtail:
    case kConnNoSeparable:
        if (!ext) {
            if (f.connector == kConnNoSeparable && !f.s(kS40gCr4))
                c.set(T_100G_ACTIVE_CABLE, medium::active_cable);
            else
                c.set(T_NONE);
            break;
        }
        if (f.ext == kX100gCr4) choose(kCopperLength100gCr4, f.om4_copper, c);
        if (f.ext == kXUnspecified) choose(kCopperLength100gUnspecified, f.om4_copper, c);
        if (f.connector == kConnCopperPigtail) {
            if (f.ext == kX100gAccLowBer)
                c.set(T_100G_ACTIVE_COPPER, medium::copper);
            else
                copper_200g(f, c);
        } else {
            if (one_of(f.ext, kActiveCable100g))
                c.set(T_100G_ACTIVE_CABLE, medium::active_cable);
            else
                copper_200g(f, c);
        }
        break;
    case kConnOpticalPigtail:
        if (ext ? one_of(f.ext, kActiveCable100g) : !f.s(kS40gCr4))
            c.set(T_100G_ACTIVE_CABLE, medium::active_cable);
        else
            c.set(T_NONE);
        break;
    default:
        c.set(T_NONE);
        break;
    }
}

// Identifier 18h (QSFP-DD presented as QSFP): CMIS page 00h bytes 132/134/
// 203 and lower page bytes 85 (module media type) and 87 (first media
// interface code); first match wins.
void rules_qsfp_dd(const qsfp_fields &f, qsfp_class &c) {
    if (f.dd_134 == 0x32 && f.media_type == 0x01)
        c.set(f.media_interface == 0x10 && f.dd_connector == kConnMpo2x16 ? T_400G_SR8 : T_NONE);
    else if (f.dd_132 == 0x05 && f.media_type == 0x02)
        c.set(f.media_interface == 0x1C && f.dd_connector == kConnMpo1x12 ? T_400G_DR4 : T_NONE);
    else if (f.dd_132 == 0x42 && f.media_type == 0x02)
        c.set(f.media_interface == 0x1D && f.dd_connector == kConnLc ? T_400G_FR4 : T_NONE);
    else if (f.dd_connector == kConnCopperPigtail || f.dd_connector == kConnNoSeparable) {
        if (f.media_type == 0x03)
            c.set(T_400G_PASSIVE_COPPER, medium::copper);
        else if (f.media_type == 0x04)
            c.set(T_400G_ACTIVE_CABLE, medium::active_cable);
        else
            c.set(T_NONE);
    } else
        c.set(T_NONE);
}

// Identifiers every QSFP decoder accepts: 0Ch, 0Dh, 11h, and the two CMIS
// identifiers that is_qsfp_id_invalid lets through.
bool qsfp_id_accepted(uint8_t id) {
    return id == kIdQsfp || id == kIdQsfpPlus || id == kIdQsfp28 || !is_qsfp_id_invalid(id);
}

// SFF-8636 byte 131 bits 7, 3, 2, 1, 0 (10G codes, bits 6..4, do not count).
constexpr uint8_t kComplianceCounted = 0x8F;
// Byte 131 bits that carry monitors: extended, 40GBASE-SR4, 40GBASE-LR4.
constexpr uint8_t kComplianceWithMonitors = 0x86;

// ---------------------------------------------------------------------------
// Lower page interrupt flags (SFF-8636 bytes 2..14) to alarm ids; the same
// ids name the diagnostics flag bits.
// ---------------------------------------------------------------------------
// Two lanes per byte: the odd lane in bits 7..4, the even lane in 3..0; each
// nibble from its top bit: high alarm (k=1), low alarm (k=0), high warning
// (k=3), low warning (k=2); id = base + 4 * (lane - 1) + k.
constexpr std::array<flag_map_row, 8> lane_pair(uint8_t byte_no, uint8_t base, uint8_t odd_lane) {
    constexpr uint8_t k_from_top[4] = {1, 0, 3, 2};
    std::array<flag_map_row, 8> rows{};
    for (unsigned half = 0; half < 2; ++half) {
        const uint8_t lane = static_cast<uint8_t>(odd_lane + half);
        const unsigned top = half == 0 ? 7 : 3;
        for (unsigned i = 0; i < 4; ++i)
            rows[half * 4 + i] = flag_map_row{byte_no, static_cast<uint8_t>(top - i),
                                              static_cast<uint8_t>(base + 4 * (lane - 1) + k_from_top[i]), lane};
    }
    return rows;
}

constexpr flag_map_row kModuleRows[] = {
    {2, 0, 249, 0},  // data not ready ("Module not ready")
    {6, 7, 1, 0},    // temperature high alarm
    {6, 6, 0, 0},    // temperature low alarm
    {6, 5, 3, 0},    // temperature high warning
    {6, 4, 2, 0},    // temperature low warning
    {7, 7, 5, 0},    // supply voltage high alarm
    {7, 6, 4, 0},    // supply voltage low alarm
    {7, 5, 7, 0},    // supply voltage high warning
    {7, 4, 6, 0},    // supply voltage low warning
};

constexpr flag_map_row kLaneStateRows[] = {
    // byte 3: Rx LOS lanes 1..4 in bits 0..3, Tx LOS lanes 1..4 in bits 4..7
    {3, 0, FIBER_ALARM_RX_LOS_BASE + 0, 1},
    {3, 1, FIBER_ALARM_RX_LOS_BASE + 1, 2},
    {3, 2, FIBER_ALARM_RX_LOS_BASE + 2, 3},
    {3, 3, FIBER_ALARM_RX_LOS_BASE + 3, 4},
    {3, 4, FIBER_ALARM_TX_LOS_BASE + 0, 1},
    {3, 5, FIBER_ALARM_TX_LOS_BASE + 1, 2},
    {3, 6, FIBER_ALARM_TX_LOS_BASE + 2, 3},
    {3, 7, FIBER_ALARM_TX_LOS_BASE + 3, 4},
    // byte 4: Tx fault lanes 1..4 in bits 0..3 (bits 4..7 not used)
    {4, 0, FIBER_ALARM_TX_FAULT_BASE + 0, 1},
    {4, 1, FIBER_ALARM_TX_FAULT_BASE + 1, 2},
    {4, 2, FIBER_ALARM_TX_FAULT_BASE + 2, 3},
    {4, 3, FIBER_ALARM_TX_FAULT_BASE + 3, 4},
};

constexpr std::array<std::array<flag_map_row, 8>, 6> kLaneThresholdRows = {
    lane_pair(9, FIBER_ALARM_RX_POWER_BASE, 1),  lane_pair(10, FIBER_ALARM_RX_POWER_BASE, 3),
    lane_pair(11, FIBER_ALARM_TX_BIAS_BASE, 1),  lane_pair(12, FIBER_ALARM_TX_BIAS_BASE, 3),
    lane_pair(13, FIBER_ALARM_TX_POWER_BASE, 1), lane_pair(14, FIBER_ALARM_TX_POWER_BASE, 3),
};

constexpr std::size_t kLowerFlagRows =
    std::size(kModuleRows) + std::size(kLaneStateRows) + kLaneThresholdRows.size() * 8;

constexpr std::array<flag_map_row, kLowerFlagRows> build_lower_flags() {
    std::array<flag_map_row, kLowerFlagRows> rows{};
    std::size_t n = 0;
    for (const flag_map_row &r : kModuleRows) rows[n++] = r;
    for (const auto &pair : kLaneThresholdRows)
        for (const flag_map_row &r : pair) rows[n++] = r;
    for (const flag_map_row &r : kLaneStateRows) rows[n++] = r;
    return rows;
}

// The lower page flag map, shared by the diagnostics and alarm decoders.
constexpr std::array<flag_map_row, kLowerFlagRows> kLowerFlags = build_lower_flags();

}  // namespace

namespace fiber {

uint8_t is_qsfp_id_invalid(uint8_t id) { return id == kIdCmisOther || id == kIdQsfpDd ? 0 : 1; }

uint8_t qsfp_check_support_ddm(const uint8_t *lower) {
    // SFF-8636 bytes 22-23 temperature, 26-27 supply voltage, 34-57 the Rx
    // power, Tx bias and Tx power words of lanes 1-4.
    if (word(lower, 22) || word(lower, 26)) return 1;
    for (unsigned n = 34; n <= 56; n += 2)
        if (word(lower, n)) return 1;
    return 0;
}

}  // namespace fiber

extern "C" {

void fiber_decode_qsfp_normal(const uint8_t *page00, const uint8_t *lower, fiber_normal_info_t *info) {
    if (!page00 || !lower || !info) return;
    info->type_name = "Unknown QSFP+ module";
    info->trans_type = T_NONE;

    const qsfp_fields f = read_fields(page00, lower);
    if (!qsfp_id_accepted(f.id)) {
        info->unsupported = 1;
        return;
    }
    qsfp_class c;
    switch (f.id) {
    case kIdQsfp: rules_qsfp(f, c); break;
    case kIdQsfpPlus: rules_qsfp_plus(f, c); break;
    case kIdQsfp28: rules_qsfp28(f, c); break;
    case kIdQsfpDd: rules_qsfp_dd(f, c); break;
    default: break;  // 1Eh: no rule
    }
    if (c.t == T_NONE) {
        info->unsupported = 1;
        return;
    }
    if (c.m == medium::copper) info->is_copper = 1;
    if (c.m == medium::active_cable) info->is_active_cable = 1;

    info->type_name = fiber_get_trans_str_bytype(nullptr, c.t);
    fiber_get_trans_rate_connector_bytype(c.t, &info->rate_mbps, &info->connector_class);
    info->trans_type = c.t;
    fiber_decode_connect_type(f.connector, &info->connector_name);

    // Bytes 186-187 wavelength (0.05 nm), 188-189 tolerance (0.005 nm).
    if (const uint16_t wl = word(page00, 186)) info->wavelength_nm = static_cast<float>(wl) / 20.0f;
    info->wavelength_tolerance_nm = static_cast<float>(word(page00, 188)) / 200.0f;

    // Lengths: 142 SMF km, 143 OM3 2 m, 144 OM2 m, 145 OM1 m, 146 copper m
    // for a cable connector, otherwise OM4 2 m.
    if (f.smf_km) info->length_smf_km = f.smf_km;
    if (f.om3) info->length_om3_m = f.om3 * 2u;
    if (const uint8_t om2 = byte(page00, 144)) info->length_om2_m = om2;
    if (const uint8_t om1 = byte(page00, 145)) info->length_om1_m = om1;
    if (f.om4_copper) {
        if (f.connector == kConnCopperPigtail || f.connector == kConnNoSeparable ||
            f.connector == kConnOpticalPigtail)
            info->length_copper_m = f.om4_copper;
        else
            info->length_om4_m = f.om4_copper * 2u;
    }

    info->ddm_supported = qsfp_check_support_ddm(lower);
    std::memcpy(info->serial_number, at(page00, 196), 16);  // bytes 196-211
    info->is_qsfp = 1;
}

void fiber_decode_qsfp_vendor(const uint8_t *id_block, fiber_vendor_info_t *info) {
    if (!id_block || !info) return;
    if (!qsfp_id_accepted(byte(id_block, 128))) {
        info->unsupported = 1;
        return;
    }
    std::memcpy(info->vendor_name, at(id_block, 148), 16);  // bytes 148-163
    std::memcpy(info->vendor_oui, at(id_block, 165), 3);    // bytes 165-167
    std::memcpy(info->vendor_pn, at(id_block, 168), 16);    // bytes 168-183
    std::memcpy(info->vendor_rev, at(id_block, 184), 2);    // bytes 184-185
    std::memcpy(info->date_code, at(id_block, 212), 8);     // bytes 212-219
    info->encoding = qsfp_encoding_name(byte(id_block, 139));
}

void fiber_decode_qsfp_diag(const uint8_t *page00, const uint8_t *lower, const uint8_t *page03,
                            fiber_diag_info_t *info) {
    if (!lower || !info || !page00) return;
    if (!qsfp_id_accepted(byte(page00, 128)) || (byte(page00, 131) & kComplianceCounted) == 0) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = qsfp_check_support_ddm(lower);
    info->rx_power_type = bit(page00, 220, 3);  // byte 220 bit 3: average power

    info->temperature = temperature_degrees(sword(lower, 22));
    info->voltage = word(lower, 26);
    for (unsigned lane = 0; lane < 4; ++lane) {
        info->rx_power[lane] = power_dbm(word(lower, 34 + 2 * lane));
        info->tx_bias[lane] = word(lower, 42 + 2 * lane);
        info->tx_power[lane] = power_dbm(word(lower, 50 + 2 * lane));
    }
    raise_diag_flags(lower, kLowerFlags, info);

    info->qsfp_done = 1;
    info->thresholds_valid = 0;
    info->module_type = FIBER_DIAG_QSFP;
    if (!page03) return;
    // Page 03h: temperature 128, voltage 144, Rx power 176, Tx bias 184, Tx
    // power 192; each block high alarm, low alarm, high warning, low warning.
    decode_thresholds(page03, threshold_layout{.temperature = 128, .voltage = 144, .tx_bias = 184, .rx_power = 176,
                                               .tx_power = 192},
                      info);
    info->thresholds_valid = 1;
}

void fiber_decode_qsfp_alarm(const uint8_t *page00, const uint8_t *lower, fiber_alarm_info_t *info) {
    if (!page00 || !lower || !info) return;
    const uint8_t compliance = byte(page00, 131);
    if (!qsfp_id_accepted(byte(page00, 128)) || (compliance & kComplianceCounted) == 0) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = (compliance & kComplianceWithMonitors) ? qsfp_check_support_ddm(lower) : 0;
    info->alarm_id_count = FIBER_ALARM_COUNT;

    // Check codes: byte 191 over bytes 128-190, then byte 223 over 192-222.
    if (get_check_code(at(page00, 128), 63) != byte(page00, 191) ||
        get_check_code(at(page00, 192), 31) != byte(page00, 223))
        alarm_set(info, FIBER_ALARM_CHECKSUM);

    raise_alarms(lower, kLowerFlags, info);
    info->qsfp_done = 1;
}

}  // extern "C"
