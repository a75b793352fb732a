// The host's words with its status call-back.
#pragma once

#include <tivar/types.h>

namespace tivar {

// Calls the call-back with the words' context; 0 without words or call-back.
int32_t askHook(const HostWord* hook, int32_t a2, int32_t a3, int32_t a4, int32_t a5);

}  // namespace tivar
