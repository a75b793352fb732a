// PNG, JPEG, GIF, TIFF, WebP and HEIF by the system's codecs. Palettes and greys of up to 8 bits
// stay indices, deeper samples are rounded to 8 bits.
#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "picture/decode_guard.h"
#include "picture/readers.h"
#include "picture/windows/com.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

// What becomes of a row as the codec gives it.
using StoreRow = void (*)(const uint8_t* from, uint8_t* to, uint32_t width);

uint8_t rounded(const uint8_t* sample) {
    const unsigned value = sample[0] | static_cast<unsigned>(sample[1]) << 8;
    return static_cast<uint8_t>((value * 255 + 32895) >> 16);
}

template <unsigned bits>
void keepBits(const uint8_t* from, uint8_t* to, uint32_t width) {
    std::copy_n(from, (size_t{width} * bits + 7) / 8, to);
}

void keepTwoBits(const uint8_t* from, uint8_t* to, uint32_t width) {
    keepBits<2>(from, to, width);
    widenTwoBits(to, width);
}

template <unsigned samples>
void roundSamples(const uint8_t* from, uint8_t* to, uint32_t width) {
    for (size_t i = 0; i < size_t{width} * samples; ++i) to[i] = rounded(from + 2 * i);
}

template <unsigned step>
void takeBgr(const uint8_t* from, uint8_t* to, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x, from += step, to += 3) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
    }
}

void takeBgra(const uint8_t* from, uint8_t* to, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x, from += 4, to += 4) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
        to[3] = from[3];
    }
}

// A format of the codecs, and what it becomes. Greys of so many levels become indices.
struct Form {
    const GUID* codec;
    unsigned bits;
    PixelFormat format;
    unsigned levels;
    StoreRow store;
};

const std::array kForms{
    Form{&GUID_WICPixelFormat1bppIndexed, 1, PixelFormat::Index1, 0, keepBits<1>},
    Form{&GUID_WICPixelFormat2bppIndexed, 2, PixelFormat::Index4, 0, keepTwoBits},
    Form{&GUID_WICPixelFormat4bppIndexed, 4, PixelFormat::Index4, 0, keepBits<4>},
    Form{&GUID_WICPixelFormat8bppIndexed, 8, PixelFormat::Index8, 0, keepBits<8>},
    Form{&GUID_WICPixelFormatBlackWhite, 1, PixelFormat::Index1, 2, keepBits<1>},
    Form{&GUID_WICPixelFormat2bppGray, 2, PixelFormat::Index4, 4, keepTwoBits},
    Form{&GUID_WICPixelFormat4bppGray, 4, PixelFormat::Index4, 16, keepBits<4>},
    Form{&GUID_WICPixelFormat8bppGray, 8, PixelFormat::Grey, 0, keepBits<8>},
    Form{&GUID_WICPixelFormat16bppGray, 16, PixelFormat::Grey, 0, roundSamples<1>},
    Form{&GUID_WICPixelFormat24bppRGB, 24, PixelFormat::Rgb, 0, keepBits<24>},
    Form{&GUID_WICPixelFormat24bppBGR, 24, PixelFormat::Rgb, 0, takeBgr<3>},
    Form{&GUID_WICPixelFormat32bppBGR, 32, PixelFormat::Rgb, 0, takeBgr<4>},
    Form{&GUID_WICPixelFormat48bppRGB, 48, PixelFormat::Rgb, 0, roundSamples<3>},
    Form{&GUID_WICPixelFormat64bppRGBA, 64, PixelFormat::Rgba, 0, roundSamples<4>},
    // The last one is what any other can be converted to.
    Form{&GUID_WICPixelFormat32bppBGRA, 32, PixelFormat::Rgba, 0, takeBgra},
};

[[noreturn]] void failDamaged() {
    fail("the picture is damaged or of a kind that the system's codecs do not know",
         "get a complete copy of it or convert it to BMP or PNM first");
}

void require(bool done) {
    if (!done) failDamaged();
}

struct Source {
    ComObject<IWICImagingFactory> factory;
    ComObject<IWICStream> stream;
    ComObject<IWICBitmapDecoder> decoder;
    ComObject<IWICBitmapFrameDecode> frame;
};

Source openSource(std::vector<uint8_t>& bytes) {
    Source source;
    source.factory = imagingFactory();
    source.stream = made<IWICStream>(
        [&](IWICStream** address) { return source.factory->CreateStream(address); });
    require(source.stream != nullptr && SUCCEEDED(source.stream->InitializeFromMemory(
                                            bytes.data(), static_cast<DWORD>(bytes.size()))));
    source.decoder = made<IWICBitmapDecoder>([&](IWICBitmapDecoder** address) {
        return source.factory->CreateDecoderFromStream(source.stream.get(), nullptr,
                                                       WICDecodeMetadataCacheOnDemand, address);
    });
    require(source.decoder != nullptr);
    source.frame = made<IWICBitmapFrameDecode>(
        [&](IWICBitmapFrameDecode** address) { return source.decoder->GetFrame(0, address); });
    require(source.frame != nullptr);
    return source;
}

const Form& formOf(const Source& source) {
    WICPixelFormatGUID format = {};
    require(SUCCEEDED(source.frame->GetPixelFormat(&format)));
    const auto found = std::find_if(kForms.begin(), kForms.end(), [&](const Form& form) {
        return IsEqualGUID(*form.codec, format) != FALSE;
    });
    return found == kForms.end() ? kForms.back() : *found;
}

