// Every decode call with dump = 0 must leave the heap alone. This program
// replaces malloc, calloc, realloc, the aligned allocators, free and the C++
// allocation operators, links the shared library (whose calls to them bind
// to these definitions), and counts the allocations made inside each call:
// entry points, family decoders, CMIS queries, lookups and numeric helpers,
// on real modules of every family and on unsupported kinds.
//
// Under a sanitizer the runtime owns malloc, so the count comes from its
// allocation hook instead of replaced functions.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
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

namespace {

std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};

void note_allocation() {
    if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

#ifdef FIBER_UNDER_SANITIZER
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void *, std::size_t),
                                                         void (*free_hook)(const volatile void *));
namespace {
void on_malloc(const volatile void *, std::size_t) { note_allocation(); }
void on_free(const volatile void *) {}
const bool g_hooked = __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free) != 0;
}  // namespace
#else
// glibc's own allocator under its exported internal names.
extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void *__libc_realloc(void *, std::size_t);
void *__libc_memalign(std::size_t, std::size_t);
void __libc_free(void *);

void *malloc(std::size_t n) {
    note_allocation();
    return __libc_malloc(n);
}
void *calloc(std::size_t count, std::size_t n) {
    note_allocation();
    return __libc_calloc(count, n);
}
void *realloc(void *p, std::size_t n) {
    note_allocation();
    return __libc_realloc(p, n);
}
void *aligned_alloc(std::size_t alignment, std::size_t n) {
    note_allocation();
    return __libc_memalign(alignment, n);
}
void *memalign(std::size_t alignment, std::size_t n) {
    note_allocation();
    return __libc_memalign(alignment, n);
}
int posix_memalign(void **out, std::size_t alignment, std::size_t n) {
    note_allocation();
    void *p = __libc_memalign(alignment, n);
    if (!p) return ENOMEM;
    *out = p;
    return 0;
}
void free(void *p) { __libc_free(p); }
}
namespace {
const bool g_hooked = true;
}
#endif

