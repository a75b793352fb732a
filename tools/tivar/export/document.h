// A document of the host: what the library calls when it is to write into the host's own storage,
// here a file.
#pragma once

#include <cstdint>

namespace tool {

struct Document {
    int file = -1;
    int error = 0;  // errno of the first write that came out short
};

// An OxlDocProc; the document value is the address of a Document.
intptr_t serveDocument(intptr_t first, int32_t operation, intptr_t a, intptr_t b) noexcept;

}  // namespace tool
