// The buffer behind a stream: filled from a file, flushed to it, or, for a memory stream, the
// caller's block itself, which grows.
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>

#include "base/stdio_file.h"
#include "io/stream_record.h"

namespace tivar {
namespace {

void publishBlock(StreamRecord& stream, MemHandle block) {
    stream.buffer = block;
    stream.data = static_cast<uint8_t*>(GlobalLock(block));
    *stream.dataVariable = stream.data;
}

// At least bytes, and room to spare as long as the heap has it.
MemHandle enlargeBlock(MemHandle block, uint32_t bytes) {
    const uint64_t generous = uint64_t{GlobalSize(block)} + GlobalSize(block) / 2;
    if (generous > bytes && generous <= INT32_MAX) {
        const MemHandle enlarged = resizeBlock(block, static_cast<uint32_t>(generous));
        if (enlarged != 0) return enlarged;
    }
    return resizeBlock(block, bytes);
}

void emptyBuffer(StreamRecord& stream) {
    stream.index = 0;
    stream.high = -1;
    stream.limit = kStreamBufferSize - 1;
}

// Writes bytes at the buffer's place in the file: how many went there.
int32_t putAtBase(StreamRecord& stream, const uint8_t* source, int32_t count) {
    if (stream.base > INT32_MAX - count) return 0;
    const bool inPlace = stream.filePosition == stream.base && stream.borrowed == 0;
    if (!inPlace && !seekStdioFile(stream.file, stream.base, SEEK_SET)) return 0;
    stream.filePosition = -1;
    return static_cast<int32_t>(std::fwrite(source, 1, static_cast<size_t>(count), stream.file));
}

// Starts an empty buffer behind bytes that went into the file at the old one's place.
void moveBehind(StreamRecord& stream, int32_t count) {
    emptyBuffer(stream);
    stream.base = stream.next = stream.filePosition = stream.base + count;
    if (stream.base > stream.length) stream.length = stream.base;
    stream.dirty = 0;
}

// A write that came short is told, and what it left counts for the length.
int32_t failShort(StreamRecord& stream) {
    refreshLength(stream);
    return fail(stream);
}

int32_t flushFile(StreamRecord& stream) {
    if (stream.dirty == 0) return 0;
    const int32_t count = stream.high + 1;
    if (putAtBase(stream, stream.data, count) != count) return failShort(stream);
    moveBehind(stream, count);
    return count;
}

}  // namespace

bool growMemory(StreamRecord& stream, int64_t newLimit) {
    if (newLimit >= INT32_MAX) return false;
    const auto bytes = static_cast<uint32_t>(newLimit + 1);
    const uint32_t room = GlobalSize(stream.buffer);
    if (bytes > room) {
        const MemHandle enlarged = enlargeBlock(stream.buffer, bytes);
        if (enlarged == 0) return false;
        publishBlock(stream, enlarged);
    }
    // The caller's own bytes behind the limit survive the first growth; what is added is zero.
    const uint32_t kept = stream.grown == 0 ? room : static_cast<uint32_t>(stream.limit + 1);
    if (bytes > kept) std::memset(stream.data + kept, 0, bytes - kept);
    stream.limit = static_cast<int32_t>(newLimit);
    stream.dirty = 0;
    stream.grown = 1;
    return true;
}

void settleMemory(StreamRecord& stream) {
    if (stream.grown == 0) return;
    const auto shown = static_cast<uint32_t>(stream.limit + 1);
    if (GlobalSize(stream.buffer) <= shown) return;
    const MemHandle settled = resizeBlock(stream.buffer, shown);
    if (settled != 0) publishBlock(stream, settled);
    // Zeros follow: in the slack, or in the block itself where the heap would not shrink it.
    std::memset(stream.data + shown, 0, blockRoom(stream.buffer) - shown);
}

int32_t fillBuffer(StreamRecord& stream) {
    if (stream.file == nullptr) return 0;
    if (stream.dirty != 0 && flushFile(stream) == kFailed) return kFailed;
    stream.filePosition = -1;
    if (!seekStdioFile(stream.file, stream.next, SEEK_SET)) return fail(stream);
    const size_t count = std::fread(stream.data, 1, kStreamBufferSize, stream.file);
    if (count == 0 && std::ferror(stream.file) != 0) return fail(stream);
    const auto bytes = static_cast<int32_t>(count);
    if (stream.next > INT32_MAX - bytes) return fail(stream);
    emptyBuffer(stream);
    stream.high = bytes - 1;
    stream.base = stream.next;
    stream.next += bytes;
    return bytes;
}

int32_t flushBuffer(StreamRecord& stream) {
    if (stream.file != nullptr) return flushFile(stream);
    if (!isMemory(stream)) return 0;
    return growMemory(stream, int64_t{stream.limit} + stream.growStep) ? 1 : kFailed;
}

int32_t writeBuffersDirectly(StreamRecord& stream, const uint8_t* source, int32_t count) {
    const bool isEmpty = stream.file != nullptr && stream.index == 0 && stream.high == -1;
    // The last buffer stays to be flushed later, as it would had the bytes come one by one.
    const int32_t whole = (count - 1) / kStreamBufferSize * kStreamBufferSize;
    if (!isEmpty || whole <= 0) return 0;
    const int32_t fitting = (INT32_MAX - stream.base) / kStreamBufferSize * kStreamBufferSize;
    const int32_t flushed =
        putAtBase(stream, source, std::min(whole, fitting)) / kStreamBufferSize * kStreamBufferSize;
    moveBehind(stream, flushed);
    if (flushed == whole) return whole;
    // As had they come one by one, too: the buffer that could not be flushed stays full.
    std::memcpy(stream.data, source + flushed, kStreamBufferSize);
    stream.high = stream.limit;
    stream.index = kStreamBufferSize;
    stream.dirty = 1;
    return failShort(stream);
}

void refreshLength(StreamRecord& stream) {
    stream.filePosition = -1;
    const int64_t position = tellStdioFile(stream.file);
    if (position < 0 || !seekStdioFile(stream.file, 0, SEEK_END)) return;
    const int64_t end = tellStdioFile(stream.file);
    stream.length = end > INT32_MAX ? INT32_MAX : static_cast<int32_t>(end);
    seekStdioFile(stream.file, position, SEEK_SET);
    stream.filePosition = position > INT32_MAX ? -1 : static_cast<int32_t>(position);
}

}  // namespace tivar

using namespace tivar;

int32_t FillOxlIOBuf(OxlStream stream) {
    const Locked<StreamRecord> record(stream);
    return record ? fillBuffer(*record) : kFailed;
}

int32_t FlushOxlIO(OxlStream stream) {
    const Locked<StreamRecord> record(stream);
    if (!record) return kFailed;
    const int32_t result = flushBuffer(*record);
    // Looking for the file's end hands over what the C library still holds back.
    if (result > 0 && record->file != nullptr) refreshLength(*record);
    return result;
}
