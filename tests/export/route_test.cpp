// The filter route from the export call to the finished file, byte for byte against the plain
// model, and encoded files read back.
#include "support/byte_list.h"
#include "support/environment.h"
#include "support/export_host.h"
#include "support/random_numbers.h"
#include "support/temp_directory.h"

namespace {

using support::Bytes;
using support::Drawing;
using support::DrawnPicture;
using support::drawPicture;
using support::Export;
using support::HostDocument;
using support::slice;
using support::TempDirectory;
using support::u16At;
using support::u32At;

constexpr Drawing kDrawings[] = {Drawing::kNoise, Drawing::kFewColors, Drawing::kGreys,
                                 Drawing::kGradient, Drawing::kRuns};

enum Target { kMemory, kFile, kDocument, kTargets };

// What one export of the matrix is made of.
struct Case {
    DrawnPicture picture;
    model::Settings settings;
    model::Description description;
};

std::string nameOf(const Case& c) {
    return std::to_string(c.picture.bits) + " bits, " + std::to_string(c.picture.width) + " x " +
           std::to_string(c.picture.height) + " as format " +
           std::to_string(c.settings.colorFormat) + ", " + std::to_string(c.description.width) +
           " x " + std::to_string(c.description.height) + " at " +
           std::to_string(c.description.resolution) + ", compression " +
           std::to_string(c.settings.compressionMode) + ", type " +
           std::to_string(c.settings.fileType);
}

struct Route : testing::Test {
    // The file as the library writes it to one of the three targets.
    Bytes exported(const Case& c, Target target) {
        Export host(c.settings, c.picture, c.description);
        HostDocument document;
        if (target == kDocument) document.attach(host.settings.record, host.status);
        const std::string name = directory.path("picture.bmp");
        EXPECT_EQ(host.run(target == kMemory ? "" : name.c_str()), 0);
        if (target == kMemory) return host.memoryFile();
        if (target == kDocument) return document.bytes;
        const std::string file = directory.read("picture.bmp");
        return Bytes(file.begin(), file.end());
    }

    Bytes expected(const Case& c) const {
        return model::exportPicture(support::modelPicture(c.picture), c.description, c.settings);
    }

    // Fails on the first byte that differs, without printing the rest.
    void compare(const Case& c, Target target) {
        const Bytes file = exported(c, target);
        const Bytes plain = expected(c);
        ASSERT_EQ(file.size(), plain.size()) << nameOf(c);
        const auto differs = std::mismatch(file.begin(), file.end(), plain.begin());
        ASSERT_TRUE(differs.first == file.end())
            << nameOf(c) << ": byte " << differs.first - file.begin();
    }

    const support::EnvironmentVariable noDisplay{"DISPLAYINFO"};
    const TempDirectory directory;
};

model::Settings settingsOf(int colorFormat, int compressionMode, int fileType) {
    model::Settings settings;
    settings.colorFormat = colorFormat;
    settings.compressionMode = compressionMode;
    settings.fileType = fileType;
    return settings;
}

model::Description sized(int width, int height, int resolution = 96) {
    model::Description description;
    description.resolution = resolution;
    description.width = width;
    description.height = height;
    return description;
}

// Every colour format, compression and flavour.
std::vector<model::Settings> everyLook() {
    std::vector<model::Settings> looks;
    for (const int format : {215, 219, 221, 222})
        for (const int compression : {310, 228})
            for (const int type : {331, 332})
                looks.push_back(settingsOf(format, compression, type));
    return looks;
}

TEST_F(Route, EveryDepthFormatFlavourCompressionAndSizeAgreesWithTheModel) {
    // Equal, odd height, smaller, larger, narrower and higher, wider and lower.
    const model::Description sizes[] = {sized(22, 14), sized(22, 13), sized(9, 6),
                                        sized(37, 30), sized(10, 31), sized(45, 6)};
    uint32_t round = 0;
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const model::Settings& look : everyLook()) {
            for (const model::Description& size : sizes) {
                for (const Drawing drawing : kDrawings) {
                    const Case c = {drawPicture(drawing, bits, 22, 14, round), look, size};
                    ASSERT_NO_FATAL_FAILURE(compare(c, static_cast<Target>(round % kTargets)));
                    ++round;
                }
            }
        }
    }
}

