// SPDX-License-Identifier: Apache-2.0
// The dump shapes people paste: offset rows with an ASCII column, a dump in
// a labelled field, page sections under headings, and the 256-byte SFP text
// whose second half is A2h. Small texts check the rules byte by byte; the
// real modules of tests/data re-laid in each shape (tests/dump/shapes) must
// give the image and the records of their flat binary.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "dump.h"

namespace {

using namespace fdump;
using bytes = std::vector<uint8_t>;

const std::string kData = FIBER_TEST_DATA, kShapes = FIBER_SHAPES;

bytes read_bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// `size` zero bytes with the given (offset, value) bytes set.
bytes image(std::size_t size, std::initializer_list<std::pair<std::size_t, uint8_t>> set = {}) {
    bytes b(size);
    for (const auto &[at, value] : set) b[at] = value;
    return b;
}

// A 16-byte row "OFFSET b0 b1 ... b15" of bytes `first`, `first` + 1, ...
std::string row16(const char *offset, unsigned first, const char *ascii = "") {
    std::string s = offset;
    char buf[8];
    for (unsigned i = 0; i < 16; ++i) std::snprintf(buf, sizeof buf, " %02x", (first + i) & 0xFF), s += buf;
    return s + ascii + "\n";
}

// Bytes `first`, `first` + 1, ... at `at` in an image of `size` bytes.
bytes counting(std::size_t size, std::initializer_list<std::pair<std::size_t, unsigned>> runs) {
    bytes b(size);
    for (const auto &[at, first] : runs)
        for (unsigned i = 0; i < 16; ++i) b[at + i] = static_cast<uint8_t>((first + i) & 0xFF);
    return b;
}

TEST(Shapes, SmallTextsByteByByte) {
    const struct { const char *name; std::string text; bytes want; std::string error = ""; } cases[] = {
        // --- ASCII columns: never read as bytes, whatever they look like
        {"ASCII that looks like hex bytes", row16("0000:", 0x10, "  72..Mikr") + row16("0010:", 0x20, "  5D      ") +
                                                row16("0020:", 0x30, "  1304 24"),
         counting(48, {{0, 0x10}, {16, 0x20}, {32, 0x30}})},
        {"ASCII in two halves after 0x-prefixed offsets",
         row16("0x0000:", 0, "  ab 12 cd ef 34") + row16("0x0010:", 0x10, "  ........ ........"),
         counting(32, {{0, 0}, {16, 0x10}})},
        {"the last row holds as many bytes as the others", row16("00000000", 0) + row16("00000010", 0x10, "  ee ff"),
         counting(32, {{0, 0}, {16, 0x10}})},
        {"a row holds the bytes up to the next offset", "0x80: 01 02 03 04\n0x84: 05 06 07 08 .. ..\n",
         image(0x88, {{0x80, 1}, {0x81, 2}, {0x82, 3}, {0x83, 4}, {0x84, 5}, {0x85, 6}, {0x86, 7}, {0x87, 8}})},
        {"six-digit offsets", row16("000080", 0x80, "  5D      ") + row16("000090", 0x90),
         counting(0xA0, {{0x80, 0x80}, {0x90, 0x90}})},
        {"more bytes than the next offset leaves room for", "0000: 01 02 03 04\n0002: 03 04\n", {},
         "line 1: the row at 0x0000 holds more than 2 bytes (the next row's offset or the rows' width)"},
        {"a typo inside the bytes is not an ASCII column", "0x0000: 03 04 07 1O 00 00 00 00\n0x0008: 00\n", {},
         "line 1: \"1O\" is not a hex byte"},
        // --- a dump in a labelled field
        {"labelled field", "port: 1/1\nserial: 030KMF6TB4\neeprom: " + row16("0000:", 0, "  ....") + "        " +
                               row16("0010:", 0x10) + "temperature: 33C\nvendor-oui: 00 90 65\n",
         counting(32, {{0, 0}, {16, 0x10}})},
        // --- page sections
        {"lower page and upper pages from 0x80, in any order, with column headers and prose",
         "Upper Page 03h\n     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f\n" + row16("0x80:", 0x30) +
             "\nSome prose between sections.\nLower Page\n" + row16("0x00:", 0) + "Upper Page 00h\n" +
             row16("0x80:", 0x80),
         counting(4 * 128 + 16, {{0, 0}, {128, 0x80}, {4 * 128, 0x30}})},
        {"pages restarting at 0 (page 0x11, Page 02h)", "page 0x11\n" + row16("00:", 0x11) + "Page 02h\n" + row16("00:", 2),
         counting(0x12 * 128 + 16, {{0x12 * 128, 0x11}, {3 * 128, 2}})},
        {"a page section of 0x00-0xff holds the lower page too", "Page 03h\n" + row16("0x00:", 0) + row16("0x80:", 0x80),
         counting(4 * 128 + 16, {{0, 0}, {4 * 128, 0x80}})},
        {"A0h and A2h, the I2C addresses 0x50 and 0x51", "0x51\n" + row16("00:", 0x51) + "0x50\n" + row16("00:", 0x50),
         counting(256 + 16, {{0, 0x50}, {256, 0x51}})},
        {"A2h upper page N at 384 + 128 N", "A2h dump (upper 128 bytes) page 2h\n" + row16("00000080", 0),
         counting(384 + 256 + 16, {{384 + 256, 0}})},
        {"a title over the section's own heading", "EEPROM hexdump for port Ethernet0 page 0h\nLower page 0h\n" +
                                                        row16("00000000", 0),
         counting(16, {{0, 0}})},
        {"hexdump's * inside a section", "Upper Page 01h\n" + row16("0x80:", 7) + "*\n" + row16("0xa0:", 9),
         counting(2 * 128 + 48, {{256, 7}, {256 + 16, 7}, {256 + 32, 9}})},
        {"a page named twice with the same bytes", "Page 00h\n" + row16("0x80:", 1) + "Page 00h\n" + row16("0x80:", 1),
         counting(128 + 16, {{128, 1}})},
        {"a page named twice with different bytes", "Page 00h\n" + row16("0x80:", 1) + "Page 00h\n" + row16("0x80:", 2),
         {}, "line 4: byte 0x0080 is 02 here but 01 on line 2"},
        {"a heading with no rows", row16("0x00:", 0) + "Upper Page 03h\n\n(not supported)\n", {},
         "line 2: no rows under the heading \"Upper Page 03h\""},
        {"a heading with no rows before another heading's prose", "Page 03h\nnot read\nPage 11h\n" + row16("0x80:", 0), {},
         "line 1: no rows under the heading \"Page 03h\""},
        // --- what offsets may do
        {"offsets that go back", row16("0x0000:", 0) + row16("0x0020:", 0) + row16("0x0010:", 0), {},
         "line 3: offset 0x0010 goes back (the row before is at 0x0020)"},
        {"offsets starting again at 0: the second I2C address", row16("00:", 0) + row16("70:", 7) + row16("00:", 1),
         counting(256 + 16, {{0, 0}, {0x70, 7}, {256, 1}})},
        {"offsets starting again at 0 a second time",
         row16("00:", 0) + row16("70:", 7) + row16("00:", 1) + row16("70:", 8) + row16("00:", 2), {},
         "line 5: offset 0x0000 goes back (the row before is at 0x0070)"},
        {"offsets starting again before a first page is complete", row16("00:", 0) + row16("60:", 6) + row16("00:", 1),
         {}, "line 3: offset 0x0000 goes back (the row before is at 0x0060)"},
        {"offsets going back inside a page section", "Upper Page 00h\n" + row16("0x90:", 0) + row16("0x80:", 0), {},
         "line 3: offset 0x0080 goes back (the row before is at 0x0090)"},
        {"mixed layouts", row16("0x0000:", 0) + row16("00000010", 0x10), {},
         "line 2: mixed layouts: offsets like \"00000010\" after offsets like \"0x0010:\" on line 1"},
        {"rows without offsets among rows with offsets", row16("0000:", 0) + "10 11 12\n", {},
         "line 2: mixed layouts: rows without offsets after offsets like \"0010:\" on line 1"},
        {"column numbers 00-0f over rows with offsets are a header",
         "00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f\n" + row16("0000:", 0x40), counting(16, {{0, 0x40}})},
        {"odd digit count in a hex string", "0304072000000000000000066\n", {},
         "line 1: \"0304072000000000...\" has an odd number of hex digits"},
        {"odd digit count in a row", "0x0000: 03 04 7 20\n", {}, "line 1: \"7\" is not a hex byte"},
        // --- line ends and bytes that are not text
        {"CR-only line ends", "0x0000: 01 02\r0x0002: 03\r", {1, 2, 3}},
        {"invalid UTF-8 in prose and in an ASCII column", "Port \xff\xfe:\n0000: 41 42  A\xc3\n", {0x41, 0x42}},
        {"a long token is quoted short", "0x0000: 01 " + std::string(100000, 'Z') + "\n", {},
         "line 1: \"ZZZZZZZZZZZZZZZZ...\" is not a hex byte"},
    };
    for (const auto &c : cases) {
        auto got = parse_hex(c.text);
        EXPECT_EQ(got ? *got.value : bytes{}, c.want) << c.name;
        EXPECT_EQ(got.error, c.error) << c.name;
    }
}

// A 256-byte SFP text: A0h with byte 92 as given; its second half `a2`.
std::string sfp_256(uint8_t byte92, const bytes &second) {
    bytes b(128);
    b[0] = 0x03;   // SFF-8024 SFP
    b[92] = byte92;
    b.insert(b.end(), second.begin(), second.end());
    std::string text;
    char buf[8];
    for (std::size_t i = 0; i < b.size(); ++i) std::snprintf(buf, sizeof buf, "%02x%s", b[i], i % 16 == 15 ? "\n" : " "), text += buf;
    return text;
}

// A2h bytes 0-127 with thresholds in bytes 0-1 and its check code (byte 95
// over bytes 0-94), made wrong on request.
bytes a2h(bool good_check_code) {
    bytes a2(128);
    a2[0] = 0x50, a2[1] = 0x00, a2[94] = 0x11;
    unsigned sum = 0;
    for (int i = 0; i < 95; ++i) sum += a2[i];
    a2[95] = static_cast<uint8_t>(sum + (good_check_code ? 0 : 1));
    return a2;
}

TEST(Shapes, SfpSecondHalfIsA0hOrA2h) {
    const bytes vendor_data = image(128, {{5, 0x42}});  // A0h bytes 128-255: vendor data, not A2h
    const struct { const char *name; std::string text; input_format format; std::size_t size; std::string note, error; } cases[] = {
        {"diagnostics and a checking A2h", sfp_256(0x68, a2h(true)), input_format::automatic, 384,
         "256 bytes read as A0h bytes 0-127 followed by A2h bytes 0-127", ""},
        {"no diagnostics: A0h 0-255", sfp_256(0x00, a2h(true)), input_format::automatic, 256, "", ""},
        {"a blank second half: A0h 0-255", sfp_256(0x68, bytes(128, 0xFF)), input_format::automatic, 256, "", ""},
        {"diagnostics, second half not A2h: undecided", sfp_256(0x68, vendor_data), input_format::automatic, 0, "",
         "256 bytes of an SFP with diagnostics (A0h byte 92 bit 6) whose second half does not check as A2h (byte 95): "
         "read as A0h bytes 0-255 with --format hex, or as A0h and A2h bytes 0-127 with --format a0a2"},
        {"--format a0a2 decides", sfp_256(0x68, vendor_data), input_format::a0a2, 384,
         "256 bytes read as A0h bytes 0-127 followed by A2h bytes 0-127", ""},
        {"--format hex decides", sfp_256(0x68, a2h(true)), input_format::hex, 256, "", ""},
        {"--format a0a2 on 512 bytes", sfp_256(0x68, a2h(true)) + sfp_256(0, bytes(128)), input_format::a0a2, 0, "",
         "--format a0a2 needs 256 bytes (A0h bytes 0-127, then A2h bytes 0-127); the image has 512"},
    };
    for (const auto &c : cases) {
        auto got = make_image(bytes(c.text.begin(), c.text.end()), c.format);
        EXPECT_EQ(got.error, c.error) << c.name;
        if (!got) continue;
        EXPECT_EQ(got.value->bytes.size(), c.size) << c.name;
        EXPECT_EQ(got.value->notes, c.note.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.note})
            << c.name;
        if (c.size == 384) {  // A2h bytes 0-127 at 256, A0h bytes 128-255 zero
            EXPECT_EQ(got.value->bytes[256], c.format == input_format::a0a2 ? 0x00 : 0x50) << c.name;
            EXPECT_EQ(got.value->bytes[256 + 5], c.format == input_format::a0a2 ? 0x42 : 0x00) << c.name;
            EXPECT_EQ(bytes(got.value->bytes.begin() + 128, got.value->bytes.begin() + 256), bytes(128)) << c.name;
        }
    }
    // A binary image keeps the flat layout (ethtool's 256-byte SFF-8079 image); --format a0a2 splits it.
    std::string text = sfp_256(0x68, a2h(true));
    bytes raw = make_image(bytes(text.begin(), text.end()), input_format::hex).value->bytes;
    raw[1] = 0x01;  // a control byte: binary
    EXPECT_EQ(make_image(raw, input_format::automatic).value->bytes.size(), 256u);
    EXPECT_EQ(make_image(raw, input_format::a0a2).value->bytes.size(), 384u);
}

