// The run-length encoder: pairs of a count and a value, nothing else. No literal runs, no
// end-of-line and no end-of-bitmap codes are written; this spare form is the contract.
#include "export/rle.h"

#include <tivar/export.h>
#include <tivar/stream.h>

#include <bit>

#include "base/memory.h"
#include "base/simd.h"
#include "base/turn.h"

// Vector types have no instruction that gathers a bit a byte.
#if TIVAR_SIMD && defined(__SSE2__)
#include <emmintrin.h>
#define TIVAR_GATHERS_BITS 1
#else
#define TIVAR_GATHERS_BITS 0
#endif

namespace tivar {
namespace {

constexpr uint32_t kBlock = 64;

// Bit i tells whether byte i differs from the byte behind it, for a block of bytes and one more.
uint64_t findRunEnds(const uint8_t* bytes) {
    uint64_t ends = 0;
#if TIVAR_GATHERS_BITS
    for (uint32_t i = 0; i < kBlock; i += 16) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
        const __m128i behind = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i + 1));
        const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(here, behind));
        ends |= uint64_t{static_cast<uint16_t>(~equal)} << i;
    }
#else
    for (uint32_t i = 0; i < kBlock; ++i) ends |= uint64_t{bytes[i] != bytes[i + 1]} << i;
#endif
    return ends;
}

// Writes pairs; a pair's count is in pixels, the longest run in bytes.
template <uint32_t kLongestRun, uint32_t kPixelsPerByte>
struct PairWriter {
    uint8_t* out;

    void writePair(uint32_t count, uint8_t value) {
        *out++ = static_cast<uint8_t>(count * kPixelsPerByte);
        *out++ = value;
    }

    // Kept: the last byte of a run that fills its limit starts the next run.
    void writeRun(uint32_t count, uint8_t value) {
        for (; count >= kLongestRun; count -= kLongestRun - 1) writePair(kLongestRun - 1, value);
        writePair(count, value);
    }

    // The end of the row limits its last run.
    void writeLastRun(uint32_t count, uint8_t value) {
        if (count > 1) writeRun(count - 1, value);
        writePair(1, value);
    }
};

// The pairs of all runs but the last, whose first byte's place is the answer.
template <class Pairs>
uint32_t encodeRuns(const uint8_t* source, uint32_t length, Pairs& pairs) {
    uint32_t start = 0;
    uint32_t done = 0;
    for (; length - done > kBlock; done += kBlock) {
        for (uint64_t ends = findRunEnds(source + done); ends != 0; ends &= ends - 1) {
            const uint32_t next = done + static_cast<uint32_t>(std::countr_zero(ends)) + 1;
            pairs.writeRun(next - start, source[start]);
            start = next;
        }
    }
    for (; done + 1 < length; ++done) {
        if (source[done] == source[done + 1]) continue;
        pairs.writeRun(done + 1 - start, source[start]);
        start = done + 1;
    }
    return start;
}

template <class Pairs>
void encodeRow(uint32_t length, uint32_t* outLength, const uint8_t* source, uint8_t* destination) {
    if (outLength == nullptr) return;
    *outLength = 0;
    if (source == nullptr || destination == nullptr || length == 0) return;
    Pairs pairs = {destination};
    const uint32_t last = encodeRuns(source, length, pairs);
    pairs.writeLastRun(length - last, source[last]);
    *outLength = static_cast<uint32_t>(pairs.out - destination);
}

}  // namespace

int32_t writeEncoded(const SettingsUse& settings, OxlStream stream, const EncoderRows& rows,
                     uint32_t* sizeCounter, uint32_t mode) {
    if (rows.count == 0) return TIVAR_OK;
    if (rows.data == nullptr || sizeCounter == nullptr || !settings) return TIVAR_ERR_STREAM;
    // Without its address the handle is that of a buffer long freed.
    if (settings->lpRLEBuffer == nullptr) return TIVAR_ERR_STREAM;
    const Pinned<uint8_t> buffer(settings->hRLEBuffer);
    const Pinned<uint8_t> streamUse(stream);
    if (GlobalSize(buffer.handle) < uint64_t{rows.length} * 2) return TIVAR_ERR_STREAM;
    const auto encode = mode == kRle4 ? EncodeRLE4Row : EncodeRLE8Row;
    const uint8_t* row = rows.data;
    for (uint32_t i = 0; i < rows.count; ++i, row += rows.stride) {
        uint32_t encoded = 0;
        encode(rows.length, &encoded, row, buffer.data);
        *sizeCounter += encoded;
        const auto bytes = static_cast<int32_t>(encoded);
        if (oxlWrite(stream, buffer.data, bytes) != bytes) return TIVAR_ERR_STREAM;
        // Another file begun or ended with the same settings took the buffer along.
        if (buffer.gone() || streamUse.gone()) return TIVAR_ERR_STREAM;
    }
    return TIVAR_OK;
}

}  // namespace tivar

using namespace tivar;

int32_t RLEWrite(OxlStream stream, const uint8_t* rows, uint32_t rowCount, uint32_t rowLength,
                 uint32_t stride, uint32_t* sizeCounter, uint32_t mode) {
    const Turn turn;
    return writeEncoded(currentSettings(), stream, {rows, rowCount, rowLength, stride}, sizeCounter,
                        mode);
}

void EncodeRLE8Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                   uint8_t* destination) {
    encodeRow<PairWriter<255, 1>>(length, outLength, source, destination);
}

void EncodeRLE4Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                   uint8_t* destination) {
    encodeRow<PairWriter<127, 2>>(length, outLength, source, destination);
}
