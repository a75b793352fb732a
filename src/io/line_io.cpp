// Text lines with any of the three endings.
#include <tivar/stream.h>

#include "io/stream_record.h"

namespace tivar {
namespace {

constexpr char kCarriageReturn = 13;
constexpr char kLineFeed = 10;
constexpr int16_t kFormatCr = 1;
constexpr int16_t kFormatLf = 2;

int32_t writeEnding(OxlStream stream, int16_t format) {
    if (format == kFormatCr) return oxlWrite(stream, &kCarriageReturn, 1);
    if (format == kFormatLf) return oxlWrite(stream, &kLineFeed, 1);
    const int32_t result = oxlWrite(stream, &kCarriageReturn, 1);
    return result == 1 ? oxlWrite(stream, &kLineFeed, 1) : result;
}

// Takes the line feed that may follow a carriage return; false at the stream's end.
bool skipLineFeed(OxlStream stream) {
    char c = 0;
    if (oxlRead(stream, &c, 1) < 1) return false;
    if (c != kLineFeed) oxlSeek(stream, -1, SEEK_CUR);
    return true;
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t oxlReadLine(OxlStream stream, char* buffer, int32_t capacity) {
    if (stream == 0 || buffer == nullptr || capacity < 1) return kFailed;
    const StreamUse use(stream);
    buffer[0] = '\0';
    int32_t count = 0;
    while (count < capacity) {
        char c = 0;
        // Kept: what the file's end leaves without a line ending stays in the buffer unreported.
        if (oxlRead(stream, &c, 1) < 1) return kFailed;
        if (c == kCarriageReturn) return skipLineFeed(stream) ? count : kFailed;
        if (c == kLineFeed) break;
        buffer[count++] = c;
        if (count < capacity) buffer[count] = '\0';
    }
    return count;
}

int32_t oxlWriteLine(OxlStream stream, const char* text, int32_t length) {
    const StreamUse record(stream);
    if (!record) return 0;
    const int32_t written = oxlWrite(stream, text, length);
    const int32_t ending = writeEnding(stream, record->lineFormat);
    return ending == 1 ? written : ending;
}

int32_t oxlSetLineFormat(OxlStream stream, int16_t format) {
    const Locked<StreamRecord> record(stream);
    if (!record) return kFailed;
    record->lineFormat = format;
    return 0;
}

int32_t oxlGetLineFormat(OxlStream stream) {
    const StreamUse use(stream);
    int32_t format = kFailed;
    for (char c = 0; oxlRead(stream, &c, 1) >= 1;) {
        if (c == kLineFeed) format = kFormatLf;
        if (c == kCarriageReturn) {
            const bool more = oxlRead(stream, &c, 1) >= 1;
            format = more && c == kLineFeed ? 0 : kFormatCr;
        }
        if (format != kFailed) break;
    }
    oxlSeek(stream, 0, SEEK_SET);
    return format;
}
