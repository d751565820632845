#include "module_fixtures.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

namespace fiber_robust {

namespace {

// A bundled dump (tests/data/<entry>/dump.bin). The flat layout: SFF-8472
// modules A0h at offset 0 and A2h at 256; SFF-8636 and CMIS modules the
// lower page at 0 and upper page N at 128 * (N + 1), one block per page.
struct bundled_module {
    const char *entry;
    fiber_module_kind kind;
    std::initializer_list<unsigned> pages;  // page-set entries the dump holds
};

const bundled_module kBundled[] = {
    {"sfp-10g-sr-intel-ftlx8574", FIBER_KIND_SFP, {0x00}},
    {"qsfp28-100g-sr4-mellanox-mma1b00", FIBER_KIND_QSFP, {0x00, 0x01, 0x02, 0x03}},
    {"synthetic-fboss-cmis-400g-lr4", FIBER_KIND_CMIS, {0x00, 0x01, 0x02, 0x11, 0x20, 0x21}},
    {"qsfpdd-400g-dr4-avago-afct93drphz", FIBER_KIND_CMIS, {0x00}},
};

constexpr std::size_t kModuleCount = std::size(kBundled) + 1;  // + the built XFP

void clear(module_image &m, const char *name, fiber_module_kind kind) {
    std::memset(&m, 0, sizeof m);
    m.name = name;
    m.kind = kind;
}

void set_present(module_image &m, unsigned n) { m.pages[n] = m.storage[n]; }

bool load(const char *data_dir, const bundled_module &b, module_image &m) {
    const std::string path = std::string(data_dir) + "/" + b.entry + "/dump.bin";
    std::FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) {
        std::fprintf(stderr, "cannot open %s\n", path.c_str());
        return false;
    }
    uint8_t bin[128 * 46] = {};
    const std::size_t got = std::fread(bin, 1, sizeof bin, f);
    std::fclose(f);
    clear(m, b.entry, b.kind);
    std::memcpy(m.lower, bin, kBlock);
    for (unsigned n : b.pages) {
        // SFF-8472: page-set entry 00h is A2h, at offset 256.
        const std::size_t offset = b.kind == FIBER_KIND_SFP ? 256 : kBlock * (n + 1);
        if (offset + kBlock > got) {
            std::fprintf(stderr, "%s: page %02Xh beyond the %zu bytes read\n", path.c_str(), n, got);
            return false;
        }
        std::memcpy(m.storage[n], bin + offset, kBlock);
        set_present(m, n);
    }
    return true;
}

// --- An XFP module built byte by byte (INF-8077i) -------------------------

// Upper-page bytes are numbered 128-255 as the standard numbers them.
void put(uint8_t *block, unsigned n, uint8_t v) { block[n % kBlock] = v; }
void put_word(uint8_t *block, unsigned n, uint16_t v) {
    put(block, n, static_cast<uint8_t>(v >> 8));
    put(block, n + 1, static_cast<uint8_t>(v & 0xFF));
}
// A text field, blank filled.
void put_text(uint8_t *block, unsigned n, unsigned width, const char *text) {
    const std::size_t len = std::strlen(text);
    for (unsigned i = 0; i < width; ++i) put(block, n + i, i < len ? static_cast<uint8_t>(text[i]) : ' ');
}
uint8_t check_code(const uint8_t *block, unsigned first, unsigned last) {
    unsigned sum = 0;
    for (unsigned n = first; n <= last; ++n) sum += block[n % kBlock];
    return static_cast<uint8_t>(sum);
}

void build_xfp(module_image &m) {
    clear(m, "xfp-10g-lr-built", FIBER_KIND_XFP);
    // Lower-page argument: page 01h, the serial ID table (INF-8077i table 49).
    uint8_t *id = m.lower;
    put(id, 128, 0x06);                     // identifier: XFP
    put(id, 129, 0x90);                     // extended identifier: power level 3, CDR
    put(id, 130, 0x07);                     // connector: LC
    put(id, 131, 0x40);                     // 10GBASE-LR
    put(id, 139, 0x90);                     // encoding: 64B/66B, NRZ
    put(id, 140, 99);                       // bit rate min, 100 Mb/s units
    put(id, 141, 107);                      // bit rate max
    put(id, 142, 10);                       // single-mode length, km
    put(id, 147, 0x54);                     // device technology: 1310 nm DFB, cooled
    put_text(id, 148, 16, "SYNTHETIC XFP");  // vendor name
    put(id, 165, 0x00), put(id, 166, 0x17), put(id, 167, 0x6A);  // vendor OUI
    put_text(id, 168, 16, "XFP-10G-LR-SYN");  // part number
    put_text(id, 184, 2, "A1");               // revision
    put_word(id, 186, 26200);               // wavelength 1310 nm, units of 0.05 nm
    put_word(id, 188, 4000);                // tolerance 20 nm, units of 0.005 nm
    put(id, 190, 70);                       // maximum case temperature, degC
    put(id, 191, check_code(id, 128, 190));  // CC_BASE
    put(id, 192, 0x7D), put(id, 193, 0x28), put(id, 194, 0x32), put(id, 195, 0x19);  // power supply
    put_text(id, 196, 16, "SYN0XFP000000001");  // serial number
    put_text(id, 212, 8, "24061500");           // date code
    put(id, 220, 0x08);                     // diagnostics: average Rx power
    put(id, 221, 0xF0);                     // enhanced options
    put(id, 222, 0x30);                     // auxiliary monitoring: supply 3.3 V
    put(id, 223, check_code(id, 192, 222));  // CC_EXT

    // Page-set entry 00h: the lower memory (INF-8077i table 32).
    set_present(m, 0x00);
    uint8_t *low = m.storage[0x00];
    put(low, 0, 0x06);                      // identifier
    const uint16_t thresholds[] = {
        0x4B00, 0xFB00, 0x4600, 0x0000,      // temperature: 75, -5, 70, 0 degC
        0, 0, 0, 0,                          // reserved
        0x4E20, 0x03E8, 0x445C, 0x07D0,      // Tx bias
        0x4DF2, 0x09C4, 0x3DEA, 0x0C5A,      // Tx power
        0x4DF2, 0x0064, 0x3DEA, 0x0190,      // Rx power
        0x8CA0, 0x7530, 0x88B8, 0x7918,      // auxiliary 1: supply voltage
    };
    for (unsigned i = 0; i < std::size(thresholds); ++i) put_word(low, 2 + 2 * i, thresholds[i]);
    put(low, 82, 0x80);                     // latched warning: temperature high
    put(low, 83, 0x40);                     // latched warning: Rx power low
    put(low, 84, 0x08);                     // latched status: Rx loss of signal
    put_word(low, 96, 0x2A80);              // temperature 42.5 degC
    put_word(low, 100, 6000);               // Tx bias 12 mA
    put_word(low, 102, 7000);               // Tx power 0.70 mW
    put_word(low, 104, 350);                // Rx power 0.035 mW
    put_word(low, 106, 33000);              // auxiliary 1: 3.3 V
}

constexpr std::size_t kMaxImageFiles = 16;
module_image image_store[kMaxImageFiles];
std::string image_names[kMaxImageFiles];

struct module_store {
    module_image all[kModuleCount];
    module_image complete[4];
    std::size_t all_count = 0;
    bool complete_ok = false;
};

module_store &store(const char *data_dir) {
    static module_store *loaded = [data_dir] {
        static module_store s;
        std::size_t n = 0;
        bool ok = load(data_dir, kBundled[0], s.all[n++]);
        build_xfp(s.all[n++]);
        for (std::size_t i = 1; i < std::size(kBundled); ++i) ok = ok && load(data_dir, kBundled[i], s.all[n++]);
        s.all_count = ok ? n : 0;
        if (ok) {
            // SFP, XFP, QSFP and the CMIS module with the most pages, every
            // consulted page present.
            const module_image *families[] = {&s.all[0], &s.all[1], &s.all[2], &s.all[3]};
            for (std::size_t i = 0; i < 4; ++i) {
                module_image &c = s.complete[i];
                std::memcpy(&c, families[i], sizeof c);
                for (unsigned p = 0; p < FIBER_PAGE_COUNT; ++p) c.pages[p] = nullptr;
                if (c.kind == FIBER_KIND_SFP || c.kind == FIBER_KIND_XFP)
                    set_present(c, 0x00);  // the A2h block or the lower memory
                else
                    for (unsigned p : kConsultedPages) set_present(c, p);
            }
            s.complete_ok = true;
        }
        return &s;
    }();
    return *loaded;
}

}  // namespace

