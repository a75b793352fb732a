#include "command/bmp_options.h"

#include <CLI/CLI.hpp>
#include <limits>

#include "command/usage_error.h"

namespace tool {
namespace {

template <class Target>
void addInput(CLI::App& app, Target& target, const char* what) {
    app.add_option("FILE", target, what)->required()->check(notEmpty())->type_name("");
}

}  // namespace

void addReading(CLI::App& app, ReadRequest& reading) {
    app.add_option("--limit-pixels", reading.limitPixels,
                   "Refuse pictures of more pixels (else 268435456)")
        ->check(CLI::Range(uint64_t{1}, std::numeric_limits<uint64_t>::max()).description(""))
        ->type_name("N");
    app.add_flag("--lenient", reading.lenient,
                 "Take damaged pictures as far as they go; what is missing is left empty");
}

BmpCommands addBmpCommands(CLI::App& app, Options& options) {
    BmpCommands commands;
    commands.inspect =
        app.add_subcommand("inspect", "Show what is in a BMP file, and what is wrong");
    addInput(*commands.inspect, options.inspect.inputs, "BMP files; - is standard input");
    InspectForm& form = options.inspect.form;
    CLI::Option* brief = commands.inspect->add_flag_callback(
        "--brief", [&form] { form = InspectForm::Brief; }, "A line for each file");
    commands.inspect
        ->add_flag_callback(
            "--json", [&form] { form = InspectForm::Json; }, "A line of JSON for each file")
        ->excludes(brief);
    commands.inspect->footer(
        "Exit codes: 0 consistent, 1 inconsistent or unreadable, 2 wrong usage");

    commands.decode = app.add_subcommand("decode", "Turn a BMP file into a PNG or PPM picture");
    addInput(*commands.decode, options.decode.input,
             "The BMP file: 1 to 64 bits, raw, RLE8, RLE4, RLE24, the library's native run-length "
             "form or an embedded PNG or JPEG; - is standard input");
    commands.decode
        ->add_option("OUT", options.decode.target,
                     "The picture to write, .png or .ppm; - is a PNG on standard output")
        ->required()
        ->check(notEmpty())
        ->type_name("");
    addReading(*commands.decode, options.decode.reading);
    return commands;
}

const CLI::App* parsedOf(const BmpCommands& commands) {
    for (const CLI::App* command : {commands.inspect, commands.decode}) {
        if (command->parsed()) return command;
    }
    return nullptr;
}

Command chosenOf(const BmpCommands& commands) {
    return commands.inspect->parsed() ? Command::Inspect : Command::Decode;
}

}  // namespace tool
