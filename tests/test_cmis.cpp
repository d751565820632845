// CMIS modules (QSFP-DD, QSFP56, DSFP, eight-lane): identification, the
// lower-page queries, vendor, diagnostics, alarms, module and data-path state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <sstream>
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
    return {str(a[0]), str(a[1]), str(a[2]), str(a[3]), str(a[4]), str(a[5]), str(a[6]), str(a[7])};
}
template <class Record>
std::vector<uint8_t> bytes_of(const Record &r) {
    return {reinterpret_cast<const uint8_t *>(&r), reinterpret_cast<const uint8_t *>(&r + 1)};
}

// Reference dBm, independent of the library's fixed-point logarithm, and the
// largest distance of eight lanes' dBm from it.
double dbm(double units) { return units > 0 ? 10.0 * std::log10(units / 10000.0) : -40.0; }
double dbm_error(const float *got, const uint16_t *units) {
    double worst = 0;
    for (unsigned i = 0; i < 8; ++i) worst = std::max(worst, std::fabs(got[i] - dbm(units[i])));
    return worst;
}

// Labels of the page dumps that run() prints, in order ("---- + label"; the
// rule under the column header, "---- + ----...", is no label).
template <class F>
strs dump_labels(F run) {
    testing::internal::CaptureStdout();
    run();
    std::istringstream out(testing::internal::GetCapturedStdout());
    strs labels;
    for (S line; std::getline(out, line);)
        if (line.rfind("---- + ", 0) == 0 && line.rfind("---- + --", 0) != 0) labels.push_back(line.substr(7));
    return labels;
}

void set_pages(fiber_pages_t &pages, const cmis_module &m, std::initializer_list<unsigned> present) {
    const uint8_t *by_number[0x13] = {m.p00, m.p01, m.p02};
    by_number[0x11] = m.p11, by_number[0x12] = m.p12;
    for (unsigned n : present) pages[n] = by_number[n];
}

// ---------------------------------------------------------------------------
// Identification and the lower-page queries
// ---------------------------------------------------------------------------

