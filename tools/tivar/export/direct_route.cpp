#include "export/direct_route.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bmp/headers_like.h"
#include "bmp/little_endian.h"
#include "export/picture.h"
#include "export/wanted_shape.h"
#include "process/failure.h"
#include "process/interrupt.h"

namespace tool {
namespace {

// Where the library's bytes go: into the file, or with none into memory.
struct Bytes {
    int file = -1;
    std::vector<uint8_t> memory;
    std::span<const uint8_t> head;  // goes before the pixels in place of the library's headers
    std::vector<uint8_t> own;       // those, as far as they have come
    int error = 0;                  // an errno value
    bool begun = false;
};

// Room that is found at once costs less than room for block after block. Only a hint: the file
// keeps its length, and what there is no room for fails as it is written.
void reserveRoom(int file, uint32_t length) {
    constexpr uint32_t kWorthwhile = 1u << 20;
    if (length >= kWorthwhile) (void)::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, length);
}

// The exchange of headers, once all of the library's are there; the rest of the bytes are pixels.
bool exchangeHeaders(Bytes& taken, const uint8_t* bytes, size_t length) {
    std::vector<uint8_t>& own = taken.own;
    own.insert(own.end(), bytes, bytes + length);
    if (own.size() < kBmpHeaderBytes || own.size() < little32(&own[kBmpPixelOffset])) return false;
    const size_t offset = little32(&own[kBmpPixelOffset]);
    const uint64_t pixels = little32(&own[kBmpFileSize]) - offset;
    if (pixels + taken.head.size() > UINT32_MAX) {
        taken.error = EFBIG;
        return false;
    }
    std::vector<uint8_t> start = headersLike(taken.head, own);
    start.insert(start.end(), own.begin() + static_cast<ptrdiff_t>(offset), own.end());
    own = std::move(start);
    taken.head = {};
    return true;
}

bool store(Bytes& taken, const uint8_t* bytes, size_t length) {
    if (taken.file >= 0) {
        const bool first = !std::exchange(taken.begun, true);
        if (first && length >= kBmpHeaderBytes)
            reserveRoom(taken.file, little32(&bytes[kBmpFileSize]));
        taken.error = writeAll(taken.file, bytes, length);
        return taken.error == 0;
    }
    taken.memory.insert(taken.memory.end(), bytes, bytes + length);
    return true;
}

size_t receive(void* context, const void* bytes, size_t length) noexcept {
    Bytes& taken = *static_cast<Bytes*>(context);
    const auto* first = static_cast<const uint8_t*>(bytes);
    try {
        if (taken.head.empty()) return store(taken, first, length) ? length : 0;
        if (!exchangeHeaders(taken, first, length)) return taken.error == 0 ? length : 0;
        return store(taken, taken.own.data(), taken.own.size()) ? length : 0;
    } catch (const std::bad_alloc&) {
        taken.error = ENOMEM;
        return 0;
    }
}

int32_t onProgress(void* context, int32_t percent) noexcept {
    showStep(*static_cast<Progress*>(context), std::to_string(percent) + " %");
    return 0;
}

int32_t onCancel(void*) noexcept {
    return pendingSignal() != 0 ? 1 : 0;
}

int32_t formatOf(PixelFormat format) {
    switch (format) {
        case PixelFormat::Index1:
            return TIVAR_INDEX1;
        case PixelFormat::Index4:
            return TIVAR_INDEX4;
        case PixelFormat::Index8:
            return TIVAR_INDEX8;
        case PixelFormat::Grey:
            return TIVAR_GREY;
        case PixelFormat::Rgba:
            return TIVAR_RGBA;
        default:
            return TIVAR_RGB;
    }
}

Image withAlpha(const Image& image) {
    Image colors = newImage(PixelFormat::Rgba, {image.width, image.height});
    for (size_t y = 0; y < image.height; ++y) {
        convertRow(image, rowAt(image, y), PixelFormat::Rgba, rowAt(colors, y));
    }
    return colors;
}

// The image in a format that the library takes. Pixels without an alpha get an opaque one where the
// file that is followed has one.
Image prepared(Image image, const ExportRequest& request) {
    if (keepsAlpha(request, image)) {
        return image.format == PixelFormat::Rgba ? std::move(image) : withAlpha(image);
    }
    image = opaque(std::move(image), request.background.value_or(Color{}));
    return request.like.alpha.value_or(false) ? withAlpha(image) : std::move(image);
}

std::vector<uint8_t> packed(const std::vector<Color>& colors) {
    std::vector<uint8_t> bytes;
    for (const Color color : colors) {
        bytes.insert(bytes.end(), {color.red, color.green, color.blue});
    }
    return bytes;
}

// A picture as the library takes it: top row first, so that the stride is negative.
struct View {
    std::vector<uint8_t> palette;
    TivarPicture picture{};
    const std::exception_ptr* rowFailure = nullptr;  // of rows that are read on the way
};

View viewOf(const Image& image) {
    View view;
    view.palette = packed(image.palette);
    TivarPicture& picture = view.picture;
    picture.size = sizeof picture;
    picture.format = formatOf(image.format);
    picture.width = image.width;
    picture.height = image.height;
    picture.pixels = rowAt(image, 0);
    picture.stride = -static_cast<ptrdiff_t>(image.stride);
    if (!isIndexed(image.format)) return view;
    picture.palette = view.palette.data();
    picture.palette_count = static_cast<uint32_t>(image.palette.size());
    return view;
}

// Rows that are read as the library asks for them.
struct Reading {
    FileRows& rows;
    std::exception_ptr failure{};
};

int32_t onRow(void* context, uint32_t y, void* row) noexcept {
    Reading& reading = *static_cast<Reading*>(context);
    try {
        readRow(reading.rows, y, static_cast<uint8_t*>(row));
        return 0;
    } catch (...) {
        reading.failure = std::current_exception();
        return 1;
    }
}

View viewOf(Reading& reading) {
    View view = viewOf(reading.rows.outline);
    view.picture.pixels = nullptr;
    view.picture.stride = 0;
    view.picture.read_row = onRow;
    view.picture.context = &reading;
    view.rowFailure = &reading.failure;
    return view;
}

[[noreturn]] void failDirectly(const TivarReport& report, const Bytes& taken,
                               const Output& output) {
    if (taken.error != 0) failErrno(output.name, taken.error);
    if (report.system_error != 0) failErrno(output.name, report.system_error);
    const std::string text(report.text);
    switch (report.result) {
        case TIVAR_RESULT_NO_MEMORY:
            fail("the library ran out of memory", "use a smaller picture");
        case TIVAR_RESULT_TOO_LARGE:
            fail(text, "choose a smaller size or fewer bits");
        case TIVAR_RESULT_BAD_OPTION:
        case TIVAR_RESULT_CONTRADICTION:
            failUsage(text, "see tivar export --help");
        default:
            fail(text, "see tivar export --help");
    }
}

void run(const Library& library, const View& view, TivarOptions options, const Output& output,
         Progress& progress, Bytes& taken) {
    options.progress = onProgress;
    options.cancel = onCancel;
    options.context = &progress;
    TivarSink sink{sizeof(TivarSink), receive, &taken};
    TivarReport report{};
    report.size = sizeof report;
    int32_t result = 0;
    {
        const DeferSignals deferred;
        result = library.writeBmp(&view.picture, &options, &sink, &report);
    }
    throwIfInterrupted();
    if (result == TIVAR_RESULT_ROW_FAILED) std::rethrow_exception(*view.rowFailure);
    if (result != TIVAR_RESULT_OK) failDirectly(report, taken, output);
}

uint16_t depthFor(size_t colors) {
    return static_cast<uint16_t>(bitsOf(indexFormat(colors)));
}

// What was not asked for follows from the colours, and from the image without them.
uint16_t depthOf(const ExportRequest& request, const Image& image) {
    const ColorRequest& colors = request.colors;
    if (request.bits) return *request.bits;
    if (colors.masks) return 16;
    if (!colors.palette.empty()) return depthFor(colors.palette.size());
    if (colors.count != 0) return depthFor(colors.count);
    return static_cast<uint16_t>(bitsOf(image.format));
}

[[noreturn]] void failDepth(const std::string& option, const std::string& depths, uint16_t bits) {
    failUsage(option + " is for " + depths + " bits, not for " + std::to_string(bits),
              "choose the depth with --bits");
}

void requireRoom(const std::string& option, size_t colors, uint16_t bits) {
    if (colors == 0) return;
    if (bits > 8) failDepth(option, "1, 4 and 8", bits);
    if (colors > size_t{1} << bits) {
        failUsage(option + " has " + std::to_string(colors) + " colours, more than " +
                      std::to_string(1u << bits) + " at a depth of " + std::to_string(bits),
                  "choose a greater depth with --bits");
    }
}

void requireColors(const ColorRequest& colors, uint16_t bits) {
    requireRoom("--palette", colors.palette.size(), bits);
    requireRoom("--colors", colors.count, bits);
    if (colors.masks && bits != 16) failDepth("--rgb565 or --rgb555", "16", bits);
    if (colors.dither != TIVAR_DITHER_DEFAULT && bits > 16) {
        failDepth("--dither", "1, 4, 8 and 16", bits);
    }
}

void setColors(TivarOptions& options, const ColorRequest& colors,
               const std::vector<uint8_t>& palette) {
    options.dither = colors.dither;
    options.masks = colors.masks.value_or(TIVAR_MASKS_565);
    options.max_colors = colors.count;
    if (colors.count != 0) options.colors = TIVAR_COLORS_BEST;
    if (palette.empty()) return;
    options.colors = TIVAR_COLORS_GIVEN;
    options.palette = palette.data();
    options.palette_count = static_cast<uint32_t>(colors.palette.size());
}

void requireOs2(uint16_t bits) {
    if (bits != 16 && bits != 32) return;
    failUsage("the OS/2 flavour has no form of " + std::to_string(bits) + " bits",
              "choose 1, 4, 8 or 24 with --bits, or leave out --os2");
}

// Requests that exclude each other are wrong usage.
TivarOptions directOptions(const ExportRequest& request, const Image& image) {
    TivarOptions options{};
    options.size = sizeof options;
    const uint16_t bits = depthOf(request, image);
    requireColors(request.colors, bits);
    const Flavour flavour = request.flavour.value_or(Flavour::Windows);
    options.bits = bits;
    options.threads = static_cast<int32_t>(request.threads);
    options.header = request.like.header;
    options.row_order = request.like.topDown ? TIVAR_TOP_DOWN : TIVAR_BOTTOM_UP;
    options.x_per_meter = request.like.xPerMeter;
    options.y_per_meter = request.like.yPerMeter;
    if (flavour == Flavour::Os2) {
        requireOs2(bits);
        options.header = TIVAR_HEADER_OS2;
    }
    if (request.compression == Compression::Portable) {
        requirePortable(bits, flavour);
        options.encoding = TIVAR_ENCODING_RLE;
    }
    return options;
}

FileStart deliver(const Library& library, const ExportRequest& request, const Image& outline,
                  const View& view, const Output& output, Progress& progress) {
    Bytes taken;
    if (!output.part.empty()) taken.file = output.file.number;
    taken.head = request.like.head;
    TivarOptions options = directOptions(request, outline);
    const std::vector<uint8_t> palette = packed(request.colors.palette);
    setColors(options, request.colors, palette);
    run(library, view, options, output, progress, taken);
    if (taken.file >= 0) return startOf(taken.file);
    const int error = writeAll(output.file.number, taken.memory.data(), taken.memory.size());
    if (error != 0) failErrno(output.name, error);
    return startOf(taken.memory.data(), taken.memory.size());
}

}  // namespace

// A palette is chosen for all of a picture, and run lengths are counted before they are written.
bool takesRowByRow(const ExportRequest& request, const Image& outline) {
    const ColorRequest& colors = request.colors;
    const uint16_t bits = depthOf(request, outline);
    const bool chooses = bits <= 8 && colors.palette.empty() && (bits > 1 || colors.count != 0);
    return !chooses && request.compression != Compression::Portable &&
           !request.like.alpha.value_or(false);
}

FileStart deliverRows(const Library& library, const ExportRequest& request, FileRows& rows,
                      const Output& output, Progress& progress) {
    Reading reading{rows};
    return deliver(library, request, rows.outline, viewOf(reading), output, progress);
}

FileStart deliverDirectly(const Library& library, const ExportRequest& request, Image image,
                          const Output& output, Progress& progress) {
    const Image source = prepared(std::move(image), request);
    return deliver(library, request, source, viewOf(source), output, progress);
}

}  // namespace tool
