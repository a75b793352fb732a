// What the user asks of exports.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "picture/image.h"
#include "shape/reshape.h"

namespace tool {

enum class Flavour { Windows, Os2 };
enum class Via { File, Memory, Document };
enum class Route { Filter, Driver, Direct };
enum class Compression { None, Native, Portable };
enum class CellArrays { Banded, Single };

// What becomes of a file that is there already. KeepNewer replaces one that is older than the
// input.
enum class Existing { Refuse, Replace, KeepNewer };

// Colours of the file, on the direct route only; what is 0 or empty is the library's choice.
struct ColorRequest {
    std::vector<Color> palette;
    uint16_t count = 0;            // at most so many, chosen for the picture
    int32_t dither = 0;            // enum TivarDither
    std::optional<int32_t> masks;  // enum TivarMasks
};

// How a size is met; what is not asked for is the route's choice.
struct ShapeRequest {
    std::optional<Fit> fit;
    std::optional<Color> pad;
    std::optional<Scaling> scaling;
};

// The form of another BMP file, on the direct route only; follow() fills it.
struct FormRequest {
    // That file's bytes before its pixels, with room for other sizes; none = the library's headers.
    std::vector<uint8_t> head;
    int32_t header = 0;  // enum TivarHeader
    bool topDown = false;
    int32_t xPerMeter = 0;
    int32_t yPerMeter = 0;
    std::optional<bool> alpha;  // whether the file has one; else as depth and picture have it
    std::vector<Notice> notices;
};

// Of one export; what is not asked for follows the profile or the picture.
struct ExportRequest {
    std::optional<uint16_t> bits;
    std::optional<Flavour> flavour;
    std::optional<Compression> compression;
    bool force = false;  // files that no reader can know
    std::optional<PixelSize> size;
    ShapeRequest shape;
    std::string profile;
    std::string mode;
    Via via = Via::File;
    Route route = Route::Direct;
    CellArrays cellArrays = CellArrays::Banded;  // of the driver route
    std::optional<Color> background;             // white, but for files that have alpha themselves
    ReadRequest reading;
    ColorRequest colors;
    FormRequest like;
    unsigned threads = 1;  // of the direct route, at most
    bool quiet = false;
};

// Of all inputs of a command.
struct JobsRequest {
    ExportRequest each;
    std::vector<std::string> inputs;
    std::string filesFrom;     // a list of more inputs, "-" = standard input; "" = none
    bool endsWithNul = false;  // each name of the list
    bool recursive = false;    // directories stand for the pictures in them
    std::string out;           // a file or a directory; "" = beside each input
    std::string base;          // inputs below it keep their folders in out; "" = they do not
    std::optional<Existing> existing;  // else a name that the user chose replaces
    std::string report;                // a file for a line about each input; "" = none
    unsigned atOnce = 1;
};

}  // namespace tool
