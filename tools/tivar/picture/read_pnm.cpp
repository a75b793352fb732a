// PNM: black and white, grey and colour, plain and raw.

#include <netpbm/pnm.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "picture/decode_guard.h"
#include "picture/file_rows.h"
#include "picture/lazy_library.h"
#include "picture/readers.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/interrupt.h"

namespace tool {
namespace {

LazyLibrary g_netpbm{TIVAR_NETPBM_LIBRARY, "PNM"};

TIVAR_LAZY_FUNCTION(g_netpbm, pbm_readpbmrow_packed);
TIVAR_LAZY_FUNCTION(g_netpbm, pm_init);
TIVAR_LAZY_FUNCTION(g_netpbm, pm_setMessage);
TIVAR_LAZY_FUNCTION(g_netpbm, pm_setjmpbuf);
TIVAR_LAZY_FUNCTION(g_netpbm, pm_setusererrormsgfn);
TIVAR_LAZY_FUNCTION(g_netpbm, pnm_readpnminit);
TIVAR_LAZY_FUNCTION(g_netpbm, pnm_readpnmrow);

struct Header {
    int width{};
    int height{};
    xelval highest{};
    int format{};
};

DecodeGuard* g_activeGuard = nullptr;

// libnetpbm reports first, then jumps to the place that it was given.
void onError(const char* message) {
    std::snprintf(g_activeGuard->message, sizeof g_activeGuard->message, "%s", message);
}

void connect(DecodeGuard& guard) {
    g_activeGuard = &guard;
    pm_init("tivar", 0);
    pm_setMessage(0, nullptr);
    pm_setusererrormsgfn(onError);
    pm_setjmpbuf(&guard.place);
}

uint8_t scaled(xelval value, xelval highest) {
    return static_cast<uint8_t>((std::min(value, highest) * 255 + highest / 2) / highest);
}

PixelFormat formatOf(const Header& header) {
    const int type = PNM_FORMAT_TYPE(header.format);
    return type == PBM_TYPE   ? PixelFormat::Index1
           : type == PGM_TYPE ? PixelFormat::Grey
                              : PixelFormat::Rgb;
}

bool storedAsBytes(const Header& header) {
    return header.highest == 255 && (header.format == RPGM_FORMAT || header.format == RPPM_FORMAT);
}

// Rows that go from a regular file straight to their places.
struct PlacedRows {
    int file;
    off_t start;  // of the top row
    size_t rowBytes;
    const Image& picture;

    // Hundreds of rows at a call, from first up to last: the one behind those that are complete.
    uint32_t read(uint32_t first, uint32_t last) const {
        constexpr uint32_t kRowsAtOnce = 256;
        uint32_t done = first;
        while (done < last) {
            iovec rows[kRowsAtOnce];
            const uint32_t count = std::min(kRowsAtOnce, last - done);
            for (uint32_t i = 0; i < count; ++i) rows[i] = {rowAt(picture, done + i), rowBytes};
            const off_t position = start + static_cast<off_t>(done * rowBytes);
            const ssize_t got = preadv(file, rows, static_cast<int>(count), position);
            const auto complete =
                got < 0 ? 0u : static_cast<uint32_t>(static_cast<size_t>(got) / rowBytes);
            if (complete == 0) break;
            done += complete;
        }
        return done;
    }
};

// The same of all rows by two threads: the system clears the pages of a large picture as they are
// filled, which takes longer than to read it. A thread that cannot be had is done without.
uint32_t readHalves(const PlacedRows& rows) {
    const uint32_t height = rows.picture.height;
    const uint32_t middle = height / 2;
    uint32_t end = middle;
    std::thread lower;
    try {
        const BlockSignals blocked;  // they are the first thread's
        lower = std::thread([&] { end = rows.read(middle, height); });
    } catch (const std::system_error&) {
        return rows.read(0, height);
    }
    const uint32_t upper = rows.read(0, middle);
    lower.join();
    return upper == middle ? end : upper;
}

// Returns the rows that are complete; 0 for what cannot be read at a position.
uint32_t readRowsInPlace(std::FILE* file, const Image& picture, size_t rowBytes, unsigned threads) {
    constexpr size_t kWorthwhile = 4u << 20;
    const off_t start = ftello(file);
    if (start < 0) return 0;
    const PlacedRows rows{fileno(file), start, rowBytes, picture};
    const bool two = threads > 1 && rowBytes * picture.height >= kWorthwhile;
    return two ? readHalves(rows) : rows.read(0, picture.height);
}

void readByteRows(std::FILE* file, const Image& picture, unsigned threads) {
    const size_t count = size_t{picture.width} * bitsOf(picture.format) / 8;
    uint32_t y = readRowsInPlace(file, picture, count, threads);
    if (y > 0 && y < picture.height) failShort(y, picture.height);
    for (; y < picture.height; ++y) {
        if (std::fread(rowAt(picture, y), 1, count, file) != count) failShort(y, picture.height);
    }
}

// A set bit is black, so the table begins with white.
void readBitRows(std::FILE* file, const Header& header, const Image& picture) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        pbm_readpbmrow_packed(file, rowAt(picture, y), header.width, header.format);
    }
}

