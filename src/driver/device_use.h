// The device state in use by a running operation. Call-backs of the host may end it or put another
// in its place, by initialising again or by hand.
#pragma once

#include <tivar/driver.h>

#include "base/memory.h"
#include "filter/settings_use.h"

namespace tivar {

struct DeviceUse {
    // hEMData counts where it leads to the state: hosts may put states of their own there.
    DeviceUse()
        : device(lpEMData),
          pin(device != nullptr && GlobalLock(hEMData) == device ? hEMData : 0),
          stream(device == nullptr ? 0 : device->outputStream) {}
    // Forgets what is gone. A state that another one took the place of ends with the operation:
    // nothing leads to it any more.
    ~DeviceUse();
    DeviceUse(const DeviceUse&) = delete;
    DeviceUse& operator=(const DeviceUse&) = delete;

    explicit operator bool() const { return device != nullptr; }
    EMData* operator->() const { return device; }
    EMData& operator*() const { return *device; }

    // Whether the operation may go on.
    bool current() const { return lpEMData == device && !pin.gone(); }

    EMData* device;
    Pinned<EMData> pin;
    Pinned<uint8_t> stream;
};

// Closes what a device state still has open, asking nobody, and frees what is the driver's of it.
void endDevice(EMData& device, MemHandle handle);

}  // namespace tivar
