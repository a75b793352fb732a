// Every exported routine, called with what the host has at hand, and every exported variable.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "harness/scratch.h"
#include "host/world.h"
#include "support/opcode_block.h"

namespace host {
namespace {

std::uint8_t* bytesOf(World& world) {
    return world.scratch + world.input.u8();
}

// Bytes of the scratch memory that numbers lie in, aligned.
template <class Number>
Number* numbersOf(World& world) {
    return reinterpret_cast<Number*>(world.scratch + 4096);
}

std::string path(World& world) {
    constexpr const char* kNames[] = {"a.ini", "b.ini", "misbehaving", "missing/c.ini"};
    return fuzz::scratchPath(world.input.pick(kNames));
}

const char* word(World& world) {
    constexpr const char* kWords[] = {"TIVAR", "Mode", "Driver", "", "a", "Width", "1", "[b]"};
    return world.input.pick(kWords);
}

OxlStream aStream(World& world) {
    if (world.streams.all.empty() || world.input.oneIn(8)) world.newStream();
    return world.streams.pick(world.input);
}

SetupRecord* aRecord(World& world) {
    return static_cast<SetupRecord*>(GlobalLock(world.settings.pick(world.input)));
}

std::int32_t aCount(World& world) {
    return static_cast<std::int32_t>(world.input.below(60));
}

std::int16_t aShort(World& world, std::uint32_t count) {
    return static_cast<std::int16_t>(world.input.below(count));
}

DrawProc aDraw(World& world) {
    return world.input.oneIn(2) ? &onDraw : &DrawExportCellData;
}

CellDataRequest* aSurface(World& world) {
    const MemHandle handle = world.surfaces.pick(world.input);
    return static_cast<CellDataRequest*>(GlobalLock(handle));
}

// The host keeps what it is given.
void keep(World& world, MemHandle handle) {
    world.blocks.add(handle);
}

// A block that goes out of use: no picture leads to it any more.
MemHandle dropBlock(World& world) {
    const MemHandle handle = world.blocks.take(world.input);
    for (CellPicture& picture : world.pictures) {
        if (picture.pixels == handle) picture.pixels = 0;
        if (picture.colorTable == handle) picture.colorTable = 0;
    }
    return handle;
}

void* dropPointer(World& world) {
    return GlobalLock(world.pointers.take(world.input));
}

MemHandle dropState(World& world) {
    return world.states.take(world.input);
}

// Any block that the host has, of whatever kind.
MemHandle anyHandle(World& world) {
    const Pool* const kPools[] = {&world.blocks, &world.settings, &world.streams, &world.states,
                                  &world.surfaces};
    return kPools[world.input.below(5)]->pick(world.input);
}

void dispatch(World& world, std::int32_t (*entry)(HostWord, std::int32_t, void*, HostWord)) {
    constexpr std::uint32_t kPlain[] = {OP_OPEN,        OP_BEGIN_PICTURE,  OP_BEGIN_BODY,
                                        OP_END_PICTURE, OP_QUERY_VIEWPORT, OP_QUERY_WINDOW,
                                        OP_CLOSE,       OP_EMPTY_ERRORS,   771};
    using support::OpcodeBlock;
    const Bytes cells(500, world.input.u8());
    OpcodeBlock block(world.input.pick(kPlain));
    switch (world.input.below(10)) {
        case 1:
            block = support::cellArrayBlock(
                {1 + world.input.below(8), 1 + world.input.below(8), world.input.oneIn(2) ? 24 : 8},
                cells);
            break;
        case 2:
            block = support::beginImageBlock({static_cast<std::int32_t>(world.input.below(9)),
                                              static_cast<std::int32_t>(world.input.below(9)),
                                              world.depth()});
            break;
        case 3:
            block = support::endImageBlock();
            break;
        case 4:
            block = support::windowBlock({0, 0, 0, world.input.number(), world.input.number(), 0});
            break;
        case 5:
            block = support::scaleBlock(1, world.input.number());
            break;
        case 6:
            block = support::colorsBlock(world.input.u8(), Bytes(30, world.input.u8()));
            break;
        case 7:
            block = support::popBlock(world.input.wildSigned());
            break;
        default:
            break;
    }
    entry(0, DRV_DISPATCH, block.data(), 0);
}

void enterRaster(World& world) {
    world.takeDeviceMemory();
    const std::uint32_t kind = world.input.below(8);
    if (kind < 5) return dispatch(world, RASTER_dd_entry32);
    if (kind == 5) {
        RASTER_dd_entry32(0, DRV_TERM, nullptr, 0);
        return;
    }
    if (lpEMData != nullptr) world.lose();
    HostWord words[DRIVER_INIT_WORDS] = {};
    words[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>("");
    words[DRIVER_INIT_REPLY_SIZE] = world.input.u8();
    words[DRIVER_INIT_SETUP] = world.settings.pick(world.input);
    words[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(world.status[1]);
    words[DRIVER_INIT_CAPABILITIES] = reinterpret_cast<HostWord>(world.capabilities);
    RASTER_dd_entry32(0, DRV_INIT, words, 0);
}

void enterCommon(World& world) {
    const std::uint32_t kind = world.input.below(4);
    lpCommon = world.input.oneIn(2) ? &world.common : nullptr;
    if (kind == 0) return dispatch(world, dd_entry32);
    if (kind == 1) {
        dd_entry32(0, DRV_TERM, nullptr, 0);
        world.takeOutputs();
        return;
    }
    // Once more without an end in between, the output before is lost.
    const MemHandle setup = world.settings.pick(world.input);
    const auto* record = static_cast<const SetupRecord*>(GlobalLock(setup));
    if (record != nullptr && record->metafileStream != 0) world.lose();
    char name[4] = "";
    HostWord words[DRIVER_INIT_WORDS] = {};
    words[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name);
    words[DRIVER_INIT_SETUP] = setup;
    words[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(world.status[1]);
    dd_entry32(0, DRV_INIT, words, 0);
}

void openStream(World& world) {
    world.newStream();
    OxlStreamDesc& descriptor = world.descriptor;
    descriptor = {};
    descriptor.documentProc = reinterpret_cast<HostWord>(&onDocument);
    constexpr std::int32_t kModes[] = {OXL_EXISTS, OXL_DELETE, OXL_LENT, OXL_CREATE | OXL_WRITE};
    const std::int32_t mode = world.input.pick(kModes);
    const OxlStream stream = oxlOpen(word(world), &descriptor, mode);
    if (mode == OXL_LENT || mode == (OXL_CREATE | OXL_WRITE)) world.streams.add(stream);
}

void escape(World& world) {
    const auto number = static_cast<std::int32_t>(world.input.below(90));
    // 25 and 81 take the address itself.
    const HostWord document = reinterpret_cast<HostWord>(&onDocument);
    void* data = world.scratch + 4096;
    if (number == 81) data = reinterpret_cast<void*>(world.input.oneIn(2) ? document : 0);
    const MemHandle setup = world.settings.pick(world.input);
    xEscapeSetup(setup, number, world.input.oneIn(2) ? 8 : 4, data, world.scratch + 6144,
                 world.input.oneIn(8) ? 1 : 0);
}

void begin(World& world) {
    // The palette has entries for 8 bits.
    constexpr std::uint32_t kDepths[] = {8, 24, 4, 1, 2, 7, 0, 32};
    const std::uint32_t bits = world.input.pick(kDepths);
    MemHandle state = 0;
    BeginCellBitmap(aStream(world), world.side(), world.side(), bits,
                    world.input.oneIn(8) ? nullptr : world.palette, &state);
    world.states.add(state);
}

void makeSurface(World& world) {
    std::uint32_t rows = 1 + world.input.below(8);
    void* const colors = oxlPtrGlobalAlloc(768);
    if (colors == nullptr) return;
    world.hide(GlobalHandle(colors));
    CellDataRequest* const surface = InitPlatformOffscreen(
        world.side(), &rows, world.depth(), static_cast<std::int16_t>(world.input.below(256)),
        static_cast<std::uint8_t*>(colors), &world.pictures[world.input.below(3)], aDraw(world),
        world.scratch);
    if (surface != nullptr) world.surfaces.add(GlobalHandle(surface));
}

void endSurface(World& world) {
    CellDataRequest* const surface =
        static_cast<CellDataRequest*>(GlobalLock(world.surfaces.take(world.input)));
    // The call-back may have given it another table.
    if (surface != nullptr && surface->colorTable != nullptr)
        world.hide(GlobalHandle(surface->colorTable));
    TermPlatformOffscreen(surface);
}

// By hand, on the request that runs or on one of its own.
void drawByHand(World& world) {
    CellDataRequest own = {};
    own.picture = &world.pictures[world.input.below(3)];
    own.destWidth = world.side();
    own.destHeight = world.side();
    own.destBits = 8;
    const auto message = static_cast<std::int32_t>(world.input.below(6));
    if (message == DRAW_QUERY) {
        world.format = {};
        DrawExportCellData(message, own.picture, reinterpret_cast<HostWord>(&world.format), 0);
        return;
    }
    if (message == DRAW_INITIALISE) return;
    keep(world, DrawExportCellData(message, &own, 0, 4) == 0 ? 0 : own.privateBlock);
    if (message != DRAW_TERMINATE) DrawExportCellData(DRAW_TERMINATE, &own, 0, 0);
}

// A size for a direct call, from memory.
void writeMemory(World& world, int place) {
    TivarPicture picture = {};
    picture.size = sizeof picture;
    picture.format = TIVAR_INDEX8;
    picture.width = 1 + world.input.below(20);
    picture.height = 1 + world.input.below(20);
    picture.pixels = world.scratch;
    picture.palette = world.palette;
    picture.palette_count = 1 + world.input.u8();
    TivarReport report = {};
    report.size = sizeof report;
    if (place == 0) {
        const TivarSink sink = {sizeof sink, &onSink, &world};
        tivar_write_bmp(&picture, nullptr, &sink, &report);
    } else if (place == 1) {
        tivar_write_bmp_file(&picture, nullptr, path(world).c_str(), 0, &report);
    } else {
        void* bytes = nullptr;
        std::size_t length = 0;
        tivar_write_bmp_memory(&picture, nullptr, &bytes, &length, &report);
        tivar_free(bytes);
    }
}

void useStandardNames(World& world) {
    char text[40];
    GetProfileString(word(world), word(world), "none", text, sizeof text);
}

#define TIVAR_ACT(name, ...)                          \
    {                                                 \
#name, [](World& world) { (void)world; __VA_ARGS__; } \
    }
// Data that the host only reads: there must be some.
#define TIVAR_DATA(name)                                                   \
    {                                                                      \
#name, [](World & world) { std::memcpy(world.scratch, &name, 1); } \
    }

const std::vector<NamedAct>& all() {
    static const std::vector<NamedAct> table = {
        TIVAR_ACT(BackupProfile, BackupProfile(aRecord(world))),
        TIVAR_ACT(BeginCellBitmap, begin(world)),
        TIVAR_ACT(CreateSetup, world.settings.add(
                                   CreateSetup(0, path(world).c_str(), word(world), word(world)))),
        TIVAR_ACT(DestroySetup,
                  {
                      const MemHandle handle = world.settings.take(world.input);
                      if (world.parameters[EXPORT_SETUP] == handle)
                          world.parameters[EXPORT_SETUP] = 0;
                      const auto* record = static_cast<const SetupRecord*>(GlobalLock(handle));
                      // An output that the settings hold goes with them.
                      if (record != nullptr &&
                          (record->metafileStream != 0 || record->lpRLEBuffer != nullptr))
                          world.lose();
                      if (hSetup == handle) hSetup = 0;
                      DestroySetup(handle);
                  }),
        TIVAR_ACT(DrawExportCellData, drawByHand(world)),
        TIVAR_ACT(DrawPlatformOffscreen, DrawPlatformOffscreen(aSurface(world), 0, aCount(world))),
        TIVAR_DATA(DriverCapabilityTable),
        TIVAR_DATA(DriverOpcodeTable),
        TIVAR_ACT(EditSetup, EditSetup(world.settings.pick(world.input), world.input.u8())),
        TIVAR_ACT(EncodeRLE4Row,
                  {
                      std::uint32_t length = 0;
                      EncodeRLE4Row(world.input.u8(), &length, world.scratch, world.scratch + 4096);
                  }),
        TIVAR_ACT(EncodeRLE8Row,
                  {
                      std::uint32_t length = 0;
                      EncodeRLE8Row(world.input.u8(), &length, world.scratch, world.scratch + 4096);
                  }),
        TIVAR_ACT(EndCellBitmap,
                  {
                      const OxlStream stream = aStream(world);
                      EndCellBitmap(stream, dropState(world));
                  }),
        TIVAR_ACT(ExportCellData, scenarios()[world.input.below(2)].act(world)),
        TIVAR_ACT(FillOxlIOBuf, FillOxlIOBuf(aStream(world))),
        TIVAR_ACT(FilterID, FilterID = world.input.i16()),
        TIVAR_ACT(FilterVersion, FilterVersion = world.input.i16()),
        TIVAR_ACT(FlushOxlIO, FlushOxlIO(aStream(world))),
        TIVAR_DATA(GDPSupport),
        TIVAR_DATA(GDSF_CHARSETLIST),
        TIVAR_ACT(GetDisplayColorInfo, GetDisplayColorInfo(world.input.u8())),
        TIVAR_ACT(GetDisplayInfo,
                  {
                      double size[2];
                      std::int16_t resolution[2];
                      GetDisplayInfo(size, size + 1, resolution, resolution + 1);
                  }),
        TIVAR_ACT(GetPadWidth, GetPadWidth("{C2S}(L|S)D")),
        TIVAR_ACT(GetPrinterInfo,
                  {
                      double size[2];
                      std::int16_t resolution[2];
                      GetPrinterInfo(size, size + 1, resolution, resolution + 1);
                  }),
        TIVAR_ACT(GetPrivateProfileInt,
                  GetPrivateProfileInt(word(world), word(world), 7, path(world).c_str())),
        TIVAR_ACT(GetPrivateProfileString,
                  {
                      char text[40];
                      GetPrivateProfileString(word(world), word(world), "none", text, sizeof text,
                                              path(world).c_str());
                  }),
        TIVAR_ACT(GetProfileDirectory, GetProfileDirectory(world.name, path(world).c_str())),
        TIVAR_ACT(GetProfileInt, GetProfileInt(word(world), word(world), 3)),
        TIVAR_ACT(GetProfileString, useStandardNames(world)),
        TIVAR_ACT(GetRasterInfo,
                  {
                      const std::int32_t info[7] = {96,
                                                    0,
                                                    static_cast<std::int32_t>(world.input.u8()),
                                                    world.input.wildSigned(),
                                                    world.input.wildSigned(),
                                                    640,
                                                    480};
                      std::int32_t size[2];
                      GetRasterInfo(world.settings.pick(world.input), info, size);
                  }),
        TIVAR_ACT(GetUnionSize,
                  {
                      std::int32_t size = 0;
                      GetUnionSize("(L|{2S}|D)", &size);
                  }),
        TIVAR_ACT(GlobalAlloc,
                  keep(world, GlobalAlloc(TIVAR_GMEM_FLAGS, world.input.u16() % 3000u))),
        TIVAR_ACT(GlobalCompact, GlobalCompact(world.input.u8())),
        TIVAR_ACT(GlobalFree,
                  {
                      if (!world.input.oneIn(4)) {
                          GlobalFree(dropBlock(world));
                          return;
                      }
                      const MemHandle setup = world.settings.take(world.input);
                      const auto* record = static_cast<const SetupRecord*>(GlobalLock(setup));
                      if (record != nullptr &&
                          (record->metafileStream != 0 || record->lpRLEBuffer != nullptr))
                          world.lose();
                      if (setup != 0) World::forgetSettings(setup);
                      GlobalFree(setup);
                  }),
        TIVAR_ACT(GlobalHandle, GlobalHandle(GlobalLock(world.blocks.pick(world.input)))),
        TIVAR_ACT(GlobalLock, GlobalLock(anyHandle(world))),
        TIVAR_ACT(GlobalPointerToHandle,
                  keep(world, GlobalPointerToHandle(bytesOf(world), world.input.u16() % 3000u))),
        TIVAR_ACT(GlobalReAlloc,
                  keep(world, GlobalReAlloc(dropBlock(world), world.input.u16() % 3000u,
                                            TIVAR_GMEM_FLAGS))),
        TIVAR_ACT(GlobalSize, GlobalSize(anyHandle(world))),
        TIVAR_ACT(GlobalUnlock, GlobalUnlock(anyHandle(world))),
        TIVAR_ACT(INIclose, INIclose(world.streams.take(world.input))),
        TIVAR_ACT(INIopen,
                  {
                      char name[160];
                      std::snprintf(name, sizeof name, "%s", path(world).c_str());
                      world.streams.add(
                          INIopen(name, sizeof name, world.input.oneIn(2) ? OXL_READ : OXL_UPDATE));
                  }),
        TIVAR_ACT(InitPlatformOffscreen, makeSurface(world)),
        TIVAR_ACT(InqGDPSupport, InqGDPSupport(world.input.wildSigned())),
        TIVAR_ACT(InquireSupport, InquireSupport(world.input.wildSigned(), 0)),
        TIVAR_ACT(LimitCheck, LimitCheck()),
        TIVAR_ACT(LoadProfile, LoadProfile(0)),
        TIVAR_ACT(LoadProfileList, LoadProfileList(0, 0, 0)),
        TIVAR_ACT(LoadString, LoadString(0, world.input.u16(), world.name, 100)),
        TIVAR_DATA(NUM_GDSF_CHARSETS),
        TIVAR_ACT(OXLGetFilterVersion, OXLGetFilterVersion()),
        TIVAR_ACT(
            OutputPicture,
            OutputPicture(aStream(world), &world.pictures[world.input.below(3)], aDraw(world))),
        TIVAR_ACT(QueryCellFormat,
                  {
                      double size[2] = {world.input.number(), world.input.number()};
                      std::uint16_t bits = 8;
                      std::uint32_t resolution = world.input.wild();
                      QueryCellFormat(size, size + 1, &bits, &resolution, nullptr, 0);
                  }),
        TIVAR_ACT(QueryPlatformOffscreen,
                  QueryPlatformOffscreen(&world.format, &world.pictures[world.input.below(3)],
                                         aDraw(world))),
        TIVAR_ACT(RASTER_dd_entry,
                  {
                      HostWord out[2];
                      RASTER_dd_entry(world.input.i16(), out, 0);
                  }),
        TIVAR_ACT(RASTER_dd_entry32, enterRaster(world)),
        TIVAR_ACT(RLEWrite,
                  {
                      std::uint32_t size = 0;
                      RLEWrite(aStream(world), world.scratch, world.input.below(8),
                               world.input.below(200), 200, &size, world.input.below(4));
                  }),
        TIVAR_ACT(RasterAdjustAspect,
                  {
                      double out[2];
                      RasterAdjustAspect(out, world.input.number(), world.input.number());
                  }),
        TIVAR_ACT(RasterWriteCellData,
                  RasterWriteCellData(world.blocks.pick(world.input), world.side(), world.side(),
                                      world.input.below(100), world.depth(),
                                      static_cast<std::int16_t>(world.input.below(5)))),
        TIVAR_ACT(SaveProfile, SaveProfile(aRecord(world))),
        TIVAR_ACT(ScaleImageSize,
                  {
                      double size[2] = {world.input.number(), world.input.number()};
                      ScaleImageSize(size, size + 1);
                  }),
        TIVAR_ACT(SetDisplayInfo, SetDisplayInfo(world.input.number(), world.input.number(),
                                                 world.input.i16(), world.input.i16())),
        TIVAR_ACT(SetPrinterInfo, SetPrinterInfo(world.input.number(), world.input.number(),
                                                 world.input.i16(), world.input.i16())),
        TIVAR_ACT(TermPlatformOffscreen, endSurface(world)),
        TIVAR_ACT(UpdateStatus, UpdateStatus(world.input.wildSigned())),
        TIVAR_ACT(UseDefaultSettings,
                  {
                      SetupRecord* record = aRecord(world);
                      if (record != nullptr) UseDefaultSettings(record);
                  }),
        TIVAR_ACT(WriteCellBits,
                  {
                      // Opening one calls back: the blocks are chosen behind it.
                      const OxlStream stream = aStream(world);
                      const MemHandle bits = world.blocks.pick(world.input);
                      WriteCellBits(stream, bits, world.side(), world.side(),
                                    1 + world.input.below(32), aShort(world, 2),
                                    world.states.pick(world.input));
                  }),
        TIVAR_ACT(
            WritePrivateProfileString,
            WritePrivateProfileString(word(world), word(world), word(world), path(world).c_str())),
        TIVAR_ACT(WriteProfileString, WriteProfileString(word(world), word(world), word(world))),
        TIVAR_ACT(_debug_color_res, _debug_color_res = 0),
        TIVAR_ACT(_rlDitherOneLine,
                  _rlDitherOneLine(world.scratch, world.scratch + 1024, world.palette,
                                   world.input.below(100), aShort(world, 200))),
        TIVAR_ACT(dd_entry,
                  {
                      HostWord out[2];
                      dd_entry(world.input.i16(), out, 0);
                  }),
        TIVAR_ACT(dd_entry32, enterCommon(world)),
        TIVAR_ACT(docRead, docRead(aStream(world), world.scratch, aCount(world))),
        TIVAR_ACT(docSeek, docSeek(aStream(world), world.input.wildSigned(), aCount(world) % 4)),
        TIVAR_DATA(dtr_def),
        TIVAR_DATA(eg_def),
        TIVAR_ACT(export_szDLLName,
                  std::snprintf(export_szDLLName, sizeof export_szDLLName, "%s", word(world))),
        TIVAR_DATA(fl_def),
        TIVAR_ACT(fltLoadPointers,
                  {
                      FilterHostRecord record = {};
                      fltLoadPointers(world.input.oneIn(2) ? nullptr : &record);
                  }),
        TIVAR_ACT(hCommon, hCommon = world.input.below(2)),
        TIVAR_ACT(hEMData,
                  {
                      if (hEMData != 0) world.lose();
                      hEMData = 0;
                  }),
        TIVAR_ACT(hRaster, World::useSettings(world.settings.pick(world.input))),
        TIVAR_ACT(hSetup, hSetup = 0),
        TIVAR_DATA(ln_def),
        TIVAR_ACT(lpCommon, lpCommon = world.input.oneIn(2) ? &world.common : nullptr),
        TIVAR_ACT(lpEMData,
                  {
                      if (lpEMData != nullptr) world.lose();
                      lpEMData = nullptr;
                  }),
        TIVAR_ACT(lpRaster, World::useSettings(world.settings.pick(world.input))),
        TIVAR_ACT(lpSetup, World::useDeviceSettings(world.settings.pick(world.input))),
        TIVAR_DATA(mk_def),
        TIVAR_ACT(oxlClose, oxlClose(world.streams.take(world.input))),
        TIVAR_ACT(oxlCloseandDelete,
                  oxlCloseandDelete(world.streams.take(world.input), path(world).c_str())),
        TIVAR_ACT(oxlCopy, oxlCopy(path(world).c_str(), path(world).c_str())),
        TIVAR_ACT(oxlGetDataFormat,
                  {
                      std::int16_t order = 0;
                      oxlGetDataFormat(aStream(world), &order, &order);
                  }),
        TIVAR_ACT(oxlGetLineFormat, oxlGetLineFormat(aStream(world))),
        TIVAR_ACT(oxlNativeToBE, oxlNativeToBE(world.scratch, world.input.u32(), 4)),
        TIVAR_ACT(oxlNativeToLE, oxlNativeToLE(world.scratch, world.input.u32(), 3)),
        TIVAR_ACT(oxlOpen, openStream(world)),
        TIVAR_ACT(oxlPtrGlobalAlloc,
                  {
                      void* const pointer = oxlPtrGlobalAlloc(world.input.u8());
                      if (pointer != nullptr) world.pointers.add(GlobalHandle(pointer));
                  }),
        TIVAR_ACT(oxlPtrGlobalFree, oxlPtrGlobalFree(dropPointer(world))),
        TIVAR_ACT(oxlPtrGlobalHandle,
                  oxlPtrGlobalHandle(GlobalLock(world.pointers.pick(world.input)))),
        TIVAR_ACT(oxlPtrGlobalReAlloc,
                  {
                      void* const pointer =
                          oxlPtrGlobalReAlloc(dropPointer(world), world.input.u8(), 0);
                      if (pointer != nullptr) world.pointers.add(GlobalHandle(pointer));
                  }),
        TIVAR_ACT(oxlRead, oxlRead(aStream(world), bytesOf(world), aCount(world))),
        TIVAR_ACT(oxlReadChar, oxlReadChar(aStream(world), bytesOf(world), aCount(world))),
        TIVAR_ACT(oxlReadDouble,
                  oxlReadDouble(aStream(world), numbersOf<double>(world), aCount(world))),
        TIVAR_ACT(oxlReadFloat,
                  oxlReadFloat(aStream(world), numbersOf<float>(world), aCount(world))),
        TIVAR_ACT(oxlReadLine, oxlReadLine(aStream(world), world.name, 100)),
        TIVAR_ACT(oxlReadLong,
                  oxlReadLong(aStream(world), numbersOf<std::uint32_t>(world), aCount(world))),
        TIVAR_ACT(oxlReadShort,
                  oxlReadShort(aStream(world), numbersOf<std::uint16_t>(world), aCount(world))),
        TIVAR_ACT(oxlReadStruct,
                  oxlReadStruct(aStream(world), "CSL{2FD}[S]", numbersOf<double>(world), 3)),
        TIVAR_ACT(oxlSeek, oxlSeek(aStream(world), world.input.i16(), aCount(world) % 4)),
        TIVAR_ACT(oxlSetDataFormat,
                  oxlSetDataFormat(aStream(world), aShort(world, 2), aShort(world, 2))),
        TIVAR_ACT(oxlSetLineFormat, oxlSetLineFormat(aStream(world), aShort(world, 4))),
        TIVAR_ACT(oxlWrite, oxlWrite(aStream(world), bytesOf(world), aCount(world))),
        TIVAR_ACT(oxlWriteChar, oxlWriteChar(aStream(world), bytesOf(world), aCount(world))),
        TIVAR_ACT(oxlWriteDouble,
                  oxlWriteDouble(aStream(world), numbersOf<double>(world), aCount(world))),
        TIVAR_ACT(oxlWriteFloat,
                  oxlWriteFloat(aStream(world), numbersOf<float>(world), aCount(world))),
        TIVAR_ACT(oxlWriteLine, oxlWriteLine(aStream(world), world.name, aCount(world))),
        TIVAR_ACT(oxlWriteLong,
                  oxlWriteLong(aStream(world), numbersOf<std::uint32_t>(world), aCount(world))),
        TIVAR_ACT(oxlWriteShort,
                  oxlWriteShort(aStream(world), numbersOf<std::uint16_t>(world), aCount(world))),
        TIVAR_ACT(oxlWriteStruct,
                  oxlWriteStruct(aStream(world), "CSL{2FD}[S]", numbersOf<double>(world), 3)),
        TIVAR_ACT(rlALPHAtoRGB,
                  rlALPHAtoRGB(world.blocks.pick(world.input), world.side(), world.side())),
        TIVAR_ACT(rlBuildColormap,
                  keep(world, rlBuildColormap(world.palette, 8, world.palette, world.depth(),
                                              static_cast<std::int16_t>(world.input.u8())))),
        TIVAR_ACT(rlBytesPerLine, rlBytesPerLine(world.input.wild(), world.depth())),
        TIVAR_ACT(rlCMYKtoRGB,
                  rlCMYKtoRGB(world.blocks.pick(world.input), world.side(), world.side())),
        TIVAR_ACT(rlCalcNewSize,
                  rlCalcNewSize(world.input.wild(), world.input.wild(), world.depth())),
        TIVAR_ACT(rlChangeColorResolution,
                  {
                      MemHandle colors = world.blocks.pick(world.input);
                      const MemHandle given = colors;
                      keep(world, rlChangeColorResolution(world.blocks.pick(world.input),
                                                          world.side(), world.side(), world.depth(),
                                                          world.depth(), &colors));
                      if (colors != given) keep(world, colors);
                  }),
        TIVAR_ACT(rlConvertBitmapDepth,
                  keep(world, rlConvertBitmapDepth(world.blocks.pick(world.input), world.side(),
                                                   world.side(), world.depth(), world.depth(),
                                                   world.blocks.pick(world.input),
                                                   world.blocks.pick(world.input),
                                                   static_cast<std::int16_t>(world.input.u8())))),
        TIVAR_ACT(rlDitherBitmap,
                  {
                      MemHandle colors = world.blocks.pick(world.input);
                      const MemHandle given = colors;
                      keep(world, rlDitherBitmap(world.blocks.pick(world.input), world.side(),
                                                 world.side(), world.depth(), world.depth(),
                                                 world.blocks.pick(world.input), &colors));
                      if (colors != given) keep(world, colors);
                  }),
        TIVAR_ACT(rlDitherGetCT,
                  {
                      MemHandle colors = 0;
                      std::uint16_t count = 0;
                      rlDitherGetCT(world.blocks.pick(world.input), world.side(), world.side(),
                                    world.depth(),
                                    static_cast<std::int16_t>(1 + world.input.below(8)),
                                    world.blocks.pick(world.input), &colors, &count);
                      keep(world, colors);
                  }),
        TIVAR_ACT(rlDitherGivenCT,
                  keep(world,
                       rlDitherGivenCT(world.blocks.pick(world.input), world.side(), world.side(),
                                       world.depth(), world.depth(), world.blocks.pick(world.input),
                                       world.blocks.pick(world.input),
                                       static_cast<std::int16_t>(world.input.u8())))),
        TIVAR_ACT(rlFlipBitmap, rlFlipBitmap(world.blocks.pick(world.input), world.depth(),
                                             world.side(), world.side(), 1, aShort(world, 2))),
        TIVAR_ACT(rlFreeColormap, rlFreeColormap(dropBlock(world))),
        TIVAR_ACT(rlFreeNewData, rlFreeNewData(dropBlock(world))),
        TIVAR_ACT(rlGetMemory, keep(world, rlGetMemory(3, world.input.u8()))),
        TIVAR_ACT(rlGetPixel, rlGetPixel(world.scratch, 64, world.input.below(12),
                                         world.input.below(20), world.depth())),
        TIVAR_ACT(rlLockMemory, rlLockMemory(anyHandle(world))),
        TIVAR_ACT(rlNearestRGBIndex,
                  rlNearestRGBIndex(world.input.i16(), 7, 9, world.palette, 200)),
        TIVAR_ACT(rlPointertoHandle, rlPointertoHandle(GlobalLock(world.blocks.pick(world.input)))),
        TIVAR_ACT(rlRGB4toCMYK,
                  rlRGB4toCMYK(world.blocks.pick(world.input), world.side(), world.side())),
        TIVAR_ACT(rlReduceColorTable,
                  {
                      std::uint16_t count = world.input.u8();
                      keep(world,
                           rlReduceColorTable(world.blocks.pick(world.input),
                                              static_cast<std::uint16_t>(world.side()),
                                              static_cast<std::uint16_t>(world.side()), &count));
                  }),
        TIVAR_ACT(rlSetPixel,
                  rlSetPixel(world.scratch, 64, world.input.below(12), world.input.below(20),
                             world.depth(), 1, nullptr, nullptr, 0)),
        TIVAR_ACT(
            rlShrinkBitmap,
            keep(world, rlShrinkBitmap(world.blocks.pick(world.input), world.depth(), world.side(),
                                       world.side(), world.side(), world.side()))),
        TIVAR_ACT(
            rlStretchBitmap,
            keep(world, rlStretchBitmap(world.blocks.pick(world.input), world.depth(), world.side(),
                                        world.side(), world.side(), world.side()))),
        TIVAR_ACT(rlUnlockMemory, rlUnlockMemory(anyHandle(world))),
        TIVAR_ACT(tivar_free, tivar_free(nullptr)),
        TIVAR_ACT(tivar_result_text, tivar_result_text(world.input.wildSigned())),
        TIVAR_ACT(tivar_version, tivar_version()),
        TIVAR_ACT(tivar_write_bmp, writeMemory(world, 0)),
        TIVAR_ACT(tivar_write_bmp_file, writeMemory(world, 1)),
        TIVAR_ACT(tivar_write_bmp_memory, writeMemory(world, 2)),
        TIVAR_DATA(tx_def),
        TIVAR_ACT(unxSeek, unxSeek(nullptr, 3, 0)),
        TIVAR_ACT(xEscapeSetup, escape(world)),
    };
    return table;
}

#undef TIVAR_ACT
#undef TIVAR_DATA

}  // namespace

const std::vector<NamedAct>& symbols() {
    return all();
}

}  // namespace host
