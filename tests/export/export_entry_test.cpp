#include "support/byte_list.h"
#include "support/environment.h"
#include "support/export_host.h"
#include "support/failing_call.h"
#include "support/fenced_words.h"
#include "support/temp_directory.h"

namespace {

using support::Bytes;
using support::Drawing;
using support::Export;
using support::FailingCall;
using support::HostDocument;
using support::slice;
using support::StatusRecorder;
using support::TempDirectory;
using support::u32At;

Bytes asBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

model::Settings settingsOf(int colorFormat, int compressionMode = 310) {
    model::Settings settings;
    settings.colorFormat = colorFormat;
    settings.compressionMode = compressionMode;
    return settings;
}

// A target of the given size in pixels.
model::Description sized(int width, int height) {
    model::Description description;
    description.resolution = 100;
    description.width = width;
    description.height = height;
    return description;
}

// An 8-bit picture of runs written at 8 bits and its own size, unless settings say otherwise.
struct Host : Export {
    explicit Host(const model::Settings& wanted = {}, int width = 40, int height = 30)
        : Export(wanted, support::drawPicture(Drawing::kRuns, 8, 40, 30, 3), sized(width, height)) {
    }

    Bytes expected() const {
        model::Settings wanted;
        wanted.colorFormat = settings->colorFormat;
        wanted.compressionMode = settings->compressionMode;
        const auto drawn = support::drawPicture(Drawing::kRuns, 8, 40, 30, 3);
        model::Description target = sized(description.width, description.height);
        return model::exportPicture(support::modelPicture(drawn), target, wanted);
    }
};

TEST(ExportBlocks, WordsStandWhereTheHostPutsThem) {
    EXPECT_EQ(EXPORT_SETUP, 2);
    EXPECT_EQ(EXPORT_STATUS, 6);
    EXPECT_EQ(STATUS_CONTEXT, 1);
    EXPECT_EQ(STATUS_PROC, 2);
    EXPECT_EQ(STATUS_MEMORY, 6);
    EXPECT_EQ(STATUS_DOCUMENT, 12);
}

TEST(ExportCellData, NamedFileReceivesThePicture) {
    const TempDirectory directory;
    Host host;
    EXPECT_EQ(host.run(directory.path("a.bmp").c_str()), 0);
    EXPECT_EQ(asBytes(directory.read("a.bmp")), host.expected());
    EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
}

TEST(ExportCellData, ExistingFileIsReplaced) {
    const TempDirectory directory;
    Host host;
    const std::string name = directory.write("a.bmp", std::string(100000, 'x'));
    EXPECT_EQ(host.run(name.c_str()), 0);
    EXPECT_EQ(asBytes(directory.read("a.bmp")), host.expected());
}

TEST(ExportCellData, EmptyNameGivesAMemoryBlockWithTheFileAndItsEndMark) {
    Host host;
    EXPECT_EQ(host.run(""), 0);
    const Bytes expected = host.expected();
    const Bytes block = support::blockContents(host.status[STATUS_MEMORY]);
    ASSERT_EQ(block.size(), 4096u) << "one step of growth";
    EXPECT_EQ(slice(block, 0, expected.size()), expected);
    EXPECT_EQ(block[expected.size()], 0xFF);
    EXPECT_EQ(slice(block, expected.size() + 1), Bytes(block.size() - expected.size() - 1, 0));
}

TEST(ExportCellData, MemoryBlockHasWholeStepsOf4096Bytes) {
    struct Case {
        int height;
        uint32_t size;
    };
    // 1078 bytes of headers, 8 a row, and the end mark.
    for (const Case& c : {Case{376, 4096}, {378, 8192}, {888, 8192}, {890, 12288}, {8000, 65536}}) {
        Host host({}, 8, c.height);
        EXPECT_EQ(host.run(""), 0);
        EXPECT_EQ(GlobalSize(host.status[STATUS_MEMORY]), c.size) << c.height;
        EXPECT_EQ(host.memoryFile().size(), 1078u + 8u * static_cast<uint32_t>(c.height));
    }
}

TEST(ExportCellData, StatusBlockHoldsTheFinalBlock) {
    // 120000 bytes: the block moves more than once on its way.
    Host host(settingsOf(COLOR_FORMAT_24BIT), 200, 200);
    host.status[STATUS_MEMORY] = 12345;
    EXPECT_EQ(host.run(""), 0);
    EXPECT_EQ(host.memoryFile(), host.expected());
    EXPECT_EQ(GlobalSize(host.status[STATUS_MEMORY]), 122880u);
}

TEST(ExportCellData, DocumentReceivesThePictureAndIsClosed) {
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_RLE}) {
        Host host(settingsOf(COLOR_FORMAT_8BIT, compression));
        HostDocument document;
        document.attach(host.settings.record, host.status);
        EXPECT_EQ(host.run("name"), 0);
        EXPECT_EQ(document.name, "name");
        EXPECT_EQ(document.mode, 4097);
        EXPECT_EQ(document.bytes, host.expected());
        EXPECT_EQ(document.closes, 1);
        EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
    }
}

