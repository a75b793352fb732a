// Progress and cancelling of one call, on the caller's thread.
#pragma once

#include <tivar/write.h>

#include <cstdint>

namespace tivar {

struct Watch {
    TivarProgress progress;
    TivarCancel cancel;
    void* context;
    uint64_t total;  // rows of all passes
    uint64_t done;
    int32_t percent;  // told last; -1 = none
    bool cancelled;
};

// Before a row of any pass: false when the call is to end.
inline bool goOn(Watch& watch) {
    if (watch.cancel != nullptr && watch.cancel(watch.context) != 0) watch.cancelled = true;
    return !watch.cancelled;
}

// After so many rows of any pass: false when the call is to end.
inline bool advance(Watch& watch, uint64_t rows) {
    watch.done += rows;
    if (watch.progress == nullptr || watch.total == 0) return !watch.cancelled;
    const auto percent =
        static_cast<int32_t>(watch.done >= watch.total ? 100 : watch.done * 100 / watch.total);
    if (percent <= watch.percent) return !watch.cancelled;
    watch.percent = percent;
    if (watch.progress(watch.context, percent) != 0) watch.cancelled = true;
    return !watch.cancelled;
}

}  // namespace tivar
