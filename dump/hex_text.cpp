// SPDX-License-Identifier: Apache-2.0
// Hex text to the flat image layout: ethtool's hex output, plain hex dumps
// and hex strings, hexdump -C, i2cdump, offset rows with an ASCII column,
// dumps embedded in a labelled field, and page sections under headings.
//
// Two passes. The first sorts the lines into page sections (a heading such
// as "Upper Page 11h", "A2h" or "0x51" starts one, so does i2cdump's column
// header after rows, or offsets that start again at 0 for the second I2C
// address) and data rows; the second knows every row's offset and places
// the bytes: a row holds the bytes up to the next row's offset (16 as a
// rule), and what follows them is its ASCII column.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "image.h"

namespace fdump {

namespace {

constexpr std::size_t kBlock = 256;             // one I2C address: SFF-8472 A0h or A2h
constexpr std::size_t kSfpA2 = 256;             // A2h in the flat SFP layout
constexpr std::size_t kSfpA2Upper = 384;        // A2h upper page N at 384 + 128 N
constexpr std::size_t kUpperStart = 0x80;       // offset of byte 128, an upper page's first
constexpr std::size_t kMaxRows = 65536;         // far more than the largest image needs
constexpr std::size_t kMaxHeadingTokens = 10;   // longer lines are prose
constexpr std::size_t kMinColumns = 8;          // a column-number header: 0 1 2 ... 7 at least

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v' || c == '\n'; }

bool is_hex_digit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool all_hex(std::string_view s) { return !s.empty() && std::all_of(s.begin(), s.end(), is_hex_digit); }

unsigned hex_value(char c) {
    if (c <= '9') return static_cast<unsigned>(c - '0');
    return static_cast<unsigned>((c | 0x20) - 'a' + 10);
}

std::size_t parse_number(std::string_view digits) {
    std::size_t v = 0;
    for (char c : digits) v = v * 16 + hex_value(c);
    return v;
}

bool is_pair(std::string_view t) { return t.size() == 2 && is_hex_digit(t[0]) && is_hex_digit(t[1]); }

// i2cdump prints XX for a byte it could not read.
bool is_unread(std::string_view t) { return t == "XX" || t == "xx"; }

bool is_byte(std::string_view t) { return is_pair(t) || is_unread(t); }

// The whitespace-separated tokens of a line, one at a time.
class tokens {
public:
    explicit tokens(std::string_view line) : rest_(line) {}
    bool next(std::string_view &token) {
        std::size_t i = 0;
        while (i < rest_.size() && is_space(rest_[i])) ++i;
        std::size_t start = i;
        while (i < rest_.size() && !is_space(rest_[i])) ++i;
        token = rest_.substr(start, i - start);
        rest_ = rest_.substr(i);
        return !token.empty();
    }
    std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

std::vector<std::string_view> split(std::string_view line, std::size_t at_most) {
    std::vector<std::string_view> out;
    tokens t(line);
    std::string_view token;
    while (out.size() < at_most && t.next(token)) out.push_back(token);
    return out;
}

// A short, printable excerpt of the input for a message: at most 16
// characters, bytes outside printable ASCII as \xNN.
std::string excerpt(std::string_view s) {
    constexpr std::size_t kLongest = 16;
    std::string out;
    for (std::size_t i = 0; i < s.size() && i < kLongest; ++i) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        }
    }
    if (s.size() > kLongest) out += "...";
    return "\"" + out + "\"";
}

std::string hex_offset(std::size_t v) {
    char buf[24];
    std::snprintf(buf, sizeof buf, "0x%04zx", v);
    return buf;
}

// How a row's offset is written; one text holds one style.
enum class offset_style : uint8_t { none, plain, colon, prefixed, prefixed_colon };

const char *style_example(offset_style s) {
    switch (s) {
    case offset_style::none: return "rows without offsets";
    case offset_style::plain: return "offsets like \"00000010\"";
    case offset_style::colon: return "offsets like \"0010:\"";
    case offset_style::prefixed: return "offsets like \"0x0010\"";
    case offset_style::prefixed_colon: return "offsets like \"0x0010:\"";
    }
    return "?";
}

// What a page heading names, and so where a section's bytes go in the flat
// layout (SFF-8472: A0h 0-255, A2h 256-511, A2h upper page N at 384 + 128 N;
// SFF-8636, CMIS and INF-8077i: lower page 0-127, upper page N at 128 (N + 1)).
enum class target : uint8_t { none, a0, a2, a2_upper, lower, upper };

struct heading {
    target where = target::none;
    std::size_t page = 0;
};

struct row {
    std::size_t line = 0;
    bool has_offset = false;
    std::size_t offset = 0;
    offset_style style = offset_style::none;
    bool repeat_before = false;  // a hexdump "*" line comes before it
    bool column_like = false;    // "00 01 02 ... 0f": a column header or data
    std::string_view data;       // the row after its offset
};

struct section {
    heading head;
    std::size_t line = 0;          // of the heading; 0 when none
    std::string_view heading_text;
    bool new_block = false;        // starts at the next 256-byte block
    std::vector<row> rows;
};

enum byte_state : uint8_t { UNTOUCHED = 0, READ = 1, UNREAD = 2 };

std::string lower_trimmed(std::string_view t) {
    constexpr std::string_view kPunctuation = "()[]{}:,;.=#<>\"'";
    while (!t.empty() && kPunctuation.find(t.front()) != std::string_view::npos) t.remove_prefix(1);
    while (!t.empty() && kPunctuation.find(t.back()) != std::string_view::npos) t.remove_suffix(1);
    std::string out(t);
    for (char &c : out) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
    return out;
}

// A page number as headings write it: "11h", "0x11", or one decimal digit.
std::optional<std::size_t> page_number(const std::string &t) {
    if (t.size() >= 2 && t.size() <= 3 && t.back() == 'h' && all_hex(std::string_view(t).substr(0, t.size() - 1)))
        return parse_number(std::string_view(t).substr(0, t.size() - 1));
    if (t.size() >= 3 && t.size() <= 4 && t[0] == '0' && t[1] == 'x' && all_hex(std::string_view(t).substr(2)))
        return parse_number(std::string_view(t).substr(2));
    if (t.size() == 1 && t[0] >= '0' && t[0] <= '9') return static_cast<std::size_t>(t[0] - '0');
    return std::nullopt;
}

// The page a heading line names, if it is one: "Lower Page", "Upper Page
// 00h", "Page 03h", "page 0x11", "A0h", "A2h ... upper ... page 1h", the
// I2C addresses "0x50" and "0x51" (also in i2cdump's "address 0x50" line).
std::optional<heading> parse_heading(const std::vector<std::string_view> &words, bool sfp_context) {
    if (words.empty() || words.size() > kMaxHeadingTokens) return std::nullopt;
    bool lower = false, upper = false, a0 = false, a2 = false;
    std::optional<std::size_t> page;
    std::vector<std::string> w;
    for (auto word : words) w.push_back(lower_trimmed(word));
    for (std::size_t i = 0; i < w.size(); ++i) {
        const std::string &t = w[i];
        if (t == "lower" && i + 1 < w.size() && w[i + 1] == "page") lower = true;
        if (t == "upper") upper = true;
        if (t == "a0h" || t == "0x50" || t == "50h") a0 = true;
        if (t == "a2h" || t == "0x51" || t == "51h") a2 = true;
        if (t == "page" && i + 1 < w.size() && !page) page = page_number(w[i + 1]);
    }
    if (lower) return heading{target::lower, 0};
    if (a2 && upper && page) return heading{target::a2_upper, *page};
    if (a2) return heading{target::a2, 0};
    if (a0) return heading{target::a0, 0};
    if (page) return heading{sfp_context ? target::a2_upper : target::upper, *page};
    return std::nullopt;
}

// "0 1 2 ... f" (i2cdump) or "00 01 ... 0f": at least eight columns
// numbered from 0, perhaps followed by an ASCII header.
bool is_column_header(const std::vector<std::string_view> &words) {
    std::size_t n = 0;
    while (n < words.size() && words[n].size() <= 2 && all_hex(words[n]) && parse_number(words[n]) == n) ++n;
    return n >= kMinColumns && words.size() <= n + 1;
}

class hex_text {
public:
    std::string error;

