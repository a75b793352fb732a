#include "process/inherited.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <system_error>

#include "process/system.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

// The link by which the system shows an open file is not followed: its text need not be a path.
bool isOurs(const fs::path& path) {
    std::error_code error;
    const fs::path directory = path.has_parent_path() ? path.parent_path() : fs::path(".");
    return fs::equivalent(directory, "/proc/self/fd", error) ||
           fs::equivalent(directory, "/proc/thread-self/fd", error);
}

int numberIn(const std::string& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

}  // namespace

int descriptorNamed(const std::string& name) {
    std::error_code error;
    fs::path path = name;
    for (int i = 0; i < kMostLinks; ++i) {
        if (isOurs(path)) return numberIn(path.filename().string());
        if (!fs::is_symlink(path, error)) return -1;
        path = path.parent_path() / fs::read_symlink(path, error);
    }
    return -1;
}

bool isStandardOutput(const std::string& name) {
    return name == "-" || descriptorNamed(name) == STDOUT_FILENO;
}

bool isInherited(int descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFD);
    return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

}  // namespace tool
