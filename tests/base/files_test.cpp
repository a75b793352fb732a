#include "base/files.h"

#include <sys/stat.h>

#include <cerrno>

#include "support/failing_call.h"
#include "support/temp_directory.h"

namespace {

TEST(ReadStatus, IsThatOfTheSystem) {
    const support::TempDirectory directory;
    const std::string file = directory.write("file", "abc");
    chmod(file.c_str(), 0640);
    for (const std::string& name : {file, directory.path(""), std::string("/dev/null")}) {
        struct stat wanted = {};
        ASSERT_EQ(stat(name.c_str(), &wanted), 0);
        tivar::FileStatus status = {tivar::FileKind::kOther, 1, 4711, 4712};
        EXPECT_TRUE(tivar::readStatus(name.c_str(), status));
        EXPECT_EQ(status.kind, name == file          ? tivar::FileKind::kFile
                               : name == "/dev/null" ? tivar::FileKind::kOther
                                                     : tivar::FileKind::kDirectory);
        EXPECT_EQ(status.mode, wanted.st_mode & 07777);
        EXPECT_EQ(status.owner, wanted.st_uid);
        EXPECT_EQ(status.group, wanted.st_gid);
    }
    tivar::FileStatus status = {};
    EXPECT_FALSE(tivar::readStatus(directory.path("none").c_str(), status));
}

TEST(SyncDirectoryOf, IsThatOfTheNamedFile) {
    const support::TempDirectory directory;
    EXPECT_TRUE(tivar::syncDirectoryOf(directory.path("file").c_str()));
    EXPECT_TRUE(tivar::syncDirectoryOf("file"));
    EXPECT_FALSE(tivar::syncDirectoryOf(directory.path("missing/file").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

// Where the file system makes no link, for that reason.
bool installWithoutLinks(const std::string& from, const std::string& to, int reason) {
    const support::FailingCall noLinks("link");
    errno = reason;
    return tivar::installNewFile(from.c_str(), to.c_str());
}

TEST(InstallNewFile, GivesTheFileItsName) {
    const support::TempDirectory directory;
    const std::string from = directory.write("from", "new");
    EXPECT_TRUE(tivar::installNewFile(from.c_str(), directory.path("to").c_str()));
    EXPECT_EQ(directory.names(), std::set<std::string>{"to"});
    EXPECT_EQ(directory.read("to"), "new");
}

TEST(InstallNewFile, DoesSoWhereThereAreNoLinks) {
    for (const int reason : {EPERM, EOPNOTSUPP, ENOSYS}) {
        const support::TempDirectory directory;
        EXPECT_TRUE(
            installWithoutLinks(directory.write("from", "new"), directory.path("to"), reason));
        EXPECT_EQ(directory.names(), std::set<std::string>{"to"});
        EXPECT_EQ(directory.read("to"), "new");
    }
}

TEST(InstallNewFile, FailsWhereALinkFailsForAnotherReason) {
    for (const int reason : {EACCES, EMLINK, ENOSPC, EROFS}) {
        const support::TempDirectory directory;
        EXPECT_FALSE(
            installWithoutLinks(directory.write("from", "new"), directory.path("to"), reason));
        EXPECT_EQ(errno, reason);
        EXPECT_EQ(directory.names(), std::set<std::string>{"from"});
    }
}

TEST(InstallNewFile, ReplacesNothing) {
    const support::TempDirectory directory;
    const std::string from = directory.write("from", "new");
    const std::string to = directory.write("to", "old");
    EXPECT_FALSE(tivar::installNewFile(from.c_str(), to.c_str()));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(installWithoutLinks(from, to, EPERM));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(directory.read("to"), "old");
    EXPECT_EQ(directory.read("from"), "new");
}

}  // namespace
