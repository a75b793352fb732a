// One reader for each file format. The file stands at its first byte.

#ifndef TIVAR_TOOL_READERS_H
#define TIVAR_TOOL_READERS_H

#include <cstdio>

#include "picture/picture.h"

namespace tool {

Picture readPng(const Library& library, std::FILE* file, Color background);
Picture readJpeg(const Library& library, std::FILE* file);
Picture readPnm(const Library& library, std::FILE* file);

}  // namespace tool

#endif
