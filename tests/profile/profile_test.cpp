#include <tivar/filter.h>

#include <filesystem>

#include "support/environment.h"
#include "support/temp_directory.h"

namespace {

using support::EnvironmentVariable;
using support::TempDirectory;
using support::WorkingDirectory;

// Runs in an empty directory of its own, without INIDIR.
struct Profile : testing::Test {
    // The answer's characters; file is a name in the directory.
    static std::string get(const char* section, const char* key, const char* defaultText = "",
                           const char* file = "p.ini") {
        char buffer[400];
        const int32_t count =
            GetPrivateProfileString(section, key, defaultText, buffer, sizeof buffer, file);
        EXPECT_EQ(buffer[count], '\0');
        return {buffer, static_cast<size_t>(count)};
    }

    TempDirectory directory;
    WorkingDirectory current{directory.path()};
    EnvironmentVariable iniDir{"INIDIR"};
};

struct ProfileInt : Profile {};
struct IniOpen : Profile {};
struct ProfileDirectory : Profile {};

TEST_F(Profile, HeadersAreFoundInAnyDress) {
    const char* headers[] = {"[tivar]",  "[ tivar ]", "[TIVAR]",     "[TiVaR] ; settings", "tivar",
                             " [tivar]", "tivar]",    "[\"tivar\"]", "  tivar  ; x"};
    for (const char* header : headers) {
        directory.write("p.ini", "[other]\nkey=wrong\n" + std::string(header) + "\nkey=value\n");
        EXPECT_EQ(get("TIVAR", "key"), "value") << header;
        EXPECT_EQ(get("[ \"Tivar\" ]", "key"), "value") << header;
    }
}

TEST_F(Profile, CommentsAndOtherNamesAreNoHeaders) {
    for (const char* line : {";tivar", "; [tivar]", "[tivar2]", "[ti var]", "\t[tivar]", ""}) {
        directory.write("p.ini", std::string(line) + "\nkey=value\n");
        EXPECT_EQ(get("tivar", "key", "none"), "none") << line;
    }
}

// Of the name only brackets are left: no line that says nothing may answer to it.
TEST_F(Profile, EmptyLinesAndCommentsHaveNoName) {
    for (const char* line : {"", ";comment", " ", "[]", "[ ] ; comment", " ;comment", "\"", "]["}) {
        directory.write("p.ini", std::string(line) + "\nkey=value\n");
        for (const char* section : {"[]", " ", "[ ]", ";comment"})
            EXPECT_EQ(get(section, "key", "none"), "none") << line << '|' << section;
    }
}

TEST_F(Profile, ALongSectionNameIsComparedWhole) {
    const std::string full(256, 's');
    directory.write("p.ini", full + "\nkey=value\n");
    EXPECT_EQ(get(full.c_str(), "key", "none"), "value");
    EXPECT_EQ(get((full + "s").c_str(), "key", "none"), "none");
    // What cleaning takes away does not make a name long.
    const std::string blanks(300, ' ');
    EXPECT_EQ(get((blanks + full + "]").c_str(), "key", "none"), "value");
    directory.write("p.ini", "[s]\nkey=value\n");
    EXPECT_EQ(get((blanks + "s").c_str(), "key", "none"), "value");
}

TEST_F(Profile, APathThatIsTooLongIsNotFound) {
    directory.write("p.ini", "[s]\nkey=value\n");
    std::string path;
    while (path.size() < 4090) path += "./";
    path += "p.ini";
    EXPECT_EQ(get("s", "key", "none", path.c_str()), "value");
    EXPECT_EQ(get("s", "key", "none", (path + "x").c_str()), "none");
}

TEST_F(Profile, EntriesAreReadLineByLine) {
    const struct {
        const char* body;
        const char* key;
        const char* expected;
    } cases[] = {
        {"key=value\n", "key", "value"},
        {"KEY=value\n", "key", "value"},
        {"key=value\n", "kEy", "value"},
        {"a=1\n\n;c\nkey=value\n", "key", "value"},
        {"key=1\nkey=2\n", "key", "1"},
        {"key=value ; comment\n", "key", "value"},
        {"key=a=b\n", "key", "a=b"},
        {"key=[a]\n", "key", "[a]"},
        {"  key=value  \n", "key", "value"},
        {"key\nkey=2\n", "key", "2"},
        {";key=1\n ;key=2\nkey=3\n", "key", "3"},
        {"key;x=1\n", "key", "none"},
        // The value is quoted; each quote goes on its own, a doubled one stays as one.
        {"key=\"value\"\n", "key", "value"},
        {"key=\" value \"\n", "key", " value "},
        {"key=\"value\n", "key", "value"},
        {"key=value\"\n", "key", "value"},
        {"key=\"\"value\"\"\n", "key", "value"},
        {"key=a \"\"b\"\" c\n", "key", "a \"b\" c"},
        {"key='value'\n", "key", "'value'"},
        {"key=\"a;b\"\n", "key", "a"},
        {"key=\"\"\n", "key", ""},
        {"key=\"\n", "key", ""},
        {"key=\"\"\"\n", "key", ""},
        {"\"key\"=1\n", "key", "none"},
        {"\"key\"=1\n", "\"key\"", "1"},
        // Blanks around "=" belong to key and value; a tab is no blank.
        {"key = value\n", "key", "none"},
        {"key = value\n", "key ", " value"},
        {"\tkey=value\n", "key", "none"},
        {"key=value\t\n", "key", "value\t"},
        // An empty value is an answer; a missing entry is not.
        {"key=\n", "key", ""},
        {"key= ; x\n", "key", ""},
        {"keys=1\n", "key", "none"},
        {"key=value", "key", "none"},
    };
    for (const auto& c : cases) {
        directory.write("p.ini", "[s]\n" + std::string(c.body));
        EXPECT_EQ(get("s", c.key, "none"), c.expected) << c.body;
    }
}

TEST_F(Profile, EveryLineEndingIsRead) {
    for (const char* text : {"[s]\nkey=value\n", "[s]\r\nkey=value\r\n", "[s]\rkey=value\rend=1\r",
                             "[s]\r\nkey=value\n\rend=1\n"}) {
        directory.write("p.ini", text);
        EXPECT_EQ(get("s", "key"), "value") << text;
    }
}

// The line that runs into the file's end does not count, nor does one whose ending is a last CR.
TEST_F(Profile, TheLastLineNeedsItsEnding) {
    directory.write("p.ini", "[s]\nkey=value");
    EXPECT_EQ(get("s", "key", "none"), "none");
    directory.write("p.ini", "[s]\rkey=value\r");
    EXPECT_EQ(get("s", "key", "none"), "none");
}

TEST_F(Profile, TheSearchGoesOnBehindASectionWithoutTheKey) {
    const struct {
        const char* text;
        const char* section;
        const char* expected;
    } cases[] = {
        {"[a]\nx=1\n[b]\nz=1\n[a]\nkey=2\n", "a", "2"},
        {"[a]\nkey=1\n[b]\nz=1\n[a]\nkey=2\n", "a", "1"},
        // The header that ended a section is not looked at again.
        {"[a]\nx=1\n[a]\nkey=2\n", "a", "none"},
        {"[a]\nx=1\n[a]\nkey=2\n[a]\nkey=3\n", "a", "3"},
        {"[a]\n[b]\nkey=2\n", "a", "none"},
        {"[a]\n[b]\nkey=2\n", "b", "2"},
        // A line of another section that reads like the name starts the section, too.
        {"[b]\na\nkey=2\n", "a", "2"},
        {"[b]\n a ; c\nkey=2\n", "a", "2"},
        {"[b]\na=\nkey=2\n", "a", "none"},
    };
    for (const auto& c : cases) {
        directory.write("p.ini", c.text);
        EXPECT_EQ(get(c.section, "key", "none"), c.expected) << c.text;
    }
}

TEST_F(Profile, ALongLineIsReadAsSeveral) {
    const std::string value(252, 'v');  // with "key=" a full line of 256
    directory.write("p.ini", "[s]\nkey=" + value + "more=5\nlast=1\n");
    EXPECT_EQ(get("s", "key"), value);
    EXPECT_EQ(get("s", "more"), "5");
    EXPECT_EQ(get("s", "last"), "1");
    directory.write("p.ini", "[s]\nkey=" + value + "[t]\nlast=1\n");
    EXPECT_EQ(get("s", "last", "none"), "none");
    EXPECT_EQ(get("t", "last"), "1");
    directory.write("p.ini", "[s]\nkey=" + value + "\nlast=1\n");
    EXPECT_EQ(get("s", "key"), value);
    EXPECT_EQ(get("s", "last"), "1");
}

TEST_F(Profile, SectionsAreFoundInLargeFiles) {
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += "[s" + std::to_string(i) + "]\nkey=" + std::to_string(i) + "\n";
    directory.write("p.ini", text);
    EXPECT_EQ(get("s0", "key"), "0");
    EXPECT_EQ(get("s2999", "key"), "2999");
}

TEST_F(Profile, AMissingFileSectionOrKeyGivesTheDefault) {
    EXPECT_EQ(get("s", "key", "none"), "none");
    directory.write("p.ini", "[t]\nkey=1\n");
    EXPECT_EQ(get("s", "key", "none"), "none");
    EXPECT_EQ(get("t", "other", "none"), "none");
    EXPECT_EQ(get("t", "other", ""), "");
    EXPECT_EQ(get("t", "key", "none", ""), "none");
    EXPECT_EQ(get("t", "key", "none", nullptr), "none");
}

TEST_F(Profile, UnusableArgumentsLeaveTheBufferAlone) {
    directory.write("p.ini", "[s]\nkey=value\n");
    std::string buffer = "########";
    char* data = buffer.data();
    EXPECT_EQ(GetPrivateProfileString(nullptr, "key", "d", data, 8, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("", "key", "d", data, 8, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "key", nullptr, data, 8, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "key", "d", data, 0, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "none", "d", data, 0, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "key", "d", data, -1, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "key", "d", nullptr, 8, "p.ini"), 0);
    EXPECT_EQ(buffer, "########");
}

// The buffer of size bytes, after the call and with the result in front.
std::string answerIn(int32_t size, const char* section, const char* key, const char* defaultText) {
    std::string buffer(static_cast<size_t>(size) + 2, '#');
    const int32_t result =
        GetPrivateProfileString(section, key, defaultText, buffer.data(), size, "p.ini");
    EXPECT_EQ(buffer.substr(static_cast<size_t>(size)), "##");
    std::string shown = std::to_string(result) + ":";
    for (const char c : buffer.substr(0, static_cast<size_t>(size))) shown += c == '\0' ? '.' : c;
    return shown;
}

TEST_F(Profile, TheBufferIsClearedAndAValueThatFillsItIsNotTerminated) {
    directory.write("p.ini", "[s]\nkey=abcdef\nempty=\n");
    EXPECT_EQ(answerIn(9, "s", "key", "default"), "6:abcdef...");
    EXPECT_EQ(answerIn(7, "s", "key", "default"), "6:abcdef.");
    EXPECT_EQ(answerIn(6, "s", "key", "default"), "6:abcdef");
    EXPECT_EQ(answerIn(3, "s", "key", "default"), "3:abc");
    EXPECT_EQ(answerIn(1, "s", "key", "default"), "1:a");
    EXPECT_EQ(answerIn(9, "s", "empty", "default"), "0:.........");
    EXPECT_EQ(answerIn(9, "s", "none", "default"), "7:default..");
    EXPECT_EQ(answerIn(4, "s", "none", "default"), "3:def.");
    EXPECT_EQ(answerIn(1, "s", "none", "default"), "0:.");
}

TEST_F(Profile, WithoutAKeyTheSectionsKeysAreListed) {
    directory.write("p.ini",
                    "[s]\nalpha=1\n;c=1\nno entry\n\n  Beta =2\n[t]\ngamma=3\n[s]\nlate=1\n[e]\n");
    // The result leaves the zeros out and counts the default's characters.
    EXPECT_EQ(answerIn(16, "s", nullptr, ""), "10:alpha.Beta .....");
    EXPECT_EQ(answerIn(16, "s", nullptr, "xyz"), "13:alpha.Beta .....");
    EXPECT_EQ(answerIn(13, "s", nullptr, ""), "10:alpha.Beta ..");
    EXPECT_EQ(answerIn(8, "t", nullptr, ""), "5:gamma...");
    EXPECT_EQ(answerIn(8, "e", nullptr, "xyz"), "3:........");
    EXPECT_EQ(answerIn(8, "none", nullptr, "xyz"), "3:xyz.....");
}

TEST_F(Profile, AListThatDoesNotFitIsCutWithTwoZeros) {
    directory.write("p.ini", "[s]\nalpha=1\nbeta=2\ngamma=3\n");
    EXPECT_EQ(answerIn(18, "s", nullptr, ""), "14:alpha.beta.gamma..");
    EXPECT_EQ(answerIn(17, "s", nullptr, ""), "16:alpha.beta.gamm..");
    EXPECT_EQ(answerIn(12, "s", nullptr, ""), "11:alpha.beta..");
    EXPECT_EQ(answerIn(11, "s", nullptr, ""), "10:alpha.bet..");
    EXPECT_EQ(answerIn(9, "s", nullptr, ""), "8:alpha.b..");
    EXPECT_EQ(answerIn(7, "s", nullptr, ""), "6:alpha..");
    EXPECT_EQ(answerIn(6, "s", nullptr, ""), "5:alph..");
    EXPECT_EQ(answerIn(2, "s", nullptr, ""), "1:..");
    EXPECT_EQ(answerIn(1, "s", nullptr, ""), "0:.");
}

TEST_F(Profile, TheDefaultProfileIsOxlIni) {
    directory.write("OXL.INI", "[s]\nkey=value\nnumber=5\n");
    char buffer[10];
    EXPECT_EQ(GetProfileString("s", "key", "", buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "value");
    EXPECT_EQ(GetProfileInt("s", "number", 9), 5);
    EXPECT_EQ(GetProfileInt("s", "none", 9), 9);
}

TEST_F(Profile, IniDirIsLookedIntoSecond) {
    const TempDirectory other;
    other.write("p.ini", "[s]\nkey=other\n");
    for (const char* slash : {"", "/"}) {
        const EnvironmentVariable there("INIDIR", other.path() + slash);
        EXPECT_EQ(get("s", "key"), "other");
    }
    const EnvironmentVariable empty("INIDIR", "");
    EXPECT_EQ(get("s", "key", "none"), "none");
    directory.write("p.ini", "[s]\nkey=here\n");
    const EnvironmentVariable there("INIDIR", other.path());
    EXPECT_EQ(get("s", "key"), "here");
}

TEST_F(ProfileInt, AreHexadecimalOrDecimal) {
    const struct {
        const char* value;
        int32_t expected;
    } cases[] = {
        {"0x1F", 31},
        {"0X1f", 31},
        {"0xfFg9", 255},
        {"0x", 0},
        {"0xg", 0},
        {"0x0000000012", 18},
        {"0xFFFFFFFF", -1},
        {"0x7FFFFFFF", 0x7FFFFFFF},
        {"12", 12},
        {"12abc", 12},
        {"007", 7},
        {"0", 0},
        {"5 6", 5},
        {"\"42\"", 42},
        {"6.67", 6},
        // A number that does not start with a digit is 0, not the default.
        {"-5", 0},
        {"+5", 0},
        {" 5", 0},
        {"abc", 0},
        {"x1F", 0},
        // No value at all is the default.
        {"", 77},
        {"\"\"", 77},
        {" ; 5", 77},
    };
    for (const auto& c : cases) {
        directory.write("p.ini", "[s]\nkey=" + std::string(c.value) + "\n");
        EXPECT_EQ(GetPrivateProfileInt("s", "key", 77, "p.ini"), c.expected) << c.value;
    }
}

TEST_F(ProfileInt, TakesNoMoreThan32Characters) {
    directory.write("p.ini", "[s]\nkey=" + std::string(30, '0') + "123\n");
    EXPECT_EQ(GetPrivateProfileInt("s", "key", 77, "p.ini"), 12);
}

TEST_F(ProfileInt, IsTheDefaultWithoutAnEntry) {
    EXPECT_EQ(GetPrivateProfileInt("s", "key", -77, "p.ini"), -77);
    directory.write("p.ini", "[s]\nother=1\n");
    EXPECT_EQ(GetPrivateProfileInt("s", "key", -77, "p.ini"), -77);
    EXPECT_EQ(GetPrivateProfileInt(nullptr, "key", -77, "p.ini"), -77);
    EXPECT_EQ(GetPrivateProfileInt("s", "other", -77, nullptr), -77);
}

TEST_F(IniOpen, OpensUnderTheNameItself) {
    const TempDirectory other;
    other.write("p.ini", "");
    const EnvironmentVariable there("INIDIR", other.path());
    directory.write("p.ini", "");
    char name[200] = "p.ini";
    const OxlStream stream = INIopen(name, sizeof name, OXL_READ);
    EXPECT_NE(stream, 0u);
    EXPECT_STREQ(name, "p.ini");
    INIclose(stream);
}

TEST_F(IniOpen, TellsThePathInIniDirWhenThereIsRoomForIt) {
    const TempDirectory other;
    const std::string path = other.write("p.ini", "");
    const EnvironmentVariable there("INIDIR", other.path());
    const auto size = static_cast<int32_t>(path.size());
    const struct {
        int32_t capacity;
        std::string expected;
    } cases[] = {{200, path},
                 {size + 1, path},
                 {size, path.substr(0, path.size() - 1)},
                 {0, "p.ini"},
                 {-1, "p.ini"}};
    for (const auto& c : cases) {
        char name[200] = "p.ini";
        const OxlStream stream = INIopen(name, c.capacity, OXL_READ);
        EXPECT_NE(stream, 0u);
        EXPECT_EQ(name, c.expected);
        INIclose(stream);
    }
}

TEST_F(IniOpen, CreatesWhenTheModeSaysSo) {
    char name[200] = "p.ini";
    const OxlStream stream = INIopen(name, sizeof name, OXL_CREATE | OXL_WRITE);
    EXPECT_EQ(oxlWriteLine(stream, "[s]", 3), 3);
    INIclose(stream);
    EXPECT_EQ(directory.read("p.ini"), "[s]\n");
}

TEST_F(IniOpen, GivesNoStreamForWhatIsNotThere) {
    char missing[20] = "p.ini";
    char empty[1] = "";
    std::string endless(6000, 'x');
    EXPECT_EQ(INIopen(missing, sizeof missing, OXL_READ), 0u);
    const EnvironmentVariable there("INIDIR", directory.path());
    EXPECT_EQ(INIopen(missing, sizeof missing, OXL_READ), 0u);
    EXPECT_STREQ(missing, "p.ini");
    EXPECT_EQ(INIopen(empty, 1, OXL_READ), 0u);
    EXPECT_EQ(INIopen(nullptr, 0, OXL_READ), 0u);
    EXPECT_EQ(INIopen(endless.data(), 6000, OXL_READ), 0u);
    EXPECT_EQ(endless, std::string(6000, 'x'));
    INIclose(0);
}

// A name of 144 bytes, the result and what became of the name.
std::string completed(const std::string& start, const char* path) {
    char name[145];
    name[144] = '#';
    start.copy(name, 143);
    name[start.size()] = '\0';
    const int32_t result = GetProfileDirectory(name, path);
    EXPECT_EQ(name[144], '#');
    return std::to_string(result) + ":" + name;
}

TEST_F(ProfileDirectory, PrefersIniDir) {
    const TempDirectory other;
    const std::string path = other.write("p.ini", "");
    directory.write("p.ini", "");
    directory.write("q.ini", "");
    EXPECT_EQ(completed("p.ini", nullptr), "0:p.ini");
    for (const char* slash : {"", "/"}) {
        const EnvironmentVariable there("INIDIR", other.path() + slash);
        EXPECT_EQ(completed("p.ini", nullptr), "0:" + path);
        EXPECT_EQ(completed("p.ini", "/ignored/x.so"), "0:" + path);
        EXPECT_EQ(completed("q.ini", nullptr), "0:q.ini");
        EXPECT_EQ(completed("r.ini", nullptr), "1:r.ini");
    }
    const EnvironmentVariable empty("INIDIR", "");
    EXPECT_EQ(completed("p.ini", nullptr), "0:p.ini");
}

TEST_F(ProfileDirectory, DerivesTheNameFromTheModules) {
    directory.write("file.ini", "");
    directory.write("a.b.ini", "");
    directory.write(".ini", "");
    EXPECT_EQ(completed("", "C:\\dir\\file.dll"), "0:file.ini");
    EXPECT_EQ(completed("", "/usr/lib/a.b.so"), "0:a.b.ini");
    EXPECT_EQ(completed("", "file"), "0:file.ini");
    EXPECT_EQ(completed("", ""), "0:.ini");
    EXPECT_EQ(completed("", "/usr/lib/none.so"), "1:");
    EXPECT_EQ(completed("", nullptr), "1:");
    const std::string path = directory.path("file.ini");
    const EnvironmentVariable there("INIDIR", directory.path());
    EXPECT_EQ(completed("", "/usr/lib/file.so"), "0:" + path);
}

TEST_F(ProfileDirectory, IgnoresAnIniDirThatLeavesNoRoomForTheName) {
    for (const size_t length : {142u, 143u, 144u, 160u}) {
        SCOPED_TRACE(length);
        std::filesystem::remove("p.ini");
        // Two names fill the path up to that length.
        std::string deep = directory.path() + "/" + std::string(50, 'a') + "/";
        deep += std::string(length - deep.size(), 'b');
        std::filesystem::create_directories(deep);
        directory.write(deep.substr(directory.path().size() + 1) + "/p.ini", "[s]\nkey=deep\n");
        const EnvironmentVariable there("INIDIR", deep);
        EXPECT_EQ(completed("p.ini", nullptr), "1:p.ini");
        EXPECT_EQ(get("s", "key"), "deep");
        directory.write("p.ini", "");
        EXPECT_EQ(completed("p.ini", nullptr), "0:p.ini");
    }
}

TEST_F(ProfileDirectory, APathMayFillTheName) {
    const std::string name(143 - directory.path().size() - 1, 'p');
    const std::string path = directory.write(name, "");
    ASSERT_EQ(path.size(), 143u);
    EXPECT_EQ(completed(path, nullptr), "0:" + path);
    const EnvironmentVariable there("INIDIR", directory.path());
    EXPECT_EQ(completed(name, nullptr), "0:" + path);
}

TEST_F(ProfileDirectory, ALongModuleNameIsNotFound) {
    const std::string longest(139, 'm');
    directory.write(longest + ".ini", "");
    directory.write("a.ini", "");
    EXPECT_EQ(completed("", longest.c_str()), "0:" + longest + ".ini");
    EXPECT_EQ(completed("", (longest + "." + std::string(1000, 'x')).c_str()),
              "0:" + longest + ".ini");
    EXPECT_EQ(completed("", (longest + "m").c_str()), "1:");
    EXPECT_EQ(completed("", std::string(1000, 'm').c_str()), "1:");
    EXPECT_EQ(completed("", ("a." + std::string(1000, 'b') + ".so").c_str()), "1:");
    EXPECT_EQ(GetProfileDirectory(nullptr, "x"), 1);
}

TEST_F(ProfileDirectory, ANameAboveItsFieldIsNotFound) {
    std::string name;
    while (name.size() < 138) name += "./";
    name += "p.ini";
    directory.write("p.ini", "");
    EXPECT_EQ(completed(name, nullptr), "0:" + name);
    std::string longer = name + "x";
    ASSERT_EQ(longer.size(), 144u);
    EXPECT_EQ(GetProfileDirectory(longer.data(), nullptr), 1);
    EXPECT_EQ(longer, name + "x");
}

}  // namespace
