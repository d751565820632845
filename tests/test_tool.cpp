// Numeric helpers: 16.16 fixed-point logarithm, dBm conversion, register
// floats and check codes. <cmath> serves only as the reference here.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "fiber_internal.h"

namespace {

uint32_t bits_of(float f) { return std::bit_cast<uint32_t>(f); }

// ---------------------------------------------------------------------------
// fiber_dbm
// ---------------------------------------------------------------------------
TEST(FiberDbm, MatchesTenLog10OverEveryWholeReading) {
    double worst = 0.0;
    uint32_t worst_at = 0;
    for (uint32_t v = 1; v <= 65535; ++v) {
        const double want = 10.0 * std::log10(v / 10000.0);
        const double err = std::fabs(static_cast<double>(fiber_dbm(static_cast<float>(v))) - want);
        if (err > worst) {
            worst = err;
            worst_at = v;
        }
    }
    EXPECT_LE(worst, 0.0003) << "worst at " << worst_at;
}

TEST(FiberDbm, ClampsAndFixedPoints) {
    EXPECT_EQ(bits_of(fiber_dbm(0.0f)), bits_of(-40.0f));
    EXPECT_EQ(bits_of(fiber_dbm(-0.0f)), bits_of(-40.0f));
    EXPECT_EQ(bits_of(fiber_dbm(-5.0f)), bits_of(-40.0f));
    EXPECT_EQ(bits_of(fiber_dbm(-std::numeric_limits<float>::infinity())), bits_of(-40.0f));
    EXPECT_EQ(bits_of(fiber_dbm(1.0f)), bits_of(-40.0f));  // through the logarithm: log10 1 = 0
    EXPECT_EQ(bits_of(fiber_dbm(65536.0f)), 0x41028F5Cu);
    EXPECT_EQ(bits_of(fiber_dbm(100000.0f)), 0x41028F5Cu);
    EXPECT_EQ(bits_of(fiber_dbm(std::numeric_limits<float>::infinity())), 0x41028F5Cu);
    // The clamp value lies just below the value for 65535 units.
    EXPECT_LT(fiber_dbm(65536.0f), fiber_dbm(65535.0f));
}

TEST(FiberDbm, KnownValues) {
    struct Case {
        float units;
        double dbm;
    };
    const Case cases[] = {{2.0f, -36.9897}, {10.0f, -30.0},    {10000.0f, 0.0},   {20000.0f, 3.0103},
                          {32768.0f, 5.1545}, {40000.0f, 6.0206}, {65535.0f, 8.1647}, {0.5f, -43.0103}};
    for (const Case &c : cases) EXPECT_NEAR(fiber_dbm(c.units), c.dbm, 0.0003) << c.units;
    EXPECT_NEAR(fiber_dbm(10000.0f), 0.0, 0.00001);
}

TEST(FiberDbm, NanIsNotClampedButGoesThroughTheLogarithm) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float through_log = (fiber_log(nan) - 4.0f) * 10.0f;
    EXPECT_EQ(bits_of(fiber_dbm(nan)), bits_of(through_log));
    EXPECT_NE(bits_of(fiber_dbm(nan)), 0x41028F5Cu);
    EXPECT_NE(bits_of(fiber_dbm(nan)), bits_of(-40.0f));
}

// ---------------------------------------------------------------------------
// fiber_log and its pieces
// ---------------------------------------------------------------------------
TEST(FiberLog, IsTheFixedPointChainOverLn10) {
    for (float v : {0.5f, 1.0f, 2.0f, 3.7f, 100.0f, 12345.0f, 40000.0f, 65535.0f}) {
        const float chain = stt(fxln(tts(v))) / std::bit_cast<float>(0x40135D8Eu);
        EXPECT_EQ(bits_of(fiber_log(v)), bits_of(chain)) << v;
    }
    EXPECT_NEAR(fiber_log(0.5f), -0.30103, 0.00002);
    EXPECT_NEAR(fiber_log(1000.0f), 3.0, 0.00002);
    EXPECT_EQ(fiber_log(1.0f), 0.0f);
}

