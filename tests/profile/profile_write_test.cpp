#include <sys/stat.h>
#include <tivar/filter.h>
#include <unistd.h>

#include <filesystem>

#include "support/environment.h"
#include "support/failing_call.h"
#include "support/temp_directory.h"

namespace {

namespace fs = std::filesystem;

using support::EnvironmentVariable;
using support::FailingCall;
using support::TempDirectory;
using support::WorkingDirectory;
using namespace std::string_literals;

using Names = std::set<std::string>;

// Runs in an empty directory of its own, without INIDIR.
struct ProfileWrite : testing::Test {
    std::string rewritten(const std::string& before, const char* section, const char* key,
                          const char* value) {
        directory.write("p.ini", before);
        EXPECT_EQ(WritePrivateProfileString(section, key, value, "p.ini"), 0);
        EXPECT_EQ(directory.names(), Names{"p.ini"});
        return directory.read("p.ini");
    }

    // Holds rewriting against expectations; every case writes to section "s".
    struct Case {
        std::string before;
        std::string after;
    };
    void expectEach(const std::vector<Case>& cases, const char* key, const char* value) {
        for (const auto& c : cases) EXPECT_EQ(rewritten(c.before, "s", key, value), c.after);
    }

    TempDirectory directory;
    WorkingDirectory current{directory.path()};
    EnvironmentVariable iniDir{"INIDIR"};
};

TEST_F(ProfileWrite, AnEntryIsReplacedInItsPlace) {
    expectEach({{"[s]\nkey=1\nb=2\n", "[s]\nkey=9\nb=2\n"},
                {"; top\nkey=0\n[r]\nkey=0\n[s]\na=1\nkey=1\n[t]\nkey=0\n",
                 "; top\nkey=0\n[r]\nkey=0\n[s]\na=1\nkey=9\n[t]\nkey=0\n"},
                {"[ S ] ; x\nkey=1\n", "[ S ] ; x\nkey=9\n"},
                {"[\"s\"]\nkey=1\n", "[\"s\"]\nkey=9\n"},
                // The writer strips blanks around the key, and knows no case.
                {"[s]\n  KEY = 1 ; c\n", "[s]\nkey=9\n"},
                {"[s]\nkey=1\nKey=2\n", "[s]\nkey=9\nkey=9\n"},
                {"[s]\nkey=\n", "[s]\nkey=9\n"},
                {"[s]\nkey=a=b\n", "[s]\nkey=9\n"},
                {"[s]\nkey ;x=1\n", "[s]\nkey=9\n"}},
               "key", "9");
}

TEST_F(ProfileWrite, ANewEntryGoesBehindTheSectionsLastLine) {
    expectEach({{"[s]\n[t]\nb=2\n", "[s]\nkey=9\n[t]\nb=2\n"},
                {"[s]\na=1\n[t]\nb=2\n", "[s]\na=1\nkey=9\n[t]\nb=2\n"},
                {"[s]\na=1\n\n\n[t]\nb=2\n", "[s]\na=1\n\n\nkey=9\n[t]\nb=2\n"},
                {"[s]\na=1\n", "[s]\na=1\nkey=9\n"},
                {"[s]\n", "[s]\nkey=9\n"},
                // These are no entries of the key.
                {"[s]\n;key=1\n", "[s]\n;key=1\nkey=9\n"},
                {"[s]\nkey\n", "[s]\nkey\nkey=9\n"},
                {"[s]\n\"key\"=1\n", "[s]\n\"key\"=1\nkey=9\n"},
                {"[s]\n\tkey=1\n", "[s]\n\tkey=1\nkey=9\n"},
                {"[s]\nkeys=1\n", "[s]\nkeys=1\nkey=9\n"}},
               "key", "9");
}

TEST_F(ProfileWrite, AMissingSectionIsAppendedBehindAnEmptyLine) {
    expectEach({{"[t]\nb=2\n", "[t]\nb=2\n\n[s]\nkey=9\n"},
                {"\n", "\n\n[s]\nkey=9\n"},
                // Only a line that begins with a bracket is a header to the writer.
                {"s\nkey=1\n", "s\nkey=1\n\n[s]\nkey=9\n"},
                {" [s]\nkey=1\n", " [s]\nkey=1\n\n[s]\nkey=9\n"},
                {";[s]\nkey=1\n", ";[s]\nkey=1\n\n[s]\nkey=9\n"}},
               "key", "9");
    EXPECT_EQ(rewritten("[t]\n", "[ \"New one\" ] ; x", "key", "9"), "[t]\n\n[New one]\nkey=9\n");
}

TEST_F(ProfileWrite, TheArgumentsAreWrittenAsTheyAre) {
    EXPECT_EQ(rewritten("[s]\nKEY=1\n", "s", "Key", " \"a\" ; b"), "[s]\nKey= \"a\" ; b\n");
    EXPECT_EQ(rewritten("[s]\nkey=1\n", "s", "key", ""), "[s]\nkey=\n");
    const std::string value(5000, 'v');
    EXPECT_EQ(rewritten("[s]\nkey=1\n", "s", "key", value.c_str()), "[s]\nkey=" + value + "\n");
    EXPECT_EQ(rewritten("[s]\na=1\n", "s", value.c_str(), "1"), "[s]\na=1\n" + value + "=1\n");
}

TEST_F(ProfileWrite, LineEndingsAreKept) {
    expectEach({{"[s]\r\nkey=1\r\nb=2\r\n", "[s]\r\nkey=9\r\nb=2\r\n"},
                {"[t]\r\n", "[t]\r\n\r\n[s]\r\nkey=9\r\n"},
                // The first ending counts for all lines.
                {"[s]\r\nkey=1\nb=2\r", "[s]\r\nkey=9\r\n"},
                {"[s]\nkey=1\r\n", "[s]\nkey=9\n"},
                // The last CR of a file does not end a line.
                {"[s]\rkey=1\rend=1\r", "[s]\rkey=9\r"},
                // Without any ending, lines get both.
                {"", "\r\n[s]\r\nkey=9\r\n"},
                {"[s]", "\r\n[s]\r\nkey=9\r\n"}},
               "key", "9");
}

TEST_F(ProfileWrite, WhatTheFilesEndLeavesWithoutAnEndingIsNoLine) {
    EXPECT_EQ(rewritten("[s]\nkey=1\nb=2", "s", "key", "9"), "[s]\nkey=9\n");
    EXPECT_EQ(rewritten("[s]\nb=2\nkey=1", "s", "key", "9"), "[s]\nb=2\nkey=9\n");
}

TEST_F(ProfileWrite, EverySectionOfTheNameIsChanged) {
    expectEach({{"[s]\nkey=1\n[t]\nb=1\n[s]\nz=1\n", "[s]\nkey=9\n[t]\nb=1\n[s]\nz=1\nkey=9\n"},
                // Except one whose header ended the one before.
                {"[s]\nkey=1\n[s]\nkey=2\n", "[s]\nkey=9\n[s]\nkey=2\n"},
                {"[s]\nkey=1\n[s]\nkey=2\n[s]\nkey=3\n", "[s]\nkey=9\n[s]\nkey=2\n[s]\nkey=9\n"}},
               "key", "9");
    expectEach({{"[s]\nkey=1\n[t]\nb=1\n[s]\nz=1\nkey=2\n", "[t]\nb=1\n[s]\nz=1\n"},
                {"[s]\nkey=1\n[s]\nkey=2\n", "[s]\nkey=2\n"}},
               "key", nullptr);
    expectEach(
        {{"[s]\nx=1\n[t]\nb=1\n[s]\nz=1\n", "[t]\nb=1\n"}, {"[s]\nx=1\n[s]\nz=1\n", "[s]\nz=1\n"}},
        nullptr, nullptr);
}

TEST_F(ProfileWrite, ANullValueRemovesTheEntry) {
    expectEach({{"[s]\na=1\nkey=1\nb=2\n[t]\nkey=2\n", "[s]\na=1\nb=2\n[t]\nkey=2\n"},
                {"[s]\nKEY = 1\nkey=2\nb=2\n", "[s]\nb=2\n"},
                {"[s]\nkey=1\n;c\n", "[s]\n;c\n"},
                {"[s]\nkey=1\n\n[t]\nb=1\n", "[s]\n\n[t]\nb=1\n"},
                {"[s]\r\na=1\r\nkey=1\r\n", "[s]\r\na=1\r\n"},
                // A section that holds nothing else goes with it.
                {"[t]\nb=1\n[s]\nkey=1\n", "[t]\nb=1\n"},
                {"[s]\nkey=1\n[t]\nb=1\n", "[t]\nb=1\n"},
                {"[s]\n[t]\nb=1\n", "[t]\nb=1\n"},
                {"[s]\nkey=1\n", ""},
                // Nothing to remove, nothing appended.
                {"[s]\na=1\n", "[s]\na=1\n"},
                {"[t]\nkey=1\n", "[t]\nkey=1\n"}},
               "key", nullptr);
}

TEST_F(ProfileWrite, ANullKeyRemovesTheSection) {
    const std::vector<Case> cases = {
        {"[r]\na=1\n[s]\nb=1\n\n;c\n[t]\nd=1\n", "[r]\na=1\n[t]\nd=1\n"},
        {"[r]\na=1\n[ S ]\nb=1\n", "[r]\na=1\n"},
        {"[s]\n", ""},
        {"[t]\nb=1\n", "[t]\nb=1\n"},
        {"s\nb=1\n", "s\nb=1\n"},
    };
    expectEach(cases, nullptr, nullptr);
    expectEach(cases, nullptr, "9");
}

TEST_F(ProfileWrite, ALongLineIsWrittenAsTheReaderSplitsIt) {
    const std::string full(256, 'c');
    const std::string value(252, 'v');
    expectEach({{full + full.substr(0, 44) + "\n[s]\nkey=1\n",
                 full + "\n" + full.substr(0, 44) + "\n[s]\nkey=9\n"},
                {full + "\n[s]\nkey=1\n", full + "\n\n[s]\nkey=9\n"},
                {"[s]\nkey=" + value + "rest\nb=1\n", "[s]\nkey=9\nrest\nb=1\n"},
                {"[s]\na=1" + value + "[t]\nkey=1\n", "[s]\na=1" + value + "[\nt]\nkey=9\n"},
                {"[s]\na=12" + value.substr(1) + "\nkey=1\n",
                 "[s]\na=12" + value.substr(1) + "\nkey=9\n"}},
               "key", "9");
}

TEST_F(ProfileWrite, ALargeProfileIsCopiedWhole) {
    std::string before;
    for (int i = 0; i < 5000; ++i) before += "[t" + std::to_string(i) + "]\nkey=1\n";
    EXPECT_EQ(rewritten(before, "s", "key", "9"), before + "\n[s]\nkey=9\n");
    std::string after = before;
    after.replace(after.find("[t2500]\nkey=1"), 13, "[t2500]\nkey=9");
    EXPECT_EQ(rewritten(before, "t2500", "key", "9"), after);
}

TEST_F(ProfileWrite, ZeroBytesOfALineAreCopied) {
    EXPECT_EQ(rewritten("a\0b\n[s]\n\0\nkey=1\n"s, "s", "key", "9"), "a\0b\n[s]\n\0\nkey=9\n"s);
}

TEST_F(ProfileWrite, WhatIsWrittenIsRead) {
    for (int i = 0; i < 20; ++i) {
        const std::string key = "key" + std::to_string(i % 7);
        const std::string section = "section" + std::to_string(i % 3);
        WritePrivateProfileString(section.c_str(), key.c_str(), std::to_string(i).c_str(), "p.ini");
        EXPECT_EQ(GetPrivateProfileInt(section.c_str(), key.c_str(), -1, "p.ini"), i);
    }
}

TEST_F(ProfileWrite, AMissingProfileIsCreated) {
    EXPECT_EQ(WritePrivateProfileString("[s]", "key", "9", "p.ini"), 0);
    EXPECT_EQ(directory.read("p.ini"), "\n[s]\nkey=9\n");
    EXPECT_EQ(WriteProfileString("s", "key", "8"), 0);
    EXPECT_EQ(directory.read("OXL.INI"), "\n[s]\nkey=8\n");
    EXPECT_EQ(directory.names(), (Names{"OXL.INI", "p.ini"}));
}

TEST_F(ProfileWrite, TheProfileInIniDirIsRewrittenThere) {
    const TempDirectory other;
    other.write("p.ini", "[s]\nkey=1\n");
    other.write("OXL.INI", "[s]\nkey=1\n");
    const EnvironmentVariable there("INIDIR", other.path());
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", "p.ini"), 0);
    EXPECT_EQ(WriteProfileString("s", "key", "8"), 0);
    EXPECT_EQ(other.read("p.ini"), "[s]\nkey=9\n");
    EXPECT_EQ(other.read("OXL.INI"), "[s]\nkey=8\n");
    EXPECT_EQ(other.names(), (Names{"OXL.INI", "p.ini"}));
    EXPECT_EQ(directory.names(), Names{});
}

TEST_F(ProfileWrite, AProfileThatIniDirHasNotIsMadeUnderTheNameItself) {
    const TempDirectory other;
    const EnvironmentVariable there("INIDIR", other.path());
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", "p.ini"), 0);
    EXPECT_EQ(directory.read("p.ini"), "\n[s]\nkey=9\n");
    EXPECT_EQ(other.names(), Names{});
}

TEST_F(ProfileWrite, AProfileUnderTheNameItselfGoesBeforeIniDir) {
    const TempDirectory other;
    other.write("p.ini", "[s]\nkey=1\n");
    const EnvironmentVariable there("INIDIR", other.path());
    EXPECT_EQ(rewritten("[s]\nkey=2\n", "s", "key", "9"), "[s]\nkey=9\n");
    EXPECT_EQ(other.read("p.ini"), "[s]\nkey=1\n");
}

TEST_F(ProfileWrite, UnusableArgumentsChangeNothing) {
    const std::string before = "[s]\nkey=1\n";
    EXPECT_EQ(rewritten(before, nullptr, "key", "9"), before);
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", nullptr), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", ""), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", std::string(10000, 'x').c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", "missing/p.ini"), 0);
    EXPECT_EQ(directory.names(), Names{"p.ini"});
    EXPECT_EQ(directory.read("p.ini"), before);
}