// The frame itself, or what makes its rows those of the form.
ComObject<IWICBitmapSource> rowsIn(const Source& source, const Form& form) {
    WICPixelFormatGUID format = {};
    source.frame->GetPixelFormat(&format);
    if (IsEqualGUID(*form.codec, format) != FALSE) {
        source.frame->AddRef();
        return ComObject<IWICBitmapSource>(source.frame.get());
    }
    auto converter = made<IWICFormatConverter>([&](IWICFormatConverter** address) {
        return source.factory->CreateFormatConverter(address);
    });
    require(converter != nullptr && SUCCEEDED(converter->Initialize(
                                        source.frame.get(), *form.codec, WICBitmapDitherTypeNone,
                                        nullptr, 0, WICBitmapPaletteTypeCustom)));
    return ComObject<IWICBitmapSource>(converter.release());
}

void takePalette(const Source& source, Image& picture) {
    auto palette = made<IWICPalette>(
        [&](IWICPalette** address) { return source.factory->CreatePalette(address); });
    UINT count = 0;
    require(palette != nullptr && SUCCEEDED(source.frame->CopyPalette(palette.get())) &&
            SUCCEEDED(palette->GetColorCount(&count)));
    std::vector<WICColor> colors(count);
    require(count != 0 && SUCCEEDED(palette->GetColors(count, colors.data(), &count)));
    bool opaque = true;
    for (const WICColor color : colors) {
        const auto byte = [color](unsigned shift) { return static_cast<uint8_t>(color >> shift); };
        picture.palette.push_back({byte(16), byte(8), byte(0)});
        picture.alphas.push_back(byte(24));
        opaque = opaque && byte(24) == 255;
    }
    if (opaque) picture.alphas.clear();
}

void takeProfile(const Source& source, Image& picture) {
    auto context = made<IWICColorContext>(
        [&](IWICColorContext** address) { return source.factory->CreateColorContext(address); });
    IWICColorContext* contexts[] = {context.get()};
    UINT count = 0;
    if (context == nullptr || FAILED(source.frame->GetColorContexts(1, contexts, &count))) return;
    WICColorContextType type = WICColorContextUninitialized;
    if (count == 0 || FAILED(context->GetType(&type)) || type != WICColorContextProfile) return;
    UINT length = 0;
    if (FAILED(context->GetProfileBytes(0, nullptr, &length))) return;
    picture.profile.resize(length);
    if (FAILED(context->GetProfileBytes(length, picture.profile.data(), &length)))
        picture.profile.clear();
}

void takeOrientation(const Source& source, Image& picture) {
    auto reader = made<IWICMetadataQueryReader>([&](IWICMetadataQueryReader** address) {
        return source.frame->GetMetadataQueryReader(address);
    });
    if (reader == nullptr) return;
    for (const wchar_t* place : {L"/app1/ifd/{ushort=274}", L"/ifd/{ushort=274}"}) {
        PROPVARIANT value;
        PropVariantInit(&value);
        const bool found = SUCCEEDED(reader->GetMetadataByName(place, &value));
        if (found && value.vt == VT_UI2 && value.uiVal >= 1 && value.uiVal <= 8)
            picture.orientation = value.uiVal;
        PropVariantClear(&value);
    }
}

void readRows(const Source& source, const Form& form, const Image& picture) {
    const auto rows = rowsIn(source, form);
    const size_t stride = (size_t{picture.width} * form.bits + 7) / 8;
    constexpr size_t kBand = size_t{1} << 20;
    const auto atOnce =
        static_cast<uint32_t>(std::clamp<size_t>(kBand / stride, 1, picture.height));
    std::vector<uint8_t> band(stride * atOnce);
    for (uint32_t y = 0; y < picture.height; y += atOnce) {
        const uint32_t count = std::min(atOnce, picture.height - y);
        const WICRect part = {0, static_cast<INT>(y), static_cast<INT>(picture.width),
                              static_cast<INT>(count)};
        require(SUCCEEDED(rows->CopyPixels(&part, static_cast<UINT>(stride),
                                           static_cast<UINT>(stride * count), band.data())));
        for (uint32_t i = 0; i < count; ++i)
            form.store(&band[stride * i], rowAt(picture, y + i), picture.width);
    }
}

Image readWic(std::FILE* file, const ReadRequest& request) {
    std::vector<uint8_t> bytes = readAll(file);
    const Source source = openSource(bytes);
    UINT width = 0;
    UINT height = 0;
    require(SUCCEEDED(source.frame->GetSize(&width, &height)));
    const Form& form = formOf(source);
    Image picture = newImage(request, form.format, width, height);
    if (form.levels != 0) picture.palette = greys(form.levels);
    if (form.levels == 0 && isIndexed(form.format)) takePalette(source, picture);
    takeProfile(source, picture);
    takeOrientation(source, picture);
    UINT frames = 0;
    if (SUCCEEDED(source.decoder->GetFrameCount(&frames)) && frames > 1)
        picture.notices.push_back(severalPictures());
    tolerating(request, picture, [&] { readRows(source, form, picture); });
    return picture;
}

}  // namespace

Image readPng(std::FILE* file, const ReadRequest& request) {
    return readWic(file, request);
}

Image readJpeg(std::FILE* file, const ReadRequest& request) {
    return readWic(file, request);
}

Image readGif(std::FILE* file, const ReadRequest& request) {
    return readWic(file, request);
}

Image readTiff(std::FILE* file, const ReadRequest& request) {
    return readWic(file, request);
}

Image readWebp(std::FILE* file, const ReadRequest& request) {
    return readWic(file, request);
}

Image readHeif(std::FILE* file, const ReadRequest& request) {
    return readWic(file, request);
}

}  // namespace tool
