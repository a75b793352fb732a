// Bytes in and out of movable memory.
#pragma once

#include <tivar/memory.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace support {

using Bytes = std::vector<std::uint8_t>;

inline MemHandle newBlock(const Bytes& bytes) {
    const MemHandle handle =
        GlobalAlloc(TIVAR_GMEM_FLAGS, static_cast<std::uint32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(GlobalLock(handle)));
    return handle;
}

// All bytes of a block; none for handle 0.
inline Bytes blockContents(MemHandle handle) {
    if (handle == 0) return {};
    const auto* data = static_cast<const std::uint8_t*>(GlobalLock(handle));
    return Bytes(data, data + GlobalSize(handle));
}

// A block of the test's own; bytes {} makes an empty block, the default none at all.
struct Block {
    Block() : handle(0) {}
    explicit Block(const Bytes& bytes) : handle(newBlock(bytes)) {}
    explicit Block(MemHandle taken) : handle(taken) {}
    ~Block() { GlobalFree(handle); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    Bytes contents() const { return blockContents(handle); }

    MemHandle handle;
};

}  // namespace support