TEST(Tts, TruncatesToSixteenSixteen) {
    EXPECT_EQ(tts(1.5f), 0x18000u);
    EXPECT_EQ(tts(0.1f), 0x1999u);  // truncated, not rounded (0x199A)
    EXPECT_EQ(tts(1.0f), 0x10000u);
    EXPECT_EQ(tts(0.0f), 0u);
    EXPECT_EQ(tts(65535.5f), 0xFFFF8000u);
    EXPECT_EQ(tts(1.0f / 65536.0f), 1u);
    EXPECT_EQ(tts(65536.0f), 0u);          // integer part loses its upper bits
    EXPECT_EQ(tts(65537.25f), 0x14000u);
    // Every representable value below 65536 is v * 65536 truncated.
    for (float v = 0.0f; v < 65536.0f; v = v * 1.37f + 0.013f)
        EXPECT_EQ(tts(v), static_cast<uint32_t>(static_cast<double>(v) * 65536.0)) << v;
}

TEST(Tts, SaturatesWithoutUndefinedBehaviour) {
    EXPECT_EQ(tts(-3.0f), 0u);
    EXPECT_EQ(tts(-0.5f), 0u);
    EXPECT_EQ(tts(-1e30f), 0u);
    EXPECT_EQ(tts(std::numeric_limits<float>::quiet_NaN()), 0u);
    EXPECT_EQ(tts(-std::numeric_limits<float>::infinity()), 0u);
    // 2^32 and above saturate to 2^32 - 1 in every digit step:
    // r = ((((FFFFFFFF << 4) + FFFFFFFF) << 4) + ...) mod 2^32.
    uint32_t r = UINT32_MAX;
    for (int i = 0; i < 4; ++i) r = (r << 4) + UINT32_MAX;
    EXPECT_EQ(tts(std::numeric_limits<float>::infinity()), r);
    EXPECT_EQ(tts(1e30f), r);
}

TEST(Fxln, StatedValues) {
    EXPECT_EQ(fxln(65536), 0);
    EXPECT_EQ(fxln(131072), 45426);
    EXPECT_EQ(fxln(1), -726817);
    EXPECT_EQ(fxln(0x80000000u), 681391);
    EXPECT_EQ(fxln(0), -848785);
    EXPECT_EQ(static_cast<uint32_t>(fxln(0x8000)), 0xFFFF4E8Eu);
}

double fxln_error(uint32_t x) { return fxln(x) - 65536.0 * std::log(x / 65536.0); }

// Dense sweep of x in [first, last] (every x up to 2^20, then a prime step,
// plus the neighbourhoods of every power of two), with the error range seen.
template <class Check>
void sweep(uint64_t first, uint64_t last, Check check) {
    for (uint64_t x = first; x <= std::min<uint64_t>(last, first + (1u << 20)); ++x) check(static_cast<uint32_t>(x));
    for (uint64_t x = first; x <= last; x += 997) check(static_cast<uint32_t>(x));
    for (unsigned s = 0; s <= 32; ++s)
        for (int d = -3; d <= 3; ++d) {
            const int64_t x = (int64_t{1} << s) + d;
            if (x >= static_cast<int64_t>(first) && x <= static_cast<int64_t>(last)) check(static_cast<uint32_t>(x));
        }
    check(static_cast<uint32_t>(last));
}

TEST(Fxln, AccuracyUpTo2Pow31) {
    // The rounded constants of the shift-and-add steps leave the result
    // between -1.507 (at 4338086) and +3.434 (at 13712781) of the exact
    // value over 1 .. 2^31 (found by an exhaustive run), a little wider than
    // the -1.25 .. +3.33 window kept above 2^31.
    sweep(1, 0x80000000u, [](uint32_t x) {
        const double e = fxln_error(x);
        ASSERT_GE(e, -1.51) << x;
        ASSERT_LE(e, 3.44) << x;
    });
    EXPECT_NEAR(fxln_error(4338086), -1.5065, 0.0001);
    EXPECT_NEAR(fxln_error(13712781), 3.4335, 0.0001);
}

