// Libraries of single kinds of pictures, some of which bring many more, and of rare work: they are
// loaded with the first picture that needs them, so that the program starts as fast without them.
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

// A library and what it is for: "PNG" for pictures of that kind.
struct LazyLibrary {
    const char* fileName;
    const char* kind;
    void* module = nullptr;
};

// Loads the library unless it is there; a Failure when it cannot be.
void require(LazyLibrary& library);

// A function of such a library, which is called as if it were linked.
template <class Function>
struct LazyFunction;
template <class Result, class... Parameters>
struct LazyFunction<Result(Parameters...)> {
    LazyLibrary& library;
    const char* name;
    Result (*address)(Parameters...) = nullptr;

    Result operator()(Parameters... values) {
        if (address == nullptr) find();
        return address(values...);
    }

    void find() {
        require(library);
        bindLazily(library.module, library.fileName, name, address);
    }
};

}  // namespace tool

// Within the namespace of the calls, which find it before the library's own declaration.
#define TIVAR_LAZY_FUNCTION(library, name)              \
    inline auto name = LazyFunction<decltype(::name)> { \
        library, #name                                  \
    }
