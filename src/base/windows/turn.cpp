#include "base/turn.h"

#include <windows.h>

namespace tivar {
namespace {

// Made at the first turn, whenever that is, and never destroyed: hosts call in from both ends of
// main. The thread that is inside may enter again.
INIT_ONCE g_once = INIT_ONCE_STATIC_INIT;
CRITICAL_SECTION g_turns;

BOOL CALLBACK makeTurns(INIT_ONCE*, void*, void**) {
    InitializeCriticalSection(&g_turns);
    return TRUE;
}

}  // namespace

Turn::Turn() {
    InitOnceExecuteOnce(&g_once, makeTurns, nullptr, nullptr);
    EnterCriticalSection(&g_turns);
}

Turn::~Turn() {
    LeaveCriticalSection(&g_turns);
}

}  // namespace tivar
