// The calling frame shared by the five entry points: pointer rules, page
// dump format and order, zeroing of the record and dispatch on the kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <cstring>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "fiber_internal.h"

namespace {

using Labels = std::vector<std::string>;

// The byte every page of a test page set holds: page n holds n, the
// lower-page argument EEh (see page_set below).
unsigned filler_of(const std::string &label) {
    if (label == "page00 lower  eeprom") return 0xEE;
    if (label == "page00 upper  eeprom") return 0x00;
    return static_cast<unsigned>(std::stoul(label.substr(4, 2), nullptr, 16));
}

// Labels of the page dumps in captured output, in order. Each dump must
// show the page its label names: the first byte of its first row is that
// page's filler byte.
Labels labels_in(const std::string &out) {
    Labels labels;
    const std::string header = "\n---- + page";
    for (std::size_t at = out.find(header); at != std::string::npos; at = out.find(header, at + 1)) {
        const std::size_t from = at + header.size() - 4;
        labels.push_back(out.substr(from, out.find('\n', from) - from));
        const std::size_t row = out.find("\n0x00 |", from);
        char want[8];
        std::snprintf(want, sizeof want, " %02X", filler_of(labels.back()));
        EXPECT_EQ(row == std::string::npos ? "" : out.substr(row + 7, 3), want) << labels.back() << " shows another page";
    }
    return labels;
}

// Pages of every size the page set may carry; page n's bytes hold n so that a
// dump can be told apart from another page's.
struct page_set {
    uint8_t lower[128];
    uint8_t blocks[FIBER_PAGE_COUNT][512];
    fiber_pages_t pages{};
    page_set() {
        std::memset(lower, 0xEE, sizeof lower);
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n) std::memset(blocks[n], static_cast<int>(n), sizeof blocks[n]);
    }
    page_set &with(std::initializer_list<unsigned> numbers) {
        for (unsigned n : numbers) pages[n] = blocks[n];
        return *this;
    }
};

constexpr const char *kLower = "page00 lower  eeprom";
constexpr const char *kUpper = "page00 upper  eeprom";

template <class Record, class Call>
Labels dumped_by(Call call, Record *info) {
    testing::internal::CaptureStdout();
    call(info);
    return labels_in(testing::internal::GetCapturedStdout());
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

TEST(PageDump, LargePagesShowOnlyTheirFirstBlock) {
    page_set s;
    s.with({0x00, 0x01, 0x11, 0x20, 0x21, 0x22, 0x23, 0x2C});
    s.blocks[0x20][128] = 0x5A;  // second block of page 20h
    fiber_alarm_info_t info;
    testing::internal::CaptureStdout();
    fiber_decode_alarm(FIBER_KIND_CMIS, s.lower, s.pages, &info, 1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.find(" 5A"), std::string::npos);
    EXPECT_EQ(std::count(out.begin(), out.end(), '|'), 9 * labels_in(out).size());
}

// Which pages each entry point dumps, in order, for every kind.
struct dump_case {
    const char *name;
    fiber_module_kind kind;
    std::vector<unsigned> present;
    Labels normal, vendor, diag, alarm;
};

const std::vector<dump_case> kDumpCases = {
    {"sfp", FIBER_KIND_SFP, {0x00, 0x01, 0x03, 0x11}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}},
    {"xfp", FIBER_KIND_XFP, {0x00, 0x01}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}},
    {"qsfp", FIBER_KIND_QSFP, {0x00, 0x01, 0x02, 0x03, 0x11}, {kLower, kUpper}, {kLower, kUpper},
     {kLower, kUpper, "page03  eeprom"}, {kLower, kUpper}},
    {"cmis_all", FIBER_KIND_CMIS, {0x00, 0x01, 0x02, 0x03, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23, 0x2C},
     {kLower, kUpper, "page01  eeprom"}, {kLower, kUpper},
     {kLower, kUpper, "page01  eeprom", "page11  eeprom", "page02  eeprom"},
     {kLower, kUpper, "page01  eeprom", "page11  eeprom", "page20  eeprom", "page21  eeprom", "page22  eeprom",
      "page23  eeprom", "page2C  eeprom", "page12  eeprom"}},
    {"cmis_no_2c", FIBER_KIND_CMIS, {0x00, 0x01, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23},
     {kLower, kUpper, "page01  eeprom"}, {kLower, kUpper},
     {kLower, kUpper, "page01  eeprom", "page11  eeprom"}, {kLower, kUpper, "page01  eeprom", "page11  eeprom"}},
    {"cmis_no_11", FIBER_KIND_CMIS, {0x00, 0x01, 0x02, 0x12}, {kLower, kUpper, "page01  eeprom"}, {kLower, kUpper},
     {kLower, kUpper}, {kLower, kUpper}},
    {"cmis_no_01", FIBER_KIND_CMIS, {0x00, 0x02, 0x11}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper},
     {kLower, kUpper}},
    {"unsupported_kind", 4, {0x00, 0x01, 0x11}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}, {kLower, kUpper}},
};

