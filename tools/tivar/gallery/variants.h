// The files of a gallery, chapter by chapter of its page.
#pragma once

#include <string>
#include <vector>

#include "export/request.h"

namespace tool {

struct Variant {
    Route route{};
    uint16_t bits{};
    Flavour flavour{};
    Compression compression{};
    std::string choice;  // of the direct route, as the file's name has it
    std::string wish;    // the option of tivar export that asks for the choice
    ColorRequest colors;
    std::string title;  // of its own picture on the page; "" = another's pixels are expected
};

struct VariantChapter {
    std::string anchor;
    std::string title;
    std::string subtitle;
    std::vector<Variant> variants;
};

// Every form that there is. In each chapter the filter route comes first, in every flavour.
std::vector<VariantChapter> variantChapters();

// "driver-8-windows": what the file's name has behind the picture's.
std::string nameOf(const Variant& variant);

// What asks tivar export for such a file.
std::string optionsOf(const Variant& variant);

// The export of such a file where all of them are asked for so.
ExportRequest requestFor(const Variant& variant, const ExportRequest& asked);

const char* routeName(Route route);

}  // namespace tool
