#include "gallery/gallery_page.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "gallery/gallery_look.h"
#include "gallery/html.h"

namespace tool {
namespace {

std::string fixed(double number, int digits) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", digits, number);
    return text;
}

// 308278 as 308 278, with a narrow space that no line ends at.
std::string grouped(uint64_t number) {
    std::string digits = std::to_string(number);
    for (size_t at = digits.size(); at > 3;) {
        at -= 3;
        digits.insert(at, "&#8239;");
    }
    return digits;
}

std::string bitsText(unsigned bits) {
    return std::to_string(bits) + (bits == 1 ? " bit" : " bits");
}

const char* rowsText(Compression compression) {
    switch (compression) {
        case Compression::Native:
            return "native run lengths";
        case Compression::Portable:
            return "portable run lengths";
        default:
            return "raw";
    }
}

std::string anchorOf(const GalleryPicture& picture, size_t index) {
    return "p" + std::to_string(index) + "-" + std::to_string(picture.bits);
}

std::string imageOf(const std::string& address, const char* kind, const std::string& what) {
    return "<img class=\"" + std::string(kind) + "\" alt=\"" + escaped(what) +
           "\" draggable=\"false\" src=\"" + address + "\">";
}

// Small pictures are enlarged pixel by pixel, reduced ones smoothly.
std::string shotsOf(const Gallery& gallery, const Shot& shot, const std::string& what) {
    const bool enlarged = gallery.factor == 1 && gallery.width <= 400;
    std::string html = "<div class=\"shots\">\n<figure" +
                       std::string(enlarged ? " class=\"pixels\"" : "") + ">" +
                       imageOf(shot.whole, "whole", what) + "<figcaption>" +
                       (gallery.factor == 1
                            ? "whole picture"
                            : "whole picture, reduced " + std::to_string(gallery.factor) + " : 1") +
                       "</figcaption></figure>\n";
    if (!shot.detail.empty()) {
        html += "<figure class=\"pixels\">" + imageOf(shot.detail, "detail", what + ", detail") +
                "<figcaption>its middle, enlarged</figcaption></figure>\n";
    }
    return html + "</div>\n";
}

std::string noiseText(double decibels) {
    return std::isinf(decibels) ? "identical" : fixed(decibels, 2) + "&nbsp;dB";
}

std::string rowOf(const GalleryPicture& picture, const GalleryFile& file, uint64_t largest) {
    const double share = 100.0 * static_cast<double>(file.bytes) / static_cast<double>(largest);
    return "<tr data-file=\"" + escaped(file.name) + "\" data-psnr=\"" +
           (std::isinf(picture.signalToNoise) ? "identical" : fixed(picture.signalToNoise, 6)) +
           "\"><td><a href=\"" + addressOf(file.name) + "\">" + escaped(file.name) +
           "</a></td><td>" + (file.flavour == Flavour::Os2 ? "OS/2" : "Windows") + "</td><td>" +
           rowsText(file.compression) + "</td><td>" +
           (file.route == Route::Driver ? "driver" : "filter") +
           "</td><td class=\"number size\" style=\"--share:" + fixed(share, 1) + "%\">" +
           grouped(file.bytes) + "</td><td class=\"number\">" + noiseText(picture.signalToNoise) +
           "</td><td class=\"number\">" + fixed(file.seconds * 1000, 1) + "&nbsp;ms</td></tr>\n";
}

std::string tableOf(const GalleryPicture& picture, uint64_t largest) {
    std::string html =
        "<div class=\"scroll\"><table>\n<thead><tr><th>File</th><th>Header</th><th>Rows</th>"
        "<th>Route</th><th class=\"number\">Bytes</th><th class=\"number\">PSNR</th>"
        "<th class=\"number\">Export</th></tr></thead>\n<tbody>\n";
    for (const GalleryFile& file : picture.files) html += rowOf(picture, file, largest);
    return html + "</tbody></table></div>\n";
}

std::string swatchesOf(const std::vector<Color>& palette) {
    if (palette.empty()) return "";
    std::string html = "<ul class=\"palette";
    html += palette.size() <= 16 ? " few\">" : "\">";
    for (size_t i = 0; i < palette.size(); ++i) {
        char color[8];
        std::snprintf(color, sizeof color, "#%02X%02X%02X", palette[i].red, palette[i].green,
                      palette[i].blue);
        html += "<li style=\"background:" + std::string(color) + "\" title=\"" + std::to_string(i) +
                ": " + color + "\"></li>";
    }
    return html + "</ul>\n";
}

std::string colorsText(unsigned bits) {
    return bits == 24 ? "true colour" : std::to_string(1u << bits) + " colours";
}

std::string headingOf(const GalleryPicture& picture) {
    return "<h2>" + bitsText(picture.bits) + "<small>" + colorsText(picture.bits) +
           (picture.first ? "" : ", colours lost") + "</small></h2>\n";
}

constexpr char kLostColors[] =
    "<p class=\"note\">These pixels are not those of the raw files: the OS/2 header has no place "
    "for the encoded length, which overwrites entries 2 and 3 of the palette.</p>\n";

std::string articleOf(const Gallery& gallery, size_t index, uint64_t largest) {
    const GalleryPicture& picture = gallery.pictures[index];
    return "<article class=\"result\" id=\"" + anchorOf(picture, index) + "\">\n" +
           headingOf(picture) + (picture.first ? "" : kLostColors) +
           shotsOf(gallery, picture.shot, gallery.sourceName + " at " + bitsText(picture.bits)) +
           "<button type=\"button\">Hold to see the source</button>\n" + tableOf(picture, largest) +
           swatchesOf(picture.palette) + "</article>\n";
}

uint64_t largestFile(const Gallery& gallery) {
    uint64_t largest = 1;
    for (const GalleryPicture& picture : gallery.pictures) {
        for (const GalleryFile& file : picture.files) largest = std::max(largest, file.bytes);
    }
    return largest;
}

std::string headerOf(const Gallery& gallery) {
    std::string html = "<header>\n<h1>" + escaped(gallery.sourceName) + "</h1>\n<p>" +
                       std::to_string(gallery.width) + " &times; " +
                       std::to_string(gallery.height) + " pixels, " + bitsText(gallery.bits) +
                       ", as every kind of BMP file that tivar writes</p>\n<nav>";
    for (size_t i = 0; i < gallery.pictures.size(); ++i) {
        const GalleryPicture& picture = gallery.pictures[i];
        if (!picture.first) continue;
        html += "<a href=\"#" + anchorOf(picture, i) + "\">" + bitsText(picture.bits) + "</a>";
    }
    return html + "</nav>\n</header>\n";
}

std::string sourceOf(const Gallery& gallery) {
    return "<article class=\"source\">\n<h2>Source</h2>\n" +
           shotsOf(gallery, gallery.source, gallery.sourceName) + "</article>\n";
}

constexpr char kFooter[] =
    "<footer><p>PSNR compares the colours of all pixels with the source; a source of an odd height "
    "counts with its rows stretched to the even one that the files have. Times are of the export "
    "without reading the source. Files with native run lengths are shown through tivar decode: few "
    "other programs open them.</p></footer>\n";

}  // namespace

std::string galleryPage(const Gallery& gallery) {
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>" +
        escaped(gallery.sourceName) + " &middot; tivar</title>\n<style>" + kGalleryStyle +
        "</style>\n</head>\n<body>\n" + headerOf(gallery) + "<main>\n" + sourceOf(gallery) +
        "<div>\n";
    const uint64_t largest = largestFile(gallery);
    for (size_t i = 0; i < gallery.pictures.size(); ++i) html += articleOf(gallery, i, largest);
    return html + "</div>\n</main>\n" + kFooter + "<script>" + kGalleryScript +
           "</script>\n</body>\n</html>\n";
}

}  // namespace tool
