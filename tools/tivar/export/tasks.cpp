#include "export/tasks.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>
#include <unordered_map>

#include "export/inputs.h"
#include "export/read_picture.h"
#include "process/failure.h"
#include "process/lower_case.h"
#include "process/output.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

bool isDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

// A second name that is one of a BMP file is rather the target: as a picture to read it would be
// written over itself.
void refuseForgottenOption(const JobsRequest& request) {
    if (request.inputs.size() != 2 || !request.out.empty() || takesMany(request)) return;
    const std::string& last = request.inputs.back();
    if (isDirectory(last)) {
        failUsage(last + " is a directory, which would be read",
                  "did you mean -o " + last + "? To read it, add -r");
    }
    const std::string suffix = inLowerCase(fs::path(last).extension().string());
    if (suffix == ".bmp" || suffix == ".dib") {
        failUsage(last + " would be a second picture to read", "did you mean -o " + last + "?");
    }
}

// Whether -o names a directory. Of many files it is made where it is missing.
bool goesIntoDirectory(const JobsRequest& request) {
    if (isDirectory(request.out)) return true;
    std::error_code error;
    return takesMany(request) && !request.out.empty() && request.out != "-" &&
           !fs::exists(request.out, error);
}

void checkUsage(const JobsRequest& request) {
    refuseForgottenOption(request);
    const bool several = request.inputs.size() > 1 || takesMany(request);
    if (several && !request.out.empty() && !goesIntoDirectory(request)) {
        failUsage("-o " + request.out + " is no directory for several inputs",
                  "name an existing directory");
    }
    refuseTerminal(request.out);
}

fs::path plainPath(const std::string& path) {
    std::error_code error;
    return fs::absolute(path, error).lexically_normal();
}

// The input's folder within the output directory; none = it is outside of the base.
std::optional<fs::path> folderOf(const Input& input, const JobsRequest& request) {
    if (request.base.empty()) return input.folder;
    const fs::path within = plainPath(input.name).lexically_relative(plainPath(request.base));
    if (within.empty() || *within.begin() == "..") return {};
    return within.parent_path();
}

Existing ruleFor(const JobsRequest& request, bool chosenName) {
    return request.existing.value_or(chosenName ? Existing::Replace : Existing::Refuse);
}

// Whatever is no suffix of pictures belongs to the name: scan.1 and scan.2 are two pictures.
fs::path bmpName(const std::string& input) {
    const fs::path name = fs::path(input).filename();
    return hasPictureSuffix(input) ? fs::path(name).replace_extension(".bmp")
                                   : fs::path(name.string() + ".bmp");
}

Task taskOf(Input&& input, const JobsRequest& request) {
    Task task{{input.name, ""}, std::move(input.settled)};
    if (task.settled) return task;
    Job& job = task.job;
    const bool intoDirectory = goesIntoDirectory(request);
    if (!request.out.empty() && !intoDirectory) {
        job.target = request.out;
        job.existing = ruleFor(request, true);
        return task;
    }
    if (job.input == "-") failUsage("standard input has no name", "name the output file with -o");
    const std::optional<fs::path> folder = folderOf(input, request);
    if (!folder) {
        const Failure failure{job.input, "lies outside of " + request.base,
                              "name a --base that it lies in"};
        task.settled = failed(job, failure);
        return task;
    }
    const fs::path directory =
        intoDirectory ? fs::path(request.out) / *folder : fs::path(job.input).parent_path();
    job.target = (directory / bmpName(job.input)).string();
    job.existing = ruleFor(request, false);
    job.makesFolders = intoDirectory;
    return task;
}

// The same text for every way to name the same file. Folders are many files' each.
struct Identities {
    std::unordered_map<std::string, fs::path> folders;

    std::string of(const std::string& path) {
        const fs::path absolute = plainPath(followLinks(path));
        const std::string folder = absolute.parent_path().string();
        const auto [known, fresh] = folders.try_emplace(folder);
        std::error_code error;
        if (fresh) known->second = fs::weakly_canonical(folder, error);
        return (known->second / absolute.filename()).string();
    }
};

