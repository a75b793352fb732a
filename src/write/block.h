// Memory of the direct interface: plain blocks, freed with their owner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

namespace tivar {

// Owns an array of plain records; data is null until obtained, and without memory.
template <class T>
struct Block {
    static_assert(std::is_trivially_copyable_v<T>);

    Block() = default;
    ~Block() { std::free(data); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    // Replaces what was owned. The contents are undefined; of obtainZeroed zeros, whose pages cost
    // nothing until they are touched when there are many.
    bool obtain(size_t count) {
        release();
        if (count <= SIZE_MAX / sizeof(T))
            data = static_cast<T*>(std::malloc((count == 0 ? 1 : count) * sizeof(T)));
        return data != nullptr;
    }
    bool obtainZeroed(size_t count) {
        release();
        data = static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T)));
        return data != nullptr;
    }
    void release() {
        std::free(data);
        data = nullptr;
    }

    explicit operator bool() const { return data != nullptr; }
    T& operator[](size_t i) const { return data[i]; }

    T* data = nullptr;
};

}  // namespace tivar
