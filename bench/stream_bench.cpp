// Streams at growing sizes: the rates of one kind of stream should hold, whatever the size.
#include <benchmark/benchmark.h>
#include <tivar/memory.h>
#include <tivar/stream.h>

#include <algorithm>

#include "pictures.h"

namespace {

constexpr int32_t kMegabyte = 1 << 20;
constexpr int32_t kLargePiece = 1 << 18;  // what the writer hands over at a time
constexpr HostWord kGrowStep = 4096;

// Arguments: megabytes, bytes a call.
struct Amount {
    explicit Amount(const benchmark::State& state)
        : bytes(static_cast<int32_t>(state.range(0)) * kMegabyte),
          piece(static_cast<int32_t>(state.range(1))),
          buffer(static_cast<size_t>(piece), 0x5A) {}
    void finish(benchmark::State& state) const {
        state.SetBytesProcessed(state.iterations() * bytes);
    }

    int32_t bytes;
    int32_t piece;
    std::vector<uint8_t> buffer;
};

void writeAll(OxlStream stream, const Amount& amount) {
    for (int32_t done = 0; done < amount.bytes; done += amount.piece)
        oxlWrite(stream, amount.buffer.data(), amount.piece);
    oxlClose(stream);
}

void readAll(OxlStream stream, Amount& amount) {
    while (oxlRead(stream, amount.buffer.data(), amount.piece) > 0)
        benchmark::DoNotOptimize(amount.buffer.data());
    oxlClose(stream);
}

// Starts empty and grows, as the output to memory does.
void WriteMemoryStream(benchmark::State& state) {
    const Amount amount(state);
    for (auto _ : state) {
        void* memory = oxlPtrGlobalAlloc(1);
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&memory);
        descriptor.growStep = kGrowStep;
        writeAll(oxlOpen(nullptr, &descriptor, OXL_CREATE | OXL_WRITE), amount);
        oxlPtrGlobalFree(memory);
    }
    amount.finish(state);
}

void ReadMemoryStream(benchmark::State& state) {
    Amount amount(state);
    const auto size = static_cast<uint32_t>(amount.bytes);
    void* memory = oxlPtrGlobalAlloc(size);
    std::fill_n(static_cast<uint8_t*>(memory), size, uint8_t{0x5A});
    for (auto _ : state) {
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&memory);
        descriptor.size = size;
        readAll(oxlOpen(nullptr, &descriptor, OXL_READ), amount);
    }
    oxlPtrGlobalFree(memory);
    amount.finish(state);
}

void WriteFileStream(benchmark::State& state) {
    const Amount amount(state);
    const bench::TemporaryFile file;
    for (auto _ : state)
        writeAll(oxlOpen(file.path.c_str(), nullptr, OXL_CREATE | OXL_WRITE), amount);
    amount.finish(state);
}

void ReadFileStream(benchmark::State& state) {
    Amount amount(state);
    const bench::TemporaryFile file;
    writeAll(oxlOpen(file.path.c_str(), nullptr, OXL_CREATE | OXL_WRITE), amount);
    for (auto _ : state) readAll(oxlOpen(file.path.c_str(), nullptr, OXL_READ), amount);
    amount.finish(state);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"MB", "piece"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int64_t megabytes : {1, 4, 16, 64, 256}) benchmark->Args({megabytes, kLargePiece});
    for (const int64_t piece : {4, 64}) benchmark->Args({4, piece});
}

BENCHMARK(WriteMemoryStream)->Apply(sizes);
BENCHMARK(ReadMemoryStream)->Apply(sizes);
BENCHMARK(WriteFileStream)->Apply(sizes);
BENCHMARK(ReadFileStream)->Apply(sizes);

}  // namespace
