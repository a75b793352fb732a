// Calls that have call-backs, each with all that it needs.
#include <algorithm>
#include <cstring>

#include "driver/operations.h"
#include "harness/scratch.h"
#include "host/world.h"
#include "support/opcode_block.h"

namespace host {
namespace {

using support::OpcodeBlock;

SetupRecord* recordOf(MemHandle setup) {
    return static_cast<SetupRecord*>(GlobalLock(setup));
}

void exportCells(World& world, bool served) {
    const MemHandle setup = world.settings.pick(world.input);
    serve(setup, served);
    CellPicture& picture = world.pictures[world.input.below(3)];
    exportPicture(world, setup, &picture, served ? "document" : "");
}

void exportToDocument(World& world) {
    exportCells(world, true);
}

void exportToMemory(World& world) {
    exportCells(world, false);
}

void outputOwnDrawing(World& world) {
    const MemHandle setup = world.settings.pick(world.input);
    EditSetup(setup, 1);
    if (SetupRecord* record = recordOf(setup)) record->exportParams = world.status[0];
    OxlStreamDesc wanted = {};
    wanted.documentProc = reinterpret_cast<HostWord>(&onDocument);
    const OxlStream stream = oxlOpen("document", &wanted, OXL_CREATE | OXL_WRITE);
    const Owned owned = world.streams.add(stream);
    OutputPicture(stream, &world.pictures[world.input.below(3)], &onDraw);
    if (owned.isAlive()) oxlClose(stream);
    world.streams.forget(stream);
}

void send(OpcodeBlock block) {
    RASTER_dd_entry32(0, DRV_DISPATCH, block.data(), 0);
}

void drive(World& world, bool served) {
    const MemHandle setup = world.settings.pick(world.input);
    serve(setup, served);
    RASTER_dd_entry32(0, DRV_TERM, nullptr, 0);
    beginDevice(world, setup, "", 64);
    send(OpcodeBlock(OP_OPEN));
    send(OpcodeBlock(OP_BEGIN_PICTURE));
    send(support::windowBlock({0, 0, 0, 6, 5, 0}));
    send(support::scaleBlock(1, world.input.below(8)));
    send(OpcodeBlock(OP_BEGIN_BODY));
    const Bytes cells(400, 9);
    const std::int32_t bits = world.input.oneIn(2) ? 24 : 8;
    send(support::cellArrayBlock({6, 5, bits}, cells));
    send(support::beginImageBlock({6, 5, bits}));
    send(support::cellArrayBlock({6, 5, bits}, cells));
    send(support::endImageBlock());
    send(OpcodeBlock(OP_QUERY_WINDOW));
    send(support::popBlock(3));
    send(OpcodeBlock(OP_END_PICTURE));
    if (!world.input.oneIn(4)) send(OpcodeBlock(OP_CLOSE));
    if (lpEMData != nullptr && lpEMData->deviceState == DEV_CLOSED) {
        GlobalFree(GlobalHandle(lpEMData->memoryBlock));
        lpEMData->memoryBlock = nullptr;
    }
    RASTER_dd_entry32(0, DRV_TERM, nullptr, 0);
}

void driveToDocument(World& world) {
    drive(world, true);
}

void driveToMemory(World& world) {
    drive(world, false);
}

void driveCommonRoute(World& world) {
    const MemHandle setup = world.settings.pick(world.input);
    serve(setup, world.input.oneIn(2));
    // Once more without an end in between, the output before is lost.
    const Owned owned = Owned::of(setup);
    if (setup != 0 && recordOf(setup)->metafileStream != 0) world.lose();
    char name[8] = "";
    HostWord words[DRIVER_INIT_WORDS] = {};
    words[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name);
    words[DRIVER_INIT_SETUP] = setup;
    words[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(world.status[1]);
    if (world.input.oneIn(2)) lpCommon = &world.common;
    dd_entry32(0, DRV_INIT, words, 0);
    dd_entry32(0, DRV_DISPATCH, OpcodeBlock(OP_OPEN).data(), 0);
    dd_entry32(0, DRV_TERM, nullptr, 0);
    world.takeOutputs();
    // A call-back may have put other settings there: those of this session go on for good.
    if (owned.isAlive() && recordOf(setup)->metafileStream != 0) {
        EditSetup(setup, 0);
        dd_entry32(0, DRV_TERM, nullptr, 0);
    }
    world.takeOutputs();
    lpCommon = nullptr;
}

void useDocument(World& world) {
    OxlStreamDesc wanted = {};
    wanted.documentProc = reinterpret_cast<HostWord>(&onDocument);
    wanted.target = 3;
    oxlOpen("document", &wanted, OXL_EXISTS);
    oxlOpen("document", &wanted, OXL_DELETE);
    const OxlStream stream = oxlOpen("document", &wanted, OXL_UPDATE);
    const Owned owned = world.streams.add(stream);
    const auto there = [&] { return owned.isAlive(); };
    std::uint8_t* const bytes = world.scratch;
    if (there()) oxlWrite(stream, bytes, 40);
    if (there()) oxlRead(stream, bytes, 30);
    if (there()) oxlSeek(stream, 3, 0);
    if (there()) oxlReadStruct(stream, "SLC{2SD}F", bytes, 2);
    if (there()) oxlWriteStruct(stream, "SLC{2SD}F", bytes, 2);
    if (there()) oxlReadLine(stream, reinterpret_cast<char*>(bytes), 20);
    if (there()) oxlWriteLine(stream, "a line", 6);
    if (there()) oxlGetLineFormat(stream);
    if (there()) oxlWriteDouble(stream, reinterpret_cast<const double*>(bytes), 3);
    if (there()) oxlReadLong(stream, reinterpret_cast<std::uint32_t*>(bytes), 3);
    if (there()) oxlClose(stream);
    world.streams.forget(stream);
}

void writeCells(World& world) {
    const MemHandle setup = world.settings.pick(world.input);
    EditSetup(setup, 1);
    OxlStreamDesc wanted = {};
    wanted.documentProc = reinterpret_cast<HostWord>(&onDocument);
    const OxlStream stream = oxlOpen("document", &wanted, OXL_CREATE | OXL_WRITE);
    const Owned owned = world.streams.add(stream);
    const auto there = [&] { return owned.isAlive(); };
    MemHandle state = 0;
    constexpr std::uint32_t kDepths[] = {8, 4, 24, 1};
    const std::uint32_t bits = world.input.pick(kDepths);
    if (there()) BeginCellBitmap(stream, 9, 4, bits, world.palette, &state);
    const Owned begun = world.states.add(state);
    for (int band = 0; band < 2; ++band)
        if (there() && begun.isAlive())
            WriteCellBits(stream, world.blocks.pick(world.input), 9, 2, bits, 1, state);
    if (there() && lpRaster != nullptr) {
        std::uint32_t size = 0;
        RLEWrite(stream, world.scratch, 3, 9, 12, &size, 1);
    }
    if (there() && begun.isAlive()) {
        world.states.forget(state);
        EndCellBitmap(stream, state);
    }
    if (there()) oxlClose(stream);
    world.streams.forget(stream);
}

void drawOffscreen(World& world) {
    CellPicture& picture = world.pictures[world.input.below(3)];
    picture.targetWidth = 12;
    picture.targetHeight = 8;
    world.format = {};
    QueryPlatformOffscreen(&world.format, &picture, &onDraw);
    std::uint32_t rows = 8;
    void* const colors = oxlPtrGlobalAlloc(768);
    if (colors != nullptr) world.hide(GlobalHandle(colors));
    CellDataRequest* const surface = InitPlatformOffscreen(
        12, &rows, 8, 256, static_cast<std::uint8_t*>(colors), &picture, &onDraw, world.scratch);
    if (surface == nullptr) return;
    const Owned owned = world.surfaces.add(GlobalHandle(surface));
    DrawPlatformOffscreen(surface, 0, 8);
    if (!owned.isAlive()) return;
    world.surfaces.forget(owned.handle);
    // The call-back may have given it another table.
    if (surface->colorTable != nullptr) world.hide(GlobalHandle(surface->colorTable));
    TermPlatformOffscreen(surface);
}

// A picture whose rows come from the host, to a place of the host's.
void writeDirectly(World& world, int place) {
    const TivarPicture outerPicture = world.picture;
    const TivarOptions outerOptions = world.options;
    const TivarSink outerSink = world.sink;
    const std::size_t outerBytes = world.rowBytes;
    Input& input = world.input;
    TivarPicture& picture = world.picture;
    TivarOptions& options = world.options;
    picture = {};
    picture.size = sizeof picture;
    picture.format = static_cast<std::int32_t>(input.below(5));
    picture.width = 1 + input.mostlySmall(30);
    picture.height = 1 + input.mostlySmall(20);
    picture.read_row = &onReadRow;
    picture.context = &world;
    picture.flags = input.oneIn(2) ? TIVAR_ROWS_IN_ORDER : 0;
    constexpr std::size_t kPixelBytes[] = {3, 3, 4, 4, 1};
    world.rowBytes = picture.width * kPixelBytes[picture.format];
    options = {};
    options.size = sizeof options;
    constexpr std::int32_t kDepths[] = {0, 8, 4, 1, 16, 24, 8, 4};
    options.bits = input.pick(kDepths);
    options.encoding = options.bits == 8 || options.bits == 4
                           ? static_cast<std::int32_t>(input.below(3))
                           : TIVAR_ENCODING_RAW;
    if (options.bits != 0 && options.bits <= 8) {
        options.colors = static_cast<std::int32_t>(input.below(5));
        if (options.colors == TIVAR_COLORS_GIVEN) {
            options.palette = world.palette;
            options.palette_count = 2;
        }
    }
    options.progress = &onProgress;
    options.cancel = &onCancel;
    options.context = &world;
    world.sink = {sizeof world.sink, &onSink, &world};
    world.report = {};
    world.report.size = sizeof world.report;
    if (place == 0) {
        tivar_write_bmp(&picture, &options, &world.sink, &world.report);
    } else if (place == 1) {
        tivar_write_bmp_file(&picture, &options, fuzz::scratchPath("direct.bmp").c_str(), 0,
                             &world.report);
    } else {
        void* bytes = nullptr;
        std::size_t length = 0;
        tivar_write_bmp_memory(&picture, &options, &bytes, &length, &world.report);
        tivar_free(bytes);
    }
    world.picture = outerPicture;
    world.options = outerOptions;
    world.sink = outerSink;
    world.rowBytes = outerBytes;
}

void writeToSink(World& world) {
    writeDirectly(world, 0);
}

void writeToFile(World& world) {
    writeDirectly(world, 1);
}

void writeToMemory(World& world) {
    writeDirectly(world, 2);
}

}  // namespace

void serve(MemHandle setup, bool served) {
    if (SetupRecord* record = recordOf(setup))
        record->documentStream = served ? reinterpret_cast<HostWord>(&onDocument) : 0;
}

std::int32_t exportPicture(World& world, MemHandle setup, CellPicture* picture, const char* name) {
    world.parameters[EXPORT_SETUP] = setup;
    world.parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(world.status[0]);
    world.takeOutputs();
    const std::int32_t result = ExportCellData(name, picture, &world.description, world.parameters);
    world.takeOutputs();
    return result;
}

std::int32_t beginDevice(World& world, MemHandle setup, const char* name, std::uint32_t replySize) {
    // What the one before still had is nobody's.
    if (lpEMData != nullptr) world.lose();
    HostWord* const words = world.initWords;
    std::fill_n(words, std::size(world.initWords), HostWord{0});
    words[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name);
    words[DRIVER_INIT_REPLY_SIZE] = replySize;
    words[DRIVER_INIT_SETUP] = setup;
    words[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(world.status[1]);
    words[DRIVER_INIT_CAPABILITIES] = reinterpret_cast<HostWord>(world.capabilities);
    return RASTER_dd_entry32(0, DRV_INIT, words, 0);
}

const std::vector<NamedAct>& scenarios() {
    static const std::vector<NamedAct> table = {
        {"an export to a document", exportToDocument},
        {"an export to memory", exportToMemory},
        {"a drawing of the host's own", outputOwnDrawing},
        {"a device with a document", driveToDocument},
        {"a device with memory", driveToMemory},
        {"the common route", driveCommonRoute},
        {"a document's stream", useDocument},
        {"the writer on a document", writeCells},
        {"surfaces by hand", drawOffscreen},
        {"the direct interface to a sink", writeToSink},
        {"the direct interface to a file", writeToFile},
        {"the direct interface to memory", writeToMemory},
    };
    return table;
}

}  // namespace host
