// PLACEHOLDER: replaced by the reference tables.
#include "fiber_internal.h"
namespace fiber {
const fiber_trans_entry_t fiber_trans_map[kTransMapRows] = {};
const char *sfp_encoding_name(uint8_t) { return "Unspecified"; }
const char *qsfp_encoding_name(uint8_t) { return "Unspecified"; }
const char *xfp_encoding_name(uint8_t) { return "Unspecified"; }
const char *cmis_encoding_name() { return "Unspecified"; }
}  // namespace fiber
extern "C" {
const char *fiber_alarms[FIBER_ALARM_COUNT] = {};
const char *fiber_get_trans_str_bytype(const char *, fiber_trans_type) { return "Unknown module"; }
void fiber_get_trans_rate_connector_bytype(fiber_trans_type, uint32_t *rate, uint32_t *connector) { *rate = 0; *connector = 0; }
void fiber_decode_connect_type(uint8_t, const char **name_out) { *name_out = "unknow connect type"; }
const char *cmis_get_module_state_byencode(uint64_t) { return "Unknown state"; }
const char *cmis_get_datapath_state_byencode(uint64_t) { return "Unknown state"; }
const cmis_lane_mask_entry_t *cmis_get_datapath_lane_mask(uint64_t) { return nullptr; }
}
