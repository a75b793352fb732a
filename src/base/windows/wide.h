// Names as Windows knows them, and its errors as errno.
#pragma once

#include <cstddef>

#include "base/files.h"

namespace tivar {

// A name of UTF-8 as Windows's calls want it: also one that is longer than they take as it is.
struct WideName {
    explicit WideName(const char* name);  // without text, and errno, when it is no UTF-8
    explicit operator bool() const { return text != nullptr; }

    const wchar_t* text = nullptr;
    wchar_t buffer[kPathBytes + 8];
};

// Into UTF-8: false, with errno, when it does not fit.
bool toUtf8(const wchar_t* wide, char* text, size_t capacity);

// Sets errno to what Windows's last error is called there; always false.
bool failWithLastError();

}  // namespace tivar
