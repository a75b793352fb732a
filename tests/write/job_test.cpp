// What is refused, by which code, and how the field is named.
#include <gtest/gtest.h>

#include <functional>

#include "write/write_kit.h"

namespace {

using namespace write_kit;

const uint8_t kPalette[768] = {};

// A call that would be good but for what a test changes.
struct Call {
    explicit Call(int32_t format = TIVAR_RGB)
        : drawn(drawNoise(format, 4, 3, 9)), picture(recordOf(drawn)), options(noOptions()) {}

    Drawn drawn;
    TivarPicture picture;
    TivarOptions options;
};

// The same refusal from all three calls, and nothing made.
void expectRefused(const TivarPicture& picture, const TivarOptions& options, int32_t result,
                   const char* field) {
    const support::TempDirectory directory;
    Sink sink;
    for (const Written& written : {toMemory(picture, options), toSink(picture, options, sink),
                                   toFile(picture, options, directory.path("out.bmp"))}) {
        EXPECT_EQ(written.result, result) << field << ": " << written.report.text;
        EXPECT_EQ(written.report.result, result);
        EXPECT_STREQ(written.report.field, field);
        EXPECT_NE(std::string(written.report.text).find(field), std::string::npos)
            << written.report.text;
        EXPECT_EQ(written.report.system_error, 0);
        EXPECT_EQ(written.report.bytes, 0u);
        EXPECT_TRUE(written.bytes.empty());
    }
    EXPECT_TRUE(directory.names().empty());
}

void expectRefused(const Call& call, int32_t result, const char* field) {
    expectRefused(call.picture, call.options, result, field);
}

using Change = std::function<void(Call&)>;

void expectRefusal(int32_t result, const char* field, const Change& change,
                   int32_t format = TIVAR_RGB) {
    Call call(format);
    ASSERT_EQ(toMemory(call.picture, call.options).result, TIVAR_RESULT_OK);
    change(call);
    expectRefused(call, result, field);
}

void expectAccepted(const Change& change, int32_t format = TIVAR_RGB) {
    Call call(format);
    change(call);
    const Written written = toMemory(call.picture, call.options);
    EXPECT_EQ(written.result, TIVAR_RESULT_OK) << written.report.text;
}

// ---- The call ----------------------------------------------------------------------------------

TEST(WriteJob, NullPointersAreBadCalls) {
    Call call;
    Sink sink;
    const TivarSink record = sink.record();
    TivarReport report = noReport();
    EXPECT_EQ(tivar_write_bmp(nullptr, nullptr, &record, &report), TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "picture");
    EXPECT_EQ(tivar_write_bmp(&call.picture, nullptr, nullptr, &report), TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "sink");
    const TivarSink empty = {sizeof empty, nullptr, nullptr};
    EXPECT_EQ(tivar_write_bmp(&call.picture, nullptr, &empty, &report), TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "sink.write");
    EXPECT_EQ(tivar_write_bmp_file(&call.picture, nullptr, nullptr, 0, &report),
              TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "name");
    void* bytes = &call;
    size_t length = 5;
    EXPECT_EQ(tivar_write_bmp_memory(&call.picture, nullptr, nullptr, &length, &report),
              TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "bytes");
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(tivar_write_bmp_memory(&call.picture, nullptr, &bytes, nullptr, &report),
              TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "length");
    EXPECT_EQ(bytes, nullptr);
    EXPECT_TRUE(sink.bytes.empty());
}

TEST(WriteJob, FlagsThatAreUnknownAreABadCall) {
    const support::TempDirectory directory;
    Call call;
    const Written written =
        toFile(call.picture, call.options, directory.path("out.bmp"), 4u | TIVAR_FILE_NEW);
    EXPECT_EQ(written.result, TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(written.report.field, "flags");
    EXPECT_TRUE(directory.names().empty());
}

// ---- Records and their sizes -------------------------------------------------------------------

// What the records of the first release, 2.1.0, have, with words of 64 bits and of 32. Hosts that
// were compiled then say so for ever, however long the records have become.
constexpr bool kWide = sizeof(void*) == 8;
constexpr uint32_t kFirstPicture = kWide ? 64 : 44;
constexpr uint32_t kFirstOptions = kWide ? 104 : 80;
constexpr uint32_t kFirstSink = kWide ? 24 : 12;
constexpr uint32_t kFirstReport = 224;

TEST(WriteJob, RecordsOfTheFirstReleaseAreTaken) {
    Call call;
    call.picture.size = kFirstPicture;
    call.options.size = kFirstOptions;
    EXPECT_EQ(toMemory(call.picture, call.options).result, TIVAR_RESULT_OK);
    Sink sink;
    TivarSink record = sink.record();
    record.size = kFirstSink;
    TivarReport report = noReport();
    report.size = kFirstReport;
    EXPECT_EQ(tivar_write_bmp(&call.picture, &call.options, &record, &report), TIVAR_RESULT_OK);
    EXPECT_EQ(report.size, kFirstReport);
}

TEST(WriteJob, RecordsThatAreTooSmallAreBadCalls) {
    for (const uint32_t less : {1u, 4u, kFirstPicture})
        expectRefusal(TIVAR_RESULT_BAD_CALL, "picture.size",
                      [=](Call& call) { call.picture.size = kFirstPicture - less; });
    for (const uint32_t less : {1u, 4u, kFirstOptions})
        expectRefusal(TIVAR_RESULT_BAD_CALL, "options.size",
                      [=](Call& call) { call.options.size = kFirstOptions - less; });
    Call call;
    Sink sink;
    TivarSink record = sink.record();
    TivarReport report = noReport();
    record.size = kFirstSink - 1;
    EXPECT_EQ(tivar_write_bmp(&call.picture, nullptr, &record, &report), TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "sink.size");
}

// Nothing of a record behind its stated size is touched, nothing of a report's at all.
TEST(WriteJob, AReportOfAWrongSizeIsABadCall) {
    const support::TempDirectory directory;
    Call call;
    Sink sink;
    const TivarSink record = sink.record();
    for (const uint32_t size : {0u, 4u, kFirstReport - 1, 4097u, UINT32_MAX}) {
        TivarReport report = noReport();
        const TivarReport before = report;
        report.size = size;
        void* bytes = nullptr;
        size_t length = 0;
        EXPECT_EQ(tivar_write_bmp_memory(&call.picture, nullptr, &bytes, &length, &report),
                  TIVAR_RESULT_BAD_CALL);
        EXPECT_EQ(tivar_write_bmp(&call.picture, nullptr, &record, &report), TIVAR_RESULT_BAD_CALL);
        EXPECT_EQ(tivar_write_bmp_file(&call.picture, nullptr, directory.path("out.bmp").c_str(), 0,
                                       &report),
                  TIVAR_RESULT_BAD_CALL);
        EXPECT_EQ(std::memcmp(reinterpret_cast<const char*>(&report) + 4,
                              reinterpret_cast<const char*>(&before) + 4, sizeof report - 4),
                  0);
        EXPECT_EQ(bytes, nullptr);
    }
    EXPECT_TRUE(sink.bytes.empty());
    EXPECT_TRUE(directory.names().empty());
}

// A record of a later release: this one's, and fields behind it.
template <class Record>
struct Later {
    Record record;
    uint8_t rest[24];
};

template <class Record>
Later<Record> later(const Record& record) {
    Later<Record> grown = {};
    grown.record = record;
    grown.record.size = sizeof grown;
    return grown;
}

TEST(WriteJob, LaterRecordsAreTakenWhileTheirNewFieldsAreZero) {
    Call call;
    Later<TivarPicture> picture = later(call.picture);
    Later<TivarOptions> options = later(call.options);
    const Bytes wanted = toMemory(call.picture, call.options).bytes;
    EXPECT_EQ(toMemory(picture.record, options.record).bytes, wanted);
    picture.rest[23] = 1;
    expectRefused(picture.record, options.record, TIVAR_RESULT_BAD_CALL, "picture.size");
    picture.rest[23] = 0;
    options.rest[0] = 1;
    expectRefused(picture.record, options.record, TIVAR_RESULT_BAD_CALL, "options.size");

    Sink sink;
    Later<TivarSink> taking = later(sink.record());
    TivarReport report = noReport();
    EXPECT_EQ(tivar_write_bmp(&call.picture, nullptr, &taking.record, &report), TIVAR_RESULT_OK);
    taking.rest[5] = 1;
    EXPECT_EQ(tivar_write_bmp(&call.picture, nullptr, &taking.record, &report),
              TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "sink.size");
}

TEST(WriteJob, ALaterReportHasItsNewFieldsZero) {
    Call call;
    Later<TivarReport> report = later(noReport());
    std::memset(report.rest, 0xEE, sizeof report.rest);
    void* bytes = nullptr;
    size_t length = 0;
    EXPECT_EQ(tivar_write_bmp_memory(&call.picture, nullptr, &bytes, &length, &report.record),
              TIVAR_RESULT_OK);
    tivar_free(bytes);
    EXPECT_EQ(report.record.size, sizeof report);
    EXPECT_EQ(report.record.bytes, length);
    for (const uint8_t byte : report.rest) EXPECT_EQ(byte, 0);
}

// ---- The picture -------------------------------------------------------------------------------

TEST(WriteJob, EveryFieldOfThePictureIsChecked) {
    const auto bad = [](const char* field, const Change& change, int32_t format = TIVAR_RGB) {
        expectRefusal(TIVAR_RESULT_BAD_PICTURE, field, change, format);
    };
    for (const int32_t format : {-1, 8, INT32_MAX, INT32_MIN})
        bad("picture.format", [=](Call& call) { call.picture.format = format; });
    for (const uint32_t side : {0u, 0x80000000u, 0xFFFFFFFFu}) {
        bad("picture.width", [=](Call& call) { call.picture.width = side; });
        bad("picture.height", [=](Call& call) { call.picture.height = side; });
    }
    bad("picture.pixels", [](Call& call) { call.picture.pixels = nullptr; });
    for (const ptrdiff_t stride : {ptrdiff_t{1}, ptrdiff_t{11}, ptrdiff_t{-1}, ptrdiff_t{-11}})
        bad("picture.stride", [=](Call& call) { call.picture.stride = stride; });
    for (const uint32_t flags : {2u, 3u, 0x80000000u})
        bad("picture.flags", [=](Call& call) { call.picture.flags = flags; });
    bad(
        "picture.palette", [](Call& call) { call.picture.palette = nullptr; }, TIVAR_INDEX8);
    for (const int32_t format : {TIVAR_INDEX1, TIVAR_INDEX4, TIVAR_INDEX8}) {
        const uint32_t room = 1u << model::bitsOfFormat(format);
        for (const uint32_t count : {0u, room + 1, 0xFFFFFFFFu})
            bad(
                "picture.palette_count",
                [=](Call& call) {
                    call.picture.palette = kPalette;
                    call.picture.palette_count = count;
                },
                format);
    }
}

TEST(WriteJob, PicturesThatContradictThemselvesAreRefused) {
    const auto contradicts = [](const char* field, const Change& change) {
        expectRefusal(TIVAR_RESULT_CONTRADICTION, field, change);
    };
    const TivarReadRow never = [](void*, uint32_t, void*) -> int32_t { return 1; };
    contradicts("picture.read_row", [=](Call& call) { call.picture.read_row = never; });
    contradicts("picture.flags", [](Call& call) { call.picture.flags = TIVAR_ROWS_IN_ORDER; });
    contradicts("picture.stride", [=](Call& call) {
        call.picture.pixels = nullptr;
        call.picture.read_row = never;
        call.picture.stride = 12;
    });
    contradicts("picture.palette", [](Call& call) { call.picture.palette = kPalette; });
    contradicts("picture.palette", [](Call& call) { call.picture.palette_count = 1; });
}

// Without a stride too, which then is a row's bytes.
TEST(WriteJob, PicturesThatNoMemoryHoldsAreRefused) {
    for (const ptrdiff_t stride : {ptrdiff_t{0}, PTRDIFF_MAX, PTRDIFF_MIN + 1}) {
        expectRefusal(
            TIVAR_RESULT_BAD_PICTURE, "picture.height",
            [=](Call& call) {
                call.picture.width = 0x7FFFFFFF;
                call.picture.height = 0x7FFFFFFF;
                call.picture.stride = sizeof(void*) == 4 ? 0 : stride;
            },
            TIVAR_RGBA);
    }
}

TEST(WriteJob, OneRowNeedsNoStride) {
    for (const ptrdiff_t stride : {ptrdiff_t{1}, ptrdiff_t{-1}, PTRDIFF_MAX, PTRDIFF_MIN}) {
        expectAccepted([=](Call& call) {
            call.picture.height = 1;
            call.picture.stride = stride;
        });
    }
}

// No call-back is asked, and no pixel read, before the sizes are known to be good.
TEST(WriteJob, FilesBeyond4GiBAreTooLarge) {
    const TivarReadRow never = [](void*, uint32_t, void*) -> int32_t {
        ADD_FAILURE() << "a row was asked for";
        return 1;
    };
    const struct {
        int32_t bits;
        uint32_t width;
        uint32_t height;
    } sizes[] = {{24, 0x7FFFFFFF, 1},         {24, 1, 0x7FFFFFFF}, {32, 32768, 32768},
                 {8, 65536, 65536},           {1, 0x7FFFFFFF, 16}, {8, 0x7FFFFFFF, 2},
                 {32, 0x7FFFFFFF, 0x7FFFFFFF}};
    for (const auto& size : sizes) {
        Call call;
        call.picture.pixels = nullptr;
        call.picture.read_row = never;
        call.picture.width = size.width;
        call.picture.height = size.height;
        call.options.bits = size.bits;
        const Written written = toSink(call.picture, call.options);
        EXPECT_EQ(written.result, TIVAR_RESULT_TOO_LARGE) << size.bits;
        EXPECT_TRUE(written.bytes.empty());
    }
}

// ---- The options -------------------------------------------------------------------------------

struct Number {
    const char* field;
    int32_t TivarOptions::*member;
    int32_t last;
};

TEST(WriteJob, EveryFieldOfTheOptionsIsChecked) {
    const Number choices[] = {
        {"options.header", &TivarOptions::header, TIVAR_HEADER_V4},
        {"options.encoding", &TivarOptions::encoding, TIVAR_ENCODING_SMALLEST},
        {"options.row_order", &TivarOptions::row_order, TIVAR_TOP_DOWN},
        {"options.palette_length", &TivarOptions::palette_length, TIVAR_PALETTE_FULL},
        {"options.masks", &TivarOptions::masks, TIVAR_MASKS_555},
        {"options.colors", &TivarOptions::colors, TIVAR_COLORS_FILTER},
        {"options.dither", &TivarOptions::dither, TIVAR_DITHER_ORDERED},
        {"options.alpha", &TivarOptions::alpha, TIVAR_ALPHA_DROP},
    };
    for (const Number& choice : choices)
        for (const int32_t value : {-1, choice.last + 1, INT32_MIN, INT32_MAX})
            expectRefusal(TIVAR_RESULT_BAD_OPTION, choice.field,
                          [&](Call& call) { call.options.*choice.member = value; });
    for (const int32_t bits : {-1, 2, 3, 5, 7, 9, 15, 17, 23, 25, 31, 33, 64, INT32_MIN, INT32_MAX})
        expectRefusal(TIVAR_RESULT_BAD_OPTION, "options.bits",
                      [=](Call& call) { call.options.bits = bits; });
    const Number numbers[] = {{"options.x_per_meter", &TivarOptions::x_per_meter, 0},
                              {"options.y_per_meter", &TivarOptions::y_per_meter, 0},
                              {"options.threads", &TivarOptions::threads, 0}};
    for (const Number& number : numbers)
        for (const int32_t value : {-1, INT32_MIN})
            expectRefusal(TIVAR_RESULT_BAD_OPTION, number.field,
                          [&](Call& call) { call.options.*number.member = value; });
    expectRefusal(
        TIVAR_RESULT_BAD_OPTION, "options.background",
        [](Call& call) {
            call.options.alpha = TIVAR_ALPHA_OVER;
            call.options.background[3] = 1;
        },
        TIVAR_RGBA);
}

TEST(WriteJob, PalettesOfTheOptionsAreChecked) {
    for (const int32_t bits : {1, 4, 8}) {
        const uint32_t room = 1u << bits;
        for (const uint32_t count : {1u, room + 1, 0xFFFFFFFFu})
            expectRefusal(TIVAR_RESULT_BAD_OPTION, "options.max_colors", [=](Call& call) {
                call.options.bits = bits;
                call.options.max_colors = count;
            });
        for (const uint32_t count : {0u, room + 1, 0xFFFFFFFFu})
            expectRefusal(TIVAR_RESULT_BAD_OPTION, "options.palette_count", [=](Call& call) {
                call.options.bits = bits;
                call.options.colors = TIVAR_COLORS_GIVEN;
                call.options.palette = kPalette;
                call.options.palette_count = count;
            });
        for (const uint32_t count : {2u, room})
            expectAccepted([=](Call& call) {
                call.options.bits = bits;
                call.options.max_colors = count;
            });
        for (const uint32_t count : {1u, room})
            expectAccepted([=](Call& call) {
                call.options.bits = bits;
                call.options.colors = TIVAR_COLORS_GIVEN;
                call.options.palette = kPalette;
                call.options.palette_count = count;
            });
    }
}

TEST(WriteJob, OptionsThatExcludeEachOtherAreRefused) {
    const auto contradicts = [](const char* field, int32_t bits, const Change& change) {
        expectRefusal(TIVAR_RESULT_CONTRADICTION, field, [&](Call& call) {
            call.options.bits = bits;
            change(call);
        });
    };
    const auto os2 = [](Call& call) { call.options.header = TIVAR_HEADER_OS2; };
    for (const int32_t bits : {16, 32}) contradicts("options.header", bits, os2);
    contradicts("options.encoding", 8, [&](Call& call) {
        os2(call);
        call.options.encoding = TIVAR_ENCODING_RLE;
    });
    contradicts("options.row_order", 8, [&](Call& call) {
        os2(call);
        call.options.row_order = TIVAR_TOP_DOWN;
    });
    contradicts("options.x_per_meter", 8, [&](Call& call) {
        os2(call);
        call.options.x_per_meter = 1;
    });
    contradicts("options.y_per_meter", 8, [&](Call& call) {
        os2(call);
        call.options.y_per_meter = 1;
    });
    for (const int32_t bits : {1, 16, 24, 32})
        contradicts("options.encoding", bits,
                    [](Call& call) { call.options.encoding = TIVAR_ENCODING_RLE; });
    contradicts("options.row_order", 4, [](Call& call) {
        call.options.encoding = TIVAR_ENCODING_RLE;
        call.options.row_order = TIVAR_TOP_DOWN;
    });
    for (const int32_t bits : {1, 4, 8, 24, 32})
        contradicts("options.masks", bits,
                    [](Call& call) { call.options.masks = TIVAR_MASKS_555; });
    for (const int32_t bits : {16, 24, 32}) {
        for (const int32_t colors :
             {TIVAR_COLORS_BEST, TIVAR_COLORS_GREYS, TIVAR_COLORS_GIVEN, TIVAR_COLORS_FILTER})
            contradicts("options.colors", bits, [=](Call& call) { call.options.colors = colors; });
        contradicts("options.max_colors", bits, [](Call& call) { call.options.max_colors = 2; });
        contradicts("options.palette", bits, [](Call& call) { call.options.palette = kPalette; });
        contradicts("options.palette", bits, [](Call& call) { call.options.palette_count = 2; });
        contradicts("options.palette_length", bits,
                    [](Call& call) { call.options.palette_length = TIVAR_PALETTE_FULL; });
    }
    for (const int32_t bits : {24, 32})
        for (const int32_t dither : {TIVAR_DITHER_DIFFUSE, TIVAR_DITHER_ORDERED})
            contradicts("options.dither", bits, [=](Call& call) { call.options.dither = dither; });
    for (const int32_t bits : {1, 4, 8}) {
        contradicts("options.palette", bits,
                    [](Call& call) { call.options.colors = TIVAR_COLORS_GIVEN; });
        contradicts("options.palette", bits, [](Call& call) { call.options.palette_count = 2; });
        contradicts("options.max_colors", bits, [](Call& call) {
            call.options.colors = TIVAR_COLORS_GIVEN;
            call.options.palette = kPalette;
            call.options.palette_count = 2;
            call.options.max_colors = 2;
        });
        for (const int32_t colors :
             {TIVAR_COLORS_DEFAULT, TIVAR_COLORS_BEST, TIVAR_COLORS_GREYS, TIVAR_COLORS_FILTER})
            contradicts("options.palette", bits, [=](Call& call) {
                call.options.colors = colors;
                call.options.palette = kPalette;
                call.options.palette_count = 2;
            });
    }
    for (const int32_t alpha : {TIVAR_ALPHA_DEFAULT, TIVAR_ALPHA_DROP})
        for (const int channel : {0, 1, 2})
            contradicts("options.background", 24, [=](Call& call) {
                call.options.alpha = alpha;
                call.options.background[channel] = 1;
            });
}

TEST(WriteJob, TheSidesOfTheOs2HeaderEndAt65535) {
    for (const bool wide : {false, true}) {
        for (const uint32_t side : {65535u, 65536u}) {
            const Drawn drawn = drawFew(TIVAR_INDEX1, wide ? side : 1, wide ? 1 : side, 2, side);
            TivarOptions options = noOptions();
            options.header = TIVAR_HEADER_OS2;
            if (side == 65535) {
                EXPECT_EQ(judge(toMemory(drawn, options), drawn, options), "");
            } else {
                expectRefused(recordOf(drawn), options, TIVAR_RESULT_TOO_LARGE,
                              wide ? "picture.width" : "picture.height");
            }
        }
    }
}

TEST(WriteJob, AlphaOptionsAreWithoutEffectOnPicturesWithoutAlpha) {
    const Drawn drawn = drawNoise(TIVAR_BGR, 7, 5, 1);
    for (const int32_t bits : {24, 32}) {
        TivarOptions options = optionsOf(bits);
        const Bytes wanted = toMemory(drawn, options).bytes;
        options.alpha = TIVAR_ALPHA_DROP;
        EXPECT_EQ(toMemory(drawn, options).bytes, wanted);
        options.alpha = TIVAR_ALPHA_OVER;
        options.background[0] = 77;
        EXPECT_EQ(toMemory(drawn, options).bytes, wanted);
    }
}

}  // namespace
