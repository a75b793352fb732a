// Every opcode in every device state: carried out or ignored, the state afterwards, the result.
#include <cstring>

#include "driver/dispatch.h"
#include "driver/operations.h"
#include "support/driver_host.h"
#include "support/opcode_rows.h"

namespace {

using support::Bytes;
using support::DriverHost;
using support::OpcodeBlock;
using support::OpcodeRow;

constexpr uint32_t kStates[] = {DEV_CLOSED, DEV_OPEN,          DEV_PICTURE,      DEV_BODY,
                                DEV_ENDED,  support::kState32, support::kState64};

// What an operation does that can be seen from outside, with the state that it leaves; 0 = the old.
struct Effect {
    OpcodeBlock block;
    uint32_t stateAfter;
    void (*expectDone)(const DriverHost& host);
};

constexpr support::SixDoubles kCorners = {1, 2, 3, 4, 5, 6};

Effect effectOf(uint32_t opcode) {
    const auto nothing = [](const DriverHost&) {};
    const auto repliesAWindow = [](const DriverHost&) { EXPECT_EQ(lpEMData->replyPosition, 48u); };
    switch (opcode) {
        case 1:
            return {OpcodeBlock(1), 2,
                    [](const DriverHost&) { EXPECT_NE(lpEMData->outputStream, 0u); }};
        case 2:
            return {OpcodeBlock(2), 1, [](const DriverHost& host) {
                        EXPECT_EQ(lpEMData->outputStream, 0u);
                        EXPECT_EQ(host.hook.calls.size(), 2u) << "start, and the cancel question";
                    }};
        case 3:
            return {OpcodeBlock(3), 4, nothing};
        case 4:
            return {OpcodeBlock(4), 8, nothing};
        case 5:
            return {OpcodeBlock(5), 16, nothing};
        case 518:
            return {support::windowBlock(kCorners), 0, [](const DriverHost&) {
                        EXPECT_EQ(std::memcmp(lpEMData->deviceWindow, &kCorners, 48), 0);
                    }};
        case 519:
            return {OpcodeBlock(519).put(16, Bytes{10, 20, 30}), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->background[2], 30); }};
        case 520:
            return {support::viewportBlock(kCorners), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->deviceViewport[4], 5.0); }};
        case 521:
            return {support::scaleBlock(1, 0.254), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->viewportResolution, 100); }};
        case 765:
        case 767:
            return {OpcodeBlock(opcode), 0, repliesAWindow};
        case 1033:
            return {support::cellArrayBlock({1, 1, 8}, {7, 0, 0, 0}), 0,
                    [](const DriverHost& host) {
                        EXPECT_EQ(host.hook.calls.back(), support::progressCall(50));
                    }};
        case 1034:
            return {support::beginImageBlock({4, 4, 8}), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->imagePending, 1); }};
        case 1314:
            return {support::colorsBlock(255, {1, 2, 3}), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->colorTable[255][2], 3); }};
        case 3842:
            return {support::popBlock(5), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->replyPosition, 4u); }};
        case 3843:
            return {OpcodeBlock(3843), 0,
                    [](const DriverHost&) { EXPECT_EQ(lpEMData->errors.overflowCount, 0); }};
        default:
            return {OpcodeBlock(opcode), 0, nullptr};
    }
}

// States that operations reach; the other two only a host's hand.
void enterState(DriverHost& host, uint32_t state) {
    const bool reached = state <= DEV_ENDED;
    host.enter(reached ? static_cast<int32_t>(state) : DEV_BODY);
    lpEMData->deviceState = static_cast<int32_t>(state);
    lpEMData->errors.overflowCount = 3;
}

bool changesNothing(const OpcodeRow& row) {
    return effectOf(row.opcode).expectDone == nullptr;
}

void expectCarriedOut(const OpcodeRow& row, uint32_t state) {
    DriverHost host;
    enterState(host, state);
    const Effect effect = effectOf(row.opcode);
    EXPECT_EQ(host.send(effect.block), 0);
    const uint32_t after = effect.stateAfter == 0 ? state : effect.stateAfter;
    EXPECT_EQ(lpEMData->deviceState, static_cast<int32_t>(after));
    effect.expectDone(host);
}

