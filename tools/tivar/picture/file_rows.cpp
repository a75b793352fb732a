#include "picture/file_rows.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "process/failure.h"

namespace tool {
namespace {

// It stays in the processor's cache until the rows are taken from it.
constexpr size_t kBandBytes = 1 << 16;

uint64_t lengthOf(const FileRows& rows) {
    struct stat status {};
    const bool known = ::fstat(fileno(rows.file.get()), &status) == 0 && S_ISREG(status.st_mode);
    return known ? static_cast<uint64_t>(status.st_size) : 0;
}

uint32_t completeRows(const FileRows& rows) {
    const uint64_t length = lengthOf(rows);
    const uint64_t count = length < rows.start ? 0 : (length - rows.start) / rows.rowBytes;
    return static_cast<uint32_t>(std::min<uint64_t>(count, rows.outline.height));
}

// The band with row y in it that goes on where the last one ended.
void moveBand(FileRows& rows, uint32_t y) {
    const uint32_t height = rows.outline.height;
    const auto most =
        static_cast<uint32_t>(std::clamp<size_t>(kBandBytes / rows.rowBytes, 1, height));
    const bool upwards = y < rows.first || rows.count == 0;
    rows.first = upwards && y >= most ? y + 1 - most : upwards ? 0 : y;
    rows.count = upwards ? y + 1 - rows.first : std::min(most, height - y);
    rows.band.resize(most * rows.rowBytes);
}

void readBand(FileRows& rows) {
    const size_t wanted = rows.count * rows.rowBytes;
    for (size_t done = 0; done < wanted;) {
        const uint64_t place =
            rows.start + static_cast<uint64_t>(rows.first) * rows.rowBytes + done;
        const ssize_t got = ::pread(fileno(rows.file.get()), &rows.band[done], wanted - done,
                                    static_cast<off_t>(place));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) failShort(completeRows(rows), rows.outline.height);
        done += static_cast<size_t>(got);
    }
}

}  // namespace

std::optional<FileRows> rowsOf(OpenFile file, Image outline, uint64_t start) {
    FileRows rows;
    rows.rowBytes = size_t{outline.width} * bitsOf(outline.format) / 8;
    rows.file = std::move(file);
    rows.outline = std::move(outline);
    rows.start = start;
    if (completeRows(rows) < rows.outline.height) return {};
    return rows;
}

void readRow(FileRows& rows, uint32_t y, uint8_t* to) {
    if (y < rows.first || y - rows.first >= rows.count) {
        moveBand(rows, y);
        readBand(rows);
    }
    std::copy_n(&rows.band[(y - rows.first) * rows.rowBytes], rows.rowBytes, to);
}

void failShort(uint32_t rows, uint32_t height) {
    fail("the picture is cut short (" + std::to_string(rows) + " of " + std::to_string(height) +
             " rows are complete)",
         "get a complete copy of it");
}

}  // namespace tool
