// The part of the command line of export that is about many files.
#pragma once

#include "export/request.h"

namespace CLI {
class App;
}

namespace tool {

// The inputs and what becomes of them; the option -o is there already.
void addManyOptions(CLI::App& app, JobsRequest& request);

}  // namespace tool
