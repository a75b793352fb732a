// The exports of a gallery, and what its page has to show of them.
#pragma once

#include "gallery/album.h"
#include "gallery/gallery.h"

namespace tool {

// Exports the source in every form; the directory exists.
Album collect(const Library& library, const GalleryRequest& request, const Image& source);

}  // namespace tool
