// Where pictures come from: memory in any layout, and call-backs.
#include <gtest/gtest.h>

#include <numeric>

#include "write/write_kit.h"

namespace {

using namespace write_kit;

constexpr int32_t kEveryDither[] = {TIVAR_DITHER_NONE, TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED};

// Options of all kinds that a source meets: rows that are looked at once, twice, and kept.
std::vector<TivarOptions> someOptions() {
    std::vector<TivarOptions> list;
    for (const int32_t order : {TIVAR_BOTTOM_UP, TIVAR_TOP_DOWN}) {
        for (const int32_t bits : kDepths) {
            TivarOptions options = optionsOf(bits);
            options.row_order = order;
            list.push_back(options);
            for (const int32_t dither : kEveryDither) {
                if (bits > 16) continue;
                options.dither = dither;
                list.push_back(options);
            }
        }
    }
    for (const int32_t encoding : {TIVAR_ENCODING_RLE, TIVAR_ENCODING_SMALLEST}) {
        TivarOptions options = optionsOf(8);
        options.encoding = encoding;
        options.colors = TIVAR_COLORS_GREYS;
        list.push_back(options);
        options.dither = TIVAR_DITHER_DIFFUSE;
        list.push_back(options);
    }
    return list;
}

std::vector<uint32_t> rowsFromTop(uint32_t height) {
    std::vector<uint32_t> rows(height);
    std::iota(rows.begin(), rows.end(), 0u);
    return rows;
}

TEST(WriteSource, ACallBackIsAskedForEveryRowOnceAndInOrderIfItMustBe) {
    const Drawn drawn = drawNoise(TIVAR_RGB, 13, 9, 2);
    const support::TempDirectory directory;
    for (const TivarOptions& options : someOptions()) {
        for (const Access access : {Access::kAnyOrder, Access::kInOrder}) {
            for (int target = 0; target < 3; ++target) {
                SCOPED_TRACE(testing::Message()
                             << options.bits << " bits, dither " << options.dither << ", encoding "
                             << options.encoding << ", target " << target);
                Source source(drawn, access);
                if (target == 0) toMemory(source.picture, options);
                if (target == 1) toSink(source.picture, options);
                if (target == 2) toFile(source.picture, options, directory.path("out.bmp"));
                std::vector<uint32_t> asked = source.asked;
                if (access == Access::kAnyOrder) std::sort(asked.begin(), asked.end());
                EXPECT_EQ(asked, rowsFromTop(drawn.height));
            }
        }
    }
}

TEST(WriteSource, ARowThatFailsEndsTheCall) {
    const support::TempDirectory directory;
    const Drawn drawn = drawNoise(TIVAR_RGB, 13, 9, 2);
    for (const TivarOptions& options : someOptions()) {
        for (const Access access : {Access::kAnyOrder, Access::kInOrder}) {
            for (size_t nth = 1; nth <= drawn.height; ++nth) {
                Source source(drawn, access);
                source.failsAt = nth;
                EXPECT_EQ(toMemory(source.picture, options).result, TIVAR_RESULT_ROW_FAILED);
                EXPECT_EQ(source.asked.size(), nth) << "no row is asked for after that";
                source.asked.clear();
                EXPECT_EQ(toSink(source.picture, options).result, TIVAR_RESULT_ROW_FAILED);
                source.asked.clear();
                directory.write("out.bmp", "old");
                const Written file = toFile(source.picture, options, directory.path("out.bmp"));
                EXPECT_EQ(file.result, TIVAR_RESULT_ROW_FAILED);
                EXPECT_EQ(file.report.result, TIVAR_RESULT_ROW_FAILED);
                EXPECT_NE(file.report.text[0], '\0');
                EXPECT_EQ(directory.read("out.bmp"), "old");
                EXPECT_EQ(directory.names().size(), 1u);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST(WriteSource, NothingOfTheCallersIsChanged) {
    for (const int32_t format : kFormats) {
        for (const TivarOptions& options : someOptions()) {
            const Drawn drawn = drawNoise(format, 13, 9, 2);
            const Drawn copy = drawn;
            Source source(drawn, Access::kPaddedUpwards);
            const Bytes before = source.storage;
            const TivarPicture picture = source.picture;
            const TivarOptions asked = options;
            toMemory(source.picture, asked);
            EXPECT_EQ(std::memcmp(&picture, &source.picture, sizeof picture), 0);
            EXPECT_EQ(std::memcmp(&asked, &options, sizeof asked), 0);
            EXPECT_EQ(source.storage, before);
            EXPECT_EQ(drawn.palette, copy.palette);
        }
    }
}

// No byte behind the last pixel is read: the picture ends where its memory does.
TEST(WriteSource, NoByteBehindTheLastRowIsRead) {
    for (const int32_t format : kFormats) {
        for (const TivarOptions& options : someOptions()) {
            const Drawn drawn = drawNoise(format, 13, 5, 2);
            const size_t bytes = model::rowBytes(format, 13);
            const size_t stride = bytes + 9;
            // Without the last row's padding, which a sanitizer and valgrind watch.
            std::vector<uint8_t> storage(stride * 4 + bytes);
            for (uint32_t y = 0; y < 5; ++y)
                std::copy_n(&drawn.rows[y * bytes], bytes, &storage[y * stride]);
            storage.shrink_to_fit();
            TivarPicture picture = recordOf(drawn);
            picture.pixels = storage.data();
            picture.stride = static_cast<ptrdiff_t>(stride);
            EXPECT_EQ(toMemory(picture, options).bytes, toMemory(drawn, options).bytes);
        }
    }
}

TEST(WriteSource, CallBacksMayCallTheInterfaceThemselves) {
    struct Nested {
        static int32_t readRow(void* context, uint32_t y, void* row) {
            const auto& self = *static_cast<const Nested*>(context);
            EXPECT_EQ(toMemory(self.inner, optionsOf(8)).bytes, self.wanted);
            std::memset(row, static_cast<int>(y), 15);
            return 0;
        }
        Drawn inner;
        Bytes wanted;
    };
    Nested nested = {drawNoise(TIVAR_RGB, 9, 9, 4), {}};
    nested.wanted = toMemory(nested.inner, optionsOf(8)).bytes;
    Drawn outer = {TIVAR_RGB, 5, 4, {}, {}};
    for (uint8_t y = 0; y < 4; ++y) outer.rows.insert(outer.rows.end(), 15, y);
    TivarPicture picture = recordOf(outer);
    picture.pixels = nullptr;
    picture.read_row = Nested::readRow;
    picture.context = &nested;
    EXPECT_EQ(toMemory(picture, optionsOf(8)).bytes, toMemory(outer, optionsOf(8)).bytes);
}

}  // namespace
