#include "export/driver_blocks.h"

#include <tivar/driver.h>

namespace tool {
namespace {

enum Primitive : int32_t { kBeginImage = -5, kEndImage = -6 };

// A primitive without points: identifier, number of points, length of the data, data.
DriverBlock primitiveBlock(Primitive identifier, uint32_t dataLength) {
    DriverBlock block(OP_PRIMITIVE, 28 + dataLength);
    block.put(16, static_cast<int32_t>(identifier));
    block.put(20, uint32_t{0});
    block.put(24, dataLength);
    return block;
}

}  // namespace

DriverBlock plainBlock(uint32_t opcode) {
    return {opcode, sizeof opcode};
}

DriverBlock windowBlock(uint32_t width, uint32_t height) {
    // Two corners of x, y and z, the first one at 0; the units that they name belong to it.
    DriverBlock block(OP_SET_WINDOW, 64);
    block.put(40, static_cast<double>(width - 1));
    block.put(48, static_cast<double>(height - 1));
    return block;
}

DriverBlock scaleBlock(uint32_t unitsPerInch) {
    constexpr double kMillimetresPerInch = 25.4;
    DriverBlock block(OP_SET_SCALE, 32);
    block.put(16, static_cast<int16_t>(unitsPerInch == 0 ? 0 : 1));
    block.put(24, unitsPerInch == 0 ? 0.0 : kMillimetresPerInch / unitsPerInch);
    return block;
}

DriverBlock colorsBlock(const Picture& picture) {
    const uint32_t bytes = 3u << picture.bits;
    DriverBlock block(OP_SET_COLORS, 20 + bytes);
    block.put(4, 2 + bytes);
    block.put(16, uint32_t{0});
    std::memcpy(block.bytes.data() + 20, picture.colors, bytes);
    return block;
}

DriverBlock beginImageBlock(const Picture& picture) {
    DriverBlock block = primitiveBlock(kBeginImage, 28);
    block.put(28, picture.width);
    block.put(32, picture.height);
    block.put(36, int32_t{picture.bits});
    return block;
}

DriverBlock endImageBlock() {
    return primitiveBlock(kEndImage, 0);
}

DriverBlock cellArrayBlock(const Picture& picture, uint32_t firstRow, uint32_t rows) {
    const uint8_t* data = picture.rows + picture.stride * firstRow;
    DriverBlock block(OP_CELL_ARRAY, 102 + sizeof data);
    block.put(24, static_cast<double>(firstRow));
    block.put(40, static_cast<double>(picture.width - 1));
    block.put(48, static_cast<double>(firstRow + rows - 1));
    block.put(88, picture.width);
    block.put(92, rows);
    block.put(96, -int32_t{picture.bits});  // negative: the data lies elsewhere
    block.put(102, data);
    return block;
}

}  // namespace tool
