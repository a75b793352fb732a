// The part of the command line that is about BMP files that are there already.
#pragma once

#include "command/options.h"

namespace CLI {
class App;
}

namespace tool {

struct BmpCommands {
    CLI::App* inspect{};
    CLI::App* decode{};
};

// How pictures are read.
void addReading(CLI::App& app, ReadRequest& reading);

BmpCommands addBmpCommands(CLI::App& app, Options& options);

// The one of them that is on the command line, or null.
const CLI::App* parsedOf(const BmpCommands& commands);
Command chosenOf(const BmpCommands& commands);

}  // namespace tool
