#include "host/world.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "harness/check.h"
#include "harness/heap.h"
#include "harness/scratch.h"

namespace host {

World* g_world = nullptr;

namespace {

constexpr int kDeepest = 3;

// A call-back's byte from here on lets many pass by: a document is written byte by byte.
constexpr std::uint32_t kQuietFrom = 240;

MemHandle handleOf(const void* pointer) {
    return pointer == nullptr ? 0 : GlobalHandle(pointer);
}

bool isThere(MemHandle handle) {
    return fuzz::HeapLedger::serialOf(reinterpret_cast<const void*>(handle)) != 0;
}

void freeAlive(const Pool& pool) {
    for (const Owned& owned : pool.all)
        if (owned.isAlive()) GlobalFree(owned.handle);
}

// Choices that make the host's things small and different from each other.
Bytes usualChoices() {
    Bytes choices;
    for (std::uint8_t i = 0; i < 48; ++i) choices.push_back(static_cast<std::uint8_t>(i * 37 + 5));
    return choices;
}

// As others left them.
void leaveProfiles() {
    const std::string text =
        "[TIVAR]\nMode=a\n~Mode=a\n\n[a]\r\nDriver=TIVAR.1\nWidth=6.5\nColor Mode=103\n; "
        "note\n[b]\n1=\"x\"\na=0x1F";
    for (const char* name : {"a.ini", "OXL.INI"})
        fuzz::writeFile(fuzz::scratchPath(name), Bytes(text.begin(), text.end()));
}

// The library's variables are as in a fresh process.
void resetLibrary() {
    hRaster = hSetup = 0;
    lpRaster = lpSetup = nullptr;
    std::memset(export_szDLLName, 0, sizeof export_szDLLName);
    SetDisplayInfo(0, 0, 0, 0);
    SetPrinterInfo(0, 0, 0, 0);
    FilterVersion = 1;
    FilterID = 16;
    _debug_color_res = 0;
}

}  // namespace

Owned Owned::of(MemHandle handle) {
    if (handle == 0) return {};
    return {handle, fuzz::HeapLedger::serialOf(reinterpret_cast<const void*>(handle))};
}

bool Owned::isAlive() const {
    return serial != 0 &&
           fuzz::HeapLedger::serialOf(reinterpret_cast<const void*>(handle)) == serial;
}

// ---- What the host owns ------------------------------------------------------------------------

Owned Pool::add(MemHandle handle) {
    const Owned owned = Owned::of(handle);
    if (owned.serial != 0) all.push_back(owned);
    return owned;
}

MemHandle Pool::at(std::size_t index) const {
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Owned& owned = all[(index + i) % all.size()];
        if (owned.isAlive()) return owned.handle;
    }
    return 0;
}

MemHandle Pool::pick(Input& input) const {
    const std::uint8_t choice = input.u8();
    return choice >= 240 ? 0 : at(choice);
}

MemHandle Pool::take(Input& input) {
    const MemHandle handle = pick(input);
    forget(handle);
    return handle;
}

void Pool::forget(MemHandle handle) {
    all.erase(std::remove_if(all.begin(), all.end(),
                             [&](const Owned& owned) { return owned.handle == handle; }),
              all.end());
}

