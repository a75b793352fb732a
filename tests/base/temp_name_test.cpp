#include "base/temp_name.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "support/failing_call.h"

namespace {

using tivar::OXLGetTempFileName;

TEST(TempFileName, NamesAFileThatDoesNotExist) {
    char name[144];
    ASSERT_EQ(OXLGetTempFileName('C', "pre", 17, name), 1);
    EXPECT_EQ(std::filesystem::path(name).parent_path(), "/tmp");
    EXPECT_FALSE(std::filesystem::exists(name));
}

TEST(TempFileName, NamesDiffer) {
    char first[144];
    char second[144];
    ASSERT_EQ(OXLGetTempFileName(0, "", 0, first), 1);
    ASSERT_EQ(OXLGetTempFileName(0, nullptr, 0, second), 1);
    EXPECT_STRNE(first, second);
}

TEST(TempFileName, WithoutANameTheResultIs0) {
    char name[144] = "unchanged";
    const support::FailingCall noName("mkstemp");
    EXPECT_EQ(OXLGetTempFileName(0, "", 0, name), 0);
    EXPECT_STREQ(name, "unchanged");
    EXPECT_EQ(OXLGetTempFileName(0, "", 0, nullptr), 0);
}

// Where the standard input is closed, the file that proves the name unused has descriptor 0.
TEST(TempFileName, ADescriptorOf0IsOneToo) {
    const int input = dup(0);
    close(0);
    char name[144];
    EXPECT_EQ(OXLGetTempFileName(0, "", 0, name), 1);
    const bool closed = fcntl(0, F_GETFD) == -1;
    if (input >= 0) {
        dup2(input, 0);
        close(input);
    }
    EXPECT_TRUE(closed);
}

}  // namespace
