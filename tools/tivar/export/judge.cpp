#include "export/judge.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "bmp/little_endian.h"
#include "process/failure.h"

namespace tool {
namespace {

constexpr uint8_t kEndMark = 0xFF;

// The size field tells the raw size, also of files in the native form.
uint64_t wantedLength(const FileStart& start, const ExportPlan& plan) {
    const BmpHeaders headers = headersIn(start.bytes);
    if (!plan.native) return headers.fileSize;
    // There also where the header has no such field.
    return uint64_t{headers.pixelOffset} + little32(&start.bytes[kBmpImageSize]);
}

bool headerFits(const FileStart& start, const ExportPlan& plan) {
    const PixelSize size = sizeInFile(start);
    const BmpHeaders headers = headersIn(start.bytes);
    const bool sizeFits = plan.sizeFromProfile
                              ? size.width != 0 && size.height != 0
                              : size.width == plan.size.width && size.height == plan.size.height;
    const bool flavourFits = hasCoreHeader(headers) == (plan.flavour == Flavour::Os2);
    return start.bytes[0] == 'B' && start.bytes[1] == 'M' && sizeFits && flavourFits &&
           headers.bits == plan.bits;
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

PixelSize sizeInFile(const FileStart& start) {
    const BmpHeaders headers = headersIn(start.bytes);
    return {static_cast<uint32_t>(headers.width), static_cast<uint32_t>(headers.height)};
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
    if (start.length > wanted || wanted <= headersIn(start.bytes).pixelOffset) {
        return {"the file came out with a length that does not fit its header", 1};
    }
    return {};
}

}  // namespace tool
