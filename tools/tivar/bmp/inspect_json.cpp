#include <cstdio>

#include "bmp/inspection.h"
#include "process/json.h"

namespace tool {
namespace {

// The members of an object.
struct Members {
    std::string text;
};

void addRaw(Members& members, const char* name, const std::string& value) {
    members.text += (members.text.empty() ? "\"" : ",\"") + std::string(name) + "\":" + value;
}

template <class Number>
void add(Members& members, const char* name, Number value) {
    addRaw(members, name, std::to_string(value));
}

void addText(Members& members, const char* name, const std::string& value) {
    addRaw(members, name, jsonText(value));
}

std::string objectOf(const Members& members) {
    return "{" + members.text + "}";
}

std::string hex(uint32_t value, int digits) {
    char text[12];
    std::snprintf(text, sizeof text, "\"%0*X\"", digits, value);
    return text;
}

template <class List, class Describe>
std::string listOf(const List& list, Describe describe) {
    std::string text;
    for (const auto& item : list) text += (text.empty() ? "" : ",") + describe(item);
    return "[" + text + "]";
}

std::string fileHeaderOf(const BmpFile& file) {
    Members members;
    add(members, "size", file.fileSize);
    add(members, "reserved", file.reserved);
    add(members, "pixel_offset", file.pixelOffset);
    return objectOf(members);
}

std::string infoHeaderOf(const BmpFile& file) {
    Members members;
    add(members, "bytes", file.headerBytes);
    addText(members, "kind", headerName(file.headerBytes));
    add(members, "width", file.width);
    add(members, "height", file.height < 0 ? -file.height : file.height);
    addText(members, "row_order", file.height < 0 ? "top-down" : "bottom-up");
    add(members, "planes", file.planes);
    add(members, "bits", file.bits);
    if (hasCoreHeader(file)) return objectOf(members);
    add(members, "compression", file.compression);
    addText(members, "compression_name", nameOfCompression(file));
    add(members, "image_size", file.imageSize);
    add(members, "x_per_meter", file.xPerMeter);
    add(members, "y_per_meter", file.yPerMeter);
    add(members, "colors_used", file.colorsUsed);
    if (hasFields(file)) {
        addRaw(members, "masks", listOf(file.masks, [](uint32_t mask) { return hex(mask, 8); }));
    }
    return objectOf(members);
}

const char* wordOf(BmpForm form) {
    switch (form) {
        case BmpForm::Raw:
            return "raw";
        case BmpForm::Rle8:
            return "rle8";
        case BmpForm::Rle4:
            return "rle4";
        case BmpForm::Rle24:
            return "rle24";
        case BmpForm::Native:
            return "native";
        case BmpForm::Jpeg:
            return "jpeg";
        case BmpForm::Png:
            return "png";
        default:
            return "unknown";
    }
}

std::string pixelsOf(const Inspection& inspection) {
    const BmpFile& file = inspection.file;
    Members members;
    addText(members, "form", wordOf(file.form));
    add(members, "row_stride", file.rowBytes);
    add(members, "at", file.pixelsAt);
    add(members, "bytes", inspection.pixelsEnd - file.pixelsAt);
    add(members, "bytes_after", file.bytes.size() - inspection.pixelsEnd);
    return objectOf(members);
}

std::string colorOf(Color color) {
    return hex(color.red * 0x10000u + color.green * 0x100u + color.blue, 6);
}

std::string flawOf(const BmpFlaw& flaw) {
    Members members;
    add(members, "at", flaw.at);
    addText(members, "what", flaw.what);
    return objectOf(members);
}

}  // namespace

void printJsonOf(const Failure& failure) {
    Members members;
    addText(members, "file", failure.file);
    addText(members, "error", failure.what);
    std::printf("%s\n", objectOf(members).c_str());
}

void printJson(const Inspection& inspection) {
    const BmpFile& file = inspection.file;
    Members members;
    addText(members, "file", inspection.name);
    add(members, "bytes", file.bytes.size());
    addRaw(members, "file_header", fileHeaderOf(file));
    addRaw(members, "info_header", infoHeaderOf(file));
    addRaw(members, "pixels", pixelsOf(inspection));
    addRaw(members, "palette", listOf(file.palette, colorOf));
    addText(members, "verdict", verdictOf(inspection));
    addRaw(members, "flaws", listOf(inspection.flaws.list, flawOf));
    add(members, "more_flaws", inspection.flaws.more);
    if (!inspection.notDecoded.empty()) addText(members, "not_decoded", inspection.notDecoded);
    std::printf("%s\n", objectOf(members).c_str());
}

}  // namespace tool
