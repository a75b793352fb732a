#include "base/turn.h"

#include <pthread.h>

namespace tivar {
namespace {

// Ready before any constructor runs, and never destroyed: hosts call in from both ends of main.
pthread_mutex_t g_turns = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

}  // namespace

Turn::Turn() {
    pthread_mutex_lock(&g_turns);
}

Turn::~Turn() {
    pthread_mutex_unlock(&g_turns);
}

}  // namespace tivar
