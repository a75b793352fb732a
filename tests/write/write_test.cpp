// The three calls: every form of picture in every form of file, from every source to every target.
#include <gtest/gtest.h>

#include "write/write_kit.h"

namespace {

using namespace write_kit;

constexpr int32_t kHeaders[] = {TIVAR_HEADER_DEFAULT, TIVAR_HEADER_WINDOWS, TIVAR_HEADER_OS2,
                                TIVAR_HEADER_V4};
constexpr int32_t kEncodings[] = {TIVAR_ENCODING_RAW, TIVAR_ENCODING_RLE, TIVAR_ENCODING_SMALLEST};
constexpr int32_t kRowOrders[] = {TIVAR_BOTTOM_UP, TIVAR_TOP_DOWN};

struct Size {
    uint32_t width;
    uint32_t height;
};

// What the header's comments allow.
bool isAllowed(int bits, const TivarOptions& options) {
    const bool isEncodable = bits == 4 || bits == 8;
    if (options.encoding == TIVAR_ENCODING_RLE &&
        (!isEncodable || options.row_order == TIVAR_TOP_DOWN))
        return false;
    if (options.header != TIVAR_HEADER_OS2) return true;
    return bits != 16 && bits != 32 && options.encoding != TIVAR_ENCODING_RLE &&
           options.row_order == TIVAR_BOTTOM_UP;
}

// A picture that the depth keeps exactly: black and white alone for 1 bit, whose default is greys.
Drawn pictureFor(int32_t format, int bits, Size size, uint32_t seed) {
    if (bits > 8) return drawNoise(format, size.width, size.height, seed);
    return drawFew(format, size.width, size.height, bits == 1 ? 2 : 1u << bits, seed);
}

template <class Visit>
void visitForms(Visit visit) {
    for (const int32_t bits : kDepths) {
        for (const int32_t header : kHeaders) {
            for (const int32_t encoding : kEncodings) {
                for (const int32_t order : kRowOrders) {
                    TivarOptions options = optionsOf(bits);
                    options.header = header;
                    options.encoding = encoding;
                    options.row_order = order;
                    visit(options);
                }
            }
        }
    }
}

std::string shown(int32_t format, const TivarOptions& options, Size size) {
    return "format " + std::to_string(format) + ", bits " + std::to_string(options.bits) +
           ", header " + std::to_string(options.header) + ", encoding " +
           std::to_string(options.encoding) + ", order " + std::to_string(options.row_order) +
           ", " + std::to_string(size.width) + " x " + std::to_string(size.height);
}

uint32_t headerSizeOf(const TivarOptions& options, bool keepsAlpha) {
    if (options.header == TIVAR_HEADER_OS2) return 12;
    if (options.header == TIVAR_HEADER_WINDOWS) return 40;
    return options.header == TIVAR_HEADER_V4 || keepsAlpha ? 108 : 40;
}

// The 40 bytes of the Windows header have no place to tell of alpha: with it the picture is laid
// over white, as at every depth that does not keep alpha.
TivarOptions asWritten(TivarOptions options) {
    if (options.bits == 32 && options.header == TIVAR_HEADER_WINDOWS &&
        options.alpha == TIVAR_ALPHA_DEFAULT) {
        options.alpha = TIVAR_ALPHA_OVER;
        std::memset(options.background, 255, 3);
    }
    return options;
}

void expectForm(const Written& written, const Drawn& picture, const TivarOptions& options) {
    ASSERT_EQ(judge(written, picture, asWritten(options)), "");
    model::BmpFile file;
    model::readBmp(written.bytes, file);
    const bool keepsAlpha = options.bits == 32 && model::hasAlpha(picture.format);
    EXPECT_EQ(file.headerSize, headerSizeOf(options, keepsAlpha));
    EXPECT_EQ(file.isTopDown, options.row_order == TIVAR_TOP_DOWN);
    const bool isEncoded = file.compression == model::kRle8 || file.compression == model::kRle4;
    if (options.encoding == TIVAR_ENCODING_RLE) {
        EXPECT_TRUE(isEncoded);
    }
    if (options.encoding == TIVAR_ENCODING_RAW) {
        EXPECT_FALSE(isEncoded);
    }
    EXPECT_EQ(written.report.result, TIVAR_RESULT_OK);
    EXPECT_STREQ(written.report.field, "");
    EXPECT_STREQ(written.report.text, "");
    EXPECT_EQ(written.report.system_error, 0);
    EXPECT_EQ(written.report.bits, options.bits);
    EXPECT_EQ(written.report.colors, file.palette.size() / 3);
    EXPECT_EQ(written.report.bytes, written.bytes.size());
    if (options.bits != 16) {
        EXPECT_EQ(written.report.exact, 1);
    }
}

TEST(Write, EveryFormHoldsEveryPictureExactly) {
    constexpr Size sizes[] = {{1, 1}, {2, 3}, {9, 4}, {61, 3}};
    uint32_t seed = 0;
    for (const int32_t format : kFormats) {
        visitForms([&](const TivarOptions& options) {
            for (const Size size : sizes) {
                SCOPED_TRACE(shown(format, options, size));
                const Drawn picture = pictureFor(format, options.bits, size, ++seed);
                const Written written = toMemory(picture, options);
                if (!isAllowed(options.bits, options)) {
                    EXPECT_EQ(written.result, TIVAR_RESULT_CONTRADICTION);
                    EXPECT_TRUE(written.bytes.empty());
                    continue;
                }
                expectForm(written, picture, options);
                if (HasFailure()) return;
            }
        });
        ASSERT_FALSE(HasFailure());
    }
}

TEST(Write, EverySourceAndTargetGivesTheSameBytes) {
    const support::TempDirectory directory;
    const std::string name = directory.path("out.bmp");
    constexpr Size size = {19, 11};
    uint32_t seed = 0;
    for (const int32_t format : kFormats) {
        visitForms([&](const TivarOptions& options) {
            if (!isAllowed(options.bits, options) || HasFailure()) return;
            SCOPED_TRACE(shown(format, options, size));
            const Drawn picture = drawNoise(format, size.width, size.height, ++seed);
            const Bytes wanted = toMemory(picture, options).bytes;
            ASSERT_FALSE(wanted.empty());
            for (const Access access : kAccesses) {
                Source source(picture, access);
                EXPECT_TRUE(toMemory(source.picture, options).bytes == wanted) << "memory";
                EXPECT_TRUE(toSink(source.picture, options).bytes == wanted) << "sink";
                EXPECT_TRUE(toFile(source.picture, options, name).bytes == wanted) << "file";
                ASSERT_FALSE(HasFailure()) << "access " << static_cast<int>(access);
            }
        });
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ(directory.names(), (std::set<std::string>{"out.bmp"}));
}

// Another picture comes first, so that no memory has the rows already.
TEST(Write, SeveralThreadsMakeEveryRow) {
    const Drawn other = drawNoise(TIVAR_RGB, 600, 500, 1);
    const Drawn picture = drawNoise(TIVAR_RGB, 600, 500, 2);
    TivarOptions options = optionsOf(24);
    toMemory(other, options);
    options.threads = 4;
    model::BmpFile file = {};
    EXPECT_EQ(read(toMemory(picture, options), file), "");
    EXPECT_EQ(model::compareExactly(file, picture, options), "");
}

TEST(Write, PicturesOfEverySizeKeepIt) {
    for (uint32_t width = 1; width <= 70; ++width) {
        for (const int32_t bits : kDepths) {
            const Drawn picture = pictureFor(TIVAR_RGB, bits, {width, 3}, width);
            ASSERT_EQ(judge(toMemory(picture, optionsOf(bits)), picture, optionsOf(bits)), "")
                << width << ", " << bits;
        }
    }
}

TEST(Write, APictureOf333By221KeepsItsSizeAtEveryDepth) {
    for (const int32_t format : kFormats) {
        for (const int32_t bits : kDepths) {
            const Drawn picture = pictureFor(format, bits, {333, 221}, 7);
            EXPECT_EQ(judge(toMemory(picture, optionsOf(bits)), picture, optionsOf(bits)), "")
                << format << ", " << bits;
        }
    }
}

TEST(Write, WithoutOptionsTheFileHasThePicturesOwnDepth) {
    constexpr int32_t wanted[] = {24, 24, 32, 32, 8, 1, 4, 8};
    for (const int32_t format : kFormats) {
        const Drawn picture = drawNoise(format, 21, 8, 3);
        const TivarPicture record = recordOf(picture);
        void* bytes = nullptr;
        size_t length = 0;
        ASSERT_EQ(tivar_write_bmp_memory(&record, nullptr, &bytes, &length, nullptr), 0);
        const auto* from = static_cast<const uint8_t*>(bytes);
        model::BmpFile file;
        EXPECT_EQ(model::readBmp(Bytes(from, from + length), file), "");
        EXPECT_EQ(file.bits, static_cast<uint32_t>(wanted[format]));
        EXPECT_EQ(model::compareExactly(file, picture, noOptions()), "");
        EXPECT_EQ(Bytes(from, from + length), toMemory(picture, noOptions()).bytes);
        tivar_free(bytes);
    }
}

TEST(Write, ReportsMayBeLeftOutOfEveryCall) {
    const support::TempDirectory directory;
    const Drawn picture = drawNoise(TIVAR_BGR, 5, 4, 3);
    const TivarPicture record = recordOf(picture);
    Sink sink;
    const TivarSink sinkRecord = sink.record();
    EXPECT_EQ(tivar_write_bmp(&record, nullptr, &sinkRecord, nullptr), TIVAR_RESULT_OK);
    const std::string name = directory.path("out.bmp");
    EXPECT_EQ(tivar_write_bmp_file(&record, nullptr, name.c_str(), 0, nullptr), TIVAR_RESULT_OK);
    EXPECT_EQ(directory.read("out.bmp"), std::string(sink.bytes.begin(), sink.bytes.end()));
}

// What a sink does to the report while the file is written.
struct MeddlingSink {
    static size_t take(void* context, const void*, size_t length) {
        auto& self = *static_cast<MeddlingSink*>(context);
        self.report.size = self.size;
        std::memset(self.report.text, 'x', sizeof self.report.text);
        return length;
    }

    uint32_t size;
    TivarReport report;
    uint8_t behind[64];
};

TEST(Write, AReportHasTheSizeThatItHadWhenTheCallBegan) {
    const Drawn picture = drawNoise(TIVAR_BGR, 5, 4, 3);
    const TivarPicture record = recordOf(picture);
    for (const uint32_t size :
         {0u, 1u, static_cast<uint32_t>(sizeof(TivarReport)) + 64, 4096u, UINT32_MAX}) {
        MeddlingSink sink = {size, {}, {}};
        sink.report.size = sizeof sink.report;
        std::memset(sink.behind, 0xEE, sizeof sink.behind);
        const TivarSink sinkRecord = {sizeof sinkRecord, MeddlingSink::take, &sink};
        EXPECT_EQ(tivar_write_bmp(&record, nullptr, &sinkRecord, &sink.report), TIVAR_RESULT_OK);
        EXPECT_EQ(sink.report.size, sizeof sink.report);
        EXPECT_EQ(sink.report.bytes, 54u + 16 * 4);
        EXPECT_STREQ(sink.report.text, "");
        for (const uint8_t byte : sink.behind) ASSERT_EQ(byte, 0xEE) << size;
    }
}

// The smallest file of each kind, byte for byte, worked out by hand from the format's description.
TEST(Write, FilesWorkedOutByHand) {
    const Drawn color = {TIVAR_RGB, 1, 1, {1, 2, 3}, {}};
    const Bytes windows = {'B', 'M', 58, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,  //
                           40,  0,   0,  0, 1, 0, 0, 0, 1, 0, 0,  0, 1, 0, 24, 0, 0, 0, 0, 0,
                           4,   0,   0,  0, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0, 0, 0,  //
                           3,   2,   1,  0};
    EXPECT_EQ(toMemory(color, noOptions()).bytes, windows);

    const Drawn bits = {TIVAR_INDEX1, 3, 2, {0x40, 0xA0}, {10, 20, 30, 40, 50, 60}};
    TivarOptions options = noOptions();
    options.header = TIVAR_HEADER_OS2;
    const Bytes os2 = {'B', 'M', 40, 0,  0,  0,  0,    0, 0, 0, 32,   0, 0, 0,  //
                       12,  0,   0,  0,  3,  0,  2,    0, 1, 0, 1,    0,        //
                       30,  20,  10, 60, 50, 40, 0xA0, 0, 0, 0, 0x40, 0, 0, 0};
    EXPECT_EQ(toMemory(bits, options).bytes, os2);

    const Drawn runs = {TIVAR_INDEX8, 5, 1, {2, 2, 2, 2, 1}, {0, 0, 0, 1, 1, 1, 2, 2, 2}};
    options = noOptions();
    options.encoding = TIVAR_ENCODING_RLE;
    options.x_per_meter = 2835;
    options.y_per_meter = 1;
    const Bytes encoded = {'B',  'M',  72, 0, 0, 0, 0, 0, 0, 0, 66, 0, 0, 0,  //
                           40,   0,    0,  0, 5, 0, 0, 0, 1, 0, 0,  0, 1, 0, 8, 0,
                           1,    0,    0,  0, 6, 0, 0, 0,                           //
                           0x13, 0x0B, 0,  0, 1, 0, 0, 0, 3, 0, 0,  0, 0, 0, 0, 0,  //
                           0,    0,    0,  0, 1, 1, 1, 0, 2, 2, 2,  0,              //
                           4,    2,    1,  1, 0, 1};
    EXPECT_EQ(toMemory(runs, options).bytes, encoded);
}

TEST(Write, EveryResultHasATextOfItsOwn) {
    std::set<std::string> texts;
    for (int32_t result = 0; result < TIVAR_RESULT_LIST_END; ++result) {
        const std::string text = tivar_result_text(result);
        EXPECT_FALSE(text.empty());
        EXPECT_NE(text.back(), '.');
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), static_cast<size_t>(TIVAR_RESULT_LIST_END));
    for (const int32_t unknown : {-1, int32_t{TIVAR_RESULT_LIST_END}, INT32_MIN, INT32_MAX}) {
        ASSERT_NE(tivar_result_text(unknown), nullptr);
        EXPECT_EQ(texts.count(tivar_result_text(unknown)), 0u);
    }
}

TEST(Write, TheVersionIsThreeNumbers) {
    int numbers[3] = {};
    char behind = 0;
    EXPECT_EQ(
        std::sscanf(tivar_version(), "%d.%d.%d%c", &numbers[0], &numbers[1], &numbers[2], &behind),
        3)
        << tivar_version();
}

TEST(Write, NothingIsFreedForNull) {
    tivar_free(nullptr);
}

}  // namespace
