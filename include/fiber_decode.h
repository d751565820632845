// SPDX-License-Identifier: Apache-2.0
/*
 * fiberdecode: decoding of pluggable transceiver module memory
 * (SFF-8472 SFP/SFP+/SFP28, INF-8077i XFP, SFF-8436/SFF-8636 QSFP,
 * CMIS QSFP-DD/QSFP56/DSFP) into fixed-layout records.
 *
 * The library reads nothing from hardware: the caller reads 128-byte pages
 * and passes them in. Every call is reentrant, allocates nothing and keeps
 * no state. Strings placed in records point to constant text of the library.
 *
 * Valid C11 and C++.
 */
#ifndef FIBER_DECODE_H
#define FIBER_DECODE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(FIBERDECODE_BUILD)
#define FIBER_API __attribute__((visibility("default")))
#else
#define FIBER_API
#endif

/* Module kind: how the caller's pages are laid out (see fiber_decode_normal). */
typedef uint32_t fiber_module_kind;
enum { FIBER_KIND_SFP = 1, FIBER_KIND_XFP = 2, FIBER_KIND_QSFP = 3, FIBER_KIND_CMIS = 6 };

/*
 * Page set: one pointer per page number 00h..2Ch, null for a page not read.
 * Upper pages are passed with their byte 128 first. Entries 20h..23h and 2Ch
 * designate 512 bytes, all others 128 bytes.
 *
 *   kind   lower_page argument          pages[0x00]
 *   SFP    A0h bytes 0-127              A2h bytes 0-127
 *   XFP    page 01h bytes 128-255       lower memory bytes 0-127
 *   QSFP   lower page bytes 0-127       upper page 00h
 *   CMIS   lower page bytes 0-127       upper page 00h
 */
#define FIBER_PAGE_COUNT 45                       /* pages 00h..2Ch */
typedef const uint8_t *fiber_pages_t[FIBER_PAGE_COUNT];

typedef uint64_t fiber_trans_type;
typedef uint64_t fiber_diag_flags_t;

/* Alarm ids index fiber_alarms; per-lane ids are BASE + 4 * (lane - 1) + k
 * (k: 0 low alarm, 1 high alarm, 2 low warning, 3 high warning) for the
 * threshold groups and BASE + (lane - 1) for the state groups. */
#define FIBER_ALARM_COUNT 255
#define FIBER_ALARM_TX_BIAS_BASE 8
#define FIBER_ALARM_RX_POWER_BASE 72
#define FIBER_ALARM_TX_POWER_BASE 136
#define FIBER_ALARM_RX_LOS_BASE 200
#define FIBER_ALARM_RX_LOL_BASE 208
#define FIBER_ALARM_TX_LOS_BASE 216
#define FIBER_ALARM_TX_LOL_BASE 224
#define FIBER_ALARM_TX_FAULT_BASE 232
#define FIBER_ALARM_CHECKSUM 248

/* fiber_diag_info_t.module_type */
enum { FIBER_DIAG_QSFP = 1, FIBER_DIAG_SFP = 2, FIBER_DIAG_XFP = 3, FIBER_DIAG_CMIS = 4 };

/* Identification record (fiber_decode_normal). */
typedef struct {
    uint8_t unsupported, ddm_supported, is_xfp, is_qsfp, is_copper, is_active_cable, is_sfp, zx_within_90km;
    const char *name_prefix;
    const char *type_name;
    const char *connector_name;
    float wavelength_nm;
    float wavelength_tolerance_nm;
    int32_t length_smf_m;
    uint32_t length_smf_km, length_smf_km_from_100m, length_om5_m, length_om4_m, length_om3_m,
             length_om2_m, length_om1_m, length_copper_m;
    char display_name[64];
    char serial_number[17];
    char vendor_specific[17];
    uint32_t trans_type, rate_mbps, connector_class;
    int32_t lane_wavelength_nm[8];
    uint8_t is_x8_module, is_rj45;
} fiber_normal_info_t;

