#include "color/color_transform.h"

#include "model/plain_model.h"
#include "support/random_numbers.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes transformed(Bytes colors, int32_t mode) {
    tivar::rev_rgb(static_cast<int32_t>(colors.size() / 3), colors.data(), mode);
    return colors;
}

TEST(RevRgb, ModesTransformEachColour) {
    struct Case {
        int32_t mode;
        Bytes from;
        Bytes to;
    };
    for (const Case& c : {
             Case{0, {1, 2, 3}, {1, 2, 3}},
             {1, {0, 100, 255}, {255, 155, 0}},
             {2, {100, 104, 108}, {155, 151, 147}},
             {2, {100, 111, 100}, {100, 111, 100}},
             {2, {100, 110, 105}, {155, 145, 150}},
             {2, {100, 95, 106}, {100, 95, 106}},  // green and blue differ by 11
             {2, {106, 100, 95}, {106, 100, 95}},  // red and blue differ by 11
             {3, {255, 255, 255}, {255, 255, 255}},
             {3, {10, 20, 30}, {18, 18, 18}},
             {3, {255, 0, 0}, {76, 76, 76}},  // 765 / 10
             {3, {0, 255, 0}, {153, 153, 153}},
             {3, {0, 0, 255}, {25, 25, 25}},
             {4, {10, 20, 30}, {237, 237, 237}},
             {4, {255, 255, 255}, {0, 0, 0}},
             {5, {1, 2, 3}, {1, 2, 3}},
             {-1, {1, 2, 3}, {1, 2, 3}},
         })
        EXPECT_EQ(transformed(c.from, c.mode), c.to) << c.mode;
}

TEST(RevRgb, OnlyCountColoursChange) {
    Bytes colors = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    tivar::rev_rgb(2, colors.data(), 1);
    EXPECT_EQ(colors, (Bytes{254, 253, 252, 251, 250, 249, 7, 8, 9}));
    tivar::rev_rgb(0, colors.data(), 1);
    tivar::rev_rgb(-5, colors.data(), 1);
    EXPECT_EQ(colors[0], 254);
}

TEST(RevRgb, NullColoursAreIgnored) {
    tivar::rev_rgb(3, nullptr, 1);
}

TEST(RevRgb, RandomColoursAgreeWithTheModel) {
    support::Random random(3);
    for (int32_t mode = -1; mode <= 6; ++mode) {
        Bytes colors;
        for (int i = 0; i < 3000; ++i)
            colors.push_back(
                static_cast<uint8_t>(i % 2 == 0 ? random.byte() : 120 + random() % 16));
        Bytes plain = colors;
        model::revRgb(plain, 1000, mode);
        EXPECT_EQ(transformed(colors, mode), plain) << mode;
    }
}

}  // namespace
