#include "harness/plain_format.h"

#include <functional>

namespace fuzz {
namespace {

constexpr int kDeepestUnion = 64;

char at(const std::string& format, std::size_t position) {
    return position < format.size() ? format[position] : '\0';
}

char letterAt(const std::string& format, std::size_t position) {
    const char letter = at(format, position);
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 32) : letter;
}

std::int64_t widthOf(char letter) {
    switch (letter) {
        case 'C':
            return 1;
        case 'S':
            return 2;
        case 'L':
        case 'F':
            return 4;
        case 'D':
            return 8;
        default:
            return 0;
    }
}

// Digits in front of a letter; no number is too long.
std::int64_t takeCount(const std::string& format, std::size_t& position) {
    const std::size_t start = position;
    std::int64_t count = 0;
    for (; at(format, position) >= '0' && at(format, position) <= '9'; ++position)
        count = std::min<std::int64_t>(count * 10 + (format[position] - '0'), INT32_MAX);
    return position == start ? 1 : count;
}

std::int64_t aligned(std::int64_t offset, std::int64_t alignment) {
    while (offset % alignment != 0) ++offset;
    return offset;
}

std::size_t closingOf(const std::string& format, std::size_t position) {
    int depth = 0;
    for (; position < format.size(); ++position) {
        const char c = format[position];
        if (c == '{' || c == '(') ++depth;
        if ((c == '}' || c == ')') && --depth == 0) return position;
    }
    return position;
}

PlainUnion measureUnion(const std::string& format, std::size_t position, int depth) {
    std::int64_t size = 0;
    std::int64_t offset = 0;
    std::size_t p = position + 1;
    while (p < format.size() && format[p] != ')') {
        const std::int64_t count = takeCount(format, p);
        const char letter = letterAt(format, p);
        if (const std::int64_t width = widthOf(letter); width != 0) {
            offset = aligned(offset, width) + width * count;
        } else if (letter == '{' || letter == '(') {
            offset = aligned(offset, plainPadWidth(format, p));
            if (letter == '(') {
                // Nobody nests unions deeper, and no format may exhaust the stack.
                const PlainUnion nested = depth < kDeepestUnion
                                              ? measureUnion(format, p, depth + 1)
                                              : PlainUnion{0, closingOf(format, p)};
                offset += nested.size;
                p = nested.end;
            }
        } else if (letter == '|') {
            size = std::max(size, offset);
            offset = 0;
        }
        if (p < format.size()) ++p;
    }
    return {static_cast<std::int32_t>(std::min<std::int64_t>(size, INT32_MAX)), p};
}

Bytes inOrder(const Bytes& memory, std::size_t offset, std::size_t width, bool bigEndian) {
    // Least significant first in the host's memory or not, the wire's order is the stream's.
    std::uint64_t value = 0;
    if (width == 2) {
        std::uint16_t item;
        std::memcpy(&item, memory.data() + offset, width);
        value = item;
    } else if (width == 4) {
        std::uint32_t item;
        std::memcpy(&item, memory.data() + offset, width);
        value = item;
    } else {
        std::memcpy(&value, memory.data() + offset, width);
    }
    Bytes wire;
    for (std::size_t i = 0; i < width; ++i)
        wire.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? width - 1 - i : i)));
    return wire;
}

std::uint64_t numberOf(const Bytes& memory, std::size_t offset, std::size_t width, bool bigEndian) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value = value << 8 | memory[offset + (bigEndian ? i : width - 1 - i)];
    return value;
}

std::int64_t truncated(double value) {
    if (std::isnan(value)) return 0;
    return static_cast<std::int64_t>(std::clamp(value, -2147483648.0, 2147483647.0));
}

Bytes fixedPointOf(const Bytes& memory, std::size_t offset) {
    float value;
    std::memcpy(&value, memory.data() + offset, sizeof value);
    const auto whole = static_cast<std::int16_t>(truncated(value));
    const auto fraction =
        static_cast<std::uint16_t>(truncated((static_cast<double>(value) - whole) * 65536.0));
    const auto low = static_cast<std::uint16_t>(whole);
    return {static_cast<std::uint8_t>(fraction >> 8), static_cast<std::uint8_t>(fraction),
            static_cast<std::uint8_t>(low >> 8), static_cast<std::uint8_t>(low)};
}