TEST(Fxln, AccuracyAbove2Pow31) {
    // 65536 * ln(x / 65536) within -1.25 .. +3.33 for x in 2^31+1 .. 2^32-1,
    // the arguments fiber_log passes for 32768.0 .. 65535.99 units
    // (exhaustively: -0.850 at 2221218667, +3.184 at 3510498758).
    sweep(0x80000001u, 0xFFFFFFFFu, [](uint32_t x) {
        const double e = fxln_error(x);
        ASSERT_GE(e, -1.25) << x;
        ASSERT_LE(e, 3.33) << x;
    });
    for (uint32_t x : {2221218667u, 3510498758u, 0xC0000000u, 0xFFFF0000u, 0xFFFFFFFFu}) {
        EXPECT_GE(fxln_error(x), -1.25) << x;
        EXPECT_LE(fxln_error(x), 3.33) << x;
    }
}

TEST(Fxln, IsMonotonicAcrossThe2Pow31Seam) {
    int32_t prev = fxln(0x7FFF0000u);
    for (uint32_t x = 0x7FFF0000u + 1; x != 0x80010000u; ++x) {
        const int32_t y = fxln(x);
        ASSERT_GE(y, prev - 2) << x;  // the linear tail may step back by a unit
        prev = y;
    }
    EXPECT_GT(fxln(0xFFFFFFFFu), fxln(0x80000000u));
    EXPECT_NEAR(fxln(0xFFFFFFFFu), 65536.0 * std::log(65536.0), 3.33);
}

TEST(Stt, SignedSixteenSixteenToFloat) {
    EXPECT_EQ(stt(0x18000), 1.5f);
    EXPECT_EQ(stt(0), 0.0f);
    EXPECT_EQ(stt(1), 1.0f / 65536.0f);
    EXPECT_EQ(stt(-65536), -1.0f);
    EXPECT_NEAR(stt(static_cast<int32_t>(0xFFFF4E8Eu)), -0.693146, 0.000001);
    EXPECT_EQ(stt(INT32_MIN), -32768.0f);
    EXPECT_EQ(stt(INT32_MAX), 32767.0f + 65535.0f / 65536.0f);
}

TEST(Stt, BitIdenticalToTheFusedLoop) {
    auto fused = [](int32_t x) {
        float f = 0.0f, w = 0.5f;
        for (int b = 15; b >= 0; --b) {
            f = std::fma(static_cast<float>((static_cast<uint32_t>(x) >> b) & 1u), w, f);
            w *= 0.5f;
        }
        return static_cast<float>(x >> 16) + f;
    };
    for (int64_t x = INT32_MIN; x <= INT32_MAX; x += 65521) {
        const int32_t v = static_cast<int32_t>(x);
        ASSERT_EQ(bits_of(stt(v)), bits_of(fused(v))) << v;
    }
    for (int32_t x = -70000; x <= 70000; ++x) ASSERT_EQ(bits_of(stt(x)), bits_of(fused(x))) << x;
}