TEST(ExportCellData, DocumentGoesBeforeNameAndMemory) {
    const TempDirectory directory;
    for (const std::string& name : {directory.path("a.bmp"), std::string()}) {
        Host host;
        HostDocument document;
        document.attach(host.settings.record, host.status);
        EXPECT_EQ(host.run(name.c_str()), 0);
        EXPECT_EQ(document.bytes, host.expected());
        EXPECT_TRUE(directory.names().empty());
        EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
    }
}

TEST(ExportCellData, DocumentThatIsNotServedAndHasNoNameFailsWith303) {
    Host host;
    HostDocument document;
    document.served = false;
    document.attach(host.settings.record, host.status);
    EXPECT_EQ(host.run(""), 303);
    EXPECT_EQ(document.bytes, Bytes());
    EXPECT_EQ(document.closes, 0);
}

TEST(ExportCellData, DocumentThatIsNotServedOpensTheFileAndWritesThroughTheProcedure) {
    static size_t written;
    static int closes;
    written = 0;
    closes = 0;
    const OxlDocProc refuse = [](intptr_t, int32_t operation, intptr_t, intptr_t b) -> intptr_t {
        if (operation == 3) written += static_cast<size_t>(b);
        if (operation == 5) ++closes;
        return operation == 3 ? b : 0;
    };
    const TempDirectory directory;
    Host host;
    host.settings->documentStream = reinterpret_cast<HostWord>(refuse);
    EXPECT_EQ(host.run(directory.path("a.bmp").c_str()), 0);
    EXPECT_EQ(written, host.expected().size());
    EXPECT_EQ(closes, 1);
    EXPECT_EQ(directory.read("a.bmp"), "");
}

TEST(ExportCellData, DocumentThatIsFullEndsTheFileAndTheHostSeesZero) {
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_RLE}) {
        Host host(settingsOf(COLOR_FORMAT_8BIT, compression));
        HostDocument document;
        document.room = 1100;
        document.attach(host.settings.record, host.status);
        EXPECT_EQ(host.run("name"), 0);
        EXPECT_EQ(document.bytes.size(), 1100u);
        EXPECT_EQ(u32At(document.bytes, 34), 0u);
        EXPECT_EQ(document.closes, 1);
    }
}

TEST(ExportCellData, TargetThatCannotBeOpenedFailsWith303AndChangesNoPicture) {
    const TempDirectory directory;
    Host host;
    host.description.displayWidth = 12345;
    SetDisplayInfo(0, 0, 0, 0);
    EXPECT_EQ(host.run(directory.path("missing/a.bmp").c_str()), 303);
    EXPECT_EQ(host.run(directory.path().c_str()), 303);
    EXPECT_EQ(host.source.picture.targetWidth, 0);
    EXPECT_EQ(host.source.picture.targetHeight, 0);
    EXPECT_EQ(host.source.picture.resolution, 0);
    const support::EnvironmentVariable none("DISPLAYINFO");
    double width = 0;
    GetDisplayInfo(&width, nullptr, nullptr, nullptr);
    EXPECT_EQ(width, 1280.0 / 96) << "the display is recorded behind the open";
    EXPECT_TRUE(directory.names().empty());
}

