// Whole exports while the files, the disk or the host's document fail under them: the stated code,
// nothing left open, and the next export is whole.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hardening/whole_exports.h"
#include "support/child_process.h"
#include "support/environment.h"

namespace {

using namespace hardening;
using support::Drawing;
using support::drawPicture;
using support::HostDocument;

constexpr const char* kFileCalls[] = {"fopen", "fread", "fwrite", "fseek", "ftell", "fclose"};
constexpr Failure kFailures[] = {Failure::kOnce, Failure::kFromThenOn};

struct ExportFiles : testing::Test {
    // Several buffers of a stream: files of 25 000 bytes and more.
    FilterExport filterExport(int compression, Target target) const {
        return {drawPicture(Drawing::kNoise, 8, 180, 140, 5), settingsOf(221, compression, 331),
                sized(180, 140), target, directory};
    }
    DriverExport driverExport(int compression, Image image, Target target) const {
        return {drawPicture(Drawing::kNoise, 8, 180, 140, 5),
                settingsOf(221, compression, 331),
                image,
                false,
                0.254,
                target,
                directory};
    }

    const support::EnvironmentVariable noDisplay{"DISPLAYINFO"};
    const support::TempDirectory directory;
};

// ---- Calls of the C library --------------------------------------------------------------------

TEST_F(ExportFiles, AFilterExportAnswers303WithoutAFileAndElse0) {
    for (const int compression : {310, 228}) {
        for (const char* function : kFileCalls) {
            for (const Failure failure : kFailures) {
                const FilterExport work = filterExport(compression, Target::kFile);
                const int swept =
                    sweep(function, failure, work, [&](const Outcome& o, const Outcome& whole) {
                        EXPECT_EQ(o.codes[0], std::string(function) == "fopen" ? 303 : 0);
                        expectAFilesBeginning(o, whole);
                    });
                // Only the size's place in an encoded file is read back.
                const bool used = std::string(function) != "fread" || compression == 228;
                EXPECT_EQ(swept > 0, used) << function;
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST_F(ExportFiles, ADriverExportAnswers303WhenOpeningOrClosingFails) {
    for (const int compression : {310, 228}) {
        for (const Image image : {Image::kBracket, Image::kAlone}) {
            for (const std::string function : kFileCalls) {
                for (const Failure failure : kFailures) {
                    const DriverExport work = driverExport(compression, image, Target::kFile);
                    const auto judge = [&](const Outcome& o, const Outcome& whole) {
                        expectDriverCodes(o);
                        expectAFilesBeginning(o, whole);
                        EXPECT_EQ(o.codes[kOpenCode], function == "fopen" ? 303 : 0);
                        // A full disk stays full, which closing tells.
                        const bool told = function == "fopen" || function == "fclose" ||
                                          (function == "fwrite" && failure != Failure::kOnce);
                        if (told) {
                            EXPECT_EQ(o.codes[closeCode(o)], 303);
                        }
                    };
                    sweep(function.c_str(), failure, work, judge);
                    ASSERT_FALSE(HasFailure());
                }
            }
        }
    }
}

TEST_F(ExportFiles, TheCommonBlockRouteAnswers303WhenOpeningOrClosingFails) {
    for (const std::string function : kFileCalls) {
        const CommonExport work = {settingsOf(221, 310, 331), Target::kFile, directory};
        sweep(function.c_str(), Failure::kOnce, work, [&](const Outcome& o, const Outcome&) {
            EXPECT_EQ(o.codes[0], function == "fopen" ? 303 : 0);
            EXPECT_EQ(o.codes[1], function == "fclose" ? 303 : 300);
        });
        ASSERT_FALSE(HasFailure());
    }
}

// ---- The host's document -----------------------------------------------------------------------

enum class Refusal { kNothing, kMinusOne, kShort };

// A document whose nth call, whichever it is, goes wrong; later ones do not.
struct MoodyDocument : HostDocument {
    MoodyDocument(int nth, Refusal how) : left(nth), refusal(how) { current = this; }
    ~MoodyDocument() { current = nullptr; }
    MoodyDocument(const MoodyDocument&) = delete;
    MoodyDocument& operator=(const MoodyDocument&) = delete;

    static intptr_t serveMoodily(intptr_t first, int32_t operation, intptr_t a, intptr_t b) {
        if (operation == 1) current->wasOpened = true;
        if (--current->left == 0) return current->refuse(operation, a, b);
        // A document that was refused is called with a handle of 0.
        if (first == 0) return 0;
        return serve(first, operation, a, b);
    }

    intptr_t refuse(int32_t operation, intptr_t a, intptr_t b) {
        failedOperation = operation;
        if (refusal == Refusal::kMinusOne) return operation == 1 ? 0 : -1;
        if (refusal == Refusal::kNothing || operation != 3) return 0;
        return write(reinterpret_cast<const uint8_t*>(a), static_cast<size_t>(b) / 2);
    }

    inline static MoodyDocument* current = nullptr;
    int left;
    Refusal refusal;
    bool wasOpened = false;
    int32_t failedOperation = 0;
};

// What an export to a document whose nth call fails came to; the codes start with the operation
// that failed, 0 for none.
template <class Start>
Outcome exportMoodily(int nth, Refusal refusal, Start start) {
    MoodyDocument document(nth, refusal);
    Outcome outcome = start(document);
    outcome.codes.insert(outcome.codes.begin(), document.failedOperation);
    outcome.bytes = document.bytes;
    return outcome;
}

template <class Start, class Judge>
void sweepDocument(Start start, Judge judge) {
    const Outcome whole = exportMoodily(0, Refusal::kNothing, start);
    for (const Refusal refusal : {Refusal::kNothing, Refusal::kMinusOne, Refusal::kShort}) {
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(testing::Message() << nth << " refusal " << static_cast<int>(refusal));
            const long blocks = support::liveBlocks;
            const size_t files = support::openFiles();
            const Outcome outcome = exportMoodily(nth, refusal, start);
            EXPECT_EQ(support::liveBlocks, blocks);
            EXPECT_EQ(support::openFiles(), files);
            if (outcome.codes[0] == 0) {
                EXPECT_TRUE(outcome == whole) << shown(outcome);
                EXPECT_GT(nth, 64) << "a call for each byte of the palette alone";
                break;
            }
            judge(outcome);
            EXPECT_TRUE(exportMoodily(0, refusal, start) == whole) << "afterwards";
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST_F(ExportFiles, AFilterExportSurvivesEveryAnswerOfADocument) {
    for (const int compression : {310, 228}) {
        for (const std::string name : {"", "out.bmp"}) {
            const auto start = [&](MoodyDocument& document) {
                support::Export host(settingsOf(219, compression, 331),
                                     drawPicture(Drawing::kNoise, 4, 20, 14, 5), sized(20, 14));
                document.attach(host.settings.record, host.status);
                host.settings->documentStream =
                    reinterpret_cast<HostWord>(&MoodyDocument::serveMoodily);
                const std::string path = name.empty() ? name : directory.path(name);
                return Outcome{{host.run(path.c_str())}, {}};
            };
            sweepDocument(start, [&](const Outcome& o) {
                // Kept: a document that is not served has its name opened as a file.
                EXPECT_EQ(o.codes[1], o.codes[0] == 1 && name.empty() ? 303 : 0);
            });
        }
    }
}

TEST_F(ExportFiles, ADriverExportSurvivesEveryAnswerOfADocument) {
    for (const int compression : {310, 228}) {
        const auto start = [&](MoodyDocument& document) {
            DriverExport work = {drawPicture(Drawing::kNoise, 4, 20, 14, 5),
                                 settingsOf(219, compression, 331),
                                 Image::kBracket,
                                 false,
                                 0.254,
                                 Target::kDocument,
                                 directory};
            support::DriverHost host(work.settings, "");
            document.attach(host.settings.record, host.hook.words);
            host.settings->documentStream =
                reinterpret_cast<HostWord>(&MoodyDocument::serveMoodily);
            Outcome outcome;
            outcome.codes.push_back(host.initialise());
            for (const support::OpcodeBlock& operation : work.everyOperation())
                outcome.codes.push_back(host.send(operation));
            outcome.codes.push_back(host.terminate());
            return outcome;
        };
        sweepDocument(start, [&](Outcome o) {
            const bool unopened = o.codes[0] == 1;
            o.codes.erase(o.codes.begin());
            expectDriverCodes(o);
            // Whether the host serves its document shows at closing only.
            EXPECT_EQ(o.codes[kOpenCode], 0);
            EXPECT_EQ(o.codes[closeCode(o)], unopened ? 303 : 0);
        });
    }
}

// ---- Disks and pipes ---------------------------------------------------------------------------

// The export call's code and the driver's codes of opening and closing, for a target that exists.
std::vector<int32_t> exportTo(const std::string& path) {
    const support::DrawnPicture picture = drawPicture(Drawing::kNoise, 8, 180, 140, 5);
    const model::Settings settings = settingsOf(221, 310, 331);
    support::Export host(settings, picture, sized(180, 140));
    const int32_t code = host.run(path.c_str());
    support::DriverHost driver(settings, path);
    driver.initialise();
    const int32_t opened = driver.send(OP_OPEN);
    driver.send(OP_BEGIN_PICTURE);
    driver.send(support::windowBlock({0, 0, 0, 179, 139, 0}));
    driver.send(OP_BEGIN_BODY);
    driver.send(support::cellArrayBlock({180, 140, 8}, picture.pixels));
    driver.send(OP_END_PICTURE);
    const int32_t closed = driver.send(OP_CLOSE);
    driver.terminate();
    return {code, opened, closed};
}

using Codes = std::vector<int32_t>;

TEST_F(ExportFiles, AFullDiskIsToldAtClosing) {
    const size_t files = support::openFiles();
    std::filesystem::create_symlink("/dev/full", directory.path("full"));
    EXPECT_EQ(exportTo(directory.path("full")), (Codes{0, 0, 303}));
    EXPECT_EQ(exportTo(directory.path("fine.bmp")), (Codes{0, 0, 0}));
    EXPECT_EQ(support::openFiles(), files);
}

TEST_F(ExportFiles, ATargetThatCannotBeWrittenToIs303) {
    std::filesystem::create_directory(directory.path("directory"));
    for (const char* name : {"directory", "missing/out.bmp", "directory/"})
        EXPECT_EQ(exportTo(directory.path(name)), (Codes{303, 303, 303})) << name;
}

TEST_F(ExportFiles, AFileSizeLimitIsToldAtClosingToAHostThatIgnoresItsSignal) {
    const Codes codes = support::inChild([&]() -> Codes {
        const rlimit limit = {20000, 20000};
        if (signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &limit) != 0) return {};
        return exportTo(directory.path("out.bmp"));
    });
    EXPECT_EQ(codes, (Codes{0, 0, 303}));
    EXPECT_EQ(directory.read("out.bmp").size(), 20000u);
}

// Nothing can be sought in a pipe, so that nothing goes into one either: no signal ever comes of
// it, and no export waits for a reader.
TEST_F(ExportFiles, APipeTakesNothingAndRaisesNoSignal) {
    const std::string path = directory.path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const Codes codes = support::inChild([&]() -> Codes {
        signal(SIGPIPE, SIG_DFL);
        alarm(20);
        const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
        Codes all = exportTo(path);
        close(reader);
        const Codes gone = exportTo(path);
        all.insert(all.end(), gone.begin(), gone.end());
        return all;
    });
    EXPECT_EQ(codes, (Codes{0, 0, 303, 0, 0, 303}));
}

// A lent pipe is the one that can be broken under the library's hands.
TEST_F(ExportFiles, ALentPipeWithoutAReaderFailsTheStreamAndRaisesNoSignal) {
    const Codes codes = support::inChild([]() -> Codes {
        signal(SIGPIPE, SIG_DFL);
        int ends[2];
        if (pipe(ends) != 0) return {};
        close(ends[0]);
        FILE* file = fdopen(ends[1], "w");
        OxlStreamDesc lent = {};
        lent.lentFile = reinterpret_cast<HostWord>(file);
        const OxlStream stream = oxlOpen(nullptr, &lent, OXL_LENT);
        const Bytes bytes(30000, 5);
        const Codes results = {oxlWrite(stream, bytes.data(), 30000), oxlClose(stream)};
        fclose(file);
        return results;
    });
    EXPECT_EQ(codes, (Codes{-1, -1}));
}

}  // namespace
