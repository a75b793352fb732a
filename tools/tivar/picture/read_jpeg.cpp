// JPEG: grey, red with green and blue, and printing inks, as they are stored.

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "picture/decode_guard.h"
#include "picture/exif.h"
#include "picture/jpeg_library.h"
#include "picture/readers.h"
#include "process/failure.h"

namespace tool {
namespace {

struct Reader {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};

    Reader() { require(g_jpeg); }
    ~Reader() { jpeg_destroy_decompress(&jpeg); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
};

[[noreturn]] void leaveLimited(j_common_ptr common, const char* message) {
    auto& guard = *static_cast<DecodeGuard*>(common->client_data);
    guard.limited = true;
    leave(guard, message);
}

[[noreturn]] void leaveWithMessage(j_common_ptr common) {
    const int code = common->err->msg_code;
    if (code == JERR_NO_BACKING_STORE || code == JERR_OUT_OF_MEMORY) {
        leaveLimited(common, "needs more memory to decode than its limit on pixels allows");
    }
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

void onMessageIgnored(j_common_ptr, int) {}

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

// A picture in many scans costs its size for each of them, however few bytes they have, and all its
// coefficients in memory.
constexpr uint64_t kMostScanPixels = uint64_t{1} << 32;
constexpr uint64_t kFewestScans = 20;
constexpr uint64_t kMostScans = 100;
constexpr uint64_t kBytesPerPixel = 4;

void onProgress(j_common_ptr common) {
    const auto& jpeg = *reinterpret_cast<jpeg_decompress_struct*>(common);
    const uint64_t pixels = uint64_t{jpeg.image_width} * jpeg.image_height;
    const uint64_t most =
        std::clamp(kMostScanPixels / std::max<uint64_t>(pixels, 1), kFewestScans, kMostScans);
    if (static_cast<uint64_t>(jpeg.input_scan_number) > most) {
        leaveLimited(common, "has more scans than any program writes");
    }
}

constexpr int kExifMarker = JPEG_APP0 + 1;
constexpr int kProfileMarker = JPEG_APP0 + 2;

void readHeader(Reader& reader, DecodeGuard& guard, std::FILE* file, const ReadRequest& request) {
    jpeg_decompress_struct& jpeg = reader.jpeg;
    jpeg.err = jpeg_std_error(&reader.errors);
    jpeg.client_data = &guard;
    reader.errors.error_exit = leaveWithMessage;
    reader.errors.emit_message = request.lenient ? onMessageIgnored : onMessage;
    jpeg_create_decompress(&jpeg);
    reader.progress.progress_monitor = onProgress;
    jpeg.progress = &reader.progress;
    jpeg.mem->max_memory_to_use =
        static_cast<long>(std::min<uint64_t>(request.limitPixels * kBytesPerPixel, LONG_MAX));
    jpeg_save_markers(&jpeg, kExifMarker, 0xFFFF);
    jpeg_save_markers(&jpeg, kProfileMarker, 0xFFFF);
    jpeg_stdio_src(&jpeg, file);
    jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = wantedSpace(jpeg.jpeg_color_space);
}

PixelFormat formatOf(J_COLOR_SPACE space) {
    if (space == JCS_GRAYSCALE) return PixelFormat::Grey;
    return space == JCS_CMYK ? PixelFormat::Inks : PixelFormat::Rgb;
}

void readRows(Reader& reader, const Image& picture) {
    jpeg_decompress_struct& jpeg = reader.jpeg;
    // Adobe's programs store inks inverted: 255 is none.
    const bool inverted = picture.format == PixelFormat::Inks && jpeg.saw_Adobe_marker != FALSE;
    jpeg_start_decompress(&jpeg);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW row = rowAt(picture, jpeg.output_scanline);
        jpeg_read_scanlines(&jpeg, &row, 1);
        for (size_t i = 0; inverted && i < picture.stride; ++i) {
            row[i] = static_cast<uint8_t>(255 - row[i]);
        }
    }
    jpeg_finish_decompress(&jpeg);
}

struct ProfileBytes {
    JOCTET* data = nullptr;
    unsigned count = 0;

    ProfileBytes() = default;
    ~ProfileBytes() { std::free(data); }
    ProfileBytes(const ProfileBytes&) = delete;
    ProfileBytes& operator=(const ProfileBytes&) = delete;
};

int orientationOf(const jpeg_decompress_struct& jpeg) {
    for (const jpeg_marker_struct* marker = jpeg.marker_list; marker != nullptr;
         marker = marker->next) {
        if (marker->marker == kExifMarker) {
            return orientationIn({marker->data, marker->data_length});
        }
    }
    return 1;
}

// Half the sides, where they are enough, take a quarter of the room. Less would also lose light:
// what libjpeg decodes smaller are averages of values, not of the light that those mean.
unsigned eighthsFor(const ReadRequest& request, PixelSize stored, int orientation) {
    return request.enough && request.enough(stored, orientation) <= 0.5 ? 4 : 8;
}

// A picture of the size that is going to be decoded.
Image decodedImage(Reader& reader, DecodeGuard& guard, const ReadRequest& request) {
    jpeg_decompress_struct& jpeg = reader.jpeg;
    const PixelFormat format = formatOf(jpeg.out_color_space);
    const PixelSize stored{jpeg.image_width, jpeg.image_height};
    const int orientation = orientationOf(jpeg);
    requireSize(request, format, stored.width, stored.height);
    jpeg.scale_num = eighthsFor(request, stored, orientation);
    jpeg.scale_denom = 8;
    guarded(guard, [&] { jpeg_calc_output_dimensions(&jpeg); });
    Image picture = newImage(request, format, jpeg.output_width, jpeg.output_height);
    picture.orientation = orientation;
    picture.whole = stored;
    picture.eighths = jpeg.scale_num;
    return picture;
}

// A damaged profile is none.
void takeProfile(Reader& reader, DecodeGuard& guard, Image& picture) {
    ProfileBytes profile;
    (void)survives(guard,
                   [&] { jpeg_read_icc_profile(&reader.jpeg, &profile.data, &profile.count); });
    picture.profile.assign(profile.data, profile.data + profile.count);
}

}  // namespace

Image readJpeg(std::FILE* file, const ReadRequest& request) {
    DecodeGuard guard;
    Reader reader;
    guarded(guard, [&] { readHeader(reader, guard, file, request); });
    Image picture = decodedImage(reader, guard, request);
    takeProfile(reader, guard, picture);
    tolerating(request, picture, [&] { guarded(guard, [&] { readRows(reader, picture); }); });
    return picture;
}

}  // namespace tool
