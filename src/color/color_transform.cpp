#include "color/color_transform.h"

#include "base/numbers.h"
#include "color/grey.h"

namespace tivar {
namespace {

void invert(uint8_t* color) {
    for (int channel = 0; channel < 3; ++channel)
        color[channel] = static_cast<uint8_t>(255 - color[channel]);
}

bool isGreyish(const uint8_t* color) {
    constexpr int32_t kTolerance = 10;
    return feqi(color[0], color[1], kTolerance) != 0 && feqi(color[1], color[2], kTolerance) != 0 &&
           feqi(color[0], color[2], kTolerance) != 0;
}

void turnGrey(uint8_t* color) {
    color[0] = color[1] = color[2] = greyOf(color);
}

void transformColor(uint8_t* color, int32_t mode) {
    switch (mode) {
        case kInvertAll:
            invert(color);
            break;
        case kInvertGreys:
            if (isGreyish(color)) invert(color);
            break;
        case kTurnGrey:
            turnGrey(color);
            break;
        case kTurnGreyInverted:
            turnGrey(color);
            invert(color);
            break;
        default:
            break;
    }
}

}  // namespace

void rev_rgb(int32_t count, uint8_t* triples, int32_t mode) {
    if (triples == nullptr || mode < kInvertAll || mode > kTurnGreyInverted) return;
    for (int32_t i = 0; i < count; ++i, triples += 3) transformColor(triples, mode);
}

}  // namespace tivar
