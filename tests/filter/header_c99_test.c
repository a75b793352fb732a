/* The public header alone, as a C99 host sees it: what does not compile breaks the build. */
#include <tivar/tivar.h>

int tivar_header_is_c99(void);

int tivar_header_is_c99(void) {
    FilterHostRecord record = {0, 0, 0};
    SetupRecord setup;
    setup.colorFormat = COLOR_FORMAT_24BIT;
    fltLoadPointers(&record);
    return record.count == 9 && setup.colorFormat == 222 && OXLGetFilterVersion() == TIVAR_VERSION;
}
