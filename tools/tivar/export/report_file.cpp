#include "export/report_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "export/outcome.h"
#include "process/failure.h"
#include "process/inherited.h"

namespace tool {
namespace {

// A name in the wrong place, such as one of a picture, must not cost the file.
void refuseOtherFiles(const ReportFile& report) {
    struct stat status {};
    std::array<char, kReportStart.size()> start{};
    if (::fstat(report.file.number, &status) != 0) failErrno(report.name, errno);
    if (!S_ISREG(status.st_mode)) return;
    const ssize_t got = ::pread(report.file.number, start.data(), start.size(), 0);
    if (got < 0) failErrno(report.name, errno);
    // A report may be empty, and its only line cut short where there was no room.
    if (!kReportStart.starts_with(std::string_view(start.data(), static_cast<size_t>(got)))) {
        failAt(report.name, "is there already and no report", "name another --report");
    }
    if (::ftruncate(report.file.number, 0) != 0) failErrno(report.name, errno);
}

}  // namespace

ReportFile openReport(const std::string& name) {
    ReportFile report{name, Descriptor()};
    if (name.empty()) return report;
    if (isStandardOutput(name)) {
        report.name = "standard output";
        report.file = duplicate(STDOUT_FILENO);
        if (report.file.number < 0) failErrno(report.name, errno);
        return report;
    }
    struct stat status {};
    const bool regular = ::stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode);
    const int access = regular ? O_RDWR | O_CREAT : O_WRONLY;
    report.file = Descriptor(::open(name.c_str(), access | O_APPEND | O_CLOEXEC, 0666));
    if (report.file.number < 0) failErrno(name, errno);
    refuseOtherFiles(report);
    return report;
}

void addLine(ReportFile& report, const std::string& line) {
    if (report.file.number < 0) return;
    const int error = writeAll(report.file.number, line.data(), line.size());
    if (error == 0) return;
    report.file = Descriptor();
    failErrno(report.name, error);
}

}  // namespace tool
