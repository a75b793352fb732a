#include "output.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "failure.h"
#include "interrupt.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr char kSuffix[] = ".part";
constexpr size_t kLongestBase = 200;  // leaves room for the rest in a file name of 255 bytes
constexpr int kMostLinks = 40;
constexpr uint64_t kProbeSize = 1 << 20;  // a full disk shows at once

// The file that a chain of symbolic links ends at, which need not exist.
fs::path followLinks(fs::path path) {
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
        path = path.parent_path() / fs::read_symlink(path, error);
    }
    return path;
}

fs::path directoryOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

std::string partPrefix(const fs::path& target) {
    return "." + target.filename().string().substr(0, kLongestBase) + ".tivar.";
}

// Whether name is prefix, the id of a process that is gone or ours, and the suffix.
bool isLeftover(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix) || !name.ends_with(kSuffix)) return false;
    name.remove_prefix(prefix.size());
    const auto digits = name.substr(0, name.find('.'));
    pid_t process = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), process);
    if (error != std::errc() || end != digits.data() + digits.size()) return false;
    if (name.substr(digits.size()) != kSuffix || process <= 0) return false;
    return process == ::getpid() || (::kill(process, 0) != 0 && errno == ESRCH);
}

void removeLeftovers(const fs::path& target) {
    const std::string prefix = partPrefix(target);
    std::error_code error;
    std::vector<fs::path> leftovers;
    for (const fs::directory_entry& entry : fs::directory_iterator(directoryOf(target), error)) {
        if (isLeftover(entry.path().filename().string(), prefix)) leftovers.push_back(entry.path());
    }
    for (const fs::path& leftover : leftovers) fs::remove(leftover, error);
}

void openPart(Output& output) {
    removeLeftovers(output.target);
    const fs::path target(output.target);
    output.part =
        (target.parent_path() / (partPrefix(target) + std::to_string(::getpid()) + kSuffix))
            .string();
    removeOnSignal(output.part);
    output.file =
        Descriptor(::open(output.part.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (output.file.number < 0) failErrno(output.name, errno);
}

void openDevice(Output& output) {
    output.file = Descriptor(::open(output.target.c_str(), O_WRONLY | O_CLOEXEC));
    if (output.file.number < 0) failErrno(output.name, errno);
}

void openNamed(Output& output) {
    output.target = followLinks(output.name).string();
    struct stat status {};
    if (::stat(output.target.c_str(), &status) != 0) {
        if (errno != ENOENT) failErrno(output.name, errno);
        return openPart(output);
    }
    if (S_ISDIR(status.st_mode)) failErrno(output.name, EISDIR);
    if (!S_ISREG(status.st_mode)) return openDevice(output);
    if (::access(output.target.c_str(), W_OK) != 0) failErrno(output.name, errno);
    output.mode = status.st_mode & 0777;
    openPart(output);
}

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

Output::Output(const std::string& targetName, const Descriptor& standardOutput)
    : name(targetName == "-" ? "standard output" : targetName) {
    if (targetName != "-") {
        openNamed(*this);
        return;
    }
    file = Descriptor(::fcntl(standardOutput.number, F_DUPFD_CLOEXEC, 3));
    if (file.number < 0) failErrno(name, errno);
}

Output::~Output() {
    if (!part.empty()) ::unlink(part.c_str());
    removeOnSignal("");
}

void commit(Output& output) {
    if (output.part.empty()) return;
    const bool kept = output.mode == 0 || ::fchmod(output.file.number, output.mode) == 0;
    // Some file systems tell only here that there was no room.
    const bool closed = ::close(std::exchange(output.file.number, -1)) == 0;
    if (!kept || !closed || ::rename(output.part.c_str(), output.target.c_str()) != 0) {
        failErrno(output.name, errno);
    }
    output.part.clear();
}

void refuseOwnInput(const std::string& input, const std::string& target) {
    struct stat from {};
    struct stat to {};
    const bool known =
        (input == "-" ? ::fstat(STDIN_FILENO, &from) : ::stat(input.c_str(), &from)) == 0 &&
        target != "-" && ::stat(target.c_str(), &to) == 0;
    if (known && S_ISREG(to.st_mode) && sameFile(from, to)) {
        failAt(target, "is the input itself", "name another file with -o");
    }
}

void refuseTerminal(const std::string& target) {
    if (target == "-" && ::isatty(STDOUT_FILENO) != 0) {
        failUsage("a picture is not written to the terminal", "redirect standard output");
    }
}

int probeGrowth(const Output& output, uint64_t count) {
    static const std::vector<char> zeros(1 << 16);
    ::lseek(output.file.number, 0, SEEK_END);
    for (uint64_t left = std::min(count, kProbeSize); left != 0;) {
        const auto step = static_cast<size_t>(std::min<uint64_t>(left, zeros.size()));
        const int error = writeAll(output.file.number, zeros.data(), step);
        if (error != 0) return error;
        left -= step;
    }
    return 0;
}

}  // namespace tool
