// GIF: the first frame on its canvas, as indices.

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <string>

#include "picture/decode_guard.h"
#include "picture/lazy_library.h"
#include "picture/readers.h"
#include "process/failure.h"

namespace tool {
namespace {

LazyLibrary g_gif{TIVAR_GIF_LIBRARY, "GIF"};

TIVAR_LAZY_FUNCTION(g_gif, DGifCloseFile);
TIVAR_LAZY_FUNCTION(g_gif, DGifExtensionToGCB);
TIVAR_LAZY_FUNCTION(g_gif, DGifGetExtension);
TIVAR_LAZY_FUNCTION(g_gif, DGifGetExtensionNext);
TIVAR_LAZY_FUNCTION(g_gif, DGifGetImageDesc);
TIVAR_LAZY_FUNCTION(g_gif, DGifGetLine);
TIVAR_LAZY_FUNCTION(g_gif, DGifGetRecordType);
TIVAR_LAZY_FUNCTION(g_gif, DGifOpen);
TIVAR_LAZY_FUNCTION(g_gif, GifErrorString);

constexpr int kNoIndex = -1;

struct CloseGif {
    void operator()(GifFileType* gif) const {
        int ignored = 0;
        DGifCloseFile(gif, &ignored);
    }
};
using Gif = std::unique_ptr<GifFileType, CloseGif>;

int readBytes(GifFileType* gif, GifByteType* bytes, int count) {
    auto* file = static_cast<std::FILE*>(gif->UserData);
    return static_cast<int>(std::fread(bytes, 1, static_cast<size_t>(count), file));
}

[[noreturn]] void failGif(int error) {
    const char* text = GifErrorString(error);
    fail(std::string("the picture is damaged or cut short (") +
             (text == nullptr ? "no reason told" : text) + ")",
         "get a complete copy of it");
}

// One extension; that of a frame names the index of its transparent pixels.
void readExtension(GifFileType* gif, int& transparent) {
    int code = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(gif, &code, &block) == GIF_ERROR) failGif(gif->Error);
    while (block != nullptr) {
        GraphicsControlBlock control{};
        const bool frame = code == GRAPHICS_EXT_FUNC_CODE && block[0] == 4 &&
                           DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK;
        if (frame) transparent = control.TransparentColor;
        if (DGifGetExtensionNext(gif, &block) == GIF_ERROR) failGif(gif->Error);
    }
}

// Goes on to the next frame: whether there is one.
bool findFrame(GifFileType* gif, int& transparent) {
    GifRecordType record = UNDEFINED_RECORD_TYPE;
    while (record != TERMINATE_RECORD_TYPE) {
        if (DGifGetRecordType(gif, &record) == GIF_ERROR) failGif(gif->Error);
        if (record == EXTENSION_RECORD_TYPE) readExtension(gif, transparent);
        if (record == IMAGE_DESC_RECORD_TYPE) return true;
    }
    return false;
}

std::vector<Color> paletteOf(const GifFileType& gif) {
    const ColorMapObject* map = gif.Image.ColorMap == nullptr ? gif.SColorMap : gif.Image.ColorMap;
    std::vector<Color> palette;
    for (int i = 0; map != nullptr && i < map->ColorCount; ++i) {
        const GifColorType color = map->Colors[i];
        palette.push_back({color.Red, color.Green, color.Blue});
    }
    return palette;
}

struct Frame {
    uint32_t left;
    uint32_t top;
    uint32_t width;
    uint32_t height;
};

// Pixels of the canvas that the frame leaves out are transparent. Where all indices are taken, one
// that is drawn nowhere cannot be told, and the first colour stands behind.
uint8_t indexBehind(Image& image, const Frame& frame, int transparent) {
    const bool covered = frame.width == image.width && frame.height == image.height;
    if (covered) return 0;
    if (transparent != kNoIndex) return static_cast<uint8_t>(transparent);
    if (image.palette.size() >= 256) return 0;
    image.palette.push_back({0, 0, 0});
    image.alphas.assign(image.palette.size(), 255);
    image.alphas.back() = 0;
    return static_cast<uint8_t>(image.palette.size() - 1);
}

void putRow(const Image& image, const Frame& frame, uint32_t y, const std::vector<uint8_t>& row) {
    if (frame.top + y >= image.height) return;
    const uint32_t end = std::min(frame.left + frame.width, image.width);
    uint8_t* to = rowAt(image, frame.top + y);
    for (uint32_t x = frame.left; x < end; ++x) to[x] = row[x - frame.left];
}

// Interlaced rows come in four passes.
struct Pass {
    uint32_t first;
    uint32_t step;
};

void readRows(GifFileType* gif, const Frame& frame, const Image& image) {
    constexpr std::array<Pass, 4> kInterlaced{{{0, 8}, {4, 8}, {2, 4}, {1, 2}}};
    constexpr std::array<Pass, 1> kPlain{{{0, 1}}};
    const std::span<const Pass> passes =
        gif->Image.Interlace ? std::span<const Pass>(kInterlaced) : std::span<const Pass>(kPlain);
    std::vector<uint8_t> row(frame.width);
    for (const Pass pass : passes) {
        for (uint32_t y = pass.first; y < frame.height; y += pass.step) {
            if (DGifGetLine(gif, row.data(), static_cast<int>(row.size())) == GIF_ERROR) {
                failGif(gif->Error);
            }
            putRow(image, frame, y, row);
        }
    }
}

// Tables are filled up to a power of two, and some indices lie beyond them.
size_t colorsInUse(const Image& image) {
    const uint8_t* pixels = image.pixels.get();
    return size_t{*std::max_element(pixels, pixels + image.stride * image.height)} + 1;
}

// The same picture with as few bits as its palette needs.
Image packed(Image image, const ReadRequest& request) {
    const size_t colors = colorsInUse(image);
    image.palette.resize(std::min(colors, image.palette.size()));
    const PixelFormat format = indexFormat(colors);
    if (format == PixelFormat::Index8) return image;
    Image small = newImage(request, format, image.width, image.height);
    const unsigned bits = bitsOf(format);
    for (size_t y = 0; y < image.height; ++y) {
        const uint8_t* from = rowAt(image, y);
        uint8_t* to = rowAt(small, y);
        for (size_t x = 0; x < image.width; ++x) {
            to[x * bits / 8] |= static_cast<uint8_t>(from[x] << (8 - bits - x * bits % 8));
        }
    }
    small.palette = std::move(image.palette);
    small.alphas = std::move(image.alphas);
    small.notices = std::move(image.notices);
    return small;
}

void noteMoreFrames(GifFileType* gif, Image& image) {
    int ignored = kNoIndex;
    // What is damaged behind the first frame does not matter.
    try {
        if (findFrame(gif, ignored)) image.notices.push_back(severalPictures());
    } catch (const Failure&) {
    }
}

Frame frameOf(const GifImageDesc& image) {
    return {static_cast<uint32_t>(image.Left), static_cast<uint32_t>(image.Top),
            static_cast<uint32_t>(image.Width), static_cast<uint32_t>(image.Height)};
}

}  // namespace

