#include "shape/few_colors.h"

#include <cstring>
#include <optional>
#include <unordered_set>
#include <vector>

namespace tool {

bool hasFewColors(const Image& image) {
    constexpr size_t kFew = 64;
    if (isIndexed(image.format) && image.palette.size() <= kFew) return true;
    std::unordered_set<uint32_t> colors;
    std::vector<uint8_t> row(size_t{image.width} * 4);
    std::optional<uint32_t> last;  // neighbours are often alike
    for (size_t y = 0; y < image.height; ++y) {
        convertRow(image, rowAt(image, y), PixelFormat::Rgba, row.data());
        for (size_t at = 0; at < row.size(); at += 4) {
            uint32_t color = 0;
            std::memcpy(&color, &row[at], sizeof color);
            if (color == last) continue;
            last = color;
            if (colors.insert(color).second && colors.size() > kFew) return false;
        }
    }
    return true;
}

}  // namespace tool
