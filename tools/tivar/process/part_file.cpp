#include "process/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "process/interrupt.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr std::string_view kSuffix = ".part";
constexpr size_t kLongestBase = 200;  // leaves room for the rest in a file name of 255 bytes
constexpr int kMostTries = 100;

std::string partPrefix(const fs::path& target) {
    return "." + target.filename().string().substr(0, kLongestBase) + ".tivar.";
}

// Whether name is prefix, a number and the suffix.
bool isPartName(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix) || !name.ends_with(kSuffix)) return false;
    name.remove_prefix(prefix.size());
    if (name.size() <= kSuffix.size()) return false;
    name.remove_suffix(kSuffix.size());
    return std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c); });
}

// Whether the path still leads to the open file.
bool isLinked(int file, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(file, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// A file that can be locked is nobody's. The lock of an open file ends with its process, whoever
// still waits for that, and does not depend on process numbers.
void removeAbandoned(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.number < 0 || ::flock(file.number, LOCK_EX | LOCK_NB) != 0) return;
    if (isLinked(file.number, path)) ::unlink(path.c_str());
}

void removeLeftovers(const fs::path& directory, const std::string& prefix) {
    std::error_code error;
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
        const fs::path& path = entry.path();
        if (entry.is_regular_file(error) && isPartName(path.filename().string(), prefix)) {
            found.push_back(path.string());
        }
    }
    for (const std::string& path : found) removeAbandoned(path);
}

// Another process that removes leftovers may come between creating and locking. File systems
// without locks keep their leftovers.
bool holds(const PartFile& part) {
    const bool taken = ::flock(part.file.number, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    return !taken && isLinked(part.file.number, part.path);
}

}  // namespace

PartFile createPart(const std::string& target, mode_t mode) {
    const fs::path place(target);
    const std::string prefix = partPrefix(place);
    removeLeftovers(place.has_parent_path() ? place.parent_path() : fs::path("."), prefix);
    const BlockSignals blocked;
    // A number may be taken by a process of another container.
    for (int i = 0; i < kMostTries; ++i) {
        PartFile part;
        const std::string name = prefix + std::to_string(::getpid() + i) + std::string(kSuffix);
        part.path = (place.parent_path() / name).string();
        part.file =
            Descriptor(::open(part.path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (part.file.number < 0 && errno == EEXIST) continue;
        if (part.file.number >= 0 && !holds(part)) continue;
        if (part.file.number >= 0) removeOnSignal(part.path);
        return part;
    }
    errno = EEXIST;
    return {};
}

}  // namespace tool
