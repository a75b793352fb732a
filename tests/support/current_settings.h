// A settings record with the built-in defaults that the library works with while the guard lives.
#pragma once

#include <tivar/filter.h>
#include <tivar/memory.h>

#include "model/plain_model.h"
#include "support/taken_settings.h"

namespace support {

struct CurrentSettings {
    CurrentSettings() : handle(GlobalAlloc(TIVAR_GMEM_FLAGS, sizeof(SetupRecord))) {
        hRaster = handle;
        lpRaster = record = static_cast<SetupRecord*>(GlobalLock(handle));
        UseDefaultSettings(record);
    }
    explicit CurrentSettings(const model::Settings& settings) : CurrentSettings() {
        takeSettings(*record, settings);
    }
    ~CurrentSettings() {
        GlobalFree(handle);
        hRaster = 0;
        lpRaster = nullptr;
    }
    CurrentSettings(const CurrentSettings&) = delete;
    CurrentSettings& operator=(const CurrentSettings&) = delete;

    SetupRecord* operator->() const { return record; }

    MemHandle handle;
    SetupRecord* record;
};

}  // namespace support