/* Vendor record (fiber_decode_vendor). */
typedef struct {
    uint8_t unsupported;
    char vendor_name[17];
    uint8_t vendor_oui[3];
    char vendor_pn[17];
    char vendor_rev[5];
    char date_code[9];
    const char *encoding;
    char firmware_version[8];
    char hardware_version[8];
} fiber_vendor_info_t;

/* Diagnostics record (fiber_decode_diag). Temperatures in whole degrees C,
 * voltages in 100 uV, bias in 2 uA, powers in dBm. Flag bit k of
 * monitor_flags, rx_power_flags and tx_power_flags is the condition of alarm
 * id k, 64 + k and 128 + k respectively. */
typedef struct {
    uint8_t unsupported, ddm_supported, qsfp_done, cmis_done, rx_power_type, thresholds_valid;
    int32_t temperature, voltage;
    uint32_t media_lane_count;
    int32_t tx_bias[8];
    float rx_power[8], tx_power[8];
    int32_t temp_high_alarm, temp_low_alarm, temp_high_warning, temp_low_warning;
    int32_t voltage_high_alarm, voltage_low_alarm, voltage_high_warning, voltage_low_warning;
    float rx_power_high_alarm, rx_power_low_alarm, rx_power_high_warning, rx_power_low_warning;
    int32_t tx_bias_high_alarm, tx_bias_low_alarm, tx_bias_high_warning, tx_bias_low_warning;
    float tx_power_high_alarm, tx_power_low_alarm, tx_power_high_warning, tx_power_low_warning;
    uint32_t module_type;
    fiber_diag_flags_t monitor_flags, rx_power_flags, tx_power_flags;
    float max_power;
} fiber_diag_info_t;

/* Alarm record (fiber_decode_alarm): id k is bit (k % 32) of alarm_bits[k / 32]. */
typedef struct {
    uint8_t unsupported, ddm_supported, qsfp_done, cmis_done;
    uint32_t alarm_id_count;
    uint32_t alarm_bits[8];
} fiber_alarm_info_t;

/* CMIS module and data-path state record (fiber_decode_coremgmt). */
typedef struct {
    uint8_t unsupported;
    uint32_t media_lane_count;
    const char *module_state;
    const char *datapath_state[8];
    uint8_t datapath_state_changed[8];
} fiber_coremgmt_info_t;

typedef struct {
    uint64_t lane;
    uint8_t state_mask;
    uint8_t lane_bit;
} cmis_lane_mask_entry_t;

/* Entry points. A null required pointer ends the call with nothing written;
 * a non-zero dump prints the pages given to standard output first. */
FIBER_API void fiber_decode_normal(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages, fiber_normal_info_t *info, uint8_t dump);
FIBER_API void fiber_decode_vendor(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages, fiber_vendor_info_t *info, uint8_t dump);
FIBER_API void fiber_decode_diag(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages, fiber_diag_info_t *info, uint8_t dump);
FIBER_API void fiber_decode_alarm(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages, fiber_alarm_info_t *info, uint8_t dump);
FIBER_API void fiber_decode_coremgmt(fiber_module_kind kind, const uint8_t *lower_page, const fiber_pages_t pages, fiber_coremgmt_info_t *info, uint8_t dump);

/* Family decoders: upper pages are passed with their byte 128 first; the
 * record must be zero on entry. */
FIBER_API void fiber_decode_sfp_normal(const uint8_t *a0, fiber_normal_info_t *info);
FIBER_API void fiber_decode_xfp_normal(const uint8_t *page01, fiber_normal_info_t *info);
FIBER_API void fiber_decode_qsfp_normal(const uint8_t *page00, const uint8_t *lower, fiber_normal_info_t *info);
FIBER_API void fiber_decode_cmis_normal(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page12, fiber_normal_info_t *info);
FIBER_API void fiber_decode_cmis_normal_ignore(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page12, fiber_normal_info_t *info);
FIBER_API void _fiber_decode_cmis_normal(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page12, fiber_normal_info_t *info, uint8_t ignore);

