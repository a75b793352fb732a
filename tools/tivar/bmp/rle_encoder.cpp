#include "bmp/rle_encoder.h"

#include <algorithm>
#include <limits>

namespace tool {
namespace {

constexpr size_t kLongestRun = 255;
constexpr size_t kWordBytes = 2;

}  // namespace

RleEncoder::RleEncoder(unsigned bitsPerPixel)
    : bits(bitsPerPixel),
      period(8 / bitsPerPixel),
      perWord(16 / bitsPerPixel),
      shortestLiteral(bitsPerPixel == 8 ? 3 : 4),
      literalEnds(perWord) {}

void RleEncoder::encodeRow(const std::vector<uint8_t>& indices, std::vector<uint8_t>& codes) {
    chooseRuns(indices);
    for (size_t x = 0; x < indices.size();) {
        const Rest& rest = rests[x];
        if (rest.literal) {
            appendLiteral(&indices[x], rest.count, codes);
        } else {
            appendRun(&indices[x], rest.count, codes);
        }
        x += rest.count;
    }
    codes.insert(codes.end(), {0, 0});
}

// From the end to the start: what the rest of the row costs is known for every pixel behind x.
void RleEncoder::chooseRuns(const std::vector<uint8_t>& indices) {
    rests.assign(indices.size() + 1, {});
    for (std::deque<size_t>& ends : literalEnds) ends.clear();
    alike = 0;
    for (size_t x = indices.size(); x-- != 0;) chooseRun(indices, x);
}

// A rest that is shorter by whole bytes never costs more, so that the best run is the longest one
// or, where literal runs have to be even, the one before it.
void RleEncoder::chooseRun(const std::vector<uint8_t>& indices, size_t x) {
    const bool continues = x + period < indices.size() && indices[x] == indices[x + period];
    alike = continues ? alike + 1 : std::min(period, indices.size() - x);
    const size_t longest = std::min(alike, kLongestRun);
    rests[x].bytes = std::numeric_limits<uint64_t>::max();
    considerRun(x, longest);
    if (period == 2 && longest > 1) considerRun(x, longest - 1);
    if (x + shortestLiteral <= indices.size()) offerLiteralEnd(x + shortestLiteral);
    considerLiterals(x);
}

void RleEncoder::considerRun(size_t x, size_t count) {
    const uint64_t bytes = 2 + rests[x + count].bytes;
    if (bytes < rests[x].bytes) rests[x] = {bytes, static_cast<uint32_t>(count), false};
}

void RleEncoder::considerLiterals(size_t x) {
    for (size_t remainder = x % period; remainder < perWord; remainder += period) {
        std::deque<size_t>& ends = literalEnds[remainder];
        while (!ends.empty() && ends.front() > x + kLongestRun) ends.pop_front();
        if (ends.empty()) continue;
        const size_t length = ends.front() - x;
        const uint64_t words = (length + perWord - 1) / perWord;
        const uint64_t bytes = 2 + kWordBytes * words + rests[ends.front()].bytes;
        if (bytes < rests[x].bytes) rests[x] = {bytes, static_cast<uint32_t>(length), true};
    }
}

// Ends with the same remainder keep their order whatever the start, so that one queue for each,
// without the ends that a nearer one beats, has the best in front.
void RleEncoder::offerLiteralEnd(size_t end) {
    const auto cost = [&](size_t at) { return rests[at].bytes * perWord + at * kWordBytes; };
    std::deque<size_t>& ends = literalEnds[end % perWord];
    while (!ends.empty() && cost(ends.back()) >= cost(end)) ends.pop_back();
    ends.push_back(end);
}

void RleEncoder::appendRun(const uint8_t* indices, uint32_t count,
                           std::vector<uint8_t>& codes) const {
    const unsigned first = indices[0];
    const unsigned second = count > 1 ? indices[1] : first;
    const unsigned value = bits == 8 ? first : first << 4 | second;
    codes.push_back(static_cast<uint8_t>(count));
    codes.push_back(static_cast<uint8_t>(value));
}

void RleEncoder::appendLiteral(const uint8_t* indices, uint32_t count,
                               std::vector<uint8_t>& codes) const {
    codes.push_back(0);
    codes.push_back(static_cast<uint8_t>(count));
    const size_t begin = codes.size();
    codes.resize(begin + (count + perWord - 1) / perWord * kWordBytes);
    for (uint32_t i = 0; i < count; ++i) {
        const bool high = bits == 4 && i % 2 == 0;
        uint8_t& byte = codes[begin + i / period];
        byte = static_cast<uint8_t>(byte | indices[i] << (high ? 4 : 0));
    }
}

void appendEndOfBitmap(std::vector<uint8_t>& codes) {
    codes.insert(codes.end(), {0, 1});
}

}  // namespace tool
