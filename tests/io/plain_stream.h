// A stream described byte by byte over vectors, slow and without a line of the library in it: what
// random sequences of operations are held against.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/memory_block.h"

namespace plain {

using support::Bytes;

constexpr std::int32_t kBufferSize = 12288;

class Stream {
  public:
    // Over a file that was opened for reading, writing or both.
    static Stream overFile(Bytes& file, int mode, bool readable, bool writable) {
        Stream stream;
        stream.file_ = &file;
        stream.mode_ = mode;
        stream.readable_ = readable;
        stream.writable_ = writable;
        stream.buffer_.resize(kBufferSize);
        stream.limit_ = kBufferSize - 1;
        stream.length_ = static_cast<std::int32_t>(file.size());
        return stream;
    }

    // Over a memory block, of which the first size bytes are the stream's. A size that is trimmed
    // comes back.
    static Stream overBlock(const Bytes& block, std::int32_t& size, std::int32_t growStep,
                            int mode) {
        Stream stream;
        stream.buffer_ = block;
        stream.mode_ = mode;
        stream.next_ = -1;
        stream.growStep_ = growStep;
        if ((mode & 0x1000) == 0) {
            while (size > 0 && block[at(size - 1)] == 0) --size;
            --size;
            stream.high_ = size - 1;
        }
        stream.limit_ = size - 1;
        stream.length_ = stream.high_;
        return stream;
    }

    const Bytes& block() const { return buffer_; }
    std::int32_t limit() const { return limit_; }
    std::int32_t high() const { return high_; }
    std::int32_t error() const { return error_; }
    std::int32_t position() const { return base_ + index_; }

    std::int32_t write(const Bytes& bytes) {
        for (const std::uint8_t byte : bytes) {
            if (index_ > limit_) {
                if (error_ != 0) return 0;
                // A block that cannot grow takes no more.
                if (isMemory() && growStep_ == 0) return fail();
                do {
                    if (flush() == -1) return fail();
                } while (isMemory() && index_ > limit_);
                // A clean buffer, read to its last byte: a new one starts here.
                if (!isMemory() && index_ > limit_) startBuffer(base_ + index_);
            }
            buffer_[at(index_)] = byte;
            high_ = std::max(high_, index_);
            ++index_;
            dirty_ = true;
        }
        return static_cast<std::int32_t>(bytes.size());
    }

    std::int32_t read(Bytes& target, std::int32_t count) {
        target.clear();
        while (static_cast<std::int32_t>(target.size()) < count) {
            if (index_ > high_) {
                const std::int32_t filled = fill();
                if (filled == -1) return fail();
                if (filled == 0) break;
            }
            target.push_back(buffer_[at(index_)]);
            ++index_;
        }
        return static_cast<std::int32_t>(target.size());
    }

    std::int32_t fill() {
        if (isMemory()) return 0;
        if (dirty_ && flush() == -1) return fail();
        if (!readable_) return fail();
        const auto size = static_cast<std::int32_t>(file_->size());
        const std::int32_t count = std::clamp(size - next_, 0, kBufferSize);
        for (std::int32_t i = 0; i < count; ++i) buffer_[at(i)] = (*file_)[at(next_ + i)];
        startBuffer(next_);
        high_ = count - 1;
        next_ += count;
        return count;
    }

    std::int32_t flush() {
        if (isMemory()) {
            grow(limit_ + growStep_);
            return 1;
        }
        if (!dirty_) return 0;
        if (!writable_) return fail();
        const std::int32_t count = high_ + 1;
        if (file_->size() < at(base_ + count)) file_->resize(at(base_ + count));
        for (std::int32_t i = 0; i < count; ++i) (*file_)[at(base_ + i)] = buffer_[at(i)];
        startBuffer(base_ + count);
        dirty_ = false;
        length_ = static_cast<std::int32_t>(file_->size());
        return count;
    }

    std::int32_t seek(std::int32_t offset, std::int32_t whence) {
        if (whence == 1 && offset == 0) return position();
        if (whence == 1) {
            offset += position();
            whence = 0;
        }
        if (whence == 0) {
            const bool bounded = (mode_ & 3) == 0;
            if (offset < 0 || (bounded && offset > length_)) return fail();
            if (base_ <= offset && offset <= base_ + high_) {
                index_ = offset - base_;
                return offset;
            }
        }
        return isMemory() ? seekBlock(offset, whence) : seekFile(offset, whence);
    }

    std::int32_t close() {
        if (!isMemory()) return flush() == -1 ? -1 : 0;
        if ((mode_ & 3) == 0) return 0;
        index_ = high_ + 1;
        return write({0xFF}) == 1 ? 0 : -1;
    }

  private:
    Stream() = default;

    static std::size_t at(std::int32_t place) { return static_cast<std::size_t>(place); }

    bool isMemory() const { return file_ == nullptr; }

    std::int32_t fail() { return error_ = -1; }

    void startBuffer(std::int32_t place) {
        index_ = 0;
        high_ = -1;
        limit_ = kBufferSize - 1;
        base_ = next_ = place;
    }

    void grow(std::int32_t limit) {
        limit_ = limit;
        buffer_.resize(at(limit + 1));
        dirty_ = false;
    }

    std::int32_t seekBlock(std::int32_t offset, std::int32_t whence) {
        if (whence == 2) return index_ = high_ + 1 + offset;
        if (whence != 0) return fail();
        if (offset > limit_) grow(offset + growStep_);
        return index_ = offset;
    }

    std::int32_t seekFile(std::int32_t offset, std::int32_t whence) {
        if (dirty_ && flush() == -1) return fail();
        const std::int32_t origin = whence == 2 ? static_cast<std::int32_t>(file_->size()) : 0;
        if (whence < 0 || whence > 2 || origin + offset < 0) return fail();
        next_ = origin + offset;
        const std::int32_t place = next_;
        return fill() == -1 ? -1 : place;
    }

    Bytes* file_ = nullptr;
    bool readable_ = true;
    bool writable_ = true;
    Bytes buffer_;
    std::int32_t index_ = 0;
    std::int32_t high_ = -1;
    std::int32_t limit_ = -1;
    std::int32_t base_ = 0;
    std::int32_t next_ = 0;
    bool dirty_ = false;
    std::int32_t growStep_ = 0;
    std::int32_t length_ = -1;
    int mode_ = 0;
    std::int32_t error_ = 0;
};

}  // namespace plain
