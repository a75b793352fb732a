// Pictures that are read while they are written: no more than a band of rows is in memory.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "picture/image.h"
#include "process/system.h"

namespace tool {

// A file that has the rows of a picture one after the other, with nothing to decode.
struct FileRows {
    OpenFile file;
    Image outline;      // the picture without its pixels
    uint64_t start{};   // where the top row begins
    size_t rowBytes{};  // from there to the next
    std::vector<uint8_t> band;
    uint32_t first{};  // the band's top row
    uint32_t count{};
};

// None of a file that ends before its last row, and of what is no regular file.
std::optional<FileRows> rowsOf(OpenFile file, Image outline, uint64_t start);

// The same of a PNM file whose values are bytes; none of any other file, and of one that cannot be
// read: to read it whole says why.
std::optional<FileRows> pnmRows(const std::string& name, const ReadRequest& request);

// Puts row y, counted from the top, into to. Rows in sequence, up or down, are read in bands. It
// is a Failure when the file has been cut short meanwhile.
void readRow(FileRows& rows, uint32_t y, uint8_t* to);

// What is said of a picture of which only so many rows are there.
[[noreturn]] void failShort(uint32_t rows, uint32_t height);

}  // namespace tool