TEST(ExportCellData, NullArgumentsFailWith303AndChangeNothing) {
    const TempDirectory directory;
    const std::string name = directory.path("a.bmp");
    Host host;
    CellPicture* picture = &host.source.picture;
    EXPECT_EQ(ExportCellData(name.c_str(), nullptr, &host.description, host.parameters), 303);
    EXPECT_EQ(ExportCellData(name.c_str(), picture, nullptr, host.parameters), 303);
    EXPECT_EQ(ExportCellData(name.c_str(), picture, &host.description, nullptr), 303);
    EXPECT_EQ(ExportCellData(nullptr, picture, &host.description, host.parameters), 303);
    host.parameters[EXPORT_SETUP] = 0;
    EXPECT_EQ(host.run(name.c_str()), 303);
    EXPECT_EQ(picture->targetWidth, 0);
    EXPECT_TRUE(directory.names().empty());
    EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
}

TEST(ExportCellData, StatusBlockIsNeededForMemoryAndDocumentsOnly) {
    const TempDirectory directory;
    Host host;
    host.parameters[EXPORT_STATUS] = 0;
    EXPECT_EQ(host.run(""), 303);
    EXPECT_EQ(host.run(directory.path("a.bmp").c_str()), 0);
    EXPECT_EQ(asBytes(directory.read("a.bmp")), host.expected());
    HostDocument document;
    document.attach(host.settings.record, host.status);
    EXPECT_EQ(host.run("name"), 303);
    EXPECT_EQ(document.closes, 0);
}

TEST(ExportCellData, RecordsSettingsStatusAndDisplayAndFillsThePicture) {
    const support::EnvironmentVariable none("DISPLAYINFO");
    Host host;
    host.description.displayResolution = 50;
    host.description.displayWidth = 1000;
    host.description.displayHeight = 500;
    hRaster = 0;
    lpRaster = nullptr;
    static HostWord* seenStatus;
    seenStatus = nullptr;
    const StatusProc look = [](intptr_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                               intptr_t) -> int32_t {
        seenStatus = lpRaster->exportParams;
        return 0;
    };
    host.status[STATUS_PROC] = reinterpret_cast<HostWord>(look);
    EXPECT_EQ(host.run(""), 0);
    EXPECT_EQ(hRaster, host.settings.handle);
    EXPECT_EQ(lpRaster, host.settings.record);
    EXPECT_EQ(seenStatus, host.status);
    EXPECT_EQ(host.source.picture.targetWidth, 40);
    EXPECT_EQ(host.source.picture.targetHeight, 30);
    EXPECT_EQ(host.source.picture.resolution, 100);
    double width = 0;
    double height = 0;
    int16_t xResolution = 0;
    int16_t yResolution = 0;
    GetDisplayInfo(&width, &height, &xResolution, &yResolution);
    EXPECT_EQ(width, 20);
    EXPECT_EQ(height, 10);
    EXPECT_EQ(xResolution, 50);
    EXPECT_EQ(yResolution, 50);
    SetDisplayInfo(0, 0, 0, 0);
}

TEST(ExportCellData, BuiltInCallBackDrawsOneBandAndReports100) {
    Host host;
    StatusRecorder recorder;
    recorder.attach(host.status);
    EXPECT_EQ(host.run(""), 0);
    EXPECT_EQ(recorder.percentages, (std::vector<int32_t>{100}));
    EXPECT_EQ(recorder.questions, 0);
    EXPECT_TRUE(recorder.wellFormed);
}

TEST(ExportCellData, CancelledExportLeavesTheFileWithoutItsEndAndReturnsZero) {
    const TempDirectory directory;
    for (const int32_t confirmation : {0, 1}) {
        for (const int target : {0, 1, 2}) {
            Host host(settingsOf(COLOR_FORMAT_8BIT, COMPRESSION_RLE));
            StatusRecorder recorder;
            recorder.cancelFrom = 0;
            recorder.confirmation = confirmation;
            recorder.attach(host.status);
            HostDocument document;
            if (target == 2) document.attach(host.settings.record, host.status);
            EXPECT_EQ(host.run(target == 0 ? "" : directory.path("a.bmp").c_str()), 0);
            EXPECT_EQ(recorder.questions, 1);
            const Bytes file = target == 0   ? host.memoryFile()
                               : target == 1 ? asBytes(directory.read("a.bmp"))
                                             : document.bytes;
            Bytes expected = host.expected();
            // Cancelled behind its only band: the rows are there, their size is not.
            if (confirmation != 0) std::fill_n(expected.begin() + 34, 4, uint8_t{0});
            EXPECT_EQ(file, expected) << target;
            EXPECT_EQ(document.closes, target == 2 ? 1 : 0);
        }
    }
}

