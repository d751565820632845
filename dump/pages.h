// SPDX-License-Identifier: Apache-2.0
// From a module image to the library's calls: which bytes go to the
// lower-page argument and to which page-set entries, and the records that
// each operation fills.
#ifndef FIBERDECODE_DUMP_PAGES_H
#define FIBERDECODE_DUMP_PAGES_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fiber_decode.h"
#include "image.h"

namespace fdump {

struct module_readings;  // readings.h

// The arguments of every entry point for one image. Per kind (as the public
// header's table says):
//   SFP   lower: A0h bytes 0-127            pages[0]: A2h bytes 0-127
//   XFP   lower: page 01h (bytes 128-255)   pages[0]: lower memory 0-127
//   QSFP  lower: lower page                 pages[N]: upper page N
//   CMIS  lower: lower page                 pages[N]: upper page N
// Pages the image does not hold stay null. The pointers point into
// `storage`, which is padded so that the 512-byte entries (CMIS 20h-23h,
// 2Ch) can always be read in full; a plan is therefore never copied.
struct page_plan {
    module_family family = module_family::unknown;
    fiber_module_kind kind = 0;
    std::size_t size = 0;  // image bytes, without the padding
    std::vector<uint8_t> storage;
    const uint8_t *lower = nullptr;
    fiber_pages_t pages{};
    std::vector<std::string> present;  // names of the pages the image holds

    page_plan() = default;
    page_plan(const page_plan &) = delete;
    page_plan &operator=(const page_plan &) = delete;
    page_plan(page_plan &&) = default;
    page_plan &operator=(page_plan &&) = default;

    bool has(unsigned page) const { return page < FIBER_PAGE_COUNT && pages[page] != nullptr; }
};

page_plan plan_pages(module_family family, const module_image &image);

// A plan over pages a caller read itself (see decode_pages in dump.h): the
// pages are copied, and only the ones given are present.
page_plan plan_given_pages(module_family family, const uint8_t *lower, const fiber_pages_t &pages);

fiber_module_kind kind_of(module_family family);

// Everything decoded from one file. A record is present when its operation
// applied to the module and the image held the pages it needs; notes say
// what was left out and why.
struct decoded_module {
    std::string file;
    input_format format = input_format::raw;
    std::size_t size = 0;
    module_family family = module_family::unknown;
    bool family_forced = false;
    std::vector<std::string> pages;
    std::vector<std::string> notes;
    std::optional<fiber_normal_info_t> normal;
    std::optional<fiber_vendor_info_t> vendor;
    std::optional<fiber_diag_info_t> diag;
    std::optional<fiber_alarm_info_t> alarm;
    std::optional<fiber_coremgmt_info_t> coremgmt;
    // The diagnostics as the module means them (readings.h); null without
    // decoded diagnostics.
    std::shared_ptr<const module_readings> readings;
    // Empty when the module was decoded; otherwise why it was not (the
    // family decoder rejected its identification or vendor block).
    std::string failure;
    // Set when the family's decoders turn the module's identifier away but
    // read its map: the identifier the vendor, diagnostics, alarm and state
    // operations were given in its place (describe.h). Identification keeps
    // the module's own bytes.
    std::optional<uint8_t> identifier_in_place;
    // The pages the records were decoded from, for what the records do not
    // carry (the page dump, calibration constants, descriptions).
    std::shared_ptr<const page_plan> plan;
};

decoded_module decode_module(const page_plan &plan);

// Prints the library's page dump of the pages it receives (the diagnostics
// call for QSFP and CMIS, the identification call for SFP and XFP) to
// standard output.
void dump_pages(const page_plan &plan);

}  // namespace fdump

#endif
