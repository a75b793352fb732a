// The part of the command line of export that is about many files.

#ifndef TIVAR_TOOL_MANY_OPTIONS_H
#define TIVAR_TOOL_MANY_OPTIONS_H

#include "export/request.h"

namespace CLI {
class App;
}

namespace tool {

// The inputs and what becomes of them; the option -o is there already.
void addManyOptions(CLI::App& app, JobsRequest& request);

}  // namespace tool

#endif
