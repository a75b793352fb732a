// One picture in every kind of BMP file, and a page that shows them.

#ifndef TIVAR_TOOL_GALLERY_H
#define TIVAR_TOOL_GALLERY_H

#include "library.h"
#include "options.h"

namespace tool {

// Exports options.input into the directory options.out, which is made if it is missing.
void makeGallery(const Library& library, const Options& options);

}  // namespace tool

#endif
