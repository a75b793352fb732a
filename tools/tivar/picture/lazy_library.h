// Libraries of rare kinds of pictures, which bring many more: they are loaded with the first such
// picture, so that the program starts as fast without them.

#ifndef TIVAR_TOOL_LAZY_LIBRARY_H
#define TIVAR_TOOL_LAZY_LIBRARY_H

namespace tool {

// Stays loaded until the process ends; what cannot be loaded is a Failure.
void* loadLazily(const char* fileName, const char* kind);

void* addressIn(void* module, const char* fileName, const char* name);

template <class Function>
void bindLazily(void* module, const char* fileName, const char* name, Function& function) {
    function = reinterpret_cast<Function>(addressIn(module, fileName, name));
}

}  // namespace tool

#endif
