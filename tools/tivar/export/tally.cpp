#include "export/tally.h"

#include <unistd.h>

#include <cmath>
#include <numeric>
#include <utility>

#include "process/system.h"

namespace tool {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr char kClearLine[] = "\r\x1b[K";
constexpr Seconds kBetween{0.1};
constexpr Seconds kBeforeGuess{2};  // the first exports tell little

void show(const std::string& text) {
    (void)writeAll(STDERR_FILENO, text.data(), text.size());
}

std::string roughly(double seconds) {
    if (seconds < 90) return std::to_string(static_cast<int>(seconds) + 1) + " s";
    const double minutes = seconds / 60;
    if (minutes < 90) return std::to_string(std::lround(minutes)) + " min";
    return std::to_string(std::lround(minutes / 60)) + " h";
}

// Every export takes as long as those before took.
std::string timeLeft(const Tally& tally, size_t done, Clock::time_point now) {
    const Seconds spent = now - tally.begin;
    if (done == 0 || done >= tally.wanted || spent < kBeforeGuess) return "";
    const double each = spent.count() / static_cast<double>(done);
    return ", " + roughly(each * static_cast<double>(tally.wanted - done)) + " left";
}

const char* reasonFor(Skip skip, size_t count) {
    switch (skip) {
        case Skip::UpToDate:
            return "up to date";
        case Skip::NoPicture:
            return count == 1 ? "no picture" : "no pictures";
        case Skip::InPlace:
            return count == 1 ? "a BMP file in its place" : "BMP files in their places";
        case Skip::LinkedFolder:
            return count == 1 ? "linked folder" : "linked folders";
    }
    return "";
}

std::string reasonsOf(const Tally& tally) {
    std::string reasons;
    for (size_t i = 0; i < kSkips; ++i) {
        const size_t count = tally.skipped[i];
        if (count == 0) continue;
        reasons += (reasons.empty() ? "" : ", ") + std::to_string(count) + " " +
                   reasonFor(static_cast<Skip>(i), count);
    }
    return reasons.empty() ? "" : " (" + reasons + ")";
}

}  // namespace

void add(Tally& tally, const Outcome& outcome) {
    if (outcome.fate == Fate::Written) ++tally.written;
    if (outcome.fate == Fate::Failed) ++tally.failed;
    if (outcome.fate == Fate::Skipped) ++tally.skipped[static_cast<size_t>(outcome.skip)];
}

void showCount(Tally& tally, size_t done) {
    const Clock::time_point now = Clock::now();
    const bool last = done == tally.wanted;
    if (!tally.visible || tally.wanted == 0 || (!last && now - tally.shown < kBetween)) return;
    tally.shown = now;
    tally.open = true;
    const std::string failures =
        tally.failed == 0 ? "" : ", " + std::to_string(tally.failed) + " failed";
    show(kClearLine + std::to_string(done) + " of " + std::to_string(tally.wanted) + failures +
         timeLeft(tally, done, now));
}

void showLines(Tally& tally, const std::string& lines) {
    if (lines.empty()) return;
    show((std::exchange(tally.open, false) ? kClearLine : "") + lines);
}

std::string summaryOf(const Tally& tally) {
    const size_t skipped = std::accumulate(tally.skipped.begin(), tally.skipped.end(), size_t{0});
    return std::to_string(tally.written) + " written, " + std::to_string(tally.failed) +
           " failed, " + std::to_string(skipped) + " skipped" + reasonsOf(tally);
}

}  // namespace tool
