// The direct route: the picture as it is, in one call, at its exact size.
#pragma once

#include "export/judge.h"
#include "export/request.h"
#include "picture/file_rows.h"
#include "process/library.h"
#include "process/output.h"
#include "process/progress.h"

namespace tool {

// Whether the rows of such a picture can be read as they are written: nothing needs all of it.
bool takesRowByRow(const ExportRequest& request, const Image& outline);

// Writes the picture into the output, with its rows read on the way.
FileStart deliverRows(const Library& library, const ExportRequest& request, FileRows& rows,
                      const Output& output, Progress& progress);

// Writes the image into the output. Pipes and devices get it when it is complete.
FileStart deliverDirectly(const Library& library, const ExportRequest& request, Image image,
                          const Output& output, Progress& progress);

}  // namespace tool
