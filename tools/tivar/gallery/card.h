// A picture of the gallery with its figures.

#ifndef TIVAR_TOOL_CARD_H
#define TIVAR_TOOL_CARD_H

#include "gallery/album.h"

namespace tool {

std::string cardText(const Album& album, const Chapter& chapter, const Card& card);

}  // namespace tool

#endif
