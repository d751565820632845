// SPDX-License-Identifier: Apache-2.0
// Reading module dumps: files, format detection, the checks every image
// passes, and the family of the module from its SFF-8024 identifier. Hex
// text parsing is in hex_text.cpp.
#include "image.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "fiber_decode.h"
#include "describe.h"

namespace fdump {

outcome<std::vector<uint8_t>> read_file(const std::string &path) {
    std::FILE *file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (!file) return outcome<std::vector<uint8_t>>::fail(std::string("cannot open: ") + std::strerror(errno));
    std::vector<uint8_t> data;
    uint8_t chunk[8192];
    int read_error = 0;
    while (data.size() <= kMaxFileSize) {
        std::size_t n = std::fread(chunk, 1, sizeof chunk, file);
        data.insert(data.end(), chunk, chunk + n);
        if (n < sizeof chunk) {
            if (std::ferror(file)) read_error = errno ? errno : EIO;
            break;
        }
    }
    if (file != stdin) std::fclose(file);
    if (read_error) return outcome<std::vector<uint8_t>>::fail(std::string("cannot read: ") + std::strerror(read_error));
    if (data.size() > kMaxFileSize)
        return outcome<std::vector<uint8_t>>::fail("file too large for a module dump (more than 4 MiB)");
    return outcome<std::vector<uint8_t>>::ok(std::move(data));
}

namespace {

// A byte that text does not hold: control characters other than the
// whitespace ones and ESC (terminal colours in pasted prompts), and DEL.
bool is_binary_byte(uint8_t c) {
    return c == 0x7F || (c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v' && c != 0x1B);
}

// Text with a few stray control bytes (a NUL in a paste, say) rather than a
// binary image: it starts with printable text, has lines, and at most one
// byte in a hundred is a control byte. Returns the first control byte's line.
std::optional<std::size_t> damaged_text_line(const std::vector<uint8_t> &data) {
    const uint8_t c0 = data[0];
    if (!(c0 >= 0x20 && c0 < 0x7F) && c0 != '\t' && c0 != '\n' && c0 != 0xEF) return std::nullopt;  // EF: a BOM
    std::size_t control = 0, lines = 1, first_line = 0;
    for (uint8_t c : data) {
        if (c == '\n') ++lines;
        if (is_binary_byte(c) && control++ == 0) first_line = lines;
    }
    if (lines < 2 || control * 100 > data.size()) return std::nullopt;
    return first_line;
}

// SFF-8472 bytes that tell a 256-byte SFP text's second half apart.
constexpr std::size_t kSfpDiagType = 92;      // A0h byte 92
constexpr uint8_t kDiagImplemented = 0x40;    // bit 6: digital diagnostic monitoring
constexpr std::size_t kA2CheckCode = 95;      // A2h byte 95: CC_DMI over A2h bytes 0-94
constexpr uint8_t kSff8024Sfp = 0x03;         // SFF-8024 identifier: SFP/SFP+/SFP28
constexpr std::size_t kSfpA2 = 256;           // A2h in the flat SFP layout

enum class second_half { a0, a2, undecided };

// A 256-byte SFP image: A0h bytes 0-255, or A0h bytes 0-127 followed by A2h
// bytes 0-127 as some network operating systems print them. A2h it is when
// A0h byte 92 says diagnostics are implemented and the second half checks
// as A2h (its byte 95 over its bytes 0-94); A0h when diagnostics are not
// implemented or the second half is blank (00h or FFh throughout).
second_half sfp_second_half(const std::vector<uint8_t> &bytes) {
    const auto half = bytes.begin() + kPage;
    const bool blank = std::all_of(half, bytes.end(), [](uint8_t b) { return b == 0x00; }) ||
                       std::all_of(half, bytes.end(), [](uint8_t b) { return b == 0xFF; });
    if (blank || !(bytes[kSfpDiagType] & kDiagImplemented)) return second_half::a0;
    unsigned sum = 0;
    for (std::size_t i = 0; i < kA2CheckCode; ++i) sum += bytes[kPage + i];
    return (sum & 0xFF) == bytes[kPage + kA2CheckCode] ? second_half::a2 : second_half::undecided;
}

// A0h bytes 0-127 and A2h bytes 0-127 to the flat layout (A2h at 256).
void spread_a0_a2(module_image &image) {
    std::vector<uint8_t> flat(kSfpA2 + kPage, 0);
    std::copy(image.bytes.begin(), image.bytes.begin() + kPage, flat.begin());
    std::copy(image.bytes.begin() + kPage, image.bytes.begin() + 2 * kPage, flat.begin() + kSfpA2);
    image.bytes = std::move(flat);
    image.notes.push_back("256 bytes read as A0h bytes 0-127 followed by A2h bytes 0-127");
}

}  // namespace

input_format detect_format(const std::vector<uint8_t> &data) {
    if (!std::any_of(data.begin(), data.end(), is_binary_byte)) return input_format::hex;
    // Both binary layouts put the pages at the same offsets; only the optoe
    // driver's files have these sizes (paged QSFP/CMIS, paged SFP).
    if (data.size() == 128 * 257 || data.size() == kMaxImage) return input_format::optoe;
    return input_format::raw;
}

outcome<module_image> make_image(const std::vector<uint8_t> &data, input_format forced) {
    using result = outcome<module_image>;
    if (data.empty()) return result::fail("empty file");
    if (data.size() > kMaxFileSize) return result::fail("too large for a module dump (more than 4 MiB)");
    module_image image;
    const bool a0a2 = forced == input_format::a0a2;
    image.format = forced == input_format::automatic || a0a2 ? detect_format(data) : forced;
    if (forced == input_format::automatic && image.format == input_format::raw && data.size() % kPage != 0) {
        if (auto line = damaged_text_line(data))
            return result::fail("text with a control byte (a NUL, say) on line " + std::to_string(*line) +
                                ": not a module dump");
    }
    if (image.format == input_format::hex) {
        if (std::find(data.begin(), data.end(), 0) != data.end())
            return result::fail("not hex text: the file is binary (try --format raw)");
        auto parsed = parse_hex(std::string_view(reinterpret_cast<const char *>(data.data()), data.size()));
        if (!parsed) return result::fail(parsed.error);
        image.bytes = std::move(*parsed.value);
    } else {
        image.bytes = data;
    }
    char buf[160];
    if (image.bytes.size() > kMaxImage) {
        std::snprintf(buf, sizeof buf, "image too large: %zu bytes (a module image has at most %zu)",
                      image.bytes.size(), kMaxImage);
        return result::fail(buf);
    }
    if (image.bytes.size() % kPage != 0) {
        std::snprintf(buf, sizeof buf, "truncated image: %zu bytes is not a whole number of 128-byte pages",
                      image.bytes.size());
        return result::fail(buf);
    }
    if (a0a2) {
        if (image.bytes.size() != 2 * kPage)
            return result::fail("--format a0a2 needs 256 bytes (A0h bytes 0-127, then A2h bytes 0-127); the image has " +
                                std::to_string(image.bytes.size()));
        spread_a0_a2(image);
    } else if (forced == input_format::automatic && image.format == input_format::hex &&
               image.bytes.size() == 2 * kPage && image.bytes[0] == kSff8024Sfp) {
        switch (sfp_second_half(image.bytes)) {
        case second_half::a0: break;
        case second_half::a2: spread_a0_a2(image); break;
        case second_half::undecided:
            return result::fail("256 bytes of an SFP with diagnostics (A0h byte 92 bit 6) whose second half does not "
                                "check as A2h (byte 95): read as A0h bytes 0-255 with --format hex, or as A0h and A2h "
                                "bytes 0-127 with --format a0a2");
        }
    }
    return result::ok(std::move(image));
}

module_family detect_family(const std::vector<uint8_t> &bytes) {
    if (bytes.size() < kPage) return module_family::unknown;
    switch (bytes[0]) {  // SFF-8024 identifier
    case 0x03: return module_family::sfp;
    case 0x06: return module_family::xfp;
    case 0x0C: case 0x0D: case 0x11: return module_family::qsfp;
    case 0x18: case 0x19: case 0x1B: case 0x1E: return module_family::cmis;
    default:
        // Other identifiers on a map the library reads: a CMIS lower page, or
        // an SFF-8472 A0h block (DWDM SFP+ 0Bh, soldered modules 02h, ...).
        if (fiber_is_cmis(bytes.data())) return module_family::cmis;
        return sff8472_layout(bytes.data()) ? module_family::sfp : module_family::unknown;
    }
}

std::string check_needs(module_family family, const module_image &image) {
    std::size_t need = kPage;
    const char *what = "A0h bytes 0-127";
    switch (family) {
    case module_family::sfp: break;
    case module_family::xfp: need = 2 * kPage; what = "the lower memory and page 01h"; break;
    case module_family::qsfp:
    case module_family::cmis: need = 2 * kPage; what = "the lower page and upper page 00h"; break;
    case module_family::unknown: return "unknown module family";
    }
    if (image.bytes.size() >= need) return {};
    char buf[200];
    std::snprintf(buf, sizeof buf, "image too short: %s modules need %s (%zu bytes); the image has %zu",
                  family_title(family), what, need, image.bytes.size());
    return buf;
}

const char *format_name(input_format format) {
    switch (format) {
    case input_format::automatic: return "auto";
    case input_format::raw: return "raw";
    case input_format::optoe: return "optoe";
    case input_format::hex: return "hex";
    case input_format::pages: return "pages";
    case input_format::a0a2: return "a0a2";
    }
    return "?";
}

const char *family_name(module_family family) {
    switch (family) {
    case module_family::sfp: return "sfp";
    case module_family::xfp: return "xfp";
    case module_family::qsfp: return "qsfp";
    case module_family::cmis: return "cmis";
    case module_family::unknown: break;
    }
    return "unknown";
}

const char *family_title(module_family family) {
    switch (family) {
    case module_family::sfp: return "SFP";
    case module_family::xfp: return "XFP";
    case module_family::qsfp: return "QSFP";
    case module_family::cmis: return "CMIS";
    case module_family::unknown: break;
    }
    return "unknown";
}

const std::vector<std::string> &format_names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> v;
        for (input_format f : kInputFormats) v.push_back(format_name(f));
        return v;
    }();
    return names;
}

std::optional<input_format> parse_format_name(std::string_view name) {
    for (input_format f : kInputFormats)
        if (name == format_name(f)) return f;
    return std::nullopt;
}

std::optional<module_family> parse_family_name(std::string_view name) {
    for (module_family f : {module_family::sfp, module_family::xfp, module_family::qsfp, module_family::cmis})
        if (name == family_name(f)) return f;
    return std::nullopt;
}

}  // namespace fdump
