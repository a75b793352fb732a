// What an export leaves, whichever route it takes: the bytes, where they went and whether they are
// the whole file.
#pragma once

#include <functional>
#include <string>

#include "export/document.h"
#include "export/judge.h"
#include "export/plan.h"
#include "process/library_voice.h"
#include "process/output.h"
#include "process/progress.h"

namespace tool {

// A power of two: pixels become inches and pixels again without rounding.
constexpr int16_t kExactResolution = 64;

// The display that sizes of the display are based on, unless DISPLAYINFO says otherwise.
constexpr int16_t kDisplayResolution = 96;
constexpr int32_t kDisplayWidth = 1280;
constexpr int32_t kDisplayHeight = 1024;

// What one job works with.
struct Workshop {
    const ExportRequest& request;
    const LibraryVoice& voice;
    Settings& settings;
    Picture& picture;
    Output& output;
    Progress& progress;
};

struct Delivery {
    Block memory;  // holds the bytes unless they are in the output's file
    FileStart start;
};

// Where the export goes: the document, the file, or with neither into memory.
struct Destination {
    std::string fileName;
    Document* document = nullptr;
};

// Runs one export into the output; run returns the memory block that it made, if any. What the
// library answers is only half the truth, so the file itself is judged.
Delivery deliver(const Workshop& shop, const ExportPlan& plan,
                 const std::function<Block(const Destination&)>& run);

// The document, or none, as the settings name it.
void nameDocument(Settings& settings, const Destination& destination);

}  // namespace tool
