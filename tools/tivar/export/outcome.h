// What became of one input.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "export/request.h"
#include "export/run_job.h"
#include "process/failure.h"

namespace tool {

enum class Fate : uint8_t { Written, Failed, Skipped };

// Why an input is left alone.
enum class Skip : uint8_t { UpToDate, NoPicture, InPlace, LinkedFolder };
constexpr size_t kSkips = 4;

struct Outcome {
    Fate fate = Fate::Written;
    Skip skip{};           // of what was skipped
    Exported exported{};   // of what was written
    double seconds = 0;    // all in all
    int exitCode = kDone;  // for a command with this input alone
    std::string error;     // of what failed, what the line says about its file
    std::string said;      // lines for the user
};

Outcome skipped(Skip reason);
Outcome failed(const Job& job, const Failure& failure);

// What every line of a report begins with, by which a report is told from other files.
constexpr std::string_view kReportStart = "{\"input\": ";

// A line of JSON with its end.
std::string reportLine(const Job& job, Route route, const Outcome& outcome);

// Through a pipe between processes: 0 or an errno value; false when the other end is closed.
int send(int pipe, const Outcome& outcome);
bool receive(int pipe, Outcome& outcome);

}  // namespace tool
