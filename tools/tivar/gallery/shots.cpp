#include "gallery/shots.h"

#include "gallery/html.h"

namespace tool {
namespace {

std::string idOf(size_t preview) {
    return "s" + std::to_string(preview);
}

std::string pictureOf(const Album& album, size_t shown, size_t original, const std::string& what) {
    const Preview& preview = album.previews[shown];
    const std::string width = std::to_string(preview.width);
    const std::string height = std::to_string(preview.height);
    std::string html = "<svg class=\"shot";
    html += preview.enlarged > 1 ? " pixels\"" : "\"";
    html += " width=\"" + std::to_string(preview.width * preview.enlarged) + "\" height=\"" +
            std::to_string(preview.height * preview.enlarged) + "\" viewBox=\"0 0 " + width + " " +
            height + "\" role=\"img\" aria-label=\"" + escaped(what) + "\"><use href=\"#" +
            idOf(shown) + "\"";
    if (original != shown) html += " data-original=\"#" + idOf(original) + "\"";
    return html + "/></svg>\n";
}

}  // namespace

std::string storeOf(const Album& album) {
    std::string html =
        "<svg class=\"store\" width=\"0\" height=\"0\" aria-hidden=\"true\"><defs>\n";
    for (size_t i = 0; i < album.previews.size(); ++i) {
        const Preview& preview = album.previews[i];
        html += "<image id=\"" + idOf(i) + "\" width=\"" + std::to_string(preview.width) +
                "\" height=\"" + std::to_string(preview.height) + "\" href=\"" + preview.address +
                "\"/>\n";
    }
    return html + "</defs></svg>\n";
}

std::string shotsOf(const Album& album, const Shot& shot, const Shot& original,
                    const std::string& what) {
    std::string html = "<div class=\"shots\">\n";
    html += pictureOf(album, shot.whole, original.whole, what);
    if (shot.detail) {
        html += pictureOf(album, *shot.detail, original.detail.value_or(*shot.detail),
                          what + ", its middle enlarged");
    }
    return html + "</div>\n";
}

}  // namespace tool
