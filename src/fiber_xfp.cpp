// SPDX-License-Identifier: Apache-2.0
// XFP family (INF-8077i): identification, vendor, diagnostics and alarms.
// The serial ID table is upper page 01h (bytes 128-255), the monitors and
// flags live in lower memory (bytes 0-127); bytes are named as INF-8077i
// numbers them.
#include "fiber_internal.h"

#include <cstdio>
#include <cstring>

namespace {

using namespace fiber;

// Upper page 01h (serial ID table).
enum page01_byte : unsigned {
    P01_IDENTIFIER = 128,
    P01_CONNECTOR = 130,
    P01_ENCODING = 139,
    P01_LENGTH_SMF_KM = 142,
    P01_LENGTH_OM3_2M = 143,  // 50 um extended bandwidth, units of 2 m
    P01_LENGTH_OM2_M = 144,   // 50 um
    P01_LENGTH_OM1_M = 145,   // 62.5 um
    P01_LENGTH_COPPER_M = 146,
    P01_VENDOR_NAME = 148,
    P01_VENDOR_OUI = 165,
    P01_VENDOR_PN = 168,
    P01_VENDOR_REV = 184,
    P01_WAVELENGTH = 186,     // units of 0.05 nm
    P01_CC_BASE = 191,        // bytes 128-190
    P01_VENDOR_SN = 196,
    P01_DATE_CODE = 212,
    P01_DIAG_MONITORING = 220,  // bit 3: received power measured as average
    P01_CC_EXT = 223,         // bytes 192-222
};

// Lower memory A/D readings.
enum lower_byte : unsigned {
    LM_TEMPERATURE = 96,
    LM_TX_BIAS = 100,
    LM_TX_POWER = 102,
    LM_RX_POWER = 104,
    LM_AUX1 = 106,  // auxiliary measurement 1, reported as supply voltage
};

constexpr uint8_t kIdXfp = 0x06;             // SFF-8024: XFP
constexpr uint8_t kConnCopperPigtail = 0x21;

constexpr fiber_trans_type kTypeCopper = 19;  // 10GBASE-Copper-XFP
constexpr fiber_trans_type kNoType = 0;

// Type by the longest stated length L (metres), first bound at least L;
// 600-1000 m and beyond 120 km name no type.
struct length_row {
    uint32_t max_m;
    fiber_trans_type type;
};
constexpr length_row kXfpTypes[] = {
    {599, 20},     // 10GBASE-SR-XFP
    {1000, kNoType},
    {15000, 21},   // 10GBASE-LR-XFP
    {45000, 22},   // 10GBASE-ER-XFP
    {120000, 23},  // 10GBASE-ZR-XFP
};

fiber_trans_type xfp_type(uint32_t length_m) {
    for (const length_row &r : kXfpTypes)
        if (length_m <= r.max_m) return r.type;
    return kNoType;
}

uint32_t longest_length(const uint8_t *p01) {
    const uint32_t lengths[] = {
        byte(p01, P01_LENGTH_SMF_KM) * 1000u, byte(p01, P01_LENGTH_OM3_2M) * 2u, byte(p01, P01_LENGTH_OM2_M),
        byte(p01, P01_LENGTH_OM1_M),          byte(p01, P01_LENGTH_COPPER_M),
    };
    uint32_t l = 0;
    for (uint32_t v : lengths) l = v > l ? v : l;
    return l;
}

// INF-8077i lower memory: latched alarm flags 80-81, warning flags 82-83,
// status flags 84.
constexpr flag_map_row kXfpFlags[] = {
    {80, 7, 1, 0},    // temperature high alarm
    {80, 6, 0, 0},    // temperature low alarm
    {80, 3, 9, 1},    // Tx bias high alarm
    {80, 2, 8, 1},    // Tx bias low alarm
    {80, 1, 137, 1},  // Tx power high alarm
    {80, 0, 136, 1},  // Tx power low alarm
    {81, 7, 73, 1},   // Rx power high alarm
    {81, 6, 72, 1},   // Rx power low alarm
    {81, 5, 5, 0},    // AUX 1 high alarm (supply voltage)
    {81, 4, 4, 0},    // AUX 1 low alarm
    {82, 7, 3, 0},    // temperature high warning
    {82, 6, 2, 0},    // temperature low warning
    {82, 3, 11, 1},   // Tx bias high warning
    {82, 2, 10, 1},   // Tx bias low warning
    {82, 1, 139, 1},  // Tx power high warning
    {82, 0, 138, 1},  // Tx power low warning
    {83, 7, 75, 1},   // Rx power high warning
    {83, 6, 74, 1},   // Rx power low warning
    {83, 5, 7, 0},    // AUX 1 high warning
    {83, 4, 6, 0},    // AUX 1 low warning
    {84, 6, 232, 1},  // Tx fault
    {84, 5, 251, 0},  // Tx CDR not locked
    {84, 4, 250, 0},  // Rx not ready
    {84, 3, 200, 1},  // Rx LOS
    {84, 2, 252, 0},  // Rx CDR not locked
    {84, 1, 249, 0},  // module not ready
};

}  // namespace

