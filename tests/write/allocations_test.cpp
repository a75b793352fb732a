// Whole calls while memory or the file system fails under them: the stated result, nothing left
// behind, and the next call is whole.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "hardening/sweep.h"
#include "write/write_kit.h"

namespace {

using namespace write_kit;
using hardening::Attempt;
using hardening::kAllocations;
using hardening::Outcome;
using hardening::sweep;
using support::Failure;

constexpr Failure kFailures[] = {Failure::kOnce, Failure::kFromThenOn};

struct Case {
    const char* name;
    TivarOptions options;
    Access access;
};

TivarOptions with(int32_t bits, int32_t colors, int32_t dither = 0, int32_t encoding = 0) {
    TivarOptions options = optionsOf(bits);
    options.colors = colors;
    options.dither = dither;
    options.encoding = encoding;
    return options;
}

TivarOptions withThreads(TivarOptions options) {
    options.threads = 4;
    return options;
}

// Every way through the library that asks for memory of its own.
std::vector<Case> everyCase() {
    return {
        {"24 from memory", optionsOf(24), Access::kPacked},
        {"24 in order", optionsOf(24), Access::kInOrder},
        {"24 in any order", optionsOf(24), Access::kAnyOrder},
        {"32", optionsOf(32), Access::kAnyOrder},
        {"16", optionsOf(16), Access::kPacked},
        {"16 diffused", with(16, 0, TIVAR_DITHER_DIFFUSE), Access::kInOrder},
        {"8", optionsOf(8), Access::kAnyOrder},
        {"8 encoded", with(8, 0, 0, TIVAR_ENCODING_RLE), Access::kInOrder},
        {"8 diffused", with(8, 0, TIVAR_DITHER_DIFFUSE), Access::kPacked},
        {"8 by the filter", with(8, TIVAR_COLORS_FILTER), Access::kPacked},
        {"8 with threads", withThreads(optionsOf(8)), Access::kPacked},
        {"4 smallest", with(4, 0, 0, TIVAR_ENCODING_SMALLEST), Access::kAnyOrder},
        {"4 ordered", with(4, TIVAR_COLORS_GREYS, TIVAR_DITHER_ORDERED), Access::kPacked},
        {"1", optionsOf(1), Access::kInOrder},
    };
}

struct ToMemory {
    const Drawn& picture;
    const Case& call;

