// One task after the other in this process, which cannot be doubled here. The threads of each
// export keep the processors busy.
#include "export/workers.h"

#include "process/failure.h"
#include "process/interrupt.h"

namespace tool {

void runInWorkers(const std::vector<size_t>& tasks, const WorkOrder& order) {
    for (const size_t task : tasks) {
        if (pendingSignal() != 0) return;
        try {
            order.tell(task, order.work(task));
        } catch (const Interrupted&) {
            return;
        }
    }
}

}  // namespace tool
