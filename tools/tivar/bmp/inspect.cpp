#include "bmp/inspect.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "bmp/bmp_check.h"
#include "bmp/bmp_rows.h"
#include "bmp/read_bytes.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/printable.h"
#include "process/printing.h"

namespace tool {
namespace {

const char* nameOfForm(BmpForm form) {
    switch (form) {
        case BmpForm::Raw:
            return "raw rows";
        case BmpForm::Rle8:
            return "RLE8, with end-of-line codes";
        case BmpForm::Rle4:
            return "RLE4, with end-of-line codes";
        case BmpForm::Native:
            return "native: pairs of count and value, without end-of-line codes";
        default:
            return "unknown";
    }
}

const char* nameOfCompression(uint32_t compression) {
    switch (compression) {
        case kBmpRaw:
            return "none";
        case kBmpRle8:
            return "RLE8";
        case kBmpRle4:
            return "RLE4";
        case 3:
            return "colour masks, or Huffman with an OS/2 header";
        case 4:
            return "JPEG, or RLE24 with an OS/2 header";
        case 5:
            return "PNG";
        case 6:
            return "colour and alpha masks";
        default:
            return "unknown";
    }
}

void printField(const char* name, const std::string& value) {
    std::printf("  %-14s  %s\n", name, value.c_str());
}

void printField(const char* name, uint64_t value) {
    printField(name, std::to_string(value));
}

std::string times(uint64_t a, uint64_t b) {
    return std::to_string(a) + " x " + std::to_string(b);
}

void printFileHeader(const BmpFile& file) {
    std::printf("file header\n");
    printField("file size",
               std::to_string(file.fileSize) +
                   (file.form == BmpForm::Native ? " (of raw rows, as this form has it)" : ""));
    printField("reserved", file.reserved);
    printField("pixel offset", file.pixelOffset);
}

void printInfoHeader(const BmpFile& file) {
    std::printf("info header\n");
    printField("kind", headerName(file.headerBytes));
    printField("size", std::to_string(file.width) + " x " +
                           std::to_string(file.height < 0 ? -file.height : file.height) +
                           (file.height < 0 ? ", top row first" : ", bottom row first"));
    printField("planes", file.planes);
    printField("depth", std::to_string(file.bits) + (file.bits == 1 ? " bit" : " bits"));
    if (!hasFullHeader(file)) {
        printField("compression", "no field");
        return;
    }
    printField("compression",
               std::to_string(file.compression) + " (" + nameOfCompression(file.compression) + ")");
    printField("image size", file.imageSize);
    printField("resolution", times(file.xPerMeter, file.yPerMeter) + " pixels per metre");
    printField("colours used", file.colorsUsed);
}

void printPixels(const BmpFile& file, uint64_t end) {
    std::printf("pixels\n");
    printField("form", nameOfForm(file.form));
    printField("row stride", std::to_string(file.rowBytes) + " bytes");
    printField("bytes",
               std::to_string(end - file.pixelsAt) + " from byte " + std::to_string(file.pixelsAt));
    printField("bytes after", file.bytes.size() - end);
}

void printPalette(const BmpFile& file) {
    if (file.palette.empty()) return;
    std::printf("palette\n");
    printField("entries", std::to_string(file.palette.size()) + " of " +
                              std::to_string(file.entryBytes) + " bytes from byte " +
                              std::to_string(file.paletteAt));
    for (size_t i = 0; i < file.palette.size(); ++i) {
        const Color color = file.palette[i];
        std::printf("  %5zu  %02X%02X%02X\n", i, color.red, color.green, color.blue);
    }
}

BmpFlaw indexFlaw(const BmpFile& file, uint64_t x, uint64_t y, unsigned index) {
    BmpFlaw flaw;
    flaw.at = file.pixelsAt;
    if (file.form == BmpForm::Raw) {
        flaw.at += rowInFile(file, y) * file.rowBytes + x * file.bits / 8;
    }
    flaw.what = "pixel " + std::to_string(x) + ", " + std::to_string(y) + " has colour " +
                std::to_string(index) + ", the palette has " + std::to_string(file.palette.size());
    return flaw;
}

// The highest index in the bytes, the unused bits behind a row's last pixel included.
unsigned highestIndex(const std::vector<uint8_t>& packed, unsigned bits) {
    uint8_t highest = 0;
    for (const uint8_t byte : packed) {
        const auto low = static_cast<uint8_t>(bits == 8 ? byte : byte & 15);
        const auto high = static_cast<uint8_t>(bits == 8 ? 0 : byte >> 4);
        highest = std::max({highest, low, high});
    }
    return bits == 1 ? std::min<unsigned>(highest, 1) : highest;
}

// The first pixel whose colour is beyond the palette.
BmpFlaws findIndexFlaw(const BmpFile& file) {
    const PixelRows rows = rowsOf(file);
    std::vector<uint8_t> packed(packedBytes(rows));
    BmpFlaws flaws;
    for (uint32_t y = 0; y < rows.height && flaws.list.empty(); ++y) {
        rows.read(y, packed.data());
        if (highestIndex(packed, rows.bits) < file.palette.size()) continue;
        for (uint32_t x = 0; x < rows.width && flaws.list.empty(); ++x) {
            const unsigned index = indexAt(packed.data(), x, rows.bits);
            if (index >= file.palette.size()) flaws.add(indexFlaw(file, x, y, index));
        }
    }
    return flaws;
}

BmpFlaws indexFlaws(const BmpFile& file) {
    if (file.bits > 8 || file.palette.size() >> file.bits != 0) return {};
    try {
        return findIndexFlaw(file);
    } catch (const Failure&) {
        return {};  // without certain pixels there are no indices to judge
    }
}

// All kinds together in the order of the file.
BmpFlaws allFlaws(const BmpFile& file, const RunMap& pixels) {
    BmpFlaws all;
    for (const BmpFlaws& kind : {headerFlaws(file, pixels.end), pixels.flaws, indexFlaws(file)}) {
        all.list.insert(all.list.end(), kind.list.begin(), kind.list.end());
        all.more += kind.more;
    }
    std::stable_sort(all.list.begin(), all.list.end(),
                     [](const BmpFlaw& a, const BmpFlaw& b) { return a.at < b.at; });
    return all;
}

int printFlaws(const BmpFlaws& flaws) {
    if (flaws.list.empty()) {
        std::printf("consistent\n");
        return kDone;
    }
    std::printf("inconsistent\n");
    for (const BmpFlaw& flaw : flaws.list) {
        std::printf("  byte %" PRIu64 ": %s\n", flaw.at, flaw.what.c_str());
    }
    if (flaws.more != 0) std::printf("  and %" PRIu64 " more\n", flaws.more);
    return kExportFailed;
}

}  // namespace

namespace {

int inspectFile(const std::string& input) {
    const BmpFile file = parseBmp(readBmpBytes(input));
    std::printf("%s: %zu bytes\n", printable(nameOfInput(input)).c_str(), file.bytes.size());
    printFileHeader(file);
    printInfoHeader(file);
    const RunMap pixels = mapPixels(file);
    printPixels(file, file.pixelsAt + pixels.end);
    printPalette(file);
    return printFlaws(allFlaws(file, pixels));
}

const char* briefForm(const BmpFile& file) {
    switch (file.form) {
        case BmpForm::Raw:
            return "none";
        case BmpForm::Rle8:
            return "RLE8";
        case BmpForm::Rle4:
            return "RLE4";
        case BmpForm::Native:
            return file.bits == 4 ? "RLE4, native" : "RLE8, native";
        default:
            return nameOfCompression(file.compression);
    }
}

int inspectBriefly(const std::string& input) {
    const BmpFile file = parseBmp(readBmpBytes(input));
    const std::string size =
        std::to_string(file.width) + "x" + std::to_string(std::abs(file.height));
    const uint64_t colors = uint64_t{1} << std::min<uint16_t>(file.bits, 32);
    std::printf("%4d  %-7s  %-12s  %-11s  %9zu  %10" PRIu64 "  %s\n", file.bits,
                hasCoreHeader(file) ? "OS/2" : "Windows", briefForm(file), size.c_str(),
                file.bytes.size(), colors, printable(nameOfInput(input)).c_str());
    const BmpFlaws flaws = allFlaws(file, mapPixels(file));
    return flaws.list.empty() ? kDone : kExportFailed;
}

}  // namespace

int inspectFiles(const InspectRequest& request) {
    if (request.brief) {
        std::printf("%4s  %-7s  %-12s  %-11s  %9s  %10s  %s\n", "bits", "header", "compression",
                    "size", "bytes", "colours", "file");
    }
    int result = kDone;
    for (const std::string& input : request.inputs) {
        const int one = reporting(nameOfInput(input), [&] {
            return request.brief ? inspectBriefly(input) : inspectFile(input);
        });
        result = std::max(result, one);
    }
    finishPrinting();
    return result;
}

}  // namespace tool
