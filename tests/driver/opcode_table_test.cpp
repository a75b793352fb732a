// The published tables, row by row.
#include "support/driver_host.h"
#include "support/opcode_rows.h"

namespace {

using support::kOpcodeRows;

TEST(OpcodeTable, Holds74RowsInTheStatedOrder) {
    for (size_t i = 0; i < 74; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(DriverOpcodeTable[i].opcode, kOpcodeRows[i].opcode);
        EXPECT_EQ(DriverOpcodeTable[i].handler, kOpcodeRows[i].handler);
        EXPECT_EQ(DriverOpcodeTable[i].stateMask, kOpcodeRows[i].mask);
    }
}

TEST(OpcodeTable, MasksCarryTheAcceptedStates) {
    for (const DriverOpcodeRow& row : DriverOpcodeTable) {
        const auto& stated = kOpcodeRows[&row - DriverOpcodeTable];
        EXPECT_EQ(row.stateMask & 0x7F, stated.acceptedStates) << row.opcode;
    }
}

TEST(OpcodeTable, SomeRowsStandOutOfOrderAndNoneTwice) {
    const auto placeOf = [](uint32_t opcode) {
        size_t place = 0;
        while (place < 74 && DriverOpcodeTable[place].opcode != opcode) ++place;
        return place;
    };
    EXPECT_EQ(placeOf(1299), placeOf(1290) + 1);
    EXPECT_EQ(placeOf(1291), placeOf(1299) + 1);
    EXPECT_EQ(placeOf(1314), placeOf(1323) + 1);
    EXPECT_EQ(placeOf(1788), 73u);
    for (size_t i = 0; i < 74; ++i) EXPECT_EQ(placeOf(DriverOpcodeTable[i].opcode), i);
}

struct Capability {
    uint8_t index;
    int32_t value;
};

// Index 47 comes last.
constexpr Capability kCapabilities[] = {
    {0, 100}, {1, -1},  {2, -1},  {3, -1},  {4, -1},  {5, 0},  {9, -1},  {10, -1}, {11, -1},
    {12, -1}, {13, -1}, {14, -1}, {15, -1},  //
    {16, -1}, {17, -1}, {18, -1}, {19, 0},  {20, 0},  {21, 0}, {22, 0},  {23, -1}, {24, -1},
    {25, -1}, {26, -1}, {27, -1}, {28, -1}, {29, -1}, {31, 0}, {32, -1},  //
    {33, -1}, {34, 0},  {35, 0},  {36, -1}, {37, -1}, {38, 1}, {39, 1},  {40, 0},  {41, -1},
    {44, 0},  {45, -1}, {55, 0},  {56, 0},  {57, -1}, {58, 0}, {59, -1}, {47, 0},
};

TEST(CapabilityTable, Holds46RowsInTheStatedOrder) {
    ASSERT_EQ(std::size(DriverCapabilityTable), 46u);
    ASSERT_EQ(std::size(kCapabilities), 46u);
    for (size_t i = 0; i < 46; ++i) {
        EXPECT_EQ(DriverCapabilityTable[i].index, kCapabilities[i].index) << i;
        EXPECT_EQ(DriverCapabilityTable[i].value, kCapabilities[i].value) << i;
    }
}

TEST(CapabilityTable, InitialisationStoresItsRowsAndTouchesNoOtherEntry) {
    constexpr int32_t kUntouched = 0x5EAD;
    support::DriverHost host;
    host.settings->colorMode = 106;
    host.capabilities.fill(kUntouched);
    host.initialise();
    std::array<int32_t, 60> expected;
    expected.fill(kUntouched);
    for (const Capability& row : kCapabilities) expected[row.index] = row.value;
    expected[47] = 3;
    EXPECT_EQ(host.capabilities, expected);
    for (const unsigned gap : {6u, 7u, 8u, 30u, 42u, 43u, 46u, 48u, 49u, 50u, 51u, 52u, 53u, 54u})
        EXPECT_EQ(host.capabilities[gap], kUntouched) << gap;
}

TEST(GdpSupport, EightZeroEntries) {
    ASSERT_EQ(std::size(GDPSupport), 8u);
    for (const int32_t entry : GDPSupport) EXPECT_EQ(entry, 0);
}

}  // namespace
