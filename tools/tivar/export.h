// One call of the library's export, from the settings to the call itself.

#ifndef TIVAR_TOOL_EXPORT_H
#define TIVAR_TOOL_EXPORT_H

#include <cstdint>
#include <string>

#include "document.h"
#include "library.h"
#include "options.h"
#include "picture.h"
#include "progress.h"

namespace tool {

// The library's settings record, from the profile that the request names or the defaults.
struct Settings {
    const Library& library;
    MemHandle handle;
    SetupRecord* record;

    Settings(const Library& loaded, const ExportRequest& request);
    ~Settings();
    Settings(const Settings&) = delete;
};

// What the file is going to be. With sizeFromProfile only the library knows its size.
struct ExportPlan {
    uint16_t bits{};
    bool os2{};
    bool encoded{};  // rows are run-length encoded
    bool sizeFromProfile{};
    PixelSize size{};  // height even
};

// Writes the request into the settings, as far as it goes before the profile.
ExportPlan planExport(Settings& settings, const ExportRequest& request, const Picture& picture);

// Makes the plan one of an exact size; sizes that no file can hold are Failures.
void fixSize(Settings& settings, ExportPlan& plan, const Picture& picture, PixelSize size);

// Where the export goes: the document, the file, or with neither into memory.
struct Destination {
    std::string fileName;
    Document* document = nullptr;
};

// Runs the export: the memory block that it made, if any. The picture's rows are used up: the
// library may exchange red and blue in them. What it returns is only half the truth; judge the
// file.
Block runExport(Settings& settings, const ExportPlan& plan, const Picture& picture,
                const Destination& destination, Progress& progress);

}  // namespace tool

#endif
