#include "picture/color_profile.h"

#include <lcms2.h>

#include <array>
#include <cstdlib>
#include <utility>

#include "picture/lazy_library.h"

namespace tool {
namespace {

LazyLibrary g_lcms{TIVAR_LCMS2_LIBRARY, "colour-managed"};

TIVAR_LAZY_FUNCTION(g_lcms, cmsCloseProfile);
TIVAR_LAZY_FUNCTION(g_lcms, cmsCreateTransform);
TIVAR_LAZY_FUNCTION(g_lcms, cmsCreate_sRGBProfile);
TIVAR_LAZY_FUNCTION(g_lcms, cmsDeleteTransform);
TIVAR_LAZY_FUNCTION(g_lcms, cmsDoTransform);
TIVAR_LAZY_FUNCTION(g_lcms, cmsGetColorSpace);
TIVAR_LAZY_FUNCTION(g_lcms, cmsOpenProfileFromMem);
TIVAR_LAZY_FUNCTION(g_lcms, cmsSetLogErrorHandler);

struct CloseProfile {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct DeleteTransform {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Profile = std::unique_ptr<void, CloseProfile>;
using Transform = std::unique_ptr<void, DeleteTransform>;

// What a transform reads and writes.
struct Formats {
    cmsColorSpaceSignature space;
    uint32_t from;
    uint32_t to;
};

Formats formatsOf(PixelFormat format) {
    switch (format) {
        case PixelFormat::Grey:
        case PixelFormat::GreyAlpha:
            return {cmsSigGrayData, TYPE_GRAY_8, TYPE_RGB_8};
        case PixelFormat::Rgba:
            return {cmsSigRgbData, TYPE_RGBA_8, TYPE_RGBA_8};
        case PixelFormat::Inks:
            return {cmsSigCmykData, TYPE_CMYK_8, TYPE_RGB_8};
        default:
            return {cmsSigRgbData, TYPE_RGB_8, TYPE_RGB_8};
    }
}

// A shortened way through the profiles is worth its loss in the dark for millions of pixels only.
uint32_t flagsFor(PixelFormat format) {
    if (format == PixelFormat::Rgba) return cmsFLAGS_COPY_ALPHA;
    return format == PixelFormat::Rgb || format == PixelFormat::Inks ? 0 : cmsFLAGS_NOOPTIMIZE;
}

// No transform when the profile is of other colours than the picture.
Transform transformOf(const Profile& profile, const Formats& formats, PixelFormat format) {
    if (profile == nullptr || cmsGetColorSpace(profile.get()) != formats.space) return nullptr;
    const Profile srgb(cmsCreate_sRGBProfile());
    return Transform(cmsCreateTransform(profile.get(), formats.from, srgb.get(), formats.to,
                                        INTENT_PERCEPTUAL, flagsFor(format)));
}

// Whether colours stay as they are but for rounding, as with the many profiles that are sRGB's own.
bool changesNothing(const Transform& transform, const Formats& formats) {
    if (formats.from == TYPE_CMYK_8 || formats.from == TYPE_GRAY_8) return false;
    constexpr int kStep = 15;
    const size_t channels = formats.from == TYPE_RGBA_8 ? 4 : 3;
    std::vector<uint8_t> colors;
    for (int red = 0; red < 256; red += kStep) {
        for (int green = 0; green < 256; green += kStep) {
            for (int blue = 0; blue < 256; blue += kStep) {
                for (const int value : {red, green, blue}) {
                    colors.push_back(static_cast<uint8_t>(value));
                }
                if (channels == 4) colors.push_back(255);
            }
        }
    }
    std::vector<uint8_t> converted(colors.size());
    cmsDoTransform(transform.get(), colors.data(), converted.data(),
                   static_cast<uint32_t>(colors.size() / channels));
    for (size_t i = 0; i < colors.size(); ++i) {
        if (std::abs(colors[i] - converted[i]) > 1) return false;
    }
    return true;
}

// Greys stay greys: the profile's curve, as sRGB's neutral colours have it.
void convertGreys(Image& image, const Transform& transform) {
    std::array<uint8_t, 256> all{};
    for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);
    std::array<uint8_t, 768> colors{};
    cmsDoTransform(transform.get(), all.data(), colors.data(), all.size());
    const size_t step = image.format == PixelFormat::GreyAlpha ? 2 : 1;
    for (size_t y = 0; y < image.height; ++y) {
        uint8_t* value = rowAt(image, y);
        for (size_t x = 0; x < image.width; ++x, value += step) *value = colors[3u * *value + 1];
    }
}

void convertPalette(Image& image, const Transform& transform) {
    for (Color& color : image.palette) {
        const std::array<uint8_t, 3> from{color.red, color.green, color.blue};
        std::array<uint8_t, 3> to{};
        cmsDoTransform(transform.get(), from.data(), to.data(), 1);
        color = {to[0], to[1], to[2]};
    }
}

// No profile tells what the inks look like: black and the three take light away.
void mixInks(const uint8_t* from, uint8_t* to, size_t width) {
    for (size_t x = 0; x < width; ++x, from += 4, to += 3) {
        const unsigned light = 255u - from[3];
        for (unsigned i = 0; i < 3; ++i) {
            to[i] = static_cast<uint8_t>(((255u - from[i]) * light + 127) / 255);
        }
    }
}

void convertInks(Image& image, const Transform& transform, const ReadRequest& request) {
    Image colors = newImage(request, PixelFormat::Rgb, image.width, image.height);
    for (size_t y = 0; y < image.height; ++y) {
        if (transform != nullptr) {
            cmsDoTransform(transform.get(), rowAt(image, y), rowAt(colors, y), image.width);
        } else {
            mixInks(rowAt(image, y), rowAt(colors, y), image.width);
        }
    }
    image.format = colors.format;
    image.stride = colors.stride;
    image.pixels = std::move(colors.pixels);
}

void convertRows(const Image& image, const Transform& transform) {
    for (size_t y = 0; y < image.height; ++y) {
        cmsDoTransform(transform.get(), rowAt(image, y), rowAt(image, y), image.width);
    }
}

void convert(Image& image, const Transform& transform, const ReadRequest& request) {
    if (image.format == PixelFormat::Inks) return convertInks(image, transform, request);
    if (transform == nullptr) return;
    if (isIndexed(image.format)) return convertPalette(image, transform);
    if (image.format == PixelFormat::Rgb || image.format == PixelFormat::Rgba) {
        return convertRows(image, transform);
    }
    convertGreys(image, transform);
}

}  // namespace

void convertToSrgb(Image& image, const ReadRequest& request) {
    const std::vector<uint8_t> bytes = std::exchange(image.profile, {});
    if (bytes.empty()) return convert(image, nullptr, request);
    cmsSetLogErrorHandler(nullptr);
    const Profile profile(cmsOpenProfileFromMem(bytes.data(), static_cast<uint32_t>(bytes.size())));
    const Formats formats = formatsOf(image.format);
    Transform transform = transformOf(profile, formats, image.format);
    if (transform == nullptr) {
        image.notices.push_back(
            {"its colour profile cannot be used, the colours are taken for sRGB",
             "convert it to sRGB first if they look wrong"});
    } else if (changesNothing(transform, formats)) {
        return;
    }
    convert(image, transform, request);
}

}  // namespace tool
