// Pictures and calls of the direct interface, for its tests.
#pragma once

#include <tivar/write.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "model/plain_bmp.h"
#include "support/random_numbers.h"
#include "support/temp_directory.h"

namespace write_kit {

using model::Bytes;
using model::Drawn;

constexpr int32_t kFormats[] = {TIVAR_RGB,  TIVAR_BGR,    TIVAR_RGBA,   TIVAR_BGRA,
                                TIVAR_GREY, TIVAR_INDEX1, TIVAR_INDEX4, TIVAR_INDEX8};
constexpr int32_t kDepths[] = {1, 4, 8, 16, 24, 32};

// ---- Pictures ----------------------------------------------------------------------------------

inline void putColor(Drawn& picture, uint8_t* at, model::Rgba color) {
    const bool swapped = picture.format == TIVAR_BGR || picture.format == TIVAR_BGRA;
    if (picture.format == TIVAR_GREY) {
        at[0] = color.red;
        return;
    }
    at[0] = swapped ? color.blue : color.red;
    at[1] = color.green;
    at[2] = swapped ? color.red : color.blue;
    if (model::hasAlpha(picture.format)) at[3] = color.alpha;
}

inline void putIndex(Drawn& picture, uint32_t x, uint32_t y, uint32_t index) {
    const auto bits = static_cast<uint32_t>(model::bitsOfFormat(picture.format));
    const uint32_t perByte = 8 / bits;
    uint8_t& byte = picture.rows[y * model::rowBytes(picture.format, picture.width) + x / perByte];
    byte = static_cast<uint8_t>(byte | index << (8 - bits * (x % perByte + 1)));
}

// Runs and single pixels of the given colours, of which the format takes what it can; of indices
// they are the palette.
inline Drawn drawWith(int32_t format, uint32_t width, uint32_t height, uint32_t seed,
                      std::vector<model::Rgba> colors) {
    Drawn picture = {format, width, height, Bytes(model::rowBytes(format, width) * height), {}};
    support::Random random(seed);
    if (model::isIndexed(format)) {
        const size_t room = size_t{1} << model::bitsOfFormat(format);
        if (colors.size() > room) colors.resize(room);
        for (const model::Rgba& color : colors)
            picture.palette.insert(picture.palette.end(), {color.red, color.green, color.blue});
    }
    const auto bytes = static_cast<uint32_t>(model::bitsOfFormat(format)) / 8;
    const auto count = static_cast<uint32_t>(colors.size());
    uint32_t next = 0;
    for (uint32_t y = 0; y < height; ++y) {
        uint32_t left = 0;
        uint32_t chosen = 0;
        for (uint32_t x = 0; x < width; ++x) {
            if (left == 0) {
                left = random() % 3 == 0 ? 1 + random() % 40 : 1;
                // Each of them, if there is room, then any.
                chosen = next < count ? next : random() % count;
                ++next;
            }
            --left;
            if (model::isIndexed(format)) {
                putIndex(picture, x, y, chosen);
            } else {
                uint8_t* at = &picture.rows[y * model::rowBytes(format, width) + x * bytes];
                putColor(picture, at, colors[chosen]);
            }
        }
    }
    return picture;
}

// So many colours, all of them different, black and white first.
inline std::vector<model::Rgba> someColors(uint32_t count, bool withAlpha, uint32_t seed) {
    std::vector<model::Rgba> colors = {{0, 0, 0, 255}, {255, 255, 255, 255}};
    support::Random random(seed);
    for (uint32_t i = 2; i < count; ++i) {
        const uint8_t alpha = withAlpha ? random.byte() : 255;
        colors.push_back({static_cast<uint8_t>(i), random.byte(), random.byte(), alpha});
    }
    colors.resize(count, {0, 0, 0, 255});
    return colors;
}

inline Drawn drawFew(int32_t format, uint32_t width, uint32_t height, uint32_t colors,
                     uint32_t seed = 1) {
    return drawWith(format, width, height, seed, someColors(colors, model::hasAlpha(format), seed));
}

// Any bytes at all, indices beyond a short palette included.
inline Drawn drawNoise(int32_t format, uint32_t width, uint32_t height, uint32_t seed,
                       uint32_t paletteCount = 0) {
    Drawn picture = {format, width, height, Bytes(model::rowBytes(format, width) * height), {}};
    support::Random random(seed);
    for (uint8_t& byte : picture.rows) byte = random.byte();
    if (!model::isIndexed(format)) return picture;
    const uint32_t full = 1u << model::bitsOfFormat(format);
    picture.palette.resize(size_t{3} * (paletteCount == 0 ? full : paletteCount));
    for (uint8_t& byte : picture.palette) byte = random.byte();
    return picture;
}

// ---- Sources -----------------------------------------------------------------------------------

inline TivarPicture recordOf(const Drawn& drawn) {
    TivarPicture picture = {};
    picture.size = sizeof picture;
    picture.format = drawn.format;
    picture.width = drawn.width;
    picture.height = drawn.height;
    picture.pixels = drawn.rows.data();
    picture.palette = drawn.palette.empty() ? nullptr : drawn.palette.data();
    picture.palette_count = static_cast<uint32_t>(drawn.palette.size() / 3);
    return picture;
}

inline TivarOptions noOptions() {
    TivarOptions options = {};
    options.size = sizeof options;
    return options;
}

inline TivarOptions optionsOf(int32_t bits) {
    TivarOptions options = noOptions();
    options.bits = bits;
    return options;
}

enum class Access { kPacked, kPadded, kUpwards, kPaddedUpwards, kAnyOrder, kInOrder };
constexpr Access kAccesses[] = {Access::kPacked,        Access::kPadded,   Access::kUpwards,
                                Access::kPaddedUpwards, Access::kAnyOrder, Access::kInOrder};

// A drawn picture as a caller hands it over. Rows that a call-back gives are noted.
struct Source {
    Source(const Drawn& drawn_, Access access) : drawn(&drawn_), picture(recordOf(drawn_)) {
        switch (access) {
            case Access::kPacked:
                break;
            case Access::kPadded:
                lay(5, false);
                break;
            case Access::kUpwards:
                lay(0, true);
                break;
            case Access::kPaddedUpwards:
                lay(3, true);
                break;
            case Access::kInOrder:
                picture.flags = TIVAR_ROWS_IN_ORDER;
                [[fallthrough]];
            case Access::kAnyOrder:
                picture.pixels = nullptr;
                picture.read_row = readRow;
                picture.context = this;
        }
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // What is not a row is filled, to show in the file if it is read.
    void lay(size_t padding, bool upwards) {
        const size_t bytes = model::rowBytes(drawn->format, drawn->width);
        const size_t stride = bytes + padding;
        storage.assign(stride * drawn->height, 0xA5);
        for (uint32_t y = 0; y < drawn->height; ++y) {
            const size_t place = upwards ? drawn->height - 1 - y : y;
            std::copy_n(drawn->rows.begin() + static_cast<ptrdiff_t>(y * bytes), bytes,
                        storage.begin() + static_cast<ptrdiff_t>(place * stride));
        }
        const size_t top = upwards ? stride * (drawn->height - 1) : 0;
        picture.pixels = storage.data() + top;
        picture.stride = upwards ? -static_cast<ptrdiff_t>(stride) : static_cast<ptrdiff_t>(stride);
    }

    static int32_t readRow(void* context, uint32_t y, void* row) {
        auto& self = *static_cast<Source*>(context);
        self.asked.push_back(y);
        if (self.failsAt != 0 && self.asked.size() == self.failsAt) return -7;
        const size_t bytes = model::rowBytes(self.drawn->format, self.drawn->width);
        std::memcpy(row, &self.drawn->rows[y * bytes], bytes);
        return 0;
    }

    const Drawn* drawn;
    TivarPicture picture;
    Bytes storage;
    std::vector<uint32_t> asked;
    size_t failsAt = 0;  // the nth row; 0 = none
};

// ---- Calls -------------------------------------------------------------------------------------

inline TivarReport noReport() {
    TivarReport report = {};
    std::memset(&report, 0xEE, sizeof report);
    report.size = sizeof report;
    return report;
}

struct Written {
    int32_t result;
    TivarReport report;
    Bytes bytes;
};

inline Written toMemory(const TivarPicture& picture, const TivarOptions& options) {
    Written written = {0, noReport(), {}};
    void* bytes = &written;
    size_t length = 99;
    written.result = tivar_write_bmp_memory(&picture, &options, &bytes, &length, &written.report);
    const auto* from = static_cast<const uint8_t*>(bytes);
    if (from != nullptr) written.bytes.assign(from, from + length);
    tivar_free(bytes);
    return written;
}

inline Written toMemory(const Drawn& picture, const TivarOptions& options) {
    return toMemory(recordOf(picture), options);
}

// Takes everything until a byte that it does not take.
struct Sink {
    TivarSink record() { return {sizeof(TivarSink), take, this}; }

