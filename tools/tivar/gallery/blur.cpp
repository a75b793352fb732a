#include "gallery/blur.h"

#include <algorithm>
#include <array>

namespace tool {
namespace {

constexpr int kBoxes = 3;
constexpr size_t kReach = 2;  // of one box
static_assert(kBlurReach == kBoxes * kReach);

// The box is 1 + 2 * 1.375 = 3.75 pixels wide: three whole ones, and the rest on both sides. The
// shares are of 2^24.
constexpr uint32_t kWhole = (1u << 24) * 4 / 15;
constexpr uint32_t kRest = ((1u << 24) - 3 * kWhole) / 2;

using Taps = std::array<const uint8_t*, 5>;

void blurTaps(const Taps& taps, uint8_t* to, size_t count) {
    constexpr uint32_t kHalf = 1u << 23;
    const auto [a, b, c, d, e] = taps;
    for (size_t i = 0; i < count; ++i) {
        const uint32_t inner = uint32_t{b[i]} + c[i] + d[i];
        const uint32_t outer = uint32_t{a[i]} + e[i];
        to[i] = static_cast<uint8_t>((inner * kWhole + outer * kRest + kHalf) >> 24);
    }
}

// A row between copies of its first and of its last pixel.
void padRow(const uint8_t* row, size_t channels, std::vector<uint8_t>& padded) {
    const size_t count = padded.size() - 2 * kReach * channels;
    std::copy_n(row, count, &padded[kReach * channels]);
    for (size_t i = 0; i < kReach; ++i) {
        std::copy_n(row, channels, &padded[i * channels]);
        std::copy_n(row + count - channels, channels, &padded[padded.size() - (i + 1) * channels]);
    }
}

void blurRows(Samples& samples) {
    const size_t channels = samples.channels;
    const size_t count = samples.width * channels;
    std::vector<uint8_t> padded(count + 2 * kReach * channels);
    Taps taps{};
    for (size_t i = 0; i < taps.size(); ++i) taps[i] = &padded[i * channels];
    for (size_t y = 0; y < samples.height; ++y) {
        uint8_t* row = &samples.bytes[y * count];
        for (int box = 0; box < kBoxes; ++box) {
            padRow(row, channels, padded);
            blurTaps(taps, row, count);
        }
    }
}

void blurColumnsOnce(const Samples& from, std::vector<uint8_t>& to) {
    const size_t count = from.width * from.channels;
    const auto last = static_cast<ptrdiff_t>(from.height) - 1;
    for (size_t y = 0; y < from.height; ++y) {
        Taps taps{};
        for (size_t i = 0; i < taps.size(); ++i) {
            const ptrdiff_t row = static_cast<ptrdiff_t>(y + i) - static_cast<ptrdiff_t>(kReach);
            taps[i] = &from.bytes[static_cast<size_t>(std::clamp<ptrdiff_t>(row, 0, last)) * count];
        }
        blurTaps(taps, &to[y * count], count);
    }
}

}  // namespace

void blur(Samples& samples) {
    blurRows(samples);
    std::vector<uint8_t> other(samples.bytes.size());
    for (int box = 0; box < kBoxes; ++box) {
        blurColumnsOnce(samples, other);
        samples.bytes.swap(other);
    }
}

}  // namespace tool
