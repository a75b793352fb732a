// Progress and cancelling.
#include <gtest/gtest.h>

#include "support/open_files.h"
#include "write/write_kit.h"

namespace {

using namespace write_kit;

struct Watcher {
    static int32_t progress(void* context, int32_t percent) {
        auto& self = *static_cast<Watcher*>(context);
        self.told.push_back(percent);
        return self.told.size() == self.stopsAtTold ? 1 : 0;
    }
    static int32_t cancel(void* context) {
        auto& self = *static_cast<Watcher*>(context);
        ++self.questions;
        return self.questions == self.stopsAtQuestion ? -1 : 0;
    }
    TivarOptions attach(TivarOptions options) {
        options.progress = progress;
        options.cancel = cancel;
        options.context = this;
        return options;
    }

    std::vector<int32_t> told{};
    size_t questions = 0;
    size_t stopsAtTold = 0;
    size_t stopsAtQuestion = 0;
};

TivarOptions with(int32_t bits, int32_t colors, int32_t dither, int32_t encoding,
                  int32_t threads = 0) {
    TivarOptions options = optionsOf(bits);
    options.colors = colors;
    options.dither = dither;
    options.encoding = encoding;
    options.threads = threads;
    return options;
}

// Calls that go over the rows once, twice and more.
std::vector<TivarOptions> someOptions() {
    return {optionsOf(24),
            optionsOf(32),
            optionsOf(16),
            optionsOf(8),
            with(8, 0, 0, 0, 4),
            with(8, TIVAR_COLORS_FILTER, 0, 0),
            with(8, TIVAR_COLORS_BEST, TIVAR_DITHER_DIFFUSE, TIVAR_ENCODING_SMALLEST),
            with(4, TIVAR_COLORS_GREYS, TIVAR_DITHER_ORDERED, TIVAR_ENCODING_RLE),
            optionsOf(1)};
}

TEST(WriteWatch, ProgressRisesTo100AndTellsNothingTwice) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 700, 400, 2);
    for (const TivarOptions& options : someOptions()) {
        for (const Access access : {Access::kPacked, Access::kAnyOrder, Access::kInOrder}) {
            SCOPED_TRACE(testing::Message() << options.bits << " bits, colours " << options.colors);
            Source source(drawn, access);
            Watcher watcher;
            ASSERT_EQ(toSink(source.picture, watcher.attach(options)).result, TIVAR_RESULT_OK);
            ASSERT_FALSE(watcher.told.empty());
            EXPECT_GE(watcher.told.front(), 0);
            EXPECT_EQ(watcher.told.back(), 100);
            for (size_t i = 1; i < watcher.told.size(); ++i)
                EXPECT_LT(watcher.told[i - 1], watcher.told[i]);
            EXPECT_GE(watcher.questions, drawn.height) << "before every row";
        }
    }
}

TEST(WriteWatch, ALargePictureTellsEveryPercent) {
    struct Zeros {
        static int32_t readRow(void*, uint32_t, void* row) {
            std::memset(row, 0, 3 * 20000);
            return 0;
        }
    };
    Drawn drawn = {TIVAR_RGB, 20000, 2000, {}, {}};
    TivarPicture picture = recordOf(drawn);
    picture.pixels = nullptr;
    picture.read_row = Zeros::readRow;
    Watcher watcher;
    const TivarOptions options = watcher.attach(optionsOf(24));
    const TivarSink sink = {sizeof sink, [](void*, const void*, size_t length) { return length; },
                            nullptr};
    ASSERT_EQ(tivar_write_bmp(&picture, &options, &sink, nullptr), TIVAR_RESULT_OK);
    EXPECT_GE(watcher.told.size(), 100u);
}

TEST(WriteWatch, WatchingChangesNoByte) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 33, 21, 2);
    for (const TivarOptions& options : someOptions()) {
        Watcher watcher;
        EXPECT_EQ(toMemory(drawn, watcher.attach(options)).bytes, toMemory(drawn, options).bytes);
    }
}

