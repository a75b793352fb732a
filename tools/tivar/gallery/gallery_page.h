// The gallery's page: one HTML file that needs no other, apart from the BMP files it links to.
#pragma once

#include <string>
#include <string_view>

#include "gallery/album.h"

namespace tool {

std::string galleryPage(const Album& album);

// Whether a page that begins so is one of these.
bool isGalleryPage(std::string_view start);

}  // namespace tool
