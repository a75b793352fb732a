#include "gallery/gallery.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "bmp/bmp_rows.h"
#include "bmp/read_bytes.h"
#include "export/read_picture.h"
#include "export/run_job.h"
#include "export/scaling.h"
#include "gallery/compare.h"
#include "gallery/gallery_page.h"
#include "gallery/preview.h"
#include "process/failure.h"
#include "process/output.h"
#include "process/progress.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr uint32_t kDetailWidth = 160;
constexpr uint32_t kDetailHeight = 100;

struct Variant {
    uint16_t bits;
    Flavour flavour;
    Compression compression;
    Route route;
};

// Every form that there is; the raster driver, which makes the same files, takes part once.
std::vector<Variant> allVariants() {
    std::vector<Variant> variants;
    for (const uint16_t bits : std::array<uint16_t, 4>{24, 8, 4, 1}) {
        const bool encodable = bits == 8 || bits == 4;
        for (const Flavour flavour : {Flavour::Windows, Flavour::Os2}) {
            variants.push_back({bits, flavour, Compression::None, Route::Filter});
            if (encodable) variants.push_back({bits, flavour, Compression::Native, Route::Filter});
            if (encodable && flavour == Flavour::Windows) {
                variants.push_back({bits, flavour, Compression::Portable, Route::Filter});
            }
        }
        if (bits == 8)
            variants.push_back({bits, Flavour::Windows, Compression::None, Route::Driver});
    }
    return variants;
}

std::string fileName(const std::string& input, const Variant& variant) {
    std::string name = fs::path(input).stem().string() + "-" + std::to_string(variant.bits) +
                       (variant.flavour == Flavour::Os2 ? "-os2" : "-windows");
    if (variant.compression == Compression::Native) name += "-native";
    if (variant.compression == Compression::Portable) name += "-portable";
    if (variant.route == Route::Driver) name += "-driver";
    return name + ".bmp";
}

ExportRequest requestFor(const Variant& variant, const ExportRequest& asked) {
    ExportRequest request = asked;
    request.bits = variant.bits;
    request.flavour = variant.flavour;
    request.compression = variant.compression;
    request.route = variant.route;
    request.force = true;
    return request;
}

Shot shotOf(const PixelRows& rows, uint32_t factor) {
    Shot shot;
    shot.whole = dataAddress(reduced(rows, factor));
    if (rows.width > 2 * kDetailWidth || rows.height > 2 * kDetailHeight) {
        shot.detail = dataAddress(middle(rows, kDetailWidth, kDetailHeight));
    }
    return shot;
}

// The files have even heights, with rows repeated as the library's scaler does it.
void makeEven(const Library& library, Picture& picture) {
    const uint32_t height = evenHeight(picture.height);
    if (height != picture.height) scaleTo(library, picture, {picture.width, height});
}

// A file that is in the gallery already, whose pixels others may share.
struct Shown {
    std::shared_ptr<const BmpFile> file;
    size_t picture;  // in the gallery
};

GalleryPicture pictureOf(const BmpFile& file, const PixelRows& rows, const PixelRows& source,
                         uint32_t factor) {
    GalleryPicture picture;
    picture.bits = file.bits;
    picture.shot = shotOf(rows, factor);
    picture.palette = file.palette;
    picture.signalToNoise = signalToNoise(meanSquaredError(rows, source));
    return picture;
}

// The gallery's picture with the file's pixels, a new one if there is none. Only files of the same
// depth are worth looking at.
GalleryPicture& placeFor(Gallery& gallery, std::vector<Shown>& shown, const std::string& path,
                         const PixelRows& source) {
    auto file = std::make_shared<const BmpFile>(parseBmp(readBmpBytes(path)));
    const PixelRows rows = rowsOf(*file, {});
    if (!shown.empty() && shown.front().file->bits != file->bits) shown.clear();
    for (const Shown& other : shown) {
        if (meanSquaredError(rows, rowsOf(*other.file, {})) == 0) {
            return gallery.pictures[other.picture];
        }
    }
    gallery.pictures.push_back(pictureOf(*file, rows, source, gallery.factor));
    gallery.pictures.back().first = shown.empty();
    shown.push_back({std::move(file), gallery.pictures.size() - 1});
    return gallery.pictures.back();
}

void exportAll(const Library& library, const GalleryRequest& request, const PixelRows& source,
               Gallery& gallery) {
    std::vector<Shown> shown;
    for (const Variant& variant : allVariants()) {
        const std::string name = fileName(request.input, variant);
        const std::string path = (fs::path(request.directory) / name).string();
        const Exported exported =
            runJob(library, {request.input, path}, requestFor(variant, request.each), true);
        placeFor(gallery, shown, path, source)
            .files.push_back({name, variant.flavour, variant.compression, variant.route,
                              exported.bytes, exported.seconds});
    }
}

void writePage(const Gallery& gallery, const std::string& path) {
    const std::string page = galleryPage(gallery);
    Output output(path, Descriptor());
    const int error = writeAll(output.file.number, page.data(), page.size());
    if (error != 0) failErrno(output.name, error);
    commit(output);
}

void makeDirectory(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error) failErrno(path, error.value());
    if (!fs::is_directory(path, error)) failErrno(path, ENOTDIR);
}

}  // namespace

void makeGallery(const Library& library, const GalleryRequest& request) {
    if (request.input == "-") failUsage("a gallery is named after its picture", "name a file");
    const std::string page = (fs::path(request.directory) / "index.html").string();
    refuseOwnInput(request.input, page, "name another directory with -o");
    Picture picture = pictureOf(library, readPicture(request.input, request.each.reading),
                                request.each.background.value_or(Color{}));
    Gallery gallery;
    gallery.sourceName = fs::path(request.input).filename().string();
    gallery.width = picture.width;
    gallery.height = picture.height;
    gallery.bits = picture.bits;
    gallery.factor = previewFactor(picture.width, picture.height);
    makeEven(library, picture);
    makeDirectory(request.directory);
    const PixelRows source = rowsOf(picture);
    gallery.source = shotOf(source, gallery.factor);
    exportAll(library, request, source, gallery);
    writePage(gallery, page);
    Progress progress(request.input, request.each.quiet, true);
    showResult(progress, page);
}

}  // namespace tool
