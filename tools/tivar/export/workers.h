// Worker processes that do one task after the other, so that none of them can end the others.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "export/outcome.h"

namespace tool {

struct WorkOrder {
    unsigned atOnce = 1;
    std::function<Outcome(size_t)> work;        // in a worker
    std::function<void(size_t, Outcome)> tell;  // here, in the order in which tasks are done
    std::function<Outcome(size_t, const std::string&, const std::string&)> failed;  // by itself
};

// Does all tasks; after a signal those that have been begun.
void runInWorkers(const std::vector<size_t>& tasks, const WorkOrder& order);

}  // namespace tool
