/* Where every field of every record lies, checked when this is compiled: at the bytes that the
 * 32-bit interface fixes, and at those that natural alignment gives where words are wider. */
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

/* Bytes with words of 32 bits, and with wider ones. */
#if UINTPTR_MAX == 0xFFFFFFFFu
#define TIVAR_BYTES(narrow, wide) (narrow)
#else
#define TIVAR_BYTES(narrow, wide) (wide)
#endif
#define TIVAR_SIZE(record, narrow, wide) \
    TIVAR_CHECK(sizeof_##record, sizeof(record) == TIVAR_BYTES(narrow, wide))
#define TIVAR_AT(record, field, narrow, wide) \
    TIVAR_CHECK(record##_##field, offsetof(record, field) == TIVAR_BYTES(narrow, wide))

TIVAR_SIZE(FilterEntry, 12, 24);
TIVAR_AT(FilterEntry, name, 0, 0);
TIVAR_AT(FilterEntry, ordinal, 4, 8);
TIVAR_AT(FilterEntry, address, 8, 16);

TIVAR_SIZE(FilterHostRecord, 12, 16);
TIVAR_AT(FilterHostRecord, hostData, 0, 0);
TIVAR_AT(FilterHostRecord, count, 4, 4);
TIVAR_AT(FilterHostRecord, entries, 8, 8);

TIVAR_SIZE(SetupRecord, 1376, 1376);
TIVAR_AT(SetupRecord, filterName, 0, 0);
TIVAR_AT(SetupRecord, modeName, 144, 144);
TIVAR_AT(SetupRecord, profilePath, 288, 288);
TIVAR_AT(SetupRecord, backupProfilePath, 432, 432);
TIVAR_AT(SetupRecord, driverName, 576, 576);
TIVAR_AT(SetupRecord, reservedWord, 592, 592);
TIVAR_AT(SetupRecord, editContext, 596, 600);
TIVAR_AT(SetupRecord, escapeUserValue, 600, 608);
TIVAR_AT(SetupRecord, colorMode, 604, 616);
TIVAR_AT(SetupRecord, colorModeAux, 608, 620);
TIVAR_AT(SetupRecord, documentStream, 612, 624);
TIVAR_AT(SetupRecord, driverValue, 616, 632);
TIVAR_AT(SetupRecord, lineMode, 624, 640);
TIVAR_AT(SetupRecord, outputFileName, 628, 644);
TIVAR_AT(SetupRecord, sizeMode, 772, 788);
TIVAR_AT(SetupRecord, resolutionMode, 776, 792);
TIVAR_AT(SetupRecord, compressionMode, 780, 796);
TIVAR_AT(SetupRecord, colorFormat, 784, 800);
TIVAR_AT(SetupRecord, fileType, 788, 804);
TIVAR_AT(SetupRecord, pictureWidth, 792, 808);
TIVAR_AT(SetupRecord, pictureHeight, 800, 816);
TIVAR_AT(SetupRecord, xResolution, 808, 824);
TIVAR_AT(SetupRecord, yResolution, 810, 826);
TIVAR_AT(SetupRecord, metafileValue1, 812, 832);
TIVAR_AT(SetupRecord, metafileValue2, 816, 840);
TIVAR_AT(SetupRecord, paletteSize, 820, 848);
TIVAR_AT(SetupRecord, bitsPerPixel, 824, 852);
TIVAR_AT(SetupRecord, exportParams, 828, 856);
TIVAR_AT(SetupRecord, printerAvailable, 832, 864);
TIVAR_AT(SetupRecord, hRLEBuffer, 836, 872);
TIVAR_AT(SetupRecord, lpRLEBuffer, 840, 880);
TIVAR_AT(SetupRecord, metafileBlock, 844, 888);
TIVAR_AT(SetupRecord, metafileStream, 848, 896);
TIVAR_AT(SetupRecord, platformWords, 852, 904);
TIVAR_AT(SetupRecord, unused, 860, 920);

TIVAR_SIZE(OxlStreamDesc, 24, 48);
TIVAR_AT(OxlStreamDesc, target, 0, 0);
TIVAR_AT(OxlStreamDesc, size, 4, 8);
TIVAR_AT(OxlStreamDesc, growStep, 8, 16);
TIVAR_AT(OxlStreamDesc, lentFile, 12, 24);
TIVAR_AT(OxlStreamDesc, documentProc, 16, 32);
TIVAR_AT(OxlStreamDesc, lentDocument, 20, 40);

TIVAR_SIZE(CellPicture, 80, 88);
TIVAR_AT(CellPicture, bits, 0, 0);
TIVAR_AT(CellPicture, width, 2, 2);
TIVAR_AT(CellPicture, height, 4, 4);
TIVAR_AT(CellPicture, resolution, 6, 6);
TIVAR_AT(CellPicture, targetWidth, 8, 8);
TIVAR_AT(CellPicture, targetHeight, 16, 16);
TIVAR_AT(CellPicture, colorTable, 24, 24);
TIVAR_AT(CellPicture, pixels, 28, 32);
TIVAR_AT(CellPicture, reserved, 32, 40);

TIVAR_SIZE(PictureDescription, 28, 28);
TIVAR_AT(PictureDescription, reserved0, 0, 0);
TIVAR_AT(PictureDescription, displayResolution, 2, 2);
TIVAR_AT(PictureDescription, reserved4, 4, 4);
TIVAR_AT(PictureDescription, resolution, 10, 10);
TIVAR_AT(PictureDescription, width, 12, 12);
TIVAR_AT(PictureDescription, height, 16, 16);
TIVAR_AT(PictureDescription, displayWidth, 20, 20);
TIVAR_AT(PictureDescription, displayHeight, 24, 24);

TIVAR_SIZE(CellFormat, 24, 24);
TIVAR_AT(CellFormat, width, 0, 0);
TIVAR_AT(CellFormat, height, 8, 8);
TIVAR_AT(CellFormat, resolution, 16, 16);
TIVAR_AT(CellFormat, swapRedBlue, 20, 20);
TIVAR_AT(CellFormat, padding, 22, 22);

TIVAR_SIZE(CellDataRequest, 40, 72);
TIVAR_AT(CellDataRequest, picture, 0, 0);
TIVAR_AT(CellDataRequest, draw, 4, 8);
TIVAR_AT(CellDataRequest, colorCount, 8, 16);
TIVAR_AT(CellDataRequest, colorTable, 12, 24);
TIVAR_AT(CellDataRequest, destWidth, 16, 32);
TIVAR_AT(CellDataRequest, destHeight, 20, 36);
TIVAR_AT(CellDataRequest, destBits, 24, 40);
TIVAR_AT(CellDataRequest, flag, 26, 42);
TIVAR_AT(CellDataRequest, privateBlock, 28, 48);
TIVAR_AT(CellDataRequest, reserved, 32, 56);

TIVAR_SIZE(CellBitmapState, 8, 8);
TIVAR_AT(CellBitmapState, compression, 0, 0);
TIVAR_AT(CellBitmapState, compressedSize, 4, 4);

TIVAR_SIZE(DriverOpcodeRow, 12, 24);
TIVAR_AT(DriverOpcodeRow, opcode, 0, 0);
TIVAR_AT(DriverOpcodeRow, handler, 4, 8);
TIVAR_AT(DriverOpcodeRow, stateMask, 8, 16);

TIVAR_SIZE(DriverCapabilityRow, 8, 8);
TIVAR_AT(DriverCapabilityRow, index, 0, 0);
TIVAR_AT(DriverCapabilityRow, value, 4, 4);

TIVAR_SIZE(ErrorRecord, 8, 8);
TIVAR_AT(ErrorRecord, sequence, 0, 0);
TIVAR_AT(ErrorRecord, code, 4, 4);
TIVAR_AT(ErrorRecord, padding, 6, 6);

TIVAR_SIZE(ErrorStack, 108, 108);
TIVAR_AT(ErrorStack, lastSequence, 0, 0);
TIVAR_AT(ErrorStack, lastCode, 4, 4);
TIVAR_AT(ErrorStack, capacity, 8, 8);
TIVAR_AT(ErrorStack, count, 12, 12);
TIVAR_AT(ErrorStack, overflowCount, 16, 16);
TIVAR_AT(ErrorStack, firstRecord, 20, 20);
TIVAR_AT(ErrorStack, entries, 28, 28);

TIVAR_SIZE(EMData, 1224, 1264);
TIVAR_AT(EMData, outputStream, 0, 0);
TIVAR_AT(EMData, imageMemory, 4, 8);
TIVAR_AT(EMData, imagePending, 8, 16);
TIVAR_AT(EMData, nextRow, 12, 20);
TIVAR_AT(EMData, colorTable, 16, 24);
TIVAR_AT(EMData, background, 784, 792);
TIVAR_AT(EMData, errors, 788, 796);
TIVAR_AT(EMData, deviceWindow, 896, 904);
TIVAR_AT(EMData, deviceViewport, 944, 952);
TIVAR_AT(EMData, deviceState, 992, 1000);
TIVAR_AT(EMData, currentSequence, 996, 1004);
TIVAR_AT(EMData, replyPosition, 1000, 1008);
TIVAR_AT(EMData, replySize, 1004, 1012);
TIVAR_AT(EMData, hReply, 1008, 1016);
TIVAR_AT(EMData, lpReply, 1012, 1024);
TIVAR_AT(EMData, outputFileName, 1016, 1032);
TIVAR_AT(EMData, imageWidth, 1160, 1176);
TIVAR_AT(EMData, imageHeight, 1164, 1180);
TIVAR_AT(EMData, bitsPerCell, 1168, 1184);
TIVAR_AT(EMData, statusHook, 1172, 1192);
TIVAR_AT(EMData, colorDepth, 1176, 1200);
TIVAR_AT(EMData, hSetup, 1180, 1208);
TIVAR_AT(EMData, viewportResolution, 1184, 1216);
TIVAR_AT(EMData, imageFlag, 1188, 1220);
TIVAR_AT(EMData, nameRefused, 1190, 1222);
TIVAR_AT(EMData, closing, 1191, 1223);
TIVAR_AT(EMData, memoryBlock, 1192, 1224);
TIVAR_AT(EMData, reserved, 1196, 1232);

TIVAR_SIZE(CommonBlock, 16, 24);
TIVAR_AT(CommonBlock, state, 0, 0);
TIVAR_AT(CommonBlock, lastError, 4, 4);
TIVAR_AT(CommonBlock, statusHook, 8, 8);
TIVAR_AT(CommonBlock, statusValue, 12, 16);

#undef TIVAR_AT
#undef TIVAR_SIZE
#undef TIVAR_BYTES
#undef TIVAR_CHECK

#endif
