// The library's raster driver, initialised for one file.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "export/driver_blocks.h"
#include "export/status.h"
#include "settings/settings.h"

namespace tool {

struct DriverSession {
    const Library& library;
    decltype(&::RASTER_dd_entry32) entry{};
    std::array<int32_t, 60> capabilities{};

    // fileName "" = output to memory. The settings, the status block and the name live longer.
    DriverSession(const Settings& settings, const std::string& fileName, StatusBlock& status);
    // Closes what is still open, frees the memory that nobody took and terminates the driver.
    ~DriverSession();
    DriverSession(const DriverSession&) = delete;
    DriverSession& operator=(const DriverSession&) = delete;
};

// The code of the error that the operation met, or 0.
int32_t dispatch(const DriverSession& session, DriverBlock block);

// The same for operations that must succeed; what completes "the driver could not ...".
void perform(const DriverSession& session, const DriverBlock& block, const char* what);
[[noreturn]] void failDriver(const char* what, int32_t code);

// The block of output to memory, once the device is closed.
Block takeMemory(const DriverSession& session);

}  // namespace tool
