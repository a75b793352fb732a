#include "color/cell_answers.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/failing_call.h"
#include "support/random_numbers.h"

namespace {

using tivar::CellAnswers;
using tivar::CellEntry;
using tivar::kAnswersOfCell;

uint32_t pixelOf(uint32_t red, uint32_t green, uint32_t blue) {
    return red | green << 8 | blue << 16;
}

// The answers for every pixel of a row, 99 for those whose cell is not kept.
std::vector<uint8_t> lookedUp(const CellAnswers& kept, const std::vector<uint8_t>& row) {
    std::vector<uint8_t> indices(row.size() / 3);
    kept.lookUp(row.data(), static_cast<uint32_t>(indices.size()), indices.data(),
                [](uint32_t) { return uint8_t{99}; });
    return indices;
}

CellAnswers::Answers rising() {
    CellAnswers::Answers answers;
    for (uint8_t i = 0; i < kAnswersOfCell; ++i) answers.of[i] = i;
    return answers;
}

TEST(CellAnswers, AreFoundForEveryColorOfTheCell) {
    CellAnswers kept;
    ASSERT_TRUE(kept.obtain());
    kept.keep(pixelOf(9, 6, 255), rising());
    // The cell of 8 to 11, 4 to 7, 252 to 255; the last colour is none of it.
    EXPECT_EQ(lookedUp(kept, {8, 4, 252, 11, 4, 252, 8, 7, 252, 8, 4, 255, 11, 7, 255, 12, 4, 252}),
              (std::vector<uint8_t>{0, 3, 12, 48, 63, 99}));
}

TEST(CellAnswers, MayBeTheSameForAllColors) {
    for (const int answer : {0, 1, 255}) {
        CellAnswers kept;
        ASSERT_TRUE(kept.obtain());
        CellAnswers::Answers answers;
        std::fill_n(answers.of, kAnswersOfCell, static_cast<uint8_t>(answer));
        kept.keep(pixelOf(0, 0, 0), answers);
        EXPECT_EQ(lookedUp(kept, {0, 0, 0, 3, 3, 3, 4, 0, 0}),
                  (std::vector<uint8_t>{answers.of[0], answers.of[0], 99}));
    }
}

TEST(CellAnswers, AreKeptAsLongAsThereIsRoom) {
    CellAnswers kept;
    ASSERT_TRUE(kept.obtain());
    uint32_t cells = 0;
    for (; kept.hasRoom(); ++cells)
        kept.keep(pixelOf(cells % 64 * 4, cells / 64 % 64 * 4, cells / 4096 * 4), rising());
    // A word of 16 bits tells 256 answers for a whole cell and no answer apart from them.
    EXPECT_EQ(cells, 65536u - 257);
    kept.keep(pixelOf(252, 252, 252), rising());
    EXPECT_EQ(lookedUp(kept, {252, 252, 252, 0, 0, 0, 1, 0, 0}), (std::vector<uint8_t>{99, 0, 1}));
}

TEST(CellAnswers, AreNotKeptWithoutMemory) {
    for (const char* call : {"calloc", "malloc"}) {
        CellAnswers kept;
        const support::FailingCall failing(call);
        EXPECT_FALSE(kept.obtain()) << call;
    }
}

uint8_t nearestPlainly(const std::vector<CellEntry>& entries, const int* color) {
    int best = INT32_MAX;
    uint16_t nearest = 0;
    for (const CellEntry& entry : entries) {
        int distance = 0;
        for (int c = 0; c < 3; ++c)
            distance += (color[c] - entry.channels[c]) * (color[c] - entry.channels[c]);
        if (distance >= best) continue;
        best = distance;
        nearest = entry.index;
    }
    return static_cast<uint8_t>(nearest);
}

void expectNearest(const std::vector<CellEntry>& entries, const uint8_t* low) {
    CellAnswers::Answers answers;
    tivar::weighCell(entries.data(), static_cast<uint32_t>(entries.size()), low, answers);
    for (int i = 0; i < kAnswersOfCell; ++i) {
        const int color[] = {low[0] + i % 4, low[1] + i / 4 % 4, low[2] + i / 16};
        ASSERT_EQ(answers.of[i], nearestPlainly(entries, color)) << i;
    }
}

TEST(WeighingACell, FindsTheNearestOfTheEntriesForEachColor) {
    support::Random random(5);
    for (int round = 0; round < 300; ++round) {
        const uint8_t low[] = {static_cast<uint8_t>(random.byte() & ~3),
                               static_cast<uint8_t>(random.byte() & ~3),
                               static_cast<uint8_t>(random.byte() & ~3)};
        // All within a few colours of the cell, so that some are equally near.
        std::vector<CellEntry> entries(1 + random() % 20);
        uint16_t index = 0;
        for (CellEntry& entry : entries) {
            for (int c = 0; c < 3; ++c)
                entry.channels[c] = static_cast<int16_t>(low[c] + random() % 12 - 4);
            entry.index = index = static_cast<uint16_t>(index + 1 + random() % 40);
        }
        expectNearest(entries, low);
    }
}

TEST(WeighingACell, HoldsWhatIsFarAway) {
    // From the corner of black to white, and entries 25 colours from each other either way.
    const uint8_t black[] = {0, 0, 0};
    expectNearest({{{255, 255, 255}, 0}, {{230, 255, 255}, 1}, {{255, 230, 255}, 2}}, black);
    expectNearest({{{230, 255, 255}, 0}, {{255, 255, 255}, 1}, {{255, 255, 230}, 2}}, black);
    const uint8_t white[] = {252, 252, 252};
    expectNearest({{{0, 0, 0}, 0}, {{25, 0, 0}, 1}, {{0, 25, 0}, 2}, {{0, 0, 25}, 3}}, white);
    expectNearest({{{14, 14, 14}, 300}, {{0, 0, 0}, 301}}, white);
}

}  // namespace
