// Small exports one after another in one process, by every door and to every kind of target, and
// what the process has piled up meanwhile: soak COUNT SAMPLES DIRECTORY prints a line of figures
// for each sample. An export that differs from the first of its kind ends it with 1.
#include <malloc.h>
#include <tivar/tivar.h>
#include <tivar/write.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "support/driver_host.h"
#include "support/export_host.h"
#include "support/open_files.h"
#include "support/temp_directory.h"

namespace {

using support::Bytes;
using support::DrawnPicture;
using support::HostDocument;

struct Variant {
    int bits;
    support::Drawing drawing;
    int32_t colorFormat;
    int32_t compression;
    int32_t fileType;
};

constexpr std::array<Variant, 5> kVariants{{
    {8, support::Drawing::kRuns, COLOR_FORMAT_8BIT, COMPRESSION_RLE, FILE_TYPE_WINDOWS},
    {24, support::Drawing::kNoise, COLOR_FORMAT_24BIT, COMPRESSION_NONE, FILE_TYPE_WINDOWS},
    {24, support::Drawing::kGradient, COLOR_FORMAT_4BIT, COMPRESSION_RLE, FILE_TYPE_WINDOWS},
    {4, support::Drawing::kFewColors, COLOR_FORMAT_8BIT, COMPRESSION_NONE, FILE_TYPE_OS2},
    {1, support::Drawing::kNoise, COLOR_FORMAT_1BIT, COMPRESSION_NONE, FILE_TYPE_WINDOWS},
}};

constexpr int kWidth = 23;
constexpr int kHeight = 11;

// What an export has to work with.
struct Bench {
    std::array<DrawnPicture, kVariants.size()> pictures;
    std::string file;
    std::string nowhere;
};

using ExportKind = std::optional<Bytes> (*)(const Bench& bench, size_t variant);

// ---- The filter route --------------------------------------------------------------------------

struct FilterExport {
    FilterExport(const Bench& bench, size_t number)
        : source(bench.pictures[number]), setup(CreateSetup(0, "", nullptr, nullptr)) {
        const Variant& variant = kVariants[number];
        record = static_cast<SetupRecord*>(GlobalLock(setup));
        record->colorFormat = variant.colorFormat;
        record->compressionMode = variant.compression;
        record->fileType = variant.fileType;
    }
    ~FilterExport() {
        GlobalFree(status[STATUS_MEMORY]);
        GlobalUnlock(setup);
        DestroySetup(setup);
    }
    FilterExport(const FilterExport&) = delete;
    FilterExport& operator=(const FilterExport&) = delete;

    bool run(const char* name) {
        PictureDescription description = {};
        description.resolution = 96;
        description.width = kWidth;
        description.height = kHeight;
        HostWord parameters[7] = {};
        parameters[EXPORT_SETUP] = setup;
        parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
        return ExportCellData(name, &source.picture, &description, parameters) == 0;
    }

