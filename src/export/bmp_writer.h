#pragma once

#include <tivar/export.h>

namespace tivar {

// Frees what BeginCellBitmap allocated for a file that is left as it stands.
void abandonCellBitmap(MemHandle state);

}  // namespace tivar
