#include "write/report.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "write/record.h"

namespace tivar {
namespace {

constexpr size_t kFirstReportBytes = offsetof(TivarReport, bytes) + sizeof(TivarReport::bytes);

}  // namespace

bool beginReport(TivarReport& report, const TivarReport* to) {
    if (to == nullptr) return true;
    report.size = to->size;
    return report.size >= kFirstReportBytes && report.size <= kMostRecordBytes;
}

int32_t tell(TivarReport* to, const TivarReport& report) {
    if (to == nullptr) return report.result;
    const size_t known = std::min<size_t>(report.size, sizeof report);
    std::memcpy(to, &report, known);
    std::memset(reinterpret_cast<uint8_t*>(to) + known, 0, report.size - known);
    return report.result;
}

void refuse(TivarReport& report, int32_t result, const char* field, const char* why) {
    report.result = result;
    copyBounded(report.field, sizeof report.field, field);
    std::snprintf(report.text, sizeof report.text, "%s: %s", field, why);
}

void fail(TivarReport& report, int32_t result, int error) {
    report.result = result;
    report.system_error = error;
    if (result == TIVAR_RESULT_OK) return;
    const char* text = tivar_result_text(result);
    if (error == 0) {
        copyBounded(report.text, sizeof report.text, text);
    } else {
        // The system's own words depend on the process's language.
        std::snprintf(report.text, sizeof report.text, "%s (errno %d)", text, error);
    }
}

}  // namespace tivar
