#include "export/plan.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "export/scaling.h"
#include "process/failure.h"
#include "settings/display_page.h"

namespace tool {
namespace {

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

bool isEncodable(uint16_t bits) {
    return bits == 4 || bits == 8;
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
    if (request.flavour || !profiled) {
        const bool os2 = request.flavour == Flavour::Os2;
        record.fileType = os2 ? FILE_TYPE_OS2 : FILE_TYPE_WINDOWS;
    }
    if (request.compression || !profiled) {
        const bool native = request.compression == Compression::Native;
        record.compressionMode = native ? COMPRESSION_RLE : COMPRESSION_NONE;
    }
}

// Nothing in the header of the OS/2 flavour says that rows are encoded.
void refuseSilentCompression(const ExportPlan& plan, const ExportRequest& request) {
    if (plan.flavour != Flavour::Os2 || !plan.native || request.force) return;
    failUsage(
        "an OS/2 file in the native form does not tell that it is compressed, so that "
        "no reader can know, and its length overwrites colours",
        "leave out one of the two, or add --force");
}

void setCompression(ExportPlan& plan, const SetupRecord& record, const ExportRequest& request) {
    plan.native = isEncodable(plan.bits) && record.compressionMode == COMPRESSION_RLE;
    plan.portable = request.compression == Compression::Portable;
    if (plan.portable) requirePortable(plan.bits, plan.flavour);
    refuseSilentCompression(plan, request);
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
    if (plan.flavour == Flavour::Os2 && plan.size.height > kLargestSide) {
        fail("the OS/2 flavour holds at most 65534 rows", "choose a smaller size");
    }
}

}  // namespace

void requirePortable(uint16_t bits, Flavour flavour) {
    if (!isEncodable(bits)) {
        failUsage("--compress portable exists for 4 and 8 bits, not for " + std::to_string(bits),
                  "choose the depth with --bits");
    }
    if (flavour == Flavour::Os2) {
        failUsage(
            "--compress portable needs the Windows flavour, the OS/2 header has no field "
            "for compression",
            "choose one of the two");
    }
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
    plan.flavour = record.fileType == FILE_TYPE_OS2 ? Flavour::Os2 : Flavour::Windows;
    setCompression(plan, record, request);
    plan.sizeFromProfile = !request.profile.empty() && !request.size && profileNamesSize(settings);
    if (plan.sizeFromProfile) {
        requireDisplayPage(settings, {picture.width, picture.height});
    } else {
        const PixelSize own{picture.width, picture.height};
        fixSize(settings, plan, picture, sizeOfFile(request, request.size.value_or(own)));
    }
    return plan;
}

void fixSize(Settings& settings, ExportPlan& plan, const Picture& picture, PixelSize size) {
    plan.sizeFromProfile = false;
    plan.size = size;
    settings.record->sizeMode = SIZE_GIVEN;
    settings.record->resolutionMode = RESOLUTION_OF_CALLER;
    checkLimits(plan, picture);
}

PixelSize sizeOfFile(const ExportRequest& request, PixelSize size) {
    const bool standsAlone =
        request.route == Route::Driver && request.cellArrays == CellArrays::Single;
    return {size.width, standsAlone ? size.height : evenHeight(size.height)};
}

}  // namespace tool
