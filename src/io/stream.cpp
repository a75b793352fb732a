// Opening, reading, writing, seeking and closing of streams over their four targets: a named file,
// a lent file, a memory block of the caller, a document of the host.
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>

#include "base/files.h"
#include "base/memory.h"
#include "base/stdio_file.h"
#include "base/text.h"
#include "io/stream_record.h"

namespace tivar {
namespace {

constexpr int32_t kDocOpen = 1;
constexpr int32_t kDocRead = 2;
constexpr int32_t kDocWrite = 3;
constexpr int32_t kDocSeek = 4;
constexpr int32_t kDocClose = 5;
constexpr int32_t kDocExists = 6;
constexpr int32_t kDocDelete = 7;

constexpr int32_t kFromStart = 0;
constexpr int32_t kFromPosition = 1;
constexpr int32_t kFromEnd = 2;

OxlDocProc documentProc(const OxlStreamDesc* descriptor) {
    return descriptor == nullptr ? nullptr : reinterpret_cast<OxlDocProc>(descriptor->documentProc);
}

intptr_t asWord(const void* pointer) {
    return reinterpret_cast<intptr_t>(pointer);
}

OxlStream testExistence(const char* name, OxlDocProc document) {
    if (document != nullptr)
        return static_cast<OxlStream>(document(0, kDocExists, asWord(name), 0));
    FILE* file = isEmpty(name) ? nullptr : openStdioFile(name, "r");
    if (file == nullptr) return static_cast<OxlStream>(-1);
    std::fclose(file);
    return 1;
}

OxlStream deleteTarget(const char* name, OxlDocProc document) {
    if (document != nullptr)
        return static_cast<OxlStream>(document(0, kDocDelete, asWord(name), 0));
    return !isEmpty(name) && removeFile(name) ? 1 : 0;
}

FILE* openNamed(const char* name, int32_t mode) {
    if (std::strcmp(name, "stdin") == 0) return standardInput();
    if (std::strcmp(name, "stdout") == 0) return standardOutput();
    const char* how = "r";
    if ((mode & OXL_WRITE) != 0) how = "w+";
    if ((mode & OXL_UPDATE) != 0) how = "r+";
    if ((mode & OXL_CREATE) != 0) how = "w+";
    FILE* file = openStdioFile(name, how);
    // The stream has its own buffer.
    if (file != nullptr) std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

bool attachFile(StreamRecord& stream, FILE* file) {
    if (file == nullptr) return false;
    stream.file = file;
    stream.buffer = allocateZeroed(kStreamBufferSize);
    stream.data = static_cast<uint8_t*>(GlobalLock(stream.buffer));
    stream.high = -1;
    stream.limit = kStreamBufferSize - 1;
    stream.lineFormat = 2;
    if (stream.data == nullptr) {
        const bool standard = file == stdin || file == stdout;
        if (stream.borrowed == 0 && !standard) std::fclose(file);
        return false;
    }
    refreshLength(stream);
    return true;
}

// The length of a block's contents: trailing zeros and the end mark before them do not count.
uint32_t contentSize(const uint8_t* data, uint32_t size) {
    while (size > 0 && data[size - 1] == 0) --size;
    return size > 0 ? size - 1 : 0;
}

bool attachMemory(StreamRecord& stream, OxlStreamDesc* descriptor) {
    if (descriptor == nullptr || descriptor->target == 0) return false;
    stream.dataVariable = reinterpret_cast<void**>(descriptor->target);
    stream.buffer = GlobalHandle(*stream.dataVariable);
    stream.data = static_cast<uint8_t*>(GlobalLock(stream.buffer));
    if (stream.data == nullptr) return false;
    uint32_t size = static_cast<uint32_t>(descriptor->size);
    size = std::min({size, GlobalSize(stream.buffer), uint32_t{INT32_MAX}});
    stream.high = -1;
    if ((stream.mode & OXL_CREATE) == 0) {
        size = contentSize(stream.data, size);
        descriptor->size = size;
        stream.high = static_cast<int32_t>(size) - 1;
    }
    stream.limit = static_cast<int32_t>(size) - 1;
    stream.growStep = static_cast<int32_t>(std::min(descriptor->growStep, HostWord{INT32_MAX}));
    stream.next = -1;
    stream.lineFormat = 2;
    stream.length = stream.high;
    return true;
}

bool attachLent(StreamRecord& stream, const OxlStreamDesc* descriptor) {
    stream.borrowed = 1;
    if (descriptor == nullptr) return false;
    if (descriptor->documentProc == 0)
        return attachFile(stream, reinterpret_cast<FILE*>(descriptor->lentFile));
    stream.document = documentProc(descriptor);
    stream.documentHandle = static_cast<intptr_t>(descriptor->lentDocument);
    return true;
}

bool attach(StreamRecord& stream, const char* name, OxlStreamDesc* descriptor) {
    if (stream.mode == OXL_LENT) return attachLent(stream, descriptor);
    stream.document = documentProc(descriptor);
    if (stream.document != nullptr) {
        stream.documentHandle = stream.document(static_cast<intptr_t>(descriptor->target), kDocOpen,
                                                asWord(name), stream.mode);
        if (stream.documentHandle != 0) return true;
    }
    if (!isEmpty(name)) {
        // Kept: a document that the host does not serve opens the file of that name, while reads
        // and writes go on through the procedure.
        stream.named = 1;
        return attachFile(stream, openNamed(name, stream.mode));
    }
    // A document value is no address of a block.
    return stream.document == nullptr && attachMemory(stream, descriptor);
}

// Grows the block by steps until it holds the byte at index.
bool growToIndex(StreamRecord& stream) {
    if (stream.growStep <= 0) return false;
    const int64_t limit = stream.limit;
    const int64_t missing = stream.index - limit;
    const int64_t steps = (missing + stream.growStep - 1) / stream.growStep;
    // Only one step keeps bytes of the caller's that lie behind the limit: it goes first.
    return growMemory(stream, limit + stream.growStep) &&
           (steps == 1 || growMemory(stream, limit + steps * stream.growStep));
}

// Makes the byte at index usable for writing.
bool makeRoom(StreamRecord& stream) {
    if (isMemory(stream)) return growToIndex(stream);
    if (flushBuffer(stream) == kFailed) return false;
    if (stream.index > stream.limit) {
        // A buffer that was only read: a new one starts where it ended.
        stream.base += stream.index;
        stream.next = stream.base;
        stream.index = 0;
        stream.high = -1;
    }
    return true;
}

int32_t writeBytes(StreamRecord& stream, const uint8_t* source, int32_t count) {
    for (int32_t done = 0; done < count;) {
        if (stream.index > stream.limit) {
            if (stream.error != 0) return 0;
            if (!makeRoom(stream)) return fail(stream);
            const int32_t direct = writeBuffersDirectly(stream, source + done, count - done);
            if (direct == kFailed) return kFailed;
            done += direct;
        }
        const int32_t n = std::min(count - done, stream.limit - stream.index + 1);
        std::memcpy(stream.data + stream.index, source + done, static_cast<size_t>(n));
        stream.index += n;
        stream.high = std::max(stream.high, stream.index - 1);
        stream.dirty = 1;
        done += n;
    }
    return std::max(count, 0);
}

int32_t readBytes(StreamRecord& stream, uint8_t* target, int32_t count) {
    int32_t done = 0;
    while (done < count) {
        if (stream.index > stream.high) {
            const int32_t filled = fillBuffer(stream);
            if (filled == kFailed) return fail(stream);
            if (filled == 0) break;
        }
        const int32_t n = std::min(count - done, stream.high - stream.index + 1);
        std::memcpy(target + done, stream.data + stream.index, static_cast<size_t>(n));
        stream.index += n;
        done += n;
    }
    return done;
}

int32_t seekMemory(StreamRecord& stream, int64_t offset, int32_t whence) {
    if (whence == kFromEnd) {
        const int64_t place = int64_t{stream.high} + 1 + offset;
        if (place < 0 || place > INT32_MAX) return fail(stream);
        return stream.index = static_cast<int32_t>(place);
    }
    if (whence != kFromStart) return fail(stream);
    if (offset > stream.limit && !growMemory(stream, offset + stream.growStep)) return kFailed;
    return stream.index = static_cast<int32_t>(offset);
}

int32_t seekFile(StreamRecord& stream, int64_t offset, int32_t whence) {
    if (stream.dirty != 0 && flushBuffer(stream) == kFailed) return kFailed;
    stream.filePosition = -1;
    const int32_t position = unxSeek(stream.file, static_cast<int32_t>(offset), whence);
    if (position == kFailed) return fail(stream);
    stream.next = position;
    return fillBuffer(stream) == kFailed ? kFailed : position;
}

int32_t seekStream(StreamRecord& stream, int64_t offset, int32_t whence) {
    const int64_t position = int64_t{stream.base} + stream.index;
    if (whence == kFromPosition) {
        if (offset == 0) return static_cast<int32_t>(std::min<int64_t>(position, INT32_MAX));
        offset += position;
        whence = kFromStart;
    }
    if (whence == kFromStart) {
        const bool outside = offset > stream.length && !wasOpenedToWrite(stream);
        if (offset < 0 || offset > INT32_MAX || outside) return fail(stream);
        if (offset >= stream.base && offset <= int64_t{stream.base} + stream.high) {
            stream.index = static_cast<int32_t>(offset - stream.base);
            return static_cast<int32_t>(offset);
        }
    }
    return isMemory(stream) ? seekMemory(stream, offset, whence) : seekFile(stream, offset, whence);
}

int32_t closeMemory(StreamRecord& stream) {
    int32_t result = 0;
    if (wasOpenedToWrite(stream)) {
        seekMemory(stream, 0, kFromEnd);
        if (writeBytes(stream, &kEndMark, 1) != 1) result = kFailed;
    }
    settleMemory(stream);
    return result;
}

// False for a stream that is not there, or whose close is already on its way.
bool beginClose(OxlStream stream) {
    const Locked<StreamRecord> record(stream);
    if (!record || record->closing != 0) return false;
    record->closing = 1;
    return true;
}

int32_t closeFile(StreamRecord& stream) {
    const bool flushed = stream.document != nullptr || flushBuffer(stream) != kFailed;
    const int32_t closed =
        stream.borrowed != 0 ? std::fflush(stream.file) : std::fclose(stream.file);
    GlobalFree(stream.buffer);
    return flushed ? closed : kFailed;
}

}  // namespace
}  // namespace tivar

using namespace tivar;

OxlStream oxlOpen(const char* name, OxlStreamDesc* descriptor, int32_t mode) {
    if (mode == OXL_EXISTS) return testExistence(name, documentProc(descriptor));
    if (mode == OXL_DELETE) return deleteTarget(name, documentProc(descriptor));
    OwnedBlock block(allocateZeroed(sizeof(StreamRecord)));
    if (!block) return 0;
    auto& stream = *reinterpret_cast<StreamRecord*>(block.data);
    stream.mode = mode;
    if (!attach(stream, name, descriptor)) return 0;
    return block.release();
}

int32_t oxlClose(OxlStream stream) {
    if (!beginClose(stream)) return kFailed;
    const StreamUse use(stream);
    const OwnedBlock owned(stream);
    StreamRecord& record = *use;
    if (record.document != nullptr) record.document(record.documentHandle, kDocClose, 0, 0);
    int32_t result = 0;
    if (record.file != nullptr) result = closeFile(record);
    if (isMemory(record)) result = closeMemory(record);
    return record.document != nullptr ? 0 : result;
}

int32_t oxlCloseandDelete(OxlStream stream, const char* name) {
    if (isGone(stream)) return kFailed;
    if (!isDocument(stream)) {
        oxlClose(stream);
        oxlOpen(name, nullptr, OXL_DELETE);
        return 0;
    }
    if (!beginClose(stream)) return kFailed;
    const StreamUse use(stream);
    const OwnedBlock owned(stream);
    StreamRecord& record = *use;
    record.document(record.documentHandle, kDocClose, 0, OXL_DELETE);
    if (record.file != nullptr) closeFile(record);
    return 0;
}

int32_t oxlRead(OxlStream stream, void* buffer, int32_t count) {
    const Locked<StreamRecord> record(stream);
    if (!record) return 0;
    if (record->document != nullptr)
        return static_cast<int32_t>(
            record->document(record->documentHandle, kDocRead, asWord(buffer), count));
    if (record->embedded.flag != 0) return docRead(stream, buffer, count);
    if (buffer == nullptr) return kFailed;
    return readBytes(*record, static_cast<uint8_t*>(buffer), count);
}

int32_t oxlWrite(OxlStream stream, const void* buffer, int32_t count) {
    const Locked<StreamRecord> record(stream);
    if (!record) return 0;
    if (record->document != nullptr)
        return static_cast<int32_t>(
            record->document(record->documentHandle, kDocWrite, asWord(buffer), count));
    if (buffer == nullptr) return kFailed;
    return writeBytes(*record, static_cast<const uint8_t*>(buffer), count);
}

int32_t oxlSeek(OxlStream stream, int32_t offset, int32_t whence) {
    const Locked<StreamRecord> record(stream);
    if (!record) return kFailed;
    if (record->document != nullptr)
        return static_cast<int32_t>(
            record->document(record->documentHandle, kDocSeek, asWord(&offset), whence));
    if (record->embedded.flag != 0) return docSeek(stream, offset, whence);
    return seekStream(*record, offset, whence);
}

int32_t oxlCopy(const char* sourceName, const char* targetName) {
    const OxlStream source = oxlOpen(sourceName, nullptr, OXL_READ);
    const OxlStream target = oxlOpen(targetName, nullptr, OXL_CREATE | OXL_WRITE);
    int64_t difference = 0;
    uint8_t buffer[4096];
    for (int32_t count = 0; (count = oxlRead(source, buffer, sizeof buffer)) >= 1;)
        difference += oxlWrite(target, buffer, count) - count;
    oxlClose(source);
    oxlClose(target);
    return static_cast<int32_t>(std::max<int64_t>(difference, INT32_MIN));
}

int32_t unxSeek(FILE* file, int32_t offset, int32_t whence) {
    if (file == nullptr || !seekStdioFile(file, offset, whence)) return kFailed;
    const int64_t position = tellStdioFile(file);
    return position > INT32_MAX ? kFailed : static_cast<int32_t>(position);
}
