#include "base/status.h"

#include <array>
#include <cstring>

namespace {

struct Call {
    intptr_t context;
    std::array<int32_t, 5> middle;
    intptr_t block;
};

std::vector<Call> g_calls;
std::vector<int32_t> g_answers;
bool g_blockWasZero;

// Answers one by one from g_answers.
int32_t answer(intptr_t context, int32_t a2, int32_t a3, int32_t a4, int32_t a5, int32_t a6,
               intptr_t block) {
    g_calls.push_back({context, {a2, a3, a4, a5, a6}, block});
    if (a2 == 2 && a3 == 61) {
        int32_t words[10];
        std::memcpy(words, reinterpret_cast<const void*>(block), sizeof words);
        const int32_t zeros[10] = {};
        g_blockWasZero = std::memcmp(words, zeros, sizeof words) == 0;
    }
    return g_answers.at(g_calls.size() - 1);
}

struct StatusCall : testing::Test {
    StatusCall() {
        g_calls.clear();
        g_answers.clear();
        g_blockWasZero = false;
    }
};

TEST_F(StatusCall, WithoutAProcedureNothingIsCalled) {
    EXPECT_EQ(tivar::CallGetSet_Status(nullptr, 1, 0, 0, 4, 5, 6, 7), 0);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(StatusCall, SevenArgumentsReachTheProcedure) {
    g_answers = {0};
    const intptr_t wide = sizeof(intptr_t) == 8 ? INTPTR_MAX - 5 : 99;
    EXPECT_EQ(tivar::CallGetSet_Status(answer, wide, 0, 0, -4, 50, 6, wide - 1), 0);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].context, wide);
    EXPECT_EQ(g_calls[0].middle, (std::array<int32_t, 5>{0, 0, -4, 50, 6}));
    EXPECT_EQ(g_calls[0].block, wide - 1);
}

TEST_F(StatusCall, AnAnswerToAProgressReportIsFollowedByTheQuestionThatDecides) {
    for (const int32_t decision : {0, 7, -1}) {
        g_calls.clear();
        g_answers = {5, decision};
        EXPECT_EQ(tivar::CallGetSet_Status(answer, 33, 0, 0, 4, 5, 6, 7), decision);
        ASSERT_EQ(g_calls.size(), 2u);
        EXPECT_EQ(g_calls[1].context, 33);
        EXPECT_EQ(g_calls[1].middle, (std::array<int32_t, 5>{2, 61, 0, 0, 0}));
        EXPECT_TRUE(g_blockWasZero);
    }
}

TEST_F(StatusCall, OtherOperationsAreNotFollowedByTheQuestion) {
    const std::array<int32_t, 2> operations[] = {{1, 0}, {0, 1}, {3, 4}};
    for (const auto& [a2, a3] : operations) {
        g_calls.clear();
        g_answers = {5};
        EXPECT_EQ(tivar::CallGetSet_Status(answer, 33, a2, a3, 0, 0, 0, 0), 5);
        EXPECT_EQ(g_calls.size(), 1u);
    }
}

}  // namespace
