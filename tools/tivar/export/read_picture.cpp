#include "export/read_picture.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "bmp/read_bmp.h"
#include "picture/color_profile.h"
#include "picture/readers.h"
#include "picture/upright.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

// The file stands at its first byte again.
std::string peek(std::FILE* file) {
    std::string start;
    for (int byte; start.size() < kSignatureBytes && (byte = std::getc(file)) != EOF;) {
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

}  // namespace

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
