#include "export/read_picture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "bmp/read_bmp.h"
#include "picture/color_profile.h"
#include "picture/readers.h"
#include "picture/upright.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/lower_case.h"
#include "process/system.h"

namespace tool {
namespace {

// The file stands at its first byte again.
std::string peek(std::FILE* file) {
    std::string start;
    for (int byte = 0; start.size() < kSignatureBytes && (byte = std::getc(file)) != EOF;) {
        start += static_cast<char>(byte);
    }
    if (std::ferror(file) != 0) failErrno("", errno);
    if (start.empty()) fail("is empty", "get a complete copy of it");
    // The bytes come from the buffer, so that the C library takes them all back.
    std::clearerr(file);
    for (size_t left = start.size(); left != 0; --left) {
        std::ungetc(static_cast<unsigned char>(start[left - 1]), file);
    }
    return start;
}

Image readAny(std::FILE* file, const ReadRequest& request) {
    const std::string start = peek(file);
    if (start.starts_with("BM")) return readBmp(file, request);
    for (const ImageReader& reader : imageReaders()) {
        if (reader.knows(start)) return reader.read(file, request);
    }
    fail("is no picture of a known kind (" + readableKinds() + ")",
         "convert it to one of them first");
}

constexpr std::array kSuffixes{".bmp",  ".dib",  ".png",  ".jpg",  ".jpeg", ".jpe",
                               ".jfif", ".pnm",  ".ppm",  ".pgm",  ".pbm",  ".gif",
                               ".tif",  ".tiff", ".webp", ".heic", ".heif", ".avif"};

// Two letters are what many texts begin with, so that more than those are looked at: the second
// byte of a BMP header's length, and what follows the kind of a PNM file.
bool beginsLikeText(std::string_view start) {
    if (start.starts_with("BM")) return start.size() < kSignatureBytes || start[15] != 0;
    if (!start.starts_with('P')) return false;
    const auto isOneOf = [start](size_t at, std::string_view characters) {
        return start.size() > at && characters.find(start[at]) != std::string_view::npos;
    };
    return !isOneOf(2, " \t\r\n") || !isOneOf(3, " \t\r\n#0123456789");
}

bool isKnown(std::string_view start) {
    const auto knows = [start](const ImageReader& reader) { return reader.knows(start); };
    const auto readers = imageReaders();
    return start.starts_with("BM") || std::any_of(readers.begin(), readers.end(), knows);
}

}  // namespace

bool hasPictureSuffix(const std::string& path) {
    const std::string suffix = inLowerCase(std::filesystem::path(path).extension().string());
    return std::find(kSuffixes.begin(), kSuffixes.end(), suffix) != kSuffixes.end();
}

bool isMeantAsPicture(const std::string& path) {
    if (hasPictureSuffix(path)) return true;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.number < 0) return errno != ENOENT && errno != ELOOP;  // reading it will say why
    std::array<char, kSignatureBytes> bytes{};
    const ssize_t got = readSome(file.number, bytes.data(), bytes.size());
    const std::string_view start(bytes.data(), got < 0 ? 0 : static_cast<size_t>(got));
    return isKnown(start) && !beginsLikeText(start);
}

std::string readableKinds() {
    std::string names = "BMP";
    for (const ImageReader& reader : imageReaders()) names += std::string(", ") + reader.name;
    return names;
}

Image readStored(const std::string& name, const ReadRequest& request) {
    const OpenFile file = openInput(name);
    Image image = readAny(file.get(), request);
    convertToSrgb(image, request);
    image.orientation = turnedFurther(request.orient ? image.orientation : 1, request.quarters);
    return image;
}

Image readPicture(const std::string& name, const ReadRequest& request) {
    Image image = readStored(name, request);
    makeUpright(image);
    return image;
}

}  // namespace tool
