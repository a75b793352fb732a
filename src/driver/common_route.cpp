// The common-block route: the host's record in place of a device state. It is written against the
// platform's metafiles, of which there are none here, so it opens and closes its output and draws
// nothing.
#include <tivar/export.h>
#include <tivar/stream.h>

#include <cstring>

#include "base/memory.h"
#include "base/text.h"
#include "driver/device_state.h"
#include "driver/error_stack.h"
#include "export/bmp_writer.h"
#include "export/output_target.h"
#include "export/platform_metafile.h"
#include "export/status_hook.h"
#include "filter/settings_use.h"

namespace tivar {
namespace {

enum InitResult : int32_t { kNoBlock = 21, kNoSetup = 22 };

constexpr int32_t kCompressionOff = 224;
constexpr int kStatusMetafileWord = 4;

int32_t openOutput(const SettingsUse& settings, const HostWord* status) {
    const HostWord document = settings->documentStream;
    // Only output to a document reads that far into the status block.
    const HostWord value = document == 0 || status == nullptr ? 0 : status[STATUS_DOCUMENT];
    const OxlStream before = settings->metafileStream;
    const OutputTarget target = {settings->outputFileName, document, value,
                                 &settings->metafileBlock};
    OxlStream stream = 0;
    const TargetResult opened = openOutputTarget(target, &stream);
    // Serving the document, the host may have destroyed the settings or opened another output.
    if (settings.gone() || settings->metafileStream != before) {
        oxlClose(stream);
        return TIVAR_ERR_STREAM;
    }
    settings->metafileStream = stream;
    // Kept: whether the host serves its document is not checked.
    if (document != 0 || opened == kTargetOpened) return TIVAR_OK;
    return opened == kTargetNoMemory ? int32_t{kNoBlock} : int32_t{TIVAR_ERR_STREAM};
}

// Closes the output and hands its memory over to the host.
int32_t closeOutput(const SettingsUse& settings) {
    HostWord* status = settings->exportParams;
    const bool unnamed = settings->outputFileName[0] == '\0';
    const OxlStream stream = settings->metafileStream;
    settings->metafileStream = 0;
    const int32_t result = oxlClose(stream);
    const MemHandle memory = GlobalHandle(settings->metafileBlock);
    settings->metafileBlock = nullptr;
    if (status != nullptr && unnamed)
        status[STATUS_MEMORY] = memory;
    else
        GlobalFree(memory);
    return result;
}

}  // namespace

int32_t initdvr(HostWord* block) {
    if (block == nullptr) return kNoSetup;
    auto* name = reinterpret_cast<char*>(block[DRIVER_INIT_NAME]);
    if (name == nullptr) return kNoSetup;
    const MemHandle setup = block[DRIVER_INIT_SETUP];
    hRaster = setup;
    lpRaster = static_cast<SetupRecord*>(GlobalLock(setup));
    const SettingsUse settings(hRaster, lpRaster);
    if (!settings) return kNoSetup;
    auto* status = reinterpret_cast<HostWord*>(block[DRIVER_INIT_HOOK]);
    settings->exportParams = status;
    HostWord attributes = 0;
    // The platform offers no attribute call-back, so the host's attributes are not asked for.
    settings->metafileValue2 = InitPlatformMetafileFilter(
        block[COMMON_INIT_FIRST], block[COMMON_INIT_SECOND], status, &settings->platformWords[0],
        &hSetup, &settings->platformWords[1], &attributes);
    // A cut name would be another file's.
    if (std::strlen(name) >= sizeof settings->outputFileName) return TIVAR_ERR_STREAM;
    copyBounded(settings->outputFileName, sizeof settings->outputFileName, name);
    if (const int32_t failed = openOutput(settings, status)) return failed;
    // Kept: the host sees its name as consumed.
    *name = '\0';
    if (!chooseFileFormat(*settings)) return kNoSetup;
    settings->metafileValue1 = status == nullptr ? 0 : status[kStatusMetafileWord];
    block[DRIVER_INIT_SETUP] = hSetup;
    if (settings->fileType != FILE_TYPE_WINDOWS) settings->compressionMode = kCompressionOff;
    return TIVAR_OK;
}

int32_t termdvr(HostWord) {
    const SettingsUse settings = currentSettings();
    // Without a metafile there is nothing to draw.
    const MemHandle metafile = GetMetaFileHandle(0, 0);
    DeleteMetaFileHandle(metafile);
    TermPlatformMetafileFilter(settings ? settings->metafileValue2 : 0);
    if (!settings || settings->metafileStream == 0) return TIVAR_ERR_NO_MEMORY;
    return closeOutput(settings) == 0 ? TIVAR_ERR_NO_MEMORY : TIVAR_ERR_STREAM;
}

int32_t escape() {
    const CommonBlock* common = lpCommon;
    if (common == nullptr || askHook(common->statusHook, 0, 0, 0, common->statusValue) == 0)
        return 0;
    push_er(TIVAR_ERR_CANCELLED);
    return TIVAR_ERR_CANCELLED;
}

}  // namespace tivar
