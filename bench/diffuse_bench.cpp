// The direct interface's dithering, rows of a picture at a time: an item is a pixel.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "pictures.h"
#include "write/diffuse.h"
#include "write/greys.h"
#include "write/high_color.h"
#include "write/nearest_colors.h"
#include "write/ordered.h"

namespace {

using tivar::ColorTable;

// 2 is black and white; more come from a photograph.
ColorTable tableOf(uint32_t count) {
    int bits = 1;
    while (1u << bits < count) ++bits;
    const std::vector<uint8_t> entries = count == 2 ? bench::greyTable(1) : bench::colorTable(bits);
    ColorTable table{};
    table.count = count;
    std::memcpy(table.entries, entries.data(), size_t{count} * 3);
    return table;
}

std::vector<uint8_t> photo() {
    return bench::drawColors(bench::kSide, bench::kSide, bench::Content::kPhoto);
}

void countPixels(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * bench::kSide * bench::kSide);
}

// So many rows a call: all that fly together, or one.
void Diffuse(benchmark::State& state) {
    const ColorTable table = tableOf(static_cast<uint32_t>(state.range(0)));
    const auto together = static_cast<uint32_t>(state.range(1));
    const std::vector<uint8_t> colors = photo();
    std::vector<uint8_t> indices(size_t{bench::kSide} * together);
    const auto diffusion = std::make_unique<tivar::Diffusion>();
    for (auto _ : state) {
        prepareDiffusion(*diffusion, bench::kSide, table);
        for (uint32_t y = 0; y < bench::kSide; y += together) {
            const uint8_t* rows[tivar::kFlightRows];
            uint8_t* to[tivar::kFlightRows];
            for (uint32_t i = 0; i < together; ++i) {
                rows[i] = colors.data() + size_t{bench::kSide} * 3 * (y + i);
                to[i] = indices.data() + size_t{bench::kSide} * i;
            }
            diffuseRows(*diffusion, rows, to, together);
        }
        benchmark::DoNotOptimize(indices.data());
    }
    countPixels(state);
}

// Calls put for every row of the photograph.
template <class PutRow>
void putRows(benchmark::State& state, PutRow&& put) {
    const std::vector<uint8_t> colors = photo();
    for (auto _ : state) {
        for (uint32_t y = 0; y < bench::kSide; ++y)
            put(y, colors.data() + size_t{bench::kSide} * 3 * y);
    }
    countPixels(state);
}

void Order(benchmark::State& state) {
    const ColorTable table = tableOf(static_cast<uint32_t>(state.range(0)));
    tivar::Ordered ordered;
    tivar::NearestColors nearest;
    prepareOrdered(ordered, table);
    nearest.prepare(table);
    std::vector<uint8_t> indices(bench::kSide);
    putRows(state, [&](uint32_t y, const uint8_t* rgb) {
        orderRow(ordered, nearest, y, rgb, bench::kSide, indices.data());
        benchmark::DoNotOptimize(indices.data());
    });
}

void Greys(benchmark::State& state) {
    std::vector<uint8_t> greys(bench::kSide);
    putRows(state, [&](uint32_t, const uint8_t* rgb) {
        tivar::greysOf(rgb, bench::kSide, greys.data());
        benchmark::DoNotOptimize(greys.data());
    });
}

void HighRound(benchmark::State& state) {
    tivar::HighFormat format;
    tivar::prepareHigh(format, 6);
    std::vector<uint16_t> pixels(bench::kSide);
    putRows(state, [&](uint32_t, const uint8_t* rgb) {
        roundHighRow(format, rgb, bench::kSide, pixels.data());
        benchmark::DoNotOptimize(pixels.data());
    });
}

void HighOrder(benchmark::State& state) {
    tivar::HighFormat format;
    tivar::prepareHigh(format, 6);
    std::vector<uint16_t> pixels(bench::kSide);
    putRows(state, [&](uint32_t y, const uint8_t* rgb) {
        orderHighRow(format, y, rgb, bench::kSide, pixels.data());
        benchmark::DoNotOptimize(pixels.data());
    });
}

void HighDiffuse(benchmark::State& state) {
    tivar::HighDiffusion diffusion;
    prepareHighDiffusion(diffusion, bench::kSide, 6);
    std::vector<uint16_t> pixels(bench::kSide);
    putRows(state, [&](uint32_t, const uint8_t* rgb) {
        diffuseHighRow(diffusion, rgb, pixels.data());
        benchmark::DoNotOptimize(pixels.data());
    });
}

BENCHMARK(Diffuse)
    ->ArgNames({"entries", "rows"})
    ->ArgsProduct({{2, 7, 16, 256}, {1, tivar::kFlightRows}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Order)->ArgName("entries")->Arg(2)->Arg(7)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK(Greys)->Unit(benchmark::kMillisecond);
BENCHMARK(HighRound)->Unit(benchmark::kMillisecond);
BENCHMARK(HighOrder)->Unit(benchmark::kMillisecond);
BENCHMARK(HighDiffuse)->Unit(benchmark::kMillisecond);

}  // namespace
