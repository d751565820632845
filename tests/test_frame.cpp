// SPDX-License-Identifier: Apache-2.0
// The calling frame shared by the five entry points: pointer rules, page
// dump format and order, zeroing of the record and dispatch on the kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "fiber_internal.h"

namespace {

using Labels = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;
template <class Record>
using entry_fn = void (*)(fiber_module_kind, const uint8_t *, const uint8_t *const *, Record *, uint8_t);

constexpr const char *kLower = "page00 lower  eeprom";
constexpr const char *kUpper = "page00 upper  eeprom";

// The byte every page of a test page set holds: page n holds n, the
// lower-page argument EEh (see page_set below).
unsigned filler_of(const std::string &label) {
    if (label == kLower) return 0xEE;
    if (label == kUpper) return 0x00;
    return static_cast<unsigned>(std::stoul(label.substr(4, 2), nullptr, 16));
}

// Labels of the page dumps in captured output, in order. Each dump must
// show the page its label names (the first byte of its first row is that
// page's filler byte) in eight rows, never a later 128-byte block.
Labels labels_in(const std::string &out) {
    Labels labels;
    const std::string header = "\n---- + page";
    for (std::size_t at = out.find(header); at != std::string::npos; at = out.find(header, at + 1)) {
        const std::size_t from = at + header.size() - 4;
        labels.push_back(out.substr(from, out.find('\n', from) - from));
        const std::size_t row = out.find("\n0x00 |", from);
        char want[8];
        std::snprintf(want, sizeof want, " %02X", filler_of(labels.back()));
        EXPECT_EQ(row == std::string::npos ? "" : out.substr(row + 7, 3), want)
            << labels.back() << " shows another page";
    }
    EXPECT_EQ(std::count(out.begin(), out.end(), '|'), 9 * labels.size()) << "column header and eight rows a page";
    EXPECT_EQ(out.find(" 5A"), std::string::npos) << "a block past the first 128 bytes was dumped";
    return labels;
}

// Pages of every size the page set may carry: the first 128 bytes of page n
// hold n, so that a dump can be told apart from another page's; the further
// blocks of the 512-byte pages hold 5Ah.
struct page_set {
    uint8_t lower[128];
    uint8_t blocks[FIBER_PAGE_COUNT][512];
    fiber_pages_t pages{};
    page_set() {
        std::memset(lower, 0xEE, sizeof lower);
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n) {
            std::memset(blocks[n], static_cast<int>(n), 128);
            std::memset(blocks[n] + 128, 0x5A, 384);
        }
    }
    page_set &with(std::initializer_list<unsigned> numbers) {
        for (unsigned n : numbers) pages[n] = blocks[n];
        return *this;
    }
};

template <class Record>
Bytes bytes_of(const Record &r) {
    return {reinterpret_cast<const uint8_t *>(&r), reinterpret_cast<const uint8_t *>(&r + 1)};
}

// A record of `fill` bytes whose first field, unsupported, is `unsupported`.
template <class Record>
Bytes record_of(uint8_t fill, uint8_t unsupported) {
    Bytes b(sizeof(Record), fill);
    b[0] = unsupported;
    return b;
}

// The bytes of a record of `fill` bytes after the entry point ran on it.
template <class Record>
Bytes after(entry_fn<Record> entry, fiber_module_kind kind, const uint8_t *lower, const uint8_t *const *pages,
            uint8_t fill = 0x5A, uint8_t dump = 0) {
    Record r;
    std::memset(&r, fill, sizeof r);
    entry(kind, lower, pages, &r, dump);
    return bytes_of(r);
}

