// The library as a host has it that loads it at run time, and whole exports through it.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tivar/tivar.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "model/plain_model.h"
#include "support/drawn_picture.h"

namespace isolation {

using support::Drawing;
using support::DrawnPicture;
using support::drawPicture;
using Bytes = std::vector<uint8_t>;

// Loads a copy of the library, and of the C library, that shares nothing with others.
struct OwnNamespace {};
constexpr OwnNamespace kOwnNamespace;

// Loaded while the guard lives.
class LoadedLibrary {
  public:
    explicit LoadedLibrary(int flags = RTLD_NOW | RTLD_LOCAL)
        : handle_(dlopen(TIVAR_LIBRARY, flags)) {
        require(handle_);
    }
    explicit LoadedLibrary(OwnNamespace) : handle_(dlmopen(LM_ID_NEWLM, TIVAR_LIBRARY, RTLD_NOW)) {
        require(handle_);
    }
    ~LoadedLibrary() { dlclose(handle_); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    void* find(const char* symbol) const {
        void* address = dlsym(handle_, symbol);
        require(address);
        return address;
    }

  private:
    // There is nothing to test without it.
    static void require(const void* found) {
        if (found != nullptr) return;
        std::fprintf(stderr, "%s\n", dlerror());
        std::abort();
    }

    void* handle_;
};

// A symbol of a loaded library, by its declaration.
#define LOADED(library, symbol) (reinterpret_cast<decltype(&::symbol)>((library).find(#symbol)))

inline MemHandle newBlock(const LoadedLibrary& library, const Bytes& bytes) {
    const MemHandle block =
        LOADED(library, GlobalAlloc)(TIVAR_GMEM_FLAGS, static_cast<uint32_t>(bytes.size()));
    auto* data = static_cast<uint8_t*>(LOADED(library, GlobalLock)(block));
    std::copy(bytes.begin(), bytes.end(), data);
    return block;
}

// The file in a block of output to memory, up to its end mark; the block is freed.
inline Bytes takeMemoryFile(const LoadedLibrary& library, MemHandle block) {
    if (block == 0) return {};
    const auto* data = static_cast<const uint8_t*>(LOADED(library, GlobalLock)(block));
    Bytes bytes(data, data + LOADED(library, GlobalSize)(block));
    LOADED(library, GlobalFree)(block);
    while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
    if (!bytes.empty()) bytes.pop_back();
    return bytes;
}

// A settings record with a page of about the size of the test pictures.
struct LoadedSettings {
    LoadedSettings(const LoadedLibrary& from, const model::Settings& wanted)
        : library(from), handle(LOADED(from, CreateSetup)(0, nullptr, nullptr, nullptr)) {
        auto* record = static_cast<SetupRecord*>(LOADED(from, GlobalLock)(handle));
        record->colorFormat = wanted.colorFormat;
        record->compressionMode = wanted.compressionMode;
        record->fileType = wanted.fileType;
    }
    ~LoadedSettings() { LOADED(library, DestroySetup)(handle); }
    LoadedSettings(const LoadedSettings&) = delete;
    LoadedSettings& operator=(const LoadedSettings&) = delete;