TEST_F(ProfileWrite, ALongSectionNameIsWrittenAndComparedWhole) {
    const std::string name(5000, 's');
    EXPECT_EQ(rewritten("[t]\n", name.c_str(), "key", "9"), "[t]\n\n[" + name + "]\nkey=9\n");
    // Its first 256 characters would name this section.
    const std::string shorter = "[" + std::string(206, 's') + "]\nkey=1\n";
    EXPECT_EQ(rewritten(shorter, (std::string(50, '[') + name).c_str(), "key", "9"),
              shorter + "\n[" + name + "]\nkey=9\n");
}

// Only the reader tests for an empty name; a header that says nothing is nobody's.
TEST_F(ProfileWrite, AnEmptySectionNameIsAppendedEveryTime) {
    for (const char* section : {"", " ", "[]", "; none"}) {
        const std::string once = rewritten("[t]\nb=2\n", section, "key", "9");
        EXPECT_EQ(once, "[t]\nb=2\n\n[]\nkey=9\n");
        EXPECT_EQ(rewritten(once, section, "key", "9"), once + "\n[]\nkey=9\n");
        EXPECT_EQ(rewritten(once, section, "key", nullptr), once);
        EXPECT_EQ(rewritten(once, section, nullptr, nullptr), once);
    }
}

