// Exports a fixed set of made-up pictures into the directory that its argument names, and writes
// them by the direct interface. Builds of either word size, for whatever processor, must give the
// same files. What differs between those machines goes to the standard output.
#include <tivar/tivar.h>
#include <tivar/write.h>

#include <bit>
#include <cstdio>
#include <limits>
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

// ---- The direct interface ----------------------------------------------------------------------

struct DirectLook {
    const char* name;
    int32_t bits;
    int32_t colors;
    int32_t dither;
    int32_t encoding;
    int32_t threads;
};

constexpr DirectLook kDirectLooks[] = {
    {"32", 32, 0, 0, 0, 0},
    {"24", 24, 0, 0, 0, 0},
    {"16", 16, 0, 0, 0, 0},
    {"16-diffused", 16, 0, TIVAR_DITHER_DIFFUSE, 0, 0},
    {"16-ordered", 16, 0, TIVAR_DITHER_ORDERED, 0, 0},
    {"8", 8, 0, 0, 0, 0},
    {"8-threads", 8, 0, TIVAR_DITHER_DIFFUSE, TIVAR_ENCODING_SMALLEST, 3},
    {"8-filter", 8, TIVAR_COLORS_FILTER, 0, 0, 0},
    {"8-rle", 8, TIVAR_COLORS_BEST, TIVAR_DITHER_ORDERED, TIVAR_ENCODING_RLE, 0},
    {"4", 4, 0, 0, 0, 0},
    {"4-rle", 4, TIVAR_COLORS_BEST, TIVAR_DITHER_NONE, TIVAR_ENCODING_RLE, 0},
    {"4-greys", 4, TIVAR_COLORS_GREYS, TIVAR_DITHER_ORDERED, 0, 0},
    {"1", 1, 0, 0, 0, 0},
    {"1-best", 1, TIVAR_COLORS_BEST, TIVAR_DITHER_DIFFUSE, 0, 0},
};

bool writeOne(const std::string& name, const DrawnPicture& drawn, const DirectLook& look) {
    TivarPicture picture = {};
    picture.size = sizeof picture;
    picture.format = drawn.bits == 8 ? TIVAR_INDEX8 : TIVAR_BGR;
    picture.width = drawn.width;
    picture.height = drawn.height;
    picture.pixels = drawn.pixels.data();
    picture.stride = (static_cast<ptrdiff_t>(drawn.width) * drawn.bits + 31) / 32 * 4;
    if (drawn.bits == 8) {
        picture.palette = drawn.table.data();
        picture.palette_count = static_cast<uint32_t>(drawn.table.size() / 3);
    }
    TivarOptions options = {};
    options.size = sizeof options;
    options.bits = look.bits;
    options.colors = look.colors;
    options.dither = look.dither;
    options.encoding = look.encoding;
    options.threads = look.threads;
    return tivar_write_bmp_file(&picture, &options, name.c_str(), 0, nullptr) == TIVAR_RESULT_OK;
}

bool writeDirectly(const std::string& directory) {
    uint32_t seed = 100;
    for (const Drawing drawing : kDrawings) {
        for (const int bits : {8, 24}) {
            const DrawnPicture drawn = support::drawPicture(drawing, bits, 93, 71, ++seed);
            for (const DirectLook& look : kDirectLooks) {
                const std::string name = directory + "/direct-" +
                                         std::to_string(static_cast<int>(drawing)) + "-from-" +
                                         std::to_string(bits) + "-to-" + look.name + ".bmp";
                if (writeOne(name, drawn, look)) continue;
                std::fprintf(stderr, "%s: not written\n", name.c_str());
                return false;
            }
        }
    }
    return true;
}

void describeMachine() {
    const bool lowestFirst = std::endian::native == std::endian::little;
    const bool isSigned = std::numeric_limits<char>::is_signed;
    std::printf("words of %zu bits, long of %zu, lowest byte %s, char %s\n", sizeof(void*) * 8,
                sizeof(long) * 8, lowestFirst ? "first" : "last", isSigned ? "signed" : "unsigned");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    describeMachine();
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
    return writeDirectly(argv[1]) ? 0 : 1;
}
