// SPDX-License-Identifier: Apache-2.0
// The dump layer: the one road from a module's bytes to its reports, shared
// by every front-end (the fiberdecode command, the exporter, the Python
// package, the browser page).
//
//   in:  bytes of a dump (a file, standard input, a buffer: raw, optoe, or
//        hex text in any shape parse_hex in image.h reads; at most 4 MiB),
//        a display name and optional format / family overrides;
//        or the pages a caller has read itself (live reads, bindings).
//   out: one decoded_module (the library's records, the pages the image
//        holds, notes on what it lacks, whether the module was decoded), or
//        an input error: the one-line message the command prints after
//        "fiberdecode: NAME: ".
//   then: text_report() / json_report() render a decoded module.
//
// No front-end parses hex, plans pages, calls the library's entry points or
// builds report JSON itself.
#ifndef FIBERDECODE_DUMP_DUMP_H
#define FIBERDECODE_DUMP_DUMP_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "image.h"
#include "pages.h"
#include "report.h"

namespace fdump {

struct decode_options {
    input_format format = input_format::automatic;
    std::optional<module_family> kind;  // empty: from the SFF-8024 identifier
};

// A dump's bytes to a decoded module, or the input error (exit status 2 of
// the command). A module its family decoder rejects is still a decoded_module,
// with `failure` set (exit status 1).
outcome<decoded_module> decode_bytes(std::span<const uint8_t> data, const std::string &name,
                                     const decode_options &options = {});

// Reads PATH ("-": standard input, named "<stdin>") and decodes it.
outcome<decoded_module> decode_path(const std::string &path, const decode_options &options = {});

// Pages a caller has read itself, as the library's entry points take them:
// `lower` and `pages` per the public header's table for the family (128-byte
// pages; 512 bytes for the CMIS 20h-23h and 2Ch entries). The pages are
// copied; a null page is a page not read. Format "pages". An input error when
// a page every operation on the family needs is missing (SFP: the lower page;
// XFP, QSFP, CMIS: the lower page and pages[0x00]) or the family is unknown.
outcome<decoded_module> decode_pages(module_family family, const uint8_t *lower, const fiber_pages_t &pages,
                            const std::string &name);

// The whole text report (header, notes, sections) and the JSON document.
std::string text_report(const decoded_module &module);
// json_report(const decoded_module &) is declared in report.h.

}  // namespace fdump

#endif