Bytes encoded(const PlainWire& wire, char letter, const Bytes& memory, std::size_t offset) {
    const auto width = static_cast<std::size_t>(widthOf(letter));
    if (letter == 'F' && wire.fixedPoint) return fixedPointOf(memory, offset);
    Bytes bytes = inOrder(memory, offset, width, wire.bigEndian);
    // A double with the most significant byte first leaves as b4 b5 b6 b7 b3 b2 b1 b0.
    if (letter == 'D' && wire.bigEndian)
        bytes = {bytes[4], bytes[5], bytes[6], bytes[7], bytes[3], bytes[2], bytes[1], bytes[0]};
    return bytes;
}

void decode(const PlainWire& wire, char letter, Bytes& memory, std::size_t offset) {
    const auto width = static_cast<std::size_t>(widthOf(letter));
    const std::uint64_t value = numberOf(memory, offset, width, wire.bigEndian);
    const auto value16 = static_cast<std::uint16_t>(value);
    const auto value32 = static_cast<std::uint32_t>(value);
    const auto fixed = static_cast<float>(static_cast<std::int32_t>(value32) / 65536.0);
    const void* item = letter == 'S'                      ? static_cast<const void*>(&value16)
                       : letter == 'D'                    ? static_cast<const void*>(&value)
                       : letter == 'F' && wire.fixedPoint ? static_cast<const void*>(&fixed)
                                                          : static_cast<const void*>(&value32);
    std::memcpy(memory.data() + offset, item, width);
}

std::int32_t readItemsAt(PlainWire& wire, char letter, Bytes& memory, std::size_t offset,
                         std::int64_t count) {
    const auto width = static_cast<std::size_t>(widthOf(letter));
    const std::size_t wanted = width * static_cast<std::size_t>(count);
    const std::size_t come = std::min(wanted, wire.bytes.size() - wire.position);
    std::copy_n(wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.position), come,
                memory.begin() + static_cast<std::ptrdiff_t>(offset));
    wire.position += come;
    if (letter == 'C') return static_cast<std::int32_t>(come);
    if (come < wanted) return 0;
    for (std::size_t i = 0; i < wanted; i += width) decode(wire, letter, memory, offset + i);
    return static_cast<std::int32_t>(count);
}

std::int32_t writeItemsAt(PlainWire& wire, char letter, const Bytes& memory, std::size_t offset,
                          std::int64_t count) {
    const auto width = static_cast<std::size_t>(widthOf(letter));
    if (letter == 'C') {
        const auto first = memory.begin() + static_cast<std::ptrdiff_t>(offset);
        return wire.write(Bytes(first, first + static_cast<std::ptrdiff_t>(count)));
    }
    std::int32_t handled = 0;
    std::int32_t last = 1;
    for (std::int64_t i = 0; i < count && last >= 1; ++i, ++handled)
        last =
            wire.write(encoded(wire, letter, memory, offset + static_cast<std::size_t>(i) * width));
    return last < 1 ? last : handled;
}

// What a walk over the records meets: items to transfer or to skip, and gaps.
struct Walker {
    std::function<std::int32_t(char, std::int64_t, std::int64_t)>
        transfer;                                         // letter, offset, count
    std::function<void(std::int64_t, std::int64_t)> gap;  // from, to
    std::uint64_t limit;
};

struct Walked {
    std::int32_t result;
    std::int64_t offset;
};

