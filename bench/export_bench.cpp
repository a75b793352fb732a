// The whole export call of a 24-bit picture at growing sizes. Rates count the bytes of the file.
#include <benchmark/benchmark.h>
#include <tivar/export.h>
#include <tivar/memory.h>

#include "pictures.h"

namespace {

constexpr uint32_t kWidth = 4096;
constexpr uint32_t kRowBytes = kWidth * 3;
constexpr int16_t kResolution = 64;

// A picture whose pixels have the megabytes asked for, less what an even number of rows leaves.
struct Job {
    explicit Job(int64_t megabytes)
        : picture(kWidth, static_cast<uint32_t>((megabytes << 20) / kRowBytes) & ~1u, 24),
          settings(24, false) {
        cells.bits = 24;
        cells.width = static_cast<uint16_t>(picture.width);
        cells.height = static_cast<uint16_t>(picture.height);
        cells.pixels = picture.pixels.handle;
        description.resolution = kResolution;
        description.width = static_cast<int32_t>(picture.width);
        description.height = static_cast<int32_t>(picture.height);
        parameters[EXPORT_SETUP] = settings.record.handle;
        parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
    }
    // 24-bit pixels come back with red and blue exchanged; the next export does not mind.
    bool run(const char* fileName) {
        return ExportCellData(fileName, &cells, &description, parameters) == TIVAR_OK;
    }
    int64_t bytes() const { return int64_t{picture.stride()} * picture.height; }

    bench::Bitmap picture;
    bench::CurrentSettings settings;
    CellPicture cells = {};
    PictureDescription description = {};
    HostWord parameters[7] = {};
    HostWord status[13] = {};
};

void ExportToMemory(benchmark::State& state) {
    Job job(state.range(0));
    for (auto _ : state) {
        if (!job.run("")) state.SkipWithError("the export failed");
        GlobalFree(job.status[STATUS_MEMORY]);
    }
    state.SetBytesProcessed(state.iterations() * job.bytes());
}

void ExportToFile(benchmark::State& state) {
    Job job(state.range(0));
    const bench::TemporaryFile file;
    for (auto _ : state) {
        if (!job.run(file.path.c_str())) state.SkipWithError("the export failed");
    }
    state.SetBytesProcessed(state.iterations() * job.bytes());
}

// The host's procedure takes the rows and leaves them.
intptr_t takeDocument(intptr_t first, int32_t operation, intptr_t, intptr_t count) {
    constexpr int32_t kOpen = 1;
    constexpr int32_t kWrite = 3;
    return operation == kOpen ? first : operation == kWrite ? count : 0;
}

void ExportToDocument(benchmark::State& state) {
    Job job(state.range(0));
    job.status[STATUS_DOCUMENT] = 1;
    lpRaster->documentStream = reinterpret_cast<HostWord>(static_cast<OxlDocProc>(takeDocument));
    for (auto _ : state) {
        if (!job.run("")) state.SkipWithError("the export failed");
    }
    state.SetBytesProcessed(state.iterations() * job.bytes());
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("MB")->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int64_t megabytes : {1, 4, 16, 64, 256}) benchmark->Arg(megabytes);
}

BENCHMARK(ExportToMemory)->Apply(sizes);
BENCHMARK(ExportToFile)->Apply(sizes);
BENCHMARK(ExportToDocument)->Apply(sizes);

}  // namespace
