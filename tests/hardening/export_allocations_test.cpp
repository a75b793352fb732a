// Whole exports while one allocation fails: the stated code, no leak, and the next export is whole.
#include "hardening/whole_exports.h"
#include "support/environment.h"

namespace {

using namespace hardening;
using support::Drawing;
using support::drawPicture;

struct ExportAllocations : testing::Test {
    const support::EnvironmentVariable noDisplay{"DISPLAYINFO"};
    const support::TempDirectory directory;
};

// Allocations that opening a target takes: without one of them there is no output.
int allocationsOfOpening(Target target) {
    return target == Target::kDocument ? 1 : 2;
}

int sweepFilterExport(const FilterExport& work) {
    SCOPED_TRACE(nameOf(work));
    int swept = 0;
    for (const char* function : kAllocations) {
        int nth = 0;
        const bool opens = std::string(function) == "calloc";
        swept += sweep(function, Failure::kOnce, work, [&](const Outcome& o, const Outcome& whole) {
            ++nth;
            EXPECT_EQ(o.codes[0], opens && nth <= allocationsOfOpening(work.target) ? 303 : 0);
            expectAFilesBeginning(o, whole);
        });
    }
    return swept;
}

TEST_F(ExportAllocations, EveryFilterExportSurvivesEachOfItsAllocations) {
    unsigned round = 0;
    int swept = 0;
    for (const int bits : kDepths) {
        for (const model::Settings& look : everyLook()) {
            // Equal, smaller, larger; the targets take turns.
            for (const auto& [width, height] : {std::pair{12, 10}, {7, 6}, {21, 16}}) {
                const FilterExport work = {drawPicture(Drawing::kGradient, bits, 12, 10, round),
                                           look, sized(width, height), kTargets[round % 3],
                                           directory};
                ++round;
                swept += sweepFilterExport(work);
                ASSERT_FALSE(HasFailure());
            }
        }
        ++round;
    }
    EXPECT_GT(swept, 5 * 8 * 3 * 8) << "an export allocates more often";
}

// Files of several buffers and blocks that grow more than once.
TEST_F(ExportAllocations, LargerFilterExportsSurviveEachOfTheirAllocations) {
    for (const Target target : kTargets) {
        for (const int compression : {310, 228}) {
            sweepFilterExport({drawPicture(Drawing::kNoise, 8, 230, 110, 5),
                               settingsOf(221, compression, 331), sized(230, 110), target,
                               directory});
            ASSERT_FALSE(HasFailure());
        }
    }
}

// The export call passes none of these codes on; they show at the stage.
TEST_F(ExportAllocations, PictureOutputAnswers27OrMinus1) {
    std::set<int64_t> codes;
    for (const int compression : {310, 228}) {
        const auto work = [&](Attempt& attempt) {
            const support::CurrentSettings record(settingsOf(219, compression, 331));
            support::PictureInMemory source(drawPicture(Drawing::kGradient, 24, 12, 10, 1));
            source.picture.targetWidth = 12;
            source.picture.targetHeight = 10;
            source.picture.resolution = 96;
            Outcome outcome;
            outcome.codes = {99};
            void* data = GlobalLock(GlobalAlloc(TIVAR_GMEM_FLAGS, 4096));
            OxlStreamDesc descriptor = {};
            descriptor.target = reinterpret_cast<HostWord>(&data);
            descriptor.size = 4096;
            const OxlStream stream = oxlOpen(nullptr, &descriptor, OXL_CREATE | OXL_WRITE);
            attempt([&] {
                outcome.codes[0] = OutputPicture(stream, &source.picture, DrawExportCellData);
            });
            oxlClose(stream);
            outcome.bytes = support::blockContents(GlobalHandle(data));
            GlobalFree(GlobalHandle(data));
            return outcome;
        };
        sweep("calloc", Failure::kOnce, work,
              [&](const Outcome& o, const Outcome&) { codes.insert(o.codes[0]); });
    }
    EXPECT_EQ(codes, (std::set<int64_t>{0, 27, -1}));
}

int sweepDriverExport(const DriverExport& work) {
    SCOPED_TRACE(nameOf(work));
    int swept = 0;
    for (const char* function : kAllocations) {
        swept += sweep(function, Failure::kOnce, work, [](const Outcome& o, const Outcome& whole) {
            expectDriverCodes(o);
            expectAFilesBeginning(o, whole);
        });
    }
    return swept;
}

TEST_F(ExportAllocations, EveryDriverExportSurvivesEachOfItsAllocations) {
    unsigned round = 0;
    int swept = 0;
    for (const int bits : kDepths) {
        for (const model::Settings& look : everyLook()) {
            for (const Image image : {Image::kBracket, Image::kAlone}) {
                const DriverExport work = {drawPicture(Drawing::kGradient, bits, 12, 10, round),
                                           look,
                                           image,
                                           round % 2 == 1,
                                           round % 4 < 2 ? 0.0 : 0.254,
                                           kTargets[round / 2 % 3],
                                           directory};
                ++round;
                swept += sweepDriverExport(work);
                ASSERT_FALSE(HasFailure());
            }
        }
        ++round;
    }
    EXPECT_GT(swept, 5 * 8 * 2 * 8) << "an export allocates more often";
}

TEST_F(ExportAllocations, TheCommonBlockRouteAnswers21Or303AndGoesOn) {
    std::set<int64_t> codes;
    for (const Target target : kTargets) {
        for (const model::Settings& look : everyLook()) {
            for (const char* function : kAllocations) {
                const CommonExport work = {look, target, directory};
                sweep(function, Failure::kOnce, work, [&](const Outcome& o, const Outcome&) {
                    codes.insert(o.codes[0]);
                    EXPECT_TRUE(isOneOf(o.codes[0], {0, 21, 303})) << shown(o);
                    EXPECT_TRUE(isOneOf(o.codes[1], {300, 303})) << shown(o);
                });
                ASSERT_FALSE(HasFailure());
            }
        }
    }
    EXPECT_TRUE(codes.count(21) == 1 && codes.count(303) == 1);
}

}  // namespace
