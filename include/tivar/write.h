/* The direct interface: a picture becomes a BMP file in one call.
 *
 *     TivarPicture picture = {sizeof picture, TIVAR_RGB, width, height, pixels};
 *     TivarOptions options = {sizeof options};
 *     options.bits = 4;
 *     int32_t result = tivar_write_bmp_file(&picture, &options, "picture.bmp", 0, NULL);
 *
 * Every record begins with its own size, so that later releases can add fields: set it to sizeof.
 * Fields that are 0 have the sensible default, which each of them states.
 *
 * Nothing of the caller's is changed. There is no state between calls and nothing is printed: any
 * number of threads may call at the same time, and call-backs may call anything, this interface
 * included. Call-backs are called on the thread of the call, never on another. Nothing is thrown;
 * call-backs must not throw either.
 *
 * Nothing else of the library's headers is needed. */
#ifndef TIVAR_WRITE_H
#define TIVAR_WRITE_H

#include <stddef.h>
#include <stdint.h>
#include <tivar/api.h>

TIVAR_BEGIN_C

/* ---- Results --------------------------------------------------------------------------------- */

/* What a call comes to. Unless it is TIVAR_RESULT_OK, no complete file was left: a named file is as
 * it was before, there is no memory block, and a sink may have been given the beginning of a
 * file. */
enum TivarResult {
    TIVAR_RESULT_OK = 0,
    TIVAR_RESULT_CANCELLED,     /* progress or cancel said so */
    TIVAR_RESULT_NO_MEMORY,     /* of the library's own */
    TIVAR_RESULT_BAD_CALL,      /* a pointer that is needed is null, or a record's size is wrong */
    TIVAR_RESULT_BAD_PICTURE,   /* a field of the picture is not what it may be */
    TIVAR_RESULT_BAD_OPTION,    /* a field of the options is not what it may be */
    TIVAR_RESULT_CONTRADICTION, /* two options exclude each other, or the picture one of them */
    TIVAR_RESULT_TOO_LARGE,     /* the file would pass 4 GiB, or the header's sides */
    TIVAR_RESULT_ROW_FAILED,    /* the row call-back failed */
    TIVAR_RESULT_SINK_FAILED,   /* the sink failed, or took less than it was given */
    TIVAR_RESULT_FILE_FAILED,   /* the named file could not be made; the report has errno */
    TIVAR_RESULT_LIST_END       /* one more than the last */
};

/* What a result means, in English, without a full stop; never null. The text is constant. */
TIVAR_API const char* tivar_result_text(int32_t result);

/* The release of the library that is running, such as "2.1.0". */
TIVAR_API const char* tivar_version(void);

/* What a call has to say beside its result. The caller sets size; the call sets the rest, whatever
 * it comes to. */
typedef struct TivarReport {
    uint32_t size;        /* sizeof(TivarReport) */
    int32_t result;       /* enum TivarResult, as returned */
    char field[32];       /* what was refused, as in "options.bits"; "" = nothing was */
    char text[160];       /* what went wrong, in a sentence, with the field; "" = nothing did */
    int32_t system_error; /* errno of the call that failed; 0 = none did */
    int32_t bits;         /* of the file's pixels */
    uint32_t colors;      /* palette entries of the file; 0 = it has no palette */
    int32_t exact;        /* 1 = nothing was reduced: the file has 24 or 32 bits, the picture's own
                             palette, or a chosen one with all its colours */
    uint64_t bytes;       /* length of the file */
} TivarReport;

/* ---- The picture ----------------------------------------------------------------------------- */

/* Pixels in memory: bytes in the order of their names; of indices the leftmost pixel has the
 * highest bits of its byte. */
enum TivarFormat {
    TIVAR_RGB = 0,
    TIVAR_BGR,
    TIVAR_RGBA, /* alpha 255 = opaque; not premultiplied */
    TIVAR_BGRA,
    TIVAR_GREY,   /* a byte a pixel, 255 = white */
    TIVAR_INDEX1, /* indices into the picture's palette: 1 bit a pixel */
    TIVAR_INDEX4,
    TIVAR_INDEX8
};

/* Puts the pixels of row y, 0 = the top one, into row, in the picture's format, without padding.
 * 0 = done; anything else ends the call with TIVAR_RESULT_ROW_FAILED. */
typedef int32_t (*TivarReadRow)(void* context, uint32_t y, void* row);

