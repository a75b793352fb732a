// Little-endian bytes, built up and picked apart.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/memory_block.h"

namespace support {

struct ByteList {
    ByteList& u8(std::uint32_t value) {
        list.push_back(static_cast<std::uint8_t>(value & 0xFF));
        return *this;
    }
    ByteList& u16(std::uint32_t value) { return u8(value).u8(value >> 8); }
    ByteList& u32(std::uint32_t value) { return u16(value).u16(value >> 16); }
    ByteList& add(const Bytes& bytes) {
        list.insert(list.end(), bytes.begin(), bytes.end());
        return *this;
    }
    ByteList& repeat(std::size_t count, std::uint32_t value) {
        while (count-- > 0) u8(value);
        return *this;
    }

    Bytes list;
};

// Numbers as they lie in a host's memory, in the machine's own byte order.
struct WordList {
    WordList& u16(std::uint32_t value) { return word(static_cast<std::uint16_t>(value)); }
    WordList& u32(std::uint32_t value) { return word(value); }
    WordList& add(const Bytes& bytes) {
        list.insert(list.end(), bytes.begin(), bytes.end());
        return *this;
    }
    template <class Word>
    WordList& word(Word value) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
        list.insert(list.end(), bytes, bytes + sizeof value);
        return *this;
    }

    Bytes list;
};

// count bytes, each other than its neighbours.
inline Bytes ramp(std::size_t count, std::size_t from = 1) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<std::uint8_t>(from + i * 7));
    return bytes;
}

// count bytes from position on; fewer where the list ends.
inline Bytes slice(const Bytes& bytes, std::size_t position, std::size_t count = SIZE_MAX) {
    Bytes part;
    for (std::size_t i = position; i < bytes.size() && part.size() < count; ++i)
        part.push_back(bytes[i]);
    return part;
}

// The 32-bit number at position; missing bytes count as 0.
inline std::uint32_t u32At(const Bytes& bytes, std::size_t position) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | (position + i < bytes.size() ? bytes[position + i] : 0u);
    return value;
}

inline std::uint32_t u16At(const Bytes& bytes, std::size_t position) {
    return u32At(bytes, position) & 0xFFFF;
}

}  // namespace support
