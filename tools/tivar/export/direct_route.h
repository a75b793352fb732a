// The direct route: the picture as it is, in one call, at its exact size.
#pragma once

#include "export/judge.h"
#include "export/request.h"
#include "process/library.h"
#include "process/output.h"
#include "process/progress.h"

namespace tool {

// Writes the image into the output. Pipes and devices get it when it is complete.
FileStart deliverDirectly(const Library& library, const ExportRequest& request, Image image,
                          const Output& output, Progress& progress);

}  // namespace tool
