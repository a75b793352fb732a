// What the user sees on a terminal while an export runs.

#ifndef TIVAR_TOOL_PROGRESS_H
#define TIVAR_TOOL_PROGRESS_H

#include <string>

namespace tool {

struct Progress {
    std::string input;
    bool visible;       // standard error is a terminal and the user did not ask for quiet
    bool live;          // steps too, not only the result: one export at a time
    bool open = false;  // a step stands on the line

    Progress(const std::string& inputName, bool quiet, bool onlyOne);
    ~Progress();
    Progress(const Progress&) = delete;
};

void showStep(Progress& progress, const std::string& step);
void showResult(Progress& progress, const std::string& result);

}  // namespace tool

#endif
