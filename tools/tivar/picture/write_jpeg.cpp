// JPEG: colours, as finely in hue as in brightness.

#include <cerrno>

#include "picture/decode_guard.h"
#include "picture/jpeg_library.h"
#include "picture/write_picture.h"

namespace tool {
namespace {

constexpr int kQuality = 92;

struct Writer {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};

    Writer() { require(g_jpeg); }
    ~Writer() { jpeg_destroy_compress(&jpeg); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
};

[[noreturn]] void leaveWithMessage(j_common_ptr common) {
    char message[JMSG_LENGTH_MAX];
    common->err->format_message(common, message);
    leave(*static_cast<DecodeGuard*>(common->client_data), message);
}

void onMessage(j_common_ptr, int) {}

void begin(Writer& writer, DecodeGuard& guard, const PixelRows& rows, std::FILE* file) {
    jpeg_compress_struct& jpeg = writer.jpeg;
    jpeg.err = jpeg_std_error(&writer.errors);
    jpeg.client_data = &guard;
    writer.errors.error_exit = leaveWithMessage;
    writer.errors.emit_message = onMessage;
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = rows.width;
    jpeg.image_height = rows.height;
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, kQuality, TRUE);
    jpeg.optimize_coding = TRUE;
    jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&jpeg, TRUE);
}

}  // namespace

int writeJpeg(const PixelRows& rows, std::FILE* file) {
    DecodeGuard guard;
    Writer writer;
    std::vector<uint8_t> packed;
    std::vector<uint8_t> colors(size_t{rows.width} * 3);
    errno = 0;
    const auto failed = [] { return errno == 0 ? EIO : errno; };
    if (!survives(guard, [&] { begin(writer, guard, rows, file); })) return failed();
    for (uint32_t y = 0; y < rows.height; ++y) {
        readColors(rows, y, packed, colors.data());
        JSAMPROW row = colors.data();
        if (!survives(guard, [&] { jpeg_write_scanlines(&writer.jpeg, &row, 1); })) {
            return failed();
        }
    }
    if (!survives(guard, [&] { jpeg_finish_compress(&writer.jpeg); })) return failed();
    return std::fflush(file) == 0 ? 0 : errno;
}

}  // namespace tool
