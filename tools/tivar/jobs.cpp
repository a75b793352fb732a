#include "jobs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

#include "failure.h"
#include "input_file.h"
#include "interrupt.h"
#include "output.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

bool isDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

std::string targetFor(const std::string& input, const Options& options) {
    const bool intoDirectory = isDirectory(options.out);
    if (!options.out.empty() && !intoDirectory) return options.out;
    if (input == "-") failUsage("standard input has no name", "name the output file with -o");
    const fs::path directory =
        intoDirectory ? fs::path(options.out) : fs::path(input).parent_path();
    return (directory / fs::path(input).filename().replace_extension(".bmp")).string();
}

// The same text for every way to write the same file.
std::string identity(const std::string& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(followLinks(path), error).lexically_normal();
    return (fs::weakly_canonical(absolute.parent_path(), error) / absolute.filename()).string();
}

void refuseSameTargets(const std::vector<Job>& jobs) {
    std::map<std::string, std::string> writers;
    for (const Job& job : jobs) {
        const auto [place, fresh] = writers.try_emplace(identity(job.target), job.input);
        if (!fresh) {
            failUsage(place->second + " and " + job.input + " would both write " + job.target,
                      "export them into different directories");
        }
    }
}

void checkUsage(const Options& options) {
    const bool several = options.inputs.size() > 1;
    if (several && !options.out.empty() && !isDirectory(options.out)) {
        failUsage("-o " + options.out + " is no directory for several inputs",
                  "name an existing directory");
    }
    refuseTerminal(options.out);
}

int runOne(const Library& library, const Job& job, const Options& options, bool onlyOne) {
    return reporting(nameOfInput(job.input), [&] {
        runJob(library, job, options.request, onlyOne);
        return static_cast<int>(kDone);
    });
}

// Tells of workers that ended without a line of their own: the worker's exit code.
int exitCodeOf(int status, const std::string& input) {
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
    if (code > kSignalBase && pendingSignal() == 0) {
        report(input, std::string("the export was ended (") + ::strsignal(code - kSignalBase) + ")",
               "try it on its own");
    }
    return code;
}

int runWorkers(const Library& library, const std::vector<Job>& jobs, const Options& options) {
    std::map<pid_t, const Job*> running;
    auto next = jobs.begin();
    int result = kDone;
    while (true) {
        while (next != jobs.end() && running.size() < options.jobs && pendingSignal() == 0) {
            const Job& job = *next++;
            const pid_t worker = forkWorker();
            if (worker == 0) std::_Exit(runOne(library, job, options, false));
            if (worker > 0) {
                running[worker] = &job;
            } else {
                report(job.input, std::strerror(errno), "try a smaller -j");
                result = kExportFailed;
            }
        }
        if (running.empty()) return result;
        int status = 0;
        const auto ended = running.find(awaitWorker(status));
        if (ended == running.end()) continue;
        if (exitCodeOf(status, ended->second->input) != kDone) result = kExportFailed;
        running.erase(ended);
    }
}

}  // namespace

std::vector<Job> planJobs(const Options& options) {
    checkUsage(options);
    std::vector<Job> jobs;
    for (const std::string& input : options.inputs) {
        jobs.push_back({input, targetFor(input, options)});
    }
    refuseSameTargets(jobs);
    return jobs;
}

int runJobs(const Library& library, const std::vector<Job>& jobs, const Options& options) {
    if (jobs.size() == 1) return runOne(library, jobs.front(), options, true);
    const int result = runWorkers(library, jobs, options);
    throwIfInterrupted();
    return result;
}

}  // namespace tool
