// Life of the device: initialisation, open, picture, close, cancel and termination.
#include "driver/device_state.h"

#include <cstring>

#include "driver/device_use.h"
#include "driver/operations.h"
#include "support/driver_host.h"
#include "support/export_host.h"
#include "support/failing_call.h"
#include "support/temp_directory.h"

namespace {

using support::Bytes;
using support::DriverHost;
using support::FailingCall;
using support::HostDocument;
using support::OpcodeBlock;
using support::TempDirectory;

constexpr uint32_t kRefusedSize = 0xFFFFFFFF;

using Calls = std::vector<support::StatusCall>;

Bytes bytesOf(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// One cell as an 8-bit picture; the device's colours are all black.
OpcodeBlock oneCell() {
    return support::cellArrayBlock({1, 1, 8}, {7, 0, 0, 0});
}

Bytes oneCellFile() {
    return model::writeBmp({}, 1, 1, 8, {}, {7, 0, 0, 0}, false);
}

// Draws the cell's file and leaves the device in its body.
void drawOneCell(DriverHost& host) {
    host.enterBody();
    EXPECT_EQ(host.send(oneCell()), 0);
}

void expectErrors(int16_t newest, int32_t pushes) {
    EXPECT_EQ(lpEMData->errors.firstRecord.sequence, 0u);
    EXPECT_EQ(lpEMData->errors.firstRecord.code, newest);
    EXPECT_EQ(lpEMData->errors.overflowCount, pushes);
    EXPECT_EQ(lpEMData->errors.count, 0);
}

// ---- Initialisation ----------------------------------------------------------------------------

TEST(InitialiseDevice, LeavesAClosedDeviceWithEveryOtherFieldZero) {
    DriverHost host({}, "out.bmp");
    ASSERT_EQ(host.initialise(), 0);
    EXPECT_EQ(GlobalLock(hEMData), lpEMData);
    EXPECT_EQ(GlobalSize(hEMData), sizeof(EMData));
    EMData expected = {};
    expected.deviceState = DEV_CLOSED;
    expected.replySize = 4096;
    expected.hReply = lpEMData->hReply;
    expected.lpReply = lpEMData->lpReply;
    std::strcpy(expected.outputFileName, "out.bmp");
    expected.statusHook = host.hook.words;
    expected.hSetup = host.settings.handle;
    EXPECT_EQ(std::memcmp(lpEMData, &expected, sizeof expected), 0);
}

TEST(InitialiseDevice, HandsOutAZeroedReplyBufferOfTheWantedSize) {
    DriverHost host;
    for (const uint32_t size : {0u, 1u, 10u, 5000u}) {
        host.block[DRIVER_INIT_REPLY_SIZE] = size;
        ASSERT_EQ(host.initialise(), 0);
        EXPECT_EQ(host.block[DRIVER_INIT_REPLY], reinterpret_cast<HostWord>(lpEMData->lpReply));
        EXPECT_EQ(support::blockContents(lpEMData->hReply), Bytes(size, 0));
        EXPECT_EQ(GlobalLock(lpEMData->hReply), lpEMData->lpReply);
        host.terminate();
    }
}

TEST(InitialiseDevice, RefusedReplyBufferGives300AndLeavesNoDeviceState) {
    DriverHost host;
    host.block[DRIVER_INIT_REPLY_SIZE] = kRefusedSize;
    host.block[DRIVER_INIT_REPLY] = 77;
    host.capabilities.fill(5);
    EXPECT_EQ(host.initialise(), 300);
    EXPECT_EQ(lpEMData, nullptr);
    EXPECT_EQ(hEMData, 0u);
    EXPECT_EQ(host.block[DRIVER_INIT_REPLY], 77u);
    EXPECT_EQ(host.capabilities[0], 5);
}

TEST(InitialiseDevice, EitherAllocationThatFailsGives300) {
    for (const int nth : {1, 2}) {
        DriverHost host;
        testing::internal::CaptureStdout();
        {
            const FailingCall failing("calloc", nth);
            EXPECT_EQ(host.initialise(), 300) << nth;
        }
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(lpEMData, nullptr);
        EXPECT_EQ(hEMData, 0u);
    }
}

TEST(InitialiseDevice, ColourDepthCodeFollowsTheColourMode) {
    constexpr int32_t kCases[][2] = {{103, 0}, {104, 1}, {105, 2}, {106, 3}, {107, 4},
                                     {101, 0}, {102, 0}, {108, 0}, {0, 0},   {-1, 0}};
    for (const auto& [mode, code] : kCases) {
        DriverHost host;
        host.settings->colorMode = mode;
        host.capabilities[47] = 99;
        host.initialise();
        EXPECT_EQ(lpEMData->colorDepth, code) << mode;
        EXPECT_EQ(host.capabilities[47], code) << mode;
    }
}

TEST(InitialiseDevice, LocksTheSettingsForWritingToo) {
    DriverHost host;
    lpRaster = nullptr;
    hRaster = 0;
    host.initialise();
    EXPECT_EQ(lpSetup, host.settings.record);
    EXPECT_EQ(lpRaster, host.settings.record);
    EXPECT_EQ(hRaster, host.settings.handle);
}

TEST(InitialiseDevice, TellsTheHostOnceThatOutputStarts) {
    DriverHost host;
    // A non-zero answer asks no question and refuses nothing: the call is no cancel question.
    host.hook.cancelFrom = 0;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(host.hook.calls, Calls{support::kStartCall});
    host.hook.cancelFrom = SIZE_MAX;
}

TEST(InitialiseDevice, StartIsToldOnlyWhenContextAndCallBackAreThere) {
    for (const int word : {STATUS_CONTEXT, STATUS_PROC}) {
        DriverHost host;
        host.hook.words[word] = 0;
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_TRUE(host.hook.calls.empty()) << word;
    }
    DriverHost host;
    host.block[DRIVER_INIT_HOOK] = 0;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(lpEMData->statusHook, nullptr);
}

TEST(InitialiseDevice, MissingAddressesGive300AndChangeNothing) {
    for (const int word : {DRIVER_INIT_NAME, DRIVER_INIT_SETUP, DRIVER_INIT_CAPABILITIES}) {
        DriverHost host;
        host.block[word] = 0;
        EXPECT_EQ(host.initialise(), 300) << word;
        EXPECT_EQ(lpEMData, nullptr);
        EXPECT_TRUE(host.hook.calls.empty());
    }
}

// ---- Globals -----------------------------------------------------------------------------------

TEST(Globals, AllocationUnderACommonBlockDoesNothing) {
    hCommon = 1;
    EXPECT_EQ(tivar::AllocGlobal(), 0);
    hCommon = 0;
    EXPECT_EQ(hEMData, 0u);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Globals, AllocationIsZeroFilledAndDoesNotFreeAnOlderDeviceState) {
    EXPECT_EQ(tivar::AllocGlobal(), 0);
    const MemHandle first = hEMData;
    const EMData zero = {};
    EXPECT_EQ(std::memcmp(lpEMData, &zero, sizeof zero), 0);
    EXPECT_EQ(tivar::AllocGlobal(), 0);
    EXPECT_NE(hEMData, first);
    EXPECT_EQ(GlobalSize(first), sizeof(EMData));
    GlobalFree(first);
    EXPECT_EQ(tivar::FreeGlobal(), 0);
    EXPECT_EQ(hEMData, 0u);
    EXPECT_EQ(lpEMData, nullptr);
    EXPECT_EQ(tivar::FreeGlobal(), 0) << "nothing to free";
}

TEST(Globals, AStateThatTheHostFreesWhileItIsUsedIsForgotten) {
    EXPECT_EQ(tivar::AllocGlobal(), 0);
    {
        const tivar::DeviceUse use;
        GlobalFree(hEMData);
        EXPECT_FALSE(use.current());
    }
    EXPECT_EQ(hEMData, 0u);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Globals, AnImageIsFreedOnceWhoeverElseEndsItsState) {
    EXPECT_EQ(tivar::AllocGlobal(), 0);
    const MemHandle state = hEMData;
    lpEMData->imageMemory = GlobalAlloc(0, 10);
    {
        const tivar::DeviceUse use;
        hEMData = 0;  // the host takes the handle away
        EXPECT_EQ(tivar::FreeGlobal(), 0);
        EXPECT_EQ(lpEMData, nullptr);
        EXPECT_EQ(use->imageMemory, 0u);
        hEMData = state;
        lpEMData = use.device;
    }
    EXPECT_EQ(tivar::FreeGlobal(), 0);
}

TEST(Globals, FailedAllocationGivesZeroAllTheSame) {
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc");
        EXPECT_EQ(tivar::AllocGlobal(), 0);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Globals, TheRestDoNothing) {
    EXPECT_EQ(tivar::LockGlobal(5), 0);
    EXPECT_EQ(tivar::UnlockGlobal(5), 0);
    EXPECT_EQ(tivar::AltFontsAvailable(), 0);
    int block = 0;
    EXPECT_EQ(tivar::d_reset(&block, 3), &block);
    EXPECT_EQ(tivar::RASTER_termdvr(), 0) << "without a device state";
    EXPECT_EQ(tivar::RASTER_escape(), 0) << "without a device state";
}

TEST(Globals, OperationsWithoutADeviceStateReturnTheirBlock) {
    ASSERT_EQ(lpEMData, nullptr);
    uint8_t block[200] = {};
    using namespace tivar;
    for (const DriverHandler operation :
         {d_noop,  d_opdv,  d_cldv,  d_begp, d_begpb, d_endp,  d_popes, d_empes,
          d_ca,    d_gdp,   ds_dvwn, ds_bgc, ds_dvvp, ds_vpsm, ds_ct,   ds_axc,
          ds_tran, ds_clpr, ds_clip, ds_dm,  ds_fl,   dq_dvwn, dq_dvvp}) {
        EXPECT_EQ(operation(block), block);
        EXPECT_EQ(operation(nullptr), nullptr);
    }
    EXPECT_EQ(lpEMData, nullptr);
}

// ---- Open --------------------------------------------------------------------------------------

TEST(OpenDevice, EmptiesTheErrorStackAndKeepsTheFirstRecord) {
    DriverHost host;
    host.initialise();
    lpEMData->errors = {7, 303, 0, 4, 5, {7, 303, 0}, {}};
    EXPECT_EQ(host.send(OP_OPEN), 0);
    EXPECT_EQ(lpEMData->errors.lastSequence, 0u);
    EXPECT_EQ(lpEMData->errors.count, 0);
    EXPECT_EQ(lpEMData->errors.overflowCount, 0);
    EXPECT_EQ(lpEMData->errors.firstRecord.code, 303);
    EXPECT_NE(lpEMData->outputStream, 0u);
}

TEST(OpenDevice, FileThatCannotBeMadePushes303AndTheDeviceIsOpenAllTheSame) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("missing/out.bmp"));
    host.initialise();
    EXPECT_EQ(host.send(OP_OPEN), 303);
    EXPECT_EQ(lpEMData->deviceState, DEV_OPEN);
    EXPECT_EQ(lpEMData->outputStream, 0u);
    expectErrors(303, 1);
    // What follows tolerates the missing stream.
    EXPECT_EQ(host.send(OP_BEGIN_PICTURE), 0);
    EXPECT_EQ(host.send(OP_BEGIN_BODY), 0);
    EXPECT_EQ(host.send(oneCell()), 0);
    EXPECT_EQ(host.send(support::beginImageBlock({4, 4, 8})), 0);
    EXPECT_EQ(host.send(oneCell()), 0);
    EXPECT_EQ(host.send(support::endImageBlock()), 0);
    EXPECT_EQ(host.send(OP_END_PICTURE), 0);
    EXPECT_EQ(host.send(OP_CLOSE), 303) << "there is no stream to close";
    EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
    expectErrors(303, 2);
    EXPECT_TRUE(directory.names().empty());
}

