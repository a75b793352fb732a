#include "write/rle_encoder.h"

#include <algorithm>
#include <cstring>

namespace tivar {
namespace {

constexpr uint32_t kLongestRun = 255;
constexpr uint32_t kWordBytes = 2;
constexpr uint32_t kCodeBytes = 2;
// 0, 1 and 2 are codes; every literal run has an even length.
constexpr uint32_t kShortestLiteral = 4;

bool isEmpty(const LiteralEnds& ends) {
    return ends.first == ends.last;
}
uint32_t frontOf(const LiteralEnds& ends) {
    return ends.places[ends.first % LiteralEnds::kRoom];
}
uint32_t backOf(const LiteralEnds& ends) {
    return ends.places[(ends.last - 1) % LiteralEnds::kRoom];
}

void considerRun(RleEncoder& encoder, uint32_t x, uint32_t count) {
    const uint64_t bytes = kCodeBytes + encoder.costs[x + count];
    if (bytes >= encoder.costs[x]) return;
    encoder.costs[x] = bytes;
    encoder.counts[x] = static_cast<uint8_t>(count);
    encoder.literal[x] = 0;
}

void considerLiterals(RleEncoder& encoder, uint32_t x) {
    for (uint32_t remainder = x % 2; remainder < encoder.perWord; remainder += 2) {
        LiteralEnds& ends = encoder.ends[remainder];
        while (!isEmpty(ends) && frontOf(ends) - x > kLongestRun) ++ends.first;
        if (isEmpty(ends)) continue;
        const uint32_t length = frontOf(ends) - x;
        const uint32_t words = (length + encoder.perWord - 1) / encoder.perWord;
        const uint64_t bytes = kCodeBytes + kWordBytes * words + encoder.costs[frontOf(ends)];
        if (bytes >= encoder.costs[x]) continue;
        encoder.costs[x] = bytes;
        encoder.counts[x] = static_cast<uint8_t>(length);
        encoder.literal[x] = 1;
    }
}

// Ends with the same remainder keep their order whatever the start, so that one queue for each,
// without the ends that a nearer one beats, has the best in front. Those too far for a run went
// when it was looked at, two pixels behind x: what is left fits the queue.
void offerLiteralEnd(RleEncoder& encoder, uint32_t end) {
    const auto cost = [&](uint32_t at) {
        return encoder.costs[at] * encoder.perWord + uint64_t{at} * kWordBytes;
    };
    LiteralEnds& ends = encoder.ends[end % encoder.perWord];
    while (!isEmpty(ends) && cost(backOf(ends)) >= cost(end)) --ends.last;
    ends.places[ends.last++ % LiteralEnds::kRoom] = end;
}

// From the end to the start: what the rest of the row costs is known for every pixel behind x. A
// rest that is shorter by whole bytes never costs more, so that the best run is the longest one or,
// where literal runs have to be even, the one before it.
void chooseRuns(RleEncoder& encoder, const uint8_t* indices) {
    for (LiteralEnds& ends : encoder.ends) ends.first = ends.last = 0;
    encoder.costs[encoder.width] = 0;
    uint32_t alike = 0;  // pixels from x on that one run can hold
    for (uint32_t x = encoder.width; x-- != 0;) {
        const uint32_t left = encoder.width - x;
        const bool continues = left > encoder.period && indices[x] == indices[x + encoder.period];
        alike = continues ? alike + 1 : std::min(encoder.period, left);
        const uint32_t longest = std::min(alike, kLongestRun);
        encoder.costs[x] = UINT64_MAX;
        considerRun(encoder, x, longest);
        if (encoder.period == 2 && longest > 1) considerRun(encoder, x, longest - 1);
        if (left >= kShortestLiteral) offerLiteralEnd(encoder, x + kShortestLiteral);
        considerLiterals(encoder, x);
    }
}

uint8_t* putRun(const RleEncoder& encoder, const uint8_t* indices, uint32_t count, uint8_t* to) {
    const unsigned first = indices[0];
    const unsigned second = count > 1 ? indices[1] : first;
    *to++ = static_cast<uint8_t>(count);
    *to++ = static_cast<uint8_t>(encoder.bits == 8 ? first : first << 4 | second);
    return to;
}

uint8_t* putLiteral(const RleEncoder& encoder, const uint8_t* indices, uint32_t count,
                    uint8_t* to) {
    *to++ = 0;
    *to++ = static_cast<uint8_t>(count);
    uint8_t* end = to + (count + encoder.perWord - 1) / encoder.perWord * kWordBytes;
    if (encoder.bits == 8) {
        std::memcpy(to, indices, count);
        return end;
    }
    std::memset(to, 0, static_cast<size_t>(end - to));
    for (uint32_t i = 0; i < count; i += 2)
        to[i / 2] = static_cast<uint8_t>(indices[i] << 4 | indices[i + 1]);
    return end;
}

uint8_t* putEnd(bool last, uint8_t* to) {
    *to++ = 0;
    *to++ = last ? 1 : 0;
    return to;
}

}  // namespace

bool prepareEncoder(RleEncoder& encoder, uint32_t bits, uint32_t width) {
    encoder.bits = bits;
    encoder.width = width;
    encoder.period = 8 / bits;
    encoder.perWord = 16 / bits;
    // At worst every pixel is a run of its own.
    return encoder.costs.obtain(uint64_t{width} + 1) && encoder.counts.obtain(width) &&
           encoder.literal.obtain(width) &&
           encoder.codes.obtain((uint64_t{width} + 1) * kCodeBytes);
}

uint64_t encodeRow(RleEncoder& encoder, const uint8_t* indices, bool last) {
    chooseRuns(encoder, indices);
    uint8_t* to = encoder.codes.data;
    for (uint32_t x = 0; x < encoder.width;) {
        const uint32_t count = encoder.counts[x];
        to = encoder.literal[x] != 0 ? putLiteral(encoder, indices + x, count, to)
                                     : putRun(encoder, indices + x, count, to);
        x += count;
    }
    return static_cast<uint64_t>(putEnd(last, to) - encoder.codes.data);
}

}  // namespace tivar
