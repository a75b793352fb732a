#include "bmp/inspection.h"

#include <algorithm>
#include <utility>

#include "bmp/bmp_check.h"
#include "bmp/bmp_rows.h"
#include "bmp/read_bytes.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

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
BmpFlaws findIndexFlaw(const BmpFile& file, const ReadRequest& reading) {
    const PixelRows rows = rowsOf(file, reading);
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

BmpFlaws indexFlaws(const BmpFile& file, const ReadRequest& reading) {
    if (holdsImage(file) || file.bits > 8 || file.palette.size() >> file.bits != 0) return {};
    try {
        return findIndexFlaw(file, reading);
    } catch (const Failure&) {
        return {};  // without certain pixels there are no indices to judge
    }
}

// All kinds together in the order of the file.
BmpFlaws allFlaws(const BmpFile& file, const RunMap& pixels, const ReadRequest& reading) {
    BmpFlaws all;
    for (const BmpFlaws& kind :
         {headerFlaws(file, pixels.end), pixels.flaws, indexFlaws(file, reading)}) {
        all.list.insert(all.list.end(), kind.list.begin(), kind.list.end());
        all.more += kind.more;
    }
    std::stable_sort(all.list.begin(), all.list.end(),
                     [](const BmpFlaw& a, const BmpFlaw& b) { return a.at < b.at; });
    return all;
}

const char* nameOfOs2Compression(uint32_t compression) {
    return compression == kBmpHuffman ? "Huffman" : "RLE24";
}

}  // namespace

Inspection inspect(const std::string& input) {
    return inspect(readBmpBytes(input), nameOfInput(input), {});
}

Inspection inspect(std::vector<uint8_t> bytes, const std::string& name,
                   const ReadRequest& reading) {
    Inspection inspection;
    inspection.name = name;
    inspection.file = parseBmp(std::move(bytes));
    const RunMap pixels = mapPixels(inspection.file);
    inspection.pixelsEnd = inspection.file.pixelsAt + pixels.end;
    inspection.flaws = allFlaws(inspection.file, pixels, reading);
    inspection.notDecoded = pixels.notDecoded;
    return inspection;
}

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
        case BmpForm::Rle24:
            return "RLE24, with end-of-line codes";
        case BmpForm::Jpeg:
            return "a JPEG picture";
        case BmpForm::Png:
            return "a PNG picture";
        default:
            return "unknown";
    }
}

const char* nameOfCompression(const BmpFile& file) {
    const bool os2 = countsLikeOs2(file) && file.form != BmpForm::Jpeg;
    if (os2 && (file.compression == kBmpHuffman || file.compression == kBmpRle24)) {
        return nameOfOs2Compression(file.compression);
    }
    switch (file.compression) {
        case kBmpRaw:
            return "none";
        case kBmpRle8:
            return "RLE8";
        case kBmpRle4:
            return "RLE4";
        case kBmpFields:
            return "colour masks";
        case kBmpJpeg:
            return "JPEG";
        case kBmpPng:
            return "PNG";
        case kBmpAlphaFields:
            return "colour and alpha masks";
        default:
            return "unknown";
    }
}

const char* verdictOf(const Inspection& inspection) {
    if (!inspection.flaws.list.empty()) return "inconsistent";
    return inspection.notDecoded.empty() ? "consistent" : "not decoded";
}

}  // namespace tool
