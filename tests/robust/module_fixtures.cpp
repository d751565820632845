// SPDX-License-Identifier: Apache-2.0
#include "module_fixtures.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <numeric>
#include <string>
#include <vector>

namespace fiber_robust {

namespace {

constexpr std::size_t kFlatMax = kBlock * (FIBER_PAGE_COUNT + 1);  // lower page and pages 00h-2Ch

void set_present(module_image &m, unsigned n) { m.pages[n] = m.storage[n]; }

// Places a flat image (the layouts of image_files) into m: the pages listed,
// or, with none listed, every page the image reaches. False when a listed
// page lies beyond the image.
bool place(module_image &m, const char *name, fiber_module_kind kind, const uint8_t *bin, std::size_t got,
           std::initializer_list<unsigned> listed) {
    std::memset(&m, 0, sizeof m);
    m.name = name;
    m.kind = kind;
    const bool one_block = kind == FIBER_KIND_SFP || kind == FIBER_KIND_XFP;  // page-set entry 00h only
    std::memcpy(m.lower, bin + (kind == FIBER_KIND_XFP ? kBlock : 0), kBlock);
    for (unsigned n = 0; n < (one_block ? 1u : FIBER_PAGE_COUNT); ++n) {
        if (listed.size() && std::find(listed.begin(), listed.end(), n) == listed.end()) continue;
        const std::size_t at = kind == FIBER_KIND_SFP ? 256 : kind == FIBER_KIND_XFP ? 0 : kBlock * (n + 1);
        if (at + kBlock > got) return listed.size() == 0;
        std::memcpy(m.storage[n], bin + at, kBlock);
        set_present(m, n);
    }
    return true;
}

std::size_t read_flat(const std::string &path, uint8_t (&bin)[kFlatMax]) {
    std::FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) return 0;
    const std::size_t got = std::fread(bin, 1, kFlatMax, f);
    std::fclose(f);
    return got;
}

// A bundled dump, tests/data/<entry>/dump.bin, and the page-set entries it holds.
struct bundled_module { const char *entry; fiber_module_kind kind; std::initializer_list<unsigned> pages; };

const bundled_module kBundled[] = {
    {"sfp-10g-sr-intel-ftlx8574", FIBER_KIND_SFP, {0x00}},
    {"qsfp28-100g-sr4-mellanox-mma1b00", FIBER_KIND_QSFP, {0x00, 0x01, 0x02, 0x03}},
    {"synthetic-fboss-cmis-400g-lr4", FIBER_KIND_CMIS, {0x00, 0x01, 0x02, 0x11, 0x20, 0x21}},
    {"qsfpdd-400g-dr4-avago-afct93drphz", FIBER_KIND_CMIS, {0x00}},
};

// --- An XFP module built byte by byte (INF-8077i) -------------------------

struct byte_at { unsigned n; uint8_t v; };   // bytes numbered as the standard numbers them
struct word_at { unsigned n; uint16_t v; };  // big-endian
struct text_at { unsigned n, width; const char *text; };  // blank filled

// Page 01h, the serial ID table (INF-8077i table 49).
constexpr byte_at kXfpIdBytes[] = {
    {128, 0x06}, {129, 0x90}, {130, 0x07}, {131, 0x40},  // XFP; power level 3, CDR; LC; 10GBASE-LR
    {139, 0x90}, {140, 99}, {141, 107}, {142, 10},       // 64B/66B NRZ; 9.9-10.7 Gb/s; single-mode 10 km
    {147, 0x54}, {165, 0x00}, {166, 0x17}, {167, 0x6A},  // 1310 nm DFB, cooled; vendor OUI
    {190, 70},                                           // maximum case temperature, degC
    {192, 0x7D}, {193, 0x28}, {194, 0x32}, {195, 0x19},  // power supply
    {220, 0x08}, {221, 0xF0}, {222, 0x30},               // average Rx power; enhanced options; aux 1 = 3.3 V
};
constexpr word_at kXfpIdWords[] = {{186, 26200}, {188, 4000}};  // 1310 nm in 0.05 nm, 20 nm in 0.005 nm
constexpr text_at kXfpIdTexts[] = {
    {148, 16, "SYNTHETIC XFP"}, {168, 16, "XFP-10G-LR-SYN"}, {184, 2, "A1"},
    {196, 16, "SYN0XFP000000001"}, {212, 8, "24061500"},
};

// Lower memory (INF-8077i table 32): thresholds from byte 2 (temperature,
// reserved, Tx bias, Tx power, Rx power, auxiliary 1; each high alarm, low
// alarm, high warning, low warning), then latched flags and monitors.
constexpr uint16_t kXfpThresholds[] = {0x4B00, 0xFB00, 0x4600, 0x0000, 0, 0, 0, 0, 0x4E20, 0x03E8, 0x445C, 0x07D0,
                                       0x4DF2, 0x09C4, 0x3DEA, 0x0C5A, 0x4DF2, 0x0064, 0x3DEA, 0x0190,
                                       0x8CA0, 0x7530, 0x88B8, 0x7918};
constexpr byte_at kXfpLowBytes[] = {{0, 0x06}, {82, 0x80}, {83, 0x40}, {84, 0x08}};  // temp high, Rx low warn, Rx LOS
constexpr word_at kXfpMonitors[] = {  // 42.5 degC, 12 mA, 0.70 mW, 0.035 mW, 3.3 V
    {96, 0x2A80}, {100, 6000}, {102, 7000}, {104, 350}, {106, 33000},
};

void put(uint8_t *block, unsigned n, uint8_t v) { block[n % kBlock] = v; }
void put_word(uint8_t *block, unsigned n, uint16_t v) {
    put(block, n, static_cast<uint8_t>(v >> 8));
    put(block, n + 1, static_cast<uint8_t>(v));
}

void build_xfp(module_image &m) {
    std::memset(&m, 0, sizeof m);
    m.name = "xfp-10g-lr-built";
    m.kind = FIBER_KIND_XFP;
    uint8_t *id = m.lower, *low = m.storage[0x00];
    set_present(m, 0x00);
    for (const byte_at &b : kXfpIdBytes) put(id, b.n, b.v);
    for (const word_at &w : kXfpIdWords) put_word(id, w.n, w.v);
    for (const text_at &t : kXfpIdTexts)
        for (unsigned i = 0; i < t.width; ++i) put(id, t.n + i, i < std::strlen(t.text) ? t.text[i] : ' ');
    put(id, 191, static_cast<uint8_t>(std::accumulate(id, id + 63, 0u)));       // CC_BASE: bytes 128-190
    put(id, 223, static_cast<uint8_t>(std::accumulate(id + 64, id + 95, 0u)));  // CC_EXT: bytes 192-222
    for (unsigned i = 0; i < std::size(kXfpThresholds); ++i) put_word(low, 2 + 2 * i, kXfpThresholds[i]);
    for (const byte_at &b : kXfpLowBytes) put(low, b.n, b.v);
    for (const word_at &w : kXfpMonitors) put_word(low, w.n, w.v);
}

module_image g_all[std::size(kBundled) + 1];  // + the built XFP
module_image g_complete[4];

// Loads the modules once; the number loaded, 0 when a dump is missing.
std::size_t load_all(const char *data_dir) {
    static const std::size_t count = [data_dir]() -> std::size_t {
        static uint8_t bin[kFlatMax];
        std::size_t n = 0;
        for (const bundled_module &b : kBundled) {
            const std::string path = std::string(data_dir) + "/" + b.entry + "/dump.bin";
            const std::size_t got = read_flat(path, bin);
            if (!got || !place(g_all[n++], b.entry, b.kind, bin, got, b.pages)) {
                std::fprintf(stderr, "cannot load %s\n", path.c_str());
                return 0;
            }
            if (n == 1) build_xfp(g_all[n++]);  // after the SFP: SFP, XFP, QSFP, CMIS
        }
        for (std::size_t i = 0; i < 4; ++i) {  // one of each family, every consulted page present
            module_image &c = g_complete[i];
            std::memcpy(&c, &g_all[i], sizeof c);
            std::fill(std::begin(c.pages), std::end(c.pages), nullptr);
            set_present(c, 0x00);  // the A2h block or the XFP lower memory
            if (c.kind == FIBER_KIND_QSFP || c.kind == FIBER_KIND_CMIS)
                for (unsigned p : kConsultedPages) set_present(c, p);
        }
        return n;
    }();
    return count;
}

// Family of a flat image by its identifier byte (SFF-8024): SFP/SFP+/SFP28,
// XFP, QSFP, QSFP+, QSFP28, QSFP-DD, OSFP, QSFP+ with CMIS.
constexpr struct { uint8_t id; fiber_module_kind kind; } kFamilies[] = {
    {0x03, FIBER_KIND_SFP},  {0x06, FIBER_KIND_XFP},  {0x0C, FIBER_KIND_QSFP}, {0x0D, FIBER_KIND_QSFP},
    {0x11, FIBER_KIND_QSFP}, {0x18, FIBER_KIND_CMIS}, {0x19, FIBER_KIND_CMIS}, {0x1E, FIBER_KIND_CMIS},
};

}  // namespace

