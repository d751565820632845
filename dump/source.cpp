// SPDX-License-Identifier: Apache-2.0
// Module sources: parsing the source options, gathering the sources they
// name, and reading one module within a time limit.
#include "source.h"

#include <dirent.h>
#include <glob.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <condition_variable>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include "ethtool.h"

namespace fdump {

namespace {

constexpr std::string_view kBlanks = " \t";

bool valid_name(std::string_view name) {
    return !name.empty() && std::none_of(name.begin(), name.end(), [](unsigned char c) {
        return c <= 0x20 || c == 0x7F;
    });
}

std::string_view trim(std::string_view text) {
    std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    std::size_t last = text.find_last_not_of(" \t\r");
    return text.substr(first, last - first + 1);
}

std::vector<std::string> split_path(std::string_view path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t slash = path.find('/', start);
        if (slash == std::string_view::npos) slash = path.size();
        parts.emplace_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

bool has_wildcard(std::string_view component) { return component.find_first_of("*?[") != std::string_view::npos; }

// "NAME" when the source is named by its target, else "NAME (TARGET)".
std::string label(const module_source &source) {
    return source.name == source.target ? source.name : source.name + " (" + source.target + ")";
}

// What the worker hands back: a file's bytes or an interface's image.
struct read_result {
    outcome<std::vector<uint8_t>> file;
    outcome<ethtool::live_image> live;
};

// One read in flight, shared by its worker and every caller waiting on it.
struct read_slot {
    std::mutex mutex;
    std::condition_variable done_cv;
    bool done = false;
    bool abandoned = false;  // a caller gave up waiting on it
    read_result result;
};

using target_key = std::pair<module_source::type, std::string>;

// The reads in flight, by target: a caller that asks for a target being
// read waits on that read instead of starting another, and a target whose
// read was abandoned gets no second thread. Never destroyed, since abandoned
// readers may still reach it while the program exits.
struct in_flight {
    std::mutex mutex;
    std::map<target_key, std::shared_ptr<read_slot>> reads;
};

in_flight &reads_in_flight() {
    static in_flight *reads = new in_flight;
    return *reads;
}

}  // namespace

outcome<module_source> parse_module_arg(std::string_view name_eq_path) {
    using result = outcome<module_source>;
    std::size_t eq = name_eq_path.find('=');
    if (eq == std::string_view::npos)
        return result::fail("expected NAME=PATH, got \"" + std::string(name_eq_path) + "\"");
    std::string_view name = name_eq_path.substr(0, eq);
    std::string_view path = name_eq_path.substr(eq + 1);
    if (!valid_name(name))
        return result::fail("the module name before '=' must be non-empty, without blanks or control characters");
    if (path.empty()) return result::fail("no path after \"" + std::string(name) + "=\"");
    return result::ok({module_source::type::file, std::string(name), std::string(path)});
}

outcome<std::vector<module_source>> read_modules_file(const std::string &path) {
    using result = outcome<std::vector<module_source>>;
    auto data = read_file(path);
    if (!data) return result::fail(path + ": " + data.error);
    std::string_view text(reinterpret_cast<const char *>(data.value->data()), data.value->size());
    std::vector<module_source> sources;
    std::map<std::string, std::size_t> seen;  // name -> line
    std::size_t number = 0;
    while (!text.empty()) {
        std::size_t nl = text.find('\n');
        std::string_view line = trim(text.substr(0, nl));
        text.remove_prefix(nl == std::string_view::npos ? text.size() : nl + 1);
        ++number;
        if (line.empty() || line.front() == '#') continue;
        const std::string where = path + ":" + std::to_string(number) + ": ";
        std::size_t blank = line.find_first_of(kBlanks);
        if (blank == std::string_view::npos) return result::fail(where + "expected NAME PATH");
        std::string name(line.substr(0, blank));
        std::string_view target = trim(line.substr(blank));
        if (!valid_name(name)) return result::fail(where + "the module name holds a control character");
        if (auto [it, fresh] = seen.emplace(name, number); !fresh)
            return result::fail(where + "module " + name + " already named on line " + std::to_string(it->second));
        sources.push_back({module_source::type::file, std::move(name), std::string(target)});
    }
    return result::ok(std::move(sources));
}

std::vector<module_source> glob_modules(const std::string &pattern) {
    std::vector<module_source> sources;
    glob_t found{};
    if (glob(pattern.c_str(), 0, nullptr, &found) != 0) {
        globfree(&found);
        return sources;
    }
    const std::vector<std::string> pattern_parts = split_path(pattern);
    for (std::size_t i = 0; i < found.gl_pathc; ++i) {
        std::string path = found.gl_pathv[i];
        std::vector<std::string> parts = split_path(path);
        std::string name;
        // glob() keeps the pattern's component count (it adds no slashes
        // and removes none), so components pair up one to one.
        if (parts.size() == pattern_parts.size()) {
            for (std::size_t k = 0; k < parts.size(); ++k)
                if (has_wildcard(pattern_parts[k])) name += (name.empty() ? "" : "/") + parts[k];
        }
        if (name.empty()) name = parts.back().empty() ? path : parts.back();
        sources.push_back({module_source::type::file, std::move(name), std::move(path)});
    }
    globfree(&found);
    return sources;
}

module_source interface_source(const std::string &iface) { return {module_source::type::interface, iface, iface}; }

outcome<std::vector<module_source>> all_interfaces() {
    using result = outcome<std::vector<module_source>>;
    const std::string root = "/sys/class/net/";
    std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir(root.c_str()), closedir);
    if (!dir) return result::fail(root + ": cannot list network interfaces: " + std::strerror(errno));
    std::vector<module_source> sources;
    while (const dirent *entry = readdir(dir.get())) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        struct stat st {};
        if (stat((root + name + "/device").c_str(), &st) != 0) continue;  // a virtual interface
        sources.push_back(interface_source(name));
    }
    std::sort(sources.begin(), sources.end(),
              [](const module_source &a, const module_source &b) { return a.name < b.name; });
    return result::ok(std::move(sources));
}