    bool read(std::string_view text) {
        std::size_t number = 0;
        while (!text.empty()) {
            // Lines end with LF, CRLF or a lone CR.
            std::size_t end = text.find_first_of("\r\n");
            std::string_view line = text.substr(0, end);
            if (end == std::string_view::npos) {
                text = {};
            } else {
                std::size_t skip = text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1;
                text.remove_prefix(end + skip);
            }
            if (!classify(++number, line)) return false;
        }
        if (!close_section(number + 1, false)) return false;
        return place_all();
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
            std::size_t block = first / kBlock * kBlock;
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
    // First pass.
    std::vector<section> sections_{1};
    std::size_t row_count_ = 0;
    unsigned styles_seen_ = 0;      // bit per offset_style of the rows so far
    bool pending_repeat_ = false;
    bool columns_seen_ = false;     // a column-number header: short offsets without a colon follow
    bool restarted_ = false;        // offsets started again at 0 once (a second I2C address)
    bool sfp_context_ = false;      // an A0h or A2h heading was seen: "page N" is an A2h page
    std::size_t last_nonblank_ = 0; // line number of the last non-blank line
    // Second pass.
    std::vector<uint8_t> data_, state_;
    std::vector<uint32_t> source_line_;
    std::size_t end_ = 0;

    bool fail(std::size_t line, const std::string &message) {
        error = "line " + std::to_string(line) + ": " + message;
        return false;
    }

    section &current() { return sections_.back(); }

    // Where a section ends: a heading with no rows under it is an error,
    // unless the next line is itself a heading (a title above a section's
    // own heading, as in "EEPROM hexdump for port 1 page 0h" over "Lower page 0h").
    bool close_section(std::size_t line, bool by_heading) {
        const section &s = current();
        if (s.line != 0 && s.rows.empty() && !(by_heading && s.line == last_nonblank_)) {
            (void)line;
            return fail(s.line, "no rows under the heading " + excerpt(s.heading_text));
        }
        return true;
    }

    bool start_section(section s, std::size_t line, bool by_heading) {
        if (!close_section(line, by_heading)) return false;
        if (current().rows.empty() && current().line == 0 && !current().new_block && sections_.size() == 1) {
            sections_.back() = s;  // nothing came before
        } else if (current().rows.empty() && by_heading) {
            sections_.back() = s;  // a title superseded by the section's own heading
        } else {
            sections_.push_back(s);
        }
        pending_repeat_ = false;
        return true;
    }

    // The offset a line starts with, if it is a data row: ethtool "0x0000:",
    // plain "0000:", hexdump "00000000", i2cdump "00:", "0x80:", "000080";
    // short offsets without a colon under a column-number header.
    std::optional<std::size_t> row_offset(std::string_view first, std::string_view second, bool alone,
                                          offset_style &style) {
        if (first.size() > 2 && first[0] == '0' && (first[1] == 'x' || first[1] == 'X')) {
            std::string_view digits = first.substr(2);
            bool colon = !digits.empty() && digits.back() == ':';
            if (colon) digits.remove_suffix(1);
            if (!all_hex(digits) || digits.size() > 8) return std::nullopt;
            if (!colon && !is_byte(second) && !(alone && seen_style(offset_style::prefixed))) return std::nullopt;
            if (alone && digits.size() <= 2 && !seen_style(colon ? offset_style::prefixed_colon : offset_style::prefixed))
                return std::nullopt;  // "0x50": an I2C address heading, not an end offset
            style = colon ? offset_style::prefixed_colon : offset_style::prefixed;
            return parse_number(digits);
        }
        if (first.size() > 1 && first.back() == ':') {
            std::string_view digits = first.substr(0, first.size() - 1);
            if (!all_hex(digits) || digits.size() > 8) return std::nullopt;
            style = offset_style::colon;
            return parse_number(digits);
        }
        if (all_hex(first) && first.size() <= 8 &&
            ((first.size() >= 4 && (is_byte(second) || (alone && seen_style(offset_style::plain)))) ||
             (columns_seen_ && first.size() < 4 && is_byte(second)))) {
            style = offset_style::plain;
            return parse_number(first);
        }
        return std::nullopt;
    }

    bool seen_style(offset_style s) const { return styles_seen_ & (1u << static_cast<unsigned>(s)); }

    bool classify(std::size_t number, std::string_view line) {
        // hexdump -C and similar put the ASCII column between bars.
        if (std::size_t bar = line.find('|'); bar != std::string_view::npos) line = line.substr(0, bar);
        tokens t(line);
        std::string_view first, second;
        if (!t.next(first)) return true;  // blank
        std::string_view after_first = t.rest();
        t.next(second);
        std::size_t nonblank_before = last_nonblank_;
        last_nonblank_ = number;
        if (first == "*" && second.empty()) {  // hexdump: the row before repeats
            if (!current().rows.empty()) pending_repeat_ = true;
            return true;
        }

        offset_style style = offset_style::none;
        std::optional<std::size_t> offset = row_offset(first, second, second.empty(), style);
        std::string_view data = after_first;
        // A dump in a labelled field: "eeprom: 0000: 03 04 ...".
        if (!offset && first.size() > 1 && first.back() == ':' && !second.empty()) {
            tokens u(after_first);
            std::string_view o, b;
            u.next(o);
            std::string_view o_rest = u.rest();
            u.next(b);
            offset_style s = offset_style::none;
            if (is_byte(b) && !o.empty() && o.back() == ':') {
                if (auto at = row_offset(o, b, false, s)) offset = at, style = s, data = o_rest;
            }
        }
        if (offset) return add_row(number, true, *offset, style, data);

        if (all_hex(first) && first.size() % 2 == 0) {
            // Only a row that starts "00" can be column numbers.
            const bool column_like = first == "00" && is_column_header(split(line, kMinColumns * 3));
            return add_row(number, false, 0, offset_style::none, line, column_like);
        }
        if (all_hex(first) && first.size() > 8)
            return fail(number, excerpt(first) + " has an odd number of hex digits");

        // Prose, prompts, headers; some say where the following rows go.
        std::vector<std::string_view> words = split(line, kMaxHeadingTokens + 1);
        if (is_column_header(words)) {
            columns_seen_ = true;
            // i2cdump's header over a second dump without a heading of its
            // own (A2h after A0h): the next 256-byte block.
            if (!current().rows.empty()) {
                section s;
                s.new_block = true;
                return start_section(s, number, false);
            }
            return true;
        }
        if (auto h = parse_heading(words, sfp_context_)) {
            if (h->where == target::a0 || h->where == target::a2 || h->where == target::a2_upper) sfp_context_ = true;
            section s;
            s.head = *h;
            s.line = number;
            s.heading_text = line.substr(line.find_first_not_of(" \t"));
            last_nonblank_ = nonblank_before;  // for the superseded-title rule
            bool ok = start_section(s, number, true);
            last_nonblank_ = number;
            return ok;
        }
        return true;
    }

    bool add_row(std::size_t number, bool has_offset, std::size_t offset, offset_style style, std::string_view data,
                 bool column_like = false) {
        if (++row_count_ > kMaxRows) return fail(number, "more rows than any module dump has");
        if (has_offset && offset > kMaxImage) return fail(number, "offset beyond the largest module image");
        section *s = &current();
        // Offsets must grow within a section. Starting again at 0 once,
        // outside page headings, after a first dump of one I2C address (at
        // least its first 128 bytes, at most 256), is the second address:
        // A2h after A0h.
        if (has_offset) {
            const row *last = nullptr;
            for (auto it = s->rows.rbegin(); it != s->rows.rend(); ++it)
                if (it->has_offset) { last = &*it; break; }
            if (last && offset <= last->offset) {
                if (offset == 0 && s->head.where == target::none && !restarted_ && sections_.size() == 1 &&
                    last->offset >= kPage - 16 && last->offset < kBlock) {
                    restarted_ = true;
                    section next;
                    next.new_block = true;
                    sections_.push_back(next);
                    s = &current();
                    pending_repeat_ = false;
                } else {
                    return fail(number, "offset " + hex_offset(offset) + " goes back (the row before is at " +
                                            hex_offset(last->offset) + ")");
                }
            }
        }
        row r;
        r.line = number;
        r.has_offset = has_offset;
        r.offset = offset;
        r.style = style;
        r.data = data;
        r.column_like = column_like;
        r.repeat_before = pending_repeat_;
        pending_repeat_ = false;
        styles_seen_ |= 1u << static_cast<unsigned>(style);
        s->rows.push_back(r);
        return true;
    }

    // --- second pass ---------------------------------------------------------

    bool store(std::size_t line, std::size_t position, int value) {
        if (position >= kMaxImage) return fail(line, "image larger than the largest module image");
        if (position >= data_.size()) {
            std::size_t size = std::max(position + 1, std::min(kMaxImage, 2 * data_.size()));
            data_.resize(size, 0);
            state_.resize(size, UNTOUCHED);
            source_line_.resize(size, 0);
        }
        if (value < 0) {
            if (state_[position] == UNTOUCHED) state_[position] = UNREAD, source_line_[position] = uint32_t(line);
        } else {
            if (state_[position] == READ && data_[position] != value) {
                char buf[160];
                std::snprintf(buf, sizeof buf, "byte %s is %02x here but %02x on line %u",
                              hex_offset(position).c_str(), value, data_[position], source_line_[position]);
                return fail(line, buf);
            }
            data_[position] = static_cast<uint8_t>(value);
            state_[position] = READ;
            source_line_[position] = static_cast<uint32_t>(line);
        }
        end_ = std::max(end_, position + 1);
        return true;
    }

    bool place_all() {
        // Every data row in one layout.
        bool offsets = false;
        for (const section &s : sections_)
            for (const row &r : s.rows) offsets = offsets || r.has_offset;
        const row *first = nullptr;
        for (section &s : sections_) {
            // Column numbers over rows with offsets are a header, not data.
            if (offsets)
                s.rows.erase(std::remove_if(s.rows.begin(), s.rows.end(),
                                            [](const row &r) { return !r.has_offset && r.column_like; }),
                             s.rows.end());
            for (const row &r : s.rows) {
                if (!first) first = &r;
                if (r.style != first->style)
                    return fail(r.line, std::string("mixed layouts: ") + style_example(r.style) + " after " +
                                            style_example(first->style) + " on line " + std::to_string(first->line));
            }
        }
        const std::size_t width = row_width();
        for (const section &s : sections_)
            if (!place_section(s, width)) return false;
        return true;
    }

    // The usual distance between consecutive offsets (16 as a rule); 0 when
    // no two rows tell it.
    std::size_t row_width() const {
        std::array<std::size_t, kBlock + 1> count{};
        for (const section &s : sections_)
            for (std::size_t i = 1; i < s.rows.size(); ++i) {
                const row &a = s.rows[i - 1], &b = s.rows[i];
                if (a.has_offset && b.has_offset && !b.repeat_before && b.offset > a.offset &&
                    b.offset - a.offset <= kBlock)
                    ++count[b.offset - a.offset];
            }
        std::size_t best = 0;
        for (std::size_t w = 1; w <= kBlock; ++w)
            if (count[w] > count[best]) best = w;
        return best;
    }

    bool place_section(const section &s, std::size_t width) {
        if (s.rows.empty()) return true;
        std::size_t lowest = SIZE_MAX, highest = 0;
        for (const row &r : s.rows)
            if (r.has_offset) lowest = std::min(lowest, r.offset), highest = std::max(highest, r.offset);
        const bool from_upper = lowest != SIZE_MAX && lowest >= kUpperStart;    // offsets 0x80-0xff
        const bool spans = lowest < kUpperStart && highest >= kUpperStart;      // 0x00-0xff: lower page too
        const std::size_t block_base = s.new_block ? (end_ + kBlock - 1) / kBlock * kBlock : 0;
        auto position = [&](std::size_t offset) -> std::size_t {
            const std::size_t n = s.head.page;
            switch (s.head.where) {
            case target::none: return block_base + offset;
            case target::a0: return offset;
            case target::a2: return kSfpA2 + offset;
            case target::a2_upper: return kSfpA2Upper + kPage * n + offset - (from_upper ? kUpperStart : 0);
            case target::lower: return offset;
            case target::upper:
                if (from_upper || (spans && offset >= kUpperStart)) return kPage * n + offset;
                if (spans) return offset;
                return kPage * (n + 1) + offset;
            }
            return offset;
        };

        std::size_t cursor = position(0);
        std::vector<int> last;
        for (std::size_t i = 0; i < s.rows.size(); ++i) {
            const row &r = s.rows[i];
            const std::size_t at = r.has_offset ? position(r.offset) : cursor;
            if (r.repeat_before && !last.empty()) {
                if (at > kMaxImage) return fail(r.line, "image larger than the largest module image");
                for (std::size_t p = cursor, k = 0; p < at; ++p, k = (k + 1) % last.size())
                    if (!store(r.line, p, last[k])) return false;
            }
            std::vector<int> values;
            if (!row_values(s, i, width, values)) return false;
            if (values.empty()) {  // a bare offset: where the dump ends
                end_ = std::max(end_, at);
                cursor = at;
                continue;
            }
            for (std::size_t k = 0; k < values.size(); ++k)
                if (!store(r.line, at + k, values[k])) return false;
            cursor = at + values.size();
            last = std::move(values);
        }
        return true;
    }

    // The bytes of row i. A row with an offset holds up to the next row's
    // offset, or `width` bytes; what follows is its ASCII column, which has
    // one character per byte. A row without an offset is bytes only.
    bool row_values(const section &s, std::size_t i, std::size_t width, std::vector<int> &values) {
        const row &r = s.rows[i];
        tokens t(r.data);
        std::string_view token;
        if (!r.has_offset) {
            while (t.next(token)) {
                if (!all_hex(token) || token.size() % 2 != 0)
                    return fail(r.line, excerpt(token) + " is not a hex byte");
                for (std::size_t k = 0; k < token.size(); k += 2)
                    values.push_back(static_cast<int>(hex_value(token[k]) * 16 + hex_value(token[k + 1])));
            }
            return true;
        }
        std::size_t room = width ? width : SIZE_MAX;
        if (i + 1 < s.rows.size() && s.rows[i + 1].has_offset && !s.rows[i + 1].repeat_before &&
            s.rows[i + 1].offset > r.offset)
            room = std::min(room, s.rows[i + 1].offset - r.offset);
        while (values.size() < room && t.next(token)) {
            if (!is_byte(token)) break;
            values.push_back(is_unread(token) ? -1 : static_cast<int>(hex_value(token[0]) * 16 + hex_value(token[1])));
            token = {};
        }
        // The rest is the ASCII column: no more characters than bytes.
        std::size_t characters = token.size();
        std::string_view first_left = token;
        while (t.next(token)) {
            if (first_left.empty()) first_left = token;
            characters += token.size();
        }
        if (characters > values.size()) {
            if (is_byte(first_left))
                return fail(r.line, "the row at " + hex_offset(r.offset) + " holds more than " +
                                        std::to_string(values.size()) + " bytes (the next row's offset or the rows' width)");
            return fail(r.line, excerpt(first_left) + " is not a hex byte");
        }
        return true;
    }
};

}  // namespace

outcome<std::vector<uint8_t>> parse_hex(std::string_view text) {
    // Text saved by some Windows editors starts with a UTF-8 byte order
    // mark, which would hide the first line's offset or byte.
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(kByteOrderMark.size());
    hex_text reader;
    if (!reader.read(text)) return outcome<std::vector<uint8_t>>::fail(reader.error);
    auto bytes = reader.finish();
    if (!bytes) return outcome<std::vector<uint8_t>>::fail(reader.error);
    return outcome<std::vector<uint8_t>>::ok(std::move(*bytes));
}

}  // namespace fdump
