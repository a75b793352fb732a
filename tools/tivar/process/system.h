// Small guards and helpers over POSIX calls.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <utility>

namespace tool {

// Symbolic links that are followed one after the other before they count as a circle.
inline constexpr int kMostLinks = 40;

// An open file descriptor; -1 = none.
struct Descriptor {
    int number = -1;

    Descriptor() = default;
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
};

// Another number for the same open file, which programs that are started do not get.
inline Descriptor duplicate(int descriptor) {
    constexpr int kFirstFree = 3;
    return Descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFree));
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

// What one call takes everywhere.
inline constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

// As read(), which may give less than was asked for.
inline ssize_t readSome(int descriptor, void* data, std::size_t count) {
    return ::read(descriptor, data, static_cast<unsigned>(std::min(count, kMostAtOnce)));
}

// Writes all bytes: 0, or the errno value of the write that failed.
inline int writeAll(int descriptor, const void* data, std::size_t count) {
    const char* next = static_cast<const char*>(data);
    while (count != 0) {
        const auto step = static_cast<unsigned>(std::min(count, kMostAtOnce));
        const ssize_t written = ::write(descriptor, next, step);
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) {
            next += written;
            count -= static_cast<std::size_t>(written);
        }
    }
    return 0;
}

}  // namespace tool
