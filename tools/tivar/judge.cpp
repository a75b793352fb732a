#include "judge.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "failure.h"
#include "little_endian.h"

namespace tool {
namespace {

constexpr uint8_t kEndMark = 0xFF;

// Places in the file.
enum {
    kFileSize = 2,
    kPixelOffset = 10,
    kWidth = 18,
    kHeight = 22,
    kHeightOs2 = 20,
    kBits = 28,
    kBitsOs2 = 24,
    kEncodedSize = 34
};

// The size field tells the raw size, also of files in the native form.
uint64_t wantedLength(const FileStart& start, const ExportPlan& plan) {
    if (!plan.native) return little32(&start.bytes[kFileSize]);
    return uint64_t{little32(&start.bytes[kPixelOffset])} + little32(&start.bytes[kEncodedSize]);
}

bool headerFits(const FileStart& start, const ExportPlan& plan) {
    const PixelSize size = sizeInFile(start, plan);
    const bool sizeFits = plan.sizeFromProfile
                              ? size.width != 0 && size.height != 0
                              : size.width == plan.size.width && size.height == plan.size.height;
    return start.bytes[0] == 'B' && start.bytes[1] == 'M' && sizeFits &&
           little16(&start.bytes[plan.os2 ? kBitsOs2 : kBits]) == plan.bits;
}

}  // namespace

FileStart startOf(int file) {
    FileStart start;
    struct stat status {};
    if (::fstat(file, &status) != 0 ||
        ::pread(file, start.bytes.data(), start.bytes.size(), 0) < 0) {
        failErrno("", errno);
    }
    start.length = static_cast<uint64_t>(status.st_size);
    return start;
}

FileStart startOf(const uint8_t* data, uint64_t length) {
    FileStart start;
    start.length = length;
    std::copy_n(data, std::min<uint64_t>(length, start.bytes.size()), start.bytes.begin());
    return start;
}

uint64_t contentLength(const Block& memory) {
    const uint8_t* data = memory.bytes();
    uint64_t length = data == nullptr ? 0 : memory.library->globalSize(memory.handle);
    while (length != 0 && data[length - 1] == 0) --length;
    return length != 0 && data[length - 1] == kEndMark ? length - 1 : 0;
}

PixelSize sizeInFile(const FileStart& start, const ExportPlan& plan) {
    if (plan.os2) return {little16(&start.bytes[kWidth]), little16(&start.bytes[kHeightOs2])};
    return {little32(&start.bytes[kWidth]), little32(&start.bytes[kHeight])};
}

Verdict judge(const FileStart& start, const ExportPlan& plan) {
    if (start.length == 0) return {"the library wrote nothing", 1};
    if (!headerFits(start, plan)) {
        return {"the file came out with a header that does not fit the picture", 1};
    }
    const uint64_t wanted = wantedLength(start, plan);
    if (start.length < wanted) {
        return {"the file came out " + std::to_string(wanted - start.length) + " bytes short",
                wanted - start.length};
    }
    if (start.length > wanted || wanted <= little32(&start.bytes[kPixelOffset])) {
        return {"the file came out with a length that does not fit its header", 1};
    }
    return {};
}

}  // namespace tool
