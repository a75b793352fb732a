// The standard RLE8 and RLE4 encoding of rows, as small as the form allows; but literal runs of 4
// bits have even lengths, because some readers lose the last pixel of odd ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace tool {

struct RleEncoder {
    explicit RleEncoder(unsigned bitsPerPixel);  // 4 or 8

    // Appends the codes of one row, its end of the line included. An index per byte.
    void encodeRow(const std::vector<uint8_t>& indices, std::vector<uint8_t>& codes);

  private:
    // How the rest of a row from some pixel on is best encoded.
    struct Rest {
        uint64_t bytes{};
        uint32_t count{};  // pixels of its first run
        bool literal{};
    };

    void chooseRuns(const std::vector<uint8_t>& indices);
    void chooseRun(const std::vector<uint8_t>& indices, size_t x);
    void considerRun(size_t x, size_t count);
    void considerLiterals(size_t x);
    void offerLiteralEnd(size_t end);
    void appendRun(const uint8_t* indices, uint32_t count, std::vector<uint8_t>& codes) const;
    void appendLiteral(const uint8_t* indices, uint32_t count, std::vector<uint8_t>& codes) const;

    unsigned bits;
    size_t period;            // pixels in a byte: after so many a run repeats
    size_t perWord;           // pixels of a 16-bit word
    size_t shortestLiteral;   // 0, 1 and 2 are codes
    std::vector<Rest> rests;  // for every pixel of the row, and for its end
    size_t alike = 0;         // pixels from x on that one run can hold
    // Ends of literal runs by their remainder to perWord, the best in front.
    std::vector<std::deque<size_t>> literalEnds;
};

// Behind the last row.
void appendEndOfBitmap(std::vector<uint8_t>& codes);

}  // namespace tool
