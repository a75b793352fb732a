// Call-backs that call back into the library: every kind of call-back times what it may do there.
// Nothing may be used after it was freed (the sanitizers are the judges), nothing may be lost, and
// an operation either goes on unharmed or stops with its failure code.
#include <algorithm>
#include <functional>
#include <string>

#include "driver/device_state.h"
#include "driver/operations.h"
#include "support/driver_host.h"
#include "support/export_host.h"
#include "support/failing_call.h"

namespace {

using support::Bytes;
using support::OpcodeBlock;
using support::PictureInMemory;

MemHandle newSettings() {
    const MemHandle handle = GlobalAlloc(TIVAR_GMEM_FLAGS, sizeof(SetupRecord));
    UseDefaultSettings(static_cast<SetupRecord*>(GlobalLock(handle)));
    return handle;
}

SetupRecord& settingsAt(MemHandle handle) {
    return *static_cast<SetupRecord*>(GlobalLock(handle));
}

enum class CallBack {
    // of an export
    kDocumentOpen,
    kDocumentWrite,
    kDocumentSeek,
    kDocumentClose,
    kReport,
    // of a band loop with a call-back of the host's own
    kDrawQuery,
    kDrawInitialise,
    kDrawRows,
    kDrawTerminate,
    // of a device
    kStart,
    kDeviceDocumentOpen,
    kArrayReport,
    kArrayWrite,
    kImageWrite,
    kCloseQuestion,
    kDeviceDocumentClose,
    kTerminateQuestion,
    // of the common-block route
    kCommonDocumentOpen,
    kCommonDocumentClose,
};

constexpr CallBack kExportCallBacks[] = {CallBack::kDocumentOpen, CallBack::kDocumentWrite,
                                         CallBack::kDocumentSeek, CallBack::kDocumentClose,
                                         CallBack::kReport};
constexpr CallBack kDrawCallBacks[] = {CallBack::kDrawQuery, CallBack::kDrawInitialise,
                                       CallBack::kDrawRows, CallBack::kDrawTerminate};
constexpr CallBack kDeviceCallBacks[] = {CallBack::kStart,
                                         CallBack::kDeviceDocumentOpen,
                                         CallBack::kArrayReport,
                                         CallBack::kArrayWrite,
                                         CallBack::kImageWrite,
                                         CallBack::kCloseQuestion,
                                         CallBack::kDeviceDocumentClose,
                                         CallBack::kTerminateQuestion};
constexpr CallBack kCommonCallBacks[] = {CallBack::kCommonDocumentOpen,
                                         CallBack::kCommonDocumentClose};

// A host with settings of its own and others, pictures, a document and a status call-back. When its
// call-back of the wanted kind comes for the first time, it acts.
class World {
  public:
    using Act = std::function<void(World&)>;

    World(CallBack wanted, Act act) : wanted_(wanted), act_(std::move(act)) {
        current() = this;
        hRaster = 0;
        lpRaster = nullptr;
        serve(own);
        status[STATUS_CONTEXT] = 1;
        status[STATUS_PROC] = reinterpret_cast<HostWord>(&World::answer);
    }
    ~World() {
        current() = nullptr;
        if (lpEMData != nullptr) RASTER_dd_entry32(0, DRV_TERM, nullptr, 0);
        for (const MemHandle handle : {own, other}) {
            if (handle == 0) continue;
            EditSetup(handle, 0);
            dd_entry32(0, DRV_TERM, nullptr, 0);
            DestroySetup(handle);
        }
        GlobalFree(status[STATUS_MEMORY]);
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Runs what brings the call-back about.
    void run() {
        for (const CallBack kind : kExportCallBacks)
            if (wanted_ == kind) exportPicture();
        for (const CallBack kind : kDrawCallBacks)
            if (wanted_ == kind) drawPicture();
        for (const CallBack kind : kDeviceCallBacks)
            if (wanted_ == kind) driveDevice();
        for (const CallBack kind : kCommonCallBacks)
            if (wanted_ == kind) driveCommonRoute();
    }

    // Another export, of another picture into memory, by the call-back itself.
    void exportOther(MemHandle settings) {
        PictureInMemory drawn(support::drawPicture(support::Drawing::kNoise, 4, 9, 6, 2));
        PictureDescription target = support::describe({});
        HostWord block[13] = {};
        HostWord parameters[7] = {};
        parameters[EXPORT_SETUP] = settings;
        parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(block);
        ExportCellData("", &drawn.picture, &target, parameters);
        GlobalFree(block[STATUS_MEMORY]);
    }
    int32_t initialiseDevice(MemHandle settings) {
        initBlock_[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name_);
        initBlock_[DRIVER_INIT_REPLY_SIZE] = 64;
        initBlock_[DRIVER_INIT_SETUP] = settings;
        initBlock_[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status);
        initBlock_[DRIVER_INIT_CAPABILITIES] = reinterpret_cast<HostWord>(capabilities_);
        return RASTER_dd_entry32(0, DRV_INIT, initBlock_, 0);
    }
    int32_t terminateDevice() { return RASTER_dd_entry32(0, DRV_TERM, nullptr, 0); }
    int32_t send(OpcodeBlock operation) {
        return RASTER_dd_entry32(0, DRV_DISPATCH, operation.data(), 0);
    }
    void sendArray() { send(support::cellArrayBlock({4, 2, 8}, Bytes(8, 7))); }
    int32_t initialiseCommon(MemHandle settings) {
        HostWord block[DRIVER_INIT_WORDS] = {};
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(commonName_);
        block[DRIVER_INIT_SETUP] = settings;
        block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status);
        return dd_entry32(0, DRV_INIT, block, 0);
    }
    int32_t terminateCommon() { return dd_entry32(0, DRV_TERM, nullptr, 0); }
    bool draws() const {
        return std::find(std::begin(kDrawCallBacks), std::end(kDrawCallBacks), wanted_) !=
               std::end(kDrawCallBacks);
    }
    void destroy(MemHandle& handle) {
        DestroySetup(handle);
        handle = 0;
    }

