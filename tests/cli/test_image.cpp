// The decoder's input side: format detection, hex text parsing (ethtool,
// plain, hexdump-style, i2cdump, page titles), image checks, family
// detection from the SFF-8024 identifier, the page mapping per kind, and the
// unit formatting of the text report.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "image.h"
#include "pages.h"
#include "report.h"

namespace {

using namespace fdtool;
using bytes = std::vector<uint8_t>;

bytes parsed(const std::string &text) {
    auto r = parse_hex(text);
    EXPECT_TRUE(r) << r.error;
    return r ? *r.value : bytes{};
}

std::string parse_error(const std::string &text) {
    auto r = parse_hex(text);
    EXPECT_FALSE(r);
    return r.error;
}

std::string row(std::size_t offset, const bytes &values, const char *label_format = "0x%04zx:\t\t") {
    char label[32];
    std::snprintf(label, sizeof label, label_format, offset);
    std::string line = label;
    for (std::size_t i = 0; i < values.size(); ++i) {
        char b[4];
        std::snprintf(b, sizeof b, i ? " %02x" : "%02x", values[i]);
        line += b;
    }
    return line + "\n";
}

bytes sequence(std::size_t n, uint8_t first = 0) {
    bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(first + i);
    return b;
}

TEST(DetectFormat, BinaryByControlBytesTextOtherwise) {
    EXPECT_EQ(detect_format(bytes{0x03, 0x04, 0x07}), input_format::raw);
    const std::string text = "Offset\t\tValues\r\n0x0000:\t\t03 04\f\n";
    EXPECT_EQ(detect_format(bytes(text.begin(), text.end())), input_format::hex);
    EXPECT_EQ(detect_format(bytes(640, 0)), input_format::raw);
    EXPECT_EQ(detect_format(bytes(128 * 257, 0)), input_format::optoe);  // paged QSFP/CMIS optoe file
    EXPECT_EQ(detect_format(bytes(kMaxImage, 0)), input_format::optoe);  // paged SFP optoe file
}

TEST(ParseHex, EthtoolHexWithHeaderPromptAndTabs) {
    std::string text = "$ sudo ethtool -m eth0 hex on\nOffset\t\tValues\n------\t\t------\n";
    text += row(0, sequence(16)) + row(16, sequence(16, 16));
    EXPECT_EQ(parsed(text), sequence(32));
}

TEST(ParseHex, PastedTextSpacesTrailingBlanksCrLfAndUpperCase) {
    std::string text = "Warning: ethtool could not read page 3\r\nOffset          Values\r\n";
    text += "0x0000:         00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F   \r\n";
    EXPECT_EQ(parsed(text), sequence(16));
}

TEST(ParseHex, OffsetsPlaceTheirBytesAndGapsStayZero) {
    bytes got = parsed(row(0, {0xAA}, "0x%05zx: ") + row(0x200, {0xBB, 0xCC}, "0x%05zx: "));
    ASSERT_EQ(got.size(), 0x202u);
    EXPECT_EQ(got[0], 0xAA);
    EXPECT_EQ(got[1], 0x00);
    EXPECT_EQ(got[0x1FF], 0x00);
    EXPECT_EQ(got[0x200], 0xBB);
    EXPECT_EQ(got[0x201], 0xCC);
}

TEST(ParseHex, HexdumpRepeatMarkerAndFinalOffset) {
    // hexdump -C: "*" repeats the previous line up to the next offset; the
    // last line is the length.
    bytes line = sequence(16, 0x40);
    std::string text = "00000000  40 41 42 43 44 45 46 47  48 49 4a 4b 4c 4d 4e 4f  |@ABCDEFGHIJKLMNO|\n*\n"
                       "00000030  ff ff ff ff ff ff ff ff  ff ff ff ff ff ff ff ff  |................|\n*\n00000080\n";
    bytes got = parsed(text);
    ASSERT_EQ(got.size(), 128u);
    for (std::size_t i = 0; i < 48; ++i) EXPECT_EQ(got[i], line[i % 16]) << i;
    for (std::size_t i = 48; i < 128; ++i) EXPECT_EQ(got[i], 0xFF) << i;
}

std::string i2cdump(const bytes &block, const std::string &address) {
    std::string out = "WARNING! This program can confuse your I2C bus, cause data loss and worse!\n"
                      "I will probe file /dev/i2c-1, address " + address + ", mode byte\nContinue? [Y/n] y\n"
                      "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";
    for (std::size_t r = 0; r < 256; r += 16) {
        std::string line = row(r, bytes(block.begin() + static_cast<long>(r), block.begin() + static_cast<long>(r) + 16),
                               "%02zx: ");
        line.pop_back();
        out += line + "    AB CD .. ef\n";  // an ASCII column that looks like hex
    }
    return out;
}

TEST(ParseHex, I2cdumpUnansweredA2hIsLeftOutButAMissingByteIsAnError) {
    std::string a2_missing = i2cdump(sequence(256), "0x50") + i2cdump(bytes(256), "0x51");
    for (std::size_t at = a2_missing.find("0x51"); (at = a2_missing.find(" 00", at)) != std::string::npos;)
        a2_missing.replace(at, 3, " XX");
    EXPECT_EQ(parsed(a2_missing), sequence(256));

    std::string text = i2cdump(sequence(256), "0x50");
    text.replace(text.find("10: 10"), 6, "10: XX");
    EXPECT_EQ(parse_error(text), "byte 0x0010 could not be read (XX in the dump)");
}

TEST(ParseHex, PageTitlesPlaceUpperPages) {
    // Dumps that print every page under a title with offsets 00-7f (lower
    // halves) and 80-ff (upper pages).
    std::string text = "Lower page 0h\n" + row(0x00, {0x11}, "%08zx ") + "Upper page 0h\n" +
                       row(0x80, {0x22}, "%08zx ") + "Upper page 3h\n" + row(0x80, {0x33}, "%08zx ");
    bytes got = parsed(text);
    ASSERT_EQ(got.size(), 513u);
    EXPECT_EQ(got[0], 0x11);
    EXPECT_EQ(got[128], 0x22);
    EXPECT_EQ(got[512], 0x33);  // page 03h at 128 x (3 + 1)

    std::string sfp = "A0h dump\n" + row(0x00, {0x03}, "%08zx ") + "A2h dump (lower 128 bytes)\n" +
                      row(0x00, {0x5A}, "%08zx ") + "A2h dump (upper 128 bytes) page 1h\n" + row(0x80, {0x77}, "%08zx ");
    got = parsed(sfp);
    ASSERT_EQ(got.size(), 513u);
    EXPECT_EQ(got[256], 0x5A);  // A2h byte 0
    EXPECT_EQ(got[512], 0x77);  // A2h upper page 1h: 384 + 128
}

TEST(ParseHex, OffsetsStartingAgainBeginTheNextBlock) {
    bytes got = parsed(row(0, {1}) + row(0x10, {2}) + row(0, {3}));
    ASSERT_EQ(got.size(), 257u);
    EXPECT_EQ(got[256], 3);
}

TEST(ParseHex, ErrorsNameTheLineAndToken) {
    EXPECT_EQ(parse_error("Offset Values\n0x0000: 03 04 zz 10\n"), "line 2: \"zz\" is not a hex byte");
    EXPECT_EQ(parse_error("03 04 0\n"), "line 1: \"0\" is not a hex byte");
    EXPECT_EQ(parse_error("030\n"), "no hex bytes found: not a module dump");  // odd digits: not data
    EXPECT_EQ(parse_error("0x0000: 0304 0720\n"), "line 1: \"0304\" is not a hex byte");
    EXPECT_EQ(parse_error("this is not a module dump\n"), "no hex bytes found: not a module dump");
    EXPECT_EQ(parse_error(""), "no hex bytes found: not a module dump");
    EXPECT_EQ(parse_error("0xffffff: 00\n"), "line 1: offset beyond the largest module image");
}

TEST(MakeImage, EmptyTruncatedTooLargeAndBinaryAsHex) {
    EXPECT_EQ(make_image({}, input_format::automatic).error, "empty file");
    EXPECT_EQ(make_image(bytes(300, 1), input_format::automatic).error,
              "truncated image: 300 bytes is not a whole number of 128-byte pages");
    EXPECT_EQ(make_image(bytes(kMaxImage + 128, 1), input_format::raw).error,
              "image too large: 33280 bytes (a module image has at most 33152)");
    EXPECT_EQ(make_image(bytes(256, 0), input_format::hex).error,
              "not hex text: the file is binary (try --format raw)");
    auto ok = make_image(bytes(512, 3), input_format::optoe);
    ASSERT_TRUE(ok);
    EXPECT_EQ(ok.value->format, input_format::optoe);
    EXPECT_EQ(ok.value->bytes.size(), 512u);
}

TEST(DetectFamily, Sff8024Identifiers) {
    const struct {
        uint8_t id;
        module_family family;
    } cases[] = {
        {0x03, module_family::sfp},  {0x06, module_family::xfp},  {0x0C, module_family::qsfp},
        {0x0D, module_family::qsfp}, {0x11, module_family::qsfp}, {0x18, module_family::cmis},
        {0x19, module_family::cmis}, {0x1B, module_family::cmis}, {0x1E, module_family::cmis},
        {0x00, module_family::unknown}, {0x02, module_family::unknown}, {0x0B, module_family::unknown},
        {0x82, module_family::unknown}, {0x2A, module_family::unknown},
    };
    for (const auto &c : cases) {
        bytes image(256, 0);
        image[0] = c.id;
        EXPECT_EQ(detect_family(image), c.family) << std::hex << int(c.id);
    }
    bytes cmis(256, 0);
    cmis[0] = 0x0A;  // not in the table, but a CMIS 4.0 lower page
    cmis[1] = 0x40;
    EXPECT_EQ(detect_family(cmis), module_family::cmis);
}

TEST(CheckNeeds, PagesPerFamily) {
    module_image one_page{bytes(128, 0), input_format::raw};
    EXPECT_EQ(check_needs(module_family::sfp, one_page), "");
    EXPECT_EQ(check_needs(module_family::qsfp, one_page),
              "image too short: QSFP modules need the lower page and upper page 00h (256 bytes); the image has 128");
    EXPECT_NE(check_needs(module_family::xfp, one_page), "");
    EXPECT_NE(check_needs(module_family::cmis, one_page), "");
    module_image two_pages{bytes(256, 0), input_format::raw};
    for (auto f : {module_family::xfp, module_family::qsfp, module_family::cmis})
        EXPECT_EQ(check_needs(f, two_pages), "");
}

std::size_t offset_of(const page_plan &plan, const uint8_t *p) { return static_cast<std::size_t>(p - plan.storage.data()); }

TEST(PlanPages, SfpA0hAndA2h) {
    page_plan without = plan_pages(module_family::sfp, {bytes(256, 0), input_format::raw});
    EXPECT_EQ(without.kind, FIBER_KIND_SFP);
    EXPECT_EQ(offset_of(without, without.lower), 0u);
    EXPECT_EQ(without.pages[0], nullptr);
    EXPECT_EQ(without.present, (std::vector<std::string>{"A0h"}));

    page_plan with = plan_pages(module_family::sfp, {bytes(512, 0), input_format::raw});
    EXPECT_EQ(offset_of(with, with.pages[0]), 256u);  // A2h byte 0
    for (unsigned n = 1; n < FIBER_PAGE_COUNT; ++n) EXPECT_EQ(with.pages[n], nullptr) << n;
    EXPECT_EQ(with.present, (std::vector<std::string>{"A0h", "A2h"}));
}

TEST(PlanPages, XfpSerialIdPageIsTheLowerPageArgument) {
    bytes raw(256, 0);
    raw[0] = raw[128] = 0x06;
    page_plan plan = plan_pages(module_family::xfp, {raw, input_format::raw});
    EXPECT_EQ(plan.kind, FIBER_KIND_XFP);
    EXPECT_EQ(offset_of(plan, plan.lower), 128u);   // page 01h
    EXPECT_EQ(offset_of(plan, plan.pages[0]), 0u);  // lower memory

    bytes flat(384, 0);  // lower, page 00h, page 01h
    flat[0] = flat[256] = 0x06;
    page_plan paged = plan_pages(module_family::xfp, {flat, input_format::optoe});
    EXPECT_EQ(offset_of(paged, paged.lower), 256u);
}

TEST(PlanPages, QsfpAndCmisUpperPageNAt128TimesNPlus1) {
    page_plan qsfp = plan_pages(module_family::qsfp, {bytes(640, 0), input_format::raw});
    EXPECT_EQ(qsfp.kind, FIBER_KIND_QSFP);
    for (unsigned n = 0; n <= 3; ++n) EXPECT_EQ(offset_of(qsfp, qsfp.pages[n]), 128u * (n + 1)) << n;
    EXPECT_EQ(qsfp.pages[4], nullptr);

    page_plan cmis = plan_pages(module_family::cmis, {bytes(128 * (0x11 + 2), 0), input_format::raw});
    EXPECT_EQ(cmis.kind, FIBER_KIND_CMIS);
    EXPECT_EQ(offset_of(cmis, cmis.pages[0x11]), 128u * 0x12);
    EXPECT_EQ(cmis.pages[0x12], nullptr);
    EXPECT_EQ(cmis.present, (std::vector<std::string>{"lower", "00h", "01h", "02h", "11h"}));

    // 512-byte entries (CMIS 20h-23h, 2Ch) stay readable at the end.
    page_plan vdm = plan_pages(module_family::cmis, {bytes(128 * (0x2C + 2), 0), input_format::optoe});
    ASSERT_NE(vdm.pages[0x2C], nullptr);
    EXPECT_GE(vdm.storage.size(), offset_of(vdm, vdm.pages[0x2C]) + 512);
}

TEST(Units, OperatorUnitsOfTheRecords) {
    EXPECT_EQ(format_dbm(-40.0f), "-40.00 dBm");
    EXPECT_EQ(format_dbm(-2.4297762f), "-2.43 dBm");
    EXPECT_EQ(format_dbm(9.5e-06f), "0.00 dBm");
    EXPECT_EQ(format_dbm(-0.004f), "0.00 dBm");  // no "-0.00"
    EXPECT_EQ(format_volts(32876), "3.2876 V");
    EXPECT_EQ(format_volts(0), "0.0000 V");
    EXPECT_EQ(format_milliamps(3375), "6.750 mA");
    EXPECT_EQ(format_milliamps(65535), "131.070 mA");
}

TEST(Units, ModuleTextIsTrimmedAndEscaped) {
    const char field[17] = "ACME   \x01\xE9\\    ";
    EXPECT_EQ(printable(field, sizeof field), "ACME   \\x01\\xe9\\x5c");
    const char full[5] = {'A', 'B', 'C', 'D', 'E'};  // no terminator inside the field
    EXPECT_EQ(printable(full, sizeof full), "ABCDE");
}

// Published dumps parse to the bytes their publishers' binary holds (zero
// beyond what the text covers).
class CorpusDump : public testing::TestWithParam<const char *> {};

bytes read_all(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST_P(CorpusDump, TextParsesToTheBinaryImage) {
    const std::string dir = std::string(FIBER_CLI_DATA) + "/" + GetParam();
    bytes text = read_all(dir + "/dump.txt");
    bytes expected = read_all(dir + "/dump.bin");
    ASSERT_FALSE(text.empty());
    ASSERT_FALSE(expected.empty());
    auto image = make_image(text, input_format::automatic);
    ASSERT_TRUE(image) << image.error;
    EXPECT_EQ(image.value->format, input_format::hex);
    const bytes &got = image.value->bytes;
    ASSERT_LE(got.size(), expected.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end(), expected.begin()));
    EXPECT_TRUE(std::all_of(expected.begin() + static_cast<long>(got.size()), expected.end(),
                            [](uint8_t b) { return b == 0; }));
}

INSTANTIATE_TEST_SUITE_P(Published, CorpusDump,
                         testing::Values("sfp-10g-sr-intel-ftlx8574", "sfp-1g-t-netgear-agm734",
                                         "qsfp28-100g-sr4-mellanox-mma1b00", "qsfp-40g-lr4-kaiam-xqx2502"),
                         [](const auto &info) {
                             std::string name = info.param;
                             for (char &c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

}  // namespace
