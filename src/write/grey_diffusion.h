// Error diffusion of greys: each pixel's grey over a palette of greys.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/rows.h"

namespace tivar {

// What a grey level does with its error, and how it is chosen for.
struct LevelStep {
    int16_t level;     // in 16ths
    int16_t sway;      // how far thresholds move the choice, in 64ths of a level
    int16_t toNext;    // share of the next pixel, in 32768ths
    int16_t toBehind;  // of the one behind that below; the one below gets the rest
};

constexpr int kLowestChoice = -256;
constexpr int kHighestChoice = 511;

struct GreyDiffusion {
    uint32_t width;
    LevelStep steps[256];
    int16_t lowest;  // levels are held between these, in 16ths
    int16_t highest;
    bool ofTwo;
    int16_t lower;  // of two entries the levels, and where the upper one begins, in 16ths
    int16_t upper;
    int16_t turn;
    uint8_t lowerIndex;
    uint8_t upperIndex;
    // Of any number: nearest entry of each level from kLowestChoice on, as level * 256 + index.
    uint16_t nearest[kHighestChoice - kLowestChoice + 1];
    Block<uint8_t> greys;   // of rows in flight
    Block<int16_t> errors;  // on their way into the next row, with margins
};

// False without memory. table has 1 to 256 entries, greys all.
bool prepareGreys(GreyDiffusion& diffusion, uint32_t width, const ColorTable& table);

// Row y. Rows run backward or not as the caller says.
void diffuseGreyRow(GreyDiffusion& diffusion, uint32_t y, bool backward, const uint8_t* rgb,
                    uint8_t* indices);

// The same as kFlightRows calls for rows that run the same way.
void diffuseGreyFlight(GreyDiffusion& diffusion, uint32_t y, bool backward,
                       const uint8_t* const* rgb, uint8_t* const* indices);

}  // namespace tivar
