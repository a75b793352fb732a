/* From a picture to the bytes of a BMP file. A host of the filter route needs ExportCellData and
 * the three records in front of it; the rest are the stages that it runs. */
#ifndef TIVAR_EXPORT_H
#define TIVAR_EXPORT_H

#include <tivar/filter.h>
#include <tivar/types.h>

TIVAR_BEGIN_C

/* ---- The export call ------------------------------------------------------------------------- */

/* A picture. The host owns it, its pixels and its table. Rows are padded to a multiple of 4 bytes
 * and lie bottom row first, as in the file; 24-bit pixels are red, green, blue. The export sets
 * resolution and the two doubles, and exchanges red and blue of 24-bit rows in place when it writes
 * them as they are: at their own depth and size. */
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

/* The picture's description, by byte position. Resolutions are pixels per inch. The target is width
 * x height pixels at resolution; with resolution 0 the picture is fitted into the settings' page
 * instead, and width and height give its proportions. The built-in settings go up to 400: 600 x 300
 * at 600 become 400 x 200. */
typedef struct PictureDescription {
    uint16_t reserved0;
    int16_t displayResolution; /* byte 2: of the display */
    uint8_t reserved4[6];
    int16_t resolution;    /* byte 10 */
    int32_t width;         /* byte 12: pixels */
    int32_t height;        /* byte 16: pixels */
    int32_t displayWidth;  /* byte 20: of the display, pixels */
    int32_t displayHeight; /* byte 24 */
} PictureDescription;

/* Words of the export parameter block, which has at least 7. */
enum {
    EXPORT_SETUP = 2, /* settings handle */
    EXPORT_STATUS = 6 /* address of the status block, or 0 for output to a file */
};

/* Words of the status block, which has at least 13, or 7 when the target is no document. */
enum {
    STATUS_CONTEXT = 1,  /* first argument of the status call-back */
    STATUS_PROC = 2,     /* StatusProc, or 0 */
    STATUS_MEMORY = 6,   /* out, to memory: handle of the block, the host's to free */
    STATUS_DOCUMENT = 12 /* document value for document output */
};

/* Writes picture as a BMP file into the first target that applies: the host's document when the
 * settings' documentStream is set, the file called fileName ("stdout" is the process's standard
 * output, which is closed with it), or, when that is empty, a memory block (ended by a byte 0xFF
 * that is not part of the file).
 *
 * The file has an even height: an odd one grows by a row (see CellFormat).
 *
 * 303 when no target could be opened, when picture, description or hostParams is null, when the
 * settings handle or a needed status block is 0, or when a call-back destroyed the settings.
 * Otherwise 0, even when the export was cancelled or cut off later: the host judges the file. */
TIVAR_API int32_t ExportCellData(const char* fileName, CellPicture* picture,
                                 const PictureDescription* description, HostWord* hostParams);

/* ---- Stages ---------------------------------------------------------------------------------- */

/* What the negotiation settles. The file has the whole pixels of width and height, and one row more
 * where that height is odd. A picture of h rows at its own size then has its bottom row twice, or,
 * where h x ((h + 1) / h) in doubles stays below h + 1 (for one odd height in nine, such as 47, 55
 * and 77), a bottom row of 0. */
typedef struct CellFormat {
    double width; /* in: the picture's, in inches, or only as a ratio; out: pixels */
    double height;
    uint32_t resolution; /* pixels per inch; in: offered, 0 = none; out: used */
    int16_t swapRedBlue; /* 1: 24-bit rows are stored blue, green, red */
    int16_t padding;
} CellFormat;

/* Messages of a drawing call-back, with its input, output and extra. Rows count from the bottom of
 * the picture; firstRow is in the band, lastRow is not. */
enum DrawMessage {
    DRAW_QUERY = 0,      /* (picture, address of a CellFormat to fill, 0); result unused */
    DRAW_INITIALISE = 1, /* (request, address of five words: width, height, bits, colours, table;
                            0); result = rows per band, 0 = failed */
    DRAW_TERMINATE = 2,  /* (request, 0, 0); result unused */
    DRAW_ROWS = 3        /* (request, firstRow, lastRow); result = handle of the band's rows */
};

