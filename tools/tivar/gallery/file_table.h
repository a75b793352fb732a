// Every file of a chapter, with its figures.
#pragma once

#include "gallery/album.h"

namespace tool {

// largest: bytes of the gallery's largest file, which the others are drawn against.
std::string fileTable(const Chapter& chapter, uint64_t largest);

}  // namespace tool
