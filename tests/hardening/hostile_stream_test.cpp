#include "hardening/hostile.h"
#include "support/memory_stream.h"
#include "support/source_stream.h"
#include "support/temp_directory.h"

namespace {

using namespace hardening;
using support::FileSource;
using support::MemorySource;
using support::MemoryStream;
using support::TempDirectory;

TEST(HostileArguments, oxlOpen) {
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_READ), 0u);
    EXPECT_EQ(oxlOpen("", nullptr, OXL_CREATE | OXL_WRITE), 0u);
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_LENT), 0u);
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_DELETE), 0u);
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_EXISTS), static_cast<OxlStream>(-1));
    OxlStreamDesc empty = {};
    for (const int32_t mode : {0, 1, 2, 0x1001, -1, 7, INT32_MAX, INT32_MIN})
        EXPECT_EQ(oxlOpen(nullptr, &empty, mode), 0u) << mode;
    void* none = nullptr;
    empty.target = reinterpret_cast<HostWord>(&none);
    EXPECT_EQ(oxlOpen("", &empty, OXL_READ), 0u);
    for (const std::string& name : longStrings())
        EXPECT_EQ(oxlOpen(name.c_str(), nullptr, OXL_READ), 0u);
    // A block that says to be larger than it is counts as large as it is.
    void* data = GlobalLock(support::newBlock({1, 2, 3, 0xFF}));
    OxlStreamDesc liar = {};
    liar.target = reinterpret_cast<HostWord>(&data);
    liar.size = kHuge;
    liar.growStep = static_cast<HostWord>(-1);
    const OxlStream stream = oxlOpen(nullptr, &liar, OXL_READ);
    ASSERT_NE(stream, 0u);
    uint8_t bytes[9] = {};
    EXPECT_EQ(oxlRead(stream, bytes, 9), 3);
    EXPECT_EQ(oxlClose(stream), 0);
    GlobalFree(GlobalHandle(data));
}

TEST(HostileArguments, oxlClose) {
    EXPECT_EQ(oxlClose(0), -1);
}

TEST(HostileArguments, oxlCloseandDelete) {
    EXPECT_EQ(oxlCloseandDelete(0, nullptr), -1);
    EXPECT_EQ(oxlCloseandDelete(0, "name"), -1);
    const TempDirectory directory;
    const std::string path = directory.write("kept", "text");
    EXPECT_EQ(oxlCloseandDelete(oxlOpen(path.c_str(), nullptr, OXL_READ), nullptr), 0);
    EXPECT_EQ(oxlCloseandDelete(oxlOpen(path.c_str(), nullptr, OXL_READ), ""), 0);
    EXPECT_EQ(directory.read("kept"), "text");
}

TEST(HostileArguments, oxlCopy) {
    const TempDirectory directory;
    const std::string path = directory.write("source", "text");
    for (const char* name : {static_cast<const char*>(nullptr), "", "/no/such/file"}) {
        EXPECT_EQ(oxlCopy(name, directory.path("target").c_str()), 0);
        // What was read and could not be written.
        EXPECT_EQ(oxlCopy(path.c_str(), name), -4);
    }
    EXPECT_EQ(oxlCopy(directory.path().c_str(), directory.path("target").c_str()), 0);
    EXPECT_EQ(directory.read("source"), "text");
}

TEST(HostileArguments, oxlRead) {
    uint8_t byte = 5;
    EXPECT_EQ(oxlRead(0, &byte, 1), 0);
    FileSource file("text");
    MemorySource memory("text");
    for (const OxlStream stream : {file.stream, memory.stream}) {
        EXPECT_EQ(oxlRead(stream, nullptr, 1), -1);
        for (const int32_t count : {0, -1, INT32_MIN}) EXPECT_EQ(oxlRead(stream, &byte, count), 0);
    }
    EXPECT_EQ(byte, 5);
}

TEST(HostileArguments, oxlWrite) {
    uint8_t byte = 5;
    EXPECT_EQ(oxlWrite(0, &byte, 1), 0);
    MemoryStream stream;
    EXPECT_EQ(oxlWrite(stream.stream, nullptr, 1), -1);
    for (const int32_t count : {0, -1, INT32_MIN})
        EXPECT_EQ(oxlWrite(stream.stream, &byte, count), 0);
    EXPECT_EQ(stream.finish(), Bytes());
}

