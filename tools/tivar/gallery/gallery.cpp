#include "gallery/gallery.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "export/read_picture.h"
#include "gallery/collect.h"
#include "gallery/gallery_page.h"
#include "process/failure.h"
#include "process/output.h"
#include "process/progress.h"
#include "process/system.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

void writePage(const Album& album, const std::string& path) {
    const std::string page = galleryPage(album);
    Output output(path, Descriptor());
    const int error = writeAll(output.file.number, page.data(), page.size());
    if (error != 0) failErrno(output.name, error);
    commit(output);
}

// Another site's page is not ours to replace.
void refuseOtherPages(const std::string& path) {
    const std::unique_ptr<std::FILE, CloseFile> page(std::fopen(path.c_str(), "rb"));
    if (page == nullptr) return;
    std::array<char, 4096> start{};
    const size_t got = std::fread(start.data(), 1, start.size(), page.get());
    if (got == 0 || isGalleryPage({start.data(), got})) return;
    failAt(path, "is there already and no gallery's", "name another directory with -o");
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
    refuseOtherPages(page);
    Image source = readPicture(request.input, request.each.reading);
    // Told once, not for every file.
    const std::vector<Notice> notices = std::exchange(source.notices, {});
    makeDirectory(request.directory);
    writePage(collect(library, request, source), page);
    Progress progress(request.input, request.each.quiet, true);
    showResult(progress, page);
    for (const Notice& notice : notices) showNotice(progress, notice.what, notice.remedy);
}

}  // namespace tool
