// Ctrl-C and its relatives. A signal during an export is remembered and answered through the
// library's status call-back; at any other time, or the second time, the process ends at once. Both
// ways the unfinished file goes.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>

namespace tool {

// Catches SIGINT, SIGTERM and SIGHUP unless the caller of the program ignores them. Writing to a
// closed pipe or past the limit on file sizes becomes an ordinary error.
void installSignalHandlers();

// The first signal that came while signals were deferred; 0 = none.
int pendingSignal();
void throwIfInterrupted();

// The one line about it; silent in workers, whose parent says it.
void reportInterruption();

// While it lives, signals wait for pendingSignal().
struct DeferSignals {
    DeferSignals();
    ~DeferSignals();
    DeferSignals(const DeferSignals&) = delete;
    DeferSignals& operator=(const DeferSignals&) = delete;
};

// While it lives, signals are neither remembered nor answered.
struct BlockSignals {
    sigset_t before{};
    BlockSignals();
    ~BlockSignals();
    BlockSignals(const BlockSignals&) = delete;
    BlockSignals& operator=(const BlockSignals&) = delete;
};

// The file that goes when the process ends by a signal; "" = none.
void removeOnSignal(const std::string& path);

// Starts a worker that signals reach through this process too: its id, 0 in the worker, -1 with
// errno when there is no room for another process.
pid_t forkWorker();
// Waits for the worker to end: its wait status.
int awaitWorker(pid_t worker);

}  // namespace tool
