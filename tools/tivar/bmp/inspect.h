// What is in a BMP file, field by field.
#pragma once

#include <string>
#include <vector>

namespace tool {

// In words, a line for each file, or a line of JSON for each.
enum class InspectForm { Whole, Brief, Json };

struct InspectRequest {
    std::vector<std::string> inputs;
    InspectForm form = InspectForm::Whole;
};

// Prints it to standard output: the exit code, which tells whether everything fits together.
int inspectFiles(const InspectRequest& request);

}  // namespace tool
