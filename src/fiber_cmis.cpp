// SPDX-License-Identifier: Apache-2.0
// CMIS family (QSFP-DD, QSFP56, DSFP and the eight-lane modules recognised by
// their lower page): identification, the lower-page queries, vendor
// information, diagnostics, alarms and the module / data-path state.
// Byte numbers follow CMIS: lower page 0-127, upper pages 128-255.
#include "fiber_internal.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

using namespace fiber;

// ---------------------------------------------------------------------------
// Identification
// ---------------------------------------------------------------------------

// SFF-8024 identifiers at page 00h byte 128.
constexpr uint8_t kIdQsfpDd = 0x18;
constexpr uint8_t kIdDsfp = 0x1B;
constexpr uint8_t kIdQsfpCmis = 0x1E;  // QSFP+ or later with CMIS (QSFP56)
// Lower page byte 0 of the eight-lane modules.
constexpr uint8_t kIdEightLane = 0x0A;

// Lower page byte 85, module media type.
constexpr uint8_t kMediaMmf = 0x01;
constexpr uint8_t kMediaSmf = 0x02;
constexpr uint8_t kMediaPassiveCopper = 0x03;
constexpr uint8_t kMediaActiveCable = 0x04;
constexpr uint8_t kMediaBaseT = 0x05;

// SFF-8024 connector codes at page 00h byte 203.
constexpr uint8_t kConnLc = 0x07;
constexpr uint8_t kConnMpo1x12 = 0x0C;
constexpr uint8_t kConnCopperPigtail = 0x21;
constexpr uint8_t kConnNoSeparable = 0x23;
constexpr uint8_t kConnMpo1x16 = 0x28;  // 28h is MPO 1x16 (27h is MPO 2x12)

// Lower page byte 1, CMIS revision (major nibble, minor nibble).
constexpr uint8_t kRevision3 = 0x30;
constexpr uint8_t kRevision4 = 0x40;

constexpr uint32_t kNoType = 0;       // no row of the type map has id 0
constexpr uint32_t kUnknownType = 1;  // trans_type of a recognised but unclassified module
constexpr uint32_t kTypeZr = 95;      // 400GBASE-ZR-QSFP-DD, the tunable coherent module

// One tabular rule: media type M (lower byte 85), media interface code A of
// the first application (lower byte 87) and connector K (page 00h byte 203)
// settle a transceiver type.
struct media_rule {
    uint8_t media;
    uint8_t interface;
    uint8_t connector;
    uint32_t type;
    uint8_t is_copper;
    uint8_t is_x8;
};

constexpr media_rule kQsfpDdRules[] = {
    {kMediaMmf, 0x10, kConnMpo1x16, 80, 0, 0},  // 400GBASE-SR8
    {kMediaSmf, 0x1C, kConnMpo1x12, 81, 0, 0},  // 400GBASE-DR4
    {kMediaSmf, 0x1D, kConnLc, 82, 0, 0},       // 400GBASE-FR4
    {kMediaSmf, 0x1B, kConnLc, 85, 0, 0},       // 400GBASE-LR8
    {kMediaSmf, 0x3E, kConnLc, kTypeZr, 0, 0},  // 400ZR
    {kMediaSmf, 0xC1, kConnLc, kTypeZr, 0, 0},
};

constexpr media_rule kQsfp56Rules[] = {
    {kMediaMmf, 0x0E, kConnMpo1x12, 76, 0, 0},  // 200GBASE-SR4
    {kMediaSmf, 0x18, kConnLc, 77, 0, 0},       // 200GBASE-FR4
};

constexpr media_rule kEightLaneRules[] = {
    {kMediaSmf, 0x04, kConnLc, 100, 0, 1},    // 10GBASE-LR8-SFX
    {kMediaSmf, 0x00, kConnLc, 101, 0, 1},    // 1000BASE-LX8-SFG
    {kMediaSmf, 0x02, kConnLc, 120, 0, 1},    // 2500BASE-LX8-SFM
    {kMediaBaseT, 0xBF, kConnLc, 102, 1, 1},  // 10G-copper8-SFX
};

