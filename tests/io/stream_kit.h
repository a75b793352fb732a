// What the tests of streams share: texts in and out, and streams over targets of their own.
#pragma once

#include <gtest/gtest.h>
#include <tivar/memory.h>
#include <tivar/stream.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "base/memory.h"
#include "io/stream_record.h"
#include "support/memory_block.h"
#include "support/temp_directory.h"

namespace stream_kit {

using support::Bytes;
using support::TempDirectory;

constexpr int32_t kBuffer = 12288;
constexpr int32_t kCreateToWrite = 4097;

// Every byte tells its place, and no period divides a buffer.
inline std::string pattern(size_t size) {
    std::string text;
    for (size_t i = 0; i < size; ++i) text += static_cast<char>(i * 7 + i / 251);
    return text;
}

inline size_t openFiles() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

inline int32_t writeText(OxlStream stream, const std::string& text) {
    return oxlWrite(stream, text.data(), static_cast<int32_t>(text.size()));
}

// What one read of count bytes brings.
inline std::string readText(OxlStream stream, size_t count) {
    std::string text(count, '#');
    const int32_t result = oxlRead(stream, text.data(), static_cast<int32_t>(count));
    text.resize(static_cast<size_t>(std::max(result, 0)));
    return text;
}

inline int32_t positionOf(OxlStream stream) {
    return oxlSeek(stream, 0, SEEK_CUR);
}

inline tivar::StreamRecord recordOf(OxlStream stream) {
    return *tivar::Locked<tivar::StreamRecord>(stream);
}

inline int32_t errorOf(OxlStream stream) {
    return recordOf(stream).error;
}

// A file of the test's own, opened as a stream.
struct FileStream {
    FileStream(std::string_view text, int32_t mode)
        : path(directory.write("file", text)), stream(oxlOpen(path.c_str(), nullptr, mode)) {}
    explicit FileStream(int32_t mode)
        : path(directory.path("file")), stream(oxlOpen(path.c_str(), nullptr, mode)) {}
    ~FileStream() {
        if (stream != 0) oxlClose(stream);
    }
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    int32_t close() {
        const int32_t result = oxlClose(stream);
        stream = 0;
        return result;
    }
    std::string contents() const { return directory.read("file"); }

    TempDirectory directory;
    std::string path;
    OxlStream stream;
};

struct LentFile {
    LentFile(std::string_view text, const char* how)
        : path(directory.write("file", text)), file(std::fopen(path.c_str(), how)) {
        descriptor.lentFile = reinterpret_cast<HostWord>(file);
    }
    ~LentFile() { std::fclose(file); }
    LentFile(const LentFile&) = delete;
    LentFile& operator=(const LentFile&) = delete;

    OxlStream open() { return oxlOpen("unused", &descriptor, OXL_LENT); }
    std::string contents() const { return directory.read("file"); }

    TempDirectory directory;
    std::string path;
    FILE* file;
    OxlStreamDesc descriptor = {};
};

// A memory stream with everything in the test's hands.
struct BlockStream {
    BlockStream(const Bytes& bytes, HostWord size, HostWord growStep, int32_t mode)
        : data(GlobalLock(support::newBlock(bytes))) {
        descriptor.target = reinterpret_cast<HostWord>(&data);
        descriptor.size = size;
        descriptor.growStep = growStep;
        stream = oxlOpen(nullptr, &descriptor, mode);
    }
    ~BlockStream() {
        if (stream != 0) oxlClose(stream);
        GlobalFree(GlobalHandle(data));
    }
    BlockStream(const BlockStream&) = delete;
    BlockStream& operator=(const BlockStream&) = delete;

    int32_t close() {
        const int32_t result = oxlClose(stream);
        stream = 0;
        return result;
    }
    Bytes block() const { return support::blockContents(GlobalHandle(data)); }

    void* data;
    OxlStreamDesc descriptor = {};
    OxlStream stream;
};

struct Seek {
    int32_t offset;
    int32_t whence;
    int32_t result;
    int32_t position;  // afterwards
};

// From position 4 of a stream of ten bytes.
inline void expectSeeks(OxlStream stream, const std::vector<Seek>& seeks) {
    for (const Seek& seek : seeks) {
        SCOPED_TRACE(std::to_string(seek.offset) + " from " + std::to_string(seek.whence));
        ASSERT_EQ(oxlSeek(stream, 4, SEEK_SET), 4);
        EXPECT_EQ(oxlSeek(stream, seek.offset, seek.whence), seek.result);
        EXPECT_EQ(positionOf(stream), seek.position);
    }
}

}  // namespace stream_kit
