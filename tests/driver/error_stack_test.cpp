#include "driver/error_stack.h"

#include <cstddef>

namespace {

// A device state of the test's own; lpEMData is null again behind it.
struct Device : EMData {
    Device() : EMData{} { lpEMData = this; }
    ~Device() { lpEMData = nullptr; }
};

void expectRecord(const ErrorRecord& record, uint32_t sequence, int16_t code) {
    EXPECT_EQ(record.sequence, sequence);
    EXPECT_EQ(record.code, code);
}

TEST(ErrorStack, FirstRecordLiesDirectlyBeforeTheEntriesAndRecordsTakeEightBytes) {
    EXPECT_EQ(sizeof(ErrorRecord), 8u);
    EXPECT_EQ(offsetof(ErrorStack, entries), offsetof(ErrorStack, firstRecord) + 8);
}

TEST(ErrorStack, PushWithoutCapacityReplacesTheFirstRecordAndCountsAnOverflow) {
    Device device;
    tivar::push_er(300);
    tivar::push_er(303);
    EXPECT_EQ(device.errors.count, 0);
    EXPECT_EQ(device.errors.capacity, 0);
    EXPECT_EQ(device.errors.overflowCount, 2);
    expectRecord(device.errors.firstRecord, 0, 303);
    EXPECT_EQ(device.errors.lastCode, 303);
    for (const ErrorRecord& entry : device.errors.entries) expectRecord(entry, 0, 0);
}

TEST(ErrorStack, SameCodeTwiceIsPushedTwiceWithoutCapacity) {
    Device device;
    tivar::push_er(901);
    tivar::push_er(901);
    EXPECT_EQ(device.errors.overflowCount, 2);
}

TEST(ErrorStack, PushStampsTheCurrentSequence) {
    Device device;
    device.currentSequence = 7;
    tivar::push_er(-1);
    expectRecord(device.errors.firstRecord, 7, -1);
    EXPECT_EQ(device.errors.lastSequence, 7u);
    EXPECT_EQ(device.errors.lastCode, -1);
}

TEST(ErrorStack, NumbersOfTheHostsBeyondTheEntriesCountAsTheirNumber) {
    Device device;
    device.errors.count = INT32_MAX;
    device.errors.capacity = INT32_MAX;
    device.errors.overflowCount = INT32_MAX;
    device.deviceState = DEV_CLOSED;
    tivar::push_er(303);
    EXPECT_EQ(device.errors.count, 10);
    EXPECT_EQ(device.errors.overflowCount, INT32_MAX);
    expectRecord(device.errors.entries[9], 0, 303);
    EXPECT_EQ(device.deviceState, DEV_CLOSED) << "nothing behind the stack is touched";
    device.errors.capacity = INT32_MIN;
    device.errors.count = INT32_MIN;
    tivar::push_er(901);
    expectRecord(device.errors.firstRecord, 0, 901);
}

TEST(ErrorStack, StackWithCapacityGrowsAndKeepsTheFirstRecord) {
    Device device;
    device.errors.capacity = 10;
    tivar::push_er(1);
    tivar::push_er(2);
    EXPECT_EQ(device.errors.count, 2);
    EXPECT_EQ(device.errors.overflowCount, 0);
    expectRecord(device.errors.firstRecord, 0, 1);
    expectRecord(device.errors.entries[0], 0, 1);
    expectRecord(device.errors.entries[1], 0, 2);
}

TEST(ErrorStack, SameErrorIsNotPushedTwiceInARow) {
    Device device;
    device.errors.capacity = 10;
    tivar::push_er(1);
    device.errors.lastCode = 0;
    tivar::push_er(1);
    EXPECT_EQ(device.errors.count, 1);
    EXPECT_EQ(device.errors.lastCode, 0) << "nothing at all is stored";
    device.currentSequence = 5;
    tivar::push_er(1);
    EXPECT_EQ(device.errors.count, 2) << "another sequence is another error";
    tivar::push_er(2);
    tivar::push_er(1);
    EXPECT_EQ(device.errors.count, 4) << "not in a row";
}

TEST(ErrorStack, FullStackOverwritesItsTopAndCountsTheOverflow) {
    Device device;
    device.errors.capacity = 2;
    for (const int16_t code : {int16_t{1}, int16_t{2}, int16_t{3}, int16_t{4}})
        tivar::push_er(code);
    EXPECT_EQ(device.errors.count, 2);
    EXPECT_EQ(device.errors.overflowCount, 2);
    expectRecord(device.errors.firstRecord, 0, 1);
    expectRecord(device.errors.entries[0], 0, 1);
    expectRecord(device.errors.entries[1], 0, 4);
    EXPECT_EQ(device.errors.lastCode, 4);
}

TEST(ErrorStack, PushWithoutADeviceDoesNothing) {
    lpEMData = nullptr;
    tivar::push_er(303);
}

}  // namespace