    bool acted = false;
    int32_t result = -1000;  // of the call during which the host acted
    Bytes document;
    MemHandle own = newSettings();
    MemHandle other = newSettings();
    PictureInMemory picture{support::drawPicture(support::Drawing::kNoise, 8, 12, 8, 1)};
    HostWord status[13] = {};

  private:
    static World*& current() {
        static World* world = nullptr;
        return world;
    }

    void reach(CallBack kind) {
        if (kind != wanted_ || acted) return;
        acted = true;
        act_(*this);
    }

    void serve(MemHandle settings) {
        settingsAt(settings).documentStream = reinterpret_cast<HostWord>(&World::document_);
    }

    // The operation that runs decides which kind a document's call is.
    void reachAny(std::initializer_list<CallBack> kinds) {
        for (const CallBack kind : kinds) reach(kind);
    }

    static intptr_t document_(intptr_t, int32_t operation, intptr_t a, intptr_t b) {
        World* world = current();
        if (world == nullptr) return 1;
        switch (operation) {
            case 1:
                world->reachAny({CallBack::kDocumentOpen, CallBack::kDeviceDocumentOpen,
                                 CallBack::kCommonDocumentOpen});
                return 1;
            case 3: {
                const auto* bytes = reinterpret_cast<const uint8_t*>(a);
                world->document.insert(world->document.end(), bytes, bytes + b);
                world->reachAny({CallBack::kDocumentWrite,
                                 world->inImage_ ? CallBack::kImageWrite : CallBack::kArrayWrite});
                return b;
            }
            case 4:
                world->reach(CallBack::kDocumentSeek);
                return 0;
            case 5:
                world->reachAny({CallBack::kDocumentClose, CallBack::kDeviceDocumentClose,
                                 CallBack::kCommonDocumentClose});
                return 0;
            default:
                return 0;
        }
    }

    static int32_t answer(intptr_t, int32_t operation, int32_t value, int32_t, int32_t percent,
                          int32_t, intptr_t) {
        World* world = current();
        if (world == nullptr || operation != 0) return 0;
        if (value == -2) world->reach(CallBack::kStart);
        if (percent != 0) world->reachAny({CallBack::kReport, CallBack::kArrayReport});
        if (value == 0 && percent == 0)
            world->reach(world->terminating_ ? CallBack::kTerminateQuestion
                                             : CallBack::kCloseQuestion);
        return 0;
    }

    static HostWord draw(int32_t message, void* input, HostWord output, HostWord extra) {
        World& world = *current();
        const CallBack kinds[] = {CallBack::kDrawQuery, CallBack::kDrawInitialise,
                                  CallBack::kDrawTerminate, CallBack::kDrawRows};
        if (message != DRAW_INITIALISE) world.reach(kinds[message]);
        const HostWord answer = DrawExportCellData(message, input, output, extra);
        if (message == DRAW_INITIALISE) world.reach(kinds[message]);
        return answer;
    }

