// Named files: complete or not at all, whatever stands at the place before.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/open_files.h"
#include "write/write_kit.h"

namespace {

using namespace write_kit;

struct WriteFile : testing::Test {
    Written put(const std::string& name, uint32_t flags = 0) const {
        return toFile(recordOf(picture), noOptions(), name, flags);
    }
    void expectFailed(const std::string& name, int error, uint32_t flags = 0) const {
        const size_t files = support::openFiles();
        const std::set<std::string> before = directory.names();
        TivarReport report = noReport();
        const TivarPicture record = recordOf(picture);
        EXPECT_EQ(tivar_write_bmp_file(&record, nullptr, name.c_str(), flags, &report),
                  TIVAR_RESULT_FILE_FAILED);
        EXPECT_EQ(report.result, TIVAR_RESULT_FILE_FAILED);
        EXPECT_EQ(report.system_error, error) << strerror(report.system_error);
        EXPECT_NE(report.text[0], '\0');
        EXPECT_EQ(support::openFiles(), files);
        EXPECT_EQ(directory.names(), before);
    }
    mode_t modeOf(const std::string& name) const {
        struct stat status = {};
        stat(directory.path(name).c_str(), &status);
        return status.st_mode & 07777;
    }

    const support::TempDirectory directory;
    const Drawn picture = drawNoise(TIVAR_RGB, 31, 17, 3);
    const Bytes wanted = toMemory(picture, noOptions()).bytes;
};

TEST_F(WriteFile, ANewFileHasTheModeThatTheProcessGives) {
    for (const mode_t mask : {0022u, 0077u, 0002u}) {
        const mode_t before = umask(mask);
        EXPECT_EQ(put(directory.path("new.bmp")).bytes, wanted);
        umask(before);
        EXPECT_EQ(modeOf("new.bmp"), 0666u & ~mask);
        unlink(directory.path("new.bmp").c_str());
    }
}

TEST_F(WriteFile, AFileThatIsReplacedGivesItsMode) {
    for (const mode_t mode : {0600u, 0640u, 0755u, 0666u}) {
        const std::string name = directory.write(
            "old.bmp", "something longer than the new file" + std::string(5000, 'x'));
        chmod(name.c_str(), mode);
        EXPECT_EQ(put(name).bytes, wanted);
        EXPECT_EQ(modeOf("old.bmp"), mode);
        EXPECT_EQ(directory.names().size(), 1u);
        unlink(name.c_str());
    }
}

TEST_F(WriteFile, ToTheSuperuserAFileThatIsReplacedGivesItsOwner) {
    if (geteuid() != 0) GTEST_SKIP() << "no other user gives files away";
    const std::string name = directory.write("old.bmp", "old");
    chmod(name.c_str(), 0640);
    ASSERT_EQ(chown(name.c_str(), 65533, 65532), 0);
    EXPECT_EQ(put(name).bytes, wanted);
    struct stat status = {};
    stat(name.c_str(), &status);
    EXPECT_EQ(status.st_uid, 65533u);
    EXPECT_EQ(status.st_gid, 65532u);
    EXPECT_EQ(modeOf("old.bmp"), 0640u);
}

// It is no file that could be replaced, and nothing can be opened there.
TEST_F(WriteFile, ASocketIsRefusedAsItIsOpened) {
    const support::WorkingDirectory inside(directory.path(""));
    sockaddr_un address = {AF_UNIX, "socket"};
    const int made = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectFailed("socket", ENXIO);
    close(made);
}

// Who has the old file open goes on reading it.
TEST_F(WriteFile, AReaderOfTheOldFileKeepsIt) {
    const std::string name = directory.write("old.bmp", "old");
    std::ifstream reader(name);
    ASSERT_EQ(put(name).result, TIVAR_RESULT_OK);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
}

TEST_F(WriteFile, ASymbolicLinkStaysAndLeadsToTheNewFile) {
    std::filesystem::create_directory(directory.path("there"));
    for (const bool exists : {false, true}) {
        if (exists) directory.write("there/target.bmp", "old");
        std::filesystem::remove(directory.path("link.bmp"));
        symlink("there/target.bmp", directory.path("link.bmp").c_str());
        EXPECT_EQ(put(directory.path("link.bmp")).bytes, wanted);
        EXPECT_TRUE(std::filesystem::is_symlink(directory.path("link.bmp")));
        EXPECT_FALSE(std::filesystem::is_symlink(directory.path("there/target.bmp")));
        std::filesystem::remove(directory.path("there/target.bmp"));
    }
}

// Their names, and where they lead, have no directory.
TEST_F(WriteFile, ALinkInTheWorkingDirectoryIsFollowed) {
    symlink("target.bmp", directory.path("link.bmp").c_str());
    const support::WorkingDirectory here(directory.path());
    EXPECT_EQ(put("link.bmp").bytes, wanted);
    EXPECT_TRUE(std::filesystem::is_symlink("link.bmp"));
    EXPECT_EQ(directory.names(), (std::set<std::string>{"link.bmp", "target.bmp"}));
}

TEST_F(WriteFile, ChainsOfLinksAreFollowedAndRingsAreNot) {
    symlink("b", directory.path("a").c_str());
    symlink(directory.path("c").c_str(), directory.path("b").c_str());
    EXPECT_EQ(put(directory.path("a")).bytes, wanted);
    EXPECT_TRUE(std::filesystem::is_symlink(directory.path("b")));
    EXPECT_TRUE(std::filesystem::is_regular_file(directory.path("c")));
    symlink("ring", directory.path("ring").c_str());
    expectFailed(directory.path("ring"), ELOOP);
}

// A place that does not fit is no place: never one whose name was cut.
TEST_F(WriteFile, ALinkToAPlaceThatIsTooLongFails) {
    std::string deep = directory.path();
    while (deep.size() < PATH_MAX - 220) {
        deep += "/" + std::string(100, 'd');
        ASSERT_EQ(mkdir(deep.c_str(), 0700), 0) << deep.size();
    }
    // The target fits behind its directory only as long as nobody spells the whole path.
    const std::string target = std::string(200, 't');
    ASSERT_EQ(symlink(target.c_str(), (deep + "/l").c_str()), 0);
    const size_t files = support::openFiles();
    TivarReport report = noReport();
    const TivarPicture record = recordOf(picture);
    const int32_t result =
        tivar_write_bmp_file(&record, nullptr, (deep + "/l").c_str(), 0, &report);
    if (result == TIVAR_RESULT_OK) {
        EXPECT_TRUE(std::filesystem::exists(deep + "/" + target));
    } else {
        EXPECT_EQ(report.system_error, ENAMETOOLONG);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(deep), {}), 1);
    }
    EXPECT_EQ(support::openFiles(), files);
}

