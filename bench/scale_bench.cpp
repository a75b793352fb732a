#include <benchmark/benchmark.h>
#include <tivar/color.h>
#include <tivar/memory.h>

#include "pictures.h"

namespace {

const char* directionOf(uint32_t side) {
    return side < bench::kSide ? "shrink" : side > bench::kSide ? "stretch" : "equal";
}

// Rates count the pixels of the result.
void Scale(benchmark::State& state) {
    const auto bits = static_cast<int16_t>(state.range(0));
    const auto side = static_cast<uint32_t>(state.range(1));
    const bench::Bitmap source(bench::kSide, bench::kSide, bits);
    const auto scale = side > bench::kSide ? rlStretchBitmap : rlShrinkBitmap;
    for (auto _ : state)
        GlobalFree(scale(source.pixels.handle, bits, source.width, source.height, side, side));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(side) * side);
    state.SetLabel(directionOf(side));
}

void Mirror(benchmark::State& state) {
    const auto bits = static_cast<int16_t>(state.range(0));
    const auto vertically = static_cast<int16_t>(state.range(1));
    const bench::Bitmap source(bench::kSide, bench::kSide, bits);
    for (auto _ : state)
        rlFlipBitmap(source.pixels.handle, bits, source.width, source.height,
                     static_cast<int16_t>(1 - vertically), vertically);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(source.pixelCount()));
}

BENCHMARK(Scale)
    ->ArgNames({"bits", "to"})
    ->ArgsProduct({{1, 4, 8, 24}, {bench::kSide * 5 / 8, bench::kSide, bench::kSide * 2}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(Mirror)
    ->ArgNames({"bits", "vertically"})
    ->ArgsProduct({{1, 4, 8, 24}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
