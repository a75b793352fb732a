// Every exported routine that allocates, while one of its allocations fails: the stated result, no
// leak, and the next call works.
#include <tivar/write.h>

#include <cstring>
#include <functional>

#include "hardening/export_list.h"
#include "hardening/whole_exports.h"
#include "support/environment.h"
#include "support/memory_stream.h"

namespace {

using namespace hardening;
using support::Block;
using support::blockContents;
using support::Drawing;
using support::drawPicture;
using support::MemoryStream;
using support::TempDirectory;

struct Routine {
    const char* symbol;
    std::set<int64_t> results;  // that it may give when an allocation fails
    std::function<Outcome(Attempt&)> work;
};

// ---- Ways to call a routine --------------------------------------------------------------------

// The bytes of a block that a routine made, which is freed.
Bytes taken(MemHandle handle) {
    const Bytes bytes = blockContents(handle);
    GlobalFree(handle);
    return bytes;
}

// Code 1 and the block's bytes, or code 0.
template <class Make>
Outcome making(Attempt& attempt, Make make) {
    MemHandle made = 0;
    attempt([&] { made = make(); });
    return {{made != 0 ? 1 : 0}, taken(made)};
}

// A call of a colour routine on a picture of its own.
struct Picture {
    explicit Picture(int bits)
        : drawn(drawPicture(Drawing::kGradient, bits, 20, 14, 4)),
          pixels(drawn.pixels),
          table(drawn.table.empty() ? 0 : support::newBlock(drawn.table)) {}
    support::DrawnPicture drawn;
    Block pixels;
    Block table;
};

template <class Call>
auto onPicture(int bits, Call call) {
    return [=](Attempt& attempt) {
        const Picture picture(bits);
        return making(attempt, [&] { return call(picture); });
    };
}

// A write or seek that makes a memory stream's block grow.
template <class Call>
auto growing(Call call) {
    return [=](Attempt& attempt) {
        MemoryStream stream;
        Outcome outcome;
        outcome.codes = {99};
        attempt([&] { outcome.codes[0] = call(stream.stream); });
        outcome.bytes = stream.finish();
        return outcome;
    };
}

// Closing a stream whose block is full: the end mark makes it grow.
template <class Close>
auto closing(Close close) {
    return [=](Attempt& attempt) {
        MemoryStream stream;
        const Bytes full(4096, 5);
        oxlWrite(stream.stream, full.data(), 4096);
        Outcome outcome;
        outcome.codes = {99};
        attempt([&] { outcome.codes[0] = close(stream.stream); });
        stream.stream = 0;
        outcome.bytes = blockContents(GlobalHandle(stream.data));
        return outcome;
    };
}

// ---- Profiles ----------------------------------------------------------------------------------

constexpr char kProfile[] =
    "[TIVAR]\n~Mode=Given\n[Given]\nDriver=TIVAR.1\nWidth=3\nResX=100\n[s]\nkey=12\n";

// A call that reads or writes the profiles of the current directory, with a record to work on.
template <class Call>
auto withProfiles(Call call) {
    return [=](Attempt& attempt) {
        for (const char* name : {"p.ini", "OXL.INI"}) std::ofstream(name) << kProfile;
        const support::CurrentSettings record;
        std::strcpy(record->profilePath, "p.ini");
        std::strcpy(record->modeName, "Given");
        std::vector<char> text(64);
        Outcome outcome;
        outcome.codes = {99};
        attempt([&] { outcome.codes[0] = call(record, text.data()); });
        for (const char* name : {"p.ini", "OXL.INI"}) {
            const Bytes file = bytesOf(support::readFile(name));
            outcome.bytes.insert(outcome.bytes.end(), file.begin(), file.end());
        }
        outcome.bytes.insert(outcome.bytes.end(), text.begin(), text.end());
        return outcome;
    };
}

// ---- Stages of an export -----------------------------------------------------------------------

// A call on a stream that takes a whole file, with 8-bit encoded output to write.
template <class Call>
auto writing(Call call) {
    return [=](Attempt& attempt) {
        const support::CurrentSettings record(settingsOf(221, 228, 331));
        MemoryStream stream;
        Outcome outcome;
        outcome.codes = {99};
        outcome.codes[0] = call(stream.stream, attempt);
        outcome.bytes = stream.finish();
        return outcome;
    };
}

Outcome beginning(Attempt& attempt) {
    MemHandle state = 0;
    const auto begin = [&](OxlStream stream, Attempt& now) {
        const Bytes palette(768, 7);
        int32_t result = 99;
        now([&] { result = BeginCellBitmap(stream, 8, 2, 8, palette.data(), &state); });
        EndCellBitmap(stream, state);
        return result;
    };
    return writing(begin)(attempt);
}

Outcome writingBits(Attempt& attempt) {
    return writing([](OxlStream stream, Attempt& now) {
        const Bytes palette(768, 7);
        const Block bits(drawPicture(Drawing::kNoise, 8, 80, 60, 1).pixels);
        MemHandle state = 0;
        BeginCellBitmap(stream, 80, 60, 8, palette.data(), &state);
        int32_t result = 99;
        now([&] { result = WriteCellBits(stream, bits.handle, 80, 60, 8, 0, state); });
        EndCellBitmap(stream, state);
        return result;
    })(attempt);
}

// Ends a file none of which has reached its stream: the size's place must be made first.
Outcome ending(Attempt& attempt) {
    return writing([](OxlStream stream, Attempt& now) {
        const Block state(Bytes{1, 0, 0, 0, 9, 0, 0, 0});
        const MemHandle copy = support::newBlock(state.contents());
        int32_t result = 99;
        now([&] { result = EndCellBitmap(stream, copy); });
        return result;
    })(attempt);
}

Outcome encoding(Attempt& attempt) {
    return writing([](OxlStream stream, Attempt& now) {
        const Block work(Bytes(16, 0));
        lpRaster->hRLEBuffer = work.handle;
        lpRaster->lpRLEBuffer = static_cast<uint8_t*>(GlobalLock(work.handle));
        const Bytes row = {1, 1, 2, 2, 3, 3, 4, 4};
        uint32_t size = 0;
        int32_t result = 99;
        now([&] { result = RLEWrite(stream, row.data(), 1, 8, 8, &size, 1); });
        lpRaster->lpRLEBuffer = nullptr;
        return result;
    })(attempt);
}

// A request of a 24-bit picture that becomes a smaller 4-bit one.
struct Request {
    Request() : source(drawPicture(Drawing::kGradient, 24, 20, 14, 4)) {
        request.picture = &source.picture;
        request.draw = DrawExportCellData;
        request.colorCount = 16;
        request.colorTable = static_cast<uint8_t*>(oxlPtrGlobalAlloc(48));
        request.destWidth = 9;
        request.destHeight = 8;
        request.destBits = 4;
    }
    ~Request() {
        DrawExportCellData(DRAW_TERMINATE, &request, 0, 0);
        oxlPtrGlobalFree(request.colorTable);
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    HostWord initialise() {
        HostWord block[5] = {9, 8, 4, 16, 0};
        return DrawExportCellData(DRAW_INITIALISE, &request, reinterpret_cast<HostWord>(block), 0);
    }
    support::PictureInMemory source;
    CellDataRequest request = {};
};

Outcome initialisingRequest(Attempt& attempt) {
    Request request;
    Outcome outcome;
    outcome.codes = {99};
    attempt([&] { outcome.codes[0] = static_cast<int64_t>(request.initialise()); });
    if (request.request.colorTable != nullptr)
        outcome.bytes = blockContents(GlobalHandle(request.request.colorTable));
    return outcome;
}

Outcome drawingRows(Attempt& attempt) {
    Request request;
    request.initialise();
    MemHandle rows = 0;
    attempt([&] { rows = DrawPlatformOffscreen(&request.request, 0, 8); });
    return {{rows != 0 ? 1 : 0}, blockContents(rows)};
}

Outcome initialisingOffscreen(Attempt& attempt) {
    Request request;
    uint32_t rows = 8;
    CellDataRequest* offscreen = nullptr;
    attempt([&] {
        offscreen = InitPlatformOffscreen(9, &rows, 4, 0, nullptr, &request.source.picture,
                                          DrawExportCellData, nullptr);
    });
    if (offscreen != nullptr) oxlPtrGlobalFree(offscreen->colorTable);
    TermPlatformOffscreen(offscreen);
    return {{rows}, {}};
}

Outcome outputting(Attempt& attempt) {
    return writing([](OxlStream stream, Attempt& now) {
        Request request;
        request.source.picture.targetWidth = 12;
        request.source.picture.targetHeight = 8;
        request.source.picture.resolution = 96;
        int32_t result = 99;
        now([&] { result = OutputPicture(stream, &request.source.picture, DrawExportCellData); });
        return result;
    })(attempt);
}

Outcome exporting(Attempt& attempt) {
    const TempDirectory directory;
    return FilterExport{drawPicture(Drawing::kGradient, 8, 20, 14, 4), settingsOf(219, 228, 331),
                        sized(20, 14), Target::kMemory, directory}(attempt);
}

Outcome initialisingRaster(Attempt& attempt) {
    support::DriverHost host;
    Outcome outcome;
    outcome.codes = {99};
    attempt([&] { outcome.codes[0] = host.initialise(); });
    return outcome;
}

Outcome writingCells(Attempt& attempt) {
    support::DriverHost host;
    host.enter(DEV_BODY);
    const Block cells(Bytes(12 * 10 * 4, 77));
    attempt([&] { RasterWriteCellData(cells.handle, 12, 10, 0, 32, CELLS_CMYK); });
    return {{0}, {}};
}

Outcome initialisingCommon(Attempt& attempt) {
    const TempDirectory directory;
    Outcome outcome = CommonExport{settingsOf(221, 310, 331), Target::kMemory, directory}(attempt);
    outcome.codes.pop_back();
    return outcome;
}

// ---- The table ---------------------------------------------------------------------------------

Outcome opening(Attempt& attempt) {
    OxlStream stream = 0;
    attempt([&] { stream = oxlOpen("p.ini", nullptr, OXL_CREATE | OXL_WRITE); });
    if (stream != 0) oxlClose(stream);
    return {{stream != 0 ? 1 : 0}, {}};
}

Outcome openingProfile(Attempt& attempt) {
    std::ofstream("p.ini") << kProfile;
    char name[64] = "p.ini";
    OxlStream stream = 0;
    attempt([&] { stream = INIopen(name, sizeof name, OXL_READ); });
    INIclose(stream);
    return {{stream != 0 ? 1 : 0}, {}};
}

Outcome copying(Attempt& attempt) {
    std::ofstream("p.ini") << kProfile;
    Outcome outcome;
    outcome.codes = {99};
    attempt([&] { outcome.codes[0] = oxlCopy("p.ini", "copy"); });
    outcome.bytes = bytesOf(support::readFile("copy"));
    std::filesystem::remove("copy");
    return outcome;
}

Outcome creating(Attempt& attempt) {
    std::ofstream("p.ini") << kProfile;
    MemHandle handle = 0;
    attempt([&] { handle = CreateSetup(0, "p.ini", nullptr, nullptr); });
    Outcome outcome = {{handle != 0 ? 1 : 0}, blockContents(handle)};
    DestroySetup(handle);
    return outcome;
}

Outcome choosingTable(Attempt& attempt) {
    const Picture picture(24);
    MemHandle table = 0;
    uint16_t count = 16;
    Outcome outcome;
    outcome.codes = {99};
    attempt([&] {
        outcome.codes[0] = rlDitherGetCT(picture.pixels.handle, 20, 14, 24, 4, 0, &table, &count);
    });
    outcome.bytes = taken(table);
    return outcome;
}

Outcome reducing(Attempt& attempt) {
    const Picture picture(24);
    uint16_t count = 16;
    return making(attempt,
                  [&] { return rlReduceColorTable(picture.pixels.handle, 20, 14, &count); });
}

// A routine that also hands a table out.
template <class Call>
auto withNewTable(Call call) {
    return [=](Attempt& attempt) {
        const Picture picture(24);
        MemHandle table = 0;
        Outcome outcome = making(attempt, [&] { return call(picture, &table); });
        const Bytes made = taken(table);
        outcome.bytes.insert(outcome.bytes.end(), made.begin(), made.end());
        return outcome;
    };
}

Outcome resizing(Attempt& attempt) {
    MemHandle handle = support::newBlock({1, 2, 3});
    return making(attempt, [&] { return GlobalReAlloc(handle, 9, TIVAR_GMEM_FLAGS); });
}

Outcome resizingPointer(Attempt& attempt) {
    void* pointer = oxlPtrGlobalAlloc(3);
    attempt([&] { pointer = oxlPtrGlobalReAlloc(pointer, 9, TIVAR_GMEM_FLAGS); });
    return {{pointer != nullptr ? 1 : 0}, taken(GlobalHandle(pointer))};
}

Outcome allocatingPointer(Attempt& attempt) {
    void* pointer = nullptr;
    attempt([&] { pointer = oxlPtrGlobalAlloc(9); });
    return {{pointer != nullptr ? 1 : 0}, taken(GlobalHandle(pointer))};
}

std::vector<Routine> colorRoutines() {
    return {
        {"rlGetMemory",
         {0},
         [](Attempt& a) { return making(a, [] { return rlGetMemory(3, 5); }); }},
        {"rlBuildColormap",
         {0},
         onPicture(8,
                   [](const Picture& p) {
                       return rlBuildColormap(p.drawn.table.data(), 8, p.drawn.table.data(), 4, 16);
                   })},
        {"rlReduceColorTable", {0, 1}, reducing},
        {"rlChangeColorResolution", {0, 1}, withNewTable([](const Picture& p, MemHandle* table) {
             return rlChangeColorResolution(p.pixels.handle, 20, 14, 24, 4, table);
         })},
        {"rlConvertBitmapDepth",
         {0, 1},
         onPicture(8,
                   [](const Picture& p) {
                       return rlConvertBitmapDepth(p.pixels.handle, 20, 14, 8, 4, p.table.handle,
                                                   p.table.handle, 16);
                   })},
        {"rlDitherBitmap", {0, 1}, withNewTable([](const Picture& p, MemHandle* table) {
             return rlDitherBitmap(p.pixels.handle, 20, 14, 24, 4, 0, table);
         })},
        {"rlDitherGetCT", {0, -1}, choosingTable},
        {"rlDitherGivenCT",
         {0, 1},
         onPicture(8,
                   [](const Picture& p) {
                       return rlDitherGivenCT(p.pixels.handle, 20, 14, 8, 4, p.table.handle,
                                              p.table.handle, 16);
                   })},
        {"rlShrinkBitmap",
         {0, 1},
         onPicture(
             24,
             [](const Picture& p) { return rlShrinkBitmap(p.pixels.handle, 24, 20, 14, 9, 8); })},
        {"rlStretchBitmap",
         {0, 1},
         onPicture(24,
                   [](const Picture& p) {
                       return rlStretchBitmap(p.pixels.handle, 24, 20, 14, 30, 31);
                   })},
        {"rlFlipBitmap",
         {1},
         [](Attempt& attempt) {
             const Picture picture(8);
             MemHandle flipped = 0;
             attempt([&] { flipped = rlFlipBitmap(picture.pixels.handle, 8, 20, 14, 1, 1); });
             return Outcome{{flipped == picture.pixels.handle ? 1 : 0}, picture.pixels.contents()};
         }},
    };
}

std::vector<Routine> memoryAndStreamRoutines() {
    static const uint8_t kBytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    return {
        {"GlobalAlloc",
         {0},
         [](Attempt& a) { return making(a, [] { return GlobalAlloc(TIVAR_GMEM_FLAGS, 9); }); }},
        {"GlobalReAlloc", {0}, resizing},
        {"GlobalPointerToHandle",
         {0},
         [](Attempt& a) {
             static uint8_t memory[4];
             return making(a, [] { return GlobalPointerToHandle(memory, sizeof memory); });
         }},
        {"oxlPtrGlobalAlloc", {0}, allocatingPointer},
        {"oxlPtrGlobalReAlloc", {0}, resizingPointer},
        {"oxlOpen", {0}, opening},
        {"oxlClose", {-1}, closing([](OxlStream s) { return oxlClose(s); })},
        {"oxlCloseandDelete", {0}, closing([](OxlStream s) {
             return oxlCloseandDelete(s, "no such file");
         })},
        {"oxlCopy", {0, -static_cast<int64_t>(sizeof kProfile - 1)}, copying},
        {"oxlSeek", {-1}, growing([](OxlStream s) { return oxlSeek(s, 9000, SEEK_SET); })},
        {"FlushOxlIO", {-1}, growing([](OxlStream s) { return FlushOxlIO(s); })},
        {"oxlWrite", {-1}, growing([](OxlStream s) { return oxlWrite(s, kBytes, 8); })},
        {"oxlWriteChar", {-1}, growing([](OxlStream s) { return oxlWriteChar(s, kBytes, 8); })},
        {"oxlWriteShort", {-1}, growing([](OxlStream s) {
             const uint16_t items[2] = {1, 2};
             return oxlWriteShort(s, items, 2);
         })},
        {"oxlWriteLong", {-1}, growing([](OxlStream s) {
             const uint32_t items[2] = {1, 2};
             return oxlWriteLong(s, items, 2);
         })},
        {"oxlWriteFloat", {-1}, growing([](OxlStream s) {
             const float items[2] = {1, 2};
             return oxlWriteFloat(s, items, 2);
         })},
        {"oxlWriteDouble", {-1}, growing([](OxlStream s) {
             const double items[2] = {1, 2};
             return oxlWriteDouble(s, items, 2);
         })},
        {"oxlWriteStruct", {0, -1}, growing([](OxlStream s) {
             return oxlWriteStruct(s, "4C", kBytes, 2);
         })},
        // After a failed write the stream is in error, so that its ending gives 0.
        {"oxlWriteLine", {0, -1}, growing([](OxlStream s) { return oxlWriteLine(s, "text", 4); })},
    };
}

std::vector<Routine> filterRoutines() {
    using support::CurrentSettings;
    return {
        {"CreateSetup", {0, 1}, creating},
        {"LoadProfile", {0, 1}, withProfiles([](const CurrentSettings&, char*) {
             return LoadProfile(0);
         })},
        {"xEscapeSetup", {1}, withProfiles([](const CurrentSettings& record, char*) {
             int32_t resolution = 200;
             return xEscapeSetup(record.handle, 11, 4, &resolution, nullptr, 1);
         })},
        {"INIopen", {0}, openingProfile},
        {"GetPrivateProfileString", {3}, withProfiles([](const CurrentSettings&, char* text) {
             return GetPrivateProfileString("s", "key", "abc", text, 64, "p.ini");
         })},
        {"GetProfileString", {3}, withProfiles([](const CurrentSettings&, char* text) {
             return GetProfileString("s", "key", "abc", text, 64);
         })},
        {"GetPrivateProfileInt", {5}, withProfiles([](const CurrentSettings&, char*) {
             return GetPrivateProfileInt("s", "key", 5, "p.ini");
         })},
        {"GetProfileInt", {5}, withProfiles([](const CurrentSettings&, char*) {
             return GetProfileInt("s", "key", 5);
         })},
        {"WritePrivateProfileString", {0}, withProfiles([](const CurrentSettings&, char*) {
             return WritePrivateProfileString("s", "key", "77", "p.ini");
         })},
        {"WriteProfileString", {0}, withProfiles([](const CurrentSettings&, char*) {
             return WriteProfileString("s", "key", "77");
         })},
    };
}

std::vector<Routine> exportAndDriverRoutines() {
    return {
        {"ExportCellData", {0, 303}, exporting},
        {"OutputPicture", {0, -1, 27}, outputting},
        {"DrawExportCellData", {0, 8}, initialisingRequest},
        {"InitPlatformOffscreen", {0, 8}, initialisingOffscreen},
        // Without memory for its own rows it hands out the picture's.
        {"DrawPlatformOffscreen", {1}, drawingRows},
        {"BeginCellBitmap", {0, 1}, beginning},
        {"WriteCellBits", {-1}, writingBits},
        {"EndCellBitmap", {0}, ending},
        {"RLEWrite", {303}, encoding},
        {"RASTER_dd_entry32", {300}, initialisingRaster},
        {"RasterWriteCellData", {0}, writingCells},
        {"dd_entry32", {0, 21, 303}, initialisingCommon},
    };
}

// ---- The direct interface ----------------------------------------------------------------------

// A picture of noise with 8 bits and run lengths, which takes every kind of block.
struct DirectCall {
    DirectCall() {
        for (size_t i = 0; i < sizeof pixels; ++i) pixels[i] = static_cast<uint8_t>(i * i / 7);
        picture.size = sizeof picture;
        picture.width = 20;
        picture.height = 14;
        picture.pixels = pixels;
        options.size = sizeof options;
        options.bits = 8;
        options.encoding = TIVAR_ENCODING_RLE;
    }
    uint8_t pixels[20 * 14 * 3];
    TivarPicture picture = {};
    TivarOptions options = {};
};

Outcome writingToMemory(Attempt& attempt) {
    const DirectCall call;
    void* bytes = nullptr;
    size_t length = 0;
    int32_t result = 0;
    attempt([&] {
        result = tivar_write_bmp_memory(&call.picture, &call.options, &bytes, &length, nullptr);
    });
    const auto* from = static_cast<const uint8_t*>(bytes);
    const Bytes file = from == nullptr ? Bytes() : Bytes(from, from + length);
    tivar_free(bytes);
    return {{result}, file};
}

// What a sink took before the failure is not compared.
Outcome writingToSink(Attempt& attempt) {
    const DirectCall call;
    Bytes taken;
    const TivarSink sink = {sizeof sink,
                            [](void* context, const void* data, size_t length) {
                                const auto* from = static_cast<const uint8_t*>(data);
                                auto& bytes = *static_cast<Bytes*>(context);
                                bytes.insert(bytes.end(), from, from + length);
                                return length;
                            },
                            &taken};
    int32_t result = 0;
    attempt([&] { result = tivar_write_bmp(&call.picture, &call.options, &sink, nullptr); });
    return {{result}, result == 0 ? taken : Bytes()};
}

Outcome writingToFile(Attempt& attempt) {
    const DirectCall call;
    int32_t result = 0;
    attempt([&] {
        result = tivar_write_bmp_file(&call.picture, &call.options, "direct.bmp", 0, nullptr);
    });
    const std::string content = support::readFile("direct.bmp");
    std::remove("direct.bmp");
    return {{result}, Bytes(content.begin(), content.end())};
}

std::vector<Routine> directRoutines() {
    return {{"tivar_write_bmp", {TIVAR_RESULT_NO_MEMORY}, writingToSink},
            {"tivar_write_bmp_memory", {TIVAR_RESULT_NO_MEMORY}, writingToMemory},
            {"tivar_write_bmp_file", {TIVAR_RESULT_NO_MEMORY}, writingToFile}};
}

std::vector<Routine> everyRoutine() {
    std::vector<Routine> all;
    for (const auto& part : {colorRoutines(), memoryAndStreamRoutines(), filterRoutines(),
                             exportAndDriverRoutines(), directRoutines()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

const std::set<std::string> kAllocateNothing = {
    // Data.
    "DriverCapabilityTable", "DriverOpcodeTable", "FilterID", "FilterVersion", "GDPSupport",
    "GDSF_CHARSETLIST", "NUM_GDSF_CHARSETS", "_debug_color_res", "dtr_def", "eg_def",
    "export_szDLLName", "fl_def", "hCommon", "hEMData", "hRaster", "hSetup", "ln_def", "lpCommon",
    "lpEMData", "lpRaster", "lpSetup", "mk_def", "tx_def",
    // Filter.
    "BackupProfile", "DestroySetup", "EditSetup", "GetDisplayColorInfo", "GetDisplayInfo",
    "GetPrinterInfo", "GetProfileDirectory", "GetRasterInfo", "INIclose", "LimitCheck",
    "LoadProfileList", "LoadString", "OXLGetFilterVersion", "SaveProfile", "ScaleImageSize",
    "SetDisplayInfo", "SetPrinterInfo", "UseDefaultSettings", "fltLoadPointers",
    // Export.
    "EncodeRLE4Row", "EncodeRLE8Row", "QueryCellFormat", "QueryPlatformOffscreen",
    "RasterAdjustAspect", "TermPlatformOffscreen", "UpdateStatus",
    // Driver.
    "InqGDPSupport", "InquireSupport", "RASTER_dd_entry", "dd_entry",
    // The direct interface.
    "tivar_free", "tivar_result_text", "tivar_version",
    // Memory.
    "GlobalCompact", "GlobalFree", "GlobalHandle", "GlobalLock", "GlobalSize", "GlobalUnlock",
    "oxlPtrGlobalFree", "oxlPtrGlobalHandle",
    // Streams.
    "FillOxlIOBuf", "GetPadWidth", "GetUnionSize", "docRead", "docSeek", "oxlGetDataFormat",
    "oxlGetLineFormat", "oxlNativeToBE", "oxlNativeToLE", "oxlRead", "oxlReadChar", "oxlReadDouble",
    "oxlReadFloat", "oxlReadLine", "oxlReadLong", "oxlReadShort", "oxlReadStruct",
    "oxlSetDataFormat", "oxlSetLineFormat", "unxSeek",
    // Colours.
    "_rlDitherOneLine", "rlALPHAtoRGB", "rlBytesPerLine", "rlCMYKtoRGB", "rlCalcNewSize",
    "rlFreeColormap", "rlFreeNewData", "rlGetPixel", "rlLockMemory", "rlNearestRGBIndex",
    "rlPointertoHandle", "rlRGB4toCMYK", "rlSetPixel", "rlUnlockMemory"};

TEST(RoutineAllocations, EveryExportedSymbolIsEitherSweptOrAllocatesNothing) {
    std::set<std::string> known = kAllocateNothing;
    for (const Routine& routine : everyRoutine())
        EXPECT_TRUE(known.insert(routine.symbol).second) << routine.symbol << " stands twice";
    EXPECT_EQ(known, exportedSymbols());
}

TEST(RoutineAllocations, EveryRoutineSurvivesEachOfItsAllocations) {
    const TempDirectory directory;
    const support::WorkingDirectory current(directory.path());
    const support::EnvironmentVariable noIniDir("INIDIR");
    const support::EnvironmentVariable noDisplay("DISPLAYINFO");
    for (const Routine& routine : everyRoutine()) {
        SCOPED_TRACE(routine.symbol);
        int swept = 0;
        for (const char* function : kAllocations) {
            swept += sweep(function, Failure::kOnce, routine.work,
                           [&](const Outcome& outcome, const Outcome&) {
                               EXPECT_TRUE(isOneOf(outcome.codes[0], routine.results))
                                   << shown(outcome);
                           });
        }
        EXPECT_GT(swept, 0) << "allocates nothing";
    }
}

}  // namespace
