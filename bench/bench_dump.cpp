// SPDX-License-Identifier: Apache-2.0
// The dump layer's throughput: every dump in the given directories (module
// images and hex texts, read into memory once) read into a module image
// (format detection, hex parsing, checks), and decoded from its bytes to
// the text report, to the JSON document, and to both. Reports dumps per
// second (items_per_second) and input bytes per second.
//
//   cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DFIBER_BUILD_BENCH=ON
//   cmake --build build-bench --target dump_bench && build-bench/bench/dump_bench
//
// Target: no slower than the command's road before the dump layer existed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "dump.h"

namespace {

namespace fs = std::filesystem;

struct dump_file {
    std::string name;
    std::vector<uint8_t> bytes;
};

// Every module dump under `dir`: *.bin, *.hex, *.txt except the expected
// outputs and notes that sit beside the published dumps.
void collect(const fs::path &dir, std::vector<dump_file> &out) {
    if (!fs::is_directory(dir)) return;
    std::vector<fs::path> paths;
    for (const auto &entry : fs::recursive_directory_iterator(dir)) {
        const fs::path &p = entry.path();
        const std::string ext = p.extension().string(), stem = p.stem().string();
        if (!entry.is_regular_file()) continue;
        if (ext == ".bin" || ext == ".hex" || (ext == ".txt" && stem == "dump")) paths.push_back(p);
    }
    std::sort(paths.begin(), paths.end());
    for (const fs::path &p : paths) {
        std::ifstream in(p, std::ios::binary);
        out.push_back({p.string(), std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {})});
    }
}

enum class render { image, text, json, both };

void decode_all(benchmark::State &state, const std::vector<dump_file> *files, render what) {
    std::size_t bytes = 0;
    for (const dump_file &f : *files) bytes += f.bytes.size();
    for (auto _ : state) {
        for (const dump_file &f : *files) {
            if (what == render::image) {  // reading only: format detection, hex parsing, image checks
                auto image = fdump::make_image(f.bytes, fdump::input_format::automatic);
                benchmark::DoNotOptimize(image.value);
                continue;
            }
            auto decoded = fdump::decode_bytes(f.bytes, f.name);
            if (!decoded) {
                benchmark::DoNotOptimize(decoded.error.data());
                continue;
            }
            if (what != render::json) {
                std::string text = fdump::text_report(*decoded.value);
                benchmark::DoNotOptimize(text.data());
            }
            if (what != render::text) {
                std::string json = fdump::json_report(*decoded.value).dump(2);
                benchmark::DoNotOptimize(json.data());
            }
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * files->size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

}  // namespace

int main(int argc, char **argv) {
    static std::vector<dump_file> files;
    for (const char *dir : {FIBER_BENCH_DUMPS}) collect(dir, files);
    if (files.empty()) {
        std::fprintf(stderr, "no dumps found\n");
        return 1;
    }
    std::size_t decoded = 0;
    for (const dump_file &f : files) decoded += fdump::decode_bytes(f.bytes, f.name) ? 1 : 0;
    std::fprintf(stderr, "%zu dumps, %zu of them decode\n", files.size(), decoded);
    benchmark::RegisterBenchmark("dumps/image", decode_all, &files, render::image);
    benchmark::RegisterBenchmark("dumps/text", decode_all, &files, render::text);
    benchmark::RegisterBenchmark("dumps/json", decode_all, &files, render::json);
    benchmark::RegisterBenchmark("dumps/text+json", decode_all, &files, render::both);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
