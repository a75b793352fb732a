// One reader for each file format, found by how the file begins.
#pragma once

#include <cstdio>
#include <span>
#include <string_view>

#include "picture/image.h"

namespace tool {

struct ImageReader {
    const char* name;
    // start has the file's first bytes, kSignatureBytes of them unless the file is shorter.
    bool (*knows)(std::string_view start);
    // The file stands at its first byte.
    Image (*read)(std::FILE* file, const ReadRequest& request);
};

constexpr size_t kSignatureBytes = 16;

// All but BMP, whose reader stands on these.
std::span<const ImageReader> imageReaders();

Image readPng(std::FILE* file, const ReadRequest& request);
Image readJpeg(std::FILE* file, const ReadRequest& request);
Image readPnm(std::FILE* file, const ReadRequest& request);
Image readGif(std::FILE* file, const ReadRequest& request);
Image readTiff(std::FILE* file, const ReadRequest& request);
Image readWebp(std::FILE* file, const ReadRequest& request);
Image readHeif(std::FILE* file, const ReadRequest& request);

// Of a file with more pictures than the one that was read.
Notice severalPictures();

}  // namespace tool
