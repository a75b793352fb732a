// Driver entries, function codes, dispatch and the support queries.
#include <cstring>

#include "driver/device_state.h"
#include "driver/dispatch.h"
#include "driver/operations.h"
#include "support/common_block.h"
#include "support/driver_host.h"
#include "support/opcode_block.h"

namespace {

using support::AttachedCommon;
using support::Bytes;
using support::DriverHost;
using support::OpcodeBlock;

using Entry = int32_t (*)(int16_t, void*, uint16_t);
using Entry32 = int32_t (*)(HostWord, int32_t, void*, HostWord);

struct RoutePair {
    Entry entry;
    Entry32 entry32;
};
constexpr RoutePair kRoutes[] = {{RASTER_dd_entry, RASTER_dd_entry32}, {dd_entry, dd_entry32}};

template <class Code>
using Codes = std::initializer_list<Code>;

TEST(DriverEntry, VersionIsStoredInFourBytesWithResultZero) {
    for (const RoutePair& route : kRoutes) {
        uint8_t out[6] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
        EXPECT_EQ(route.entry(DRV_VERSION, out, 77), 0);
        uint32_t version = 0;
        std::memcpy(&version, out, sizeof version);
        EXPECT_EQ(version, 0x02000005u);
        EXPECT_EQ(out[4], 0xEE);
    }
}

TEST(DriverEntry, EachRouteHandsOutItsOwn32BitEntry) {
    for (const RoutePair& route : kRoutes) {
        Entry32 out = nullptr;
        EXPECT_EQ(route.entry(DRV_GETENTRY32, &out, 0), 0);
        EXPECT_EQ(out, route.entry32);
    }
}

TEST(DriverEntry, OtherCodesAndANullAddressDoNothing) {
    for (const RoutePair& route : kRoutes) {
        for (const int16_t code :
             Codes<int16_t>{DRV_INIT, DRV_IDLE, DRV_DISPATCH, DRV_TERM, -4, 7}) {
            HostWord out = 0x5A5A5A5A;
            EXPECT_EQ(route.entry(code, &out, 0), 0);
            EXPECT_EQ(out, 0x5A5A5A5Au);
        }
        EXPECT_EQ(route.entry(DRV_VERSION, nullptr, 0), 0);
        EXPECT_EQ(route.entry(DRV_GETENTRY32, nullptr, 0), 0);
    }
}

TEST(DriverEntry32, VersionGivesTheNumberOfBytesWritten) {
    for (const RoutePair& route : kRoutes) {
        uint32_t out[2] = {0, 0xEEEEEEEE};
        EXPECT_EQ(route.entry32(5, DRV_VERSION, out, 6), 4);
        EXPECT_EQ(out[0], 0x02000005u);
        EXPECT_EQ(out[1], 0xEEEEEEEEu);
        EXPECT_EQ(route.entry32(0, DRV_VERSION, nullptr, 0), 0);
    }
}

TEST(DriverEntry32, OnlyTheLow16BitsOfTheCodeCount) {
    for (const RoutePair& route : kRoutes) {
        uint32_t out = 0;
        EXPECT_EQ(route.entry32(0, 0x0007FFFE, &out, 0), 4);
        EXPECT_EQ(out, 0x02000005u);
        EXPECT_EQ(route.entry32(0, 0x00010001, nullptr, 0), 0);
    }
    DriverHost host;
    EXPECT_EQ(RASTER_dd_entry32(0, 0x7FFF0000, host.block, 0), 0);
    ASSERT_NE(lpEMData, nullptr);
    EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
}

TEST(DriverEntry32, UnknownCodesGiveZeroAndChangeNothing) {
    DriverHost host;
    host.enter(DEV_PICTURE);
    lpEMData->errors.lastCode = 5;
    const EMData before = *lpEMData;
    OpcodeBlock beginBody(OP_BEGIN_BODY);
    for (const int32_t code : Codes<int32_t>{7, 3, DRV_IDLE, DRV_GETENTRY32, -4, 32767, -32768}) {
        EXPECT_EQ(RASTER_dd_entry32(0, code, beginBody.data(), 0), 0) << code;
        EXPECT_EQ(std::memcmp(&before, lpEMData, sizeof before), 0) << code;
    }
}

TEST(DriverEntry32, NullBlocksAreRefused) {
    EXPECT_EQ(RASTER_dd_entry32(0, DRV_INIT, nullptr, 0), 300);
    EXPECT_EQ(dd_entry32(0, DRV_INIT, nullptr, 0), 22);
    EXPECT_EQ(lpEMData, nullptr);
    DriverHost host;
    host.enter(DEV_OPEN);
    lpEMData->errors.lastCode = 5;
    EXPECT_EQ(RASTER_dd_entry32(0, DRV_DISPATCH, nullptr, 0), 0);
    EXPECT_EQ(lpEMData->errors.lastCode, 5);
    EXPECT_EQ(lpEMData->deviceState, DEV_OPEN);
}

TEST(Initialise, EveryCallOnTheRasterRouteInitialisesAfresh) {
    DriverHost host;
    host.initialise();
    const MemHandle first = hEMData;
    const MemHandle firstReply = lpEMData->hReply;
    lpEMData->viewportResolution = 100;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_NE(hEMData, first);
    EXPECT_EQ(lpEMData->viewportResolution, 0);
    GlobalFree(firstReply);
    GlobalFree(first);
}

TEST(Initialise, NothingIsDoneWhileTheHostHasACommonBlock) {
    DriverHost host;
    host.enter(DEV_OPEN);
    {
        const AttachedCommon common;
        const MemHandle device = hEMData;
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_EQ(hEMData, device);
        EXPECT_EQ(lpEMData->deviceState, DEV_OPEN);
    }
}

TEST(Initialise, StateMinusOneInitialisesTheSameDeviceStateUnderACommonBlock) {
    DriverHost host;
    host.initialise();
    const MemHandle firstReply = lpEMData->hReply;
    {
        const AttachedCommon common;
        const MemHandle device = hEMData;
        lpEMData->deviceState = -1;
        lpEMData->background[0] = 9;
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_EQ(hEMData, device);
        EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
        EXPECT_EQ(lpEMData->background[0], 9) << "not allocated, so not cleared";
        EXPECT_NE(lpEMData->hReply, firstReply);
    }
    GlobalFree(firstReply);
}

TEST(Initialise, CommonBlockWithoutADeviceStateCannotInitialiseTheRasterRoute) {
    DriverHost host;
    const AttachedCommon common;
    EXPECT_EQ(host.initialise(), 300);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Dispatch, BeforeInitialisationNothingRuns) {
    ASSERT_EQ(lpEMData, nullptr);
    OpcodeBlock open(OP_OPEN);
    EXPECT_EQ(RASTER_dd_entry32(0, DRV_DISPATCH, open.data(), 0), 0);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Dispatch, StatesOfZeroAndBelowRunNothingButClearTheLastCode) {
    DriverHost host;
    host.initialise();
    for (const int32_t state : {0, -1, INT32_MIN}) {
        lpEMData->deviceState = state;
        lpEMData->errors.lastCode = 303;
        EXPECT_EQ(host.send(OP_OPEN), 0);
        EXPECT_EQ(lpEMData->deviceState, state);
        EXPECT_EQ(lpEMData->errors.lastCode, 0);
    }
    lpEMData->deviceState = DEV_CLOSED;
}

TEST(Dispatch, BeginPictureIsIgnoredWhileClosed) {
    DriverHost host;
    host.initialise();
    EXPECT_EQ(host.send(OP_BEGIN_PICTURE), 0);
    EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
}

TEST(Dispatch, AllFourBytesOfTheOpcodeCount) {
    DriverHost host;
    host.initialise();
    for (const uint32_t opcode : {0x00010001u, 0x01000001u, 0xFFFF0001u, 0u, 6u, 0xFFFFFFFFu}) {
        EXPECT_EQ(host.send(opcode), 0);
        EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED) << opcode;
    }
}

