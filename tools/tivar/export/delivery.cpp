#include "export/delivery.h"

#include "process/failure.h"

namespace tool {
namespace {

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

}  // namespace

// Pipes and devices cannot be written out of order, so the library fills memory for them.
Delivery deliver(const Workshop& shop, const ExportPlan& plan,
                 const std::function<Block(const Destination&)>& run) {
    const int file = shop.output.file.number;
    const Via via = shop.request.via;
    const bool intoMemory = via == Via::Memory || shop.output.part.empty();
    Document document{file, 0};
    Destination destination;
    if (!intoMemory) destination.fileName = shop.output.part;
    if (!intoMemory && via == Via::Document) destination.document = &document;

    Delivery delivery;
    delivery.memory = run(destination);
    delivery.start = intoMemory ? startOf(delivery.memory.bytes(), contentLength(delivery.memory))
                                : startOf(file);
    checkDelivery(shop, plan, document, delivery.start);
    return delivery;
}

void nameDocument(Settings& settings, const Destination& destination) {
    settings.record->documentStream =
        destination.document == nullptr ? 0 : wordOf(static_cast<OxlDocProc>(serveDocument));
}

}  // namespace tool
