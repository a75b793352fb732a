// PNG and JPEG by the system's codecs.
#include <cerrno>
#include <utility>

#include "picture/windows/com.h"
#include "picture/write_picture.h"

namespace tool {
namespace {

constexpr float kJpegQuality = 0.92f;

const GUID& formatOf(unsigned bits) {
    switch (bits) {
        case 1:
            return GUID_WICPixelFormat1bppIndexed;
        case 2:
            return GUID_WICPixelFormat2bppIndexed;
        case 4:
            return GUID_WICPixelFormat4bppIndexed;
        case 8:
            return GUID_WICPixelFormat8bppIndexed;
        case 24:
            return GUID_WICPixelFormat24bppBGR;
        default:
            return GUID_WICPixelFormat32bppBGRA;
    }
}

bool setPalette(IWICImagingFactory& factory, const PixelRows& rows, IWICBitmapFrameEncode& frame) {
    if (rows.bits > 8) return true;
    auto palette =
        made<IWICPalette>([&](IWICPalette** address) { return factory.CreatePalette(address); });
    std::vector<WICColor> colors;
    for (const Color& color : rows.palette) {
        colors.push_back(0xFF000000u | WICColor{color.red} << 16 | WICColor{color.green} << 8 |
                         color.blue);
    }
    return palette != nullptr &&
           SUCCEEDED(palette->InitializeCustom(colors.data(), static_cast<UINT>(colors.size()))) &&
           SUCCEEDED(frame.SetPalette(palette.get()));
}

bool setQuality(IPropertyBag2& options) {
    wchar_t name[] = L"ImageQuality";
    PROPBAG2 option = {};
    option.pstrName = name;
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_R4;
    value.fltVal = kJpegQuality;
    return SUCCEEDED(options.Write(1, &option, &value));
}

bool writeRows(const PixelRows& rows, bool colors, IWICBitmapFrameEncode& frame) {
    std::vector<uint8_t> packed(packedBytes(rows));
    std::vector<uint8_t> row(colors ? size_t{rows.width} * 3 : packed.size());
    const size_t step = colors ? 3 : rows.bits / 8;
    for (uint32_t y = 0; y < rows.height; ++y) {
        if (colors) {
            readColors(rows, y, packed, row.data());
        } else {
            rows.read(y, row.data());
        }
        // Red, green, blue is what the tool has.
        for (size_t x = 0; step >= 3 && x < rows.width; ++x)
            std::swap(row[x * step], row[x * step + 2]);
        const auto bytes = static_cast<UINT>(row.size());
        if (FAILED(frame.WritePixels(1, bytes, bytes, row.data()))) return false;
    }
    return true;
}

bool encode(const PixelRows& rows, bool jpeg, IStream& stream) {
    const auto factory = imagingFactory();
    auto encoder = made<IWICBitmapEncoder>([&](IWICBitmapEncoder** address) {
        return factory->CreateEncoder(jpeg ? GUID_ContainerFormatJpeg : GUID_ContainerFormatPng,
                                      nullptr, address);
    });
    if (encoder == nullptr || FAILED(encoder->Initialize(&stream, WICBitmapEncoderNoCache)))
        return false;
    IWICBitmapFrameEncode* made = nullptr;
    IPropertyBag2* bag = nullptr;
    if (FAILED(encoder->CreateNewFrame(&made, &bag))) return false;
    const ComObject<IWICBitmapFrameEncode> frame(made);
    const ComObject<IPropertyBag2> options(bag);
    if (jpeg && !setQuality(*options)) return false;
    const GUID& wanted = formatOf(jpeg ? 24 : rows.bits);
    WICPixelFormatGUID format = wanted;
    return SUCCEEDED(frame->Initialize(options.get())) &&
           SUCCEEDED(frame->SetSize(rows.width, rows.height)) &&
           SUCCEEDED(frame->SetPixelFormat(&format)) && IsEqualGUID(format, wanted) != FALSE &&
           (jpeg || setPalette(*factory, rows, *frame)) && writeRows(rows, jpeg, *frame) &&
           SUCCEEDED(frame->Commit()) && SUCCEEDED(encoder->Commit());
}

int writeAs(bool jpeg, const PixelRows& rows, std::FILE* file) {
    const auto stream = made<IStream>(
        [](IStream** address) { return CreateStreamOnHGlobal(nullptr, TRUE, address); });
    if (stream == nullptr) return ENOMEM;
    if (!encode(rows, jpeg, *stream)) return EIO;
    STATSTG status = {};
    HGLOBAL memory = nullptr;
    if (FAILED(stream->Stat(&status, STATFLAG_NONAME)) ||
        FAILED(GetHGlobalFromStream(stream.get(), &memory)))
        return EIO;
    const auto length = static_cast<size_t>(status.cbSize.QuadPart);
    const void* bytes = GlobalLock(memory);
    const bool written =
        bytes != nullptr && std::fwrite(bytes, 1, length, file) == length && std::fflush(file) == 0;
    const int error = errno;
    GlobalUnlock(memory);
    return written ? 0 : error;
}

}  // namespace

int writePng(const PixelRows& rows, std::FILE* file) {
    return writeAs(false, rows, file);
}

int writeJpeg(const PixelRows& rows, std::FILE* file) {
    return writeAs(true, rows, file);
}

}  // namespace tool