TEST(Dispatch, ResultIsTheErrorOfThisCallAlone) {
    DriverHost host({}, "/nowhere/at/all.bmp");
    host.initialise();
    EXPECT_EQ(host.send(OP_OPEN), 303);
    EXPECT_EQ(host.send(OP_BEGIN_PICTURE), 0);
    EXPECT_EQ(host.send(12345), 0);
    EXPECT_EQ(lpEMData->errors.firstRecord.code, 303);
}

TEST(Dispatch, NegativeErrorCodesAreWidenedWithTheirSign) {
    // Only a hook can reach between the clearing of the code and the result.
    DriverHost host;
    host.initialise();
    host.send(OP_OPEN);
    host.hook.words[STATUS_PROC] = reinterpret_cast<HostWord>(
        +[](intptr_t, int32_t, int32_t, int32_t, int32_t, int32_t, intptr_t) -> int32_t {
            lpEMData->errors.lastCode = -5;
            return 0;
        });
    EXPECT_EQ(host.send(OP_CLOSE), -5);
    host.takeMemoryFile();
}

TEST(Terminate, ClearsTheLastCodeAndGivesZero) {
    DriverHost host;
    host.initialise();
    EXPECT_EQ(host.terminate(), 0);
    EXPECT_EQ(lpEMData, nullptr);
    EXPECT_EQ(hEMData, 0u);
    EXPECT_EQ(host.terminate(), 0) << "without a device state";
}