    void record(int32_t outcome) {
        if (acted && result == -1000) result = outcome;
    }

    void exportPicture() {
        // Only encoded files are sought in.
        if (wanted_ == CallBack::kDocumentSeek) settingsAt(own).compressionMode = COMPRESSION_RLE;
        model::Description ownSize;
        ownSize.resolution = 96;
        ownSize.width = 12;
        ownSize.height = 8;
        PictureDescription target = support::describe(ownSize);
        HostWord parameters[7] = {};
        parameters[EXPORT_SETUP] = own;
        parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
        record(ExportCellData("name", &picture.picture, &target, parameters));
    }

    void drawPicture() {
        OxlStreamDesc descriptor = {};
        descriptor.documentProc = reinterpret_cast<HostWord>(&World::document_);
        const OxlStream stream = oxlOpen("name", &descriptor, OXL_CREATE | OXL_WRITE);
        EditSetup(own, 0);
        picture.picture.resolution = 96;
        picture.picture.targetWidth = 12;
        picture.picture.targetHeight = 8;
        record(OutputPicture(stream, &picture.picture, &World::draw));
        oxlClose(stream);
    }

    void driveDevice() {
        record(initialiseDevice(own));
        record(send(OpcodeBlock(OP_OPEN)));
        record(send(OpcodeBlock(OP_BEGIN_PICTURE)));
        record(send(support::windowBlock({0, 0, 0, 3, 1, 0})));
        record(send(OpcodeBlock(OP_BEGIN_BODY)));
        record(send(support::cellArrayBlock({4, 2, 8}, Bytes(8, 9))));
        inImage_ = true;
        record(send(support::beginImageBlock({4, 2, 8})));
        record(send(support::cellArrayBlock({4, 2, 8}, Bytes(8, 9))));
        record(send(support::endImageBlock()));
        inImage_ = false;
        record(send(OpcodeBlock(OP_END_PICTURE)));
        if (wanted_ != CallBack::kTerminateQuestion) record(send(OpcodeBlock(OP_CLOSE)));
        terminating_ = true;
        if (lpEMData != nullptr && lpEMData->deviceState == DEV_CLOSED) {
            GlobalFree(GlobalHandle(lpEMData->memoryBlock));
            lpEMData->memoryBlock = nullptr;
        }
        record(terminateDevice());
    }

    void driveCommonRoute() {
        record(initialiseCommon(own));
        EditSetup(own, 0);
        record(terminateCommon());
    }

