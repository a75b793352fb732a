#include "export/jobs.h"

#include <unistd.h>

#include <chrono>
#include <map>
#include <utility>

#include "export/report_file.h"
#include "export/run_job.h"
#include "export/tally.h"
#include "export/workers.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/interrupt.h"
#include "process/output.h"
#include "process/part_file.h"

namespace tool {
namespace {

using Clock = std::chrono::steady_clock;

// Whether the inputs are one that the user named, which has the terminal for itself.
bool isAlone(const std::vector<Task>& tasks, const JobsRequest& request) {
    return tasks.size() == 1 && request.inputs.size() == 1 && !takesMany(request);
}

// Since it was planned, others may have written the target.
Outcome exportOne(const Library& library, const Job& job, const ExportRequest& request,
                  bool onlyOne) {
    const Clock::time_point begin = Clock::now();
    Outcome outcome;
    try {
        if (std::optional<Outcome> settled = settledBy(job)) return *std::move(settled);
        outcome.exported = runJob(library, job, request, onlyOne);
    } catch (const Interrupted&) {
        throw;
    } catch (...) {
        outcome = failed(job, currentFailure(nameOfInput(job.input)));
    }
    outcome.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return outcome;
}

// In a worker, whose lines wait for their turn.
Outcome exportSilently(const Library& library, const Job& job, const ExportRequest& request) {
    std::string lines;
    collectReports(&lines);
    Outcome outcome = exportOne(library, job, request, false);
    collectReports(nullptr);
    outcome.said = lines + outcome.said;
    return outcome;
}

// Tells of the tasks in their order, whichever is done first.
struct Teller {
    const JobsRequest& request;
    const std::vector<Task>& tasks;
    ReportFile& report;
    Tally tally{};
    size_t next = 0;
    std::map<size_t, Outcome> waiting{};
    bool complete = true;  // the report has all lines

    void tell(size_t task, const Outcome& outcome) {
        showLines(tally, outcome.said);
        try {
            addLine(report, reportLine(tasks[task].job, request.each.route, outcome));
        } catch (const Failure& failure) {
            complete = false;
            showLines(tally, lineOf(failure.file, failure.what, failure.remedy));
        }
    }

    // What is at hand, up to the first task that is not done.
    void tellNext() {
        for (; next != tasks.size(); ++next) {
            const auto done = waiting.find(next);
            if (done != waiting.end()) {
                tell(next, done->second);
                waiting.erase(done);
            } else if (tasks[next].settled) {
                tell(next, *tasks[next].settled);
            } else {
                return;
            }
        }
    }

    // What is at hand, also behind tasks that will not be done.
    void tellRest() {
        for (tellNext(); next != tasks.size(); tellNext()) ++next;
    }
};

void runAll(const Library& library, Teller& teller) {
    const std::vector<Task>& tasks = teller.tasks;
    const ExportRequest& each = teller.request.each;
    std::vector<size_t> left;
    std::vector<std::string> targets;
    for (size_t i = 0; i < tasks.size(); ++i) {
        if (tasks[i].settled) continue;
        left.push_back(i);
        targets.push_back(followLinks(tasks[i].job.target));
    }
    teller.tally.wanted = left.size();
    removeLeftovers(targets);
    teller.tellNext();
    size_t done = 0;
    showCount(teller.tally, done);
    WorkOrder order;
    order.atOnce = teller.request.atOnce;
    order.work = [&](size_t task) { return exportSilently(library, tasks[task].job, each); };
    order.failed = [&](size_t task, const std::string& what, const std::string& remedy) {
        return failed(tasks[task].job, {tasks[task].job.input, what, remedy});
    };
    order.tell = [&](size_t task, Outcome outcome) {
        add(teller.tally, outcome);
        teller.waiting.emplace(task, std::move(outcome));
        teller.tellNext();
        showCount(teller.tally, ++done);
    };
    runInWorkers(left, order);
    teller.tellRest();
}

// One that is settled, or done in this process.
int runAlone(const Library& library, Teller& teller) {
    const Task& task = teller.tasks.front();
    const Outcome outcome =
        task.settled ? *task.settled : exportOne(library, task.job, teller.request.each, true);
    if (!task.settled) add(teller.tally, outcome);
    teller.tell(0, outcome);
    return outcome.exitCode;
}

}  // namespace

// With the options for many files the summary is a part of the answer; without them it is for the
// terminal.
int runTasks(const Library& library, const std::vector<Task>& tasks, const JobsRequest& request) {
    ReportFile report = openReport(request.report);
    Teller teller{request, tasks, report};
    Tally& tally = teller.tally;
    for (const Task& task : tasks) {
        if (task.settled) add(tally, *task.settled);
    }
    const bool alone = isAlone(tasks, request);
    const bool terminal = !request.each.quiet && ::isatty(STDERR_FILENO) != 0;
    tally.visible = terminal && !alone;
    int result = kDone;
    if (alone) {
        result = runAlone(library, teller);
    } else {
        runAll(library, teller);
        if (tally.failed != 0) result = kExportFailed;
    }
    const bool many = takesMany(request) || request.existing == Existing::KeepNewer;
    if (tally.visible || (many && !request.each.quiet)) {
        showLines(tally, "tivar: " + summaryOf(tally) + "\n");
    }
    throwIfInterrupted();
    return teller.complete ? result : kExportFailed;
}

}  // namespace tool
