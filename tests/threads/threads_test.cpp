// Several threads in the library at once: calls are served one after the other, and each gives what
// it gives alone. ThreadSanitizer, where it is built in, is the second judge.
#include <array>
#include <functional>
#include <set>
#include <thread>

#include "support/driver_host.h"
#include "support/export_host.h"
#include "support/temp_directory.h"

namespace {

using support::Bytes;
using support::OpcodeBlock;

constexpr int kThreads = 8;
constexpr int kExports = 200;

void runThreads(const std::function<void(int thread)>& work) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread);
    for (std::thread& thread : threads) thread.join();
}

constexpr const char* kNoProfile = "/nowhere/none.ini";

void escape(MemHandle setup, int32_t number, int32_t value) {
    xEscapeSetup(setup, number, sizeof value, &value, nullptr, 0);
}

// The nth picture with the nth settings, all of them different, as a file in memory.
Bytes exportNumber(int n) {
    constexpr std::array<int, 4> kBits = {1, 4, 8, 24};
    constexpr std::array<int32_t, 4> kFormats = {COLOR_FORMAT_1BIT, COLOR_FORMAT_4BIT,
                                                 COLOR_FORMAT_8BIT, COLOR_FORMAT_24BIT};
    const auto pick = [](const auto& choices, int number) {
        return choices[static_cast<size_t>(number) % choices.size()];
    };
    support::PictureInMemory source(support::drawPicture(static_cast<support::Drawing>(n % 5),
                                                         pick(kBits, n / 4), 5 + n % 13, 4 + n % 7,
                                                         static_cast<uint32_t>(n)));
    const MemHandle setup = CreateSetup(0, kNoProfile, nullptr, nullptr);
    auto& settings = *static_cast<SetupRecord*>(GlobalLock(setup));
    settings.colorFormat = pick(kFormats, n);
    if (n % 3 == 0) settings.compressionMode = COMPRESSION_RLE;
    if (n % 5 == 0) settings.fileType = FILE_TYPE_OS2;
    escape(setup, 18, 2);
    escape(setup, 1, 101 + n % 5);
    model::Description wanted;
    wanted.resolution = 50 + n % 40;
    wanted.width = 3 + n % 17;
    wanted.height = 3 + n % 11;
    // Every fourth file follows the display, which each export says anew.
    if (n % 4 == 3) {
        escape(setup, 18, 0);
        escape(setup, 19, 0);
        wanted.displayResolution = 30 + n % 20;
        wanted.displayWidth = 20 + n % 9;
        wanted.displayHeight = 10 + n % 6;
    }
    PictureDescription description = support::describe(wanted);
    HostWord status[13] = {};
    HostWord parameters[7] = {};
    parameters[EXPORT_SETUP] = setup;
    parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
    EXPECT_EQ(ExportCellData("", &source.picture, &description, parameters), 0);
    DestroySetup(setup);
    const support::Block block(MemHandle{status[STATUS_MEMORY]});
    return block.contents();
}

TEST(Threads, ExportsGiveTheBytesOfTheSingleThreadedRun) {
    std::vector<Bytes> expected;
    for (int n = 0; n < kThreads * kExports; ++n) expected.push_back(exportNumber(n));
    std::vector<Bytes> files(expected.size());
    runThreads([&](int thread) {
        // Neighbours in time are far apart in number.
        for (int i = 0; i < kExports; ++i) {
            const auto n = static_cast<size_t>(i * kThreads + thread);
            files[n] = exportNumber(static_cast<int>(n));
        }
    });
    for (size_t n = 0; n < files.size(); ++n) ASSERT_EQ(files[n], expected[n]) << n;
    EXPECT_GT(std::set<Bytes>(expected.begin(), expected.end()).size(), expected.size() * 9 / 10)
        << "of different pictures";
}