// The C++ allocation operators go through malloc, so they are counted by
// whichever of the two mechanisms above is live. (GCC takes free() inside
// operator delete for a mismatch; here both sides are ours.)
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void *operator new(std::size_t n) {
    if (void *p = std::malloc(n ? n : 1)) return p;
    std::abort();
}
void *operator new[](std::size_t n) { return ::operator new(n); }
void *operator new(std::size_t n, const std::nothrow_t &) noexcept { return std::malloc(n ? n : 1); }
void *operator new[](std::size_t n, const std::nothrow_t &) noexcept { return std::malloc(n ? n : 1); }
void operator delete(void *p) noexcept { std::free(p); }
void operator delete[](void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete[](void *p, std::size_t) noexcept { std::free(p); }

namespace {

using fiber_robust::module_image;

int g_checked = 0;
int g_failed = 0;

// Runs one call with counting on and reports any allocation it made.
template <class Call>
void expect_no_allocation(const std::string &what, Call call) {
    g_allocations.store(0);
    g_counting.store(true);
    call();
    g_counting.store(false);
    const long n = g_allocations.load();
    ++g_checked;
    if (n != 0) {
        ++g_failed;
        std::printf("FAIL %s: %ld heap allocation(s)\n", what.c_str(), n);
    }
}

// An allocation through each path must be seen, or a zero count proves nothing.
bool counter_is_live() {
    void *(*volatile allocate)(std::size_t) = std::malloc;
    void *(*volatile allocate_zeroed)(std::size_t, std::size_t) = std::calloc;
    g_allocations.store(0);
    g_counting.store(true);
    void *a = allocate(64);
    void *b = allocate_zeroed(4, 16);
    int *c = new int[8];
    char *d = strdup("allocated inside the C library, as a call from another shared object would be");
    g_counting.store(false);
    std::free(d);
    delete[] c;
    std::free(b);
    std::free(a);
    const long seen = g_allocations.load();
    if (seen < 4) {
        std::printf("FAIL allocation counter saw %ld of 4 deliberate allocations\n", seen);
        return false;
    }
    return true;
}

struct records {
    fiber_normal_info_t normal;
    fiber_vendor_info_t vendor;
    fiber_diag_info_t diag;
    fiber_alarm_info_t alarm;
    fiber_coremgmt_info_t core;
};

void entry_points(const std::string &name, fiber_module_kind kind, const uint8_t *lower, const fiber_pages_t pages) {
    records r{};
    const std::string tag = name + " kind " + std::to_string(kind) + ": ";
    expect_no_allocation(tag + "fiber_decode_normal", [&] { fiber_decode_normal(kind, lower, pages, &r.normal, 0); });
    expect_no_allocation(tag + "fiber_decode_vendor", [&] { fiber_decode_vendor(kind, lower, pages, &r.vendor, 0); });
    expect_no_allocation(tag + "fiber_decode_diag", [&] { fiber_decode_diag(kind, lower, pages, &r.diag, 0); });
    expect_no_allocation(tag + "fiber_decode_alarm", [&] { fiber_decode_alarm(kind, lower, pages, &r.alarm, 0); });
    expect_no_allocation(tag + "fiber_decode_coremgmt",
                         [&] { fiber_decode_coremgmt(kind, lower, pages, &r.core, 0); });
}

// Family decoders called directly on private copies of the module's pages.
void family_decoders(const module_image &m) {
    static uint8_t copy[FIBER_PAGE_COUNT][fiber_robust::kLongPage];
    uint8_t lower[fiber_robust::kBlock];
    std::memcpy(lower, m.lower, sizeof lower);
    for (unsigned n = 0; n < FIBER_PAGE_COUNT; ++n)
        std::memcpy(copy[n], m.storage[n], fiber_robust::page_length(n));
    const uint8_t *p00 = copy[0x00], *p01 = copy[0x01], *p02 = copy[0x02], *p03 = copy[0x03];
    const uint8_t *p11 = copy[0x11], *p12 = copy[0x12], *p20 = copy[0x20], *p2c = copy[0x2C];
    records r{};
    const std::string tag = std::string(m.name) + ": ";
    auto check = [&](const char *what, auto call) {
        r = records{};
        expect_no_allocation(tag + what, call);
    };
    check("fiber_decode_sfp_normal", [&] { fiber_decode_sfp_normal(lower, &r.normal); });
    check("fiber_decode_xfp_normal", [&] { fiber_decode_xfp_normal(lower, &r.normal); });
    check("fiber_decode_qsfp_normal", [&] { fiber_decode_qsfp_normal(p00, lower, &r.normal); });
    check("fiber_decode_cmis_normal", [&] { fiber_decode_cmis_normal(p00, lower, p01, p12, &r.normal); });
    check("fiber_decode_cmis_normal_ignore",
          [&] { fiber_decode_cmis_normal_ignore(p00, lower, p01, p12, &r.normal); });
    check("_fiber_decode_cmis_normal", [&] { _fiber_decode_cmis_normal(p00, lower, p01, nullptr, &r.normal, 1); });
    check("fiber_decode_sfp_vendor", [&] { fiber_decode_sfp_vendor(lower, &r.vendor); });
    check("fiber_decode_xfp_vendor", [&] { fiber_decode_xfp_vendor(lower, &r.vendor); });
    check("fiber_decode_qsfp_vendor", [&] { fiber_decode_qsfp_vendor(p00, &r.vendor); });
    check("fiber_decode_cmis_vendor", [&] { fiber_decode_cmis_vendor(p00, lower, p01, &r.vendor); });
    check("fiber_decode_sfp_diag", [&] { fiber_decode_sfp_diag(lower, p00, 0x20, &r.diag); });
    check("fiber_decode_sfp_diag (external calibration)", [&] { fiber_decode_sfp_diag(lower, p00, 0x10, &r.diag); });
    check("fiber_decode_xfp_diag", [&] { fiber_decode_xfp_diag(lower, p00, &r.diag); });
    check("fiber_decode_qsfp_diag", [&] { fiber_decode_qsfp_diag(p00, lower, p03, &r.diag); });
    check("fiber_decode_cmis_diag", [&] { fiber_decode_cmis_diag(p00, lower, p01, p02, p11, p12, &r.diag); });
    check("fiber_decode_sfp_alarm", [&] { fiber_decode_sfp_alarm(lower, copy[0x00], &r.alarm); });
    check("fiber_decode_xfp_alarm", [&] { fiber_decode_xfp_alarm(lower, p00, &r.alarm); });
    check("fiber_decode_qsfp_alarm", [&] { fiber_decode_qsfp_alarm(p00, lower, &r.alarm); });
    check("fiber_decode_cmis_alarm", [&] { fiber_decode_cmis_alarm(p00, lower, p01, p11, p12, p20, p2c, &r.alarm); });
    volatile uint8_t sink = 0;
    check("fiber_is_cmis", [&] { sink = sink + fiber_is_cmis(lower); });
    check("fiber_is_color_module", [&] { sink = sink + fiber_is_color_module(lower); });
    check("fiber_get_cmis_ver_id", [&] { sink = sink + fiber_get_cmis_ver_id(lower); });
}

void lookups_and_helpers() {
    volatile uintptr_t sink = 0;
    auto keep = [&sink](const void *p) { sink = sink + reinterpret_cast<uintptr_t>(p); };
    expect_no_allocation("fiber_get_trans_str_bytype", [&] {
        const char *prefixes[] = {nullptr, "1000BASE", "10GBASE", "10G", "nonsense"};
        for (const char *prefix : prefixes)
            for (fiber_trans_type t = 0; t < 130; ++t) keep(fiber_get_trans_str_bytype(prefix, t));
    });
    expect_no_allocation("fiber_get_trans_rate_connector_bytype", [&] {
        uint32_t rate = 0, connector = 0;
        for (fiber_trans_type t = 0; t < 130; ++t) {
            fiber_get_trans_rate_connector_bytype(t, &rate, &connector);
            sink = sink + rate + connector;
        }
    });
    expect_no_allocation("fiber_decode_connect_type", [&] {
        const char *name = nullptr;
        for (unsigned code = 0; code < 256; ++code) {
            fiber_decode_connect_type(static_cast<uint8_t>(code), &name);
            keep(name);
        }
    });
    expect_no_allocation("cmis state lookups", [&] {
        for (uint64_t code = 0; code < 20; ++code) {
            keep(cmis_get_module_state_byencode(code));
            keep(cmis_get_datapath_state_byencode(code));
            keep(cmis_get_datapath_lane_mask(code));
        }
    });
    expect_no_allocation("numeric helpers", [&] {
        volatile float f = 0;
        for (uint32_t v = 0; v < 70000; v += 7) {
            f = f + fiber_dbm(static_cast<float>(v)) + fiber_log(static_cast<float>(v) + 0.5f) + stt(static_cast<int32_t>(v * 977u));
            sink = sink + tts(static_cast<float>(v) * 0.37f) + static_cast<uint32_t>(fxln(v * 40503u));
        }
        const uint8_t reg[4] = {0x3F, 0x80, 0x00, 0x00};
        f = f + get_float_from_reg(reg);
        uint8_t block[64];
        std::memset(block, 0xFF, sizeof block);
        sink = sink + get_check_code(block, 63) + get_check_code(block, 0) + get_check_code(block, -1);
    });
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: %s DATA_DIR [SAMPLES_DIR]\n", argv[0]);
        return 2;
    }
    const auto modules = fiber_robust::all_modules(argv[1]);
    const auto complete = fiber_robust::complete_modules(argv[1]);
    if (modules.empty() || complete.empty() || !g_hooked) {
        std::printf("FAIL could not set up (modules or allocation hook missing)\n");
        return 1;
    }
    if (!counter_is_live()) return 1;

    const auto samples = argc == 3 ? fiber_robust::image_files(argv[2]) : std::span<const module_image>{};
    for (const auto &set : {modules, complete, samples})
        for (const module_image &m : set) {
            entry_points(m.name, m.kind, m.lower, m.pages);
            family_decoders(m);
        }
    // Unsupported kinds and a page set with nothing in it.
    const module_image &any = modules[0];
    for (fiber_module_kind kind : {0u, 4u, 5u, 7u, 0xFFFFFFFFu}) entry_points(any.name, kind, any.lower, any.pages);
    const fiber_pages_t empty = {};
    for (fiber_module_kind kind : {1u, 2u, 3u, 6u}) entry_points("empty page set", kind, any.lower, empty);
    lookups_and_helpers();

    std::printf("%d calls checked for heap use: %d passed, %d failed\n", g_checked, g_checked - g_failed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
