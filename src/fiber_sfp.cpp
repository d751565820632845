// SPDX-License-Identifier: Apache-2.0
// SFP family (SFF-8472: SFP, SFP+, SFP28): identification, vendor,
// diagnostics and alarms. The A0h block is the serial ID (bytes 0-127), the
// A2h block the diagnostics (bytes 0-127); bytes are named as SFF-8472
// numbers them.
#include "fiber_internal.h"

#include <cstring>

namespace {

using namespace fiber;

// ---------------------------------------------------------------------------
// A0h bytes and codes.
// ---------------------------------------------------------------------------
enum a0_byte : unsigned {
    A0_IDENTIFIER = 0,
    A0_CONNECTOR = 2,
    A0_10G_COMPLIANCE = 3,     // bit 6: 10GBASE-LRM
    A0_ETH_COMPLIANCE = 6,     // 01h 1000BASE-SX, 02h 1000BASE-LX, 08h 1000BASE-T
    A0_CABLE_TECHNOLOGY = 8,   // bit 3 active cable, bit 2 passive cable
    A0_FC_SPEED = 10,
    A0_ENCODING = 11,
    A0_BR_NOMINAL = 12,        // units of 100 MBd; FFh: see byte 66
    A0_LENGTH_SMF_KM = 14,
    A0_LENGTH_SMF_100M = 15,
    A0_LENGTH_OM2 = 16,        // units of 10 m
    A0_LENGTH_OM1 = 17,        // units of 10 m
    A0_LENGTH_OM4_COPPER = 18, // OM4 in units of 10 m, or copper cable in m
    A0_LENGTH_OM3 = 19,        // units of 10 m
    A0_VENDOR_NAME = 20,
    A0_EXT_COMPLIANCE = 36,
    A0_VENDOR_OUI = 37,
    A0_VENDOR_PN = 40,
    A0_VENDOR_REV = 56,
    A0_WAVELENGTH = 60,
    A0_CC_BASE = 63,
    A0_BR_MAX_SFP28 = 66,      // units of 250 MBd when byte 12 is FFh
    A0_VENDOR_SN = 68,
    A0_DATE_CODE = 84,
    A0_DIAG_MONITORING = 92,   // bit 3: received power measured as average
    A0_ENHANCED_OPTIONS = 93,  // bit 5 Tx fault, bit 4 Rx LOS monitored in A2h byte 110
    A0_CC_EXT = 95,
    A0_VENDOR_SPECIFIC = 96,
};

constexpr uint8_t kIdSfp = 0x03;       // SFF-8024: SFP/SFP+/SFP28
constexpr uint8_t kIdSfpVendor = 0x82; // vendor-specific identifier, decoded as SFP

constexpr uint8_t kConnOpticalPigtail = 0x0B;
constexpr uint8_t kConnCopperPigtail = 0x21;
constexpr uint8_t kConnRj45 = 0x22;
constexpr uint8_t kConnNoSeparable = 0x23;

constexpr uint8_t kEth1000BaseSx = 0x01;  // A0h byte 6
constexpr uint8_t kEth1000BaseLx = 0x02;
constexpr uint8_t kEth1000BaseT = 0x08;
constexpr uint8_t kExt10GBaseT = 0x16;    // A0h byte 36: 10GBASE-T with SFI electrical interface
constexpr uint8_t kFcSpeedMask = 0x74;    // A0h byte 10 bits 6, 5, 4, 2
constexpr uint8_t kBrSfp28 = 255;         // A0h byte 12: rate given in byte 66

// A0h byte 8 bits 3-2, as one two-bit value.
enum cable_bits : uint8_t { CABLE_NONE = 0, CABLE_PASSIVE = 1, CABLE_ACTIVE = 2, CABLE_BOTH = 3 };
cable_bits cable_technology(const uint8_t *a0) {
    return static_cast<cable_bits>((byte(a0, A0_CABLE_TECHNOLOGY) >> 2) & 3u);
}

bool sfp_identifier(const uint8_t *a0) {
    const uint8_t id = byte(a0, A0_IDENTIFIER);
    return id == kIdSfp || id == kIdSfpVendor;
}

bool cable_connector(uint8_t k) { return k == kConnCopperPigtail || k == kConnNoSeparable; }

// Transceiver type ids this decoder settles on directly.
constexpr fiber_trans_type kTypeNone = 1;
constexpr fiber_trans_type kType100BaseGt = 2;
constexpr fiber_trans_type kType100Copper = 7;
constexpr fiber_trans_type kType1000BaseGt = 8;
constexpr fiber_trans_type kType1000BaseZx = 12;
constexpr fiber_trans_type kType1000Copper = 13;
constexpr fiber_trans_type kType2g5Copper = 28;
constexpr fiber_trans_type kType10GActiveCable = 33;
constexpr fiber_trans_type kType10GBaseLrm = 50;
constexpr fiber_trans_type kType10GPassiveCopper = 64;
constexpr fiber_trans_type kType10GLoopback = 66;
constexpr fiber_trans_type kType10GBaseT = 103;
constexpr fiber_trans_type kTypeTriSpeedGt = 119;
constexpr fiber_trans_type kType25GPassiveCopper = 73;
constexpr fiber_trans_type kType25GLoopback = 75;
constexpr fiber_trans_type kType25GActiveCable = 48;

constexpr const char *kUnknownSfp = "Unknown SFP module";
constexpr const char *kUnknownSfp28 = "Unknown SFP28 module";

// ---------------------------------------------------------------------------
// Name prefixes.
// ---------------------------------------------------------------------------
// P_UNKNOWN: no prefix, the module is named otherwise; P_ANY: table row for every other prefix.
enum prefix_id : uint8_t { P_100BASE, P_1000BASE, P_TRI_BASE, P_10GBASE, P_100, P_1000, P_2G5, P_10G, P_UNKNOWN, P_ANY };
constexpr const char *kPrefixText[] = {"100BASE", "1000BASE", "10/100/1000BASE", "10GBASE",
                                       "100",     "1000",     "2.5G",            "10G"};

// Rate families outside 10G, first match wins (A0h byte 12).
struct rate_family_row {
    uint8_t br_min, br_max;
    prefix_id copper_pigtail;  // connector 21h
    prefix_id other;           // any other connector
};
constexpr rate_family_row kRateFamilies[] = {
    {10, 14, P_1000, P_1000BASE},
    {1, 2, P_100, P_100BASE},
    {25, 25, P_2G5, P_UNKNOWN},
};
constexpr uint8_t kBr10GMin = 90, kBr10GMax = 120;
constexpr uint8_t kPassiveCopperMaxM = 7;  // A0h byte 18, longest 10G passive copper cable

// Fibre Channel speed (A0h byte 10), highest priority first.
struct fc_speed_row {
    uint8_t bit;
    const char *prefix;
};
constexpr fc_speed_row kFcSpeeds[] = {
    {5, "FC(16G) "},  // 1600 MB/s
    {6, "FC(8G) "},   // 800 MB/s
    {4, "FC(4G) "},   // 400 MB/s
    {2, "FC(2G) "},   // 200 MB/s
};

// ---------------------------------------------------------------------------
// Distance classes of the longest stated link length L (metres).
// ---------------------------------------------------------------------------
enum distance_class : uint8_t { D_S, D_L, D_E, D_Z, D_NONE };

template <class T>
struct up_to_row {
    uint32_t max_m;
    T value;
};
// First row whose bound is at least L, else the fallback.
template <class T, std::size_t N>
constexpr T first_up_to(const up_to_row<T> (&rows)[N], uint32_t length_m, T fallback) {
    for (const up_to_row<T> &r : rows)
        if (length_m <= r.max_m) return r.value;
    return fallback;
}

constexpr up_to_row<distance_class> kDistanceClasses[] = {
    {0, D_NONE}, {1000, D_S}, {15000, D_L}, {45000, D_E}, {120000, D_Z},
};
constexpr uint32_t kZxWithin90km = 90000;

// Candidate type by prefix and distance class; the last row is every other prefix.
struct candidate_row {
    prefix_id prefix;
    fiber_trans_type by_class[4];  // S, L, E, Z
};
constexpr candidate_row kCandidates[] = {
    {P_100BASE, {3, 4, 5, 6}},
    {P_10GBASE, {15, 16, 17, 18}},
    {P_ANY, {9, 10, 11, 12}},
};

fiber_trans_type candidate_type(prefix_id prefix, distance_class cls) {
    if (cls == D_NONE) return kTypeNone;
    for (const candidate_row &r : kCandidates)
        if (r.prefix == prefix || r.prefix == P_ANY) return r.by_class[cls];
    return kTypeNone;
}

// Copper-pigtail type by prefix (connector 21h outside 10G); the last row is every other prefix.
struct copper_row {
    prefix_id prefix;
    fiber_trans_type type;
};
constexpr copper_row kCopperTypes[] = {{P_100, kType100Copper}, {P_2G5, kType2g5Copper}, {P_ANY, kType1000Copper}};

fiber_trans_type copper_type(prefix_id prefix) {
    for (const copper_row &r : kCopperTypes)
        if (r.prefix == prefix || r.prefix == P_ANY) return r.type;
    return kType1000Copper;
}

// SFP28 type by L (A0h byte 66 rate); L = 0 counts as short reach.
constexpr up_to_row<fiber_trans_type> kSfp28Types[] = {
    {1000, 43}, {15000, 44}, {45000, 45}, {120000, 46},
};
constexpr uint8_t kSfp28CopperMaxM = 5;

uint32_t longest_length(const uint8_t *a0) {
    const uint32_t lengths[] = {
        byte(a0, A0_LENGTH_SMF_KM) * 1000u, byte(a0, A0_LENGTH_SMF_100M) * 100u,
        byte(a0, A0_LENGTH_OM2) * 10u,      byte(a0, A0_LENGTH_OM1) * 10u,
        byte(a0, A0_LENGTH_OM3) * 10u,      byte(a0, A0_LENGTH_OM4_COPPER),
    };
    uint32_t l = 0;
    for (uint32_t v : lengths) l = v > l ? v : l;
    return l;
}

void set_type(fiber_normal_info_t *info, const char *prefix, fiber_trans_type t) {
    info->type_name = fiber_get_trans_str_bytype(prefix, t);
    fiber_get_trans_rate_connector_bytype(t, &info->rate_mbps, &info->connector_class);
    info->trans_type = static_cast<uint32_t>(t);
}

// 10G cable rule: passive copper, loopback plug or active cable by A0h byte 8 and the connector.
fiber_trans_type cable_rule(const uint8_t *a0, fiber_trans_type t) {
    const uint8_t k = byte(a0, A0_CONNECTOR);
    if (k == kConnOpticalPigtail) return kType10GActiveCable;
    if (!cable_connector(k)) return t;
    switch (cable_technology(a0)) {
    case CABLE_PASSIVE: {
        const uint8_t copper_m = byte(a0, A0_LENGTH_OM4_COPPER);
        if (copper_m == 0) return kType10GLoopback;
        return copper_m <= kPassiveCopperMaxM ? kType10GPassiveCopper : t;
    }
    case CABLE_BOTH:
        return t;
    default:
        return kType10GActiveCable;
    }
}

// Rate family and prefix from A0h byte 12 and the connector; P_UNKNOWN when
// the module is named otherwise (Fibre Channel or unknown), already written.
prefix_id rate_family(const uint8_t *a0, fiber_normal_info_t *info) {
    const uint8_t br = byte(a0, A0_BR_NOMINAL);
    const uint8_t k = byte(a0, A0_CONNECTOR);
    if (br >= kBr10GMin && br <= kBr10GMax) {
        if (cable_connector(k)) {
            switch (cable_technology(a0)) {
            case CABLE_PASSIVE: info->is_copper = 1; break;
            case CABLE_BOTH: break;
            default: info->is_active_cable = 1; break;
            }
        } else if (k == kConnOpticalPigtail) {
            info->is_active_cable = 1;
        }
        return info->is_copper || info->is_active_cable ? P_10G : P_10GBASE;
    }
    const bool copper = k == kConnCopperPigtail;
    if (copper) info->is_copper = 1;
    for (const rate_family_row &r : kRateFamilies) {
        if (br < r.br_min || br > r.br_max) continue;
        const prefix_id p = copper ? r.copper_pigtail : r.other;
        if (p == P_UNKNOWN) info->type_name = kUnknownSfp;
        return p;
    }
    if (byte(a0, A0_10G_COMPLIANCE) == 0 && (byte(a0, A0_FC_SPEED) & kFcSpeedMask)) {
        for (const fc_speed_row &r : kFcSpeeds) {
            if (!bit(a0, A0_FC_SPEED, r.bit)) continue;
            info->name_prefix = r.prefix;
            break;
        }
        info->type_name = "SFP Module";
        return P_UNKNOWN;
    }
    if (byte(a0, A0_ETH_COMPLIANCE) == kEth1000BaseT && br == 0) return P_TRI_BASE;
    info->type_name = kUnknownSfp;
    return P_UNKNOWN;
}

// SFP, SFP+ type decision: longest length, candidate type, refinements, naming.
void decide_type(const uint8_t *a0, prefix_id prefix, fiber_normal_info_t *info) {
    const char *prefix_text = kPrefixText[prefix];
    info->name_prefix = prefix_text;
    const uint32_t length = longest_length(a0);
    const distance_class cls = first_up_to(kDistanceClasses, length, D_NONE);
    fiber_trans_type t = candidate_type(prefix, cls);
    if (cls == D_Z && t == kType1000BaseZx && length <= kZxWithin90km) info->zx_within_90km = 1;

    const bool base_t = byte(a0, A0_ETH_COMPLIANCE) == kEth1000BaseT;
    bool rj45 = false;
    switch (prefix) {
    case P_10GBASE:
        if (bit(a0, A0_10G_COMPLIANCE, 6)) t = kType10GBaseLrm;
        if (byte(a0, A0_EXT_COMPLIANCE) == kExt10GBaseT) t = kType10GBaseT;
        t = cable_rule(a0, t);
        break;
    case P_10G:
        t = cable_rule(a0, t);
        break;
    case P_100BASE:
        if (base_t) {
            t = kType100BaseGt;
            rj45 = true;
        }
        break;
    default:
        if (base_t) {
            t = kType1000BaseGt;
            rj45 = true;
        } else if (byte(a0, A0_CONNECTOR) == kConnCopperPigtail)
            t = copper_type(prefix);
        break;
    }
    if (rj45) {
        info->connector_name = "RJ45";
        if (byte(a0, A0_BR_NOMINAL) == 0) t = kTypeTriSpeedGt;
    }
    if (t == kTypeNone) {
        info->name_prefix = nullptr;
        info->type_name = kUnknownSfp;
        return;
    }
    set_type(info, prefix_text, t);
    info->is_rj45 = t == kType100BaseGt || t == kType1000BaseGt || t == kTypeTriSpeedGt;
}

// SFP28: nominal rate in A0h byte 66 (units of 250 MBd) when byte 12 is FFh.
void decide_sfp28(const uint8_t *a0, fiber_normal_info_t *info) {
    const uint8_t br = byte(a0, A0_BR_MAX_SFP28);
    if (br != 0 && (br < 91 || br > 119)) return;
    fiber_trans_type t = first_up_to(kSfp28Types, longest_length(a0), kTypeNone);
    const uint8_t k = byte(a0, A0_CONNECTOR);
    const uint8_t copper_m = byte(a0, A0_LENGTH_OM4_COPPER);
    if (k == kConnOpticalPigtail) {
        info->is_active_cable = 1;
        t = kType25GActiveCable;
    } else if (cable_connector(k)) {
        const cable_bits cable = cable_technology(a0);
        if (cable == CABLE_PASSIVE && copper_m <= kSfp28CopperMaxM) {
            info->is_copper = 1;
            t = copper_m == 0 ? kType25GLoopback : kType25GPassiveCopper;
        } else if (cable == CABLE_ACTIVE) {
            info->is_active_cable = 1;
            t = kType25GActiveCable;
            if (copper_m > kSfp28CopperMaxM) info->is_copper = 1;
        }
    }
    if (t == kTypeNone) {
        info->type_name = kUnknownSfp28;
        return;
    }
    set_type(info, nullptr, t);
}

void copy_field(char *dst, const uint8_t *a0, unsigned n, std::size_t len) { std::memcpy(dst, at(a0, n), len); }

// Wavelength, lengths, diagnostics support, serial number.
void decode_details(const uint8_t *a0, fiber_normal_info_t *info) {
    const uint16_t wavelength = word(a0, A0_WAVELENGTH);
    const uint8_t eth = byte(a0, A0_ETH_COMPLIANCE);
    if (wavelength)
        info->wavelength_nm = static_cast<float>(wavelength);
    else if (eth == kEth1000BaseSx)
        info->wavelength_nm = 850.0f;
    else if (eth == kEth1000BaseLx)
        info->wavelength_nm = 1310.0f;

    if (byte(a0, A0_LENGTH_SMF_KM))
        info->length_smf_km = byte(a0, A0_LENGTH_SMF_KM);
    else if (byte(a0, A0_LENGTH_SMF_100M))
        info->length_smf_km_from_100m = byte(a0, A0_LENGTH_SMF_100M) / 10u;
    info->length_om2_m = byte(a0, A0_LENGTH_OM2) * 10u;
    info->length_om1_m = byte(a0, A0_LENGTH_OM1) * 10u;
    info->length_om3_m = byte(a0, A0_LENGTH_OM3) * 10u;

    if (const uint8_t b18 = byte(a0, A0_LENGTH_OM4_COPPER)) {
        const uint8_t k = byte(a0, A0_CONNECTOR);
        const bool copper = k == kConnCopperPigtail || k == kConnRj45 || k == kConnNoSeparable ||
                            k == kConnOpticalPigtail || info->trans_type == kType10GBaseT || info->is_rj45;
        if (copper)
            info->length_copper_m = b18;
        else
            info->length_om4_m = b18 * 10u;
    }
    info->ddm_supported = byte(a0, A0_DIAG_MONITORING) != 0;
    copy_field(info->serial_number, a0, A0_VENDOR_SN, 16);
    copy_field(info->vendor_specific, a0, A0_VENDOR_SPECIFIC, 16);
    info->is_sfp = 1;
}

// ---------------------------------------------------------------------------
// A2h diagnostics block.
// ---------------------------------------------------------------------------
enum a2_byte : unsigned {
    A2_RX_PWR4 = 56,  // Rx_PWR(4) .. Rx_PWR(0): IEEE-754 singles at 56, 60, 64, 68, 72
    A2_TX_I_SLOPE = 76,
    A2_TX_PWR_SLOPE = 80,
    A2_T_SLOPE = 84,
    A2_V_SLOPE = 88,
    A2_TEMPERATURE = 96,
    A2_VCC = 98,
    A2_TX_BIAS = 100,
    A2_TX_POWER = 102,
    A2_RX_POWER = 104,
    A2_STATUS_CONTROL = 110,  // bit 2 Tx fault, bit 1 Rx LOS
};
constexpr uint8_t kExternallyCalibrated = 0x10;  // A0h byte 92 bit 4 (bit 5 clear)

// SFF-8472 A2h thresholds: temperature 0-7, voltage 8-15, bias 16-23, Tx power 24-31, Rx power 32-39.
constexpr threshold_layout kSfpThresholds = {0, 8, 16, 32, 24};

// SFF-8472 A2h alarm flags (bytes 112-113), warning flags (116-117) and the
// status byte 110.
constexpr flag_map_row kSfpFlags[] = {
    {112, 7, 1, 0},    // temperature high alarm
    {112, 6, 0, 0},    // temperature low alarm
    {112, 5, 5, 0},    // Vcc high alarm
    {112, 4, 4, 0},    // Vcc low alarm
    {112, 3, 9, 1},    // Tx bias high alarm
    {112, 2, 8, 1},    // Tx bias low alarm
    {112, 1, 137, 1},  // Tx power high alarm
    {112, 0, 136, 1},  // Tx power low alarm
    {113, 7, 73, 1},   // Rx power high alarm
    {113, 6, 72, 1},   // Rx power low alarm
    {116, 7, 3, 0},    // temperature high warning
    {116, 6, 2, 0},    // temperature low warning
    {116, 5, 7, 0},    // Vcc high warning
    {116, 4, 6, 0},    // Vcc low warning
    {116, 3, 11, 1},   // Tx bias high warning
    {116, 2, 10, 1},   // Tx bias low warning
    {116, 1, 139, 1},  // Tx power high warning
    {116, 0, 138, 1},  // Tx power low warning
    {117, 7, 75, 1},   // Rx power high warning
    {117, 6, 74, 1},   // Rx power low warning
    {110, 2, 232, 1},  // Tx fault state
    {110, 1, 200, 1},  // Rx LOS state
};

// External calibration of an unsigned reading: offset + slope x reading / 256,
// slope an unsigned 8.8 word, offset a signed word, both at the slope's byte.
int32_t calibrate_unsigned(const uint8_t *a2, unsigned slope_byte, uint16_t reading) {
    const uint32_t scaled = static_cast<uint32_t>(word(a2, slope_byte)) * reading / 256u;
    return static_cast<int32_t>(scaled) + sword(a2, slope_byte + 2);
}

int32_t round_saturating(float v) {
    v += 0.5f;
    if (v != v) return 0;
    if (v <= -2147483648.0f) return INT32_MIN;
    if (v >= 2147483648.0f) return INT32_MAX;
    return static_cast<int32_t>(v);
}

// Rx power by the five Rx_PWR coefficients of A2h bytes 56-75.
float rx_power_external(const uint8_t *a2, uint16_t reading) {
    float c[5];  // Rx_PWR(4) first
    for (unsigned i = 0; i < 5; ++i) c[i] = get_float_from_reg(at(a2, A2_RX_PWR4 + 4 * i));
    const float r = static_cast<float>(reading);
    const float r2 = r * r, r3 = r2 * r, r4 = r3 * r;
    const float p = c[0] * r4 + c[1] * r3 + c[2] * r2 + c[3] * r + c[4];
    return fiber_dbm(static_cast<float>(round_saturating(p)));
}

}  // namespace