// ---------------------------------------------------------------------------
// get_float_from_reg
// ---------------------------------------------------------------------------
TEST(RegisterFloat, BigEndianOnAnyHost) {
    struct Case {
        uint8_t b[4];
        float want;
    };
    const Case cases[] = {
        {{0x00, 0x00, 0x00, 0x00}, 0.0f},    {{0x3F, 0x80, 0x00, 0x00}, 1.0f},
        {{0xBF, 0x80, 0x00, 0x00}, -1.0f},   {{0x40, 0x49, 0x0F, 0xDB}, 3.14159274f},
        {{0x3D, 0xCC, 0xCC, 0xCD}, 0.1f},    {{0x00, 0x00, 0x00, 0x01}, std::numeric_limits<float>::denorm_min()},
        {{0x47, 0x7F, 0xFF, 0x00}, 65535.0f},
    };
    for (const Case &c : cases) EXPECT_EQ(bits_of(get_float_from_reg(c.b)), bits_of(c.want));
    // Sign of zero survives, and the pointer need not be aligned.
    const uint8_t buf[] = {0xAA, 0x80, 0x00, 0x00, 0x00, 0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(bits_of(get_float_from_reg(buf + 1)), 0x80000000u);
    EXPECT_EQ(bits_of(get_float_from_reg(buf + 5)), 0x12345678u);
}

// ---------------------------------------------------------------------------
// get_check_code
// ---------------------------------------------------------------------------
TEST(CheckCode, NothingIsReadForEmptyOrNegativeLength) {
    EXPECT_EQ(get_check_code(nullptr, 0), 0);
    EXPECT_EQ(get_check_code(nullptr, -1), 0);
    EXPECT_EQ(get_check_code(nullptr, INT32_MIN), 0);
}

TEST(CheckCode, LowEightBitsOfThePlainSum) {
    uint8_t ff[63];
    std::fill(std::begin(ff), std::end(ff), 0xFF);
    EXPECT_EQ(get_check_code(ff, 63), 0xC1);  // SFF-8472 byte 63 over bytes 0-62
    EXPECT_EQ(get_check_code(ff, 31), 0xE1);  // SFF-8472 byte 95 over bytes 64-94
    EXPECT_EQ(get_check_code(ff, 1), 0xFF);
    const uint8_t wrap[] = {0x80, 0x80, 0x01};
    EXPECT_EQ(get_check_code(wrap, 3), 0x01);
    EXPECT_EQ(get_check_code(wrap, 2), 0x00);
    const uint8_t zeros[63] = {};
    EXPECT_EQ(get_check_code(zeros, 63), 0);
    // Only the first length bytes count.
    const uint8_t tail[] = {0x01, 0x02, 0x03, 0xFF};
    EXPECT_EQ(get_check_code(tail, 3), 0x06);
}

// ---------------------------------------------------------------------------
// Real modules (tests/data/<entry>/source.md tells where each dump was
// published). dump.bin: SFF-8472 A0h at 0 and A2h at 256; SFF-8636 lower
// page at 0 and upper page N at 128 * (N + 1).
// ---------------------------------------------------------------------------
std::vector<uint8_t> load_dump(const char *entry) {
    const std::string path = std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin";
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(RealModule, SfpCheckCodesHold) {
    const std::vector<uint8_t> d = load_dump("sfp-10g-lr-flexoptix-pb1696");
    ASSERT_EQ(d.size(), 512u);
    const uint8_t *a0 = d.data();
    const uint8_t *a2 = d.data() + 256;
    EXPECT_EQ(get_check_code(a0, 63), a0[63]);       // CC_BASE, A0h byte 63
    EXPECT_EQ(get_check_code(a0 + 64, 31), a0[95]);  // CC_EXT, A0h byte 95
    EXPECT_EQ(get_check_code(a2, 95), a2[95]);       // CC_DMI, A2h byte 95
    EXPECT_EQ(a0[63], 0x87);
    EXPECT_EQ(a0[95], 0x8B);
}

TEST(RealModule, QsfpCheckCodesHold) {
    const std::vector<uint8_t> d = load_dump("qsfp28-100g-ir4-fs");
    ASSERT_GE(d.size(), 256u);
    const uint8_t *page00 = d.data() + 128;  // byte 128 of upper page 00h
    EXPECT_EQ(get_check_code(page00, 63), page00[191 - 128]);        // CC_BASE, byte 191
    EXPECT_EQ(get_check_code(page00 + 64, 31), page00[223 - 128]);   // CC_EXT, byte 223
    EXPECT_EQ(page00[191 - 128], 0xFB);
    EXPECT_EQ(page00[223 - 128], 0xBC);
}

TEST(RealModule, SfpCalibrationConstantsAndPowerThreshold) {
    const std::vector<uint8_t> d = load_dump("sfp-10g-lr-flexoptix-pb1696");
    ASSERT_EQ(d.size(), 512u);
    const uint8_t *a2 = d.data() + 256;
    // SFF-8472 A2h bytes 56-75: Rx_PWR(4) .. Rx_PWR(0); this module states
    // the identity polynomial, Rx_PWR(1) = 1.0.
    EXPECT_EQ(get_float_from_reg(a2 + 56), 0.0f);
    EXPECT_EQ(get_float_from_reg(a2 + 68), 1.0f);
    EXPECT_EQ(get_float_from_reg(a2 + 72), 0.0f);
    // A2h bytes 24-25, Tx power high alarm: 0x4577 = 1.7783 mW = 2.5 dBm.
    const uint16_t tx_high = static_cast<uint16_t>(a2[24] << 8 | a2[25]);
    EXPECT_EQ(tx_high, 17783);
    EXPECT_NEAR(fiber_dbm(tx_high), 10.0 * std::log10(1.7783), 0.0003);
}

}  // namespace
