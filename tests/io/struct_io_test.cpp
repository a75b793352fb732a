#include <algorithm>
#include <bit>
#include <cstring>

#include "support/byte_list.h"
#include "support/memory_stream.h"
#include "support/recording_document.h"
#include "support/source_stream.h"

namespace {

using support::ByteList;
using support::Bytes;
using support::kDocWrite;
using support::MemorySource;
using support::MemoryStream;
using support::RecordingDocument;

constexpr uint8_t kUntouched = 0xEE;

// 1, 2, 3 and so on.
Bytes counting(size_t count, uint32_t first = 1) {
    ByteList bytes;
    for (size_t i = 0; i < count; ++i) bytes.u8(static_cast<uint32_t>(first + i));
    return bytes.list;
}

// Of a stream whose numbers go as they lie in memory, whatever the machine's byte order: its bytes
// are those of the members.
constexpr int16_t kMachineOrder = std::endian::native == std::endian::big ? 1 : 0;

OxlStream asInMemory(OxlStream stream) {
    oxlSetDataFormat(stream, kMachineOrder, 0);
    return stream;
}

// Kept: with the most significant byte first, a double is written with its halves exchanged and one
// of them turned. Of a format whose members before the double are single bytes.
void exchangeHalves(Bytes& bytes, const std::string& format) {
    const size_t place = format.find('D');
    if (kMachineOrder == 0 || place == std::string::npos) return;
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(place);
    std::rotate(first, first + 4, first + 8);
    std::reverse(first + 4, first + 8);
}

// A place in memory: which byte of the stream lies there, or one of the two below.
constexpr int kZeroed = -1;
constexpr int kKept = -2;

struct Layout {
    const char* format;
    int32_t records;
    std::vector<int> memory;
};

// Every byte of the memory is either a member, which stands in the stream at the place told, or a
// gap. The records are written and read with the same format.
const Layout kLayouts[] = {
    {"C", 1, {0}},
    {"CCCC", 2, {0, 1, 2, 3, 4, 5, 6, 7}},
    {"4C", 1, {0, 1, 2, 3}},
    {"SLSSL", 1, {0, 1, -1, -1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}},
    {"slSsL", 1, {0, 1, -1, -1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}},
    {"CS", 2, {0, -1, 1, 2, 3, -1, 4, 5}},
    {"CF", 1, {0, -1, -1, -1, 1, 2, 3, 4}},
    {"CD", 1, {0, -1, -1, -1, -1, -1, -1, -1, 1, 2, 3, 4, 5, 6, 7, 8}},
    // Behind the last element the record is filled up to its alignment.
    {"LS", 2, {0, 1, 2, 3, 4, 5, -1, -1, 6, 7, 8, 9, 10, 11, -1, -1}},
    {"DC", 1, {0, 1, 2, 3, 4, 5, 6, 7, 8, -1, -1, -1, -1, -1, -1, -1}},
    {"3C2S", 1, {0, 1, 2, -1, 3, 4, 5, 6}},
    {"C2SC", 1, {0, -1, 1, 2, 3, 4, 5, -1}},
    // The run of digits has no limit.
    {"0000000000000000000000000000000000000002SC", 1, {0, 1, 2, 3, 4, -1}},
    // A nested record is aligned where it begins, not where it ends.
    {"S{LS}S", 1, {0, 1, -1, -1, 2, 3, 4, 5, 6, 7, 8, 9}},
    {"C{CS}C", 1, {0, -1, 1, -1, 2, 3, 4, -1}},
    {"C{C{L}}", 1, {0, -1, -1, -1, 1, -1, -1, -1, 2, 3, 4, 5}},
    {"C{CC}", 1, {0, 1, 2}},
    // Members in brackets take their place in memory only, and so do gaps in front of them.
    {"S[L]S", 1, {0, 1, -1, -1, -2, -2, -2, -2, 2, 3, -1, -1}},
    {"[S]C", 1, {-2, -2, 0, -1}},
    {"C[CS]C", 2, {0, -2, -2, -2, 1, -1, 2, -2, -2, -2, 3, -1}},
    {"C[{L2C}]S", 1, {0, -1, -1, -1, -2, -2, -2, -2, -2, -2, 1, 2}},
    {"[C]C[C]", 1, {-2, 0, -2}},
    // A bracket that nothing closes stays open into the next record.
    {"C[S", 2, {0, -1, -2, -2, -2, -1, -2, -2}},
    {"]C[2C", 2, {0, -2, -2, 1, -2, -2}},
    // A format that begins with a nested record takes its alignment from that record alone.
    {"{C}LC", 2, {0, -1, -1, -1, 1, 2, 3, 4, 5, 6, -1, -1, 7, 8, 9, 10, 11}},
    {"{SS}L", 1, {0, 1, 2, 3, 4, 5, 6, 7}},
    // Bars mean nothing outside unions.
    {"S|C}", 1, {0, 1, 2, -1}},
    {"2L", 2, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
};

size_t streamBytes(const Layout& layout) {
    return static_cast<size_t>(1 + *std::max_element(layout.memory.begin(), layout.memory.end()));
}

TEST(WriteStruct, MembersGoPackedWithoutGaps) {
    for (const Layout& layout : kLayouts) {
        SCOPED_TRACE(layout.format);
        Bytes expected(streamBytes(layout));
        Bytes memory;
        for (const int place : layout.memory) {
            memory.push_back(static_cast<uint8_t>(memory.size() + 1));
            if (place >= 0) expected[static_cast<size_t>(place)] = memory.back();
        }
        exchangeHalves(expected, layout.format);
        MemoryStream target;
        EXPECT_EQ(
            oxlWriteStruct(asInMemory(target.stream), layout.format, memory.data(), layout.records),
            layout.records);
        EXPECT_EQ(target.finish(), expected);
    }
}

TEST(ReadStruct, MembersGetTheirPlacesAndGapsAreZeroed) {
    for (const Layout& layout : kLayouts) {
        SCOPED_TRACE(layout.format);
        const Bytes bytes = counting(streamBytes(layout));
        Bytes expected;
        for (const int place : layout.memory)
            expected.push_back(place == kZeroed ? uint8_t{0}
                               : place == kKept ? kUntouched
                                                : bytes[static_cast<size_t>(place)]);
        expected.push_back(kUntouched);
        Bytes memory(expected.size(), kUntouched);
        MemorySource source(bytes);
        EXPECT_EQ(
            oxlReadStruct(asInMemory(source.stream), layout.format, memory.data(), layout.records),
            layout.records);
        EXPECT_EQ(memory, expected);
        uint8_t more = 0;
        EXPECT_EQ(oxlRead(source.stream, &more, 1), 0);
    }
}

TEST(WriteStruct, TheFileHeaderTakes14Bytes) {
    struct {
        uint16_t type = 0x4D42;
        uint32_t size = 0x01020304;
        uint16_t reserved[2] = {0x0506, 0x0708};
        uint32_t offset = 0x090A0B0C;
    } header;
    static_assert(sizeof header == 16);
    MemoryStream target;
    EXPECT_EQ(oxlWriteStruct(target.stream, "SLSSL", &header, 1), 1);
    EXPECT_EQ(target.finish(), (Bytes{'B', 'M', 4, 3, 2, 1, 6, 5, 8, 7, 12, 11, 10, 9}));
    MemoryStream big;
    oxlSetDataFormat(big.stream, 1, 0);
    EXPECT_EQ(oxlWriteStruct(big.stream, "SLSSL", &header, 1), 1);
    EXPECT_EQ(big.finish(), (Bytes{'M', 'B', 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(WriteStruct, TheInformationHeaderTakes40Bytes) {
    const Bytes memory = counting(40);
    MemoryStream target;
    EXPECT_EQ(oxlWriteStruct(asInMemory(target.stream), "LLLSSLLLLLL", memory.data(), 1), 1);
    EXPECT_EQ(target.finish(), memory);
}

TEST(StructIo, ThePlaceInMemoryCountsFromTheGivenAddress) {
    // Wherever the record lies, its members lie at the same distances.
    for (size_t shift = 0; shift < 8; ++shift) {
        Bytes memory = counting(24);
        MemoryStream target;
        EXPECT_EQ(oxlWriteStruct(asInMemory(target.stream), "SL", memory.data() + shift, 1), 1);
        Bytes expected = counting(2, static_cast<uint32_t>(shift + 1));
        for (size_t i = 4; i < 8; ++i) expected.push_back(memory[shift + i]);
        EXPECT_EQ(target.finish(), expected);
        memory.assign(24, kUntouched);
        MemorySource source(counting(6));
        EXPECT_EQ(oxlReadStruct(asInMemory(source.stream), "SL", memory.data() + shift, 1), 1);
        EXPECT_EQ(support::slice(memory, shift, 9), (Bytes{1, 2, 0, 0, 3, 4, 5, 6, kUntouched}));
    }
}

TEST(StructIo, FloatsAndDoublesFollowTheDataFormat) {
    struct {
        float f = 1.5f;
        float g = -1.5f;
        double d = std::bit_cast<double>(uint64_t{0x0102030405060708});
    } record;
    MemoryStream target;
    oxlSetDataFormat(target.stream, 1, 1);
    EXPECT_EQ(oxlWriteStruct(target.stream, "2FD", &record, 1), 1);
    EXPECT_EQ(target.finish(), (Bytes{0x80, 0, 0, 1, 0x80, 0, 0xFF, 0xFF, 5, 6, 7, 8, 4, 3, 2, 1}));
    MemorySource source(Bytes{0, 1, 0x80, 0, 0xFF, 0xFE, 0x80, 0, 1, 2, 3, 4, 5, 6, 7, 8});
    oxlSetDataFormat(source.stream, 1, 1);
    const auto expected = record;
    record = {0, 0, 0};
    EXPECT_EQ(oxlReadStruct(source.stream, "ffd", &record, 1), 1);
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

TEST(ReadStruct, AUnionTakesItsPlaceAndNothingOfTheStream) {
    struct Union {
        const char* format;
        std::vector<int> memory;
    };
    const Union unions[] = {
        {"S(L|S|)S", {0, 1, -1, -1, -2, -2, -2, -2, 2, 3, -1, -1}},
        // The last alternative does not count, though it aligns the union.
        {"S(S|L)S", {0, 1, -1, -1, -2, -2, 2, 3}},
        {"C(D)C", {0, -1, -1, -1, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1}},
        {"C(2CP|C)C", {0, -2, -2, 1}},
        {"C[(S|C)]C", {0, -1, -2, -2, 1, -1}},
        {"((L|S)|C)C", {-2, -2, -2, -2, 0, -1, -1, -1}},
        {"Pp)C", {0}},
        // A union that is never closed is the rest of the format.
        {"C(S|LL", {0, -1, -1, -1, -2, -2, -1, -1}},
    };
    for (const Union& example : unions) {
        SCOPED_TRACE(example.format);
        const Bytes bytes = counting(8);
        Bytes expected;
        int used = 0;
        for (const int place : example.memory) {
            used = std::max(used, place + 1);
            expected.push_back(place == kZeroed ? uint8_t{0}
                               : place == kKept ? kUntouched
                                                : bytes[static_cast<size_t>(place)]);
        }
        expected.push_back(kUntouched);
        Bytes memory(expected.size(), kUntouched);
        MemorySource source(bytes);
        EXPECT_EQ(oxlReadStruct(asInMemory(source.stream), example.format, memory.data(), 1), 1);
        EXPECT_EQ(memory, expected);
        EXPECT_EQ(oxlSeek(source.stream, 0, SEEK_CUR), used);
    }
}

TEST(StructIo, AnUnknownCharacterSpoilsTheCountAndNothingElse) {
    for (const char* format : {"S S", "SXS", "S?S", "S\tS", "S-S", "S*S"}) {
        for (const int32_t records : {1, 3}) {
            SCOPED_TRACE(format);
            const size_t size = 4 * static_cast<size_t>(records);
            Bytes memory = counting(size);
            MemoryStream target;
            // The count is -1 at the character and goes on from there: 0 behind the last record.
            EXPECT_EQ(oxlWriteStruct(asInMemory(target.stream), format, memory.data(), records), 0);
            EXPECT_EQ(target.finish(), counting(size));
            memory.assign(size, kUntouched);
            MemorySource source(counting(size));
            EXPECT_EQ(oxlReadStruct(asInMemory(source.stream), format, memory.data(), records), 0);
            EXPECT_EQ(memory, counting(size));
        }
    }
}

TEST(WriteStruct, ParenthesesAndPAreUnknown) {
    for (const char* format : {"S(S", "S)S", "SPS", "SpS"}) {
        MemoryStream target;
        EXPECT_EQ(oxlWriteStruct(asInMemory(target.stream), format, counting(4).data(), 1), 0)
            << format;
        EXPECT_EQ(target.finish(), counting(4));
    }
}

TEST(ReadStruct, AShortRecordGivesZeroRecords) {
    for (size_t size = 0; size < 14; ++size) {
        Bytes memory(16, kUntouched);
        MemorySource source(counting(size));
        EXPECT_EQ(oxlReadStruct(asInMemory(source.stream), "SLSSL", memory.data(), 1), 0) << size;
    }
    // Even behind whole ones.
    Bytes memory(32, kUntouched);
    MemorySource source(counting(27));
    EXPECT_EQ(oxlReadStruct(asInMemory(source.stream), "SLSSL", memory.data(), 2), 0);
    EXPECT_EQ(support::slice(memory, 0, 16),
              (Bytes{1, 2, 0, 0, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
}

TEST(ReadStruct, BytesAreCountedSoFewerOfThemDoNotEndTheLoop) {
    Bytes memory(8, kUntouched);
    MemorySource source(counting(6));
    // The second record's "4C" gets 2 bytes, which is no failure.
    EXPECT_EQ(oxlReadStruct(source.stream, "4C", memory.data(), 2), 2);
    EXPECT_EQ(memory, (Bytes{1, 2, 3, 4, 5, 6, kUntouched, kUntouched}));
    EXPECT_EQ(oxlReadStruct(source.stream, "4C", memory.data(), 2), 0);
}

struct FailedTransfer {
    const char* format;
    std::deque<intptr_t> answers;
    int32_t result;
    size_t writes;
};

TEST(WriteStruct, AFailedElementEndsTheLoopBehindItsRecordAndTheLastElementCounts) {
    const FailedTransfer transfers[] = {
        // Of three records: the first one's last element fails, so no second record begins.
        {"SL", {2, -1}, -1, 2},
        {"SL", {2, 0}, 0, 2},
        // Of every kind.
        {"C", {-1}, -1, 1},
        {"S", {0}, 0, 1},
        {"F", {-1}, -1, 1},
        {"F", {0}, 0, 1},
        {"D", {0}, 0, 1},
        {"SL", {2, 4, 2, -1}, -1, 4},
        // Inside a record the elements behind the failed one still go, and their result counts.
        {"SL", {-1}, 3, 6},
        {"SL", {0, 4, 0, 4, 0, 4}, 3, 6},
        {"SLS", {2, -1, 0}, 0, 3},
        {"SLS", {2, 0, -1}, -1, 3},
        // An array stops at its failed item.
        {"3S", {2, -1}, -1, 2},
        {"3SL", {2, -1, 4, 2, 2, 2, 0}, 0, 7},
        // A short answer of 1 or more is no failure.
        {"SL", {1, 1, 1, 1, 1, 1}, 3, 6},
        // No items at all count as a failure.
        {"L0S", {}, 0, 1},
        {"0SL", {}, 3, 3},
    };
    for (const FailedTransfer& transfer : transfers) {
        SCOPED_TRACE(transfer.format + testing::PrintToString(transfer.answers));
        RecordingDocument document;
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("doc", &descriptor, 4097);
        document.takeLog();
        document.answers[kDocWrite] = transfer.answers;
        const Bytes memory(64, 'a');
        EXPECT_EQ(oxlWriteStruct(stream, transfer.format, memory.data(), 3), transfer.result);
        const std::string log = document.takeLog();
        EXPECT_EQ(static_cast<size_t>(std::count(log.begin(), log.end(), '\n')), transfer.writes)
            << log;
        document.answers.clear();
        oxlClose(stream);
    }
}

TEST(WriteStruct, ABlockThatCannotGrowFails) {
    MemoryStream target(10);
    EXPECT_EQ(oxlWriteStruct(asInMemory(target.stream), "SL", counting(16).data(), 2), -1);
    EXPECT_EQ(target.finish(), (Bytes{1, 2, 5, 6, 7, 8, 9, 10, 13, 14}));
}

TEST(StructIo, WithoutStreamFormatMemoryOrRecordsNothingHappens) {
    Bytes memory(8, kUntouched);
    MemoryStream target;
    MemorySource source(counting(8));
    EXPECT_LT(oxlWriteStruct(0, "S", memory.data(), 1), 1);
    EXPECT_LT(oxlWriteStruct(target.stream, nullptr, memory.data(), 1), 1);
    EXPECT_LT(oxlWriteStruct(target.stream, "S", nullptr, 1), 1);
    EXPECT_LT(oxlReadStruct(0, "S", memory.data(), 1), 1);
    EXPECT_LT(oxlReadStruct(source.stream, nullptr, memory.data(), 1), 1);
    EXPECT_LT(oxlReadStruct(source.stream, "S", nullptr, 1), 1);
    for (const int32_t count : {0, -1, INT32_MIN}) {
        EXPECT_EQ(oxlWriteStruct(target.stream, "S", memory.data(), count), 0);
        EXPECT_EQ(oxlReadStruct(source.stream, "S", memory.data(), count), 0);
    }
    // Records of nothing are transferred all the same.
    EXPECT_EQ(oxlWriteStruct(target.stream, "", memory.data(), 3), 3);
    EXPECT_EQ(oxlReadStruct(source.stream, "", memory.data(), 3), 3);
    EXPECT_EQ(oxlSeek(source.stream, 0, SEEK_CUR), 0);
    EXPECT_EQ(target.finish(), Bytes{});
    EXPECT_EQ(memory, Bytes(8, kUntouched));
}

TEST(ReadStruct, TheLoopEndsWithTheStreamHoweverManyRecordsAreAskedFor) {
    Bytes memory(8, kUntouched);
    MemorySource source(Bytes{});
    EXPECT_EQ(oxlReadStruct(source.stream, "L", memory.data(), INT32_MAX), 0);
    EXPECT_EQ(memory, Bytes(8, kUntouched));
}

struct Width {
    const char* format;
    int32_t width;
};

TEST(GetPadWidth, IsTheWidestMemberOfTheGroup) {
    const Width widths[] = {
        {"SLSSL", 4},
        {"CCCC", 1},
        {"LLLSSLLLLLL", 4},
        {"S", 2},
        {"2C3S", 2},
        {"F", 4},
        {"D", 8},
        {"CCD", 8},
        {"DC", 8},
        {"sl", 4},
        {"d", 8},
        {"f", 4},
        {"", 1},
        {"xyz", 1},
        {"C[L]C", 4},
        {"S(L|C)", 4},
        {"C{D}", 8},
        // A group ends at its closing sign ...
        {"{SL}D", 4},
        {"(S|C)D", 2},
        {"{S{L}C}D", 4},
        {"{C}L", 1},
        {"{}D", 1},
        {"(S|C}D", 2},
        // ... and a format that does not start with one at the first that it did not open.
        {"S}L", 2},
        {"S)L", 2},
        {"S{C}L", 4},
        {"}L", 1},
        {"{S", 2},
    };
    for (const Width& width : widths)
        EXPECT_EQ(GetPadWidth(width.format), width.width) << width.format;
    // What begins inside a format is a format of its own.
    const char* format = "C{SL}D";
    EXPECT_EQ(GetPadWidth(format + 1), 4);
    EXPECT_EQ(GetPadWidth(format + 3), 4);
    EXPECT_EQ(GetPadWidth(format + 5), 8);
}

TEST(GetPadWidth, WithoutAFormatItIsOne) {
    EXPECT_EQ(GetPadWidth(nullptr), 1);
}

struct UnionSize {
    const char* format;
    int32_t size;
    const char* end;
};

TEST(GetUnionSize, IsTheLargestAlternativeThatABarEnds) {
    const UnionSize unions[] = {
        {"(L|S)", 4, ")"},
        {"(S|L)", 2, ")"},
        {"(S|L|)", 4, ")"},
        {"(L|S|)rest", 4, ")rest"},
        {"()", 0, ")"},
        {"(D)", 0, ")"},
        {"(|)", 0, ")"},
        {"(3C|C)", 3, ")"},
        {"(2S|C)", 4, ")"},
        {"(2L|C)", 8, ")"},
        {"(2F|C)", 8, ")"},
        {"(2D|C)", 16, ")"},
        {"(c|s|l|f|d|)", 8, ")"},
        {"(CS|C)", 4, ")"},
        {"(CL|C)", 8, ")"},
        {"(CF|C)", 8, ")"},
        {"(CD|C)", 16, ")"},
        // The size of an alternative is not filled up.
        {"(LC|C)", 5, ")"},
        {"(C|CCC|S|L)", 3, ")"},
        // Nested records align, nested unions count with their size.
        {"({SL}|C)", 8, ")"},
        {"(C{SL}|C)", 12, ")"},
        {"((L|S)|C)", 4, ")"},
        {"(C(L|S)|C)", 8, ")"},
        {"(C(S|L)|C)", 6, ")"},
        {"(C(S|C)C|C)", 5, ")"},
        {"((S|(L|C)|C)|C)", 4, ")"},
        {"(000000000000000000000000003C|)", 3, ")"},
        // Unknown characters count nothing.
        {"(X C?|C)", 1, ")"},
        {"(L|S", 4, ""},
        {"(L", 0, ""},
        {"(", 0, ""},
        {"((L|S|", 0, ""},
        {"(L|12", 4, ""},
        // Nothing behind the end counts.
        {"((S|\0D|)D|)", 0, ""},
        {"(3\0D|)", 0, ""},
    };
    for (const UnionSize& example : unions) {
        SCOPED_TRACE(example.format);
        int32_t size = -7;
        EXPECT_STREQ(GetUnionSize(example.format, &size), example.end);
        EXPECT_EQ(size, example.size);
    }
}

TEST(GetUnionSize, DeepNestingAndGreatCountsAreHarmless) {
    int32_t size = -7;
    const std::string deep(200000, '(');
    EXPECT_STREQ(GetUnionSize(deep.c_str(), &size), "");
    EXPECT_EQ(size, 0);
    const std::string closed = deep + std::string(200000, ')') + "rest";
    EXPECT_STREQ(GetUnionSize(closed.c_str(), &size), ")rest");
    EXPECT_STREQ(GetUnionSize("(99999999999L99999999999D|)", &size), ")");
    EXPECT_GE(size, 0);
    EXPECT_EQ(GetUnionSize(nullptr, &size), nullptr);
    const char* format = "(L|S)";
    GetUnionSize(format, nullptr);
    EXPECT_STREQ(GetUnionSize("", &size), "");
    EXPECT_EQ(size, 0);
}

}  // namespace