outcome<std::vector<module_source>> gather_sources(const source_options &options,
                                                   std::vector<std::string> *warnings) {
    using result = outcome<std::vector<module_source>>;
    const bool once = options.use == source_use::once;
    std::vector<module_source> sources;
    auto append = [&sources](std::vector<module_source> &found) {
        sources.insert(sources.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
    };
    for (const auto &arg : options.modules) {
        auto source = parse_module_arg(arg);
        if (!source) return result::fail((once ? "--module " + arg + ": " : "--module: ") + source.error);
        sources.push_back(std::move(*source.value));
    }
    for (const auto &file : options.modules_files) {
        auto listed = read_modules_file(file);  // its errors name the file
        if (!listed) return result::fail((once ? "" : "--modules-file: ") + listed.error);
        append(*listed.value);
    }
    for (const auto &pattern : options.globs) {
        auto found = glob_modules(pattern);
        if (found.empty()) {
            if (once) return result::fail("--module-glob " + pattern + ": no file matches");
            if (warnings) warnings->push_back("--module-glob " + pattern + ": no file matches (yet)");
        }
        append(found);
    }
    for (const auto &iface : options.interfaces) sources.push_back(interface_source(iface));
    if (options.all_interfaces) {
        auto found = all_interfaces();  // its errors name /sys/class/net
        if (!found) return result::fail((once ? "" : "--all-interfaces: ") + found.error);
        if (once && found.value->empty())
            return result::fail("--all-interfaces: no network interface is backed by a device");
        append(*found.value);
    }
    if (!once) {
        // Each name is a port label of its own.
        std::set<std::string_view> names;
        for (const auto &source : sources)
            if (!names.insert(source.name).second) return result::fail("port name \"" + source.name + "\" given twice");
    }
    return result::ok(std::move(sources));
}

outcome<decoded_module> read_module(const module_source &source, std::chrono::milliseconds timeout,
                                    const decode_options &options) {
    using result = outcome<decoded_module>;
    const target_key key{source.kind, source.target};
    in_flight &flights = reads_in_flight();
    std::shared_ptr<read_slot> slot;
    bool joined = false;
    {
        std::lock_guard lock(flights.mutex);
        auto [it, fresh] = flights.reads.try_emplace(key);
        if (fresh) it->second = std::make_shared<read_slot>();
        slot = it->second;
        joined = !fresh;
    }
    if (!joined) {
        try {
            std::thread([slot, source, key] {
                read_result got;
                if (source.kind == module_source::type::interface)
                    got.live = ethtool::read_interface(source.target);
                else
                    got.file = read_file(source.target);
                {
                    in_flight &flights = reads_in_flight();
                    std::lock_guard lock(flights.mutex);
                    flights.reads.erase(key);
                }
                {
                    std::lock_guard lock(slot->mutex);
                    slot->result = std::move(got);
                    slot->done = true;
                }
                slot->done_cv.notify_all();
            }).detach();
        } catch (const std::system_error &e) {
            std::lock_guard lock(flights.mutex);
            flights.reads.erase(key);
            return result::fail(label(source) + ": cannot start a reader thread: " + e.what());
        }
    }

    read_result got;
    {
        std::unique_lock lock(slot->mutex);
        if (joined && slot->abandoned && !slot->done)
            return result::fail(label(source) + ": an earlier read has not returned yet (the device does not answer)");
        if (!slot->done_cv.wait_for(lock, timeout, [&] { return slot->done; })) {
            slot->abandoned = true;
            return result::fail(label(source) + ": read timed out after " + std::to_string(timeout.count()) +
                                " ms (abandoned)");
        }
        got = slot->result;  // other callers may share it
    }

    outcome<decoded_module> decoded;
    if (source.kind == module_source::type::interface) {
        if (!got.live) return result::fail(label(source) + ": " + got.live.error);
        decoded = ethtool::decode_live(*got.live.value, source.name, options);
    } else {
        if (!got.file) return result::fail(label(source) + ": " + got.file.error);
        decoded = decode_bytes(*got.file.value, source.name, options);
    }
    if (!decoded) return result::fail(label(source) + ": " + decoded.error);
    return decoded;
}

}  // namespace fdump
