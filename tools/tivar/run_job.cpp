#include "run_job.h"

#include "delivery.h"
#include "driver_route.h"
#include "failure.h"
#include "filter_route.h"
#include "library_voice.h"
#include "output.h"
#include "picture.h"
#include "progress.h"

namespace tool {
namespace {

void writeMemory(const Delivery& delivery, const Output& output) {
    if (delivery.memory.handle == 0) return;
    const int error = writeAll(output.file.number, delivery.memory.bytes(), delivery.start.length);
    if (error != 0) failErrno(output.name, error);
}

std::string describeResult(const Output& output, const Delivery& delivery, const ExportPlan& plan) {
    const PixelSize size = sizeInFile(delivery.start, plan);
    return output.name + ": " + std::to_string(size.width) + " x " + std::to_string(size.height) +
           ", " + std::to_string(plan.bits) + (plan.bits == 1 ? " bit, " : " bits, ") +
           std::to_string(delivery.start.length) + " bytes";
}

}  // namespace

void runJob(const Library& library, const Job& job, const ExportRequest& request, bool onlyOne) {
    refuseOwnInput(job.input, job.target);
    Progress progress(job.input, request.quiet, onlyOne);
    const LibraryVoice voice;
    Settings settings(library, request.profile, request.mode);
    requireMode(settings);
    showStep(progress, "reading");
    Picture picture = readPicture(library, job.input, request.background);
    ExportPlan plan = planExport(settings, request, picture);
    showStep(progress, "exporting");
    Output output(job.target, voice.standardOutput);
    const Workshop shop{request, voice, settings, picture, output, progress};
    const Delivery delivery =
        request.route == Route::Driver ? deliverByDriver(shop, plan) : deliverByFilter(shop, plan);
    writeMemory(delivery, output);
    commit(output);
    showResult(progress, describeResult(output, delivery, plan));
}

}  // namespace tool
