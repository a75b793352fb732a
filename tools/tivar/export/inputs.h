// Which inputs a command has: those named, those of a list, and the pictures in folders.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "export/outcome.h"
#include "export/request.h"

namespace tool {

struct Input {
    std::string name;    // "-" = standard input
    std::string folder;  // within the folder that the user named; "" = that one, or no folder
    bool found = false;  // in a folder, not named
    std::optional<Outcome> settled;  // of what there is nothing to do for
};

// In the order named; within folders in the order of their names. A list that cannot be read is a
// Failure.
std::vector<Input> gatherInputs(const JobsRequest& request);

}  // namespace tool