TEST_F(ProfileWrite, ALineThatIsEmptyAfterCleaningIsNoEntry) {
    EXPECT_EQ(rewritten("[s]\n;=1\n ; a=2\n", "s", "", "9"), "[s]\n;=1\n ; a=2\n=9\n");
    EXPECT_EQ(rewritten("[s]\n;=1\n=2\n", "s", "", nullptr), "[s]\n;=1\n");
}

mode_t modeOf(const char* path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path, &status), 0);
    return status.st_mode;
}

TEST_F(ProfileWrite, TheFilesModeIsKept) {
    for (const mode_t mode : {0600u, 0640u, 0604u, 0666u, 0755u}) {
        directory.write("p.ini", "[s]\nkey=1\n");
        chmod("p.ini", mode);
        WritePrivateProfileString("s", "key", "9", "p.ini");
        EXPECT_EQ(modeOf("p.ini"), S_IFREG | mode);
        EXPECT_EQ(directory.read("p.ini"), "[s]\nkey=9\n");
    }
}

TEST_F(ProfileWrite, ASymbolicLinkStaysALink) {
    const TempDirectory other;
    const std::string target = other.write("target.ini", "[s]\nkey=1\n");
    fs::create_symlink(target, "p.ini");
    fs::create_symlink("p.ini", "q.ini");
    int32_t value = 8;
    for (const char* name : {"p.ini", "q.ini"}) {
        WritePrivateProfileString("s", "key", std::to_string(++value).c_str(), name);
        EXPECT_EQ(other.read("target.ini"), "[s]\nkey=" + std::to_string(value) + "\n");
    }
    EXPECT_EQ(fs::read_symlink("p.ini"), target);
    EXPECT_EQ(fs::read_symlink("q.ini"), "p.ini");
    EXPECT_EQ(directory.names(), (Names{"p.ini", "q.ini"}));
    EXPECT_EQ(other.names(), Names{"target.ini"});
}

