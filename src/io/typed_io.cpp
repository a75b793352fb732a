// Arrays of numbers in the byte order of their stream. Items are handled as bytes, so that neither
// the host's own byte order nor the alignment of its arrays matters.
#include <tivar/stream.h>

#include <cstring>

#include "base/numbers.h"
#include "io/stream_record.h"

namespace tivar {
namespace {

constexpr int16_t kBigEndian = 1;
constexpr int16_t kFixedPoint = 1;

struct DataFormat {
    int16_t byteOrder;
    int16_t floatFormat;
};

DataFormat dataFormat(OxlStream stream) {
    const Locked<StreamRecord> record(stream);
    if (!record) return {0, 0};
    return {record->byteOrder, record->floatFormat};
}

template <class Word>
Word load(const void* items, int32_t i) {
    Word value;
    std::memcpy(&value, static_cast<const uint8_t*>(items) + static_cast<size_t>(i) * sizeof value,
                sizeof value);
    return value;
}

template <class Word>
void store(void* items, int32_t i, Word value) {
    std::memcpy(static_cast<uint8_t*>(items) + static_cast<size_t>(i) * sizeof value, &value,
                sizeof value);
}

template <class Word>
void toBytes(uint8_t* bytes, Word value, bool bigEndian) {
    for (size_t i = 0; i < sizeof value; ++i) {
        const size_t place = bigEndian ? sizeof value - 1 - i : i;
        bytes[place] = static_cast<uint8_t>(value >> (8 * i));
    }
}

template <class Word>
Word fromBytes(const uint8_t* bytes, bool bigEndian) {
    Word value = 0;
    for (size_t i = 0; i < sizeof value; ++i) {
        const size_t place = bigEndian ? i : sizeof value - 1 - i;
        value = static_cast<Word>((value << 8) | bytes[place]);
    }
    return value;
}

// Writes count items, each put into bytes by encode(bytes, item number).
template <size_t kBytes, class Encode>
int32_t writeItems(OxlStream stream, const void* items, int32_t count, Encode encode) {
    if (items == nullptr) return kFailed;
    const StreamUse use(stream);
    int32_t last = 1;
    int32_t done = 0;
    for (; done < count && last >= 1; ++done) {
        uint8_t bytes[kBytes];
        encode(bytes, done);
        last = oxlWrite(stream, bytes, kBytes);
    }
    return last < 1 ? last : done;
}

// Reads count items whole, then converts each in place.
template <class Word, class Decode>
int32_t readItems(OxlStream stream, void* items, int32_t count, Decode decode) {
    constexpr auto kBytes = static_cast<int32_t>(sizeof(Word));
    if (items == nullptr || count < 0 || count > INT32_MAX / kBytes) return 0;
    if (oxlRead(stream, items, count * kBytes) < count * kBytes) return 0;
    for (int32_t i = 0; i < count; ++i)
        store(items, i, decode(static_cast<uint8_t*>(items) + static_cast<size_t>(i) * kBytes));
    return count;
}

template <class Word>
int32_t writeIntegers(OxlStream stream, const void* items, int32_t count) {
    const bool bigEndian = dataFormat(stream).byteOrder == kBigEndian;
    return writeItems<sizeof(Word)>(stream, items, count, [&](uint8_t* bytes, int32_t i) {
        toBytes(bytes, load<Word>(items, i), bigEndian);
    });
}

template <class Word>
int32_t readIntegers(OxlStream stream, void* items, int32_t count) {
    const bool bigEndian = dataFormat(stream).byteOrder == kBigEndian;
    return readItems<Word>(stream, items, count,
                           [&](const uint8_t* bytes) { return fromBytes<Word>(bytes, bigEndian); });
}

// Kept: the fraction goes first and both halves most significant byte first, whatever the byte
// order, while reading takes the four bytes as one number.
void toFixedPoint(uint8_t* bytes, float value) {
    const auto whole = static_cast<int16_t>(saturate<int32_t>(value));
    const double fraction = (static_cast<double>(value) - whole) * 65536.0;
    toBytes(bytes, static_cast<uint16_t>(saturate<int32_t>(fraction)), true);
    toBytes(bytes + 2, static_cast<uint16_t>(whole), true);
}

// Kept: with the most significant byte first, the halves of a double leave in order b4 b5 b6 b7 and
// b3 b2 b1 b0.
void toBytesOfDouble(uint8_t* bytes, uint64_t value, bool bigEndian) {
    if (!bigEndian) {
        toBytes(bytes, value, false);
        return;
    }
    toBytes(bytes, static_cast<uint32_t>(value), true);
    toBytes(bytes + 4, static_cast<uint32_t>(value >> 32), false);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t oxlReadChar(OxlStream stream, uint8_t* items, int32_t count) {
    return oxlRead(stream, items, count);
}

int32_t oxlReadShort(OxlStream stream, uint16_t* items, int32_t count) {
    return readIntegers<uint16_t>(stream, items, count);
}

int32_t oxlReadLong(OxlStream stream, uint32_t* items, int32_t count) {
    return readIntegers<uint32_t>(stream, items, count);
}

int32_t oxlReadFloat(OxlStream stream, float* items, int32_t count) {
    const DataFormat format = dataFormat(stream);
    if (format.floatFormat != kFixedPoint) return readIntegers<uint32_t>(stream, items, count);
    const bool bigEndian = format.byteOrder == kBigEndian;
    return readItems<float>(stream, items, count, [&](const uint8_t* bytes) {
        const auto fixed = static_cast<int32_t>(fromBytes<uint32_t>(bytes, bigEndian));
        return static_cast<float>(fixed / 65536.0);
    });
}

int32_t oxlReadDouble(OxlStream stream, double* items, int32_t count) {
    return readIntegers<uint64_t>(stream, items, count);
}

int32_t oxlWriteChar(OxlStream stream, const uint8_t* items, int32_t count) {
    return oxlWrite(stream, items, count);
}

int32_t oxlWriteShort(OxlStream stream, const uint16_t* items, int32_t count) {
    return writeIntegers<uint16_t>(stream, items, count);
}

int32_t oxlWriteLong(OxlStream stream, const uint32_t* items, int32_t count) {
    return writeIntegers<uint32_t>(stream, items, count);
}

int32_t oxlWriteFloat(OxlStream stream, const float* items, int32_t count) {
    if (dataFormat(stream).floatFormat != kFixedPoint)
        return writeIntegers<uint32_t>(stream, items, count);
    return writeItems<4>(stream, items, count, [&](uint8_t* bytes, int32_t i) {
        toFixedPoint(bytes, load<float>(items, i));
    });
}

int32_t oxlWriteDouble(OxlStream stream, const double* items, int32_t count) {
    const bool bigEndian = dataFormat(stream).byteOrder == kBigEndian;
    return writeItems<8>(stream, items, count, [&](uint8_t* bytes, int32_t i) {
        toBytesOfDouble(bytes, load<uint64_t>(items, i), bigEndian);
    });
}

int32_t oxlSetDataFormat(OxlStream stream, int16_t byteOrder, int16_t floatFormat) {
    const Locked<StreamRecord> record(stream);
    if (!record) return kFailed;
    record->byteOrder = byteOrder;
    record->floatFormat = floatFormat;
    return 0;
}

int32_t oxlGetDataFormat(OxlStream stream, int16_t* byteOrder, int16_t* floatFormat) {
    const Locked<StreamRecord> record(stream);
    if (!record || byteOrder == nullptr || floatFormat == nullptr) return kFailed;
    *byteOrder = record->byteOrder;
    *floatFormat = record->floatFormat;
    return 0;
}

int32_t oxlNativeToLE(uint8_t* destination, uint32_t value, int32_t n) {
    if (destination == nullptr) return kFailed;
    for (int32_t i = 0; i < n && i < 4; ++i) destination[i] = static_cast<uint8_t>(value >> 8 * i);
    return 0;
}

int32_t oxlNativeToBE(uint8_t* destination, uint32_t value, int32_t n) {
    if (destination == nullptr) return kFailed;
    if (n > 4) n = 4;
    for (int32_t i = 0; i < n; ++i) destination[i] = static_cast<uint8_t>(value >> 8 * (n - 1 - i));
    return 0;
}
