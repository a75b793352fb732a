// The stages of a BMP file for routines that hold their settings; see export.h for what each does.
// One of them whose stream, state, rows or settings a call-back ended stops with its failure value.
#pragma once

#include <tivar/export.h>

#include "filter/settings_use.h"

namespace tivar {

// Stores palette size and depth for the settings' colour format; false for formats that are not
// written.
bool chooseFileFormat(SetupRecord& setup);

// The picture's size and depth as BeginCellBitmap takes them.
struct FileSize {
    uint32_t width;
    uint32_t height;
    uint32_t bitCount;
};

int32_t beginCellBitmap(const SettingsUse& settings, OxlStream stream, const FileSize& size,
                        const uint8_t* palette, MemHandle* stateOut);

// A band of rows as WriteCellBits takes it.
struct Band {
    MemHandle bits;
    uint32_t width;
    uint32_t rows;
    uint32_t bitCount;
    int16_t swapRedBlue;
};

int32_t writeCellBits(const SettingsUse& settings, OxlStream stream, const Band& band,
                      MemHandle state);

void endCellBitmap(const SettingsUse& settings, OxlStream stream, MemHandle state);

// Frees what beginCellBitmap allocated for a file that is left as it stands.
void abandonCellBitmap(const SettingsUse& settings, MemHandle state);

}  // namespace tivar