    CallBack wanted_;
    Act act_;
    bool inImage_ = false;
    bool terminating_ = false;
    char name_[8] = "";
    char commonName_[8] = "";
    int32_t capabilities_[60] = {};
    HostWord initBlock_[DRIVER_INIT_WORDS] = {};
};

// What an act does to the operations that run.
enum class Harm {
    kNone,
    kSettings,  // ends the settings in use
    kDevice,    // ends the device in use, or puts another in its place
    kOutput,    // closes the device's output
    kReopened,  // closes it and opens another
    kStream,    // closes the stream under the device
    kContents   // changes what is written
};

// What a call-back does.
struct Row {
    const char* name;
    World::Act act;
    Harm harm = Harm::kNone;
};

const std::vector<Row>& rows() {
    static const std::vector<Row> table = {
        {"nothing", [](World&) {}},
        {"CreateSetup",
         [](World&) {
             const MemHandle made = CreateSetup(0, "/nowhere/at/all.ini", nullptr, nullptr);
             DestroySetup(made);
         }},
        {"DestroySetup of another", [](World& world) { world.destroy(world.other); }},
        {"DestroySetup of its own", [](World& world) { world.destroy(world.own); },
         Harm::kSettings},
        {"GlobalFree of its own",
         [](World& world) {
             GlobalFree(world.own);
             world.own = 0;
             if (lpSetup != nullptr) lpSetup = nullptr;
         },
         Harm::kSettings},
        {"EditSetup of another", [](World& world) { EditSetup(world.other, 7); }},
        {"EscapeSetup",
         [](World& world) {
             xEscapeSetup(world.other, 81, 4, nullptr, nullptr, 0);
             EditSetup(world.other, 0);
             int32_t info[7] = {96, 0, 96, 20, 10, 640, 480};
             int32_t size[2] = {};
             xEscapeSetup(world.other, 56, sizeof info, info, size, 0);
         }},
        {"clearing the document", [](World& world) { settingsAt(world.own).documentStream = 0; }},
        {"LoadProfile and LimitCheck",
         [](World& world) {
             EditSetup(world.other, 0);
             LoadProfile(0);
             LimitCheck();
         }},
        {"lpRaster set to null", [](World&) { lpRaster = nullptr; }},
        {"ExportCellData with others", [](World& world) { world.exportOther(world.other); }},
        {"ExportCellData with its own, and its document gone",
         [](World& world) {
             const HostWord document = settingsAt(world.own).documentStream;
             settingsAt(world.own).documentStream = 0;
             world.exportOther(world.own);
             settingsAt(world.own).documentStream = document;
         }},
        {"the writer on another stream",
         [](World& world) {
             EditSetup(world.other, 0);
             settingsAt(world.other).compressionMode = COMPRESSION_RLE;
             void* memory = GlobalLock(GlobalAlloc(TIVAR_GMEM_FLAGS, 1));
             OxlStreamDesc descriptor = {};
             descriptor.target = reinterpret_cast<HostWord>(&memory);
             descriptor.growStep = 64;
             const OxlStream stream = oxlOpen(nullptr, &descriptor, OXL_CREATE | OXL_WRITE);
             MemHandle state = 0;
             const Bytes palette(768);
             const support::Block cells(Bytes(16));
             BeginCellBitmap(stream, 4, 4, 8, palette.data(), &state);
             WriteCellBits(stream, cells.handle, 4, 4, 8, 0, state);
             EndCellBitmap(stream, state);
             OutputPicture(stream, &world.picture.picture, DrawExportCellData);
             oxlClose(stream);
             GlobalFree(GlobalHandle(memory));
         }},
        {"negotiation and progress",
         [](World& world) {
             EditSetup(world.other, 0);
             double width = 3;
             double height = 2;
             QueryCellFormat(&width, &height, nullptr, nullptr, nullptr, 0);
             UpdateStatus(3);
         }},
        {"DRV_INIT", [](World& world) { world.initialiseDevice(world.other); }, Harm::kDevice},
        {"DRV_TERM", [](World& world) { world.terminateDevice(); }, Harm::kDevice},
        {"DRV_TERM without the device's handle",
         [](World& world) {
             hEMData = 0;
             world.terminateDevice();
         },
         Harm::kDevice},
        {"DRV_INIT and DRV_TERM",
         [](World& world) {
             world.initialiseDevice(world.other);
             world.terminateDevice();
         },
         Harm::kDevice},
        {"DRV_TERM and DRV_INIT",
         [](World& world) {
             world.terminateDevice();
             world.initialiseDevice(world.other);
         },
         Harm::kDevice},
        {"opcode 1", [](World& world) { world.send(OpcodeBlock(OP_OPEN)); }, Harm::kContents},
        {"opcode 2", [](World& world) { world.send(OpcodeBlock(OP_CLOSE)); }, Harm::kOutput},
        {"opcodes 2 and 1",
         [](World& world) {
             world.send(OpcodeBlock(OP_CLOSE));
             world.send(OpcodeBlock(OP_OPEN));
         },
         Harm::kReopened},
        {"a cell array", [](World& world) { world.sendArray(); }, Harm::kContents},
        {"primitives -5 and -6",
         [](World& world) {
             world.send(support::beginImageBlock({4, 2, 8}));
             world.sendArray();
             world.send(support::endImageBlock());
         },
         Harm::kContents},
        {"primitive -5",
         [](World& world) {
             world.send(support::beginImageBlock({4, 2, 8}));
         },
         Harm::kContents},
        {"oxlClose of the device's output",
         [](World&) {
             if (lpEMData != nullptr) oxlClose(lpEMData->outputStream);
         },
         Harm::kStream},
        {"the common route on others",
         [](World& world) {
             world.initialiseCommon(world.other);
             EditSetup(world.other, 0);
             world.terminateCommon();
             GlobalFree(world.status[STATUS_MEMORY]);
             world.status[STATUS_MEMORY] = 0;
         }},
        {"GlobalFree of the pixels",
         [](World& world) {
             GlobalFree(world.picture.pixels.handle);
             world.picture.pixels.handle = 0;
             // What a call-back of the host's own hands out must be there.
             if (world.draws()) world.picture.picture.pixels = 0;
         },
         Harm::kContents},
        {"DRAW_TERMINATE and DRAW_ROWS by hand",
         [](World& world) {
             CellDataRequest own = {};
             own.picture = &world.picture.picture;
             DrawExportCellData(DRAW_ROWS, &own, 0, 0);
             DrawExportCellData(DRAW_TERMINATE, &own, 0, 0);
         }},
    };
    return table;
}

// Runs the kind with the act; the host's document comes back.
template <class Check>
void runWith(CallBack kind, const Row& row, Check check) {
    SCOPED_TRACE(row.name);
    SCOPED_TRACE(static_cast<int>(kind));
    const long before = support::liveBlocks;
    {
        World world(kind, row.act);
        world.run();
        EXPECT_TRUE(world.acted) << "the call-back never came";
        check(world);
    }
    EXPECT_EQ(support::liveBlocks, before) << "lost, or freed twice";
}

Bytes undisturbed(CallBack kind) {
    World world(kind, [](World&) {});
    world.run();
    return world.document;
}

TEST(ReentryIntoAnExport, GoesOnUnharmedOrStopsWithItsFailureCode) {
    for (const CallBack kind : kExportCallBacks) {
        const Bytes expected = undisturbed(kind);
        ASSERT_GE(expected.size(), 1078u + 12 * 8);
        for (const Row& row : rows())
            runWith(kind, row, [&](const World& world) {
                const bool stops = row.harm == Harm::kSettings;
                EXPECT_EQ(world.result, stops ? 303 : 0);
                if (stops || row.harm == Harm::kContents) return;
                EXPECT_EQ(world.document, expected);
            });
    }
}

TEST(ReentryIntoABandLoop, GoesOnUnharmedOrStopsWithItsFailureCode) {
    for (const CallBack kind : kDrawCallBacks) {
        const Bytes expected = undisturbed(kind);
        ASSERT_EQ(expected.size(), 1078u + 12 * 8);
        int32_t failure = TIVAR_ERR_SETUP;
        if (kind == CallBack::kDrawRows) failure = TIVAR_ERR_BAND;
        // Everything is written when the last message comes.
        if (kind == CallBack::kDrawTerminate) failure = 0;
        for (const Row& row : rows())
            runWith(kind, row, [&](const World& world) {
                if (row.harm == Harm::kContents) return;
                const bool stops = row.harm == Harm::kSettings;
                EXPECT_EQ(world.result, stops ? failure : 0);
                if (!stops) {
                    EXPECT_EQ(world.document, expected);
                }
            });
    }
}

// Whether the act takes away what the device's operation of the kind needs.
bool stopsDevice(CallBack kind, Harm harm) {
    if (harm == Harm::kDevice) return kind != CallBack::kTerminateQuestion;
    switch (kind) {
        case CallBack::kStart:
            return harm == Harm::kSettings;
        case CallBack::kDeviceDocumentOpen:
            return harm != Harm::kNone && harm != Harm::kStream;
        case CallBack::kCloseQuestion:
        case CallBack::kDeviceDocumentClose:
            // What closes is not opened again: the error is the opening's.
            return harm == Harm::kReopened;
        case CallBack::kTerminateQuestion:
            return false;
        default:
            return harm != Harm::kNone;
    }
}

TEST(ReentryIntoADevice, GoesOnUnharmedOrStopsWithItsFailureCode) {
    for (const CallBack kind : kDeviceCallBacks) {
        const Bytes expected = undisturbed(kind);
        ASSERT_GT(expected.size(), 2 * (1078u + 8));
        for (const Row& row : rows())
            runWith(kind, row, [&](const World& world) {
                if (row.harm == Harm::kContents) return;
                const bool stops = stopsDevice(kind, row.harm);
                const int32_t failure = kind == CallBack::kStart ? 300 : 303;
                EXPECT_EQ(world.result, stops ? failure : 0);
                // What the settings say when it opens is the opening's matter.
                if (row.harm == Harm::kNone && kind != CallBack::kStart) {
                    EXPECT_EQ(world.document, expected);
                }
            });
    }
}

TEST(ReentryIntoTheCommonRoute, GoesOnUnharmedOrStopsWithItsFailureCode) {
    for (const CallBack kind : kCommonCallBacks) {
        // Without a metafile the end of the route is a failure in any case.
        const bool opening = kind == CallBack::kCommonDocumentOpen;
        for (const Row& row : rows())
            runWith(kind, row, [&](const World& world) {
                const int32_t failure = opening ? 303 : 300;
                const int32_t usual = opening ? 0 : 300;
                EXPECT_EQ(world.result, row.harm == Harm::kSettings ? failure : usual);
            });
    }
}

}  // namespace
