// tivar: a command-line host of the export library.

#include "bmp/decode.h"
#include "bmp/inspect.h"
#include "command/info.h"
#include "command/options.h"
#include "export/jobs.h"
#include "export/tasks.h"
#include "gallery/gallery.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/interrupt.h"
#include "process/printing.h"
#include "process/program.h"
#include "settings/settings_commands.h"

namespace tool {
namespace {

void runWithLibrary(const Library& library, const Options& options) {
    if (options.command == Command::Version) printVersion(library);
    if (options.command == Command::Info) printInfo(library);
    if (options.command == Command::ShowSettings) showSettings(library, options.settings);
    if (options.command == Command::SetSettings) setSettings(library, options.settings);
}

int runWithBmp(const Options& options) {
    if (options.command == Command::Inspect) return inspectFiles(options.inspect);
    return reporting(nameOfInput(options.decode.input), [&] {
        decodeFile(options.decode);
        return static_cast<int>(kDone);
    });
}

int runGallery(const Options& options) {
    const Library library = loadLibrary(options.library);
    return reporting(nameOfInput(options.gallery.input), [&] {
        makeGallery(library, options.gallery);
        return static_cast<int>(kDone);
    });
}

int run(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    if (options.command == Command::Inspect || options.command == Command::Decode) {
        return runWithBmp(options);
    }
    if (options.command == Command::Export) {
        const std::vector<Task> tasks = planTasks(options.jobs);
        return runTasks(loadLibrary(options.library), tasks, options.jobs);
    }
    if (options.command == Command::Gallery) return runGallery(options);
    if (options.command == Command::InitSettings) {
        initSettings(options.settings);
        return kDone;
    }
    if (options.command != Command::Help) runWithLibrary(loadLibrary(options.library), options);
    finishPrinting();
    return kDone;
}

}  // namespace
}  // namespace tool

int main(int argc, char** argv) {
    tool::prepareProgram(argc, argv);
    tool::installSignalHandlers();
    return tool::reporting("", [&] { return tool::run(argc, argv); });
}
