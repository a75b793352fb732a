// Plain memory of the heap, for what never crosses the interface as a handle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace tivar {

// Owns bytes of the heap; null when there is no memory, or when the size passes an address.
struct HeapBytes {
    HeapBytes() = default;
    explicit HeapBytes(uint64_t size)
        : data(size > PTRDIFF_MAX ? nullptr
                                  : static_cast<uint8_t*>(
                                        std::malloc(static_cast<size_t>(size != 0 ? size : 1)))) {}
    ~HeapBytes() { std::free(data); }
    HeapBytes(const HeapBytes&) = delete;
    HeapBytes& operator=(const HeapBytes&) = delete;
    HeapBytes(HeapBytes&& other) noexcept : data(other.release()) {}
    HeapBytes& operator=(HeapBytes&& other) noexcept {
        if (this != &other) {
            std::free(data);
            data = other.release();
        }
        return *this;
    }

    explicit operator bool() const { return data != nullptr; }
    uint8_t* release() {
        uint8_t* kept = data;
        data = nullptr;
        return kept;
    }

    uint8_t* data = nullptr;
};

}  // namespace tivar
