// The page's pictures: each is in it once, and shown wherever it is wanted.
#pragma once

#include "gallery/album.h"

namespace tool {

// Shows nothing by itself.
std::string storeOf(const Album& album);

// The shot; while something is held the original takes its place.
std::string shotsOf(const Album& album, const Shot& shot, const Shot& original,
                    const std::string& what);

}  // namespace tool
