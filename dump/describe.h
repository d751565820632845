// SPDX-License-Identifier: Apache-2.0
// What a module is, from its own bytes: the codes of the standards' tables
// (SFF-8024 identifiers, connectors, extended compliance codes, CMIS
// interface codes; SFF-8472 and SFF-8636 compliance bits) named, a one-line
// summary, and the CMIS applications a module advertises.
//
// Also here: the alternate-identifier path. A module whose memory map the
// library reads (a CMIS lower page as fiber_is_cmis decides it, an SFF-8472
// A0h block with its layout and check code) but whose identifier byte the
// family decoders turn away (OSFP 19h, SFP-DD 1Fh, DWDM SFP+ 0Bh, ...) has
// its vendor, diagnostics, alarm and state operations run on a copy of its
// pages in which only the identifier byte is replaced by one those decoders
// accept. Identification by the library's type map is always decoded from
// the module's own bytes.
#ifndef FIBERDECODE_DUMP_DESCRIBE_H
#define FIBERDECODE_DUMP_DESCRIBE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pages.h"
#include "report.h"

namespace fdump {

// One application a CMIS module advertises (an application descriptor of
// four bytes: lower page bytes 86-117 for ApSel 1-8, page 01h bytes 223-250
// for ApSel 9-15).
struct cmis_application {
    unsigned apsel = 0;              // application select code, 1-15
    uint8_t host_interface = 0;      // byte 0: SFF-8024 host electrical interface code
    uint8_t media_interface = 0;     // byte 1: code in the table of the module media type (lower page byte 85)
    unsigned host_lanes = 0;         // byte 2 bits 7-4
    unsigned media_lanes = 0;        // byte 2 bits 3-0
    uint8_t host_lane_options = 0;   // byte 3: bit n set, the application may start on host lane n + 1
};

// The advertised applications in ApSel order. A host interface code FFh
// ends the list; a descriptor with host interface code 00h (undefined) is
// not an application and is left out. `page01` may be null (a flat-memory
// module or an image without page 01h): then ApSel 1-8 only.
std::vector<cmis_application> cmis_applications(const uint8_t *lower, const uint8_t *page01);
std::vector<cmis_application> cmis_applications(const page_plan &plan);

// The ApSel code host lane 1 runs in the active control set (page 11h byte
// 206 bits 7-4), 0 when the image has no page 11h or the lane is unused.
unsigned cmis_active_apsel(const page_plan &plan);

// The description's CMIS lane count is the module's: the application host
// lane 1 runs (active control set), or else the first advertised one, times
// the instances of it the module holds (one per host lane it may start on,
// byte 3 of its descriptor). The readings count fewer where fewer data paths
// are active: they show the lanes page 11h monitors (cmis_media_lanes in
// readings.h). Neither is the record's media_lane_count, which is always
// lower page byte 88 (the first descriptor, used or not).

// SFF-8472 A0h layout: the check code of bytes 0-62 is byte 63 (CC_BASE),
// the block is not all zero, and the vendor name (bytes 20-35) and part
// number (bytes 40-55) are printable ASCII as the standard requires. Tells
// an SFF-8472 module whose identifier is not 03h from other memory maps.
bool sff8472_layout(const uint8_t *a0);

// The pages the vendor, diagnostics, alarm and state decoders are given for
// a module whose identifier its family's decoders turn away: copies of the
// identifier-bearing pages with the identifier replaced. The pointers point
// into this object, which is therefore never copied.
struct substituted_pages {
    module_family family = module_family::unknown;
    uint8_t identifier = 0;  // the module's own: CMIS lower page byte 0, SFF-8472 A0h byte 0
    uint8_t in_place = 0;    // the one the decoders are given
    std::array<uint8_t, 128> lower{};
    std::array<uint8_t, 128> page00{};
    const uint8_t *lower_page = nullptr;
    fiber_pages_t pages{};

    substituted_pages() = default;
    substituted_pages(const substituted_pages &) = delete;
    substituted_pages &operator=(const substituted_pages &) = delete;
};

// Null when the module's identifier is one its family's decoders accept, or
// its map is not one the library reads (a wrong --kind stays rejected).
//   CMIS: fiber_is_cmis holds for the lower page and lower page byte 0 is
//         not 0Ah, 18h, 1Bh or 1Eh: lower page byte 0 and page 00h byte 128
//         become 18h (QSFP-DD), whose map and page plan every CMIS form
//         factor shares.
//   SFP:  A0h byte 0 is not 03h or 82h and sff8472_layout holds: byte 0
//         becomes 03h and the check code CC_BASE (byte 63) moves by the same
//         amount, so that the check code holds exactly when it held before.
std::unique_ptr<const substituted_pages> substitute_identifier(const page_plan &plan);

// The report's note on a substitution: which identifier the module has and
// as what its map was decoded.
std::string substitution_note(const substituted_pages &substitute);

// One line naming the module by what its bytes say, e.g.
// "QSFP28 100GBASE-CWDM4, LC, 1310 nm, 2 km"; where the library's type map
// names the module, the summary uses that name.
std::string module_summary(const decoded_module &module);

// The text report's "Description" section (an empty line, the title, the
// fields) and the JSON document's `description` object.
std::string description_text(const decoded_module &module);
document_builder::value description_json(const decoded_module &module, document_builder &builder);

// The Identification status of a module decoded through substituted pages:
// the library's type map does not know its identifier. Empty otherwise.
std::string substituted_identification_status(const decoded_module &module);

// Names of the standards' codes (exposed for the tests): the name, or
// "unknown" for a code no table knows.
const char *identifier_name(uint8_t code);           // SFF-8024 Table 4-1
const char *connector_name(uint8_t code);            // SFF-8024 Table 4-3
const char *extended_compliance_name(uint8_t code);  // SFF-8024 Table 4-4
const char *host_interface_name(uint8_t code);       // SFF-8024 Table 4-5
// Media interface code in the table of the CMIS module media type (lower
// page byte 85): 01h multimode fibre (SFF-8024 Table 4-6), 02h single-mode
// fibre (4-7), 03h passive copper (4-8), 04h active cable (4-9), 05h BASE-T
// (4-10).
const char *media_interface_name(uint8_t media_type, uint8_t code);
const char *media_type_name(uint8_t code);           // CMIS lower page byte 85
// SFF-8636 page 00h byte 147 bits 7-4.
const char *transmitter_technology_name(uint8_t code);
// Names of the set compliance bits: SFF-8472 A0h bytes 3-9 (cable
// technology bits 3-2 of byte 8 excluded), SFF-8636 page 00h bytes 131-137
// (byte 131 bit 7 excluded); Fibre Channel speeds of SFF-8472 bytes 10 and
// 62 and SFF-8636 byte 138.
std::vector<std::string> sfp_compliance(const uint8_t *a0);
std::vector<std::string> sfp_fc_speeds(const uint8_t *a0);
std::vector<std::string> qsfp_compliance(const uint8_t *page00);
std::vector<std::string> qsfp_fc_speeds(const uint8_t *page00);

}  // namespace fdump

#endif
