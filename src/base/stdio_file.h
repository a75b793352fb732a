// C's streams by name, in binary mode, with places as wide as files are long.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tivar {

// As fopen; the name is UTF-8 on Windows.
FILE* openStdioFile(const char* name, const char* mode);

// The process's standard input or output, for bytes.
FILE* standardInput();
FILE* standardOutput();

// As fseek and ftell.
bool seekStdioFile(FILE* file, int64_t offset, int whence);
int64_t tellStdioFile(FILE* file);

}  // namespace tivar
