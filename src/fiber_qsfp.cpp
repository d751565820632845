// PLACEHOLDER: replaced by the QSFP family decoders.
#include "fiber_internal.h"
namespace fiber {
uint8_t is_qsfp_id_invalid(uint8_t) { return 1; }
uint8_t qsfp_check_support_ddm(const uint8_t *) { return 0; }
}  // namespace fiber
extern "C" {
void fiber_decode_qsfp_normal(const uint8_t *, const uint8_t *, fiber_normal_info_t *) {}
void fiber_decode_qsfp_vendor(const uint8_t *, fiber_vendor_info_t *) {}
void fiber_decode_qsfp_diag(const uint8_t *, const uint8_t *, const uint8_t *, fiber_diag_info_t *) {}
void fiber_decode_qsfp_alarm(const uint8_t *, const uint8_t *, fiber_alarm_info_t *) {}
}
