// A settings record with the built-in defaults that the library works with while the guard lives.
#pragma once

#include <tivar/filter.h>
#include <tivar/memory.h>

#include "model/plain_model.h"

namespace support {

struct CurrentSettings {
    CurrentSettings() : handle(GlobalAlloc(TIVAR_GMEM_FLAGS, sizeof(SetupRecord))) {
        hRaster = handle;
        lpRaster = record = static_cast<SetupRecord*>(GlobalLock(handle));
        UseDefaultSettings(record);
    }
    explicit CurrentSettings(const model::Settings& settings) : CurrentSettings() {
        record->colorFormat = settings.colorFormat;
        record->compressionMode = settings.compressionMode;
        record->fileType = settings.fileType;
        record->sizeMode = settings.sizeMode;
        record->resolutionMode = settings.resolutionMode;
        record->pictureWidth = settings.pictureWidth;
        record->pictureHeight = settings.pictureHeight;
        record->xResolution = static_cast<int16_t>(settings.xResolution);
        record->yResolution = static_cast<int16_t>(settings.yResolution);
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
