// Settings read from a profile and saved to it while the files fail under them: there is always a
// usable record, and always the old or the new profile.
#include <tivar/filter.h>

#include "hardening/sweep.h"
#include "support/environment.h"
#include "support/temp_directory.h"

namespace {

using namespace hardening;

constexpr const char* kCalls[] = {"calloc", "malloc", "realloc", "fopen",  "fread",  "fwrite",
                                  "fseek",  "ftell",  "open",    "fdopen", "fflush", "realpath",
                                  "fchmod", "fsync",  "rename",  "fclose"};
constexpr Failure kFailures[] = {Failure::kOnce, Failure::kFromThenOn};

// More than one buffer of a stream.
std::string profileWith(const char* resolution) {
    std::string text = "[TIVAR]\n~Mode=Given\n";
    for (int i = 0; i < 200; ++i)
        text += "; comments that make it longer than a buffer, of all things\n";
    return text + "[Given]\nDriver=TIVAR.1\nX Resolution=" + resolution + "\n[after]\nk=1\n";
}

struct ProfileFiles : testing::Test {
    // Creates a record, saves a resolution of 200 and destroys it; the codes of the three, and the
    // profile that is there then.
    Outcome run(Attempt& attempt) const {
        directory.write("p.ini", profileWith("100"));
        Outcome outcome;
        outcome.codes = {99, 99, 99};
        attempt([&] {
            const MemHandle handle = CreateSetup(0, "p.ini", nullptr, nullptr);
            outcome.codes[0] = handle != 0 ? 1 : 0;
            int32_t resolution = 200;
            outcome.codes[1] = xEscapeSetup(handle, 11, 4, &resolution, nullptr, 1);
            outcome.codes[2] = DestroySetup(handle);
        });
        const std::string text = directory.read("p.ini");
        outcome.bytes.assign(text.begin(), text.end());
        EXPECT_EQ(directory.names(), std::set<std::string>{"p.ini"});
        return outcome;
    }

    const support::TempDirectory directory;
    const support::WorkingDirectory current{directory.path()};
    const support::EnvironmentVariable noIniDir{"INIDIR"};
};

TEST_F(ProfileFiles, ARecordIsThereWhateverFailsAndTheProfileIsNeverLost) {
    const std::string old = profileWith("100");
    for (const std::string function : kCalls) {
        for (const Failure failure : kFailures) {
            int nth = 0;
            const auto judge = [&](const Outcome& o, const Outcome& whole) {
                ++nth;
                const bool noRecord = function == "calloc" && nth == 1;
                EXPECT_EQ(o.codes[0], noRecord ? 0 : 1);
                EXPECT_EQ(o.codes[1], noRecord ? -1 : 1) << "failed writes are not reported";
                EXPECT_EQ(o.codes[2], 0);
                const std::string there(o.bytes.begin(), o.bytes.end());
                EXPECT_TRUE(there == old || o.bytes == whole.bytes);
            };
            const int swept = sweep(
                function.c_str(), failure, [&](Attempt& a) { return run(a); }, judge);
            const bool used = function != "malloc" && function != "realloc";
            EXPECT_EQ(swept > 0, used) << function;
            ASSERT_FALSE(HasFailure());
        }
    }
}

}  // namespace
