// The plain model's settings in a settings record.
#pragma once

#include <tivar/filter.h>

#include <cstdint>

#include "model/plain_model.h"

namespace support {

inline void takeSettings(SetupRecord& record, const model::Settings& settings) {
    record.colorFormat = settings.colorFormat;
    record.compressionMode = settings.compressionMode;
    record.fileType = settings.fileType;
    record.sizeMode = settings.sizeMode;
    record.resolutionMode = settings.resolutionMode;
    record.pictureWidth = settings.pictureWidth;
    record.pictureHeight = settings.pictureHeight;
    record.xResolution = static_cast<std::int16_t>(settings.xResolution);
    record.yResolution = static_cast<std::int16_t>(settings.yResolution);
}

}  // namespace support