Image readGif(std::FILE* file, const ReadRequest& request) {
    int error = 0;
    const Gif gif(DGifOpen(file, readBytes, &error));
    if (gif == nullptr) failGif(error);
    int transparent = kNoIndex;
    if (!findFrame(gif.get(), transparent)) fail("has no picture in it", "choose another one");
    if (DGifGetImageDesc(gif.get()) == GIF_ERROR) failGif(gif->Error);
    const Frame frame = frameOf(gif->Image);
    // Some programs leave the canvas empty.
    const uint32_t width = gif->SWidth > 0 ? static_cast<uint32_t>(gif->SWidth) : frame.width;
    const uint32_t height = gif->SHeight > 0 ? static_cast<uint32_t>(gif->SHeight) : frame.height;
    Image image = newImage(request, PixelFormat::Index8, width, height);
    image.palette = paletteOf(*gif);
    if (image.palette.empty()) image.palette = greys(256);
    if (transparent >= 0 && static_cast<size_t>(transparent) < image.palette.size()) {
        image.alphas.assign(image.palette.size(), 255);
        image.alphas[static_cast<size_t>(transparent)] = 0;
    }
    const uint8_t behind = indexBehind(image, frame, transparent);
    std::fill_n(image.pixels.get(), image.stride * image.height, behind);
    tolerating(request, image, [&] { readRows(gif.get(), frame, image); });
    noteMoreFrames(gif.get(), image);
    return packed(std::move(image), request);
}

}  // namespace tool
