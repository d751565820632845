// SPDX-License-Identifier: Apache-2.0
// Every decode call with dump = 0 must leave the heap alone. This program
// replaces malloc, calloc, realloc, aligned_alloc and free, links the
// shared library (whose calls to them, and the C++ runtime's operator new,
// bind to these definitions), and counts the allocations made inside each
// call: entry points, family decoders, CMIS queries, lookups and numeric
// helpers, on real modules of every family and on unsupported kinds.
//
// Under a sanitizer the runtime owns malloc, so the count comes from its
// allocation hook instead of replaced functions.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fiber_decode.h"
#include "module_fixtures.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FIBER_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FIBER_UNDER_SANITIZER 1
#endif
#endif

#ifdef FIBER_UNDER_SANITIZER
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void *, std::size_t),
                                                         void (*free_hook)(const volatile void *));
#endif

namespace {

std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};

template <class T>
T counted(T result) {
    if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
    return result;
}

#ifdef FIBER_UNDER_SANITIZER
void on_malloc(const volatile void *p, std::size_t) { counted(p); }
void on_free(const volatile void *) {}
const bool g_hooked = __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free) != 0;
#else
const bool g_hooked = true;
#endif

}  // namespace

#ifndef FIBER_UNDER_SANITIZER
// glibc's own allocator under its exported internal names.
extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void *__libc_realloc(void *, std::size_t);
void *__libc_memalign(std::size_t, std::size_t);
void __libc_free(void *);

void *malloc(std::size_t n) { return counted(__libc_malloc(n)); }
void *calloc(std::size_t count, std::size_t n) { return counted(__libc_calloc(count, n)); }
void *realloc(void *p, std::size_t n) { return counted(__libc_realloc(p, n)); }
void *aligned_alloc(std::size_t alignment, std::size_t n) { return counted(__libc_memalign(alignment, n)); }
void free(void *p) { __libc_free(p); }
}
#endif