TEST_F(Route, FileMemoryAndDocumentReceiveTheSameBytes) {
    for (const int format : {215, 219, 221, 222}) {
        for (const int compression : {310, 228}) {
            const Case c = {drawPicture(Drawing::kGradient, 24, 120, 90, 8),
                            settingsOf(format, compression, 331), sized(120, 90)};
            for (const Target target : {kMemory, kFile, kDocument})
                ASSERT_NO_FATAL_FAILURE(compare(c, target));
        }
    }
}

// Rows longer than every run, and files of many stream buffers.
TEST_F(Route, LargePicturesAgreeWithTheModel) {
    uint32_t round = 0;
    for (const int bits : {1, 4, 8}) {
        for (const int format : {219, 221}) {
            const Case c = {drawPicture(Drawing::kRuns, bits, 700, 90, ++round),
                            settingsOf(format, 228, 331), sized(700, 90)};
            ASSERT_NO_FATAL_FAILURE(compare(c, static_cast<Target>(round % kTargets)));
        }
    }
    const Case wide = {drawPicture(Drawing::kNoise, 24, 300, 60, 1), settingsOf(222, 310, 331),
                       sized(500, 111)};
    ASSERT_NO_FATAL_FAILURE(compare(wide, kFile));
}

// Sizes, resolutions, modes and displays of all kinds, sane or not.
TEST_F(Route, RandomDescriptionsAgreeWithTheModel) {
    support::Random random(20);
    const auto pick = [&](auto... values) {
        const int choices[] = {values...};
        return choices[random() % sizeof...(values)];
    };
    for (int round = 0; round < 300; ++round) {
        Case c = {drawPicture(kDrawings[random() % std::size(kDrawings)], pick(1, 4, 8, 24),
                              pick(1, 2, 3, 7, 33), pick(1, 2, 3, 7, 20), random()),
                  settingsOf(pick(215, 219, 221, 222), pick(310, 228), pick(331, 332)),
                  sized(pick(1, 2, 5, 33, 60, 0, -3), pick(1, 2, 7, 20, 41, 0, -3),
                        pick(0, 96, 72, 300, 401, 700, -1))};
        c.settings.sizeMode = pick(602, 602, 600, 601);
        c.settings.resolutionMode = pick(309, 309, 307, 308, 310);
        c.settings.pictureWidth = pick(1, 3, 20) / 10.0;
        c.settings.pictureHeight = pick(1, 3, 20) / 10.0;
        c.settings.xResolution = pick(96, 33, 200);
        c.settings.yResolution = pick(96, 33, 200);
        c.description.displayResolution = pick(96, 72, 100);
        c.description.displayWidth = pick(10, 30, 77);
        c.description.displayHeight = pick(10, 30, 77);
        ASSERT_NO_FATAL_FAILURE(compare(c, kMemory)) << round;
    }
}

TEST_F(Route, PicturesWithoutTableAgreeWithTheModel) {
    for (const int bits : {1, 4, 8}) {
        for (const int format : {215, 219, 221, 222}) {
            Case c = {drawPicture(Drawing::kNoise, bits, 11, 8, 2), settingsOf(format, 310, 331),
                      sized(15, 8)};
            c.picture.table.clear();
            ASSERT_NO_FATAL_FAILURE(compare(c, kMemory));
        }
    }
}

