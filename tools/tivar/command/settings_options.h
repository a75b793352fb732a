// The part of the command line that is about profiles, and what all commands share.
#pragma once

#include <string>

#include "command/options.h"

namespace CLI {
class App;
}

namespace tool {

struct SettingsCommands {
    CLI::App* all{};
    CLI::App* show{};
    CLI::App* set{};
    CLI::App* init{};
};

void addLibrary(CLI::App& app, std::string& library);
SettingsCommands addSettingsCommands(CLI::App& app, Options& options);
Command chosenOf(const SettingsCommands& commands);

}  // namespace tool
