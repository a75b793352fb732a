// A host of the driver's raster route in a picture's body, where images and cell arrays are sent.
#pragma once

#include <gtest/gtest.h>

#include "support/driver_host.h"

namespace support {

struct BodyHost : DriverHost {
    explicit BodyHost(const SixDoubles& window, const model::Settings& wanted = {},
                      double scale = 0, int32_t colorMode = 103)
        : DriverHost(wanted) {
        settings->colorMode = colorMode;
        enterBody({windowBlock(window), scaleBlock(1, scale)});
    }
    void begin(const ImageShape& shape, uint32_t points = 0) {
        EXPECT_EQ(send(beginImageBlock(shape, points)), 0);
    }
    void add(const CellArrayShape& shape, const Bytes& data) {
        EXPECT_EQ(send(cellArrayBlock(shape, data)), 0);
    }
    Bytes image() const { return blockContents(lpEMData->imageMemory); }
};

}  // namespace support
