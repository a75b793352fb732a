#include <algorithm>
#include <deque>
#include <iterator>

#include "support/memory_stream.h"
#include "support/recording_document.h"
#include "support/source_stream.h"

namespace {

using support::bytesOfText;
using support::FileSource;
using support::kDocWrite;
using support::MemorySource;
using support::MemoryStream;
using support::RecordingDocument;
using support::TempDirectory;

constexpr int16_t kCrLf = 0;
constexpr int16_t kCr = 1;
constexpr int16_t kLf = 2;

// One line and what its reading returned.
struct Line {
    int32_t result;
    std::string text;
    bool operator==(const Line&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
    return out << line.result << " \"" << line.text << '"';
}

constexpr int32_t kCapacity = 80;

Line readLine(OxlStream stream) {
    char buffer[kCapacity] = "left over";
    const int32_t result = oxlReadLine(stream, buffer, kCapacity);
    return {result, buffer};
}

struct Reading {
    std::string bytes;
    std::vector<Line> lines;
};

const Reading kReadings[] = {
    // All endings, mixed.
    {"a\r\nb\rc\n", {{1, "a"}, {1, "b"}, {1, "c"}, {-1, ""}}},
    {"", {{-1, ""}, {-1, ""}}},
    {"\n\r\r\n\n", {{0, ""}, {0, ""}, {0, ""}, {0, ""}, {-1, ""}}},
    {"\r\n\r\n", {{0, ""}, {0, ""}, {-1, ""}}},
    {"\n\r", {{0, ""}, {-1, ""}}},
    {"one\r\rtwo\n", {{3, "one"}, {0, ""}, {3, "two"}, {-1, ""}}},
    // A last line without ending is stored, but reported as the end.
    {"one\nlast", {{3, "one"}, {-1, "last"}, {-1, ""}}},
    // A carriage return as the very last byte: the read behind it finds the end.
    {"one\ntwo\r", {{3, "one"}, {-1, "two"}, {-1, ""}}},
    {"one\ntwo\r\n", {{3, "one"}, {3, "two"}, {-1, ""}}},
};

template <class Source>
void expectReadings() {
    for (const Reading& reading : kReadings) {
        SCOPED_TRACE(testing::PrintToString(reading.bytes));
        Source source(reading.bytes);
        for (const Line& line : reading.lines) EXPECT_EQ(readLine(source.stream), line);
    }
}

TEST(ReadLine, EveryEndingEndsALineOfAFile) {
    expectReadings<FileSource>();
}

TEST(ReadLine, EveryEndingEndsALineOfAMemoryBlock) {
    expectReadings<MemorySource>();
}

TEST(ReadLine, EveryEndingEndsALineOfADocument) {
    for (const Reading& reading : kReadings) {
        SCOPED_TRACE(testing::PrintToString(reading.bytes));
        RecordingDocument document(reading.bytes);
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("doc", &descriptor, OXL_READ);
        for (const Line& line : reading.lines) EXPECT_EQ(readLine(stream), line);
        oxlClose(stream);
    }
}

TEST(ReadLine, AnEndingMayLieAcrossTwoFileBuffers) {
    for (const char* ending : {"\r", "\n", "\r\n"}) {
        for (size_t length = 12284; length < 12292; ++length) {
            const std::string first(length, 'x');
            FileSource source(first + ending + "next" + ending + "z");
            std::vector<char> buffer(length + 10);
            EXPECT_EQ(oxlReadLine(source.stream, buffer.data(), static_cast<int32_t>(length + 10)),
                      static_cast<int32_t>(length));
            EXPECT_EQ(buffer.data(), first);
            EXPECT_EQ(readLine(source.stream), (Line{4, "next"}));
            EXPECT_EQ(readLine(source.stream), (Line{-1, "z"}));
        }
    }
}

TEST(ReadLine, ALineThatFillsTheBufferIsNotTerminatedAndGoesOn) {
    MemorySource source("abcdefg\nhi\n");
    char buffer[5];
    const auto read = [&](int32_t capacity) {
        std::fill(std::begin(buffer), std::end(buffer), '#');
        return oxlReadLine(source.stream, buffer, capacity);
    };
    EXPECT_EQ(read(3), 3);
    EXPECT_EQ(std::string(buffer, 5), "abc##");
    EXPECT_EQ(read(4), 4);
    EXPECT_EQ(std::string(buffer, 5), "defg#");
    // What is left of the line is its ending.
    EXPECT_EQ(read(4), 0);
    EXPECT_EQ(std::string(buffer, 5), std::string("\0####", 5));
    EXPECT_EQ(read(1), 1);
    EXPECT_EQ(std::string(buffer, 5), "h####");
    EXPECT_EQ(read(3), 1);
    EXPECT_EQ(std::string(buffer, 5), std::string("i\0###", 5));
    EXPECT_EQ(read(3), -1);
}

TEST(ReadLine, ZeroBytesArePartOfALine) {
    FileSource source(std::string("a\0b\n", 4));
    char buffer[8] = {};
    EXPECT_EQ(oxlReadLine(source.stream, buffer, 8), 3);
    EXPECT_EQ(std::string(buffer, 4), std::string("a\0b\0", 4));
}

TEST(ReadLine, AReadErrorEndsTheLines) {
    const TempDirectory directory;
    const OxlStream stream = oxlOpen(directory.path().c_str(), nullptr, OXL_READ);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(readLine(stream), (Line{-1, ""}));
    oxlClose(stream);
}

TEST(ReadLine, WithoutStreamOrRoomThereIsNoLine) {
    EXPECT_EQ(readLine(0).result, -1);
    MemorySource source("a\nb\n");
    char buffer[2] = {'#', '#'};
    EXPECT_EQ(oxlReadLine(source.stream, nullptr, 10), -1);
    for (const int32_t capacity : {0, -1, INT32_MIN})
        EXPECT_EQ(oxlReadLine(source.stream, buffer, capacity), -1) << capacity;
    EXPECT_EQ(std::string(buffer, 2), "##");
    EXPECT_EQ(readLine(source.stream), (Line{1, "a"}));
}

struct Ending {
    int16_t format;
    const char* bytes;
};

TEST(WriteLine, TheEndingIsTheOneOfTheStream) {
    const Ending endings[] = {{kCrLf, "\r\n"}, {kCr, "\r"},   {kLf, "\n"},   {3, "\r\n"},
                              {-1, "\r\n"},    {257, "\r\n"}, {258, "\r\n"}, {32767, "\r\n"}};
    for (const Ending& ending : endings) {
        MemoryStream target;
        EXPECT_EQ(oxlSetLineFormat(target.stream, ending.format), 0);
        EXPECT_EQ(oxlWriteLine(target.stream, "abcdef", 3), 3);
        EXPECT_EQ(oxlWriteLine(target.stream, "", 0), 0);
        EXPECT_EQ(oxlWriteLine(target.stream, "z", 1), 1);
        const std::string end = ending.bytes;
        EXPECT_EQ(target.finish(), bytesOfText("abc" + end + end + "z" + end)) << ending.format;
    }
}

TEST(WriteLine, AFreshlyOpenedStreamEndsItsLinesWithALineFeed) {
    MemoryStream memory;
    EXPECT_EQ(oxlWriteLine(memory.stream, "abc", 3), 3);
    EXPECT_EQ(memory.finish(), bytesOfText("abc\n"));

    const TempDirectory directory;
    const OxlStream file = oxlOpen(directory.path("lines").c_str(), nullptr, 4097);
    EXPECT_EQ(oxlWriteLine(file, "abc", 3), 3);
    oxlClose(file);
    EXPECT_EQ(directory.read("lines"), "abc\n");
}

TEST(WriteLine, ADocumentGetsBothCharactersUntilToldOtherwise) {
    RecordingDocument document;
    OxlStreamDesc descriptor = document.descriptor();
    const OxlStream opened = oxlOpen("doc", &descriptor, 4097);
    EXPECT_EQ(oxlWriteLine(opened, "abc", 3), 3);
    oxlSetLineFormat(opened, kLf);
    EXPECT_EQ(oxlWriteLine(opened, "d", 1), 1);
    oxlClose(opened);
    descriptor.lentDocument = 6;
    const OxlStream lent = oxlOpen("doc", &descriptor, OXL_LENT);
    EXPECT_EQ(oxlWriteLine(lent, "e", 1), 1);
    oxlClose(lent);
    EXPECT_EQ(document.contents, "abc\r\nd\ne\r\n");
}

struct FailedLine {
    int16_t format;
    std::deque<intptr_t> answers;  // of the text, then of each byte of the ending
    int32_t result;
    size_t calls;
};

TEST(WriteLine, AFailedEndingIsTheResultAndAFailedTextIsNotTheEnd) {
    const FailedLine lines[] = {
        {kLf, {3, -1}, -1, 2},    {kLf, {3, 0}, 0, 2},     {kLf, {3, 2}, 2, 2},
        {kLf, {-1, 1}, -1, 2},    {kLf, {0, 1}, 0, 2},     {kLf, {2, 1}, 2, 2},
        {kLf, {-1, 0}, 0, 2},     {kCr, {3, -1}, -1, 2},   {kCrLf, {3, 1, -1}, -1, 3},
        {kCrLf, {3, 1, 0}, 0, 3}, {kCrLf, {3, 0}, 0, 2},   {kCrLf, {3, -1}, -1, 2},
        {kCrLf, {3, 2}, 2, 2},    {kCrLf, {1, 1, 1}, 1, 3}};
    for (const FailedLine& line : lines) {
        RecordingDocument document;
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("doc", &descriptor, 4097);
        oxlSetLineFormat(stream, line.format);
        document.takeLog();
        document.answers[kDocWrite] = line.answers;
        EXPECT_EQ(oxlWriteLine(stream, "abc", 3), line.result)
            << testing::PrintToString(line.answers);
        const std::string log = document.takeLog();
        EXPECT_EQ(log.rfind("write 5 abc 3\n", 0), 0u);
        size_t calls = 0;
        for (size_t at = 0; (at = log.find("write", at)) != std::string::npos; ++at) ++calls;
        EXPECT_EQ(calls, line.calls) << log;
        document.answers.clear();
        oxlClose(stream);
    }
}

TEST(WriteLine, ABlockThatCannotGrowFailsTheEnding) {
    MemoryStream target(3);
    EXPECT_EQ(oxlWriteLine(target.stream, "abc", 3), -1);
    // Once in error, a stream that is full writes nothing.
    EXPECT_EQ(oxlWriteLine(target.stream, "abc", 3), 0);
    EXPECT_EQ(target.finish(), bytesOfText("abc"));
}

TEST(LineFormat, StreamZeroHasNone) {
    EXPECT_LT(oxlWriteLine(0, "abc", 3), 1);
    EXPECT_EQ(oxlSetLineFormat(0, kCr), -1);
    EXPECT_EQ(oxlGetLineFormat(0), -1);
}

struct Detected {
    std::string bytes;
    int32_t format;
};

const Detected kDetected[] = {{"one\r\ntwo\n", kCrLf},
                              {"one\ntwo\r\n", kLf},
                              {"one\rtwo\n", kCr},
                              {"one\r\r\n", kCr},
                              {"\r\n", kCrLf},
                              {"\n", kLf},
                              {"\r", kCr},
                              {"one\r", kCr},
                              {"\n\r", kLf},
                              {"one", -1},
                              {"", -1}};

TEST(LineFormat, TheFirstEndingDecidesAndTheStreamStartsOver) {
    for (const Detected& detected : kDetected) {
        SCOPED_TRACE(testing::PrintToString(detected.bytes));
        FileSource source(detected.bytes);
        EXPECT_EQ(oxlGetLineFormat(source.stream), detected.format);
        EXPECT_EQ(oxlSeek(source.stream, 0, SEEK_CUR), 0);
        // From anywhere: what lies before does not count.
        if (detected.bytes.size() > 3) {
            oxlSeek(source.stream, 3, SEEK_SET);
            EXPECT_EQ(oxlGetLineFormat(source.stream), detected.format);
            EXPECT_EQ(oxlSeek(source.stream, 0, SEEK_CUR), 0);
        }
        char start[4] = {};
        const auto size = static_cast<int32_t>(std::min<size_t>(detected.bytes.size(), 3));
        EXPECT_EQ(oxlRead(source.stream, start, 3), size);
        EXPECT_EQ(std::string(start, static_cast<size_t>(size)), detected.bytes.substr(0, 3));
    }
}

TEST(LineFormat, DetectionReachesBehindTheFirstBuffer) {
    std::string text(12287, 'x');
    text += "\r\nrest";
    FileSource source(text);
    EXPECT_EQ(oxlGetLineFormat(source.stream), kCrLf);
    EXPECT_EQ(oxlSeek(source.stream, 0, SEEK_CUR), 0);
}

TEST(LineFormat, DetectionLeavesTheStreamsOwnSetting) {
    const TempDirectory directory;
    const std::string path = directory.write("lines", "one\r\n");
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_UPDATE);
    EXPECT_EQ(oxlGetLineFormat(stream), kCrLf);
    oxlSeek(stream, 0, SEEK_END);
    EXPECT_EQ(oxlWriteLine(stream, "two", 3), 3);
    oxlSetLineFormat(stream, static_cast<int16_t>(oxlGetLineFormat(stream)));
    oxlSeek(stream, 0, SEEK_END);
    EXPECT_EQ(oxlWriteLine(stream, "three", 5), 5);
    oxlClose(stream);
    EXPECT_EQ(directory.read("lines"), "one\r\ntwo\nthree\r\n");
}

TEST(LineFormat, OfADocumentIsFoundThroughItsProcedure) {
    RecordingDocument document("x\r\n");
    OxlStreamDesc descriptor = document.descriptor();
    const OxlStream stream = oxlOpen("doc", &descriptor, OXL_READ);
    document.takeLog();
    EXPECT_EQ(oxlGetLineFormat(stream), kCrLf);
    EXPECT_EQ(document.takeLog(),
              "read 5 buffer 1\nread 5 buffer 1\nread 5 buffer 1\nseek 5 0 0\n");
    oxlClose(stream);
}

}  // namespace