Walked walk(const std::string& format, bool reading, std::int32_t count, const Walker& walker) {
    std::int64_t offset = 0;
    std::int32_t last = 1;
    std::int32_t records = 0;
    const auto align = [&](std::int64_t alignment) {
        const std::int64_t next = aligned(offset, alignment);
        if (next != offset) walker.gap(offset, next);
        offset = next;
    };
    // A bracket that is never closed goes on into the next record.
    bool skipping = false;
    for (std::int32_t i = 0; i < count && last >= 1; ++i) {
        for (std::size_t p = 0; p < format.size(); ++p) {
            const std::int64_t repeat = takeCount(format, p);
            const char letter = letterAt(format, p);
            if (const std::int64_t width = widthOf(letter); width != 0) {
                align(width);
                if (!skipping) last = walker.transfer(letter, offset, repeat);
                offset += width * repeat;
            } else if (letter == '[' || letter == ']') {
                skipping = letter == '[';
            } else if (letter == '{') {
                align(plainPadWidth(format, p));
            } else if (letter == '(' && reading) {
                align(plainPadWidth(format, p));
                const PlainUnion found = plainUnionSize(format, p);
                offset += found.size;
                p = found.end;
            } else if (letter != '\0' && letter != '|' && letter != '}' &&
                       !(reading && (letter == ')' || letter == 'P'))) {
                records = -1;
            }
            if (static_cast<std::uint64_t>(offset) > walker.limit) return {0, offset};
        }
        align(plainPadWidth(format, 0));
        ++records;
    }
    return {last < 1 ? last : records, offset};
}

}  // namespace

int plainPadWidth(const std::string& format, std::size_t position) {
    int depth = at(format, position) == '{' || at(format, position) == '(' ? 0 : 1;
    int width = 1;
    for (; position < format.size(); ++position) {
        const char letter = letterAt(format, position);
        if (letter == '{' || letter == '(') ++depth;
        if (letter == '}' || letter == ')') --depth;
        if (letter == 'D') width = 8;
        if ((letter == 'F' || letter == 'L') && width < 4) width = 4;
        if (letter == 'S' && width < 2) width = 2;
        if (depth == 0 || width == 8) break;
    }
    return width;
}

PlainUnion plainUnionSize(const std::string& format, std::size_t position) {
    if (position >= format.size()) return {0, position};
    return measureUnion(format, position, 0);
}

std::int32_t PlainWire::write(const Bytes& items) {
    for (const std::uint8_t byte : items) {
        if (bytes.size() >= room) {
            if (failed) return 0;
            failed = true;
            return -1;
        }
        bytes.push_back(byte);
    }
    return static_cast<std::int32_t>(items.size());
}

std::uint64_t plainExtent(const std::string& format, bool reading, std::int32_t count,
                          std::uint64_t limit) {
    const Walker walker = {[](char, std::int64_t, std::int64_t) { return 1; },
                           [](std::int64_t, std::int64_t) {}, limit};
    const Walked walked = walk(format, reading, count, walker);
    return std::min(static_cast<std::uint64_t>(walked.offset), limit + 1);
}

std::int32_t plainRead(PlainWire& wire, const std::string& format, Bytes& memory,
                       std::int32_t count) {
    const Walker walker = {[&](char letter, std::int64_t offset, std::int64_t repeat) {
                               return readItemsAt(wire, letter, memory,
                                                  static_cast<std::size_t>(offset), repeat);
                           },
                           [&](std::int64_t from, std::int64_t to) {
                               std::fill(memory.begin() + static_cast<std::ptrdiff_t>(from),
                                         memory.begin() + static_cast<std::ptrdiff_t>(to), 0);
                           },
                           UINT64_MAX};
    return walk(format, true, count, walker).result;
}

std::int32_t plainWrite(PlainWire& wire, const std::string& format, const Bytes& memory,
                        std::int32_t count) {
    const Walker walker = {[&](char letter, std::int64_t offset, std::int64_t repeat) {
                               return writeItemsAt(wire, letter, memory,
                                                   static_cast<std::size_t>(offset), repeat);
                           },
                           [](std::int64_t, std::int64_t) {}, UINT64_MAX};
    return walk(format, false, count, walker).result;
}

std::int32_t plainReadItems(PlainWire& wire, char letter, Bytes& memory, std::int32_t count) {
    return readItemsAt(wire, letter, memory, 0, count);
}

std::int32_t plainWriteItems(PlainWire& wire, char letter, const Bytes& memory,
                             std::int32_t count) {
    return writeItemsAt(wire, letter, memory, 0, count);
}

}  // namespace fuzz
