// Repeatable random bitmaps and colour tables of many kinds, for holding the colour library against
// its plain model.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "model/plain_model.h"

namespace support {

// The generator's numbers are the same everywhere; the distributions of the library are not.
class Numbers {
  public:
    explicit Numbers(std::uint32_t seed) : engine_(seed) {}
    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(engine_() % limit);
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }
    bool oneIn(std::uint32_t times) { return below(times) == 0; }
    template <class List>
    auto oneOf(const List& list) {
        return list[below(static_cast<std::uint32_t>(std::size(list)))];
    }

  private:
    std::mt19937 engine_;
};

// Noise: any colour. Few: five colours. NearGrey: components that differ by about the tolerance of
// the grey test. Greys. Extremes: components of 0 and 255. Lattice: a coarse grid, full of equal
// colours and equal distances. Smooth: neighbours differ a little.
enum class Mix { Noise, Few, NearGrey, Greys, Extremes, Lattice, Smooth };
constexpr Mix kMixes[] = {Mix::Noise,    Mix::Few,     Mix::NearGrey, Mix::Greys,
                          Mix::Extremes, Mix::Lattice, Mix::Smooth};

using Triple = std::array<std::uint8_t, 3>;

class ColorSource {
  public:
    ColorSource(Numbers& numbers, Mix mix) : numbers_(numbers), mix_(mix) {
        for (Triple& color : few_) color = {numbers.byte(), numbers.byte(), numbers.byte()};
        few_[0] = {255, 255, 255};
    }

    Triple next() {
        switch (mix_) {
            case Mix::Noise:
                return {numbers_.byte(), numbers_.byte(), numbers_.byte()};
            case Mix::Few:
                return numbers_.oneOf(few_);
            case Mix::NearGrey: {
                const std::uint32_t base = numbers_.below(250);
                return each([&] { return base + numbers_.below(6); });
            }
            case Mix::Greys: {
                const std::uint8_t grey = numbers_.byte();
                return {grey, grey, grey};
            }
            case Mix::Extremes:
                return each([&] { return numbers_.below(2) * 255; });
            case Mix::Lattice:
                return each([&] { return 96 + numbers_.below(4) * 4; });
            case Mix::Smooth:
                step_ += 1;
                return {static_cast<std::uint8_t>(step_), static_cast<std::uint8_t>(step_ / 3),
                        static_cast<std::uint8_t>(255 - step_ / 2)};
        }
        return {};
    }

  private:
    template <class Component>
    static Triple each(Component component) {
        Triple color{};
        for (std::uint8_t& channel : color) channel = static_cast<std::uint8_t>(component());
        return color;
    }

    Numbers& numbers_;
    Mix mix_;
    std::array<Triple, 5> few_;
    std::uint32_t step_ = 0;
};

// Every fourth entry or so repeats an earlier one.
inline model::Bytes randomTable(Numbers& numbers, std::uint32_t entries, Mix mix) {
    ColorSource source(numbers, mix);
    std::vector<Triple> table;
    for (std::uint32_t i = 0; i < entries; ++i)
        table.push_back(i > 0 && numbers.oneIn(4) ? numbers.oneOf(table) : source.next());
    model::Bytes bytes;
    for (const Triple& color : table) bytes.insert(bytes.end(), color.begin(), color.end());
    return bytes;
}

// The padding of rows and the fourth bytes are noise. Indexes are noise too, or few for that mix.
inline model::Bitmap randomBitmap(Numbers& numbers, std::uint32_t width, std::uint32_t height,
                                  int bits, Mix mix = Mix::Noise) {
    model::Bitmap bitmap = model::newBitmap(width, height, bits);
    const std::uint8_t mask = mix == Mix::Few && bits <= 8 ? 0x83 : 0xFF;
    for (std::uint8_t& byte : bitmap.data) byte = numbers.byte() & mask;
    if (bits < 24) return bitmap;
    ColorSource source(numbers, mix);
    const std::size_t stride = model::bytesPerLine(width, bits);
    const auto pixelBytes = static_cast<std::size_t>(bits / 8);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const Triple color = source.next();
            std::copy(
                color.begin(), color.end(),
                bitmap.data.begin() + static_cast<std::ptrdiff_t>(y * stride + x * pixelBytes));
        }
    }
    return bitmap;
}

// 0, around the boundaries of bytes and of vector registers, and around a byte's worth of pixels.
inline std::vector<std::uint32_t> boundaryWidths() {
    std::vector<std::uint32_t> widths;
    for (std::uint32_t width = 0; width <= 70; ++width) widths.push_back(width);
    for (std::uint32_t width = 255; width <= 260; ++width) widths.push_back(width);
    return widths;
}

// Cuts a block somewhere, or lengthens it by some noise.
inline model::Bytes misfit(Numbers& numbers, model::Bytes block) {
    if (numbers.oneIn(2)) {
        block.resize(numbers.below(static_cast<std::uint32_t>(block.size()) + 1));
    } else {
        for (std::uint32_t extra = numbers.below(40); extra > 0; --extra)
            block.push_back(numbers.byte());
    }
    return block;
}

}  // namespace support
