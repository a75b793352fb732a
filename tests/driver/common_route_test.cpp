// The common-block route: initialisation on the host's settings, termination without a metafile,
// and its cancel question.
#include <cstring>
#include <optional>
#include <string>

#include "driver/device_state.h"
#include "support/common_block.h"
#include "support/driver_host.h"
#include "support/export_host.h"
#include "support/failing_call.h"
#include "support/fenced_words.h"
#include "support/temp_directory.h"

namespace {

using support::AttachedCommon;
using support::Bytes;
using support::CurrentSettings;
using support::FailingCall;
using support::HostDocument;
using support::StatusHook;
using support::TempDirectory;

using Calls = std::vector<support::StatusCall>;

// A host of the route; its status hook is the status block.
struct RouteHost {
    explicit RouteHost(const std::string& name = "") {
        std::strcpy(fileName, name.c_str());
        block[COMMON_INIT_FIRST] = 11;
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(fileName);
        block[COMMON_INIT_SECOND] = 55;
        block[DRIVER_INIT_SETUP] = settings.handle;
        block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status.words);
        status.words[4] = 44;
    }
    ~RouteHost() {
        common.reset();
        terminate();
        GlobalFree(status.words[STATUS_MEMORY]);
    }
    RouteHost(const RouteHost&) = delete;
    RouteHost& operator=(const RouteHost&) = delete;

    int32_t initialise() { return dd_entry32(0, DRV_INIT, block, 0); }
    int32_t terminate() { return dd_entry32(0, DRV_TERM, nullptr, 0); }
    void attachCommon() { common.emplace(); }

    CurrentSettings settings;
    char fileName[300] = "";
    StatusHook status;
    HostWord block[DRIVER_INIT_WORDS] = {};
    std::optional<AttachedCommon> common;
};

// ---- Initialisation ----------------------------------------------------------------------------

TEST(InitialiseCommonRoute, TakesTheHostsSettingsAndStatusBlock) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    lpRaster = nullptr;
    hRaster = 0;
    hSetup = 77;
    host.settings->platformWords[0] = 5;
    host.settings->platformWords[1] = 6;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(hRaster, host.settings.handle);
    EXPECT_EQ(lpRaster, host.settings.record);
    EXPECT_EQ(host.settings->exportParams, host.status.words);
    EXPECT_EQ(host.settings->metafileValue1, 44u);
    EXPECT_EQ(host.settings->metafileValue2, 11u) << "the metafile filter gives its first argument";
    EXPECT_EQ(host.settings->platformWords[0], 0u);
    EXPECT_EQ(host.settings->platformWords[1], 0u);
    EXPECT_EQ(hSetup, 0u);
    EXPECT_EQ(host.block[DRIVER_INIT_SETUP], 0u) << "the metafile's settings handle";
    EXPECT_EQ(host.settings->outputFileName, directory.path("out.bmp"));
    EXPECT_STREQ(host.fileName, "") << "the host's name is consumed";
    EXPECT_NE(host.settings->metafileStream, 0u);
    EXPECT_EQ(directory.names(), std::set<std::string>{"out.bmp"});
    EXPECT_TRUE(host.status.calls.empty());
    EXPECT_EQ(lpEMData, nullptr) << "no device state on this route";
}

TEST(InitialiseCommonRoute, NameIsConsumedByItsFirstByteOnly) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    host.initialise();
    EXPECT_EQ(std::string(host.fileName + 1), directory.path("out.bmp").substr(1));
}

TEST(InitialiseCommonRoute, WithoutSettingsItGives22) {
    RouteHost host;
    host.block[DRIVER_INIT_SETUP] = 0;
    EXPECT_EQ(host.initialise(), 22);
    EXPECT_EQ(lpRaster, nullptr);
    EXPECT_EQ(hRaster, 0u);
}

TEST(InitialiseCommonRoute, WithoutANameItGives22AndOpensNothing) {
    RouteHost host;
    host.block[DRIVER_INIT_NAME] = 0;
    EXPECT_EQ(host.initialise(), 22);
    EXPECT_EQ(host.settings->metafileStream, 0u);
}

TEST(InitialiseCommonRoute, NullNameChangesNothing) {
    const CurrentSettings current;
    RouteHost host;
    hRaster = current.handle;
    lpRaster = current.record;
    hSetup = 77;
    for (const MemHandle setup : {host.settings.handle, MemHandle{0}}) {
        host.block[DRIVER_INIT_NAME] = 0;
        host.block[DRIVER_INIT_SETUP] = setup;
        EXPECT_EQ(host.initialise(), 22);
        EXPECT_EQ(hRaster, current.handle);
        EXPECT_EQ(lpRaster, current.record);
        EXPECT_EQ(hSetup, 77u);
        EXPECT_EQ(host.settings->exportParams, nullptr);
    }
    hSetup = 0;
}

TEST(InitialiseCommonRoute, StatusBlockOfANamedFileMayEndBeforeTheDocumentWord) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    const support::FencedWords status(STATUS_DOCUMENT);
    host.block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status.words);
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.terminate(), 300);
}

