// PLACEHOLDER: replaced by the XFP family decoders.
#include "fiber_internal.h"
extern "C" {
void fiber_decode_xfp_normal(const uint8_t *, fiber_normal_info_t *) {}
void fiber_decode_xfp_vendor(const uint8_t *, fiber_vendor_info_t *) {}
void fiber_decode_xfp_diag(const uint8_t *, const uint8_t *, fiber_diag_info_t *) {}
void fiber_decode_xfp_alarm(const uint8_t *, const uint8_t *, fiber_alarm_info_t *) {}
}
