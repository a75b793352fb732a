#include "command/settings_options.h"

#include <CLI/CLI.hpp>

#include "command/usage_error.h"

namespace tool {
namespace {

CLI::Option* addProfile(CLI::App& app, SettingsRequest& request, const char* what) {
    return app.add_option("--profile", request.profile, what)->check(notEmpty())->type_name("FILE");
}

CLI::Option* addMode(CLI::App& app, SettingsRequest& request, const char* what) {
    return app.add_option("--mode", request.mode, what)->type_name("NAME");
}

}  // namespace

void addLibrary(CLI::App& app, std::string& library) {
    app.add_option("--library", library,
                   "The library to load (else TIVAR_LIBRARY, else beside the program)")
        ->type_name("PATH");
}

SettingsCommands addSettingsCommands(CLI::App& app, Options& options) {
    constexpr char kMode[] = "Section of the profile (else its ~Mode)";
    SettingsRequest& request = options.settings;
    SettingsCommands commands;
    commands.all = app.add_subcommand("settings", "Show, change or start a profile");
    commands.all->require_subcommand(1);

    commands.show = commands.all->add_subcommand("show", "Show every setting and its origin");
    CLI::Option* shown =
        addProfile(*commands.show, request, "The profile to read (else the built-in settings)");
    addMode(*commands.show, request, kMode)->needs(shown);

    commands.set = commands.all->add_subcommand("set", "Change settings of a profile's mode");
    commands.set
        ->add_option("KEY=VALUE", request.assignments,
                     "Keys as the profile has them, or bits, header, compress, colors; values as "
                     "codes or in words; colors is obeyed by exports with --route driver only")
        ->required()
        ->type_name("");
    addProfile(*commands.set, request, "The profile to change")->required();
    addMode(*commands.set, request, kMode);

    commands.init = commands.all->add_subcommand("init", "Write a profile to start from");
    addProfile(*commands.init, request,
               "The file to write; - is standard output (else OXL.INI, in the directory that "
               "INIDIR names)");
    addMode(*commands.init, request, "Name of its mode (else Default)");
    commands.init->add_flag("--force", request.force, "Replace a profile that is there");

    for (CLI::App* command : {commands.show, commands.set, commands.init}) {
        addLibrary(*command, options.library);
    }
    commands.all->footer("Exports obey colors with --route driver only.\n" +
                         commands.all->get_footer());
    return commands;
}

Command chosenOf(const SettingsCommands& commands) {
    if (commands.set->parsed()) return Command::SetSettings;
    return commands.init->parsed() ? Command::InitSettings : Command::ShowSettings;
}

}  // namespace tool
