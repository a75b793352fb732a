// Pictures that a camera took turned or mirrored.

#ifndef TIVAR_TOOL_UPRIGHT_H
#define TIVAR_TOOL_UPRIGHT_H

#include "picture/image.h"

namespace tool {

// Turns and mirrors the pixels as the picture's orientation says, which is 1 then.
void makeUpright(Image& image, const ReadRequest& request);

}  // namespace tool

#endif
