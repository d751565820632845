// SPDX-License-Identifier: Apache-2.0
// Module images for the robustness tests, the benchmarks and the fuzz seed
// corpus: real modules bundled in tests/data (each with its source.md) and an
// INF-8077i XFP module built here, since no real XFP dump is published.
#ifndef FIBER_ROBUST_MODULE_FIXTURES_H
#define FIBER_ROBUST_MODULE_FIXTURES_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "fiber_decode.h"

namespace fiber_robust {

constexpr std::size_t kBlock = 128;      // one page
constexpr std::size_t kLongPage = 512;   // pages 20h-23h and 2Ch: four blocks

// Page-set entries the library consults, in page-number order.
constexpr unsigned kConsultedPages[] = {0x00, 0x01, 0x02, 0x03, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23, 0x2C};

// Bytes the page-set entry n designates: 512 for 20h-23h and 2Ch, else 128.
constexpr std::size_t page_length(unsigned n) {
    return (n >= 0x20 && n <= 0x23) || n == 0x2C ? kLongPage : kBlock;
}

// One module as a caller holds it: the lower-page argument and the page set.
// Not copyable in practice: `pages` points into `storage`.
struct module_image {
    const char *name;
    fiber_module_kind kind;
    uint8_t lower[kBlock];
    uint8_t storage[FIBER_PAGE_COUNT][kLongPage];
    fiber_pages_t pages;
};

// All modules: SFP, XFP, QSFP and CMIS, with every page the module's dump
// holds. Loaded once from data_dir (tests/data); empty when a file is
// missing, after a message on stderr.
std::span<const module_image> all_modules(const char *data_dir);

// One module of each family with every consulted page present (pages the
// dump lacks read as zeros), in the order SFP, XFP, QSFP, CMIS.
std::span<const module_image> complete_modules(const char *data_dir);

// The flat module images of a directory (the samples/ of the command-line
// decoder: SFF-8472 A0h at offset 0 and A2h at 256; INF-8077i lower memory
// at 0 and page 01h at 128; SFF-8636 and CMIS the lower page at 0 and upper
// page N at 128 * (N + 1)), the family told by the identifier byte. Every
// page the image reaches is present. Loaded once; at most 16 images.
std::span<const module_image> image_files(const char *dir);

}  // namespace fiber_robust

#endif
