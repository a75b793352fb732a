// Several inputs: which file each one makes, and worker processes that make them.

#ifndef TIVAR_TOOL_JOBS_H
#define TIVAR_TOOL_JOBS_H

#include <vector>

#include "library.h"
#include "options.h"
#include "run_job.h"

namespace tool {

// Targets that do not fit the inputs are wrong usage.
std::vector<Job> planJobs(const Options& options);

// Runs all jobs, whichever fail: the exit code.
int runJobs(const Library& library, const std::vector<Job>& jobs, const Options& options);

}  // namespace tool

#endif
