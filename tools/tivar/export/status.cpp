#include "export/status.h"

#include <string>

#include "process/interrupt.h"

namespace tool {
namespace {

// The driver asks with 0 per cent whether to cancel, which is no progress to show.
int32_t onStatus(intptr_t context, int32_t operation, int32_t value, int32_t, int32_t percent,
                 int32_t, intptr_t) noexcept {
    Progress& progress = *reinterpret_cast<Progress*>(context);
    const bool reports = operation == 0 && value == 0 && percent > 0;
    if (reports) showStep(progress, std::to_string(percent) + " %");
    return pendingSignal() != 0 ? 1 : 0;
}

}  // namespace

StatusBlock::StatusBlock(Progress& progress, Document* document) {
    words[STATUS_CONTEXT] = wordOf(&progress);
    words[STATUS_PROC] = wordOf(static_cast<StatusProc>(onStatus));
    words[STATUS_DOCUMENT] = wordOf(document);
}

}  // namespace tool
