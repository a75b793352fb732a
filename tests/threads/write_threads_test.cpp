// Calls at the same time, and threads within a call: the bytes are those of one thread.
#include <gtest/gtest.h>

#include <thread>

#include "write/write_kit.h"

namespace {

using namespace write_kit;

struct Job {
    Drawn drawn;
    TivarOptions options;
    Access access;
    Bytes wanted;
};

// All formats, depths, palettes and ways of dithering get their turn.
std::vector<Job> manyJobs(uint32_t count) {
    constexpr int32_t colors[] = {TIVAR_COLORS_BEST, TIVAR_COLORS_GREYS, TIVAR_COLORS_FILTER};
    std::vector<Job> jobs;
    for (uint32_t i = 0; i < count; ++i) {
        TivarOptions options = optionsOf(kDepths[i % std::size(kDepths)]);
        if (options.bits <= 8) {
            options.colors = colors[i / 6 % 3];
            options.dither = static_cast<int32_t>(i / 2 % 4);
        }
        if (options.bits == 4 || options.bits == 8)
            options.encoding = static_cast<int32_t>(i / 3 % 3);
        const int32_t format = kFormats[i % std::size(kFormats)];
        jobs.push_back({drawNoise(format, 40 + i * 3, 30 + i, i),
                        options,
                        kAccesses[i % std::size(kAccesses)],
                        {}});
    }
    for (Job& job : jobs) job.wanted = toMemory(job.drawn, job.options).bytes;
    return jobs;
}

TEST(WriteThreads, SixteenThreadsGiveTheBytesOfOne) {
    constexpr size_t kSixteen = 16;
    const std::vector<Job> jobs = manyJobs(48);
    const support::TempDirectory directory;
    std::vector<int> wrong(kSixteen);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kSixteen; ++t) {
        threads.emplace_back([&, t] {
            const std::string name = directory.path("out-" + std::to_string(t % 8) + ".bmp");
            for (size_t i = 0; i < jobs.size(); ++i) {
                // Everybody begins elsewhere.
                const Job& job = jobs[(i + t * 7) % jobs.size()];
                Source source(job.drawn, job.access);
                TivarOptions options = job.options;
                options.threads = static_cast<int32_t>((i + t) % 3);
                if (toMemory(source.picture, options).bytes != job.wanted) ++wrong[t];
                if (toSink(source.picture, options).bytes != job.wanted) ++wrong[t];
                const int32_t result =
                    tivar_write_bmp_file(&source.picture, &options, name.c_str(), 0, nullptr);
                if (result != TIVAR_RESULT_OK) ++wrong[t];
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(kSixteen));
    // Two threads shared each name: either's file is whole.
    for (const std::string& name : directory.names()) {
        const std::string content = directory.read(name);
        model::BmpFile file;
        EXPECT_EQ(model::readBmp(Bytes(content.begin(), content.end()), file), "");
    }
    EXPECT_EQ(directory.names().size(), 8u);
}

TEST(WriteThreads, AnyNumberWithinACallGivesTheSameBytes) {
    for (const int32_t format : {TIVAR_BGRA}) {
        const Drawn drawn = drawNoise(format, 501, 197, 9);
        for (const int32_t bits : kDepths) {
            for (const int32_t dither :
                 {TIVAR_DITHER_NONE, TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED}) {
                TivarOptions options = optionsOf(bits);
                if (bits <= 16) options.dither = dither;
                const Bytes wanted = toMemory(drawn, options).bytes;
                ASSERT_FALSE(wanted.empty());
                for (const int32_t threads : {2, 3, 5, 8, 1000}) {
                    options.threads = threads;
                    EXPECT_TRUE(toMemory(drawn, options).bytes == wanted)
                        << bits << " bits, dither " << dither << ", " << threads << " threads";
                }
                if (bits > 16) break;
            }
        }
    }
}

// Rows are put while further ones are made, in blocks of about 2 MB.
TEST(WriteThreads, AnyNumberOfBlocksGivesTheSameBytes) {
    for (const uint32_t height : {699u, 700u, 1401u, 2100u}) {
        const Drawn drawn = drawNoise(TIVAR_RGB, 999, height, height);
        for (const int32_t order : {TIVAR_BOTTOM_UP, TIVAR_TOP_DOWN}) {
            TivarOptions options = optionsOf(24);
            options.row_order = order;
            const Bytes wanted = toMemory(drawn, options).bytes;
            for (const int32_t threads : {2, 5}) {
                options.threads = threads;
                EXPECT_TRUE(toMemory(drawn, options).bytes == wanted) << height;
            }
        }
    }
}

TEST(WriteThreads, ASinkThatFailsAtAnyBlockEndsTheCall) {
    struct Sink {
        static size_t write(void* context, const void*, size_t length) {
            auto* self = static_cast<Sink*>(context);
            self->taken += length;
            return self->taken > self->room ? 0 : length;
        }
        size_t room;
        size_t taken = 0;
    };
    const Drawn drawn = drawNoise(TIVAR_RGB, 999, 2100, 1);
    Source source(drawn, Access::kPacked);
    TivarOptions options = optionsOf(24);
    options.threads = 4;
    constexpr size_t kFile = 54 + 3000 * 2100;
    for (const size_t room : {size_t{0}, size_t{3000000}, kFile - 1, kFile}) {
        Sink sink{room};
        const TivarSink record = {sizeof record, Sink::write, &sink};
        EXPECT_EQ(tivar_write_bmp(&source.picture, &options, &record, nullptr),
                  room < kFile ? TIVAR_RESULT_SINK_FAILED : TIVAR_RESULT_OK)
            << room;
    }
}

TEST(WriteThreads, CallBacksComeOnTheThreadOfTheCall) {
    struct Caller {
        static void check(void* context) {
            EXPECT_EQ(static_cast<Caller*>(context)->id, std::this_thread::get_id());
        }
        static int32_t progress(void* context, int32_t) {
            check(context);
            return 0;
        }
        static int32_t cancel(void* context) {
            check(context);
            return 0;
        }
        static int32_t readRow(void* context, uint32_t y, void* row) {
            check(context);
            std::memset(row, static_cast<int>(y * 3), 900);
            static_cast<uint8_t*>(row)[y % 900] = 77;
            return 0;
        }
        static size_t write(void* context, const void*, size_t length) {
            check(context);
            return length;
        }
        std::thread::id id = std::this_thread::get_id();
    };
    for (const int32_t bits : kDepths) {
        Caller caller;
        TivarOptions options = optionsOf(bits);
        options.threads = 8;
        options.progress = Caller::progress;
        options.cancel = Caller::cancel;
        options.context = &caller;
        TivarPicture picture = {};
        picture.size = sizeof picture;
        picture.width = 300;
        picture.height = 300;
        picture.read_row = Caller::readRow;
        picture.context = &caller;
        const TivarSink sink = {sizeof sink, Caller::write, &caller};
        EXPECT_EQ(tivar_write_bmp(&picture, &options, &sink, nullptr), TIVAR_RESULT_OK);
    }
}

}  // namespace
