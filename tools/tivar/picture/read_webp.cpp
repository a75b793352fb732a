// WebP: the picture, or the first one of an animation on its canvas.

#include <webp/decode.h>
#include <webp/demux.h>

#include <algorithm>
#include <span>
#include <string>

#include "picture/exif.h"
#include "picture/readers.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

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
    WebPInitDecoderConfig(&config);
    if (WebPGetFeatures(bytes.data(), bytes.size(), &config.input) != VP8_STATUS_OK) {
        failWebp("no header");
    }
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
    const Animation decoder(WebPAnimDecoderNew(&data, nullptr));
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
    const Demuxer demuxer(WebPDemux(&data));
    if (demuxer == nullptr) failWebp("no complete file");
    const bool animated = WebPDemuxGetI(demuxer.get(), WEBP_FF_FRAME_COUNT) > 1;
    const PixelSize canvas{WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH),
                           WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT)};
    Image image = animated ? decodeAnimation(bytes, canvas, request) : decodeStill(bytes, request);
    takeChunks(demuxer, image);
    return image;
}

}  // namespace tool