TEST(ExportCellData, RefusedColourFormatGivesRowsWithoutHeaders) {
    // Three bits a pixel store nothing: 14 pixels a row are 6 bytes, padded to 8, all zero.
    Host host(settingsOf(COLOR_FORMAT_218), 14, 4);
    EXPECT_EQ(host.run(""), 0);
    const Bytes block = support::blockContents(host.status[STATUS_MEMORY]);
    EXPECT_EQ(slice(block, 0, 33), support::ByteList().repeat(32, 0).u8(0xFF).list);
    for (const int32_t format : {216, 217}) {
        Host empty(settingsOf(format), 14, 4);
        EXPECT_EQ(empty.run(""), 0);
        EXPECT_EQ(empty.memoryFile(), Bytes()) << format;
    }
}

TEST(ExportCellData, PictureWithoutHeightGivesAnEmptyFile) {
    for (const int height : {0, -1, -2000000000}) {
        Host host({}, 4, height);
        EXPECT_EQ(host.run(""), 0);
        EXPECT_EQ(host.memoryFile(), Bytes());
    }
}

TEST(ExportCellData, SizesThatNoBlockHoldsGiveHeadersAtMost) {
    for (const int format : {215, 219, 221, 222}) {
        Host host(settingsOf(format), 2000000000, 2000000000);
        EXPECT_EQ(host.run(""), 0);
        EXPECT_LE(host.memoryFile().size(), 1078u);
    }
}

TEST(ExportCellData, MissingPixelsGiveHeadersOnly) {
    Host host;
    host.source.picture.pixels = 0;
    EXPECT_EQ(host.run(""), 0);
    EXPECT_EQ(host.memoryFile(), slice(host.expected(), 0, 1078));
}

TEST(ExportCellData, TrueColourRowsThatNeedNoStepAreExchangedInTheHostsPicture) {
    const Bytes pixels = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
    const Bytes exchanged = {3, 2, 1, 6, 5, 4, 0, 0, 9, 8, 7, 12, 11, 10, 0, 0};
    for (const int width : {2, 4}) {
        Export host(settingsOf(COLOR_FORMAT_24BIT), {24, 2, 2, pixels, {}}, sized(width, 2));
        EXPECT_EQ(host.run(""), 0);
        EXPECT_EQ(host.source.pixels.contents(), width == 2 ? exchanged : pixels);
        // Wider rows repeat each pixel once.
        const Bytes wider = {3, 2, 1, 3, 2, 1, 6,  5,  4,  6,  5,  4,
                             9, 8, 7, 9, 8, 7, 12, 11, 10, 12, 11, 10};
        EXPECT_EQ(slice(host.memoryFile(), 54), width == 2 ? exchanged : wider);
    }
}

TEST(ExportCellData, DeviceWithoutRoomEndsTheFileAndTheHostSeesZero) {
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_RLE}) {
        Host host(settingsOf(COLOR_FORMAT_8BIT, compression), 400, 200);
        EXPECT_EQ(host.run("/dev/full"), 0);
    }
}

TEST(ExportCellData, OneRecordServesManyExports) {
    Host host(settingsOf(COLOR_FORMAT_4BIT, COMPRESSION_RLE));
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(host.run(""), 0);
        EXPECT_EQ(host.memoryFile(), host.expected());
        GlobalFree(host.status[STATUS_MEMORY]);
        host.status[STATUS_MEMORY] = 0;
    }
}

