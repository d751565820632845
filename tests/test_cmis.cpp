// SPDX-License-Identifier: Apache-2.0
// CMIS modules (QSFP-DD, QSFP56, DSFP, eight-lane): identification, the
// lower-page queries, vendor, diagnostics, alarms, module and data-path state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "fiber_internal.h"

namespace {

using std::make_tuple;
using S = std::string;
using strs = std::vector<S>;
using ints = std::vector<int>;

// A module's pages, zero until set. put() takes bytes as CMIS numbers them.
struct cmis_module { uint8_t lower[128]{}, p00[128]{}, p01[128]{}, p02[128]{}, p11[128]{}, p12[128]{}; };
void put(uint8_t *page, unsigned n, unsigned v) { page[n % 128] = static_cast<uint8_t>(v); }
void put_word(uint8_t *page, unsigned n, unsigned v) { put(page, n, v >> 8), put(page, n + 1, v & 0xFF); }
S str(const char *s) { return s ? s : "(null)"; }
template <class T>
ints ints8(const T *a) { return {a, a + 8}; }
strs texts8(const char *const *a) {
    strs t(8);
    return std::transform(a, a + 8, t.begin(), str), t;
}

// Reference dBm, independent of the library's fixed-point logarithm, and the
// largest distance of eight lanes' dBm from it.
double dbm(double units) { return units > 0 ? 10.0 * std::log10(units / 10000.0) : -40.0; }
double dbm_error(const float *got, const uint16_t *units) {
    double worst = 0;
    for (unsigned i = 0; i < 8; ++i) worst = std::max(worst, std::fabs(got[i] - dbm(units[i])));
    return worst;
}

fiber_diag_info_t diagnose(const cmis_module &m, bool with02 = true) {
    fiber_diag_info_t d{};
    return fiber_decode_cmis_diag(m.p00, m.lower, m.p01, with02 ? m.p02 : nullptr, m.p11, nullptr, &d), d;
}
fiber_alarm_info_t alarms_of(const cmis_module &m, const uint8_t *vdm = nullptr, const uint8_t *page2c = nullptr) {
    fiber_alarm_info_t a{};
    return fiber_decode_cmis_alarm(m.p00, m.lower, m.p01, m.p11, nullptr, vdm, page2c, &a), a;
}
bool raised(const fiber_alarm_info_t &a, unsigned id) { return (a.alarm_bits[id / 32] >> (id % 32)) & 1u; }
unsigned raised_count(const fiber_alarm_info_t &a, unsigned from = 0) {  // ids from..255 raised
    return from < 256 ? raised(a, from) + raised_count(a, from + 1) : 0;
}

// Diagnostic flag bit k of the monitor, Rx power and Tx power flags is the
// condition of alarm id k, 64 + k and 128 + k; ids from 192 have none.
auto diag_flags(const fiber_diag_info_t &d) { return make_tuple(d.monitor_flags, d.rx_power_flags, d.tx_power_flags); }
std::tuple<uint64_t, uint64_t, uint64_t> flags_of_id(unsigned id) {
    uint64_t f[4] = {};
    return f[id / 64] = uint64_t{1} << (id % 64), make_tuple(f[0], f[1], f[2]);
}

// ---------------------------------------------------------------------------
// Identification and the lower-page queries
// ---------------------------------------------------------------------------

// Page 00h byte 128, lower bytes 0, 85 (M), 87 (A), page 00h bytes 203 (K)
// and 202; type 0: rejected. Name, rate and connector class follow the type.
struct id_case { uint8_t id128, lower0, media, interface, connector, length202;
                 uint32_t type; uint8_t copper = 0, x8 = 0; };
const id_case kIdCases[] = {
    // QSFP-DD (18h): the six leaves of M 01h and 02h; K, A and M rejected; M 05h; the eight-lane rules do not apply.
    {0x18, 0, 0x01, 0x10, 0x28, 0, 80}, {0x18, 0, 0x02, 0x1C, 0x0C, 0, 81}, {0x18, 0, 0x02, 0x1D, 0x07, 0, 82},
    {0x18, 0, 0x02, 0x1B, 0x07, 0, 85}, {0x18, 0, 0x02, 0x3E, 0x07, 0, 95}, {0x18, 0, 0x02, 0xC1, 0x07, 0, 95},
    {0x18, 0, 0x01, 0x10, 0x0C, 0, 0},  {0x18, 0, 0x01, 0x11, 0x28, 0, 0},  {0x18, 0, 0x00, 0x10, 0x28, 0, 0},
    {0x18, 0, 0x05, 0xBF, 0x07, 0, 0},  {0x18, 0x0A, 0x02, 0x04, 0x07, 0, 0},
    // Passive copper: n from byte 202 bits 0..3 weighted 1, 4, 16, 64 (bits 7-4 play no part): n = 1, 4, 5; 0, 16,
    // 64; n = 0 needs K = 23h; another K. Active cable: byte 202 bits 3-0 not all clear, with K 21h or 23h.
    {0x18, 0, 0x03, 0, 0x21, 0x01, 83}, {0x18, 0, 0x03, 0, 0x23, 0xF2, 87}, {0x18, 0, 0x03, 0, 0x23, 0x03, 87},
    {0x18, 0, 0x03, 0, 0x23, 0x00, 88, 1}, {0x18, 0, 0x03, 0, 0x23, 0x04, 0}, {0x18, 0, 0x03, 0, 0x23, 0x08, 0},
    {0x18, 0, 0x03, 0, 0x21, 0x00, 0},  {0x18, 0, 0x03, 0, 0x07, 0x01, 0},  {0x18, 0, 0x04, 0, 0x21, 0x01, 84},
    {0x18, 0, 0x04, 0, 0x23, 0x08, 84}, {0x18, 0, 0x04, 0, 0x23, 0xF0, 0},  {0x18, 0, 0x04, 0, 0x07, 0x01, 0},
    // QSFP56 (1Eh): two leaves, no cable rules. DSFP (1Bh): n = 1, 4, 0; active; K must be 23h; empty nibble; n = 16.
    {0x1E, 0, 0x01, 0x0E, 0x0C, 0, 76}, {0x1E, 0, 0x02, 0x18, 0x07, 0, 77}, {0x1E, 0, 0x02, 0x1D, 0x07, 0, 0},
    {0x1E, 0, 0x03, 0, 0x23, 0x01, 0},  {0x1B, 0, 0x03, 0, 0x23, 0x01, 89}, {0x1B, 0, 0x03, 0, 0x23, 0x02, 90},
    {0x1B, 0, 0x03, 0, 0x23, 0x00, 92}, {0x1B, 0, 0x04, 0, 0x23, 0x01, 91}, {0x1B, 0, 0x03, 0, 0x21, 0x01, 0},
    {0x1B, 0, 0x02, 0x1D, 0x23, 0, 0},  {0x1B, 0, 0x04, 0, 0x23, 0xF0, 0},  {0x1B, 0, 0x03, 0, 0x23, 0x04, 0},
    // Eight-lane (lower byte 0 = 0Ah): four leaves; wrong K, wrong M; 19h alone; the QSFP-DD rules do not apply.
    {0x00, 0x0A, 0x02, 0x04, 0x07, 0, 100, 0, 1}, {0x0D, 0x0A, 0x02, 0x00, 0x07, 0, 101, 0, 1},
    {0x00, 0x0A, 0x02, 0x02, 0x07, 0, 120, 0, 1}, {0x00, 0x0A, 0x05, 0xBF, 0x07, 0, 102, 1, 1},
    {0x00, 0x0A, 0x02, 0x04, 0x0C, 0, 0}, {0x00, 0x0A, 0x01, 0x04, 0x07, 0, 0}, {0x19, 0x19, 0x02, 0x1D, 0x07, 0, 0},
    {0x00, 0x0A, 0x05, 0xBF, 0x23, 0, 0}, {0x00, 0x0A, 0x02, 0x1D, 0x07, 0, 0}, {0x00, 0x0A, 0x03, 0, 0x23, 0x01, 0},
};
const id_case &kFr4 = kIdCases[2], &kZr = kIdCases[4], &kUnclassified = kIdCases[9];

cmis_module module_of(const id_case &c) {  // with every monitor advertised (page 01h bytes 159, 160)
    cmis_module m;
    put(m.p00, 128, c.id128), put(m.lower, 0, c.lower0), put(m.lower, 85, c.media), put(m.lower, 87, c.interface);
    put(m.p00, 203, c.connector), put(m.p00, 202, c.length202), put(m.p01, 159, 0x03), put(m.p01, 160, 0x07);
    std::memcpy(m.p00 + (166 - 128), "SERIAL-0123456 X", 16);
    return m;
}

cmis_module monitored_module() { return module_of({0x18, 0x18, 0, 0, 0, 0, 0}); }  // QSFP-DD, unclassified

fiber_normal_info_t identify(const cmis_module &m, const uint8_t *page12 = nullptr) {
    fiber_normal_info_t n{};
    return fiber_decode_cmis_normal(m.p00, m.lower, m.p01, page12, &n), n;
}

TEST(CmisIdentify, EveryRuleLeafAndRejection) {
    for (const id_case &c : kIdCases) {
        const fiber_normal_info_t i = identify(module_of(c));
        const char *family = c.id128 == 0x18 ? "Unknown QSFPDD module" : c.id128 == 0x1E ? "Unknown QSFP56 module"
                             : c.id128 == 0x1B ? "Unknown DSFP module" : c.lower0 == 0x0A ? "Unknown module" : nullptr;
        uint32_t rate = 0, connector_class = 0;
        if (c.type) fiber_get_trans_rate_connector_bytype(c.type, &rate, &connector_class);
        EXPECT_EQ(make_tuple(+i.unsupported, i.trans_type, str(i.type_name), i.rate_mbps, i.connector_class,
                             i.connector_name != nullptr, +i.is_copper, +i.is_x8_module, +i.is_qsfp,
                             S(i.serial_number)),
                  make_tuple(int(!c.type), c.type ? c.type : family ? 1u : 0u,
                             str(c.type ? fiber_get_trans_str_bytype(nullptr, c.type) : family), rate, connector_class,
                             c.type != 0, +c.copper, +c.x8, int(c.type != 0), S(c.type ? "SERIAL-0123456 X" : "")))
            << "row " << &c - kIdCases;
    }
}

TEST(CmisIdentify, NullPagesLeaveTheRecordsUntouched) {
    const cmis_module m = module_of(kFr4);
    fiber_normal_info_t n, n0;
    fiber_diag_info_t d, d0;
    std::memset(&n0, 0xA5, sizeof n0), std::memset(&d0, 0x5A, sizeof d0);
    std::memcpy(&n, &n0, sizeof n), std::memcpy(&d, &d0, sizeof d);
    for (unsigned k = 0; k < 4; ++k) {  // page 00h, lower page, page 01h, page 11h missing in turn
        const uint8_t *p[4] = {m.p00, m.lower, m.p01, m.p11};
        p[k] = nullptr;
        if (k < 3) _fiber_decode_cmis_normal(p[0], p[1], p[2], nullptr, &n, 0);
        fiber_decode_cmis_diag(p[0], p[1], p[2], m.p02, p[3], nullptr, &d);
    }
    _fiber_decode_cmis_normal(m.p00, m.lower, m.p01, nullptr, nullptr, 0);
    EXPECT_EQ(make_tuple(std::memcmp(&n, &n0, sizeof n), std::memcmp(&d, &d0, sizeof d)), make_tuple(0, 0));
}

TEST(CmisIdentify, WavelengthsAndLengths) {  // page 01h, and page 12h for a tunable module
    cmis_module m = module_of(kFr4);
    const uint16_t lanes[8] = {26000, 26011, 31027, 0, 0xFFFF, 25999, 19, 20};  // page 01h bytes 168-183
    for (unsigned i = 0; i < 8; ++i) put_word(m.p01, 168 + 2 * i, lanes[i]);
    put_word(m.p01, 140, 3200), put(m.p01, 133, 10), put(m.p01, 134, 150), put(m.p01, 135, 0xFF), put(m.p01, 136, 70);
    const fiber_normal_info_t i = identify(m);
    EXPECT_EQ(make_tuple(ints8(i.lane_wavelength_nm), i.wavelength_nm, i.wavelength_tolerance_nm, i.length_om5_m,
                         i.length_om4_m, i.length_om3_m, i.length_om2_m, i.length_om1_m),
              make_tuple(ints{1300, 1300, 1551, 0, 3276, 1299, 0, 1}, 0.0f, 16.0f, 20u, 300u, 510u, 70u, 0u));
    struct { uint8_t revision, length; int32_t m; uint32_t km; } const smf[] = {  // lower byte 1; page 01h byte 132
        {0x50, 0x45, 0, 5},  {0x50, 0x7F, 0, 63}, {0x50, 0x3F, 6300, 0}, {0x50, 0x85, 0, 50},
        {0x41, 0x85, 0, 50}, {0x40, 0x85, 0, 0},  {0x50, 0xC5, 0, 0},
    };
    for (const auto &r : smf) {
        put(m.lower, 1, r.revision), put(m.p01, 132, r.length);
        EXPECT_EQ(make_tuple(identify(m).length_smf_m, identify(m).length_smf_km), make_tuple(r.m, r.km)) << &r - smf;
    }
    // Nominal 1552.80 nm; the frequency at page 12h bytes 168-171 retunes type 95 only.
    struct { uint8_t revision; const id_case &type; bool page12; uint8_t freq[4]; double nm; } const tuned[] = {
        {0x50, kZr, true, {0x0B, 0x82, 0x7E, 0xE0}, 1552.51198},      // 193101536 MHz as one signed count
        {0x41, kZr, true, {0xFF, 0xFF, 0xFF, 0xFF}, -2.99792448e11},  // -1 MHz, not 4294967 GHz
        {0x40, kZr, true, {0x00, 0xC1, 0x07, 0xEE}, 1552.51227},      // 193 THz + 2030 x 0.05 GHz
        {0x50, kZr, false, {0x0B, 0x82, 0x7E, 0xE0}, 1552.8}, {0x50, kZr, true, {0, 0, 0, 0}, 1552.8},
        {0x50, kFr4, true, {0x0B, 0x82, 0x7E, 0xE0}, 1552.8},
    };
    for (const auto &r : tuned) {
        m = module_of(r.type);
        put(m.lower, 1, r.revision), put_word(m.p01, 138, 31056), std::memcpy(m.p12 + 40, r.freq, 4);
        EXPECT_NEAR(identify(m, r.page12 ? m.p12 : nullptr).wavelength_nm, r.nm, std::fabs(r.nm) * 1e-7) << &r - tuned;
    }
}

TEST(CmisIdentify, DiagnosticsSupport) {
    struct { uint8_t b159, b160; const id_case &type; int ddm; } const rows[] = {  // b159, b160: page 01h
        {0x03, 0x07, kFr4, 1}, {0xFF, 0xFF, kFr4, 1}, {0x01, 0x07, kFr4, 0}, {0x02, 0x07, kFr4, 0},
        {0x03, 0x03, kFr4, 0}, {0x03, 0x06, kFr4, 0}, {0x00, 0x00, kZr, 1},  // a ZR module always monitors
        {0x03, 0x07, kUnclassified, 1},                                       // answered before classifying
    };
    for (const auto &r : rows) {
        cmis_module m = module_of(r.type);
        put(m.p01, 159, r.b159), put(m.p01, 160, r.b160);
        put(m.lower, 0, 0x18), put_word(m.p02, 128, 0x4B00);  // the diagnostics' thresholds need the support too
        fiber_normal_info_t ignored{};
        fiber_decode_cmis_normal_ignore(m.p00, m.lower, m.p01, nullptr, &ignored);
        const int classified = r.type.type != 0;
        const fiber_diag_info_t d = diagnose(m);
        EXPECT_EQ(make_tuple(+fiber::cmis_check_support_ddm(m.p00, m.lower, m.p01, nullptr), +identify(m).ddm_supported,
                             +ignored.ddm_supported, +ignored.is_qsfp, +d.ddm_supported, +d.thresholds_valid,
                             d.temp_high_alarm),
                  make_tuple(r.ddm, classified * r.ddm, 0, classified, r.ddm, r.ddm, r.ddm * 75)) << &r - rows;
    }
}

TEST(CmisQuery, CmisColourAndVersion) {
    struct { uint8_t b1, b2, cmis; } const rows[] = {  // lower bytes 1, 2
        {0x40, 0x00, 1}, {0x07, 0x10, 1}, {0x07, 0x00, 0}, {0x50, 0x20, 0}, {0x30, 0x00, 1},
        {0x2F, 0x00, 0}, {0x50, 0x30, 0}, {0x00, 0x10, 1}, {0x30, 0xCF, 1}, {0x51, 0x04, 1},
    };
    for (const auto &r : rows) {
        uint8_t lower[128] = {}, colour[128] = {}, other[128] = {};
        for (uint8_t *p : {lower, colour, other}) put(p, 1, r.b1), put(p, 2, r.b2);
        put(colour, 87, 0x3E), put(other, 87, 0xC1);
        EXPECT_EQ(make_tuple(+fiber_is_cmis(lower), +fiber_get_cmis_ver_id(lower), +fiber_is_color_module(lower),
                             +fiber_is_color_module(colour), +fiber_is_color_module(other)),
                  make_tuple(+r.cmis, r.cmis ? +r.b1 : 0, 0, +r.cmis, 0)) << "row " << &r - rows;
    }
    EXPECT_EQ(make_tuple(+fiber_is_cmis(nullptr), +fiber_is_color_module(nullptr), +fiber_get_cmis_ver_id(nullptr)),
              make_tuple(0, 0, 0));
}

// ---------------------------------------------------------------------------
// Vendor
// ---------------------------------------------------------------------------

TEST(CmisVendor, FieldsByteForByte) {
    cmis_module m;
    for (unsigned n = 129; n < 256; ++n) put(m.p00, n, n);
    put(m.p00, 128, 0x18), put(m.lower, 39, 128), put(m.lower, 40, 7), put(m.p01, 130, 1), put(m.p01, 131, 12);
    fiber_vendor_info_t v{};
    fiber_decode_cmis_vendor(m.p00, m.lower, m.p01, &v);
    auto p00 = [&m](unsigned first, unsigned n) { return S(m.p00 + first - 128, m.p00 + first - 128 + n); };
    const S z(1, '\0');  // each text with the byte after it
    EXPECT_EQ(make_tuple(+v.unsupported, S(v.vendor_name, 17), S(v.vendor_oui, v.vendor_oui + 3), S(v.vendor_pn, 17),
                         S(v.vendor_rev, 3), S(v.date_code, 9), S(v.firmware_version), S(v.hardware_version),
                         str(v.encoding)),
              make_tuple(0, p00(129, 16) + z, p00(145, 3), p00(148, 16) + z, p00(164, 2) + z, p00(182, 8) + z,
                         S("128.7"), S("1.12"), S("Unspecified")));
    std::memset(&v, 0x7F, sizeof v);  // without page 01h the versions stay; no terminator is written
    fiber_decode_cmis_vendor(m.p00, m.lower, nullptr, &v);
    EXPECT_EQ(make_tuple(+v.unsupported, S(v.vendor_name + 15, 2), +v.firmware_version[0], +v.hardware_version[0]),
              make_tuple(0x7F, S("\x90\x7F"), 0x7F, 0x7F));
}

// ---------------------------------------------------------------------------
// Diagnostics and alarms
// ---------------------------------------------------------------------------

// One flag bit at a time raises its one alarm id and the matching diagnostics flag.
TEST(CmisFlags, EachBitToItsId) {
    struct { uint8_t byte; unsigned first_id, step; } const rows[] = {  // page 11h byte, id of lane 1, id step
        {144, 8, 4},   {143, 9, 4},   {146, 10, 4},  {145, 11, 4},   // Tx bias low, high alarm; low, high warning
        {150, 72, 4},  {149, 73, 4},  {152, 74, 4},  {151, 75, 4},   // Rx power
        {140, 136, 4}, {139, 137, 4}, {142, 138, 4}, {141, 139, 4},  // Tx power
        {147, 200, 1}, {148, 208, 1}, {136, 216, 1}, {137, 224, 1}, {135, 232, 1},  // Rx LOS, LOL, Tx LOS, LOL, fault
        {9, 1, 0},  // lower byte 9, module flags: bit b -> id b ^ 1 (0: "Temp low alarm"), whatever the lane count
    };
    for (const auto &r : rows)
        for (unsigned bit = 0; bit < 8; ++bit) {  // bit L-1 for lane L
            cmis_module m = monitored_module();
            put(r.byte == 9 ? m.lower : m.p11, r.byte, 1u << bit);
            const unsigned id = r.step ? r.first_id + r.step * bit : bit ^ 1;
            const fiber_alarm_info_t a = alarms_of(m);
            put(m.lower, 88, 0x11);  // one media lane: diagnostics decode all eight anyway
            EXPECT_EQ(make_tuple(raised(a, id), raised_count(a), diag_flags(diagnose(m))),
                      make_tuple(true, 1u, flags_of_id(id))) << "byte " << +r.byte << " bit " << bit;
        }
}

TEST(CmisAlarm, MediaLaneCountLimitsTheLanes) {
    for (unsigned count = 0; count < 16; ++count) {  // lower byte 88 bits 3-0; bits 7-4 play no part
        cmis_module m = monitored_module();
        put(m.lower, 88, 0xF0 | count), put(m.lower, 9, 0xFF), put(m.lower, 3, 0x0B);
        for (unsigned n = 129; n < 256; ++n) put(m.p11, n, 0xFF), put(m.p00, n, 0xEE);  // and no valid check codes
        const unsigned lanes = (count == 1 || count == 2 || count == 4) ? count : 8;
        static const std::vector<uint8_t> ff(4 * 512, 0xFF);  // VDM pages 20h-23h, 2Ch: they change nothing
        const fiber_alarm_info_t a = alarms_of(m), with_vdm = alarms_of(m, ff.data(), ff.data());
        EXPECT_EQ(std::memcmp(&a, &with_vdm, sizeof a), 0);
        EXPECT_EQ(make_tuple(raised_count(a), raised(a, 199 + lanes), raised(a, 231 + lanes),
                             lanes < 8 && raised(a, 200 + lanes), raised_count(a, 240), a.alarm_id_count, +a.cmis_done,
                             +a.qsfp_done, +a.ddm_supported),
                  make_tuple(8 + 17 * lanes, true, true, false, 0u, 255u, 1, 0, 1)) << "count " << count;
    }
}

TEST(CmisAlarm, AcceptedIdentifiers) {
    for (unsigned id = 0; id < 256; ++id) {  // as lower byte 0 (page 00h byte 128 then 0Dh) and as byte 128
        cmis_module lo = monitored_module(), hi;
        put(lo.lower, 0, id), put(lo.p00, 128, 0x0D);
        put(hi.p00, 128, id), put(hi.p00, 129, 'V'), put(hi.lower, 9, 0xFF);
        fiber_vendor_info_t v_lo{}, v_no_lower{}, v{};
        fiber_decode_cmis_vendor(lo.p00, lo.lower, lo.p01, &v_lo);
        const fiber_pages_t only_00h = {lo.p00};  // without page 01h the entry point passes no lower page either:
        fiber_decode_vendor(FIBER_KIND_CMIS, lo.lower, only_00h, &v_no_lower, 0);  // only page 00h byte 128 counts
        fiber_decode_cmis_vendor(hi.p00, hi.lower, hi.p01, &v);
        const fiber_alarm_info_t a = alarms_of(hi);
        const bool diag_ok = id == 0x0A || id == 0x18 || id == 0x1B || id == 0x1E, ok = id != 0x0A && diag_ok;
        const fiber_diag_info_t d = diagnose(lo);
        EXPECT_EQ(make_tuple(+d.unsupported, d.module_type, +alarms_of(lo).unsupported, +v_lo.unsupported,
                             +v_no_lower.unsupported),
                  make_tuple(!diag_ok, diag_ok ? 4u : 0u, id != 0x0A, id != 0x0A, 1)) << id;
        EXPECT_EQ(make_tuple(+a.unsupported, a.alarm_id_count, +a.cmis_done, raised_count(a), +a.ddm_supported,
                             +v.unsupported, +v.vendor_name[0], v.encoding == nullptr),
                  make_tuple(!ok, ok ? 255u : 0u, +ok, ok ? 8u : 0u, 0, !ok, ok ? 'V' : 0, !ok)) << id;
    }
}

TEST(CmisDiag, MonitorsLanesPowerAndThresholds) {
    struct { uint16_t temp; uint8_t b88, b201, b151; int32_t degrees; uint32_t lanes; float watts; int average; } const
        rows[] = {{0x1F08, 0x44, 0x3C, 0x10, 31, 4, 15.0f, 1}, {0xFE80, 0x88, 0xFF, 0xEF, -2, 8, 63.75f, 0}};
    const uint16_t tx[8] = {10000, 1, 20000, 0, 65535, 500, 31623, 12};
    const uint16_t rx[8] = {0, 10, 40000, 32768, 7, 9999, 100, 10001};
    const uint16_t bias[8] = {0x100F, 0x200F, 0x300F, 0x400F, 0x500F, 0x600F, 0x700F, 0x800F};
    cmis_module m = monitored_module();
    for (unsigned i = 0; i < 8; ++i)  // page 11h bytes 154-169 Tx power, 170-185 Tx bias, 186-201 Rx power
        put_word(m.p11, 154 + 2 * i, tx[i]), put_word(m.p11, 170 + 2 * i, bias[i]), put_word(m.p11, 186 + 2 * i, rx[i]);
    for (const auto &r : rows) {  // lower bytes 14-15, 88; page 00h byte 201; page 01h byte 151 bit 4
        put_word(m.lower, 14, r.temp), put_word(m.lower, 16, 0x8103), put(m.lower, 88, r.b88), put(m.p00, 201, r.b201);
        put(m.p01, 151, r.b151);
        const fiber_diag_info_t d = diagnose(m, false);  // no page 02h: no thresholds
        EXPECT_EQ(make_tuple(+d.unsupported, +d.ddm_supported, +d.rx_power_type, d.temperature, d.voltage,
                             d.media_lane_count, d.max_power, +d.cmis_done, +d.qsfp_done, d.module_type,
                             +d.thresholds_valid, ints8(d.tx_bias)),
                  make_tuple(0, 1, r.average, r.degrees, 0x8103, r.lanes, r.watts, 1, 0, 4u, 0, ints8(bias)));
        EXPECT_LT(std::max(dbm_error(d.tx_power, tx), dbm_error(d.rx_power, rx)), 0.001);
    }
    // Page 02h blocks of temperature, voltage, Tx power, Tx bias, Rx power: high alarm, low alarm, high warning,
    // low warning.
    const unsigned blocks[5][5] = {
        {128, 0x4B00, 0x0A00, 0x4680, 0xF600}, {136, 0x8B42, 0x768E, 0x88B8, 0x7918},
        {176, 0xAE7C, 0x0E2F, 0x9C40, 0x1000}, {184, 0xFDE8, 0x3A98, 0xD6D8, 0x445C}, {192, 0x7530, 0x0001, 0x4E20, 0},
    };
    for (const auto &b : blocks)
        for (unsigned j = 0; j < 4; ++j) put_word(m.p02, b[0] + 2 * j, b[1 + j]);
    const fiber_diag_info_t t = diagnose(m);  // temperatures 75, 10, 70.5 -> 71, -10
    EXPECT_EQ(make_tuple(+t.thresholds_valid, t.temp_high_alarm, t.temp_low_alarm, t.temp_high_warning,
                         t.temp_low_warning, t.voltage_low_warning, t.tx_bias_low_alarm, t.rx_power_low_warning),
              make_tuple(1, 75, 10, 71, -10, 0x7918, 0x3A98, -40.0f));
    EXPECT_LT(std::max(std::fabs(t.tx_power_high_alarm - dbm(0xAE7C)),
                       std::fabs(t.rx_power_high_warning - dbm(0x4E20))), 1e-3);
}

// ---------------------------------------------------------------------------
// Module and data-path state
// ---------------------------------------------------------------------------

fiber_coremgmt_info_t coremgmt_of(const cmis_module &m) {
    fiber_pages_t pages = {};
    pages[0x11] = m.p11;
    fiber_coremgmt_info_t c;
    std::memset(&c, 0xFF, sizeof c);  // the whole record is written
    return fiber_decode_coremgmt(FIBER_KIND_CMIS, m.lower, pages, &c, 0), c;
}

TEST(CmisCoremgmt, ModuleAndDataPathStates) {
    struct { uint8_t byte3; const char *state; } const rows[] = {  // lower byte 3 bits 3-1; bits 7-4 and 0 play no part
        {0x02, "ModuleLowPwr"}, {0x04, "ModulePwrUp"}, {0x09, "ModulePwrDn"}, {0x0A, "Fault"}, {0xF6, "ModuleReady"},
        {0x01, "Unknown or unspecified"}, {0x0E, "Unknown or unspecified"},
    };
    for (const auto &r : rows) {
        cmis_module m;
        EXPECT_EQ(str((put(m.lower, 3, r.byte3), coremgmt_of(m)).module_state), r.state) << std::hex << +r.byte3;
    }
    // Page 11h bytes 128-131: two lanes per byte, odd lanes in the low nibble; byte 134 bit L-1: changed.
    cmis_module m;
    put(m.p11, 128, 0x19), put(m.p11, 129, 0x32), put(m.p11, 130, 0x54), put(m.p11, 131, 0x76);
    put(m.p11, 134, 0xA5), put(m.lower, 88, 0x81);  // one media lane: all eight lanes decoded whatever the count
    const fiber_coremgmt_info_t i = coremgmt_of(m);
    EXPECT_EQ(make_tuple(texts8(i.datapath_state), ints8(i.datapath_state_changed), i.media_lane_count, +i.unsupported),
              make_tuple(strs{"Unspecified", "Deactivated", "Init", "Deinit", "Activated", "TxTurnOn", "TxTurnOff",
                              "Initialized"}, ints{1, 0, 1, 0, 0, 1, 0, 1}, 1u, 0));
}

// ---------------------------------------------------------------------------
// Real modules: tests/data/<entry>/dump.bin holds the lower page and page 00h;
// the other pages read as zero.
// ---------------------------------------------------------------------------

TEST(CmisRealModule, PublishedQsfpDdDumps) {
    // Lower page and page 00h as their owners published them. The DR4 module
    // states an SN connector (page 00h byte 203 = 26h), so it is not classified.
    struct {  // revision: lower byte 1; type 1: rejected; lanes: lower byte 88 bits 3-0; watts: page 00h byte 201
        const char *entry; uint8_t revision; uint32_t type; S name, connector, serial, pn, firmware;
        int32_t degrees, voltage; uint32_t lanes; float watts; const char *state;
    } const rows[] = {
        {"qsfpdd-400g-dac-fit-cu4ep54", 0x30, 83, "400GBASE-Passive Copper-QSFP-DD", "No separable connector",
         "N010Z8350100030 ", "CU4EP54-01000-EF", "0.0", 0, 0, 8, 0.25f, "Unknown or unspecified"},  // M 03h, K 23h, n 1
        {"qsfpdd-400g-dr4-avago-afct93drphz", 0x40, 1, "Unknown QSFPDD module", "(null)", "", "AFCT-93DRPHZ-AZ2",
         "80.24", 31, 0x8103, 4, 12.0f, "ModuleReady"},
    };
    for (const auto &row : rows) {
        std::ifstream in(S(FIBER_TEST_DATA) + "/" + row.entry + "/dump.bin", std::ios::binary);
        const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(in), {});
        ASSERT_EQ(bytes.size(), 256u) << row.entry;
        cmis_module m;
        std::memcpy(m.lower, bytes.data(), 128);
        std::memcpy(m.p00, bytes.data() + 128, 128);
        const fiber_normal_info_t i = identify(m);
        const fiber_diag_info_t d = diagnose(m, false);
        fiber_vendor_info_t v{};
        fiber_decode_cmis_vendor(m.p00, m.lower, m.p01, &v);
        EXPECT_EQ(make_tuple(+fiber_is_cmis(m.lower), +fiber_get_cmis_ver_id(m.lower), i.trans_type, +i.unsupported,
                             str(i.type_name), str(i.connector_name), S(i.serial_number), S(v.vendor_pn),
                             S(v.firmware_version), d.temperature, d.voltage, d.media_lane_count, d.max_power,
                             str(coremgmt_of(m).module_state)),
                  make_tuple(1, +row.revision, row.type, int(row.type == 1), row.name, row.connector, row.serial,
                             row.pn, row.firmware, row.degrees, row.voltage, row.lanes, row.watts, S(row.state)))
            << row.entry;
    }
}

}  // namespace