// Page 00h byte 128, lower bytes 0, 85 (M), 87 (A), page 00h bytes 203 (K)
// and 202; type 0: rejected. Name, rate and connector class follow the type.
struct id_case {
    uint8_t id128, lower0, media, interface, connector, length202;
    uint32_t type;
    uint8_t copper = 0, x8 = 0;
};
const id_case kIdCases[] = {
    {0x18, 0, 0x01, 0x10, 0x28, 0, 80}, {0x18, 0, 0x02, 0x1C, 0x0C, 0, 81}, {0x18, 0, 0x02, 0x1D, 0x07, 0, 82},
    {0x18, 0, 0x02, 0x1B, 0x07, 0, 85}, {0x18, 0, 0x02, 0x3E, 0x07, 0, 95}, {0x18, 0, 0x02, 0xC1, 0x07, 0, 95},
    {0x18, 0, 0x01, 0x10, 0x0C, 0, 0},  {0x18, 0, 0x01, 0x11, 0x28, 0, 0},  {0x18, 0, 0x00, 0x10, 0x28, 0, 0},  // K A M
    {0x18, 0, 0x05, 0xBF, 0x07, 0, 0},  {0x18, 0x0A, 0x02, 0x04, 0x07, 0, 0},  // eight-lane rules are not QSFP-DD's
    // Passive copper: n from byte 202 bits 0..3 weighted 1, 4, 16, 64 (bits 7-4 play no part); n = 1, 4, 5; 0, 16, 64
    {0x18, 0, 0x03, 0, 0x21, 0x01, 83}, {0x18, 0, 0x03, 0, 0x23, 0xF2, 87}, {0x18, 0, 0x03, 0, 0x23, 0x03, 87},
    {0x18, 0, 0x03, 0, 0x23, 0x00, 88, 1}, {0x18, 0, 0x03, 0, 0x23, 0x04, 0}, {0x18, 0, 0x03, 0, 0x23, 0x08, 0},
    {0x18, 0, 0x03, 0, 0x21, 0x00, 0},  {0x18, 0, 0x03, 0, 0x07, 0x01, 0},  // n = 0 needs K = 23h; other K
    {0x18, 0, 0x04, 0, 0x21, 0x01, 84}, {0x18, 0, 0x04, 0, 0x23, 0x08, 84},  // active cable: byte 202 bits 3-0 set
    {0x18, 0, 0x04, 0, 0x23, 0xF0, 0},  {0x18, 0, 0x04, 0, 0x07, 0x01, 0},
    {0x1E, 0, 0x01, 0x0E, 0x0C, 0, 76}, {0x1E, 0, 0x02, 0x18, 0x07, 0, 77}, {0x1E, 0, 0x02, 0x1D, 0x07, 0, 0},
    {0x1E, 0, 0x03, 0, 0x23, 0x01, 0},  // QSFP56: no cable rules
    {0x1B, 0, 0x03, 0, 0x23, 0x01, 89}, {0x1B, 0, 0x03, 0, 0x23, 0x02, 90}, {0x1B, 0, 0x03, 0, 0x23, 0x00, 92},
    {0x1B, 0, 0x04, 0, 0x23, 0x01, 91}, {0x1B, 0, 0x03, 0, 0x21, 0x01, 0},  {0x1B, 0, 0x02, 0x1D, 0x23, 0, 0},  // K 23h
    {0x1B, 0, 0x04, 0, 0x23, 0xF0, 0},  {0x1B, 0, 0x03, 0, 0x23, 0x04, 0},   // empty nibble; n = 16
    {0x00, 0x0A, 0x02, 0x04, 0x07, 0, 100, 0, 1}, {0x0D, 0x0A, 0x02, 0x00, 0x07, 0, 101, 0, 1},
    {0x00, 0x0A, 0x02, 0x02, 0x07, 0, 120, 0, 1}, {0x00, 0x0A, 0x05, 0xBF, 0x07, 0, 102, 1, 1},
    {0x00, 0x0A, 0x02, 0x04, 0x0C, 0, 0}, {0x00, 0x0A, 0x01, 0x04, 0x07, 0, 0}, {0x19, 0x19, 0x02, 0x1D, 0x07, 0, 0},
    {0x00, 0x0A, 0x05, 0xBF, 0x23, 0, 0}, {0x00, 0x0A, 0x02, 0x1D, 0x07, 0, 0},  // QSFP-DD rules are not eight-lane
    {0x00, 0x0A, 0x03, 0, 0x23, 0x01, 0},
};
const id_case &kFr4 = kIdCases[2], &kZr = kIdCases[4], &kUnclassified = kIdCases[9];

cmis_module module_of(const id_case &c) {
    cmis_module m;
    put(m.p00, 128, c.id128), put(m.lower, 0, c.lower0), put(m.lower, 85, c.media), put(m.lower, 87, c.interface);
    put(m.p00, 203, c.connector), put(m.p00, 202, c.length202);
    std::memcpy(m.p00 + (166 - 128), "SERIAL-0123456 X", 16);
    return m;
}

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
    fiber_normal_info_t n;
    fiber_diag_info_t d;
    std::memset(&n, 0xA5, sizeof n), std::memset(&d, 0x5A, sizeof d);
    const auto before = make_tuple(bytes_of(n), bytes_of(d));
    for (unsigned k = 0; k < 4; ++k) {  // page 00h, lower page, page 01h, page 11h missing in turn
        const uint8_t *p[4] = {m.p00, m.lower, m.p01, m.p11};
        p[k] = nullptr;
        if (k < 3) _fiber_decode_cmis_normal(p[0], p[1], p[2], nullptr, &n, 0);
        fiber_decode_cmis_diag(p[0], p[1], p[2], m.p02, p[3], nullptr, &d);
    }
    _fiber_decode_cmis_normal(m.p00, m.lower, m.p01, nullptr, nullptr, 0);
    EXPECT_EQ(make_tuple(bytes_of(n), bytes_of(d)), before);
}

