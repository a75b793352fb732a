// QueryCellFormat for routines that hold their settings.
#pragma once

#include <tivar/export.h>

namespace tivar {

void queryCellFormat(SetupRecord& setup, CellFormat& format, uint16_t& bitCount);

}  // namespace tivar
