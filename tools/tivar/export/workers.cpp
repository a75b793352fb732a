#include "export/workers.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "process/failure.h"
#include "process/interrupt.h"
#include "process/system.h"

namespace tool {
namespace {

struct Worker {
    pid_t process = -1;
    Descriptor channel;
    std::deque<size_t> tasks{};  // the first is being done
};

// Told whole or not at all, whatever signal comes.
void answer(int channel, const Outcome& outcome) {
    const BlockSignals blocked;
    if (send(channel, outcome) != 0) std::_Exit(kExportFailed);
}

[[noreturn]] void serve(int channel, const WorkOrder& order) {
    size_t task = 0;
    while (::read(channel, &task, sizeof task) == sizeof task) {
        Fate fate{};
        try {
            const Outcome outcome = order.work(task);
            fate = outcome.fate;
            answer(channel, outcome);
        } catch (const Interrupted& interrupted) {
            std::_Exit(kSignalBase + interrupted.signal);
        }
        if (pendingSignal() != 0) std::_Exit(kSignalBase + pendingSignal());
        // Nobody knows what a failure has left behind.
        if (fate == Fate::Failed) break;
    }
    std::_Exit(kDone);
}

// The same number of bytes in one piece, which a channel has always room for.
void give(Worker& worker, size_t task) {
    worker.tasks.push_back(task);
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
    std::deque<size_t> tasks;
    std::vector<Worker> workers{};

    bool hasWork() const { return !tasks.empty() && pendingSignal() == 0; }

    size_t next() {
        const size_t task = tasks.front();
        tasks.pop_front();
        return task;
    }

    // The task that it is going to do and, as long as there are plenty, another one to go on with
    // while this process hears of the first: a worker does not wait.
    void feed(Worker& worker) {
        constexpr size_t kPlenty = 8;
        if (hasWork() && worker.tasks.empty()) give(worker, next());
        const bool plenty = tasks.size() >= kPlenty * order.atOnce;
        if (hasWork() && plenty && worker.tasks.size() < 2) give(worker, next());
    }

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
            if (worker.process < 0) {
                const size_t task = next();
                order.tell(task, order.failed(task, std::strerror(errno), "try a smaller -j"));
            } else {
                feed(worker);
                workers.push_back(std::move(worker));
            }
        }
    }

    // Whether the worker goes on. One that failed is followed by a fresh one, which does what it
    // has left.
    bool hear(Worker& worker) {
        Outcome outcome;
        const size_t task = worker.tasks.front();
        worker.tasks.pop_front();
        const bool told = receive(worker.channel.number, outcome);
        const bool well = told && outcome.fate != Fate::Failed;
        if (well) feed(worker);
        if (told) order.tell(task, std::move(outcome));
        if (well && !worker.tasks.empty()) return true;
        worker.channel = Descriptor();
        tasks.insert(tasks.begin(), worker.tasks.begin(), worker.tasks.end());
        const int status = awaitWorker(worker.process);
        const std::string end = told ? "" : describeEnd(status);
        if (!end.empty()) order.tell(task, order.failed(task, end, "try it on its own"));
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
    Pool pool{order, {tasks.begin(), tasks.end()}};
    while (true) {
        pool.hireAll();
        if (pool.workers.empty()) return;
        pool.hearAll();
    }
}

}  // namespace tool
