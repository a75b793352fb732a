// How far many exports are: a line that is rewritten on a terminal, and the summary in the end.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>

#include "export/outcome.h"

namespace tool {

struct Tally {
    size_t wanted = 0;  // exports that are to be done
    size_t written = 0;
    size_t failed = 0;
    std::array<size_t, kSkips> skipped{};
    bool visible = false;  // a terminal sees the line
    bool open = false;     // it stands there
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point shown{};
};

void add(Tally& tally, const Outcome& outcome);

// "137 of 501, 3 failed, 2 min left", not oftener than the eye follows.
void showCount(Tally& tally, size_t done);

// Lines for the user take the line's place.
void showLines(Tally& tally, const std::string& lines);

// "498 written, 3 failed, 12 skipped (12 up to date)"
std::string summaryOf(const Tally& tally);

}  // namespace tool
