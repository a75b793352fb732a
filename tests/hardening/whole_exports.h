// Whole exports through each of the library's interfaces, as pieces of work for a sweep.
#pragma once

#include <set>

#include "hardening/sweep.h"
#include "support/byte_list.h"
#include "support/driver_host.h"
#include "support/export_host.h"
#include "support/temp_directory.h"

namespace hardening {

enum class Target { kMemory, kFile, kDocument };
constexpr Target kTargets[] = {Target::kMemory, Target::kFile, Target::kDocument};

inline model::Settings settingsOf(int colorFormat, int compressionMode, int fileType) {
    model::Settings settings;
    settings.colorFormat = colorFormat;
    settings.compressionMode = compressionMode;
    settings.fileType = fileType;
    // The page that a picture without a resolution is fitted into.
    settings.pictureWidth = 0.25;
    settings.pictureHeight = 0.2;
    return settings;
}

// Every colour format and compression; the flavours of the file take turns.
inline std::vector<model::Settings> everyLook() {
    std::vector<model::Settings> looks;
    for (const int format : {215, 219, 221, 222}) {
        const bool windows = format == 215 || format == 221;
        looks.push_back(settingsOf(format, 310, windows ? 331 : 332));
        looks.push_back(settingsOf(format, 228, windows ? 332 : 331));
    }
    return looks;
}

constexpr int kDepths[] = {1, 4, 8, 24, 32};

inline Bytes bytesOf(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// What a document or a file holds after the work; the file is removed.
inline Bytes takeOutput(Target target, const support::HostDocument& document,
                        const support::TempDirectory& directory) {
    if (target == Target::kDocument) return document.bytes;
    const Bytes file = bytesOf(directory.read("out.bmp"));
    std::filesystem::remove(directory.path("out.bmp"));
    return file;
}

// ---- The filter route --------------------------------------------------------------------------

struct FilterExport {
    support::DrawnPicture picture;
    model::Settings settings;
    model::Description description;
    Target target;
    const support::TempDirectory& directory;

    // One code: that of the export call.
    Outcome operator()(Attempt& attempt) const {
        support::Export host(settings, picture, description);
        support::HostDocument document;
        if (target == Target::kDocument) document.attach(host.settings.record, host.status);
        const std::string name = target == Target::kMemory ? "" : directory.path("out.bmp");
        Outcome outcome;
        outcome.codes = {99};
        attempt([&] { outcome.codes[0] = host.run(name.c_str()); });
        outcome.bytes =
            target == Target::kMemory ? host.memoryFile() : takeOutput(target, document, directory);
        return outcome;
    }
};

inline std::string nameOf(const FilterExport& work) {
    return std::to_string(work.picture.bits) + " bits as format " +
           std::to_string(work.settings.colorFormat) + ", compression " +
           std::to_string(work.settings.compressionMode) + ", type " +
           std::to_string(work.settings.fileType) + ", " + std::to_string(work.description.width) +
           " pixels wide, target " + std::to_string(static_cast<int>(work.target));
}

inline model::Description sized(int width, int height) {
    model::Description description;
    description.resolution = 96;
    description.width = width;
    description.height = height;
    return description;
}

// ---- The driver's raster route -----------------------------------------------------------------

enum class Image { kBracket, kAlone };

struct DriverExport {
    support::DrawnPicture picture;
    model::Settings settings;
    Image image;
    bool bottomUp;
    double scale;  // of the viewport, 0 for none
    Target target;
    const support::TempDirectory& directory;

    // The codes of initialising, of each operation and of terminating; the first alone when
    // initialising fails.
    Outcome operator()(Attempt& attempt) const {
        support::DriverHost host(settings,
                                 target == Target::kMemory ? "" : directory.path("out.bmp"));
        support::HostDocument document;
        if (target == Target::kDocument) document.attach(host.settings.record, host.hook.words);
        const std::vector<support::OpcodeBlock> operations = everyOperation();
        Outcome outcome;
        const void* memory = nullptr;
        attempt([&] {
            outcome.codes.push_back(host.initialise());
            if (outcome.codes[0] != 0) return;
            for (const support::OpcodeBlock& operation : operations)
                outcome.codes.push_back(host.send(operation));
            memory = lpEMData->memoryBlock;
            outcome.codes.push_back(host.terminate());
        });
        outcome.bytes = target == Target::kMemory ? support::fileInMemory(memory)
                                                  : takeOutput(target, document, directory);
        GlobalFree(GlobalHandle(memory));
        return outcome;
    }

    std::vector<support::OpcodeBlock> everyOperation() const {
        using namespace support;
        const auto top = static_cast<double>(picture.height - 1);
        std::vector<OpcodeBlock> list = {
            OpcodeBlock(OP_OPEN),
            OpcodeBlock(OP_BEGIN_PICTURE),
            windowBlock({0, bottomUp ? top : 0, 0, picture.width - 1.0, bottomUp ? 0 : top, 0}),
            scaleBlock(1, scale),
            OpcodeBlock(OP_BEGIN_BODY),
            colorsBlock(0, drawPicture(Drawing::kNoise, 8, 1, 1, 3).table)};
        const CellArrayShape rows = {picture.width, picture.height, picture.bits, 0, 1};
        if (image == Image::kBracket)
            list.push_back(beginImageBlock({picture.width, picture.height, picture.bits}));
        list.push_back(cellArrayBlock(rows, picture.pixels));
        if (image == Image::kBracket) list.push_back(endImageBlock());
        list.emplace_back(OP_END_PICTURE);
        list.emplace_back(OP_CLOSE);
        return list;
    }
};

inline std::string nameOf(const DriverExport& work) {
    return std::to_string(work.picture.bits) + " bits as format " +
           std::to_string(work.settings.colorFormat) + ", compression " +
           std::to_string(work.settings.compressionMode) + ", type " +
           std::to_string(work.settings.fileType) + ", image " +
           std::to_string(static_cast<int>(work.image)) + ", bottom up " +
           std::to_string(work.bottomUp) + ", scale " + std::to_string(work.scale) + ", target " +
           std::to_string(static_cast<int>(work.target));
}

// Where the codes of a driver export stand.
constexpr size_t kInitialiseCode = 0;
constexpr size_t kOpenCode = 1;
inline size_t closeCode(const Outcome& outcome) {
    return outcome.codes.size() - 2;
}

// ---- The common-block route --------------------------------------------------------------------

struct CommonExport {
    model::Settings settings;
    Target target;
    const support::TempDirectory& directory;

    // Two codes: initialising and terminating. There is nothing to draw on this route.
    Outcome operator()(Attempt& attempt) const {
        support::CurrentSettings record(settings);
        support::StatusHook status;
        support::HostDocument document;
        if (target == Target::kDocument) document.attach(record.record, status.words);
        std::string name = target == Target::kMemory ? "" : directory.path("out.bmp");
        HostWord block[DRIVER_INIT_WORDS] = {};
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name.data());
        block[DRIVER_INIT_SETUP] = record.handle;
        block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status.words);
        Outcome outcome;
        outcome.codes = {99, 99};
        attempt([&] {
            outcome.codes[0] = dd_entry32(0, DRV_INIT, block, 0);
            outcome.codes[1] = dd_entry32(0, DRV_TERM, nullptr, 0);
        });
        outcome.bytes = target == Target::kMemory
                            ? support::blockContents(status.words[STATUS_MEMORY])
                            : takeOutput(target, document, directory);
        GlobalFree(status.words[STATUS_MEMORY]);
        return outcome;
    }
};

