#include "color/nearest_lanes.h"

#include <gtest/gtest.h>

#include <array>

#include "support/memory_block.h"
#include "support/random_numbers.h"

namespace {

using support::Bytes;
using Color = std::array<uint8_t, 3>;

enum class Kind { kColors, kGreys, kMixed };

Color randomColor(support::Random& random, Kind kind) {
    const auto level = [&] { return static_cast<uint8_t>(random()); };
    const bool grey = kind == Kind::kGreys || (kind == Kind::kMixed && random() % 2 == 0);
    const uint8_t red = level();
    return grey ? Color{red, red, red} : Color{red, level(), level()};
}

Bytes randomTable(support::Random& random, int count, Kind kind) {
    Bytes table;
    for (int i = 0; i < count; ++i) {
        for (const uint8_t channel : randomColor(random, kind)) table.push_back(channel);
    }
    return table;
}

#if TIVAR_SIMD
// The same search with the colour and the table in lanes.
uint32_t foundInLanes(tivar::NearestFinder& finder, const Color& color, const Bytes& table) {
    std::vector<tivar::LaneColor> lanes;
    for (size_t i = 0; i < table.size(); i += 3) lanes.push_back(tivar::laneColor(&table[i]));
    return tivar::findNearest(finder, tivar::laneColor(color.data()), lanes.data());
}
#endif

TEST(NearestFinder, FindsWhatALookThroughTheTableFinds) {
    support::Random random(64);
    for (const int count : {1, 2, 3, 8, 16, 63, 64, 65, 256, 1000}) {
        for (const Kind kind : {Kind::kColors, Kind::kGreys, Kind::kMixed}) {
            const Bytes table = randomTable(random, count, kind);
            tivar::NearestFinder finder(table.data(), static_cast<int16_t>(count));
            for (int query = 0; query < 2000; ++query) {
                Color color = randomColor(random, Kind::kMixed);
                // At the edge of what counts as grey.
                if (query % 4 == 0) color[1] = static_cast<uint8_t>(color[0] + random() % 11 - 5);
                const auto wanted = static_cast<uint32_t>(rlNearestRGBIndex(
                    color[0], color[1], color[2], table.data(), static_cast<int16_t>(count)));
                ASSERT_EQ(finder.find(color[0], color[1], color[2]), wanted) << count;
#if TIVAR_SIMD
                ASSERT_EQ(foundInLanes(finder, color, table), wanted) << count;
#endif
            }
        }
    }
}

}  // namespace
