// Error diffusion over a palette: for looking at.
//
// Rows come one after the other, in either order of the file. Two of them run the same way and the
// next two the opposite way, so patterns find no slope to grow along, and two rows can still be in
// flight at once. Errors are kept in sixteenths of a level.
//
// Palettes of greys are served by the grey of each pixel, others by all three channels.
#pragma once

#include <cstddef>
#include <cstdint>

#include "write/block.h"
#include "write/nearest_entry.h"
#include "write/rows.h"

namespace tivar {

// What a grey level does with its error, and how it is chosen for.
struct GreyStep {
    int16_t toNext;    // share of the next pixel, in 4096ths
    int16_t toBehind;  // of the one behind that below; the one below gets the rest
    int16_t sway;      // how far thresholds move the choice, in 16ths of a level
};

constexpr int kLowestChoice = -256;
constexpr int kHighestChoice = 511;

struct GreyRule {
    GreyStep steps[256];
    int32_t lowest;  // levels are held between these
    int32_t highest;
    bool ofTwo;
    int32_t lower;  // of two entries the levels, and where the upper one begins
    int32_t upper;
    int32_t turn;
    uint8_t lowerIndex;
    uint8_t upperIndex;
    // Of any number: nearest entry of each level from kLowestChoice on, as level * 256 + index.
    uint16_t nearest[kHighestChoice - kLowestChoice + 1];
};

struct ColorRule {
    int16_t knee;         // half of what an error has beyond it is dropped
    uint64_t lanes[256];  // entries in 16ths of a level, a channel 16 bits: red, green, blue, 0
    NearestEntry nearest;
};

struct Diffusion {
    uint32_t width;
    uint32_t rows;  // so far
    bool grey;
    GreyRule greyRule;
    ColorRule colorRule;
    Block<uint8_t> greys;    // of two rows
    Block<int16_t> errors;   // on their way into the next row; of colours four lanes a pixel
    Block<uint64_t> levels;  // of two rows of colours: lanes as above
};

// False without memory. table has 1 to 256 entries.
bool prepareDiffusion(Diffusion& diffusion, uint32_t width, const ColorTable& table);

// The next row: red, green, blue of every pixel become its index.
void diffuseRow(Diffusion& diffusion, const uint8_t* rgb, uint8_t* indices);

// The next two rows, with the same result as one after the other, and quicker when the number of
// rows so far is even.
void diffuseTwoRows(Diffusion& diffusion, const uint8_t* first, const uint8_t* second,
                    uint8_t* firstIndices, uint8_t* secondIndices);

}  // namespace tivar
