// PLACEHOLDER: replaced by the numeric helpers.
#include "fiber_internal.h"
extern "C" {
int32_t fxln(uint32_t) { return 0; }
float stt(int32_t) { return 0; }
uint32_t tts(float) { return 0; }
float fiber_log(float) { return 0; }
float fiber_dbm(float) { return 0; }
float get_float_from_reg(const uint8_t *) { return 0; }
uint8_t get_check_code(const uint8_t *, int32_t) { return 0; }
}
