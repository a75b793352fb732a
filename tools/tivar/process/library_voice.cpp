#include "process/library_voice.h"

#include <sys/mman.h>

#include <cstdio>

#include "process/failure.h"

namespace tool {

LibraryVoice::LibraryVoice()
    : standardOutput(duplicate(STDOUT_FILENO)), spoken(::memfd_create("tivar-voice", MFD_CLOEXEC)) {
    std::fflush(stdout);
    if (spoken.number < 0 || ::dup2(spoken.number, STDOUT_FILENO) < 0) failErrno("", errno);
}

LibraryVoice::~LibraryVoice() {
    std::fflush(stdout);
    if (standardOutput.number >= 0) ::dup2(standardOutput.number, STDOUT_FILENO);
}

std::string LibraryVoice::firstLine() const {
    std::fflush(stdout);
    char text[200];
    const ssize_t count = ::pread(spoken.number, text, sizeof text, 0);
    if (count <= 0) return "";
    const std::string all(text, static_cast<std::size_t>(count));
    return all.substr(0, all.find('\n'));
}

}  // namespace tool