enum TivarPictureFlags {
    /* The row call-back can give its rows only from the top, each once. Else it is asked for them
     * in the order that suits the file, each once. The library keeps what it cannot write yet. */
    TIVAR_ROWS_IN_ORDER = 1
};

/* A picture. It stays the caller's, and must not change during the call. */
typedef struct TivarPicture {
    uint32_t size;   /* sizeof(TivarPicture) */
    int32_t format;  /* enum TivarFormat; 0 = RGB */
    uint32_t width;  /* 1 to 2^31 - 1 */
    uint32_t height; /* 1 to 2^31 - 1 */

    /* The top row's first pixel; null = rows come from read_row. */
    const void* pixels;
    /* From a pixel to the one below it, in bytes; negative = the rows below lie lower in memory.
     * 0 = rows follow each other without padding. At least a row's bytes, but for height 1. */
    ptrdiff_t stride;

    TivarReadRow read_row; /* must be null when pixels is not */
    void* context;         /* first argument of read_row */

    /* Of indices: entries of red, green, blue. An index beyond them is black: the file's palette
     * gets an entry for it, or it is the darkest one where there is no room. */
    const uint8_t* palette;
    uint32_t palette_count; /* 1 to 2^bits for indices, else 0 */

    uint32_t flags; /* enum TivarPictureFlags */
} TivarPicture;

/* ---- The file -------------------------------------------------------------------------------- */

enum TivarHeader {
    TIVAR_HEADER_DEFAULT = 0, /* TIVAR_HEADER_WINDOWS; TIVAR_HEADER_V4 for alpha */
    TIVAR_HEADER_WINDOWS,     /* 40 bytes */
    TIVAR_HEADER_OS2, /* 12 bytes: 1, 4, 8, 24 bits, raw, bottom row first, sides to 65535 */
    TIVAR_HEADER_V4   /* 108 bytes, with masks and the sRGB colour space */
};

enum TivarEncoding {
    TIVAR_ENCODING_RAW = 0,
    TIVAR_ENCODING_RLE,     /* RLE8 or RLE4 with codes for the ends of rows and of the bitmap */
    TIVAR_ENCODING_SMALLEST /* of the two; raw for files that cannot be encoded */
};

enum TivarRowOrder {
    TIVAR_BOTTOM_UP = 0, /* what every reader knows */
    TIVAR_TOP_DOWN       /* negative height: raw files only, with a Windows or V4 header */
};

enum TivarMasks { TIVAR_MASKS_565 = 0, TIVAR_MASKS_555 };

enum TivarAlpha {
    TIVAR_ALPHA_DEFAULT = 0, /* kept at 32 bits, but for the Windows header; else laid over white */
    TIVAR_ALPHA_OVER,        /* laid over options.background */
    TIVAR_ALPHA_DROP         /* the colours as they are, as if all were opaque */
};

enum TivarColors {
    TIVAR_COLORS_DEFAULT = 0, /* an index picture's own palette where the file has room for it; else
                                 TIVAR_COLORS_GREYS at 1 bit and TIVAR_COLORS_BEST at 4 and 8 */
    TIVAR_COLORS_BEST,        /* chosen for the picture; exactly its own when they are few enough */
    TIVAR_COLORS_GREYS,       /* equal steps from black to white */
    TIVAR_COLORS_GIVEN,       /* options.palette, in its order */
    TIVAR_COLORS_FILTER       /* what the filter interface's median cut chooses */
};

enum TivarDither {
    TIVAR_DITHER_DEFAULT = 0, /* TIVAR_DITHER_DIFFUSE at 1 and 4 bits, else TIVAR_DITHER_NONE */
    TIVAR_DITHER_NONE,        /* the nearest colour */
    TIVAR_DITHER_DIFFUSE,     /* error diffusion: for looking at */
    TIVAR_DITHER_ORDERED      /* a fixed pattern: for displays that redraw parts of themselves */
};

enum TivarPaletteLength {
    TIVAR_PALETTE_USED = 0, /* the entries that there are; never fewer than 2 at 1 bit, else 3 */
    TIVAR_PALETTE_FULL      /* 2^bits of them, black behind the last; OS/2 headers have no other */
};

/* Told from 0 to 100, about once a percent, each number at most once and never less than before.
 * 0 = go on; anything else ends the call with TIVAR_RESULT_CANCELLED. */
typedef int32_t (*TivarProgress)(void* context, int32_t percent);

