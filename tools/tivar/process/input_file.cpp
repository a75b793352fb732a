#include "process/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <limits>

#include "process/failure.h"

namespace tool {
namespace {

constexpr size_t kFileBuffer = 1 << 18;

}  // namespace

std::string nameOfInput(const std::string& name) {
    return name == "-" ? "standard input" : name;
}

OpenFile openInput(const std::string& name) {
    Descriptor descriptor = name == "-" ? duplicate(STDIN_FILENO)
                                        : Descriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    const int opened = descriptor.number;
    struct stat status {};
    if (opened < 0 || ::fstat(opened, &status) != 0) failErrno("", errno);
    if ((::fcntl(opened, F_GETFL) & O_ACCMODE) == O_WRONLY) {
        fail("is not open for reading", "redirect a file into it or name one");
    }
    if (S_ISDIR(status.st_mode)) fail("is a directory", "name the files in it");
    OpenFile file(::fdopen(opened, "rb"));
    if (file == nullptr) failErrno("", errno);
    descriptor.number = -1;
    std::setvbuf(file.get(), nullptr, _IOFBF, kFileBuffer);
    return file;
}

std::vector<uint8_t> readAll(std::FILE* file) {
    std::vector<uint8_t> bytes;
    for (size_t got = kFileBuffer; got == kFileBuffer;) {
        const size_t before = bytes.size();
        bytes.resize(before + kFileBuffer);
        got = std::fread(bytes.data() + before, 1, kFileBuffer, file);
        if (std::ferror(file) != 0) failErrno("", errno);
        bytes.resize(before + got);
        if (bytes.size() > std::numeric_limits<uint32_t>::max()) {
            fail("has more than 4 gigabytes", "convert it first");
        }
    }
    return bytes;
}

}  // namespace tool
