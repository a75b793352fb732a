#include "gallery.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "bmp_rows.h"
#include "compare.h"
#include "failure.h"
#include "gallery_page.h"
#include "input_file.h"
#include "output.h"
#include "preview.h"
#include "progress.h"
#include "run_job.h"
#include "scaling.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr uint32_t kDetailWidth = 160;
constexpr uint32_t kDetailHeight = 100;

struct Variant {
    uint16_t bits;
    bool os2;
    Compression compression;
    Route route;
};

// Every form that there is; the raster driver, which makes the same files, takes part once.
std::vector<Variant> allVariants() {
    std::vector<Variant> variants;
    for (const uint16_t bits : std::array<uint16_t, 4>{24, 8, 4, 1}) {
        const bool encodable = bits == 8 || bits == 4;
        for (const bool os2 : {false, true}) {
            variants.push_back({bits, os2, Compression::None, Route::Filter});
            if (encodable) variants.push_back({bits, os2, Compression::Native, Route::Filter});
            if (encodable && !os2) {
                variants.push_back({bits, os2, Compression::Portable, Route::Filter});
            }
        }
        if (bits == 8) variants.push_back({bits, false, Compression::None, Route::Driver});
    }
    return variants;
}

std::string fileName(const std::string& input, const Variant& variant) {
    std::string name = fs::path(input).stem().string() + "-" + std::to_string(variant.bits) +
                       (variant.os2 ? "-os2" : "-windows");
    if (variant.compression == Compression::Native) name += "-native";
    if (variant.compression == Compression::Portable) name += "-portable";
    if (variant.route == Route::Driver) name += "-driver";
    return name + ".bmp";
}

ExportRequest requestFor(const Variant& variant, const ExportRequest& asked) {
    ExportRequest request = asked;
    request.bits = variant.bits;
    request.os2 = variant.os2;
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
    const PixelRows rows = rowsOf(*file);
    if (!shown.empty() && shown.front().file->bits != file->bits) shown.clear();
    for (const Shown& other : shown) {
        if (meanSquaredError(rows, rowsOf(*other.file)) == 0) {
            return gallery.pictures[other.picture];
        }
    }
    gallery.pictures.push_back(pictureOf(*file, rows, source, gallery.factor));
    gallery.pictures.back().first = shown.empty();
    shown.push_back({std::move(file), gallery.pictures.size() - 1});
    return gallery.pictures.back();
}

void exportAll(const Library& library, const Options& options, const PixelRows& source,
               Gallery& gallery) {
    std::vector<Shown> shown;
    for (const Variant& variant : allVariants()) {
        const std::string name = fileName(options.input, variant);
        const std::string path = (fs::path(options.out) / name).string();
        const Exported exported =
            runJob(library, {options.input, path}, requestFor(variant, options.request), true);
        placeFor(gallery, shown, path, source)
            .files.push_back({name, variant.os2, variant.compression, variant.route, exported.bytes,
                              exported.seconds});
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

void makeGallery(const Library& library, const Options& options) {
    if (options.input == "-") failUsage("a gallery is named after its picture", "name a file");
    const std::string page = (fs::path(options.out) / "index.html").string();
    refuseOwnInput(options.input, page, "name another directory with -o");
    Picture picture = readPicture(library, options.input, options.request.background);
    Gallery gallery;
    gallery.sourceName = fs::path(options.input).filename().string();
    gallery.width = picture.width;
    gallery.height = picture.height;
    gallery.bits = picture.bits;
    gallery.factor = previewFactor(picture.width, picture.height);
    makeEven(library, picture);
    makeDirectory(options.out);
    const PixelRows source = rowsOf(picture);
    gallery.source = shotOf(source, gallery.factor);
    exportAll(library, options, source, gallery);
    writePage(gallery, page);
    Progress progress(options.input, options.request.quiet, true);
    showResult(progress, page);
}

}  // namespace tool
