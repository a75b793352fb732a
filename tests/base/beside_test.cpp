#include "base/beside.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "support/open_files.h"
#include "support/temp_directory.h"

namespace {

using tivar::createBeside;

TEST(Beside, IsAFileOfItsOwn) {
    const support::TempDirectory directory;
    char name[4096];
    const int file = createBeside(directory.path("out").c_str(), true, name, sizeof name);
    ASSERT_GE(file, 0);
    EXPECT_EQ(name, directory.path("out." + std::to_string(getpid()) + "-0"));
    close(file);
}

TEST(Beside, TakesTheNextNameThatIsFree) {
    const support::TempDirectory directory;
    const std::string mine = "out." + std::to_string(getpid()) + "-";
    for (int i = 0; i < 99; ++i) directory.write(mine + std::to_string(i), "taken");
    char name[4096];
    const int file = createBeside(directory.path("out").c_str(), true, name, sizeof name);
    ASSERT_GE(file, 0);
    EXPECT_EQ(name, directory.path(mine + "99"));
    close(file);
}

TEST(Beside, IsNotThereWhenAHundredNamesAreTaken) {
    const support::TempDirectory directory;
    const std::string mine = "out." + std::to_string(getpid()) + "-";
    for (int i = 0; i < 100; ++i) directory.write(mine + std::to_string(i), "taken");
    const size_t files = support::openFiles();
    char name[4096];
    EXPECT_EQ(createBeside(directory.path("out").c_str(), true, name, sizeof name), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(support::openFiles(), files);
    EXPECT_EQ(directory.names().size(), 100u);
}

// Names have 255 bytes at most, and 32 of them are for what is put behind: of 223 bytes the last is
// half a character.
TEST(Beside, ALongNameIsCutBetweenCharacters) {
    const std::string end = "." + std::to_string(getpid()) + "-0";
    std::string letters;
    for (int i = 0; i < 120; ++i) letters += "\xC3\xA9";
    const struct {
        std::string path;
        std::string kept;
    } cases[] = {
        {letters, letters.substr(0, 222)},
        {"o" + letters, "o" + letters.substr(0, 222)},
        {std::string(223, 'o'), std::string(223, 'o')},
        {std::string(224, 'o'), std::string(223, 'o')},
        // No character begins anywhere in it.
        {std::string(224, '\x80'), ""},
    };
    for (const auto& given : cases) {
        const support::TempDirectory directory;
        char name[4096];
        const int file = createBeside(directory.path(given.path).c_str(), true, name, sizeof name);
        ASSERT_GE(file, 0);
        EXPECT_EQ(name, directory.path(given.kept + end));
        close(file);
    }
}

TEST(Beside, NeedsRoomForItsName) {
    const support::TempDirectory directory;
    const std::string path = directory.path("out");
    const size_t needed = path.size() + 1 + std::to_string(getpid()).size() + 2;
    char name[4096];
    errno = 0;
    EXPECT_EQ(createBeside(path.c_str(), true, name, needed), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    const int file = createBeside(path.c_str(), true, name, needed + 1);
    EXPECT_GE(file, 0);
    close(file);
}

}  // namespace