TEST(ExportCellData, NoMemoryForTargetOrStreamFailsWith303) {
    const TempDirectory directory;
    for (const bool toFile : {false, true}) {
        for (const int nth : {1, 2}) {
            Host host;
            const std::string name = toFile ? directory.path("a.bmp") : std::string();
            const FailingCall failing("calloc", nth);
            EXPECT_EQ(host.run(name.c_str()), 303) << toFile << nth;
            EXPECT_TRUE(failing.happened());
            EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
        }
    }
}

TEST(ExportCellData, NoMemoryLaterOnReturnsZeroAndLeavesTheHostItsBlock) {
    for (const char* function : {"calloc", "realloc"}) {
        for (int nth = function[0] == 'c' ? 3 : 1;; ++nth) {
            Host host(settingsOf(COLOR_FORMAT_4BIT, COMPRESSION_RLE), 90, 70);
            int32_t result = 99;
            bool happened = false;
            {
                const FailingCall failing(function, nth);
                result = host.run("");
                happened = failing.happened();
            }
            EXPECT_EQ(result, 0) << function << nth;
            EXPECT_NE(host.status[STATUS_MEMORY], 0u) << function << nth;
            if (!happened) {
                EXPECT_GT(nth, 1);
                EXPECT_EQ(host.memoryFile(), host.expected());
                break;
            }
        }
    }
}

// ---- Settings and blocks that change in the middle
// -----------------------------------------------

TEST(ExportCellData, StaleMemoryWordIsClearedWhenTheExportBegins) {
    Host host;
    host.status[STATUS_MEMORY] = 4711;
    static HostWord* words;
    static HostWord seen;
    words = host.status;
    seen = 4711;
    host.status[STATUS_PROC] = reinterpret_cast<HostWord>(
        +[](intptr_t, int32_t, int32_t, int32_t, int32_t, int32_t, intptr_t) -> int32_t {
            seen = words[STATUS_MEMORY];
            return 0;
        });
    EXPECT_EQ(host.run(""), 0);
    EXPECT_EQ(seen, 0u) << "the block is the host's when the export is over";
    EXPECT_EQ(host.memoryFile(), host.expected());
}

TEST(ExportCellData, StaleMemoryWordIsClearedWhereNoBlockOrStreamCanBeHad) {
    for (const int nth : {1, 2}) {
        Host host;
        host.status[STATUS_MEMORY] = 4711;
        const FailingCall failing("calloc", nth);
        EXPECT_EQ(host.run(""), 303) << nth;
        EXPECT_EQ(host.status[STATUS_MEMORY], 0u) << nth;
    }
}

TEST(ExportCellData, StatusBlockOfANamedFileMayEndBeforeTheDocumentWord) {
    const TempDirectory directory;
    Host host;
    const support::FencedWords status(STATUS_DOCUMENT);
    host.parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status.words);
    EXPECT_EQ(host.run(directory.path("out.bmp").c_str()), 0);
    EXPECT_EQ(asBytes(directory.read("out.bmp")), host.expected());
    EXPECT_EQ(host.run(""), 0);
    host.status[STATUS_MEMORY] = status.words[STATUS_MEMORY];
    EXPECT_EQ(host.memoryFile(), host.expected());
}

// An export that the host disturbs at its report of 100 percent, and a document at its first write.
struct Disturbed : Host {
    using Act = void (*)(Disturbed&);

    explicit Disturbed(Act wantedAct, const model::Settings& wanted = {})
        : Host(wanted), act(wantedAct) {
        status[STATUS_CONTEXT] = reinterpret_cast<HostWord>(this);
        status[STATUS_PROC] =
            reinterpret_cast<HostWord>(+[](intptr_t context, int32_t, int32_t, int32_t, int32_t,
                                           int32_t, intptr_t) -> int32_t {
                reinterpret_cast<Disturbed*>(context)->disturb();
                return 0;
            });
    }
    void disturb() {
        if (acted++ == 0) act(*this);
    }
    // Output to a document that disturbs.
    void attachDocument() {
        settings->documentStream = reinterpret_cast<HostWord>(
            +[](intptr_t first, int32_t operation, intptr_t a, intptr_t b) -> intptr_t {
                auto& self = *reinterpret_cast<Disturbed*>(first);
                if (operation == 1) return first;
                if (operation == 3) self.disturb();
                return HostDocument::serve(reinterpret_cast<intptr_t>(&self.document), operation, a,
                                           b);
            });
        status[STATUS_DOCUMENT] = reinterpret_cast<HostWord>(this);
    }

