// The run-length encoder's modes, which are also the compression codes of the file header, and its
// writer for routines that hold their settings.
#pragma once

#include <tivar/types.h>

#include "filter/settings_use.h"

namespace tivar {

enum RleMode : uint32_t { kRleNone = 0, kRle8 = 1, kRle4 = 2 };

// Rows in memory, stride bytes apart.
struct EncoderRows {
    const uint8_t* data;
    uint32_t count;
    uint32_t length;
    uint32_t stride;
};

// RLEWrite of export.h.
int32_t writeEncoded(const SettingsUse& settings, OxlStream stream, const EncoderRows& rows,
                     uint32_t* sizeCounter, uint32_t mode);

}  // namespace tivar
