/* The raster device driver: a virtual output device that receives numbered operations ("opcodes")
 * and produces a BMP file. Two routes lead in: RASTER_dd_entry over the library's own device state,
 * and dd_entry over a common block of the host.
 *
 * A session of the raster route:
 *
 *     HostWord init[DRIVER_INIT_WORDS] = {0};       which DRIVER_INIT_* says what goes where
 *     RASTER_dd_entry32(0, DRV_INIT, init, 0);
 *     RASTER_dd_entry32(0, DRV_DISPATCH, block, 0); for each of these opcodes:
 *         OP_OPEN
 *             OP_BEGIN_PICTURE, then the window, the scale, the background
 *             OP_BEGIN_BODY, then colours and drawing
 *             OP_END_PICTURE
 *         OP_CLOSE
 *     RASTER_dd_entry32(0, DRV_TERM, 0, 0);
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

/* Opcodes that do something; their blocks are described below. The others of the table are accepted
 * and ignored. */
enum {
    OP_OPEN = 1,
    OP_CLOSE = 2,
    OP_BEGIN_PICTURE = 3,
    OP_BEGIN_BODY = 4,
    OP_END_PICTURE = 5,
    OP_SET_WINDOW = 518,
    OP_SET_BACKGROUND = 519,
    OP_SET_VIEWPORT = 520,
    OP_SET_SCALE = 521,
    OP_QUERY_VIEWPORT = 765,
    OP_QUERY_WINDOW = 767,
    OP_CELL_ARRAY = 1033,
    OP_PRIMITIVE = 1034,
    OP_SET_COLORS = 1314,
    OP_POP_ERRORS = 3842,
    OP_EMPTY_ERRORS = 3843
};

/* A parameter block starts with its 32-bit opcode; numbers lie at fixed byte positions, in the
 * host's byte order, and need no alignment. What is not listed is not read. The device's unit is
 * the unit of its window; cells are pixels of the host.
 *
 * OP_SET_WINDOW      16  six doubles: x, y, z of the first corner, x, y, z of the second; units
 * OP_SET_BACKGROUND  16  three bytes: red, green, blue; stored, not drawn
 * OP_SET_VIEWPORT    16  two doubles: x, y of the first corner; stored for the query
 *                    40  two doubles: x, y of the second
 * OP_SET_SCALE       16  16-bit mode: 1 metric, 0 and 2 no measure; others change nothing
 *                    24  double, millimetres per unit: the measure is the whole number of units per
 *                        inch nearest to 25.4 / scale; none for a scale of 0
 * OP_CELL_ARRAY      24  double: y of the first corner
 *                    48  double: y of the second corner
 *                    88  32 bits: cells of a row
 *                    92  32 bits: rows
 *                    96  32 bits: precision, the bits of a cell
 *                   102  the rows, each padded to a multiple of 4 bytes; with a negative precision
 *                        their address instead, as wide as addresses are
 * OP_PRIMITIVE       16  32 bits: -5 begins an image, -6 ends and writes it, others do nothing
 *                    20  32 bits: n, the number of points; -6 reads nothing from here on
 *                    24  n points of 24 bytes each
 *              24 + 24n  32 bits: length of the data; not read, nor held against the 28 bytes
 *              28 + 24n  -5, 28 bytes: cells of a row, rows and precision in 32 bits each, a flag
 *                        in 16 bits, which is stored, 14 unused bytes
 * OP_SET_COLORS       4  32 bits: 2 + 3 x colours
 *                    16  32 bits: first index
 *                    20  three bytes each: red, green, blue; changed in place by the colour mode
 * OP_POP_ERRORS      16  32 bits: errors wanted
 *
 * A negative precision means the depth of its absolute value; -32768 stands for 1.
 *
 * Replies are appended to the reply buffer, one behind the other, and cut where it ends:
 *
 * OP_QUERY_WINDOW    six doubles as they were set
 * OP_QUERY_VIEWPORT  six doubles; kept: x of the first corner, y of the second, 0, y of the first,
 *                    x of the second, 0
 * OP_POP_ERRORS      a 32-bit count, the lesser of those wanted and those there, and as many
 *                    ErrorRecords, newest first; kept: there are none */

/* Words of the block of DRV_INIT on the raster route. */
enum {
    DRIVER_INIT_NAME = 3,          /* address of the file name, of at most 143 characters; "" =
                                      output to memory; copied */
    DRIVER_INIT_REPLY_SIZE = 9,    /* bytes of the reply buffer */
    DRIVER_INIT_REPLY = 10,        /* out: address of that buffer, which DRV_TERM frees */
    DRIVER_INIT_SETUP = 13,        /* settings handle; the host's, needed until DRV_TERM */
    DRIVER_INIT_HOOK = 14,         /* address of a StatusHookRecord, needed until DRV_TERM, or 0 */
    DRIVER_INIT_CAPABILITIES = 15, /* address of 60 32-bit integers to fill */
    DRIVER_INIT_WORDS = 16
};

