#include "export/outcome.h"

#include <array>
#include <cerrno>
#include <cstdio>

#include "process/json.h"
#include "process/memory_size.h"
#include "process/system.h"

namespace tool {
namespace {

constexpr std::array kRoutes{"filter", "driver", "direct"};
constexpr std::array kFates{"written", "failed", "skipped"};
constexpr std::array kReasons{"up to date", "no picture", "in its place", "linked folder"};
static_assert(kReasons.size() == kSkips);

// What goes before the two texts.
struct Head {
    Fate fate;
    Skip skip;
    Exported exported;
    double seconds;
    int exitCode;
    uint64_t errorBytes;
    uint64_t saidBytes;
};

bool readWhole(int pipe, void* data, size_t count) {
    char* next = static_cast<char*>(data);
    while (count != 0) {
        const ssize_t got = readSome(pipe, next, count);
        if (got == 0 || (got < 0 && errno != EINTR)) return false;
        if (got > 0) {
            next += got;
            count -= static_cast<size_t>(got);
        }
    }
    return true;
}

template <class Value>
std::string textOr(bool known, const Value& text) {
    return known ? jsonText(text) : "null";
}

std::string numberOr(bool known, uint64_t number) {
    return known ? std::to_string(number) : "null";
}

std::string secondsText(double seconds) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.6f", seconds);
    return text.data();
}

}  // namespace

Outcome skipped(Skip reason) {
    Outcome outcome;
    outcome.fate = Fate::Skipped;
    outcome.skip = reason;
    return outcome;
}

Outcome failed(const Job& job, const Failure& failure) {
    Outcome outcome;
    outcome.fate = Fate::Failed;
    outcome.exitCode = failure.exitCode;
    const bool elsewhere = !failure.file.empty() && failure.file != job.input;
    outcome.error = (elsewhere ? failure.file + ": " : "") + failure.what + "; " + failure.remedy;
    outcome.said = lineOf(failure.file, failure.what, failure.remedy);
    return outcome;
}

std::string reportLine(const Job& job, Route route, const Outcome& outcome) {
    const bool written = outcome.fate == Fate::Written;
    const bool worked = outcome.fate != Fate::Skipped;
    const Exported& exported = outcome.exported;
    return std::string(kReportStart) + jsonText(job.input) +
           ", \"output\": " + textOr(!job.target.empty(), job.target) +
           ", \"status\": " + jsonText(kFates[static_cast<size_t>(outcome.fate)]) +
           ", \"reason\": " + textOr(!worked, kReasons[static_cast<size_t>(outcome.skip)]) +
           ", \"error\": " + textOr(outcome.fate == Fate::Failed, outcome.error) +
           ", \"bits\": " + numberOr(written, exported.bits) +
           ", \"width\": " + numberOr(written, exported.size.width) +
           ", \"height\": " + numberOr(written, exported.size.height) +
           ", \"bytes\": " + numberOr(written, exported.bytes) +
           ", \"seconds\": " + (worked ? secondsText(outcome.seconds) : "null") +
           ", \"route\": " + textOr(worked, kRoutes[static_cast<size_t>(route)]) + "}\n";
}

int send(int pipe, const Outcome& outcome) {
    const Head head{outcome.fate,     outcome.skip,         outcome.exported,   outcome.seconds,
                    outcome.exitCode, outcome.error.size(), outcome.said.size()};
    std::string message(reinterpret_cast<const char*>(&head), sizeof head);
    message += outcome.error + outcome.said;
    return writeAll(pipe, message.data(), message.size());
}

bool receive(int pipe, Outcome& outcome) {
    Head head{};
    if (!readWhole(pipe, &head, sizeof head)) return false;
    outcome.fate = head.fate;
    outcome.skip = head.skip;
    outcome.exported = head.exported;
    outcome.seconds = head.seconds;
    outcome.exitCode = head.exitCode;
    outcome.error.resize(inMemory(head.errorBytes));
    outcome.said.resize(inMemory(head.saidBytes));
    return readWhole(pipe, outcome.error.data(), outcome.error.size()) &&
           readWhole(pipe, outcome.said.data(), outcome.said.size());
}

}  // namespace tool
