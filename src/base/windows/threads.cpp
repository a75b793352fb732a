#include "base/threads.h"

#include <process.h>
#include <windows.h>

namespace tivar {
namespace {

unsigned __stdcall startThread(void* argument) {
    const auto* thread = static_cast<const Thread*>(argument);
    thread->run(thread->argument);
    return 0;
}

}  // namespace

int startThreads(Thread* threads, int count) {
    int started = 0;
    while (started < count) {
        threads[started].handle =
            _beginthreadex(nullptr, 0, startThread, &threads[started], 0, nullptr);
        if (threads[started].handle == 0) break;
        ++started;
    }
    return started;
}

void joinThread(const Thread& thread) {
    const auto handle = reinterpret_cast<HANDLE>(thread.handle);
    WaitForSingleObject(handle, INFINITE);
    CloseHandle(handle);
}

}  // namespace tivar