extern "C" {

void fiber_decode_xfp_normal(const uint8_t *page01, fiber_normal_info_t *info) {
    if (!page01 || !info) return;
    if (byte(page01, P01_IDENTIFIER) != kIdXfp) {
        info->unsupported = 1;
        return;
    }
    const uint8_t k = byte(page01, P01_CONNECTOR);
    fiber_trans_type t = xfp_type(longest_length(page01));
    if (k == kConnCopperPigtail) {
        t = kTypeCopper;
        info->is_copper = 1;
    }
    if (t == kNoType) {
        info->type_name = "Unknown XFP module";
    } else {
        info->type_name = fiber_get_trans_str_bytype(nullptr, t);
        fiber_get_trans_rate_connector_bytype(t, &info->rate_mbps, &info->connector_class);
        info->trans_type = static_cast<uint32_t>(t);
    }
    fiber_decode_connect_type(k, &info->connector_name);

    if (const uint16_t w = word(page01, P01_WAVELENGTH)) info->wavelength_nm = static_cast<float>(w) / 20.0f;
    // The 50 um extended-bandwidth length (byte 143) is reported only for a
    // module that states no single-mode length (byte 142).
    if (const uint8_t km = byte(page01, P01_LENGTH_SMF_KM))
        info->length_smf_km = km;
    else
        info->length_om3_m = byte(page01, P01_LENGTH_OM3_2M) * 2u;
    info->length_om2_m = byte(page01, P01_LENGTH_OM2_M);
    info->length_om1_m = byte(page01, P01_LENGTH_OM1_M);
    info->length_copper_m = byte(page01, P01_LENGTH_COPPER_M);

    if (info->name_prefix)
        std::snprintf(info->display_name, sizeof info->display_name, "%s%s", info->name_prefix, info->type_name);
    else
        std::snprintf(info->display_name, sizeof info->display_name, "%s", info->type_name);
    info->ddm_supported = 1;
    std::memcpy(info->serial_number, at(page01, P01_VENDOR_SN), 16);
    info->is_xfp = 1;
}

void fiber_decode_xfp_vendor(const uint8_t *id_block, fiber_vendor_info_t *info) {
    if (!id_block || !info) return;
    if (byte(id_block, P01_IDENTIFIER) != kIdXfp) {
        info->unsupported = 1;
        return;
    }
    std::memcpy(info->vendor_name, at(id_block, P01_VENDOR_NAME), 16);
    std::memcpy(info->vendor_oui, at(id_block, P01_VENDOR_OUI), 3);
    std::memcpy(info->vendor_pn, at(id_block, P01_VENDOR_PN), 16);
    std::memcpy(info->vendor_rev, at(id_block, P01_VENDOR_REV), 2);
    std::memcpy(info->date_code, at(id_block, P01_DATE_CODE), 8);
    info->encoding = xfp_encoding_name(byte(id_block, P01_ENCODING));
}

void fiber_decode_xfp_diag(const uint8_t *page01, const uint8_t *lower, fiber_diag_info_t *info) {
    if (!lower || !info || !page01) return;
    if (byte(page01, P01_IDENTIFIER) != kIdXfp) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = 1;
    info->rx_power_type = bit(page01, P01_DIAG_MONITORING, 3);
    info->temperature = temperature_degrees(sword(lower, LM_TEMPERATURE));
    info->voltage = word(lower, LM_AUX1);
    info->tx_bias[0] = word(lower, LM_TX_BIAS);
    info->rx_power[0] = power_dbm(word(lower, LM_RX_POWER));
    info->tx_power[0] = power_dbm(word(lower, LM_TX_POWER));
    raise_diag_flags(lower, kXfpFlags, info);
    info->module_type = FIBER_DIAG_XFP;
}

void fiber_decode_xfp_alarm(const uint8_t *id_page, const uint8_t *lower, fiber_alarm_info_t *info) {
    if (!id_page || !lower || !info) return;
    if (byte(id_page, P01_IDENTIFIER) != kIdXfp) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = 1;
    info->alarm_id_count = FIBER_ALARM_COUNT;
    // CC_BASE covers bytes 128-190, CC_EXT bytes 192-222.
    if (get_check_code(at(id_page, P01_IDENTIFIER), P01_CC_BASE - P01_IDENTIFIER) != byte(id_page, P01_CC_BASE) ||
        get_check_code(at(id_page, P01_CC_BASE + 1), P01_CC_EXT - P01_CC_BASE - 1) != byte(id_page, P01_CC_EXT))
        alarm_set(info, FIBER_ALARM_CHECKSUM);
    raise_alarms(lower, kXfpFlags, info);
}

}  // extern "C"
