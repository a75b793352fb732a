// A plain, slow description of every picture operation, one pixel at a time. Tests hold the
// library's fast code against it, so nothing in here shares code with the library.
//
// Rules that hold everywhere: a read outside a block gives zero bytes, a write outside a block is
// dropped, a colour table is black from its end on, and conversions from floating point saturate.
#pragma once

#include <cstdint>
#include <vector>

namespace model {

using Bytes = std::vector<std::uint8_t>;

// Rows in buffer order, each padded to a multiple of 4 bytes. A depth is 1, 4, 8, 24 or 32.
// Colour tables are packed red, green, blue entries.
struct Bitmap {
    std::uint32_t width{};
    std::uint32_t height{};
    int bits{};
    Bytes data;
};

// --- Small helpers ------------------------------------------------------------------------------

// One byte of a block; 0 outside it.
std::uint8_t byteAt(const Bytes& block, std::int64_t offset);

// Stores one byte; does nothing outside the block.
void putByte(Bytes& block, std::int64_t offset, std::uint8_t value);

// 2 to the power `exponent` in 32 bits; 0 for a negative exponent and for 32 or more.
std::uint32_t powerOfTwo(int exponent);

// Truncate and saturate; not-a-number becomes 0.
std::uint32_t toUnsigned(double value);
std::int32_t toSigned(double value);

// Entry `index` of a colour table as packed RGB (red in the top byte, low byte 0).
std::uint32_t tableEntry(const Bytes& table, std::uint32_t index);

// --- Pixels -------------------------------------------------------------------------------------

// Row stride; 0 when the row's bit count does not fit 32 bits.
std::uint32_t bytesPerLine(std::uint32_t width, int bits);

// False when the bitmap is too large for a block whose size is kept in 32 bits.
bool obtainable(std::uint32_t width, std::uint32_t height, int bits);

// A zero-filled bitmap; an empty one (0 by 0, no data) when it is not obtainable.
Bitmap newBitmap(std::uint32_t width, std::uint32_t height, int bits);

// Pixel value: an index up to depth 8, packed RGB at 24, the four bytes at 32; 0 outside the data.
std::uint32_t getPixel(const Bitmap& bitmap, std::uint32_t x, std::uint32_t y);

// Stores one pixel, translated by the map or matched against the table. A null or empty map is no
// map; at depths 24 and 32 a table counts only together with a map.
void setPixel(Bitmap& bitmap, std::uint32_t x, std::uint32_t y, std::uint32_t value,
              const std::vector<std::uint32_t>* indexMap, const Bytes* table, int count);

// Index of the nearest entry, grey and colour kept apart; 0 when no entry qualifies.
std::uint32_t nearest(int r, int g, int b, const Bytes& table, int count);

// For each index of the source table the value to store at the destination; empty = no map.
std::vector<std::uint32_t> colormap(const Bytes* sourceTable, int sourceBits,
                                    const Bytes* destTable, int destBits, int destCount);

// --- Colour reduction and conversion
// --------------------------------------------------------------

// A table of `wanted` entries of which the first `count` were chosen; zeros behind them.
struct Reduced {
    Bytes table;
    int count{};
};

// Median cut over a 24-bit picture. Width, height and `wanted` are 16-bit and wrap.
Reduced reduceColors(const Bitmap& picture24, int wanted);

// Pixel-by-pixel change of depth; the tables may be null.
Bitmap convertDepth(const Bitmap& source, int destBits, const Bytes* sourceTable,
                    const Bytes* destTable, int destCount);

struct Resolved {
    Bitmap bitmap;
    Bytes table;
    bool hasTable{};
};

// Any depth to any other: chooses a table, dithers or converts. hasTable says whether a new table
// was made; the caller's table, which may be null, is only read.
Resolved changeColorResolution(const Bitmap& source, int destBits, const Bytes* table);

// Four-byte pixels without row padding to packed three-byte pixels; the packed result only.
Bytes cmykToRgb(const Bytes& pixels4, std::uint32_t count);
Bytes alphaToRgb(const Bytes& pixels4, std::uint32_t count);

// Every pixel of every row becomes 255 - red, 255 - green, 255 - blue, 0; the whole data block.
Bytes rgb4ToCmyk(const Bitmap& picture32);

// Colour transform in place: 1 inverts, 2 inverts near greys, 3 makes grey, 4 makes inverse grey.
void revRgb(Bytes& triples, int count, int mode);

// --- Dithering
// ------------------------------------------------------------------------------------

// The table that dithering chooses when the caller holds none, and its entry count.
Reduced ditherTable(const Bitmap& source, int destBits, const Bytes* sourceTable);

// Dithers to a given table of `count` entries.
Bitmap ditherTo(const Bitmap& source, int destBits, const Bytes* sourceTable, const Bytes& table,
                int count);

struct Dithered {
    Bitmap bitmap;
    Bytes table;
};

// Chooses a table (or takes the given one, if not null) and dithers to it.
Dithered ditherBitmap(const Bitmap& source, int destBits, const Bytes* sourceTable,
                      const Bytes* givenTable);

// Diffuses one 24-bit row into itself and the next row, which is null for the last one.
void ditherOneLine(Bytes& row, Bytes* next, const Bytes& table, std::uint32_t width, int count);

// --- Scaling and mirroring
// ------------------------------------------------------------------------

// Pixel replication and dropping. The source's width and height are taken as stated, even when its
// data holds fewer rows.
Bitmap scale(const Bitmap& source, std::uint32_t destWidth, std::uint32_t destHeight);

// Mirrors in place. The data carries 4 spare bytes behind the rows: horizontally, pixel 0 trades
// places with the pixel just past the row.
void flip(Bitmap& bitmap, bool horizontally, bool vertically);

// --- Writing
// --------------------------------------------------------------------------------------

// Run-length encodes one row. Mode 2 doubles the counts for 4-bit pixels; every other mode is
// 8-bit.
Bytes encodeRle(const Bytes& row, int mode);

struct Settings {
    int colorFormat = 221;
    int compressionMode = 310;
    int fileType = 331;
    int sizeMode = 602;
    int resolutionMode = 309;
    double pictureWidth = 6.67;
    double pictureHeight = 5.0;
    int xResolution = 96;
    int yResolution = 96;
};

// What the host says about its picture; both resolutions are 16-bit signed values.
struct Description {
    int displayResolution{};
    int resolution{};
    int width{};
    int height{};
    int displayWidth{};
    int displayHeight{};
};

struct CellFormat {
    double width;
    double height;
    std::uint32_t resolution;
    std::uint16_t swapRedBlue;
};

// What an export recorded about the display; a zero stands for the built-in default.
struct DisplayState {
    double widthPixels{};
    double heightPixels{};
    int xResolution{};
    int yResolution{};
};

// The display's size in inches and its resolutions.
struct DisplayInfo {
    double width;
    double height;
    int xResolution;
    int yResolution;
};
DisplayInfo displayInfo(const DisplayState& state);

// A width and height in inches.
struct Inches {
    double width;
    double height;
};

// Fits the proportions into the page that the settings describe.
Inches adjustAspect(const Settings& settings, double aspectWidth, double aspectHeight);

// Settles the pixel grid; changes settings and format. The result is the bit count, read as a
// signed 16-bit number; `bitCountBefore` for a colour format without one.
int negotiate(Settings& settings, CellFormat& format, int bitCountBefore);
int negotiate(Settings& settings, CellFormat& format, int bitCountBefore,
              const DisplayState& display);

// A whole file: begin, one band of `height` rows, end. Rows that do not lie wholly inside `rows`
// are left out. Empty when the colour format cannot be written.
Bytes writeBmp(const Settings& settings, std::uint32_t width, std::uint32_t height, int bits,
               const Bytes& palette, const Bytes& rows, bool swapRedBlue);

struct Picture {
    Bitmap bitmap;
    Bytes table;
    bool hasTable{};
};

// What the drawing call-back settles for one picture: the table that the file shows, and its own
// copy of the entries that the pixels are matched against.
struct CellTables {
    Bytes palette;
    Bytes own;
    bool hasOwn{};
    int count{};
};
CellTables prepareTables(const Picture& picture, int destBits);

// The rows that the drawing call-back hands over, at the wanted depth and size.
Bytes prepareCells(const Picture& picture, const CellTables& tables, std::uint32_t destWidth,
                   std::uint32_t destHeight, int destBits);

// One export from end to end, for the colour formats 215, 219, 221 and 222. Empty when the picture
// gets no rows.
Bytes exportPicture(const Picture& picture, const Description& description, Settings settings);

}  // namespace model
