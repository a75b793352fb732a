// JPEG: grey and red, green, blue arrive as they are, the printing colours are converted.

#include <cstdio>
// jpeglib.h needs the declarations of cstdio.
#include <jerror.h>
#include <jpeglib.h>

#include <vector>

#include "picture/decode_guard.h"
#include "picture/readers.h"
#include "process/failure.h"

namespace tool {
namespace {

struct Reader {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};

    Reader() = default;
    ~Reader() { jpeg_destroy_decompress(&jpeg); }
    Reader(const Reader&) = delete;
};

[[noreturn]] void leaveWithMessage(j_common_ptr common) {
    char message[JMSG_LENGTH_MAX];
    common->err->format_message(common, message);
    leave(*static_cast<DecodeGuard*>(common->client_data), message);
}

bool concernsPixels(int warning) {
    return warning != JWRN_EXTRANEOUS_DATA && warning != JWRN_JFIF_MAJOR &&
           warning != JWRN_ADOBE_XFORM && warning != JWRN_TOO_MUCH_DATA &&
           warning != JWRN_BOGUS_ICC;
}

// libjpeg fills up what is missing with grey and calls that a warning; here it is damage.
void onMessage(j_common_ptr common, int level) {
    if (level < 0 && concernsPixels(common->err->msg_code)) leaveWithMessage(common);
}

J_COLOR_SPACE wantedSpace(J_COLOR_SPACE stored) {
    switch (stored) {
        case JCS_GRAYSCALE:
            return JCS_GRAYSCALE;
        case JCS_CMYK:
        case JCS_YCCK:
            return JCS_CMYK;
        default:
            return JCS_RGB;
    }
}

void readHeader(Reader& reader, DecodeGuard& guard, std::FILE* file) {
    jpeg_decompress_struct& jpeg = reader.jpeg;
    jpeg.err = jpeg_std_error(&reader.errors);
    jpeg.client_data = &guard;
    reader.errors.error_exit = leaveWithMessage;
    reader.errors.emit_message = onMessage;
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, file);
    jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = wantedSpace(jpeg.jpeg_color_space);
}

// Adobe's programs store these four inverted: 255 is no ink.
void convertInks(const uint8_t* from, uint8_t* to, uint32_t width, bool inverted) {
    const unsigned flip = inverted ? 0 : 255;
    for (uint32_t x = 0; x < width; ++x, from += 4, to += 3) {
        const unsigned light = from[3] ^ flip;
        for (unsigned i = 0; i < 3; ++i) {
            to[i] = static_cast<uint8_t>(((from[i] ^ flip) * light + 127) / 255);
        }
    }
}

void readRows(Reader& reader, const Picture& picture, std::vector<uint8_t>& inks) {
    jpeg_decompress_struct& jpeg = reader.jpeg;
    jpeg_start_decompress(&jpeg);
    while (jpeg.output_scanline < jpeg.output_height) {
        uint8_t* target = rowAt(picture, jpeg.output_scanline);
        JSAMPROW row = inks.empty() ? target : inks.data();
        jpeg_read_scanlines(&jpeg, &row, 1);
        if (!inks.empty()) {
            convertInks(row, target, picture.width, jpeg.saw_Adobe_marker != FALSE);
        }
    }
    jpeg_finish_decompress(&jpeg);
}

}  // namespace

Picture readJpeg(const Library& library, std::FILE* file) {
    DecodeGuard guard;
    Reader reader;
    guarded(guard, [&] { readHeader(reader, guard, file); });
    const J_COLOR_SPACE space = reader.jpeg.out_color_space;
    const uint16_t bits = space == JCS_GRAYSCALE ? 8 : 24;
    Picture picture = newPicture(library, bits, reader.jpeg.image_width, reader.jpeg.image_height);
    if (bits == 8) setGreys(picture, 256);
    std::vector<uint8_t> inks(space == JCS_CMYK ? size_t{4} * picture.width : 0);
    guarded(guard, [&] { readRows(reader, picture, inks); });
    return picture;
}

}  // namespace tool
