// SPDX-License-Identifier: Apache-2.0
// The byte layout of one fuzz input, shared by the fuzz target (which reads
// it) and the seed generator (which writes real modules in it):
//
//   byte 0      kind selector: low 3 bits 0-6 pick FIBER_KIND_SFP, _XFP,
//               _QSFP, _CMIS or the unsupported kinds 0, 4, 5; 7 takes the
//               next four bytes (big-endian) as the raw kind
//   2 bytes     presence mask, big-endian: bit 0 the lower-page argument,
//               bits 1-11 page-set entries 00h, 01h, 02h, 03h, 11h, 12h,
//               20h, 21h, 22h, 23h, 2Ch; bit 12 every other entry (zero
//               pages nobody may read); bit 13 a null page set
//   then        the contents of each present page in that order, 128 bytes,
//               or 512 for 20h-23h and 2Ch; pages the input runs short for
//               are zero-filled
//   then        arguments for the lookups and numeric helpers (zeros once
//               the input ends)
#ifndef FIBER_FUZZ_INPUT_H
#define FIBER_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fiber_decode.h"

namespace fiber_fuzz {

constexpr fiber_module_kind kKinds[7] = {FIBER_KIND_SFP, FIBER_KIND_XFP, FIBER_KIND_QSFP, FIBER_KIND_CMIS, 0, 4, 5};
constexpr uint8_t kRawKind = 7;

// Page-set entries in mask order (mask bit 1 + i).
constexpr unsigned kEntries[] = {0x00, 0x01, 0x02, 0x03, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23, 0x2C};
constexpr unsigned kEntryCount = sizeof kEntries / sizeof kEntries[0];
constexpr uint16_t kMaskLower = 1u << 0;
constexpr uint16_t kMaskOthers = 1u << 12;
constexpr uint16_t kMaskNullSet = 1u << 13;
constexpr uint16_t entry_bit(unsigned i) { return static_cast<uint16_t>(1u << (1 + i)); }

constexpr std::size_t page_length(unsigned n) {
    return (n >= 0x20 && n <= 0x23) || n == 0x2C ? 512 : 128;
}

// Reads the input front to back; past its end every read yields zeros.
struct reader {
    const uint8_t *p;
    std::size_t n;

    uint8_t u8() {
        if (n == 0) return 0;
        --n;
        return *p++;
    }
    // Big-endian; each operand read in its own statement to fix the order.
    uint16_t u16() {
        const unsigned hi = u8();
        return static_cast<uint16_t>((hi << 8) | u8());
    }
    uint32_t u32() {
        const uint32_t hi = u16();
        return (hi << 16) | u16();
    }
    uint64_t u64() {
        const uint64_t hi = u32();
        return (hi << 32) | u32();
    }
    void fill(uint8_t *out, std::size_t len) {
        const std::size_t k = len < n ? len : n;
        if (k) std::memcpy(out, p, k);
        std::memset(out + k, 0, len - k);
        p += k;
        n -= k;
    }
};

}  // namespace fiber_fuzz

#endif