    support::PictureInMemory source;
    MemHandle setup;
    SetupRecord* record;
    HostWord status[13] = {};
};

Bytes bytesOf(const std::string& file) {
    const std::string content = support::readFile(file);
    return Bytes(content.begin(), content.end());
}

std::optional<Bytes> filterToMemory(const Bench& bench, size_t variant) {
    FilterExport job(bench, variant);
    if (!job.run("")) return {};
    return support::fileInMemory(GlobalLock(MemHandle{job.status[STATUS_MEMORY]}));
}

std::optional<Bytes> filterToFile(const Bench& bench, size_t variant) {
    FilterExport job(bench, variant);
    if (!job.run(bench.file.c_str())) return {};
    return bytesOf(bench.file);
}

std::optional<Bytes> filterToDocument(const Bench& bench, size_t variant) {
    FilterExport job(bench, variant);
    HostDocument document;
    document.attach(job.record, job.status);
    if (!job.run("document")) return {};
    return document.bytes;
}

// Failures leave as little behind.
std::optional<Bytes> filterFails(const Bench& bench, size_t variant) {
    FilterExport job(bench, variant);
    if (job.run(bench.nowhere.c_str())) return {};
    support::StatusRecorder host;
    host.cancelFrom = 0;
    host.confirmation = 1;
    host.attach(job.status);
    job.run("");
    return Bytes{};
}

// ---- The driver route --------------------------------------------------------------------------

std::optional<Bytes> driverExport(const Bench& bench, size_t number, const std::string& name) {
    const Variant& variant = kVariants[number];
    const DrawnPicture& picture = bench.pictures[number];
    model::Settings settings;
    settings.colorFormat = variant.colorFormat;
    settings.compressionMode = variant.compression;
    settings.fileType = variant.fileType;
    support::DriverHost host(settings, name);
    host.enter(DEV_PICTURE);
    host.send(support::windowBlock({0, 0, 0, kWidth - 1.0, kHeight - 1.0, 0}));
    host.send(OP_BEGIN_BODY);
    if (!picture.table.empty()) host.send(support::colorsBlock(0, picture.table));
    const support::CellArrayShape shape = {picture.width, picture.height, picture.bits};
    if (host.send(support::cellArrayBlock(shape, picture.pixels)) != 0) return {};
    host.send(OP_END_PICTURE);
    if (host.send(OP_CLOSE) != 0) return {};
    return name.empty() ? host.takeMemoryFile() : bytesOf(name);
}

std::optional<Bytes> driverToMemory(const Bench& bench, size_t variant) {
    return driverExport(bench, variant, "");
}

std::optional<Bytes> driverToFile(const Bench& bench, size_t variant) {
    return driverExport(bench, variant, bench.file);
}

// ---- The direct interface ----------------------------------------------------------------------

struct DirectExport {
    DirectExport(const Bench& bench, size_t number) {
        constexpr std::array<int32_t, kVariants.size()> kBits = {8, 24, 4, 32, 1};
        const DrawnPicture& drawn = bench.pictures[number];
        picture.size = sizeof picture;
        picture.format = drawn.bits == 24  ? TIVAR_RGB
                         : drawn.bits == 8 ? TIVAR_INDEX8
                         : drawn.bits == 4 ? TIVAR_INDEX4
                                           : TIVAR_INDEX1;
        picture.width = kWidth;
        picture.height = kHeight;
        picture.pixels = drawn.pixels.data();
        picture.stride = static_cast<ptrdiff_t>(drawn.pixels.size()) / kHeight;
        picture.palette = drawn.table.empty() ? nullptr : drawn.table.data();
        picture.palette_count = static_cast<uint32_t>(drawn.table.size() / 3);
        options.size = sizeof options;
        options.bits = kBits[number];
        if (kVariants[number].compression == COMPRESSION_RLE)
            options.encoding = TIVAR_ENCODING_SMALLEST;
    }
    TivarPicture picture = {};
    TivarOptions options = {};
};

std::optional<Bytes> directToMemory(const Bench& bench, size_t variant) {
    const DirectExport job(bench, variant);
    void* bytes = nullptr;
    size_t length = 0;
    if (tivar_write_bmp_memory(&job.picture, &job.options, &bytes, &length, nullptr) !=
        TIVAR_RESULT_OK)
        return {};
    const auto* first = static_cast<const uint8_t*>(bytes);
    Bytes file(first, first + length);
    tivar_free(bytes);
    return file;
}

std::optional<Bytes> directToFile(const Bench& bench, size_t variant) {
    const DirectExport job(bench, variant);
    if (tivar_write_bmp_file(&job.picture, &job.options, bench.file.c_str(), 0, nullptr) !=
        TIVAR_RESULT_OK)
        return {};
    return bytesOf(bench.file);
}

size_t take(void* context, const void* bytes, size_t length) {
    auto& file = *static_cast<Bytes*>(context);
    const auto* first = static_cast<const uint8_t*>(bytes);
    file.insert(file.end(), first, first + length);
    return length;
}

std::optional<Bytes> directToSink(const Bench& bench, size_t variant) {
    const DirectExport job(bench, variant);
    Bytes file;
    const TivarSink sink = {sizeof sink, take, &file};
    if (tivar_write_bmp(&job.picture, &job.options, &sink, nullptr) != TIVAR_RESULT_OK) return {};
    return file;
}

std::optional<Bytes> directFails(const Bench& bench, size_t variant) {
    DirectExport job(bench, variant);
    if (tivar_write_bmp_file(&job.picture, &job.options, bench.nowhere.c_str(), 0, nullptr) ==
        TIVAR_RESULT_OK)
        return {};
    job.options.bits = 7;
    void* bytes = nullptr;
    size_t length = 0;
    if (tivar_write_bmp_memory(&job.picture, &job.options, &bytes, &length, nullptr) ==
        TIVAR_RESULT_OK)
        return {};
    return Bytes{};
}

// ---- All of them -------------------------------------------------------------------------------

struct Named {
    const char* name;
    ExportKind run;
    size_t sameAs;  // the kind with the same files
};

constexpr std::array<Named, 10> kKinds{{
    {"filter to memory", filterToMemory, 0},
    {"direct to memory", directToMemory, 1},
    {"driver to memory", driverToMemory, 2},
    {"filter to a file", filterToFile, 0},
    {"direct to a file", directToFile, 1},
    {"driver to a file", driverToFile, 2},
    {"filter to a document", filterToDocument, 0},
    {"direct to a sink", directToSink, 1},
    {"filter, failing", filterFails, 8},
    {"direct, failing", directFails, 9},
}};

constexpr size_t kCycle = kKinds.size() * kVariants.size();

// Every file as the first of its kind and picture, by whatever target.
class Files {
  public:
    bool agree(size_t number, const std::optional<Bytes>& file) {
        const Named& kind = kKinds[number % kKinds.size()];
        const size_t variant = number / kKinds.size() % kVariants.size();
        std::optional<Bytes>& first = first_[kind.sameAs][variant];
        if (file && !first) first = file;
        if (file && file == first) return true;
        std::fprintf(stderr, "soak: export %zu, %s, picture %zu: %s\n", number, kind.name, variant,
                     file ? "other bytes than the first" : "failed");
        return false;
    }

