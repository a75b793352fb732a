// What the host changes while a call works on it: every field of every record, one act each.
#include <algorithm>
#include <cstring>
#include <string>

#include "host/world.h"

namespace host {
namespace {

HostWord pickStatus(World& world) {
    const std::uint32_t which = world.input.below(3);
    return which == 2 ? 0 : reinterpret_cast<HostWord>(world.status[which]);
}

template <class Whole>
Whole number(World& world) {
    return static_cast<Whole>(world.input.wild());
}

void changeText(World& world, char* text, std::size_t capacity) {
    if (world.input.oneIn(4)) {
        // No end in the field, but in the record.
        std::memset(text, 'x', capacity);
        return;
    }
    const std::string chosen = world.input.text(40);
    std::memset(text, 0, capacity);
    std::memcpy(text, chosen.c_str(), std::min(chosen.size(), capacity - 1));
}

// ---- Records in use ----------------------------------------------------------------------------

SetupRecord& setup(World& world) {
    static SetupRecord spare;
    const MemHandle handle = world.settings.at(world.input.u8());
    return handle == 0 ? spare : *static_cast<SetupRecord*>(GlobalLock(handle));
}

EMData& device() {
    static EMData spare;
    return lpEMData == nullptr ? spare : *lpEMData;
}

CellPicture& picture(World& world) {
    return world.pictures[world.input.below(3)];
}

CellDataRequest& surface(World& world) {
    static CellDataRequest spare;
    const MemHandle handle =
        world.request.isAlive() ? world.request.handle : world.surfaces.at(world.input.u8());
    // One that ended already is no block any more, while a call still works on it.
    void* const record = GlobalLock(handle);
    return record == nullptr ? spare : *static_cast<CellDataRequest*>(record);
}

CellBitmapState& state(World& world) {
    static CellBitmapState spare;
    const MemHandle handle = world.states.at(world.input.u8());
    return handle == 0 ? spare : *static_cast<CellBitmapState*>(GlobalLock(handle));
}

// Settings that formats and sizes go by, mostly known ones.
void changeSetting(World& world, std::int32_t& field, std::int32_t first, std::uint32_t count) {
    field = world.input.oneIn(4) ? world.input.wildSigned()
                                 : first + static_cast<std::int32_t>(world.input.below(count));
}

HostWord documentOrNone(World& world) {
    return world.input.oneIn(2) ? 0 : reinterpret_cast<HostWord>(&onDocument);
}

HostWord statusProcOrNone(World& world) {
    return world.input.oneIn(2) ? 0 : reinterpret_cast<HostWord>(&onStatus);
}

// A block of the library's makes way for one that becomes its own, or for none.
void replaceBlock(World& world, MemHandle& field, std::uint32_t size) {
    world.hide(field);
    field = world.input.oneIn(2) ? world.give(size) : 0;
}

std::uint16_t aSide(World& world) {
    return static_cast<std::uint16_t>(world.side());
}

#define TIVAR_EDIT(name, ...)    \
    {                            \
        name, [](World& world) { \
            (void)world;         \
            __VA_ARGS__;         \
        }                        \
    }

const std::vector<NamedAct>& all() {
    static const std::vector<NamedAct> table = {
        // The settings.
        TIVAR_EDIT("setup.filterName", changeText(world, setup(world).filterName, 144)),
        TIVAR_EDIT("setup.modeName", changeText(world, setup(world).modeName, 144)),
        TIVAR_EDIT("setup.profilePath", changeText(world, setup(world).profilePath, 144)),
        TIVAR_EDIT("setup.backupProfilePath",
                   changeText(world, setup(world).backupProfilePath, 144)),
        TIVAR_EDIT("setup.driverName", changeText(world, setup(world).driverName, 16)),
        TIVAR_EDIT("setup.reservedWord", setup(world).reservedWord = number<std::int32_t>(world)),
        TIVAR_EDIT("setup.editContext", setup(world).editContext = number<HostWord>(world)),
        TIVAR_EDIT("setup.escapeUserValue", setup(world).escapeUserValue = number<HostWord>(world)),
        TIVAR_EDIT("setup.colorMode", changeSetting(world, setup(world).colorMode, 101, 8)),
        TIVAR_EDIT("setup.colorModeAux", setup(world).colorModeAux = number<std::int32_t>(world)),
        TIVAR_EDIT("setup.documentStream", setup(world).documentStream = documentOrNone(world)),
        TIVAR_EDIT("setup.driverValue", setup(world).driverValue = world.input.number()),
        TIVAR_EDIT("setup.lineMode", setup(world).lineMode = number<std::int32_t>(world)),
        TIVAR_EDIT("setup.outputFileName", std::memset(setup(world).outputFileName, 0, 144)),
        TIVAR_EDIT("setup.sizeMode", changeSetting(world, setup(world).sizeMode, 599, 6)),
        TIVAR_EDIT("setup.resolutionMode",
                   changeSetting(world, setup(world).resolutionMode, 306, 6)),
        TIVAR_EDIT("setup.compressionMode", setup(world).compressionMode = world.input.oneIn(2)
                                                                               ? COMPRESSION_RLE
                                                                               : COMPRESSION_NONE),
        TIVAR_EDIT("setup.colorFormat", changeSetting(world, setup(world).colorFormat, 214, 10)),
        TIVAR_EDIT("setup.fileType", changeSetting(world, setup(world).fileType, 330, 4)),
        TIVAR_EDIT("setup.pictureWidth", setup(world).pictureWidth = world.length()),
        TIVAR_EDIT("setup.pictureHeight", setup(world).pictureHeight = world.length()),
        TIVAR_EDIT("setup.xResolution", setup(world).xResolution = number<std::int16_t>(world)),
        TIVAR_EDIT("setup.yResolution", setup(world).yResolution = number<std::int16_t>(world)),
        TIVAR_EDIT("setup.metafileValue1", setup(world).metafileValue1 = number<HostWord>(world)),
        TIVAR_EDIT("setup.metafileValue2", setup(world).metafileValue2 = number<HostWord>(world)),
        TIVAR_EDIT("setup.paletteSize", setup(world).paletteSize =
                                            static_cast<std::int32_t>(world.input.below(200)) * 2),
        TIVAR_EDIT("setup.bitsPerPixel", changeSetting(world, setup(world).bitsPerPixel, 0, 33)),
        TIVAR_EDIT("setup.exportParams",
                   setup(world).exportParams = reinterpret_cast<HostWord*>(pickStatus(world))),
        TIVAR_EDIT("setup.printerAvailable", setup(world).printerAvailable = world.input.u8()),
        TIVAR_EDIT("setup.hRLEBuffer",
                   {
                       // Of the two the address must lead into the block.
                       SetupRecord& record = setup(world);
                       if (record.lpRLEBuffer == nullptr) return;
                       replaceBlock(world, record.hRLEBuffer, 1 + world.input.u8());
                       record.lpRLEBuffer =
                           static_cast<std::uint8_t*>(GlobalLock(record.hRLEBuffer));
                   }),
        TIVAR_EDIT("setup.lpRLEBuffer",
                   {
                       SetupRecord& record = setup(world);
                       if (record.lpRLEBuffer == nullptr) return;
                       world.hide(record.hRLEBuffer);
                       record.lpRLEBuffer = nullptr;
                   }),
        TIVAR_EDIT("setup.metafileBlock",
                   {
                       world.lose();
                       setup(world).metafileBlock = nullptr;
                   }),
        TIVAR_EDIT("setup.metafileStream",
                   {
                       world.lose();
                       setup(world).metafileStream = 0;
                   }),
        TIVAR_EDIT("setup.platformWords",
                   setup(world).platformWords[world.input.below(2)] = number<HostWord>(world)),
        TIVAR_EDIT("setup.unused",
                   std::memset(setup(world).unused, world.input.u8(), sizeof setup(world).unused)),
        // The picture and its description.
        TIVAR_EDIT("picture.bits", picture(world).bits = static_cast<std::uint16_t>(world.depth())),
        TIVAR_EDIT("picture.width", picture(world).width = aSide(world)),
        TIVAR_EDIT("picture.height", picture(world).height = aSide(world)),
        TIVAR_EDIT("picture.resolution", picture(world).resolution = number<std::int16_t>(world)),
        TIVAR_EDIT("picture.targetWidth", picture(world).targetWidth = world.length()),
        TIVAR_EDIT("picture.targetHeight", picture(world).targetHeight = world.length()),
        TIVAR_EDIT("picture.colorTable",
                   picture(world).colorTable = world.blocks.pick(world.input)),
        TIVAR_EDIT("picture.pixels", picture(world).pixels = world.blocks.pick(world.input)),
        TIVAR_EDIT("picture.reserved", std::memset(picture(world).reserved, world.input.u8(), 48)),
        TIVAR_EDIT("description.displayResolution",
                   world.description.displayResolution = number<std::int16_t>(world)),
        TIVAR_EDIT("description.resolution",
                   world.description.resolution = number<std::int16_t>(world)),
        TIVAR_EDIT("description.width",
                   world.description.width = static_cast<std::int32_t>(world.side())),
        TIVAR_EDIT("description.height",
                   world.description.height = static_cast<std::int32_t>(world.side())),
        TIVAR_EDIT("description.displayWidth",
                   world.description.displayWidth = number<std::int32_t>(world)),
        TIVAR_EDIT("description.displayHeight",
                   world.description.displayHeight = number<std::int32_t>(world)),
        // The blocks of words.
        TIVAR_EDIT("parameters[EXPORT_SETUP]",
                   world.parameters[EXPORT_SETUP] = world.settings.pick(world.input)),
        TIVAR_EDIT("parameters[EXPORT_STATUS]",
                   world.parameters[EXPORT_STATUS] = pickStatus(world)),
        TIVAR_EDIT("status[STATUS_CONTEXT]",
                   world.status[world.input.below(2)][STATUS_CONTEXT] = world.input.u8()),
        TIVAR_EDIT("status[STATUS_PROC]",
                   world.status[world.input.below(2)][STATUS_PROC] = statusProcOrNone(world)),
        TIVAR_EDIT("status[STATUS_MEMORY]",
                   {
                       HostWord& memory = world.status[world.input.below(2)][STATUS_MEMORY];
                       world.hide(memory);
                       memory = 0;
                   }),
        TIVAR_EDIT("status[STATUS_DOCUMENT]",
                   world.status[world.input.below(2)][STATUS_DOCUMENT] = number<HostWord>(world)),
        TIVAR_EDIT("init[DRIVER_INIT_NAME]", world.initWords[DRIVER_INIT_NAME] = 0),
        TIVAR_EDIT("init[DRIVER_INIT_REPLY_SIZE]",
                   world.initWords[DRIVER_INIT_REPLY_SIZE] = world.input.u16()),
        TIVAR_EDIT("init[DRIVER_INIT_REPLY]", world.initWords[DRIVER_INIT_REPLY] = 0),
        TIVAR_EDIT("init[DRIVER_INIT_SETUP]",
                   world.initWords[DRIVER_INIT_SETUP] = world.settings.pick(world.input)),
        TIVAR_EDIT("init[DRIVER_INIT_HOOK]", world.initWords[DRIVER_INIT_HOOK] = pickStatus(world)),
        TIVAR_EDIT("init[DRIVER_INIT_CAPABILITIES]", world.initWords[DRIVER_INIT_CAPABILITIES] = 0),
        // The drawing call-back's.
        TIVAR_EDIT("words[width]",
                   if (world.fiveWords != nullptr) world.fiveWords[0] = world.side()),
        TIVAR_EDIT("words[height]",
                   if (world.fiveWords != nullptr) world.fiveWords[1] = world.side()),
        TIVAR_EDIT("words[bits]", if (world.fiveWords != nullptr) world.fiveWords[2] =
                                      static_cast<HostWord>(world.depth())),
        TIVAR_EDIT("words[colours]",
                   if (world.fiveWords != nullptr) world.fiveWords[3] = world.input.u8()),
        TIVAR_EDIT("words[table]", if (world.fiveWords != nullptr) world.fiveWords[4] = 0),
        TIVAR_EDIT("format.width", world.format.width = world.length()),
        TIVAR_EDIT("format.height", world.format.height = world.length()),
        TIVAR_EDIT("format.resolution", world.format.resolution = world.input.wild()),
        TIVAR_EDIT("format.swapRedBlue", world.format.swapRedBlue = number<std::int16_t>(world)),
        TIVAR_EDIT("surface.picture",
                   surface(world).picture = world.input.oneIn(4) ? nullptr : &picture(world)),
        TIVAR_EDIT("surface.draw",
                   {
                       constexpr DrawProc kProcs[] = {&onDraw, &DrawExportCellData, &onDraw,
                                                      nullptr};
                       CellDataRequest& request = surface(world);
                       request.draw = world.input.pick(kProcs);
                       // Nobody is told then that the surface ends.
                       if (request.draw == nullptr) world.lose();
                   }),
        TIVAR_EDIT("surface.colorCount", surface(world).colorCount = number<std::int16_t>(world)),
        TIVAR_EDIT("surface.colorTable",
                   {
                       CellDataRequest& request = surface(world);
                       if (request.colorTable == nullptr) return;
                       world.hide(GlobalHandle(request.colorTable));
                       void* const other = oxlPtrGlobalAlloc(world.input.u8());
                       world.hide(GlobalHandle(other));
                       request.colorTable = static_cast<std::uint8_t*>(other);
                   }),
        TIVAR_EDIT("surface.destWidth", surface(world).destWidth = world.side()),
        TIVAR_EDIT("surface.destHeight", surface(world).destHeight = world.side()),
        TIVAR_EDIT("surface.destBits", surface(world).destBits = world.depth()),
        TIVAR_EDIT("surface.flag", surface(world).flag = world.input.u8()),
        TIVAR_EDIT("surface.privateBlock",
                   {
                       if (surface(world).privateBlock == 0) return;
                       world.lose();
                       surface(world).privateBlock = 0;
                   }),
        TIVAR_EDIT("surface.reserved",
                   surface(world).reserved[world.input.below(2)] = number<HostWord>(world)),
        TIVAR_EDIT("state.compression", state(world).compression = world.input.below(4)),
        TIVAR_EDIT("state.compressedSize", state(world).compressedSize = world.input.wild()),
        // The device.
        TIVAR_EDIT("device.outputStream",
                   {
                       world.lose();
                       device().outputStream = 0;
                   }),
        TIVAR_EDIT("device.imageMemory", replaceBlock(world, device().imageMemory, 40)),
        TIVAR_EDIT("device.imagePending",
                   device().imagePending = static_cast<std::int32_t>(world.input.below(3))),
        TIVAR_EDIT("device.nextRow", device().nextRow = number<std::int32_t>(world)),
        TIVAR_EDIT("device.colorTable", std::memset(device().colorTable, world.input.u8(), 768)),
        TIVAR_EDIT("device.background", device().background[0] = world.input.u8()),
        TIVAR_EDIT("device.errors.lastCode",
                   {
                       world.wroteResult = true;
                       device().errors.lastCode = number<std::int16_t>(world);
                   }),
        TIVAR_EDIT("device.errors.count", device().errors.count = number<std::int32_t>(world)),
        TIVAR_EDIT("device.errors.capacity",
                   device().errors.capacity = number<std::int32_t>(world)),
        TIVAR_EDIT("device.errors.overflowCount",
                   device().errors.overflowCount = number<std::int32_t>(world)),
        TIVAR_EDIT("device.errors.lastSequence", device().errors.lastSequence = world.input.wild()),
        TIVAR_EDIT("device.deviceWindow",
                   device().deviceWindow[world.input.below(6)] = world.length()),
        TIVAR_EDIT("device.deviceViewport",
                   device().deviceViewport[world.input.below(6)] = world.input.number()),
        TIVAR_EDIT("device.deviceState",
                   {
                       // Closed, an open device's output is nobody's.
                       world.lose();
                       device().deviceState = world.input.u8();
                   }),
        TIVAR_EDIT("device.currentSequence", device().currentSequence = world.input.wild()),
        TIVAR_EDIT("device.replyPosition", device().replyPosition = world.input.wild()),
        TIVAR_EDIT("device.replySize", device().replySize = world.input.wild()),
        TIVAR_EDIT("device.hReply",
                   {
                       EMData& record = device();
                       replaceBlock(world, record.hReply, 20);
                       record.lpReply = static_cast<std::uint8_t*>(GlobalLock(record.hReply));
                   }),
        TIVAR_EDIT("device.lpReply", device().lpReply = nullptr),
        TIVAR_EDIT("device.outputFileName", std::memset(device().outputFileName, 0, 144)),
        TIVAR_EDIT("device.imageWidth", device().imageWidth = number<std::int32_t>(world)),
        TIVAR_EDIT("device.imageHeight", device().imageHeight = number<std::int32_t>(world)),
        TIVAR_EDIT("device.bitsPerCell", device().bitsPerCell = world.depth()),
        TIVAR_EDIT("device.statusHook",
                   device().statusHook = reinterpret_cast<HostWord*>(pickStatus(world))),
        TIVAR_EDIT("device.colorDepth", device().colorDepth = number<std::int32_t>(world)),
        TIVAR_EDIT("device.hSetup", World::useDeviceSettings(world.settings.pick(world.input))),
        TIVAR_EDIT("device.viewportResolution",
                   device().viewportResolution = number<std::int32_t>(world)),
        TIVAR_EDIT("device.imageFlag", device().imageFlag = number<std::int16_t>(world)),
        TIVAR_EDIT("device.nameRefused", device().nameRefused = number<std::int8_t>(world)),
        TIVAR_EDIT("device.closing", device().closing = number<std::int8_t>(world)),
        TIVAR_EDIT("device.memoryBlock",
                   {
                       if (lpEMData == nullptr || lpEMData->outputStream != 0) return;
                       world.hide(lpEMData->memoryBlock == nullptr
                                      ? 0
                                      : GlobalHandle(lpEMData->memoryBlock));
                       lpEMData->memoryBlock = nullptr;
                   }),
        TIVAR_EDIT("device.reserved", std::memset(device().reserved, world.input.u8(), 28)),
        // The common block and the stream's description.
        TIVAR_EDIT("common.state",
                   world.common.state = static_cast<std::int32_t>(world.input.below(3))),
        TIVAR_EDIT("common.lastError", world.common.lastError = number<std::int16_t>(world)),
        TIVAR_EDIT("common.statusHook",
                   world.common.statusHook = reinterpret_cast<HostWord*>(pickStatus(world))),
        TIVAR_EDIT("common.statusValue", world.common.statusValue = number<std::int32_t>(world)),
        TIVAR_EDIT("descriptor.size", world.descriptor.size = world.input.wild()),
        TIVAR_EDIT("descriptor.growStep", world.descriptor.growStep = world.input.u8()),
        TIVAR_EDIT("descriptor.target", world.descriptor.target = 0),
        TIVAR_EDIT("descriptor.documentProc",
                   world.descriptor.documentProc = documentOrNone(world)),
        TIVAR_EDIT("descriptor.lentFile", world.descriptor.lentFile = 0),
        TIVAR_EDIT("descriptor.lentDocument",
                   world.descriptor.lentDocument = number<HostWord>(world)),
        // The direct interface's.
        TIVAR_EDIT("Picture.size", world.picture.size = world.input.wild()),
        TIVAR_EDIT("Picture.format", world.picture.format = world.input.wildSigned()),
        TIVAR_EDIT("Picture.width", world.picture.width = world.input.wild()),
        TIVAR_EDIT("Picture.height", world.picture.height = world.input.wild()),
        TIVAR_EDIT("Picture.pixels", world.picture.pixels = world.scratch),
        TIVAR_EDIT("Picture.stride",
                   world.picture.stride = static_cast<std::ptrdiff_t>(world.input.wildSigned())),
        TIVAR_EDIT("Picture.read_row", world.picture.read_row = nullptr),
        TIVAR_EDIT("Picture.context", world.picture.context = nullptr),
        TIVAR_EDIT("Picture.palette", world.picture.palette = world.palette),
        TIVAR_EDIT("Picture.palette_count", world.picture.palette_count = world.input.wild()),
        TIVAR_EDIT("Picture.flags", world.picture.flags = world.input.wild()),
        TIVAR_EDIT("Options.size", world.options.size = world.input.wild()),
        TIVAR_EDIT("Options.bits", world.options.bits = world.input.wildSigned()),
        TIVAR_EDIT("Options.header", world.options.header = world.input.wildSigned()),
        TIVAR_EDIT("Options.encoding", world.options.encoding = world.input.wildSigned()),
        TIVAR_EDIT("Options.row_order", world.options.row_order = world.input.wildSigned()),
        TIVAR_EDIT("Options.palette_length",
                   world.options.palette_length = world.input.wildSigned()),
        TIVAR_EDIT("Options.masks", world.options.masks = world.input.wildSigned()),
        TIVAR_EDIT("Options.x_per_meter", world.options.x_per_meter = world.input.wildSigned()),
        TIVAR_EDIT("Options.y_per_meter", world.options.y_per_meter = world.input.wildSigned()),
        TIVAR_EDIT("Options.colors", world.options.colors = world.input.wildSigned()),
        TIVAR_EDIT("Options.max_colors", world.options.max_colors = world.input.wild()),
        TIVAR_EDIT("Options.palette",
                   {
                       world.options.palette = world.input.oneIn(2) ? nullptr : world.palette;
                       world.palette[world.input.u8()] = world.input.u8();
                   }),
        TIVAR_EDIT("Options.palette_count", world.options.palette_count = world.input.wild()),
        TIVAR_EDIT("Options.dither", world.options.dither = world.input.wildSigned()),
        TIVAR_EDIT("Options.alpha", world.options.alpha = world.input.wildSigned()),
        TIVAR_EDIT("Options.background", world.options.background[3] = world.input.u8()),
        TIVAR_EDIT("Options.threads", world.options.threads = world.input.wildSigned()),
        TIVAR_EDIT("Options.progress", world.options.progress = nullptr),
        TIVAR_EDIT("Options.cancel", world.options.cancel = nullptr),
        TIVAR_EDIT("Options.context", world.options.context = nullptr),
        TIVAR_EDIT("Sink.size", world.sink.size = world.input.wild()),
        TIVAR_EDIT("Sink.write", world.sink.write = nullptr),
        TIVAR_EDIT("Sink.context", world.sink.context = nullptr),
        TIVAR_EDIT("Report.size", world.report.size = world.input.wild()),
        TIVAR_EDIT("Report.text", std::memset(world.report.text, 'x', sizeof world.report.text)),
        // What the pictures are made of.
        TIVAR_EDIT("the bytes of a block",
                   {
                       const MemHandle handle = world.blocks.pick(world.input);
                       if (GlobalSize(handle) == 0) return;
                       std::memset(GlobalLock(handle), world.input.u8(), GlobalSize(handle));
                   }),
        TIVAR_EDIT("a block's end",
                   {
                       const MemHandle handle = world.blocks.take(world.input);
                       for (CellPicture& each : world.pictures) {
                           if (each.pixels == handle) each.pixels = 0;
                           if (each.colorTable == handle) each.colorTable = 0;
                       }
                       GlobalFree(handle);
                   }),
    };
    return table;
}

#undef TIVAR_EDIT

}  // namespace

const std::vector<NamedAct>& edits() {
    return all();
}

}  // namespace host