void expectCancelled(const Written& written) {
    EXPECT_EQ(written.result, TIVAR_RESULT_CANCELLED);
    EXPECT_EQ(written.report.result, TIVAR_RESULT_CANCELLED);
    EXPECT_STREQ(written.report.field, "");
}

TEST(WriteWatch, AnyQuestionCanCancelAndNoneFollows) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 33, 11, 2);
    for (const TivarOptions& options : someOptions()) {
        for (const Access access : {Access::kPacked, Access::kInOrder}) {
            Watcher counter;
            Source source(drawn, access);
            toMemory(source.picture, counter.attach(options));
            ASSERT_GE(counter.questions, drawn.height);
            for (size_t nth = 1; nth <= counter.questions; ++nth) {
                Watcher watcher;
                watcher.stopsAtQuestion = nth;
                const Written written = toMemory(source.picture, watcher.attach(options));
                expectCancelled(written);
                EXPECT_TRUE(written.bytes.empty());
                EXPECT_EQ(watcher.questions, nth);
                ASSERT_FALSE(HasFailure()) << nth << " of " << counter.questions;
            }
        }
    }
}

// Large enough for four threads; without a palette to choose every row is asked for once.
TEST(WriteWatch, SeveralThreadsAreCancelledAsOneIs) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 600, 500, 2);
    TivarOptions options = optionsOf(24);
    options.threads = 4;
    const Source source(drawn, Access::kPacked);
    Watcher counter;
    toMemory(source.picture, counter.attach(options));
    ASSERT_EQ(counter.questions, 500u);
    for (const size_t nth : {1u, 250u, 500u}) {
        Watcher watcher;
        watcher.stopsAtQuestion = nth;
        const Written written = toMemory(source.picture, watcher.attach(options));
        expectCancelled(written);
        EXPECT_TRUE(written.bytes.empty());
    }
}

// Some tellings of a call, the last one in any case.
template <class Call>
void expectTellingsToCancel(const TivarOptions& options, Call&& call) {
    Watcher counter;
    ASSERT_EQ(call(counter.attach(options)).result, TIVAR_RESULT_OK);
    const size_t last = counter.told.size();
    for (size_t nth = 1; nth <= last;) {
        Watcher watcher;
        watcher.stopsAtTold = nth;
        expectCancelled(call(watcher.attach(options)));
        EXPECT_EQ(watcher.told.size(), nth);
        nth = nth == last ? last + 1 : std::min(nth * 2, last);
    }
}

TEST(WriteWatch, AnyTellingCanCancelAndNoneFollows) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 300, 200, 2);
    for (const TivarOptions& options : someOptions()) {
        Source source(drawn, Access::kInOrder);
        expectTellingsToCancel(
            options, [&](const TivarOptions& watched) { return toSink(source.picture, watched); });
        expectTellingsToCancel(options, [&](const TivarOptions& watched) {
            return toMemory(source.picture, watched);
        });
    }
}

TEST(WriteWatch, AnyTellingCancelsSeveralThreads) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 600, 500, 2);
    const Source source(drawn, Access::kPacked);
    TivarOptions options = optionsOf(24);
    options.threads = 4;
    expectTellingsToCancel(
        options, [&](const TivarOptions& watched) { return toSink(source.picture, watched); });
}

TEST(WriteWatch, ACancelledFileIsAsItWasBefore) {
    const support::TempDirectory directory;
    const std::string name = directory.write("out.bmp", "old");
    const size_t files = support::openFiles();
    const Drawn drawn = drawNoise(TIVAR_RGB, 33, 11, 2);
    for (const TivarOptions& options : someOptions()) {
        for (size_t nth = 1; nth <= drawn.height; ++nth) {
            Watcher watcher;
            watcher.stopsAtQuestion = nth;
            const TivarPicture picture = recordOf(drawn);
            expectCancelled(toFile(picture, watcher.attach(options), name));
            EXPECT_EQ(directory.read("out.bmp"), "old");
            EXPECT_EQ(directory.names().size(), 1u);
        }
    }
    EXPECT_EQ(support::openFiles(), files);
}

}  // namespace
