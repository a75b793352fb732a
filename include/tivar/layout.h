/* The sizes and positions that the 32-bit interface fixes, checked where it is built. */
#ifndef TIVAR_LAYOUT_H
#define TIVAR_LAYOUT_H

#include <stddef.h>
#include <tivar/driver.h>
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/stream.h>

#ifdef __cplusplus
#define TIVAR_CHECK(name, condition) static_assert(condition, #name)
#else
#define TIVAR_CHECK(name, condition) typedef char tivar_check_##name[(condition) ? 1 : -1]
#endif
#define TIVAR_SIZE(record, bytes) TIVAR_CHECK(record##_size, sizeof(record) == (bytes))
#define TIVAR_AT(record, field, position) \
    TIVAR_CHECK(record##_##field, offsetof(record, field) == (position))

/* On every host. */
TIVAR_SIZE(SetupRecord, 1376);
TIVAR_SIZE(CellFormat, 24);
TIVAR_SIZE(CellBitmapState, 8);
TIVAR_SIZE(PictureDescription, 28);
TIVAR_SIZE(ErrorRecord, 8);
TIVAR_AT(FilterHostRecord, count, 4);
TIVAR_AT(FilterHostRecord, entries, 8);
TIVAR_AT(PictureDescription, displayResolution, 2);
TIVAR_AT(PictureDescription, resolution, 10);
TIVAR_AT(PictureDescription, width, 12);
TIVAR_AT(PictureDescription, height, 16);
TIVAR_AT(PictureDescription, displayWidth, 20);
TIVAR_AT(PictureDescription, displayHeight, 24);
TIVAR_AT(CellPicture, width, 2);
TIVAR_AT(CellPicture, height, 4);
TIVAR_AT(CellPicture, resolution, 6);
TIVAR_AT(CellPicture, targetWidth, 8);
TIVAR_AT(CellPicture, targetHeight, 16);
TIVAR_AT(CellPicture, colorTable, 24);

#if UINTPTR_MAX == 0xFFFFFFFFu
TIVAR_SIZE(FilterEntry, 12);
TIVAR_AT(FilterEntry, ordinal, 4);
TIVAR_AT(FilterEntry, address, 8);
TIVAR_SIZE(FilterHostRecord, 12);
TIVAR_SIZE(OxlStreamDesc, 24);
TIVAR_SIZE(CellPicture, 80);
TIVAR_AT(CellPicture, pixels, 28);
TIVAR_SIZE(CellDataRequest, 40);
TIVAR_AT(CellDataRequest, draw, 4);
TIVAR_AT(CellDataRequest, colorCount, 8);
TIVAR_AT(CellDataRequest, colorTable, 12);
TIVAR_AT(CellDataRequest, destWidth, 16);
TIVAR_AT(CellDataRequest, destHeight, 20);
TIVAR_AT(CellDataRequest, destBits, 24);
TIVAR_AT(CellDataRequest, flag, 26);
TIVAR_AT(CellDataRequest, privateBlock, 28);
TIVAR_SIZE(EMData, 1224);
TIVAR_AT(SetupRecord, driverName, 576);
TIVAR_AT(SetupRecord, editContext, 596);
TIVAR_AT(SetupRecord, colorMode, 604);
TIVAR_AT(SetupRecord, documentStream, 612);
TIVAR_AT(SetupRecord, driverValue, 616);
TIVAR_AT(SetupRecord, lineMode, 624);
TIVAR_AT(SetupRecord, outputFileName, 628);
TIVAR_AT(SetupRecord, sizeMode, 772);
TIVAR_AT(SetupRecord, fileType, 788);
TIVAR_AT(SetupRecord, pictureWidth, 792);
TIVAR_AT(SetupRecord, xResolution, 808);
TIVAR_AT(SetupRecord, metafileValue1, 812);
TIVAR_AT(SetupRecord, paletteSize, 820);
TIVAR_AT(SetupRecord, exportParams, 828);
TIVAR_AT(SetupRecord, hRLEBuffer, 836);
TIVAR_AT(SetupRecord, metafileBlock, 844);
TIVAR_AT(SetupRecord, platformWords, 852);
TIVAR_AT(SetupRecord, unused, 860);
#endif

#undef TIVAR_AT
#undef TIVAR_SIZE
#undef TIVAR_CHECK

#endif