TEST(Threads, CallBackMayCallInOnItsOwnThread) {
    const Bytes expected = exportNumber(7);
    runThreads([&](int) {
        for (int i = 0; i < 20; ++i) {
            support::PictureInMemory source(
                support::drawPicture(support::Drawing::kRuns, 8, 9, 6, 1));
            const MemHandle setup = CreateSetup(0, kNoProfile, nullptr, nullptr);
            PictureDescription description = support::describe({});
            Bytes inner;
            HostWord status[13] = {};
            status[STATUS_CONTEXT] = reinterpret_cast<HostWord>(&inner);
            status[STATUS_PROC] =
                reinterpret_cast<HostWord>(+[](intptr_t context, int32_t, int32_t, int32_t, int32_t,
                                               int32_t, intptr_t) -> int32_t {
                    *reinterpret_cast<Bytes*>(context) = exportNumber(7);
                    return 0;
                });
            HostWord parameters[7] = {};
            parameters[EXPORT_SETUP] = setup;
            parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
            EXPECT_EQ(ExportCellData("", &source.picture, &description, parameters), 0);
            EXPECT_EQ(inner, expected);
            GlobalFree(status[STATUS_MEMORY]);
            DestroySetup(setup);
        }
    });
}

TEST(Threads, OneDeviceServesOperationsFromAllOfThem) {
    support::DriverHost host({}, "/dev/null");
    host.initialise();
    runThreads([&](int thread) {
        for (int i = 0; i < 100; ++i) {
            host.send(OP_OPEN);
            host.send(OP_BEGIN_PICTURE);
            host.send(support::windowBlock({0, 0, 0, 3, 1, 0}));
            host.send(OP_BEGIN_BODY);
            host.send(support::colorsBlock(0, Bytes(6, static_cast<uint8_t>(thread))));
            host.send(support::cellArrayBlock({4, 2, 8}, Bytes(8, 9)));
            host.send(support::beginImageBlock({4, 2, 8}));
            host.send(support::endImageBlock());
            host.send(OP_QUERY_WINDOW);
            host.send(support::popBlock(3));
            host.send(OP_END_PICTURE);
            host.send(OP_CLOSE);
            InquireSupport(OP_CELL_ARRAY, 0);
        }
    });
    EXPECT_EQ(lpEMData->replyPosition, 4096u) << "every reply found its place, until none was left";
}

TEST(Threads, CallsThatShareTheCurrentRecordAndTheDisplayAreServedInTurn) {
    runThreads([&](int thread) {
        for (int i = 0; i < 100; ++i) {
            const MemHandle setup = CreateSetup(0, kNoProfile, nullptr, nullptr);
            EXPECT_EQ(EditSetup(setup, static_cast<HostWord>(thread)), 0);
            SetDisplayInfo(640 + thread, 480, 96, 96);
            SetPrinterInfo(thread, thread, 300, 300);
            double width = 0;
            double height = 0;
            GetDisplayInfo(&width, &height, nullptr, nullptr);
            GetPrinterInfo(&width, &height, nullptr, nullptr);
            EXPECT_EQ(width, height) << "both of one call";
            uint16_t bits = 0;
            QueryCellFormat(&width, &height, &bits, nullptr, nullptr, 0);
            double page[2] = {};
            RasterAdjustAspect(page, 4, 3);
            LoadProfile(0);
            LimitCheck();
            UpdateStatus(10);
            const int32_t info[7] = {96, 0, 96, 20, 10, 640, 480};
            int32_t size[2] = {};
            GetRasterInfo(setup, info, size);
            DestroySetup(setup);
        }
    });
    SetDisplayInfo(0, 0, 0, 0);
    SetPrinterInfo(0, 0, 0, 0);
}

TEST(Threads, EntriesOfOneProfileAllArrive) {
    const support::TempDirectory directory;
    const std::string profile = directory.path("shared.ini");
    runThreads([&](int thread) {
        for (int i = 0; i < 4; ++i)
            WritePrivateProfileString("S",
                                      (std::to_string(thread) + "-" + std::to_string(i)).c_str(),
                                      "1", profile.c_str());
    });
    int found = 0;
    for (int thread = 0; thread < kThreads; ++thread)
        for (int i = 0; i < 4; ++i)
            found += GetPrivateProfileInt(
                "S", (std::to_string(thread) + "-" + std::to_string(i)).c_str(), 0,
                profile.c_str());
    EXPECT_EQ(found, kThreads * 4);
}

TEST(Threads, OneBlockMayBeLockedByAllOfThem) {
    const support::Block block(Bytes(100, 7));
    runThreads([&](int) {
        for (int i = 0; i < 1000; ++i) {
            EXPECT_EQ(GlobalHandle(GlobalLock(block.handle)), block.handle);
            EXPECT_EQ(GlobalSize(block.handle), 100u);
        }
    });
}

}  // namespace