TEST(OpenDevice, WithoutSettingsItPushes303) {
    DriverHost host;
    host.initialise();
    lpSetup = nullptr;
    EXPECT_EQ(host.send(OP_OPEN), 303);
    EXPECT_EQ(lpEMData->deviceState, DEV_OPEN);
    EXPECT_EQ(lpEMData->outputStream, 0u);
}

TEST(OpenDevice, SettingsThatWereDestroyedAreNotUsed) {
    DriverHost host;
    const MemHandle setup = CreateSetup(0, "/nowhere/none.ini", nullptr, nullptr);
    host.block[DRIVER_INIT_SETUP] = setup;
    host.initialise();
    EXPECT_EQ(lpSetup, GlobalLock(setup));
    DestroySetup(setup);
    EXPECT_EQ(lpSetup, nullptr);
    EXPECT_EQ(hRaster, 0u);
    EXPECT_EQ(host.send(OP_OPEN), 303);
    host.send(OP_BEGIN_PICTURE);
    host.send(OP_BEGIN_BODY);
    EXPECT_EQ(host.send(support::cellArrayBlock({4, 1, 8}, Bytes(4))), 0);
    host.send(support::beginImageBlock({4, 1, 8}));
    EXPECT_EQ(host.send(support::endImageBlock()), 0);
}

