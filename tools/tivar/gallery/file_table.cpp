#include "gallery/file_table.h"

#include "gallery/figures.h"
#include "gallery/html.h"

namespace tool {
namespace {

std::string cell(const std::string& text) {
    return "<td class=\"number\">" + text + "</td>";
}

std::string rowOf(const AlbumFile& file, uint64_t largest) {
    const Likeness& likeness = file.likeness;
    const double share = 100.0 * static_cast<double>(file.bytes) / static_cast<double>(largest);
    return "<tr data-file=\"" + escaped(file.name) + "\" data-psnr=\"" +
           decibelValue(likeness.plain) + "\" data-blurred=\"" + decibelValue(likeness.blurred) +
           "\"><td><a href=\"" + addressOf(file.name) + "\">" + escaped(file.name) +
           "</a></td><td><code>" + escaped(file.options) +
           "</code></td><td class=\"number size\" style=\"--share:" + fixed(share, 1) + "%\">" +
           grouped(file.bytes) + "</td>" + cell(decibelText(likeness.plain, likeness.sameColors)) +
           cell(decibelText(likeness.blurred, likeness.sameColors)) + cell(timeText(file.seconds)) +
           "</tr>\n";
}

constexpr char kHead[] =
    "<thead><tr><th scope=\"col\">File</th><th scope=\"col\">Options of tivar export</th>"
    "<th scope=\"col\" class=\"number\">Bytes</th><th scope=\"col\" class=\"number\">PSNR</th>"
    "<th scope=\"col\" class=\"number\">Blurred</th>"
    "<th scope=\"col\" class=\"number\">Export</th></tr></thead>\n";

}  // namespace

std::string fileTable(const Chapter& chapter, uint64_t largest) {
    std::string html = "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"Files, " +
                       escaped(chapter.title) + "\"><table>\n" + kHead + "<tbody>\n";
    for (const AlbumFile& file : chapter.files) html += rowOf(file, largest);
    return html + "</tbody></table></div>\n";
}

}  // namespace tool
