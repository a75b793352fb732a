#include "base/stdio_file.h"

namespace tivar {

FILE* openStdioFile(const char* name, const char* mode) {
    return std::fopen(name, mode);
}

FILE* standardInput() {
    return stdin;
}

FILE* standardOutput() {
    return stdout;
}

bool seekStdioFile(FILE* file, int64_t offset, int whence) {
    return std::fseek(file, static_cast<long>(offset), whence) == 0;
}

int64_t tellStdioFile(FILE* file) {
    return std::ftell(file);
}

}  // namespace tivar
