#include "gallery/card.h"

#include <cstdio>

#include "gallery/figures.h"
#include "gallery/html.h"
#include "gallery/shots.h"

namespace tool {
namespace {

std::string swatchesOf(const std::vector<Color>& palette) {
    if (palette.empty()) return "";
    std::string html = "<ul class=\"palette";
    html += palette.size() <= 16 ? " few\"" : "\"";
    html += " aria-label=\"Palette of " + std::to_string(palette.size()) + " colours\">";
    for (size_t i = 0; i < palette.size(); ++i) {
        char color[8];
        std::snprintf(color, sizeof color, "#%02X%02X%02X", palette[i].red, palette[i].green,
                      palette[i].blue);
        html += "<li style=\"background:" + std::string(color) + "\" title=\"" + std::to_string(i) +
                ": " + color + "\"></li>";
    }
    return html + "</ul>\n";
}

// A line ends between two options, not inside one.
std::string codeOf(const std::string& options) {
    std::string html = "<code><span>" + escaped(options);
    const std::string gap = " --";
    for (size_t at = html.find(gap); at != std::string::npos; at = html.find(gap, at)) {
        const std::string ends = "</span> <span>--";
        html.replace(at, gap.size(), ends);
        at += ends.size();
    }
    return html + "</span></code>";
}

std::string figure(const std::string& name, const std::string& value) {
    return "<div><dt>" + name + "</dt><dd>" + value + "</dd></div>";
}

std::string figuresOf(const AlbumFile& file) {
    const Likeness& likeness = file.likeness;
    const std::string greys = likeness.ofGreys ? " of greys" : "";
    return "<dl>" + figure("PSNR" + greys, decibelText(likeness.plain, likeness.sameColors)) +
           figure("blurred", decibelText(likeness.blurred, likeness.sameColors)) +
           figure("bytes", grouped(file.bytes)) + figure("export", timeText(file.seconds)) +
           "</dl>\n";
}

}  // namespace

std::string cardText(const Album& album, const Chapter& chapter, const Card& card) {
    const AlbumFile& file = chapter.files[card.file];
    const std::string what = chapter.title + ", " + card.title;
    std::string html = "<article class=\"card\" data-file=\"" + escaped(file.name) + "\">\n<h3>" +
                       escaped(card.title) + "</h3>\n<p class=\"options\">" + codeOf(file.options) +
                       "</p>\n";
    html += shotsOf(album, card.shot, card.original, what);
    html += "<button type=\"button\" hidden>Hold to see the source<span class=\"unseen\">, " +
            escaped(what) + "</span></button>\n";
    html += figuresOf(file);
    if (!card.note.empty()) {
        html += "<p class=\"" + std::string(card.lost ? "lost" : "note") + "\">" +
                escaped(card.note) + "</p>\n";
    }
    return html + swatchesOf(card.palette) + "</article>\n";
}

}  // namespace tool
