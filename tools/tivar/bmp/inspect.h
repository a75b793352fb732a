// What is in a BMP file, field by field.

#ifndef TIVAR_TOOL_INSPECT_H
#define TIVAR_TOOL_INSPECT_H

#include <string>
#include <vector>

namespace tool {

struct InspectRequest {
    std::vector<std::string> inputs;
    bool brief = false;  // a line for each file
};

// Prints it to standard output: the exit code, which tells whether everything fits together.
int inspectFiles(const InspectRequest& request);

}  // namespace tool

#endif
