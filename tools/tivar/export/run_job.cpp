#include "export/run_job.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bmp/portable.h"
#include "export/delivery.h"
#include "export/direct_route.h"
#include "export/driver_route.h"
#include "export/filter_route.h"
#include "export/picture.h"
#include "export/read_picture.h"
#include "export/wanted_shape.h"
#include "process/failure.h"
#include "process/library_voice.h"
#include "process/lower_case.h"
#include "process/memory_size.h"
#include "process/output.h"
#include "process/progress.h"
#include "process/system.h"

namespace tool {
namespace {

void writeBytes(const Output& output, const uint8_t* bytes, uint64_t count) {
    const int error = writeAll(output.file.number, bytes, inMemory(count));
    if (error != 0) failErrno(output.name, error);
}

// Takes the bytes back from where the library put them.
std::vector<uint8_t> takeBytes(Delivery& delivery, const Output& output) {
    const size_t count = inMemory(delivery.start.length);
    if (delivery.memory.handle != 0) {
        const Block memory = std::move(delivery.memory);
        return {memory.bytes(), memory.bytes() + count};
    }
    std::vector<uint8_t> bytes(count);
    const int file = output.file.number;
    if (::lseek(file, 0, SEEK_SET) != 0) failErrno(output.name, errno);
    for (size_t done = 0; done < count;) {
        const ssize_t got = readSome(file, &bytes[done], count - done);
        if (got <= 0) failErrno(output.name, got == 0 ? EIO : errno);
        done += static_cast<size_t>(got);
    }
    if (::ftruncate(file, 0) != 0 || ::lseek(file, 0, SEEK_SET) != 0) {
        failErrno(output.name, errno);
    }
    return bytes;
}

void writePortable(Delivery& delivery, const Output& output) {
    const std::vector<uint8_t> file = encodePortable(takeBytes(delivery, output));
    writeBytes(output, file.data(), file.size());
    delivery.start = startOf(file.data(), file.size());
}

// What the library has not written into the output's file itself.
void writeRest(Delivery& delivery, const ExportPlan& plan, const Output& output) {
    if (plan.portable) return writePortable(delivery, output);
    if (delivery.memory.handle == 0) return;
    writeBytes(output, delivery.memory.bytes(), delivery.start.length);
}

// The usual route goes without saying.
std::string_view wordsOf(Route route) {
    if (route == Route::Filter) return ", filter route";
    return route == Route::Driver ? ", driver route" : "";
}

std::string describeResult(const Output& output, const FileStart& start, Route route) {
    const PixelSize size = sizeInFile(start);
    const unsigned bits = headersIn(start.bytes).bits;
    return output.name + ": " + std::to_string(size.width) + " x " + std::to_string(size.height) +
           ", " + std::to_string(bits) + (bits == 1 ? " bit, " : " bits, ") +
           std::to_string(start.length) + " bytes" + std::string(wordsOf(route));
}

// The name of another kind of picture, which other programs go by.
void tellMisnamed(Progress& progress, const std::string& target) {
    constexpr std::array kOthers{".png", ".jpg", ".jpeg", ".gif", ".tif",  ".tiff", ".webp",
                                 ".ppm", ".pgm", ".pbm",  ".pnm", ".heic", ".avif"};
    const std::string suffix = inLowerCase(std::filesystem::path(target).extension().string());
    if (std::find(kOthers.begin(), kOthers.end(), suffix) == kOthers.end()) return;
    showNotice(progress, target + " is a BMP file, whatever its name says", "name it .bmp");
}

// What was asked for and is not in the file.
void tellUnheard(Progress& progress, const ExportRequest& request, const ExportPlan& plan,
                 const SetupRecord& record) {
    if (request.compression == Compression::Native && !plan.native) {
        showNotice(progress, "written raw, the native form is one of 4 and 8 bits",
                   "choose the depth with --bits");
    }
    const bool recolours = !request.profile.empty() && record.colorMode > COLOR_MODE_AS_GIVEN &&
                           record.colorMode <= COLOR_MODE_GREY_INVERTED;
    if (recolours && request.route == Route::Filter) {
        showNotice(progress,
                   "the filter route leaves the colours as they are, whatever the profile says",
                   "obey it with --route driver");
    }
}

using Clock = std::chrono::steady_clock;

// What one job goes by, whichever route it takes.
struct Errand {
    const Library& library;
    const Job& job;
    const ExportRequest& request;
    const LibraryVoice& voice;
    Progress& progress;
    std::vector<Notice> notices{};
    Clock::time_point begin{};
};

void makeFolders(const std::string& target) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::path(target).parent_path();
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    if (error) failErrno(folder.string(), error.value());
}

Output openOutput(const Errand& errand) {
    const Job& job = errand.job;
    if (job.makesFolders) makeFolders(job.target);
    return {job.target, errand.voice.standardOutput, job.existing != Existing::Refuse};
}

// The input's notices, and what stands before any output is opened.
void settleInput(Errand& errand, const std::vector<Notice>& notices) {
    errand.notices = notices;
    const std::vector<Notice>& like = errand.request.like.notices;
    errand.notices.insert(errand.notices.end(), like.begin(), like.end());
    refuseOwnInput(errand.job.input, errand.job.target, "name another file with -o");
}

Image readInput(Errand& errand) {
    showStep(errand.progress, "reading");
    Image image = errand.job.image == nullptr
                      ? readStored(errand.job.input, readingFor(errand.request))
                      : copyOf(*errand.job.image);
    settleInput(errand, image.notices);
    return inWantedShape(std::move(image), errand.request);
}

Exported finish(const Errand& errand, Output& output, const FileStart& start) {
    commit(output);
    const std::chrono::duration<double> spent = Clock::now() - errand.begin;
    showResult(errand.progress, describeResult(output, start, errand.request.route));
    for (const Notice& notice : errand.notices) {
        showNotice(errand.progress, notice.what, notice.remedy);
    }
    tellMisnamed(errand.progress, errand.job.target);
    return {start.length, spent.count(), sizeInFile(start), headersIn(start.bytes).bits};
}

// The input's rows, where they can be read as they are written.
std::optional<FileRows> rowsOfInput(const Errand& errand) {
    const ExportRequest& request = errand.request;
    const bool asStored = keepsShape(request) && !request.reading.lenient;
    if (errand.job.image != nullptr || !asStored) return {};
    std::optional<FileRows> rows = pnmRows(errand.job.input, request.reading);
    if (rows && !takesRowByRow(request, rows->outline)) return {};
    return rows;
}

Output beginOutput(Errand& errand) {
    errand.begin = Clock::now();
    showStep(errand.progress, "exporting");
    return openOutput(errand);
}

Exported runDirectly(Errand& errand) {
    const ExportRequest& request = errand.request;
    if (std::optional<FileRows> rows = rowsOfInput(errand)) {
        settleInput(errand, {});
        Output output = beginOutput(errand);
        const FileStart start =
            deliverRows(errand.library, request, *rows, output, errand.progress);
        return finish(errand, output, start);
    }
    Image image = readInput(errand);
    Output output = beginOutput(errand);
    const FileStart start =
        deliverDirectly(errand.library, request, std::move(image), output, errand.progress);
    return finish(errand, output, start);
}

// Through the interfaces with settings.
Exported runBySettings(Errand& errand) {
    const ExportRequest& request = errand.request;
    Settings settings(errand.library, request.profile, request.mode);
    requireMode(settings);
    Image image = readInput(errand);
    Picture picture =
        pictureOf(errand.library, std::move(image), request.background.value_or(Color{}));
    errand.begin = Clock::now();
    ExportPlan plan = planExport(settings, request, picture);
    showStep(errand.progress, "exporting");
    Output output = openOutput(errand);
    const Workshop shop{request, errand.voice, settings, picture, output, errand.progress};
    Delivery delivery =
        request.route == Route::Driver ? deliverByDriver(shop, plan) : deliverByFilter(shop, plan);
    writeRest(delivery, plan, output);
    const Exported exported = finish(errand, output, delivery.start);
    tellUnheard(errand.progress, request, plan, *settings.record);
    return exported;
}

}  // namespace

Exported runJob(const Library& library, const Job& job, const ExportRequest& request,
                bool onlyOne) {
    Progress progress(job.input, request.quiet, onlyOne);
    const LibraryVoice voice;
    Errand errand{library, job, request, voice, progress};
    return request.route == Route::Direct ? runDirectly(errand) : runBySettings(errand);
}

}  // namespace tool
