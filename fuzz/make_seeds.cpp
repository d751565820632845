// SPDX-License-Identifier: Apache-2.0
// Writes the fuzz seed corpus in the input layout of fuzz_input.h: the
// sample modules (samples/*.bin), each bundled real module (tests/data,
// plus the built XFP) once with the pages its dump holds and, where that
// adds pages, once with every consulted page present, and one
// unsupported-kind variant. The committed fuzz/corpus/ is this program's
// output:
//
//   fiber_fuzz_seeds tests/data fuzz/corpus samples
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "module_fixtures.h"

namespace {

using fiber_robust::module_image;

std::vector<uint8_t> encode(const module_image &m, uint8_t selector) {
    std::vector<uint8_t> out;
    out.push_back(selector);
    uint16_t mask = fiber_fuzz::kMaskLower;
    for (unsigned i = 0; i < fiber_fuzz::kEntryCount; ++i)
        if (m.pages[fiber_fuzz::kEntries[i]]) mask |= fiber_fuzz::entry_bit(i);
    out.push_back(static_cast<uint8_t>(mask >> 8));
    out.push_back(static_cast<uint8_t>(mask & 0xFF));
    out.insert(out.end(), m.lower, m.lower + fiber_robust::kBlock);
    for (unsigned i = 0; i < fiber_fuzz::kEntryCount; ++i) {
        const unsigned n = fiber_fuzz::kEntries[i];
        if (m.pages[n]) out.insert(out.end(), m.pages[n], m.pages[n] + fiber_fuzz::page_length(n));
    }
    // Lookup and helper arguments: a known prefix, a type, a connector code,
    // a state, a 16.16 value, a float power, a whole power, a register float
    // and a check-code length.
    const uint8_t tail[] = {2,    0,    9,    0x07, 0,    3,    0x00, 0x01, 0x80, 0x00, 0x46, 0x1C,
                            0x40, 0x00, 0x27, 0x10, 0x3F, 0x80, 0x00, 0x00, 67};
    out.insert(out.end(), tail, tail + sizeof tail);
    return out;
}

uint8_t selector_of(fiber_module_kind kind) {
    for (uint8_t s = 0; s < 7; ++s)
        if (fiber_fuzz::kKinds[s] == kind) return s;
    return 4;
}

bool write(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: %s DATA_DIR OUT_DIR [SAMPLES_DIR]\n", argv[0]);
        return 2;
    }
    const std::string out_dir = argv[2];
    const auto modules = fiber_robust::all_modules(argv[1]);
    const auto complete = fiber_robust::complete_modules(argv[1]);
    if (modules.empty() || complete.empty()) return 1;
    int written = 0;
    auto emit = [&](const std::string &name, const std::vector<uint8_t> &bytes) {
        if (!write(out_dir + "/" + name, bytes)) {
            std::fprintf(stderr, "cannot write %s/%s\n", out_dir.c_str(), name.c_str());
            std::exit(1);
        }
        ++written;
    };
    for (const module_image &m : modules) emit(std::string(m.name) + ".bin", encode(m, selector_of(m.kind)));
    for (const module_image &m : complete) {
        const std::vector<uint8_t> bytes = encode(m, selector_of(m.kind));
        bool already = false;  // SFP and XFP use no page beyond their two blocks
        for (const module_image &held : modules) already = already || encode(held, selector_of(held.kind)) == bytes;
        if (!already) emit(std::string(m.name) + "-all-pages.bin", bytes);
    }
    emit("unsupported-kind-5.bin", encode(modules[0], selector_of(5)));
    if (argc == 4)
        for (const module_image &m : fiber_robust::image_files(argv[3]))
            emit("sample-" + std::string(m.name) + ".bin", encode(m, selector_of(m.kind)));
    std::printf("%d seeds written to %s\n", written, out_dir.c_str());
    return 0;
}