/* The offscreen surface, which is also the request that a drawing call-back works on. */
typedef struct CellDataRequest {
    CellPicture* picture;
    DrawProc draw;
    int16_t colorCount;  /* entries in colorTable; 0 at 24 bits */
    uint8_t* colorTable; /* red, green, blue; an oxlPtrGlobalAlloc block, which the call-back may
                            resize and move; entries that it then lacks are black */
    uint32_t destWidth;  /* pixels */
    uint32_t destHeight; /* rows */
    int16_t destBits;    /* bits of a pixel */
    uint8_t flag;
    MemHandle privateBlock; /* the call-back's own */
    HostWord reserved[2];
} CellDataRequest;

/* Runs the export of picture on an open stream, with the settings in lpRaster: 0, 27 set-up failed,
 * 901 cancelled, -1 a band could not be written. The stream stays the caller's. After each band
 * UpdateStatus reports. */
TIVAR_API int32_t OutputPicture(OxlStream stream, CellPicture* picture, DrawProc drawCallback);

/* Reports percent to the status call-back of the settings in lpRaster: 0 go on, 901 stop. */
TIVAR_API int32_t UpdateStatus(int32_t percent);

/* The drawing call-back of pictures in memory. What it makes is its own until DRAW_TERMINATE.
 *
 * DRAW_QUERY       offers the picture's resolution and its target size in inches, or, when the
 *                  resolution is 0, the target size itself; sets swapRedBlue. 0.
 * DRAW_INITIALISE  puts the output's colours into the request's table. The height from the five
 *                  words, so that the picture is one band; 0 without memory.
 * DRAW_ROWS        the whole picture at the request's size and depth, whichever rows are asked for:
 *                  a handle of its own, or the picture's where nothing had to change or could be.
 * DRAW_TERMINATE   frees what it made. 1.
 *
 * 0 for other messages and a null input. */
TIVAR_API HostWord DrawExportCellData(int32_t message, void* input, HostWord output,
                                      HostWord extra);

/* Chooses size in pixels, bits and planes from the settings in lpRaster, and writes page size and
 * resolutions that this settles into them.
 *
 * width, height  in: inches in size mode 602 with a resolution offered, else only their ratio
 *                counts; out: pixels, with fractions. Unchanged when the resolution comes out as 0.
 * resolution     in: offered, pixels per inch, 0 = none; it counts in resolution mode 309, as 400
 *                when it is above 400; out: the horizontal one that is used. May be null: then none
 *                is offered, and in size mode 602 the page is filled whatever the ratio.
 * bitCount       out: 1, 4, 8 or 24; 65532, 65528 and 3 for the colour formats 216 to 218; for
 *                others it stays. May be null.
 * planes         out: 1. May be null. */
TIVAR_API void QueryCellFormat(double* width, double* height, uint16_t* bitCount,
                               uint32_t* resolution, uint16_t* planes, HostWord unused);

/* Fits the ratio aspectWidth : aspectHeight into the settings' page: out[0] and out[1] receive
 * width and height in inches. 0; -1 when out or lpRaster is null. */
TIVAR_API int32_t RasterAdjustAspect(double* out, double aspectWidth, double aspectHeight);

/* The offscreen surface, which forwards to the drawing call-back. Query sends DRAW_QUERY. */
TIVAR_API void QueryPlatformOffscreen(CellFormat* format, CellPicture* picture, DrawProc draw);

/* Makes the surface and sends DRAW_INITIALISE; null without memory. *rows holds the full height on
 * entry and the rows per band on return. The surface is the caller's, and colorTable stays so. */
TIVAR_API CellDataRequest* InitPlatformOffscreen(uint32_t width, uint32_t* rows, int32_t bitCount,
                                                 int16_t colorCount, uint8_t* colorTable,
                                                 CellPicture* picture, DrawProc draw,
                                                 const uint8_t* flag);

/* Sends DRAW_ROWS: the handle of the rows, which stays the call-back's. */
TIVAR_API MemHandle DrawPlatformOffscreen(CellDataRequest* offscreen, int32_t firstRow,
                                          int32_t lastRow);

/* Sends DRAW_TERMINATE and frees the surface; null is allowed. */
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
 * outLength receives the bytes produced. Kept: a pair stands for at most 254 bytes, and the last
 * byte of the row is a pair of its own. */
TIVAR_API void EncodeRLE8Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                             uint8_t* destination);

/* The same with counts in pixels, two for each byte, and at most 126 bytes in a pair. */
TIVAR_API void EncodeRLE4Row(uint32_t length, uint32_t* outLength, const uint8_t* source,
                             uint8_t* destination);

TIVAR_END_C

#endif
