#include "base/status.h"

namespace tivar {

int32_t CallGetSet_Status(StatusProc procedure, intptr_t a1, int32_t a2, int32_t a3, int32_t a4,
                          int32_t a5, int32_t a6, intptr_t a7) {
    constexpr int32_t kAsk = 2;
    constexpr int32_t kCancel = 61;
    if (procedure == nullptr) return 0;
    const int32_t answer = procedure(a1, a2, a3, a4, a5, a6, a7);
    if (answer == 0 || a2 != 0 || a3 != 0) return answer;
    constexpr int kAnswerWords = 10;
    int32_t block[kAnswerWords] = {};
    return procedure(a1, kAsk, kCancel, 0, 0, 0, reinterpret_cast<intptr_t>(block));
}

}  // namespace tivar
