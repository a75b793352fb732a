#include <benchmark/benchmark.h>
#include <tivar/color.h>
#include <tivar/memory.h>

#include "color/median_cut.h"
#include "pictures.h"

namespace {

bench::Bitmap drawSource(const benchmark::State& state, int argument) {
    return {bench::kSide, bench::kSide, 24, static_cast<bench::Content>(state.range(argument))};
}

void finish(benchmark::State& state, const bench::Bitmap& source, int argument) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(source.pixelCount()));
    state.SetLabel(bench::nameOf(static_cast<bench::Content>(state.range(argument))));
}

void Histogram(benchmark::State& state) {
    const bench::Bitmap source = drawSource(state, 0);
    for (auto _ : state) {
        uint16_t count = 256;
        const MemHandle context = tivar::InitColorLib();
        tivar::direct_indexed(source.pixels.data(), GlobalSize(source.pixels.handle),
                              static_cast<uint16_t>(source.width),
                              static_cast<uint16_t>(source.height), &count,
                              tivar::kReduceKeepHistogram, nullptr, context);
        tivar::TermColorLib(context);
    }
    finish(state, source, 0);
}

void HistogramAndCut(benchmark::State& state) {
    const bench::Bitmap source = drawSource(state, 1);
    for (auto _ : state) {
        auto count = static_cast<uint16_t>(state.range(0));
        GlobalFree(rlReduceColorTable(source.pixels.handle, static_cast<uint16_t>(source.width),
                                      static_cast<uint16_t>(source.height), &count));
    }
    finish(state, source, 1);
}

BENCHMARK(Histogram)->ArgName("content")->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(HistogramAndCut)
    ->ArgNames({"colors", "content"})
    ->ArgsProduct({{8, 16, 256}, {1, 2}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
