// A host of the export call: settings, a picture, the parameter and status blocks, and a document.
#pragma once

#include <tivar/export.h>
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "model/plain_model.h"
#include "support/current_settings.h"
#include "support/drawn_picture.h"
#include "support/memory_block.h"

namespace support {

// Records the status call-back's calls; its address is the call-back's context.
struct StatusRecorder {
    // Answers a progress report of at least cancelFrom percent with 1, and the question that
    // follows with confirmation.
    int32_t cancelFrom = 1000;
    int32_t confirmation = 0;
    std::vector<int32_t> percentages;
    int questions = 0;
    bool wellFormed = true;

    static int32_t answer(intptr_t context, int32_t operation, int32_t value, int32_t a3,
                          int32_t percent, int32_t a5, intptr_t block) {
        auto& self = *reinterpret_cast<StatusRecorder*>(context);
        if (operation == 0) {
            self.wellFormed = self.wellFormed && value == 0 && a3 == 0 && a5 == 0 && block == 0;
            self.percentages.push_back(percent);
            return percent >= self.cancelFrom ? 1 : 0;
        }
        ++self.questions;
        constexpr int32_t kZeroes[10] = {};
        self.wellFormed = self.wellFormed && operation == 2 && value == 61 && a3 == 0 &&
                          percent == 0 && a5 == 0 &&
                          std::memcmp(reinterpret_cast<void*>(block), kZeroes, sizeof kZeroes) == 0;
        return self.confirmation;
    }

    void attach(HostWord* status) {
        status[STATUS_CONTEXT] = reinterpret_cast<HostWord>(this);
        status[STATUS_PROC] = reinterpret_cast<HostWord>(&StatusRecorder::answer);
    }
};

// A document that the host serves; its address is the document value.
struct HostDocument {
    bool served = true;      // whether opening gives a handle
    size_t room = SIZE_MAX;  // bytes that it takes
    Bytes bytes;
    size_t position = 0;
    std::string name;
    int32_t mode = 0;
    int closes = 0;
    intptr_t closeMode = 0;  // of the last close: 512 deletes

    static intptr_t serve(intptr_t first, int32_t operation, intptr_t a, intptr_t b) {
        auto& self = *reinterpret_cast<HostDocument*>(first);
        switch (operation) {
            case 1:
                self.name = reinterpret_cast<const char*>(a);
                self.mode = static_cast<int32_t>(b);
                return self.served ? first : 0;
            case 3:
                return self.write(reinterpret_cast<const std::uint8_t*>(a), static_cast<size_t>(b));
            case 4:
                self.position = static_cast<size_t>(*reinterpret_cast<const int32_t*>(a));
                return static_cast<intptr_t>(self.position);
            case 5:
                ++self.closes;
                self.closeMode = b;
                return 0;
            default:
                return 0;
        }
    }

    intptr_t write(const std::uint8_t* source, size_t count) {
        count = std::min(count, room - std::min(room, position));
        if (bytes.size() < position + count) bytes.resize(position + count);
        std::copy(source, source + count, bytes.begin() + static_cast<ptrdiff_t>(position));
        position += count;
        return static_cast<intptr_t>(count);
    }

    void attach(SetupRecord* settings, HostWord* status) {
        settings->documentStream = reinterpret_cast<HostWord>(&HostDocument::serve);
        status[STATUS_DOCUMENT] = reinterpret_cast<HostWord>(this);
    }
};

inline PictureDescription describe(const model::Description& wanted) {
    PictureDescription description = {};
    description.displayResolution = static_cast<int16_t>(wanted.displayResolution);
    description.resolution = static_cast<int16_t>(wanted.resolution);
    description.width = wanted.width;
    description.height = wanted.height;
    description.displayWidth = wanted.displayWidth;
    description.displayHeight = wanted.displayHeight;
    return description;
}

// A picture in blocks of its own.
struct PictureInMemory {
    explicit PictureInMemory(const DrawnPicture& drawn)
        : pixels(drawn.pixels), table(drawn.table.empty() ? 0 : newBlock(drawn.table)) {
        picture.bits = drawn.bits;
        picture.width = drawn.width;
        picture.height = drawn.height;
        picture.pixels = pixels.handle;
        picture.colorTable = table.handle;
    }

    Block pixels;
    Block table;
    CellPicture picture = {};
};

// One export: set up what differs from the defaults, then run.
struct Export {
    Export(const model::Settings& wanted, const DrawnPicture& drawn,
           const model::Description& target)
        : settings(wanted), source(drawn), description(describe(target)) {
        parameters[EXPORT_SETUP] = settings.handle;
        parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
    }
    ~Export() { GlobalFree(status[STATUS_MEMORY]); }
    Export(const Export&) = delete;
    Export& operator=(const Export&) = delete;

    int32_t run(const char* fileName) {
        return ExportCellData(fileName, &source.picture, &description, parameters);
    }

    // The file in the memory block that the status block names: up to the end mark.
    Bytes memoryFile() const {
        Bytes bytes = blockContents(status[STATUS_MEMORY]);
        while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
        if (!bytes.empty() && bytes.back() == 0xFF) bytes.pop_back();
        return bytes;
    }

    CurrentSettings settings;
    PictureInMemory source;
    PictureDescription description;
    HostWord status[13] = {};
    HostWord parameters[7] = {};
};

inline model::Picture modelPicture(const DrawnPicture& drawn) {
    return {
        {drawn.width, drawn.height, drawn.bits, drawn.pixels}, drawn.table, !drawn.table.empty()};
}

}  // namespace support
