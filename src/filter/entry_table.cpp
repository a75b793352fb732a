// The entry table: what a host finds when it loads the library.
#include <tivar/driver.h>
#include <tivar/export.h>
#include <tivar/filter.h>

#include "filter/identity.h"

char export_szDLLName[260] = {};
int16_t FilterVersion = 1;
int16_t FilterID = 16;

namespace tivar {
namespace {

char g_shortName[8] = "tivar";

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

// Ordinal 1007 is left out on purpose.
FilterEntry g_entryTable[] = {
    {"CreateSetup", 1001, address(CreateSetup)},
    {"DestroySetup", 1002, address(DestroySetup)},
    {"EditSetup", 1003, address(EditSetup)},
    {"EscapeSetup", 1004, address(xEscapeSetup)},
    {"OXLGetFilterVersion", 1005, address(OXLGetFilterVersion)},
    {"dd_entry", 1006, address(dd_entry)},
    {"RASTER_dd_entry", 1008, address(RASTER_dd_entry)},
    {"ExportCellData", 1009, address(ExportCellData)},
    {"szDLLName", 1010, export_szDLLName},
};

}  // namespace

char* szFilter = g_shortName;
HostWord hDLLModule = 0;

}  // namespace tivar

void fltLoadPointers(FilterHostRecord* record) {
    if (record == nullptr) return;
    record->count = sizeof tivar::g_entryTable / sizeof tivar::g_entryTable[0];
    record->entries = tivar::g_entryTable;
}

int32_t OXLGetFilterVersion(void) {
    return TIVAR_VERSION;
}