FIBER_API void fiber_decode_sfp_vendor(const uint8_t *id_block, fiber_vendor_info_t *info);
FIBER_API void fiber_decode_xfp_vendor(const uint8_t *id_block, fiber_vendor_info_t *info);
FIBER_API void fiber_decode_qsfp_vendor(const uint8_t *id_block, fiber_vendor_info_t *info);
FIBER_API void fiber_decode_cmis_vendor(const uint8_t *id_block, const uint8_t *lower_page, const uint8_t *page01, fiber_vendor_info_t *info);

FIBER_API void fiber_decode_sfp_diag(const uint8_t *a0, const uint8_t *a2, uint8_t calibration, fiber_diag_info_t *info);
FIBER_API void fiber_decode_xfp_diag(const uint8_t *page01, const uint8_t *lower, fiber_diag_info_t *info);
FIBER_API void fiber_decode_qsfp_diag(const uint8_t *page00, const uint8_t *lower, const uint8_t *page03, fiber_diag_info_t *info);
FIBER_API void fiber_decode_cmis_diag(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page02, const uint8_t *page11, const uint8_t *page12, fiber_diag_info_t *info);

FIBER_API void fiber_decode_sfp_alarm(const uint8_t *a0, uint8_t *a2, fiber_alarm_info_t *info);
FIBER_API void fiber_decode_xfp_alarm(const uint8_t *id_page, const uint8_t *lower, fiber_alarm_info_t *info);
FIBER_API void fiber_decode_qsfp_alarm(const uint8_t *page00, const uint8_t *lower, fiber_alarm_info_t *info);
FIBER_API void fiber_decode_cmis_alarm(const uint8_t *page00, const uint8_t *lower, const uint8_t *page01, const uint8_t *page11, const uint8_t *page12, const uint8_t *vdm, const uint8_t *page2c, fiber_alarm_info_t *info);

/* CMIS queries on a lower page */
FIBER_API uint8_t fiber_is_cmis(const uint8_t *lower);
FIBER_API uint8_t fiber_is_color_module(const uint8_t *lower);
FIBER_API uint8_t fiber_get_cmis_ver_id(const uint8_t *lower);

/* Lookups; returned texts are constant and live as long as the library. */
FIBER_API const char *fiber_get_trans_str_bytype(const char *prefix, fiber_trans_type type);
FIBER_API void fiber_get_trans_rate_connector_bytype(fiber_trans_type type, uint32_t *rate, uint32_t *connector);
FIBER_API void fiber_decode_connect_type(uint8_t code, const char **name_out);
FIBER_API const char *cmis_get_module_state_byencode(uint64_t code);
FIBER_API const char *cmis_get_datapath_state_byencode(uint64_t code);
FIBER_API const cmis_lane_mask_entry_t *cmis_get_datapath_lane_mask(uint64_t lane);

/* Numeric helpers: 16.16 fixed-point logarithm and power conversion
 * (powers in units of 0.1 uW; fiber_dbm returns dBm). */
FIBER_API int32_t fxln(uint32_t x);
FIBER_API float stt(int32_t x);
FIBER_API uint32_t tts(float v);
FIBER_API float fiber_log(float v);
FIBER_API float fiber_dbm(float v);
FIBER_API float get_float_from_reg(const uint8_t *p);
FIBER_API uint8_t get_check_code(const uint8_t *data, int32_t length);

/* The alarm text catalogue, indexed by alarm id; blank ids hold " ". */
FIBER_API extern const char *fiber_alarms[FIBER_ALARM_COUNT];

#ifdef __cplusplus
}
#endif

#endif /* FIBER_DECODE_H */
