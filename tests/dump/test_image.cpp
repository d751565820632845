// SPDX-License-Identifier: Apache-2.0
// The decoder's input side through its core library: hex text parsing (gaps,
// page titles, repeated lines, restarts, errors), format and family detection,
// the pages each family needs, the page mapping per kind, and the units of
// the text report. Whole files are tested through the tool in test_cli.cpp.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "image.h"
#include "pages.h"
#include "report.h"

namespace {

using namespace fdump;
using bytes = std::vector<uint8_t>;

// `size` zero bytes with the given (offset, value) bytes set.
bytes image(std::size_t size, std::initializer_list<std::pair<std::size_t, uint8_t>> set = {}) {
    bytes b(size);
    for (const auto &[at, value] : set) b[at] = value;
    return b;
}

TEST(ParseHex, BytesOrErrorOfEachLayout) {
    const struct { const char *name, *text; bytes want; std::string error = ""; } cases[] = {
        {"gaps stay zero", "0x00000: aa\n0x00200: bb cc\n", image(0x202, {{0, 0xAA}, {0x200, 0xBB}, {0x201, 0xCC}})},
        {"offsets starting again: next block", "0x0000: 01\n0x0070: 02\n0x0000: 03\n", image(257, {{0, 1}, {0x70, 2}, {256, 3}})},
        {"page titles: upper page N at 128 (N + 1)",
         "Lower page 0h\n00000000 11\nUpper page 0h\n00000080 22\nUpper page 3h\n00000080 33\n",
         image(513, {{0, 0x11}, {128, 0x22}, {512, 0x33}})},
        {"page titles: A2h at 256, its upper page N at 384 + 128 N",
         "A0h dump\n00000000 03\nA2h dump (lower 128 bytes)\n00000000 5a\nA2h dump (upper 128 bytes) page 1h\n00000080 77\n",
         image(513, {{0, 0x03}, {256, 0x5A}, {512, 0x77}})},
        {"hexdump -C: * repeats the line up to the next offset, the last offset is the length",
         "00000000  01 02  |..|\n*\n00000006  ff  |.|\n*\n00000008\n", {1, 2, 1, 2, 1, 2, 0xFF, 0xFF}},
        {"byte order mark before the first byte", "\xEF\xBB\xBF" "03 04\n05\n", {3, 4, 5}},
        {"one digit", "03 04 0\n", {}, "line 1: \"0\" is not a hex byte"},
        {"odd digits without an offset are not data", "030\n", {}, "no hex bytes found: not a module dump"},
        {"four digits after an offset", "0x0000: 0304 0720\n", {}, "line 1: \"0304\" is not a hex byte"},
        {"nothing", "", {}, "no hex bytes found: not a module dump"},
        {"offset too large", "0xffffff: 00\n", {}, "line 1: offset beyond the largest module image"},
    };
    for (const auto &c : cases) {
        auto got = parse_hex(c.text);
        EXPECT_EQ(got ? *got.value : bytes{}, c.want) << c.name;
        EXPECT_EQ(got.error, c.error) << c.name;
    }
}

TEST(DetectFormat, BinaryByControlBytesOptoeBySize) {
    const std::string text = "Offset\t\tValues\r\n0x0000:\t\t03 04\f\v\n";
    std::vector<std::string> got;
    for (const bytes &b : {bytes(text.begin(), text.end()), bytes{'0', '3', 0x7F}, bytes{0x03, 0x04, 0x07}, bytes(640),
                           bytes(128 * 257), bytes(kMaxImage)})
        got.push_back(format_name(detect_format(b)));
    EXPECT_EQ(got, (std::vector<std::string>{"hex", "raw", "raw", "raw", "optoe", "optoe"}));
}

TEST(DetectFamily, Sff8024Identifier) {
    const std::pair<uint8_t, const char *> cases[] = {
        {0x03, "sfp"}, {0x06, "xfp"}, {0x0C, "qsfp"}, {0x0D, "qsfp"}, {0x11, "qsfp"}, {0x18, "cmis"}, {0x19, "cmis"},
        {0x1B, "cmis"}, {0x1E, "cmis"}, {0x00, "unknown"}, {0x02, "unknown"}, {0x0B, "unknown"}, {0x82, "unknown"},
        {0x2A, "unknown"}};
    for (const auto &[id, family] : cases) EXPECT_STREQ(family_name(detect_family(image(256, {{0, id}}))), family) << int(id);
    EXPECT_EQ(detect_family(image(256, {{0, 0x0A}, {1, 0x40}})), module_family::cmis);  // a CMIS 4.0 lower page
}

TEST(CheckNeeds, SfpOnePageOthersTwo) {
    for (auto f : {module_family::sfp, module_family::xfp, module_family::qsfp, module_family::cmis}) {
        EXPECT_EQ(check_needs(f, {bytes(128), input_format::raw}).empty(), f == module_family::sfp) << family_name(f);
        EXPECT_EQ(check_needs(f, {bytes(256), input_format::raw}), "") << family_name(f);
    }
}

// The plan as offsets into the image: the lower-page argument, the first and
// last page entries set, and the names of the pages present.
std::string describe(const page_plan &p) {
    auto at = [&](const uint8_t *q) { return std::to_string(q - p.storage.data()); };
    std::vector<unsigned> set;
    for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
        if (p.pages[n]) set.push_back(n);
    char range[64] = "no pages";
    if (!set.empty()) std::snprintf(range, sizeof range, "pages %xh-%xh", set.front(), set.back());
    std::string s = "lower " + at(p.lower) + ", " + range;
    if (!set.empty()) s += " at " + at(p.pages[set.front()]) + "-" + at(p.pages[set.back()]);
    s += ":";
    for (const auto &name : p.present) s += " " + name;
    return s;
}

TEST(PlanPages, ArgumentsPerKind) {
    const struct { module_family family; bytes image; const char *want; input_format format = input_format::raw; } cases[] = {
        {module_family::sfp, bytes(256), "lower 0, no pages: A0h"},
        {module_family::sfp, bytes(512), "lower 0, pages 0h-0h at 256-256: A0h A2h"},
        // XFP: the serial ID page 01h is the lower-page argument, the lower memory page entry 0; a paged
        // file holds page 00h before it (told by the identifier byte at each place).
        {module_family::xfp, image(384, {{0, 6}, {128, 6}, {256, 6}}), "lower 128, pages 0h-0h at 0-0: lower 01h"},
        {module_family::xfp, image(384, {{0, 6}, {256, 6}}), "lower 256, pages 0h-0h at 0-0: lower 01h"},
        {module_family::xfp, image(384, {{0, 6}, {128, 6}, {256, 6}}), "lower 256, pages 0h-0h at 0-0: lower 01h",
         input_format::optoe},  // an optoe file is flat whatever page 00h holds
        {module_family::qsfp, bytes(640), "lower 0, pages 0h-3h at 128-512: lower 00h 01h 02h 03h"},
        {module_family::cmis, bytes(128 * 0x13), "lower 0, pages 0h-11h at 128-2304: lower 00h 01h 02h 11h"},
        {module_family::cmis, bytes(128 * 0x2E),
         "lower 0, pages 0h-2ch at 128-5760: lower 00h 01h 02h 11h 12h 20h 21h 22h 23h 2Ch"},
    };
    for (const auto &c : cases) {
        page_plan plan = plan_pages(c.family, {c.image, c.format});
        EXPECT_EQ(describe(plan), c.want);
        EXPECT_GE(plan.storage.size(), plan.size + 512) << c.want;  // 512-byte entries (CMIS 20h-23h, 2Ch) read in full
    }
}

TEST(Units, OperatorUnitsAndModuleText) {
    EXPECT_EQ((std::vector<std::string>{format_dbm(-40.0f), format_dbm(-2.4297762f), format_dbm(9.5e-06f),
                                         format_dbm(-0.004f), format_volts(32876), format_volts(0),
                                         format_milliamps(3375), format_milliamps(65535)}),
              (std::vector<std::string>{"-40.00 dBm", "-2.43 dBm", "0.00 dBm", "0.00 dBm",  // no "-0.00"
                                         "3.2876 V", "0.0000 V", "6.750 mA", "131.070 mA"}));
    const char field[17] = "ACME   \x01\xE9\\    ", full[5] = {'A', 'B', 'C', 'D', 'E'};  // full: no terminator
    EXPECT_EQ(printable(field, sizeof field) + "|" + printable(full, sizeof full), "ACME   \\x01\\xe9\\x5c|ABCDE");
}

}  // namespace
