#include "base/stdio_file.h"

#include <fcntl.h>
#include <io.h>

#include <cstring>
#include <iterator>

#include "base/windows/wide.h"

namespace tivar {
namespace {

// Every stream has bytes, none has text.
FILE* binary(FILE* file) {
    _setmode(_fileno(file), _O_BINARY);
    return file;
}

}  // namespace

FILE* openStdioFile(const char* name, const char* mode) {
    wchar_t wideMode[8] = {};
    const size_t length = std::strlen(mode);
    if (length + 2 >= std::size(wideMode)) return nullptr;
    for (size_t i = 0; i < length; ++i) wideMode[i] = static_cast<wchar_t>(mode[i]);
    wideMode[length] = L'b';
    const WideName wide(name);
    return wide ? _wfopen(wide.text, wideMode) : nullptr;
}

FILE* standardInput() {
    return binary(stdin);
}

FILE* standardOutput() {
    return binary(stdout);
}

bool seekStdioFile(FILE* file, int64_t offset, int whence) {
    return _fseeki64(file, offset, whence) == 0;
}

int64_t tellStdioFile(FILE* file) {
    return _ftelli64(file);
}

}  // namespace tivar
