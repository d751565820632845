// SPDX-License-Identifier: Apache-2.0
// Numeric helpers: 16.16 fixed-point logarithm, dBm conversion, register
// floats and check codes. <cmath> serves only as the reference here.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "fiber_internal.h"

namespace {

uint32_t bits_of(float f) { return std::bit_cast<uint32_t>(f); }
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Zero and below give -40; 65536 and above the 8.16 ceiling, just below the
// value for 65535 (4102A2DFh, below). A NaN fails both clamps and goes through the logarithm as
// 16.16 zero.
TEST(FiberDbm, ClampsAndNan) {
    for (float v : {0.0f, -0.0f, -5.0f, -kInf}) EXPECT_EQ(bits_of(fiber_dbm(v)), bits_of(-40.0f)) << v;
    for (float v : {65536.0f, 100000.0f, kInf}) EXPECT_EQ(bits_of(fiber_dbm(v)), 0x41028F5Cu) << v;
    EXPECT_EQ(bits_of(fiber_dbm(kNan)), 0xC2C07EA4u);  // -96.247
}

// Units (0.1 uW), then the exact log10 and dBm results of the fixed-point chain.
TEST(FiberLog, KnownValuesBitExact) {
    const std::tuple<float, uint32_t, uint32_t> cases[] = {
        {0.5f, 0xBE9A2086u, 0xC22C0A8Au},       // -0.30103, -43.0103 dBm
        {1.0f, 0x00000000u, 0xC2200000u},       //  0,       -40 dBm
        {3.7f, 0x3F1175B6u, 0xC209459Bu},       //  0.56820, -34.3180 dBm
        {1000.0f, 0x4040000Au, 0xC11FFFE7u},    //  3.00000, -10.0000 dBm
        {10000.0f, 0x40800002u, 0x37200000u},   //  4.00000,   0.0000 dBm
        {32768.0f, 0x40907E8Bu, 0x40A4F16Eu},   //  4.51545,   5.1545 dBm
        {65535.0f, 0x409A2093u, 0x4102A2DFu},   //  4.81648,   8.1648 dBm
        {65535.99f, 0x409A20A1u, 0x4102A325u},  //  4.81648,   8.1648 dBm, not yet clamped
    };
    for (auto [units, log10, dbm] : cases)
        EXPECT_EQ(std::tuple(bits_of(fiber_log(units)), bits_of(fiber_dbm(units))), std::tuple(log10, dbm))
            << units;
}

// fiber_log is stt(fxln(tts(v))) divided by the single-precision ln 10, and
// fiber_dbm is (fiber_log(v) - 4) * 10 in single precision below its clamps,
// bit for bit, and within 0.0003 dB of 10 log10(v / 10000) over every whole
// reading; the chain also holds for readings too small for 16.16 (log of 0).
TEST(FiberLog, IsTheFixedPointChainAndAccurate) {
    auto check = [](float v) {
        const float log10 = stt(fxln(tts(v))) / std::bit_cast<float>(0x40135D8Eu);
        ASSERT_EQ(std::tuple(bits_of(fiber_log(v)), bits_of(fiber_dbm(v))),
                  std::tuple(bits_of(log10), bits_of((log10 - 4.0f) * 10.0f)))
            << v;
    };
    for (float v : {1e-30f, 1e-6f, 1.0f / 65536.0f, 0.3f, 65535.99f, std::nextafter(65536.0f, 0.0f)}) check(v);
    for (uint32_t v = 1; v <= 65535; ++v) {
        check(static_cast<float>(v));
        ASSERT_NEAR(fiber_dbm(static_cast<float>(v)), 10.0 * std::log10(v / 10000.0), 0.0003) << v;
    }
}

// v * 65536 truncated (0.1 gives 1999h, not 199Ah); the integer part keeps
// its low 16 bits; negatives and NaN give 0; 2^32 and above saturate to
// 2^32 - 1 in every digit step: ((FFFFFFFFh << 4) + FFFFFFFFh) ... mod 2^32.
TEST(Tts, TruncatesToSixteenSixteenAndSaturates) {
    const std::pair<float, uint32_t> cases[] = {
        {1.5f, 0x18000u}, {0.1f, 0x1999u}, {1.0f, 0x10000u}, {0.0f, 0u}, {1.0f / 65536.0f, 1u},
        {65535.5f, 0xFFFF8000u}, {65536.0f, 0u}, {65537.25f, 0x14000u},
        {-3.0f, 0u}, {-0.5f, 0u}, {-1e30f, 0u}, {kNan, 0u}, {-kInf, 0u}, {kInf, 0xFFFEEEEFu}, {1e30f, 0xFFFEEEEFu},
    };
    for (auto [v, want] : cases) EXPECT_EQ(tts(v), want) << v;
}

// Every x of the first 2^20 of [first, last], then a prime step, and the
// neighbourhoods of every power of two (2^31 and 2^32 - 1 among them).
template <class Check>
void sweep(uint64_t first, uint64_t last, Check check) {
    for (uint64_t x = first; x <= last && x <= first + (1u << 20); ++x) check(static_cast<uint32_t>(x));
    for (uint64_t x = first; x <= last; x += 997) check(static_cast<uint32_t>(x));
    for (unsigned s = 0; s <= 32; ++s)
        for (int d = -3; d <= 3; ++d) {
            const int64_t x = (int64_t{1} << s) + d;
            if (x >= static_cast<int64_t>(first) && x <= static_cast<int64_t>(last)) check(static_cast<uint32_t>(x));
        }
}

// Stated values, the edges of the normalisation shifts, then the extremes of
// the error against 65536 ln(x / 65536) over 1 .. 2^31 (-1.507, +3.434) and
// above (-0.850, +3.184). The rounded constants of the shift-and-add steps
// keep the error within -1.51 .. +3.44 up to 2^31 and within -1.25 .. +3.33
// above, where the argument is halved first.
TEST(Fxln, StatedValuesAndAccuracy) {
    const std::pair<uint32_t, int32_t> cases[] = {
        {65536, 0},         {131072, 45426},     {1, -726817},          {0x80000000u, 681391}, {0, -848785},
        {0x8000, -45426},   {0x7FFFFFu, 317982}, {0x3FFFFFFFu, 635965},
        {4338086u, 274764}, {13712781u, 350194}, {2221218667u, 683603}, {3510498758u, 713603}};
    for (auto [x, want] : cases) EXPECT_EQ(fxln(x), want) << x;
    const std::tuple<uint64_t, uint64_t, double, double> windows[] = {{1, 0x80000000u, -1.51, 3.44},
                                                                      {0x80000001u, 0xFFFFFFFFu, -1.25, 3.33}};
    for (auto [first, last, lo, hi] : windows)
        sweep(first, last, [lo = lo, hi = hi](uint32_t x) {
            const double e = fxln(x) - 65536.0 * std::log(x / 65536.0);
            ASSERT_TRUE(e >= lo && e <= hi) << x << " off by " << e;
        });
}

// Signed 16.16 to float: x / 65536 rounded once to single precision.
TEST(Stt, SignedSixteenSixteenToFloat) {
    const std::pair<int32_t, float> cases[] = {{0x18000, 1.5f},        {0, 0.0f},    {1, 1.0f / 65536.0f},
                                               {-65536, -1.0f},        {-45426, -0.693145751953125f},  // fxln(0x8000)
                                               {INT32_MIN, -32768.0f}, {INT32_MAX, 32768.0f}};
    for (auto [x, want] : cases) EXPECT_EQ(bits_of(stt(x)), bits_of(want)) << x;
}

// Big-endian on any host, sign of zero kept, read from an unaligned address.
TEST(RegisterFloat, BigEndianOnAnyHost) {
    const std::pair<std::array<uint8_t, 4>, float> cases[] = {
        {{0x00, 0x00, 0x00, 0x00}, 0.0f},  {{0x80, 0x00, 0x00, 0x00}, -0.0f}, {{0x3F, 0x80, 0x00, 0x00}, 1.0f},
        {{0xBF, 0x80, 0x00, 0x00}, -1.0f}, {{0x40, 0x49, 0x0F, 0xDB}, 3.14159274f},
        {{0x3D, 0xCC, 0xCC, 0xCD}, 0.1f},  {{0x00, 0x00, 0x00, 0x01}, std::numeric_limits<float>::denorm_min()},
        {{0x47, 0x7F, 0xFF, 0x00}, 65535.0f},
    };
    for (auto [b, want] : cases) {
        const uint8_t buf[] = {0xAA, b[0], b[1], b[2], b[3]};
        EXPECT_EQ(bits_of(get_float_from_reg(buf + 1)), bits_of(want)) << want;
    }
}

// Low eight bits of the plain sum of the first length bytes; nothing is read
// for an empty or negative length.
TEST(CheckCode, LowEightBitsOfThePlainSum) {
    const std::vector<uint8_t> ff(63, 0xFF), zeros(63, 0);
    const uint8_t wrap[] = {0x80, 0x80, 0x01}, tail[] = {0x01, 0x02, 0x03, 0xFF};
    const std::tuple<const uint8_t *, int32_t, int> cases[] = {
        {nullptr, 0, 0}, {nullptr, -1, 0}, {nullptr, INT32_MIN, 0},
        {ff.data(), 63, 0xC1},  // SFF-8472 byte 63 over bytes 0-62
        {ff.data(), 31, 0xE1},  // SFF-8472 byte 95 over bytes 64-94
        {ff.data(), 1, 0xFF}, {wrap, 3, 0x01}, {wrap, 2, 0x00}, {zeros.data(), 63, 0}, {tail, 3, 0x06},
    };
    for (auto [data, length, want] : cases) EXPECT_EQ(get_check_code(data, length), want) << length;
}

}  // namespace
