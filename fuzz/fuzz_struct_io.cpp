// Format strings and record transfers: measuring, reading and writing against a plain walk over the
// same format, in memory of exactly the size that the format asks for.
#include <tivar/memory.h>
#include <tivar/stream.h>

#include <memory>
#include <string>

#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/plain_format.h"
#include "harness/target.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;
using fuzz::PlainWire;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;

constexpr std::uint64_t kLargestMemory = 1u << 16;

std::string makeFormat(Input& input) {
    constexpr char letters[] = "CSLFDcslfd123456789[]{}()|P0 x\xFF";
    std::string format;
    for (std::uint32_t left = input.below(72); left > 0; --left)
        format += letters[input.below(sizeof letters - 1)];
    return format;
}

// Memory that ends where the records end, so that no access behind it goes unnoticed.
struct ExactMemory {
    explicit ExactMemory(const Bytes& bytes)
        : size(bytes.size()), data(new std::uint8_t[bytes.size()]) {
        std::copy(bytes.begin(), bytes.end(), data.get());
    }
    Bytes contents() const { return Bytes(data.get(), data.get() + size); }

    std::size_t size;
    std::unique_ptr<std::uint8_t[]> data;
};

// A stream over a memory block, and the same bytes for the plain walk.
struct Wire {
    // To read bytes from.
    Wire(Input& input, const Bytes& bytes) {
        Bytes marked = bytes;
        marked.push_back(0xFF);
        open(marked, marked.size(), 0, OXL_READ);
        plain.bytes = bytes;
        setFormat(input);
    }
    // To write to; growStep 0 = room and no more.
    Wire(Input& input, std::uint32_t room, std::uint32_t growStep) {
        open(Bytes(room), room, growStep, OXL_CREATE | OXL_WRITE);
        plain.room = growStep == 0 ? room : SIZE_MAX;
        setFormat(input);
    }
    ~Wire() {
        oxlClose(stream);
        GlobalFree(GlobalHandle(block));
    }
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    Bytes written() const {
        const std::int32_t end = oxlSeek(stream, 0, SEEK_END);
        const auto* bytes = static_cast<const std::uint8_t*>(block);
        return Bytes(bytes, bytes + end);
    }

    OxlStream stream = 0;
    PlainWire plain;

  private:
    void open(const Bytes& bytes, std::size_t size, std::uint32_t growStep, std::int32_t mode) {
        block = GlobalLock(fuzz::newBlock(bytes));
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&block);
        descriptor.size = size;
        descriptor.growStep = growStep;
        stream = oxlOpen(nullptr, &descriptor, mode);
        require(stream != 0, "a memory stream opens");
    }
    void setFormat(Input& input) {
        const std::int16_t byteOrder = input.oneIn(3) ? 1 : input.oneIn(8) ? input.i16() : 0;
        const std::int16_t floatFormat = input.oneIn(3) ? 1 : input.oneIn(8) ? input.i16() : 0;
        oxlSetDataFormat(stream, byteOrder, floatFormat);
        std::int16_t order = -1;
        std::int16_t floats = -1;
        oxlGetDataFormat(stream, &order, &floats);
        require(order == byteOrder && floats == floatFormat, "the data format is kept");
        plain.bigEndian = byteOrder == 1;
        plain.fixedPoint = floatFormat == 1;
    }

    void* block = nullptr;
};

void testMeasures(Input& input) {
    const std::string format = makeFormat(input);
    for (std::size_t i = 0; i < format.size(); ++i) {
        requireEqual<int>(GetPadWidth(format.c_str() + i), fuzz::plainPadWidth(format, i),
                          "the alignment");
        std::int32_t size = -1;
        const char* end = GetUnionSize(format.c_str() + i, &size);
        const fuzz::PlainUnion expected = fuzz::plainUnionSize(format, i);
        requireEqual(size, expected.size, "the union's size");
        requireEqual(static_cast<std::size_t>(end - format.c_str()), expected.end,
                     "the union's end");
    }
}

std::int32_t makeCount(Input& input) {
    return input.oneIn(64) ? input.i16() % 500 : static_cast<std::int32_t>(input.below(5));
}

void testReading(Input& input) {
    const std::string format = makeFormat(input);
    const std::int32_t count = makeCount(input);
    const std::uint64_t extent = fuzz::plainExtent(format, true, count, kLargestMemory);
    if (extent > kLargestMemory) return;
    Wire wire(input, fuzz::drawBytes(input, input.u16() % 2048));
    Bytes expected(static_cast<std::size_t>(extent), 0xA5);
    const ExactMemory memory(expected);
    const std::int32_t result =
        oxlReadStruct(wire.stream, format.c_str(), memory.data.get(), count);
    requireEqual(result, fuzz::plainRead(wire.plain, format, expected, count), "the records read");
    requireSame(memory.contents(), expected, "the records in memory");
    requireEqual<std::int64_t>(oxlSeek(wire.stream, 0, SEEK_CUR),
                               static_cast<std::int64_t>(wire.plain.position),
                               "the stream's position");
}

