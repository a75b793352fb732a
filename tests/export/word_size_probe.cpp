// Exports a fixed set of made-up pictures into the directory that its argument names. Builds of
// either word size must give the same files.
#include <tivar/tivar.h>

#include <cstdio>
#include <string>

#include "support/drawn_picture.h"
#include "support/memory_block.h"

namespace {

using support::Block;
using support::Drawing;
using support::DrawnPicture;

struct Look {
    const char* name;
    int32_t format;
    int32_t compression;
    int32_t type;
};

constexpr Look kLooks[] = {
    {"1-windows", 215, 310, 331},  {"1-os2", 215, 310, 332},
    {"4-windows", 219, 310, 331},  {"4-windows-rle", 219, 228, 331},
    {"4-os2", 219, 310, 332},      {"4-os2-rle", 219, 228, 332},
    {"8-windows", 221, 310, 331},  {"8-windows-rle", 221, 228, 331},
    {"8-os2", 221, 310, 332},      {"8-os2-rle", 221, 228, 332},
    {"24-windows", 222, 310, 331}, {"24-os2", 222, 310, 332},
};

// What to make of a picture of 61 x 45 pixels; resolution 0 fits it into the default page, made
// smaller.
struct Size {
    const char* name;
    int32_t width;
    int32_t height;
    int16_t resolution;
};

constexpr Size kSizes[] = {{"equal", 61, 45, 96},    {"smaller", 23, 17, 72},
                           {"larger", 133, 97, 300}, {"narrower", 40, 90, 150},
                           {"wider", 101, 20, 401},  {"page", 61, 45, 0}};

constexpr Drawing kDrawings[] = {Drawing::kNoise, Drawing::kFewColors, Drawing::kGreys,
                                 Drawing::kGradient, Drawing::kRuns};

// The settings of a look, for the host to free; 0 without memory.
MemHandle settingsOf(const Look& look) {
    const MemHandle handle = GlobalAlloc(TIVAR_GMEM_FLAGS, sizeof(SetupRecord));
    auto* record = static_cast<SetupRecord*>(GlobalLock(handle));
    if (record == nullptr) return 0;
    UseDefaultSettings(record);
    record->colorFormat = look.format;
    record->compressionMode = look.compression;
    record->fileType = look.type;
    record->pictureWidth = 1.17;
    record->pictureHeight = 0.83;
    return handle;
}

bool exportOne(const std::string& name, const DrawnPicture& drawn, const Look& look,
               const Size& size) {
    const Block settings(settingsOf(look));
    const Block pixels(drawn.pixels);
    const Block table(drawn.table.empty() ? MemHandle{0} : support::newBlock(drawn.table));
    CellPicture picture = {};
    picture.bits = drawn.bits;
    picture.width = drawn.width;
    picture.height = drawn.height;
    picture.pixels = pixels.handle;
    picture.colorTable = table.handle;
    PictureDescription description = {};
    description.resolution = size.resolution;
    description.width = size.width;
    description.height = size.height;
    HostWord parameters[7] = {};
    parameters[EXPORT_SETUP] = settings.handle;
    return ExportCellData(name.c_str(), &picture, &description, parameters) == TIVAR_OK;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    uint32_t seed = 0;
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const Look& look : kLooks) {
            for (const Size& size : kSizes) {
                const Drawing drawing = kDrawings[seed % std::size(kDrawings)];
                const std::string name = std::string(argv[1]) + "/from-" + std::to_string(bits) +
                                         "-to-" + look.name + "-" + size.name + ".bmp";
                const DrawnPicture drawn = support::drawPicture(drawing, bits, 61, 45, ++seed);
                if (!exportOne(name, drawn, look, size)) {
                    std::fprintf(stderr, "%s: not written\n", name.c_str());
                    return 1;
                }
            }
        }
    }
    return 0;
}
