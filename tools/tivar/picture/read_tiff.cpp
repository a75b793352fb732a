// TIFF: greys, palettes, red with green and blue, and inks of 8 bits and fewer as they are stored,
// samples of 16 bits rounded, and everything else as libtiff makes colours of it.

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "picture/decode_guard.h"
#include "picture/lazy_library.h"
#include "picture/readers.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

struct TiffLibrary {
    decltype(&::TIFFClientOpen) clientOpen{};
    decltype(&::TIFFClose) close{};
    decltype(&::TIFFGetField) getField{};
    decltype(&::TIFFGetFieldDefaulted) getFieldDefaulted{};
    decltype(&::TIFFIsTiled) isTiled{};
    decltype(&::TIFFLastDirectory) lastDirectory{};
    decltype(&::TIFFReadScanline) readScanline{};
    decltype(&::TIFFScanlineSize64) scanlineSize{};
    decltype(&::TIFFRGBAImageBegin) colorsBegin{};
    decltype(&::TIFFRGBAImageGet) colorsGet{};
    decltype(&::TIFFRGBAImageEnd) colorsEnd{};
    decltype(&::TIFFSetErrorHandler) setErrorHandler{};
    decltype(&::TIFFSetWarningHandler) setWarningHandler{};
};

std::array<char, 256> g_lastError{};

void onError(const char*, const char* format, va_list arguments) {
    std::vsnprintf(g_lastError.data(), g_lastError.size(), format, arguments);
}

TiffLibrary loadTiff() {
    constexpr char kName[] = TIVAR_TIFF_LIBRARY;
    void* module = loadLazily(kName, "TIFF");
    TiffLibrary tiff;
    bindLazily(module, kName, "TIFFClientOpen", tiff.clientOpen);
    bindLazily(module, kName, "TIFFClose", tiff.close);
    bindLazily(module, kName, "TIFFGetField", tiff.getField);
    bindLazily(module, kName, "TIFFGetFieldDefaulted", tiff.getFieldDefaulted);
    bindLazily(module, kName, "TIFFIsTiled", tiff.isTiled);
    bindLazily(module, kName, "TIFFLastDirectory", tiff.lastDirectory);
    bindLazily(module, kName, "TIFFReadScanline", tiff.readScanline);
    bindLazily(module, kName, "TIFFScanlineSize64", tiff.scanlineSize);
    bindLazily(module, kName, "TIFFRGBAImageBegin", tiff.colorsBegin);
    bindLazily(module, kName, "TIFFRGBAImageGet", tiff.colorsGet);
    bindLazily(module, kName, "TIFFRGBAImageEnd", tiff.colorsEnd);
    bindLazily(module, kName, "TIFFSetErrorHandler", tiff.setErrorHandler);
    bindLazily(module, kName, "TIFFSetWarningHandler", tiff.setWarningHandler);
    tiff.setErrorHandler(onError);
    tiff.setWarningHandler(nullptr);
    return tiff;
}

[[noreturn]] void failTiff() {
    const char* text = g_lastError.data();
    fail(std::string("the picture is damaged or cut short (") + text + ")",
         "get a complete copy of it");
}

// The file in memory, as libtiff reads it.
struct Source {
    std::vector<uint8_t> bytes;
    uint64_t at = 0;
};

Source& sourceOf(thandle_t handle) {
    return *static_cast<Source*>(handle);
}

tmsize_t readSource(thandle_t handle, void* to, tmsize_t count) {
    Source& source = sourceOf(handle);
    const uint64_t size = source.bytes.size();
    const uint64_t left = size - std::min(source.at, size);
    const uint64_t got = std::min(left, static_cast<uint64_t>(std::max<tmsize_t>(count, 0)));
    if (got != 0) std::memcpy(to, source.bytes.data() + source.at, got);
    source.at += got;
    return static_cast<tmsize_t>(got);
}

tmsize_t writeSource(thandle_t, void*, tmsize_t) {
    return 0;
}

toff_t seekSource(thandle_t handle, toff_t offset, int whence) {
    Source& source = sourceOf(handle);
    const uint64_t base = whence == SEEK_SET   ? 0
                          : whence == SEEK_CUR ? source.at
                                               : source.bytes.size();
    return source.at = base + offset;
}

int closeSource(thandle_t) {
    return 0;
}

toff_t sizeOfSource(thandle_t handle) {
    return sourceOf(handle).bytes.size();
}

struct CloseTiff {
    const TiffLibrary* library;
    void operator()(TIFF* tiff) const { library->close(tiff); }
};

// The first picture's fields.
struct Layout {
    uint32_t width{};
    uint32_t height{};
    uint16_t bits{};
    uint16_t samples{};
    uint16_t photometric{};
    uint16_t planar{};
    uint16_t sampleFormat{};
    uint16_t orientation{};
    uint16_t extras{};
    uint16_t extraKind{};
    bool tiled{};
};

