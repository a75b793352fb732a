// Driver entries. The driver is not built yet: no code is known, which leaves out untouched.
#include <tivar/driver.h>

int32_t RASTER_dd_entry(int16_t, void*, uint16_t) {
    return 0;
}

int32_t dd_entry(int16_t, void*, uint16_t) {
    return 0;
}
