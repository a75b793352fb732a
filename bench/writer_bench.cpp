#include <benchmark/benchmark.h>
#include <tivar/export.h>
#include <tivar/memory.h>
#include <tivar/stream.h>

#include "pictures.h"

namespace {

// Headers, palette and rows of one file into a block that already has its size, so that the
// writer's own work shows and not the growth of its target.
void writeFiles(benchmark::State& state, int16_t bits, bool encoded, bench::Content content) {
    const bench::CurrentSettings settings(bits, encoded);
    const bench::Bitmap picture(bench::kSide, bench::kSide, bits, content);
    const uint32_t room = picture.stride() * picture.height * 2 + 4096;
    void* memory = oxlPtrGlobalAlloc(room);
    for (auto _ : state) {
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&memory);
        descriptor.size = room;
        descriptor.growStep = 4096;
        const OxlStream stream = oxlOpen(nullptr, &descriptor, OXL_CREATE | OXL_WRITE);
        MemHandle file = 0;
        const auto depth = static_cast<uint32_t>(bits);
        BeginCellBitmap(stream, picture.width, picture.height, depth, picture.table.data(), &file);
        WriteCellBits(stream, picture.pixels.handle, picture.width, picture.height, depth, 1, file);
        EndCellBitmap(stream, file);
        oxlClose(stream);
    }
    oxlPtrGlobalFree(memory);
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(uint64_t{picture.stride()} * picture.height));
}

void WriteRaw(benchmark::State& state) {
    writeFiles(state, static_cast<int16_t>(state.range(0)), false, bench::Content::kPhoto);
}

void WriteRLE8(benchmark::State& state) {
    const auto content = static_cast<bench::Content>(state.range(0));
    writeFiles(state, 8, true, content);
    state.SetLabel(bench::nameOf(content));
}

BENCHMARK(WriteRaw)->ArgName("bits")->Arg(8)->Arg(24)->Unit(benchmark::kMicrosecond);
BENCHMARK(WriteRLE8)->ArgName("content")->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

}  // namespace
