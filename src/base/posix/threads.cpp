#include "base/threads.h"

#include <pthread.h>
#include <signal.h>

namespace tivar {
namespace {

static_assert(sizeof(pthread_t) <= sizeof(uintptr_t));

void* startThread(void* argument) {
    const auto* thread = static_cast<const Thread*>(argument);
    thread->run(thread->argument);
    return nullptr;
}

}  // namespace

int startThreads(Thread* threads, int count) {
    // A new thread has the signals blocked that its maker has.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return 0;
    int started = 0;
    while (started < count) {
        pthread_t thread = {};
        if (pthread_create(&thread, nullptr, startThread, &threads[started]) != 0) break;
        threads[started].handle = uintptr_t(thread);
        ++started;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

void joinThread(const Thread& thread) {
    pthread_join(pthread_t(thread.handle), nullptr);
}

}  // namespace tivar
