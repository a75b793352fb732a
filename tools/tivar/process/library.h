// The export library, loaded at run time. Nothing else of the tool knows where it comes from.
#pragma once

#include <tivar/tivar.h>
#include <tivar/write.h>

#include <string>
#include <utility>

namespace tool {

// The loaded library. The first group comes from its entry table, the second from its symbols.
struct Library {
    std::string path;  // as the loader resolved it
    FilterHostRecord table{};

    decltype(&::CreateSetup) createSetup{};
    decltype(&::DestroySetup) destroySetup{};
    decltype(&::xEscapeSetup) escapeSetup{};
    decltype(&::OXLGetFilterVersion) filterVersion{};
    decltype(&::ExportCellData) exportCellData{};
    decltype(&::RASTER_dd_entry) rasterEntry{};

    decltype(&::GlobalAlloc) globalAlloc{};
    decltype(&::GlobalLock) globalLock{};
    decltype(&::GlobalFree) globalFree{};
    decltype(&::GlobalSize) globalSize{};
    decltype(&::GlobalHandle) globalHandle{};
    decltype(&::GlobalPointerToHandle) globalPointerToHandle{};
    decltype(&::LoadString) loadString{};
    decltype(&::UseDefaultSettings) useDefaultSettings{};
    decltype(&::GetPrivateProfileString) profileString{};
    decltype(&::GetPrivateProfileInt) profileInt{};
    decltype(&::WritePrivateProfileString) writeProfileString{};
    decltype(&::SetDisplayInfo) setDisplayInfo{};
    decltype(&::QueryCellFormat) queryCellFormat{};
    decltype(&::rlStretchBitmap) stretchBitmap{};
    EMData* const* deviceState{};  // the raster driver's, null while it is not initialised
    const int16_t* versionWord{};
    const int16_t* idWord{};
    decltype(&::tivar_version) release{};
    decltype(&::tivar_write_bmp) writeBmp{};
};

// Loads the library from wanted, else from the environment variable TIVAR_LIBRARY, else from beside
// the program, else from where the system's loader looks. It stays loaded until the process ends.
Library loadLibrary(const std::string& wanted);

// Of the filter interface, "2.0.5".
std::string versionText(const Library& library);

// A block of the library's memory, freed with its owner.
struct Block {
    const Library* library{};
    MemHandle handle{};

    Block() = default;
    Block(const Library& owner, MemHandle taken) : library(&owner), handle(taken) {}
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    Block(Block&& other) noexcept
        : library(other.library), handle(std::exchange(other.handle, MemHandle{})) {}
    Block& operator=(Block&& other) noexcept {
        std::swap(library, other.library);
        std::swap(handle, other.handle);
        return *this;
    }
    ~Block() {
        if (handle != 0) library->globalFree(handle);
    }
    uint8_t* bytes() const {
        return handle == 0 ? nullptr : static_cast<uint8_t*>(library->globalLock(handle));
    }
};

// An address as one of the library's words.
template <class Pointer>
HostWord wordOf(Pointer pointer) {
    return reinterpret_cast<HostWord>(pointer);
}

// A block of size bytes; failing is a Failure.
Block allocate(const Library& library, uint32_t size);

}  // namespace tool
