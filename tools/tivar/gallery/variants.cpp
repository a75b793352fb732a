#include "gallery/variants.h"

#include <tivar/write.h>

#include <array>

#include "picture/color_words.h"

namespace tool {
namespace {

bool isEncodable(uint16_t bits) {
    return bits == 8 || bits == 4;
}

Variant variantOf(Route route, uint16_t bits, Flavour flavour, Compression compression) {
    Variant variant;
    variant.route = route;
    variant.bits = bits;
    variant.flavour = flavour;
    variant.compression = compression;
    return variant;
}

// The first one of a route shows what its pixels are.
Variant leading(Route route, uint16_t bits, const std::string& title) {
    Variant variant = variantOf(route, bits, Flavour::Windows, Compression::None);
    variant.title = title;
    return variant;
}

void addFilter(std::vector<Variant>& variants, uint16_t bits) {
    const bool encodable = isEncodable(bits);
    variants.push_back(leading(Route::Filter, bits, "Filter route"));
    if (encodable) {
        for (const Compression compression : {Compression::Native, Compression::Portable}) {
            variants.push_back(variantOf(Route::Filter, bits, Flavour::Windows, compression));
        }
    }
    variants.push_back(variantOf(Route::Filter, bits, Flavour::Os2, Compression::None));
    if (encodable) {
        variants.push_back(variantOf(Route::Filter, bits, Flavour::Os2, Compression::Native));
    }
}

Variant dithered(uint16_t bits, int32_t dither, const std::string& word, const std::string& title) {
    Variant variant = leading(Route::Direct, bits, title);
    variant.colors.dither = dither;
    variant.choice = word;
    variant.wish = "--dither " + word;
    return variant;
}

void addDirect(std::vector<Variant>& variants, uint16_t bits) {
    variants.push_back(leading(Route::Direct, bits, "Direct route"));
    if (isEncodable(bits)) {
        variants.push_back(variantOf(Route::Direct, bits, Flavour::Windows, Compression::Portable));
    }
    variants.push_back(variantOf(Route::Direct, bits, Flavour::Os2, Compression::None));
    if (bits > 4) return;
    variants.push_back(dithered(bits, TIVAR_DITHER_NONE, "none", "Direct, not dithered"));
    variants.push_back(dithered(bits, TIVAR_DITHER_ORDERED, "ordered", "Direct, ordered pattern"));
}

std::string bitsText(uint16_t bits) {
    return std::to_string(bits) + (bits == 1 ? " bit" : " bits");
}

VariantChapter depthChapter(uint16_t bits) {
    VariantChapter chapter;
    chapter.anchor = "bits-" + std::to_string(bits);
    chapter.title = bitsText(bits);
    chapter.subtitle = bits == 24 ? "true colour" : std::to_string(1u << bits) + " colours";
    if (bits == 1) chapter.subtitle += ", compared as greys";
    addFilter(chapter.variants, bits);
    chapter.variants.push_back(leading(Route::Driver, bits, "Driver route"));
    addDirect(chapter.variants, bits);
    return chapter;
}

Variant masked(int32_t masks, const std::string& digits) {
    Variant variant = leading(Route::Direct, 16, "16 bits, " + digits);
    variant.colors.masks = masks;
    variant.choice = digits;
    variant.wish = "--rgb" + digits;
    return variant;
}

VariantChapter wideChapter() {
    VariantChapter chapter{"bits-16-32", "16 and 32 bits", "direct route only", {}};
    chapter.variants = {masked(TIVAR_MASKS_565, "565"), masked(TIVAR_MASKS_555, "555"),
                        leading(Route::Direct, 32, "32 bits")};
    return chapter;
}

Variant forPanel(const std::string& name) {
    Variant variant;
    variant.colors.palette = paletteNamed(name).value();
    const size_t count = variant.colors.palette.size();
    variant.route = Route::Direct;
    variant.bits = static_cast<uint16_t>(bitsOf(indexFormat(count)));
    variant.choice = name;
    variant.wish = "--palette " + name;
    variant.title = name + ", " + std::to_string(count) + " colours";
    return variant;
}

VariantChapter panelChapter() {
    VariantChapter chapter{"panels", "Palettes of panels", "direct route only", {}};
    for (const char* name : {"epaper7", "epaper6", "bwr", "bwy", "bw", "grey4", "grey16"}) {
        chapter.variants.push_back(forPanel(name));
    }
    return chapter;
}

}  // namespace

std::vector<VariantChapter> variantChapters() {
    std::vector<VariantChapter> chapters;
    for (const uint16_t bits : std::array<uint16_t, 4>{24, 8, 4, 1}) {
        chapters.push_back(depthChapter(bits));
    }
    chapters.push_back(wideChapter());
    chapters.push_back(panelChapter());
    return chapters;
}

std::string nameOf(const Variant& variant) {
    std::string name = variant.route == Route::Filter ? "" : routeName(variant.route);
    if (!name.empty()) name += "-";
    name += std::to_string(variant.bits);
    name += variant.flavour == Flavour::Os2 ? "-os2" : "-windows";
    if (variant.compression == Compression::Native) name += "-native";
    if (variant.compression == Compression::Portable) name += "-portable";
    return variant.choice.empty() ? name : name + "-" + variant.choice;
}

std::string optionsOf(const Variant& variant) {
    std::string options = std::string("--route ") + routeName(variant.route) + " --bits " +
                          std::to_string(variant.bits);
    const bool native = variant.compression == Compression::Native;
    if (variant.flavour == Flavour::Os2) options += native ? " --os2 --force" : " --os2";
    if (native) options += " --compress native";
    if (variant.compression == Compression::Portable) options += " --compress portable";
    return variant.wish.empty() ? options : options + " " + variant.wish;
}

ExportRequest requestFor(const Variant& variant, const ExportRequest& asked) {
    ExportRequest request = asked;
    request.bits = variant.bits;
    request.flavour = variant.flavour;
    request.compression = variant.compression;
    request.route = variant.route;
    request.colors = variant.colors;
    request.force = true;
    return request;
}

const char* routeName(Route route) {
    switch (route) {
        case Route::Filter:
            return "filter";
        case Route::Driver:
            return "driver";
        default:
            return "direct";
    }
}

}  // namespace tool
