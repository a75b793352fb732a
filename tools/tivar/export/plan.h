// What the file is going to be, settled before the export and checked after it.
#pragma once

#include <cstdint>

#include "export/picture.h"
#include "export/request.h"
#include "settings/settings.h"

namespace tool {

// With sizeFromProfile the size follows from the profile's page and the picture's shape.
struct ExportPlan {
    uint16_t bits{};
    Flavour flavour{};
    bool native{};    // the library encodes the rows
    bool portable{};  // the host encodes the rows that the library writes raw
    bool sizeFromProfile{};
    PixelSize size{};
};

// Writes the request into the settings, as far as it goes before the profile.
ExportPlan planExport(Settings& settings, const ExportRequest& request, const Picture& picture);

// Standard run lengths exist for 4 and 8 bits with the Windows header: others are wrong usage.
void requirePortable(uint16_t bits, Flavour flavour);

// Makes the plan one of an exact size; sizes that no file can hold are Failures.
void fixSize(Settings& settings, ExportPlan& plan, const Picture& picture, PixelSize size);

// The size in the file when size is asked for. The band loop rounds heights up to even ones; a
// stand-alone cell array keeps its own.
PixelSize sizeOfFile(const ExportRequest& request, PixelSize size);

}  // namespace tool
