// SPDX-License-Identifier: Apache-2.0
// Page mapping and the calls into the library for one module image.
#include "pages.h"
#include "describe.h"
#include "readings.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace fdump {

namespace {

constexpr std::size_t kSfpA2 = 256;        // SFF-8472 A2h in the raw image
constexpr unsigned kSfpDiagType = 92;      // SFF-8472 A0h byte 92
constexpr std::size_t kLargestEntry = 512; // CMIS 20h-23h and 2Ch entries
constexpr unsigned kCmisMemoryModel = 2;    // CMIS lower page byte 2
constexpr uint8_t kCmisFlatMemory = 0x80;   // bit 7: flat memory, no upper pages but 00h
// Pages the library consults, by family.
constexpr unsigned kQsfpPages[] = {0x00, 0x01, 0x02, 0x03};
constexpr unsigned kCmisPages[] = {0x00, 0x01, 0x02, 0x11, 0x12, 0x20, 0x21, 0x22, 0x23, 0x2C};

std::string page_name(unsigned page) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "%02Xh", page);
    return buf;
}

std::string decoder_rejected(module_family family) {
    return std::string("the ") + family_title(family) + " decoder does not recognise this module";
}

// The identifier was accepted (the vendor record was decoded) but no
// transceiver type of the library's type map matches the module.
std::string no_type(module_family family) {
    return std::string("the ") + family_title(family) + " decoder finds no transceiver type for this module";
}

const uint8_t kZeroPage[kPage] = {};

// Names the upper pages a QSFP or CMIS plan holds among those the library
// reads, in page order.
void name_upper_pages(page_plan &plan) {
    auto name = [&](const auto &read) {
        for (unsigned n : read)
            if (plan.has(n)) plan.present.push_back(page_name(n));
    };
    if (plan.family == module_family::qsfp)
        name(kQsfpPages);
    else
        name(kCmisPages);
}

}  // namespace

fiber_module_kind kind_of(module_family family) {
    switch (family) {
    case module_family::sfp: return FIBER_KIND_SFP;
    case module_family::xfp: return FIBER_KIND_XFP;
    case module_family::qsfp: return FIBER_KIND_QSFP;
    case module_family::cmis: return FIBER_KIND_CMIS;
    case module_family::unknown: break;
    }
    return 0;
}

page_plan plan_pages(module_family family, const module_image &image) {
    page_plan plan;
    plan.family = family;
    plan.kind = kind_of(family);
    plan.size = image.bytes.size();
    plan.storage = image.bytes;
    plan.storage.resize(plan.size + kLargestEntry, 0);
    const uint8_t *base = plan.storage.data();
    // Upper page N of the flat layout lies at 128 (N + 1).
    auto flat_page_present = [&](unsigned n) { return plan.size >= kPage * (n + 2); };

    switch (family) {
    case module_family::sfp:
        plan.lower = base;  // A0h bytes 0-127
        plan.present.push_back("A0h");
        if (plan.size >= kSfpA2 + kPage) {
            plan.pages[0] = base + kSfpA2;  // A2h bytes 0-127
            plan.present.push_back("A2h");
        }
        break;
    case module_family::xfp: {
        // INF-8077i: the serial ID table (page 01h, identifier 06h at its
        // byte 128) follows the lower memory in a raw image; an optoe file
        // puts upper page N at 128 (N + 1), so page 00h comes first. A raw
        // image longer than 256 bytes is taken as flat when page 01h's
        // identifier is found there and not at byte 128.
        bool flat = plan.size >= 3 * kPage &&
                    (image.format == input_format::optoe || (base[2 * kPage] == 0x06 && base[kPage] != 0x06));
        plan.lower = base + (flat ? 2 * kPage : kPage);
        plan.pages[0] = base;
        plan.present = {"lower", "01h"};
        break;
    }
    case module_family::qsfp:
    case module_family::cmis:
        plan.lower = base;
        plan.present.push_back("lower");
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
            if (flat_page_present(n)) plan.pages[n] = base + kPage * (n + 1);
        name_upper_pages(plan);
        break;
    case module_family::unknown:
        break;
    }
    return plan;
}

page_plan plan_given_pages(module_family family, const uint8_t *lower, const fiber_pages_t &pages) {
    page_plan plan;
    plan.family = family;
    plan.kind = kind_of(family);
    // Each given page gets its own slot of the largest entry's size, so
    // that 512-byte CMIS entries are read in full and stay apart.
    plan.storage.assign(kLargestEntry * (FIBER_PAGE_COUNT + 1), 0);
    auto copy = [&](const uint8_t *from, std::size_t slot, std::size_t size) {
        uint8_t *to = plan.storage.data() + kLargestEntry * slot;
        std::copy(from, from + size, to);
        return to;
    };
    auto entry_size = [&](unsigned n) {
        return family == module_family::cmis && ((n >= 0x20 && n <= 0x23) || n == 0x2C) ? kLargestEntry : kPage;
    };
    if (lower) plan.lower = copy(lower, FIBER_PAGE_COUNT, kPage);
    for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
        if (pages[n]) plan.pages[n] = copy(pages[n], n, entry_size(n));

    std::size_t highest = 0;  // the size of the same pages in the flat layout
    switch (family) {
    case module_family::sfp:
        if (plan.lower) plan.present.push_back("A0h"), highest = kPage;
        if (plan.has(0)) plan.present.push_back("A2h"), highest = kSfpA2 + kPage;
        break;
    case module_family::xfp:
        if (plan.has(0)) plan.present.push_back("lower"), highest = kPage;
        if (plan.lower) plan.present.push_back("01h"), highest = 2 * kPage;
        break;
    case module_family::qsfp:
    case module_family::cmis:
        if (plan.lower) plan.present.push_back("lower"), highest = kPage;
        for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
            if (plan.has(n)) highest = kPage * (n + 2);
        name_upper_pages(plan);
        break;
    case module_family::unknown:
        break;
    }
    plan.size = highest;
    return plan;
}

