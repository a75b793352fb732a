// Settings read from a profile and saved to it while the files fail under them: there is always a
// usable record, and always the old or the new profile.
#include <tivar/filter.h>

#include "hardening/sweep.h"
#include "support/environment.h"
#include "support/temp_directory.h"

namespace {

using namespace hardening;

constexpr Failure kFailures[] = {Failure::kOnce, Failure::kFromThenOn};

// More than one buffer of a stream.
std::string profileWith(const char* resolution) {
    std::string text = "[TIVAR]\n~Mode=Given\n";
    for (int i = 0; i < 200; ++i)
        text += "; comments that make it longer than a buffer, of all things\n";
    return text + "[Given]\nDriver=TIVAR.1\nX Resolution=" + resolution + "\n[after]\nk=1\n";
}

struct ProfileFiles : testing::Test {
    // Whether a record was created, and what it holds.
    Outcome read(Attempt& attempt) const {
        directory.write("p.ini", profileWith("100"));
        MemHandle handle = 0;
        attempt([&] { handle = CreateSetup(0, "p.ini", nullptr, nullptr); });
        Outcome outcome = {{handle != 0 ? 1 : 0}, support::blockContents(handle)};
        DestroySetup(handle);
        return outcome;
    }

    // The code of saving a resolution of 200, and the profile that is there then.
    Outcome save(Attempt& attempt) const {
        directory.write("p.ini", profileWith("100"));
        const MemHandle handle = CreateSetup(0, "p.ini", nullptr, nullptr);
        Outcome outcome;
        outcome.codes = {99};
        attempt([&] {
            int32_t resolution = 200;
            outcome.codes[0] = xEscapeSetup(handle, 11, 4, &resolution, nullptr, 1);
        });
        DestroySetup(handle);
        const std::string text = directory.read("p.ini");
        outcome.bytes.assign(text.begin(), text.end());
        EXPECT_EQ(directory.names(), std::set<std::string>{"p.ini"});
        return outcome;
    }

    const support::TempDirectory directory;
    const support::WorkingDirectory current{directory.path()};
    const support::EnvironmentVariable noIniDir{"INIDIR"};
};

TEST_F(ProfileFiles, ARecordIsThereWhateverFailsWhileItsProfileIsRead) {
    for (const std::string function : {"calloc", "fopen", "fread", "fseek", "ftell", "fclose"}) {
        for (const Failure failure : kFailures) {
            int nth = 0;
            const auto judge = [&](const Outcome& o, const Outcome&) {
                EXPECT_EQ(o.codes[0], function == "calloc" && ++nth == 1 ? 0 : 1);
            };
            const int swept = sweep(
                function.c_str(), failure, [&](Attempt& a) { return read(a); }, judge);
            EXPECT_GT(swept, 0) << function;
            ASSERT_FALSE(HasFailure());
        }
    }
}

TEST_F(ProfileFiles, TheOldOrTheNewProfileIsThereWhateverFailsWhileItIsSaved) {
    const std::string old = profileWith("100");
    for (const std::string function :
         {"calloc", "fopen", "fread", "fwrite", "fseek", "ftell", "open", "fdopen", "fflush",
          "realpath", "fchmod", "fsync", "rename", "fclose"}) {
        for (const Failure failure : kFailures) {
            const auto judge = [&](const Outcome& o, const Outcome& whole) {
                EXPECT_EQ(o.codes[0], 1) << "failed writes are not reported";
                const std::string there(o.bytes.begin(), o.bytes.end());
                EXPECT_TRUE(there == old || o.bytes == whole.bytes);
            };
            const int swept = sweep(
                function.c_str(), failure, [&](Attempt& a) { return save(a); }, judge);
            EXPECT_GT(swept, 0) << function;
            ASSERT_FALSE(HasFailure());
        }
    }
}

}  // namespace
