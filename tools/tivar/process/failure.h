// How the tool fails: one exception, one line on standard error.
#pragma once

#include <string>

namespace tool {

enum ExitCode { kDone = 0, kExportFailed = 1, kWrongUsage = 2, kSignalBase = 128 };

struct Failure {
    std::string file;  // "" = the input being worked on
    std::string what;
    std::string remedy;
    int exitCode = kExportFailed;
};

// The user's signal stopped the export.
struct Interrupted {
    int signal;
};

[[noreturn]] void fail(const std::string& what, const std::string& remedy);
[[noreturn]] void failAt(const std::string& file, const std::string& what,
                         const std::string& remedy);
[[noreturn]] void failUsage(const std::string& what, const std::string& remedy);

// The same for an errno value, with advice that fits it.
[[noreturn]] void failErrno(const std::string& file, int error);

Failure errnoFailure(const std::string& file, int error);

// Fails when no file can be opened any more, which explains failures that do not tell why.
void failWithoutDescriptors();

// "tivar: file: what; remedy" with its line end, fit to be shown.
std::string lineOf(const std::string& file, const std::string& what, const std::string& remedy);

// The line in one write, so that lines of parallel processes never mix.
void report(const std::string& file, const std::string& what, const std::string& remedy);

// From now on report() adds its lines to this text; null = standard error has them again.
void collectReports(std::string* lines);

// The exception being handled, which is no Interrupted, as a Failure; file names the input of those
// that name no file of their own.
Failure currentFailure(const std::string& file);

// Runs action(); failures become their line, and the result is the exit code.
// file names the input of failures that name no file of their own.
template <class Action>
int reporting(const std::string& file, Action&& action);

// Turns the exception being handled into its line: the exit code.
int reportCurrentException(const std::string& file);

template <class Action>
int reporting(const std::string& file, Action&& action) {
    try {
        return action();
    } catch (...) {
        return reportCurrentException(file);
    }
}

}  // namespace tool
