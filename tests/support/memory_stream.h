// A stream over a memory block of the test's own.
#pragma once

#include <tivar/memory.h>
#include <tivar/stream.h>

#include <cstdint>

#include "support/memory_block.h"

namespace support {

struct MemoryStream {
    // Grows as it is written.
    MemoryStream() { open(1, 0, 4096); }
    // Takes room bytes and no more; room is above 0.
    explicit MemoryStream(std::uint32_t room) { open(room, room, 0); }
    ~MemoryStream() {
        if (stream != 0) oxlClose(stream);
        GlobalFree(GlobalHandle(data));
    }
    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;

    // Closes the stream and gives what was written.
    Bytes finish() {
        const std::int32_t size = oxlSeek(stream, 0, SEEK_END);
        oxlClose(stream);
        stream = 0;
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        return Bytes(bytes, bytes + size);
    }

    OxlStream stream = 0;
    void* data = nullptr;

  private:
    void open(std::uint32_t room, HostWord size, HostWord growStep) {
        data = GlobalLock(GlobalAlloc(TIVAR_GMEM_FLAGS, room));
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&data);
        descriptor.size = size;
        descriptor.growStep = growStep;
        stream = oxlOpen(nullptr, &descriptor, OXL_CREATE | OXL_WRITE);
    }
};

}  // namespace support
