#include "profile/path.h"

#include <cstring>

#include "base/text.h"

namespace tivar {
namespace {

// The last of the separators that is present, tried in their order of precedence.
const char* lastSeparator(const char* path, const char* separators) {
    for (; *separators != '\0'; ++separators) {
        if (const char* found = std::strrchr(path, *separators)) return found;
    }
    return nullptr;
}

}  // namespace

char* s_getpath(char* destination, size_t capacity, const char* path) {
    const char* separator = lastSeparator(path, "\\/");
    const size_t length = separator == nullptr ? 0 : static_cast<size_t>(separator - path) + 1;
    // The path may be the destination itself.
    const size_t kept = length < capacity ? length : capacity - 1;
    std::memmove(destination, path, kept);
    destination[kept] = '\0';
    return destination;
}

char* s_getname(char* destination, size_t capacity, const char* path) {
    const char* separator = lastSeparator(path, "\\/:");
    const char* name = separator == nullptr ? path : separator + 1;
    const char* extension = std::strrchr(name, '.');
    const size_t length = extension == nullptr ? std::strlen(name) : size_t(extension - name);
    const size_t kept = length < capacity ? length : capacity - 1;
    std::memcpy(destination, name, kept);
    destination[kept] = '\0';
    return destination;
}

}  // namespace tivar
