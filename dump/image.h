// SPDX-License-Identifier: Apache-2.0
// Module images for the command-line decoder: reading a file, telling its
// input format, parsing hex text, and telling the module family from the
// SFF-8024 identifier byte. Every failure comes back as a message for the
// user; nothing here throws or aborts on bad input.
#ifndef FIBERDECODE_DUMP_IMAGE_H
#define FIBERDECODE_DUMP_IMAGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fdump {

// How the bytes of a file are laid out.
//  raw:   the binary image as `ethtool -m DEV raw on` writes it;
//  optoe: the flat sysfs file of the optoe driver (a raw image is a prefix);
//  hex:   text: `ethtool -m DEV hex on`, plain hex dumps, hexdump -C style
//         dumps and i2cdump byte-mode output.
// a0a2:  an SFP's A0h bytes 0-127 followed by its A2h bytes 0-127 (256
//        bytes, binary or text), as some network operating systems print
//        them; hex text of 256 such bytes is told apart by its content.
// pages: pages a caller read itself (live reads, bindings), not a file.
enum class input_format { automatic, raw, optoe, hex, pages, a0a2 };

// The formats a user can name (--format), in the order help texts list them.
constexpr input_format kInputFormats[] = {input_format::automatic, input_format::raw, input_format::optoe,
                                          input_format::hex, input_format::a0a2};

enum class module_family { unknown, sfp, xfp, qsfp, cmis };

// The largest image the decoder accepts: an optoe file of an SFP module
// (A0h, A2h lower half, and 256 upper A2h pages of 128 bytes).
constexpr std::size_t kMaxImage = 384 + 128 * 256;
// Larger files are refused before they are read in full (a hex text of the
// largest image with offsets and an ASCII column is well below this).
constexpr std::size_t kMaxFileSize = 4 * 1024 * 1024;
constexpr std::size_t kPage = 128;

// A module image in the flat layout shared by raw and optoe files: for SFP
// A0h at 0-255 and A2h at 256-511 (upper A2h page N at 384 + 128 N); for
// QSFP, CMIS and XFP the lower page at 0 and upper page N at 128 (N + 1).
struct module_image {
    std::vector<uint8_t> bytes;
    input_format format = input_format::raw;  // raw, optoe or hex: how the file was read
    std::vector<std::string> notes = {};      // how its bytes were laid out, when not as read
};

// Result of an operation that can fail with a message for the user.
template <class T>
struct outcome {
    std::optional<T> value;
    std::string error;
    static outcome ok(T v) { return {std::move(v), {}}; }
    static outcome fail(std::string message) { return {std::nullopt, std::move(message)}; }
    explicit operator bool() const { return value.has_value(); }
};

// Reads a whole file ("-" reads standard input), at most kMaxFileSize bytes.
outcome<std::vector<uint8_t>> read_file(const std::string &path);

// Binary (raw or optoe, told apart by size) or hex text.
input_format detect_format(const std::vector<uint8_t> &data);

// Parses hex text into the flat image layout (hex_text.cpp): offset rows
// (with or without an ASCII column), rows without offsets, hex strings,
// hexdump's "*" lines, i2cdump output, a dump in a labelled field, and page
// sections under headings ("Lower Page", "Upper Page 11h", "A2h", "0x51").
// Lines that are not hex data (headers, prompts, prose) are skipped. Every
// failure is one message naming the line: a token that is not a hex byte,
// offsets that go back, a byte given twice with different values, mixed
// row layouts, a heading with no rows, an image beyond kMaxImage.
// Memory besides the text: the image, five bytes of bookkeeping per image
// byte, and at most 65536 rows of 48 bytes, whatever the text's size.
outcome<std::vector<uint8_t>> parse_hex(std::string_view text);

// File contents to a module image: format detection (unless forced), hex
// parsing, the checks every image must pass (not empty, at most
// kMaxFileSize of input, not larger than kMaxImage, a whole number of
// 128-byte pages), and the SFP A0h/A2h split of a 256-byte text.
outcome<module_image> make_image(const std::vector<uint8_t> &data, input_format forced);

// The family named by the SFF-8024 identifier (byte 0): SFP 03h, XFP 06h,
// QSFP 0Ch/0Dh/11h, CMIS 18h/19h/1Bh/1Eh, or any lower page that the
// library's fiber_is_cmis calls CMIS, or else an SFF-8472 A0h block by its
// layout and check code (sff8472_layout in describe.h); unknown otherwise.
module_family detect_family(const std::vector<uint8_t> &bytes);

// Empty when the image holds the pages every operation on its family needs
// (SFP A0h bytes 0-127; XFP lower memory and page 01h; QSFP and CMIS the
// lower page and upper page 00h), else a message naming what is missing.
std::string check_needs(module_family family, const module_image &image);

const char *format_name(input_format format);
const char *family_name(module_family family);        // "sfp", "xfp", ...
const char *family_title(module_family family);       // "SFP", "XFP", ...
// The names of kInputFormats ("auto", "raw", ...): what --format accepts.
const std::vector<std::string> &format_names();
std::optional<input_format> parse_format_name(std::string_view name);
std::optional<module_family> parse_family_name(std::string_view name);

}  // namespace fdump

#endif
