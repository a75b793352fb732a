#include "write/job.h"

#include "write/record.h"

namespace tivar {
namespace {

constexpr Refusal badPicture(const char* field, const char* why) {
    return {TIVAR_RESULT_BAD_PICTURE, field, why};
}
constexpr Refusal badOption(const char* field, const char* why) {
    return {TIVAR_RESULT_BAD_OPTION, field, why};
}
constexpr Refusal contradiction(const char* field, const char* why) {
    return {TIVAR_RESULT_CONTRADICTION, field, why};
}

// ---- The picture ----

// Bytes between rows, whichever way they lie; the least stride has no opposite of its own kind.
uint64_t stepOf(const TivarPicture& picture) {
    const auto stride = static_cast<uint64_t>(int64_t{picture.stride});
    return picture.stride < 0 ? 0 - stride : stride;
}

bool strideHoldsRow(const TivarPicture& picture) {
    const uint64_t wanted = packedRowBytes(picture.width, formatBits(picture.format));
    return picture.stride == 0 || picture.height == 1 || stepOf(picture) >= wanted;
}

// Whether every byte of the picture can lie in memory at all.
bool fitsMemory(const TivarPicture& picture) {
    const uint64_t row = packedRowBytes(picture.width, formatBits(picture.format));
    const uint64_t step = picture.stride == 0 ? row : stepOf(picture);
    constexpr uint64_t kMost = PTRDIFF_MAX;
    return row <= kMost && (picture.height == 1 || step <= (kMost - row) / (picture.height - 1));
}

Refusal checkPixels(const TivarPicture& picture) {
    if (picture.pixels == nullptr) {
        if (picture.read_row == nullptr)
            return badPicture("picture.pixels",
                              "there are neither pixels nor a call-back for rows");
        if (picture.stride != 0)
            return contradiction("picture.stride", "rows of a call-back have none");
        return kAccepted;
    }
    if (picture.read_row != nullptr)
        return contradiction("picture.read_row", "there are pixels too");
    if ((picture.flags & TIVAR_ROWS_IN_ORDER) != 0)
        return contradiction("picture.flags", "the order of rows is that of a call-back");
    if (!strideHoldsRow(picture)) return badPicture("picture.stride", "it is less than a row");
    if (!fitsMemory(picture)) return badPicture("picture.height", "no memory is that large");
    return kAccepted;
}

Refusal checkPicturePalette(const TivarPicture& picture) {
    if (!hasIndices(picture.format)) {
        if (picture.palette != nullptr || picture.palette_count != 0)
            return contradiction("picture.palette", "only indices have one");
        return kAccepted;
    }
    if (picture.palette == nullptr) return badPicture("picture.palette", "indices need one");
    if (picture.palette_count == 0 || picture.palette_count > 1u << formatBits(picture.format))
        return badPicture("picture.palette_count", "it is not from 1 to 2^bits");
    return kAccepted;
}

Refusal checkPicture(const TivarPicture& picture) {
    if (picture.format < TIVAR_RGB || picture.format > TIVAR_INDEX8)
        return badPicture("picture.format", "it is none that there is");
    if (picture.width == 0 || picture.width > kMostSide)
        return badPicture("picture.width", "it is not from 1 to 2^31 - 1");
    if (picture.height == 0 || picture.height > kMostSide)
        return badPicture("picture.height", "it is not from 1 to 2^31 - 1");
    if ((picture.flags & ~uint32_t{TIVAR_ROWS_IN_ORDER}) != 0)
        return badPicture("picture.flags", "there is an unknown one");
    const Refusal pixels = checkPixels(picture);
    return pixels.result != TIVAR_RESULT_OK ? pixels : checkPicturePalette(picture);
}

// ---- The options, each by itself ----

struct Choice {
    const char* field;
    int32_t value;
    int32_t last;
};

bool isFileDepth(int32_t bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

Refusal checkChoices(const TivarOptions& options) {
    const Choice choices[] = {
        {"options.header", options.header, TIVAR_HEADER_V4},
        {"options.encoding", options.encoding, TIVAR_ENCODING_SMALLEST},
        {"options.row_order", options.row_order, TIVAR_TOP_DOWN},
        {"options.palette_length", options.palette_length, TIVAR_PALETTE_FULL},
        {"options.masks", options.masks, TIVAR_MASKS_555},
        {"options.colors", options.colors, TIVAR_COLORS_FILTER},
        {"options.dither", options.dither, TIVAR_DITHER_ORDERED},
        {"options.alpha", options.alpha, TIVAR_ALPHA_DROP},
    };
    for (const Choice& choice : choices)
        if (choice.value < 0 || choice.value > choice.last)
            return badOption(choice.field, "it is none that there is");
    return kAccepted;
}

Refusal checkNumbers(const TivarOptions& options) {
    if (options.bits != 0 && !isFileDepth(options.bits))
        return badOption("options.bits", "it is none of 1, 4, 8, 16, 24 and 32");
    if (options.x_per_meter < 0) return badOption("options.x_per_meter", "it is negative");
    if (options.y_per_meter < 0) return badOption("options.y_per_meter", "it is negative");
    if (options.threads < 0) return badOption("options.threads", "it is negative");
    if (options.background[3] != 0)
        return badOption("options.background", "its last byte is not 0");
    return kAccepted;
}

// ---- The options with each other and with the picture ----

bool isPaletteDepth(int32_t bits) {
    return bits <= 8;
}

int32_t ownBits(int32_t format) {
    if (hasIndices(format) || format == TIVAR_GREY) return static_cast<int32_t>(formatBits(format));
    return hasAlpha(format) ? 32 : 24;
}

Refusal checkOs2(const TivarOptions& options, const TivarPicture& picture) {
    if (options.bits == 16 || options.bits == 32)
        return contradiction("options.header", "the OS/2 header has 1, 4, 8 or 24 bits");
    if (options.encoding == TIVAR_ENCODING_RLE)
        return contradiction("options.encoding",
                             "the OS/2 header cannot tell that rows are encoded");
    if (options.row_order == TIVAR_TOP_DOWN)
        return contradiction("options.row_order", "the OS/2 header has no negative heights");
    if (options.x_per_meter != 0)
        return contradiction("options.x_per_meter", "the OS/2 header has no resolution");
    if (options.y_per_meter != 0)
        return contradiction("options.y_per_meter", "the OS/2 header has no resolution");
    if (picture.width > 0xFFFF)
        return {TIVAR_RESULT_TOO_LARGE, "picture.width", "the OS/2 header ends at 65535"};
    if (picture.height > 0xFFFF)
        return {TIVAR_RESULT_TOO_LARGE, "picture.height", "the OS/2 header ends at 65535"};
    return kAccepted;
}

Refusal checkForm(const TivarOptions& options, const TivarPicture& picture) {
    if (options.encoding == TIVAR_ENCODING_RLE && options.bits != 4 && options.bits != 8)
        return contradiction("options.encoding", "only 4 and 8 bits are run-length encoded");
    if (options.encoding == TIVAR_ENCODING_RLE && options.row_order == TIVAR_TOP_DOWN)
        return contradiction("options.row_order", "encoded rows lie bottom-up");
    if (options.masks != 0 && options.bits != 16)
        return contradiction("options.masks", "only 16 bits have a choice of them");
    return options.header == TIVAR_HEADER_OS2 ? checkOs2(options, picture) : kAccepted;
}

Refusal checkPalette(const TivarOptions& options) {
    const uint32_t room = 1u << options.bits;
    if (options.max_colors != 0 && (options.max_colors < 2 || options.max_colors > room))
        return badOption("options.max_colors", "it is not from 2 to 2^bits");
    if (options.colors == TIVAR_COLORS_GIVEN) {
        if (options.palette == nullptr)
            return contradiction("options.palette", "the colours are to be given, and are not");
        if (options.palette_count == 0 || options.palette_count > room)
            return badOption("options.palette_count", "it is not from 1 to 2^bits");
        if (options.max_colors != 0)
            return contradiction("options.max_colors", "the colours are given");
        return kAccepted;
    }
    if (options.palette != nullptr || options.palette_count != 0)
        return contradiction("options.palette", "colors does not say that the colours are given");
    return kAccepted;
}

Refusal checkTrueColor(const TivarOptions& options) {
    if (options.colors != 0) return contradiction("options.colors", "the depth has no palette");
    if (options.max_colors != 0)
        return contradiction("options.max_colors", "the depth has no palette");
    if (options.palette != nullptr || options.palette_count != 0)
        return contradiction("options.palette", "the depth has no palette");
    if (options.palette_length != 0)
        return contradiction("options.palette_length", "the depth has no palette");
    if (options.dither > TIVAR_DITHER_NONE && options.bits != 16)
        return contradiction("options.dither", "the depth has every colour");
    return kAccepted;
}

Refusal checkColors(const TivarOptions& options) {
    const uint8_t* background = options.background;
    const bool given = (background[0] | background[1] | background[2]) != 0;
    if (given && options.alpha != TIVAR_ALPHA_OVER)
        return contradiction("options.background", "alpha does not say that it is wanted");
    return isPaletteDepth(options.bits) ? checkPalette(options) : checkTrueColor(options);
}

// ---- Defaults ----

// Whether the file takes the picture's own palette.
bool keepsIndices(const TivarOptions& options, const TivarPicture& picture) {
    if (!hasIndices(picture.format) || options.colors != TIVAR_COLORS_DEFAULT) return false;
    const uint32_t room = options.max_colors != 0 ? options.max_colors : 1u << options.bits;
    return picture.palette_count <= room;
}

void settlePalette(Job& job) {
    TivarOptions& options = job.options;
    job.source = keepsIndices(options, job.picture) ? PixelSource::kIndices : PixelSource::kReduced;
    if (options.colors == TIVAR_COLORS_DEFAULT)
        options.colors = options.bits == 1 ? TIVAR_COLORS_GREYS : TIVAR_COLORS_BEST;
    if (options.max_colors == 0) options.max_colors = 1u << options.bits;
    if (options.dither == TIVAR_DITHER_DEFAULT)
        options.dither = options.bits == 8 ? TIVAR_DITHER_NONE : TIVAR_DITHER_DIFFUSE;
}

void settleTrueColor(Job& job) {
    TivarOptions& options = job.options;
    job.source = options.bits == 16 ? PixelSource::kHigh : PixelSource::kColors;
    if (options.dither == TIVAR_DITHER_DEFAULT) options.dither = TIVAR_DITHER_NONE;
}

// Alpha is kept only in a header that can tell of it.
void settleAlpha(Job& job) {
    TivarOptions& options = job.options;
    const bool canKeep = options.bits == 32 && options.header != TIVAR_HEADER_WINDOWS;
    job.keepsAlpha =
        hasAlpha(job.picture.format) && options.alpha == TIVAR_ALPHA_DEFAULT && canKeep;
    if (options.alpha == TIVAR_ALPHA_DEFAULT)
        options.background[0] = options.background[1] = options.background[2] = 0xFF;
    if (options.header == TIVAR_HEADER_DEFAULT)
        options.header = job.keepsAlpha ? TIVAR_HEADER_V4 : TIVAR_HEADER_WINDOWS;
}

void settle(Job& job) {
    TivarOptions& options = job.options;
    settleAlpha(job);
    if (isPaletteDepth(options.bits)) {
        settlePalette(job);
    } else {
        settleTrueColor(job);
    }
    const bool canEncode = (options.bits == 4 || options.bits == 8) &&
                           options.header != TIVAR_HEADER_OS2 &&
                           options.row_order == TIVAR_BOTTOM_UP;
    job.encoded = options.encoding != TIVAR_ENCODING_RAW && canEncode;
}

// Up to the last fields that the first release had, whatever comes behind them.
constexpr size_t kFirstPictureBytes = offsetof(TivarPicture, flags) + sizeof(TivarPicture::flags);
constexpr size_t kFirstOptionsBytes =
    offsetof(TivarOptions, context) + sizeof(TivarOptions::context);

}  // namespace

uint32_t formatBits(int32_t format) {
    constexpr uint32_t kBits[] = {24, 24, 32, 32, 8, 1, 4, 8};
    return kBits[format];
}

Refusal checkJob(const TivarPicture* picture, const TivarOptions* options, Job& job) {
    job = {};
    if (picture == nullptr) return {TIVAR_RESULT_BAD_CALL, "picture", "it is null"};
    if (!readRecord(picture, kFirstPictureBytes, job.picture))
        return {TIVAR_RESULT_BAD_CALL, "picture.size", "it is not that of the record"};
    if (options != nullptr && !readRecord(options, kFirstOptionsBytes, job.options))
        return {TIVAR_RESULT_BAD_CALL, "options.size", "it is not that of the record"};
    Refusal refusal = checkPicture(job.picture);
    if (refusal.result == TIVAR_RESULT_OK) refusal = checkChoices(job.options);
    if (refusal.result == TIVAR_RESULT_OK) refusal = checkNumbers(job.options);
    if (refusal.result != TIVAR_RESULT_OK) return refusal;
    if (job.options.bits == 0) job.options.bits = ownBits(job.picture.format);
    refusal = checkForm(job.options, job.picture);
    if (refusal.result == TIVAR_RESULT_OK) refusal = checkColors(job.options);
    if (refusal.result == TIVAR_RESULT_OK) settle(job);
    return refusal;
}

}  // namespace tivar
