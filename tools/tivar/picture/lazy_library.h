// Libraries of rare kinds of pictures, which bring many more, and of rare work: they are loaded
// with the first picture that needs them, so that the program starts as fast without them.
#pragma once

#include <string>

namespace tool {

// Stays loaded until the process ends; what cannot be loaded is a Failure.
void* loadLazily(const char* fileName, const std::string& what, const std::string& remedy);

// The same of the library for pictures of that kind.
void* loadLazily(const char* fileName, const char* kind);

void* addressIn(void* module, const char* fileName, const char* name);

template <class Function>
void bindLazily(void* module, const char* fileName, const char* name, Function& function) {
    function = reinterpret_cast<Function>(addressIn(module, fileName, name));
}

}  // namespace tool
