#include <benchmark/benchmark.h>
#include <tivar/color.h>
#include <tivar/memory.h>

#include "pictures.h"

namespace {

// Chooses the table, which does not count, and dithers to it.
void Dither(benchmark::State& state) {
    const auto from = static_cast<int16_t>(state.range(0));
    const auto to = static_cast<int16_t>(state.range(1));
    const auto content = static_cast<bench::Content>(state.range(2));
    const bench::Bitmap source(bench::kSide, bench::kSide, from, content);
    MemHandle chosen = 0;
    uint16_t count = 0;
    rlDitherGetCT(source.pixels.handle, source.width, source.height, from, to, source.table.handle,
                  &chosen, &count);
    const bench::Block table(chosen);
    for (auto _ : state)
        GlobalFree(rlDitherGivenCT(source.pixels.handle, source.width, source.height, from, to,
                                   source.table.handle, table.handle, static_cast<int16_t>(count)));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(source.pixelCount()));
    state.SetLabel(bench::nameOf(content));
}

// One row at a time through the whole table: what Dither saves.
void DitherPlain(benchmark::State& state) {
    const std::vector<uint8_t> table = bench::colorTable(static_cast<int>(state.range(0)));
    const auto count = static_cast<int16_t>(table.size() / 3);
    const bench::Bitmap source(bench::kSide, 64, 24);
    for (auto _ : state) {
        state.PauseTiming();
        const bench::Block copy(rlConvertBitmapDepth(source.pixels.handle, source.width,
                                                     source.height, 24, 24, 0, 0, 0));
        state.ResumeTiming();
        for (uint32_t y = 0; y + 1 < source.height; ++y) {
            uint8_t* row = copy.data() + size_t{y} * source.stride();
            _rlDitherOneLine(row, row + source.stride(), table.data(), source.width, count);
        }
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<int64_t>(source.pixelCount() - source.width));
}

BENCHMARK(Dither)
    ->ArgNames({"from", "to", "content"})
    ->ArgsProduct({{24}, {1, 4, 8}, {1, 2}})
    ->ArgsProduct({{8}, {1, 4}, {1}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(DitherPlain)->ArgName("bits")->Arg(4)->Arg(8)->Unit(benchmark::kMicrosecond);

}  // namespace
