// SPDX-License-Identifier: Apache-2.0
// Hostile input through the command: each malformed file gets one line on
// standard error naming the file and the problem, exit status 2, and the
// good file after it is still decoded; nothing crashes, hangs or grows
// without bound (reads stop at 4 MiB).
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

const std::string kSource = FIBER_SOURCE_DIR;
const std::string kScratch = testing::TempDir() + "fiberdecode-hostile-" + std::to_string(getpid()) + "-";

std::string read_text(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string write_file(const std::string &name, const std::string &content) {
    std::ofstream(kScratch + name, std::ios::binary) << content;
    return kScratch + name;
}

struct result { int status; std::string out, err; };

result run(const std::string &arguments, const std::string &input = "/dev/null") {
    const std::string out = kScratch + "out", err = kScratch + "err";
    const int status = std::system(("cd '" + kSource + "' && '" FIBERDECODE_TOOL "' " + arguments + " >'" + out +
                                    "' 2>'" + err + "' <" + input).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text(out), read_text(err)};
}

// Deterministic bytes that are not a module (a linear congruential sequence).
std::string garbage(std::size_t size) {
    std::string s(size, '\0');
    uint32_t x = 12345;
    for (char &c : s) x = x * 1103515245u + 12345u, c = static_cast<char>(x >> 24);
    return s;
}

std::string sample_hex() { return read_text(kSource + "/samples/sfp-10g-sr.hex"); }

std::string with(std::string s, const std::string &from, const std::string &to) {
    return s.replace(s.find(from), from.size(), to);
}

struct hostile {
    const char *name;
    std::string (*content)();  // null: `path` names an existing file
    const char *path;
    const char *error;  // the message after "fiberdecode: FILE: "; empty: the file decodes
};

const hostile kCases[] = {
    {"binary_garbage", [] { return garbage(1000); }, nullptr,
     "truncated image: 1000 bytes is not a whole number of 128-byte pages"},
    {"binary_garbage_whole_pages", [] { return '\x2b' + garbage(1023); }, nullptr,
     "unrecognised module identifier 2Bh at byte 0 (--kind decodes it anyway)"},
    {"nul_inside_text", [] { return with(sample_hex(), "0x0010:", std::string("0x0010:\0", 8)); }, nullptr,
     "text with a control byte (a NUL, say) on line 4: not a module dump"},
    {"single_line_of_50_mb", [] { return std::string(50 << 20, '0'); }, nullptr,
     "file too large for a module dump (more than 4 MiB)"},
    {"dev_zero", nullptr, "/dev/zero", "file too large for a module dump (more than 4 MiB)"},
    {"dev_urandom", nullptr, "/dev/urandom", "file too large for a module dump (more than 4 MiB)"},
    {"long_token", [] { return "0x0000: 03 " + std::string(1 << 20, 'g') + "\n"; }, nullptr,
     "line 1: \"gggggggggggggggg...\" is not a hex byte"},
    {"offsets_going_back", [] { return with(sample_hex(), "0x0020:", "0x0000:"); }, nullptr,
     "line 5: offset 0x0000 goes back (the row before is at 0x0010)"},
    {"overlapping_rows", [] { return sample_hex() + "Lower Page\n0x0000:\t\t04\n"; }, nullptr,
     "line 36: byte 0x0000 is 04 here but 03 on line 3"},
    {"offset_past_largest_image", [] { return sample_hex() + "0x9000:\t\t00\n"; }, nullptr,
     "line 35: offset beyond the largest module image"},
    {"odd_digit_count", [] { return with(sample_hex(), "03 04 07", "03 4 07"); }, nullptr, "line 3: \"4\" is not a hex byte"},
    {"heading_without_rows", [] { return sample_hex() + "Upper Page 03h\n"; }, nullptr,
     "line 35: no rows under the heading \"Upper Page 03h\""},
    {"mixed_layouts", [] { return with(sample_hex(), "0x0020:", "00000020"); }, nullptr,
     "line 5: mixed layouts: offsets like \"00000010\" after offsets like \"0x0010:\" on line 3"},
    {"invalid_utf8_only", [] { return std::string("\xff\xfe\xc3\x28 \xa0\xa1\n\xf0\x28\x8c\x28\n"); }, nullptr,
     "no hex bytes found: not a module dump"},
    {"undecided_sfp_halves", [] {
         // A0h bytes 0-255: byte 92 says diagnostics; vendor data in 128-255 that does not check as A2h.
         std::string hex = sample_hex().substr(0, sample_hex().find("0x0100:"));
         return with(hex, "0x0080:\t\t00 00 00 00", "0x0080:\t\t41 43 4d 45");
     }, nullptr, "256 bytes of an SFP with diagnostics (A0h byte 92 bit 6) whose second half does not check as A2h "
                 "(byte 95): read as A0h bytes 0-255 with --format hex, or as A0h and A2h bytes 0-127 with --format a0a2"},
    {"directory", nullptr, "samples", "cannot read: Is a directory"},
    // Readable after all: the file decodes.
    {"cr_only_line_ends", [] {
         std::string s = sample_hex();
         for (char &c : s) c = c == '\n' ? '\r' : c;
         return s;
     }, nullptr, ""},
};

void PrintTo(const hostile &h, std::ostream *os) { *os << h.name; }

class Hostile : public testing::TestWithParam<hostile> {};

TEST_P(Hostile, OneClearLineStatusTwoOtherFilesDecoded) {
    const hostile &h = GetParam();
    const std::string path = h.content ? write_file(h.name, h.content()) : h.path;
    result r = run("'" + path + "' samples/sfp-1g-t.bin");
    if (h.content) std::remove(path.c_str());
    EXPECT_NE(r.out.find("samples/sfp-1g-t.bin: SFP module"), std::string::npos) << r.out;
    if (*h.error) {
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, "fiberdecode: " + path + ": " + h.error + "\n");
        EXPECT_TRUE(r.out.rfind(path + ": ", 0) == std::string::npos && r.out.find("\n" + path + ": ") == std::string::npos)
            << "a report for " << path;
    } else {
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.out.find(path + ": SFP module, hex text, 512 bytes"), std::string::npos) << r.out;
    }
}

INSTANTIATE_TEST_SUITE_P(Inputs, Hostile, testing::ValuesIn(kCases), [](const auto &info) { return std::string(info.param.name); });

// The reads stop at 4 MiB: decoding endless input stays within a bound
// (the largest child process so far, the command included).
TEST(HostileMemory, EndlessInputStaysBounded) {
    result r = run("/dev/zero /dev/urandom -", "/dev/zero");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "fiberdecode: /dev/zero: file too large for a module dump (more than 4 MiB)\n"
                     "fiberdecode: /dev/urandom: file too large for a module dump (more than 4 MiB)\n"
                     "fiberdecode: <stdin>: file too large for a module dump (more than 4 MiB)\n");
    struct rusage usage {};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
    // AddressSanitizer's shadow memory and quarantine add their own share
    // to a sanitized command's resident size.
#if defined(__SANITIZE_ADDRESS__)
    constexpr long kBoundKiB = 256 * 1024;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    constexpr long kBoundKiB = 256 * 1024;
#else
    constexpr long kBoundKiB = 64 * 1024;
#endif
#else
    constexpr long kBoundKiB = 64 * 1024;
#endif
    EXPECT_LT(usage.ru_maxrss, kBoundKiB) << "KiB";
}

}  // namespace