TEST(CmisIdentify, TunedWavelength) {
    // Nominal 1552.80 nm; the frequency at page 12h bytes 168-171 retunes type 95 only.
    struct { uint8_t revision; const id_case &type; bool page12; uint8_t freq[4]; double nm; } const rows[] = {
        {0x50, kZr, true, {0x0B, 0x82, 0x7E, 0xE0}, 1552.51198},      // 193101536 MHz as one signed count
        {0x41, kZr, true, {0xFF, 0xFF, 0xFF, 0xFF}, -2.99792448e11},  // -1 MHz, not 4294967 GHz
        {0x40, kZr, true, {0x00, 0xC1, 0x07, 0xEE}, 1552.51227},      // 193 THz + 2030 x 0.05 GHz
        {0x50, kZr, false, {0x0B, 0x82, 0x7E, 0xE0}, 1552.8}, {0x50, kZr, true, {0, 0, 0, 0}, 1552.8},
        {0x50, kFr4, true, {0x0B, 0x82, 0x7E, 0xE0}, 1552.8},
    };
    for (const auto &r : rows) {
        cmis_module m = module_of(r.type);
        put(m.lower, 1, r.revision), put_word(m.p01, 138, 31056), std::memcpy(m.p12 + 40, r.freq, 4);
        EXPECT_NEAR(identify(m, r.page12 ? m.p12 : nullptr).wavelength_nm, r.nm, std::fabs(r.nm) * 1e-7) << &r - rows;
    }
}

TEST(CmisIdentify, WavelengthsAndLengths) {
    cmis_module m = module_of(kFr4);
    const uint16_t lanes[8] = {26000, 26011, 31027, 0, 0xFFFF, 25999, 19, 20};  // page 01h bytes 168-183
    for (unsigned i = 0; i < 8; ++i) put_word(m.p01, 168 + 2 * i, lanes[i]);
    put_word(m.p01, 140, 3200), put(m.p01, 133, 10), put(m.p01, 134, 150), put(m.p01, 135, 0xFF), put(m.p01, 136, 70);
    const fiber_normal_info_t i = identify(m);
    EXPECT_EQ(make_tuple(ints8(i.lane_wavelength_nm), i.wavelength_nm, i.wavelength_tolerance_nm, i.length_om5_m,
                         i.length_om4_m, i.length_om3_m, i.length_om2_m, i.length_om1_m),
              make_tuple(ints{1300, 1300, 1551, 0, 3276, 1299, 0, 1}, 0.0f, 16.0f, 20u, 300u, 510u, 70u, 0u));
}

