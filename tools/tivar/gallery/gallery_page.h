// The gallery's page: one HTML file that needs no other, apart from the BMP files it links to.

#ifndef TIVAR_TOOL_GALLERY_PAGE_H
#define TIVAR_TOOL_GALLERY_PAGE_H

#include "gallery/album.h"

namespace tool {

std::string galleryPage(const Album& album);

}  // namespace tool

#endif