namespace {

using fiber_robust::module_image;

int g_checked = 0;
int g_failed = 0;

// The heap allocations made inside one call.
template <class Call>
long allocations_in(Call call) {
    g_allocations.store(0);
    g_counting.store(true);
    call();
    g_counting.store(false);
    return g_allocations.load();
}

template <class Call>
void expect_no_allocation(const std::string &what, Call call) {
    ++g_checked;
    if (const long n = allocations_in(call)) {
        ++g_failed;
        std::printf("FAIL %s: %ld heap allocation(s)\n", what.c_str(), n);
    }
}

// An allocation through each path must be seen, or a zero count proves
// nothing: malloc, realloc, calloc, operator new and one from inside the C
// library, as a call from another shared object would make it.
bool counter_is_live() {
    void *(*volatile allocate)(std::size_t) = std::malloc;
    void *(*volatile allocate_zeroed)(std::size_t, std::size_t) = std::calloc;
    void *(*volatile reallocate)(void *, std::size_t) = std::realloc;
    void *(*volatile make)(std::size_t) = ::operator new;
    void *held[4] = {};
    const long seen = allocations_in([&] {
        held[0] = reallocate(allocate(64), 4096);
        held[1] = allocate_zeroed(4, 16);
        held[2] = strdup("allocated inside the C library");
        held[3] = make(32);
    });
    ::operator delete(held[3]);
    for (void *p : {held[0], held[1], held[2]}) std::free(p);
    if (seen < 5) std::printf("FAIL allocation counter saw %ld of 5 deliberate allocations\n", seen);
    return seen >= 5;
}

struct records { fiber_normal_info_t normal; fiber_vendor_info_t vendor; fiber_diag_info_t diag;
                 fiber_alarm_info_t alarm; fiber_coremgmt_info_t core; };

// The five entry points; they reach every family decoder on the modules of
// its family. For a whole module also the calls they do not make on these
// modules: the CMIS identification variants, externally calibrated SFP
// diagnostics and the CMIS queries.
void decode_all(const std::string &name, fiber_module_kind kind, const uint8_t *lower, const fiber_pages_t pages,
                const module_image *m = nullptr) {
    records r{};
    auto check = [&](const char *what, auto call) {
        r = records{};
        expect_no_allocation(name + " kind " + std::to_string(kind) + ": " + what, call);
    };
    check("fiber_decode_normal", [&] { fiber_decode_normal(kind, lower, pages, &r.normal, 0); });
    check("fiber_decode_vendor", [&] { fiber_decode_vendor(kind, lower, pages, &r.vendor, 0); });
    check("fiber_decode_diag", [&] { fiber_decode_diag(kind, lower, pages, &r.diag, 0); });
    check("fiber_decode_alarm", [&] { fiber_decode_alarm(kind, lower, pages, &r.alarm, 0); });
    check("fiber_decode_coremgmt", [&] { fiber_decode_coremgmt(kind, lower, pages, &r.core, 0); });
    if (!m) return;
    const uint8_t *p00 = m->storage[0x00], *p01 = m->storage[0x01], *p12 = m->storage[0x12];
    check("fiber_decode_cmis_normal_ignore", [&] { fiber_decode_cmis_normal_ignore(p00, lower, p01, p12, &r.normal); });
    check("_fiber_decode_cmis_normal", [&] { _fiber_decode_cmis_normal(p00, lower, p01, nullptr, &r.normal, 1); });
    check("fiber_decode_sfp_diag, external", [&] { fiber_decode_sfp_diag(lower, p00, 0x10, &r.diag); });
    check("fiber_is_cmis", [&] { fiber_is_cmis(lower); });
    check("fiber_is_color_module", [&] { fiber_is_color_module(lower); });
    check("fiber_get_cmis_ver_id", [&] { fiber_get_cmis_ver_id(lower); });
}

// Results are dropped: calls into the shared library are not optimised away.
void lookups_and_helpers() {
    expect_no_allocation("type, connector and state lookups", [] {
        uint32_t rate = 0, connector = 0;
        const char *name = nullptr;
        for (fiber_trans_type t = 0; t < 130; ++t) {
            for (const char *prefix : {static_cast<const char *>(nullptr), "1000BASE", "10GBASE", "10G", "nonsense"})
                fiber_get_trans_str_bytype(prefix, t);
            fiber_get_trans_rate_connector_bytype(t, &rate, &connector);
        }
        for (unsigned code = 0; code < 256; ++code) {
            fiber_decode_connect_type(static_cast<uint8_t>(code), &name);
            cmis_get_module_state_byencode(code);
            cmis_get_datapath_state_byencode(code);
            cmis_get_datapath_lane_mask(code);
        }
    });
    expect_no_allocation("numeric helpers", [] {
        for (uint32_t v = 0; v < 70000; v += 7) {
            fiber_dbm(v);
            fiber_log(v + 0.5f);
            stt(static_cast<int32_t>(v * 977u));
            tts(v * 0.37f);
            fxln(v * 40503u);
        }
        const uint8_t block[4] = {0x3F, 0x80, 0x00, 0x00};
        get_float_from_reg(block);
        get_check_code(block, 3);
        get_check_code(block, -1);
    });
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: %s DATA_DIR [SAMPLES_DIR]\n", argv[0]);
        return 2;
    }
    const auto modules = fiber_robust::all_modules(argv[1]);
    if (modules.empty() || !g_hooked || !counter_is_live()) {
        std::printf("FAIL could not set up (modules missing, or allocations not seen)\n");
        return 1;
    }
    const auto samples = argc == 3 ? fiber_robust::image_files(argv[2]) : std::span<const module_image>{};
    for (const auto &set : {modules, fiber_robust::complete_modules(argv[1]), samples})
        for (const module_image &m : set) decode_all(m.name, m.kind, m.lower, m.pages, &m);
    // Unsupported kinds and a page set with nothing in it.
    const module_image &any = modules[0];
    for (fiber_module_kind kind : {0u, 4u, 5u, 7u, 0xFFFFFFFFu}) decode_all(any.name, kind, any.lower, any.pages);
    const fiber_pages_t empty = {};
    for (fiber_module_kind kind : {1u, 2u, 3u, 6u}) decode_all("empty page set", kind, any.lower, empty);
    lookups_and_helpers();
    std::printf("%d calls checked for heap use: %d passed, %d failed\n", g_checked, g_checked - g_failed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