void refuse(Task& task, const Task& other) {
    const Failure failure{task.job.input,
                          "would write " + task.job.target + ", as " + other.job.input + " would",
                          "export them into different directories"};
    task.settled = failed(task.job, failure);
}

// An input that is named twice is one. A BMP file that a folder has beside other pictures is not
// made again where it lies.
struct Sieve {
    Identities identities{};
    std::string report{};  // the identity of the report's file
    std::vector<Task> kept{};
    std::unordered_map<std::string, size_t> writers{};

    void add(Task&& task, bool found) {
        if (task.settled || isItsOwn(task, found)) kept.push_back(std::move(task));
    }

    // Whether the task is one of its own; it may be settled by now.
    bool isItsOwn(Task& task, bool found) {
        const std::string target = identities.of(task.job.target);
        if (found && target == identities.of(task.job.input)) {
            task.settled = skipped(Skip::InPlace);
            return true;
        }
        if (target == report) {
            failUsage(task.job.target + " is the picture and the report", "name another --report");
        }
        const auto [writer, fresh] = writers.try_emplace(target, kept.size());
        if (fresh) return true;
        Task& other = kept[writer->second];
        if (plainPath(other.job.input) == plainPath(task.job.input)) return false;
        if (!other.settled) refuse(other, task);
        refuse(task, other);
        return true;
    }

    // A link can make the file of one input another input. That its own is none, the export says.
    void spareInputs() {
        std::vector<const Task*> readers;
        for (const Task& task : kept) {
            if (!task.settled) readers.push_back(&task);
        }
        for (const Task* reader : readers) {
            const auto writer = writers.find(identities.of(reader->job.input));
            if (writer == writers.end()) continue;
            Task& task = kept[writer->second];
            if (task.settled || &task == reader) continue;
            const Failure failure{task.job.input, "would be written over " + reader->job.input,
                                  "name another directory with -o"};
            task.settled = failed(task.job, failure);
        }
    }
};

bool isNewer(const struct stat& file, const struct stat& other) {
    if (file.st_mtim.tv_sec != other.st_mtim.tv_sec) {
        return file.st_mtim.tv_sec > other.st_mtim.tv_sec;
    }
    return file.st_mtim.tv_nsec > other.st_mtim.tv_nsec;
}

}  // namespace

bool takesMany(const JobsRequest& request) {
    return request.recursive || !request.filesFrom.empty() || !request.base.empty();
}

std::vector<Task> planTasks(const JobsRequest& request) {
    checkUsage(request);
    Sieve sieve;
    if (!request.report.empty()) sieve.report = sieve.identities.of(request.report);
    for (Input& input : gatherInputs(request)) {
        const bool found = input.found;
        sieve.add(taskOf(std::move(input), request), found);
    }
    sieve.spareInputs();
    for (Task& task : sieve.kept) {
        if (!task.settled) task.settled = settledBy(task.job);
    }
    return std::move(sieve.kept);
}

// Where there is no input to compare with, or the file is the input, the export itself says so.
std::optional<Outcome> settledBy(const Job& job) {
    struct stat from {};
    struct stat to {};
    if (job.existing == Existing::Replace || job.target == "-") return {};
    if (::stat(job.target.c_str(), &to) != 0) return {};
    if (job.input != "-" && ::stat(job.input.c_str(), &from) != 0) return {};
    const bool itself = from.st_dev == to.st_dev && from.st_ino == to.st_ino;
    if (itself || S_ISDIR(to.st_mode)) return {};
    if (job.existing == Existing::Refuse) {
        const Failure failure{job.input, job.target + " is there already",
                              "replace it with --overwrite, or leave it with --skip-existing"};
        return failed(job, failure);
    }
    if (job.input == "-" || !S_ISREG(to.st_mode) || isNewer(from, to)) return {};
    return skipped(Skip::UpToDate);
}

}  // namespace tool
