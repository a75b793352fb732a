// The library's use of the heap, watched and limited. The programs are linked with --wrap for
// malloc, calloc, realloc and free, which leads the library's calls here; C++ allocations do not
// come this way.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Blocks above this size cannot be had. It holds everything that the library needs for the pictures
// that are compared, and keeps what the others cost in bounds.
constexpr std::uint32_t kLargestBlock = 1u << 20;

// For the life of the guard, what is allocated must be freed again, and files opened be closed.
class HeapWatch {
  public:
    explicit HeapWatch(std::size_t largest = kLargestBlock);
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    // Whether an allocation has failed since the start.
    static bool refused();

  private:
    int descriptor_;
};

// For the life of the guard it is known which blocks there are: for a host that loses sight of its
// own.
class HeapLedger {
  public:
    HeapLedger();
    ~HeapLedger();
    HeapLedger(const HeapLedger&) = delete;
    HeapLedger& operator=(const HeapLedger&) = delete;

    // Tells a block from others that were at its place before it; 0 = there is none now.
    static std::uint64_t serialOf(const void* block);
    // Frees what is left, as nobody does any more; how many blocks that were.
    static std::size_t freeAll();
};

// The nth allocation of the guard's life fails; 0 = none.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::uint32_t nth);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

// For the life of the guard no allocation is made to fail: the target takes blocks of its own.
class OwnAllocation {
  public:
    OwnAllocation();
    ~OwnAllocation();
    OwnAllocation(const OwnAllocation&) = delete;
    OwnAllocation& operator=(const OwnAllocation&) = delete;

  private:
    std::uint32_t postponed_;
};

}  // namespace fuzz
