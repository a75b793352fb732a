// Ctrl-C comes on a thread of its own.
#include "process/interrupt.h"

#include <windows.h>

#include <atomic>
#include <string>

#include "process/failure.h"
#include "process/system.h"
#include "process/windows/names.h"

namespace tool {
namespace {

constexpr char kInterruptedLine[] = "tivar: interrupted; nothing half-written is left\n";
constexpr char kDeferredLine[] = "\ntivar: cancelling (once more to stop at once)\n";

std::atomic<bool> g_defers = false;
std::atomic<int> g_firstSignal = 0;
std::wstring g_unfinishedFile;

// Held by whoever changes what the handler reads; the thread that has it may take it again.
CRITICAL_SECTION g_turn;

template <size_t size>
void writeLine(const char (&line)[size]) {
    (void)writeAll(STDERR_FILENO, line, size - 1);
}

BOOL WINAPI onControl(DWORD event) {
    const int signal = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT ? SIGINT : SIGTERM;
    const bool first = g_firstSignal == 0;
    // Who closes the window or logs off waits for nobody.
    if (signal == SIGINT && g_defers && first) {
        g_firstSignal = signal;
        if (::isatty(STDERR_FILENO) != 0) writeLine(kDeferredLine);
        return TRUE;
    }
    EnterCriticalSection(&g_turn);
    if (!g_unfinishedFile.empty()) DeleteFileW(g_unfinishedFile.c_str());
    writeLine(kInterruptedLine);
    ExitProcess(static_cast<UINT>(kSignalBase + signal));
}

}  // namespace

void installSignalHandlers() {
    InitializeCriticalSection(&g_turn);
    SetConsoleCtrlHandler(onControl, TRUE);
}

int pendingSignal() {
    return g_firstSignal;
}

void throwIfInterrupted() {
    if (g_firstSignal != 0) throw Interrupted{g_firstSignal};
}

void reportInterruption() {
    writeLine(kInterruptedLine);
}

DeferSignals::DeferSignals() {
    g_defers = true;
}
DeferSignals::~DeferSignals() {
    g_defers = false;
}

BlockSignals::BlockSignals() {
    EnterCriticalSection(&g_turn);
}
BlockSignals::~BlockSignals() {
    LeaveCriticalSection(&g_turn);
}

void removeOnSignal(const std::string& path) {
    const BlockSignals blocked;
    g_unfinishedFile = path.empty() ? L"" : wideFileName(path.c_str());
}

}  // namespace tool
