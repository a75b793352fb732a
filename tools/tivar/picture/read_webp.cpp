// WebP: the picture, or the first one of an animation on its canvas.

#include <webp/decode.h>
#include <webp/demux.h>

#include <algorithm>
#include <span>
#include <string>

#include "picture/exif.h"
#include "picture/lazy_library.h"
#include "picture/readers.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

// It brings libwebp, whose functions are found in it, too.
LazyLibrary g_webp{TIVAR_WEBPDEMUX_LIBRARY, "WebP"};

TIVAR_LAZY_FUNCTION(g_webp, WebPAnimDecoderDelete);
TIVAR_LAZY_FUNCTION(g_webp, WebPAnimDecoderGetNext);
TIVAR_LAZY_FUNCTION(g_webp, WebPAnimDecoderNewInternal);
TIVAR_LAZY_FUNCTION(g_webp, WebPDecode);
TIVAR_LAZY_FUNCTION(g_webp, WebPDemuxDelete);
TIVAR_LAZY_FUNCTION(g_webp, WebPDemuxGetChunk);
TIVAR_LAZY_FUNCTION(g_webp, WebPDemuxGetI);
TIVAR_LAZY_FUNCTION(g_webp, WebPDemuxInternal);
TIVAR_LAZY_FUNCTION(g_webp, WebPDemuxReleaseChunkIterator);
TIVAR_LAZY_FUNCTION(g_webp, WebPFreeDecBuffer);
TIVAR_LAZY_FUNCTION(g_webp, WebPGetFeaturesInternal);
TIVAR_LAZY_FUNCTION(g_webp, WebPInitDecoderConfigInternal);

struct DeleteDemuxer {
    void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
};
using Demuxer = std::unique_ptr<WebPDemuxer, DeleteDemuxer>;

struct DeleteAnimation {
    void operator()(WebPAnimDecoder* decoder) const { WebPAnimDecoderDelete(decoder); }
};
using Animation = std::unique_ptr<WebPAnimDecoder, DeleteAnimation>;

[[noreturn]] void failWebp(const char* reason) {
    fail(std::string("the picture is damaged or cut short (") + reason + ")",
         "get a complete copy of it");
}

std::span<const uint8_t> chunkOf(const Demuxer& demuxer, const char* name) {
    WebPChunkIterator chunk{};
    if (WebPDemuxGetChunk(demuxer.get(), name, 1, &chunk) == 0) return {};
    const std::span<const uint8_t> bytes(chunk.chunk.bytes, chunk.chunk.size);
    WebPDemuxReleaseChunkIterator(&chunk);  // the bytes are the file's
    return bytes;
}

void takeChunks(const Demuxer& demuxer, Image& image) {
    const auto profile = chunkOf(demuxer, "ICCP");
    image.profile.assign(profile.begin(), profile.end());
    image.orientation = orientationIn(chunkOf(demuxer, "EXIF"));
}

// The decoder writes the rows from below.
Image decodeStill(const std::vector<uint8_t>& bytes, const ReadRequest& request) {
    WebPDecoderConfig config{};
    WebPInitDecoderConfigInternal(&config, WEBP_DECODER_ABI_VERSION);
    const VP8StatusCode known = WebPGetFeaturesInternal(bytes.data(), bytes.size(), &config.input,
                                                        WEBP_DECODER_ABI_VERSION);
    if (known != VP8_STATUS_OK) failWebp("no header");
    const bool alpha = config.input.has_alpha != 0;
    Image image = newImage(request, alpha ? PixelFormat::Rgba : PixelFormat::Rgb,
                           static_cast<uint64_t>(config.input.width),
                           static_cast<uint64_t>(config.input.height));
    config.options.flip = 1;
    config.output.colorspace = alpha ? MODE_RGBA : MODE_RGB;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = image.pixels.get();
    config.output.u.RGBA.stride = static_cast<int>(image.stride);
    config.output.u.RGBA.size = image.stride * image.height;
    const VP8StatusCode status = WebPDecode(bytes.data(), bytes.size(), &config);
    WebPFreeDecBuffer(&config.output);
    if (status != VP8_STATUS_OK) failWebp("its pixels end early");
    return image;
}

Image decodeAnimation(const std::vector<uint8_t>& bytes, PixelSize size,
                      const ReadRequest& request) {
    Image image = newImage(request, PixelFormat::Rgba, size.width, size.height);
    const WebPData data{bytes.data(), bytes.size()};
    const Animation decoder(WebPAnimDecoderNewInternal(&data, nullptr, WEBP_DEMUX_ABI_VERSION));
    uint8_t* pixels = nullptr;
    int time = 0;
    if (decoder == nullptr || WebPAnimDecoderGetNext(decoder.get(), &pixels, &time) == 0) {
        failWebp("no first frame");
    }
    for (uint32_t y = 0; y < image.height; ++y, pixels += image.stride) {
        std::copy_n(pixels, image.stride, rowAt(image, y));
    }
    image.notices.push_back(severalPictures());
    return image;
}

}  // namespace

Image readWebp(std::FILE* file, const ReadRequest& request) {
    const std::vector<uint8_t> bytes = readAll(file);
    const WebPData data{bytes.data(), bytes.size()};
    const Demuxer demuxer(WebPDemuxInternal(&data, 0, nullptr, WEBP_DEMUX_ABI_VERSION));
    if (demuxer == nullptr) failWebp("no complete file");
    const bool animated = WebPDemuxGetI(demuxer.get(), WEBP_FF_FRAME_COUNT) > 1;
    const PixelSize canvas{WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH),
                           WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT)};
    Image image = animated ? decodeAnimation(bytes, canvas, request) : decodeStill(bytes, request);
    takeChunks(demuxer, image);
    return image;
}

}  // namespace tool
