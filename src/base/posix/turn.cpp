#include "base/turn.h"

#include <pthread.h>

namespace tivar {
namespace {

// Made at the first turn, whenever that is, and never destroyed: hosts call in from both ends of
// main. Not every C library has an initialiser for mutexes that a thread may lock again.
pthread_once_t g_once = PTHREAD_ONCE_INIT;
pthread_mutex_t g_turns;

void makeTurns() {
    pthread_mutexattr_t recursive;
    pthread_mutexattr_init(&recursive);
    pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&g_turns, &recursive);
    pthread_mutexattr_destroy(&recursive);
}

}  // namespace

Turn::Turn() {
    pthread_once(&g_once, makeTurns);
    pthread_mutex_lock(&g_turns);
}

Turn::~Turn() {
    pthread_mutex_unlock(&g_turns);
}

}  // namespace tivar
