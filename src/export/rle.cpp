// The run-length encoder: pairs of a count and a value, nothing else. No literal runs, no
// end-of-line and no end-of-bitmap codes are written; this spare form is the contract.
#include "export/rle.h"

#include <tivar/export.h>
#include <tivar/stream.h>

#include <algorithm>

#include "host/memory.h"

namespace tivar {
namespace {

uint32_t runLength(const uint8_t* source, uint32_t limit) {
    const uint8_t* end = source + limit;
    return static_cast<uint32_t>(
        std::find_if(source + 1, end, [&](uint8_t byte) { return byte != *source; }) - source);
}

// A pair's count is in pixels.
void encodeRow(uint32_t length, uint32_t* outLength, const uint8_t* source, uint8_t* destination,
               uint32_t longestRun, uint32_t pixelsPerByte) {
    if (outLength == nullptr) return;
    *outLength = 0;
    if (source == nullptr || destination == nullptr) return;
    uint8_t* out = destination;
    for (uint32_t remaining = length; remaining != 0;) {
        const uint32_t limit = std::min(remaining, longestRun);
        uint32_t count = runLength(source, limit);
        // Kept: the last byte of a run that fills its limit starts the next run.
        if (count == limit && limit > 1) --count;
        *out++ = static_cast<uint8_t>(count * pixelsPerByte);
        *out++ = *source;
        source += count;
        remaining -= count;
    }
    *outLength = static_cast<uint32_t>(out - destination);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t RLEWrite(OxlStream stream, const uint8_t* rows, uint32_t rowCount, uint32_t rowLength,
                 uint32_t stride, uint32_t* sizeCounter, uint32_t mode) {
    if (rowCount == 0) return TIVAR_OK;
    if (rows == nullptr || sizeCounter == nullptr || lpRaster == nullptr) return TIVAR_ERR_STREAM;
    // Without its address the handle is that of a buffer long freed.
    if (lpRaster->lpRLEBuffer == nullptr) return TIVAR_ERR_STREAM;
    const uint64_t worstCase = uint64_t{rowLength} * 2;
    if (GlobalSize(lpRaster->hRLEBuffer) < worstCase) return TIVAR_ERR_STREAM;
    const auto encode = mode == kRle4 ? EncodeRLE4Row : EncodeRLE8Row;
    for (uint32_t row = 0; row < rowCount; ++row, rows += stride) {
        uint32_t encoded = 0;
        encode(rowLength, &encoded, rows, lpRaster->lpRLEBuffer);
        *sizeCounter += encoded;
        const auto bytes = static_cast<int32_t>(encoded);
        if (oxlWrite(stream, lpRaster->lpRLEBuffer, bytes) != bytes) return TIVAR_ERR_STREAM;
    }
    return TIVAR_OK;
}

void EncodeRLE8Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                   uint8_t* destination) {
    encodeRow(length, outLength, source, destination, 255, 1);
}

void EncodeRLE4Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                   uint8_t* destination) {
    encodeRow(length, outLength, source, destination, 127, 2);
}
