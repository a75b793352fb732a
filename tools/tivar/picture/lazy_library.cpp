#include "picture/lazy_library.h"

#include <dlfcn.h>

#include "process/failure.h"

namespace tool {

void* loadLazily(const char* fileName, const std::string& what, const std::string& remedy) {
    void* module = ::dlopen(fileName, RTLD_LAZY | RTLD_LOCAL);
    if (module == nullptr) {
        failWithoutDescriptors();
        fail(what, remedy);
    }
    return module;
}

void* loadLazily(const char* fileName, const char* kind) {
    return loadLazily(fileName, std::string("is a ") + kind + " picture, which needs " + fileName,
                      "install it or convert the picture first");
}

void* addressIn(void* module, const char* fileName, const char* name) {
    void* address = ::dlsym(module, name);
    if (address == nullptr) {
        failAt(fileName, std::string("has no ") + name,
               "install the library that tivar was made for");
    }
    return address;
}

void require(LazyLibrary& library) {
    if (library.module == nullptr) library.module = loadLazily(library.fileName, library.kind);
}

}  // namespace tool
