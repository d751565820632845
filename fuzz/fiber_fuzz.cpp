// SPDX-License-Identifier: Apache-2.0
// libFuzzer target: one input is a module kind (supported or not), a subset
// of present pages with their contents, and arguments for the lookups and
// numeric helpers (layout in fuzz_input.h). Every page lives in a heap
// buffer of exactly the size the page set designates (128 bytes, 512 for
// 20h-23h and 2Ch), so AddressSanitizer stops any read past a page.
//
// Each input drives, with dump = 0:
//  - the five entry points, three times each: the result must not depend on
//    leftover stack contents or on what the record held before, and the
//    caller's pages must be left unchanged;
//  - every exported family decoder directly on the caller's buffers, with the
//    input's null pointers and with a null record: a missing required pointer
//    must leave the record untouched, and where an entry point hands a
//    decoder the same pages, both must produce the same record;
//  - the CMIS queries, every lookup and every numeric helper, checked against
//    the properties the module standards and the interface promise.
// A failed check aborts with a message, which libFuzzer reports as a crash.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>

#include "fiber_decode.h"
#include "fuzz_input.h"

namespace {

using namespace fiber_fuzz;

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "fiber_fuzz check failed: %s\n", what);
    std::abort();
}
void expect(bool ok, const char *what) {
    if (!ok) fail(what);
}

// --- The caller's pages -----------------------------------------------------

struct module_pages {
    fiber_module_kind kind = 0;
    std::unique_ptr<uint8_t[]> lower;
    std::unique_ptr<uint8_t[]> page[FIBER_PAGE_COUNT];
    fiber_pages_t set = {};
    bool null_set = false;

    const uint8_t *p(unsigned n) const { return set[n]; }
    const uint8_t *const *pages() const { return null_set ? nullptr : set; }
};

bool consulted(unsigned n) {
    for (unsigned e : kEntries)
        if (e == n) return true;
    return false;
}

std::unique_ptr<uint8_t[]> exact_buffer(std::size_t len) { return std::unique_ptr<uint8_t[]>(new uint8_t[len]); }

void read_module(reader &in, module_pages &m) {
    const uint8_t selector = in.u8() & 7;
    m.kind = selector == kRawKind ? in.u32() : kKinds[selector];
    const uint16_t mask = in.u16();
    m.null_set = (mask & kMaskNullSet) != 0;
    if (mask & kMaskLower) {
        m.lower = exact_buffer(128);
        in.fill(m.lower.get(), 128);
    }
    for (unsigned i = 0; i < kEntryCount; ++i) {
        if (!(mask & entry_bit(i))) continue;
        const unsigned n = kEntries[i];
        m.page[n] = exact_buffer(page_length(n));
        in.fill(m.page[n].get(), page_length(n));
        m.set[n] = m.page[n].get();
    }
    if (mask & kMaskOthers)
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
            if (!consulted(n)) {
                m.page[n] = exact_buffer(128);
                std::memset(m.page[n].get(), 0, 128);
                m.set[n] = m.page[n].get();
            }
}

// A copy of every page, to prove the library never writes the caller's pages.
struct page_snapshot {
    uint8_t lower[128];
    uint8_t page[FIBER_PAGE_COUNT][512];

    void take(const module_pages &m) {
        if (m.lower) std::memcpy(lower, m.lower.get(), 128);
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
            if (m.set[n]) std::memcpy(page[n], m.set[n], page_length(n));
    }
    void expect_same(const module_pages &m) const {
        if (m.lower) expect(std::memcmp(lower, m.lower.get(), 128) == 0, "the lower-page argument was written");
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
            if (m.set[n]) expect(std::memcmp(page[n], m.set[n], page_length(n)) == 0, "a page-set page was written");
    }
};

// --- Records ----------------------------------------------------------------