    Act act;
    int acted = 0;
    HostDocument document;
};

TEST(DisturbedExport, ClearedDocumentFieldChangesNothing) {
    Disturbed host([](Disturbed& self) { self.settings->documentStream = 0; });
    host.attachDocument();
    EXPECT_EQ(host.run(nullptr), 0);
    EXPECT_EQ(host.document.bytes, host.expected());
    EXPECT_EQ(host.document.closes, 1);
    EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
}

TEST(DisturbedExport, DocumentFieldThatIsSetDuringOutputToMemoryLosesNothing) {
    const long blocks = support::liveBlocks;
    {
        Disturbed host([](Disturbed& self) { self.attachDocument(); });
        EXPECT_EQ(host.run(""), 0);
        EXPECT_EQ(host.memoryFile(), host.expected());
        EXPECT_TRUE(host.document.bytes.empty());
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(DisturbedExport, AnotherRecordsEndOrMakingIsNoneOfItsBusiness) {
    const long blocks = support::liveBlocks;
    for (const Disturbed::Act act :
         {Disturbed::Act([](Disturbed&) {
              DestroySetup(CreateSetup(0, "/nowhere/none.ini", nullptr, nullptr));
          }),
          Disturbed::Act([](Disturbed&) {
              static MemHandle made;
              made = CreateSetup(0, "/nowhere/none.ini", nullptr, nullptr);
              EXPECT_EQ(lpRaster, GlobalLock(made));
              DestroySetup(made);
          })}) {
        for (const bool toDocument : {false, true}) {
            Disturbed host(act, settingsOf(COLOR_FORMAT_8BIT, COMPRESSION_RLE));
            if (toDocument) host.attachDocument();
            EXPECT_EQ(host.run(""), 0);
            EXPECT_EQ(host.acted > 0, true);
            EXPECT_EQ(toDocument ? host.document.bytes : host.memoryFile(), host.expected());
            EXPECT_EQ(host.settings->exportParams, nullptr);
            EXPECT_EQ(host.settings->lpRLEBuffer, nullptr);
        }
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(DisturbedExport, ItsOwnRecordsEndStopsItWith303AndLeavesNoBlock) {
    const long blocks = support::liveBlocks;
    {
        // A record of its own, beside the one that the host cleans up.
        Disturbed host([](Disturbed& self) {
            DestroySetup(self.parameters[EXPORT_SETUP]);
            EXPECT_EQ(lpRaster, nullptr);
        });
        host.parameters[EXPORT_SETUP] = CreateSetup(0, "/nowhere/none.ini", nullptr, nullptr);
        host.status[STATUS_MEMORY] = 4711;
        EXPECT_EQ(host.run(""), 303);
        EXPECT_EQ(host.status[STATUS_MEMORY], 0u);
        EXPECT_EQ(lpRaster, nullptr);
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(DisturbedExport, NestedExportReportsToItsOwnBlockAndTheOuterOneGoesOnReporting) {
    static int nested;
    nested = 0;
    Disturbed host([](Disturbed& self) {
        Host inner;
        inner.parameters[EXPORT_SETUP] = self.settings.handle;
        const HostWord proc = self.settings->documentStream;
        self.settings->documentStream = 0;
        StatusRecorder recorder;
        recorder.attach(inner.status);
        EXPECT_EQ(inner.run(""), 0);
        EXPECT_EQ(inner.memoryFile(), inner.expected());
        nested += static_cast<int>(recorder.percentages.size());
        self.settings->documentStream = proc;
    });
    host.attachDocument();
    EXPECT_EQ(host.run(""), 0);
    EXPECT_EQ(nested, 1);
    EXPECT_EQ(host.document.bytes, host.expected());
    EXPECT_GT(host.acted, 20) << "the report at the end comes through the same door";
    EXPECT_EQ(host.settings->exportParams, nullptr);
}

}  // namespace
