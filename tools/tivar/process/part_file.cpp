#include "process/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>
#include <unordered_set>
#include <vector>

#include "process/interrupt.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr std::string_view kMark = ".tivar.";
constexpr std::string_view kSuffix = ".part";
constexpr size_t kLongestBase = 200;  // leaves room for the rest in a file name of 255 bytes
constexpr int kMostTries = 100;

bool g_leftoversGone = false;

// What the names of unfinished files of a target begin with.
std::string partPrefix(const fs::path& target) {
    return "." + target.filename().string().substr(0, kLongestBase) + std::string(kMark);
}

// The prefix of a name that is prefix, a number and the suffix; "" = it is none such.
std::string prefixOf(std::string_view name) {
    if (!name.starts_with('.') || !name.ends_with(kSuffix)) return "";
    name.remove_suffix(kSuffix.size());
    const size_t mark = name.rfind(kMark);
    if (mark == std::string_view::npos || mark + kMark.size() == name.size()) return "";
    const std::string_view number = name.substr(mark + kMark.size());
    const bool digits =
        std::all_of(number.begin(), number.end(), [](unsigned char c) { return std::isdigit(c); });
    return digits ? std::string(name.substr(0, mark + kMark.size())) : "";
}

fs::path directoryOf(const fs::path& target) {
    return target.has_parent_path() ? target.parent_path() : fs::path(".");
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

using Prefixes = std::unordered_set<std::string>;

void removeLeftoversIn(const fs::path& directory, const Prefixes& prefixes) {
    std::error_code error;
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
        const std::string prefix = prefixOf(entry.path().filename().string());
        if (!prefix.empty() && prefixes.contains(prefix) && entry.is_regular_file(error)) {
            found.push_back(entry.path().string());
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

void removeLeftovers(const std::vector<std::string>& targets) {
    std::map<std::string, Prefixes> directories;
    for (const std::string& target : targets) {
        directories[directoryOf(target).string()].insert(partPrefix(target));
    }
    for (const auto& [directory, prefixes] : directories) removeLeftoversIn(directory, prefixes);
    g_leftoversGone = true;
}

PartFile createPart(const std::string& target, mode_t mode) {
    const fs::path place(target);
    const std::string prefix = partPrefix(place);
    if (!g_leftoversGone) removeLeftoversIn(directoryOf(place), {prefix});
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
