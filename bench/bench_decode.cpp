// SPDX-License-Identifier: Apache-2.0
// Google Benchmark suite: the five entry points for each family on real
// module pages with every page the family uses present, each family decoder
// on its own, and fiber_dbm over a spread of powers next to the libm
// expression a caller would otherwise write, 10 * log10f(v / 10000).
//
//   cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DFIBER_BUILD_BENCH=ON
//   cmake --build build-bench --target fiber_bench && build-bench/bench/fiber_bench
//
// Targets: every entry point under 1 us per call for every family, and
// fiber_dbm no slower than the libm reference.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fiber_decode.h"
#include "module_fixtures.h"

namespace {

using fiber_robust::module_image;

const char *family_name(fiber_module_kind kind) {
    switch (kind) {
    case FIBER_KIND_SFP: return "sfp";
    case FIBER_KIND_XFP: return "xfp";
    case FIBER_KIND_QSFP: return "qsfp";
    default: return "cmis";
    }
}

// --- Entry points ---------------------------------------------------------

template <class Record, void (*Entry)(fiber_module_kind, const uint8_t *, const fiber_pages_t, Record *, uint8_t)>
void entry_point(benchmark::State &state, const module_image *m) {
    Record info;
    for (auto _ : state) {
        Entry(m->kind, m->lower, m->pages, &info, 0);
        benchmark::DoNotOptimize(info);
        benchmark::ClobberMemory();
    }
}

void register_entry_points(const module_image &m) {
    const std::string f = family_name(m.kind);
    benchmark::RegisterBenchmark(("entry/normal/" + f).c_str(),
                                 entry_point<fiber_normal_info_t, fiber_decode_normal>, &m);
    benchmark::RegisterBenchmark(("entry/vendor/" + f).c_str(),
                                 entry_point<fiber_vendor_info_t, fiber_decode_vendor>, &m);
    benchmark::RegisterBenchmark(("entry/diag/" + f).c_str(), entry_point<fiber_diag_info_t, fiber_decode_diag>, &m);
    benchmark::RegisterBenchmark(("entry/alarm/" + f).c_str(),
                                 entry_point<fiber_alarm_info_t, fiber_decode_alarm>, &m);
    benchmark::RegisterBenchmark(("entry/coremgmt/" + f).c_str(),
                                 entry_point<fiber_coremgmt_info_t, fiber_decode_coremgmt>, &m);
}

// --- Family decoders --------------------------------------------------------

// The decoders expect a zeroed record; clearing it is part of each timed call.
template <class Record, class Call>
void decoder(benchmark::State &state, Call call) {
    Record info;
    for (auto _ : state) {
        std::memset(&info, 0, sizeof info);
        call(&info);
        benchmark::DoNotOptimize(info);
        benchmark::ClobberMemory();
    }
}

// Private copies of a module's pages, as an entry point hands them over.
struct decoder_pages {
    uint8_t lower[fiber_robust::kBlock];
    uint8_t page[FIBER_PAGE_COUNT][fiber_robust::kLongPage];
    explicit decoder_pages(const module_image &m) {
        std::memcpy(lower, m.lower, sizeof lower);
        std::memcpy(page, m.storage, sizeof page);
    }
};

void register_decoders(const module_image &m) {
    auto *p = new decoder_pages(m);  // lives as long as the benchmarks
    const uint8_t *lo = p->lower, *p00 = p->page[0x00], *p01 = p->page[0x01], *p02 = p->page[0x02];
    const uint8_t *p03 = p->page[0x03], *p11 = p->page[0x11], *p12 = p->page[0x12], *p20 = p->page[0x20];
    const uint8_t *p2c = p->page[0x2C];
    uint8_t *a2 = p->page[0x00];
    const uint8_t calibration = lo[92] & 0x30;  // SFF-8472 A0h byte 92 bits 5-4
    auto reg = [](const char *name, auto fn) { benchmark::RegisterBenchmark(name, fn); };
    switch (m.kind) {
    case FIBER_KIND_SFP:
        reg("decoder/sfp_normal", [=](benchmark::State &s) {
            decoder<fiber_normal_info_t>(s, [=](auto *i) { fiber_decode_sfp_normal(lo, i); });
        });
        reg("decoder/sfp_vendor", [=](benchmark::State &s) {
            decoder<fiber_vendor_info_t>(s, [=](auto *i) { fiber_decode_sfp_vendor(lo, i); });
        });
        reg("decoder/sfp_diag", [=](benchmark::State &s) {
            decoder<fiber_diag_info_t>(s, [=](auto *i) { fiber_decode_sfp_diag(lo, p00, calibration, i); });
        });
        reg("decoder/sfp_alarm", [=](benchmark::State &s) {
            decoder<fiber_alarm_info_t>(s, [=](auto *i) { fiber_decode_sfp_alarm(lo, a2, i); });
        });
        break;
    case FIBER_KIND_XFP:
        reg("decoder/xfp_normal", [=](benchmark::State &s) {
            decoder<fiber_normal_info_t>(s, [=](auto *i) { fiber_decode_xfp_normal(lo, i); });
        });
        reg("decoder/xfp_vendor", [=](benchmark::State &s) {
            decoder<fiber_vendor_info_t>(s, [=](auto *i) { fiber_decode_xfp_vendor(lo, i); });
        });
        reg("decoder/xfp_diag", [=](benchmark::State &s) {
            decoder<fiber_diag_info_t>(s, [=](auto *i) { fiber_decode_xfp_diag(lo, p00, i); });
        });
        reg("decoder/xfp_alarm", [=](benchmark::State &s) {
            decoder<fiber_alarm_info_t>(s, [=](auto *i) { fiber_decode_xfp_alarm(lo, p00, i); });
        });
        break;
    case FIBER_KIND_QSFP:
        reg("decoder/qsfp_normal", [=](benchmark::State &s) {
            decoder<fiber_normal_info_t>(s, [=](auto *i) { fiber_decode_qsfp_normal(p00, lo, i); });
        });
        reg("decoder/qsfp_vendor", [=](benchmark::State &s) {
            decoder<fiber_vendor_info_t>(s, [=](auto *i) { fiber_decode_qsfp_vendor(p00, i); });
        });
        reg("decoder/qsfp_diag", [=](benchmark::State &s) {
            decoder<fiber_diag_info_t>(s, [=](auto *i) { fiber_decode_qsfp_diag(p00, lo, p03, i); });
        });
        reg("decoder/qsfp_alarm", [=](benchmark::State &s) {
            decoder<fiber_alarm_info_t>(s, [=](auto *i) { fiber_decode_qsfp_alarm(p00, lo, i); });
        });
        break;
    default:
        reg("decoder/cmis_normal", [=](benchmark::State &s) {
            decoder<fiber_normal_info_t>(s, [=](auto *i) { fiber_decode_cmis_normal(p00, lo, p01, p12, i); });
        });
        reg("decoder/cmis_vendor", [=](benchmark::State &s) {
            decoder<fiber_vendor_info_t>(s, [=](auto *i) { fiber_decode_cmis_vendor(p00, lo, p01, i); });
        });
        reg("decoder/cmis_diag", [=](benchmark::State &s) {
            decoder<fiber_diag_info_t>(s, [=](auto *i) { fiber_decode_cmis_diag(p00, lo, p01, p02, p11, p12, i); });
        });
        reg("decoder/cmis_alarm", [=](benchmark::State &s) {
            decoder<fiber_alarm_info_t>(
                s, [=](auto *i) { fiber_decode_cmis_alarm(p00, lo, p01, p11, p12, p20, p2c, i); });
        });
        break;
    }
}

// --- Optical power to dBm ---------------------------------------------------

// Powers from 1 to 65535 units (0.1 uW to 6.5 mW), spread evenly in dB, so
// that every magnitude the fixed-point logarithm normalises is visited.
std::vector<float> power_spread() {
    std::vector<float> v(1024);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = std::floor(std::pow(65535.0f, static_cast<float>(i) / static_cast<float>(v.size() - 1)));
    return v;
}

void dbm_fixed_point(benchmark::State &state) {
    const std::vector<float> powers = power_spread();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(fiber_dbm(powers[i]));
        i = (i + 1) & 1023;
    }
}

void dbm_libm_reference(benchmark::State &state) {
    const std::vector<float> powers = power_spread();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(10.0f * log10f(powers[i] / 10000.0f));
        i = (i + 1) & 1023;
    }
}

}  // namespace

int main(int argc, char **argv) {
    const auto modules = fiber_robust::complete_modules(FIBER_BENCH_DATA);
    if (modules.empty()) {
        std::fprintf(stderr, "bundled modules not found under %s\n", FIBER_BENCH_DATA);
        return 1;
    }
    for (const module_image &m : modules) register_entry_points(m);
    for (const module_image &m : modules) register_decoders(m);
    benchmark::RegisterBenchmark("dbm/fiber_dbm", dbm_fixed_point);
    benchmark::RegisterBenchmark("dbm/libm_10log10f", dbm_libm_reference);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
