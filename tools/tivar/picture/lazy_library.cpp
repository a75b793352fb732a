#include "picture/lazy_library.h"

#include <dlfcn.h>

#include <string>

#include "process/failure.h"

namespace tool {

void* loadLazily(const char* fileName, const char* kind) {
    void* module = ::dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        failWithoutDescriptors();
        fail(std::string("is a ") + kind + " picture, which needs " + fileName,
             "install it or convert the picture first");
    }
    return module;
}

void* addressIn(void* module, const char* fileName, const char* name) {
    void* address = ::dlsym(module, name);
    if (address == nullptr) {
        failAt(fileName, std::string("has no ") + name,
               "install the library that tivar was made for");
    }
    return address;
}

}  // namespace tool
