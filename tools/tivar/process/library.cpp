#include "process/library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "process/failure.h"
#include "process/program.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr char kName[] = TIVAR_LIBRARY_NAME;
constexpr char kBuiltName[] = TIVAR_BUILT_LIBRARY_NAME;
constexpr char kRemedy[] = "name " TIVAR_BUILT_LIBRARY_NAME " with --library or in TIVAR_LIBRARY";

std::string besideProgram() {
    std::error_code error;
    const fs::path here = programDirectory();
    if (here.empty()) return "";
    for (const char* place : {".", "../lib", "../lib/" TIVAR_MULTIARCH}) {
        for (const char* name : {kName, kBuiltName}) {
            const fs::path candidate = (here / place / name).lexically_normal();
            if (fs::exists(candidate, error)) return candidate.string();
        }
    }
    return "";
}

// A bare name of a file that exists means that file, not one on the loader's path.
std::string anchored(const std::string& name) {
    std::error_code error;
    const bool bare = !fs::path(name).has_parent_path();
    return bare && fs::exists(name, error) ? "./" + name : name;
}

std::string choosePath(const std::string& wanted) {
    if (!wanted.empty()) return anchored(wanted);
    const char* fromEnvironment = std::getenv("TIVAR_LIBRARY");
    if (fromEnvironment != nullptr && *fromEnvironment != '\0') return anchored(fromEnvironment);
    const std::string beside = besideProgram();
    return beside.empty() ? kName : beside;
}

// The loader's message without the file name that it starts with.
std::string loaderMessage(const std::string& path) {
    const char* text = dlerror();
    std::string message = text == nullptr ? "unknown reason" : text;
    if (message.starts_with(path + ": ")) message.erase(0, path.size() + 2);
    return message;
}

std::string resolvedPath(const void* address, const std::string& asked) {
    Dl_info place{};
    return dladdr(address, &place) != 0 && place.dli_fname != nullptr ? place.dli_fname : asked;
}

// What the library offers, wherever it lists it.
struct Loaded {
    void* module;
    const std::string& path;
    FilterHostRecord table;
};

[[noreturn]] void failMissing(const Loaded& loaded, const char* name) {
    failAt(loaded.path, std::string("is not the export library: it has no ") + name, kRemedy);
}

template <class Target>
void bindSymbol(const Loaded& loaded, const char* name, Target& target) {
    void* address = dlsym(loaded.module, name);
    if (address == nullptr) failMissing(loaded, name);
    target = reinterpret_cast<Target>(address);
}

template <class Target>
void bindEntry(const Loaded& loaded, const char* name, Target& target) {
    for (unsigned i = 0; i < loaded.table.count; ++i) {
        const FilterEntry& entry = loaded.table.entries[i];
        if (std::strcmp(entry.name, name) == 0) {
            target = reinterpret_cast<Target>(entry.address);
            return;
        }
    }
    failMissing(loaded, name);
}

void bindEntries(Library& library, const Loaded& loaded) {
    bindEntry(loaded, "CreateSetup", library.createSetup);
    bindEntry(loaded, "DestroySetup", library.destroySetup);
    bindEntry(loaded, "EscapeSetup", library.escapeSetup);
    bindEntry(loaded, "OXLGetFilterVersion", library.filterVersion);
    bindEntry(loaded, "ExportCellData", library.exportCellData);
    bindEntry(loaded, "RASTER_dd_entry", library.rasterEntry);
}

void bindSymbols(Library& library, const Loaded& loaded) {
    bindSymbol(loaded, "GlobalAlloc", library.globalAlloc);
    bindSymbol(loaded, "GlobalLock", library.globalLock);
    bindSymbol(loaded, "GlobalFree", library.globalFree);
    bindSymbol(loaded, "GlobalSize", library.globalSize);
    bindSymbol(loaded, "GlobalHandle", library.globalHandle);
    bindSymbol(loaded, "GlobalPointerToHandle", library.globalPointerToHandle);
    bindSymbol(loaded, "LoadString", library.loadString);
    bindSymbol(loaded, "UseDefaultSettings", library.useDefaultSettings);
    bindSymbol(loaded, "GetPrivateProfileString", library.profileString);
    bindSymbol(loaded, "GetPrivateProfileInt", library.profileInt);
    bindSymbol(loaded, "WritePrivateProfileString", library.writeProfileString);
    bindSymbol(loaded, "SetDisplayInfo", library.setDisplayInfo);
    bindSymbol(loaded, "QueryCellFormat", library.queryCellFormat);
    bindSymbol(loaded, "rlStretchBitmap", library.stretchBitmap);
    bindSymbol(loaded, "lpEMData", library.deviceState);
    bindSymbol(loaded, "FilterVersion", library.versionWord);
    bindSymbol(loaded, "FilterID", library.idWord);
    bindSymbol(loaded, "tivar_version", library.release);
    bindSymbol(loaded, "tivar_write_bmp", library.writeBmp);
}

}  // namespace

Library loadLibrary(const std::string& wanted) {
    const std::string path = choosePath(wanted);
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        failAt(path, "cannot be loaded as a library (" + loaderMessage(path) + ")", kRemedy);
    }
    Loaded loaded{module, path, {}};
    decltype(&::fltLoadPointers) loadPointers{};
    bindSymbol(loaded, "fltLoadPointers", loadPointers);
    loadPointers(&loaded.table);

    Library library;
    library.path = resolvedPath(reinterpret_cast<const void*>(loadPointers), path);
    library.table = loaded.table;
    bindEntries(library, loaded);
    bindSymbols(library, loaded);
    if (library.filterVersion() >> 24 != TIVAR_VERSION >> 24) {
        failAt(path, "is version " + versionText(library) + ", version 2 is needed", kRemedy);
    }
    return library;
}

std::string versionText(const Library& library) {
    const auto version = static_cast<uint32_t>(library.filterVersion());
    return std::to_string(version >> 24) + "." + std::to_string(version >> 16 & 0xFF) + "." +
           std::to_string(version & 0xFFFF);
}

Block allocate(const Library& library, uint32_t size) {
    Block block(library, library.globalAlloc(TIVAR_GMEM_FLAGS, size));
    if (block.handle == 0) {
        fail("not enough memory for " + std::to_string(size) + " bytes",
             "close other programs or use a smaller picture");
    }
    return block;
}

}  // namespace tool
