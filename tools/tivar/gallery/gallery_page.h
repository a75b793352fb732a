// The gallery's page: one HTML file that needs no other, apart from the BMP files it links to.

#ifndef TIVAR_TOOL_GALLERY_PAGE_H
#define TIVAR_TOOL_GALLERY_PAGE_H

#include <cstdint>
#include <string>
#include <vector>

#include "export/request.h"

namespace tool {

struct GalleryFile {
    std::string name;
    Flavour flavour{};
    Compression compression{};
    Route route{};
    uint64_t bytes{};
    double seconds{};
};

// A picture as the page shows it, as data: addresses.
struct Shot {
    std::string whole;
    std::string detail;  // its middle, "" for pictures that are small anyway
};

// Files with the same pixels.
struct GalleryPicture {
    unsigned bits{};
    Shot shot;
    std::vector<Color> palette;
    double signalToNoise{};  // against the source, in decibels
    bool first{};            // the raw file's pixels; others differ from them
    std::vector<GalleryFile> files;
};

struct Gallery {
    std::string sourceName;
    uint32_t width{};
    uint32_t height{};
    unsigned bits{};
    uint32_t factor{};  // pixels of a side that one pixel of the page stands for
    Shot source;
    std::vector<GalleryPicture> pictures;
};

std::string galleryPage(const Gallery& gallery);

}  // namespace tool

#endif
