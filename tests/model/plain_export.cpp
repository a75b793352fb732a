// Negotiation, file writing and the whole export.

#include <algorithm>

#include "plain_model.h"

namespace model {

namespace {

// --- Settings
// -------------------------------------------------------------------------------------

constexpr int sizeOfDisplay = 600;
constexpr int sizeGiven = 602;
constexpr int resolutionOfDisplay = 307;
constexpr int resolutionOfCaller = 309;
constexpr int runLength = 228;
constexpr int os2File = 332;

int signed16(int value) {
    return static_cast<std::int16_t>(value);
}

int bitCountOf(int colorFormat, int before) {
    switch (colorFormat) {
        case 215:
            return 1;
        case 216:
            return -4;
        case 217:
            return -8;
        case 218:
            return 3;
        case 219:
            return 4;
        case 221:
            return 8;
        case 222:
            return 24;
        default:
            return signed16(before);
    }
}

// --- The writer
// -----------------------------------------------------------------------------------

struct FileDepth {
    std::uint32_t paletteSize;
    int bits;
};

// Depth 0 for a colour format that the writer does not know.
FileDepth fileDepthOf(int colorFormat) {
    switch (colorFormat) {
        case 215:
            return {2, 1};
        case 219:
            return {16, 4};
        case 221:
            return {256, 8};
        case 222:
            return {0, 24};
        default:
            return {0, 0};
    }
}

struct Writer {
    Bytes file;
    int compression{};
    std::uint32_t compressedSize{};
};

void put8(Bytes& file, std::uint32_t value) {
    file.push_back(static_cast<std::uint8_t>(value & 0xFFU));
}

void put16(Bytes& file, std::uint32_t value) {
    put8(file, value);
    put8(file, value >> 8);
}

void put32(Bytes& file, std::uint32_t value) {
    put16(file, value);
    put16(file, value >> 16);
}

std::uint32_t rowBytesOf(std::uint32_t width, int bits) {
    return ((width * static_cast<std::uint32_t>(bits) + 7) / 8 + 3) / 4 * 4;
}

void putFileHeader(Bytes& file, std::uint32_t headerBytes, std::uint32_t pixelBytes) {
    put8(file, 'B');
    put8(file, 'M');
    put32(file, headerBytes + pixelBytes);
    put16(file, 0);
    put16(file, 0);
    put32(file, headerBytes);
}

void putPaletteEntry(Bytes& file, const Bytes& palette, std::uint32_t index) {
    const std::uint32_t rgb = tableEntry(palette, index);
    put8(file, rgb >> 8);
    put8(file, rgb >> 16);
    put8(file, rgb >> 24);
}

void putWindowsHeader(Bytes& file, std::uint32_t width, std::uint32_t height, int bits,
                      int compression) {
    put32(file, 40);
    put32(file, width);
    put32(file, height);
    put16(file, 1);
    put16(file, static_cast<std::uint32_t>(bits));
    put32(file, static_cast<std::uint32_t>(compression));
    for (int i = 0; i < 5; ++i) put32(file, 0);
}

void putOs2Header(Bytes& file, std::uint32_t width, std::uint32_t height, int bits) {
    put32(file, 12);
    put16(file, width);
    put16(file, height);
    put16(file, 1);
    put16(file, static_cast<std::uint32_t>(bits));
}

int compressionOf(const Settings& settings, int fileBits) {
    if (settings.compressionMode != runLength) return 0;
    if (fileBits == 8) return 1;
    if (fileBits == 4) return 2;
    return 0;
}

// Writes everything in front of the rows; false for an unknown colour format.
bool begin(Writer& writer, const Settings& settings, std::uint32_t width, std::uint32_t height,
           int bits, const Bytes& palette) {
    const FileDepth depth = fileDepthOf(settings.colorFormat);
    if (depth.bits == 0) return false;
    writer.compression = compressionOf(settings, depth.bits);
    const std::uint32_t pixelBytes = rowBytesOf(width, bits) * height;
    const std::uint32_t n = bits == 24 ? 0 : powerOfTwo(bits);
    if (settings.fileType == os2File) {
        putFileHeader(writer.file, 14 + 12 + 3 * n, pixelBytes);
        putOs2Header(writer.file, width, height, bits);
        for (std::uint32_t i = 0; i < depth.paletteSize; ++i) {
            putPaletteEntry(writer.file, palette, i);
        }
    } else {
        putFileHeader(writer.file, 14 + 40 + 4 * n, pixelBytes);
        putWindowsHeader(writer.file, width, height, bits, writer.compression);
        for (std::uint32_t i = 0; i < n; ++i) {
            putPaletteEntry(writer.file, palette, i);
            put8(writer.file, 0);
        }
    }
    return true;
}

void swapRedAndBlue(Bytes& row, std::uint32_t width) {
    for (std::int64_t x = 0; x < std::int64_t{width}; ++x) {
        const std::uint8_t first = byteAt(row, 3 * x);
        putByte(row, 3 * x, byteAt(row, 3 * x + 2));
        putByte(row, 3 * x + 2, first);
    }
}

// Writes the rows that lie wholly inside the block; false when one does not.
bool writeRows(Writer& writer, const Bytes& rows, std::uint32_t width, std::uint32_t count,
               int bits, bool swapRedBlue) {
    const std::size_t rowBytes = rowBytesOf(width, bits);
    if (rowBytes == 0) return true;
    const std::size_t held = rows.size() / rowBytes;
    const std::size_t writable = std::min<std::size_t>(held, count);
    for (std::size_t y = 0; y < writable; ++y) {
        Bytes row;
        for (std::size_t i = 0; i < rowBytes; ++i) row.push_back(rows[y * rowBytes + i]);
        if (bits == 24 && swapRedBlue) swapRedAndBlue(row, width);
        if (writer.compression != 0) {
            row = encodeRle(row, writer.compression);
            writer.compressedSize += static_cast<std::uint32_t>(row.size());
        }
        for (const std::uint8_t byte : row) writer.file.push_back(byte);
    }
    return writable == count;
}

// The size of encoded rows goes to offset 34 in either flavour, even into a palette.
void end(Writer& writer) {
    if (writer.compression == 0) return;
    Bytes size;
    put32(size, writer.compressedSize);
    for (std::int64_t i = 0; i < 4; ++i) putByte(writer.file, 34 + i, byteAt(size, i));
}

// --- The export
// -----------------------------------------------------------------------------------

void growTable(Bytes& table, std::uint32_t entries) {
    if (table.size() < std::size_t{entries} * 3) table.resize(std::size_t{entries} * 3, 0);
}

// Takes over the first `count` entries of a table, for the file and for matching.
void takeEntries(CellTables& tables, const Bytes& from, std::uint32_t count) {
    growTable(tables.palette, count);
    tables.own.assign(std::size_t{count} * 3, 0);
    tables.hasOwn = true;
    tables.count = static_cast<int>(count);
    for (std::int64_t i = 0; i < std::int64_t{count} * 3; ++i) {
        putByte(tables.palette, i, byteAt(from, i));
        putByte(tables.own, i, byteAt(from, i));
    }
}

Reduced reducedTable(const Picture& picture, int destBits) {
    if (picture.bitmap.bits == 24 && destBits >= 8) {
        return reduceColors(picture.bitmap, static_cast<int>(powerOfTwo(destBits)));
    }
    return ditherTable(picture.bitmap, destBits, picture.hasTable ? &picture.table : nullptr);
}

// What the host says about the picture, as the format to negotiate. The divisor keeps its sign when
// it grows to 32 bits, and is then read as unsigned.
CellFormat offeredFormat(const Description& description) {
    const auto divisor = static_cast<std::uint32_t>(signed16(description.resolution));
    CellFormat format{};
    format.width = description.width;
    format.height = description.height;
    if (divisor != 0) {
        format.width /= divisor;
        format.height /= divisor;
    }
    format.resolution = divisor;
    format.swapRedBlue = 1;
    return format;
}

DisplayState recordedDisplay(const Description& description) {
    const int resolution = signed16(description.displayResolution);
    return DisplayState{static_cast<double>(description.displayWidth),
                        static_cast<double>(description.displayHeight), resolution, resolution};
}

}  // namespace

Bytes encodeRle(const Bytes& row, int mode) {
    const bool nibbles = mode == 2;
    const std::size_t most = nibbles ? 127 : 255;
    Bytes encoded;
    std::size_t position = 0;
    std::size_t remaining = row.size();
    while (remaining != 0) {
        const std::size_t limit = std::min(remaining, most);
        const std::uint8_t value = row[position];
        std::size_t count = 1;
        while (count < limit) {
            position += 1;
            if (row[position] != value) break;
            count += 1;
        }
        // A run that filled its limit leaves its last byte to the next run.
        if (count == limit && limit > 1) count -= 1;
        encoded.push_back(static_cast<std::uint8_t>(nibbles ? 2 * count : count));
        encoded.push_back(value);
        remaining -= count;
    }
    return encoded;
}

DisplayInfo displayInfo(const DisplayState& state) {
    const double widthPixels = state.widthPixels != 0.0 ? state.widthPixels : 1280.0;
    const double heightPixels = state.heightPixels != 0.0 ? state.heightPixels : 1078.0;
    const int x = state.xResolution != 0 ? state.xResolution : 96;
    const int y = state.yResolution != 0 ? state.yResolution : 96;
    return DisplayInfo{widthPixels / x, heightPixels / y, x, y};
}

Inches adjustAspect(const Settings& settings, double aspectWidth, double aspectHeight) {
    const double x = signed16(settings.xResolution);
    const double y = signed16(settings.yResolution);
    double pageWidth = toSigned(x * settings.pictureWidth);
    double pageHeight = toSigned(y * settings.pictureHeight);
    const double page = pageWidth / pageHeight;
    const double wanted = aspectWidth / aspectHeight;
    if (wanted < page) {
        pageWidth -= toSigned(pageWidth - pageHeight * wanted);
    } else if (wanted > page) {
        pageHeight -= toSigned(pageHeight - pageWidth / wanted);
    }
    return Inches{pageWidth / x, pageHeight / y};
}

int negotiate(Settings& settings, CellFormat& format, int bitCountBefore) {
    return negotiate(settings, format, bitCountBefore, DisplayState{});
}

int negotiate(Settings& settings, CellFormat& format, int bitCountBefore,
              const DisplayState& display) {
    const std::uint32_t resolution = format.resolution;
    const bool offered = resolution != 0;
    const DisplayInfo screen = displayInfo(display);

    if (settings.sizeMode == sizeGiven && offered) {
        settings.pictureWidth = format.width;
        settings.pictureHeight = format.height;
    } else if (settings.sizeMode == sizeOfDisplay && screen.xResolution != 0) {
        settings.pictureWidth = screen.width;
        settings.pictureHeight = screen.height;
    }

    if (settings.resolutionMode == resolutionOfCaller && offered) {
        settings.xResolution = resolution > 400 ? 400 : static_cast<int>(resolution);
        settings.yResolution = settings.xResolution;
    } else if (settings.resolutionMode == resolutionOfDisplay && screen.xResolution != 0) {
        settings.xResolution = screen.xResolution;
        settings.yResolution = screen.xResolution;
    }

    Inches size{settings.pictureWidth, settings.pictureHeight};
    if (!offered || settings.sizeMode != sizeGiven) {
        size = adjustAspect(settings, format.width, format.height);
    }
    const int x = signed16(settings.xResolution);
    const int y = signed16(settings.yResolution);
    if (x != 0) {
        format.width = x * size.width;
        format.height = y * size.height;
        format.resolution = static_cast<std::uint32_t>(x);
    }
    return bitCountOf(settings.colorFormat, bitCountBefore);
}

Bytes writeBmp(const Settings& settings, std::uint32_t width, std::uint32_t height, int bits,
               const Bytes& palette, const Bytes& rows, bool swapRedBlue) {
    Writer writer;
    if (!begin(writer, settings, width, height, bits, palette)) return {};
    writeRows(writer, rows, width, height, bits, swapRedBlue);
    end(writer);
    return writer.file;
}

CellTables prepareTables(const Picture& picture, int destBits) {
    CellTables tables;
    const int sourceBits = picture.bitmap.bits;
    const bool filePalette = destBits < 9;
    if (filePalette) {
        growTable(tables.palette, powerOfTwo(destBits));
        tables.count = static_cast<int>(powerOfTwo(destBits));
    }
    if (destBits >= sourceBits) {
        if (picture.hasTable && filePalette && tables.count >= 1) {
            takeEntries(tables, picture.table, powerOfTwo(sourceBits));
        }
    } else {
        const Reduced reduced = reducedTable(picture, destBits);
        takeEntries(tables, reduced.table, static_cast<std::uint32_t>(reduced.count));
    }
    return tables;
}

Bytes prepareCells(const Picture& picture, const CellTables& tables, std::uint32_t destWidth,
                   std::uint32_t destHeight, int destBits) {
    const Bitmap& source = picture.bitmap;
    const Bytes* sourceTable = picture.hasTable ? &picture.table : nullptr;
    const Bytes* own = tables.hasOwn ? &tables.own : nullptr;
    const bool canScale = obtainable(destWidth, destHeight, source.bits);
    const bool canStretch = obtainable(destWidth, destHeight, destBits);

    Bitmap cells = source;
    if ((destWidth < source.width || destHeight < source.height) && canScale) {
        cells = scale(source, destWidth, destHeight);
    }
    if (destBits != source.bits) {
        if (destBits < 8 && destBits < source.bits) {
            cells = ditherTo(cells, destBits, sourceTable, own ? *own : Bytes{}, tables.count);
        } else {
            cells = convertDepth(cells, destBits, sourceTable, own, tables.count);
        }
    }
    if ((destWidth > source.width || destHeight > source.height) && canStretch) {
        // Whatever was made above is read as if it still had the picture's own size.
        const Bitmap asSource{source.width, source.height, destBits, cells.data};
        cells = scale(asSource, destWidth, destHeight);
    }
    return cells.data;
}

Bytes exportPicture(const Picture& picture, const Description& description, Settings settings) {
    CellFormat format = offeredFormat(description);
    const int bits = negotiate(settings, format, 0, recordedDisplay(description));
    const std::uint32_t width = toUnsigned(format.width);
    const std::uint32_t wholeHeight = toUnsigned(format.height);
    const std::uint32_t height = wholeHeight + (wholeHeight & 1U);
    if (height == 0) return {};

    const CellTables tables = prepareTables(picture, bits);
    Writer writer;
    if (!begin(writer, settings, width, height, bits, tables.palette)) return {};
    // The drawing call-back takes the whole picture as one band.
    const Bytes rows = prepareCells(picture, tables, width, height, bits);
    const bool complete = writeRows(writer, rows, width, height, bits, format.swapRedBlue == 1);
    if (complete) end(writer);
    return writer.file;
}

}  // namespace model
