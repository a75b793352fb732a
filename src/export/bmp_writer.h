#pragma once

#include <tivar/export.h>

namespace tivar {

// Stores palette size and depth for the settings' colour format; false for formats that are not
// written.
bool chooseFileFormat(SetupRecord& setup);

// Frees what BeginCellBitmap allocated for a file that is left as it stands.
void abandonCellBitmap(MemHandle state);

}  // namespace tivar
