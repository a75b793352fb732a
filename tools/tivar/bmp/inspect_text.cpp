#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "bmp/inspection.h"
#include "process/printable.h"

namespace tool {
namespace {

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

void printMasks(const BmpFile& file) {
    char text[60];
    std::snprintf(text, sizeof text, "%08X %08X %08X %08X", file.masks[0], file.masks[1],
                  file.masks[2], file.masks[3]);
    printField("masks", text);
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
               std::to_string(file.compression) + " (" + nameOfCompression(file) + ")");
    printField("image size", file.imageSize);
    printField("resolution", times(file.xPerMeter, file.yPerMeter) + " pixels per metre");
    printField("colours used", file.colorsUsed);
    if (hasFields(file)) printMasks(file);
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

void printVerdict(const Inspection& inspection) {
    std::printf("%s\n", verdictOf(inspection));
    for (const BmpFlaw& flaw : inspection.flaws.list) {
        std::printf("  byte %" PRIu64 ": %s\n", flaw.at, flaw.what.c_str());
    }
    if (inspection.flaws.more != 0) std::printf("  and %" PRIu64 " more\n", inspection.flaws.more);
    if (!inspection.notDecoded.empty()) {
        std::printf("  not decoded: %s\n", inspection.notDecoded.c_str());
    }
}

const char* briefForm(const BmpFile& file) {
    if (file.form != BmpForm::Native) return nameOfCompression(file);
    return file.bits == 4 ? "RLE4, native" : "RLE8, native";
}

}  // namespace

void printWhole(const Inspection& inspection) {
    const BmpFile& file = inspection.file;
    std::printf("%s: %zu bytes\n", printable(inspection.name).c_str(), file.bytes.size());
    printFileHeader(file);
    printInfoHeader(file);
    printPixels(file, inspection.pixelsEnd);
    printPalette(file);
    printVerdict(inspection);
}

void printBriefHeading() {
    std::printf("%4s  %-7s  %-12s  %-11s  %9s  %10s  %s\n", "bits", "header", "compression", "size",
                "bytes", "colours", "file");
}

void printBrief(const Inspection& inspection) {
    const BmpFile& file = inspection.file;
    const std::string size =
        std::to_string(file.width) + "x" + std::to_string(std::abs(file.height));
    const uint64_t colors =
        file.bits <= 8 ? file.palette.size() : uint64_t{1} << std::min<uint16_t>(file.bits, 32);
    std::printf("%4d  %-7s  %-12s  %-11s  %9zu  %10" PRIu64 "  %s\n", file.bits,
                hasCoreHeader(file) ? "OS/2" : "Windows", briefForm(file), size.c_str(),
                file.bytes.size(), colors, printable(inspection.name).c_str());
}

}  // namespace tool
