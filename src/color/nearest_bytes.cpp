#include "color/nearest_bytes.h"

namespace tivar {

NearestBytes::NearestBytes(const uint8_t* table, int16_t count)
    : finder(table, count), hasAnswers(answers.obtain()) {}

uint8_t NearestBytes::findUnkept(const uint8_t* rgb) {
    CellAnswers::Answers cell;
    const uint32_t pixel = joinBytes(rgb);
    const uint8_t low[3] = {static_cast<uint8_t>(rgb[0] & ~3), static_cast<uint8_t>(rgb[1] & ~3),
                            static_cast<uint8_t>(rgb[2] & ~3)};
    if (!answers.hasRoom() || !finder.answerCell(low, cell))
        return static_cast<uint8_t>(finder.find(rgb[0], rgb[1], rgb[2]));
    answers.keep(pixel, cell);
    return cell.of[placeInCell<CellAnswers::kCellBits>(pixel)];
}

void NearestBytes::findRow(const uint8_t* rgb, uint32_t width, uint8_t* indices) {
    const auto unkept = [&](uint32_t x) { return findUnkept(rgb + size_t{x} * 3); };
    if (hasAnswers) return answers.lookUp(rgb, width, indices, unkept);
    for (uint32_t x = 0; x < width; ++x)
        indices[x] = static_cast<uint8_t>(
            finder.find(rgb[x * size_t{3}], rgb[x * size_t{3} + 1], rgb[x * size_t{3} + 2]));
}

}  // namespace tivar
