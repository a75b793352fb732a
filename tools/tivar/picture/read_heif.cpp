// HEIF and AVIF, where libheif was there when the program was built and is when it runs.

#ifdef TIVAR_HEIF_LIBRARY

#include <libheif/heif.h>

#include <algorithm>
#include <memory>
#include <string>

#include "picture/lazy_library.h"
#include "picture/readers.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

struct HeifLibrary {
    decltype(&::heif_context_alloc) allocate{};
    decltype(&::heif_context_free) free{};
    decltype(&::heif_context_read_from_memory_without_copy) read{};
    decltype(&::heif_context_get_number_of_top_level_images) countImages{};
    decltype(&::heif_context_get_primary_image_handle) primaryImage{};
    decltype(&::heif_image_handle_release) releaseHandle{};
    decltype(&::heif_image_handle_get_width) width{};
    decltype(&::heif_image_handle_get_height) height{};
    decltype(&::heif_image_handle_has_alpha_channel) hasAlpha{};
    decltype(&::heif_image_handle_get_raw_color_profile_size) profileSize{};
    decltype(&::heif_image_handle_get_raw_color_profile) profile{};
    decltype(&::heif_decoding_options_alloc) allocateOptions{};
    decltype(&::heif_decoding_options_free) freeOptions{};
    decltype(&::heif_decode_image) decode{};
    decltype(&::heif_image_release) releaseImage{};
    decltype(&::heif_image_get_width) decodedWidth{};
    decltype(&::heif_image_get_height) decodedHeight{};
    decltype(&::heif_image_get_plane_readonly) plane{};
};

HeifLibrary loadHeif() {
    constexpr char kName[] = TIVAR_HEIF_LIBRARY;
    void* module = loadLazily(kName, "HEIF");
    HeifLibrary heif;
    const auto bind = [&](const char* name, auto& function) {
        bindLazily(module, kName, name, function);
    };
    bind("heif_context_alloc", heif.allocate);
    bind("heif_context_free", heif.free);
    bind("heif_context_read_from_memory_without_copy", heif.read);
    bind("heif_context_get_number_of_top_level_images", heif.countImages);
    bind("heif_context_get_primary_image_handle", heif.primaryImage);
    bind("heif_image_handle_release", heif.releaseHandle);
    bind("heif_image_handle_get_width", heif.width);
    bind("heif_image_handle_get_height", heif.height);
    bind("heif_image_handle_has_alpha_channel", heif.hasAlpha);
    bind("heif_image_handle_get_raw_color_profile_size", heif.profileSize);
    bind("heif_image_handle_get_raw_color_profile", heif.profile);
    bind("heif_decoding_options_alloc", heif.allocateOptions);
    bind("heif_decoding_options_free", heif.freeOptions);
    bind("heif_decode_image", heif.decode);
    bind("heif_image_release", heif.releaseImage);
    bind("heif_image_get_width", heif.decodedWidth);
    bind("heif_image_get_height", heif.decodedHeight);
    bind("heif_image_get_plane_readonly", heif.plane);
    return heif;
}

// What the library gives is freed by a function of its own.
template <class Value>
using Owned = std::unique_ptr<Value, void (*)(Value*)>;

void require(const heif_error& error) {
    if (error.code == heif_error_Ok) return;
    fail(std::string("the picture is damaged or cut short (") + error.message + ")",
         "get a complete copy of it");
}

using Handle = std::unique_ptr<heif_image_handle, void (*)(const heif_image_handle*)>;
using Decoded = std::unique_ptr<heif_image, void (*)(const heif_image*)>;

Decoded decode(const HeifLibrary& library, const Handle& handle, const ReadRequest& request) {
    const Owned<heif_decoding_options> options(library.allocateOptions(), library.freeOptions);
    options->ignore_transformations = request.orient ? 0 : 1;
    options->convert_hdr_to_8bit = 1;
    const bool alpha = library.hasAlpha(handle.get()) != 0;
    heif_image* image = nullptr;
    require(library.decode(handle.get(), &image, heif_colorspace_RGB,
                           alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB,
                           options.get()));
    return {image, library.releaseImage};
}

Image copied(const HeifLibrary& library, const Decoded& decoded, bool alpha,
             const ReadRequest& request) {
    const int width = library.decodedWidth(decoded.get(), heif_channel_interleaved);
    const int height = library.decodedHeight(decoded.get(), heif_channel_interleaved);
    Image image = newImage(request, alpha ? PixelFormat::Rgba : PixelFormat::Rgb,
                           static_cast<uint64_t>(width), static_cast<uint64_t>(height));
    int stride = 0;
    const uint8_t* row = library.plane(decoded.get(), heif_channel_interleaved, &stride);
    for (uint32_t y = 0; y < image.height; ++y, row += stride) {
        std::copy_n(row, size_t{image.width} * (alpha ? 4 : 3), rowAt(image, y));
    }
    return image;
}

// Before anything is decoded.
void checkClaim(const HeifLibrary& library, const Handle& handle, const ReadRequest& request) {
    const auto pixels = static_cast<uint64_t>(library.width(handle.get())) *
                        static_cast<uint64_t>(library.height(handle.get()));
    if (pixels > request.limitPixels) {
        fail("has " + std::to_string(pixels) + " pixels, more than the limit of " +
                 std::to_string(request.limitPixels),
             "raise it with --limit-pixels if you trust the file");
    }
}

}  // namespace

Image readHeif(std::FILE* file, const ReadRequest& request) {
    static const HeifLibrary library = loadHeif();
    const std::vector<uint8_t> bytes = readAll(file);
    const Owned<heif_context> context(library.allocate(), library.free);
    require(library.read(context.get(), bytes.data(), bytes.size(), nullptr));
    heif_image_handle* primary = nullptr;
    require(library.primaryImage(context.get(), &primary));
    const Handle handle(primary, library.releaseHandle);
    checkClaim(library, handle, request);
    const Decoded decoded = decode(library, handle, request);
    Image image = copied(library, decoded, library.hasAlpha(handle.get()) != 0, request);
    image.profile.resize(library.profileSize(handle.get()));
    if (!image.profile.empty()) require(library.profile(handle.get(), image.profile.data()));
    if (library.countImages(context.get()) > 1) image.notices.push_back(severalPictures());
    return image;
}

}  // namespace tool

#endif
