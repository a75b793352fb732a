#include <benchmark/benchmark.h>
#include <tivar/color.h>

#include "color/nearest_bytes.h"
#include "pictures.h"

namespace {

constexpr uint32_t kQueriesSide = 256;

// Runs search(red, green, blue) over every pixel of a small picture. The first argument is the
// table's depth, the second the content.
template <class Search>
void query(benchmark::State& state, const Search& search) {
    const auto content = static_cast<bench::Content>(state.range(1));
    const std::vector<uint8_t> colors = bench::drawColors(kQueriesSide, kQueriesSide, content);
    uint32_t sum = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < colors.size(); i += 3)
            sum += search(colors[i], colors[i + 1], colors[i + 2]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(colors.size() / 3));
    state.SetLabel(bench::nameOf(content));
}

int16_t entriesOf(const benchmark::State& state) {
    return static_cast<int16_t>(1 << state.range(0));
}

// The plain search through the whole table.
void NearestPlain(benchmark::State& state) {
    const std::vector<uint8_t> table = bench::colorTable(static_cast<int>(state.range(0)));
    query(state, [&](uint8_t red, uint8_t green, uint8_t blue) {
        return rlNearestRGBIndex(red, green, blue, table.data(), entriesOf(state));
    });
}

// Candidate lists, warm after the first round.
void NearestFinder(benchmark::State& state) {
    const std::vector<uint8_t> table = bench::colorTable(static_cast<int>(state.range(0)));
    tivar::NearestFinder finder(table.data(), entriesOf(state));
    query(state,
          [&](uint8_t red, uint8_t green, uint8_t blue) { return finder.find(red, green, blue); });
}

// Whole rows, the answers of whole cells kept.
void NearestBytes(benchmark::State& state) {
    const std::vector<uint8_t> table = bench::colorTable(static_cast<int>(state.range(0)));
    tivar::NearestBytes nearest(table.data(), entriesOf(state));
    const auto content = static_cast<bench::Content>(state.range(1));
    const std::vector<uint8_t> colors = bench::drawColors(kQueriesSide, kQueriesSide, content);
    std::vector<uint8_t> indices(colors.size() / 3);
    for (auto _ : state) {
        nearest.findRow(colors.data(), static_cast<uint32_t>(indices.size()), indices.data());
        benchmark::DoNotOptimize(indices.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(indices.size()));
    state.SetLabel(bench::nameOf(content));
}

void tablesAndContents(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"bits", "content"})->ArgsProduct({{1, 4, 8}, {1, 2}});
}

BENCHMARK(NearestPlain)->Apply(tablesAndContents);
BENCHMARK(NearestFinder)->Apply(tablesAndContents);
BENCHMARK(NearestBytes)->Apply(tablesAndContents);

}  // namespace
