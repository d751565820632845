// SPDX-License-Identifier: Apache-2.0
// Numeric helpers: optical power in 0.1 uW units to dBm through a 16.16
// fixed-point natural logarithm, big-endian register floats (SFF-8472 A2h
// bytes 56-75), and the additive check codes of the identification areas.
// Integer shifts, additions and a few single-precision operations only.
#include <bit>
#include <cstdint>

#include "fiber_internal.h"

namespace {

// ln 10 and the 8.16 dBm ceiling as single-precision constants.
constexpr float kLn10 = 2.3025851f;
static_assert(std::bit_cast<uint32_t>(kLn10) == 0x40135D8Eu);
constexpr float kDbmCeiling = 8.16f;
static_assert(std::bit_cast<uint32_t>(kDbmCeiling) == 0x41028F5Cu);

// 65536 * ln 2 rounded: one halving or doubling of the 16.16 argument.
constexpr int32_t kLn2 = 45426;
// 65536 * 15 * ln 2: the logarithm of 2^31 as a 16.16 value (32768.0).
constexpr int32_t kLn2Pow15 = 681391;

// Normalisation shifts: x <= limit -> x <<= shift, y -= 65536 * shift * ln 2.
struct ln_shift {
    uint32_t limit;
    unsigned shift;
    int32_t ln;
};
constexpr ln_shift kShifts[] = {
    {0x007FFFFFu, 8, 363409},
    {0x07FFFFFFu, 4, 181704},
    {0x1FFFFFFFu, 2, 90852},
    {0x3FFFFFFFu, 1, kLn2},
};

// 65536 * ln(1 + 2^-k) rounded, k = 1..7.
constexpr int32_t kLnOnePlus[] = {26573, 14624, 7719, 3973, 2017, 1016, 510};

// Float to unsigned 32-bit, truncating toward zero and saturating: negative
// values and NaN give 0, 2^32 and above give 2^32 - 1.
constexpr uint32_t saturate_u32(float v) {
    if (!(v >= 0.0f)) return 0;
    if (v >= 4294967296.0f) return UINT32_MAX;
    return static_cast<uint32_t>(v);
}

// Float to 16.16: the integer part, then four hexadecimal fraction digits.
uint32_t to_fixed_by_digits(float v) {
    uint32_t i = saturate_u32(v);
    uint32_t r = i;
    for (int digit = 0; digit < 4; ++digit) {
        v = (v - static_cast<float>(i)) * 16.0f;
        i = saturate_u32(v);
        r = (r << 4) + i;
    }
    return r;
}

// The same without the digit loop. Below 2^32 the integer part does not
// saturate and each digit step is exact (v - i is the exact fraction, the
// product by 16 a change of exponent), so the digits are the top 16
// fraction bits and the result is v * 65536 truncated, modulo 2^32; the
// product is exact in single precision and below 2^48. Negative values and
// NaN give 0.
inline uint32_t to_fixed(float v) {
    if (v >= 0.0f && v < 4294967296.0f) return static_cast<uint32_t>(static_cast<int64_t>(v * 65536.0f));
    return to_fixed_by_digits(v);
}

// One multiplicative step of the logarithm: x += x >> k and y -= ln_step,
// unless that sets bit 31 of x. Whether a step is taken follows the
// argument's low bits, which a branch predictor cannot learn: on x86-64 the
// step is made branch-free with conditional moves on the sign of the sum
// (fiber_dbm was twice as slow as 10 * log10f with branches here).
inline void multiply_step(uint32_t &x, uint32_t &y, unsigned k, uint32_t ln_step) {
#if defined(__x86_64__) && defined(__GNUC__)
    uint32_t t = x >> k;
    const uint32_t y_taken = y - ln_step;
    asm("add %[x], %[t]\n\t"
        "cmovns %[t], %[x]\n\t"
        "cmovns %[y_taken], %[y]"
        : [x] "+r"(x), [t] "+r"(t), [y] "+r"(y)
        : [y_taken] "r"(y_taken)
        : "cc");
#else
    const uint32_t t = x + (x >> k);
    if ((t & 0x80000000u) == 0) {
        x = t;
        y -= ln_step;
    }
#endif
}

inline int32_t ln_fixed(uint32_t x) {
    uint32_t y;  // accumulator, two's complement modulo 2^32
    // Above 32768.0 the argument cannot be shifted into [2^30, 2^31]: halve
    // it (the dropped bit is below 2^-30 relative) and count one ln 2 more.
    const bool halved = x > 0x80000000u;
    if (halved) {
        x >>= 1;
        y = static_cast<uint32_t>(kLn2Pow15 + kLn2 + 1);
    } else if (x > 0x7FFF) {
        y = static_cast<uint32_t>(kLn2Pow15);
    } else {
        x <<= 16;
        y = static_cast<uint32_t>(-kLn2);
    }
    for (const ln_shift &s : kShifts) {
        if (x <= s.limit) {
            x <<= s.shift;
            y -= static_cast<uint32_t>(s.ln);
        }
    }
    // Multiply x toward 2^31 by factors (1 + 2^-k) while it stays below.
#pragma GCC unroll 7
    for (unsigned k = 1; k <= 7; ++k) multiply_step(x, y, k, static_cast<uint32_t>(kLnOnePlus[k - 1]));
    // Remaining factor 2^31 / x, taken linearly: ln(1 + e) ~ e. On the
    // halved path the start is one unit above 65536 * 16 ln 2 (726817.50)
    // and the tail is rounded to nearest rather than truncated, which
    // centres that path's error in the same -1.25 .. +3.33 window.
    const uint32_t tail = 0x80000000u - x;
    y -= (tail + (static_cast<uint32_t>(halved) << 14)) >> 15;  // + 0.5 rounds the halved path
    return static_cast<int32_t>(y);
}

// Signed 16.16 to float: x / 65536. Summing the fraction bits 2^-1..2^-16
// one by one onto the signed integer part gives the exact quotient rounded
// once to single precision; converting x (one rounding) and scaling by the
// power of two 2^-16 (exact) gives that same rounding.
inline float to_float(int32_t x) { return static_cast<float>(x) * (1.0f / 65536.0f); }

// The library's own calls stay inside this file, clear of the exported
// (interposable) names. stt(y) / ln 10 is taken as y / (65536 ln 10): the
// scaling by 2^-16 is exact on either side of the division, so the one
// rounding of the quotient is the same.
inline float log10_fixed(float v) {
    return static_cast<float>(ln_fixed(to_fixed(v))) / (kLn10 * 65536.0f);
}

}  // namespace

extern "C" {

uint32_t tts(float v) { return to_fixed(v); }
int32_t fxln(uint32_t x) { return ln_fixed(x); }
float stt(int32_t x) { return to_float(x); }

float fiber_log(float v) { return log10_fixed(v); }

float fiber_dbm(float v) {
    if (v <= 0.0f) return -40.0f;
    // A NaN fails both clamps and goes through the logarithm.
    if (v >= 65536.0f) return kDbmCeiling;
    // Here 0 < v < 65536, where tts is v * 65536 truncated, or v is NaN,
    // which tts turns into 0.
    const uint32_t x = v == v ? static_cast<uint32_t>(static_cast<int64_t>(v * 65536.0f)) : 0u;
    return (static_cast<float>(ln_fixed(x)) / (kLn10 * 65536.0f) - 4.0f) * 10.0f;  // 10000 units = 1 mW
}

float get_float_from_reg(const uint8_t *p) {
    const uint32_t bits = (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
    return std::bit_cast<float>(bits);
}

uint8_t get_check_code(const uint8_t *data, int32_t length) {
    uint32_t sum = 0;
    for (int32_t i = 0; i < length; ++i) sum += data[i];
    return static_cast<uint8_t>(sum & 0xFF);
}

}  // extern "C"