TEST(OpenDevice, FailedOneByteBlockPushes300) {
    DriverHost host;
    host.initialise();
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc");
        EXPECT_EQ(host.send(OP_OPEN), 300);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(lpEMData->deviceState, DEV_OPEN);
    EXPECT_EQ(lpEMData->outputStream, 0u);
    EXPECT_EQ(lpEMData->memoryBlock, nullptr);
    expectErrors(300, 1);
}

TEST(OpenDevice, FailedMemoryStreamPushes303AndLeavesNoBlock) {
    DriverHost host;
    host.initialise();
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc", 2);
        EXPECT_EQ(host.send(OP_OPEN), 303);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(lpEMData->memoryBlock, nullptr);
    expectErrors(303, 1);
}

// A path of length characters in a directory.
std::string pathOfLength(const TempDirectory& directory, size_t length) {
    return directory.path(std::string(length - directory.path("").size(), 'n'));
}

TEST(OpenDevice, NamesUpTo143CharactersAreTaken) {
    const TempDirectory directory;
    const std::string path = pathOfLength(directory, 143);
    {
        DriverHost host({}, path);
        drawOneCell(host);
        EXPECT_EQ(lpEMData->outputFileName, path);
        EXPECT_EQ(host.send(OP_CLOSE), 0);
    }
    EXPECT_EQ(bytesOf(support::readFile(path)), oneCellFile());
}

