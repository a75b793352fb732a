// Several inputs: which file each one makes, and worker processes that make them.

#ifndef TIVAR_TOOL_JOBS_H
#define TIVAR_TOOL_JOBS_H

#include <vector>

#include "export/request.h"
#include "export/run_job.h"
#include "process/library.h"

namespace tool {

// Targets that do not fit the inputs are wrong usage.
std::vector<Job> planJobs(const JobsRequest& request);

// Runs all jobs, whichever fail: the exit code.
int runJobs(const Library& library, const std::vector<Job>& jobs, const JobsRequest& request);

}  // namespace tool

#endif
