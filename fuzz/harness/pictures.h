// Pictures, settings and targets of an export, made from an input.
#pragma once

#include <tivar/export.h>
#include <tivar/filter.h>

#include "harness/input.h"
#include "model/plain_model.h"
#include "support/memory_block.h"

namespace fuzz {

// A block of the host's, which can always be had.
MemHandle newBlock(const Bytes& bytes);

// Of sides that make a large picture, one pair in sixteen stays; the others get fewer rows.
constexpr std::uint32_t affordableRows(std::uint32_t width, std::uint32_t height) {
    constexpr std::uint64_t kSmall = 200;
    if (std::uint64_t{width} * height <= kSmall || (width * 7 + height) % 16 == 0) return height;
    return width >= kSmall ? 1 : static_cast<std::uint32_t>(kSmall / width);
}

// Bytes in one of several styles: of the input over and over, noise, runs, a few values, greys.
Bytes drawBytes(Input& input, std::size_t count);

// What a picture claims, and what its blocks really hold.
struct Picture {
    std::uint16_t bits;
    std::uint16_t width;
    std::uint16_t height;
    bool hasPixels;
    bool hasTable;
    Bytes pixels;
    Bytes table;

    // Depths above 15 that no picture has are described without a table only.
    bool isModelled() const {
        return bits <= 15 || bits == 24 || bits == 32 || (bits < 32 && !hasTable);
    }
};

Picture makePicture(Input& input);

// A picture with everything that it claims.
Picture makeSoundPicture(Input& input);

model::Picture toModel(const Picture& picture);

// The settings that the input asks for; sane ones only on demand.
model::Settings makeSettings(Input& input, bool sane);
model::Description makeDescription(Input& input, const Picture& picture, bool sane);

// A settings record in a block of its own.
struct SettingsBlock {
    explicit SettingsBlock(const model::Settings& settings);
    ~SettingsBlock() { DestroySetup(handle); }
    SettingsBlock(const SettingsBlock&) = delete;
    SettingsBlock& operator=(const SettingsBlock&) = delete;

    MemHandle handle;
    SetupRecord* record;
};

// A picture in blocks of its own, and its description.
struct PictureBlocks {
    PictureBlocks(const Picture& source, const model::Description& wanted);

    support::Block pixels;
    support::Block table;
    CellPicture picture;
    PictureDescription description;
};

// The size of the file that an export makes, before the height is rounded up to an even number.
struct Extent {
    std::uint32_t width;
    std::uint32_t height;
    int bits;
};
Extent negotiatedExtent(model::Settings settings, const model::Description& description);

// Whether the model takes no more than a moment for the export.
bool isAffordable(const Picture& picture, const Extent& extent);

// A block of output to memory up to its end mark.
Bytes fileInBlock(MemHandle block);

// A document of the host; its address is the document value.
struct Document {
    bool served = true;           // whether opening gives a handle
    std::size_t room = 1u << 22;  // bytes that it takes before it answers short
    Bytes bytes;
    std::size_t position = 0;
    int opens = 0;
    int closes = 0;
    bool cut = false;  // a write came short

    static intptr_t serve(intptr_t first, std::int32_t operation, intptr_t a, intptr_t b);
};

// Counts its calls and answers as told; its address is the context.
struct Status {
    std::uint32_t cancelFrom = 0xFFFFFFFF;  // the call that is the first to be answered with 1
    std::int32_t confirmation = 1;          // the answer to the question that follows
    std::uint32_t calls = 0;
    bool cancelled = false;

    static std::int32_t answer(intptr_t context, std::int32_t operation, std::int32_t value,
                               std::int32_t a3, std::int32_t percent, std::int32_t a5,
                               intptr_t block);
};

}  // namespace fuzz
