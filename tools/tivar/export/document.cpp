#include "export/document.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "process/system.h"

namespace tool {
namespace {

// Operations of an OxlDocProc.
enum { kOpen = 1, kRead = 2, kWrite = 3, kSeek = 4, kClose = 5 };

intptr_t openDocument(intptr_t target) {
    const Document& document = *reinterpret_cast<Document*>(target);
    const bool emptied =
        ::ftruncate(document.file, 0) == 0 && ::lseek(document.file, 0, SEEK_SET) == 0;
    return emptied ? target : 0;
}

intptr_t writeDocument(Document& document, const void* bytes, size_t count) {
    const int error = writeAll(document.file, bytes, count);
    if (error == 0) return static_cast<intptr_t>(count);
    if (document.error == 0) document.error = error;
    return 0;
}

intptr_t seekDocument(const Document& document, const void* offsetAddress, int whence) {
    int32_t offset = 0;
    std::memcpy(&offset, offsetAddress, sizeof offset);
    return static_cast<intptr_t>(::lseek(document.file, offset, whence));
}

}  // namespace

intptr_t serveDocument(intptr_t first, int32_t operation, intptr_t a, intptr_t b) noexcept {
    if (operation == kOpen) return openDocument(first);
    if (operation < kRead || operation > kClose) return 0;
    Document& document = *reinterpret_cast<Document*>(first);
    switch (operation) {
        case kRead:
            return readSome(document.file, reinterpret_cast<void*>(a), static_cast<size_t>(b));
        case kWrite:
            return writeDocument(document, reinterpret_cast<const void*>(a),
                                 static_cast<size_t>(b));
        case kSeek:
            return seekDocument(document, reinterpret_cast<const void*>(a), static_cast<int>(b));
        default:
            return 0;
    }
}

}  // namespace tool