TEST(InitialiseCommonRoute, ColourFormatSettlesPaletteAndDepth) {
    struct Case {
        int32_t colorFormat;
        int32_t result;
        int32_t paletteSize;
        int32_t bitsPerPixel;
    };
    constexpr Case kCases[] = {{215, 0, 2, 1},    {219, 0, 16, 4},   {221, 0, 256, 8},
                               {222, 0, 0, 24},   {216, 22, -1, -1}, {217, 22, -1, -1},
                               {218, 22, -1, -1}, {220, 22, -1, -1}, {0, 22, -1, -1}};
    for (const Case& given : kCases) {
        SCOPED_TRACE(given.colorFormat);
        RouteHost host;
        host.settings->colorFormat = given.colorFormat;
        host.settings->paletteSize = -1;
        host.settings->bitsPerPixel = -1;
        EXPECT_EQ(host.initialise(), given.result);
        EXPECT_EQ(host.settings->paletteSize, given.paletteSize);
        EXPECT_EQ(host.settings->bitsPerPixel, given.bitsPerPixel);
    }
}

TEST(InitialiseCommonRoute, UnknownColourFormatIsNoticedAfterTheOutputWasOpened) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    host.settings->colorFormat = 218;
    host.settings->fileType = 332;
    host.settings->metafileValue1 = 1;
    EXPECT_EQ(host.initialise(), 22);
    EXPECT_NE(host.settings->metafileStream, 0u);
    EXPECT_EQ(directory.names().size(), 1u);
    EXPECT_STREQ(host.fileName, "") << "consumed before";
    EXPECT_EQ(host.settings->metafileValue1, 1u) << "not set any more";
    EXPECT_EQ(host.block[DRIVER_INIT_SETUP], host.settings.handle);
    EXPECT_EQ(host.settings->compressionMode, 310);
    EXPECT_EQ(host.terminate(), 300);
    EXPECT_EQ(host.settings->metafileStream, 0u);
}

TEST(InitialiseCommonRoute, OnlyWindowsFilesMayBeEncoded) {
    constexpr int32_t kCases[][2] = {{331, 228}, {332, 224}, {0, 224}, {330, 224}};
    for (const auto& [fileType, compression] : kCases) {
        RouteHost host;
        host.settings->fileType = fileType;
        host.settings->compressionMode = 228;
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_EQ(host.settings->compressionMode, compression) << fileType;
    }
}

TEST(InitialiseCommonRoute, FileThatCannotBeMadeGives303AndKeepsTheName) {
    const TempDirectory directory;
    RouteHost host(directory.path("missing/out.bmp"));
    EXPECT_EQ(host.initialise(), 303);
    EXPECT_EQ(host.fileName, directory.path("missing/out.bmp"));
    EXPECT_EQ(host.settings->metafileStream, 0u);
}

TEST(InitialiseCommonRoute, FailedMemoryGives21AndAFailedStreamGives303) {
    for (const auto& [nth, result] : {std::pair(1, 21), std::pair(2, 303)}) {
        RouteHost host;
        testing::internal::CaptureStdout();
        {
            const FailingCall failing("calloc", nth);
            EXPECT_EQ(host.initialise(), result);
        }
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(host.settings->metafileStream, 0u);
        EXPECT_EQ(host.settings->metafileBlock, nullptr);
    }
}

TEST(InitialiseCommonRoute, NamesUpTo143CharactersAreTakenAndLongerOnesRefused) {
    for (const size_t length : {143u, 144u, 200u}) {
        SCOPED_TRACE(length);
        const TempDirectory directory;
        const std::string path =
            directory.path(std::string(length - directory.path("").size(), 'n'));
        RouteHost host(path);
        const bool taken = length < 144;
        EXPECT_EQ(host.initialise(), taken ? 0 : 303);
        EXPECT_EQ(directory.names().size(), taken ? 1u : 0u);
        EXPECT_EQ(host.settings->metafileStream != 0, taken);
    }
}

TEST(InitialiseCommonRoute, DocumentGoesBeforeTheNameAndIsNotChecked) {
    for (const bool served : {true, false}) {
        RouteHost host;
        HostDocument document;
        document.served = served;
        document.attach(host.settings.record, host.status.words);
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_EQ(document.mode, 4097);
        EXPECT_EQ(host.settings->metafileStream != 0, served);
        EXPECT_EQ(host.terminate(), 300);
        EXPECT_EQ(document.closes, served ? 1 : 0);
    }
}

TEST(InitialiseCommonRoute, WithoutAStatusBlockItsWordsCountAsZero) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    host.block[DRIVER_INIT_HOOK] = 0;
    host.settings->metafileValue1 = 1;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.settings->exportParams, nullptr);
    EXPECT_EQ(host.settings->metafileValue1, 0u);
}