    const LoadedLibrary& library;
    MemHandle handle;
};

inline model::Settings settingsOf(int colorFormat, int compressionMode, int fileType) {
    model::Settings settings;
    settings.colorFormat = colorFormat;
    settings.compressionMode = compressionMode;
    settings.fileType = fileType;
    return settings;
}

struct Exported {
    int32_t code;
    Bytes file;  // what went to memory
};

// An export through the export call; an empty name asks for output to memory.
inline Exported exportByFilter(const LoadedLibrary& library, const DrawnPicture& drawn,
                               const model::Settings& wanted, const char* name = "") {
    const LoadedSettings settings(library, wanted);
    CellPicture picture = {};
    picture.bits = drawn.bits;
    picture.width = drawn.width;
    picture.height = drawn.height;
    picture.pixels = newBlock(library, drawn.pixels);
    if (!drawn.table.empty()) picture.colorTable = newBlock(library, drawn.table);
    PictureDescription description = {};
    description.resolution = 96;
    description.width = drawn.width;
    description.height = drawn.height;
    HostWord status[13] = {};
    HostWord parameters[7] = {};
    parameters[EXPORT_SETUP] = settings.handle;
    parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
    const int32_t code = LOADED(library, ExportCellData)(name, &picture, &description, parameters);
    LOADED(library, GlobalFree)(picture.pixels);
    LOADED(library, GlobalFree)(picture.colorTable);
    return {code, takeMemoryFile(library, status[STATUS_MEMORY])};
}

// What it must give.
inline Bytes expectedByFilter(const DrawnPicture& drawn, const model::Settings& wanted) {
    model::Description description;
    description.resolution = 96;
    description.width = drawn.width;
    description.height = drawn.height;
    const model::Bitmap bitmap = {drawn.width, drawn.height, drawn.bits, drawn.pixels};
    return model::exportPicture({bitmap, drawn.table, !drawn.table.empty()}, description, wanted);
}

// A device of the driver, into whose body a stand-alone cell array goes.
class LoadedDevice {
  public:
    LoadedDevice(const LoadedLibrary& library, const model::Settings& wanted)
        : library_(library), settings_(library, wanted) {
        HostWord block[DRIVER_INIT_WORDS] = {};
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>("");
        block[DRIVER_INIT_REPLY_SIZE] = 64;
        block[DRIVER_INIT_SETUP] = settings_.handle;
        block[DRIVER_INIT_CAPABILITIES] = reinterpret_cast<HostWord>(capabilities_);
        call(DRV_INIT, block);
        send(OP_OPEN);
        send(OP_BEGIN_PICTURE);
    }
    LoadedDevice(const LoadedDevice&) = delete;
    LoadedDevice& operator=(const LoadedDevice&) = delete;
    ~LoadedDevice() { call(DRV_TERM, nullptr); }

    int32_t send(uint32_t opcode) { return call(DRV_DISPATCH, &opcode); }
    int32_t sendPicture(const DrawnPicture& picture) {
        Bytes window(64);
        put(window, 0, uint32_t{OP_SET_WINDOW});
        put(window, 16 + 24, picture.width - 1.0);
        put(window, 16 + 32, picture.height - 1.0);
        call(DRV_DISPATCH, window.data());
        send(OP_BEGIN_BODY);
        Bytes array(102 + picture.pixels.size());
        put(array, 0, uint32_t{OP_CELL_ARRAY});
        put(array, 88, uint32_t{picture.width});
        put(array, 92, uint32_t{picture.height});
        put(array, 96, int32_t{picture.bits});
        std::copy(picture.pixels.begin(), picture.pixels.end(), array.begin() + 102);
        return call(DRV_DISPATCH, array.data());
    }
    Exported finish() {
        send(OP_END_PICTURE);
        const int32_t code = send(OP_CLOSE);
        EMData* device = *static_cast<EMData**>(library_.find("lpEMData"));
        const MemHandle block = LOADED(library_, GlobalHandle)(device->memoryBlock);
        device->memoryBlock = nullptr;
        return {code, takeMemoryFile(library_, block)};
    }

  private:
    int32_t call(int32_t code, void* block) {
        return LOADED(library_, RASTER_dd_entry32)(0, code, block, 0);
    }
    template <class T>
    static void put(Bytes& block, size_t position, const T& value) {
        std::memcpy(block.data() + position, &value, sizeof value);
    }

    const LoadedLibrary& library_;
    LoadedSettings settings_;
    int32_t capabilities_[60] = {};
};

inline Exported exportByDriver(const LoadedLibrary& library, const DrawnPicture& picture,
                               const model::Settings& wanted) {
    LoadedDevice device(library, wanted);
    device.sendPicture(picture);
    return device.finish();
}

// What it must give for 8 bits that stay 8 bits; the device's colours are black.
inline Bytes expectedByDriver(const DrawnPicture& picture, const model::Settings& wanted) {
    return model::writeBmp(wanted, picture.width, picture.height, 8, {}, picture.pixels, false);
}

}  // namespace isolation
