// Makes an allocation that the code under test asks the C library for fail, and counts what it has.
// The program is linked with --wrap for each function below, which leads the calls here.
#pragma once

#include <malloc.h>
#include <stdlib.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <utility>

namespace support {

enum class Failure { kOnce, kFromThenOn };

// From construction on, the nth call of the function fails, and, when told so, all that follow;
// with an observer it is called instead, just before that call goes through. One at a time.
class FailingCall {
  public:
    explicit FailingCall(const char* function, int nth = 1, std::function<void()> observer = {})
        : function_(function), left_(nth), observer_(std::move(observer)) {
        current() = this;
    }
    FailingCall(const char* function, int nth, Failure failure) : FailingCall(function, nth) {
        lasting_ = failure == Failure::kFromThenOn;
    }
    ~FailingCall() { current() = nullptr; }
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;

    bool happened() const { return left_ <= 0; }

    static bool due(const char* function) {
        FailingCall* self = current();
        if (self == nullptr || std::strcmp(self->function_, function) != 0) return false;
        --self->left_;
        if (self->left_ > 0 || (self->left_ < 0 && !self->lasting_)) return false;
        if (self->observer_) self->observer_();
        return !self->observer_;
    }

  private:
    static FailingCall*& current() {
        static FailingCall* instance = nullptr;
        return instance;
    }

    const char* function_;
    int left_;
    bool lasting_ = false;
    std::function<void()> observer_;
};

// Blocks that are allocated, by the code under test and by what the tests allocate through it, on
// any thread.
inline std::atomic<long> liveBlocks{0};
inline void* counted(void* block) {
    if (block != nullptr) ++liveBlocks;
    return block;
}

// Their bytes, and the most that there were since somebody set it.
inline std::atomic<long> liveBytes{0};
inline std::atomic<long> mostBytes{0};
inline void countBytes(long more) {
    const long now = liveBytes += more;
    long most = mostBytes;
    while (now > most && !mostBytes.compare_exchange_weak(most, now)) {
    }
}
inline long bytesOf(void* block) {
#if defined(_WIN32)
    return block == nullptr ? 0 : static_cast<long>(_msize(block));
#else
    return static_cast<long>(malloc_usable_size(block));
#endif
}

// While there is one, what lies behind a block of calloc's is not zero: a read of it shows.
class DirtyNeighbours {
  public:
    DirtyNeighbours() { wanted() = true; }
    ~DirtyNeighbours() { wanted() = false; }
    DirtyNeighbours(const DirtyNeighbours&) = delete;
    DirtyNeighbours& operator=(const DirtyNeighbours&) = delete;

    static constexpr size_t kBytes = 64;
    static std::atomic<bool>& wanted() {
        static std::atomic<bool> instance{false};
        return instance;
    }
};

// Bytes that the thread's last call of calloc asked for, and what the last one to return gave.
#if defined(_WIN32)
// What stands for a thread's own variables there allocates them, and the tests have one thread.
inline size_t lastAllocation = 0;
inline void* lastZeroed = nullptr;
#else
inline thread_local size_t lastAllocation = 0;
inline thread_local void* lastZeroed = nullptr;
#endif

}  // namespace support

// Nothing but their names in the program's link leads to these, so they are kept by force.

extern "C" void* __real_calloc(size_t count, size_t size);
extern "C" __attribute__((used)) inline void* __wrap_calloc(size_t count, size_t size) {
    support::lastAllocation = count * size;
    if (support::FailingCall::due("calloc")) return nullptr;
    const size_t more = support::DirtyNeighbours::wanted() ? support::DirtyNeighbours::kBytes : 0;
    support::lastZeroed = support::counted(more == 0 ? __real_calloc(count, size)
                                                     : __real_calloc(1, count * size + more));
    if (support::lastZeroed != nullptr)
        std::memset(static_cast<char*>(support::lastZeroed) + count * size, 0xA5, more);
    support::countBytes(support::bytesOf(support::lastZeroed));
    return support::lastZeroed;
}

extern "C" void* __real_malloc(size_t size);
extern "C" __attribute__((used)) inline void* __wrap_malloc(size_t size) {
    if (support::FailingCall::due("malloc")) return nullptr;
    void* block = support::counted(__real_malloc(size));
    support::countBytes(support::bytesOf(block));
    return block;
}

extern "C" void* __real_realloc(void* block, size_t size);
extern "C" __attribute__((used)) inline void* __wrap_realloc(void* block, size_t size) {
    if (support::FailingCall::due("realloc")) return nullptr;
    const long before = support::bytesOf(block);
    void* moved = __real_realloc(block, size);
    if (moved != nullptr) support::countBytes(support::bytesOf(moved) - before);
    return block == nullptr ? support::counted(moved) : moved;
}

extern "C" void __real_free(void* block);
extern "C" __attribute__((used)) inline void __wrap_free(void* block) {
    if (block != nullptr) --support::liveBlocks;
    support::countBytes(-support::bytesOf(block));
    __real_free(block);
}
