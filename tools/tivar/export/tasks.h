// Which file each input makes, and which of them need not or cannot be made.
#pragma once

#include <optional>
#include <vector>

#include "export/outcome.h"
#include "export/request.h"
#include "export/run_job.h"

namespace tool {

struct Task {
    Job job;
    std::optional<Outcome> settled;  // without any work
};

// Whether the inputs are more than those that the command line has room for, or have folders.
bool takesMany(const JobsRequest& request);

// A command line that fits no inputs is wrong usage.
std::vector<Task> planTasks(const JobsRequest& request);

// What the file that is there already makes of the job; none = there is work to do.
std::optional<Outcome> settledBy(const Job& job);

}  // namespace tool
