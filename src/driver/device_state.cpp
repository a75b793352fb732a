// State of the raster device driver.
#include <tivar/driver.h>

MemHandle hEMData = 0;
EMData* lpEMData = nullptr;
