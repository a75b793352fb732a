#include "gallery/collect.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "bmp/bmp_rows.h"
#include "bmp/read_bytes.h"
#include "export/run_job.h"
#include "gallery/over.h"
#include "gallery/references.h"
#include "gallery/variants.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

// A picture that is in the chapter already, whose pixels others may share.
struct Known {
    std::shared_ptr<const BmpFile> file;
    std::string title;
    Shot shot;
    Likeness likeness;
};

struct Collection {
    const Library& library;
    const GalleryRequest& request;
    const Image& source;
    Color background;
    const References& references;
    Shot evenShot{};
    Album album{};
    std::vector<Known> known{};
};

size_t placeOf(Album& album, Preview preview) {
    std::vector<Preview>& previews = album.previews;
    const auto found = std::find(previews.begin(), previews.end(), preview);
    const auto place = static_cast<size_t>(found - previews.begin());
    if (found == previews.end()) previews.push_back(std::move(preview));
    return place;
}

Shot shotOf(Album& album, const PixelRows& rows) {
    Shot shot;
    shot.whole = placeOf(album, previewOf(rows, album.scale));
    if (deservesDetail(album.scale)) shot.detail = placeOf(album, detailOf(rows));
    return shot;
}

PixelRows rowsIn(const BmpFile& file, Color background) {
    ReadRequest any;
    any.limitPixels = UINT64_MAX;
    any.longestSide = UINT64_MAX;
    return over(rowsOf(file, any), background);
}

std::string withoutSuffix(const std::string& input) {
    return fs::path(input).stem().string();
}

AlbumFile exportAs(Collection& collection, const Variant& variant) {
    const GalleryRequest& request = collection.request;
    AlbumFile file;
    file.name = withoutSuffix(request.input) + "-" + nameOf(variant) + ".bmp";
    file.route = routeName(variant.route);
    file.options = optionsOf(variant);
    Job job{request.input, (fs::path(request.directory) / file.name).string()};
    job.image = &collection.source;
    const Exported exported =
        runJob(collection.library, job, requestFor(variant, request.each), true);
    file.bytes = exported.bytes;
    file.seconds = exported.seconds;
    return file;
}

// The picture with the file's pixels, and whether it is a new one. One bit for a pixel and greys
// are measured in another way than colours, however alike the pixels are.
std::pair<const Known*, bool> knownFor(Collection& collection, const Variant& variant,
                                       std::shared_ptr<const BmpFile> file) {
    const PixelRows rows = rowsIn(*file, collection.background);
    const bool asGreys = comparesGreys(rows);
    for (const Known& known : collection.known) {
        const bool alike = known.likeness.ofGreys == asGreys &&
                           haveSameColors(rows, rowsIn(*known.file, collection.background));
        if (alike) return {&known, false};
    }
    const PixelRows& original = collection.references.ofHeight(rows.height);
    Known fresh{std::move(file), variant.title, shotOf(collection.album, rows),
                likenessOf(rows, original, asGreys)};
    collection.known.push_back(std::move(fresh));
    return {&collection.known.back(), true};
}

constexpr char kLostColors[] =
    "These pixels are not those of the raw file: the OS/2 header has no place for the encoded "
    "length, which overwrites entries 2 and 3 of the palette.";

// The palette is that of the file, which can differ where its pixels do not.
Card cardOf(const Collection& collection, const Variant& variant, const BmpFile& file,
            const Known& known, bool isNew) {
    const bool lost = variant.flavour == Flavour::Os2 && variant.compression == Compression::Native;
    Card card;
    card.title = variant.title;
    if (card.title.empty()) card.title = lost ? "Filter route, colours lost" : nameOf(variant);
    card.lost = lost;
    card.shot = known.shot;
    const bool stretched = file.rows != collection.source.height;
    card.original = stretched ? collection.evenShot : collection.album.source;
    card.palette = file.palette;
    if (lost) card.note = kLostColors;
    if (!isNew) card.note = "The same pixels as \"" + known.title + "\".";
    return card;
}

void addVariant(Collection& collection, Chapter& chapter, const Variant& variant) {
    AlbumFile entry = exportAs(collection, variant);
    const std::string path = (fs::path(collection.request.directory) / entry.name).string();
    const auto file = std::make_shared<const BmpFile>(parseBmp(readBmpBytes(path)));
    const auto [known, isNew] = knownFor(collection, variant, file);
    entry.likeness = known->likeness;
    if (isNew || !variant.title.empty()) {
        chapter.cards.push_back(cardOf(collection, variant, *file, *known, isNew));
        chapter.cards.back().file = chapter.files.size();
    }
    chapter.files.push_back(std::move(entry));
}

std::string depthText(const Image& source) {
    const PixelFormat format = source.format;
    const bool grey = format == PixelFormat::Grey || format == PixelFormat::GreyAlpha;
    const unsigned bits = isIndexed(format) ? bitsOf(format) : grey ? 8 : 24;
    const bool alpha =
        format == PixelFormat::GreyAlpha || format == PixelFormat::Rgba || !source.alphas.empty();
    return std::to_string(bits) + (bits == 1 ? " bit" : " bits") + (alpha ? " with alpha" : "");
}

Album describe(const GalleryRequest& request, const Image& source) {
    Album album;
    album.sourceName = fs::path(request.input).filename().string();
    album.width = source.width;
    album.height = source.height;
    album.depth = depthText(source);
    album.scale = previewScale(source.width, source.height);
    return album;
}

}  // namespace

Album collect(const Library& library, const GalleryRequest& request, const Image& source) {
    const Color background = request.each.background.value_or(Color{});
    const References references(library, source, background);
    Collection collection{library, request, source, background, references};
    Album& album = collection.album;
    album = describe(request, source);
    album.source = shotOf(album, references.own());
    collection.evenShot = shotOf(album, references.even());
    for (const VariantChapter& variants : variantChapters()) {
        Chapter chapter{variants.anchor, variants.title, variants.subtitle, {}, {}};
        collection.known.clear();
        for (const Variant& variant : variants.variants) {
            addVariant(collection, chapter, variant);
        }
        // The routes stand side by side, the choices behind them, and last what went wrong.
        std::stable_partition(chapter.cards.begin(), chapter.cards.end(),
                              [](const Card& card) { return !card.lost; });
        album.chapters.push_back(std::move(chapter));
    }
    return std::move(album);
}

}  // namespace tool
