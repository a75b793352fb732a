// Parameter blocks of the driver, exactly as long as what they hold.
#pragma once

#include <tivar/driver.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "support/memory_block.h"

namespace support {

// Numbers at byte positions behind the opcode. The block lies at an odd address, as a host's may.
class OpcodeBlock {
  public:
    explicit OpcodeBlock(uint32_t opcode) { put(0, opcode); }

    template <class T>
    OpcodeBlock& put(size_t position, const T& value) {
        Bytes raw(sizeof value);
        std::memcpy(raw.data(), &value, sizeof value);
        return put(position, raw);
    }
    OpcodeBlock& put(size_t position, const Bytes& bytes) {
        memory_.resize(std::max(memory_.size(), 1 + position + bytes.size()));
        std::copy(bytes.begin(), bytes.end(),
                  memory_.begin() + static_cast<ptrdiff_t>(position + 1));
        return *this;
    }

    uint8_t* data() { return memory_.data() + 1; }
    Bytes bytes() const { return Bytes(memory_.begin() + 1, memory_.end()); }

  private:
    Bytes memory_ = {0};
};

using SixDoubles = std::array<double, 6>;

inline OpcodeBlock windowBlock(const SixDoubles& corners) {
    return OpcodeBlock(OP_SET_WINDOW).put(16, corners);
}

inline OpcodeBlock viewportBlock(const SixDoubles& corners) {
    return OpcodeBlock(OP_SET_VIEWPORT).put(16, corners);
}

inline OpcodeBlock scaleBlock(int16_t mode, double scale) {
    return OpcodeBlock(OP_SET_SCALE).put(16, mode).put(24, scale);
}

inline OpcodeBlock colorsBlock(uint32_t first, const Bytes& colors) {
    return OpcodeBlock(OP_SET_COLORS)
        .put(4, static_cast<uint32_t>(2 + colors.size()))
        .put(16, first)
        .put(20, colors);
}

inline OpcodeBlock popBlock(int32_t wanted) {
    return OpcodeBlock(OP_POP_ERRORS).put(16, wanted);
}

// The bytes of a row of cells.
inline size_t rowBytesOf(uint32_t cells, uint32_t bits) {
    return ((size_t{cells} * bits + 7) / 8 + 3) / 4 * 4;
}

struct CellArrayShape {
    uint32_t cells;
    uint32_t rows;
    int32_t precision;
    double firstY = 0;
    double secondY = 0;
};

inline OpcodeBlock cellArrayHead(const CellArrayShape& shape) {
    return OpcodeBlock(OP_CELL_ARRAY)
        .put(24, shape.firstY)
        .put(48, shape.secondY)
        .put(88, shape.cells)
        .put(92, shape.rows)
        .put(96, shape.precision);
}

inline OpcodeBlock cellArrayBlock(const CellArrayShape& shape, const Bytes& data) {
    return cellArrayHead(shape).put(102, data);
}

// The data lies elsewhere and the precision is negative.
inline OpcodeBlock cellArrayBlockAt(const CellArrayShape& shape, const uint8_t* data) {
    return cellArrayHead(shape).put(102, data);
}

inline OpcodeBlock primitiveBlock(int32_t identifier, uint32_t points = 0) {
    return OpcodeBlock(OP_PRIMITIVE)
        .put(16, identifier)
        .put(20, points)
        .put(24, Bytes(size_t{points} * 24, 0x5A))
        .put(24 + size_t{points} * 24, uint32_t{0});
}

struct ImageShape {
    int32_t cells;
    int32_t rows;
    int32_t precision;
    int16_t flag = 0;
};

inline OpcodeBlock beginImageBlock(const ImageShape& shape, uint32_t points = 0) {
    const size_t header = 28 + size_t{points} * 24;
    return primitiveBlock(-5, points)
        .put(header - 4, uint32_t{28})
        .put(header, shape.cells)
        .put(header + 4, shape.rows)
        .put(header + 8, shape.precision)
        .put(header + 12, shape.flag)
        .put(header + 14, Bytes(14, 0xA5));
}

inline OpcodeBlock endImageBlock() {
    return primitiveBlock(-6);
}

}  // namespace support