decoded_module decode_module(const page_plan &plan) {
    decoded_module d;
    d.family = plan.family;
    d.pages = plan.present;
    const fiber_module_kind kind = plan.kind;
    // A module whose identifier its family's decoders turn away, on a map
    // they read: vendor, diagnostics, alarms and state come from a copy of
    // its pages with an identifier they accept (describe.h); identification
    // by the type map always from the module's own bytes.
    const auto substitute = substitute_identifier(plan);
    const uint8_t *lower = substitute ? substitute->lower_page : plan.lower;
    const auto &pages = substitute ? substitute->pages : plan.pages;
    if (substitute) {
        d.identifier_in_place = substitute->in_place;
        d.notes.push_back(substitution_note(*substitute));
    }

    auto identification = [&](const fiber_pages_t &with) {
        fiber_normal_info_t n;
        fiber_decode_normal(kind, plan.lower, with, &n, 0);
        d.normal = n;
    };
    auto vendor = [&] {
        fiber_vendor_info_t v;
        fiber_decode_vendor(kind, lower, pages, &v, 0);
        d.vendor = v;
    };
    auto diagnostics_and_alarms = [&] {
        fiber_diag_info_t g;
        fiber_decode_diag(kind, lower, pages, &g, 0);
        d.diag = g;
        fiber_alarm_info_t a;
        fiber_decode_alarm(kind, lower, pages, &a, 0);
        d.alarm = a;
    };

    switch (plan.family) {
    case module_family::sfp:
        identification(plan.pages);
        vendor();
        if (plan.has(0)) {
            diagnostics_and_alarms();
        } else {
            d.notes.push_back("the image holds no A2h block: identification and vendor information only");
        }
        break;
    case module_family::xfp:
        identification(plan.pages);
        vendor();
        diagnostics_and_alarms();
        break;
    case module_family::qsfp:
        identification(plan.pages);
        vendor();
        diagnostics_and_alarms();
        if (!plan.has(3)) d.notes.push_back("page 03h is not in the image: no thresholds");
        break;
    case module_family::cmis: {
        // A flat-memory module (passive copper cables, for example) has no
        // upper page but 00h: it advertises nothing in page 01h, which reads
        // as zeros, and has no lane monitors or data-path states to show.
        const bool flat = !plan.has(1) && (lower[kCmisMemoryModel] & kCmisFlatMemory);
        if (plan.has(1)) {
            identification(plan.pages);
        } else if (flat) {
            fiber_pages_t with_zero_01h{};
            std::copy(std::begin(plan.pages), std::end(plan.pages), std::begin(with_zero_01h));
            with_zero_01h[1] = kZeroPage;
            identification(with_zero_01h);
            d.notes.push_back("flat-memory module (lower page byte 2 bit 7): no upper pages but 00h; "
                              "identified with page 01h as zeros, no diagnostics, alarms or module state");
        } else {
            d.notes.push_back("identification needs page 01h, which the image does not hold");
        }
        vendor();
        if (plan.has(1) && plan.has(0x11)) {
            diagnostics_and_alarms();
            if (!plan.has(2)) d.notes.push_back("page 02h is not in the image: no thresholds");
        } else if (!flat) {
            d.notes.push_back("diagnostics and alarms need pages 01h and 11h, which the image does not hold");
        }
        if (plan.has(0x11)) {
            fiber_coremgmt_info_t c;
            fiber_decode_coremgmt(kind, lower, pages, &c, 0);
            d.coremgmt = c;
        } else if (!flat) {
            d.notes.push_back("the module state needs page 11h, which the image does not hold");
        }
        break;
    }
    case module_family::unknown:
        d.failure = "unknown module family";
        return d;
    }

    if (d.vendor && d.vendor->unsupported)
        d.failure = decoder_rejected(plan.family);
    else if (d.normal && d.normal->unsupported && !d.identifier_in_place)
        d.failure = no_type(plan.family);
    if (plan.family == module_family::sfp && d.diag && d.diag->unsupported && plan.lower[kSfpDiagType] == 0)
        d.notes.push_back("the module implements no diagnostics (A0h byte 92 is 00h)");
    if (d.diag)
        if (auto readings = compute_readings(plan, *d.diag, d.notes))
            d.readings = std::make_shared<const module_readings>(std::move(*readings));
    return d;
}

void dump_pages(const page_plan &plan) {
    std::fflush(stdout);
    const bool cmis_monitors = plan.has(1) && plan.has(0x11);
    if (plan.family == module_family::qsfp || (plan.family == module_family::cmis && cmis_monitors)) {
        fiber_diag_info_t scratch;
        fiber_decode_diag(plan.kind, plan.lower, plan.pages, &scratch, 1);
    } else if (plan.family == module_family::cmis) {
        fiber_vendor_info_t scratch;
        fiber_decode_vendor(plan.kind, plan.lower, plan.pages, &scratch, 1);
    } else {
        fiber_normal_info_t scratch;
        fiber_decode_normal(plan.kind, plan.lower, plan.pages, &scratch, 1);
    }
    std::fflush(stdout);
}

}  // namespace fdump
