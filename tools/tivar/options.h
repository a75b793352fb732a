// The command line.

#ifndef TIVAR_TOOL_OPTIONS_H
#define TIVAR_TOOL_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "picture.h"

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
enum class Via { File, Memory, Document };
enum class Route { Filter, Driver };
enum class Compression { None, Native, Portable };
enum class CellArrays { Banded, Single };

struct PixelSize {
    uint32_t width;
    uint32_t height;
};

// What the user asks of one export; what is not asked for follows the profile or the picture.
struct ExportRequest {
    std::optional<uint16_t> bits;
    bool os2 = false;
    std::optional<Compression> compression;
    bool force = false;  // files that no reader can know
    std::optional<PixelSize> size;
    std::string profile;
    std::string mode;
    Via via = Via::File;
    Route route = Route::Filter;
    CellArrays cellArrays = CellArrays::Banded;  // of the driver route
    Color background;
    bool quiet = false;
};

// What the user asks of a profile's settings.
struct SettingsRequest {
    std::string profile;
    std::string mode;
    std::vector<std::string> assignments;  // KEY=VALUE
    bool force = false;
};

struct Options {
    Command command = Command::Help;
    std::string library;
    ExportRequest request;
    SettingsRequest settings;
    std::string input;  // of commands that take one file
    std::vector<std::string> inputs;
    std::string out;
    unsigned jobs = 1;
};

// Wrong usage is a Failure. Help has been printed when the command is Help.
Options parseOptions(int argc, char** argv);

}  // namespace tool

#endif
