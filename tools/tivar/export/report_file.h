// The file with a line about each input.
#pragma once

#include <string>

#include "process/system.h"

namespace tool {

struct ReportFile {
    std::string name;
    Descriptor file;  // none = nobody wants a report
};

// An empty report in the place of an older one; the name "-" is standard output, "" is none. A file
// that is something else is a Failure.
ReportFile openReport(const std::string& name);

// The whole line at once, so that a report is whole as far as it goes. When there is no room that
// is a Failure, and nothing more is written.
void addLine(ReportFile& report, const std::string& line);

}  // namespace tool
