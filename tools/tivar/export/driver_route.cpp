#include "export/driver_route.h"

#include <algorithm>

#include "export/driver_session.h"
#include "export/driver_size.h"
#include "process/failure.h"
#include "process/interrupt.h"

namespace tool {
namespace {

constexpr uint32_t kBandRows = 48;
constexpr size_t kLongestName = sizeof EMData{}.outputFileName - 1;

// The name by which the driver reaches the output's file: longer ones than it takes are replaced by
// the one under which the system knows the open file.
std::string driverName(const Destination& destination, const Output& output) {
    if (destination.fileName.size() <= kLongestName) return destination.fileName;
    return "/proc/self/fd/" + std::to_string(output.file.number);
}

// An image between its begin and its end, filled band by band.
void drawImage(const DriverSession& session, const Picture& picture) {
    perform(session, beginImageBlock(picture), "begin the image");
    for (uint32_t row = 0; row < picture.height && pendingSignal() == 0; row += kBandRows) {
        const uint32_t rows = std::min(kBandRows, picture.height - row);
        perform(session, cellArrayBlock(picture, row, rows), "take the picture's rows");
    }
    if (pendingSignal() == 0) perform(session, endImageBlock(), "write the image");
}

void drawPicture(const DriverSession& session, const Picture& picture, const DeviceWindow& window,
                 CellArrays arrays) {
    perform(session, plainBlock(OP_BEGIN_PICTURE), "begin the picture");
    perform(session, windowBlock(window.width, window.height), "set its window");
    perform(session, scaleBlock(window.unitsPerInch), "set its scale");
    perform(session, plainBlock(OP_BEGIN_BODY), "begin the picture's body");
    if (picture.bits <= 8) perform(session, colorsBlock(picture), "set its colours");
    if (arrays == CellArrays::Single) {
        perform(session, cellArrayBlock(picture, 0, picture.height), "write the picture");
    } else {
        drawImage(session, picture);
    }
    perform(session, plainBlock(OP_END_PICTURE), "end the picture");
}

// A cancel shows when the device closes: the driver asks once more and deletes its file.
struct Drawn {
    Block memory;
    int32_t closing = TIVAR_OK;
};

Drawn draw(const Workshop& shop, const DeviceWindow& window, const Destination& destination) {
    const DeferSignals deferred;
    StatusBlock status(shop.progress, destination.document);
    nameDocument(shop.settings, destination);
    // Where the band loop reports its percentages.
    shop.settings.record->exportParams = status.words.data();
    const std::string name = driverName(destination, shop.output);
    const DriverSession session(shop.settings, name, status);
    perform(session, plainBlock(OP_OPEN), "open its output");
    drawPicture(session, shop.picture, window, shop.request.cellArrays);
    Drawn drawn;
    drawn.closing = dispatch(session, plainBlock(OP_CLOSE));
    shop.settings.record->exportParams = nullptr;
    drawn.memory = takeMemory(session);
    return drawn;
}

}  // namespace

Delivery deliverByDriver(const Workshop& shop, ExportPlan& plan) {
    const DeviceWindow window = settleSize(shop, plan);
    int32_t closing = TIVAR_OK;
    Delivery delivery = deliver(shop, plan, [&](const Destination& destination) {
        Drawn drawn = draw(shop, window, destination);
        throwIfInterrupted();
        closing = drawn.closing;
        return std::move(drawn.memory);
    });
    // What is wrong with the file itself has been told by now.
    if (closing != TIVAR_OK) failDriver("close its output", closing);
    return delivery;
}

}  // namespace tool
