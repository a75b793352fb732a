#include "input_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <limits>

#include "failure.h"

namespace tool {
namespace {

constexpr size_t kFileBuffer = 1 << 18;

// The file header counts in 32 bits.
constexpr uint64_t kLargestBmp = std::numeric_limits<uint32_t>::max();

bool beginsLikeBmp(const std::vector<uint8_t>& bytes) {
    return bytes.size() >= 2 && bytes[0] == 'B' && bytes[1] == 'M';
}

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

std::vector<uint8_t> readBmpBytes(const std::string& name) {
    const OpenFile file = openInput(name);
    std::vector<uint8_t> bytes;
    for (bool more = true; more;) {
        const size_t before = bytes.size();
        bytes.resize(before + kFileBuffer);
        const size_t got = std::fread(bytes.data() + before, 1, kFileBuffer, file.get());
        if (std::ferror(file.get()) != 0) failErrno("", errno);
        bytes.resize(before + got);
        if (bytes.empty()) fail("is empty", "get a complete copy of it");
        if (!beginsLikeBmp(bytes)) fail("is no BMP file", "name a file that begins with BM");
        if (bytes.size() > kLargestBmp) fail("is larger than a BMP file can be", "check the file");
        more = got == kFileBuffer;
    }
    return bytes;
}

}  // namespace tool
