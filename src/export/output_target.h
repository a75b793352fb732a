// The three targets of an export, as both routes open them.
#pragma once

#include <tivar/types.h>

namespace tivar {

struct OutputTarget {
    const char* name;        // "" = output to memory
    HostWord documentProc;   // OxlDocProc, goes before the name; 0 = none
    HostWord documentValue;  // what the document procedure gets at open
    void** memory;           // receives and follows the address of the block of output to memory
};

enum TargetResult { kTargetOpened, kTargetNoMemory, kTargetNoStream };

// Opens the target for writing. The block of output to memory is the caller's, one zero byte until
// something is written; *memory is null unless there is one.
TargetResult openOutputTarget(const OutputTarget& target, OxlStream* stream);

}  // namespace tivar
