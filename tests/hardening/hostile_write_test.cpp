// The direct interface handed records that no sane caller fills.
#include <tivar/write.h>

#include "hardening/hostile.h"
#include "support/failing_call.h"
#include "support/open_files.h"
#include "write/write_kit.h"

namespace {

using namespace write_kit;

// A number for a field: mostly sound, at times wild.
uint32_t strange(support::Random& random, uint32_t mostSound) {
    constexpr uint32_t edges[] = {0x7F,       0xFF,       0x100,      0x7FFF,
                                  0xFFFF,     0x10000,    0x7FFFFFFE, 0x7FFFFFFF,
                                  0x80000000, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF};
    switch (random() % 24) {
        case 0:
            return edges[random() % std::size(edges)];
        case 1:
            return random();
        default:
            return random() % (mostSound + 1);
    }
}

int32_t strangeChoice(support::Random& random, int32_t last) {
    return static_cast<int32_t>(random() % 3 == 0 ? strange(random, static_cast<uint32_t>(last))
                                                  : 0);
}

// Sizes may be anything where no pixel lies behind them: rows come from a call-back that ends the
// call when it has gone on for long.
struct HostileCall {
    explicit HostileCall(uint32_t seed) : random(seed) {
        for (uint8_t& byte : palette) byte = random.byte();
        picture = {};
        picture.size =
            random() % 50 == 0 ? random() % uint32_t{sizeof picture} : uint32_t{sizeof picture};
        picture.format = static_cast<int32_t>(strange(random, TIVAR_INDEX8));
        picture.width = strange(random, 40);
        picture.height = strange(random, 40);
        picture.stride = random() % 20 == 0 ? static_cast<ptrdiff_t>(random()) : 0;
        picture.read_row = random() % 40 == 0 ? nullptr : readRow;
        picture.context = this;
        const bool indexed = picture.format >= TIVAR_INDEX1 && picture.format <= TIVAR_INDEX8;
        if (indexed != (random() % 20 == 0)) {
            picture.palette = palette;
            picture.palette_count = strange(random, picture.format == TIVAR_INDEX1 ? 2 : 16);
        }
        picture.flags = strange(random, 1);
        fillOptions();
    }

    void fillOptions() {
        constexpr int32_t depths[] = {0, 1, 4, 8, 16, 24, 32};
        options = {};
        options.size =
            random() % 50 == 0 ? random() % uint32_t{sizeof options} : uint32_t{sizeof options};
        options.bits = random() % 20 == 0 ? static_cast<int32_t>(random())
                                          : depths[random() % std::size(depths)];
        options.header = strangeChoice(random, TIVAR_HEADER_V4);
        options.encoding = strangeChoice(random, TIVAR_ENCODING_SMALLEST);
        options.row_order = strangeChoice(random, TIVAR_TOP_DOWN);
        options.palette_length = strangeChoice(random, TIVAR_PALETTE_FULL);
        options.masks = strangeChoice(random, TIVAR_MASKS_555);
        options.x_per_meter = strangeChoice(random, 5000);
        options.y_per_meter = strangeChoice(random, 5000);
        options.colors = strangeChoice(random, TIVAR_COLORS_FILTER);
        options.max_colors = random() % 4 == 0 ? strange(random, 256) : 0;
        if (options.colors == TIVAR_COLORS_GIVEN) {
            options.palette = palette;
            options.palette_count = strange(random, 256);
        }
        options.dither = strangeChoice(random, TIVAR_DITHER_ORDERED);
        options.alpha = strangeChoice(random, TIVAR_ALPHA_DROP);
        if (options.alpha == TIVAR_ALPHA_OVER) options.background[0] = random.byte();
        options.threads = strangeChoice(random, 8);
    }

    static int32_t readRow(void* context, uint32_t y, void* row) {
        auto& self = *static_cast<HostileCall*>(context);
        // What would need more than a little memory ends here.
        const size_t bytes = model::rowBytes(self.picture.format, self.picture.width);
        if (++self.rows > 400 || y >= self.picture.height || bytes > 4u << 20) return 1;
        for (size_t i = 0; i < bytes; ++i) static_cast<uint8_t*>(row)[i] = self.random.byte();
        return 0;
    }

