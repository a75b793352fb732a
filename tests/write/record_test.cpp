// Records that begin with their size, of hosts that know more fields than this release, or fewer.
#include "write/record.h"

#include <gtest/gtest.h>

namespace {

using tivar::kMostRecordBytes;
using tivar::readRecord;

struct FirstRelease {
    uint32_t size;
    int32_t one;
};

// Two fields have come since, the second of which is an address.
struct ThisRelease {
    uint32_t size;
    int32_t one;
    int32_t two;
    const void* three;
};

struct NextRelease {
    ThisRelease known;
    uint8_t later[16];  // no padding behind them, which could hold anything
};

constexpr size_t kLeast = sizeof(FirstRelease);
const char kTarget = 0;

bool read(const void* from, ThisRelease& record) {
    return readRecord(static_cast<const ThisRelease*>(from), kLeast, record);
}

TEST(WriteRecord, AnOlderHostsRecordHasZerosWhereItHasNoFields) {
    // What follows the older record in the host's memory is not part of it.
    struct {
        FirstRelease record;
        uint8_t behind[64];
    } host = {{sizeof(FirstRelease), 7}, {}};
    std::memset(host.behind, 0xEE, sizeof host.behind);
    ThisRelease record = {};
    std::memset(&record, 0xDD, sizeof record);
    ASSERT_TRUE(read(&host, record));
    EXPECT_EQ(record.one, 7);
    EXPECT_EQ(record.two, 0);
    EXPECT_EQ(record.three, nullptr);
    EXPECT_EQ(record.size, sizeof(ThisRelease));
}

TEST(WriteRecord, ThisReleasesRecordIsTakenWhole) {
    const ThisRelease host = {sizeof host, 7, -8, &kTarget};
    ThisRelease record = {};
    ASSERT_TRUE(read(&host, record));
    EXPECT_EQ(record.one, 7);
    EXPECT_EQ(record.two, -8);
    EXPECT_EQ(record.three, &kTarget);
}

TEST(WriteRecord, ANewerHostsRecordIsTakenWhileItsNewFieldsAreZero) {
    NextRelease host = {{sizeof host, 7, -8, &kTarget}, {}};
    ThisRelease record = {};
    ASSERT_TRUE(read(&host, record));
    EXPECT_EQ(record.three, &kTarget);
    EXPECT_EQ(record.size, sizeof(ThisRelease));
    for (uint8_t& field : host.later) {
        field = 0x80;
        EXPECT_FALSE(read(&host, record)) << &field - host.later;
        field = 0;
    }
    EXPECT_TRUE(read(&host, record));
}

TEST(WriteRecord, ARecordSmallerThanTheFirstReleasesIsRefused) {
    for (const uint32_t size : {0u, 4u, uint32_t{kLeast} - 1}) {
        const ThisRelease host = {size, 7, -8, nullptr};
        ThisRelease record = {};
        EXPECT_FALSE(read(&host, record)) << size;
    }
}

// Unread: a size that no release has is no size.
TEST(WriteRecord, ARecordLargerThanAnyReleasesIsRefused) {
    const ThisRelease host = {kMostRecordBytes + 1, 7, -8, nullptr};
    ThisRelease record = {};
    EXPECT_FALSE(read(&host, record));
}

}  // namespace
