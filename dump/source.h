// SPDX-License-Identifier: Apache-2.0
// Module sources: where a live module is read from, shared by the
// fiberdecode command and the exporter.
//
//   file:      an EEPROM file as the kernel exposes it (the optoe and at24
//              sysfs `eeprom` files) or any dump the command reads;
//   interface: a Linux network interface, read through the kernel's ethtool
//              interface (the SIOCETHTOOL ioctl, and the ethtool netlink
//              module-EEPROM request for the upper pages of paged memory).
//
// Every read is bounded in time: read_module() runs the I/O on a worker
// thread and gives up after the timeout. A read the kernel never finishes
// (an I2C bus that hangs, a FIFO nobody writes) is abandoned: its thread
// stays blocked in the kernel until the call returns, then drops its result
// and ends. While such a read of a target is still blocked, further reads of
// the same target fail at once instead of starting another thread, so one
// hung module costs one thread however often it is polled, and never delays
// the reads of other modules. Calls that ask for a target while it is being
// read (the same file under two names, say) share that read. read_module()
// may be called from any number of threads.
#ifndef FIBERDECODE_DUMP_SOURCE_H
#define FIBERDECODE_DUMP_SOURCE_H

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "dump.h"

namespace fdump {

struct module_source {
    enum class type { file, interface };
    type kind = type::file;  // file: an EEPROM file (optoe / at24 sysfs) or a dump; interface: a network interface
    std::string name;        // the port name shown in reports and metric labels
    std::string target;      // file path or interface name

    bool operator==(const module_source &) const = default;
};

// --module NAME=PATH: split at the first '='. NAME must be non-empty and
// hold no blanks or control characters; PATH must be non-empty.
outcome<module_source> parse_module_arg(std::string_view name_eq_path);

// --modules-file FILE: one module per line, "NAME PATH" (NAME, blanks, then
// the path up to the end of the line, trailing blanks removed, so that a
// path may hold blanks). Blank lines and lines whose first non-blank
// character is '#' are skipped. A malformed line or a name given twice is an
// error naming the file and the line.
outcome<std::vector<module_source>> read_modules_file(const std::string &path);

// --module-glob PATTERN: the files matching the shell pattern, sorted by
// path. Each is named by the path components that the pattern's wildcard
// components matched, joined by '/': "/sys/bus/i2c/devices/*/eeprom" names
// ".../2-0050/eeprom" "2-0050"; "/srv/dumps/*.bin" names "/srv/dumps/sfp1.bin"
// "sfp1.bin". Names are therefore unique within one pattern. A pattern
// without wildcards names its file by its last component. No match: empty.
std::vector<module_source> glob_modules(const std::string &pattern);

// --interface IFACE: the interface under its own name.
module_source interface_source(const std::string &iface);

// --all-interfaces: every network interface backed by a device (those with
// a `device` link under /sys/class/net; loopback, bridges, tunnels and other
// virtual interfaces never hold a module), sorted by name.
outcome<std::vector<module_source>> all_interfaces();

// How a front-end uses the sources it gathers; it decides what a source
// option that finds nothing means, whether names must be unique, and how the
// errors name the option.
enum class source_use {
    // Read once (the fiberdecode command): a pattern that matches no file and
    // --all-interfaces finding no interface are errors; a name may repeat.
    once,
    // Read every polling round, each name a port label of its own (the
    // exporter): names must be unique; a pattern that matches no file yet is
    // a warning, and --all-interfaces may find none.
    polled,
};

// The values of the source options as the user gave them.
struct source_options {
    std::vector<std::string> modules;        // --module NAME=PATH, repeatable
    std::vector<std::string> modules_files;  // --modules-file FILE
    std::vector<std::string> globs;          // --module-glob PATTERN, repeatable
    std::vector<std::string> interfaces;     // --interface IFACE, repeatable
    bool all_interfaces = false;             // --all-interfaces
    source_use use = source_use::once;
};

// Every source the options name, in the order of the options' kinds:
// --module, --modules-file, --module-glob, --interface, --all-interfaces
// (within a kind, in the order given). Patterns are expanded and the
// interfaces listed once, here. The first bad source stops the gathering
// with one line naming the option, ready to print after the program's name
// and ": ". Warnings (a pattern without match, under source_use::polled)
// are appended to *warnings when it is given, also when an error follows.
outcome<std::vector<module_source>> gather_sources(const source_options &options,
                                                   std::vector<std::string> *warnings = nullptr);

// Reads one module and decodes it through the dump layer. Never blocks longer
// than `timeout`: a hung file or device read (e.g. a FIFO nobody writes) is
// abandoned and reported as an error naming the source.
//
// A file is read and decoded as decode_path() does (options.format and
// options.kind apply); an interface's image is assembled from the ioctl and
// netlink reads in the flat layout and decoded (options.kind applies). The
// decoded module's `file` is the source's name. An error is one line that
// starts with the source's name ("NAME: ", or "NAME (TARGET): " when the
// name is not the target), ready to print after "fiberdecode: ".
outcome<decoded_module> read_module(const module_source &source, std::chrono::milliseconds timeout,
                                    const decode_options &options = {});

}  // namespace fdump

#endif