TEST(OpenDevice, LongerNamesAreRefusedAndMakeNoFile) {
    for (const size_t length : {144u, 145u, 200u}) {
        const TempDirectory directory;
        DriverHost host({}, pathOfLength(directory, length));
        EXPECT_EQ(host.initialise(), 0);
        EXPECT_EQ(host.send(OP_OPEN), 303) << length;
        EXPECT_EQ(lpEMData->deviceState, DEV_OPEN);
        EXPECT_EQ(lpEMData->outputStream, 0u);
        EXPECT_EQ(lpEMData->memoryBlock, nullptr) << "not output to memory either";
        host.send(OP_BEGIN_PICTURE);
        host.send(OP_BEGIN_BODY);
        EXPECT_EQ(host.send(oneCell()), 0);
        EXPECT_EQ(host.send(OP_CLOSE), 303);
        EXPECT_TRUE(directory.names().empty());
    }
}

// ---- Output targets ----------------------------------------------------------------------------

TEST(OutputToFile, IsWrittenByTheCellArrayAndCompleteAfterTheClose) {
    const TempDirectory directory;
    const std::string path = directory.write("out.bmp", "what was there before");
    DriverHost host({}, path);
    host.enter(DEV_ENDED);
    EXPECT_EQ(host.send(OP_CLOSE), 0);
    EXPECT_EQ(directory.read("out.bmp"), "") << "begin and end alone write nothing";
    host.send(OP_OPEN);
    host.send(OP_BEGIN_PICTURE);
    host.send(OP_BEGIN_BODY);
    EXPECT_EQ(host.send(oneCell()), 0);
    EXPECT_EQ(host.send(OP_END_PICTURE), 0);
    EXPECT_EQ(host.send(OP_CLOSE), 0);
    EXPECT_EQ(bytesOf(directory.read("out.bmp")), oneCellFile());
    EXPECT_EQ(lpEMData->outputStream, 0u);
}

TEST(OutputToFile, NameIsTheDriversOwnCopy) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    host.initialise();
    host.name[0] = 'x';
    EXPECT_EQ(host.send(OP_OPEN), 0);
    EXPECT_EQ(host.send(OP_CLOSE), 0);
    EXPECT_EQ(directory.names(), std::set<std::string>{"out.bmp"});
}

TEST(OutputToFile, SeveralPicturesFollowOneAnother) {
    DriverHost host;
    drawOneCell(host);
    host.send(OP_END_PICTURE);
    EXPECT_EQ(host.send(OP_BEGIN_PICTURE), 0);
    EXPECT_EQ(lpEMData->deviceState, DEV_PICTURE);
    host.send(OP_BEGIN_BODY);
    host.send(oneCell());
    Bytes twice = oneCellFile();
    const Bytes once = twice;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(host.closeAndTakeFile(), twice);
}

TEST(OutputToFile, FullDiskIsNoticedAtTheClose) {
    DriverHost host({}, "/dev/full");
    drawOneCell(host);
    EXPECT_EQ(host.send(OP_CLOSE), 303);
    expectErrors(303, 1);
}

