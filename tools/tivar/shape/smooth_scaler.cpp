#include "shape/smooth_scaler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "process/failure.h"
#include "shape/linear_light.h"
#include "shape/zimg_library.h"

namespace tool {
namespace {

constexpr size_t kMostPlanes = 4;
constexpr size_t kAlignment = 64;  // that zimg wants of rows

struct FreeMemory {
    void operator()(void* memory) const {
        ::operator delete (memory, std::align_val_t{kAlignment});
    }
};
template <class Item>
using Memory = std::unique_ptr<Item[], FreeMemory>;

template <class Item>
Memory<Item> allocateAligned(size_t bytes) {
    const size_t whole = (std::max<size_t>(bytes, 1) + kAlignment - 1) / kAlignment * kAlignment;
    return Memory<Item>(static_cast<Item*>(::operator new (whole, std::align_val_t{kAlignment})));
}

// The last rows of each plane, as many as zimg needs at a time: a power of two, or all.
struct Planes {
    size_t count;
    size_t stride;  // in numbers
    size_t rows;
    unsigned mask;
    Memory<float> memory;

    Planes(size_t planes, PixelSize size, unsigned rowMask)
        : count(planes),
          stride((size_t{size.width} * sizeof(float) + kAlignment - 1) / kAlignment * kAlignment /
                 sizeof(float)),
          rows(rowMask == ZIMG_BUFFER_MAX ? size.height : size_t{rowMask} + 1),
          mask(rowMask),
          memory(allocateAligned<float>(count * rows * stride * sizeof(float))) {}

