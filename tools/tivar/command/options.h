// The command line.
#pragma once

#include <string>

#include "bmp/decode.h"
#include "bmp/inspect.h"
#include "export/request.h"
#include "gallery/gallery.h"
#include "settings/settings_commands.h"

namespace tool {

enum class Command {
    Help,
    Version,
    Info,
    Export,
    Inspect,
    Decode,
    Gallery,
    ShowSettings,
    SetSettings,
    InitSettings
};
struct Options {
    Command command = Command::Help;
    std::string library;
    JobsRequest jobs;  // of Export
    GalleryRequest gallery;
    SettingsRequest settings;
    InspectRequest inspect;
    DecodeRequest decode;
};

// Wrong usage is a Failure. Help has been printed when the command is Help.
Options parseOptions(int argc, char** argv);

}  // namespace tool