std::span<const module_image> image_files(const char *dir) {
    constexpr std::size_t kMaxImageFiles = 16;
    static module_image images[kMaxImageFiles];
    static std::string names[kMaxImageFiles];
    static const std::size_t count = [dir] {
        std::vector<std::filesystem::path> paths;
        std::error_code ec;
        for (const auto &e : std::filesystem::directory_iterator(dir, ec))
            if (e.path().extension() == ".bin") paths.push_back(e.path());
        std::sort(paths.begin(), paths.end());
        static uint8_t bin[kFlatMax];
        std::size_t n = 0;
        for (const auto &p : paths) {
            if (n == kMaxImageFiles) break;
            names[n] = p.stem().string();
            const std::size_t got = read_flat(p.string(), bin);
            const auto *f = std::find_if(std::begin(kFamilies), std::end(kFamilies), [](auto r) { return r.id == bin[0]; });
            if (got >= 2 * kBlock && f != std::end(kFamilies) && place(images[n], names[n].c_str(), f->kind, bin, got, {})) ++n;
        }
        return n;
    }();
    return {images, count};
}

std::span<const module_image> all_modules(const char *data_dir) {
    return {g_all, load_all(data_dir)};
}

std::span<const module_image> complete_modules(const char *data_dir) {
    return {g_complete, load_all(data_dir) ? std::size(g_complete) : 0};
}

}  // namespace fiber_robust