// Root may read and write everything.
void writeAsNobody() {
    const bool wasRoot = geteuid() == 0;
    if (wasRoot) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    WritePrivateProfileString("s", "key", "9", "p.ini");
    if (wasRoot) {
        ASSERT_EQ(seteuid(0), 0);
    }
}

TEST_F(ProfileWrite, AnUnreadableProfileIsNotReplaced) {
    directory.write("p.ini", "[s]\nkey=1\n");
    chmod("p.ini", 0);
    chmod(directory.path().c_str(), 0777);
    writeAsNobody();
    chmod("p.ini", 0600);
    EXPECT_EQ(directory.read("p.ini"), "[s]\nkey=1\n");
    EXPECT_EQ(directory.names(), Names{"p.ini"});
}

TEST_F(ProfileWrite, AProfileInADirectoryThatCannotBeWrittenStaysAsItWas) {
    directory.write("p.ini", "[s]\nkey=1\n");
    chmod("p.ini", 0666);
    chmod(directory.path().c_str(), 0555);
    writeAsNobody();
    chmod(directory.path().c_str(), 0700);
    EXPECT_EQ(directory.read("p.ini"), "[s]\nkey=1\n");
    EXPECT_EQ(directory.names(), Names{"p.ini"});
}

// It opens, but cannot be read.
TEST_F(ProfileWrite, ADirectoryIsNotReplaced) {
    fs::create_directory("p.ini");
    EXPECT_EQ(WritePrivateProfileString("s", "key", "9", "p.ini"), 0);
    EXPECT_TRUE(fs::is_directory("p.ini"));
    EXPECT_EQ(directory.names(), Names{"p.ini"});
}