TEST(DumpOrder, EveryEntryPointAndKind) {
    for (const dump_case &c : kDumpCases) {
        SCOPED_TRACE(c.name);
        page_set s;
        for (unsigned n : c.present) s.pages[n] = s.blocks[n];
        fiber_normal_info_t normal;
        fiber_vendor_info_t vendor;
        fiber_diag_info_t diag;
        fiber_alarm_info_t alarm;
        // Any non-zero dump flag requests the dump, not only 1.
        EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_normal(c.kind, s.lower, s.pages, i, 0x80); }, &normal), c.normal);
        EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_vendor(c.kind, s.lower, s.pages, i, 0x02); }, &vendor), c.vendor);
        EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_diag(c.kind, s.lower, s.pages, i, 0xFF); }, &diag), c.diag);
        EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_alarm(c.kind, s.lower, s.pages, i, 1); }, &alarm), c.alarm);
    }
}

TEST(DumpOrder, NothingIsPrintedWithoutTheDumpFlag) {
    page_set s;
    s.with({0x00, 0x01, 0x02, 0x03, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23, 0x2C});
    for (fiber_module_kind kind : {0u, 1u, 2u, 3u, 4u, 5u, 6u}) {
        fiber_normal_info_t normal;
        fiber_vendor_info_t vendor;
        fiber_diag_info_t diag;
        fiber_alarm_info_t alarm;
        fiber_coremgmt_info_t core;
        testing::internal::CaptureStdout();
        fiber_decode_normal(kind, s.lower, s.pages, &normal, 0);
        fiber_decode_vendor(kind, s.lower, s.pages, &vendor, 0);
        fiber_decode_diag(kind, s.lower, s.pages, &diag, 0);
        fiber_decode_alarm(kind, s.lower, s.pages, &alarm, 0);
        fiber_decode_coremgmt(kind, s.lower, s.pages, &core, 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "kind " << kind;
    }
}

TEST(DumpOrder, VendorDumpsOnlyThePagesItWasGiven) {
    page_set s;  // no page-set entries at all
    fiber_vendor_info_t vendor;
    EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_vendor(FIBER_KIND_QSFP, s.lower, s.pages, i, 1); }, &vendor),
              Labels{kLower});
    s.with({0x00});
    EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_vendor(FIBER_KIND_QSFP, nullptr, s.pages, i, 1); }, &vendor),
              Labels{kUpper});
}

TEST(DumpOrder, CoremgmtDumpsLowerPageAndPage11hForCmisOnly) {
    page_set s;
    s.with({0x00, 0x01, 0x11});
    fiber_coremgmt_info_t core;
    EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_coremgmt(FIBER_KIND_CMIS, s.lower, s.pages, i, 1); }, &core),
              (Labels{kLower, "page11  eeprom"}));
    EXPECT_EQ(dumped_by([&](auto *i) { fiber_decode_coremgmt(FIBER_KIND_QSFP, s.lower, s.pages, i, 1); }, &core),
              Labels{});
}

// A missing required pointer leaves the record byte for byte as it was and prints nothing.
template <class Record, class Call>
void expect_untouched(const char *what, Call call) {
    SCOPED_TRACE(what);
    Record info;
    std::memset(&info, 0xA5, sizeof info);
    testing::internal::CaptureStdout();
    call(&info);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    const auto *bytes = reinterpret_cast<const unsigned char *>(&info);
    for (std::size_t i = 0; i < sizeof info; ++i) ASSERT_EQ(bytes[i], 0xA5) << "byte " << i;
}