TEST_F(Route, BlocksThatAreTooShortReadAsZeroAndEndTheFile) {
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const model::Settings& look : everyLook()) {
            for (const int width : {22, 12, 30}) {
                Case c = {drawPicture(Drawing::kNoise, bits, 22, 14, 4), look, sized(width, 14)};
                c.picture.pixels.resize(c.picture.pixels.size() / 2 + 3);
                c.picture.table.resize(c.picture.table.size() / 2);
                ASSERT_NO_FATAL_FAILURE(compare(c, kMemory));
            }
        }
    }
}

TEST_F(Route, DepthsThatNoPictureHasReadAsZero) {
    for (const int bits : {2, 16}) {
        for (const int format : {215, 219, 221, 222}) {
            const Case c = {drawPicture(Drawing::kNoise, bits, 22, 14, 4),
                            settingsOf(format, 310, 331), sized(30, 14)};
            ASSERT_NO_FATAL_FAILURE(compare(c, kMemory));
        }
    }
}

TEST_F(Route, EmptyPicturesAgreeWithTheModel) {
    for (const int bits : {1, 4, 8, 24}) {
        for (const int format : {215, 219, 221, 222}) {
            for (const auto& [width, height] : {std::pair{0, 0}, {0, 5}, {5, 0}}) {
                const Case c = {drawPicture(Drawing::kNoise, bits, width, height, 4),
                                settingsOf(format, 310, 331), sized(6, 4)};
                ASSERT_NO_FATAL_FAILURE(compare(c, kMemory));
            }
        }
    }
}

TEST_F(Route, OneBitExportsHaveBlackAndWhiteAsTheirTable) {
    for (const int bits : {4, 8, 24}) {
        const Case c = {drawPicture(Drawing::kNoise, bits, 22, 14, 4), settingsOf(215, 310, 331),
                        sized(22, 14)};
        EXPECT_EQ(slice(exported(c, kMemory), 54, 8), (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
    }
}

// --- Encoded files read back --------------------------------------------------------------------

// Decodes the rows of an encoded file: pairs of count and value, where a row ends by its length.
// Empty when a run crosses a row's end or bytes are left over.
Bytes decodedRows(const Bytes& file) {
    const bool os2 = u32At(file, 14) == 12;
    const uint32_t width = os2 ? u16At(file, 18) : u32At(file, 18);
    const uint32_t height = os2 ? u16At(file, 20) : u32At(file, 22);
    const uint32_t bits = os2 ? u16At(file, 24) : u16At(file, 28);
    const uint32_t pixelsPerByte = bits == 4 ? 2 : 1;
    const size_t rowBytes = (size_t{width} * bits + 31) / 32 * 4;
    size_t position = u32At(file, 10);
    Bytes rows;
    for (uint32_t y = 0; y < height; ++y) {
        const size_t rowEnd = rows.size() + rowBytes;
        while (rows.size() < rowEnd && position + 1 < file.size()) {
            rows.insert(rows.end(), file[position] / pixelsPerByte, file[position + 1]);
            position += 2;
        }
        if (rows.size() != rowEnd) return {};
    }
    return position == file.size() ? rows : Bytes();
}

TEST_F(Route, EncodedFilesDecodeToTheRowsOfTheRawOnes) {
    for (const int bits : {1, 4, 8, 24}) {
        for (const int format : {219, 221}) {
            for (const int type : {331, 332}) {
                for (const Drawing drawing : kDrawings) {
                    Case c = {drawPicture(drawing, bits, 301, 20, 6), settingsOf(format, 228, type),
                              sized(301, 20)};
                    const Bytes encoded = exported(c, kMemory);
                    c.settings.compressionMode = 310;
                    const Bytes raw = exported(c, kMemory);
                    ASSERT_EQ(u32At(encoded, 2), raw.size()) << "the size of the raw file";
                    ASSERT_EQ(decodedRows(encoded), slice(raw, u32At(raw, 10))) << nameOf(c);
                    ASSERT_EQ(u32At(encoded, 34), encoded.size() - u32At(encoded, 10));
                }
            }
        }
    }
}

}  // namespace
