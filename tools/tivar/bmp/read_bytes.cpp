#include "bmp/read_bytes.h"

#include <cerrno>
#include <cstdio>
#include <limits>

#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

constexpr size_t kStep = 1 << 18;

// The file header counts in 32 bits.
constexpr uint64_t kLargestBmp = std::numeric_limits<uint32_t>::max();

bool beginsLikeBmp(const std::vector<uint8_t>& bytes) {
    return bytes.size() >= 2 && bytes[0] == 'B' && bytes[1] == 'M';
}

}  // namespace

std::vector<uint8_t> readBmpBytes(const std::string& name) {
    return readBmpBytes(openInput(name).get());
}

std::vector<uint8_t> readBmpBytes(std::FILE* file) {
    std::vector<uint8_t> bytes;
    for (bool more = true; more;) {
        const size_t before = bytes.size();
        bytes.resize(before + kStep);
        const size_t got = std::fread(bytes.data() + before, 1, kStep, file);
        if (std::ferror(file) != 0) failErrno("", errno);
        bytes.resize(before + got);
        if (bytes.empty()) fail("is empty", "get a complete copy of it");
        if (!beginsLikeBmp(bytes)) fail("is no BMP file", "name a file that begins with BM");
        if (bytes.size() > kLargestBmp) fail("is larger than a BMP file can be", "check the file");
        more = got == kStep;
    }
    return bytes;
}

}  // namespace tool