// Passive copper and active cable rules of a group. The passive copper type
// follows from n, the low nibble of page 00h byte 202 with bits 0..3 weighted
// 1, 4, 16 and 64; an active cable needs a non-zero low nibble.
struct cable_rule {
    uint8_t connectors[2];  // accepted K
    uint32_t n_1_to_3;
    uint32_t n_4_to_6;
    uint32_t n_0;           // n = 0, only with "No separable connector"
    uint8_t n_0_is_copper;
    uint32_t active;
};

constexpr cable_rule kQsfpDdCable{{kConnCopperPigtail, kConnNoSeparable}, 83, 87, 88, 1, 84};
constexpr cable_rule kDsfpCable{{kConnNoSeparable, kConnNoSeparable}, 89, 90, 92, 0, 91};

struct cmis_group {
    uint8_t identifier;  // page 00h byte 128 (the eight-lane group: lower byte 0)
    const char *unknown_name;
    std::span<const media_rule> media;
    const cable_rule *cable;
    uint8_t cable_connector_only;  // K other than the cable connectors rejects every M
};

constexpr cmis_group kQsfpDd{kIdQsfpDd, "Unknown QSFPDD module", kQsfpDdRules, &kQsfpDdCable, 0};
constexpr cmis_group kQsfp56{kIdQsfpCmis, "Unknown QSFP56 module", kQsfp56Rules, nullptr, 0};
constexpr cmis_group kDsfp{kIdDsfp, "Unknown DSFP module", {}, &kDsfpCable, 1};
constexpr cmis_group kEightLane{kIdEightLane, "Unknown module", kEightLaneRules, nullptr, 0};

constexpr const cmis_group *kPage00Groups[] = {&kQsfpDd, &kQsfp56, &kDsfp};

const cmis_group *group_of(const uint8_t *page00, const uint8_t *lower) {
    for (const cmis_group *g : kPage00Groups)
        if (byte(page00, 128) == g->identifier) return g;
    return byte(lower, 0) == kIdEightLane ? &kEightLane : nullptr;
}

struct type_match {
    uint32_t type;
    uint8_t is_copper;
    uint8_t is_x8;
};

unsigned cable_length_n(uint8_t length) {
    return (length & 1u) + 4u * ((length >> 1) & 1u) + 16u * ((length >> 2) & 1u) + 64u * ((length >> 3) & 1u);
}

bool cable_connector(const cable_rule &c, uint8_t k) { return k == c.connectors[0] || k == c.connectors[1]; }

type_match settle_cable(const cable_rule &c, uint8_t m, uint8_t k, uint8_t length) {
    if (!cable_connector(c, k)) return {};
    if (m == kMediaPassiveCopper) {
        const unsigned n = cable_length_n(length);
        if (n >= 1 && n <= 3) return {c.n_1_to_3, 0, 0};
        if (n >= 4 && n <= 6) return {c.n_4_to_6, 0, 0};
        if (n == 0 && k == kConnNoSeparable) return {c.n_0, c.n_0_is_copper, 0};
        return {};
    }
    if (m == kMediaActiveCable && (length & 0x0F) != 0) return {c.active, 0, 0};
    return {};
}

type_match settle_type(const cmis_group &g, const uint8_t *page00, const uint8_t *lower) {
    const uint8_t m = byte(lower, 85);
    const uint8_t a = byte(lower, 87);
    const uint8_t k = byte(page00, 203);
    const uint8_t length = byte(page00, 202);
    if (g.cable_connector_only && !cable_connector(*g.cable, k)) return {};
    if (g.cable && (m == kMediaPassiveCopper || m == kMediaActiveCable)) return settle_cable(*g.cable, m, k, length);
    for (const media_rule &r : g.media)
        if (r.media == m && r.interface == a && r.connector == k) return {r.type, r.is_copper, r.is_x8};
    return {};
}

