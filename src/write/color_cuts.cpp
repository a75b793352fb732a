#include "write/color_cuts.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/block.h"

namespace tivar {
namespace {

constexpr int kSliceShift = 32;
// The longest component of an axis.
constexpr double kAxisLength = 1024;

// Red-red, red-green, red-blue, green-green, green-blue, blue-blue.
struct Moments {
    uint64_t products[6];
};

int32_t placeOf(const CutPlane& plane, const ColorPoint& point) {
    return plane.axis[0] * point.channels[0] + plane.axis[1] * point.channels[1] +
           plane.axis[2] * point.channels[2];
}

int sliceOf(const CutPlane& plane, const ColorPoint& point) {
    const auto above = static_cast<uint64_t>(placeOf(plane, point) - plane.lowest);
    return static_cast<int>(above * plane.factor >> kSliceShift);
}

void measure(ColorPart& part, Moments& moments) {
    part.sum = {};
    moments = {};
    for (uint32_t i = 0; i < part.count; ++i) {
        const ColorPoint& point = part.points[i];
        part.sum.add(point);
        const uint64_t red = uint64_t{point.weight} * point.channels[0];
        const uint64_t green = uint64_t{point.weight} * point.channels[1];
        const uint64_t blue = uint64_t{point.weight} * point.channels[2];
        moments.products[0] += red * point.channels[0];
        moments.products[1] += red * point.channels[1];
        moments.products[2] += red * point.channels[2];
        moments.products[3] += green * point.channels[1];
        moments.products[4] += green * point.channels[2];
        moments.products[5] += blue * point.channels[2];
    }
}

// A symmetric matrix, its six values as in Moments.
struct Matrix {
    double v[6];
};

// All sums are far below 2^63, and of signed numbers processors make doubles in one step.
double asDouble(uint64_t sum) {
    return static_cast<double>(static_cast<int64_t>(sum));
}

Matrix covarianceOf(const ColorSum& sum, const Moments& moments) {
    const double weight = asDouble(sum.weight);
    double mean[3];
    for (int i = 0; i < 3; ++i) mean[i] = asDouble(sum.channels[i]) / weight;
    const auto spread = [&](int at, int i, int j) {
        return asDouble(moments.products[at]) / weight - mean[i] * mean[j];
    };
    return {{spread(0, 0, 0), spread(1, 0, 1), spread(2, 0, 2), spread(3, 1, 1), spread(4, 1, 2),
             spread(5, 2, 2)}};
}

Matrix squareOf(const Matrix& m) {
    const double* v = m.v;
    return {{v[0] * v[0] + v[1] * v[1] + v[2] * v[2], v[0] * v[1] + v[1] * v[3] + v[2] * v[4],
             v[0] * v[2] + v[1] * v[4] + v[2] * v[5], v[1] * v[1] + v[3] * v[3] + v[4] * v[4],
             v[1] * v[2] + v[3] * v[4] + v[4] * v[5], v[2] * v[2] + v[4] * v[4] + v[5] * v[5]}};
}

// Squaring a matrix over and over leaves its principal axis in every column.
bool findAxis(Matrix matrix, int32_t* axis) {
    constexpr int kSquarings = 5;
    for (int i = 0; i <= kSquarings; ++i) {
        const double trace = matrix.v[0] + matrix.v[3] + matrix.v[5];
        if (!(trace > 0)) return false;
        for (double& value : matrix.v) value /= trace;
        if (i < kSquarings) matrix = squareOf(matrix);
    }
    const double* v = matrix.v;
    const double columns[3][3] = {{v[0], v[1], v[2]}, {v[1], v[3], v[4]}, {v[2], v[4], v[5]}};
    const double diagonal[3] = {v[0], v[3], v[5]};
    const auto longest = std::max_element(diagonal, diagonal + 3) - diagonal;
    const double* column = columns[longest];
    const double most =
        std::max({std::fabs(column[0]), std::fabs(column[1]), std::fabs(column[2])});
    for (int i = 0; i < 3; ++i)
        axis[i] = static_cast<int32_t>(std::floor(column[i] / most * kAxisLength + 0.5));
    return true;
}

// Spreads the slices over the part; false when all its points lie at one place of the axis.
bool spreadSlices(const ColorPart& part, CutPlane& plane) {
    int32_t lowest = INT32_MAX;
    int32_t highest = INT32_MIN;
    for (uint32_t i = 0; i < part.count; ++i) {
        const int32_t place = placeOf(plane, part.points[i]);
        lowest = std::min(lowest, place);
        highest = std::max(highest, place);
    }
    plane.lowest = lowest;
    const auto places = static_cast<uint64_t>(highest - lowest) + 1;
    plane.factor = (uint64_t{kSlices} << kSliceShift) / places;
    return highest > lowest;
}

// What a cluster's mean takes off the sum of its squares.
double squaredMean(const ColorSum& sum) {
    double squares = 0;
    for (const uint64_t channel : sum.channels) squares += asDouble(channel) * asDouble(channel);
    return squares / asDouble(sum.weight);
}

ColorSum differenceOf(const ColorSum& a, const ColorSum& b) {
    return {a.weight - b.weight,
            {a.channels[0] - b.channels[0], a.channels[1] - b.channels[1],
             a.channels[2] - b.channels[2]}};
}

// The slice behind which the plane had best lie, and what that gains.
void placePlane(ColorPart& part, const ColorSum* slices) {
    const double whole = squaredMean(part.sum);
    ColorSum below{};
    for (int slice = 0; slice < kSlices - 1; ++slice) {
        if (slices[slice].weight == 0) continue;
        below.add(slices[slice]);
        const ColorSum above = differenceOf(part.sum, below);
        if (above.weight == 0) break;
        const double gain = squaredMean(below) + squaredMean(above) - whole;
        if (gain <= part.gain) continue;
        part.gain = gain;
        part.plane.last = slice;
    }
}

}  // namespace

void weighPart(ColorPart& part, ColorSum* slices) {
    Moments moments;
    measure(part, moments);
    part.gain = 0;
    if (part.count < 2 || !findAxis(covarianceOf(part.sum, moments), part.plane.axis) ||
        !spreadSlices(part, part.plane))
        return;
    std::memset(slices, 0, kSlices * sizeof *slices);
    for (uint32_t i = 0; i < part.count; ++i)
        slices[sliceOf(part.plane, part.points[i])].add(part.points[i]);
    placePlane(part, slices);
}

ColorPart cutPart(ColorPart& part) {
    const ColorPoint* middle = std::partition(
        part.points, part.points + part.count,
        [&](const ColorPoint& point) { return sliceOf(part.plane, point) <= part.plane.last; });
    ColorPart above = part;
    part.count = static_cast<uint32_t>(middle - part.points);
    above.points += part.count;
    above.count -= part.count;
    return above;
}

bool cutClusters(Clusters& clusters, uint32_t most) {
    Block<ColorPart> parts;
    Block<ColorSum> slices;
    if (!parts.obtain(most) || !slices.obtain(kSlices)) return false;
    parts[0].points = clusters.points->data;
    parts[0].count = clusters.pointCount();
    weighPart(parts[0], slices.data);
    uint32_t made = 1;
    while (made < most) {
        ColorPart* worst = std::max_element(
            parts.data, parts.data + made,
            [](const ColorPart& a, const ColorPart& b) { return a.gain < b.gain; });
        if (worst->gain <= 0) break;
        parts[made] = cutPart(*worst);
        weighPart(*worst, slices.data);
        weighPart(parts[made], slices.data);
        ++made;
    }
    for (uint32_t i = 0; i < made; ++i) {
        for (uint32_t k = 0; k < parts[i].count; ++k)
            parts[i].points[k].cluster = static_cast<uint16_t>(i);
    }
    clusters.first[made] = clusters.pointCount();
    clusters.count = made;
    regroup(clusters);
    return true;
}

}  // namespace tivar