// Writes key=9 while the nth call of the function fails; whether there was such a call.
bool writeWithFailure(const char* function, int nth) {
    testing::internal::CaptureStdout();
    bool happened = false;
    {
        const FailingCall failing(function, nth);
        WritePrivateProfileString("s", "key", "9", "p.ini");
        happened = failing.happened();
    }
    testing::internal::GetCapturedStdout();
    return happened;
}

TEST_F(ProfileWrite, WhicheverCallFailsTheOldOrTheNewProfileIsThere) {
    std::string several;  // buffers of a stream
    for (int i = 0; i < 2000; ++i) several.append("a").append(std::to_string(i)).append("=1\n");
    for (const std::string& rest : {"b=2\n"s, several}) {
        const std::string before = "[s]\nkey=1\n" + rest;
        const std::string after = "[s]\nkey=9\n" + rest;
        for (const char* function : {"calloc", "fopen", "fdopen", "open", "realpath", "fread",
                                     "fwrite", "fflush", "fchmod", "fsync", "fclose", "rename"}) {
            bool failed = true;
            for (int nth = 1; failed; ++nth) {
                SCOPED_TRACE(testing::Message() << function << ' ' << nth);
                directory.write("p.ini", before);
                failed = writeWithFailure(function, nth);
                EXPECT_TRUE(failed || nth > 1) << "is never called";
                const std::string there = directory.read("p.ini");
                EXPECT_TRUE(there == after || (failed && there == before)) << there.size();
                EXPECT_EQ(directory.names(), Names{"p.ini"});
            }
        }
    }
}

TEST_F(ProfileWrite, WhicheverCallFailsANewProfileIsCompleteOrMissing) {
    for (const char* function :
         {"calloc", "fopen", "fdopen", "open", "fwrite", "fsync", "rename"}) {
        bool failed = true;
        for (int nth = 1; failed; ++nth) {
            SCOPED_TRACE(testing::Message() << function << ' ' << nth);
            failed = writeWithFailure(function, nth);
            const bool created = directory.names() == Names{"p.ini"};
            EXPECT_TRUE(created || (failed && directory.names().empty()));
            if (created) {
                EXPECT_EQ(directory.read("p.ini"), "\n[s]\nkey=9\n");
            }
            fs::remove("p.ini");
        }
    }
}

TEST_F(ProfileWrite, NobodyElseReadsTheNewFileBeforeItIsInPlace) {
    directory.write("p.ini", "[s]\nkey=1\n");
    chmod("p.ini", 0600);
    int others = 0;
    const FailingCall writing("fwrite", 1, [&] {
        for (const std::string& name : directory.names()) {
            EXPECT_EQ(modeOf(name.c_str()) & 077, 0u) << name;
            ++others;
        }
    });
    WritePrivateProfileString("s", "key", "9", "p.ini");
    EXPECT_EQ(others, 2);
}

TEST_F(ProfileWrite, AFileInTheTemporaryFilesPlaceIsSpared) {
    // The first name that the writer would take, and a link that would lead it elsewhere.
    const std::string process = "p.ini." + std::to_string(getpid());
    directory.write(process + "-0", "precious");
    directory.write("elsewhere", "precious");
    fs::create_symlink("elsewhere", process + "-1");
    directory.write("p.ini", "[s]\nkey=1\n");
    WritePrivateProfileString("s", "key", "9", "p.ini");
    EXPECT_EQ(directory.read("p.ini"), "[s]\nkey=9\n");
    EXPECT_EQ(directory.read(process + "-0"), "precious");
    EXPECT_EQ(directory.read("elsewhere"), "precious");
    EXPECT_EQ(directory.names().size(), 4u);
}

}  // namespace
