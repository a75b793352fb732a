/* From a picture to the bytes of a BMP file. A host of the filter route needs ExportCellData and
 * the three records in front of it; the rest are the stages that it runs. */
#ifndef TIVAR_EXPORT_H
#define TIVAR_EXPORT_H

#include <tivar/filter.h>
#include <tivar/types.h>

TIVAR_BEGIN_C

/* ---- The export call --------------------------------------------------------------------------
 */

/* A picture. The host owns it, its pixels and its table. Rows are padded to a multiple of 4 bytes
 * and lie bottom row first, as in the file; 24-bit pixels are red, green, blue. The export sets
 * resolution and the two doubles, and exchanges red and blue of 24-bit rows in place when it writes
 * them unconverted. */
typedef struct CellPicture {
    uint16_t bits; /* 1, 4, 8 or 24 */
    uint16_t width;
    uint16_t height;
    int16_t resolution;   /* set by the export: the offered resolution */
    double targetWidth;   /* set by the export: in pixels */
    double targetHeight;  /* set by the export */
    MemHandle colorTable; /* 2^bits entries of red, green, blue; 0 at 24 bits */
    MemHandle pixels;
    uint8_t reserved[48];
} CellPicture;

/* The picture's description, by byte position. The target is width x height pixels at resolution;
 * with resolution 0 the picture is fitted into the settings' page instead. */
typedef struct PictureDescription {
    uint16_t reserved0;
    int16_t displayResolution; /* byte 2: of the display, pixels per inch */
    uint8_t reserved4[6];
    int16_t resolution;    /* byte 10 */
    int32_t width;         /* byte 12 */
    int32_t height;        /* byte 16 */
    int32_t displayWidth;  /* byte 20: of the display, pixels */
    int32_t displayHeight; /* byte 24 */
} PictureDescription;

/* Words of the export parameter block. */
enum {
    EXPORT_SETUP = 2 /* settings handle */,
    EXPORT_STATUS = 6 /* address of the status block */
};

/* Words of the status block. */
enum {
    STATUS_CONTEXT = 1,  /* first argument of the status call-back */
    STATUS_PROC = 2,     /* StatusProc, or 0 */
    STATUS_MEMORY = 6,   /* out: handle of the memory block; the host frees it */
    STATUS_DOCUMENT = 12 /* document value for document output */
};

/* Writes picture as a BMP file into the first target that applies: the host's document when the
 * settings' documentStream is set, the file called fileName, or, when that is empty, a memory block
 * (ended by a byte 0xFF that is not part of the file).
 *
 * hostParams holds at least 7 words, the status block at least 13. 303 when no target could be
 * opened, when picture, description or hostParams is null, or the settings handle or a needed
 * status block is 0. Otherwise 0, even when the export was cancelled or cut off later: the host
 * judges the file. */
TIVAR_API int32_t ExportCellData(const char* fileName, CellPicture* picture,
                                 const PictureDescription* description, HostWord* hostParams);

/* ---- Stages -----------------------------------------------------------------------------------
 */

/* What the negotiation settles. */
typedef struct CellFormat {
    double width; /* in: the picture's, in inches or as a ratio; out: pixels */
    double height;
    uint32_t resolution; /* in: offered, 0 = none; out: used */
    int16_t swapRedBlue; /* 1: 24-bit rows are stored blue, green, red */
    int16_t padding;
} CellFormat;

/* Messages of a drawing call-back (input, output, extra). */
enum DrawMessage {
    DRAW_QUERY = 0,      /* (picture, CellFormat*, 0): size, resolution, red/blue exchange */
    DRAW_INITIALISE = 1, /* (request, five-field block, 0): colour table; result = rows per band */
    DRAW_TERMINATE = 2,  /* (request, 0, 0) */
    DRAW_ROWS = 3        /* (request, first row, last row): handle of the rows */
};

/* The offscreen surface, which is also the request that a drawing call-back works on. */
typedef struct CellDataRequest {
    CellPicture* picture;
    DrawProc draw;
    int16_t colorCount;  /* entries in colorTable */
    uint8_t* colorTable; /* an oxlPtrGlobalAlloc block; the call-back may move it */
    uint32_t destWidth;
    uint32_t destHeight;
    int16_t destBits;
    uint8_t flag;
    MemHandle privateBlock; /* the call-back's own */
    HostWord reserved[2];
} CellDataRequest;

