#include <cerrno>

#include "picture/write_picture.h"

namespace tool {

int writePpm(const PixelRows& rows, std::FILE* file) {
    if (std::fprintf(file, "P6\n%u %u\n255\n", rows.width, rows.height) < 0) return errno;
    std::vector<uint8_t> packed;
    std::vector<uint8_t> colors(size_t{rows.width} * 3);
    for (uint32_t y = 0; y < rows.height; ++y) {
        readColors(rows, y, packed, colors.data());
        if (std::fwrite(colors.data(), 1, colors.size(), file) != colors.size()) return errno;
    }
    return std::fflush(file) == 0 ? 0 : errno;
}

}  // namespace tool
