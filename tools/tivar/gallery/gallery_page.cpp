#include "gallery/gallery_page.h"

#include <algorithm>

#include "gallery/card.h"
#include "gallery/file_table.h"
#include "gallery/gallery_look.h"
#include "gallery/html.h"
#include "gallery/shots.h"

namespace tool {
namespace {

// Tells a gallery from other pages.
constexpr char kTitleEnd[] = " &middot; tivar</title>";

uint64_t largestFile(const Album& album) {
    uint64_t largest = 1;
    for (const Chapter& chapter : album.chapters) {
        for (const AlbumFile& file : chapter.files) largest = std::max(largest, file.bytes);
    }
    return largest;
}

std::string headerOf(const Album& album) {
    std::string html = "<header>\n<h1>" + escaped(album.sourceName) + "</h1>\n<p>" +
                       std::to_string(album.width) + " &times; " + std::to_string(album.height) +
                       " pixels, " + album.depth +
                       ", as every kind of BMP file that tivar writes</p>\n"
                       "<nav aria-label=\"Depths\">";
    for (const Chapter& chapter : album.chapters) {
        html += "<a href=\"#" + chapter.anchor + "\">" + escaped(chapter.title) + "</a>\n";
    }
    return html + "</nav>\n</header>\n";
}

constexpr char kLegend[] = R"html(<article class="legend">
<h2>How to read it</h2>
<p>For every depth the three routes stand side by side: the filter's export call, the raster driver,
which makes the same files, and the direct interface, the default of tivar export. Then come the
choices that only the direct route has. Hold a button, by mouse, finger, Space or Enter, or a picture by
mouse, to see the source in place of a result.</p>
<dl>
<dt>PSNR</dt><dd>The peak signal-to-noise ratio against the source, in decibels: over red, green and
blue of all pixels. At 1 bit, and of files that have nothing but greys, both pictures are
compared as greys.</dd>
<dt>Blurred</dt><dd>The same after a Gaussian blur of radius 2 of both pictures, which stands for looking
from a distance; that is what dithering is for. It is the measure by which tivar is compared with other
tools, to the bit.</dd>
<dt>Odd heights</dt><dd>The filter and the driver write even ones: their files are compared with a
source whose rows are stretched to that, those of the direct route with the source itself.</dd>
<dt>Export</dt><dd>The time of one export, without reading the source.</dd>
</dl>
)html";

std::string shotText(const Album& album) {
    const auto [factor, enlarged] = album.scale;
    std::string text = "Pictures are shown ";
    text += factor > 1     ? "reduced " + std::to_string(factor) + " : 1"
            : enlarged > 1 ? "enlarged 1 : " + std::to_string(enlarged)
                           : "pixel by pixel";
    if (album.source.detail) text += ", with the very pixels of their middle below, enlarged";
    return "<p>" + text +
           ". Transparent pixels lie over the background. Files with native run lengths are "
           "shown through tivar decode: few other programs open them.</p>\n</article>\n";
}

std::string introductionOf(const Album& album) {
    return "<div class=\"cards\">\n<article class=\"source\">\n<h2>Source</h2>\n" +
           shotsOf(album, album.source, album.source, album.sourceName) + "</article>\n" + kLegend +
           shotText(album) + "</div>\n";
}

std::string chapterText(const Album& album, const Chapter& chapter, uint64_t largest) {
    std::string html = "<section id=\"" + chapter.anchor + "\">\n<h2>" + escaped(chapter.title) +
                       " <small>" + escaped(chapter.subtitle) + "</small></h2>\n" +
                       "<div class=\"cards\">\n";
    for (const Card& card : chapter.cards) html += cardText(album, chapter, card);
    return html + "</div>\n" + fileTable(chapter, largest) + "</section>\n";
}

}  // namespace

bool isGalleryPage(std::string_view start) {
    return start.find(kTitleEnd) != std::string_view::npos;
}

std::string galleryPage(const Album& album) {
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>" +
        escaped(album.sourceName) + kTitleEnd + "\n<style>" + kGalleryStyle +
        "</style>\n</head>\n<body>\n" + storeOf(album) + headerOf(album) + "<main>\n" +
        introductionOf(album);
    const uint64_t largest = largestFile(album);
    for (const Chapter& chapter : album.chapters) html += chapterText(album, chapter, largest);
    return html + "</main>\n<script>" + kGalleryScript + "</script>\n</body>\n</html>\n";
}

}  // namespace tool