MemHandle World::newBlock(std::uint32_t size) {
    const MemHandle handle = GlobalAlloc(TIVAR_GMEM_FLAGS, size);
    auto* bytes = static_cast<std::uint8_t*>(GlobalLock(handle));
    const std::uint8_t first = input.u8();
    const std::uint8_t step = input.u8();
    for (std::uint32_t i = 0; bytes != nullptr && i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(first + i * step);
    blocks.add(handle);
    return handle;
}

MemHandle World::give(std::uint32_t size) {
    const MemHandle handle = GlobalAlloc(TIVAR_GMEM_FLAGS, size);
    hide(handle);
    return handle;
}

MemHandle World::newSettings() {
    const MemHandle handle = GlobalAlloc(TIVAR_GMEM_FLAGS, sizeof(SetupRecord));
    auto* record = static_cast<SetupRecord*>(GlobalLock(handle));
    if (record == nullptr) return 0;
    UseDefaultSettings(record);
    constexpr std::int32_t kFormats[] = {COLOR_FORMAT_8BIT, COLOR_FORMAT_24BIT, COLOR_FORMAT_4BIT,
                                         COLOR_FORMAT_1BIT};
    record->colorFormat = input.pick(kFormats);
    record->compressionMode = input.oneIn(2) ? COMPRESSION_RLE : COMPRESSION_NONE;
    record->fileType = input.oneIn(3) ? FILE_TYPE_OS2 : FILE_TYPE_WINDOWS;
    settings.add(handle);
    return handle;
}

void World::newStream() {
    if (streamsMade == std::size(streamMemory)) return;
    void*& memory = streamMemory[streamsMade];
    OxlStreamDesc wanted = {};
    const std::uint32_t kind = input.below(4);
    const std::int32_t mode = input.oneIn(4) ? OXL_UPDATE : OXL_CREATE | OXL_WRITE;
    if (kind == 0) {
        ++streamsMade;
        memory = GlobalLock(GlobalAlloc(TIVAR_GMEM_FLAGS, 64));
        wanted.target = reinterpret_cast<HostWord>(&memory);
        wanted.size = input.oneIn(2) ? 64 : 1;
        wanted.growStep = input.below(200);
        streams.add(oxlOpen(nullptr, &wanted, mode));
    } else if (kind == 1) {
        streams.add(oxlOpen(fuzz::scratchPath("stream").c_str(), nullptr, mode));
    } else {
        wanted.documentProc = reinterpret_cast<HostWord>(&onDocument);
        wanted.target = 7;
        streams.add(oxlOpen("document", &wanted, mode));
    }
}

void World::takeOutputs() {
    for (auto& words : status) {
        hide(words[STATUS_MEMORY]);
        words[STATUS_MEMORY] = 0;
    }
}

void World::takeDeviceMemory() {
    if (lpEMData == nullptr || lpEMData->outputStream != 0 || lpEMData->memoryBlock == nullptr)
        return;
    hide(GlobalHandle(lpEMData->memoryBlock));
    lpEMData->memoryBlock = nullptr;
}

std::int16_t World::depth() {
    constexpr std::int16_t kDepths[] = {8, 24, 4, 1, 24, 8, 32, 2};
    return input.oneIn(16) ? static_cast<std::int16_t>(input.below(34)) : input.pick(kDepths);
}

void World::useSettings(MemHandle handle) {
    hRaster = handle;
    lpRaster = static_cast<SetupRecord*>(GlobalLock(handle));
}

void World::useDeviceSettings(MemHandle handle) {
    if (lpEMData == nullptr) return;
    lpEMData->hSetup = handle;
    lpSetup = static_cast<SetupRecord*>(GlobalLock(handle));
}

void World::forgetSettings(MemHandle handle) {
    if (g_world != nullptr) {
        if (g_world->parameters[EXPORT_SETUP] == handle) g_world->parameters[EXPORT_SETUP] = 0;
        if (g_world->initWords[DRIVER_INIT_SETUP] == handle)
            g_world->initWords[DRIVER_INIT_SETUP] = 0;
    }
    const void* record = GlobalLock(handle);
    if (hRaster == handle || lpRaster == record) {
        hRaster = 0;
        lpRaster = nullptr;
    }
    if (lpSetup == record) lpSetup = nullptr;
    if (hSetup == handle) hSetup = 0;
    if (lpEMData != nullptr && lpEMData->hSetup == handle) lpEMData->hSetup = 0;
}

World::World(Input chosen, int acts) : input(chosen), left_(acts) {
    g_world = this;
    // Mostly the same things: the input is for what is done with them.
    if (input.oneIn(2)) {
        equip();
        if (input.oneIn(4)) leaveProfiles();
    } else {
        const Bytes usual = usualChoices();
        const Input rest = std::exchange(input, Input(usual.data(), usual.size()));
        equip();
        input = rest;
    }
}

void World::equip() {
    for (int i = 0; i < 3; ++i) newSettings();
    for (const std::uint32_t size : {768u, 600u, 1800u, 48u}) newBlock(size);
    pointers.add(handleOf(oxlPtrGlobalAlloc(768)));
    for (CellPicture& each : pictures) {
        each.bits = static_cast<std::uint16_t>(depth());
        each.width = static_cast<std::uint16_t>(1 + input.mostlySmall(20));
        each.height = static_cast<std::uint16_t>(1 + input.mostlySmall(20));
        each.resolution = 96;
        each.targetWidth = each.width;
        each.targetHeight = each.height;
        each.colorTable = blocks.at(0);
        each.pixels = blocks.at(1 + input.below(2));
    }
    description.resolution = 96;
    description.width = static_cast<std::int32_t>(1 + input.mostlySmall(20));
    description.height = static_cast<std::int32_t>(1 + input.mostlySmall(20));
    for (auto& words : status) {
        words[STATUS_CONTEXT] = 1;
        words[STATUS_PROC] = reinterpret_cast<HostWord>(&onStatus);
        words[STATUS_DOCUMENT] = 7;
    }
    common.state = 1;
    common.statusHook = status[1];
    std::memset(palette, 0x5A, sizeof palette);
    std::strcpy(name, "misbehaving");
}

World::~World() {
    // The call-backs behave from here on.
    g_world = nullptr;
    lpCommon = nullptr;
    hCommon = 0;
    if (lpEMData != nullptr && isThere(hEMData)) {
        if (lpEMData->deviceState == DEV_CLOSED) {
            GlobalFree(GlobalHandle(lpEMData->memoryBlock));
            lpEMData->memoryBlock = nullptr;
        }
        RASTER_dd_entry32(0, DRV_TERM, nullptr, 0);
    }
    lpEMData = nullptr;
    hEMData = 0;
    for (const Owned& owned : settings.all) {
        if (!owned.isAlive()) continue;
        const auto* record = static_cast<const SetupRecord*>(GlobalLock(owned.handle));
        // Of a file that was begun and never ended.
        if (record->lpRLEBuffer != nullptr) hidden.add(record->hRLEBuffer);
        if (record->metafileStream != 0) {
            EditSetup(owned.handle, 0);
            dd_entry32(0, DRV_TERM, nullptr, 0);
            takeOutputs();
        }
        DestroySetup(owned.handle);
    }
    for (const Owned& owned : streams.all)
        if (owned.isAlive()) oxlClose(owned.handle);
    for (const Owned& owned : surfaces.all) {
        if (!owned.isAlive()) continue;
        auto* const surface = static_cast<CellDataRequest*>(GlobalLock(owned.handle));
        // A drawing call-back may have given it another table.
        hidden.add(handleOf(surface->colorTable));
        TermPlatformOffscreen(surface);
    }
    for (std::size_t i = 0; i < streamsMade; ++i) hidden.add(handleOf(streamMemory[i]));
    takeOutputs();
    for (const Pool* pool : {&blocks, &pointers, &states, &hidden}) freeAlive(*pool);
    resetLibrary();
    const std::size_t left = fuzz::HeapLedger::freeAll();
    fuzz::require(isLost || left == 0, "blocks are left that the host can reach no more");
}

// ---- What it does ------------------------------------------------------------------------------

void World::run(Act act) {
    if (left_ == 0) return;
    --left_;
    act(*this);
}

void World::interrupt(CallBack kind) {
    const int which = ++calls[static_cast<int>(kind)];
    if (watching_) return;
    if (order_ != nullptr) {
        if (reached > 0 || order_->when != kind || order_->count != which) return;
        ++reached;
        run(order_->act);
        return;
    }
    if (quiet_ > 0) {
        --quiet_;
        return;
    }
    if (depth_ >= kDeepest) return;
    const std::uint32_t choice = input.u8();
    if (choice >= kQuietFrom) {
        quiet_ = 1 << input.below(10);
        return;
    }
    ++depth_;
    for (std::uint32_t i = choice % 3; i > 0 && !input.empty(); --i) {
        const bool isEdit = input.oneIn(2);
        const std::vector<NamedAct>& table = isEdit ? edits() : symbols();
        ++reached;
        run(table[input.below(256) % table.size()].act);
    }
    --depth_;
}

void World::play() {
    while (!input.empty() && left_ > 0) {
        const std::uint32_t kind = input.below(4);
        const std::vector<NamedAct>& table = kind == 0 ? symbols() : scenarios();
        run(table[input.u8() % table.size()].act);
    }
}

void World::obey(Act scenario, const Order& order) {
    order_ = &order;
    scenario(*this);
    order_ = nullptr;
}

std::vector<int> World::watch(Act scenario) {
    watching_ = true;
    scenario(*this);
    watching_ = false;
    return std::vector<int>(std::begin(calls), std::end(calls));
}

}  // namespace host