TEST(PointerRules, MissingRequiredPointersEndTheCallSilently) {
    page_set s, none;
    s.with({0x00, 0x01, 0x11});
    const uint8_t *L = s.lower;
    const uint8_t *const *P = s.pages, *const *N = none.pages;
    for (fiber_module_kind k : {1u, 2u, 3u, 6u}) {
        SCOPED_TRACE(k);
        expect_untouched<fiber_normal_info_t>("normal: lower", [&](auto *i) { fiber_decode_normal(k, nullptr, P, i, 1); });
        expect_untouched<fiber_diag_info_t>("diag: lower", [&](auto *i) { fiber_decode_diag(k, nullptr, P, i, 1); });
        expect_untouched<fiber_diag_info_t>("diag: 00h", [&](auto *i) { fiber_decode_diag(k, L, N, i, 1); });
        expect_untouched<fiber_diag_info_t>("diag: page set", [&](auto *i) { fiber_decode_diag(k, L, nullptr, i, 1); });
        expect_untouched<fiber_alarm_info_t>("alarm: lower", [&](auto *i) { fiber_decode_alarm(k, nullptr, P, i, 1); });
        expect_untouched<fiber_alarm_info_t>("alarm: 00h", [&](auto *i) { fiber_decode_alarm(k, L, N, i, 1); });
        expect_untouched<fiber_coremgmt_info_t>("core: lower", [&](auto *i) { fiber_decode_coremgmt(k, nullptr, P, i, 1); });
        expect_untouched<fiber_coremgmt_info_t>("core: 11h", [&](auto *i) { fiber_decode_coremgmt(k, L, N, i, 1); });
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

template <class Record>
void expect_only_unsupported(const Record &info) {
    Record expected;
    std::memset(&expected, 0, sizeof expected);
    expected.unsupported = 1;
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

TEST(KindDispatch, UnsupportedKindsZeroTheRecordAndSetUnsupported) {
    page_set s;
    s.with({0x00, 0x01, 0x02, 0x03, 0x11, 0x12});
    for (fiber_module_kind kind : {0u, 4u, 5u, 7u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(kind);
        fiber_normal_info_t normal;
        fiber_vendor_info_t vendor;
        fiber_diag_info_t diag;
        fiber_alarm_info_t alarm;
        std::memset(&normal, 0x5A, sizeof normal);
        std::memset(&vendor, 0x5A, sizeof vendor);
        std::memset(&diag, 0x5A, sizeof diag);
        std::memset(&alarm, 0x5A, sizeof alarm);
        fiber_decode_normal(kind, s.lower, s.pages, &normal, 0);
        fiber_decode_vendor(kind, s.lower, s.pages, &vendor, 0);
        fiber_decode_diag(kind, s.lower, s.pages, &diag, 0);
        fiber_decode_alarm(kind, s.lower, s.pages, &alarm, 0);
        expect_only_unsupported(normal);
        expect_only_unsupported(vendor);
        expect_only_unsupported(diag);
        expect_only_unsupported(alarm);
    }
}

TEST(KindDispatch, CmisWithoutItsRequiredPagesLeavesAnAllZeroRecord) {
    page_set s;
    s.with({0x00, 0x02, 0x12});  // no 01h, no 11h
    fiber_normal_info_t normal;
    fiber_diag_info_t diag;
    fiber_alarm_info_t alarm;
    std::memset(&normal, 0x5A, sizeof normal);
    std::memset(&diag, 0x5A, sizeof diag);
    std::memset(&alarm, 0x5A, sizeof alarm);
    fiber_decode_normal(FIBER_KIND_CMIS, s.lower, s.pages, &normal, 0);
    fiber_decode_diag(FIBER_KIND_CMIS, s.lower, s.pages, &diag, 0);
    fiber_decode_alarm(FIBER_KIND_CMIS, s.lower, s.pages, &alarm, 0);
    fiber_normal_info_t zero_normal{};
    fiber_diag_info_t zero_diag{};
    fiber_alarm_info_t zero_alarm{};
    EXPECT_EQ(std::memcmp(&normal, &zero_normal, sizeof normal), 0);
    EXPECT_EQ(std::memcmp(&diag, &zero_diag, sizeof diag), 0);
    EXPECT_EQ(std::memcmp(&alarm, &zero_alarm, sizeof alarm), 0);
}

TEST(KindDispatch, VendorWithoutTheIdentificationBlockLeavesAnAllZeroRecord) {
    page_set s;
    const fiber_vendor_info_t zero{};
    struct {
        fiber_module_kind kind;
        const uint8_t *lower;
    } cases[] = {{FIBER_KIND_SFP, nullptr}, {FIBER_KIND_XFP, nullptr}, {FIBER_KIND_QSFP, s.lower}, {FIBER_KIND_CMIS, s.lower}};
    for (const auto &c : cases) {
        fiber_vendor_info_t vendor;
        std::memset(&vendor, 0x5A, sizeof vendor);
        fiber_decode_vendor(c.kind, c.lower, s.pages, &vendor, 0);
        EXPECT_EQ(std::memcmp(&vendor, &zero, sizeof vendor), 0) << "kind " << c.kind;
    }
}

TEST(KindDispatch, CoremgmtOfAnotherKindChangesOnlyUnsupported) {
    page_set s;
    s.with({0x00, 0x11});
    for (fiber_module_kind kind : {1u, 2u, 3u, 0u, 4u}) {
        fiber_coremgmt_info_t core;
        std::memset(&core, 0xFF, sizeof core);
        fiber_decode_coremgmt(kind, s.lower, s.pages, &core, 1);
        fiber_coremgmt_info_t expected;
        std::memset(&expected, 0xFF, sizeof expected);
        expected.unsupported = 1;
        EXPECT_EQ(std::memcmp(&core, &expected, sizeof core), 0) << "kind " << kind;
    }
}

// Module dumps (tests/data/<entry>/source.md tells where each was published;
// the eight-page CMIS map is a synthetic fixture, the others real modules).
// dump.bin: SFF-8472 A0h at 0 and A2h at 256; the other maps the lower page
// at 0 and upper page N at 128 * (N + 1).
std::vector<uint8_t> load_dump(const char *entry) {
    std::ifstream in(std::string(FIBER_TEST_DATA) + "/" + entry + "/dump.bin", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <class Record>
long first_difference(const Record &a, const Record &b) {
    const auto *pa = reinterpret_cast<const unsigned char *>(&a), *pb = reinterpret_cast<const unsigned char *>(&b);
    for (std::size_t i = 0; i < sizeof a; ++i)
        if (pa[i] != pb[i]) return static_cast<long>(i);
    return -1;
}

// An entry point on a record full of garbage gives byte for byte what the
// family decoder gives on a zeroed record with the kind's pages in their
// argument places: the entry point clears the whole record, picks the
// family by the kind and hands each page-set entry to the right argument.
template <class Record, class Entry, class Direct>
void expect_routed(const char *what, Entry entry, Direct direct, uint8_t rejected = 0) {
    Record got, want;
    std::memset(&got, 0x5A, sizeof got);
    std::memset(&want, 0, sizeof want);
    entry(&got);
    direct(&want);
    EXPECT_EQ(want.unsupported, rejected) << what;
    EXPECT_EQ(first_difference(got, want), -1) << what << ": first differing byte";
}

TEST(KindDispatch, EntryPointsHandEachPageToItsDecoderArgument) {
    const std::vector<uint8_t> sfp = load_dump("sfp-10g-lr-flexoptix-pb1696"), qsfp = load_dump("qsfp28-100g-sr4-mellanox-mma1b00"),
                               cmis = load_dump("synthetic-fboss-cmis-400g-lr4"), dd = load_dump("qsfpdd-400g-dac-fit-cu4ep54");
    ASSERT_EQ(std::tuple(sfp.size(), qsfp.size(), cmis.size(), dd.size()), std::tuple(512u, 640u, 6272u, 256u));
    // No XFP dump was published: INF-8077i lower memory (bytes 0-127) and
    // page 01h (identifier 06h at byte 128) filled with a varied pattern.
    std::vector<uint8_t> xfp(256);
    for (std::size_t i = 0; i < xfp.size(); ++i) xfp[i] = static_cast<uint8_t>(i * 37 + 11);
    xfp[128] = 0x06;
    const std::vector<std::vector<uint8_t>> before = {sfp, qsfp, cmis, dd, xfp};
    auto upper = [](const std::vector<uint8_t> &d, unsigned n) { return d.data() + 128 * (n + 1); };

    {  // SFP: lower-page argument A0h, entry 00h A2h.
        SCOPED_TRACE("SFP");
        const uint8_t *a0 = sfp.data(), *a2 = sfp.data() + 256;
        std::vector<uint8_t> a2_copy(a2, a2 + 128);  // the alarm decoder may change its A2h block
        const fiber_pages_t p{a2};
        const fiber_module_kind k = FIBER_KIND_SFP;
        expect_routed<fiber_normal_info_t>("normal", [&](auto *i) { fiber_decode_normal(k, a0, p, i, 0); },
                                           [&](auto *i) { fiber_decode_sfp_normal(a0, i); });
        expect_routed<fiber_vendor_info_t>("vendor", [&](auto *i) { fiber_decode_vendor(k, a0, p, i, 0); },
                                           [&](auto *i) { fiber_decode_sfp_vendor(a0, i); });
        expect_routed<fiber_diag_info_t>("diag", [&](auto *i) { fiber_decode_diag(k, a0, p, i, 0); },
                                         [&](auto *i) { fiber_decode_sfp_diag(a0, a2, 0x20, i); });
        // A0h byte 92 reaches the decoder as its calibration bits 5-4 only:
        // the same module as externally calibrated (58h), with a Tx bias
        // slope of 2 (A2h bytes 76-77) so that the calibration shows.
        std::vector<uint8_t> a0_ext(a0, a0 + 128), a2_ext(a2, a2 + 256);
        a0_ext[92] = 0x58;
        a2_ext[76] = 0x02;
        const fiber_pages_t p_ext{a2_ext.data()};
        expect_routed<fiber_diag_info_t>(
            "diag, external calibration", [&](auto *i) { fiber_decode_diag(k, a0_ext.data(), p_ext, i, 0); },
            [&](auto *i) { fiber_decode_sfp_diag(a0_ext.data(), a2_ext.data(), 0x10, i); });
        expect_routed<fiber_alarm_info_t>("alarm", [&](auto *i) { fiber_decode_alarm(k, a0, p, i, 0); },
                                          [&](auto *i) { fiber_decode_sfp_alarm(a0, a2_copy.data(), i); });
    }
    {  // XFP: lower-page argument page 01h, entry 00h the lower memory.
        SCOPED_TRACE("XFP");
        const uint8_t *lower = xfp.data(), *page01 = xfp.data() + 128;
        const fiber_pages_t p{lower};
        const fiber_module_kind k = FIBER_KIND_XFP;
        expect_routed<fiber_normal_info_t>("normal", [&](auto *i) { fiber_decode_normal(k, page01, p, i, 0); },
                                           [&](auto *i) { fiber_decode_xfp_normal(page01, i); });
        expect_routed<fiber_vendor_info_t>("vendor", [&](auto *i) { fiber_decode_vendor(k, page01, p, i, 0); },
                                           [&](auto *i) { fiber_decode_xfp_vendor(page01, i); });
        expect_routed<fiber_diag_info_t>("diag", [&](auto *i) { fiber_decode_diag(k, page01, p, i, 0); },
                                         [&](auto *i) { fiber_decode_xfp_diag(page01, lower, i); });
        expect_routed<fiber_alarm_info_t>("alarm", [&](auto *i) { fiber_decode_alarm(k, page01, p, i, 0); },
                                          [&](auto *i) { fiber_decode_xfp_alarm(page01, lower, i); });
    }
    {  // QSFP: lower page, entries 00h and 03h.
        SCOPED_TRACE("QSFP");
        const uint8_t *lower = qsfp.data(), *page00 = upper(qsfp, 0), *page03 = upper(qsfp, 3);
        fiber_pages_t p{page00};
        p[0x03] = page03;
        const fiber_module_kind k = FIBER_KIND_QSFP;
        expect_routed<fiber_normal_info_t>("normal", [&](auto *i) { fiber_decode_normal(k, lower, p, i, 0); },
                                           [&](auto *i) { fiber_decode_qsfp_normal(page00, lower, i); });
        expect_routed<fiber_vendor_info_t>("vendor", [&](auto *i) { fiber_decode_vendor(k, lower, p, i, 0); },
                                           [&](auto *i) { fiber_decode_qsfp_vendor(page00, i); });
        expect_routed<fiber_diag_info_t>("diag", [&](auto *i) { fiber_decode_diag(k, lower, p, i, 0); },
                                         [&](auto *i) { fiber_decode_qsfp_diag(page00, lower, page03, i); });
        expect_routed<fiber_alarm_info_t>("alarm", [&](auto *i) { fiber_decode_alarm(k, lower, p, i, 0); },
                                          [&](auto *i) { fiber_decode_qsfp_alarm(page00, lower, i); });
        // Optional page missing: null in its place. Identification without
        // entry 00h reads a zeroed image slot (identifier 00h: rejected),
        // not the page 00h that the same call before it left on the stack.
        p[0x03] = nullptr;
        expect_routed<fiber_diag_info_t>("diag without 03h", [&](auto *i) { fiber_decode_diag(k, lower, p, i, 0); },
                                         [&](auto *i) { fiber_decode_qsfp_diag(page00, lower, nullptr, i); });
        const fiber_pages_t without_00h{};
        const uint8_t zeros[128] = {};
        expect_routed<fiber_normal_info_t>(
            "normal without 00h",
            [&](auto *i) {
                for (const uint8_t *const *pages : {static_cast<const uint8_t *const *>(p), without_00h})
                    fiber_decode_normal(k, lower, pages, i, 0);
            },
            [&](auto *i) { fiber_decode_qsfp_normal(zeros, lower, i); }, 1);
    }
    {  // CMIS: lower page, entries 00h, 01h, 02h and 11h (no 12h, no VDM pages).
        SCOPED_TRACE("CMIS");
        const uint8_t *lower = cmis.data(), *page00 = upper(cmis, 0), *page01 = upper(cmis, 1),
                      *page02 = upper(cmis, 2), *page11 = upper(cmis, 0x11);
        fiber_pages_t p{page00, page01, page02};
        p[0x11] = page11;
        const fiber_module_kind k = FIBER_KIND_CMIS;
        expect_routed<fiber_vendor_info_t>("vendor", [&](auto *i) { fiber_decode_vendor(k, lower, p, i, 0); },
                                           [&](auto *i) { fiber_decode_cmis_vendor(page00, lower, page01, i); });
        expect_routed<fiber_diag_info_t>(
            "diag", [&](auto *i) { fiber_decode_diag(k, lower, p, i, 0); },
            [&](auto *i) { fiber_decode_cmis_diag(page00, lower, page01, page02, page11, nullptr, i); });
        expect_routed<fiber_alarm_info_t>(
            "alarm", [&](auto *i) { fiber_decode_alarm(k, lower, p, i, 0); },
            [&](auto *i) { fiber_decode_cmis_alarm(page00, lower, page01, page11, nullptr, nullptr, nullptr, i); });
        expect_routed<fiber_coremgmt_info_t>("coremgmt", [&](auto *i) { fiber_decode_coremgmt(k, lower, p, i, 0); },
                                             [&](auto *i) { fiber::cmis_decode_coremgmt(lower, page11, i); });
        p[0x02] = nullptr;
        expect_routed<fiber_diag_info_t>(
            "diag without 02h", [&](auto *i) { fiber_decode_diag(k, lower, p, i, 0); },
            [&](auto *i) { fiber_decode_cmis_diag(page00, lower, page01, nullptr, page11, nullptr, i); });
        // Vendor without page 01h: neither the lower page nor page 01h reaches the decoder.
        p[0x01] = nullptr;
        expect_routed<fiber_vendor_info_t>("vendor without 01h",
                                           [&](auto *i) { fiber_decode_vendor(k, lower, p, i, 0); },
                                           [&](auto *i) { fiber_decode_cmis_vendor(page00, nullptr, nullptr, i); });
        // Identification of a QSFP-DD whose page 01h read as zeros; page 12h
        // missing: null in its place.
        const uint8_t zeros[128] = {};
        const fiber_pages_t q{upper(dd, 0), zeros};
        expect_routed<fiber_normal_info_t>(
            "normal", [&](auto *i) { fiber_decode_normal(k, dd.data(), q, i, 0); },
            [&](auto *i) { fiber_decode_cmis_normal(upper(dd, 0), dd.data(), zeros, nullptr, i); });
    }
    // The caller's pages are only read, also where a decoder changes its copy.
    EXPECT_EQ((std::vector<std::vector<uint8_t>>{sfp, qsfp, cmis, dd, xfp}), before);
}

TEST(SharedRules, TemperatureRoundsHalvesAwayFromZero) {
    struct {
        int16_t raw;
        int32_t degrees;
    } cases[] = {{0, 0},       {127, 0},      {128, 1},       {-127, 0},     {-128, -1},     {384, 2},
                 {-384, -2},   {383, 1},      {-383, -1},     {0x1980, 26},  {-0x1980, -26}, {32767, 128},
                 {-32768, -128}, {0x197F, 25}, {256, 1},      {-256, -1}};
    for (const auto &c : cases) EXPECT_EQ(fiber::temperature_degrees(c.raw), c.degrees) << c.raw;
}

TEST(SharedRules, FlagIdsLandInTheirDiagnosticsFlagSet) {
    struct {
        unsigned id;
        uint64_t monitor, rx, tx;
    } cases[] = {{0, 1, 0, 0},
                 {7, 1u << 7, 0, 0},
                 {8, 1u << 8, 0, 0},
                 {39, uint64_t{1} << 39, 0, 0},
                 {72, 0, 1u << 8, 0},
                 {103, 0, uint64_t{1} << 39, 0},
                 {136, 0, 0, 1u << 8},
                 {167, 0, 0, uint64_t{1} << 39},
                 {200, 0, 0, 0},
                 {248, 0, 0, 0}};
    for (const auto &c : cases) {
        fiber_diag_info_t info{};
        fiber::diag_flag_set(&info, c.id);
        EXPECT_EQ(info.monitor_flags, c.monitor) << c.id;
        EXPECT_EQ(info.rx_power_flags, c.rx) << c.id;
        EXPECT_EQ(info.tx_power_flags, c.tx) << c.id;
    }
}

TEST(SharedRules, AlarmIdsMapToWordAndBit) {
    fiber_alarm_info_t info{};
    fiber::alarm_set(&info, 0);
    fiber::alarm_set(&info, 232);
    fiber::alarm_set(&info, 254);
    fiber::alarm_set(&info, 232);  // a condition reported twice is one bit
    EXPECT_EQ(info.alarm_bits[0], 1u);
    EXPECT_EQ(info.alarm_bits[7], (1u << 8) | (1u << 30));
    for (int w = 1; w < 7; ++w) EXPECT_EQ(info.alarm_bits[w], 0u);
}

TEST(SharedRules, FlagMapLoopHonoursLaneLimit) {
    static constexpr fiber::flag_map_row rows[] = {{9, 0, 1, 0}, {147, 0, 200, 1}, {147, 1, 201, 2}, {147, 7, 207, 8}};
    uint8_t page[128] = {};
    page[9] = 0x01;
    page[147 - 128] = 0x83;
    fiber_alarm_info_t info{};
    fiber::raise_alarms(page, rows, &info, 2);
    EXPECT_EQ(info.alarm_bits[0], 1u << 1);
    EXPECT_EQ(info.alarm_bits[6], (1u << 8) | (1u << 9));  // 200, 201; 207 is beyond lane 2
}

TEST(SharedRules, ThresholdBlocksInStandardOrder) {
    uint8_t page[128] = {};
    const uint8_t words[] = {0x19, 0x80, 0xE6, 0x80, 0x00, 0x80, 0xFF, 0x80,   // temperature
                             0x90, 0x88, 0x71, 0x48, 0x8C, 0xA0, 0x75, 0x30,   // voltage
                             0x27, 0x10, 0x00, 0x00, 0x13, 0x88, 0x00, 0x01,   // Rx power
                             0x00, 0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x04,   // Tx bias
                             0x4E, 0x20, 0x00, 0x0A, 0x27, 0x10, 0xFF, 0xFF};  // Tx power
    std::memcpy(page, words, sizeof words);
    fiber_diag_info_t info{};
    fiber::decode_thresholds(page, {0, 8, 24, 16, 32}, &info);
    const int32_t ints[] = {info.temp_high_alarm, info.temp_low_alarm, info.temp_high_warning, info.temp_low_warning,
                            info.voltage_high_alarm, info.voltage_low_alarm, info.voltage_high_warning,
                            info.voltage_low_warning, info.tx_bias_high_alarm, info.tx_bias_low_alarm,
                            info.tx_bias_high_warning, info.tx_bias_low_warning};
    const int32_t want_ints[] = {26, -26, 1, -1, 0x9088, 0x7148, 0x8CA0, 0x7530, 1, 2, 3, 4};
    EXPECT_TRUE(std::equal(std::begin(ints), std::end(ints), std::begin(want_ints)));
    const float powers[] = {info.rx_power_high_alarm, info.rx_power_low_alarm, info.rx_power_high_warning,
                            info.rx_power_low_warning, info.tx_power_high_alarm, info.tx_power_low_alarm,
                            info.tx_power_high_warning, info.tx_power_low_warning};
    const float readings[] = {10000, 0, 5000, 1, 20000, 10, 10000, 65535};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(powers[i], fiber_dbm(readings[i])) << i;
}

}  // namespace
