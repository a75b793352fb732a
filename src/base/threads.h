// Threads that work for a call and end with it.
#pragma once

#include <cstdint>

namespace tivar {

// What a thread is known by; it must stay where it is until the thread has ended.
struct Thread {
    void (*run)(void* argument);
    void* argument;
    uintptr_t handle;
};

// Starts threads, up to count of them, and returns how many it could start. The process's signals
// go on being delivered to threads of its own.
int startThreads(Thread* threads, int count);

// Waits until the thread has ended.
void joinThread(const Thread& thread);

}  // namespace tivar
