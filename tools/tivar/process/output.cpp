#include "process/output.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

#include "process/failure.h"
#include "process/inherited.h"
#include "process/interrupt.h"
#include "process/part_file.h"
#include "process/place.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr uint64_t kProbeSize = 1 << 20;  // a full disk shows at once

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

[[noreturn]] void failThere(const Output& output) {
    failAt(output.name, "is there already", "replace it with --overwrite");
}

// Only its owner reads an unfinished file whose place may be a private one's.
void openPart(Output& output) {
    PartFile part = createPart(output.target, output.replaced ? 0600 : 0666);
    if (part.file.number < 0) failErrno(output.name, errno);
    output.part = std::move(part.path);
    output.file = std::move(part.file);
    output.lock = duplicate(output.file.number);
}

void openDirectly(Output& output) {
    output.file = Descriptor(::open(output.name.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    if (output.file.number < 0) failErrno(output.name, errno);
}

void openOpened(Output& output, int descriptor) {
    output.file = duplicate(descriptor);
    const bool writable =
        output.file.number >= 0 && (::fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
    if (!writable) failErrno(output.name, EBADF);
}

// A link by which the system shows an open file says nothing about where it lies: the target is
// replaced only if it is the file that the name opens.
void openNamed(Output& output) {
    output.target = followLinks(output.name);
    struct stat status {};
    if (::stat(output.name.c_str(), &status) != 0) {
        if (errno != ENOENT) failErrno(output.name, errno);
        return openPart(output);
    }
    if (S_ISDIR(status.st_mode)) failErrno(output.name, EISDIR);
    if (!output.mayReplace) failThere(output);
    struct stat behind {};
    const bool replaceable = S_ISREG(status.st_mode) &&
                             ::lstat(output.target.c_str(), &behind) == 0 &&
                             sameFile(status, behind);
    if (!replaceable) return openDirectly(output);
    if (::access(output.target.c_str(), W_OK) != 0) failErrno(output.name, errno);
    if (const int why = whyNotReplaceable(output.target, status); why != 0) {
        failErrno(output.name, why);
    }
    output.replaced = status;
    openPart(output);
}

bool putInPlace(const Output& output) {
    if (!output.mayReplace) return renameFresh(output.part, output.target);
    return renameOver(output.part, output.target);
}

}  // namespace

std::string followLinks(const std::string& path) {
    std::error_code error;
    fs::path end = path;
    for (int i = 0; i < kMostLinks && fs::is_symlink(end, error); ++i) {
        end = end.parent_path() / fs::read_symlink(end, error);
    }
    return end.string();
}

Output::Output(const std::string& targetName, const Descriptor& standardOutput, bool mayReplaceFile)
    : name(isStandardOutput(targetName) ? "standard output" : targetName),
      mayReplace(mayReplaceFile) {
    if (isStandardOutput(targetName)) {
        openOpened(*this, standardOutput.number);
    } else if (const int opened = descriptorNamed(targetName); opened >= 0) {
        openOpened(*this, isInherited(opened) ? opened : -1);
    } else {
        openNamed(*this);
    }
}

Output::~Output() {
    if (!part.empty()) ::unlink(part.c_str());
    removeOnSignal("");
}

void commit(Output& output) {
    if (output.part.empty()) return;
    const bool kept = !output.replaced || inheritAccess(output.file.number, *output.replaced);
    // Some file systems tell only here that there was no room.
    const bool closed = ::close(std::exchange(output.file.number, -1)) == 0;
    if (!kept || !closed || !putInPlace(output)) {
        if (errno == EEXIST && !output.mayReplace) failThere(output);
        failErrno(output.name, errno);
    }
    output.part.clear();
}

void refuseOwnInput(const std::string& input, const std::string& target,
                    const std::string& remedy) {
    struct stat from {};
    struct stat to {};
    const bool known =
        (input == "-" ? ::fstat(STDIN_FILENO, &from) : ::stat(input.c_str(), &from)) == 0 &&
        !isStandardOutput(target) && ::stat(target.c_str(), &to) == 0;
    if (known && S_ISREG(to.st_mode) && sameFile(from, to)) {
        failAt(target, "is the input itself", remedy);
    }
}

void refuseTerminal(const std::string& target) {
    if (isStandardOutput(target) && ::isatty(STDOUT_FILENO) != 0) {
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
