// The device state's life, and the host's cancel question on both routes.
#pragma once

#include <tivar/driver.h>

namespace tivar {

// Allocates EMData, zeroed, unless the host runs the common-block route. Kept: an older one is not
// freed, and the result is 0 whatever the allocation gave.
int32_t AllocGlobal();

// Frees EMData and an image that was begun and not ended. 0.
int32_t FreeGlobal();

int32_t LockGlobal(MemHandle handle);    // 0
int32_t UnlockGlobal(MemHandle handle);  // 0
int32_t AltFontsAvailable();             // 0

// Raster route: 0 or 300; 0; and 901 when the host cancels, else 0.
int32_t RASTER_initdvr(HostWord* block);
int32_t RASTER_termdvr();
int32_t RASTER_escape();

// Common-block route: 0, 21, 22 or 303; 300 or 303; and 901 when the host cancels, else 0.
int32_t initdvr(HostWord* block);
int32_t termdvr(HostWord ignored);
int32_t escape();

void* d_reset(void* block, int32_t n);  // nothing

// Points lpRaster at the device's settings, which writing follows.
void useDeviceSettings(const EMData& device);

}  // namespace tivar
