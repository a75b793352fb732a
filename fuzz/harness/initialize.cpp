#include <cstdio>
#include <cstdlib>

#include "harness/target.h"

// Freed blocks need not be kept for long: no input takes long.
extern "C" const char* __asan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "quarantine_size_mb=16";
}

// The library tells of exhausted memory on standard output, which is an everyday event here, and
// follows some of the environment.
int LLVMFuzzerInitialize(int*, char***) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
    unsetenv("INIDIR");
    unsetenv("DISPLAYINFO");
    return 0;
}
