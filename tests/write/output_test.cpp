// Sinks that fail or take less, and that nothing printed nor left behind tells of a call.
#include <gtest/gtest.h>

#include "support/captured_text.h"
#include "support/failing_call.h"
#include "support/open_files.h"
#include "write/write_kit.h"

namespace {

using namespace write_kit;

std::vector<TivarOptions> someOptions() {
    std::vector<TivarOptions> list;
    for (const int32_t bits : kDepths) list.push_back(optionsOf(bits));
    list.push_back(optionsOf(8));
    list.back().encoding = TIVAR_ENCODING_RLE;
    list.push_back(optionsOf(4));
    list.back().encoding = TIVAR_ENCODING_SMALLEST;
    list.push_back(optionsOf(8));
    list.back().header = TIVAR_HEADER_OS2;
    return list;
}

// The sink takes the first n bytes and no more; what it took is the file's beginning.
void expectSinkFailure(const TivarPicture& picture, const TivarOptions& options, size_t room,
                       const Bytes& whole) {
    Sink sink;
    sink.room = room;
    const Written written = toSink(picture, options, sink);
    ASSERT_EQ(written.result, TIVAR_RESULT_SINK_FAILED) << room;
    EXPECT_EQ(written.report.result, TIVAR_RESULT_SINK_FAILED);
    EXPECT_EQ(written.report.system_error, 0);
    EXPECT_NE(written.report.text[0], '\0');
    EXPECT_EQ(sink.callsAfterFailure, 0);
    ASSERT_LE(sink.bytes.size(), whole.size());
    EXPECT_TRUE(std::equal(sink.bytes.begin(), sink.bytes.end(), whole.begin()));
}

TEST(WriteOutput, ASinkCanFailAtAnyByte) {
    const Drawn drawn = drawFew(TIVAR_RGB, 23, 9, 2);
    const TivarPicture picture = recordOf(drawn);
    for (const TivarOptions& options : someOptions()) {
        const Bytes whole = toMemory(picture, options).bytes;
        const long blocks = support::liveBlocks;
        const size_t files = support::openFiles();
        for (size_t room = 0; room < whole.size(); ++room) {
            expectSinkFailure(picture, options, room, whole);
            ASSERT_FALSE(HasFailure());
        }
        EXPECT_EQ(support::liveBlocks, blocks);
        EXPECT_EQ(support::openFiles(), files);
        Sink exact;
        exact.room = whole.size();
        EXPECT_EQ(toSink(picture, options, exact).bytes, whole);
    }
}

TEST(WriteOutput, ASinkCanFailBetweenTheBlocksOfALargeFile) {
    const Drawn drawn = drawFew(TIVAR_RGB, 401, 397, 200);
    for (const TivarOptions& options : someOptions()) {
        for (const Access access : {Access::kPacked, Access::kInOrder}) {
            Source source(drawn, access);
            const Bytes whole = toMemory(source.picture, options).bytes;
            for (size_t room = 0; room < whole.size(); room += 1 + whole.size() / 4)
                expectSinkFailure(source.picture, options, room, whole);
            expectSinkFailure(source.picture, options, whole.size() - 1, whole);
        }
    }
}

// More than it was given is no sink's to take.
TEST(WriteOutput, ASinkThatTakesMoreThanThereIsHasFailed) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 5, 5, 5);
    const TivarPicture picture = recordOf(drawn);
    const TivarSink sink = {sizeof sink, [](void*, const void*, size_t) { return SIZE_MAX; },
                            nullptr};
    EXPECT_EQ(tivar_write_bmp(&picture, nullptr, &sink, nullptr), TIVAR_RESULT_SINK_FAILED);
}

TEST(WriteOutput, NothingIsPrintedWhateverHappens) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 40, 30, 5);
    std::vector<TivarOptions> list = someOptions();
    list.push_back(optionsOf(8));
    list.back().colors = TIVAR_COLORS_FILTER;
    support::CapturedText output(stdout);
    support::CapturedText errors(stderr);
    for (const TivarOptions& options : list) {
        for (const char* function : {"calloc", "malloc", "realloc"}) {
            for (int nth = 1;; ++nth) {
                const support::FailingCall failing(function, nth);
                toMemory(drawn, options);
                if (!failing.happened()) break;
            }
        }
        Sink none;
        none.room = 0;
        toSink(recordOf(drawn), options, none);
        const TivarPicture picture = recordOf(drawn);
        for (const char* name : {"/dev/full", "/missing/out.bmp"})
            EXPECT_EQ(tivar_write_bmp_file(&picture, &options, name, 0, nullptr),
                      TIVAR_RESULT_FILE_FAILED);
    }
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(errors.text(), "");
}

// ---- Memory ------------------------------------------------------------------------------------

// The most bytes that the library held at once; a sink that keeps nothing takes the file.
long mostBytesOf(const TivarPicture& picture, const TivarOptions& options) {
    const TivarSink sink = {sizeof sink, [](void*, const void*, size_t length) { return length; },
                            nullptr};
    const long before = support::liveBytes;
    support::mostBytes = before;
    EXPECT_EQ(tivar_write_bmp(&picture, &options, &sink, nullptr), TIVAR_RESULT_OK);
    return support::mostBytes - before;
}

TivarPicture blankPicture(int32_t format, uint32_t width, uint32_t height) {
    TivarPicture picture = {};
    picture.size = sizeof picture;
    picture.format = format;
    picture.width = width;
    picture.height = height;
    picture.read_row = [](void*, uint32_t, void*) -> int32_t { return 0; };
    return picture;
}

TEST(WriteMemory, TrueColourFromACallBackNeedsAFewRows) {
    for (const int32_t format : {TIVAR_RGB, TIVAR_RGBA, TIVAR_GREY}) {
        for (const int32_t bits : {16, 24, 32}) {
            const long wide = mostBytesOf(blankPicture(format, 20000, 500), optionsOf(bits));
            const long narrow = mostBytesOf(blankPicture(format, 20, 500000), optionsOf(bits));
            EXPECT_LT(wide, 8 << 20) << format << ", " << bits;
            EXPECT_LT(narrow, 8 << 20) << format << ", " << bits;
        }
    }
}

TEST(WriteMemory, ReducedPicturesNeedLittleMoreThanThemselves) {
    struct Noise {
        static int32_t readRow(void* context, uint32_t, void* row) {
            auto& random = *static_cast<support::Random*>(context);
            for (size_t i = 0; i < 6000; ++i) static_cast<uint8_t*>(row)[i] = random.byte();
            return 0;
        }
    };
    for (const int32_t bits : {1, 4, 8}) {
        for (const int32_t dither : {TIVAR_DITHER_NONE, TIVAR_DITHER_DIFFUSE}) {
            support::Random random(3);
            TivarPicture picture = blankPicture(TIVAR_RGB, 2000, 1500);
            picture.read_row = Noise::readRow;
            picture.context = &random;
            TivarOptions options = optionsOf(bits);
            options.colors = TIVAR_COLORS_BEST;
            options.dither = dither;
            const long decoded = 2000L * 1500 * 3;
            EXPECT_LT(mostBytesOf(picture, options), decoded * 6 / 5 + (16 << 20)) << bits;
        }
    }
}

}  // namespace