TEST(CmisIdentify, SingleModeLengthMultipliers) {
    struct { uint8_t revision, length; int32_t m; uint32_t km; } const rows[] = {  // length: page 01h byte 132
        {0x50, 0x45, 0, 5},  {0x50, 0x7F, 0, 63}, {0x50, 0x3F, 6300, 0}, {0x50, 0x85, 0, 50},
        {0x41, 0x85, 0, 50}, {0x40, 0x85, 0, 0},  {0x50, 0xC5, 0, 0},
    };
    for (const auto &r : rows) {
        cmis_module m = module_of(kFr4);
        put(m.lower, 1, r.revision), put(m.p01, 132, r.length);
        const fiber_normal_info_t i = identify(m);
        EXPECT_EQ(make_tuple(i.length_smf_m, i.length_smf_km), make_tuple(r.m, r.km)) << "row " << &r - rows;
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
        fiber_normal_info_t ignored{};
        fiber_decode_cmis_normal_ignore(m.p00, m.lower, m.p01, nullptr, &ignored);
        const int classified = r.type.type != 0;
        EXPECT_EQ(make_tuple(+fiber::cmis_check_support_ddm(m.p00, m.lower, m.p01, nullptr), +identify(m).ddm_supported,
                             +ignored.ddm_supported, +ignored.is_qsfp),
                  make_tuple(r.ddm, classified * r.ddm, 0, classified)) << "row " << &r - rows;
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

auto vendor_fields(const fiber_vendor_info_t &v) {  // each text with the byte after it
    return make_tuple(+v.unsupported, S(v.vendor_name, 17), S(v.vendor_oui, v.vendor_oui + 3), S(v.vendor_pn, 17),
                      S(v.vendor_rev, 3), S(v.date_code, 9), S(v.firmware_version), S(v.hardware_version));
}

TEST(CmisVendor, FieldsByteForByte) {
    cmis_module m;
    for (unsigned n = 129; n < 256; ++n) put(m.p00, n, n);
    put(m.p00, 128, 0x18), put(m.lower, 39, 128), put(m.lower, 40, 7), put(m.p01, 130, 1), put(m.p01, 131, 12);
    fiber_vendor_info_t v{};
    fiber_decode_cmis_vendor(m.p00, m.lower, m.p01, &v);
    auto p00 = [&m](unsigned first, unsigned n) { return S(m.p00 + first - 128, m.p00 + first - 128 + n); };
    const S z(1, '\0');
    EXPECT_EQ(make_tuple(vendor_fields(v), str(v.encoding)),
              make_tuple(make_tuple(0, p00(129, 16) + z, p00(145, 3), p00(148, 16) + z, p00(164, 2) + z,
                                    p00(182, 8) + z, S("128.7"), S("1.12")), S("Unspecified")));
    std::memset(&v, 0x7F, sizeof v);  // without page 01h the versions stay; no terminator is written
    fiber_decode_cmis_vendor(m.p00, m.lower, nullptr, &v);
    EXPECT_EQ(make_tuple(+v.unsupported, S(v.vendor_name + 15, 2), +v.firmware_version[0], +v.hardware_version[0]),
              make_tuple(0x7F, S("\x90\x7F"), 0x7F, 0x7F));

    // The entry point passes the lower page on only with page 01h; 0Dh at page 00h byte 128 alone is rejected.
    put(m.p00, 128, 0x0D), put(m.lower, 0, 0x0A);
    fiber_pages_t pages = {};
    set_pages(pages, m, {0x00, 0x01});
    auto vendor = [&] {
        fiber_decode_vendor(FIBER_KIND_CMIS, m.lower, pages, &v, 0);
        return make_tuple(+v.unsupported, S(v.firmware_version), S(v.hardware_version), str(v.encoding));
    };
    EXPECT_EQ(vendor(), make_tuple(0, S("128.7"), S("1.12"), S("Unspecified")));
    pages[0x01] = nullptr;
    EXPECT_EQ(vendor(), make_tuple(1, S(), S(), S("(null)")));
    put(m.p00, 128, 0x18);
    EXPECT_EQ(vendor(), make_tuple(0, S(), S(), S("Unspecified")));
}

// ---------------------------------------------------------------------------
// Diagnostics and alarms
// ---------------------------------------------------------------------------

cmis_module monitored_module() {  // a QSFP-DD module with every monitor advertised
    cmis_module m;
    put(m.lower, 0, 0x18), put(m.p00, 128, 0x18), put(m.p01, 159, 0x03), put(m.p01, 160, 0x07);
    return m;
}
fiber_diag_info_t diagnose(const cmis_module &m, bool with02 = true) {
    fiber_diag_info_t d{};
    return fiber_decode_cmis_diag(m.p00, m.lower, m.p01, with02 ? m.p02 : nullptr, m.p11, nullptr, &d), d;
}
fiber_alarm_info_t alarms_of(const cmis_module &m) {
    fiber_alarm_info_t a{};
    return fiber_decode_cmis_alarm(m.p00, m.lower, m.p01, m.p11, nullptr, nullptr, nullptr, &a), a;
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

TEST(CmisFlags, LaneFlagsOneBitAtATime) {
    struct { uint8_t byte; unsigned first_id, step; } const rows[] = {  // page 11h byte, id of lane 1, id step
        {144, 8, 4},   {143, 9, 4},   {146, 10, 4},  {145, 11, 4},   // Tx bias low, high alarm; low, high warning
        {150, 72, 4},  {149, 73, 4},  {152, 74, 4},  {151, 75, 4},   // Rx power
        {140, 136, 4}, {139, 137, 4}, {142, 138, 4}, {141, 139, 4},  // Tx power
        {147, 200, 1}, {148, 208, 1}, {136, 216, 1}, {137, 224, 1}, {135, 232, 1},  // Rx LOS, LOL, Tx LOS, LOL, fault
    };
    for (const auto &r : rows)
        for (unsigned lane = 1; lane <= 8; ++lane) {
            cmis_module m = monitored_module();
            put(m.p11, r.byte, 1u << (lane - 1));  // bit L-1 for lane L
            const unsigned id = r.first_id + r.step * (lane - 1);
            const fiber_alarm_info_t a = alarms_of(m);
            put(m.lower, 88, 0x11);  // one media lane: diagnostics decode all eight anyway
            EXPECT_EQ(make_tuple(raised(a, id), raised_count(a), diag_flags(diagnose(m))),
                      make_tuple(true, 1u, flags_of_id(id))) << "byte " << +r.byte << " lane " << lane;
        }
}

TEST(CmisFlags, ModuleFlagsOneBitAtATime) {
    const unsigned to_id[8] = {1, 0, 3, 2, 5, 4, 7, 6};  // lower byte 9 bit b -> id (0: "Temp low alarm")
    for (unsigned b = 0; b < 8; ++b) {
        cmis_module m = monitored_module();
        put(m.lower, 88, 0x01), put(m.lower, 9, 1u << b);  // examined whatever the lane count
        const fiber_alarm_info_t a = alarms_of(m);
        EXPECT_EQ(make_tuple(raised(a, to_id[b]), raised_count(a), diag_flags(diagnose(m))),
                  make_tuple(true, 1u, flags_of_id(to_id[b]))) << "bit " << b;
    }
}

TEST(CmisAlarm, MediaLaneCountLimitsTheLanes) {
    for (unsigned count = 0; count < 16; ++count) {  // lower byte 88 bits 3-0; bits 7-4 play no part
        cmis_module m = monitored_module();
        put(m.lower, 88, 0xF0 | count), put(m.lower, 9, 0xFF), put(m.lower, 3, 0x0B);
        for (unsigned n = 129; n < 256; ++n) put(m.p11, n, 0xFF), put(m.p00, n, 0xEE);  // and no valid check codes
        const unsigned lanes = (count == 1 || count == 2 || count == 4) ? count : 8;
        const fiber_alarm_info_t a = alarms_of(m);
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
        fiber_decode_cmis_vendor(lo.p00, nullptr, lo.p01, &v_no_lower);  // then only page 00h byte 128 counts
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
    int bias[8];
    cmis_module m = monitored_module();
    for (unsigned i = 0; i < 8; ++i)  // page 11h bytes 154-169 Tx power, 170-185 Tx bias, 186-201 Rx power
        bias[i] = 0x1000 * int(i + 1) + 0xF, put_word(m.p11, 154 + 2 * i, tx[i]), put_word(m.p11, 170 + 2 * i, bias[i]),
        put_word(m.p11, 186 + 2 * i, rx[i]);
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
    const unsigned blocks[5][5] = {  // page 02h: high alarm, low alarm, high warning, low warning
        {128, 0x4B00, 0x0A00, 0x4680, 0xF600}, {136, 0x8B42, 0x768E, 0x88B8, 0x7918},  // temperature, voltage
        {176, 0xAE7C, 0x0E2F, 0x9C40, 0x1000}, {184, 0xFDE8, 0x3A98, 0xD6D8, 0x445C},  // Tx power, Tx bias
        {192, 0x7530, 0x0001, 0x4E20, 0x0000},                                          // Rx power
    };
    for (const auto &b : blocks)
        for (unsigned j = 0; j < 4; ++j) put_word(m.p02, b[0] + 2 * j, b[1 + j]);
    const fiber_diag_info_t t = diagnose(m);  // temperatures 75, 10, 70.5 -> 71, -10
    EXPECT_EQ(make_tuple(+t.thresholds_valid, t.temp_high_alarm, t.temp_low_alarm, t.temp_high_warning,
                         t.temp_low_warning, t.voltage_low_warning, t.tx_bias_low_alarm, t.rx_power_low_warning),
              make_tuple(1, 75, 10, 71, -10, 0x7918, 0x3A98, -40.0f));
    EXPECT_LT(std::max(std::fabs(t.tx_power_high_alarm - dbm(0xAE7C)),
                       std::fabs(t.rx_power_high_warning - dbm(0x4E20))), 1e-3);
    put(m.p01, 160, 0x03);  // without advertised monitors only a ZR module keeps its thresholds
    const fiber_diag_info_t gated = diagnose(m);
    put(m.lower, 85, 0x02), put(m.lower, 87, 0x3E), put(m.p00, 203, 0x07);
    const fiber_diag_info_t zr = diagnose(m);
    EXPECT_EQ(make_tuple(+gated.ddm_supported, +gated.thresholds_valid, gated.temp_high_alarm,
                         gated.rx_power_high_alarm, +zr.ddm_supported, +zr.thresholds_valid, zr.temp_high_alarm),
              make_tuple(0, 0, 0, 0.0f, 1, 1, 75));
}

// ---------------------------------------------------------------------------
// Module and data-path state
// ---------------------------------------------------------------------------

fiber_coremgmt_info_t coremgmt_of(const cmis_module &m) {
    fiber_pages_t pages = {};
    fiber_coremgmt_info_t c;
    std::memset(&c, 0xFF, sizeof c), set_pages(pages, m, {0x11});
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
    put(m.p11, 128, 0x19), put(m.p11, 129, 0x32), put(m.p11, 130, 0x54), put(m.p11, 131, 0x86);
    put(m.p11, 134, 0xA5), put(m.lower, 88, 0x48);
    const fiber_coremgmt_info_t i = coremgmt_of(m);
    EXPECT_EQ(make_tuple(texts8(i.datapath_state), ints8(i.datapath_state_changed), i.media_lane_count, +i.unsupported),
              make_tuple(strs{"Unspecified", "Deactivated", "Init", "Deinit", "Activated", "TxTurnOn", "TxTurnOff",
                              "Unspecified"}, ints{1, 0, 1, 0, 0, 1, 0, 1}, 8u, 0));
    put(m.p11, 131, 0x70), put(m.lower, 88, 0x81);  // all eight lanes whatever the count
    EXPECT_EQ(make_tuple(coremgmt_of(m).media_lane_count, str(coremgmt_of(m).datapath_state[7])),
              make_tuple(1u, S("Initialized")));
}

// ---------------------------------------------------------------------------
// Entry points: which pages reach the decoders, page dumps, untouched records
// ---------------------------------------------------------------------------

TEST(CmisEntry, DumpsAndUntouchedRecords) {
    cmis_module m = monitored_module();
    put(m.p11, 147, 0x0F), put(m.lower, 9, 0x30), put(m.lower, 3, 0x06);
    fiber_pages_t pages = {};
    set_pages(pages, m, {0x00, 0x01, 0x02, 0x11, 0x12});
    fiber_diag_info_t d;
    fiber_alarm_info_t a, without{}, with{};
    fiber_coremgmt_info_t c;
    auto diag = [&] { return dump_labels([&] { fiber_decode_diag(FIBER_KIND_CMIS, m.lower, pages, &d, 1); }); };
    auto alarm = [&] { return dump_labels([&] { fiber_decode_alarm(FIBER_KIND_CMIS, m.lower, pages, &a, 1); }); };
    auto core = [&](fiber_module_kind kind) {  // the labels dumped and the record's bytes
        std::memset(&c, 0xFF, sizeof c);
        const strs labels = dump_labels([&] { fiber_decode_coremgmt(kind, m.lower, pages, &c, 1); });
        return make_tuple(labels, bytes_of(c));
    };
    const strs base = {"page00 lower  eeprom", "page00 upper  eeprom", "page01  eeprom", "page11  eeprom"};
    strs with02 = base, all = base;
    with02.push_back("page02  eeprom");
    for (const char *l : {"page20", "page21", "page22", "page23", "page2C", "page12"}) all.push_back(S(l) + "  eeprom");
    fiber_decode_alarm(FIBER_KIND_CMIS, m.lower, pages, &without, 0);
    EXPECT_EQ(make_tuple(diag(), alarm()), make_tuple(with02, base));
    static uint8_t vdm[5][512];
    const unsigned vdm_pages[5] = {0x20, 0x21, 0x22, 0x23, 0x2C};
    for (unsigned i = 0; i < 4; ++i) std::memset(vdm[i], 0xFF, 512), pages[vdm_pages[i]] = vdm[i];
    EXPECT_EQ(alarm(), base);  // page 2Ch missing: no VDM dump, page 12h not dumped
    pages[0x2C] = vdm[4];
    EXPECT_EQ(alarm(), all);
    fiber_decode_alarm(FIBER_KIND_CMIS, m.lower, pages, &with, 0);
    // The VDM pages change nothing; Rx LOS lanes 1-4 and ids 4, 5 are raised.
    EXPECT_EQ(make_tuple(bytes_of(with), raised_count(with)), make_tuple(bytes_of(without), 6u));

    std::vector<uint8_t> untouched(sizeof c, 0xFF), only_unsupported = untouched;
    only_unsupported[0] = 1;
    EXPECT_EQ(core(FIBER_KIND_QSFP), make_tuple(strs{}, only_unsupported));
    EXPECT_EQ(std::get<0>(core(FIBER_KIND_CMIS)), (strs{"page00 lower  eeprom", "page11  eeprom"}));
    EXPECT_STREQ(c.module_state, "ModuleReady");
    pages[0x11] = nullptr;
    const strs page00 = {"page00 lower  eeprom", "page00 upper  eeprom"};
    EXPECT_EQ(make_tuple(diag(), alarm(), core(FIBER_KIND_CMIS)),
              make_tuple(page00, page00, make_tuple(strs{}, untouched)));
}

// ---------------------------------------------------------------------------
// Real modules: tests/data/<entry>/dump.bin holds the lower page at 0 and
// upper page N at 128 * (N + 1); pages the dump lacks read as zero.
// ---------------------------------------------------------------------------

struct real_module {  // the dump and every entry point's record for the pages given
    std::vector<uint8_t> bytes;
    cmis_module m;
    fiber_pages_t pages{};
    fiber_normal_info_t n{};
    fiber_vendor_info_t v{};
    fiber_diag_info_t d{};
    fiber_alarm_info_t a{};
    fiber_coremgmt_info_t c{};
};

real_module decoded(const char *entry, std::initializer_list<unsigned> present) {
    real_module r;
    std::ifstream in(S(FIBER_TEST_DATA) + "/" + entry + "/dump.bin", std::ios::binary);
    r.bytes.assign(std::istreambuf_iterator<char>(in), {});
    EXPECT_GE(r.bytes.size(), 256u) << entry;
    r.bytes.resize(128 * 0x31, 0);
    std::memcpy(r.m.lower, r.bytes.data(), 128), std::memcpy(r.m.p00, r.bytes.data() + 128, 128);
    for (unsigned n : present) r.pages[n] = r.bytes.data() + 128 * (n + 1);
    fiber_decode_normal(FIBER_KIND_CMIS, r.m.lower, r.pages, &r.n, 0);
    fiber_decode_vendor(FIBER_KIND_CMIS, r.m.lower, r.pages, &r.v, 0);
    fiber_decode_diag(FIBER_KIND_CMIS, r.m.lower, r.pages, &r.d, 0);
    fiber_decode_alarm(FIBER_KIND_CMIS, r.m.lower, r.pages, &r.a, 0);
    fiber_decode_coremgmt(FIBER_KIND_CMIS, r.m.lower, r.pages, &r.c, 0);
    return r;
}

TEST(CmisRealModule, PublishedQsfpDdDumps) {
    // Lower page and page 00h as their owners published them; pages 01h and
    // 11h read as zero. The DR4 module states an SN connector (page 00h byte
    // 203 = 26h) and the Cisco cable none at all (00h), so neither is classified.
    struct {
        const char *entry;
        uint8_t revision;  // lower byte 1
        uint32_t type;     // 1: rejected
        S name, connector, serial, vendor, oui, pn, rev, date, firmware;
        int32_t degrees, voltage;
        uint32_t lanes;  // lower byte 88 bits 3-0
        float watts;     // page 00h byte 201 x 0.25 W
        const char *state;
    } const rows[] = {
        {"qsfpdd-400g-dac-fit-cu4ep54", 0x30, 83, "400GBASE-Passive Copper-QSFP-DD", "No separable connector",
         "N010Z8350100030 ", "FIT HON TENG    ", "\xEC\x01\xE2", "CU4EP54-01000-EF", "A0", "180827  ", "0.0", 0, 0,
         8, 0.25f, "Unknown or unspecified"},  // M = 03h, K = 23h, byte 202 = 41h: n = 1
        {"qsfpdd-400g-dr4-avago-afct93drphz", 0x40, 1, "Unknown QSFPDD module", "(null)", "", "AVAGO           ",
         S("\0\x17\x6A", 3), "AFCT-93DRPHZ-AZ2", "01", "201007  ", "80.24", 31, 0x8103, 4, 12.0f, "ModuleReady"},
        {"qsfpdd-dac-cisco-68-103205-02", 0x40, 1, "Unknown QSFPDD module", "(null)", "", "CISCO           ",
         S("\0\x06\xF6", 3), "68-103205-02    ", "2 ", "221018  ", "1.0", 23, 0x8200, 0, 30.0f, "ModuleReady"},
    };
    for (const auto &row : rows) {
        const real_module r = decoded(row.entry, {0x00});
        const fiber_normal_info_t i = identify(r.m);
        const fiber_diag_info_t d = diagnose(r.m, false);
        fiber_vendor_info_t v{};
        fiber_decode_cmis_vendor(r.m.p00, r.m.lower, r.m.p01, &v);
        const S z(1, '\0');
        EXPECT_EQ(make_tuple(+fiber_is_cmis(r.m.lower), +fiber_get_cmis_ver_id(r.m.lower), i.trans_type,
                             +i.unsupported, str(i.type_name), str(i.connector_name), S(i.serial_number)),
                  make_tuple(1, +row.revision, row.type, int(row.type == 1), row.name, row.connector, row.serial))
            << row.entry;
        EXPECT_EQ(vendor_fields(v), make_tuple(0, row.vendor + z, row.oui, row.pn + z, row.rev + z, row.date + z,
                                               row.firmware, S("0.0")))
            << row.entry;
        EXPECT_EQ(make_tuple(d.temperature, d.voltage, d.media_lane_count, d.max_power,
                             str(coremgmt_of(r.m).module_state)),
                  make_tuple(row.degrees, row.voltage, row.lanes, row.watts, S(row.state)))
            << row.entry;
        // Through the entry points, without pages 01h and 11h: no identification or diagnostics, and
        // vendor fields without the revisions.
        const std::vector<uint8_t> zero_n(sizeof r.n, 0), zero_d(sizeof r.d, 0);
        EXPECT_EQ(make_tuple(bytes_of(r.n), bytes_of(r.d), S(r.v.vendor_pn), S(r.v.firmware_version),
                             S(r.v.hardware_version)),
                  make_tuple(zero_n, zero_d, row.pn, S(), S()))
            << row.entry;
    }
}

TEST(CmisRealModule, SyntheticLr4AllPages) {
    // Every page the dump has but 2Fh: the page set ends at 2Ch.
    const real_module r = decoded("synthetic-fboss-cmis-400g-lr4",
                                  {0x00, 0x01, 0x02, 0x10, 0x11, 0x13, 0x14, 0x20, 0x21, 0x24, 0x25});
    const fiber_diag_info_t &d = r.d;  // A = 1Eh has no QSFP-DD rule; page 01h bytes 159-160 = 0Fh, 07h
    EXPECT_EQ(make_tuple(+r.n.unsupported, r.n.trans_type, +d.ddm_supported, +d.rx_power_type, d.temperature, d.voltage,
                         d.media_lane_count, diag_flags(d), ints8(d.tx_bias), d.temp_high_alarm, d.voltage_low_warning,
                         d.tx_bias_low_warning, d.rx_power_low_alarm),
              make_tuple(1, 1u, 1, 1, 45, 0x7F42, 4u, flags_of_id(192),
                         ints{0x88D0, 0x84CB, 0x7F12, 0x8484, 0, 0, 0, 0}, 75, 0x768E, 17500, -40.0f));  // 2D14h: 45
    const uint16_t tx[8] = {0x4B35, 0x4E72, 0x5125, 0x4D5D}, rx[8] = {0x42E5, 0x432F, 0x46EE, 0x5332};
    EXPECT_LT(std::max({dbm_error(d.tx_power, tx), dbm_error(d.rx_power, rx),
                        std::fabs(d.tx_power_low_alarm - dbm(0x0E2F))}), 0.001);
    EXPECT_EQ(make_tuple(r.a.alarm_id_count, +r.a.ddm_supported, raised_count(r.a), str(r.c.module_state),
                         texts8(r.c.datapath_state), ints8(r.c.datapath_state_changed)),
              make_tuple(255u, 1, 0u, S("ModuleReady"), strs(8, "Activated"), ints(8, 0)));
}

}  // namespace
