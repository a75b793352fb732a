// Runs a piece of work again and again while its first, second, third ... call of a function of the
// C library fails, until it gets through: what it answers, what it leaves behind, and whether it
// works again afterwards.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/captured_text.h"
#include "support/failing_call.h"
#include "support/memory_block.h"
#include "support/open_files.h"

namespace hardening {

using support::Bytes;
using support::Failure;

// What a piece of work gives: the codes of its calls, in order, and the bytes that it made.
struct Outcome {
    std::vector<int64_t> codes;
    Bytes bytes;

    bool operator==(const Outcome& other) const {
        return codes == other.codes && bytes == other.bytes;
    }
};

inline std::string shown(const Outcome& outcome) {
    std::string text = std::to_string(outcome.bytes.size()) + " bytes, codes";
    for (const int64_t code : outcome.codes) text += " " + std::to_string(code);
    return text;
}

// Carries out the calls of the library that a piece of work is about; what it needs before and
// after is its own and never fails. No function: nothing fails at all.
class Attempt {
  public:
    explicit Attempt(const char* function = nullptr, int nth = 0, Failure failure = Failure::kOnce)
        : function_(function), nth_(nth), failure_(failure) {}

    template <class Calls>
    void operator()(Calls calls) {
        // The library tells of exhausted memory on standard output.
        const support::CapturedText quiet(stdout);
        if (function_ == nullptr) {
            calls();
            return;
        }
        const support::FailingCall failing(function_, nth_, failure_);
        calls();
        failed_ = failing.happened();
    }

    bool failed() const { return failed_; }

  private:
    const char* function_;
    int nth_;
    Failure failure_;
    bool failed_ = false;
};

// Work: Outcome(Attempt&), which frees all that it makes. Judge: looks at the outcome of a run in
// which a call failed, and at the undisturbed one.
template <class Work, class Judge>
int sweep(const char* function, Failure failure, Work work, Judge judge) {
    Attempt undisturbed;
    const Outcome whole = work(undisturbed);
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message()
                     << function << " " << nth << (failure == Failure::kOnce ? "" : " and on"));
        const long blocks = support::liveBlocks;
        const size_t files = support::openFiles();
        Attempt disturbed(function, nth, failure);
        const Outcome outcome = work(disturbed);
        EXPECT_EQ(support::liveBlocks, blocks) << "blocks leak, or are freed twice";
        EXPECT_EQ(support::openFiles(), files) << "files stay open";
        if (!disturbed.failed()) {
            EXPECT_TRUE(outcome == whole) << shown(outcome) << ", not " << shown(whole);
            return nth - 1;
        }
        judge(outcome, whole);
        const Outcome after = work(undisturbed);
        EXPECT_TRUE(after == whole) << "afterwards " << shown(after) << ", not " << shown(whole);
        if (testing::Test::HasFailure()) return nth;
    }
}

// The functions that give the library memory.
constexpr const char* kAllocations[] = {"calloc", "malloc", "realloc"};

}  // namespace hardening
