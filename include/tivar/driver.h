/* The raster device driver: entries and the exported state of both driver routes. */
#ifndef TIVAR_DRIVER_H
#define TIVAR_DRIVER_H

#include <tivar/filter.h>
#include <tivar/types.h>

TIVAR_BEGIN_C

typedef struct ErrorRecord {
    uint32_t sequence;
    int16_t code;
    int16_t padding; /* 0 */
} ErrorRecord;

/* Kept: nothing sets the capacity, so every push lands in the record before entry 0, which is the
 * first record. */
typedef struct ErrorStack {
    uint32_t lastSequence;
    int16_t lastCode;
    int32_t capacity;
    int32_t count;
    int32_t overflowCount;
    ErrorRecord firstRecord;
    ErrorRecord entries[10];
} ErrorStack;

/* The host's status hook: as words, 1 = context, 2 = StatusProc, 12 = document value. */
typedef HostWord StatusHookRecord;

/* Device state of the raster driver, zero-filled at each initialisation. */
typedef struct EMData {
    OxlStream outputStream;
    MemHandle imageMemory;
    int32_t imagePending;
    int32_t nextRow;
    uint8_t colorTable[256][3];
    uint8_t background[3];
    ErrorStack errors;
    double deviceWindow[6];
    double deviceViewport[6];
    int32_t deviceState;
    uint32_t currentSequence;
    uint32_t replyPosition;
    uint32_t replySize;
    MemHandle hReply;
    uint8_t* lpReply;
    char outputFileName[144];
    int32_t imageWidth;
    int32_t imageHeight;
    int32_t bitsPerCell;
    StatusHookRecord* statusHook;
    int32_t colorDepth;
    MemHandle hSetup;
    int32_t viewportResolution;
    int16_t imageFlag;
    void* memoryBlock; /* address of the block of output to memory */
    uint8_t reserved[28];
} EMData;

TIVAR_API extern MemHandle hEMData;
TIVAR_API extern EMData* lpEMData;

/* Driver entries of the entry table. code -2 asks for the version, -3 for the 32-bit entry; the
 * result is always 0. This version has no driver yet: both do nothing. */
TIVAR_API int32_t RASTER_dd_entry(int16_t code, void* out, uint16_t reserved);
TIVAR_API int32_t dd_entry(int16_t code, void* out, uint16_t reserved);

TIVAR_END_C

#endif
