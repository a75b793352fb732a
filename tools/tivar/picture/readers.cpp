#include "picture/readers.h"

#include <algorithm>
#include <array>

namespace tool {
namespace {

using namespace std::string_view_literals;

bool isTiff(std::string_view start) {
    return start.starts_with("II*\0"sv) || start.starts_with("MM\0*"sv) ||
           start.starts_with("II+\0"sv) || start.starts_with("MM\0+"sv);
}

#ifdef TIVAR_READS_HEIF
// Many other files have boxes of this kind: the brand tells.
bool isHeif(std::string_view start) {
    if (start.size() < 12 || start.substr(4, 4) != "ftyp"sv) return false;
    const std::string_view brand = start.substr(8, 4);
    constexpr std::array kBrands{"heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv,
                                 "mif1"sv, "mif2"sv, "msf1"sv, "avif"sv, "avis"sv};
    return std::find(kBrands.begin(), kBrands.end(), brand) != kBrands.end();
}
#endif

constexpr std::array kReaders{
    ImageReader{"PNG", [](std::string_view start) { return start.starts_with("\x89P"sv); },
                readPng},
    ImageReader{"JPEG", [](std::string_view start) { return start.starts_with("\xFF\xD8"sv); },
                readJpeg},
    ImageReader{"PNM",
                [](std::string_view start) {
                    return start.size() >= 2 && start[0] == 'P' && start[1] >= '1' &&
                           start[1] <= '6';
                },
                readPnm},
    ImageReader{"GIF", [](std::string_view start) { return start.starts_with("GIF8"sv); }, readGif},
    ImageReader{"TIFF", isTiff, readTiff},
    ImageReader{"WebP",
                [](std::string_view start) {
                    return start.starts_with("RIFF"sv) && start.size() >= 12 &&
                           start.substr(8, 4) == "WEBP"sv;
                },
                readWebp},
#ifdef TIVAR_READS_HEIF
    ImageReader{"HEIF", isHeif, readHeif},
#endif
};

}  // namespace

std::span<const ImageReader> imageReaders() {
    return kReaders;
}

Notice severalPictures() {
    return {"has several pictures, the first one is taken", "take it apart first for the others"};
}

}  // namespace tool
