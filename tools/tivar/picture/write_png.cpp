// PNG: palettes and indices as they are.

#include <cerrno>
#include <new>

#include "picture/decode_guard.h"
#include "picture/png_library.h"
#include "picture/write_picture.h"

namespace tool {
namespace {

void onError(png_structp png, png_const_charp message) {
    leave(*static_cast<DecodeGuard*>(png_get_error_ptr(png)), message);
}

void onWarning(png_structp, png_const_charp) {}

struct Writer {
    png_structp png;
    png_infop info;

    explicit Writer(DecodeGuard& guard)
        : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &guard, onError, onWarning)),
          info(png == nullptr ? nullptr : png_create_info_struct(png)) {
        if (info == nullptr) throw std::bad_alloc();
    }
    ~Writer() { png_destroy_write_struct(&png, &info); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
};

int colorTypeOf(const PixelRows& rows) {
    if (rows.bits <= 8) return PNG_COLOR_TYPE_PALETTE;
    return rows.bits == 32 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
}

void writeHeader(const Writer& writer, const PixelRows& rows, const png_color* palette,
                 std::FILE* file) {
    png_init_io(writer.png, file);
    png_set_user_limits(writer.png, 0x7FFFFFFF, 0x7FFFFFFF);
    const bool indexed = rows.bits <= 8;
    png_set_IHDR(writer.png, writer.info, rows.width, rows.height,
                 indexed ? static_cast<int>(rows.bits) : 8, colorTypeOf(rows), PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (indexed) {
        png_set_PLTE(writer.png, writer.info, palette, static_cast<int>(rows.palette.size()));
    }
    png_write_info(writer.png, writer.info);
}

std::vector<png_color> pngPalette(const PixelRows& rows) {
    std::vector<png_color> palette;
    for (const Color color : rows.palette) palette.push_back({color.red, color.green, color.blue});
    return palette;
}

}  // namespace

int writePng(const PixelRows& rows, std::FILE* file) {
    DecodeGuard guard;
    const Writer writer(guard);
    const std::vector<png_color> palette = pngPalette(rows);
    std::vector<uint8_t> packed(packedBytes(rows));
    errno = 0;
    const auto failed = [] { return errno == 0 ? EIO : errno; };
    if (!survives(guard, [&] { writeHeader(writer, rows, palette.data(), file); })) return failed();
    for (uint32_t y = 0; y < rows.height; ++y) {
        rows.read(y, packed.data());
        if (!survives(guard, [&] { png_write_row(writer.png, packed.data()); })) return failed();
    }
    if (!survives(guard, [&] { png_write_end(writer.png, nullptr); })) return failed();
    return std::fflush(file) == 0 ? 0 : errno;
}

}  // namespace tool
