// The record behind an OxlStream, and the buffer steps that its operations share.
#pragma once

#include <tivar/stream.h>

#include <cstdint>
#include <cstdio>

#include "base/memory.h"

namespace tivar {

constexpr int32_t kStreamBufferSize = 12288;
constexpr int32_t kFailed = -1;
constexpr uint8_t kEndMark = 0xFF;

// An embedded stream of a compound file, filled in by the component that opens the container, which
// sets the flag last: reads and seeks of the stream then go through docRead and docSeek.
struct EmbeddedStream {
    uint32_t position;
    int32_t flag;
    MemHandle sectorTable;      // 32-bit entries: what follows each sector
    MemHandle miniSectorTable;  // the same for mini sectors
    uint32_t miniStreamStart;   // first sector of the mini stream
    uint32_t start;             // first sector, or mini sector up to a length of 4095
    uint32_t length;
};

struct StreamRecord {
    FILE* file;            // null for memory and document streams
    MemHandle buffer;      // file streams: own buffer; memory streams: the caller's block
    uint8_t* data;         // locked address of buffer
    void** dataVariable;   // memory streams: the caller's variable with the block's address
    int32_t index;         // position of the next byte within the buffer
    int32_t high;          // index of the last valid byte, -1 when there is none
    int32_t limit;         // last usable index
    int32_t base;          // file offset of buffer byte 0
    int32_t next;          // file offset just past the bytes last read; -1 marks a memory stream
    int32_t filePosition;  // where the file is known to stand, -1 when unknown
    int32_t dirty;
    int32_t growStep;
    int32_t grown;  // 1 once a memory stream's block has been resized
    int32_t length;
    OxlDocProc document;
    intptr_t documentHandle;
    int32_t mode;
    int32_t borrowed;
    int32_t error;  // 0, or kFailed after any I/O failure
    int16_t byteOrder;
    int16_t floatFormat;
    int16_t lineFormat;
    int32_t named;
    int32_t closing;  // 1 from the start of a close on, which a document's call-back cannot repeat
    EmbeddedStream embedded;
};

// A stream in use by a routine that touches it again after a call of the host's document procedure,
// which may close it.
using StreamUse = Pinned<StreamRecord>;

inline bool isMemory(const StreamRecord& stream) {
    return stream.next == -1;
}

inline bool wasOpenedToWrite(const StreamRecord& stream) {
    return (stream.mode & (OXL_WRITE | OXL_UPDATE)) != 0;
}

// Marks the stream failed and gives the failure value.
inline int32_t fail(StreamRecord& stream) {
    stream.error = kFailed;
    return kFailed;
}

// Grows a memory stream's block until newLimit is its last usable index. The block may get more
// room than limit shows, so that growing step by step stays linear; settleMemory gives it back.
bool growMemory(StreamRecord& stream, int64_t newLimit);
void settleMemory(StreamRecord& stream);

int32_t fillBuffer(StreamRecord& stream);
int32_t flushBuffer(StreamRecord& stream);

// Writes the buffers that count bytes would fill and flush on their way through an empty one, all
// at once: the bytes written, 0 when there is no such buffer, kFailed.
int32_t writeBuffersDirectly(StreamRecord& stream, const uint8_t* source, int32_t count);

// Whether each write becomes a call of the host's document procedure.
inline bool isDocument(OxlStream stream) {
    const Locked<StreamRecord> record(stream);
    return record && record->document != nullptr;
}

// Stores the file's size as the stream's length.
void refreshLength(StreamRecord& stream);

}  // namespace tivar