void testWriting(Input& input) {
    const std::string format = makeFormat(input);
    const std::int32_t count = makeCount(input);
    const std::uint64_t extent = fuzz::plainExtent(format, false, count, kLargestMemory);
    if (extent > kLargestMemory) return;
    const bool grows = !input.oneIn(4);
    const std::uint32_t room = grows ? input.below(20) : input.u8();
    const std::uint32_t growStep = grows ? 1u + input.u8() : 0;
    Wire wire(input, room, growStep);
    const Bytes bytes = fuzz::drawBytes(input, static_cast<std::size_t>(extent));
    const ExactMemory memory(bytes);
    const std::int32_t result =
        oxlWriteStruct(wire.stream, format.c_str(), memory.data.get(), count);
    requireEqual(result, fuzz::plainWrite(wire.plain, format, bytes, count), "the records written");
    requireSame(memory.contents(), bytes, "the records stay");
    requireSame(wire.written(), wire.plain.bytes, "the packed records");
}

// One routine for each letter.
std::int32_t readItems(OxlStream stream, char letter, void* items, std::int32_t count) {
    switch (letter) {
        case 'C':
            return oxlReadChar(stream, static_cast<std::uint8_t*>(items), count);
        case 'S':
            return oxlReadShort(stream, static_cast<std::uint16_t*>(items), count);
        case 'L':
            return oxlReadLong(stream, static_cast<std::uint32_t*>(items), count);
        case 'F':
            return oxlReadFloat(stream, static_cast<float*>(items), count);
        default:
            return oxlReadDouble(stream, static_cast<double*>(items), count);
    }
}

std::int32_t writeItems(OxlStream stream, char letter, const void* items, std::int32_t count) {
    switch (letter) {
        case 'C':
            return oxlWriteChar(stream, static_cast<const std::uint8_t*>(items), count);
        case 'S':
            return oxlWriteShort(stream, static_cast<const std::uint16_t*>(items), count);
        case 'L':
            return oxlWriteLong(stream, static_cast<const std::uint32_t*>(items), count);
        case 'F':
            return oxlWriteFloat(stream, static_cast<const float*>(items), count);
        default:
            return oxlWriteDouble(stream, static_cast<const double*>(items), count);
    }
}

void testArrays(Input& input) {
    constexpr char letters[] = {'C', 'S', 'L', 'F', 'D'};
    const char letter = input.pick(letters);
    const auto count = static_cast<std::int32_t>(input.below(40));
    Wire source(input, fuzz::drawBytes(input, input.below(240)));
    Bytes expected(static_cast<std::size_t>(count) * 8, 0xA5);
    const ExactMemory memory(expected);
    const std::int32_t read = readItems(source.stream, letter, memory.data.get(), count);
    requireEqual(read, fuzz::plainReadItems(source.plain, letter, expected, count),
                 "the items read");
    requireSame(memory.contents(), expected, "the items in memory");
    const std::uint32_t room = input.u8();
    Wire target(input, room, input.oneIn(2) ? 1 : 0);
    const std::int32_t written = writeItems(target.stream, letter, memory.data.get(), count);
    requireEqual(written, fuzz::plainWriteItems(target.plain, letter, expected, count),
                 "the items written");
    requireSame(target.written(), target.plain.bytes, "the items in the stream");
}

void testNumbers(Input& input) {
    const std::uint32_t value = input.u32();
    const auto n = static_cast<std::int32_t>(input.below(5));
    const ExactMemory little(Bytes(static_cast<std::size_t>(n)));
    const ExactMemory big(Bytes(static_cast<std::size_t>(n)));
    oxlNativeToLE(little.data.get(), value, n);
    oxlNativeToBE(big.data.get(), value, n);
    for (std::int32_t i = 0; i < n; ++i) {
        const auto byte = static_cast<std::uint8_t>(value >> 8 * i);
        require(little.data[static_cast<std::size_t>(i)] == byte, "least significant first");
        require(big.data[static_cast<std::size_t>(n - 1 - i)] == byte, "most significant first");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const fuzz::HeapWatch watch;
    switch (input.below(8)) {
        case 0:
        case 1:
            testMeasures(input);
            break;
        case 2:
        case 3:
            testReading(input);
            break;
        case 4:
        case 5:
            testWriting(input);
            break;
        case 6:
            testArrays(input);
            break;
        default:
            testNumbers(input);
            break;
    }
    return 0;
}
