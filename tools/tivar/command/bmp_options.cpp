#include "command/bmp_options.h"

#include <CLI/CLI.hpp>

#include "command/usage_error.h"

namespace tool {
namespace {

template <class Target>
void addInput(CLI::App& app, Target& target, const char* what) {
    app.add_option("FILE", target, what)->required()->check(notEmpty())->type_name("");
}

}  // namespace

BmpCommands addBmpCommands(CLI::App& app, Options& options) {
    BmpCommands commands;
    commands.inspect =
        app.add_subcommand("inspect", "Show what is in a BMP file, and what is wrong");
    addInput(*commands.inspect, options.inspect.inputs, "BMP files; - is standard input");
    commands.inspect->add_flag("--brief", options.inspect.brief, "A line for each file");
    commands.inspect->footer(
        "Exit codes: 0 consistent, 1 inconsistent or unreadable, 2 wrong usage");

    commands.decode = app.add_subcommand("decode", "Turn a BMP file into a PNG or PPM picture");
    addInput(*commands.decode, options.decode.input,
             "The BMP file: 1, 4, 8 or 24 bits, raw, RLE8, RLE4 or the library's native run-length "
             "form; - is standard input");
    commands.decode
        ->add_option("OUT", options.decode.target,
                     "The picture to write, .png or .ppm; - is a PNG on standard output")
        ->required()
        ->check(notEmpty())
        ->type_name("");
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
