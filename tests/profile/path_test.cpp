#include "profile/path.h"

namespace {

using tivar::s_getname;
using tivar::s_getpath;

struct Split {
    const char* path;
    const char* directory;
    const char* name;
};

const Split kSplits[] = {
    {"/usr/lib/a.ini", "/usr/lib/", "a"},
    {"a.ini", "", "a"},
    {"C:\\dir\\file.ini", "C:\\dir\\", "file"},
    {"/usr/lib/a.b.ini", "/usr/lib/", "a.b"},
    {"", "", ""},
    {"/", "/", ""},
    {"/name", "/", "name"},
    {"dir/", "dir/", ""},
    // A backslash goes before a slash, wherever it stands.
    {"C:\\dir/file.ini", "C:\\", "dir/file"},
    {"/a/b\\c/d.e", "/a/b\\", "c/d"},
    // A colon separates names only, and only where nothing else does.
    {"C:file.ini", "", "file"},
    {"A:B:file.ini", "", "file"},
    {"dir/C:file", "dir/", "C:file"},
    // A full stop of the directory is no extension's.
    {"/dir.d/file", "/dir.d/", "file"},
    {"/dir/.hidden", "/dir/", ""},
    {"file.", "", "file"},
    {"..", "", "."},
};

TEST(PathSplit, TheDirectoryEndsWithItsSeparator) {
    for (const Split& split : kSplits) {
        char destination[64] = "old";
        EXPECT_EQ(s_getpath(destination, sizeof destination, split.path), destination);
        EXPECT_STREQ(destination, split.directory) << split.path;
    }
}

TEST(PathSplit, TheNameHasNeitherDirectoryNorLastExtension) {
    for (const Split& split : kSplits) {
        char destination[64] = "old";
        EXPECT_EQ(s_getname(destination, sizeof destination, split.path), destination);
        EXPECT_STREQ(destination, split.name) << split.path;
    }
}

TEST(PathSplit, WhatDoesNotFitIsCutAndTerminated) {
    for (size_t capacity = 1; capacity < 16; ++capacity) {
        SCOPED_TRACE(capacity);
        char destination[16];
        std::fill(std::begin(destination), std::end(destination), '#');
        s_getpath(destination, capacity, "/usr/lib/a.ini");
        EXPECT_EQ(destination, std::string("/usr/lib/").substr(0, capacity - 1));
        EXPECT_EQ(destination[capacity < 10 ? capacity : 10], '#');
        std::fill(std::begin(destination), std::end(destination), '#');
        s_getname(destination, capacity, "/usr/longname");
        EXPECT_EQ(destination, std::string("longname").substr(0, capacity - 1));
        EXPECT_EQ(destination[capacity < 9 ? capacity : 9], '#');
        // The last extension is the whole name's, not that of what fits.
        s_getname(destination, capacity, "/usr/a.long.name");
        EXPECT_EQ(destination, std::string("a.long").substr(0, capacity - 1));
    }
}

}  // namespace
