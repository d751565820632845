// PLACEHOLDER: replaced by the SFP family decoders.
#include "fiber_internal.h"
extern "C" {
void fiber_decode_sfp_normal(const uint8_t *, fiber_normal_info_t *) {}
void fiber_decode_sfp_vendor(const uint8_t *, fiber_vendor_info_t *) {}
void fiber_decode_sfp_diag(const uint8_t *, const uint8_t *, uint8_t, fiber_diag_info_t *) {}
void fiber_decode_sfp_alarm(const uint8_t *, uint8_t *, fiber_alarm_info_t *) {}
}
