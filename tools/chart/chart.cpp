// Draws the test chart: gradients, a grey ramp, saturated patches, fine lines and text-like detail,
// at any size, as a PPM file on standard output. What reduces or dithers badly shows here first.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

struct Color {
    uint8_t red;
    uint8_t green;
    uint8_t blue;
};

// A place on the chart: u and v run from 0 to 1 within a band, x and y are pixels.
struct Place {
    double u;
    double v;
    int x;
    int y;
};

uint8_t byteOf(double unit) {
    return static_cast<uint8_t>(std::lround(std::clamp(unit, 0.0, 1.0) * 255));
}

// Full saturation around the colour circle, from black over the pure colour to white.
Color hueGradient(const Place& at) {
    const auto channel = [&](double phase) {
        const double pure =
            std::clamp(std::fabs(std::fmod(at.u * 6 + phase, 6.0) - 3) - 1, 0.0, 1.0);
        return byteOf(at.v < 0.5 ? pure * at.v * 2 : pure + (1 - pure) * (at.v * 2 - 1));
    };
    return {channel(0), channel(4), channel(2)};
}

// A smooth ramp over a stepped one.
Color greyRamp(const Place& at) {
    const double level = at.v < 0.5 ? at.u : std::floor(at.u * 16) / 15;
    const uint8_t grey = byteOf(level);
    return {grey, grey, grey};
}

Color patches(const Place& at) {
    constexpr std::array<Color, 12> kColors = {{{255, 0, 0},
                                                {0, 255, 0},
                                                {0, 0, 255},
                                                {0, 255, 255},
                                                {255, 0, 255},
                                                {255, 255, 0},
                                                {128, 64, 32},
                                                {244, 194, 161},
                                                {32, 96, 64},
                                                {90, 70, 150},
                                                {255, 255, 255},
                                                {0, 0, 0}}};
    const auto index = static_cast<size_t>(at.u * kColors.size());
    return kColors[std::min(index, kColors.size() - 1)];
}

// Rings, one-pixel grids and diagonals.
Color fineLines(const Place& at) {
    constexpr Color kInk = {20, 20, 40};
    constexpr Color kPaper = {250, 248, 240};
    if (at.u < 1 / 3.0) return at.x % 4 == 0 || at.y % 4 == 0 ? kInk : kPaper;
    if (at.u < 2 / 3.0) return (at.x + at.y) % 7 == 0 || (at.x - at.y) % 5 == 0 ? kInk : kPaper;
    const double radius = std::hypot(at.u - 5 / 6.0, (at.v - 0.5) / 3);
    return std::sin(radius * 600) > 0 ? kInk : kPaper;
}

// Five by seven pixels a glyph, a bit a pixel, top row first.
constexpr std::array<std::array<uint8_t, 7>, 8> kGlyphs = {{
    {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04},
    {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E},
    {0x11, 0x11, 0x11, 0x0A, 0x0A, 0x04, 0x04},
    {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11},
    {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11},
    {0x0E, 0x11, 0x01, 0x06, 0x01, 0x11, 0x0E},
    {0x01, 0x02, 0x04, 0x08, 0x10, 0x11, 0x0E},
    {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
}};

Color text(const Place& at) {
    const int column = at.x / 6;
    const int line = at.y / 9;
    const auto glyph = static_cast<size_t>((column + line * 3) % static_cast<int>(kGlyphs.size()));
    const int row = at.y % 9;
    const bool ink =
        row < 7 && at.x % 6 < 5 && (kGlyphs[glyph][static_cast<size_t>(row)] >> (4 - at.x % 6) & 1);
    const auto shade = byteOf(0.85 + 0.15 * at.v);
    return ink ? Color{0, 0, static_cast<uint8_t>(at.u * 160)} : Color{shade, shade, 255};
}

using Band = Color (*)(const Place&);
constexpr std::array<Band, 5> kBands = {hueGradient, greyRamp, patches, fineLines, text};

bool drawChart(int width, int height, std::FILE* out) {
    const int bands = static_cast<int>(kBands.size());
    std::vector<Color> row(static_cast<size_t>(width));
    if (std::fprintf(out, "P6\n%d %d\n255\n", width, height) < 0) return false;
    for (int y = 0; y < height; ++y) {
        const double down = static_cast<double>(y) * bands / height;
        const auto band = static_cast<size_t>(down);
        for (int x = 0; x < width; ++x)
            row[static_cast<size_t>(x)] =
                kBands[band]({static_cast<double>(x) / width, down - std::floor(down), x, y});
        if (std::fwrite(row.data(), sizeof(Color), row.size(), out) != row.size()) return false;
    }
    return std::fflush(out) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    const long width = argc == 3 ? std::strtol(argv[1], nullptr, 10) : 0;
    const long height = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (width < 1 || height < 1 || width > 65535 || height > 65535) {
        std::fputs("usage: tivar_chart WIDTH HEIGHT > chart.ppm (1 to 65535 each)\n", stderr);
        return 2;
    }
    if (drawChart(static_cast<int>(width), static_cast<int>(height), stdout)) return 0;
    std::perror("tivar_chart: standard output");
    return 1;
}
