// Streams to read from: over a memory block, or over a file of its own.
#pragma once

#include <tivar/memory.h>
#include <tivar/stream.h>

#include <string>
#include <string_view>

#include "support/memory_block.h"
#include "support/temp_directory.h"

namespace support {

inline Bytes bytesOfText(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

struct MemorySource {
    explicit MemorySource(Bytes bytes) {
        bytes.push_back(0xFF);  // the end mark
        data = GlobalLock(newBlock(bytes));
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&data);
        descriptor.size = bytes.size();
        stream = oxlOpen(nullptr, &descriptor, OXL_READ);
    }
    explicit MemorySource(std::string_view text) : MemorySource(bytesOfText(text)) {}
    ~MemorySource() {
        oxlClose(stream);
        GlobalFree(GlobalHandle(data));
    }
    MemorySource(const MemorySource&) = delete;
    MemorySource& operator=(const MemorySource&) = delete;

    OxlStream stream;
    void* data;
};

struct FileSource {
    explicit FileSource(std::string_view text)
        : path(directory.write("source", text)), stream(oxlOpen(path.c_str(), nullptr, OXL_READ)) {}
    ~FileSource() { oxlClose(stream); }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    TempDirectory directory;
    std::string path;
    OxlStream stream;
};

}  // namespace support
