#include "export/platform_metafile.h"

#include <tivar/export.h>

#include "support/host_word.h"

namespace {

using support::asWord;
using tivar::MetafileRectangle;

TEST(MetafileHooks, InitialisingClearsItsFourOutputsAndReturnsItsFirstArgument) {
    HostWord status[3] = {1, 2, 3};
    HostWord word1 = 4;
    HostWord word2 = 5;
    HostWord callback = 6;
    MemHandle handle = 7;
    EXPECT_EQ(tivar::InitPlatformMetafileFilter(11, 22, status, &word1, &handle, &word2, &callback),
              11u);
    EXPECT_EQ(word1, 0u);
    EXPECT_EQ(word2, 0u);
    EXPECT_EQ(callback, 0u);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(status[0] + status[1] + status[2], 6u) << "the host's block stays";
}

TEST(MetafileHooks, InitialisingSkipsMissingOutputs) {
    EXPECT_EQ(
        tivar::InitPlatformMetafileFilter(11, 22, nullptr, nullptr, nullptr, nullptr, nullptr),
        11u);
}

TEST(MetafileHooks, ThereIsNoMetafile) {
    EXPECT_EQ(tivar::TermPlatformMetafileFilter(5), 0u);
    EXPECT_EQ(tivar::GetMetaFileHandle(5, 6), 0u);
    EXPECT_EQ(tivar::DeleteMetaFileHandle(5), 0u);
}

TEST(MetafileDrawing, QueryAnswersTheSizeInUnits) {
    struct Case {
        MetafileRectangle rectangle;
        double width;
        double height;
        uint32_t units;
    };
    for (const Case& c :
         {Case{{99, 0, 200, 300, 0, 100}, 3.0, 2.0, 100},
          {{99, 0, 200, 300, 0, 0}, 300.0, 200.0, 0},
          {{99, -50, 10, -20, 40, 1}, 30.0, -30.0, 1},
          {{99, 0, 200, 300, 0, -1}, 300.0 / 4294967295.0, 200.0 / 4294967295.0, 0xFFFFFFFF}}) {
        MetafileRectangle rectangle = c.rectangle;
        CellFormat format = {};
        EXPECT_EQ(tivar::DrawPlatformMetafile(0, &rectangle, asWord(&format), 0), 0u);
        EXPECT_EQ(format.width, c.width);
        EXPECT_EQ(format.height, c.height);
        EXPECT_EQ(format.resolution, c.units);
        EXPECT_EQ(format.swapRedBlue, 4);
    }
}

TEST(MetafileDrawing, OtherMessagesDrawNothing) {
    HostWord word = 3;
    for (const int32_t message : {1, 3, 4, -1})
        EXPECT_EQ(tivar::DrawPlatformMetafile(message, &word, asWord(&word), asWord(&word)), 0u);
    EXPECT_EQ(word, 3u);
}

TEST(MetafileDrawing, TerminatingTellsWhetherThereWasARecord) {
    HostWord word = 3;
    EXPECT_EQ(tivar::DrawPlatformMetafile(2, nullptr, 0, 0), 1u);
    EXPECT_EQ(tivar::DrawPlatformMetafile(2, &word, 0, 0), 0u);
}

TEST(MetafileDrawing, QueryWithoutRecordsIsHarmless) {
    MetafileRectangle rectangle = {};
    CellFormat format = {1, 2, 3, 5, 0};
    EXPECT_EQ(tivar::DrawPlatformMetafile(0, nullptr, asWord(&format), 0), 0u);
    EXPECT_EQ(tivar::DrawPlatformMetafile(0, &rectangle, 0, 0), 0u);
    EXPECT_EQ(format.width, 1);
    EXPECT_EQ(format.swapRedBlue, 5);
}

}  // namespace
