// SPDX-License-Identifier: Apache-2.0
// Reading a plug-in module through a Linux network interface: the
// SIOCETHTOOL ioctl (ETHTOOL_GMODULEINFO, ETHTOOL_GMODULEEEPROM), whose image
// is the raw layout, and the ethtool generic-netlink module-EEPROM request
// (page, bank, I2C address) for the upper pages of paged SFF-8636 and CMIS
// memory. The pieces are assembled into the flat layout of image.h and
// decoded through the dump layer.
//
// Both kernel paths need CAP_NET_ADMIN in the interface's network namespace.
#ifndef FIBERDECODE_DUMP_ETHTOOL_H
#define FIBERDECODE_DUMP_ETHTOOL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "dump.h"

namespace fdump::ethtool {

// SFF-8024 / SFF-8472 two-wire addresses (8-bit form A0h/A2h, 7-bit on the
// bus and in the netlink request).
constexpr uint8_t kAddressA0 = 0x50;
constexpr uint8_t kAddressA2 = 0x51;

// A module's memory as read from an interface, in the flat layout: SFP A0h
// at 0-255 and A2h at 256-511; XFP, QSFP and CMIS the lower page at 0 and
// upper page N at 128 (N + 1). `have[k]` tells whether bytes 128 k to
// 128 k + 127 were read (the rest are zero).
struct live_image {
    std::vector<uint8_t> bytes;
    std::vector<bool> have;
    std::vector<std::string> notes;  // pages that could not be read, and why

    // Copies `data` to `offset` and marks the 128-byte blocks it fills.
    void place(std::size_t offset, std::span<const uint8_t> data);
    bool has_block(std::size_t block) const { return block < have.size() && have[block]; }
};

// One netlink module-EEPROM read. The kernel serves at most one half page
// per request: offset 0-127 of page 0 (the lower page), or offset 128-255 of
// any page (its upper half).
struct page_request {
    uint8_t page = 0;
    uint8_t bank = 0;
    uint8_t address = kAddressA0;
    uint32_t offset = 0;
    uint32_t length = 128;
};

// The upper pages an interface read asks for once the lower page and upper
// page 00h (SFP: A0h) are in the image, as the module advertises them:
//   SFP:  A2h, lower and upper half, when A0h byte 92 bit 6 says
//         diagnostics are implemented and bit 2 asks for no address change;
//   QSFP: paged memory (lower byte 2 bit 2 clear): page 03h, and pages 01h
//         and 02h when page 00h byte 195 bits 6 and 7 say they are provided;
//   CMIS: paged memory (lower byte 2 bit 7 clear): pages 01h, 02h and 11h,
//         bank 0.
// Pages already in the image are not asked again.
std::vector<page_request> upper_requests(module_family family, const live_image &image);

// Where a request's bytes go in the flat layout.
std::size_t flat_offset(module_family family, const page_request &request);

// The ioctl's image, checked against the length ETHTOOL_GMODULEINFO gave.
outcome<live_image> ioctl_image(uint32_t type, uint32_t eeprom_len, std::span<const uint8_t> data);

// The image to a decoded module: decode_bytes() on the raw layout when the
// blocks read run without a gap from byte 0, else decode_pages() with the
// pages read. The image's notes are added to the module's.
outcome<decoded_module> decode_live(const live_image &image, const std::string &name,
                                    const decode_options &options = {});

// Netlink messages of the module-EEPROM request.
//   request: nlmsghdr (type = the "ethtool" generic-netlink family), genlmsghdr
//   (ETHTOOL_MSG_MODULE_EEPROM_GET), the header nest with the device name,
//   offset, length, page, bank and I2C address.
std::vector<uint8_t> eeprom_request(uint16_t family, uint32_t sequence, const std::string &iface,
                                    const page_request &request);

// A reply buffer: the data of ETHTOOL_A_MODULE_EEPROM_DATA, or the error of
// an NLMSG_ERROR message with the kernel's extended-ack text, if any.
struct netlink_reply {
    int error = 0;            // a positive errno, 0 on success
    std::string message;      // the kernel's explanation (extended ack)
    std::vector<uint8_t> data;
    bool complete = false;    // a reply or an error for `sequence` was found
};
netlink_reply parse_eeprom_reply(std::span<const uint8_t> buffer, uint32_t sequence);

// The error text for an errno of a module read on IFACE (without the name).
std::string read_error_text(int error);

// Reads the module of network interface IFACE: the ioctl image, then the
// advertised upper pages through netlink; netlink alone when the driver
// serves only that. Blocks for as long as the kernel does.
outcome<live_image> read_interface(const std::string &iface);

}  // namespace fdump::ethtool

#endif
