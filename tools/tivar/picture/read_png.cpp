// PNG: palettes and greys keep their indices, transparency is blended away.

#include <png.h>

#include <vector>

#include "picture/decode_guard.h"
#include "picture/readers.h"

namespace tool {
namespace {

constexpr png_uint_32 kNoLimit = 0x7FFFFFFF;  // sides are checked by newPicture

enum class Rows { AsStored, TwoBit, GreyAlpha, ColorAlpha };

struct Layout {
    png_uint_32 width{};
    png_uint_32 height{};
    int depth{};
    int colorType{};
    bool transparentKey{};  // a tRNS chunk
    int passes{};
    uint16_t bits{};
    Rows rows{};
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
};

bool isGrey(Color color) {
    return color.red == color.green && color.green == color.blue;
}

uint16_t indexBits(int depth) {
    return static_cast<uint16_t>(depth == 2 ? 4 : depth);
}

void chooseIndexed(Layout& layout) {
    layout.bits = layout.depth == 16 ? 8 : indexBits(layout.depth);
    layout.rows = layout.depth == 2 ? Rows::TwoBit : Rows::AsStored;
}

// Grey stays grey over a grey background.
void chooseBlended(const Reader& reader, Layout& layout, Color background) {
    if (layout.transparentKey) png_set_tRNS_to_alpha(reader.png);
    const bool color = (layout.colorType & PNG_COLOR_MASK_COLOR) != 0;
    if (!color && isGrey(background)) {
        layout.bits = 8;
        layout.rows = Rows::GreyAlpha;
        return;
    }
    if (!color) png_set_gray_to_rgb(reader.png);
    layout.bits = 24;
    layout.rows = Rows::ColorAlpha;
}

void chooseRows(const Reader& reader, Layout& layout, Color background) {
    const bool indexed =
        layout.colorType == PNG_COLOR_TYPE_PALETTE ||
        (layout.colorType == PNG_COLOR_TYPE_GRAY && !(layout.transparentKey && layout.depth == 16));
    const bool alpha = (layout.colorType & PNG_COLOR_MASK_ALPHA) != 0 || layout.transparentKey;
    if (layout.depth == 16) png_set_scale_16(reader.png);
    if (indexed) {
        chooseIndexed(layout);
    } else if (alpha) {
        chooseBlended(reader, layout, background);
    } else {
        layout.bits = 24;
        layout.rows = Rows::AsStored;
    }
}

void readHeader(const Reader& reader, std::FILE* file, Layout& layout, Color background) {
    png_set_user_limits(reader.png, kNoLimit, kNoLimit);
    png_init_io(reader.png, file);
    png_read_info(reader.png, reader.info);
    png_get_IHDR(reader.png, reader.info, &layout.width, &layout.height, &layout.depth,
                 &layout.colorType, nullptr, nullptr, nullptr);
    layout.transparentKey = png_get_valid(reader.png, reader.info, PNG_INFO_tRNS) != 0;
    chooseRows(reader, layout, background);
    layout.passes = png_set_interlace_handling(reader.png);
}

uint8_t blend(unsigned value, unsigned alpha, unsigned background) {
    return static_cast<uint8_t>((value * alpha + background * (255 - alpha) + 127) / 255);
}

Color blend(const uint8_t* color, unsigned alpha, Color background) {
    return {blend(color[0], alpha, background.red), blend(color[1], alpha, background.green),
            blend(color[2], alpha, background.blue)};
}

void fillFromPalette(const Reader& reader, Picture& picture, Color background) {
    png_colorp palette = nullptr;
    png_bytep alphas = nullptr;
    int count = 0;
    int alphaCount = 0;
    png_get_PLTE(reader.png, reader.info, &palette, &count);
    png_get_tRNS(reader.png, reader.info, &alphas, &alphaCount, nullptr);
    for (int i = 0; i < count; ++i) {
        const uint8_t color[] = {palette[i].red, palette[i].green, palette[i].blue};
        const unsigned alpha = i < alphaCount ? alphas[i] : 255u;
        setColor(picture, static_cast<size_t>(i), blend(color, alpha, background));
    }
}

void fillGreys(const Reader& reader, const Layout& layout, Picture& picture, Color background) {
    const unsigned count = 1u << (layout.depth > 8 ? 8 : layout.depth);
    setGreys(picture, count);
    png_color_16p transparent = nullptr;
    const bool keyed = layout.rows != Rows::GreyAlpha &&
                       png_get_tRNS(reader.png, reader.info, nullptr, nullptr, &transparent) != 0;
    if (keyed && transparent->gray < count) setColor(picture, transparent->gray, background);
}

void fillTable(const Reader& reader, const Layout& layout, Picture& picture, Color background) {
    if (layout.colorType == PNG_COLOR_TYPE_PALETTE) {
        fillFromPalette(reader, picture, background);
    } else if (picture.bits <= 8) {
        fillGreys(reader, layout, picture, background);
    }
}

// Two-bit indices, four to a byte, become four-bit ones, two to a byte.
void widenTwoBits(const uint8_t* from, uint8_t* to, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x) {
        const unsigned index = from[x / 4] >> (6 - x % 4 * 2) & 3u;
        to[x / 2] = static_cast<uint8_t>(to[x / 2] | index << (x % 2 == 0 ? 4 : 0));
    }
}

void convertRow(Rows rows, const uint8_t* from, uint8_t* to, uint32_t width, Color background) {
    if (rows == Rows::TwoBit) return widenTwoBits(from, to, width);
    for (uint32_t x = 0; x < width; ++x) {
        if (rows == Rows::GreyAlpha) {
            to[x] = blend(from[2 * x], from[2 * x + 1], background.red);
        } else {
            const Color color = blend(from + 4 * x, from[4 * x + 3], background);
            to[3 * x] = color.red;
            to[3 * x + 1] = color.green;
            to[3 * x + 2] = color.blue;
        }
    }
}

// Interlaced pictures pass over every row several times, so each needs a place of its own.
struct Scratch {
    std::vector<uint8_t> bytes;
    size_t rowBytes{};
    size_t rows{};
};

Scratch makeScratch(const Layout& layout, size_t rowBytes) {
    Scratch scratch;
    scratch.rowBytes = rowBytes;
    scratch.rows = layout.passes == 1 ? 1 : layout.height;
    if (layout.rows != Rows::AsStored) scratch.bytes.resize(scratch.rowBytes * scratch.rows);
    return scratch;
}

void readRows(const Reader& reader, const Layout& layout, const Picture& picture, Scratch& scratch,
              Color background) {
    const bool direct = layout.rows == Rows::AsStored;
    for (int pass = 1; pass <= layout.passes; ++pass) {
        for (uint32_t y = 0; y < picture.height; ++y) {
            uint8_t* target = rowAt(picture, y);
            uint8_t* row =
                direct ? target : scratch.bytes.data() + scratch.rowBytes * (y % scratch.rows);
            png_read_row(reader.png, row, nullptr);
            if (!direct && pass == layout.passes) {
                convertRow(layout.rows, row, target, picture.width, background);
            }
        }
    }
    png_read_end(reader.png, nullptr);
}

}  // namespace

Picture readPng(const Library& library, std::FILE* file, Color background) {
    DecodeGuard guard;
    const Reader reader(guard);
    Layout layout;
    guarded(guard, [&] { readHeader(reader, file, layout, background); });
    Picture picture = newPicture(library, layout.bits, layout.width, layout.height);
    fillTable(reader, layout, picture, background);
    guarded(guard, [&] { png_read_update_info(reader.png, reader.info); });
    Scratch scratch = makeScratch(layout, png_get_rowbytes(reader.png, reader.info));
    guarded(guard, [&] { readRows(reader, layout, picture, scratch, background); });
    return picture;
}

}  // namespace tool
