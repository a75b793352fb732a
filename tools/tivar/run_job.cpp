#include "run_job.h"

#include "document.h"
#include "export.h"
#include "failure.h"
#include "interrupt.h"
#include "judge.h"
#include "library_voice.h"
#include "output.h"
#include "picture.h"
#include "progress.h"
#include "scaling.h"

namespace tool {
namespace {

// What one job works with.
struct Workshop {
    const LibraryVoice& voice;
    Settings& settings;
    Picture& picture;
    Output& output;
    Progress& progress;
};

struct Delivery {
    Block memory;  // holds the bytes unless they are in the output's file
    FileStart start;
};

void failShort(const Output& output, const Verdict& verdict) {
    const int error = output.part.empty() ? 0 : probeGrowth(output, verdict.missing);
    if (error != 0) failErrno(output.name, error);
    failAt(output.name, verdict.problem, "try again, or another --via");
}

void checkDelivery(const Workshop& shop, const ExportPlan& plan, const Document& document,
                   const FileStart& start) {
    const std::string spoken = shop.voice.firstLine();
    if (!spoken.empty()) {
        fail("the library ran out of memory (" + spoken + ")", "use a smaller picture");
    }
    if (document.error != 0) failErrno(shop.output.name, document.error);
    const Verdict verdict = judge(start, plan);
    if (!verdict.problem.empty()) failShort(shop.output, verdict);
}

// Pipes and devices cannot be written out of order, so the library fills memory for them.
Delivery deliver(const Workshop& shop, const ExportPlan& plan, Via via) {
    const int file = shop.output.file.number;
    const bool intoMemory = via == Via::Memory || shop.output.part.empty();
    Document document{file, 0};
    Destination destination;
    if (!intoMemory) destination.fileName = shop.output.part;
    if (!intoMemory && via == Via::Document) destination.document = &document;

    Delivery delivery;
    delivery.memory = runExport(shop.settings, plan, shop.picture, destination, shop.progress);
    delivery.start = intoMemory ? startOf(delivery.memory.bytes(), contentLength(delivery.memory))
                                : startOf(file);
    checkDelivery(shop, plan, document, delivery.start);
    return delivery;
}

// Scales beforehand what the library would garble. A size that the profile chooses is known only
// after an export, which leaves the rows intact in that case: it worked on scaled copies.
Delivery deliverAtSize(const Workshop& shop, ExportPlan& plan, Via via) {
    const Library& library = shop.settings.library;
    if (!plan.sizeFromProfile) {
        refuseTallShrinking(shop.picture, plan.size);
        if (scalesBothWays(shop.picture, plan.size)) scaleTo(library, shop.picture, plan.size);
        return deliver(shop, plan, via);
    }
    Delivery delivery = deliver(shop, plan, via);
    const PixelSize size = sizeInFile(delivery.start, plan);
    refuseTallShrinking(shop.picture, size);
    if (!scalesBothWays(shop.picture, size)) return delivery;
    fixSize(shop.settings, plan, shop.picture, size);
    return deliverAtSize(shop, plan, via);
}

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
    Settings settings(library, request);
    showStep(progress, "reading");
    Picture picture = readPicture(library, job.input, request.background);
    ExportPlan plan = planExport(settings, request, picture);
    showStep(progress, "exporting");
    Output output(job.target, voice.standardOutput);
    const Workshop shop{voice, settings, picture, output, progress};
    const Delivery delivery = deliverAtSize(shop, plan, request.via);
    writeMemory(delivery, output);
    commit(output);
    showResult(progress, describeResult(output, delivery, plan));
}

}  // namespace tool