// Current laser frequency, page 12h bytes 168-171, in GHz. Revisions after
// 4.0 state it as one signed 32-bit count of MHz; earlier ones as THz and
// units of 0.05 GHz.
float tuned_frequency_ghz(const uint8_t *lower, const uint8_t *page12) {
    double f;
    if (byte(lower, 1) > kRevision4) {
        const uint32_t raw = (uint32_t{word(page12, 168)} << 16) | word(page12, 170);
        f = static_cast<int32_t>(raw) * 0.001;
    } else {
        f = word(page12, 168) * 1000.0 + word(page12, 170) * 0.05;
    }
    return static_cast<float>(f);
}

// Page 01h byte 132: bits 7-6 length multiplier, bits 5-0 base.
void decode_smf_length(const uint8_t *lower, const uint8_t *page01, fiber_normal_info_t *info) {
    const uint8_t length = byte(page01, 132);
    if (length == 0) return;
    const uint32_t base = length & 0x3F;
    switch (length >> 6) {
    case 0:  // 0.1 km units
        info->length_smf_m = static_cast<int32_t>(base * 0.1 * 1000);
        break;
    case 1:  // 1 km units
        info->length_smf_km = base;
        break;
    case 2:  // 10 km units
        if (byte(lower, 1) > kRevision4) info->length_smf_km = base * 10;
        break;
    default:
        break;
    }
}

void decode_normal(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page12,
                   fiber_normal_info_t *info, uint8_t ignore) {
    if (!page00 || !info) return;
    if (!lower || !page01) return;

    const cmis_group *group = group_of(page00, lower);
    if (!group) {
        info->unsupported = 1;
        return;
    }
    info->trans_type = kUnknownType;
    info->type_name = group->unknown_name;
    const type_match t = settle_type(*group, page00, lower);
    if (t.type == kNoType) {
        info->unsupported = 1;
        return;
    }
    info->is_copper = t.is_copper;
    info->is_x8_module = t.is_x8;

    info->type_name = fiber_get_trans_str_bytype(nullptr, t.type);
    fiber_get_trans_rate_connector_bytype(t.type, &info->rate_mbps, &info->connector_class);
    info->trans_type = t.type;
    fiber_decode_connect_type(byte(page00, 203), &info->connector_name);

    // Page 01h bytes 138-139: nominal wavelength, 0.05 nm units.
    if (const uint16_t nominal = word(page01, 138)) info->wavelength_nm = static_cast<float>(nominal / 20.0);
    if (t.type == kTypeZr && page12) {
        const float f = tuned_frequency_ghz(lower, page12);
        if (f != 0.0f) info->wavelength_nm = 299792448.0f / f;
    }
    // Page 01h bytes 140-141: wavelength tolerance, 0.005 nm units.
    info->wavelength_tolerance_nm = static_cast<float>(word(page01, 140) / 200.0);
    // Page 01h bytes 168-183: per-lane wavelengths, 0.05 nm units.
    for (unsigned i = 0; i < 8; ++i)
        info->lane_wavelength_nm[i] = static_cast<int32_t>(word(page01, 168 + 2 * i) / 20.0);

    decode_smf_length(lower, page01, info);
    // Page 01h bytes 133-135: OM5, OM4, OM3 in 2 m units; byte 136: OM2 in m.
    info->length_om2_m = byte(page01, 136);
    info->length_om3_m = byte(page01, 135) * 2u;
    info->length_om4_m = byte(page01, 134) * 2u;
    info->length_om5_m = byte(page01, 133) * 2u;

    if (!ignore) info->ddm_supported = cmis_check_support_ddm(page00, lower, page01, page12);
    std::memcpy(info->serial_number, at(page00, 166), 16);  // page 00h bytes 166-181
    info->is_qsfp = 1;
}

// ---------------------------------------------------------------------------
// Lower-page queries
// ---------------------------------------------------------------------------

bool lower_is_cmis(const uint8_t *lower) {
    const unsigned byte2_bits54 = (byte(lower, 2) >> 4) & 0x3;
    return (byte(lower, 1) >= kRevision3 && byte2_bits54 == 0) || byte2_bits54 == 1;
}

// Media interface code of a tunable DWDM application (lower byte 87).
constexpr uint8_t kInterfaceTunable = 0x3E;

bool lower_is_color(const uint8_t *lower) { return lower_is_cmis(lower) && byte(lower, 87) == kInterfaceTunable; }

