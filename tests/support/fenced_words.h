// Words of a host's block with memory behind them that nobody may touch: a read beyond the last
// word ends the program, with sanitizers or without.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

#include <tivar/types.h>

namespace support {

class FencedWords {
  public:
    explicit FencedWords(std::size_t count)
        : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        memory_ =
            mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory_ == MAP_FAILED) throw std::runtime_error("no pages");
        auto* fence = static_cast<unsigned char*>(memory_) + page_;
        mprotect(fence, page_, PROT_NONE);
        words = reinterpret_cast<HostWord*>(fence) - count;
    }
    ~FencedWords() { munmap(memory_, 2 * page_); }
    FencedWords(const FencedWords&) = delete;
    FencedWords& operator=(const FencedWords&) = delete;

    HostWord* words;

  private:
    std::size_t page_;
    void* memory_;
};

}  // namespace support