    static size_t take(void* context, const void* data, size_t length) {
        auto& self = *static_cast<Sink*>(context);
        if (self.failed) ++self.callsAfterFailure;
        const auto* from = static_cast<const uint8_t*>(data);
        const size_t taken = std::min(length, self.room - self.bytes.size());
        self.bytes.insert(self.bytes.end(), from, from + taken);
        self.failed = taken < length;
        return taken;
    }

    size_t room = SIZE_MAX;
    Bytes bytes{};
    bool failed = false;
    int callsAfterFailure = 0;
};

inline Written toSink(const TivarPicture& picture, const TivarOptions& options, Sink& sink) {
    Written written = {0, noReport(), {}};
    const TivarSink record = sink.record();
    written.result = tivar_write_bmp(&picture, &options, &record, &written.report);
    written.bytes = sink.bytes;
    return written;
}

inline Written toSink(const TivarPicture& picture, const TivarOptions& options) {
    Sink sink;
    return toSink(picture, options, sink);
}

inline Written toFile(const TivarPicture& picture, const TivarOptions& options,
                      const std::string& name, uint32_t flags = 0) {
    Written written = {0, noReport(), {}};
    written.result = tivar_write_bmp_file(&picture, &options, name.c_str(), flags, &written.report);
    const std::string content = support::readFile(name);
    written.bytes.assign(content.begin(), content.end());
    return written;
}

// ---- What came of it ---------------------------------------------------------------------------

// The file taken apart; the complaint, if there is one, fails the test that prints it.
inline std::string read(const Written& written, model::BmpFile& file) {
    if (written.result != TIVAR_RESULT_OK)
        return std::string(tivar_result_text(written.result)) + ": " + written.report.text;
    return model::readBmp(written.bytes, file);
}

// Empty when the call gave a sound file that holds the picture exactly.
inline std::string judge(const Written& written, const Drawn& picture,
                         const TivarOptions& options) {
    model::BmpFile file;
    const std::string complaint = read(written, file);
    return complaint.empty() ? model::compareExactly(file, picture, options) : complaint;
}

}  // namespace write_kit
