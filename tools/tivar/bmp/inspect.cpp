#include "bmp/inspect.h"

#include <algorithm>

#include "bmp/inspection.h"
#include "process/failure.h"
#include "process/input_file.h"
#include "process/printing.h"

namespace tool {
namespace {

void print(const Inspection& inspection, InspectForm form) {
    switch (form) {
        case InspectForm::Whole:
            return printWhole(inspection);
        case InspectForm::Brief:
            return printBrief(inspection);
        case InspectForm::Json:
            return printJson(inspection);
    }
}

int inspectFile(const std::string& input, InspectForm form) {
    try {
        const Inspection inspection = inspect(input);
        print(inspection, form);
        return inspection.flaws.list.empty() ? kDone : kExportFailed;
    } catch (const Failure&) {
        if (form == InspectForm::Json) printJsonOf(currentFailure(nameOfInput(input)));
        throw;
    }
}

}  // namespace

int inspectFiles(const InspectRequest& request) {
    if (request.form == InspectForm::Brief) printBriefHeading();
    int result = kDone;
    for (const std::string& input : request.inputs) {
        const int one =
            reporting(nameOfInput(input), [&] { return inspectFile(input, request.form); });
        result = std::max(result, one);
    }
    finishPrinting();
    return result;
}

}  // namespace tool