void storeRow(const std::vector<xel>& row, xelval highest, PixelFormat format, uint8_t* to) {
    for (const xel& value : row) {
        if (format == PixelFormat::Grey) {
            *to++ = scaled(PNM_GET1(value), highest);
        } else {
            *to++ = scaled(PNM_GETR(value), highest);
            *to++ = scaled(PNM_GETG(value), highest);
            *to++ = scaled(PNM_GETB(value), highest);
        }
    }
}

void readValueRows(std::FILE* file, const Header& header, const Image& picture,
                   std::vector<xel>& row) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        pnm_readpnmrow(file, row.data(), header.width, header.highest, header.format);
        storeRow(row, header.highest, picture.format, rowAt(picture, y));
    }
}

void readPixels(std::FILE* file, const Header& header, const Image& picture, unsigned threads,
                DecodeGuard& guard) {
    if (storedAsBytes(header)) return readByteRows(file, picture, threads);
    if (picture.format == PixelFormat::Index1) {
        return guarded(guard, [&] { readBitRows(file, header, picture); });
    }
    std::vector<xel> row(picture.width);
    guarded(guard, [&] { readValueRows(file, header, picture, row); });
}

Header readHeader(std::FILE* file, DecodeGuard& guard) {
    connect(guard);
    Header header;
    guarded(guard, [&] {
        pnm_readpnminit(file, &header.width, &header.height, &header.highest, &header.format);
    });
    return header;
}

std::optional<FileRows> rowsInFile(OpenFile file, const ReadRequest& request) {
    char kind[2]{};
    const bool raw = ::pread(fileno(file.get()), kind, 2, 0) == 2 && kind[0] == 'P' &&
                     (kind[1] == '5' || kind[1] == '6');
    if (!raw) return {};
    DecodeGuard guard;
    const Header header = readHeader(file.get(), guard);
    if (!storedAsBytes(header)) return {};
    Image outline = outlineOf(request, formatOf(header), static_cast<uint64_t>(header.width),
                              static_cast<uint64_t>(header.height));
    const auto start = static_cast<uint64_t>(ftello(file.get()));
    return rowsOf(std::move(file), std::move(outline), start);
}

}  // namespace

// A pipe gives its bytes once only, and waits for the other end.
std::optional<FileRows> pnmRows(const std::string& name, const ReadRequest& request) {
    struct stat status {};
    const bool named = name != "-" && ::stat(name.c_str(), &status) == 0;
    if (!named || !S_ISREG(status.st_mode)) return {};
    try {
        return rowsInFile(openInput(name), request);
    } catch (const Failure&) {
        return {};
    }
}

Image readPnm(std::FILE* file, const ReadRequest& request) {
    DecodeGuard guard;
    const Header header = readHeader(file, guard);
    Image picture = newImage(request, formatOf(header), static_cast<uint64_t>(header.width),
                             static_cast<uint64_t>(header.height));
    if (picture.format == PixelFormat::Index1) picture.palette = {{255, 255, 255}, {0, 0, 0}};
    tolerating(request, picture,
               [&] { readPixels(file, header, picture, request.threads, guard); });
    return picture;
}

}  // namespace tool
