// Settings that the host sends, and the queries that reply with them.
#include <cmath>
#include <cstring>
#include <limits>

#include "driver/operations.h"
#include "support/byte_list.h"
#include "support/driver_host.h"

namespace {

using support::Bytes;
using support::DriverHost;
using support::OpcodeBlock;
using support::ramp;
using support::SixDoubles;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A device whose picture has begun.
struct PictureHost : DriverHost {
    explicit PictureHost(int32_t colorMode = 103) {
        settings->colorMode = colorMode;
        enter(DEV_PICTURE);
    }
    SixDoubles queried(uint32_t opcode) {
        const uint32_t position = lpEMData->replyPosition;
        EXPECT_EQ(send(opcode), 0);
        EXPECT_EQ(lpEMData->replyPosition, position + 48);
        SixDoubles values;
        std::memcpy(values.data(), lpEMData->lpReply + position, sizeof values);
        return values;
    }
};

// ---- Window, viewport, background --------------------------------------------------------------

TEST(DeviceWindow, SixValuesComeBackAsTheyWent) {
    PictureHost host;
    EXPECT_EQ(host.queried(OP_QUERY_WINDOW), SixDoubles{});
    const SixDoubles values = {1.5, -2, 3e300, 0, 5, -0.25};
    EXPECT_EQ(host.send(support::windowBlock(values)), 0);
    EXPECT_EQ(host.queried(OP_QUERY_WINDOW), values);
    EXPECT_EQ(std::memcmp(lpEMData->deviceWindow, &values, sizeof values), 0);
}

TEST(DeviceViewport, ReplyPairsTheValuesOtherwiseThanTheyCame) {
    PictureHost host;
    EXPECT_EQ(host.send(support::viewportBlock({1, 2, 77, 3, 4, 88})), 0);
    EXPECT_EQ(host.queried(OP_QUERY_VIEWPORT), (SixDoubles{1, 4, 0, 2, 3, 0}));
    EXPECT_EQ(lpEMData->deviceViewport[2], 0) << "the third value is not taken";
    EXPECT_EQ(lpEMData->deviceViewport[5], 0) << "nor the sixth";
}

TEST(DeviceViewport, ReadsNoFurtherThanItsFourthNumber) {
    PictureHost host;
    OpcodeBlock block = OpcodeBlock(OP_SET_VIEWPORT);
    block.put(16, 1.0).put(24, 2.0).put(40, 3.0).put(48, 4.0);
    EXPECT_EQ(host.send(block), 0);
    EXPECT_EQ(host.queried(OP_QUERY_VIEWPORT), (SixDoubles{1, 4, 0, 2, 3, 0}));
}

TEST(Background, TakesThreeChannels) {
    PictureHost host;
    EXPECT_EQ(host.send(OpcodeBlock(OP_SET_BACKGROUND).put(16, Bytes{10, 20, 30})), 0);
    EXPECT_EQ(lpEMData->background[0], 10);
    EXPECT_EQ(lpEMData->background[1], 20);
    EXPECT_EQ(lpEMData->background[2], 30);
}

TEST(Queries, ReplyIsCutWhereTheBufferEnds) {
    DriverHost host;
    host.block[DRIVER_INIT_REPLY_SIZE] = 50;
    host.enter(DEV_PICTURE);
    host.send(support::windowBlock({1, 2, 3, 4, 5, 6}));
    host.send(OP_QUERY_WINDOW);
    host.send(OP_QUERY_VIEWPORT);
    EXPECT_EQ(lpEMData->replyPosition, 50u);
    host.send(OP_QUERY_WINDOW);
    EXPECT_EQ(lpEMData->replyPosition, 50u);
}

// ---- Viewport scale ----------------------------------------------------------------------------

struct ScaleCase {
    int16_t mode;
    double scale;
    int32_t resolution;
};

TEST(ViewportScale, MillimetresPerUnitBecomeUnitsPerInch) {
    const ScaleCase cases[] = {
        {1, 0.254, 100},        {1, 0.0, 0},
        {1, -0.0, 0},           {1, 25.4, 1},
        {1, 1.0, 25},      // 25.9
        {1, 1.02, 25},     // 25.40
        {1, 0.99, 26},     // 26.16
        {1, 50.8, 1},      // exactly one half is rounded up
        {1, 51.0, 0},      // 0.998
        {1, -0.254, -99},  // the integer part of -99.5
        {1, 1e-300, INT32_MAX}, {1, -1e-300, INT32_MIN},
        {1, kInfinity, 0},      {1, std::nan(""), 0},
        {0, 0.254, 0},          {2, 0.254, 0},
    };
    for (const ScaleCase& given : cases) {
        PictureHost host;
        lpEMData->viewportResolution = 55;
        EXPECT_EQ(host.send(support::scaleBlock(given.mode, given.scale)), 0);
        EXPECT_EQ(lpEMData->viewportResolution, given.resolution)
            << "mode " << given.mode << ", scale " << given.scale;
    }
}

TEST(ViewportScale, OtherModesChangeNothing) {
    for (const int16_t mode : {int16_t{3}, int16_t{-1}, int16_t{INT16_MIN}, int16_t{INT16_MAX}}) {
        PictureHost host;
        lpEMData->viewportResolution = 55;
        EXPECT_EQ(host.send(support::scaleBlock(mode, 0.254)), 0);
        EXPECT_EQ(lpEMData->viewportResolution, 55) << mode;
    }
}

TEST(ViewportScale, StateWithBit128ChangesNothing) {
    PictureHost host;
    lpEMData->viewportResolution = 55;
    lpEMData->deviceState = DEV_PICTURE | 128;
    OpcodeBlock block = support::scaleBlock(1, 0.254);
    EXPECT_EQ(tivar::ds_vpsm(block.data()), block.data());
    EXPECT_EQ(lpEMData->viewportResolution, 55);
    lpEMData->deviceState = DEV_PICTURE;
}

// ---- Colour table ------------------------------------------------------------------------------

Bytes deviceColors() {
    const uint8_t* table = &lpEMData->colorTable[0][0];
    return Bytes(table, table + 768);
}

struct BodyHost : PictureHost {
    explicit BodyHost(int32_t colorMode = 103) : PictureHost(colorMode) { send(OP_BEGIN_BODY); }
};

// The whole table with colors from entry first on.
Bytes tableWith(const Bytes& colors, size_t first) {
    Bytes table(768, 0);
    for (size_t i = 0; i < colors.size() && first * 3 + i < 768; ++i)
        table[first * 3 + i] = colors[i];
    return table;
}

TEST(ColorTable, ColoursGoInFromTheFirstIndexOn) {
    BodyHost host;
    EXPECT_EQ(host.send(support::colorsBlock(3, ramp(6))), 0);
    EXPECT_EQ(deviceColors(), tableWith(ramp(6), 3));
}

TEST(ColorTable, CopiesNoMoreThanTheTableHolds) {
    BodyHost host;
    EXPECT_EQ(host.send(support::colorsBlock(250, ramp(30))), 0);
    EXPECT_EQ(deviceColors(), tableWith(ramp(18), 250));
    EXPECT_EQ(lpEMData->background[0], 0) << "what lies behind the table is not touched";
}

TEST(ColorTable, WholeTableAndMoreThanTheWholeTable) {
    for (const size_t count : {256u, 300u}) {
        BodyHost host;
        host.send(support::colorsBlock(0, ramp(3 * count)));
        EXPECT_EQ(deviceColors(), tableWith(ramp(3 * count), 0));
    }
}

TEST(ColorTable, ModeTransformsTheColoursInTheHostsBlockToo) {
    const Bytes colors = {10, 20, 30, 100, 104, 108, 100, 111, 100, 255, 255, 255};
    const Bytes wanted[] = {
        colors,
        {245, 235, 225, 155, 151, 147, 155, 144, 155, 0, 0, 0},
        {10, 20, 30, 155, 151, 147, 100, 111, 100, 0, 0, 0},
        {18, 18, 18, 103, 103, 103, 106, 106, 106, 255, 255, 255},
        {237, 237, 237, 152, 152, 152, 149, 149, 149, 0, 0, 0},
    };
    for (int32_t mode = 103; mode <= 107; ++mode) {
        SCOPED_TRACE(mode);
        BodyHost host(mode);
        OpcodeBlock block = support::colorsBlock(0, colors);
        RASTER_dd_entry32(0, DRV_DISPATCH, block.data(), 0);
        EXPECT_EQ(deviceColors(), tableWith(wanted[mode - 103], 0));
        EXPECT_EQ(block.bytes(), support::colorsBlock(0, wanted[mode - 103]).bytes());
    }
}

TEST(ColorTable, ColoursBeyondTheTableAreTransformedInTheBlockAllTheSame) {
    BodyHost host(104);
    OpcodeBlock block = support::colorsBlock(255, {1, 2, 3, 4, 5, 6});
    RASTER_dd_entry32(0, DRV_DISPATCH, block.data(), 0);
    EXPECT_EQ(block.bytes(), support::colorsBlock(255, {254, 253, 252, 251, 250, 249}).bytes());
    EXPECT_EQ(deviceColors(), tableWith({254, 253, 252}, 255));
}

TEST(ColorTable, FirstIndex256CopiesNothingAndAboveNothingChangesAtAll) {
    BodyHost host(104);
    const auto sent = [](uint32_t first) {
        OpcodeBlock block = support::colorsBlock(first, {1, 2, 3});
        RASTER_dd_entry32(0, DRV_DISPATCH, block.data(), 0);
        return block.bytes();
    };
    EXPECT_EQ(sent(256), support::colorsBlock(256, {254, 253, 252}).bytes());
    for (const uint32_t first : {257u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(sent(first), support::colorsBlock(first, {1, 2, 3}).bytes()) << first;
    EXPECT_EQ(deviceColors(), Bytes(768, 0));
}

TEST(ColorTable, CountWordsBelowFiveHoldNoColours) {
    for (const uint32_t countWord : {0u, 1u, 2u, 3u, 4u}) {
        BodyHost host(104);
        OpcodeBlock block(OP_SET_COLORS);
        block.put(4, countWord).put(16, uint32_t{0}).put(20, Bytes{1, 2, 3});
        const Bytes before = block.bytes();
        RASTER_dd_entry32(0, DRV_DISPATCH, block.data(), 0);
        EXPECT_EQ(block.bytes(), before) << countWord;
        EXPECT_EQ(deviceColors(), Bytes(768, 0));
    }
}

TEST(ColorTable, IncompleteColourDoesNotCount) {
    BodyHost host;
    OpcodeBlock block(OP_SET_COLORS);
    block.put(4, uint32_t{2 + 5}).put(16, uint32_t{0}).put(20, Bytes{1, 2, 3, 4, 5});
    host.send(block);
    EXPECT_EQ(deviceColors(), tableWith({1, 2, 3}, 0));
}

// ---- The rest ----------------------------------------------------------------------------------

TEST(IgnoredSettings, ChangeNothingAndReturnTheirBlock) {
    const BodyHost host;
    const EMData before = *lpEMData;
    uint8_t block[64] = {};
    for (const DriverHandler setting : {tivar::ds_axc, tivar::ds_tran, tivar::ds_clpr,
                                        tivar::ds_clip, tivar::ds_dm, tivar::ds_fl}) {
        EXPECT_EQ(setting(block), block);
        EXPECT_EQ(std::memcmp(lpEMData, &before, sizeof before), 0);
    }
}

TEST(Settings, NullBlocksChangeNothing) {
    const BodyHost host;
    const EMData before = *lpEMData;
    for (const DriverHandler setting :
         {tivar::ds_dvwn, tivar::ds_bgc, tivar::ds_dvvp, tivar::ds_vpsm, tivar::ds_ct})
        EXPECT_EQ(setting(nullptr), nullptr);
    EXPECT_EQ(std::memcmp(lpEMData, &before, sizeof before), 0);
}

TEST(Settings, HandlersReturnTheirBlock) {
    const BodyHost host;
    OpcodeBlock block = support::windowBlock({1, 2, 3, 4, 5, 6});
    for (const DriverHandler handler : {tivar::ds_dvwn, tivar::ds_dvvp, tivar::ds_vpsm,
                                        tivar::ds_bgc, tivar::dq_dvwn, tivar::dq_dvvp})
        EXPECT_EQ(handler(block.data()), block.data());
}

TEST(Settings, LastUntilTheDeviceStateEnds) {
    BodyHost host;
    host.send(support::colorsBlock(0, {1, 2, 3}));
    host.send(OP_CLOSE);
    host.takeMemoryFile();
    host.send(OP_OPEN);
    EXPECT_EQ(lpEMData->colorTable[0][2], 3);
}

}  // namespace
