// PLACEHOLDER: replaced by the CMIS family decoders.
#include "fiber_internal.h"
namespace fiber {
uint8_t cmis_check_support_ddm(const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *) { return 0; }
void cmis_decode_coremgmt(const uint8_t *, const uint8_t *, fiber_coremgmt_info_t *) {}
}  // namespace fiber
extern "C" {
void _fiber_decode_cmis_normal(const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, fiber_normal_info_t *, uint8_t) {}
void fiber_decode_cmis_normal(const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, fiber_normal_info_t *) {}
void fiber_decode_cmis_normal_ignore(const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, fiber_normal_info_t *) {}
void fiber_decode_cmis_vendor(const uint8_t *, const uint8_t *, const uint8_t *, fiber_vendor_info_t *) {}
void fiber_decode_cmis_diag(const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, fiber_diag_info_t *) {}
void fiber_decode_cmis_alarm(const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, const uint8_t *, fiber_alarm_info_t *) {}
uint8_t fiber_is_cmis(const uint8_t *) { return 0; }
uint8_t fiber_is_color_module(const uint8_t *) { return 0; }
uint8_t fiber_get_cmis_ver_id(const uint8_t *) { return 0; }
}
