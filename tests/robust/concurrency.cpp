// SPDX-License-Identifier: Apache-2.0
// Eight threads decode modules of all four families with all five entry
// points (and the CMIS queries) at once, for thousands of iterations; every
// result must equal, byte for byte, the one decoded on a single thread
// before the threads start. Built and run under ThreadSanitizer by
// scripts/hardening, and plainly in the normal suite.
//
// usage: fiber_concurrency DATA_DIR [ITERATIONS [SAMPLES_DIR]]
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "fiber_decode.h"
#include "module_fixtures.h"

namespace {

using fiber_robust::module_image;

constexpr unsigned kThreads = 8;

struct results {
    fiber_normal_info_t normal;
    fiber_vendor_info_t vendor;
    fiber_diag_info_t diag;
    fiber_alarm_info_t alarm;
    fiber_coremgmt_info_t core;
    uint8_t is_cmis, is_color, cmis_version;
};

// Records start from a fixed pattern, so a record that a call leaves
// untouched (a required page missing) compares equal too.
void decode_all(const module_image &m, results &r) {
    std::memset(&r, 0xA5, sizeof r);
    fiber_decode_normal(m.kind, m.lower, m.pages, &r.normal, 0);
    fiber_decode_vendor(m.kind, m.lower, m.pages, &r.vendor, 0);
    fiber_decode_diag(m.kind, m.lower, m.pages, &r.diag, 0);
    fiber_decode_alarm(m.kind, m.lower, m.pages, &r.alarm, 0);
    fiber_decode_coremgmt(m.kind, m.lower, m.pages, &r.core, 0);
    r.is_cmis = fiber_is_cmis(m.lower);
    r.is_color = fiber_is_color_module(m.lower);
    r.cmis_version = fiber_get_cmis_ver_id(m.lower);
}

const char *first_difference(const results &a, const results &b) {
    if (std::memcmp(&a.normal, &b.normal, sizeof a.normal)) return "fiber_decode_normal";
    if (std::memcmp(&a.vendor, &b.vendor, sizeof a.vendor)) return "fiber_decode_vendor";
    if (std::memcmp(&a.diag, &b.diag, sizeof a.diag)) return "fiber_decode_diag";
    if (std::memcmp(&a.alarm, &b.alarm, sizeof a.alarm)) return "fiber_decode_alarm";
    if (std::memcmp(&a.core, &b.core, sizeof a.core)) return "fiber_decode_coremgmt";
    return "CMIS queries";
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s DATA_DIR [ITERATIONS [SAMPLES_DIR]]\n", argv[0]);
        return 2;
    }
    const long iterations = argc > 2 ? std::atol(argv[2]) : 2000;
    std::vector<const module_image *> modules;
    for (const module_image &m : fiber_robust::all_modules(argv[1])) modules.push_back(&m);
    const std::size_t distinct_expected = modules.size();
    for (const module_image &m : fiber_robust::complete_modules(argv[1])) modules.push_back(&m);
    if (argc > 3)
        for (const module_image &m : fiber_robust::image_files(argv[3])) modules.push_back(&m);
    if (distinct_expected == 0 || iterations <= 0) {
        std::printf("FAIL no modules loaded or no iterations\n");
        return 1;
    }

    // Single-threaded references. The bundled modules differ from each other,
    // so their references must too, or the comparison below proves nothing.
    std::vector<results> reference(modules.size());
    for (std::size_t i = 0; i < modules.size(); ++i) decode_all(*modules[i], reference[i]);
    for (std::size_t i = 0; i < distinct_expected; ++i)
        for (std::size_t j = i + 1; j < distinct_expected; ++j)
            if (std::memcmp(&reference[i], &reference[j], sizeof(results)) == 0) {
                std::printf("FAIL %s and %s decode identically\n", modules[i]->name, modules[j]->name);
                return 1;
            }

    std::atomic<bool> go{false};
    std::atomic<long> mismatches{0};
    std::atomic<const char *> first_what{nullptr};
    std::atomic<const char *> first_module{nullptr};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
            results r;
            for (long i = 0; i < iterations; ++i)
                for (std::size_t k = 0; k < modules.size(); ++k) {
                    // Each thread walks the modules from its own offset, so
                    // different modules are decoded side by side.
                    const std::size_t m = (k + t + static_cast<std::size_t>(i)) % modules.size();
                    decode_all(*modules[m], r);
                    if (std::memcmp(&r, &reference[m], sizeof r) != 0 &&
                        mismatches.fetch_add(1) == 0) {
                        first_what.store(first_difference(r, reference[m]));
                        first_module.store(modules[m]->name);
                    }
                }
        });
    go.store(true, std::memory_order_release);
    for (std::thread &th : threads) th.join();

    const long calls = static_cast<long>(kThreads) * iterations * static_cast<long>(modules.size()) * 5;
    if (mismatches.load() != 0) {
        std::printf("FAIL %ld of %ld module decodes differ from the single-threaded result; first: %s of %s\n",
                    mismatches.load(), calls / 5, first_what.load(), first_module.load());
        return 1;
    }
    std::printf("%u threads x %ld iterations x %zu modules: %ld entry-point calls, all equal to the single-threaded results\n",
                kThreads, iterations, modules.size(), calls);
    return 0;
}