TEST_F(WriteFile, NewMeansThatNothingIsReplaced) {
    const std::string name = directory.path("new.bmp");
    EXPECT_EQ(put(name, TIVAR_FILE_NEW).bytes, wanted);
    EXPECT_EQ(directory.names().size(), 1u);
    directory.write("new.bmp", "old");
    expectFailed(name, EEXIST, TIVAR_FILE_NEW);
    EXPECT_EQ(directory.read("new.bmp"), "old");
    symlink("new.bmp", directory.path("link").c_str());
    expectFailed(directory.path("link"), EEXIST, TIVAR_FILE_NEW);
}

// A file that appears while the picture is being written.
TEST_F(WriteFile, NewMeansThatNothingIsReplacedInTheEndEither) {
    struct Intruder {
        static int32_t cancel(void* context) {
            static_cast<const support::TempDirectory*>(context)->write("new.bmp", "other");
            return 0;
        }
    };
    TivarOptions options = noOptions();
    options.cancel = Intruder::cancel;
    options.context = const_cast<support::TempDirectory*>(&directory);
    const Written written =
        toFile(recordOf(picture), options, directory.path("new.bmp"), TIVAR_FILE_NEW);
    EXPECT_EQ(written.result, TIVAR_RESULT_FILE_FAILED);
    EXPECT_EQ(written.report.system_error, EEXIST);
    EXPECT_EQ(directory.read("new.bmp"), "other");
    EXPECT_EQ(directory.names().size(), 1u);
}

TEST_F(WriteFile, SyncedFilesAreTheSame) {
    EXPECT_EQ(put(directory.path("out.bmp"), TIVAR_FILE_SYNC).bytes, wanted);
    EXPECT_EQ(put(directory.path("new.bmp"), TIVAR_FILE_SYNC | TIVAR_FILE_NEW).bytes, wanted);
    EXPECT_EQ(put("/dev/null", TIVAR_FILE_SYNC).result, TIVAR_RESULT_OK);
}

TEST_F(WriteFile, NamesWithoutADirectoryLieInTheCurrentOne) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    EXPECT_EQ(put("plain.bmp", TIVAR_FILE_SYNC).bytes, wanted);
    std::filesystem::current_path(before);
    EXPECT_EQ(directory.names(), (std::set<std::string>{"plain.bmp"}));
}

TEST_F(WriteFile, NamesAsLongAsTheyMayBeAreWritten) {
    for (const size_t length : {size_t{1}, size_t{200}, size_t{254}, size_t{255}}) {
        const std::string name(length, 'n');
        EXPECT_EQ(put(directory.path(name)).bytes, wanted) << length;
        EXPECT_EQ(directory.names(), std::set<std::string>{name});
        std::filesystem::remove(directory.path(name));
    }
    expectFailed(directory.path(std::string(256, 'n')), ENAMETOOLONG);
    expectFailed(std::string(5000, 'n'), ENAMETOOLONG);
}

