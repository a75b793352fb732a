#include "process/interrupt.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "process/failure.h"

namespace tool {
namespace {

constexpr char kInterruptedLine[] = "tivar: interrupted; nothing half-written is left\n";
constexpr char kDeferredLine[] = "\ntivar: cancelling (once more to stop at once)\n";

enum class Reaction : sig_atomic_t { ExitAtOnce, Defer, PassOn };

// Read and written by the handler, so nothing but plain data.
volatile sig_atomic_t g_reaction = static_cast<sig_atomic_t>(Reaction::ExitAtOnce);
volatile sig_atomic_t g_firstSignal = 0;
volatile sig_atomic_t g_isWorker = 0;
std::array<char, PATH_MAX> g_unfinishedFile{};
std::array<volatile pid_t, 256> g_workers{};

template <std::size_t size>
void writeLine(const char (&line)[size]) {
    const ssize_t ignored = ::write(STDERR_FILENO, line, size - 1);
    (void)ignored;
}

// A signal of the terminal reaches the whole group by itself, one from a process only its target.
void passOn(int signal, const siginfo_t* info) {
    if (info->si_code > 0) return;
    for (const pid_t worker : g_workers) {
        if (worker != 0) ::kill(worker, signal);
    }
}

void onSignal(int signal, siginfo_t* info, void*) {
    const int savedError = errno;
    const auto now = static_cast<Reaction>(static_cast<sig_atomic_t>(g_reaction));
    const bool first = g_firstSignal == 0;
    if (now == Reaction::PassOn) {
        passOn(signal, info);
    } else if (now == Reaction::ExitAtOnce || !first) {
        if (g_unfinishedFile[0] != '\0') ::unlink(g_unfinishedFile.data());
        if (g_isWorker == 0) writeLine(kInterruptedLine);
        ::_exit(kSignalBase + signal);
    } else if (g_isWorker == 0 && ::isatty(STDERR_FILENO) != 0) {
        writeLine(kDeferredLine);
    }
    if (first) g_firstSignal = signal;
    errno = savedError;
}

sigset_t ourSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, signal);
    return set;
}

void replaceWorker(pid_t old, pid_t now) {
    for (volatile pid_t& slot : g_workers) {
        if (slot == old) {
            slot = now;
            return;
        }
    }
}

void becomeWorker(pid_t parent) {
    g_isWorker = 1;
    g_reaction = static_cast<sig_atomic_t>(Reaction::ExitAtOnce);
    for (volatile pid_t& slot : g_workers) slot = 0;
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(kSignalBase + SIGTERM);
}

}  // namespace

void installSignalHandlers() {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
    ::signal(SIGCHLD, SIG_DFL);  // ignored, it would take the workers' results away
    struct sigaction ours {};
    ours.sa_sigaction = onSignal;
    ours.sa_flags = SA_SIGINFO | SA_RESTART;
    ours.sa_mask = ourSignals();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) ::sigaction(signal, &ours, nullptr);
    }
}

int pendingSignal() {
    return g_firstSignal;
}

void throwIfInterrupted() {
    if (g_firstSignal != 0) throw Interrupted{g_firstSignal};
}

void reportInterruption() {
    if (g_isWorker == 0) writeLine(kInterruptedLine);
}

DeferSignals::DeferSignals() {
    g_reaction = static_cast<sig_atomic_t>(Reaction::Defer);
}
DeferSignals::~DeferSignals() {
    g_reaction = static_cast<sig_atomic_t>(Reaction::ExitAtOnce);
}

BlockSignals::BlockSignals() {
    const sigset_t set = ourSignals();
    ::sigprocmask(SIG_BLOCK, &set, &before);
}
BlockSignals::~BlockSignals() {
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
}

void removeOnSignal(const std::string& path) {
    const BlockSignals blocked;
    g_unfinishedFile.fill('\0');
    if (path.size() < g_unfinishedFile.size()) {
        std::memcpy(g_unfinishedFile.data(), path.data(), path.size());
    }
}

pid_t forkWorker() {
    const BlockSignals blocked;
    const pid_t parent = ::getpid();
    const pid_t worker = ::fork();
    if (worker == 0) {
        becomeWorker(parent);
    } else if (worker > 0) {
        replaceWorker(0, worker);
        g_reaction = static_cast<sig_atomic_t>(Reaction::PassOn);
    }
    return worker;
}

int awaitWorker(pid_t worker) {
    int status = 0;
    while (::waitpid(worker, &status, 0) < 0 && errno == EINTR) {
    }
    const BlockSignals blocked;
    replaceWorker(worker, 0);
    return status;
}

}  // namespace tool