uint8_t lower_version(const uint8_t *lower) { return lower_is_cmis(lower) ? byte(lower, 1) : 0; }

// Each query reads the lower page from slot 1 of a zeroed working image.
uint8_t query_lower(const uint8_t *lower, uint8_t (*query)(const uint8_t *)) {
    if (!lower) return 0;
    fiber_eeprom_image_t img;
    std::memset(&img, 0, sizeof img);
    std::memcpy(img.slot[SLOT_STATUS], lower, kPageSize);
    return query(img.slot[SLOT_STATUS]);
}

// ---------------------------------------------------------------------------
// Flags: lower page byte 9 (module flags) and page 11h (lane flags, bit L-1
// for lane L). One map serves diagnostics and alarms.
// ---------------------------------------------------------------------------

constexpr flag_map_row kModuleFlagRows[] = {
    // lower page byte 9
    {9, 1, 0, 0},  // temperature low alarm
    {9, 0, 1, 0},  // temperature high alarm
    {9, 3, 2, 0},  // temperature low warning
    {9, 2, 3, 0},  // temperature high warning
    {9, 5, 4, 0},  // supply voltage low alarm
    {9, 4, 5, 0},  // supply voltage high alarm
    {9, 7, 6, 0},  // supply voltage low warning
    {9, 6, 7, 0},  // supply voltage high warning
};

struct lane_flag_byte {
    uint8_t byte;      // page 11h byte, bit L-1 for lane L
    uint8_t first_id;  // alarm id of lane 1
    uint8_t step;      // id step per lane
};

constexpr lane_flag_byte kLaneFlagBytes[] = {
    {144, FIBER_ALARM_TX_BIAS_BASE + 0, 4},     // Tx bias low alarm
    {143, FIBER_ALARM_TX_BIAS_BASE + 1, 4},     // Tx bias high alarm
    {146, FIBER_ALARM_TX_BIAS_BASE + 2, 4},     // Tx bias low warning
    {145, FIBER_ALARM_TX_BIAS_BASE + 3, 4},     // Tx bias high warning
    {150, FIBER_ALARM_RX_POWER_BASE + 0, 4},    // Rx power low alarm
    {149, FIBER_ALARM_RX_POWER_BASE + 1, 4},    // Rx power high alarm
    {152, FIBER_ALARM_RX_POWER_BASE + 2, 4},    // Rx power low warning
    {151, FIBER_ALARM_RX_POWER_BASE + 3, 4},    // Rx power high warning
    {140, FIBER_ALARM_TX_POWER_BASE + 0, 4},    // Tx power low alarm
    {139, FIBER_ALARM_TX_POWER_BASE + 1, 4},    // Tx power high alarm
    {142, FIBER_ALARM_TX_POWER_BASE + 2, 4},    // Tx power low warning
    {141, FIBER_ALARM_TX_POWER_BASE + 3, 4},    // Tx power high warning
    {147, FIBER_ALARM_RX_LOS_BASE, 1},          // Rx loss of signal
    {148, FIBER_ALARM_RX_LOL_BASE, 1},          // Rx CDR loss of lock
    {136, FIBER_ALARM_TX_LOS_BASE, 1},          // Tx loss of signal
    {137, FIBER_ALARM_TX_LOL_BASE, 1},          // Tx CDR loss of lock
    {135, FIBER_ALARM_TX_FAULT_BASE, 1},        // Tx fault
};

constexpr unsigned kLanes = 8;

constexpr auto kLaneFlagRows = [] {
    std::array<flag_map_row, std::size(kLaneFlagBytes) * kLanes> rows{};
    std::size_t n = 0;
    for (const lane_flag_byte &b : kLaneFlagBytes)
        for (unsigned lane = 1; lane <= kLanes; ++lane)
            rows[n++] = {b.byte, static_cast<uint8_t>(lane - 1), static_cast<uint8_t>(b.first_id + b.step * (lane - 1)),
                         static_cast<uint8_t>(lane)};
    return rows;
}();

