/* Types, codes and messages that every part of the interface shares. */
#ifndef TIVAR_TYPES_H
#define TIVAR_TYPES_H

#include <stdint.h>
#include <tivar/api.h>

/* The version of the filter interface, 2.0.5, which the version query returns: major and minor in
 * the two upper bytes, patch in the lower 16 bits. */
#define TIVAR_VERSION 0x02000005

TIVAR_BEGIN_C

/* A block of movable memory (memory.h). 0 = none. */
typedef uintptr_t MemHandle;

/* A buffered stream (stream.h). 0 = none. */
typedef uintptr_t OxlStream;

/* One word of a record that the 32-bit interface describes as 32-bit words: wide enough for an
 * address, a handle or an opaque value of the host. Word records keep their word numbers on hosts
 * of either word size. */
typedef uintptr_t HostWord;

/* The host's status call-back; context is the host's own word. It is called with
 *
 *   (context, 0,  0,   0, percent, 0, 0)      how far the work is, and whether to go on
 *   (context, 0, -2, 100, 0,       0, 0)      the driver is being initialised
 *   (context, 2, 61,   0, 0,       0, block)  really cancel?
 *
 * The third asks again after an answer other than 0 to the first, whose operation and value are
 * both 0; block is the address of ten zeroed 32-bit words. The answer to it decides: 0 = go on, any
 * other = cancel. An answer to the second one changes nothing, and it comes only where context is
 * not 0.
 *
 * percent, on the filter route: what is written, after every band; a picture in memory is one band,
 * so that is 100, once. By the driver: 20, and once more 20 for each further step, while a cell
 * array of its own is scaled and brought to another depth, then 50 before it is written; 0 when the
 * device closes. */
typedef int32_t (*StatusProc)(intptr_t context, int32_t operation, int32_t value, int32_t a3,
                              int32_t percent, int32_t a5, intptr_t block);

/* Serves a document of the host; see OxlStreamDesc in stream.h for its operations. */
typedef intptr_t (*OxlDocProc)(intptr_t first, int32_t operation, intptr_t a, intptr_t b);

/* Supplies a picture to the band loop; see DrawMessage in export.h. */
typedef HostWord (*DrawProc)(int32_t message, void* input, HostWord output, HostWord extra);

/* Result codes that the host sees. */
enum {
    TIVAR_OK = 0,
    TIVAR_ERR_COMMON_MEMORY = 21, /* common-block route: no memory for output to memory */
    TIVAR_ERR_COMMON_SETUP = 22,  /* common-block route: no settings, no name, or no such depth */
    TIVAR_ERR_SETUP = 27,         /* picture set-up failed */
    TIVAR_ERR_NO_MEMORY = 300,    /* driver: no memory */
    TIVAR_ERR_STREAM = 303,       /* output could not be opened, written or closed */
    TIVAR_ERR_CANCELLED = 901,    /* the host's status call-back cancelled */
    TIVAR_ERR_BAND = -1,          /* a band could not be written */
    TIVAR_ERR_RESOLUTION = -62,   /* LimitCheck put a resolution back */
    TIVAR_ERR_SIZE = -63          /* LimitCheck put a size back */
};

TIVAR_END_C

#endif