template <class R>
void fill(R &r, uint8_t pattern) {
    std::memset(&r, pattern, sizeof r);
}
template <class R>
bool all_bytes(const R &r, uint8_t pattern) {
    const auto *b = reinterpret_cast<const uint8_t *>(&r);
    for (std::size_t i = 0; i < sizeof r; ++i)
        if (b[i] != pattern) return false;
    return true;
}
template <class R>
bool same(const R &a, const R &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
// A record with only `unsupported` set, the rest as `pattern`.
template <class R>
bool only_unsupported(const R &r, uint8_t pattern) {
    R expected;
    fill(expected, pattern);
    expected.unsupported = 1;
    return same(r, expected);
}

// Text placed in records is a NUL-terminated string of the library; reading
// it to the end lets AddressSanitizer check it lies in valid memory.
void expect_text(const char *s) {
    if (s) expect(std::strlen(s) < 256, "implausibly long constant text");
}
template <std::size_t N>
void expect_terminated(const char (&field)[N]) {
    expect(field[N - 1] == '\0', "character field not terminated");
}

void check_record(const fiber_normal_info_t &r) {
    expect_text(r.name_prefix);
    expect_text(r.type_name);
    expect_text(r.connector_name);
    expect_terminated(r.display_name);
    expect_terminated(r.serial_number);
    expect_terminated(r.vendor_specific);
}
void check_record(const fiber_vendor_info_t &r) {
    expect_text(r.encoding);
    expect_terminated(r.vendor_name);
    expect_terminated(r.vendor_pn);
    expect_terminated(r.vendor_rev);
    expect_terminated(r.date_code);
    expect_terminated(r.firmware_version);
    expect_terminated(r.hardware_version);
}
void check_record(const fiber_diag_info_t &r) { expect(r.module_type <= FIBER_DIAG_CMIS, "module_type out of range"); }
void check_record(const fiber_alarm_info_t &r) {
    expect(r.alarm_id_count == 0 || r.alarm_id_count == FIBER_ALARM_COUNT, "alarm_id_count neither 0 nor 255");
    if (r.alarm_id_count == 0)
        for (uint32_t w : r.alarm_bits) expect(w == 0, "alarm bits set with no ids counted");
    expect((r.alarm_bits[7] >> 31) == 0, "alarm id 255 does not exist");
}
void check_record(const fiber_coremgmt_info_t &r) {
    expect_text(r.module_state);
    for (const char *s : r.datapath_state) expect_text(s);
}

// Overwrites a stretch of the stack below the caller, so a read of anything
// the library did not set first would differ between two calls.
__attribute__((noinline)) void scribble_stack(uint8_t pattern) {
    uint8_t junk[24 * 1024];
    std::memset(junk, pattern, sizeof junk);
    asm volatile("" : : "r"(junk) : "memory");
}

bool supported(fiber_module_kind kind) {
    return kind == FIBER_KIND_SFP || kind == FIBER_KIND_XFP || kind == FIBER_KIND_QSFP || kind == FIBER_KIND_CMIS;
}

// One entry point, three calls: on a clean record, again after the stack was
// scribbled, and on a record holding another pattern. Returns the first result.
template <class R, class Call>
R run_entry_point(const module_pages &m, Call call) {
    R first, again, other;
    fill(first, 0xA5);
    scribble_stack(0x00);
    call(m.kind, m.lower.get(), m.pages(), &first);
    fill(again, 0xA5);
    scribble_stack(0xFF);
    call(m.kind, m.lower.get(), m.pages(), &again);
    expect(same(first, again), "entry point result depends on leftover stack contents");
    fill(other, 0x5A);
    call(m.kind, m.lower.get(), m.pages(), &other);
    if (all_bytes(first, 0xA5)) {
        expect(all_bytes(other, 0x5A), "entry point wrote a record on one call and not on another");
        return first;  // a required pointer was missing: nothing written
    }
    if constexpr (std::is_same_v<R, fiber_coremgmt_info_t>) {
        if (m.kind != FIBER_KIND_CMIS) {
            expect(only_unsupported(first, 0xA5) && only_unsupported(other, 0x5A),
                   "coremgmt for another kind must set only unsupported");
            return first;
        }
    }
    expect(same(first, other), "entry point result depends on the record's previous contents");
    if (!supported(m.kind)) {
        expect(only_unsupported(first, 0), "unsupported kind must give a zero record with unsupported = 1");
    }
    check_record(first);
    return first;
}

struct entry_results {
    fiber_normal_info_t normal;
    fiber_vendor_info_t vendor;
    fiber_diag_info_t diag;
    fiber_alarm_info_t alarm;
    fiber_coremgmt_info_t core;
};

entry_results run_entry_points(const module_pages &m) {
    entry_results r;
    r.normal = run_entry_point<fiber_normal_info_t>(
        m, [](auto k, auto l, auto p, auto i) { fiber_decode_normal(k, l, p, i, 0); });
    r.vendor = run_entry_point<fiber_vendor_info_t>(
        m, [](auto k, auto l, auto p, auto i) { fiber_decode_vendor(k, l, p, i, 0); });
    r.diag = run_entry_point<fiber_diag_info_t>(
        m, [](auto k, auto l, auto p, auto i) { fiber_decode_diag(k, l, p, i, 0); });
    r.alarm = run_entry_point<fiber_alarm_info_t>(
        m, [](auto k, auto l, auto p, auto i) { fiber_decode_alarm(k, l, p, i, 0); });
    r.core = run_entry_point<fiber_coremgmt_info_t>(
        m, [](auto k, auto l, auto p, auto i) { fiber_decode_coremgmt(k, l, p, i, 0); });
    return r;
}

// --- Family decoders called directly -----------------------------------------

// Calls a decoder with a null record, then with a record: with a required
// pointer missing, one holding a pattern, which must stay as it was; else a
// zeroed one, as the decoders expect. Returns whether the decoder ran.
template <class R, class Call>
bool run_decoder(bool required_present, Call call, R &out) {
    call(static_cast<R *>(nullptr));
    if (!required_present) {
        fill(out, 0xA5);
        call(&out);
        expect(all_bytes(out, 0xA5), "family decoder wrote a record although a required pointer was null");
        return false;
    }
    fill(out, 0);
    call(&out);
    check_record(out);
    return true;
}

const uint8_t kZeroPage[128] = {};

void run_family_decoders(const module_pages &m, const entry_results &e) {
    const uint8_t *lower = m.lower.get();
    const uint8_t *p00 = m.p(0x00), *p01 = m.p(0x01), *p02 = m.p(0x02), *p03 = m.p(0x03);
    const uint8_t *p11 = m.p(0x11), *p12 = m.p(0x12), *p20 = m.p(0x20), *p2c = m.p(0x2C);
    const bool vdm = m.p(0x20) && m.p(0x21) && m.p(0x22) && m.p(0x23) && p2c;
    const bool via_set = !m.null_set;  // entry points see the pages only through a page set
    const fiber_module_kind kind = m.kind;
    fiber_normal_info_t n;
    fiber_vendor_info_t v;
    fiber_diag_info_t d;
    fiber_alarm_info_t a;

    // Identification.
    if (run_decoder(lower, [&](auto *i) { fiber_decode_sfp_normal(lower, i); }, n) && kind == FIBER_KIND_SFP)
        expect(same(n, e.normal), "fiber_decode_normal differs from fiber_decode_sfp_normal");
    if (run_decoder(lower, [&](auto *i) { fiber_decode_xfp_normal(lower, i); }, n) && kind == FIBER_KIND_XFP)
        expect(same(n, e.normal), "fiber_decode_normal differs from fiber_decode_xfp_normal");
    if (run_decoder(p00 && lower, [&](auto *i) { fiber_decode_qsfp_normal(p00, lower, i); }, n) &&
        kind == FIBER_KIND_QSFP && via_set)
        expect(same(n, e.normal), "fiber_decode_normal differs from fiber_decode_qsfp_normal");
    if (kind == FIBER_KIND_QSFP && lower && !p00) {  // the entry point passes a zero slot
        fill(n, 0);
        fiber_decode_qsfp_normal(kZeroPage, lower, &n);
        expect(same(n, e.normal), "fiber_decode_normal differs from fiber_decode_qsfp_normal on a zero page 00h");
    }
    const bool cmis_normal_ok = p00 && lower && p01;
    if (run_decoder(cmis_normal_ok, [&](auto *i) { fiber_decode_cmis_normal(p00, lower, p01, p12, i); }, n) &&
        kind == FIBER_KIND_CMIS && via_set)
        expect(same(n, e.normal), "fiber_decode_normal differs from fiber_decode_cmis_normal");
    run_decoder(cmis_normal_ok, [&](auto *i) { fiber_decode_cmis_normal_ignore(p00, lower, p01, p12, i); }, n);
    run_decoder(cmis_normal_ok, [&](auto *i) { _fiber_decode_cmis_normal(p00, lower, p01, p12, i, 0); }, n);
    run_decoder(cmis_normal_ok, [&](auto *i) { _fiber_decode_cmis_normal(p00, lower, p01, p12, i, 1); }, n);

    // Vendor information.
    if (run_decoder(lower, [&](auto *i) { fiber_decode_sfp_vendor(lower, i); }, v) && kind == FIBER_KIND_SFP)
        expect(same(v, e.vendor), "fiber_decode_vendor differs from fiber_decode_sfp_vendor");
    if (run_decoder(lower, [&](auto *i) { fiber_decode_xfp_vendor(lower, i); }, v) && kind == FIBER_KIND_XFP)
        expect(same(v, e.vendor), "fiber_decode_vendor differs from fiber_decode_xfp_vendor");
    if (run_decoder(p00, [&](auto *i) { fiber_decode_qsfp_vendor(p00, i); }, v) && kind == FIBER_KIND_QSFP &&
        via_set)
        expect(same(v, e.vendor), "fiber_decode_vendor differs from fiber_decode_qsfp_vendor");
    const bool both = lower && p01;
    if (run_decoder(p00, [&](auto *i) { fiber_decode_cmis_vendor(p00, both ? lower : nullptr, both ? p01 : nullptr, i); },
                    v) &&
        kind == FIBER_KIND_CMIS && via_set)
        expect(same(v, e.vendor), "fiber_decode_vendor differs from fiber_decode_cmis_vendor");
    run_decoder(p00, [&](auto *i) { fiber_decode_cmis_vendor(p00, lower, p01, i); }, v);

    // Diagnostics.
    const uint8_t calibration = lower ? (lower[92] & 0x30) : 0;  // SFF-8472 A0h byte 92 bits 5-4
    if (run_decoder(lower && p00, [&](auto *i) { fiber_decode_sfp_diag(lower, p00, calibration, i); }, d) &&
        kind == FIBER_KIND_SFP && via_set && lower[92] != 0)
        expect(same(d, e.diag), "fiber_decode_diag differs from fiber_decode_sfp_diag");
    run_decoder(lower && p00, [&](auto *i) { fiber_decode_sfp_diag(lower, p00, 0x10, i); }, d);
    if (run_decoder(lower && p00, [&](auto *i) { fiber_decode_xfp_diag(lower, p00, i); }, d) &&
        kind == FIBER_KIND_XFP && via_set)
        expect(same(d, e.diag), "fiber_decode_diag differs from fiber_decode_xfp_diag");
    if (run_decoder(p00 && lower, [&](auto *i) { fiber_decode_qsfp_diag(p00, lower, p03, i); }, d) &&
        kind == FIBER_KIND_QSFP && via_set)
        expect(same(d, e.diag), "fiber_decode_diag differs from fiber_decode_qsfp_diag");
    const bool cmis_full = p00 && lower && p01 && p11;
    if (run_decoder(cmis_full, [&](auto *i) { fiber_decode_cmis_diag(p00, lower, p01, p02, p11, p12, i); }, d) &&
        kind == FIBER_KIND_CMIS && via_set)
        expect(same(d, e.diag), "fiber_decode_diag differs from fiber_decode_cmis_diag");

    // Alarms. The SFP decoder may clear status bits in its A2h argument, so
    // it gets a private copy, as the entry point gives it.
    std::unique_ptr<uint8_t[]> a2;
    if (p00) {
        a2 = exact_buffer(128);
        std::memcpy(a2.get(), p00, 128);
    }
    auto sfp_alarm = [&](auto *i) {
        if (a2) std::memcpy(a2.get(), p00, 128);
        fiber_decode_sfp_alarm(lower, a2.get(), i);
    };
    if (run_decoder(lower && p00, sfp_alarm, a) && kind == FIBER_KIND_SFP && via_set && lower[92] != 0)
        expect(same(a, e.alarm), "fiber_decode_alarm differs from fiber_decode_sfp_alarm");
    if (run_decoder(lower && p00, [&](auto *i) { fiber_decode_xfp_alarm(lower, p00, i); }, a) &&
        kind == FIBER_KIND_XFP && via_set)
        expect(same(a, e.alarm), "fiber_decode_alarm differs from fiber_decode_xfp_alarm");
    if (run_decoder(p00 && lower, [&](auto *i) { fiber_decode_qsfp_alarm(p00, lower, i); }, a) &&
        kind == FIBER_KIND_QSFP && via_set)
        expect(same(a, e.alarm), "fiber_decode_alarm differs from fiber_decode_qsfp_alarm");
    if (run_decoder(cmis_full,
                    [&](auto *i) {
                        fiber_decode_cmis_alarm(p00, lower, p01, p11, p12, vdm ? p20 : nullptr, vdm ? p2c : nullptr, i);
                    },
                    a) &&
        kind == FIBER_KIND_CMIS && via_set)
        expect(same(a, e.alarm), "fiber_decode_alarm differs from fiber_decode_cmis_alarm");
    run_decoder(cmis_full, [&](auto *i) { fiber_decode_cmis_alarm(p00, lower, p01, p11, p12, p20, p2c, i); }, a);

    // CMIS queries.
    const uint8_t is_cmis = fiber_is_cmis(lower), color = fiber_is_color_module(lower),
                  version = fiber_get_cmis_ver_id(lower);
    if (!lower) expect(is_cmis == 0 && color == 0 && version == 0, "CMIS query on a null page must give 0");
    expect(is_cmis <= 1 && color <= 1, "CMIS predicate neither 0 nor 1");
    if (lower && !is_cmis) expect(version == 0, "revision reported for a module that is not CMIS");
    if (is_cmis) expect(version == lower[1], "CMIS revision is not lower page byte 1");
}

// --- Lookups ------------------------------------------------------------------

const char *const kPrefixes[] = {"100BASE", "1000BASE", "10/100/1000BASE", "10GBASE", "100", "1000", "2.5G", "10G"};

void run_lookups(reader &in) {
    // A prefix: null, one the type map knows, or fuzzed text in an exact buffer.
    const uint8_t prefix_sel = in.u8();
    std::unique_ptr<char[]> text;
    const char *prefix = nullptr;
    if (prefix_sel >= 1 && prefix_sel <= 8) {
        prefix = kPrefixes[prefix_sel - 1];
    } else if (prefix_sel > 8) {
        const std::size_t len = in.u8() % 24;
        text = std::unique_ptr<char[]>(new char[len + 1]);
        for (std::size_t i = 0; i < len; ++i) text[i] = static_cast<char>(in.u8());
        text[len] = '\0';
        prefix = text.get();
    }
    const uint64_t type = (in.u8() & 1) ? in.u64() : in.u8();
    const char *name = fiber_get_trans_str_bytype(prefix, type);
    expect(name != nullptr, "type name lookup returned null");
    expect_text(name);
    uint32_t rate = 0xDEADBEEF, connector = 0xDEADBEEF;
    fiber_get_trans_rate_connector_bytype(type, &rate, &connector);
    expect(connector <= 3, "connector class outside 0..3");
    if (std::strcmp(name, "Unknown module") != 0) expect(rate != 0, "a named type has no rate");

    const char *connector_name = nullptr;
    const uint8_t code = in.u8();
    fiber_decode_connect_type(code, &connector_name);
    expect(connector_name != nullptr, "connector lookup stored null");
    expect_text(connector_name);
    if (code & 0x80) expect(std::strcmp(connector_name, "Vendor specific") == 0, "80h-FFh must be vendor specific");

    const uint64_t state = (in.u8() & 1) ? in.u64() : in.u8();
    const char *module_state = cmis_get_module_state_byencode(state);
    const char *datapath_state = cmis_get_datapath_state_byencode(state);
    expect(module_state && datapath_state, "state lookup returned null");
    expect_text(module_state);
    expect_text(datapath_state);
    const cmis_lane_mask_entry_t *lane = cmis_get_datapath_lane_mask(state);
    expect((lane != nullptr) == (state >= 1 && state <= 8), "lane mask row exists exactly for lanes 1-8");
    if (lane) expect(lane->lane == state && lane->lane_bit == (1u << (state - 1)), "wrong lane mask row");

    for (int id = 0; id < FIBER_ALARM_COUNT; id += 1 + in.u8() % 64) expect_text(fiber_alarms[id]);
}

// --- Numeric helpers -----------------------------------------------------------

float float_from_bits(uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}
uint32_t bits_of(float f) {
    uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    return bits;
}

void run_numeric(reader &in, const module_pages &m) {
    const uint32_t x = in.u32();
    (void)fxln(x);
    // 16.16 to float is exact up to one rounding: x / 65536.
    const int32_t sx = static_cast<int32_t>(x);
    expect(bits_of(stt(sx)) == bits_of(static_cast<float>(sx) / 65536.0f), "stt(x) != x / 65536");

    const float v = float_from_bits(in.u32());
    (void)tts(v);
    (void)fiber_log(v);
    const float dbm = fiber_dbm(v);
    if (v <= 0.0f) expect(dbm == -40.0f, "fiber_dbm must clamp powers at or below 0 to -40 dBm");
    if (v >= 65536.0f) expect(bits_of(dbm) == 0x41028F5Cu, "fiber_dbm must give 8.16 from 65536 up");

    // Whole powers of 1..65535 units agree with 10 log10(P / 1 mW) within 0.0003 dB.
    const uint16_t w = in.u16();
    if (w != 0) {
        const double reference = 10.0 * std::log10(w / 10000.0);
        expect(std::fabs(fiber_dbm(static_cast<float>(w)) - reference) <= 0.0003, "fiber_dbm off by more than 0.0003 dB");
    }

    uint8_t reg_bytes[4];
    in.fill(reg_bytes, 4);
    auto reg = exact_buffer(4);
    std::memcpy(reg.get(), reg_bytes, 4);
    const uint32_t expected_bits = (uint32_t{reg_bytes[0]} << 24) | (uint32_t{reg_bytes[1]} << 16) |
                                   (uint32_t{reg_bytes[2]} << 8) | reg_bytes[3];
    expect(bits_of(get_float_from_reg(reg.get())) == expected_bits, "get_float_from_reg is not big-endian IEEE");

    // Check code over a fuzzed length within an exact buffer (the lower page
    // or, without one, page 00h).
    const uint8_t *block = m.lower ? m.lower.get() : m.p(0x00);
    if (block) {
        const int32_t length = static_cast<int32_t>(in.u8() % 133) - 4;  // -4..128
        unsigned sum = 0;
        for (int32_t i = 0; i < length; ++i) sum += block[i];
        expect(get_check_code(block, length) == (length > 0 ? (sum & 0xFF) : 0), "get_check_code is not the 8-bit sum");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    reader in{data, size};
    module_pages m;
    read_module(in, m);
    static page_snapshot before;
    before.take(m);
    const entry_results e = run_entry_points(m);
    before.expect_same(m);
    run_family_decoders(m, e);
    before.expect_same(m);
    run_lookups(in);
    run_numeric(in, m);
    return 0;
}