struct Reader {
    const TiffLibrary& library;
    TIFF* tiff;
    Layout layout;
};

Layout layoutOf(const TiffLibrary& library, TIFF* tiff) {
    Layout layout;
    library.getField(tiff, TIFFTAG_IMAGEWIDTH, &layout.width);
    library.getField(tiff, TIFFTAG_IMAGELENGTH, &layout.height);
    library.getFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &layout.bits);
    library.getFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout.samples);
    library.getFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &layout.planar);
    library.getFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &layout.sampleFormat);
    library.getFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &layout.orientation);
    layout.photometric = PHOTOMETRIC_MINISBLACK;
    library.getField(tiff, TIFFTAG_PHOTOMETRIC, &layout.photometric);
    uint16_t* kinds = nullptr;
    if (library.getFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &layout.extras, &kinds) != 0 &&
        layout.extras != 0 && kinds != nullptr) {
        layout.extraKind = kinds[0];
    }
    layout.tiled = library.isTiled(tiff) != 0;
    return layout;
}

bool isGrey(const Layout& layout) {
    return layout.photometric == PHOTOMETRIC_MINISBLACK ||
           layout.photometric == PHOTOMETRIC_MINISWHITE;
}

bool hasPlainRows(const Layout& layout) {
    return !layout.tiled && layout.sampleFormat == SAMPLEFORMAT_UINT &&
           (layout.planar == PLANARCONFIG_CONTIG || layout.samples == 1);
}

bool isIndexed(const Layout& layout) {
    const bool few = layout.bits == 1 || layout.bits == 2 || layout.bits == 4;
    const bool palette = layout.photometric == PHOTOMETRIC_PALETTE;
    return hasPlainRows(layout) && layout.samples == 1 &&
           ((palette && (few || layout.bits == 8)) || (isGrey(layout) && few));
}

// Samples of 8 or 16 bits whose meaning needs no conversion.
bool hasPlainSamples(const Layout& layout) {
    const bool alpha = layout.extras == 1 && layout.extraKind == EXTRASAMPLE_UNASSALPHA;
    if (!hasPlainRows(layout) || (layout.bits != 8 && layout.bits != 16)) return false;
    if (layout.extras != 0 && !alpha) return false;
    const unsigned colors = layout.samples - layout.extras;
    return (isGrey(layout) && colors == 1) ||
           (layout.photometric == PHOTOMETRIC_RGB && colors == 3) ||
           (layout.photometric == PHOTOMETRIC_SEPARATED && layout.samples == 4 &&
            layout.extras == 0);
}

PixelFormat sampleFormatOf(const Layout& layout) {
    if (layout.photometric == PHOTOMETRIC_SEPARATED) return PixelFormat::Inks;
    if (isGrey(layout)) return layout.extras == 0 ? PixelFormat::Grey : PixelFormat::GreyAlpha;
    return layout.extras == 0 ? PixelFormat::Rgb : PixelFormat::Rgba;
}

// Old programs wrote 8 bits where the format has 16; others multiply by 256, not by 257.
std::vector<Color> paletteOf(const Reader& reader) {
    const size_t count = size_t{1} << reader.layout.bits;
    uint16_t* columns[3] = {};
    if (reader.library.getField(reader.tiff, TIFFTAG_COLORMAP, &columns[0], &columns[1],
                                &columns[2]) == 0) {
        failTiff();
    }
    uint16_t highest = 0;
    for (const uint16_t* column : columns) {
        highest = std::max(highest, *std::max_element(column, column + count));
    }
    const auto byteOf = [&](uint16_t value) {
        return static_cast<uint8_t>(highest < 256 ? value : value >> 8);
    };
    std::vector<Color> palette;
    for (size_t i = 0; i < count; ++i) {
        palette.push_back({byteOf(columns[0][i]), byteOf(columns[1][i]), byteOf(columns[2][i])});
    }
    return palette;
}

std::vector<Color> indexedColors(const Reader& reader) {
    if (!isGrey(reader.layout)) return paletteOf(reader);
    std::vector<Color> table = greys(1u << reader.layout.bits);
    if (reader.layout.photometric == PHOTOMETRIC_MINISWHITE)
        std::reverse(table.begin(), table.end());
    return table;
}

void convertSamples(const Layout& layout, const uint8_t* from, uint8_t* to) {
    const size_t count = size_t{layout.width} * layout.samples;
    for (size_t i = 0; i < count; ++i) {
        if (layout.bits == 8) {
            to[i] = from[i];
        } else {
            uint16_t value = 0;
            std::memcpy(&value, from + 2 * i, sizeof value);
            to[i] = static_cast<uint8_t>((value * 255u + 32767) / 65535);
        }
    }
    if (layout.photometric != PHOTOMETRIC_MINISWHITE) return;
    for (size_t i = 0; i < count; i += layout.samples) to[i] = static_cast<uint8_t>(255 - to[i]);
}