namespace {

// Family of a flat image from its first identifier byte (SFF-8024).
bool kind_of(uint8_t id, fiber_module_kind &kind) {
    switch (id) {
    case 0x03: kind = FIBER_KIND_SFP; return true;                         // SFP/SFP+/SFP28
    case 0x06: kind = FIBER_KIND_XFP; return true;                         // XFP
    case 0x0C: case 0x0D: case 0x11: kind = FIBER_KIND_QSFP; return true;  // QSFP, QSFP+, QSFP28
    case 0x18: case 0x19: case 0x1E: kind = FIBER_KIND_CMIS; return true;  // QSFP-DD, OSFP, QSFP+ CMIS
    default: return false;
    }
}

bool load_image(const std::filesystem::path &path, module_image &m, std::string &name) {
    std::FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    uint8_t bin[128 * 46] = {};
    const std::size_t got = std::fread(bin, 1, sizeof bin, f);
    std::fclose(f);
    fiber_module_kind kind = 0;
    if (got < 2 * kBlock || !kind_of(bin[0], kind)) return false;
    clear(m, name.c_str(), kind);
    switch (kind) {
    case FIBER_KIND_SFP:  // A0h bytes 0-127; A2h bytes 0-127 at 256
        std::memcpy(m.lower, bin, kBlock);
        if (got >= 384) {
            std::memcpy(m.storage[0x00], bin + 256, kBlock);
            set_present(m, 0x00);
        }
        break;
    case FIBER_KIND_XFP:  // lower-page argument: page 01h; page-set 00h: lower memory
        std::memcpy(m.lower, bin + kBlock, kBlock);
        std::memcpy(m.storage[0x00], bin, kBlock);
        set_present(m, 0x00);
        break;
    default:
        std::memcpy(m.lower, bin, kBlock);
        for (unsigned n = 0; n < FIBER_PAGE_COUNT && kBlock * (n + 2) <= got; ++n) {
            std::memcpy(m.storage[n], bin + kBlock * (n + 1), kBlock);
            set_present(m, n);
        }
        break;
    }
    return true;
}

}  // namespace

std::span<const module_image> image_files(const char *dir) {
    static std::size_t count = [dir] {
        static std::vector<std::filesystem::path> paths;
        std::error_code ec;
        for (const auto &e : std::filesystem::directory_iterator(dir, ec))
            if (e.path().extension() == ".bin") paths.push_back(e.path());
        std::sort(paths.begin(), paths.end());
        std::size_t n = 0;
        for (const auto &p : paths) {
            if (n == kMaxImageFiles) break;
            image_names[n] = p.stem().string();
            if (load_image(p, image_store[n], image_names[n])) ++n;
        }
        return n;
    }();
    return {image_store, count};
}

std::span<const module_image> all_modules(const char *data_dir) {
    module_store &s = store(data_dir);
    return {s.all, s.all_count};
}

std::span<const module_image> complete_modules(const char *data_dir) {
    module_store &s = store(data_dir);
    return {s.complete, s.complete_ok ? std::size_t{4} : std::size_t{0}};
}

}  // namespace fiber_robust