/* Asked before every row. 0 = go on; anything else ends the call with TIVAR_RESULT_CANCELLED. */
typedef int32_t (*TivarCancel)(void* context);

/* What file is wanted. All zeros but for size, or no options at all: a raw Windows bitmap of the
 * picture's own depth. Where every pixel's own colour is in the palette, nothing is dithered. */
typedef struct TivarOptions {
    uint32_t size; /* sizeof(TivarOptions) */

    /* The form of the file. */
    int32_t bits;   /* 1, 4, 8, 16, 24, 32; 0 = 24, with alpha 32, grey 8, of indices theirs */
    int32_t header; /* enum TivarHeader */
    int32_t
        encoding; /* enum TivarEncoding; RLE at 4 and 8 bits, bottom-up, not with an OS/2 header */
    int32_t row_order;      /* enum TivarRowOrder */
    int32_t palette_length; /* enum TivarPaletteLength; at 1, 4 and 8 bits */
    int32_t masks;          /* enum TivarMasks; at 16 bits */
    int32_t x_per_meter;    /* resolution in pixels per metre, at least 0; 0 = not stated, which
                               is all that an OS/2 header can do */
    int32_t y_per_meter;

    /* Its colours. */
    int32_t colors;         /* enum TivarColors; at 1, 4 and 8 bits */
    uint32_t max_colors;    /* of a palette that is chosen: 2 to 2^bits; 0 = 2^bits */
    const uint8_t* palette; /* with TIVAR_COLORS_GIVEN: entries of red, green, blue */
    uint32_t palette_count; /* 1 to 2^bits; 0 without a palette */
    int32_t dither;         /* enum TivarDither; at 1, 4, 8 and 16 bits */
    int32_t alpha;          /* enum TivarAlpha; without effect on pictures without alpha */
    uint8_t background[4];  /* red, green, blue, 0: with TIVAR_ALPHA_OVER */

    /* The call. */
    int32_t threads;        /* at most; 0 and 1 = the caller's alone. The bytes are the same. */
    TivarProgress progress; /* may be null */
    TivarCancel cancel;     /* may be null */
    void* context;          /* first argument of both */
} TivarOptions;

/* ---- Where it goes --------------------------------------------------------------------------- */

/* Takes length bytes of the file, in the file's order. The result is how many it took: fewer end
 * the call with TIVAR_RESULT_SINK_FAILED. */
typedef size_t (*TivarWrite)(void* context, const void* bytes, size_t length);

typedef struct TivarSink {
    uint32_t size;    /* sizeof(TivarSink) */
    TivarWrite write; /* must not be null */
    void* context;    /* its first argument */
} TivarSink;

/* Writes picture as a BMP file into sink, from its first byte to its last, in blocks of any size.
 * options and report may be null. Returns enum TivarResult. */
TIVAR_API int32_t tivar_write_bmp(const TivarPicture* picture, const TivarOptions* options,
                                  const TivarSink* sink, TivarReport* report);

enum TivarFileFlags {
    TIVAR_FILE_SYNC = 1, /* on the disk before the call returns, its directory entry too. Where
                            only the latter fails, the new file is there all the same */
    TIVAR_FILE_NEW = 2   /* a file of that name is a failure (system_error EEXIST) */
};

/* The same to a file of that name, UTF-8 on Windows: complete or not at all. It is written beside
 * the place and renamed, so a file that was there stays until then, and after a failure; a new one
 * has the mode 0666 less the process's mask, one that replaces another has the other's. A symbolic
 * link stays and leads to the new file. What is no file, a device or a pipe, is written to as it
 * is. On Windows the new file has the rights that its directory gives, and a file that somebody has
 * open cannot be replaced. flags: enum TivarFileFlags. */
TIVAR_API int32_t tivar_write_bmp_file(const TivarPicture* picture, const TivarOptions* options,
                                       const char* name, uint32_t flags, TivarReport* report);

/* The same to a block of memory, *bytes and *length, which the caller frees with tivar_free. After
 * a failure both are 0. */
TIVAR_API int32_t tivar_write_bmp_memory(const TivarPicture* picture, const TivarOptions* options,
                                         void** bytes, size_t* length, TivarReport* report);

/* Frees what tivar_write_bmp_memory gave; null is allowed. */
TIVAR_API void tivar_free(void* bytes);

TIVAR_END_C

#endif
