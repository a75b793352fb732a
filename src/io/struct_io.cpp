// Records described by format strings: packed in the stream, naturally aligned in memory.
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "io/stream_record.h"

namespace tivar {
namespace {

// Of the letters of a format, whatever the locale.
constexpr char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Bytes of one item, which is also its alignment; 0 when the letter stands for no item.
int32_t itemWidth(char letter) {
    switch (upper(letter)) {
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

bool opensGroup(char c) {
    return c == '{' || c == '(';
}
bool closesGroup(char c) {
    return c == '}' || c == ')';
}

int64_t alignUp(int64_t offset, int64_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

// Reads a repeat count, 1 when there is none, and leaves format behind it.
int32_t repeatCount(const char*& format) {
    if (!isDigit(*format)) return 1;
    const int32_t count = parseInt(format);
    while (isDigit(*format)) ++format;
    return count;
}

// The group that starts at open ends here, or at the string's end.
const char* groupEnd(const char* open) {
    int32_t depth = 0;
    for (; *open != '\0'; ++open) {
        if (opensGroup(*open)) ++depth;
        if (closesGroup(*open) && --depth == 0) break;
    }
    return open;
}

constexpr int32_t kDeepestUnion = 64;

// Size of the union at format, whose closing position it returns. Unions nested deeper than anyone
// writes them count nothing, so that no format exhausts the stack.
const char* measureUnion(const char* format, int32_t* size, int32_t depth) {
    int64_t largest = 0;
    int64_t offset = 0;
    const char* p = format + 1;
    for (; *p != '\0' && *p != ')'; ++p) {
        const int32_t count = repeatCount(p);
        if (*p == '\0') break;
        if (const int32_t width = itemWidth(*p)) {
            offset = alignUp(offset, width) + int64_t{width} * count;
        } else if (opensGroup(*p)) {
            offset = alignUp(offset, GetPadWidth(p));
            if (*p == '(') {
                int32_t nested = 0;
                p = depth < kDeepestUnion ? measureUnion(p, &nested, depth + 1) : groupEnd(p);
                offset += nested;
                if (*p == '\0') break;
            }
        } else if (*p == '|') {
            // Kept: only alternatives ended by a bar count.
            largest = std::max(largest, offset);
            offset = 0;
        }
    }
    *size = static_cast<int32_t>(std::min<int64_t>(largest, INT32_MAX));
    return p;
}

// Where a transfer stands: offset counts from the start of the caller's memory.
struct Transfer {
    OxlStream stream;
    uint8_t* memory;
    bool reading;
    int64_t offset;
    int32_t last;     // result of the last element
    int32_t records;  // running count
    bool skipping;    // between [ and ]
};

void align(Transfer& transfer, int32_t alignment) {
    const int64_t aligned = alignUp(transfer.offset, alignment);
    if (transfer.reading)
        std::memset(transfer.memory + transfer.offset, 0,
                    static_cast<size_t>(aligned - transfer.offset));
    transfer.offset = aligned;
}

int32_t readElement(OxlStream stream, char letter, uint8_t* items, int32_t count) {
    switch (upper(letter)) {
        case 'C':
            return oxlReadChar(stream, items, count);
        case 'S':
            return oxlReadShort(stream, reinterpret_cast<uint16_t*>(items), count);
        case 'L':
            return oxlReadLong(stream, reinterpret_cast<uint32_t*>(items), count);
        case 'F':
            return oxlReadFloat(stream, reinterpret_cast<float*>(items), count);
        default:
            return oxlReadDouble(stream, reinterpret_cast<double*>(items), count);
    }
}

int32_t writeElement(OxlStream stream, char letter, const uint8_t* items, int32_t count) {
    switch (upper(letter)) {
        case 'C':
            return oxlWriteChar(stream, items, count);
        case 'S':
            return oxlWriteShort(stream, reinterpret_cast<const uint16_t*>(items), count);
        case 'L':
            return oxlWriteLong(stream, reinterpret_cast<const uint32_t*>(items), count);
        case 'F':
            return oxlWriteFloat(stream, reinterpret_cast<const float*>(items), count);
        default:
            return oxlWriteDouble(stream, reinterpret_cast<const double*>(items), count);
    }
}

void transferItems(Transfer& transfer, char letter, int32_t count) {
    const int32_t width = itemWidth(letter);
    align(transfer, width);
    uint8_t* items = transfer.memory + transfer.offset;
    if (!transfer.skipping) {
        transfer.last = transfer.reading ? readElement(transfer.stream, letter, items, count)
                                         : writeElement(transfer.stream, letter, items, count);
    }
    transfer.offset += int64_t{width} * count;
}

// One character of the format other than an item; returns the last character used up.
const char* transferSymbol(Transfer& transfer, const char* p) {
    switch (*p) {
        case '[':
            transfer.skipping = true;
            return p;
        case ']':
            transfer.skipping = false;
            return p;
        case '{':
            align(transfer, GetPadWidth(p));
            return p;
        case '|':
        case '}':
            return p;
        default:
            break;
    }
    const bool unionSymbol = *p == '(' || *p == ')' || upper(*p) == 'P';
    if (!transfer.reading || !unionSymbol) {
        transfer.records = -1;
        return p;
    }
    if (*p != '(') return p;
    align(transfer, GetPadWidth(p));
    int32_t size = 0;
    const char* end = GetUnionSize(p, &size);
    transfer.offset += size;
    return *end == '\0' ? end - 1 : end;
}

void transferRecord(Transfer& transfer, const char* format) {
    for (const char* p = format; *p != '\0'; ++p) {
        const int32_t count = repeatCount(p);
        if (*p == '\0') break;
        if (itemWidth(*p) != 0)
            transferItems(transfer, *p, count);
        else
            p = transferSymbol(transfer, p);
    }
}

int32_t transferRecords(Transfer transfer, const char* format, int32_t count) {
    if (transfer.stream == 0 || transfer.memory == nullptr || format == nullptr) return 0;
    const StreamUse use(transfer.stream);
    const int32_t alignment = GetPadWidth(format);
    for (int32_t i = 0; i < count && transfer.last >= 1; ++i) {
        transferRecord(transfer, format);
        align(transfer, alignment);
        ++transfer.records;
    }
    return transfer.last < 1 ? transfer.last : transfer.records;
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t oxlReadStruct(OxlStream stream, const char* format, void* destination, int32_t count) {
    return transferRecords({stream, static_cast<uint8_t*>(destination), true, 0, 1, 0, false},
                           format, count);
}

int32_t oxlWriteStruct(OxlStream stream, const char* format, const void* source, int32_t count) {
    // A writing transfer only reads its memory.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    auto* memory = static_cast<uint8_t*>(const_cast<void*>(source));
    return transferRecords({stream, memory, false, 0, 1, 0, false}, format, count);
}

int32_t GetPadWidth(const char* format) {
    if (format == nullptr) return 1;
    int32_t depth = opensGroup(*format) ? 0 : 1;
    int32_t width = 1;
    for (const char* p = format; *p != '\0'; ++p) {
        if (opensGroup(*p)) ++depth;
        if (closesGroup(*p)) --depth;
        width = std::max(width, itemWidth(*p));
        if (depth == 0 || width == 8) break;
    }
    return width;
}

const char* GetUnionSize(const char* format, int32_t* size) {
    if (format == nullptr || size == nullptr) return format;
    *size = 0;
    return *format == '\0' ? format : measureUnion(format, size, 0);
}