    support::Random random;
    uint8_t palette[768];
    TivarPicture picture;
    TivarOptions options;
    int rows = 0;
};

// Whatever the records say: a sound file or an honest refusal, and nothing left behind.
TEST(HostileArguments, tivar_write_bmp) {
    std::set<int32_t> seen;
    for (uint32_t seed = 1; seed <= 6000; ++seed) {
        HostileCall call(seed);
        const long blocks = support::liveBlocks;
        Sink sink;
        const Written written = toSink(call.picture, call.options, sink);
        EXPECT_EQ(support::liveBlocks, blocks) << seed;
        EXPECT_EQ(written.report.result, written.result) << seed;
        EXPECT_EQ(written.report.text[0] != '\0', written.result != TIVAR_RESULT_OK) << seed;
        seen.insert(written.result);
        if (written.result != TIVAR_RESULT_OK) continue;
        model::BmpFile file;
        EXPECT_EQ(model::readBmp(written.bytes, file), "") << seed;
        EXPECT_EQ(file.width, call.picture.width);
        EXPECT_EQ(file.height, call.picture.height);
        ASSERT_FALSE(HasFailure()) << seed;
    }
    for (const int32_t result :
         {TIVAR_RESULT_OK, TIVAR_RESULT_BAD_CALL, TIVAR_RESULT_BAD_PICTURE, TIVAR_RESULT_BAD_OPTION,
          TIVAR_RESULT_CONTRADICTION, TIVAR_RESULT_TOO_LARGE})
        EXPECT_EQ(seen.count(result), 1u) << result;
    const Drawn drawn = drawNoise(TIVAR_RGB, 3, 3, 1);
    const TivarPicture picture = recordOf(drawn);
    EXPECT_EQ(tivar_write_bmp(nullptr, nullptr, nullptr, nullptr), TIVAR_RESULT_BAD_CALL);
    EXPECT_EQ(tivar_write_bmp(&picture, nullptr, nullptr, nullptr), TIVAR_RESULT_BAD_CALL);
}

TEST(HostileArguments, tivar_write_bmp_file) {
    const support::TempDirectory directory;
    const std::string name = directory.path("out.bmp");
    const size_t files = support::openFiles();
    for (uint32_t seed = 1; seed <= 1500; ++seed) {
        HostileCall call(seed + 10000);
        directory.write("out.bmp", "old");
        const Written written = toFile(call.picture, call.options, name, seed % 8);
        EXPECT_EQ(directory.read("out.bmp") == "old", written.result != TIVAR_RESULT_OK) << seed;
        EXPECT_EQ(directory.names().size(), 1u);
        EXPECT_EQ(support::openFiles(), files);
        ASSERT_FALSE(HasFailure()) << seed;
    }
    const Drawn drawn = drawNoise(TIVAR_RGB, 3, 3, 1);
    const TivarPicture picture = recordOf(drawn);
    EXPECT_EQ(tivar_write_bmp_file(nullptr, nullptr, nullptr, 0, nullptr), TIVAR_RESULT_BAD_CALL);
    for (const char* nowhere : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(tivar_write_bmp_file(&picture, nullptr, nowhere, 0, nullptr),
                  TIVAR_RESULT_BAD_CALL);
    for (const std::string& longer : hardening::longStrings()) {
        if (longer.size() <= 255) continue;
        EXPECT_EQ(tivar_write_bmp_file(&picture, nullptr, longer.c_str(), 0, nullptr),
                  TIVAR_RESULT_FILE_FAILED);
    }
}

TEST(HostileArguments, tivar_write_bmp_memory) {
    for (uint32_t seed = 1; seed <= 3000; ++seed) {
        HostileCall call(seed + 20000);
        const long blocks = support::liveBlocks;
        const Written written = toMemory(call.picture, call.options);
        EXPECT_EQ(support::liveBlocks, blocks) << seed;
        EXPECT_EQ(written.bytes.empty(), written.result != TIVAR_RESULT_OK) << seed;
        EXPECT_EQ(written.report.bytes, written.bytes.size());
        ASSERT_FALSE(HasFailure()) << seed;
    }
    EXPECT_EQ(tivar_write_bmp_memory(nullptr, nullptr, nullptr, nullptr, nullptr),
              TIVAR_RESULT_BAD_CALL);
}

TEST(HostileArguments, tivar_free) {
    tivar_free(nullptr);
}

TEST(HostileArguments, tivar_result_text) {
    for (const int32_t result : hardening::kNumbers)
        EXPECT_NE(tivar_result_text(result), nullptr) << result;
}

TEST(HostileArguments, tivar_version) {
    EXPECT_EQ(tivar_version(), tivar_version());
}

}  // namespace
