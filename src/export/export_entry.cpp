// The filter route's export call: opens the target, runs the band loop, closes the target.
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/stream.h>

#include "base/memory.h"
#include "export/output_target.h"

namespace tivar {
namespace {

// Whether the target that applies has what it needs of the host: a name, or a status block.
bool isReachable(const SetupRecord& setup, const char* fileName, const HostWord* status) {
    if (setup.documentStream != 0) return status != nullptr;
    return fileName != nullptr && (*fileName != '\0' || status != nullptr);
}

void fillPicture(CellPicture& picture, const PictureDescription& description) {
    picture.targetWidth = description.width;
    picture.targetHeight = description.height;
    picture.resolution = description.resolution;
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
    auto* status = reinterpret_cast<HostWord*>(hostParams[EXPORT_STATUS]);
    if (!record || !isReachable(*record, fileName, status)) return TIVAR_ERR_STREAM;
    hRaster = setup;
    lpRaster = record.data;
    lpRaster->exportParams = status;
    void* memory = nullptr;
    OxlStream stream = 0;
    const HostWord document = status == nullptr ? 0 : status[STATUS_DOCUMENT];
    const auto opened =
        openOutputTarget({fileName, record->documentStream, document, &memory}, &stream);
    if (opened == kTargetOpened) {
        SetDisplayInfo(description->displayWidth, description->displayHeight,
                       description->displayResolution, description->displayResolution);
        fillPicture(*picture, *description);
        // Kept: what the band loop answers is not passed on.
        OutputPicture(stream, picture, DrawExportCellData);
        oxlClose(stream);
    }
    const bool toMemory = record->documentStream == 0 && *fileName == '\0';
    if (toMemory && status != nullptr) status[STATUS_MEMORY] = GlobalHandle(memory);
    // The status block is the host's for the length of this call only.
    lpRaster->exportParams = nullptr;
    return opened == kTargetOpened ? TIVAR_OK : TIVAR_ERR_STREAM;
}