TEST(PageDump, ExactBytesOfAnAscendingPage) {
    uint8_t page[128];
    for (int i = 0; i < 128; ++i) page[i] = static_cast<uint8_t>(i);
    std::string expected =
        "\n---- + page00 lower  eeprom"
        "\n     | 00 01 02 03 04 05 06 07 - 08 09 0A 0B 0C 0D 0E 0F"
        "\n---- + -- -- -- -- -- -- -- -- - -- -- -- -- -- -- -- --";
    char cell[16];
    for (int r = 0; r < 8; ++r) {
        std::snprintf(cell, sizeof cell, "\n0x%02X |", r * 16);
        expected += cell;
        for (int c = 0; c < 16; ++c) {
            if (c == 8) expected += " -";
            std::snprintf(cell, sizeof cell, " %02X", r * 16 + c);
            expected += cell;
        }
    }
    expected += "\n";
    testing::internal::CaptureStdout();
    fiber::bits_num_display(kLower, page);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

// Labels an entry point dumps with the dump flag `flag`; with 0 it prints nothing.
template <class Record>
Labels dumped(entry_fn<Record> entry, fiber_module_kind kind, const uint8_t *lower, const uint8_t *const *pages,
              uint8_t flag) {
    testing::internal::CaptureStdout();
    after(entry, kind, lower, pages);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "printed without the dump flag";
    testing::internal::CaptureStdout();
    after(entry, kind, lower, pages, 0x5A, flag);
    return labels_in(testing::internal::GetCapturedStdout());
}

// Which pages each entry point dumps, in order, for every kind.
struct dump_case {
    const char *name;
    fiber_module_kind kind;
    std::vector<unsigned> present;
    Labels normal, vendor, diag, alarm, core;
    bool lower = true;
};

const dump_case kDumpCases[] = {
    {"sfp", FIBER_KIND_SFP, {0x00, 0x01, 0x03, 0x11}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper},
     {kLower, kUpper}, {}},
    {"xfp", FIBER_KIND_XFP, {0x00, 0x01}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}, {}},
    {"qsfp", FIBER_KIND_QSFP, {0x00, 0x01, 0x02, 0x03, 0x11}, {kLower, kUpper}, {kLower, kUpper},
     {kLower, kUpper, "page03  eeprom"}, {kLower, kUpper}, {}},
    {"qsfp_no_00", FIBER_KIND_QSFP, {0x03}, {kLower}, {kLower}, {}, {}, {}},
    {"qsfp_no_lower", FIBER_KIND_QSFP, {0x00, 0x03}, {}, {kUpper}, {}, {}, {}, false},
    {"cmis_all", FIBER_KIND_CMIS, {0x00, 0x01, 0x02, 0x03, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23, 0x2C},
     {kLower, kUpper, "page01  eeprom"}, {kLower, kUpper},
     {kLower, kUpper, "page01  eeprom", "page11  eeprom", "page02  eeprom"},
     {kLower, kUpper, "page01  eeprom", "page11  eeprom", "page20  eeprom", "page21  eeprom", "page22  eeprom",
      "page23  eeprom", "page2C  eeprom", "page12  eeprom"},
     {kLower, "page11  eeprom"}},
    {"cmis_no_2c", FIBER_KIND_CMIS, {0x00, 0x01, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23},
     {kLower, kUpper, "page01  eeprom"}, {kLower, kUpper}, {kLower, kUpper, "page01  eeprom", "page11  eeprom"},
     {kLower, kUpper, "page01  eeprom", "page11  eeprom"}, {kLower, "page11  eeprom"}},
    {"cmis_no_11", FIBER_KIND_CMIS, {0x00, 0x01, 0x02, 0x12}, {kLower, kUpper, "page01  eeprom"}, {kLower, kUpper},
     {kLower, kUpper}, {kLower, kUpper}, {}},
    {"cmis_no_01", FIBER_KIND_CMIS, {0x00, 0x02, 0x11}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper},
     {kLower, kUpper}, {kLower, "page11  eeprom"}},
    {"unsupported_kind", 4, {0x00, 0x01, 0x11}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper},
     {kLower, kUpper}, {}},
};

