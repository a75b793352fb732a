// A settings record in use by a running call. Call-backs of the host may destroy the record or make
// another one current meanwhile.
#pragma once

#include <tivar/filter.h>

#include "base/memory.h"

namespace tivar {

struct SettingsUse {
    // The handle counts where it leads to the record: hosts may put records of their own into the
    // globals.
    SettingsUse(MemHandle handle, SetupRecord* settings)
        : record(settings),
          pin(settings != nullptr && GlobalLock(handle) == settings ? handle : 0) {}
    ~SettingsUse() {
        if (!gone() || lpRaster != record) return;
        hRaster = 0;
        lpRaster = nullptr;
    }
    SettingsUse(const SettingsUse&) = delete;
    SettingsUse& operator=(const SettingsUse&) = delete;

    explicit operator bool() const { return record != nullptr; }
    SetupRecord* operator->() const { return record; }
    SetupRecord& operator*() const { return *record; }
    bool gone() const { return pin.gone(); }

    // Points the globals at the record, where it is still there.
    void makeCurrent() const {
        if (gone()) return;
        hRaster = pin.handle;
        lpRaster = record;
    }

    SetupRecord* record;
    Pinned<SetupRecord> pin;
};

// The record that lpRaster points at when the call begins.
inline SettingsUse currentSettings() {
    return {hRaster, lpRaster};
}

}  // namespace tivar