TEST(OutputToMemory, GrowsABlockThatIsTheHostsAfterTheClose) {
    DriverHost host;
    drawOneCell(host);
    EXPECT_NE(lpEMData->memoryBlock, nullptr);
    EXPECT_EQ(host.send(OP_CLOSE), 0);
    EXPECT_EQ(lpEMData->outputStream, 0u);
    // One byte and one growth step of 4096 hold the file and its end mark.
    EXPECT_EQ(GlobalSize(GlobalHandle(lpEMData->memoryBlock)), 4096u);
    EXPECT_EQ(host.takeMemoryFile(), oneCellFile());
}

TEST(OutputToMemory, NewOpenStartsANewBlock) {
    DriverHost host;
    drawOneCell(host);
    EXPECT_EQ(host.closeAndTakeFile(), oneCellFile());
    host.send(OP_OPEN);
    EXPECT_EQ(host.closeAndTakeFile(), Bytes{});
}

TEST(OutputToDocument, GoesBeforeTheFileNameAndTakesItsValueFromTheHook) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    HostDocument document;
    document.attach(host.settings.record, host.hook.words);
    drawOneCell(host);
    EXPECT_EQ(document.name, directory.path("out.bmp"));
    EXPECT_EQ(document.mode, 4097);
    EXPECT_EQ(host.send(OP_CLOSE), 0);
    EXPECT_EQ(document.closes, 1);
    EXPECT_EQ(document.closeMode, 0);
    EXPECT_EQ(document.bytes, oneCellFile());
    EXPECT_TRUE(directory.names().empty());
}

TEST(OutputToDocument, WithoutAHookTheDocumentValueIsZero) {
    static intptr_t opened;
    opened = -1;
    DriverHost host;
    host.block[DRIVER_INIT_HOOK] = 0;
    host.settings->documentStream = reinterpret_cast<HostWord>(
        +[](intptr_t first, int32_t operation, intptr_t, intptr_t) -> intptr_t {
            if (operation == 1) opened = first;
            return operation == 1 ? 5 : 0;
        });
    host.initialise();
    EXPECT_EQ(host.send(OP_OPEN), 0);
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(host.send(OP_CLOSE), 0);
}

TEST(OutputToDocument, RefusalIsNotCheckedAtTheOpen) {
    DriverHost host;
    HostDocument document;
    document.served = false;
    document.attach(host.settings.record, host.hook.words);
    host.initialise();
    EXPECT_EQ(host.send(OP_OPEN), 0);
    EXPECT_EQ(lpEMData->outputStream, 0u);
    expectErrors(0, 0);
    EXPECT_EQ(host.send(OP_CLOSE), 303);
}

// ---- Cancelling --------------------------------------------------------------------------------

TEST(CloseDevice, AsksTheHostOnce) {
    DriverHost host;
    host.enter(DEV_OPEN);
    host.send(OP_CLOSE);
    EXPECT_EQ(host.hook.calls, (Calls{support::kStartCall, support::kCancelCall}));
}

TEST(CloseDevice, CancelDeletesTheFileAndPushes901) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    drawOneCell(host);
    EXPECT_EQ(directory.names().size(), 1u);
    host.hook.calls.clear();
    host.hook.cancelFrom = 0;
    EXPECT_EQ(host.send(OP_CLOSE), 901);
    EXPECT_TRUE(directory.names().empty());
    EXPECT_EQ(lpEMData->deviceState, DEV_CLOSED);
    EXPECT_EQ(lpEMData->outputStream, 0u);
    EXPECT_EQ(host.hook.calls, (Calls{support::kCancelCall, support::kCancelQuestion}));
    expectErrors(901, 1);
    EXPECT_EQ(lpEMData->errors.lastCode, 901);
    EXPECT_EQ(host.send(3841), 0) << "the next operation starts without an error";
    expectErrors(901, 1);
}

TEST(CloseDevice, QuestionAnsweredWithZeroGoesOn) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    drawOneCell(host);
    host.hook.cancelFromNow();
    host.hook.confirmation = 0;
    EXPECT_EQ(host.send(OP_CLOSE), 0);
    EXPECT_EQ(bytesOf(directory.read("out.bmp")), oneCellFile());
    expectErrors(0, 0);
}

TEST(CloseDevice, CancelNeedsNoContext) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    host.hook.words[STATUS_CONTEXT] = 0;
    host.hook.words[STATUS_PROC] = reinterpret_cast<HostWord>(
        +[](intptr_t, int32_t, int32_t, int32_t, int32_t, int32_t, intptr_t) { return 1; });
    host.enter(DEV_OPEN);
    EXPECT_EQ(host.send(OP_CLOSE), 901);
    EXPECT_TRUE(directory.names().empty());
}

