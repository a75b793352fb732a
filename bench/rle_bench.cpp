#include <benchmark/benchmark.h>
#include <tivar/export.h>

#include "pictures.h"

namespace {

constexpr uint32_t kRowPixels = 4096;
constexpr uint32_t kRows = 64;

using Encoder = void (*)(uint32_t length, uint32_t* outLength, const uint8_t* source,
                         uint8_t* destination);

void encodeRows(benchmark::State& state, Encoder encode, int16_t bits) {
    const auto content = static_cast<bench::Content>(state.range(0));
    const bench::Bitmap source(kRowPixels, kRows, bits, content);
    const uint32_t stride = source.stride();
    std::vector<uint8_t> encoded(size_t{stride} * 2);
    uint64_t produced = 0;
    for (auto _ : state) {
        produced = 0;
        for (uint32_t y = 0; y < kRows; ++y) {
            uint32_t length = 0;
            encode(stride, &length, source.pixels.data() + size_t{y} * stride, encoded.data());
            produced += length;
        }
        benchmark::ClobberMemory();
    }
    const uint64_t bytes = uint64_t{stride} * kRows;
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
    state.counters["size"] = static_cast<double>(produced) / static_cast<double>(bytes);
    state.SetLabel(bench::nameOf(content));
}

void EncodeRLE8(benchmark::State& state) {
    encodeRows(state, EncodeRLE8Row, 8);
}

void EncodeRLE4(benchmark::State& state) {
    encodeRows(state, EncodeRLE4Row, 4);
}

BENCHMARK(EncodeRLE8)->ArgName("content")->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(EncodeRLE4)->ArgName("content")->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

}  // namespace