void readRows(const Reader& reader, const Image& image) {
    const Layout& layout = reader.layout;
    std::vector<uint8_t> row(reader.library.scanlineSize(reader.tiff));
    const bool indexed = isIndexed(layout);
    const size_t bytes = (size_t{layout.width} * layout.bits * layout.samples + 7) / 8;
    if (row.size() < bytes) failTiff();
    for (uint32_t y = 0; y < layout.height; ++y) {
        if (reader.library.readScanline(reader.tiff, row.data(), y, 0) != 1) failTiff();
        uint8_t* to = rowAt(image, y);
        if (indexed) {
            std::copy_n(row.data(), bytes, to);
            if (layout.bits == 2) widenTwoBits(to, layout.width);
        } else {
            convertSamples(layout, row.data(), to);
        }
    }
}

// libtiff multiplies colours by their alpha.
void divideByAlpha(const Image& image) {
    for (size_t y = 0; y < image.height; ++y) {
        uint8_t* pixel = rowAt(image, y);
        for (size_t x = 0; x < image.width; ++x, pixel += 4) {
            const unsigned alpha = pixel[3];
            for (size_t i = 0; i < 3 && alpha != 0 && alpha != 255; ++i) {
                pixel[i] =
                    static_cast<uint8_t>(std::min(255u, (pixel[i] * 255u + alpha / 2) / alpha));
            }
        }
    }
}

// As seen in a mirror below, so that the rows come from below.
uint16_t mirrored(uint16_t orientation) {
    constexpr std::array<uint16_t, 4> kMirrored{ORIENTATION_BOTLEFT, ORIENTATION_BOTRIGHT,
                                                ORIENTATION_TOPRIGHT, ORIENTATION_TOPLEFT};
    return kMirrored[static_cast<size_t>(orientation - 1) % 4];
}

void readColors(const Reader& reader, const Image& image) {
    TIFFRGBAImage colors{};
    char message[1024] = "";
    if (reader.library.colorsBegin(&colors, reader.tiff, 1, message) == 0) {
        fail(std::string("is of a kind that is not read (") + message + ")",
             "convert it to PNG first");
    }
    colors.req_orientation = mirrored(colors.orientation);
    auto* pixels = reinterpret_cast<uint32_t*>(image.pixels.get());
    const bool done = reader.library.colorsGet(&colors, pixels, image.width, image.height) != 0;
    reader.library.colorsEnd(&colors);
    if (!done) failTiff();
    divideByAlpha(image);
}

void takeProfile(const Reader& reader, Image& image) {
    uint32_t length = 0;
    void* bytes = nullptr;
    // Other colours have become red, green and blue already.
    const bool fits = hasPlainSamples(reader.layout) || isIndexed(reader.layout) ||
                      reader.layout.photometric == PHOTOMETRIC_RGB ||
                      reader.layout.photometric == PHOTOMETRIC_YCBCR;
    if (!fits || reader.library.getField(reader.tiff, TIFFTAG_ICCPROFILE, &length, &bytes) == 0) {
        return;
    }
    const auto* first = static_cast<const uint8_t*>(bytes);
    image.profile.assign(first, first + length);
}

Image readFirst(const Reader& reader, const ReadRequest& request) {
    const Layout& layout = reader.layout;
    const bool indexed = isIndexed(layout);
    const bool plain = indexed || hasPlainSamples(layout);
    const PixelFormat format = indexed ? indexFormat(size_t{1} << layout.bits)
                               : plain ? sampleFormatOf(layout)
                                       : PixelFormat::Rgba;
    Image image = newImage(request, format, layout.width, layout.height);
    if (indexed) image.palette = indexedColors(reader);
    takeProfile(reader, image);
    if (layout.orientation >= 1 && layout.orientation <= 8) image.orientation = layout.orientation;
    tolerating(request, image, [&] {
        if (plain) {
            readRows(reader, image);
        } else {
            readColors(reader, image);
        }
    });
    return image;
}

}  // namespace

Image readTiff(std::FILE* file, const ReadRequest& request) {
    static const TiffLibrary library = loadTiff();
    Source source{readAll(file)};
    const std::unique_ptr<TIFF, CloseTiff> tiff(
        library.clientOpen("picture", "rm", &source, readSource, writeSource, seekSource,
                           closeSource, sizeOfSource, nullptr, nullptr),
        CloseTiff{&library});
    if (tiff == nullptr) failTiff();
    const Reader reader{library, tiff.get(), layoutOf(library, tiff.get())};
    Image image = readFirst(reader, request);
    if (library.lastDirectory(tiff.get()) == 0) image.notices.push_back(severalPictures());
    return image;
}

}  // namespace tool
