// The nearest entries of a table for whole rows of colours, as bytes.
#pragma once

#include <cstdint>

#include "color/cell_answers.h"
#include "color/nearest.h"

namespace tivar {

struct NearestBytes {
    // The table must outlive it. Without memory for answers every colour is searched for.
    NearestBytes(const uint8_t* table, int16_t count);

    // The low 8 bits of rlNearestRGBIndex for width pixels of red, green, blue.
    void findRow(const uint8_t* rgb, uint32_t width, uint8_t* indices);

  private:
    // Apart from the loop that looks answers up.
    __attribute__((noinline)) uint8_t findUnkept(const uint8_t* rgb);

    NearestFinder finder;
    CellAnswers answers;
    bool hasAnswers;
};

}  // namespace tivar