TEST(DumpOrder, EveryEntryPointAndKind) {
    for (const dump_case &c : kDumpCases) {
        SCOPED_TRACE(c.name);
        page_set s;
        for (unsigned n : c.present) s.pages[n] = s.blocks[n];
        const uint8_t *lower = c.lower ? s.lower : nullptr;
        // Any non-zero dump flag requests the dump, not only 1.
        EXPECT_EQ(dumped(fiber_decode_normal, c.kind, lower, s.pages, 0x80), c.normal);
        EXPECT_EQ(dumped(fiber_decode_vendor, c.kind, lower, s.pages, 0x02), c.vendor);
        EXPECT_EQ(dumped(fiber_decode_diag, c.kind, lower, s.pages, 0xFF), c.diag);
        EXPECT_EQ(dumped(fiber_decode_alarm, c.kind, lower, s.pages, 1), c.alarm);
        EXPECT_EQ(dumped(fiber_decode_coremgmt, c.kind, lower, s.pages, 1), c.core);
    }
}

// A missing required pointer leaves the record byte for byte as it was and prints nothing.
template <class Record>
void expect_untouched(const char *what, entry_fn<Record> entry, fiber_module_kind kind, const uint8_t *lower,
                      const uint8_t *const *pages) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(after(entry, kind, lower, pages, 0xA5, 1), Bytes(sizeof(Record), 0xA5)) << what;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << what;
}