// Accepted by the vendor and alarm decoders: a CMIS identifier at page 00h
// byte 128, else the eight-lane identifier at lower page byte 0.
bool identifier_accepted(const uint8_t *page00, const uint8_t *lower) {
    const uint8_t id = byte(page00, 128);
    if (id == kIdQsfpDd || id == kIdDsfp || id == kIdQsfpCmis) return true;
    return lower && byte(lower, 0) == kIdEightLane;
}

// Diagnostics accept lower page byte 0 in {0Ah, 18h, 1Bh, 1Eh}.
constexpr uint32_t kDiagIdentifiers = 0x49000400;
constexpr uint8_t kDiagLastIdentifier = 30;

bool diag_identifier_accepted(uint8_t id) { return id <= kDiagLastIdentifier && ((kDiagIdentifiers >> id) & 1u); }

// Media lane count of the first application: lower page byte 88 bits 3-0.
uint8_t media_lane_count(const uint8_t *lower) { return byte(lower, 88) & 0x0F; }

// Lanes whose flags the alarm decoder examines: 1, 2 and 4 lanes limit it,
// every other count examines all eight.
unsigned examined_lanes(uint8_t count) { return (count == 1 || count == 2 || count == 4) ? count : kLanes; }

// Page 02h threshold blocks (high alarm, low alarm, high warning, low warning).
constexpr threshold_layout kThresholds{128, 136, 184, 192, 176};

}  // namespace

namespace fiber {

uint8_t cmis_check_support_ddm(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01,
                               const uint8_t *page12) {
    // Page 01h byte 159 bits 1-0: temperature and supply voltage monitors;
    // byte 160 bits 2-0: Tx bias, Tx power and Rx power monitors.
    if (page01 && (byte(page01, 159) & 0x03) == 0x03 && (byte(page01, 160) & 0x07) == 0x07) return 1;
    // A coherent ZR module monitors without advertising it.
    fiber_normal_info_t scratch;
    std::memset(&scratch, 0, sizeof scratch);
    fiber_decode_cmis_normal_ignore(page00, lower, page01, page12, &scratch);
    return scratch.trans_type == kTypeZr ? 1 : 0;
}

void cmis_decode_coremgmt(const uint8_t *lower, const uint8_t *page11, fiber_coremgmt_info_t *info) {
    if (!lower || !page11 || !info) return;
    info->media_lane_count = media_lane_count(lower);
    // Lower page byte 3 bits 3-1: module state.
    info->module_state = cmis_get_module_state_byencode((byte(lower, 3) >> 1) & 0x07);
    for (uint64_t lane = 1; lane <= kLanes; ++lane) {
        const cmis_lane_mask_entry_t *row = cmis_get_datapath_lane_mask(lane);
        if (!row) break;
        const unsigned i = static_cast<unsigned>(lane - 1);
        // Page 11h bytes 128-131: data-path state, two lanes per byte, odd
        // lanes in the low nibble.
        const uint8_t masked = byte(page11, 128 + i / 2) & row->state_mask;
        const uint8_t code = (lane % 2) ? masked : static_cast<uint8_t>(masked >> 4);
        info->datapath_state[i] = cmis_get_datapath_state_byencode(code);
        // Page 11h byte 134: latched data-path state changed, bit L-1.
        info->datapath_state_changed[i] = static_cast<uint8_t>((byte(page11, 134) & row->lane_bit) >> i);
    }
}

}  // namespace fiber

