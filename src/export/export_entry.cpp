// The filter route's export call: opens the target, runs the band loop, closes the target.
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/stream.h>

#include "host/memory.h"
#include "host/text.h"

namespace tivar {
namespace {

constexpr int32_t kCreate = OXL_CREATE | OXL_WRITE;
constexpr HostWord kMemoryStep = 4096;

// An open target; memory is the address of the block of output to memory.
struct Target {
    OxlStream stream;
    void* memory;
};

void openDocument(Target& target, const char* fileName, const HostWord* status) {
    OxlStreamDesc descriptor = {};
    descriptor.target = status[STATUS_DOCUMENT];
    descriptor.documentProc = lpRaster->documentStream;
    target.stream = oxlOpen(fileName, &descriptor, kCreate);
}

// The block grows, and moves, under the stream: the host gets its handle when the stream is closed.
void openMemory(Target& target, HostWord* status) {
    OwnedBlock block(allocateZeroed(1));
    if (!block) return;
    target.memory = block.data;
    OxlStreamDesc descriptor = {};
    descriptor.target = reinterpret_cast<HostWord>(&target.memory);
    descriptor.growStep = kMemoryStep;
    target.stream = oxlOpen(nullptr, &descriptor, kCreate);
    status[STATUS_MEMORY] = target.stream == 0 ? 0 : block.release();
    if (target.stream == 0) target.memory = nullptr;
}

void openTarget(Target& target, const char* fileName, HostWord* status) {
    if (lpRaster->documentStream != 0) {
        if (status != nullptr) openDocument(target, fileName, status);
    } else if (!isEmpty(fileName)) {
        target.stream = oxlOpen(fileName, nullptr, kCreate);
    } else if (fileName != nullptr && status != nullptr) {
        openMemory(target, status);
    }
}

void closeTarget(const Target& target, HostWord* status) {
    oxlClose(target.stream);
    if (target.memory != nullptr) status[STATUS_MEMORY] = GlobalHandle(target.memory);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t ExportCellData(const char* fileName, CellPicture* picture,
                       const PictureDescription* description, HostWord* hostParams) {
    if (picture == nullptr || description == nullptr || hostParams == nullptr)
        return TIVAR_ERR_STREAM;
    const MemHandle setup = hostParams[EXPORT_SETUP];
    const Locked<SetupRecord> record(setup);
    if (!record) return TIVAR_ERR_STREAM;
    auto* status = reinterpret_cast<HostWord*>(hostParams[EXPORT_STATUS]);
    hRaster = setup;
    lpRaster = record.data;
    lpRaster->exportParams = status;
    Target target = {0, nullptr};
    openTarget(target, fileName, status);
    if (target.stream == 0) return TIVAR_ERR_STREAM;
    SetDisplayInfo(description->displayWidth, description->displayHeight,
                   description->displayResolution, description->displayResolution);
    picture->targetWidth = description->width;
    picture->targetHeight = description->height;
    picture->resolution = description->resolution;
    OutputPicture(target.stream, picture, DrawExportCellData);
    closeTarget(target, status);
    return TIVAR_OK;
}
