#include <benchmark/benchmark.h>
#include <tivar/color.h>
#include <tivar/memory.h>

#include "pictures.h"

namespace {

// As the export converts: to fewer bits through a table of the target's, to more through the
// picture's own.
void Convert(benchmark::State& state) {
    const auto from = static_cast<int16_t>(state.range(0));
    const auto to = static_cast<int16_t>(state.range(1));
    const bench::Bitmap source(bench::kSide, bench::kSide, from);
    const int tableBits = to < from ? to : from;
    const bench::Block table =
        tableBits > 8 ? bench::Block() : bench::blockOf(bench::colorTable(tableBits));
    const auto count = static_cast<int16_t>(tableBits > 8 ? 0 : 1 << tableBits);
    for (auto _ : state)
        GlobalFree(rlConvertBitmapDepth(source.pixels.handle, source.width, source.height, from, to,
                                        source.table.handle, table.handle, count));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(source.pixelCount()));
}

BENCHMARK(Convert)
    ->ArgNames({"from", "to"})
    ->ArgsProduct({{1, 4, 8, 24}, {1, 4, 8, 24}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
