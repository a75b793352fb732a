// What is on the gallery's page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gallery/measure.h"
#include "gallery/preview.h"

namespace tool {

// A picture as the page shows it; the numbers are those of the album's previews.
struct Shot {
    size_t whole{};
    std::optional<size_t> detail;  // its middle; none of pictures that are small anyway
};

struct AlbumFile {
    std::string name;
    std::string route;
    std::string options;  // what asks tivar export for it
    uint64_t bytes{};
    double seconds{};
    Likeness likeness;
};

// A picture with its figures.
struct Card {
    std::string title;
    std::string note;  // in what it is like another; "" = in nothing
    bool lost{};       // colours were, on the way to the file
    Shot shot;
    Shot original;  // what its pixels should have been
    std::vector<Color> palette;
    size_t file{};  // of the chapter
};

struct Chapter {
    std::string anchor;
    std::string title;
    std::string subtitle;
    std::vector<Card> cards;
    std::vector<AlbumFile> files;
};

struct Album {
    std::string sourceName;
    uint32_t width{};
    uint32_t height{};
    std::string depth;
    PreviewScale scale;
    Shot source;
    std::vector<Preview> previews;  // each different one once
    std::vector<Chapter> chapters;
};

}  // namespace tool
