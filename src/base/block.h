// Plain memory of the heap, for what never crosses the interface as a handle.
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

    // Replaces what was owned; false without memory, and for what passes an address. The contents
    // are undefined; of obtainZeroed zeros, whose pages cost nothing until they are touched when
    // there are many.
    bool obtain(uint64_t count) {
        release();
        if (count <= PTRDIFF_MAX / sizeof(T))
            data = static_cast<T*>(
                std::malloc(static_cast<size_t>(count == 0 ? 1 : count) * sizeof(T)));
        return data != nullptr;
    }
    bool obtainZeroed(uint64_t count) {
        release();
        if (count <= PTRDIFF_MAX / sizeof(T))
            data = static_cast<T*>(
                std::calloc(static_cast<size_t>(count == 0 ? 1 : count), sizeof(T)));
        return data != nullptr;
    }
    // Leaves it to the caller, who frees it.
    T* give() {
        T* given = data;
        data = nullptr;
        return given;
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