TEST(CloseDevice, CancelledDocumentIsClosedAndDeletedByTheHost) {
    DriverHost host;
    HostDocument document;
    document.attach(host.settings.record, host.hook.words);
    host.enter(DEV_OPEN);
    host.hook.cancelFromNow();
    EXPECT_EQ(host.send(OP_CLOSE), 901);
    EXPECT_EQ(document.closes, 1);
    EXPECT_EQ(document.closeMode, 512);
}

TEST(CloseDevice, CancelledOutputToMemoryIsClosedAndTheBlockIsTheHosts) {
    DriverHost host;
    drawOneCell(host);
    host.hook.cancelFromNow();
    EXPECT_EQ(host.send(OP_CLOSE), 901);
    EXPECT_EQ(host.takeMemoryFile(), oneCellFile());
}

TEST(CloseDevice, CancelOfAFailedOpenPushesBothErrors) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("missing/out.bmp"));
    host.enter(DEV_OPEN);
    host.hook.cancelFromNow();
    EXPECT_EQ(host.send(OP_CLOSE), 901);
    expectErrors(901, 2);
}

TEST(Escape, AsksOnlyWithAHookAndACallBack) {
    DriverHost host;
    host.initialise();
    host.hook.calls.clear();
    EXPECT_EQ(tivar::RASTER_escape(), 0);
    host.hook.cancelFromNow();
    EXPECT_EQ(tivar::RASTER_escape(), 901);
    EXPECT_EQ(host.hook.calls,
              (Calls{support::kCancelCall, support::kCancelCall, support::kCancelQuestion}));
    expectErrors(901, 1);
    host.hook.words[STATUS_PROC] = 0;
    EXPECT_EQ(tivar::RASTER_escape(), 0);
    lpEMData->statusHook = nullptr;
    EXPECT_EQ(tivar::RASTER_escape(), 0);
    expectErrors(901, 1);
}

// ---- Termination -------------------------------------------------------------------------------

TEST(TerminateDevice, ClosesTheDeviceFirstInEveryState) {
    for (const int32_t state : support::kEveryState) {
        SCOPED_TRACE(state);
        const TempDirectory directory;
        DriverHost host({}, directory.path("out.bmp"));
        if (state >= DEV_BODY) {
            drawOneCell(host);
            if (state == DEV_ENDED) host.send(OP_END_PICTURE);
        } else {
            host.enter(state);
        }
        ASSERT_EQ(lpEMData->deviceState, state);
        EXPECT_EQ(host.terminate(), 0);
        EXPECT_EQ(lpEMData, nullptr);
        EXPECT_EQ(hEMData, 0u);
        EXPECT_EQ(directory.names().size(), state == DEV_CLOSED ? 0u : 1u);
        const Bytes drawn = state >= DEV_BODY ? oneCellFile() : Bytes{};
        EXPECT_EQ(bytesOf(directory.read("out.bmp")), drawn);
    }
}

TEST(TerminateDevice, CancelDeletesTheFileThatWasStillOpen) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    drawOneCell(host);
    host.hook.cancelFromNow();
    EXPECT_EQ(host.terminate(), 0);
    EXPECT_TRUE(directory.names().empty());
}

TEST(TerminateDevice, ClosedDeviceIsNotAskedAgain) {
    DriverHost host;
    host.initialise();
    host.hook.calls.clear();
    host.terminate();
    EXPECT_TRUE(host.hook.calls.empty());
}

TEST(TerminateDevice, FreesAnImageThatWasBegunAndNotEnded) {
    const TempDirectory directory;
    DriverHost host({}, directory.path("out.bmp"));
    host.enterBody({support::windowBlock({0, 0, 0, 9, 9, 0})});
    EXPECT_EQ(host.send(support::beginImageBlock({10, 10, 8})), 0);
    EXPECT_NE(lpEMData->imageMemory, 0u);
    EXPECT_EQ(host.terminate(), 0);
}

TEST(TerminateDevice, OutputToMemoryThatNobodyCanReachAnyMoreIsFreed) {
    // The device state is gone and with it the block's address; a leak check is the judge.
    DriverHost host;
    drawOneCell(host);
    EXPECT_EQ(host.terminate(), 0);
    EXPECT_EQ(lpEMData, nullptr);
}

}  // namespace