TEST(PointerRules, MissingRequiredPointersEndTheCallSilently) {
    page_set s, none;
    s.with({0x00, 0x01, 0x11});
    const uint8_t *L = s.lower;
    const uint8_t *const *P = s.pages, *const *N = none.pages;
    for (fiber_module_kind k : {1u, 2u, 3u, 6u}) {
        SCOPED_TRACE(k);
        expect_untouched("normal: lower", fiber_decode_normal, k, nullptr, P);
        expect_untouched("diag: lower", fiber_decode_diag, k, nullptr, P);
        expect_untouched("diag: 00h", fiber_decode_diag, k, L, N);
        expect_untouched("diag: page set", fiber_decode_diag, k, L, nullptr);
        expect_untouched("alarm: lower", fiber_decode_alarm, k, nullptr, P);
        expect_untouched("alarm: 00h", fiber_decode_alarm, k, L, N);
        expect_untouched("core: lower", fiber_decode_coremgmt, k, nullptr, P);
        expect_untouched("core: 11h", fiber_decode_coremgmt, k, L, N);
    }
    // A null record: nothing printed, nothing to write.
    testing::internal::CaptureStdout();
    fiber_decode_normal(FIBER_KIND_SFP, L, P, nullptr, 1);
    fiber_decode_vendor(FIBER_KIND_SFP, L, P, nullptr, 1);
    fiber_decode_diag(FIBER_KIND_SFP, L, P, nullptr, 1);
    fiber_decode_alarm(FIBER_KIND_SFP, L, P, nullptr, 1);
    fiber_decode_coremgmt(FIBER_KIND_CMIS, L, P, nullptr, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// An unsupported kind clears the record and sets only unsupported; a
// supported kind without the pages its decoder needs leaves the record all
// zero; coremgmt of another kind sets unsupported and clears nothing.
TEST(KindDispatch, UnsupportedKindsAndMissingPages) {
    page_set all, cmis, none;
    all.with({0x00, 0x01, 0x02, 0x03, 0x11, 0x12});
    cmis.with({0x00, 0x02, 0x12});  // no 01h, no 11h
    for (fiber_module_kind k : {0u, 4u, 5u, 7u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(k);
        EXPECT_EQ(after(fiber_decode_normal, k, all.lower, all.pages), record_of<fiber_normal_info_t>(0, 1));
        EXPECT_EQ(after(fiber_decode_vendor, k, all.lower, all.pages), record_of<fiber_vendor_info_t>(0, 1));
        EXPECT_EQ(after(fiber_decode_diag, k, all.lower, all.pages), record_of<fiber_diag_info_t>(0, 1));
        EXPECT_EQ(after(fiber_decode_alarm, k, all.lower, all.pages), record_of<fiber_alarm_info_t>(0, 1));
    }
    for (fiber_module_kind k : {1u, 2u, 3u, 0u, 4u})
        EXPECT_EQ(after(fiber_decode_coremgmt, k, all.lower, all.pages, 0xFF),
                  record_of<fiber_coremgmt_info_t>(0xFF, 1)) << k;
    const fiber_module_kind c = FIBER_KIND_CMIS;
    EXPECT_EQ(after(fiber_decode_normal, c, cmis.lower, cmis.pages), record_of<fiber_normal_info_t>(0, 0));
    EXPECT_EQ(after(fiber_decode_diag, c, cmis.lower, cmis.pages), record_of<fiber_diag_info_t>(0, 0));
    EXPECT_EQ(after(fiber_decode_alarm, c, cmis.lower, cmis.pages), record_of<fiber_alarm_info_t>(0, 0));
    // Vendor without the identification block: SFP and XFP lower-page
    // argument, QSFP and CMIS entry 00h.
    const std::pair<fiber_module_kind, const uint8_t *> vendor_cases[] = {
        {FIBER_KIND_SFP, nullptr}, {FIBER_KIND_XFP, nullptr}, {FIBER_KIND_QSFP, none.lower}, {c, none.lower}};
    for (auto [k, lower] : vendor_cases)
        EXPECT_EQ(after(fiber_decode_vendor, k, lower, none.pages), record_of<fiber_vendor_info_t>(0, 0)) << k;
}

// Module dumps (tests/data/<entry>/source.md tells where each was published;
// the eight-page CMIS map is a synthetic fixture, the others real modules).
// dump.bin: SFF-8472 A0h at 0 and A2h at 256; the other maps the lower page
// at 0 and upper page N at 128 * (N + 1).
Bytes load_dump(const char *entry) {
    std::ifstream in(std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// An entry point on a record full of garbage gives byte for byte what the
// family decoder gives on a zeroed record with the kind's pages in their
// argument places: the entry point clears the whole record, picks the
// family by the kind and hands each page-set entry to the right argument.
template <class Record, class Direct>
void expect_routed(const char *what, entry_fn<Record> entry, fiber_module_kind kind, const uint8_t *lower,
                   const uint8_t *const *pages, Direct direct, uint8_t rejected = 0) {
    Record want;
    std::memset(&want, 0, sizeof want);
    direct(&want);
    EXPECT_EQ(want.unsupported, rejected) << what;
    const Bytes got = after(entry, kind, lower, pages), expected = bytes_of(want);
    EXPECT_EQ(std::mismatch(got.begin(), got.end(), expected.begin()).first - got.begin(), long(got.size()))
        << what << ": first differing byte";
}

TEST(KindDispatch, EntryPointsHandEachPageToItsDecoderArgument) {
    const Bytes sfp = load_dump("sfp-10g-lr-flexoptix-pb1696"), qsfp = load_dump("qsfp28-100g-sr4-mellanox-mma1b00"),
                cmis = load_dump("synthetic-fboss-cmis-400g-lr4"), dd = load_dump("qsfpdd-400g-dac-fit-cu4ep54");
    ASSERT_EQ(std::vector<std::size_t>({sfp.size(), qsfp.size(), cmis.size(), dd.size()}),
              std::vector<std::size_t>({512, 640, 6272, 256}));
    // No XFP dump was published: INF-8077i lower memory (bytes 0-127) and
    // page 01h (identifier 06h at byte 128) filled with a varied pattern.
    Bytes xfp(256);
    for (std::size_t i = 0; i < xfp.size(); ++i) xfp[i] = static_cast<uint8_t>(i * 37 + 11);
    xfp[128] = 0x06;
    const std::vector<Bytes> before = {sfp, qsfp, cmis, dd, xfp};
    auto upper = [](const Bytes &d, unsigned n) { return d.data() + 128 * (n + 1); };
    const uint8_t zeros[128] = {};
    const fiber_module_kind kSfp = FIBER_KIND_SFP, kXfp = FIBER_KIND_XFP;
    const fiber_module_kind kQsfp = FIBER_KIND_QSFP, kCmis = FIBER_KIND_CMIS;

    // SFP: lower-page argument A0h, entry 00h A2h.
    const uint8_t *a0 = sfp.data(), *a2 = sfp.data() + 256;
    Bytes a2_copy(a2, a2 + 128);  // the alarm decoder may change its A2h block
    fiber_pages_t p{a2};
    expect_routed("SFP normal", fiber_decode_normal, kSfp, a0, p, [&](auto *i) { fiber_decode_sfp_normal(a0, i); });
    expect_routed("SFP vendor", fiber_decode_vendor, kSfp, a0, p, [&](auto *i) { fiber_decode_sfp_vendor(a0, i); });
    expect_routed("SFP diag", fiber_decode_diag, kSfp, a0, p, [&](auto *i) { fiber_decode_sfp_diag(a0, a2, 0x20, i); });
    expect_routed("SFP alarm", fiber_decode_alarm, kSfp, a0, p,
                  [&](auto *i) { fiber_decode_sfp_alarm(a0, a2_copy.data(), i); });
    // A0h byte 92 reaches the decoder as its calibration bits 5-4 only: the
    // same module as externally calibrated (58h), with a Tx bias slope of 2
    // (A2h bytes 76-77) so that the calibration shows.
    Bytes a0_ext(a0, a0 + 128), a2_ext(a2, a2 + 256);
    a0_ext[92] = 0x58;
    a2_ext[76] = 0x02;
    p[0] = a2_ext.data();
    expect_routed("SFP diag, external calibration", fiber_decode_diag, kSfp, a0_ext.data(), p,
                  [&](auto *i) { fiber_decode_sfp_diag(a0_ext.data(), a2_ext.data(), 0x10, i); });

    // XFP: lower-page argument page 01h, entry 00h the lower memory.
    const uint8_t *low = xfp.data(), *p01 = xfp.data() + 128;
    p[0] = low;
    expect_routed("XFP normal", fiber_decode_normal, kXfp, p01, p, [&](auto *i) { fiber_decode_xfp_normal(p01, i); });
    expect_routed("XFP vendor", fiber_decode_vendor, kXfp, p01, p, [&](auto *i) { fiber_decode_xfp_vendor(p01, i); });
    expect_routed("XFP diag", fiber_decode_diag, kXfp, p01, p, [&](auto *i) { fiber_decode_xfp_diag(p01, low, i); });
    expect_routed("XFP alarm", fiber_decode_alarm, kXfp, p01, p, [&](auto *i) { fiber_decode_xfp_alarm(p01, low, i); });

    // QSFP: lower page, entries 00h and 03h.
    const uint8_t *q = qsfp.data(), *q00 = upper(qsfp, 0), *q03 = upper(qsfp, 3);
    p[0] = q00;
    p[0x03] = q03;
    expect_routed("QSFP normal", fiber_decode_normal, kQsfp, q, p,
                  [&](auto *i) { fiber_decode_qsfp_normal(q00, q, i); });
    expect_routed("QSFP vendor", fiber_decode_vendor, kQsfp, q, p, [&](auto *i) { fiber_decode_qsfp_vendor(q00, i); });
    expect_routed("QSFP diag", fiber_decode_diag, kQsfp, q, p,
                  [&](auto *i) { fiber_decode_qsfp_diag(q00, q, q03, i); });
    expect_routed("QSFP alarm", fiber_decode_alarm, kQsfp, q, p, [&](auto *i) { fiber_decode_qsfp_alarm(q00, q, i); });
    // Optional page missing: null in its place. Identification without
    // entry 00h reads a zeroed image slot (identifier 00h: rejected), not
    // the page 00h that a call just before it left on the stack.
    p[0x03] = nullptr;
    expect_routed("QSFP diag without 03h", fiber_decode_diag, kQsfp, q, p,
                  [&](auto *i) { fiber_decode_qsfp_diag(q00, q, nullptr, i); });
    const fiber_pages_t without_00h{};
    expect_routed("QSFP normal without 00h", fiber_decode_normal, kQsfp, q, without_00h,
                  [&](auto *i) { fiber_decode_qsfp_normal(zeros, q, i); }, 1);

    // CMIS: lower page, entries 00h, 01h, 02h and 11h (no 12h, no VDM pages).
    const uint8_t *c = cmis.data(), *c00 = upper(cmis, 0), *c01 = upper(cmis, 1), *c02 = upper(cmis, 2),
                  *c11 = upper(cmis, 0x11);
    fiber_pages_t pc{c00, c01, c02};
    pc[0x11] = c11;
    expect_routed("CMIS vendor", fiber_decode_vendor, kCmis, c, pc,
                  [&](auto *i) { fiber_decode_cmis_vendor(c00, c, c01, i); });
    expect_routed("CMIS diag", fiber_decode_diag, kCmis, c, pc,
                  [&](auto *i) { fiber_decode_cmis_diag(c00, c, c01, c02, c11, nullptr, i); });
    expect_routed("CMIS alarm", fiber_decode_alarm, kCmis, c, pc,
                  [&](auto *i) { fiber_decode_cmis_alarm(c00, c, c01, c11, nullptr, nullptr, nullptr, i); });
    expect_routed("CMIS coremgmt", fiber_decode_coremgmt, kCmis, c, pc,
                  [&](auto *i) { fiber::cmis_decode_coremgmt(c, c11, i); });
    pc[0x02] = nullptr;
    expect_routed("CMIS diag without 02h", fiber_decode_diag, kCmis, c, pc,
                  [&](auto *i) { fiber_decode_cmis_diag(c00, c, c01, nullptr, c11, nullptr, i); });
    // Vendor without page 01h: neither the lower page nor page 01h reaches the decoder.
    pc[0x01] = nullptr;
    expect_routed("CMIS vendor without 01h", fiber_decode_vendor, kCmis, c, pc,
                  [&](auto *i) { fiber_decode_cmis_vendor(c00, nullptr, nullptr, i); });
    // Identification of a QSFP-DD whose page 01h read as zeros; page 12h
    // missing: null in its place.
    const fiber_pages_t pd{upper(dd, 0), zeros};
    expect_routed("CMIS normal", fiber_decode_normal, kCmis, dd.data(), pd,
                  [&](auto *i) { fiber_decode_cmis_normal(upper(dd, 0), dd.data(), zeros, nullptr, i); });
    // The caller's pages are only read, also where a decoder changes its copy.
    EXPECT_EQ((std::vector<Bytes>{sfp, qsfp, cmis, dd, xfp}), before);
}

TEST(SharedRules, TemperatureRoundsHalvesAwayFromZero) {
    const std::pair<int16_t, int32_t> cases[] = {{0, 0},       {127, 0},     {128, 1},   {-127, 0},
                                                 {-128, -1},   {383, 1},     {384, 2},   {-383, -1},
                                                 {-384, -2},   {0x197F, 25}, {0x1980, 26}, {-0x1980, -26},
                                                 {32767, 128}, {-32768, -128}};
    for (auto [raw, degrees] : cases) EXPECT_EQ(fiber::temperature_degrees(raw), degrees) << raw;
}

// Bit k of monitor_flags is alarm id k, of rx_power_flags id 64 + k, of
// tx_power_flags id 128 + k; ids from 192 have no flag.
TEST(SharedRules, FlagIdsLandInTheirDiagnosticsFlagSet) {
    struct {
        unsigned id;
        uint64_t monitor, rx, tx;
    } cases[] = {{0, 1, 0, 0},        {7, 1u << 7, 0, 0},         {39, uint64_t{1} << 39, 0, 0},
                 {63, uint64_t{1} << 63, 0, 0}, {64, 0, 1, 0}, {103, 0, uint64_t{1} << 39, 0},
                 {127, 0, uint64_t{1} << 63, 0}, {128, 0, 0, 1}, {167, 0, 0, uint64_t{1} << 39},
                 {191, 0, 0, uint64_t{1} << 63}, {192, 0, 0, 0}, {248, 0, 0, 0}};
    for (const auto &c : cases) {
        fiber_diag_info_t info{};
        fiber::diag_flag_set(&info, c.id);
        EXPECT_EQ(std::tuple(info.monitor_flags, info.rx_power_flags, info.tx_power_flags),
                  std::tuple(c.monitor, c.rx, c.tx)) << c.id;
    }
}

}  // namespace