    float* row(size_t plane, unsigned y) const {
        return memory.get() + (plane * rows + (y & mask)) * stride;
    }
};

template <class Buffer>
Buffer bufferOf(const Planes& planes) {
    Buffer buffer{};
    buffer.version = ZIMG_API_VERSION;
    for (size_t i = 0; i < planes.count; ++i) {
        buffer.plane[i].data = planes.row(i, 0);
        buffer.plane[i].stride = static_cast<ptrdiff_t>(planes.stride * sizeof(float));
        buffer.plane[i].mask = planes.mask;
    }
    return buffer;
}

// Squares of pixels that become one before the scaler's filter, which takes time and room for each
// pixel that it looks at, gets the rest to do.
struct Squares {
    uint32_t width;
    uint32_t height;
};

// So many squares are left for each pixel of the result that none can be told.
Squares squaresFor(const Region& region, PixelSize size) {
    constexpr double kSquaresLeft = 4;
    const auto side = [](double first, double from, uint32_t to) {
        const bool all = first == 0 && to == 1;  // which one square gives exactly
        const double pixels = all ? std::ceil(from) : from / (kSquaresLeft * to);
        return static_cast<uint32_t>(std::max(pixels, 1.0));
    };
    return {side(region.left, region.width, size.width),
            side(region.top, region.height, size.height)};
}

struct Source {
    const Image& image;
    PixelFormat format;  // of its rows as they are mixed
    Squares squares;
    const LinearLight& light;
    const Planes& planes;
    std::vector<uint8_t> converted{};
};

struct Target {
    const Image& image;
    const LinearLight& light;
    const Planes& planes;
};

const uint8_t* sourceRow(Source& source, size_t y) {
    const uint8_t* row = rowAt(source.image, y);
    if (source.image.format == source.format) return row;
    uint8_t* to = source.converted.data();
    const bool grey = source.format == PixelFormat::Grey;
    convertRow(source.image, row, grey ? PixelFormat::Rgb : source.format, to);
    for (size_t x = 0; grey && x < source.image.width; ++x) to[x] = to[3 * x];
    return to;
}

// Colours count as much as they are opaque.
template <size_t kPlanes>
void addLight(const LinearLight& light, const uint8_t* pixel, std::array<float, kPlanes>& sums) {
    if constexpr (kPlanes == 4) {
        const float alpha = static_cast<float>(pixel[3]) / 255;
        for (size_t i = 0; i < 3; ++i) sums[i] += light.light[pixel[i]] * alpha;
        sums[3] += alpha;
    } else {
        for (size_t i = 0; i < kPlanes; ++i) sums[i] += light.light[pixel[i]];
    }
}

// Part of a row of squares: what one of the picture's rows adds to it, of so many.
template <size_t kPlanes>
void addRow(const Source& source, const uint8_t* row, std::array<float*, kPlanes> to, unsigned left,
            unsigned right, uint32_t rows) {
    const uint32_t side = source.squares.width;
    const auto shareOf = [&](size_t columns) {
        return 1 / (static_cast<float>(columns) * static_cast<float>(rows));
    };
    const float share = shareOf(side);
    const uint8_t* pixel = row + size_t{left} * side * kPlanes;
    for (size_t x = left; x < right; ++x) {
        const auto count = std::min<size_t>(side, source.image.width - x * side);
        std::array<float, kPlanes> sums{};
        for (size_t i = 0; i < count; ++i, pixel += kPlanes) {
            addLight<kPlanes>(source.light, pixel, sums);
        }
        // The last square may be narrower.
        const float part = count == side ? share : shareOf(count);
        for (size_t i = 0; i < kPlanes; ++i) to[i][x] += sums[i] * part;
    }
}

template <size_t kPlanes>
int fillRow(void* user, unsigned y, unsigned left, unsigned right) noexcept {
    Source& source = *static_cast<Source*>(user);
    std::array<float*, kPlanes> to{};
    for (size_t i = 0; i < kPlanes; ++i) {
        to[i] = source.planes.row(i, y);
        std::fill(to[i] + left, to[i] + right, 0.0F);
    }
    const uint32_t first = y * source.squares.height;
    const uint32_t rows = std::min(source.squares.height, source.image.height - first);
    for (uint32_t i = 0; i < rows; ++i) {
        addRow<kPlanes>(source, sourceRow(source, first + i), to, left, right, rows);
    }
    return 0;
}

template <size_t kPlanes>
int takeRow(void* user, unsigned y, unsigned left, unsigned right) noexcept {
    const Target& target = *static_cast<Target*>(user);
    std::array<const float*, kPlanes> from{};
    for (size_t i = 0; i < kPlanes; ++i) from[i] = target.planes.row(i, y);
    uint8_t* to = rowAt(target.image, y) + size_t{left} * kPlanes;
    for (size_t x = left; x < right; ++x) {
        float opacity = 1;
        if constexpr (kPlanes == 4) opacity = std::clamp(from[3][x], 0.0F, 1.0F);
        for (size_t i = 0; i < std::min<size_t>(kPlanes, 3); ++i) {
            *to++ = opacity > 0 ? target.light.valueOf(from[i][x] / opacity) : uint8_t{0};
        }
        if constexpr (kPlanes == 4) *to++ = static_cast<uint8_t>(std::lround(opacity * 255));
    }
    return 0;
}

// What zimg calls for rows of so many planes.
struct Calls {
    zimg_filter_graph_callback fill;
    zimg_filter_graph_callback take;
};

Calls callsFor(size_t planes) {
    if (planes == 1) return {fillRow<1>, takeRow<1>};
    if (planes == 3) return {fillRow<3>, takeRow<3>};
    return {fillRow<4>, takeRow<4>};
}

bool isGrey(const std::vector<Color>& palette) {
    return std::all_of(palette.begin(), palette.end(),
                       [](Color c) { return c.red == c.green && c.green == c.blue; });
}

PixelFormat mixedFormat(const Image& image) {
    if (!image.alphas.empty() || image.format == PixelFormat::GreyAlpha) return PixelFormat::Rgba;
    if (isIndexed(image.format)) {
        return isGrey(image.palette) ? PixelFormat::Grey : PixelFormat::Rgb;
    }
    return image.format;
}

zimg_image_format planesFormat(const ZimgLibrary& zimg, PixelSize size, size_t planes) {
    zimg_image_format format{};
    zimg.defaultFormat(&format, ZIMG_API_VERSION);
    format.width = size.width;
    format.height = size.height;
    format.pixel_type = ZIMG_PIXEL_FLOAT;
    if (planes == 1) return format;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    if (planes == 4) format.alpha = ZIMG_ALPHA_PREMULTIPLIED;
    return format;
}

using Graph = std::unique_ptr<zimg_filter_graph, decltype(&::zimg_filter_graph_free)>;

[[noreturn]] void failScaling(const ZimgLibrary& zimg) {
    std::array<char, 256> message{};
    if (zimg.lastError(message.data(), message.size() - 1) == ZIMG_ERROR_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    fail(std::string("cannot be scaled smoothly (") + message.data() + ")",
         "choose another size or --scale pixel");
}

void require(const ZimgLibrary& zimg, zimg_error_code_e result) {
    if (result != ZIMG_ERROR_SUCCESS) failScaling(zimg);
}

// Catmull and Rom's cubic: as sharp as the picture, with little of the ringing of wider filters.
// When it shrinks, it is as much wider as the picture is larger, so that nothing falls between.
Graph graphFor(const ZimgLibrary& zimg, zimg_image_format from, const zimg_image_format& to,
               const Region& squares) {
    from.active_region = {squares.left, squares.top, squares.width, squares.height};
    zimg_graph_builder_params parameters{};
    zimg.defaultParameters(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter = ZIMG_RESIZE_BICUBIC;
    parameters.filter_param_a = 0;
    parameters.filter_param_b = 0.5;
    Graph graph(zimg.build(&from, &to, &parameters), zimg.free);
    if (graph == nullptr) failScaling(zimg);
    return graph;
}

PixelSize countSquares(const Image& image, Squares squares) {
    return {(image.width + squares.width - 1) / squares.width,
            (image.height + squares.height - 1) / squares.height};
}

Region inSquares(const Region& region, Squares squares) {
    return {region.left / squares.width, region.top / squares.height, region.width / squares.width,
            region.height / squares.height};
}

}  // namespace

Image scaledSmoothly(const Image& image, const Region& region, PixelSize size) {
    const PixelFormat format = mixedFormat(image);
    const size_t planes = bitsOf(format) / 8;
    Image scaled = newImage(format, size);
    scaled.orientation = image.orientation;

    const ZimgLibrary zimg = loadZimg();
    const Squares squares = squaresFor(region, size);
    const PixelSize counted = countSquares(image, squares);
    const Graph graph = graphFor(zimg, planesFormat(zimg, counted, planes),
                                 planesFormat(zimg, size, planes), inSquares(region, squares));
    unsigned rowsIn = 0;
    unsigned rowsOut = 0;
    size_t roomBytes = 0;
    require(zimg, zimg.inputRows(graph.get(), &rowsIn));
    require(zimg, zimg.outputRows(graph.get(), &rowsOut));
    require(zimg, zimg.roomBytes(graph.get(), &roomBytes));
    const Planes in(planes, counted, zimg.rowMask(rowsIn));
    const Planes out(planes, size, zimg.rowMask(rowsOut));
    const auto room = allocateAligned<uint8_t>(roomBytes);

    const LinearLight light;
    Source source{image, format, squares, light, in};
    if (image.format != format) source.converted.resize(size_t{image.width} * kMostPlanes);
    Target target{scaled, light, out};
    const auto from = bufferOf<zimg_image_buffer_const>(in);
    const auto to = bufferOf<zimg_image_buffer>(out);
    const Calls calls = callsFor(planes);
    require(zimg, zimg.process(graph.get(), &from, &to, room.get(), calls.fill, &source, calls.take,
                               &target));
    return scaled;
}

}  // namespace tool
