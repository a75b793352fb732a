// Files that are written beside the one that they are going to replace.
#pragma once

#include <cstddef>

namespace tivar {

// Creates a file in path's directory, whose name goes into name: its descriptor, or -1 with errno.
// A new file has the mode that the process gives files, one that is to replace another the owner's
// alone.
int createBeside(const char* path, bool isNew, char* name, size_t capacity);

}  // namespace tivar
