// How many files the process has open.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace support {

inline std::size_t openFiles() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

}  // namespace support
