// Splitting of path names: backslash or, where there is none, slash (and for names colon) separate.
#pragma once

#include <cstddef>

namespace tivar {

// The directory part with its trailing separator, or "", cut to capacity bytes. Returns
// destination.
char* s_getpath(char* destination, size_t capacity, const char* path);

// The file name without directory and without its last extension. Returns destination.
char* s_getname(char* destination, size_t capacity, const char* path);

}  // namespace tivar
