// A host that misbehaves: what it owns, and what its call-backs do. It calls any exported routine
// at any moment, and changes any record while a call works on it; what it hands over are blocks
// that are there, never addresses that lead nowhere. Its choices come from an input.
#pragma once

#include <tivar/tivar.h>
#include <tivar/write.h>

#include <cstdint>
#include <vector>

#include "harness/input.h"

namespace host {

using fuzz::Bytes;
using fuzz::Input;

// What a call-back is called for.
enum class CallBack {
    kReport,
    kStart,
    kQuestion,
    kDocumentOpen,
    kDocumentRead,
    kDocumentWrite,
    kDocumentSeek,
    kDocumentClose,
    kDocumentExists,
    kDocumentDelete,
    kDrawQuery,
    kDrawInitialise,
    kDrawTerminate,
    kDrawRows,
    kReadRow,
    kProgress,
    kCancel,
    kSink,
    kCount
};
constexpr int kCallBacks = static_cast<int>(CallBack::kCount);

// A block that the host allocated or was given, as long as it is the same one.
struct Owned {
    MemHandle handle;
    std::uint64_t serial;  // 0 = none

    static Owned of(MemHandle handle);
    bool isAlive() const;
};

class Pool {
  public:
    Owned add(MemHandle handle);
    // One that is still there, or 0.
    MemHandle pick(Input& input) const;
    MemHandle at(std::size_t index) const;
    // To be freed: the pool forgets it.
    MemHandle take(Input& input);
    void forget(MemHandle handle);
    std::vector<Owned> all;
};

class World;
using Act = void (*)(World&);

struct NamedAct {
    const char* name;
    Act act;
};

// What one act in one call-back is to be: all others are left out.
struct Order {
    CallBack when;
    Act act;
    int count;  // the how manieth call-back of the kind
};

class World {
  public:
    // At most so many acts, counting those inside others.
    static constexpr int kMostActs = 120;

    explicit World(Input chosen, int acts = kMostActs);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Acts at random, one after the other, until the input is at its end.
    void play();
    // Runs the scenario with one act in the middle.
    void obey(Act scenario, const Order& order);
    // Which call-backs the scenario has.
    std::vector<int> watch(Act scenario);

    // A call-back comes: the host does what it likes.
    void interrupt(CallBack kind);
    // Whether it lets call-backs pass by.
    bool isQuiet() const { return quiet_ > 0; }

    // Small sizes for the most part.
    std::uint32_t side() { return input.oneIn(32) ? input.below(200) : input.mostlySmall(24); }
    double length() { return input.oneIn(16) ? input.number() : input.below(60); }
    std::int16_t depth();
    // A fresh block that becomes the library's.
    MemHandle give(std::uint32_t size);
    // The library no longer knows of it.
    void hide(MemHandle handle) { hidden.add(handle); }
    // What exports to memory made is the host's.
    void takeOutputs();
    // What a device leaves when it closed, too: it is lost once the device is opened again.
    void takeDeviceMemory();
    // The library may have lost sight of more than the host can tell.
    void lose() { isLost = true; }

    // Allocations for the host's own use, which it frees.
    MemHandle newBlock(std::uint32_t size);
    MemHandle newSettings();
    void newStream();
    // Other settings in use, or none. Without its handle the library cannot see a record end.
    static void useSettings(MemHandle handle);
    static void useDeviceSettings(MemHandle handle);
    // The host frees settings by hand: nothing may lead to them any more.
    static void forgetSettings(MemHandle handle);

    Input input;
    Pool settings;
    Pool blocks;
    Pool pointers;  // of oxlPtrGlobalAlloc
    Pool streams;
    Pool states;
    Pool surfaces;
    Pool hidden;

    CellPicture pictures[3] = {};
    PictureDescription description = {};
    HostWord parameters[8] = {};
    HostWord status[2][13] = {};
    HostWord initWords[DRIVER_INIT_WORDS] = {};
    std::int32_t capabilities[60] = {};
    CommonBlock common = {};
    OxlStreamDesc descriptor = {};
    CellFormat format = {};
    void* streamMemory[16] = {};  // the variables of memory streams
    std::size_t streamsMade = 0;
    std::uint8_t scratch[8192] = {};
    char name[160] = {};
    Owned request = {};  // of the draw call-back that runs
    HostWord* fiveWords = nullptr;

    TivarPicture picture = {};
    TivarOptions options = {};
    TivarSink sink = {};
    TivarReport report = {};
    std::size_t rowBytes = 0;  // of the picture whose rows are asked for
    std::uint8_t palette[768] = {};

    int calls[kCallBacks] = {};  // of each kind
    long reached = 0;            // acts inside call-backs
    bool wroteResult = false;    // what a device answers may be the host's own number

  private:
    void equip();
    void run(Act act);

    const Order* order_ = nullptr;
    bool watching_ = false;
    int depth_ = 0;
    int quiet_ = 0;  // call-backs that pass by
    int left_;       // acts
    bool isLost = false;
};

// The world that there is: call-backs have no other way to it.
extern World* g_world;

// Every exported routine and variable by its name.
const std::vector<NamedAct>& symbols();
// Every field of every record that is the host's to change.
const std::vector<NamedAct>& edits();
// Calls that have call-backs.
const std::vector<NamedAct>& scenarios();

// Their beginnings, for targets that have pictures and operations of their own. A document of the
// host's serves the settings, or none.
void serve(MemHandle setup, bool served);
std::int32_t exportPicture(World& world, MemHandle setup, CellPicture* picture, const char* name);
std::int32_t beginDevice(World& world, MemHandle setup, const char* name, std::uint32_t replySize);

// The host's call-backs.
std::int32_t onStatus(intptr_t context, std::int32_t operation, std::int32_t value, std::int32_t a3,
                      std::int32_t percent, std::int32_t a5, intptr_t block);
intptr_t onDocument(intptr_t first, std::int32_t operation, intptr_t a, intptr_t b);
HostWord onDraw(std::int32_t message, void* input, HostWord output, HostWord extra);
std::int32_t onReadRow(void* context, std::uint32_t y, void* row);
std::int32_t onProgress(void* context, std::int32_t percent);
std::int32_t onCancel(void* context);
std::size_t onSink(void* context, const void* bytes, std::size_t length);

}  // namespace host