    Outcome operator()(Attempt& attempt) const {
        Source source(picture, call.access);
        TivarReport report = noReport();
        void* bytes = &source;
        size_t length = 99;
        int32_t result = 0;
        attempt([&] {
            result =
                tivar_write_bmp_memory(&source.picture, &call.options, &bytes, &length, &report);
        });
        EXPECT_EQ(report.result, result);
        EXPECT_EQ(bytes == nullptr, result != TIVAR_RESULT_OK);
        const auto* from = static_cast<const uint8_t*>(bytes);
        const Bytes file = from == nullptr ? Bytes() : Bytes(from, from + length);
        EXPECT_EQ(length, file.size());
        tivar_free(bytes);
        return {{result}, file};
    }
};

TEST(WriteAllocations, EachThatFailsIsToldAndLeavesNothing) {
    const Drawn picture = drawNoise(TIVAR_RGB, 61, 37, 5);
    for (const Case& call : everyCase()) {
        int swept = 0;
        for (const char* function : kAllocations) {
            for (const Failure failure : kFailures) {
                SCOPED_TRACE(call.name);
                swept += sweep(function, failure, ToMemory{picture, call},
                               [](const Outcome& outcome, const Outcome&) {
                                   EXPECT_EQ(outcome.codes[0], TIVAR_RESULT_NO_MEMORY);
                                   EXPECT_TRUE(outcome.bytes.empty());
                               });
                ASSERT_FALSE(HasFailure());
            }
        }
        EXPECT_GT(swept, 4) << call.name;
    }
}

TEST(WriteAllocations, AFileIsNotTouchedWhenOneFails) {
    const support::TempDirectory directory;
    const Drawn picture = drawNoise(TIVAR_RGB, 61, 37, 5);
    for (const Case& call : everyCase()) {
        for (const char* function : kAllocations) {
            for (int nth = 1;; ++nth) {
                const std::string name = directory.write("out.bmp", "old");
                Source source(picture, call.access);
                int32_t result = 0;
                bool happened = false;
                {
                    const support::FailingCall failing(function, nth);
                    result = tivar_write_bmp_file(&source.picture, &call.options, name.c_str(), 0,
                                                  nullptr);
                    happened = failing.happened();
                }
                if (!happened) {
                    EXPECT_EQ(result, TIVAR_RESULT_OK);
                    break;
                }
                EXPECT_EQ(result, TIVAR_RESULT_NO_MEMORY) << call.name << function << nth;
                EXPECT_EQ(directory.read("out.bmp"), "old");
                EXPECT_EQ(directory.names(), (std::set<std::string>{"out.bmp"}));
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

// ---- The file system ---------------------------------------------------------------------------

struct ToFile {
    const support::TempDirectory& directory;
    const Drawn& picture;
    TivarOptions options;
    Access access;
    uint32_t flags;
    bool replaces;

    Outcome operator()(Attempt& attempt) const {
        Source source(picture, access);
        const std::string name = directory.path("out.bmp");
        remove(name.c_str());
        if (replaces) {
            directory.write("out.bmp", "old");
            chmod(name.c_str(), 0640);
        }
        TivarReport report = noReport();
        int32_t result = 0;
        attempt([&] {
            errno = EBADMSG;
            result = tivar_write_bmp_file(&source.picture, &options, name.c_str(), flags, &report);
        });
        EXPECT_EQ(report.result, result);
        EXPECT_EQ(report.system_error != 0, result == TIVAR_RESULT_FILE_FAILED);
        const std::string content = directory.read("out.bmp");
        const size_t names = directory.names().size();
        EXPECT_LE(names, 1u) << "something is left beside the file";
        struct stat status = {};
        if (replaces && stat(name.c_str(), &status) == 0) {
            EXPECT_EQ(status.st_mode & 07777, 0640u);
        }
        return {{result, static_cast<int64_t>(names)}, Bytes(content.begin(), content.end())};
    }
};

struct FileWay {
    const char* name;
    TivarOptions options;
    int32_t format;
    Access access;
};

// Files that are written from the start on, that have their rows put into their places, and whose
// header is put right afterwards.
std::vector<FileWay> everyFileWay() {
    return {{"from the start", optionsOf(24), TIVAR_RGB, Access::kPacked},
            {"in order", optionsOf(24), TIVAR_RGB, Access::kInOrder},
            {"encoded", with(8, TIVAR_COLORS_GREYS, TIVAR_DITHER_NONE, TIVAR_ENCODING_RLE),
             TIVAR_GREY, Access::kPacked}};
}

// Some file systems answer so when they are full.
TEST(WriteFileCalls, OneThatWritesNothingSaysThatTheDiskIsFull) {
    const support::TempDirectory directory;
    const Drawn picture = drawNoise(TIVAR_RGB, 40, 30, 5);
    for (const bool inPlace : {false, true}) {
        const Source source(picture, inPlace ? Access::kInOrder : Access::kPacked);
        TivarReport report = noReport();
        {
            const support::FailingCall failing(inPlace ? "pwrite" : "write", 1,
                                               Failure::kFromThenOn);
            support::failedWrite = 0;
            EXPECT_EQ(tivar_write_bmp_file(&source.picture, nullptr,
                                           directory.path("out.bmp").c_str(), 0, &report),
                      TIVAR_RESULT_FILE_FAILED);
            support::failedWrite = -1;
            EXPECT_TRUE(failing.happened());
        }
        EXPECT_EQ(report.system_error, ENOSPC);
        EXPECT_TRUE(directory.names().empty());
    }
}

TEST(WriteFileCalls, OneThatWritesAPartIsFollowedByTheRest) {
    const support::TempDirectory directory;
    const Drawn picture = drawNoise(TIVAR_RGB, 40, 30, 5);
    for (const bool inPlace : {false, true}) {
        const Source source(picture, inPlace ? Access::kInOrder : Access::kPacked);
        Written written;
        {
            const support::FailingCall partly(inPlace ? "pwrite" : "write", 1,
                                              Failure::kFromThenOn);
            support::failedWrite = 7;
            written = toFile(source.picture, noOptions(), directory.path("out.bmp"));
            support::failedWrite = -1;
            EXPECT_TRUE(partly.happened());
        }
        EXPECT_EQ(written.result, TIVAR_RESULT_OK);
        EXPECT_EQ(written.bytes, toMemory(picture, noOptions()).bytes);
    }
}

TEST(WriteFileCalls, EachThatFailsIsToldAndTheOldFileStays) {
    const support::TempDirectory directory;
    for (const FileWay& way : everyFileWay()) {
        // Larger than any buffer, so that there are several writes.
        const Drawn large = drawNoise(way.format, 401, 197, 5);
        const Drawn small = drawNoise(way.format, 40, 30, 5);
        for (const uint32_t flags : {0u, uint32_t{TIVAR_FILE_SYNC}}) {
            for (const bool replaces : {false, true}) {
                // Disks take their time.
                if (flags != 0 && (replaces || way.access == Access::kPacked)) continue;
                for (const char* function :
                     {"open", "write", "pwrite", "fsync", "close", "rename", "fchmod"}) {
                    SCOPED_TRACE(testing::Message() << way.name << ", flags " << flags);
                    const ToFile work = {directory,   flags == 0 ? large : small,
                                         way.options, way.access,
                                         flags,       replaces};
                    const std::string old = replaces ? "old" : "";
                    int seen = 0;
                    const auto judge = [&](const Outcome& outcome, const Outcome& whole) {
                        ++seen;
                        EXPECT_EQ(outcome.codes[0], TIVAR_RESULT_FILE_FAILED);
                        // A directory that cannot be brought to the disk holds the new file.
                        const bool installed =
                            (flags & TIVAR_FILE_SYNC) != 0 &&
                            outcome == Outcome{{TIVAR_RESULT_FILE_FAILED, 1}, whole.bytes};
                        if (installed && function != std::string("write")) return;
                        EXPECT_EQ(std::string(outcome.bytes.begin(), outcome.bytes.end()), old);
                        EXPECT_EQ(outcome.codes[1], replaces ? 1 : 0);
                    };
                    for (const Failure failure : kFailures) {
                        sweep(function, failure, work, judge);
                        ASSERT_FALSE(HasFailure());
                    }
                    const std::string called = function;
                    if (called == "open" || called == "close" || called == "rename" ||
                        (called == "fsync" && flags != 0) || (called == "fchmod" && replaces)) {
                        EXPECT_GT(seen, 0) << function;
                    }
                }
            }
        }
    }
}

TEST(WriteFileCalls, ANewFileThatCannotBeLinkedIsNotThere) {
    const support::TempDirectory directory;
    const Drawn picture = drawNoise(TIVAR_RGB, 11, 7, 5);
    const ToFile work = {directory, picture, optionsOf(24), Access::kPacked, TIVAR_FILE_NEW, false};
    const auto judge = [&](const Outcome& outcome, const Outcome&) {
        EXPECT_EQ(outcome.codes[0], TIVAR_RESULT_FILE_FAILED);
        EXPECT_EQ(outcome.codes[1], 0);
    };
    EXPECT_EQ(sweep("link", Failure::kOnce, work, judge), 1);
}

}  // namespace
