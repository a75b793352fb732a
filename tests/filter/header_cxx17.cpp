// The public header alone, as a C++17 host sees it: what does not compile breaks the build.
#include <tivar/tivar.h>

#if __cplusplus != 201703L
#error "not compiled as C++17"
#endif

bool tivarHeaderIsCxx17();

bool tivarHeaderIsCxx17() {
    FilterHostRecord record{};
    SetupRecord setup{};
    setup.colorFormat = COLOR_FORMAT_24BIT;
    fltLoadPointers(&record);
    return record.count == 9 && setup.colorFormat == 222 && OXLGetFilterVersion() == TIVAR_VERSION;
}