extern "C" {

void _fiber_decode_cmis_normal(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01,
                               const uint8_t *page12, fiber_normal_info_t *info, uint8_t ignore) {
    decode_normal(page00, lower, page01, page12, info, ignore);
}

void fiber_decode_cmis_normal(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01,
                              const uint8_t *page12, fiber_normal_info_t *info) {
    decode_normal(page00, lower, page01, page12, info, 0);
}

void fiber_decode_cmis_normal_ignore(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01,
                                     const uint8_t *page12, fiber_normal_info_t *info) {
    decode_normal(page00, lower, page01, page12, info, 1);
}

uint8_t fiber_is_cmis(const uint8_t *lower) {
    return query_lower(lower, [](const uint8_t *l) -> uint8_t { return lower_is_cmis(l); });
}

uint8_t fiber_is_color_module(const uint8_t *lower) {
    return query_lower(lower, [](const uint8_t *l) -> uint8_t { return lower_is_color(l); });
}

uint8_t fiber_get_cmis_ver_id(const uint8_t *lower) { return query_lower(lower, lower_version); }

void fiber_decode_cmis_vendor(const uint8_t *id_block, const uint8_t *lower_page, const uint8_t *page01,
                              fiber_vendor_info_t *info) {
    if (!id_block || !info) return;
    if (!identifier_accepted(id_block, lower_page)) {
        info->unsupported = 1;
        return;
    }
    std::memcpy(info->vendor_name, at(id_block, 129), 16);  // page 00h bytes 129-144
    std::memcpy(info->vendor_oui, at(id_block, 145), 3);    // bytes 145-147
    std::memcpy(info->vendor_pn, at(id_block, 148), 16);    // bytes 148-163
    std::memcpy(info->vendor_rev, at(id_block, 164), 2);    // bytes 164-165
    std::memcpy(info->date_code, at(id_block, 182), 8);     // bytes 182-189
    if (lower_page && page01) {
        // Page 01h bytes 130-131: hardware major, minor; lower page bytes
        // 39-40: active firmware major, minor.
        std::snprintf(info->hardware_version, sizeof info->hardware_version, "%d.%d", byte(page01, 130),
                      byte(page01, 131));
        std::snprintf(info->firmware_version, sizeof info->firmware_version, "%d.%d", byte(lower_page, 39),
                      byte(lower_page, 40));
    }
    info->encoding = cmis_encoding_name();
}

void fiber_decode_cmis_diag(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page02,
                            const uint8_t *page11, const uint8_t *page12, fiber_diag_info_t *info) {
    if (!lower || !page00) return;
    if (!page01 || !page11 || !info) return;
    if (!diag_identifier_accepted(byte(lower, 0))) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = cmis_check_support_ddm(page00, lower, page01, page12);
    info->rx_power_type = bit(page01, 151, 4);  // 1: average power, 0: OMA

    info->temperature = temperature_degrees(sword(lower, 14));  // lower page bytes 14-15
    info->voltage = word(lower, 16);                            // bytes 16-17, 100 uV
    raise_diag_flags(lower, kModuleFlagRows, info);
    info->media_lane_count = media_lane_count(lower);

    for (unsigned i = 0; i < kLanes; ++i) {
        info->tx_power[i] = power_dbm(word(page11, 154 + 2 * i));  // page 11h bytes 154-169
        info->tx_bias[i] = word(page11, 170 + 2 * i);              // bytes 170-185, 2 uA
        info->rx_power[i] = power_dbm(word(page11, 186 + 2 * i));  // bytes 186-201
    }
    raise_diag_flags(page11, kLaneFlagRows, info);

    // Page 00h byte 201: maximum module power, 0.25 W units.
    info->max_power = static_cast<float>(byte(page00, 201) * 0.25);
    info->cmis_done = 1;
    info->module_type = FIBER_DIAG_CMIS;

    if (!page02 || info->ddm_supported != 1) return;
    decode_thresholds(page02, kThresholds, info);
    info->thresholds_valid = 1;
}

void fiber_decode_cmis_alarm(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page11,
                             const uint8_t *page12, const uint8_t * /*vdm: pages 20h-23h, not read*/,
                             const uint8_t * /*page2c: not read*/, fiber_alarm_info_t *info) {
    if (!page00 || !lower) return;
    if (!page01 || !page11 || !info) return;
    if (!identifier_accepted(page00, lower)) {
        info->unsupported = 1;
        return;
    }
    info->ddm_supported = cmis_check_support_ddm(page00, lower, page01, page12);
    info->alarm_id_count = FIBER_ALARM_COUNT;
    raise_alarms(lower, kModuleFlagRows, info);
    raise_alarms(page11, kLaneFlagRows, info, examined_lanes(media_lane_count(lower)));
    info->cmis_done = 1;
}

}  // extern "C"
