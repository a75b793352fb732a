// PNG: palettes and greys of up to 8 bits stay indices, deeper samples are rounded to 8 bits.

#include <new>
#include <vector>

#include "picture/decode_guard.h"
#include "picture/exif.h"
#include "picture/png_library.h"
#include "picture/readers.h"

namespace tool {
namespace {

constexpr png_uint_32 kNoLimit = 0x7FFFFFFF;  // sides are checked by newImage

struct Layout {
    png_uint_32 width{};
    png_uint_32 height{};
    int depth{};
    int colorType{};
    bool transparentKey{};  // a tRNS chunk
    int passes{};
    PixelFormat format{};
    bool twoBit{};  // indices that become 4 bits
};

void onError(png_structp png, png_const_charp message) {
    leave(*static_cast<DecodeGuard*>(png_get_error_ptr(png)), message);
}

// Lost pixels are errors for libpng; its warnings concern side data, such as colour profiles.
void onWarning(png_structp, png_const_charp) {}

struct Reader {
    png_structp png;
    png_infop info;

    explicit Reader(DecodeGuard& guard)
        : png(png_create_read_struct(PNG_LIBPNG_VER_STRING, &guard, onError, onWarning)),
          info(png == nullptr ? nullptr : png_create_info_struct(png)) {
        if (info == nullptr) throw std::bad_alloc();
    }
    ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
};

// Greys of 8 bits need no table unless one of them is transparent.
void chooseIndexed(Layout& layout) {
    const bool grey = layout.colorType == PNG_COLOR_TYPE_GRAY;
    layout.twoBit = layout.depth == 2;
    if (grey && layout.depth >= 8 && !layout.transparentKey) {
        layout.format = PixelFormat::Grey;
    } else {
        layout.format = indexFormat(size_t{1} << layout.depth);
    }
}

void chooseFormat(const Reader& reader, Layout& layout) {
    const bool keyedDeepGrey = layout.transparentKey && layout.depth == 16;
    const bool indexed = layout.colorType == PNG_COLOR_TYPE_PALETTE ||
                         (layout.colorType == PNG_COLOR_TYPE_GRAY && !keyedDeepGrey);
    const bool alpha = (layout.colorType & PNG_COLOR_MASK_ALPHA) != 0 || layout.transparentKey;
    const bool color = (layout.colorType & PNG_COLOR_MASK_COLOR) != 0;
    if (layout.depth == 16) png_set_scale_16(reader.png);
    if (indexed) return chooseIndexed(layout);
    if (layout.transparentKey) png_set_tRNS_to_alpha(reader.png);
    if (alpha) {
        layout.format = color ? PixelFormat::Rgba : PixelFormat::GreyAlpha;
    } else {
        layout.format = PixelFormat::Rgb;
    }
}

void readHeader(const Reader& reader, std::FILE* file, Layout& layout) {
    png_set_user_limits(reader.png, kNoLimit, kNoLimit);
    png_init_io(reader.png, file);
    png_read_info(reader.png, reader.info);
    png_get_IHDR(reader.png, reader.info, &layout.width, &layout.height, &layout.depth,
                 &layout.colorType, nullptr, nullptr, nullptr);
    layout.transparentKey = png_get_valid(reader.png, reader.info, PNG_INFO_tRNS) != 0;
    chooseFormat(reader, layout);
    layout.passes = png_set_interlace_handling(reader.png);
}

void takePalette(const Reader& reader, Image& picture) {
    png_colorp palette = nullptr;
    png_bytep alphas = nullptr;
    int count = 0;
    int alphaCount = 0;
    png_get_PLTE(reader.png, reader.info, &palette, &count);
    png_get_tRNS(reader.png, reader.info, &alphas, &alphaCount, nullptr);
    for (int i = 0; i < count; ++i) {
        picture.palette.push_back({palette[i].red, palette[i].green, palette[i].blue});
    }
    if (alphas != nullptr) picture.alphas.assign(alphas, alphas + alphaCount);
}

void setGreys(const Reader& reader, const Layout& layout, Image& picture) {
    const unsigned count = 1u << layout.depth;
    picture.palette = greys(count);
    png_color_16p transparent = nullptr;
    if (png_get_tRNS(reader.png, reader.info, nullptr, nullptr, &transparent) == 0) return;
    if (transparent->gray >= count) return;
    picture.alphas.assign(count, 255);
    picture.alphas[transparent->gray] = 0;
}

void takeColors(const Reader& reader, const Layout& layout, Image& picture) {
    if (layout.colorType == PNG_COLOR_TYPE_PALETTE) {
        takePalette(reader, picture);
    } else if (isIndexed(layout.format)) {
        setGreys(reader, layout, picture);
    }
    png_charp name = nullptr;
    png_bytep profile = nullptr;
    png_uint_32 length = 0;
    int method = 0;
    if (png_get_iCCP(reader.png, reader.info, &name, &method, &profile, &length) != 0) {
        picture.profile.assign(profile, profile + length);
    }
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(reader.png, reader.info, &length, &exif) != 0) {
        picture.orientation = orientationIn({exif, length});
    }
}

void readRows(const Reader& reader, const Layout& layout, const Image& picture) {
    for (int pass = 1; pass <= layout.passes; ++pass) {
        for (uint32_t y = 0; y < picture.height; ++y) {
            png_read_row(reader.png, rowAt(picture, y), nullptr);
        }
    }
    png_read_end(reader.png, nullptr);
}

}  // namespace

Image readPng(std::FILE* file, const ReadRequest& request) {
    DecodeGuard guard;
    const Reader reader(guard);
    Layout layout;
    guarded(guard, [&] { readHeader(reader, file, layout); });
    // Before libpng obtains memory for a row, however long.
    requireSize(request, layout.format, layout.width, layout.height);
    guarded(guard, [&] { png_read_update_info(reader.png, reader.info); });
    Image picture = newImage(request, layout.format, layout.width, layout.height);
    takeColors(reader, layout, picture);
    tolerating(request, picture,
               [&] { guarded(guard, [&] { readRows(reader, layout, picture); }); });
    for (uint32_t y = 0; layout.twoBit && y < picture.height; ++y) {
        widenTwoBits(rowAt(picture, y), picture.width);
    }
    return picture;
}

}  // namespace tool
