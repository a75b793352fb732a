// The filter route's export call: opens the target, runs the band loop, closes the target.
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/stream.h>

#include "base/memory.h"
#include "base/turn.h"
#include "export/output_target.h"
#include "export/picture_output.h"
#include "filter/settings_use.h"

namespace tivar {
namespace {

// Where the export goes: settled when it begins, whatever call-backs change of the settings.
struct Destination {
    const char* fileName;
    HostWord documentProc;
    HostWord* status;

    bool toMemory() const { return documentProc == 0 && *fileName == '\0'; }
    // Whether the host gave what the target needs: a name, or a status block.
    bool reachable() const {
        if (documentProc != 0) return status != nullptr;
        return fileName != nullptr && (*fileName != '\0' || status != nullptr);
    }
    HostWord documentValue() const { return documentProc == 0 ? 0 : status[STATUS_DOCUMENT]; }
};

void fillPicture(CellPicture& picture, const PictureDescription& description) {
    picture.targetWidth = description.width;
    picture.targetHeight = description.height;
    picture.resolution = description.resolution;
}

// Runs the band loop on an open stream, which it closes; false when the settings are gone.
bool exportTo(OxlStream stream, const SettingsUse& settings, const HostWord* status,
              CellPicture& picture, const PictureDescription& description) {
    if (!settings.gone()) {
        // Opening a document may have made another record current.
        settings.makeCurrent();
        SetDisplayInfo(description.displayWidth, description.displayHeight,
                       description.displayResolution, description.displayResolution);
        fillPicture(picture, description);
        // Kept: what the band loop answers is not passed on.
        outputPicture(settings, status, stream, &picture, DrawExportCellData);
    }
    oxlClose(stream);
    return !settings.gone();
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t ExportCellData(const char* fileName, CellPicture* picture,
                       const PictureDescription* description, HostWord* hostParams) {
    const Turn turn;
    if (picture == nullptr || description == nullptr || hostParams == nullptr)
        return TIVAR_ERR_STREAM;
    const MemHandle setup = hostParams[EXPORT_SETUP];
    const SettingsUse settings(setup, static_cast<SetupRecord*>(GlobalLock(setup)));
    if (!settings) return TIVAR_ERR_STREAM;
    auto* status = reinterpret_cast<HostWord*>(hostParams[EXPORT_STATUS]);
    const Destination to = {fileName, settings->documentStream, status};
    if (!to.reachable()) return TIVAR_ERR_STREAM;
    const PictureUse pictureUse(picture);
    const bool toMemory = to.toMemory();
    if (toMemory) status[STATUS_MEMORY] = 0;
    settings.makeCurrent();
    settings->exportParams = status;
    void* memory = nullptr;
    OxlStream stream = 0;
    const OutputTarget target = {fileName, to.documentProc, to.documentValue(), &memory};
    const bool opened = openOutputTarget(target, &stream) == kTargetOpened;
    const bool done = opened && exportTo(stream, settings, status, *picture, *description);
    if (toMemory && done)
        status[STATUS_MEMORY] = GlobalHandle(memory);
    else
        GlobalFree(GlobalHandle(memory));
    // The status block is the host's for the length of this call only.
    settings->exportParams = nullptr;
    return done ? TIVAR_OK : TIVAR_ERR_STREAM;
}