TEST(HostileArguments, oxlSeek) {
    for (const int32_t offset : kNumbers)
        for (const int32_t whence : kNumbers) EXPECT_EQ(oxlSeek(0, offset, whence), -1);
    FileSource file("text");
    for (const int32_t offset : {-1, INT32_MIN, INT32_MAX, 5})
        EXPECT_EQ(oxlSeek(file.stream, offset, SEEK_SET), -1) << offset;
    EXPECT_EQ(oxlSeek(file.stream, 0, 7), -1);
    EXPECT_EQ(oxlSeek(file.stream, 0, INT32_MIN), -1);
    for (const int32_t offset : {INT32_MAX, INT32_MIN})
        EXPECT_EQ(oxlSeek(file.stream, offset, SEEK_CUR), -1);
    MemoryStream memory;
    for (const int32_t offset : {-1, INT32_MIN, INT32_MAX})
        EXPECT_EQ(oxlSeek(memory.stream, offset, SEEK_SET), -1) << offset;
    EXPECT_EQ(oxlSeek(memory.stream, INT32_MIN, SEEK_END), -1);
    EXPECT_EQ(oxlSeek(memory.stream, 1, 9), -1);
}

TEST(HostileArguments, docRead) {
    uint8_t byte = 5;
    EXPECT_EQ(docRead(0, &byte, 1), 0);
    // A stream that nobody embedded anywhere is empty.
    FileSource file("text");
    for (const int32_t count : kNumbers) EXPECT_EQ(docRead(file.stream, &byte, count), 0);
    EXPECT_EQ(docRead(file.stream, nullptr, 5), 0);
    EXPECT_EQ(byte, 5);
}

TEST(HostileArguments, docSeek) {
    FileSource file("text");
    for (const int32_t offset : kNumbers) {
        for (const int32_t whence : {SEEK_SET, SEEK_CUR, SEEK_END}) {
            EXPECT_EQ(docSeek(0, offset, whence), -1);
            EXPECT_EQ(docSeek(file.stream, offset, whence), 0);
        }
        EXPECT_EQ(docSeek(file.stream, offset, 7), -1);
    }
}

TEST(HostileArguments, unxSeek) {
    EXPECT_EQ(unxSeek(nullptr, 0, SEEK_SET), -1);
    FILE* file = std::tmpfile();
    EXPECT_EQ(unxSeek(file, -1, SEEK_SET), -1);
    EXPECT_EQ(unxSeek(file, INT32_MIN, SEEK_END), -1);
    EXPECT_EQ(unxSeek(file, 0, 77), -1);
    std::fclose(file);
}

TEST(HostileArguments, FillOxlIOBuf) {
    EXPECT_EQ(FillOxlIOBuf(0), -1);
    FileSource empty("");
    EXPECT_EQ(FillOxlIOBuf(empty.stream), 0);
}

TEST(HostileArguments, FlushOxlIO) {
    EXPECT_EQ(FlushOxlIO(0), -1);
    FileSource clean("text");
    EXPECT_EQ(FlushOxlIO(clean.stream), 0);
}

// What every reader of items answers to no stream, no items, and counts that nothing holds.
template <class Item>
void expectReaderSurvives(int32_t (*read)(OxlStream, Item*, int32_t)) {
    Item item = {};
    EXPECT_EQ(read(0, &item, 1), 0);
    MemorySource source("0123456789abcdef0123456789abcdef");
    EXPECT_LE(read(source.stream, nullptr, 1), 0);
    for (const int32_t count : {0, -1, INT32_MIN}) EXPECT_EQ(read(source.stream, &item, count), 0);
    if constexpr (sizeof(Item) > 1) {
        EXPECT_EQ(read(source.stream, &item, INT32_MAX), 0);
    }
    EXPECT_EQ(item, Item{});
}

TEST(HostileArguments, oxlReadChar) {
    expectReaderSurvives<uint8_t>(oxlReadChar);
}
TEST(HostileArguments, oxlReadShort) {
    expectReaderSurvives<uint16_t>(oxlReadShort);
}
TEST(HostileArguments, oxlReadLong) {
    expectReaderSurvives<uint32_t>(oxlReadLong);
}
TEST(HostileArguments, oxlReadFloat) {
    expectReaderSurvives<float>(oxlReadFloat);
}
TEST(HostileArguments, oxlReadDouble) {
    expectReaderSurvives<double>(oxlReadDouble);
}

