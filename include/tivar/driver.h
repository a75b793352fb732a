/* The raster device driver: a virtual output device that receives numbered operations ("opcodes")
 * and produces a BMP file. Two routes lead in: RASTER_dd_entry over the library's own device state,
 * and dd_entry over a common block of the host.
 *
 * A session of the raster route:
 *
 *     HostWord init[16] = {0};                   DRIVER_INIT_* say what goes where
 *     RASTER_dd_entry32(0, DRV_INIT, init, 0);
 *     opcode 1 open, then for each picture: 3 begin picture, settings, 4 begin body, drawing, 5
 * end; opcode 2 close RASTER_dd_entry32(0, DRV_TERM, 0, 0);
 *
 * Initialising again without terminating leaves the old device state allocated. */
#ifndef TIVAR_DRIVER_H
#define TIVAR_DRIVER_H

#include <tivar/filter.h>
#include <tivar/types.h>

TIVAR_BEGIN_C

/* Function codes of the entries. */
enum {
    DRV_INIT = 0,
    DRV_IDLE = 1,
    DRV_DISPATCH = 2,
    DRV_TERM = -1,
    DRV_VERSION = -2,
    DRV_GETENTRY32 = -3
};

/* Device states, one at a time; 0 before the first initialisation. */
enum { DEV_CLOSED = 1, DEV_OPEN = 2, DEV_PICTURE = 4, DEV_BODY = 8, DEV_ENDED = 16 };

/* Opcodes that do something. The others of the table are accepted and ignored. */
enum {
    OP_OPEN = 1,
    OP_CLOSE = 2,
    OP_BEGIN_PICTURE = 3,
    OP_BEGIN_BODY = 4,
    OP_END_PICTURE = 5,
    OP_SET_WINDOW = 518,     /* six doubles from byte 16 */
    OP_SET_BACKGROUND = 519, /* red, green, blue at bytes 16 to 18 */
    OP_SET_VIEWPORT = 520,   /* doubles at bytes 16, 24, 40, 48 */
    OP_SET_SCALE = 521,      /* 16-bit mode at byte 16, double scale at byte 24 */
    OP_QUERY_VIEWPORT = 765, /* replies 48 bytes */
    OP_QUERY_WINDOW = 767,   /* replies 48 bytes */
    OP_CELL_ARRAY = 1033,    /* see below */
    OP_PRIMITIVE = 1034,     /* see below */
    OP_SET_COLORS = 1314,    /* count word at byte 4, first index at 16, colours from 20 */
    OP_POP_ERRORS = 3842,    /* wanted count at byte 16; replies a count and 8 bytes a record */
    OP_EMPTY_ERRORS = 3843
};

/* A parameter block starts with its 32-bit opcode; numbers lie at fixed byte positions, in the
 * host's byte order, and need no alignment.
 *
 * Cell array: doubles at 24 and 48, the y of its first and second corner; 32-bit cells per row at
 * 88, rows at 92, bits per cell at 96 (negative: by absolute value, -32768 for 1, and the address
 * of the data stands at 102, pointer-sized); else the data from 102, rows padded to a multiple of 4
 * bytes.
 *
 * Primitive: 32-bit identifier at 16, number of points n at 20, points of 24 bytes, the data's
 * length, then at 28 + 24n the data. -5 begins an image (32-bit cells per row, rows, bits per cell,
 * 16-bit flag; 28 bytes), -6 ends and writes it, others do nothing.
 *
 * Colours: the count word is 2 + 3 x colours. */

/* Words of the block of DRV_INIT on the raster route. */
enum {
    DRIVER_INIT_NAME = 3,          /* address of the file name; "" = output to memory */
    DRIVER_INIT_REPLY_SIZE = 9,    /* bytes of the reply buffer */
    DRIVER_INIT_REPLY = 10,        /* out: address of the reply buffer, the driver's */
    DRIVER_INIT_SETUP = 13,        /* settings handle, the host's */
    DRIVER_INIT_HOOK = 14,         /* address of a StatusHookRecord, or 0 */
    DRIVER_INIT_CAPABILITIES = 15, /* address of 60 32-bit integers */
    DRIVER_INIT_WORDS = 16
};

/* Words of the block of DRV_INIT on the common-block route: 3, 13 and 14 as above (14 a status
 * block of export.h; 3's string is emptied; 13 is replaced by the metafile's setup handle, 0 here).
 */
enum { COMMON_INIT_FIRST = 1, COMMON_INIT_SECOND = 5 };

/* Handles an operation: takes and returns the host's parameter block. */
typedef void* (*DriverHandler)(void* block);

typedef struct DriverOpcodeRow {
    uint32_t opcode;
    DriverHandler handler;
    uint32_t stateMask; /* device states that accept it */
} DriverOpcodeRow;

typedef struct DriverCapabilityRow {
    uint8_t index;
    int32_t value;
} DriverCapabilityRow;

