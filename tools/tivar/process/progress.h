// What the user sees on a terminal while an export runs.
#pragma once

#include <string>

namespace tool {

struct Progress {
    std::string input;
    bool quiet;         // nothing but failures is shown
    bool visible;       // standard error is a terminal of this export alone, not to be quiet
    bool open = false;  // a step stands on the line

    Progress(const std::string& inputName, bool isQuiet, bool onlyOne);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
};

void showStep(Progress& progress, const std::string& step);
void showResult(Progress& progress, const std::string& result);

// A line about what the user may not expect of an export that succeeded, on a terminal or not.
void showNotice(Progress& progress, const std::string& what, const std::string& remedy);

}  // namespace tool