// Cut short by one character it would be the null device, which takes everything.
TEST_F(WriteFile, ANameOneCharacterTooLongIsNotCutShort) {
    std::string name = "/dev/";
    while (name.size() + 5 < PATH_MAX) name += "./";
    name += "nullx";
    ASSERT_EQ(name.size(), size_t{PATH_MAX});
    expectFailed(name, ENAMETOOLONG);
}

TEST_F(WriteFile, PlacesThatAreNoneFail) {
    expectFailed(directory.path(), EISDIR);
    expectFailed(directory.path("missing/out.bmp"), ENOENT);
    directory.write("file", "old");
    expectFailed(directory.path("file/out.bmp"), ENOTDIR);
    EXPECT_EQ(directory.read("file"), "old");
    TivarReport report = noReport();
    const TivarPicture record = recordOf(picture);
    EXPECT_EQ(tivar_write_bmp_file(&record, nullptr, "", 0, &report), TIVAR_RESULT_BAD_CALL);
    EXPECT_STREQ(report.field, "name");
}

TEST_F(WriteFile, WhatMayNotBeWrittenIsNot) {
    if (geteuid() == 0) {
        // Permissions do not hold the superuser: one without the right to override them is asked.
        const std::vector<int32_t> results = support::inChild([&] {
            chmod(directory.path().c_str(), 0755);
            const std::string name = directory.write("fixed.bmp", "old");
            chmod(name.c_str(), 0444);
            if (setgid(65534) != 0 || setuid(65534) != 0) return std::vector<int32_t>{};
            const Written old = put(name);
            const Written added = put(directory.path("new.bmp"));
            return std::vector<int32_t>{old.result, old.report.system_error, added.result,
                                        added.report.system_error};
        });
        EXPECT_EQ(results, (std::vector<int32_t>{TIVAR_RESULT_FILE_FAILED, EACCES,
                                                 TIVAR_RESULT_FILE_FAILED, EACCES}));
    } else {
        const std::string name = directory.write("fixed.bmp", "old");
        chmod(name.c_str(), 0444);
        expectFailed(name, EACCES);
        chmod(directory.path().c_str(), 0555);
        expectFailed(directory.path("new.bmp"), EACCES);
        chmod(directory.path().c_str(), 0755);
    }
    EXPECT_EQ(directory.read("fixed.bmp"), "old");
}

TEST_F(WriteFile, AFullDiskIsTold) {
    expectFailed("/dev/full", ENOSPC);
}

// A file that may not grow, as on a full disk: the old one stays.
TEST_F(WriteFile, AFileThatMayNotGrowLeavesTheOldOne) {
    const std::string name = directory.write("old.bmp", "old");
    for (const rlim_t limit : {rlim_t{0}, rlim_t{10}, rlim_t{1000}}) {
        const std::vector<int32_t> results = support::inChild([&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit size = {limit, limit};
            setrlimit(RLIMIT_FSIZE, &size);
            const Written written = put(name);
            return std::vector<int32_t>{written.result, written.report.system_error};
        });
        EXPECT_EQ(results, (std::vector<int32_t>{TIVAR_RESULT_FILE_FAILED, EFBIG}));
        EXPECT_EQ(directory.read("old.bmp"), "old");
        EXPECT_EQ(directory.names().size(), 1u);
    }
}

TEST_F(WriteFile, PipesAndDevicesGetTheBytesDirectly) {
    const std::string pipe = directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const int32_t encoding : {TIVAR_ENCODING_RAW, TIVAR_ENCODING_RLE}) {
        TivarOptions options = optionsOf(8);
        options.encoding = encoding;
        const pid_t child = fork();
        if (child == 0) {
            const TivarPicture record = recordOf(picture);
            _exit(tivar_write_bmp_file(&record, &options, pipe.c_str(), 0, nullptr));
        }
        const std::string content = support::readFile(pipe);
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(Bytes(content.begin(), content.end()), toMemory(picture, options).bytes);
    }
    EXPECT_EQ(put("/dev/null").result, TIVAR_RESULT_OK);
}

// Its name leads to what has no name in any directory.
TEST_F(WriteFile, StandardOutputIsAPlaceToo) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        const TivarPicture record = recordOf(picture);
        _exit(tivar_write_bmp_file(&record, nullptr, "/dev/stdout", 0, nullptr));
    }
    close(ends[1]);
    Bytes bytes;
    uint8_t byte = 0;
    while (read(ends[0], &byte, 1) == 1) bytes.push_back(byte);
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytes, wanted);
}

TEST_F(WriteFile, ManyProcessesWithOneNameLeaveOneWholeFile) {
    const std::string name = directory.path("out.bmp");
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            int worst = 0;
            for (int round = 0; round < 20; ++round)
                worst = std::max(worst, static_cast<int>(put(name).result));
            _exit(worst);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const std::string content = directory.read("out.bmp");
    EXPECT_EQ(Bytes(content.begin(), content.end()), wanted);
    EXPECT_EQ(directory.names().size(), 1u);
}

}  // namespace