/* Words of the block of DRV_INIT on the common-block route, beside 3, 13 and 14 as above. There 14
 * is the address of a status block of export.h, whose STATUS_MEMORY receives the block of output to
 * memory at DRV_TERM; the string behind 3 is emptied; 13 is replaced by the metafile's setup
 * handle, which is 0. */
enum { COMMON_INIT_FIRST = 1, COMMON_INIT_SECOND = 5 }; /* handed to the platform's metafile */

/* Handles an operation: takes and returns the host's parameter block. */
typedef void* (*DriverHandler)(void* block);

/* One opcode of the table. */
typedef struct DriverOpcodeRow {
    uint32_t opcode;
    DriverHandler handler;
    uint32_t stateMask; /* device states that accept it */
} DriverOpcodeRow;

/* One capability: its place in the host's array and its value. */
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

/* One error. */
typedef struct ErrorRecord {
    uint32_t sequence; /* 0: nothing numbers the operations */
    int16_t code;      /* TIVAR_ERR_NO_MEMORY, TIVAR_ERR_STREAM or TIVAR_ERR_CANCELLED */
    int16_t padding;   /* 0 */
} ErrorRecord;

/* Kept: nothing sets the capacity, so every push lands in the record before entry 0, which is the
 * first record. That one is the newest error, and overflowCount how many there were since the stack
 * was emptied. */
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
    int32_t imagePending; /* 1 between the primitives -5 and -6 */
    int32_t nextRow;
    uint8_t colorTable[256][3]; /* red, green, blue */
    uint8_t background[3];
    ErrorStack errors;
    double deviceWindow[6];   /* units: x, y, z of the first corner, x, y, z of the second */
    double deviceViewport[6]; /* the same; the third and sixth are not used */
    int32_t deviceState;
    uint32_t currentSequence;
    uint32_t replyPosition; /* bytes of the reply buffer that are used */
    uint32_t replySize;     /* bytes of the reply buffer */
    MemHandle hReply;
    uint8_t* lpReply;
    char outputFileName[144];
    int32_t imageWidth;  /* cells */
    int32_t imageHeight; /* rows */
    int32_t bitsPerCell;
    StatusHookRecord* statusHook;
    int32_t colorDepth; /* the settings' colorMode less 103 */
    MemHandle hSetup;
    int32_t viewportResolution; /* units per inch, 0 = no measure */
    int16_t imageFlag;
    int8_t nameRefused; /* 1: the file name was too long, opening fails */
    int8_t closing;     /* 1: output is being closed, opening fails */
    void* memoryBlock;  /* output to memory: address of the block. Once the device has closed it is
                           the host's, who frees GlobalHandle(memoryBlock); the next opening and
                           DRV_TERM forget it. DRV_TERM of an open device frees it. */
    uint8_t reserved[28];
} EMData;

/* The host's block of the common-block route. */
typedef struct CommonBlock {
    int32_t state;                /* 1: the next DRV_INIT initialises afresh */
    int16_t lastError;            /* cleared before each operation */
    StatusHookRecord* statusHook; /* or null */
    int32_t statusValue;          /* stands for the percentage where the host is asked to cancel,
                                     which without metafiles is nowhere */
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
 *
 * DRV_INIT      raster: 0, or TIVAR_ERR_NO_MEMORY, also where a word that is needed is 0.
 *               Common block: 0, TIVAR_ERR_COMMON_MEMORY, TIVAR_ERR_COMMON_SETUP, or
 *               TIVAR_ERR_STREAM when the output cannot be opened.
 * DRV_DISPATCH  runs the operation of the parameter block if the device state accepts it, else
 *               ignores it. The code of the last error that the operation met, or 0;
 *               TIVAR_ERR_STREAM when a call-back ended the device.
 * DRV_TERM      raster: closes an open device and frees the device state; 0. Common block: closes
 *               the output; TIVAR_ERR_NO_MEMORY, as there is never a metafile to draw, or
 *               TIVAR_ERR_STREAM when closing fails.
 * DRV_VERSION   stores the version into block (4 bytes); 4.
 *
 * Other codes do nothing; 0. A null block changes nothing; 0, for DRV_INIT the codes of a word or a
 * setup that is missing. */
TIVAR_API int32_t RASTER_dd_entry32(HostWord reserved1, int32_t code, void* block,
                                    HostWord reserved2);
TIVAR_API int32_t dd_entry32(HostWord reserved1, int32_t code, void* block, HostWord reserved2);

/* 2 when the raster route's device accepts the operation now and has a handler of its own for it,
 * as it has for 771 to 774 and 2310, too, which change nothing; else 0. OP_PRIMITIVE is answered by
 * InqGDPSupport. */
TIVAR_API int32_t InquireSupport(int32_t opcode, int32_t gdpId);

/* Support of a primitive, by its identifier: 0 for all of them, -5 and -6 included. */
TIVAR_API int32_t InqGDPSupport(int32_t gdpId);

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
