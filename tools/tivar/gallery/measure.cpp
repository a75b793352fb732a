#include "gallery/measure.h"

#include <algorithm>
#include <cmath>

#include "gallery/blur.h"

namespace tool {
namespace {

// Pictures are compared some rows at a time, so that they need not be in memory.
constexpr size_t kStripRows = 64;

// Rows of a picture: those that are compared, and those around them that their blur reaches.
struct Strip {
    size_t first;  // in the picture
    size_t count;
    size_t above;  // rows of it before those that are compared
    size_t compared;
};

Strip stripAt(size_t y, size_t height) {
    const size_t above = std::min(y, kBlurReach);
    const size_t compared = std::min(kStripRows, height - y);
    const size_t below = std::min(height - y - compared, kBlurReach);
    return {y - above, above + compared + below, above, compared};
}

// ITU-R 601, the weights of 65536.
uint8_t greyOf(const uint8_t* color) {
    constexpr uint32_t kRed = 19595;
    constexpr uint32_t kGreen = 38470;
    constexpr uint32_t kBlue = 7471;
    return static_cast<uint8_t>(
        (color[0] * kRed + color[1] * kGreen + color[2] * kBlue + (1u << 15)) >> 16);
}

Samples samplesOf(const PixelRows& rows, const Strip& strip, bool asGreys) {
    Samples samples{rows.width, strip.count, asGreys ? size_t{1} : size_t{3}, {}};
    const size_t count = samples.width * samples.channels;
    samples.bytes.resize(count * strip.count);
    std::vector<uint8_t> packed;
    std::vector<uint8_t> colors(samples.width * 3);
    for (size_t y = 0; y < strip.count; ++y) {
        readColors(rows, static_cast<uint32_t>(strip.first + y), packed, colors.data());
        uint8_t* row = &samples.bytes[y * count];
        if (!asGreys) std::copy(colors.begin(), colors.end(), row);
        for (size_t x = 0; asGreys && x < samples.width; ++x) row[x] = greyOf(&colors[3 * x]);
    }
    return samples;
}

uint64_t squaredError(const Samples& a, const Samples& b, const Strip& strip) {
    const size_t row = a.width * a.channels;
    const uint8_t* first = &a.bytes[strip.above * row];
    const uint8_t* second = &b.bytes[strip.above * row];
    uint64_t sum = 0;
    for (size_t i = 0; i < strip.compared * row; ++i) {
        const int difference = first[i] - second[i];
        sum += static_cast<uint64_t>(difference * difference);
    }
    return sum;
}

double signalToNoise(uint64_t squaredError, double count) {
    return 10 * std::log10(255.0 * 255.0 * count / static_cast<double>(squaredError));
}

}  // namespace

bool haveSameColors(const PixelRows& a, const PixelRows& b) {
    if (a.width != b.width || a.height != b.height) return false;
    std::vector<uint8_t> packed;
    std::vector<uint8_t> first(size_t{a.width} * 3);
    std::vector<uint8_t> second(first.size());
    for (uint32_t y = 0; y < a.height; ++y) {
        readColors(a, y, packed, first.data());
        readColors(b, y, packed, second.data());
        if (first != second) return false;
    }
    return true;
}

bool comparesGreys(const PixelRows& rows) {
    if (rows.bits == 1) return true;
    return !rows.palette.empty() &&
           std::all_of(rows.palette.begin(), rows.palette.end(), [](Color color) {
               return color.red == color.green && color.green == color.blue;
           });
}

Likeness likenessOf(const PixelRows& rows, const PixelRows& original, bool asGreys) {
    uint64_t plain = 0;
    uint64_t blurred = 0;
    for (size_t y = 0; y < rows.height; y += kStripRows) {
        const Strip strip = stripAt(y, rows.height);
        Samples own = samplesOf(rows, strip, asGreys);
        Samples wanted = samplesOf(original, strip, asGreys);
        if (own.bytes == wanted.bytes) continue;
        plain += squaredError(own, wanted, strip);
        blur(own);
        blur(wanted);
        blurred += squaredError(own, wanted, strip);
    }
    const double count = static_cast<double>(rows.width) * rows.height * (asGreys ? 1.0 : 3.0);
    return {signalToNoise(plain, count), signalToNoise(blurred, count), asGreys,
            plain == 0 && haveSameColors(rows, original)};
}

}  // namespace tool