TEST(Terminate, ClearsTheLastCodeBeforeTheHostIsAsked) {
    DriverHost host;
    host.initialise();
    host.send(OP_OPEN);
    lpEMData->errors.lastCode = -5;
    static int32_t seen;
    seen = -1;
    host.hook.words[STATUS_PROC] = reinterpret_cast<HostWord>(
        +[](intptr_t, int32_t, int32_t, int32_t, int32_t, int32_t, intptr_t) -> int32_t {
            seen = lpEMData->errors.lastCode;
            return 0;
        });
    EXPECT_EQ(host.terminate(), 0);
    EXPECT_EQ(seen, 0);
}

TEST(CommonDispatch, WithoutACommonBlockNothingRuns) {
    DriverHost host;
    host.initialise();
    OpcodeBlock open(OP_OPEN);
    lpEMData->errors.lastCode = 9;
    EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, open.data(), 0), 0);
    EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
    EXPECT_EQ(lpEMData->errors.lastCode, 9);
}

TEST(CommonDispatch, WithoutADeviceStateEveryOpcodeIsIgnored) {
    AttachedCommon common;
    common.block.state = 1;
    common.block.lastError = 5;
    for (const uint32_t opcode :
         {1u, 2u, 3u, 4u, 5u, 518u, 765u, 767u, 1033u, 1034u, 1314u, 3842u, 3843u}) {
        OpcodeBlock block(opcode);
        EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, block.data(), 0), 0);
        EXPECT_EQ(common.block.lastError, 0);
    }
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(CommonDispatch, TestsItsOwnStateAndTheTableTestsTheDeviceState) {
    DriverHost host;
    host.enter(DEV_OPEN);
    AttachedCommon common;
    OpcodeBlock begin(OP_BEGIN_PICTURE);
    for (const int32_t state : {0, -1}) {
        common.block.state = state;
        common.block.lastError = 5;
        EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, begin.data(), 0), 0);
        EXPECT_EQ(common.block.lastError, 0);
        EXPECT_EQ(lpEMData->deviceState, DEV_OPEN) << "the common block's state lets nothing run";
    }
    common.block.state = 1;
    OpcodeBlock open(OP_OPEN);
    dd_entry32(0, DRV_DISPATCH, open.data(), 0);
    EXPECT_EQ(lpEMData->deviceState, DEV_OPEN) << "the open device does not accept it";
    dd_entry32(0, DRV_DISPATCH, begin.data(), 0);
    EXPECT_EQ(lpEMData->deviceState, DEV_PICTURE);
}

TEST(CommonDispatch, ErrorsGoToTheDeviceStateAndTheResultIsTheCommonBlocksCode) {
    DriverHost host({}, "/nowhere/at/all.bmp");
    host.initialise();
    AttachedCommon common;
    common.block.state = 1;
    OpcodeBlock open(OP_OPEN);
    EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, open.data(), 0), 0);
    EXPECT_EQ(lpEMData->errors.lastCode, 303);
    EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, nullptr, 0), 0);
}

