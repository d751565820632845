// SPDX-License-Identifier: Apache-2.0
// Reading module dumps: files, format detection, hex text parsing and the
// family of the module from its SFF-8024 identifier.
#include "image.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "fiber_decode.h"
#include "describe.h"

namespace fdump {

namespace {

bool is_hex_digit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

bool all_hex(std::string_view s) { return !s.empty() && std::all_of(s.begin(), s.end(), is_hex_digit); }

bool is_pair(std::string_view t) { return t.size() == 2 && all_hex(t); }

// i2cdump prints XX for a byte it could not read.
bool is_unread(std::string_view t) { return t == "XX" || t == "xx"; }

unsigned hex_value(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    return static_cast<unsigned>(std::tolower(static_cast<unsigned char>(c)) - 'a' + 10);
}

std::size_t parse_number(std::string_view digits) {
    std::size_t v = 0;
    for (char c : digits) v = v * 16 + hex_value(c);
    return v;
}

std::vector<std::string_view> split(std::string_view line) {
    std::vector<std::string_view> tokens;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) ++i;
        std::size_t start = i;
        while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i]))) ++i;
        if (i > start) tokens.push_back(line.substr(start, i - start));
    }
    return tokens;
}

std::string lower_case(std::string_view s) {
    std::string out(s);
    for (char &c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::size_t round_up(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

// Page number N of a section title such as "Upper page 3h" or "page 11h"
// following the word at `key` in `title`.
std::optional<std::size_t> page_number_after(const std::string &title, std::string_view key) {
    std::size_t at = title.find(key);
    if (at == std::string::npos) return std::nullopt;
    std::size_t i = at + key.size();
    std::size_t start = i;
    while (i < title.size() && is_hex_digit(title[i])) ++i;
    if (i == start || i >= title.size() || title[i] != 'h' || i - start > 2) return std::nullopt;
    return parse_number(std::string_view(title).substr(start, i - start));
}

enum byte_state : uint8_t { UNTOUCHED = 0, READ = 1, UNREAD = 2 };

// One pass over the lines of a hex text. Offsets (ethtool "0x0000:", plain
// "0000:", hexdump "00000000", i2cdump "00:") place the bytes of their line;
// lines without an offset continue where the previous line ended. Gaps stay
// zero (some dumps leave out all-zero blocks).
class hex_reader {
public:
    std::string error;

    bool line(std::size_t number, std::string_view text) {
        line_number_ = number;
        if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
        // hexdump -C and similar put the ASCII column between bars.
        if (std::size_t bar = text.find('|'); bar != std::string_view::npos) text = text.substr(0, bar);
        std::vector<std::string_view> tokens = split(text);
        if (tokens.empty()) return true;
        if (tokens.size() == 1 && tokens[0] == "*") {  // hexdump: previous line repeats
            if (!last_line_.empty()) repeat_ = true;
            return true;
        }

        std::optional<std::size_t> offset;
        bool i2c_row = false;
        std::string_view first = tokens[0];
        if (first.size() > 2 && first[0] == '0' && (first[1] == 'x' || first[1] == 'X')) {
            std::string_view digits = first.substr(2);
            if (!digits.empty() && digits.back() == ':') digits.remove_suffix(1);
            if (!all_hex(digits) || digits.size() > 8) return text_line(text, tokens);
            offset = parse_number(digits);
        } else if (first.size() > 1 && first.back() == ':') {
            std::string_view digits = first.substr(0, first.size() - 1);
            if (!all_hex(digits) || digits.size() > 8) return text_line(text, tokens);
            offset = parse_number(digits);
            i2c_row = digits.size() == 2;
        } else if (all_hex(first) && first.size() >= 4 && first.size() <= 8 &&
                   (tokens.size() > 1 ? is_pair(tokens[1]) || is_unread(tokens[1]) : offsets_seen_)) {
            offset = parse_number(first);  // hexdump-style offset column
        } else if (!(all_hex(first) && first.size() % 2 == 0)) {
            return text_line(text, tokens);
        }

        std::vector<int> values;
        std::size_t from = offset ? 1 : 0;
        std::size_t to = i2c_row ? std::min(tokens.size(), from + 16) : tokens.size();
        for (std::size_t i = from; i < to; ++i) {
            std::string_view t = tokens[i];
            if (i2c_row && is_unread(t)) {
                values.push_back(-1);
            } else if (is_pair(t) || (!offset && all_hex(t) && t.size() % 2 == 0)) {
                for (std::size_t k = 0; k < t.size(); k += 2)
                    values.push_back(static_cast<int>(hex_value(t[k]) * 16 + hex_value(t[k + 1])));
            } else {
                return fail("\"" + std::string(t) + "\" is not a hex byte");
            }
        }
        return place(offset, i2c_row, values);
    }

    std::optional<std::vector<uint8_t>> finish() {
        std::size_t read = static_cast<std::size_t>(std::count(state_.begin(), state_.end(), READ));
        if (read == 0) {
            error = "no hex bytes found: not a module dump";
            return std::nullopt;
        }
        data_.resize(end_);
        state_.resize(end_);
        // i2cdump shows XX for an address that does not answer (an SFP
        // without A2h): whole trailing 256-byte blocks of XX are left out.
        auto unread = std::find(state_.begin(), state_.end(), UNREAD);
        if (unread != state_.end()) {
            std::size_t first = static_cast<std::size_t>(unread - state_.begin());
            std::size_t block = first / 256 * 256;
            bool rest_unread = std::all_of(state_.begin() + static_cast<std::ptrdiff_t>(block), state_.end(),
                                           [](uint8_t s) { return s == UNREAD; });
            if (!rest_unread || block == 0) {
                char buf[96];
                std::snprintf(buf, sizeof buf, "byte 0x%04zx could not be read (XX in the dump)", first);
                error = buf;
                return std::nullopt;
            }
            data_.resize(block);
        }
        return std::move(data_);
    }

private:
    std::vector<uint8_t> data_;
    std::vector<uint8_t> state_;
    std::size_t line_number_ = 0;
    std::size_t cursor_ = 0;  // where bytes of a line without offset go
    std::size_t base_ = 0;    // added to offsets: i2cdump blocks, section titles
    std::size_t end_ = 0;
    bool base_from_title_ = false;
    bool offsets_seen_ = false;
    bool i2c_rows_seen_ = false;
    bool repeat_ = false;
    std::optional<std::size_t> last_position_;
    std::vector<int> last_line_;

    bool fail(const std::string &message) {
        error = "line " + std::to_string(line_number_) + ": " + message;
        return false;
    }

    // Headers, prompts and warnings are skipped; a few of them say where the
    // following offsets belong: i2cdump's column header starts a new 256-byte
    // block, and the page titles that some dump tools print above each page
    // ("A0h", "A2h ... upper ... page 1h", "Lower page 0h", "Upper page 3h")
    // place the page's offsets (0x00-0x7f, or 0x80-0xff for upper pages).
    bool text_line(std::string_view text, const std::vector<std::string_view> &tokens) {
        std::string title = lower_case(text);
        if (tokens.size() >= 16 && tokens[0] == "0" && tokens[1] == "1" && tokens[15] == "f") {
            // i2cdump column header: a second dump (A2h after A0h) follows
            // the first one at the next 256-byte block.
            if (i2c_rows_seen_) base_ = round_up(end_, 256);
            i2c_rows_seen_ = false;
            set_base_from_title(base_);
        } else if (title.find("a0h") != std::string::npos) {
            set_base_from_title(0);
        } else if (title.find("a2h") != std::string::npos) {
            std::size_t page = 0;
            if (title.find("upper") != std::string::npos) page = page_number_after(title, "page ").value_or(0);
            set_base_from_title(256 + 128 * page);
        } else if (title.find("lower page") != std::string::npos) {
            set_base_from_title(0);
        } else if (auto page = page_number_after(title, "upper page ")) {
            set_base_from_title(128 * *page);
        }
        return true;
    }

    void set_base_from_title(std::size_t base) {
        base_ = base;
        base_from_title_ = true;
        last_position_.reset();
    }

    bool place(std::optional<std::size_t> offset, bool i2c_row, const std::vector<int> &values) {
        std::size_t position = cursor_;
        if (offset) {
            if (*offset > kMaxImage) return fail("offset beyond the largest module image");
            position = base_ + *offset;
            // Offsets that start again without a title: a second dump.
            if (!base_from_title_ && last_position_ && position <= *last_position_) {
                base_ = round_up(end_, 256);
                position = base_ + *offset;
            }
            base_from_title_ = false;
            last_position_ = position;
            offsets_seen_ = true;
            if (i2c_row) i2c_rows_seen_ = true;
        }
        if (repeat_) {
            std::size_t start = cursor_;
            if (position > kMaxImage) return fail("image larger than the largest module image");
            for (std::size_t p = start, k = 0; p < position; ++p, k = (k + 1) % last_line_.size())
                if (!store(p, last_line_[k])) return false;
            repeat_ = false;
        }
        if (values.empty()) {  // a bare offset: where the dump ends
            end_ = std::max(end_, position);
            cursor_ = position;
            return true;
        }
        for (std::size_t i = 0; i < values.size(); ++i)
            if (!store(position + i, values[i])) return false;
        cursor_ = position + values.size();
        last_line_ = values;
        return true;
    }

    bool store(std::size_t position, int value) {
        if (position >= kMaxImage) return fail("image larger than the largest module image");
        if (position >= data_.size()) {
            data_.resize(position + 1, 0);
            state_.resize(position + 1, UNTOUCHED);
        }
        data_[position] = value < 0 ? 0 : static_cast<uint8_t>(value);
        state_[position] = value < 0 ? UNREAD : READ;
        end_ = std::max(end_, position + 1);
        return true;
    }
};

}  // namespace

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

input_format detect_format(const std::vector<uint8_t> &data) {
    bool binary = std::any_of(data.begin(), data.end(), [](uint8_t c) {
        return c == 0x7F || (c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v');
    });
    if (!binary) return input_format::hex;
    // Both binary layouts put the pages at the same offsets; only the optoe
    // driver's files have these sizes (paged QSFP/CMIS, paged SFP).
    if (data.size() == 128 * 257 || data.size() == kMaxImage) return input_format::optoe;
    return input_format::raw;
}

outcome<std::vector<uint8_t>> parse_hex(std::string_view text) {
    // Text saved by some Windows editors starts with a UTF-8 byte order
    // mark, which would hide the first line's offset or byte.
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(kByteOrderMark.size());
    hex_reader reader;
    std::size_t number = 0;
    while (!text.empty()) {
        std::size_t nl = text.find('\n');
        std::string_view line = text.substr(0, nl);
        text = nl == std::string_view::npos ? std::string_view() : text.substr(nl + 1);
        if (!reader.line(++number, line)) return outcome<std::vector<uint8_t>>::fail(reader.error);
    }
    auto bytes = reader.finish();
    if (!bytes) return outcome<std::vector<uint8_t>>::fail(reader.error);
    return outcome<std::vector<uint8_t>>::ok(std::move(*bytes));
}

outcome<module_image> make_image(const std::vector<uint8_t> &data, input_format forced) {
    using result = outcome<module_image>;
    if (data.empty()) return result::fail("empty file");
    module_image image;
    image.format = forced == input_format::automatic ? detect_format(data) : forced;
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

std::optional<input_format> parse_format_name(std::string_view name) {
    for (input_format f : {input_format::automatic, input_format::raw, input_format::optoe, input_format::hex})
        if (name == format_name(f)) return f;
    return std::nullopt;
}

std::optional<module_family> parse_family_name(std::string_view name) {
    for (module_family f : {module_family::sfp, module_family::xfp, module_family::qsfp, module_family::cmis})
        if (name == family_name(f)) return f;
    return std::nullopt;
}

}  // namespace fdump