// The JSON report without where it came from.
json records(const decoded_module &m) {
    json r = json_report(m);
    for (const char *key : {"file", "format", "size", "notes"}) r.erase(key);
    return r;
}

TEST(Shapes, RealModulesInEveryShapeDecodeLikeTheirBinary) {
    // shape file, the tests/data entry it re-lays
    const std::pair<const char *, const char *> shapes[] = {
        {"sfp-intel-ascii16.txt", "sfp-10g-sr-intel-ftlx8574"},            // "0000:", 16-character ASCII
        {"qsfp-mellanox-ascii-halves.txt", "qsfp28-100g-sr4-mellanox-mma1b00"},  // "0x0000:", two 8-character halves
        {"sfp-oem-offset8-ascii.txt", "sfp-10g-lr-oem-sfp10gblr"},         // "00000000", halves, * lines
        {"sfp-gpon-short-offsets.txt", "sfp-gpon-odi-dfp-34x-2c2"},         // "0x80:"
        {"qsfp-mellanox-offset6.txt", "qsfp28-100g-sr4-mellanox-mma1b00"},  // "000080"
        {"sfp-intel-labelled.txt", "sfp-10g-sr-intel-ftlx8574"},           // "eeprom: 0000: ..."
        {"qsfp-mellanox-page-sections.txt", "qsfp28-100g-sr4-mellanox-mma1b00"},  // Lower/Upper Page NNh, shuffled
        {"cmis-fboss-page-sections.txt", "synthetic-fboss-cmis-400g-lr4"},  // Page NNh / page 0xNN from 00:
        {"sfp-intel-a0-a2-sections.txt", "sfp-10g-sr-intel-ftlx8574"},     // i2c address 0x50 / 0x51
        {"sfp-intel-a0-a2-256.txt", "sfp-10g-sr-intel-ftlx8574"},          // A0h 0-127, A2h 0-127 at 0000-00ff
    };
    for (const auto &[file, entry] : shapes) {
        const bytes flat = read_bytes(kData + "/" + entry + "/dump.bin"), text = read_bytes(kShapes + "/" + file);
        ASSERT_FALSE(flat.empty() || text.empty()) << file;
        auto shaped = make_image(text, input_format::automatic);
        ASSERT_TRUE(shaped) << file << ": " << shaped.error;
        bytes want = flat;
        if (std::string(file) == "sfp-intel-a0-a2-256.txt")  // A0h bytes 128-255 were not in the text
            std::fill(want.begin() + 128, want.begin() + 256, 0), want.resize(384);
        bytes got = shaped.value->bytes;
        got.resize(std::max(got.size(), want.size()), 0);  // all-zero pages may be left out of a text
        EXPECT_EQ(got, want) << file;
        auto a = decode_bytes(text, file), b = decode_bytes(flat, entry);
        ASSERT_TRUE(a && b) << file << ": " << a.error << b.error;
        EXPECT_EQ(records(*a.value), records(*b.value)) << file;
        EXPECT_EQ(text_body(*a.value), text_body(*b.value)) << file;
    }
}

TEST(Shapes, FormatNamesAreWhatParseFormatNameTakes) {
    EXPECT_EQ(format_names(), (std::vector<std::string>{"auto", "raw", "optoe", "hex", "a0a2"}));
    for (const std::string &name : format_names()) EXPECT_EQ(format_name(*parse_format_name(name)), name);
    EXPECT_FALSE(parse_format_name("pages"));  // not a file's format
}

}  // namespace