/* Searched in this order, which is not sorted. */
TIVAR_API extern const DriverOpcodeRow DriverOpcodeTable[74];

/* Stored into the host's capability array; entry 47 then receives the colour-depth code, 0 to 4. */
TIVAR_API extern const DriverCapabilityRow DriverCapabilityTable[46];

/* Support of primitives by negated identifier: none. */
TIVAR_API extern const int32_t GDPSupport[8];

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

/* The host's status hook, as words: STATUS_CONTEXT, STATUS_PROC and, for output to a document,
 * STATUS_DOCUMENT of export.h. */
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
    int8_t nameRefused; /* 1: the file name was too long, opening fails */
    void* memoryBlock; /* output to memory: address of the block, the host's once the device closed;
                          terminating an open device frees it */
    uint8_t reserved[28];
} EMData;

/* The host's block of the common-block route. */
typedef struct CommonBlock {
    int32_t state;                /* 1: the next DRV_INIT initialises afresh */
    int16_t lastError;            /* cleared before each operation */
    StatusHookRecord* statusHook; /* or null */
    int32_t statusValue;          /* passed to the status call-back in place of a percentage */
} CommonBlock;

TIVAR_API extern MemHandle hEMData;
TIVAR_API extern EMData* lpEMData;
TIVAR_API extern MemHandle hSetup;      /* written by the common-block route */
TIVAR_API extern SetupRecord* lpSetup;  /* the raster route's settings */
TIVAR_API extern MemHandle hCommon;     /* set by the host only */
TIVAR_API extern CommonBlock* lpCommon; /* set by the host only */

/* The entries that the entry table publishes. DRV_VERSION stores the version (4 bytes) through out,
 * DRV_GETENTRY32 the address of the 32-bit entry; other codes do nothing. Always 0. */
TIVAR_API int32_t RASTER_dd_entry(int16_t code, void* out, uint16_t reserved);
TIVAR_API int32_t dd_entry(int16_t code, void* out, uint16_t reserved);

/* The 32-bit entries; the low 16 bits of code count.
 * DRV_INIT: block as above; 0, or 300 (raster), 21, 22 or 303 (common block).
 * DRV_DISPATCH: runs the operation of the parameter block if the device state accepts it, else
 * ignores it; the code of the last error that it pushed, or 0. DRV_TERM: 0 (raster); 300 or 303
 * (common block: there is never a metafile to draw). DRV_VERSION: stores the version into block; 4.
 * Other codes: 0. A null block gives 0 (DRV_INIT: 300, common block 22) and changes nothing. */
TIVAR_API int32_t RASTER_dd_entry32(HostWord reserved1, int32_t code, void* block,
                                    HostWord reserved2);
TIVAR_API int32_t dd_entry32(HostWord reserved1, int32_t code, void* block, HostWord reserved2);

/* 2 when the operation would be carried out in the current state, else 0. Primitives:
 * InqGDPSupport. */
TIVAR_API int32_t InquireSupport(int32_t opcode, int32_t gdpId);
TIVAR_API int32_t InqGDPSupport(int32_t gdpId); /* 0 */

/* Colour models of cells. The last two are four bytes a cell, rows not padded. */
enum {
    CELLS_INDEXED = 0,
    CELLS_RGB = 1,
    CELLS_CMYK = 2,     /* cyan, magenta, yellow, black */
    CELLS_RGB_ALPHA = 3 /* the fourth byte is dropped */
};

/* Writes one picture of cells to the open device's output, as a cell array outside of an image
 * does, and reports its progress to the status hook. image: rows of width cells of 1, 4, 8, 24 or
 * 32 bits, first row first, padded to a multiple of 4 bytes; the block stays the caller's.
 *
 * resolution is in pixels per inch: the target is the device window's size in inches, brought to
 * pixels by the settings' sizes and resolutions; with 0 it is width x height. Depth and file are
 * those of the settings. Shallower cells than 24 bits take the device's colours; CMYK cells and
 * those with alpha become RGB when the file is shallower than they are, in image itself unless the
 * picture is shrunk.
 *
 * Failures, and a host that cancels, end the output without a word. Nothing happens without a
 * device, its settings or an image. */
TIVAR_API void RasterWriteCellData(MemHandle image, uint32_t width, uint32_t height,
                                   uint32_t resolution, int16_t bits, int16_t model);

/* Attribute bundles and character sets, published for the host; the library reads none of them. */
TIVAR_API extern const uint8_t dtr_def[120];
TIVAR_API extern const uint8_t ln_def[824];
TIVAR_API extern const uint8_t tx_def[2320];
TIVAR_API extern const uint8_t mk_def[704];
TIVAR_API extern const uint8_t fl_def[904];
TIVAR_API extern const uint8_t eg_def[720];
TIVAR_API extern uint8_t GDSF_CHARSETLIST[34];
TIVAR_API extern int32_t NUM_GDSF_CHARSETS;

TIVAR_END_C

#endif
