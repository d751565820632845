// SPDX-License-Identifier: Apache-2.0
// Internal helpers shared by the decoders. Nothing here is exported: the
// library is built with -fvisibility=hidden and only the names of
// fiber_decode.h carry FIBER_API.
#ifndef FIBER_INTERNAL_H
#define FIBER_INTERNAL_H

#include "fiber_decode.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace fiber {

// ---------------------------------------------------------------------------
// Module memory access. Every page is a 128-byte block; upper pages start at
// their byte 128. byte(page, n) takes n as the standards number the byte
// (lower page / A0h / A2h bytes 0-127, upper pages 128-255), so offsets read
// the same as in SFF-8472, INF-8077i, SFF-8636 and CMIS.
// ---------------------------------------------------------------------------
constexpr std::size_t kPageSize = 128;

constexpr uint8_t byte(const uint8_t *page, unsigned n) { return page[n % kPageSize]; }
constexpr bool bit(const uint8_t *page, unsigned n, unsigned b) { return (byte(page, n) >> b) & 1u; }
// Big-endian 16-bit word at bytes n, n+1.
constexpr uint16_t word(const uint8_t *page, unsigned n) {
    return static_cast<uint16_t>((byte(page, n) << 8) | byte(page, n + 1));
}
constexpr int16_t sword(const uint8_t *page, unsigned n) { return static_cast<int16_t>(word(page, n)); }
// Pointer to byte n of a page (for byte-for-byte copies of text fields).
constexpr const uint8_t *at(const uint8_t *page, unsigned n) { return page + n % kPageSize; }

// ---------------------------------------------------------------------------
// Working image: the per-call zeroed copy of the caller's pages, one slot
// plan for the whole library.
// ---------------------------------------------------------------------------
enum image_slot : unsigned {
    SLOT_ID = 0,          // SFP A0h, XFP page 01h, QSFP/CMIS upper page 00h
    SLOT_STATUS = 1,      // SFP A2h, XFP lower memory, QSFP/CMIS lower page
    SLOT_QSFP_PAGE03 = 4,
    SLOT_CMIS_PAGE01 = 5,
    SLOT_CMIS_PAGE02 = 6,
    SLOT_CMIS_PAGE11 = 13,
    SLOT_CMIS_PAGE12 = 17,
    SLOT_CMIS_PAGE20 = 29,  // 20h..23h: four slots each
    SLOT_CMIS_PAGE21 = 33,
    SLOT_CMIS_PAGE22 = 37,
    SLOT_CMIS_PAGE23 = 41,
    SLOT_CMIS_PAGE2C = 61,  // four slots
    SLOT_COUNT = 65,
};

struct fiber_eeprom_image_t {
    uint8_t slot[SLOT_COUNT][kPageSize];
};

// Page dump of one page to standard output.
void bits_num_display(const char *label, const uint8_t *page);

// ---------------------------------------------------------------------------
// Shared decoding rules of the diagnostics record.
// ---------------------------------------------------------------------------
// Temperature word (signed, 1/256 degC) to whole degrees, halves away from zero.
constexpr int32_t temperature_degrees(int16_t t) {
    return t > 0 ? (t + 128) / 256 : (t - 128) / 256;
}
// The same rule on a 32-bit value: SFF-8472 external calibration
// (offset + slope x t / 256) can carry a temperature past 16 bits.
constexpr int32_t temperature_degrees_wide(int32_t t) {
    return t > 0 ? (t + 128) / 256 : (t - 128) / 256;
}
// Optical power word (0.1 uW units) to dBm.
inline float power_dbm(uint16_t w) { return fiber_dbm(static_cast<float>(w)); }

// First byte of each four-word threshold block (high alarm, low alarm, high
// warning, low warning) in a family's threshold page.
struct threshold_layout {
    uint8_t temperature, voltage, tx_bias, rx_power, tx_power;
};
void decode_thresholds(const uint8_t *page, const threshold_layout &layout, fiber_diag_info_t *info);

// ---------------------------------------------------------------------------
// Flag maps: one row per flag bit of module memory, as the standards tabulate
// them, naming the alarm id the bit raises. The diagnostics flag sets use the
// same numbering (monitor_flags bit k = id k, rx_power_flags bit k = id 64+k,
// tx_power_flags bit k = id 128+k), so one map serves both operations.
// ---------------------------------------------------------------------------
struct flag_map_row {
    uint8_t byte;  // byte number as the standard numbers it
    uint8_t bit;   // 0..7, 7 most significant
    uint8_t id;    // alarm id
    uint8_t lane;  // 1..8 for lane flags, 0 for module-level flags
};

// The one loop over a flag map: calls f(id) for every row whose bit is set
// in page, skipping lanes above max_lane.
template <class F>
constexpr void for_each_raised(const uint8_t *page, std::span<const flag_map_row> rows, unsigned max_lane, F &&f) {
    for (const flag_map_row &r : rows)
        if (r.lane <= max_lane && bit(page, r.byte, r.bit)) f(r.id);
}

// The only writer of alarm_bits.
inline void alarm_set(fiber_alarm_info_t *info, unsigned id) {
    info->alarm_bits[id / 32] |= 1u << (id % 32);
}
inline void diag_flag_set(fiber_diag_info_t *info, unsigned id) {
    if (id < 64)
        info->monitor_flags |= uint64_t{1} << id;
    else if (id < 128)
        info->rx_power_flags |= uint64_t{1} << (id - 64);
    else if (id < 192)
        info->tx_power_flags |= uint64_t{1} << (id - 128);
}
inline void raise_alarms(const uint8_t *page, std::span<const flag_map_row> rows, fiber_alarm_info_t *info,
                         unsigned max_lane = 8) {
    for_each_raised(page, rows, max_lane, [info](unsigned id) { alarm_set(info, id); });
}
inline void raise_diag_flags(const uint8_t *page, std::span<const flag_map_row> rows, fiber_diag_info_t *info) {
    for_each_raised(page, rows, 8, [info](unsigned id) { diag_flag_set(info, id); });
}

// ---------------------------------------------------------------------------
// Reference tables (fiber_map.cpp).
// ---------------------------------------------------------------------------
struct fiber_trans_entry_t {
    const char *prefix;  // SFP-family speed prefix, or null
    const char *name;
    fiber_trans_type type;
    uint32_t rate;       // Mb/s
    uint32_t connector;  // 1 RJ45, 2 other, 3 copper cable
};
constexpr std::size_t kTransMapRows = 92;
extern const fiber_trans_entry_t fiber_trans_map[kTransMapRows];

struct fiber_connector_entry_t {
    uint8_t code;
    const char *name;
};

struct cmis_state_entry_t {
    uint8_t encode;
    const char *name;
};

// Encoding names by family rule (SFF-8024 codes differ between the SFF-8472
// and SFF-8636 maps; INF-8077i uses a bit set; CMIS has no encoding byte).
const char *sfp_encoding_name(uint8_t code);
const char *qsfp_encoding_name(uint8_t code);
const char *xfp_encoding_name(uint8_t bits);
const char *cmis_encoding_name();

// ---------------------------------------------------------------------------
// Family predicates shared between a family's decoders.
// ---------------------------------------------------------------------------
uint8_t is_qsfp_id_invalid(uint8_t id);
uint8_t qsfp_check_support_ddm(const uint8_t *lower);
uint8_t cmis_check_support_ddm(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01,
                               const uint8_t *page12);
// CMIS module state and data-path states from the lower page and page 11h.
void cmis_decode_coremgmt(const uint8_t *lower, const uint8_t *page11, fiber_coremgmt_info_t *info);

}  // namespace fiber

#endif
