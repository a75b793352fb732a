// Life of a settings record: created from a profile or the defaults, edited, destroyed.
#include <tivar/driver.h>
#include <tivar/filter.h>

#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "base/temp_name.h"
#include "base/text.h"
#include "base/turn.h"
#include "filter/identity.h"
#include "filter/string_table.h"
#include "profile/path.h"

MemHandle hRaster = 0;
SetupRecord* lpRaster = nullptr;

namespace tivar {
namespace {

constexpr size_t kNameSize = sizeof SetupRecord{}.filterName;
static_assert(sizeof(SetupRecord) == 1376);

// The profile's path goes into the record. One that does not fit is not found: cut, it would name
// another file.
bool findProfile(SetupRecord& record, const char* path) {
    if (!isEmpty(path) && ::strnlen(path, kNameSize) == kNameSize) return false;
    if (!isEmpty(path)) copyBounded(record.profilePath, kNameSize, path);
    return GetProfileDirectory(record.profilePath, export_szDLLName) == 0;
}

// The mode's section: the caller's choice, or the one that the filter's own section names.
void chooseMode(SetupRecord& record, const char* modeName) {
    if (!isEmpty(modeName)) {
        copyBounded(record.modeName, kNameSize, modeName);
        return;
    }
    GetPrivateProfileString(szFilter, TableText(kTextMode).text, "", record.modeName, kNameSize,
                            record.profilePath);
    record.modeName[kNameSize - 1] = '\0';
}

}  // namespace
}  // namespace tivar

using namespace tivar;

MemHandle CreateSetup(HostWord, const char* profilePath, const char* modeName,
                      const char* filterName) {
    const Turn turn;
    const MemHandle handle = allocateZeroed(sizeof(SetupRecord));
    if (handle == 0) return 0;
    auto& record = *static_cast<SetupRecord*>(GlobalLock(handle));
    hRaster = handle;
    lpRaster = &record;
    tivar::strupr(szFilter);
    copyBounded(record.filterName, kNameSize, isEmpty(filterName) ? szFilter : filterName);
    if (!findProfile(record, profilePath)) {
        record.profilePath[0] = '\0';
        UseDefaultSettings(&record);
    } else {
        chooseMode(record, modeName);
        LoadProfile(0);
    }
    GlobalUnlock(handle);
    return handle;
}

int32_t EditSetup(MemHandle handle, HostWord context) {
    const Turn turn;
    auto* record = static_cast<SetupRecord*>(GlobalLock(handle));
    if (record == nullptr) return -1;
    hRaster = handle;
    lpRaster = record;
    record->editContext = context;
    return 0;
}

int32_t DestroySetup(MemHandle handle) {
    const Turn turn;
    const void* record = GlobalLock(handle);
    if (record == nullptr) return 0;
    // A device that was given the record finds it gone.
    if (lpSetup == record) lpSetup = nullptr;
    if (lpEMData != nullptr && lpEMData->hSetup == handle) lpEMData->hSetup = 0;
    if (hRaster == handle) hRaster = 0;
    lpRaster = nullptr;
    GlobalUnlock(handle);
    GlobalFree(handle);
    return 0;
}

int32_t UseDefaultSettings(SetupRecord* record) {
    if (record == nullptr) return -1;
    const Turn turn;
    record->modeName[0] = '\0';
    record->profilePath[0] = '\0';
    record->backupProfilePath[0] = '\0';
    std::snprintf(record->driverName, sizeof record->driverName, "%s.1", szFilter);
    record->reservedWord = 0;
    record->editContext = 0;
    record->escapeUserValue = 0;
    record->colorMode = COLOR_MODE_AS_GIVEN;
    record->colorModeAux = 0;
    record->sizeMode = SIZE_GIVEN;
    record->resolutionMode = RESOLUTION_OF_CALLER;
    record->compressionMode = COMPRESSION_NONE;
    record->colorFormat = COLOR_FORMAT_8BIT;
    record->fileType = FILE_TYPE_WINDOWS;
    record->pictureWidth = 6.67;
    record->pictureHeight = 5.0;
    record->xResolution = 96;
    record->yResolution = 96;
    return 0;
}

int32_t SaveProfile(SetupRecord*) {
    return 1;
}

int32_t BackupProfile(SetupRecord* record) {
    if (record == nullptr) return 0;
    char temporary[kNameSize];
    if (OXLGetTempFileName(0, "", 0, temporary) == 0) return 0;
    s_getpath(record->backupProfilePath, kNameSize, record->profilePath);
    copyBounded(record->profilePath, kNameSize, temporary);
    return 1;
}

void LoadProfileList(HostWord, HostWord, int16_t) {}