TEST(InitialiseCommonRoute, IsSkippedWhileTheCommonBlockIsInAStateOtherThanOne) {
    RouteHost host;
    host.attachCommon();
    for (const int32_t state : {0, 2, 8, -1}) {
        host.common->block.state = state;
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_EQ(host.settings->metafileStream, 0u) << state;
    }
    host.common->block.state = 1;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_NE(host.settings->metafileStream, 0u);
}

TEST(InitialiseCommonRoute, IsNotSkippedWhenHandleOrBlockIsMissing) {
    for (const bool handleMissing : {true, false}) {
        RouteHost host;
        host.attachCommon();
        host.common->block.state = 2;
        if (handleMissing)
            hCommon = 0;
        else
            lpCommon = nullptr;
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_NE(host.settings->metafileStream, 0u);
    }
}

// ---- Termination -------------------------------------------------------------------------------

TEST(TerminateCommonRoute, ClosesTheFileDrawsNothingAndGives300) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    host.attachCommon();
    host.common->block = {1, 5, host.status.words, 0};
    host.initialise();
    host.status.cancelFrom = 0;
    EXPECT_EQ(host.terminate(), 300);
    EXPECT_EQ(host.common->block.lastError, 0);
    EXPECT_EQ(host.settings->metafileStream, 0u);
    EXPECT_EQ(directory.read("out.bmp"), "");
    EXPECT_EQ(directory.names().size(), 1u);
    EXPECT_TRUE(host.status.calls.empty()) << "the host is not asked";
    EXPECT_EQ(host.terminate(), 300) << "nothing to close any more";
}

TEST(TerminateCommonRoute, HandsTheMemoryBlockToTheHost) {
    RouteHost host;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.status.words[STATUS_MEMORY], 0u);
    EXPECT_EQ(host.terminate(), 300);
    const MemHandle handed = host.status.words[STATUS_MEMORY];
    ASSERT_NE(handed, 0u);
    EXPECT_EQ(support::blockContents(handed)[0], 0xFF) << "an empty file and its end mark";
}

TEST(TerminateCommonRoute, DocumentWithoutANameLeavesNoMemoryBlock) {
    RouteHost host;
    HostDocument document;
    document.attach(host.settings.record, host.status.words);
    host.status.words[STATUS_MEMORY] = 4711;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.terminate(), 300);
    EXPECT_EQ(document.closes, 1);
    EXPECT_EQ(host.status.words[STATUS_MEMORY], 0u);
}

TEST(TerminateCommonRoute, NamedOutputLeavesTheMemoryWordAlone) {
    const TempDirectory directory;
    RouteHost host(directory.path("out.bmp"));
    host.status.words[STATUS_MEMORY] = 4711;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.terminate(), 300);
    EXPECT_EQ(host.status.words[STATUS_MEMORY], 4711u);
    host.status.words[STATUS_MEMORY] = 0;
}

TEST(TerminateCommonRoute, MemoryBlockThatNobodyCanTakeIsFreed) {
    // A leak check is the judge.
    RouteHost host;
    host.block[DRIVER_INIT_HOOK] = 0;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.terminate(), 300);
    EXPECT_EQ(host.status.words[STATUS_MEMORY], 0u);
}

TEST(TerminateCommonRoute, FailedCloseGives303) {
    RouteHost host("/dev/full");
    EXPECT_EQ(host.initialise(), 0);
    oxlWrite(host.settings->metafileStream, "row", 3);
    EXPECT_EQ(host.terminate(), 303);
}

TEST(TerminateCommonRoute, WithoutAnInitialisationItGives300) {
    RouteHost host;
    EXPECT_EQ(host.terminate(), 300);
    lpRaster = nullptr;
    EXPECT_EQ(host.terminate(), 300);
    EXPECT_EQ(tivar::termdvr(7), 300);
}

// ---- Cancel question ---------------------------------------------------------------------------

TEST(CommonEscape, AsksWithTheBlocksValueInPlaceOfAPercentage) {
    RouteHost host;
    EXPECT_EQ(tivar::escape(), 0) << "no common block";
    host.attachCommon();
    host.common->block.statusValue = 42;
    EXPECT_EQ(tivar::escape(), 0) << "no hook";
    host.common->block.statusHook = host.status.words;
    EXPECT_EQ(tivar::escape(), 0);
    host.status.cancelFromNow();
    EXPECT_EQ(tivar::escape(), 901);
    EXPECT_EQ(host.status.calls, (Calls{support::progressCall(42), support::progressCall(42),
                                        support::kCancelQuestion}));
    host.status.confirmation = 0;
    EXPECT_EQ(tivar::escape(), 0);
}

TEST(CommonEscape, PushesOnTheErrorStackOfTheDeviceState) {
    support::DriverHost device;
    device.initialise();
    RouteHost host;
    host.attachCommon();
    host.common->block.statusHook = host.status.words;
    host.status.cancelFrom = 0;
    EXPECT_EQ(tivar::escape(), 901);
    EXPECT_EQ(lpEMData->errors.firstRecord.code, 901);
    EXPECT_EQ(host.common->block.lastError, 0);
    hCommon = 0;
}

}  // namespace
