// The host's side of the status call-back: percentages go to the terminal, a signal that waits is
// the wish to cancel.
#pragma once

#include <array>

#include "export/document.h"
#include "process/library.h"
#include "process/progress.h"

namespace tool {

// The status block of an export, which is also the driver's status hook. document may be null.
struct StatusBlock {
    std::array<HostWord, 13> words{};

    StatusBlock(Progress& progress, Document* document);
};

}  // namespace tool
