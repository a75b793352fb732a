#include "command/many_options.h"

#include <CLI/CLI.hpp>

#include "command/usage_error.h"
#include "process/failure.h"
#include "process/inherited.h"

namespace tool {
namespace {

void checkMany(const JobsRequest& request) {
    if (request.inputs.empty() && request.filesFrom.empty()) throw CLI::RequiredError("INPUT");
    if (isStandardOutput(request.out) && isStandardOutput(request.report)) {
        failUsage("standard output cannot have the picture and the report", "name one of them");
    }
}

}  // namespace

void addManyOptions(CLI::App& app, JobsRequest& request) {
    app.add_flag("-r,--recursive", request.recursive,
                 "Directories stand for the pictures in them and in their folders, which -o DIR "
                 "gets, too; other files, hidden ones and linked folders are left alone");
    CLI::Option* list =
        app.add_option("--files-from", request.filesFrom,
                       "More inputs, a name a line of this file; - is standard input")
            ->check(notEmpty())
            ->type_name("FILE");
    app.add_flag("-0,--null", request.endsWithNul, "Names in the list end with a zero byte")
        ->needs(list);
    app.add_option("--base", request.base, "Inputs below DIR keep their folders in -o")
        ->check(notEmpty())
        ->needs(app.get_option("--output"))
        ->type_name("DIR");
    CLI::Option* overwrite = app.add_flag_callback(
        "--overwrite", [&request] { request.existing = Existing::Replace; },
        "Replace files that are there already, also where their names follow from the inputs");
    app.add_flag_callback(
           "--skip-existing", [&request] { request.existing = Existing::KeepNewer; },
           "Leave inputs alone whose file is there and not older; replace older files")
        ->excludes(overwrite);
    app.add_option("--report", request.report,
                   "A line of JSON about each input; - is standard output")
        ->check(notEmpty())
        ->type_name("FILE");
    app.final_callback([&request] { checkMany(request); });
}

}  // namespace tool
