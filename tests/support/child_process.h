// Work done in a forked child, for what would spoil the test program itself: closed standard
// streams, limits of the process.
#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace support {

// The numbers that work() returns in the child; none when the child died.
template <class Work>
std::vector<std::int32_t> inChild(Work work) {
    std::array<int, 2> ends;
    if (pipe(ends.data()) != 0) return {};
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const std::vector<std::int32_t> results = work();
        const std::size_t bytes = results.size() * sizeof(std::int32_t);
        const bool told = write(ends[1], results.data(), bytes) == static_cast<ssize_t>(bytes);
        _exit(told ? 0 : 1);
    }
    close(ends[1]);
    std::vector<std::int32_t> results;
    std::int32_t result = 0;
    while (read(ends[0], &result, sizeof result) == static_cast<ssize_t>(sizeof result))
        results.push_back(result);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return results;
}

}  // namespace support
