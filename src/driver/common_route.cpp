// The common-block route: the host's record in place of a device state. It is written against the
// platform's metafiles, of which there are none here, so it opens and closes its output and draws
// nothing.
#include <tivar/export.h>
#include <tivar/stream.h>

#include <cstring>

#include "base/memory.h"
#include "base/status.h"
#include "base/text.h"
#include "driver/device_state.h"
#include "driver/error_stack.h"
#include "export/bmp_writer.h"
#include "export/output_target.h"
#include "export/platform_hooks.h"

namespace tivar {
namespace {

enum InitResult : int32_t { kNoBlock = 21, kNoSetup = 22 };

constexpr int32_t kCompressionOff = 224;
constexpr int kStatusMetafileWord = 4;

int32_t openOutput(const HostWord* status) {
    const OutputTarget target = {lpRaster->outputFileName, lpRaster->documentStream,
                                 status == nullptr ? 0 : status[STATUS_DOCUMENT],
                                 &lpRaster->metafileBlock};
    const TargetResult opened = openOutputTarget(target, &lpRaster->metafileStream);
    // Kept: whether the host serves its document is not checked.
    if (target.documentProc != 0 || opened == kTargetOpened) return TIVAR_OK;
    return opened == kTargetNoMemory ? int32_t{kNoBlock} : int32_t{TIVAR_ERR_STREAM};
}

}  // namespace

int32_t initdvr(HostWord* block) {
    if (block == nullptr) return kNoSetup;
    auto* setup = static_cast<SetupRecord*>(GlobalLock(block[DRIVER_INIT_SETUP]));
    hRaster = block[DRIVER_INIT_SETUP];
    lpRaster = setup;
    auto* name = reinterpret_cast<char*>(block[DRIVER_INIT_NAME]);
    if (setup == nullptr || name == nullptr) return kNoSetup;
    auto* status = reinterpret_cast<HostWord*>(block[DRIVER_INIT_HOOK]);
    setup->exportParams = status;
    HostWord attributes = 0;
    // The platform offers no attribute call-back, so the host's attributes are not asked for.
    setup->metafileValue2 = InitPlatformMetafileFilter(
        block[COMMON_INIT_FIRST], block[COMMON_INIT_SECOND], status, &setup->platformWords[0],
        &hSetup, &setup->platformWords[1], &attributes);
    // A cut name would be another file's.
    if (std::strlen(name) >= sizeof setup->outputFileName) return TIVAR_ERR_STREAM;
    copyBounded(setup->outputFileName, sizeof setup->outputFileName, name);
    if (const int32_t failed = openOutput(status)) return failed;
    // Kept: the host sees its name as consumed.
    *name = '\0';
    if (!chooseFileFormat(*setup)) return kNoSetup;
    setup->metafileValue1 = status == nullptr ? 0 : status[kStatusMetafileWord];
    block[DRIVER_INIT_SETUP] = hSetup;
    if (setup->fileType != FILE_TYPE_WINDOWS) setup->compressionMode = kCompressionOff;
    return TIVAR_OK;
}

int32_t termdvr(HostWord) {
    // Without a metafile there is nothing to draw.
    const MemHandle metafile = GetMetaFileHandle(0, 0);
    int32_t result = TIVAR_ERR_NO_MEMORY;
    DeleteMetaFileHandle(metafile);
    TermPlatformMetafileFilter(lpRaster == nullptr ? 0 : lpRaster->metafileValue2);
    if (lpRaster == nullptr || lpRaster->metafileStream == 0) return result;
    if (oxlClose(lpRaster->metafileStream) != 0) result = TIVAR_ERR_STREAM;
    lpRaster->metafileStream = 0;
    const MemHandle memory = GlobalHandle(lpRaster->metafileBlock);
    lpRaster->metafileBlock = nullptr;
    if (lpRaster->exportParams == nullptr)
        GlobalFree(memory);
    else if (memory != 0)
        lpRaster->exportParams[STATUS_MEMORY] = memory;
    return result;
}

int32_t escape() {
    if (lpCommon == nullptr || lpCommon->statusHook == nullptr) return 0;
    const StatusHookRecord* hook = lpCommon->statusHook;
    if (askHook(hook, 0, 0, 0, lpCommon->statusValue) == 0) return 0;
    push_er(TIVAR_ERR_CANCELLED);
    return TIVAR_ERR_CANCELLED;
}

}  // namespace tivar
