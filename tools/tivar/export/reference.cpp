#include "export/reference.h"

#include <tivar/write.h>

#include <algorithm>
#include <array>
#include <utility>

#include "bmp/bmp_check.h"
#include "bmp/fields.h"
#include "bmp/headers_like.h"
#include "bmp/inspection.h"
#include "bmp/read_bytes.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace tool {
namespace {

using Masks = std::array<uint32_t, 4>;
constexpr Masks kMasks565{0xF800, 0x07E0, 0x001F, 0};
constexpr Masks kMasks555{0x7C00, 0x03E0, 0x001F, 0};
constexpr Masks kMasks888{0xFF0000, 0x00FF00, 0x0000FF, 0};
constexpr Masks kMasks8888{0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000};

// ---- What the reference has ----

int32_t masksOf(const BmpFile& file) {
    return fieldsOf(file).of[1].bits > 5 ? TIVAR_MASKS_565 : TIVAR_MASKS_555;
}

// The masks that pixels are written with, as near as it gets to the file's own.
const Masks& nearestMasks(const BmpFile& file) {
    if (file.bits == 16) return masksOf(file) == TIVAR_MASKS_565 ? kMasks565 : kMasks555;
    return hasAlpha(file) ? kMasks8888 : kMasks888;
}

bool isEncoded(const BmpFile& file) {
    return file.form == BmpForm::Rle8 || file.form == BmpForm::Rle4;
}

bool isEmbeddedPicture(const BmpFile& file) {
    return file.form == BmpForm::Jpeg || file.form == BmpForm::Png;
}

// ---- Damage ----

[[noreturn]] void failDamaged(const BmpFlaw& flaw) {
    fail(flaw.what + ", at byte " + std::to_string(flaw.at),
         "see tivar inspect, or follow a sound file");
}

// What is put right in the new file.
bool isRepaired(const BmpFlaw& flaw) {
    return flaw.at == kBmpFileSize || flaw.at == kBmpReserved || flaw.at == kBmpImageSize;
}

// Flaws of the pixels that lose none are not those of the form.
void judge(Reference& reference) {
    const BmpFile& file = reference.file;
    const RunMap pixels = mapPixels(file);
    for (const BmpFlaw& flaw : pixels.flaws.list) {
        if (flaw.losesPixels) failDamaged(flaw);
    }
    for (const BmpFlaw& flaw : headerFlaws(file, pixels.end).list) {
        if (!isRepaired(flaw)) failDamaged(flaw);
        reference.notices.push_back(
            {"in " + reference.name + " " + flaw.what, "what is written has the right value"});
    }
}

// ---- Forms that cannot be written ----

[[noreturn]] void failForm(const Reference& reference, const std::string& what,
                           const std::string& remedy) {
    failAt(reference.name, what + ", which cannot be written", remedy);
}

void requireDepth(const Reference& reference) {
    const BmpFile& file = reference.file;
    constexpr char kOtherDepth[] = "choose a depth with --bits, or follow another file";
    if (isEmbeddedPicture(file))
        failForm(reference, "has " + std::string(nameOfForm(file.form)) + " in it", kOtherDepth);
    constexpr std::array kWritten{1, 4, 8, 16, 24, 32};
    if (std::find(kWritten.begin(), kWritten.end(), file.bits) != kWritten.end()) return;
    failForm(reference, "has " + std::to_string(file.bits) + " bits a pixel", kOtherDepth);
}

void requireEncoding(const Reference& reference) {
    const BmpFile& file = reference.file;
    if (file.form == BmpForm::Raw || isEncoded(file)) return;
    const bool native = file.form == BmpForm::Native;
    failForm(reference,
             native ? "has rows in the native form"
                    : std::string("has the compression ") + nameOfCompression(file),
             "write raw rows with --compress none, or follow another file");
}

void requireSides(const Reference& reference) {
    const BmpFile& file = reference.file;
    if (file.width <= int64_t{kLargestSide} && file.rows <= kLargestSide) return;
    failAt(reference.name, "has sides of more than " + std::to_string(kLargestSide) + " pixels",
           "choose a size with --size");
}

// ---- What is taken over ----

// The depth that options ask for, if they do.
std::optional<uint16_t> askedDepth(const ExportRequest& request, const BmpFile& file) {
    const ColorRequest& colors = request.colors;
    if (request.bits) return request.bits;
    if (colors.masks) return uint16_t{16};
    const size_t entries = std::max<size_t>(colors.palette.size(), colors.count);
    const size_t room = file.bits > 8 ? 0 : size_t{1} << file.bits;
    if (entries <= room) return std::nullopt;
    return static_cast<uint16_t>(bitsOf(indexFormat(entries)));
}

// Whether options put something else in the place of what the head tells.
bool replacesForm(const ExportRequest& request, const BmpFile& file) {
    const ColorRequest& colors = request.colors;
    if (request.bits.value_or(file.bits) != file.bits) return true;
    if (file.form != BmpForm::Raw && !isEncoded(file)) return true;
    if (request.flavour == Flavour::Os2 && !hasCoreHeader(file)) return true;
    if (request.compression && (request.compression == Compression::Portable) != isEncoded(file)) {
        return true;
    }
    if (colors.masks && *colors.masks != masksOf(file)) return true;
    return !colors.palette.empty() || colors.count != 0;
}

// One export that follows one file.
struct Following {
    const Reference& reference;
    const BmpFile& file;
    ExportRequest& request;
    bool replaced{};                  // by options, what the head tells
    std::vector<std::string> lost{};  // what is not followed
};

void followFlavour(Following& following) {
    ExportRequest& request = following.request;
    if (request.flavour || !hasCoreHeader(following.file)) return;
    const uint16_t bits = *request.bits;
    const bool deep = bits == 16 || bits == 32;
    if (!deep && request.compression != Compression::Portable) request.flavour = Flavour::Os2;
}

void followEncoding(Following& following) {
    ExportRequest& request = following.request;
    if (request.compression) return;
    const uint16_t bits = *request.bits;
    const bool encodable = bits == 4 || bits == 8;
    const bool wanted = isEncoded(following.file);
    const bool portable = wanted && encodable && request.flavour != Flavour::Os2;
    request.compression = portable ? Compression::Portable : Compression::None;
    if (wanted && !portable) following.lost.emplace_back("its run lengths");
}

void followPalette(Following& following) {
    ExportRequest& request = following.request;
    const std::vector<Color>& palette = following.file.palette;
    const bool given = !request.colors.palette.empty() || request.colors.count != 0;
    if (given || palette.empty() || request.bits > 8) return;
    if (palette.size() > size_t{1} << *request.bits) {
        following.lost.emplace_back("its palette");
    } else {
        request.colors.palette = palette;
    }
}

void followFields(Following& following) {
    ExportRequest& request = following.request;
    const BmpFile& file = following.file;
    if (request.bits != file.bits) return;
    if (file.bits == 32) request.like.alpha = hasAlpha(file);
    if (request.colors.masks) return;
    if (file.bits == 16) request.colors.masks = masksOf(file);
    if (following.reference.ownMasks) following.lost.emplace_back("its colour masks");
}

void followRows(Following& following) {
    ExportRequest& request = following.request;
    const BmpFile& file = following.file;
    const bool os2 = request.flavour == Flavour::Os2;
    request.like.topDown = file.height < 0 && !os2 && request.compression != Compression::Portable;
    if (file.height < 0 && !request.like.topDown) following.lost.emplace_back("its row order");
    if (request.size) return;
    requireSides(following.reference);
    request.size = PixelSize{static_cast<uint32_t>(file.width), static_cast<uint32_t>(file.rows)};
}

void followResolution(Following& following) {
    FormRequest& like = following.request.like;
    const BmpFile& file = following.file;
    if (following.request.flavour == Flavour::Os2) {
        if (file.xPerMeter != 0 || file.yPerMeter != 0)
            following.lost.emplace_back("its resolution");
        return;
    }
    // The head has it as it stands there; the library counts with a sign.
    const auto positive = [](uint32_t value) {
        return static_cast<int32_t>(std::min<uint32_t>(value, INT32_MAX));
    };
    like.xPerMeter = positive(file.xPerMeter);
    like.yPerMeter = positive(file.yPerMeter);
}

// The reference's own headers, or the nearest ones of the library's.
void followHeaders(Following& following) {
    ExportRequest& request = following.request;
    const BmpFile& file = following.file;
    if (!following.replaced) {
        request.like.head = following.reference.head;
        if (following.reference.ownColorSpace) following.lost.emplace_back("its colour space");
        return;
    }
    const bool os2 = request.flavour == Flavour::Os2;
    constexpr uint32_t kV4Bytes = 108;
    const bool fourth = !os2 && file.headerBytes >= kV4Bytes;
    if (fourth) request.like.header = TIVAR_HEADER_V4;
    const uint32_t written = os2 ? 12 : fourth ? kV4Bytes : 40;
    if (written != file.headerBytes) {
        following.lost.push_back("its header (" + headerName(file.headerBytes) + ")");
    }
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

}  // namespace

Reference referenceFrom(std::vector<uint8_t> bytes, const std::string& name) {
    Reference reference;
    reference.name = name;
    BmpFile& file = reference.file;
    file = parseBmp(std::move(bytes));
    judge(reference);
    reference.head = headOf(file);
    reference.ownColorSpace = hasOwnColorSpace(file);
    reference.ownMasks = hasFields(file) && file.masks != nearestMasks(file);
    if (reference.ownMasks) putMasks(reference.head, nearestMasks(file));
    file.bytes = {};
    return reference;
}

Reference readReference(const std::string& name) {
    try {
        return referenceFrom(readBmpBytes(name), nameOfInput(name));
    } catch (Failure& failure) {
        if (failure.file.empty()) failure.file = nameOfInput(name);
        throw;
    }
}

void follow(const Reference& reference, ExportRequest& request) {
    const BmpFile& file = reference.file;
    const std::optional<uint16_t> asked = askedDepth(request, file);
    if (!asked) requireDepth(reference);
    if (!asked && !request.compression) requireEncoding(reference);
    request.bits = asked.value_or(file.bits);
    Following following{reference, file, request, replacesForm(request, file)};
    followFlavour(following);
    followEncoding(following);
    followPalette(following);
    followFields(following);
    followRows(following);
    followResolution(following);
    followHeaders(following);
    request.like.notices = reference.notices;
    if (following.lost.empty()) return;
    request.like.notices.push_back(
        {reference.name + " is not followed in " + joined(following.lost),
         "compare the files with tivar inspect"});
}

}  // namespace tool