extern "C" {

void fiber_decode_sfp_normal(const uint8_t *a0, fiber_normal_info_t *info) {
    if (!a0 || !info) return;
    if (!sfp_identifier(a0)) {
        info->unsupported = 1;
        return;
    }
    fiber_decode_connect_type(byte(a0, A0_CONNECTOR), &info->connector_name);
    const prefix_id prefix = rate_family(a0, info);
    if (prefix != P_UNKNOWN) decide_type(a0, prefix, info);
    if (byte(a0, A0_BR_NOMINAL) == kBrSfp28) decide_sfp28(a0, info);
    decode_details(a0, info);
}

void fiber_decode_sfp_vendor(const uint8_t *id_block, fiber_vendor_info_t *info) {
    if (!id_block || !info) return;
    if (!sfp_identifier(id_block)) {
        info->unsupported = 1;
        return;
    }
    std::memcpy(info->vendor_name, at(id_block, A0_VENDOR_NAME), 16);
    std::memcpy(info->vendor_oui, at(id_block, A0_VENDOR_OUI), 3);
    std::memcpy(info->vendor_pn, at(id_block, A0_VENDOR_PN), 16);
    std::memcpy(info->vendor_rev, at(id_block, A0_VENDOR_REV), 4);
    std::memcpy(info->date_code, at(id_block, A0_DATE_CODE), 8);
    info->encoding = sfp_encoding_name(byte(id_block, A0_ENCODING));
}

void fiber_decode_sfp_diag(const uint8_t *a0, const uint8_t *a2, uint8_t calibration, fiber_diag_info_t *info) {
    if (!a0 || !a2 || !info) return;
    if (!sfp_identifier(a0)) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = byte(a0, A0_DIAG_MONITORING) != 0;
    info->rx_power_type = bit(a0, A0_DIAG_MONITORING, 3);
    const bool external = calibration == kExternallyCalibrated;

    int32_t t = sword(a2, A2_TEMPERATURE);
    if (external) t = sword(a2, A2_T_SLOPE + 2) + static_cast<int32_t>(word(a2, A2_T_SLOPE)) * t / 256;
    info->temperature = temperature_degrees_wide(t);

    const uint16_t vcc = word(a2, A2_VCC), bias = word(a2, A2_TX_BIAS);
    const uint16_t tx = word(a2, A2_TX_POWER), rx = word(a2, A2_RX_POWER);
    if (external) {
        info->voltage = calibrate_unsigned(a2, A2_V_SLOPE, vcc);
        info->tx_bias[0] = calibrate_unsigned(a2, A2_TX_I_SLOPE, bias);
        info->rx_power[0] = rx_power_external(a2, rx);
        info->tx_power[0] = fiber_dbm(static_cast<float>(calibrate_unsigned(a2, A2_TX_PWR_SLOPE, tx)));
    } else {
        info->voltage = vcc;
        info->tx_bias[0] = bias;
        info->rx_power[0] = power_dbm(rx);
        info->tx_power[0] = power_dbm(tx);
    }
    raise_diag_flags(a2, kSfpFlags, info);
    info->module_type = FIBER_DIAG_SFP;
    if (!info->ddm_supported) return;
    decode_thresholds(a2, kSfpThresholds, info);
    info->thresholds_valid = 1;
}

void fiber_decode_sfp_alarm(const uint8_t *a0, uint8_t *a2, fiber_alarm_info_t *info) {
    if (!a0 || !a2 || !info) return;
    if (!sfp_identifier(a0)) {
        info->unsupported = 1;
        return;
    }
    info->alarm_id_count = FIBER_ALARM_COUNT;
    info->ddm_supported = byte(a0, A0_DIAG_MONITORING) != 0;
    // CC_BASE covers bytes 0-62, CC_EXT bytes 64-94.
    if (get_check_code(a0, A0_CC_BASE) != byte(a0, A0_CC_BASE) ||
        get_check_code(at(a0, A0_CC_BASE + 1), A0_CC_EXT - A0_CC_BASE - 1) != byte(a0, A0_CC_EXT))
        alarm_set(info, FIBER_ALARM_CHECKSUM);
    // Only the states the module says it monitors (A0h byte 93 bits 4, 5) count.
    if (!bit(a0, A0_ENHANCED_OPTIONS, 4)) a2[A2_STATUS_CONTROL] &= static_cast<uint8_t>(~0x02u);
    if (!bit(a0, A0_ENHANCED_OPTIONS, 5)) a2[A2_STATUS_CONTROL] &= static_cast<uint8_t>(~0x04u);
    raise_alarms(a2, kSfpFlags, info);
}

}  // extern "C"