/* Runs the export of picture on an open stream, with the settings in lpRaster: 0, 27 set-up failed,
 * 901 cancelled, -1 a band could not be written. The stream stays the caller's. */
TIVAR_API int32_t OutputPicture(OxlStream stream, CellPicture* picture, DrawProc drawCallback);

/* Reports percent to the host's status call-back: 0 go on, 901 stop. */
TIVAR_API int32_t UpdateStatus(int32_t percent);

/* The drawing call-back of pictures in memory: prepares the colour table (1) and the rows at the
 * request's size and depth (3), frees what it made (2). The rows belong to the call-back. */
TIVAR_API HostWord DrawExportCellData(int32_t message, void* input, HostWord output,
                                      HostWord extra);

/* Chooses size in pixels, bits and planes from the settings in lpRaster. resolution may be null. */
TIVAR_API void QueryCellFormat(double* width, double* height, uint16_t* bitCount,
                               uint32_t* resolution, uint16_t* planes, HostWord unused);

/* Fits the ratio aspectWidth : aspectHeight into the settings' page: out[0] and out[1] receive
 * inches. 0; -1 when out or lpRaster is null. */
TIVAR_API int32_t RasterAdjustAspect(double* out, double aspectWidth, double aspectHeight);

/* Offscreen surface: forwards to the drawing call-back. The record belongs to the caller until
 * TermPlatformOffscreen. rows holds the full height on entry and the rows per band on return. */
TIVAR_API void QueryPlatformOffscreen(CellFormat* format, CellPicture* picture, DrawProc draw);
TIVAR_API CellDataRequest* InitPlatformOffscreen(uint32_t width, uint32_t* rows, int32_t bitCount,
                                                 int16_t colorCount, uint8_t* colorTable,
                                                 CellPicture* picture, DrawProc draw,
                                                 const uint8_t* flag);
TIVAR_API MemHandle DrawPlatformOffscreen(CellDataRequest* offscreen, int32_t firstRow,
                                          int32_t lastRow);
TIVAR_API void TermPlatformOffscreen(CellDataRequest* offscreen);

/* State of a file being written, behind the handle that BeginCellBitmap gives. */
typedef struct CellBitmapState {
    uint32_t compression;    /* 0 raw, 1 8-bit and 2 4-bit run-length encoding */
    uint32_t compressedSize; /* encoded bytes so far */
} CellBitmapState;

/* Writes headers and palette (2^bitCount entries of red, green, blue; unused at 24 bits) with the
 * settings in lpRaster. 1, with a new state in stateOut; 0 on failure, the state then stays for
 * EndCellBitmap to free. */
TIVAR_API int32_t BeginCellBitmap(OxlStream stream, uint32_t width, uint32_t height,
                                  uint32_t bitCount, const uint8_t* palette, MemHandle* stateOut);

/* Writes rows of bits, first row first. 24-bit rows have red and blue exchanged in place when
 * swapRedBlue is 1. 0; -1 when encoded rows did not fit the stream, when bits holds fewer rows
 * (those that it holds are written), or for state 0. */
TIVAR_API int32_t WriteCellBits(OxlStream stream, MemHandle bits, uint32_t width, uint32_t rows,
                                uint32_t bitCount, int16_t swapRedBlue, MemHandle state);

/* Patches the image size of an encoded file and frees state; always 0. */
TIVAR_API int32_t EndCellBitmap(OxlStream stream, MemHandle state);

/* Encodes and writes rowCount rows of rowLength bytes, stride bytes apart, through the settings'
 * work buffer (2 x rowLength bytes). mode 2 = 4-bit, any other = 8-bit. *sizeCounter grows by the
 * encoded bytes. 0, or 303 when the stream took fewer bytes or the buffer is too small. */
TIVAR_API int32_t RLEWrite(OxlStream stream, const uint8_t* rows, uint32_t rowCount,
                           uint32_t rowLength, uint32_t stride, uint32_t* sizeCounter,
                           uint32_t mode);

/* Encodes length bytes into destination (up to 2 x length bytes) as pairs of count and value;
 * outLength receives the bytes produced. Kept: a run that reaches the limit or the end of the row
 * gives its last byte to the next run. The 4-bit count is in pixels. */
TIVAR_API void EncodeRLE8Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                             uint8_t* destination);
TIVAR_API void EncodeRLE4Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                             uint8_t* destination);

TIVAR_END_C

#endif
