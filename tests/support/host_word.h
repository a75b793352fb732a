// Addresses as the words that hosts hand over.
#pragma once

#include <tivar/types.h>

namespace support {

inline HostWord asWord(const void* pointer) {
    return reinterpret_cast<HostWord>(pointer);
}

}  // namespace support
