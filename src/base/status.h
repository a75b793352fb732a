// The call-back through which progress reaches the host and a cancel comes back.
#pragma once

#include <tivar/types.h>

namespace tivar {

// Calls procedure with the seven arguments; a non-zero answer to a progress report (a2 and a3 both
// 0) is followed by the host's cancel question, whose answer is the result. 0 without a procedure.
int32_t CallGetSet_Status(StatusProc procedure, intptr_t a1, int32_t a2, int32_t a3, int32_t a4,
                          int32_t a5, int32_t a6, intptr_t a7);

}  // namespace tivar
