#include "export/workers.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "process/failure.h"
#include "process/interrupt.h"
#include "process/system.h"

namespace tool {
namespace {

struct Worker {
    pid_t process = -1;
    Descriptor channel;
    size_t task{};
};

// Told whole or not at all, whatever signal comes.
void answer(int channel, const Outcome& outcome) {
    const BlockSignals blocked;
    if (send(channel, outcome) != 0) std::_Exit(kExportFailed);
}

[[noreturn]] void serve(int channel, const WorkOrder& order) {
    size_t task = 0;
    while (::read(channel, &task, sizeof task) == sizeof task) {
        try {
            answer(channel, order.work(task));
        } catch (const Interrupted& interrupted) {
            std::_Exit(kSignalBase + interrupted.signal);
        }
        if (pendingSignal() != 0) std::_Exit(kSignalBase + pendingSignal());
    }
    std::_Exit(kDone);
}

// The same number of bytes in one piece, which a channel has always room for.
void give(Worker& worker, size_t task) {
    worker.task = task;
    (void)writeAll(worker.channel.number, &task, sizeof task);  // if it is gone, that will be seen
}

// What the worker's end means for its task; "" = the user's signal ended it.
std::string describeEnd(int status) {
    if (pendingSignal() != 0) return "";
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
    const std::string how =
        code > kSignalBase ? ::strsignal(code - kSignalBase) : "exit code " + std::to_string(code);
    return "the export was ended (" + how + ")";
}

struct Pool {
    const WorkOrder& order;
    const std::vector<size_t>& tasks;
    size_t next = 0;
    std::vector<Worker> workers{};

    bool hasWork() const { return next != tasks.size() && pendingSignal() == 0; }

    // No worker holds another one's channel open, so that each sees the end of its own.
    Worker hire() {
        Worker worker;
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return worker;
        worker.channel = Descriptor(ends[0]);
        const Descriptor theirs(ends[1]);
        worker.process = forkWorker();
        if (worker.process == 0) {
            ::close(ends[0]);
            for (const Worker& other : workers) ::close(other.channel.number);
            serve(ends[1], order);
        }
        return worker;
    }

    // With fewer workers than asked for where there is no room for more.
    void hireAll() {
        while (workers.size() < order.atOnce && hasWork()) {
            Worker worker = hire();
            if (worker.process < 0 && !workers.empty()) return;
            const size_t task = tasks[next++];
            if (worker.process < 0) {
                order.tell(task, order.failed(task, std::strerror(errno), "try a smaller -j"));
            } else {
                give(worker, task);
                workers.push_back(std::move(worker));
            }
        }
    }

    // Whether the worker goes on. One that failed is followed by a fresh one, since nobody knows
    // what the failure has left behind.
    bool hear(Worker& worker) {
        Outcome outcome;
        const bool told = receive(worker.channel.number, outcome);
        const bool well = told && outcome.fate != Fate::Failed;
        if (told) order.tell(worker.task, std::move(outcome));
        if (well && hasWork()) {
            give(worker, tasks[next++]);
            return true;
        }
        worker.channel = Descriptor();
        const int status = awaitWorker(worker.process);
        const std::string end = told ? "" : describeEnd(status);
        if (!end.empty())
            order.tell(worker.task, order.failed(worker.task, end, "try it on its own"));
        return false;
    }

    void hearAll() {
        std::vector<pollfd> channels;
        for (const Worker& worker : workers) channels.push_back({worker.channel.number, POLLIN, 0});
        if (::poll(channels.data(), channels.size(), -1) < 0) return;
        std::vector<Worker> going;
        for (size_t i = 0; i < workers.size(); ++i) {
            if (channels[i].revents == 0 || hear(workers[i]))
                going.push_back(std::move(workers[i]));
        }
        workers = std::move(going);
    }
};

}  // namespace

void runInWorkers(const std::vector<size_t>& tasks, const WorkOrder& order) {
    Pool pool{order, tasks};
    while (true) {
        pool.hireAll();
        if (pool.workers.empty()) return;
        pool.hearAll();
    }
}

}  // namespace tool