// ---- What may come of them ---------------------------------------------------------------------

// What is written when something fails is the beginning of the file, or, kept, when the headers
// could not be made, rows without them and the patch of the encoded size.
inline void expectAFilesBeginning(const Outcome& outcome, const Outcome& whole) {
    constexpr size_t kFileHeader = 14;
    constexpr uint32_t kEndOfSizePatch = 38;
    const uint32_t rawRows = support::u32At(whole.bytes, 2) - support::u32At(whole.bytes, 10);
    if (support::u16At(outcome.bytes, 0) == 0x4D42) {
        const size_t size = std::min(outcome.bytes.size(), kFileHeader);
        EXPECT_EQ(support::slice(outcome.bytes, 0, size), support::slice(whole.bytes, 0, size));
        // Other pixels may be encoded worse: two bytes for one.
        EXPECT_LE(outcome.bytes.size(), support::u32At(whole.bytes, 10) + 2 * rawRows);
        return;
    }
    EXPECT_LE(outcome.bytes.size(), std::max(rawRows, kEndOfSizePatch));
}

inline bool isOneOf(int64_t code, const std::set<int64_t>& codes) {
    return codes.count(code) != 0;
}

// Initialising gives 300, opening 300 or 303, closing 303, what lies between 300 or 303; nothing
// else does.
inline void expectDriverCodes(const Outcome& outcome) {
    EXPECT_TRUE(isOneOf(outcome.codes[kInitialiseCode], {0, 300})) << shown(outcome);
    if (outcome.codes.size() == 1) {
        EXPECT_EQ(outcome.codes[0], 300);
        return;
    }
    for (size_t i = kOpenCode; i < closeCode(outcome); ++i)
        EXPECT_TRUE(isOneOf(outcome.codes[i], {0, 300, 303})) << shown(outcome);
    EXPECT_TRUE(isOneOf(outcome.codes[closeCode(outcome)], {0, 303})) << shown(outcome);
    EXPECT_EQ(outcome.codes.back(), 0) << "terminating always succeeds";
}

}  // namespace hardening