TEST(GetFunc, UnknownOpcodesAndExcludedStatesLeadToNoop) {
    ASSERT_EQ(lpEMData, nullptr);
    EXPECT_EQ(tivar::getfunc(OP_OPEN), tivar::d_noop) << "no device state counts as state 0";
    DriverHost host;
    host.initialise();
    EXPECT_EQ(tivar::getfunc(OP_OPEN), tivar::d_opdv);
    EXPECT_EQ(tivar::getfunc(OP_CLOSE), tivar::d_noop);
    EXPECT_EQ(tivar::getfunc(7), tivar::d_noop);
    EXPECT_EQ(tivar::getfunc(0x80000001u), tivar::d_noop);
}

TEST(Noop, ReturnsItsArgument) {
    int block = 0;
    EXPECT_EQ(tivar::d_noop(&block), &block);
    EXPECT_EQ(tivar::d_noop(nullptr), nullptr);
    tivar::esc_mode(1);
    tivar::esc_mode(0);
}

TEST(InquireSupport, DrawingIsSupportedInTheBodyOnly) {
    for (const int32_t state : support::kEveryState) {
        DriverHost host;
        host.enter(state);
        EXPECT_EQ(InquireSupport(1033, 0), state == DEV_BODY ? 2 : 0) << state;
        EXPECT_EQ(InquireSupport(1034, -3), 0);
        EXPECT_EQ(InquireSupport(1323, 0), 0);
        EXPECT_EQ(InquireSupport(3842, 0), 2);
        EXPECT_EQ(InquireSupport(3841, 0), 0) << "accepted, but by nothing";
        EXPECT_EQ(InquireSupport(1, 0), state == DEV_CLOSED ? 2 : 0);
    }
}

TEST(InquireSupport, AcceptedOpcodeWithoutAnOperationIsNotSupported) {
    DriverHost host;
    host.initialise();
    EXPECT_EQ(host.send(0x0FF), 0);
    EXPECT_EQ(InquireSupport(0x0FF, 0), 0);
}

TEST(InquireSupport, WithoutADeviceStateNothingIsSupported) {
    ASSERT_EQ(lpEMData, nullptr);
    for (int32_t opcode = 0; opcode < 4000; ++opcode) EXPECT_EQ(InquireSupport(opcode, -5), 0);
}

TEST(InquireSupport, LooksUpTheLow16BitsWithTheirSign) {
    DriverHost host;
    host.initialise();
    EXPECT_EQ(InquireSupport(0x00010001, 0), 2);
    EXPECT_EQ(InquireSupport(static_cast<int32_t>(0xFFFF0001u), 0), 2);
    EXPECT_EQ(InquireSupport(static_cast<int32_t>(0x80008001u), 0), 0);
    lpEMData->deviceState = DEV_BODY;
    EXPECT_EQ(InquireSupport(0x00010000 + 1033, 0), 2);
    EXPECT_EQ(InquireSupport(0x00010000 + 1034, 0), 2)
        << "only the full number asks the primitives";
    EXPECT_EQ(InquireSupport(0x00010000 + 1323, 0), 0);
    lpEMData->deviceState = DEV_CLOSED;
}

TEST(InqGDPSupport, OnlyIdentifiersOfPrimitivesLeadIntoTheTable) {
    // A table that supports all, with more of the same behind it.
    constexpr int32_t kTable[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    for (int32_t id = -7; id <= -1; ++id) EXPECT_EQ(tivar::supportOf(kTable, id), 1 - id);
    for (const int32_t id : {0, 1, -8, INT32_MAX, INT32_MIN})
        EXPECT_EQ(tivar::supportOf(kTable, id), 0) << id;
}

TEST(InqGDPSupport, NoPrimitiveIsReportedAsSupported) {
    for (const int32_t id : {-7, -6, -5, -4, -3, -2, -1, 0, 1, 7, -8, INT32_MAX, INT32_MIN})
        EXPECT_EQ(InqGDPSupport(id), 0) << id;
}

}  // namespace
