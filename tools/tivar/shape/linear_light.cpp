#include "shape/linear_light.h"

#include <cmath>

namespace tool {
namespace {

// So many steps that a value is 20 of them where values lie closest.
constexpr size_t kSteps = 65536;

double lightOf(double value) {
    const double share = value / 255;
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

}  // namespace

LinearLight::LinearLight() : values(kSteps, 255) {
    size_t step = 0;
    for (unsigned value = 0; value < 256; ++value) {
        light[value] = static_cast<float>(lightOf(value));
        // The values to both sides are equally near there, to the eye.
        const auto end = static_cast<size_t>(std::min(lightOf(value + 0.5), 1.0) * (kSteps - 1));
        while (step <= end) values[step++] = static_cast<uint8_t>(value);
    }
}

}  // namespace tool
