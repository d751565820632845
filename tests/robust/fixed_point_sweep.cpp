// SPDX-License-Identifier: Apache-2.0
// tts and stt compute their 16.16 conversions without the digit and bit
// loops of the algorithm they implement. This program runs the loops as
// written (four hexadecimal fraction digits for tts; sixteen fraction bits
// added by multiply-add onto the signed integer part for stt) and requires
// bit-identical results from the library over a wide sweep: every 16.16
// value within +-16.0, every float from 0 to 65536 with a 24-bit step
// pattern, and strided samples of all 2^32 inputs, special values included.
// (The full 2^32 comparison was run once when the loops were replaced.)
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <limits>

#include "fiber_decode.h"

namespace {

uint32_t saturate_u32(float v) {
    if (!(v >= 0.0f)) return 0;  // negative and NaN
    if (v >= 4294967296.0f) return UINT32_MAX;
    return static_cast<uint32_t>(v);
}

uint32_t tts_by_digits(float v) {
    uint32_t i = saturate_u32(v);
    uint32_t r = i;
    for (int digit = 0; digit < 4; ++digit) {
        v = (v - static_cast<float>(i)) * 16.0f;
        i = saturate_u32(v);
        r = (r << 4) + i;
    }
    return r;
}

float stt_by_bits(int32_t x) {
    float f = 0.0f;
    float w = 0.5f;
    for (int b = 15; b >= 0; --b) {
        const float bit = static_cast<float>((static_cast<uint32_t>(x) >> b) & 1u);
        f = std::fma(bit, w, f);
        w = w * 0.5f;
    }
    return static_cast<float>(x >> 16) + f;
}

long g_checked = 0;
long g_failed = 0;

void check_tts(uint32_t bits) {
    const float v = std::bit_cast<float>(bits);
    ++g_checked;
    if (tts(v) != tts_by_digits(v) && g_failed++ < 5)
        std::printf("FAIL tts(%a) [bits %08X] = %08X, digit loop gives %08X\n", v, bits, tts(v), tts_by_digits(v));
}

void check_stt(uint32_t u) {
    const int32_t x = static_cast<int32_t>(u);
    ++g_checked;
    if (std::bit_cast<uint32_t>(stt(x)) != std::bit_cast<uint32_t>(stt_by_bits(x)) && g_failed++ < 5)
        std::printf("FAIL stt(%08X) = %a, bit loop gives %a\n", u, stt(x), stt_by_bits(x));
}

}  // namespace

int main() {
    // stt: every value within +-16.0 (all fraction patterns near zero), then
    // a stride through all 2^32 words, and the extremes.
    for (int32_t x = -(16 << 16); x <= (16 << 16); ++x) check_stt(static_cast<uint32_t>(x));
    for (uint64_t u = 0; u < (uint64_t{1} << 32); u += 257) check_stt(static_cast<uint32_t>(u));
    for (uint32_t u : {0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFFu, 0x7FFF0001u, 0xFFFF4E8Eu}) check_stt(u);

    // tts: floats from 0 up to 65536 (the range fiber_dbm uses) in steps of
    // 64 bit patterns, then a stride through all 2^32 patterns (negative,
    // huge, infinite and NaN ones among them), and the boundaries.
    const uint32_t top = std::bit_cast<uint32_t>(65536.0f);
    for (uint32_t b = 0; b <= top; b += 64) check_tts(b);
    for (uint64_t u = 0; u < (uint64_t{1} << 32); u += 263) check_tts(static_cast<uint32_t>(u));
    const float specials[] = {0.0f, -0.0f, 0.1f, 1.5f, 65535.5f, 65536.0f, 65537.25f, 4294967040.0f, 4294967296.0f,
                              1e30f, -1e30f, std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::denorm_min(), std::nextafter(65536.0f, 0.0f)};
    for (float v : specials) check_tts(std::bit_cast<uint32_t>(v));

    std::printf("%ld conversions compared with the digit and bit loops: %ld passed, %ld failed\n", g_checked,
                g_checked - g_failed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
