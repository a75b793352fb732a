// What the user asks of exports.

#ifndef TIVAR_TOOL_REQUEST_H
#define TIVAR_TOOL_REQUEST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "picture/image.h"

namespace tool {

enum class Flavour { Windows, Os2 };
enum class Via { File, Memory, Document };
enum class Route { Filter, Driver, Direct };
enum class Compression { None, Native, Portable };
enum class CellArrays { Banded, Single };

// Colours of the file, on the direct route only; what is 0 or empty is the library's choice.
struct ColorRequest {
    std::vector<Color> palette;
    uint16_t count = 0;            // at most so many, chosen for the picture
    int32_t dither = 0;            // enum TivarDither
    std::optional<int32_t> masks;  // enum TivarMasks
};

// Of one export; what is not asked for follows the profile or the picture.
struct ExportRequest {
    std::optional<uint16_t> bits;
    std::optional<Flavour> flavour;
    std::optional<Compression> compression;
    bool force = false;  // files that no reader can know
    std::optional<PixelSize> size;
    std::string profile;
    std::string mode;
    Via via = Via::File;
    Route route = Route::Direct;
    CellArrays cellArrays = CellArrays::Banded;  // of the driver route
    std::optional<Color> background;             // white, but for files that have alpha themselves
    ReadRequest reading;
    ColorRequest colors;
    bool quiet = false;
};

// Of all inputs of a command.
struct JobsRequest {
    ExportRequest each;
    std::vector<std::string> inputs;
    std::string out;  // a file or a directory; "" = beside each input
    unsigned atOnce = 1;
};

}  // namespace tool

#endif
