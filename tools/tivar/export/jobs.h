// Several inputs, exported by worker processes: what the user hears of it.
#pragma once

#include <vector>

#include "export/request.h"
#include "export/tasks.h"
#include "process/library.h"

namespace tool {

// Runs all tasks, whichever fail: the exit code.
int runTasks(const Library& library, const std::vector<Task>& tasks, const JobsRequest& request);

}  // namespace tool