template <class Item>
void expectWriterSurvives(int32_t (*write)(OxlStream, const Item*, int32_t)) {
    const Item items[2] = {};
    EXPECT_EQ(write(0, items, 1), 0);
    MemoryStream target;
    EXPECT_EQ(write(target.stream, nullptr, 1), -1);
    for (const int32_t count : {0, -1, INT32_MIN}) EXPECT_EQ(write(target.stream, items, count), 0);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(HostileArguments, oxlWriteChar) {
    expectWriterSurvives<uint8_t>(oxlWriteChar);
}
TEST(HostileArguments, oxlWriteShort) {
    expectWriterSurvives<uint16_t>(oxlWriteShort);
}
TEST(HostileArguments, oxlWriteLong) {
    expectWriterSurvives<uint32_t>(oxlWriteLong);
}
TEST(HostileArguments, oxlWriteFloat) {
    expectWriterSurvives<float>(oxlWriteFloat);
    // Fixed point saturates.
    const float wild[] = {std::numeric_limits<float>::infinity(), -1e30F,
                          std::numeric_limits<float>::quiet_NaN()};
    MemoryStream target;
    oxlSetDataFormat(target.stream, 0, 1);
    EXPECT_EQ(oxlWriteFloat(target.stream, wild, 3), 3);
    EXPECT_EQ(target.finish().size(), 12u);
}
TEST(HostileArguments, oxlWriteDouble) {
    expectWriterSurvives<double>(oxlWriteDouble);
}

TEST(HostileArguments, oxlSetDataFormat) {
    EXPECT_EQ(oxlSetDataFormat(0, 1, 1), -1);
    MemoryStream stream;
    for (const int16_t any : kShorts) EXPECT_EQ(oxlSetDataFormat(stream.stream, any, any), 0);
}

TEST(HostileArguments, oxlGetDataFormat) {
    int16_t order = 5;
    int16_t format = 6;
    MemoryStream stream;
    EXPECT_EQ(oxlGetDataFormat(0, &order, &format), -1);
    EXPECT_EQ(oxlGetDataFormat(stream.stream, nullptr, &format), -1);
    EXPECT_EQ(oxlGetDataFormat(stream.stream, &order, nullptr), -1);
    EXPECT_EQ(order, 5);
    EXPECT_EQ(format, 6);
}

using ToBytes = int32_t (*)(uint8_t*, uint32_t, int32_t);

void expectBytesAreBounded(ToBytes store) {
    EXPECT_EQ(store(nullptr, 1, 4), -1);
    uint8_t bytes[5] = {9, 9, 9, 9, 9};
    for (const int32_t none : {0, -1, INT32_MIN}) EXPECT_EQ(store(bytes, kHuge, none), 0);
    EXPECT_EQ(Bytes(bytes, bytes + 5), Bytes(5, 9));
    EXPECT_EQ(store(bytes, kHuge, INT32_MAX), 0);
    EXPECT_EQ(Bytes(bytes, bytes + 5), (Bytes{255, 255, 255, 255, 9})) << "four at most";
}

TEST(HostileArguments, oxlNativeToLE) {
    expectBytesAreBounded(oxlNativeToLE);
}
TEST(HostileArguments, oxlNativeToBE) {
    expectBytesAreBounded(oxlNativeToBE);
}

TEST(HostileArguments, oxlReadStruct) {
    uint8_t memory[64] = {};
    EXPECT_EQ(oxlReadStruct(0, "L", memory, 1), 0);
    MemorySource source("0123456789abcdef");
    EXPECT_EQ(oxlReadStruct(source.stream, nullptr, memory, 1), 0);
    EXPECT_EQ(oxlReadStruct(source.stream, "L", nullptr, 1), 0);
    for (const int32_t count : {0, -1, INT32_MIN})
        EXPECT_EQ(oxlReadStruct(source.stream, "L", memory, count), 0);
    // Brackets that nobody closed or opened, counts without an item, unknown letters.
    for (const char* format : {"", "{", "}", "[", "]", "(", ")", "|", "{{{", "(((", "(C", "(C|",
                               "12", "99999999999999999999", "?", "{[S(", "\xFF\xFE"})
        oxlReadStruct(source.stream, format, memory, 1);
    const std::string deep(3000, '{');
    oxlReadStruct(source.stream, deep.c_str(), memory, 1);
    EXPECT_EQ(Bytes(memory, memory + 8), Bytes(8, 0));
}

TEST(HostileArguments, oxlWriteStruct) {
    const uint8_t memory[64] = {};
    EXPECT_EQ(oxlWriteStruct(0, "L", memory, 1), 0);
    MemoryStream target;
    EXPECT_EQ(oxlWriteStruct(target.stream, nullptr, memory, 1), 0);
    EXPECT_EQ(oxlWriteStruct(target.stream, "L", nullptr, 1), 0);
    for (const int32_t count : {0, -1, INT32_MIN})
        EXPECT_EQ(oxlWriteStruct(target.stream, "L", memory, count), 0);
    for (const char* format : {"", "{", "}", "[", "]", "(", ")", "|", "{{{", "12", "?", "\xFF"})
        oxlWriteStruct(target.stream, format, memory, 1);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(HostileArguments, GetPadWidth) {
    EXPECT_EQ(GetPadWidth(nullptr), 1);
    for (const char* format : {"", "{", "}", ")", "[[[", "?", "99999999999999999999"})
        EXPECT_EQ(GetPadWidth(format), 1) << format;
    EXPECT_EQ(GetPadWidth((std::string(70000, '{') + "D").c_str()), 8);
}

TEST(HostileArguments, GetUnionSize) {
    int32_t size = 5;
    EXPECT_EQ(GetUnionSize(nullptr, &size), nullptr);
    const char* format = "(L)";
    EXPECT_EQ(GetUnionSize(format, nullptr), format);
    EXPECT_EQ(size, 5);
    const char* empty = "";
    EXPECT_EQ(GetUnionSize(empty, &size), empty);
    EXPECT_EQ(size, 0);
    // Unions that nobody closed end with the format.
    for (const std::string open : {"(", "(C", "(C|", "((((", "(99999999999L"}) {
        const char* end = GetUnionSize(open.c_str(), &size);
        EXPECT_GE(end, open.c_str());
        EXPECT_LE(end, open.c_str() + open.size()) << open;
    }
    const std::string deep(70000, '(');
    EXPECT_LE(GetUnionSize(deep.c_str(), &size), deep.c_str() + deep.size());
}

TEST(HostileArguments, oxlReadLine) {
    char text[4] = {5, 5, 5, 5};
    MemorySource source("abc\ndef\n");
    EXPECT_EQ(oxlReadLine(0, text, 4), -1);
    EXPECT_EQ(oxlReadLine(source.stream, nullptr, 4), -1);
    for (const int32_t none : {0, -1, INT32_MIN})
        EXPECT_EQ(oxlReadLine(source.stream, text, none), -1);
    EXPECT_EQ(oxlReadLine(source.stream, text, 1), 1);
    EXPECT_EQ(std::string(text, 4), "a\5\5\5");
}

TEST(HostileArguments, oxlWriteLine) {
    MemoryStream target;
    EXPECT_LE(oxlWriteLine(0, "abc", 3), 0);
    EXPECT_LE(oxlWriteLine(target.stream, nullptr, 3), 0);
    for (const int32_t none : {0, -1, INT32_MIN})
        EXPECT_EQ(oxlWriteLine(target.stream, "abc", none), 0);
}

TEST(HostileArguments, oxlSetLineFormat) {
    EXPECT_EQ(oxlSetLineFormat(0, 1), -1);
    MemoryStream stream;
    for (const int16_t any : kShorts) EXPECT_EQ(oxlSetLineFormat(stream.stream, any), 0);
}

TEST(HostileArguments, oxlGetLineFormat) {
    EXPECT_EQ(oxlGetLineFormat(0), -1);
    MemorySource none("");
    EXPECT_EQ(oxlGetLineFormat(none.stream), -1);
    MemorySource endless(std::string(70000, 'x'));
    EXPECT_EQ(oxlGetLineFormat(endless.stream), -1);
}

}  // namespace
