#include "export.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "failure.h"
#include "interrupt.h"
#include "scaling.h"

namespace tool {
namespace {

// A power of two: pixels become inches and pixels again without rounding.
constexpr int16_t kExactResolution = 64;
constexpr int16_t kDisplayResolution = 96;
constexpr int32_t kDisplayWidth = 1280;
constexpr int32_t kDisplayHeight = 1024;
// Blocks count bytes in 32 bits, positions in streams have a sign. Both leave room for headers.
constexpr uint64_t kLargestBlock = std::numeric_limits<uint32_t>::max() - 4096;
constexpr uint64_t kLargestStream = std::numeric_limits<int32_t>::max() - 4096;

struct DepthCode {
    uint16_t bits;
    int32_t code;
};
constexpr std::array<DepthCode, 4> kDepths{{{1, COLOR_FORMAT_1BIT},
                                            {4, COLOR_FORMAT_4BIT},
                                            {8, COLOR_FORMAT_8BIT},
                                            {24, COLOR_FORMAT_24BIT}}};

int32_t codeOfBits(uint16_t bits) {
    return std::find_if(kDepths.begin(), kDepths.end(), [&](DepthCode d) { return d.bits == bits; })
        ->code;
}

uint16_t bitsOfCode(int32_t code) {
    const auto* found =
        std::find_if(kDepths.begin(), kDepths.end(), [&](DepthCode d) { return d.code == code; });
    return found == kDepths.end() ? uint16_t{0} : found->bits;
}

void checkProfile(const SetupRecord& record, const ExportRequest& request) {
    if (request.profile.size() >= sizeof record.profilePath) {
        failAt(request.profile, "a profile's path may have 143 characters", "use a shorter path");
    }
    if (record.profilePath[0] == '\0') {
        failAt(request.profile, "the profile cannot be read", "check the path");
    }
    if (record.driverName[0] == '\0') {
        const std::string mode =
            record.modeName[0] == '\0' ? "no mode" : std::string("mode ") + record.modeName;
        failAt(request.profile, mode + " with a key Driver is in the profile",
               "name one of its modes with --mode");
    }
}

bool hasKey(const Settings& settings, const char* key) {
    std::array<char, 32> value{};
    const SetupRecord& record = *settings.record;
    return settings.library.profileString(record.modeName, key, "", value.data(),
                                          static_cast<int32_t>(value.size()),
                                          record.profilePath) > 0;
}

// A size mode that the profile leaves out means 602, with a size that nobody chose.
bool profileNamesSize(const Settings& settings) {
    const int32_t mode = settings.record->sizeMode;
    return mode == SIZE_OF_DISPLAY || mode == SIZE_OF_PRINTER || hasKey(settings, "Width") ||
           hasKey(settings, "Height");
}

void setFormat(SetupRecord& record, const ExportRequest& request, const Picture& picture) {
    const bool profiled = !request.profile.empty();
    if (request.bits || !profiled) {
        record.colorFormat = codeOfBits(request.bits.value_or(picture.bits));
    }
    if (request.os2 || !profiled) {
        record.fileType = request.os2 ? FILE_TYPE_OS2 : FILE_TYPE_WINDOWS;
    }
    if (request.encoded || !profiled) {
        record.compressionMode =
            request.encoded.value_or(false) ? COMPRESSION_RLE : COMPRESSION_NONE;
    }
}

// Bytes of the 24-bit bitmap that a conversion between depths may go through. It comes after
// shrinking and before growing; a picture scaled both ways is scaled first.
uint64_t conversionBytes(const ExportPlan& plan, const Picture& picture) {
    if (plan.bits == picture.bits) return 0;
    const bool first = scalesBothWays(picture, plan.size);
    const uint32_t width = first ? plan.size.width : std::min(plan.size.width, picture.width);
    const uint32_t height = first ? plan.size.height : std::min(plan.size.height, picture.height);
    return rowBytes(width, 24) * height;
}

// Where these limits are passed the library writes a wrong file in silence.
void checkLimits(const ExportPlan& plan, const Picture& picture) {
    const uint64_t fileBytes = rowBytes(plan.size.width, plan.bits) * plan.size.height;
    if (fileBytes > kLargestStream) {
        fail("the file would have more than 2 gigabytes, which the library cannot write",
             "choose a smaller size or fewer bits");
    }
    if (conversionBytes(plan, picture) > kLargestBlock) {
        fail("changing the depth needs a bitmap of more than 4 gigabytes",
             "choose a smaller size or the picture's own depth");
    }
    if (plan.os2 && plan.size.height > kLargestSide) {
        fail("the OS/2 flavour holds at most 65534 rows", "choose a smaller size");
    }
}

struct StatusContext {
    Progress& progress;
};

int32_t onStatus(intptr_t context, int32_t operation, int32_t value, int32_t, int32_t percent,
                 int32_t, intptr_t) noexcept {
    Progress& progress = reinterpret_cast<StatusContext*>(context)->progress;
    if (operation == 0 && value == 0) showStep(progress, std::to_string(percent) + " %");
    return pendingSignal() != 0 ? 1 : 0;
}

CellPicture describePicture(const Picture& picture) {
    CellPicture cells{};
    cells.bits = picture.bits;
    cells.width = static_cast<uint16_t>(picture.width);
    cells.height = static_cast<uint16_t>(picture.height);
    cells.colorTable = picture.table.handle;
    cells.pixels = picture.pixels.handle;
    return cells;
}

// Without an offered resolution the width and height are only a ratio to fit into the page.
PictureDescription describeTarget(const ExportPlan& plan, const Picture& picture) {
    PictureDescription target{};
    target.displayResolution = kDisplayResolution;
    target.displayWidth = kDisplayWidth;
    target.displayHeight = kDisplayHeight;
    target.resolution = plan.sizeFromProfile ? int16_t{0} : kExactResolution;
    target.width = static_cast<int32_t>(plan.sizeFromProfile ? picture.width : plan.size.width);
    target.height = static_cast<int32_t>(plan.sizeFromProfile ? picture.height : plan.size.height);
    return target;
}

template <class Pointer>
HostWord wordOf(Pointer pointer) {
    return reinterpret_cast<HostWord>(pointer);
}

}  // namespace

Settings::Settings(const Library& loaded, const ExportRequest& request)
    : library(loaded),
      handle(loaded.createSetup(0, request.profile.c_str(), request.mode.c_str(), nullptr)),
      record(static_cast<SetupRecord*>(loaded.globalLock(handle))) {
    if (record == nullptr) throw std::bad_alloc();
    if (!request.profile.empty()) checkProfile(*record, request);
}

Settings::~Settings() {
    library.destroySetup(handle);
}

ExportPlan planExport(Settings& settings, const ExportRequest& request, const Picture& picture) {
    SetupRecord& record = *settings.record;
    setFormat(record, request, picture);
    ExportPlan plan;
    plan.bits = bitsOfCode(record.colorFormat);
    if (plan.bits == 0) {
        failAt(
            request.profile,
            "the mode's colour format " + std::to_string(record.colorFormat) + " cannot be written",
            "choose a depth with --bits");
    }
    plan.os2 = record.fileType == FILE_TYPE_OS2;
    plan.encoded = record.compressionMode == COMPRESSION_RLE && (plan.bits == 4 || plan.bits == 8);
    plan.sizeFromProfile = !request.profile.empty() && !request.size && profileNamesSize(settings);
    if (!plan.sizeFromProfile) {
        fixSize(settings, plan, picture,
                request.size.value_or(PixelSize{picture.width, picture.height}));
    }
    return plan;
}

void fixSize(Settings& settings, ExportPlan& plan, const Picture& picture, PixelSize size) {
    plan.sizeFromProfile = false;
    plan.size = {size.width, evenHeight(size.height)};
    settings.record->sizeMode = SIZE_GIVEN;
    settings.record->resolutionMode = RESOLUTION_OF_CALLER;
    checkLimits(plan, picture);
}

Block runExport(Settings& settings, const ExportPlan& plan, const Picture& picture,
                const Destination& destination, Progress& progress) {
    StatusContext context{progress};
    std::array<HostWord, 13> status{};
    status[STATUS_CONTEXT] = wordOf(&context);
    status[STATUS_PROC] = wordOf(static_cast<StatusProc>(onStatus));
    status[STATUS_DOCUMENT] = wordOf(destination.document);
    settings.record->documentStream =
        destination.document == nullptr ? 0 : wordOf(static_cast<OxlDocProc>(serveDocument));
    std::array<HostWord, 7> parameters{};
    parameters[EXPORT_SETUP] = settings.handle;
    parameters[EXPORT_STATUS] = wordOf(status.data());

    CellPicture cells = describePicture(picture);
    const PictureDescription target = describeTarget(plan, picture);
    int32_t result = 0;
    {
        const DeferSignals deferred;
        result = settings.library.exportCellData(destination.fileName.c_str(), &cells, &target,
                                                 parameters.data());
    }
    Block memory(settings.library, status[STATUS_MEMORY]);
    throwIfInterrupted();
    if (result != 0) {
        fail("the library could not open its output (code " + std::to_string(result) + ")",
             "check the target and the free memory");
    }
    return memory;
}

}  // namespace tool
