// One picture in every kind of BMP file, and a page that shows them.
#pragma once

#include "export/request.h"
#include "process/library.h"

namespace tool {

struct GalleryRequest {
    ExportRequest each;  // the form of each file is the gallery's choice
    std::string input;
    std::string directory;  // made if it is missing
};

void makeGallery(const Library& library, const GalleryRequest& request);

}  // namespace tool