  private:
    std::array<std::array<std::optional<Bytes>, kVariants.size()>, kKinds.size()> first_;
};

void printSample(size_t done, std::chrono::steady_clock::time_point start) {
    long total = 0;
    long residentPages = 0;
    std::ifstream("/proc/self/statm") >> total >> residentPages;
    size_t mappings = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) ++mappings;
    const struct mallinfo2 heap = mallinfo2();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%zu %.3f %.3f %ld %zu %zu %zu\n", done, seconds.count(),
                static_cast<double>(std::clock()) / CLOCKS_PER_SEC, residentPages * 4096,
                heap.uordblks + heap.hblkhd, support::openFiles(), mappings);
    std::fflush(stdout);
}

int soak(size_t count, size_t samples, const std::string& directory) {
    Bench bench;
    for (size_t i = 0; i < kVariants.size(); ++i)
        bench.pictures[i] = support::drawPicture(kVariants[i].drawing, kVariants[i].bits, kWidth,
                                                 kHeight, static_cast<uint32_t>(i));
    bench.file = directory + "/out.bmp";
    bench.nowhere = directory + "/none/out.bmp";
    Files files;
    // Whole cycles, so that samples are taken at the same place of one.
    const size_t cycles = std::max<size_t>(count / samples / kCycle, 1);
    const auto start = std::chrono::steady_clock::now();
    for (size_t done = 0; done < count;) {
        const size_t end = done + cycles * kCycle;
        for (; done < end; ++done) {
            const size_t variant = done / kKinds.size() % kVariants.size();
            if (!files.agree(done, kKinds[done % kKinds.size()].run(bench, variant))) return 1;
        }
        printSample(done, start);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return std::fputs("usage: soak COUNT SAMPLES DIRECTORY\n", stderr), 2;
    std::puts("exports seconds cpu_seconds resident heap descriptors mappings");
    return soak(std::strtoul(argv[1], nullptr, 10), std::strtoul(argv[2], nullptr, 10), argv[3]);
}
