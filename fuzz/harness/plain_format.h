// Records described by format strings, one item at a time over plain bytes: what the library's
// record routines are held against.
#pragma once

#include <string>

#include "harness/input.h"

namespace fuzz {

// Alignment of the record or group that starts at position.
int plainPadWidth(const std::string& format, std::size_t position);

struct PlainUnion {
    std::int32_t size;
    std::size_t end;  // position of the closing parenthesis, or the format's length
};
PlainUnion plainUnionSize(const std::string& format, std::size_t position);

// The far end of a transfer, and the conversions that it asks for.
struct PlainWire {
    Bytes bytes;
    std::size_t position = 0;  // reading
    std::size_t room = 0;      // writing
    bool failed = false;       // a write found no room
    bool bigEndian = false;
    bool fixedPoint = false;

    std::int32_t write(const Bytes& items);
};

// Bytes of memory that count records take; more than limit counts as limit + 1.
std::uint64_t plainExtent(const std::string& format, bool reading, std::int32_t count,
                          std::uint64_t limit);

// Transfers count records between the wire and memory, which holds plainExtent bytes.
std::int32_t plainRead(PlainWire& wire, const std::string& format, Bytes& memory,
                       std::int32_t count);
std::int32_t plainWrite(PlainWire& wire, const std::string& format, const Bytes& memory,
                        std::int32_t count);

// The array of one letter at the start of memory.
std::int32_t plainReadItems(PlainWire& wire, char letter, Bytes& memory, std::int32_t count);
std::int32_t plainWriteItems(PlainWire& wire, char letter, const Bytes& memory, std::int32_t count);

}  // namespace fuzz
