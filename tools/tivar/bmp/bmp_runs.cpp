#include "bmp/bmp_runs.h"

#include <algorithm>

namespace tool {
namespace {

enum class RunKind { Pixels, EndOfLine, EndOfBitmap, Delta, CutShort };

struct Run {
    RunKind kind = RunKind::CutShort;
    size_t at{};    // of its first byte
    size_t next{};  // behind its last byte
    unsigned count{};
    const uint8_t* pixels{};
    bool repeats{};  // an encoded run: its pixels are those of one code
    unsigned dx{};
    unsigned dy{};
};

enum { kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2 };

Run cutShort(RunBytes bytes, size_t at) {
    Run run;
    run.at = at;
    run.next = bytes.size();
    return run;
}

Run readDelta(RunBytes bytes, Run run) {
    if (bytes.size() - run.at < 4) return cutShort(bytes, run.at);
    run.kind = RunKind::Delta;
    run.dx = bytes[run.at + 2];
    run.dy = bytes[run.at + 3];
    run.next += 2;
    return run;
}

// Literal pixels are padded to a whole number of 16-bit words.
Run readAbsolute(RunBytes bytes, Run run, unsigned bits) {
    const size_t length = (size_t{run.count} * bits + 15) / 16 * 2;
    if (bytes.size() - run.next < length) return cutShort(bytes, run.at);
    run.kind = RunKind::Pixels;
    run.pixels = bytes.data() + run.next;
    run.repeats = false;
    run.next += length;
    return run;
}

// The colour of a run of 24 bits has two bytes more than an index.
Run withWholeColor(RunBytes bytes, Run run, unsigned bits) {
    if (bits != 24) return run;
    if (bytes.size() - run.at < 4) return cutShort(bytes, run.at);
    run.next = run.at + 4;
    return run;
}

Run readRun(RunBytes bytes, size_t at, const RunShape& shape) {
    if (bytes.size() - at < 2) return cutShort(bytes, at);
    Run run;
    run.at = at;
    run.next = at + 2;
    run.count = bytes[at];
    run.pixels = bytes.data() + at + 1;
    run.repeats = true;
    run.kind = RunKind::Pixels;
    if (run.count != 0 || shape.native) return withWholeColor(bytes, run, shape.bits);
    const uint8_t code = *run.pixels;
    if (code == kDelta) return readDelta(bytes, run);
    if (code > kDelta) {
        run.count = code;
        return readAbsolute(bytes, run, shape.bits);
    }
    run.kind = code == kEndOfLine ? RunKind::EndOfLine : RunKind::EndOfBitmap;
    return run;
}

// One pixel of the run, behind the last byte written.
uint8_t* putPixel(const Run& run, unsigned index, unsigned bits, uint8_t* to) {
    if (bits == 24) return std::copy_n(run.pixels + (run.repeats ? 0 : 3 * index), 3, to);
    if (bits == 8) {
        *to = run.pixels[run.repeats ? 0 : index];
    } else {
        const uint8_t pair = run.pixels[run.repeats ? 0 : index / 2];
        *to = index % 2 == 0 ? pair >> 4 : pair & 15;
    }
    return to + 1;
}

// One walk over the bytes.
struct Walk {
    RunBytes bytes;
    const RunShape& shape;
    size_t base;
    RunMap map;
    uint64_t row = 0;
    uint64_t x = 0;
    size_t at = 0;
    bool ended = false;
};

void addFlaw(Walk& walk, size_t at, const std::string& what, bool losesPixels) {
    walk.map.flaws.add({walk.base + at, what, losesPixels});
}

// The same for flaws of which a hostile file has millions.
template <class Describe>
void addFrequentFlaw(Walk& walk, size_t at, Describe describe, bool losesPixels) {
    walk.map.flaws.addFrom([&] { return BmpFlaw{walk.base + at, describe(), losesPixels}; });
}

std::string inRow(const Walk& walk) {
    return " in row " + std::to_string(walk.row) + " of the file";
}

void beginRow(Walk& walk) {
    if (walk.row < walk.shape.rows) walk.map.marks.push_back({walk.row, walk.x, walk.at});
}

void nextRow(Walk& walk) {
    ++walk.row;
    walk.x = 0;
    beginRow(walk);
}

// Some programs encode the padding of raw rows as well, which hides no pixel.
void checkExcess(Walk& walk, const Run& run) {
    const RunShape& shape = walk.shape;
    const uint64_t left = shape.rowPixels - std::min(walk.x, shape.rowPixels);
    const bool padding = walk.x + run.count <= shape.paddedPixels;
    const auto describe = [&] {
        return "a run of " + std::to_string(run.count) + " pixels" + inRow(walk) + ", which has " +
               std::to_string(left) + (padding ? " and padding left" : " left");
    };
    addFrequentFlaw(walk, run.at, describe, !padding);
}

// Padding of the native form is part of its rows, so that they end by themselves.
void takePixels(Walk& walk, const Run& run) {
    if (walk.row >= walk.shape.rows) {
        addFlaw(walk, run.at, "pixels after the last row", true);
        walk.ended = true;
        return;
    }
    if (run.count == 0 || (walk.shape.native && walk.shape.bits == 4 && run.count % 2 != 0)) {
        const auto describe = [&] {
            return "a count of " + std::to_string(run.count) + inRow(walk);
        };
        addFrequentFlaw(walk, run.at, describe, true);
    }
    if (walk.x + run.count > walk.shape.rowPixels) checkExcess(walk, run);
    walk.x = std::min<uint64_t>(walk.x + run.count, walk.shape.paddedPixels);
    if (walk.shape.native && walk.x == walk.shape.rowPixels) nextRow(walk);
}

void takeDelta(Walk& walk, const Run& run) {
    const uint64_t x = walk.x + run.dx;
    const uint64_t row = walk.row + run.dy;
    if (x > walk.shape.rowPixels || row >= walk.shape.rows) {
        addFlaw(walk, run.at, "a delta out of the picture" + inRow(walk), true);
        walk.ended = true;
        return;
    }
    walk.x = x;
    if (run.dy == 0) return;
    walk.row = row;
    beginRow(walk);
}

// The last row may have had its end-of-line code or not.
bool allRowsSet(const Walk& walk) {
    const RunShape& shape = walk.shape;
    return walk.row >= shape.rows || (walk.row + 1 == shape.rows && walk.x >= shape.rowPixels);
}

void takeEndOfBitmap(Walk& walk, const Run& run) {
    walk.ended = true;
    if (!allRowsSet(walk)) {
        addFlaw(walk, run.at, "the bitmap ends" + inRow(walk) + ", with pixels left unset", false);
    }
}

void takeCutShort(Walk& walk, const Run& run) {
    walk.ended = true;
    if (allRowsSet(walk)) {
        addFlaw(walk, run.at, "no end-of-bitmap code", false);
    } else {
        addFlaw(walk, run.at, "the pixels are cut short" + inRow(walk), true);
    }
}

void take(Walk& walk, const Run& run) {
    switch (run.kind) {
        case RunKind::Pixels:
            return takePixels(walk, run);
        case RunKind::EndOfLine:
            return nextRow(walk);
        case RunKind::EndOfBitmap:
            return takeEndOfBitmap(walk, run);
        case RunKind::Delta:
            return takeDelta(walk, run);
        case RunKind::CutShort:
            return takeCutShort(walk, run);
    }
}

// Whether the walk goes on: the native form ends with its last row, others with their code.
bool goesOn(const Walk& walk) {
    return !walk.ended && (!walk.shape.native || walk.row < walk.shape.rows);
}

}  // namespace

RunMap mapRuns(RunBytes bytes, const RunShape& shape, size_t base) {
    Walk walk{bytes, shape, base, {}};
    beginRow(walk);
    while (goesOn(walk)) {
        const Run run = readRun(bytes, walk.at, shape);
        walk.at = run.next;
        take(walk, run);
    }
    walk.map.end = walk.at;
    return std::move(walk.map);
}

void expandRow(RunBytes bytes, const RunShape& shape, const RunMap& map, uint64_t row,
               uint8_t* pixels) {
    const size_t pixelBytes = shape.bits == 24 ? 3 : 1;
    std::fill_n(pixels, shape.rowPixels * pixelBytes, uint8_t{0});
    const auto mark =
        std::lower_bound(map.marks.begin(), map.marks.end(), row,
                         [](const RowMark& m, uint64_t wanted) { return m.row < wanted; });
    if (mark == map.marks.end() || mark->row != row) return;
    uint64_t x = mark->x;
    for (size_t at = mark->at; at < map.end && !(shape.native && x == shape.rowPixels);) {
        const Run run = readRun(bytes, at, shape);
        at = run.next;
        const bool along = run.kind == RunKind::Delta && run.dy == 0;
        if (run.kind != RunKind::Pixels && !along) return;
        x = std::min(x + run.dx, shape.rowPixels);
        if (along) continue;
        const auto count =
            static_cast<unsigned>(std::min<uint64_t>(run.count, shape.rowPixels - x));
        uint8_t* to = pixels + x * pixelBytes;
        for (unsigned i = 0; i < count; ++i) to = putPixel(run, i, shape.bits, to);
        x += count;
    }
}

bool isWithoutCodes(RunBytes bytes, const RunShape& shape) {
    uint64_t left = shape.rowPixels * shape.rows;
    size_t at = 0;
    for (; left != 0 && at + 1 < bytes.size(); at += 2) {
        if (bytes[at] == 0) return false;
        left -= std::min<uint64_t>(left, bytes[at]);
    }
    // A code can follow the only row, whose end no other row shows.
    const bool endsInCode = shape.rows == 1 && at + 1 < bytes.size() && bytes[at] == 0;
    return bytes.size() >= 2 && !endsInCode;
}

bool isExactNative(RunBytes bytes, const RunShape& shape) {
    const RunMap map = mapRuns(bytes, shape, 0);
    return map.flaws.list.empty() && map.end == bytes.size();
}

}  // namespace tool
