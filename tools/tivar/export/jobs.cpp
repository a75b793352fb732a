#include "export/jobs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

#include "process/failure.h"
#include "process/input_file.h"
#include "process/interrupt.h"
#include "process/lower_case.h"
#include "process/output.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

bool isDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

std::string targetFor(const std::string& input, const JobsRequest& request) {
    const bool intoDirectory = isDirectory(request.out);
    if (!request.out.empty() && !intoDirectory) return request.out;
    if (input == "-") failUsage("standard input has no name", "name the output file with -o");
    const fs::path directory =
        intoDirectory ? fs::path(request.out) : fs::path(input).parent_path();
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

// A second name that is one of a BMP file is rather the target: as a picture to read it would be
// written over itself.
void refuseForgottenOption(const JobsRequest& request) {
    if (request.inputs.size() != 2 || !request.out.empty()) return;
    const std::string& last = request.inputs.back();
    const std::string suffix = inLowerCase(fs::path(last).extension().string());
    if (suffix == ".bmp" || suffix == ".dib") {
        failUsage(last + " would be a second picture to read", "did you mean -o " + last + "?");
    }
}

void checkUsage(const JobsRequest& request) {
    refuseForgottenOption(request);
    const bool several = request.inputs.size() > 1;
    if (several && !request.out.empty() && !isDirectory(request.out)) {
        failUsage("-o " + request.out + " is no directory for several inputs",
                  "name an existing directory");
    }
    refuseTerminal(request.out);
}

int runOne(const Library& library, const Job& job, const JobsRequest& request, bool onlyOne) {
    return reporting(nameOfInput(job.input), [&] {
        runJob(library, job, request.each, onlyOne);
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

int runWorkers(const Library& library, const std::vector<Job>& jobs, const JobsRequest& request) {
    std::map<pid_t, const Job*> running;
    auto next = jobs.begin();
    int result = kDone;
    while (true) {
        while (next != jobs.end() && running.size() < request.atOnce && pendingSignal() == 0) {
            const Job& job = *next++;
            const pid_t worker = forkWorker();
            if (worker == 0) std::_Exit(runOne(library, job, request, false));
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

std::vector<Job> planJobs(const JobsRequest& request) {
    checkUsage(request);
    std::vector<Job> jobs;
    for (const std::string& input : request.inputs) {
        jobs.push_back({input, targetFor(input, request)});
    }
    refuseSameTargets(jobs);
    return jobs;
}

int runJobs(const Library& library, const std::vector<Job>& jobs, const JobsRequest& request) {
    if (jobs.size() == 1) return runOne(library, jobs.front(), request, true);
    const int result = runWorkers(library, jobs, request);
    throwIfInterrupted();
    return result;
}

}  // namespace tool
