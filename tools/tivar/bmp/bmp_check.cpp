#include "bmp/bmp_check.h"

#include <algorithm>

#include "bmp/fields.h"

namespace tool {
namespace {

std::string text(uint64_t number) {
    return std::to_string(number);
}

// The native form keeps the raw size there, although the file is shorter or longer.
uint64_t wantedFileSize(const BmpFile& file) {
    if (file.form != BmpForm::Native) return file.bytes.size();
    return file.pixelOffset + file.rowBytes * file.rows;
}

void checkFileHeader(const BmpFile& file, BmpFlaws& flaws) {
    const uint64_t wanted = wantedFileSize(file);
    if (file.fileSize != wanted) {
        flaws.add({kBmpFileSize, "the file size field says " + text(file.fileSize) +
                                     " instead of " + text(wanted)});
    }
    if (file.reserved != 0) {
        flaws.add({kBmpReserved, "the reserved fields are not 0"});
    }
    if (file.pixelOffset > file.bytes.size()) {
        flaws.add({kBmpPixelOffset, "the pixels are said to begin at " + text(file.pixelOffset) +
                                        ", behind the end of the file"});
    } else if (file.pixelOffset < file.paletteAt) {
        flaws.add({kBmpPixelOffset, "the pixels are said to begin at " + text(file.pixelOffset) +
                                        ", within the headers"});
    }
}

void checkShape(const BmpFile& file, BmpFlaws& flaws) {
    const bool core = hasCoreHeader(file);
    if (file.width <= 0) flaws.add({kBmpWidth, "a width of " + std::to_string(file.width)});
    if (file.height == 0) flaws.add({kBmpWidth + (core ? 2 : 4), "a height of 0"});
    if (file.planes != 1) {
        flaws.add({kBmpPlanes - (core ? 4 : 0), text(file.planes) + " planes instead of 1"});
    }
    if (!isKnownDepth(file.bits) && !(isEmbedded(file) && file.bits == 0)) {
        flaws.add({kBmpBits - (core ? 4 : 0), "a depth of " + text(file.bits) + " bits"});
    }
}

void checkInfoHeader(const BmpFile& file, BmpFlaws& flaws) {
    if (!isKnownHeader(file.headerBytes)) {
        flaws.add({kBmpHeaderBytes, "no header has " + text(file.headerBytes) + " bytes"});
    }
    checkShape(file, flaws);
    const bool encoded = file.compression == kBmpRle8 || file.compression == kBmpRle4;
    const unsigned wanted = file.compression == kBmpRle8 ? 8 : 4;
    if (encoded && file.bits != wanted) {
        flaws.add({kBmpCompressionField,
                   "RLE" + text(wanted) + " at a depth of " + text(file.bits) + " bits"});
    }
    if (hasFields(file) && !fieldsOf(file).usable) {
        flaws.add({kBmpMasks, "colour masks with gaps, over each other or beyond the pixel", true});
    }
    if (encoded && file.height < 0) {
        flaws.add({kBmpWidth + 4, "encoded rows that begin with the top one"});
    }
}

// Where the OS/2 header has no field for it, the native form's length lies on top of the palette.
void checkPalette(const BmpFile& file, BmpFlaws& flaws) {
    if (file.bits == 0 || file.bits > 8) return;
    const uint64_t ofDepth = uint64_t{1} << file.bits;
    if (file.colorsUsed > ofDepth) {
        flaws.add({kBmpColorsUsed,
                   text(file.colorsUsed) + " colours at a depth of " + text(file.bits) + " bits"});
    }
    if (file.palette.size() < std::min(file.colorsPromised, ofDepth)) {
        flaws.add({file.paletteAt, "room for " + text(file.palette.size()) + " of " +
                                       text(file.colorsPromised) + " palette entries"});
    }
    if (file.form == BmpForm::Native && !hasFullHeader(file)) {
        flaws.add(
            {kBmpImageSize,
             "the encoded length overwrites palette entries 2 and 3, whose colours are lost"});
    }
}

void checkImageSize(const BmpFile& file, uint64_t used, BmpFlaws& flaws) {
    if (!hasFullHeader(file) || file.form == BmpForm::Unknown) return;
    if (isEmbedded(file) && file.imageSize == 0) return;
    const uint64_t raw = file.rowBytes * file.rows;
    const bool fits = file.form == BmpForm::Raw ? file.imageSize == 0 || file.imageSize == raw
                                                : file.imageSize == used;
    if (!fits) {
        flaws.add({kBmpImageSize, "the image size field says " + text(file.imageSize) +
                                      " instead of " +
                                      text(file.form == BmpForm::Raw ? raw : used)});
    }
}

RunMap mapRaw(const BmpFile& file) {
    const uint64_t wanted = file.rowBytes * file.rows;
    const uint64_t there = pixelBytes(file).size();
    RunMap map;
    map.end = static_cast<size_t>(std::min(wanted, there));
    if (there < wanted) {
        map.flaws.add(
            {file.bytes.size(),
             "the pixels are cut short: " + text(there) + " of " + text(wanted) + " bytes", true});
    }
    return map;
}

// The picture ends where it says itself, which only its own reader knows.
RunMap mapEmbedded(const BmpFile& file) {
    const uint64_t there = pixelBytes(file).size();
    RunMap map;
    map.end = static_cast<size_t>(file.imageSize == 0 ? there
                                                      : std::min<uint64_t>(file.imageSize, there));
    if (there < file.imageSize) {
        map.flaws.add(
            {file.bytes.size(),
             "the picture is cut short: " + text(there) + " of " + text(file.imageSize) + " bytes",
             true});
    }
    return map;
}

RunMap mapUnknown(const BmpFile& file) {
    RunMap map;
    if (file.rows == 0) {
        map.flaws.add({kBmpWidth, "the header gives no picture", true});
    } else {
        map.notDecoded = "compression " + text(file.compression) + " at a depth of " +
                         text(file.bits) + (file.bits == 1 ? " bit" : " bits");
    }
    return map;
}

}  // namespace

RunMap mapPixels(const BmpFile& file) {
    if (file.form == BmpForm::Unknown) return mapUnknown(file);
    if (file.form == BmpForm::Raw) return mapRaw(file);
    if (isEmbedded(file) || file.form == BmpForm::Jpeg) return mapEmbedded(file);
    return mapRuns(pixelBytes(file), runShape(file, file.form), file.pixelsAt);
}

BmpFlaws headerFlaws(const BmpFile& file, uint64_t pixelLength) {
    BmpFlaws flaws;
    checkFileHeader(file, flaws);
    checkInfoHeader(file, flaws);
    checkPalette(file, flaws);
    checkImageSize(file, pixelLength, flaws);
    return flaws;
}

}  // namespace tool
