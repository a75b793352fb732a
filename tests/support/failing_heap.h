// Makes the library's allocations fail. For programs linked with --wrap=calloc and --wrap=realloc;
// include it in one source file.
#pragma once

#include <cstddef>

namespace support {

// The nth allocation (from 0) during the guard's life fails, and all later ones when asked for.
struct FailingHeap {
    static constexpr int kNever = -1;
    enum Reach { kOnce, kFromThenOn };

    explicit FailingHeap(int nth, Reach reach = kOnce) {
        left() = nth;
        persistent() = reach == kFromThenOn;
        failed() = false;
    }
    ~FailingHeap() { left() = kNever; }
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    // Whether an allocation has been refused, that is, whether nth was reached.
    bool refused() const { return failed(); }

    static bool refuses() {
        if (left() == kNever) return false;
        if (left() > 0) {
            --left();
            return false;
        }
        if (!persistent()) left() = kNever;
        return failed() = true;
    }

  private:
    static int& left() {
        static int count = kNever;
        return count;
    }
    static bool& persistent() {
        static bool value = false;
        return value;
    }
    static bool& failed() {
        static bool value = false;
        return value;
    }
};

}  // namespace support

extern "C" {

void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* block, size_t size);

void* __wrap_calloc(size_t count, size_t size) {
    return support::FailingHeap::refuses() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, size_t size) {
    return support::FailingHeap::refuses() ? nullptr : __real_realloc(block, size);
}
}