// Nothing but the last error code, which every dispatch clears, may change.
void expectIgnored(const OpcodeRow& row, uint32_t state) {
    DriverHost host;
    enterState(host, state);
    EMData before = *lpEMData;
    lpEMData->errors.lastCode = 303;
    before.errors.lastCode = 0;
    const size_t calls = host.hook.calls.size();
    EXPECT_EQ(host.send(effectOf(row.opcode).block), 0);
    EXPECT_EQ(std::memcmp(lpEMData, &before, sizeof before), 0);
    EXPECT_EQ(host.hook.calls.size(), calls);
}

TEST(StateMachine, EveryOpcodeIsCarriedOutWhereTheTableAcceptsItAndElseIgnored) {
    for (const OpcodeRow& row : support::kOpcodeRows) {
        for (const uint32_t state : kStates) {
            SCOPED_TRACE(testing::Message() << "opcode " << row.opcode << ", state " << state);
            const bool accepted = (row.acceptedStates & state) != 0;
            if (accepted && !changesNothing(row))
                expectCarriedOut(row, state);
            else
                expectIgnored(row, state);
        }
    }
}

TEST(StateMachine, SupportIsReportedForWhatAnOperationCarriesOut) {
    DriverHost host;
    host.initialise();
    for (const OpcodeRow& row : support::kOpcodeRows) {
        if (row.opcode == OP_PRIMITIVE) continue;  // asks for the primitives instead
        for (const uint32_t state : kStates) {
            lpEMData->deviceState = static_cast<int32_t>(state);
            const bool carriedOut =
                (row.acceptedStates & state) != 0 && row.handler != tivar::d_noop;
            EXPECT_EQ(tivar::getfunc(row.opcode), carriedOut ? row.handler : tivar::d_noop);
            EXPECT_EQ(InquireSupport(static_cast<int32_t>(row.opcode), 0), carriedOut ? 2 : 0);
        }
    }
    lpEMData->deviceState = DEV_CLOSED;
}

TEST(StateMachine, UnknownOpcodesAreIgnoredInEveryState) {
    for (const uint32_t opcode : {0u, 6u, 7u, 10u, 256u, 522u, 764u, 768u, 1024u, 1032u, 1044u,
                                  1313u, 1322u, 3840u, 3844u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        for (const uint32_t state : kStates) {
            SCOPED_TRACE(testing::Message() << "opcode " << opcode << ", state " << state);
            expectIgnored({opcode, nullptr, 0, 0}, state);
        }
    }
}

TEST(StateMachine, OnlyTheFiveTransitionsMoveTheDevice) {
    struct Step {
        uint32_t opcode;
        int32_t state;
    };
    constexpr Step kLife[] = {{3, 1},  {5, 1}, {2, 1}, {1, 2},  {1, 2},  {4, 2}, {5, 2},  {3, 4},
                              {3, 4},  {5, 4}, {4, 8}, {4, 8},  {3, 8},  {1, 8}, {5, 16}, {5, 16},
                              {4, 16}, {3, 4}, {4, 8}, {5, 16}, {1, 16}, {2, 1}, {4, 1}};
    DriverHost host;
    host.initialise();
    for (const Step& step : kLife) {
        EXPECT_EQ(host.send(step.opcode), 0);
        EXPECT_EQ(lpEMData->deviceState, step.state) << "after opcode " << step.opcode;
    }
}

TEST(StateMachine, DeviceMayBeClosedFromEveryStateButClosed) {
    for (const int32_t state : {DEV_OPEN, DEV_PICTURE, DEV_BODY, DEV_ENDED}) {
        DriverHost host;
        host.enter(state);
        EXPECT_EQ(host.send(OP_CLOSE), 0);
        EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
        EXPECT_EQ(host.send(OP_CLOSE), 0) << "ignored: no stream is missed";
        EXPECT_EQ(host.takeMemoryFile(), Bytes{});
    }
}

}  // namespace
