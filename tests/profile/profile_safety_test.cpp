// What is on disk when rewriting a profile goes wrong: the old profile or the complete new one, and
// nothing beside it.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tivar/filter.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/environment.h"
#include "support/failing_call.h"
#include "support/open_files.h"
#include "support/random_numbers.h"
#include "support/temp_directory.h"

namespace {

namespace fs = std::filesystem;

using support::FailingCall;
using support::openFiles;
using Names = std::set<std::string>;

// Several buffers of a stream.
std::string manyLines(size_t bytes) {
    std::string text;
    for (int i = 0; text.size() < bytes; ++i)
        text.append("a").append(std::to_string(i)).append("=1\n");
    return text;
}

std::string profileWith(int value, const std::string& rest) {
    return "[s]\nkey=" + std::to_string(value) + "\n" + rest;
}

struct ProfileSafety : testing::Test {
    // Every file below the directory.
    Names everything() const {
        Names found;
        for (const auto& entry : fs::recursive_directory_iterator(directory.path()))
            found.insert(entry.path().lexically_relative(directory.path()).string());
        return found;
    }

    support::TempDirectory directory;
    support::WorkingDirectory current{directory.path()};
    support::EnvironmentVariable iniDir{"INIDIR"};
};

struct Change {
    const char* what;
    const char* section;
    const char* key;
    const char* value;
    std::string after;
};

const std::string kBefore = "[s]\nkey=1\nb=2\n[t]\nc=3\n";

const std::vector<Change> kChanges = {
    {"set", "s", "key", "9", "[s]\nkey=9\nb=2\n[t]\nc=3\n"},
    {"add", "t", "key", "9", "[s]\nkey=1\nb=2\n[t]\nc=3\nkey=9\n"},
    {"add a section", "u", "key", "9", "[s]\nkey=1\nb=2\n[t]\nc=3\n\n[u]\nkey=9\n"},
    {"remove an entry", "s", "key", nullptr, "[s]\nb=2\n[t]\nc=3\n"},
    {"remove a section", "s", nullptr, nullptr, "[t]\nc=3\n"}};

// Calls that rewriting makes; each of them may fail.
constexpr const char* kCalls[] = {"calloc", "realpath", "fopen",  "open",  "fdopen",
                                  "fread",  "fwrite",   "fseek",  "ftell", "fflush",
                                  "fchmod", "fsync",    "fclose", "rename"};

// Whether the nth call of the function was there to fail while the change was made.
bool changeWithFailure(const Change& change, const char* file, const char* function, int nth) {
    testing::internal::CaptureStdout();
    bool happened = false;
    {
        const FailingCall failing(function, nth);
        WritePrivateProfileString(change.section, change.key, change.value, file);
        happened = failing.happened();
    }
    testing::internal::GetCapturedStdout();
    return happened;
}

TEST_F(ProfileSafety, EveryKindOfChangeSurvivesEveryFailure) {
    const size_t filesBefore = openFiles();
    for (const Change& change : kChanges) {
        for (const char* function : kCalls) {
            for (int nth = 1, failed = 1; failed != 0; ++nth) {
                SCOPED_TRACE(testing::Message() << change.what << ": " << function << ' ' << nth);
                directory.write("p.ini", kBefore);
                chmod("p.ini", 0640);
                failed = changeWithFailure(change, "p.ini", function, nth) ? 1 : 0;
                EXPECT_TRUE(failed != 0 || nth > 1) << "is never called";
                const std::string there = directory.read("p.ini");
                EXPECT_TRUE(there == change.after || (failed != 0 && there == kBefore)) << there;
                EXPECT_EQ(everything(), Names{"p.ini"});
                struct stat status = {};
                stat("p.ini", &status);
                EXPECT_EQ(status.st_mode & 07777, 0640u);
            }
        }
    }
    EXPECT_EQ(openFiles(), filesBefore);
}

TEST_F(ProfileSafety, AfterAFailureTheNextWriteSucceeds) {
    for (const char* function : kCalls) {
        directory.write("p.ini", kBefore);
        changeWithFailure(kChanges[0], "p.ini", function, 1);
        WritePrivateProfileString("s", "key", "9", "p.ini");
        EXPECT_EQ(directory.read("p.ini"), kChanges[0].after) << function;
        EXPECT_EQ(everything(), Names{"p.ini"});
    }
}

TEST_F(ProfileSafety, AProfileBehindALinkSurvivesEveryFailure) {
    fs::create_directory("there");
    fs::create_symlink("there/p.ini", "p.ini");
    for (const char* function : kCalls) {
        for (int nth = 1, failed = 1; failed != 0; ++nth) {
            SCOPED_TRACE(testing::Message() << function << ' ' << nth);
            directory.write("there/p.ini", kBefore);
            failed = changeWithFailure(kChanges[0], "p.ini", function, nth) ? 1 : 0;
            const std::string there = directory.read("there/p.ini");
            EXPECT_TRUE(there == kChanges[0].after || (failed != 0 && there == kBefore)) << there;
            EXPECT_TRUE(fs::is_symlink("p.ini"));
            EXPECT_EQ(everything(), (Names{"p.ini", "there", "there/p.ini"}));
        }
    }
}

TEST_F(ProfileSafety, AProfileInIniDirSurvivesEveryFailure) {
    fs::create_directory("there");
    const support::EnvironmentVariable there("INIDIR", directory.path("there"));
    for (const char* function : kCalls) {
        for (int nth = 1, failed = 1; failed != 0; ++nth) {
            SCOPED_TRACE(testing::Message() << function << ' ' << nth);
            directory.write("there/OXL.INI", kBefore);
            failed = changeWithFailure(kChanges[0], "OXL.INI", function, nth) ? 1 : 0;
            const std::string text = directory.read("there/OXL.INI");
            EXPECT_TRUE(text == kChanges[0].after || (failed != 0 && text == kBefore)) << text;
            // A failed look into INIDIR makes the profile look missing: a new one is made here.
            Names found = everything();
            if (failed != 0 && found.erase("OXL.INI") != 0) {
                EXPECT_EQ(directory.read("OXL.INI"), "\n[s]\nkey=9\n");
                fs::remove("OXL.INI");
            }
            EXPECT_EQ(found, (Names{"there", "there/OXL.INI"}));
        }
    }
}

// The work's result in a child of its own; the child ends without the test program's clean-up.
template <class Work>
int statusOfChild(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

void limitFiles(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(ProfileSafety, AFullDiskKeepsTheOldProfile) {
    const std::string rest = manyLines(30000);
    const std::string before = profileWith(1, rest);
    const std::string after = profileWith(123456, rest);
    ASSERT_GT(after.size(), before.size());
    for (const size_t room : {size_t{0}, size_t{1}, size_t{4096}, size_t{12288}, size_t{12289},
                              size_t{24576}, before.size(), after.size() - 1, after.size()}) {
        SCOPED_TRACE(room);
        directory.write("p.ini", before);
        const int status = statusOfChild([&] {
            limitFiles(room);
            WritePrivateProfileString("s", "key", "123456", "p.ini");
        });
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(directory.read("p.ini") == (room < after.size() ? before : after));
        EXPECT_EQ(everything(), Names{"p.ini"});
    }
}

TEST_F(ProfileSafety, AFullDiskLeavesNoHalfNewProfile) {
    const std::string after = "\n[s]\nkey=9\n";
    for (size_t room = 0; room <= after.size(); ++room) {
        const int status = statusOfChild([&] {
            limitFiles(room);
            WritePrivateProfileString("s", "key", "9", "p.ini");
        });
        EXPECT_EQ(status, 0);
        if (room < after.size()) {
            EXPECT_EQ(everything(), Names{}) << room;
        } else {
            EXPECT_EQ(directory.read("p.ini"), after);
        }
    }
}

// Writes values one after another, telling of each before it is written, until it is killed.
[[noreturn]] void writeForEver(int told, int first) {
    for (int value = first;; ++value) {
        if (write(told, &value, sizeof value) != sizeof value) _exit(1);
        WritePrivateProfileString("s", "key", std::to_string(value).c_str(), "p.ini");
    }
}

// Kills a child that rewrites the profile after the time; the last value that it told of, or 0.
int lastValueBeforeTheKill(int first, std::chrono::microseconds time) {
    int ends[2];
    if (pipe(ends) != 0) return 0;
    const pid_t child = fork();
    if (child == 0) writeForEver(ends[1], first);
    close(ends[1]);
    int last = 0;
    if (read(ends[0], &last, sizeof last) != sizeof last) last = 0;
    std::this_thread::sleep_for(time);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    for (int value = 0; read(ends[0], &value, sizeof value) == sizeof value;) last = value;
    close(ends[0]);
    return last;
}

TEST_F(ProfileSafety, AKilledWriterLeavesTheOldOrTheNewProfile) {
    const std::string rest = manyLines(20000);
    support::Random random(200);
    directory.write("p.ini", profileWith(1000, rest));
    int there = 1000;
    int killedInside = 0;
    for (int round = 0; round < 200; ++round) {
        const int first = there + 1;
        const int last = lastValueBeforeTheKill(first, std::chrono::microseconds(random() % 4000));
        ASSERT_GE(last, first);
        // The write before the last one was over: its value is the old one.
        const std::string text = directory.read("p.ini");
        const bool isNew = text == profileWith(last, rest);
        ASSERT_TRUE(isNew || text == profileWith(last - 1, rest)) << text.substr(0, 20);
        there = isNew ? last : last - 1;
        // What a killed writer could not remove bears the profile's name, and harms no later write.
        for (const std::string& name : everything()) {
            EXPECT_EQ(name.compare(0, 5, "p.ini"), 0) << name;
            if (name != "p.ini") ++killedInside;
            if (name != "p.ini") fs::remove(name);
        }
    }
    // The moments were well chosen: many fell into a write.
    EXPECT_GT(killedInside, 10);
}

TEST_F(ProfileSafety, WhatAKilledWriterLeftDoesNotStopTheNext) {
    directory.write("p.ini", kBefore);
    const int status = statusOfChild([] {
        const FailingCall dying("rename", 1, [] { raise(SIGKILL); });
        WritePrivateProfileString("s", "key", "9", "p.ini");
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(directory.read("p.ini"), kBefore);
    WritePrivateProfileString("s", "key", "9", "p.ini");
    EXPECT_EQ(directory.read("p.ini"), kChanges[0].after);
}

TEST_F(ProfileSafety, WritersAtTheSameTimeLeaveACompleteProfile) {
    const std::string rest = manyLines(20000);
    directory.write("p.ini", profileWith(1, rest));
    std::vector<pid_t> children;
    for (int writer = 0; writer < 4; ++writer) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        for (int i = 0; i < 25; ++i)
            WritePrivateProfileString("s", "key", std::to_string(100 * writer + i).c_str(),
                                      "p.ini");
        _exit(0);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const std::string text = directory.read("p.ini");
    EXPECT_TRUE(text == profileWith(std::atoi(text.c_str() + 8), rest)) << text.substr(0, 20);
    EXPECT_EQ(everything(), Names{"p.ini"});
}

}  // namespace
