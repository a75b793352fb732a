/* Buffered streams over a named file, a file lent by the caller, a growing memory block of the
 * caller or a document that the host serves; numbers, records and text lines in a byte order and
 * with a line ending chosen per stream.
 *
 * Stream 0 is a failure for every function here. Reading and writing bytes, numbers, records and
 * lines answer 0, but oxlReadLine -1; everything else answers -1. After a failed read, write or
 * seek a stream stays in error: writes to it return 0 once its buffer is full. */
#ifndef TIVAR_STREAM_H
#define TIVAR_STREAM_H

#include <stdio.h>
#include <tivar/types.h>

TIVAR_BEGIN_C

/* Modes of oxlOpen. The last three are exact values, the others combine. */
enum {
    OXL_READ = 0x0000,   /* "r" */
    OXL_WRITE = 0x0001,  /* "w+"; a memory block gets its end mark, a byte 0xFF, at close */
    OXL_UPDATE = 0x0002, /* "r+", wins over OXL_WRITE; end mark as OXL_WRITE */
    OXL_CREATE = 0x1000, /* "w+", wins over both; a memory block starts empty */
    OXL_DELETE = 0x0200, /* delete the named file; no stream */
    OXL_EXISTS = 0x4000, /* test whether the named file exists; no stream */
    OXL_LENT = -1        /* the descriptor's lent file or lent document */
};

/* Second argument of oxlOpen. The caller owns it; it is read while oxlOpen runs.
 *
 * Memory stream (no name, no document procedure): target is the address of a pointer variable of
 * the caller that holds the locked address of a GlobalAlloc block; the variable is rewritten
 * whenever the block moves and must live as long as the stream. size is the block's size in bytes;
 * opened without OXL_CREATE, trailing zeros and the end mark are trimmed from it, in the
 * descriptor; of an empty block, or one of zeros alone, nothing is left. growStep is what a write
 * that passes the end adds, as often as it takes, and what a seek behind the end adds to the place
 * that it goes to. What is added is 0. With a growStep of 0 a seek still makes the block reach its
 * place, but a write past the end fails with -1. So does growing without memory, and nothing is
 * printed.
 *
 * Document stream: documentProc is an OxlDocProc, target the document value it gets at open. When
 * it answers 0 to that, the file called name is opened, while reads and writes go on through the
 * procedure with handle 0; without a name the stream is refused. It is called as (first, operation,
 * a, b):
 *   1 open    (target, 1, name, mode)         -> document handle, 0 = not served
 *   2 read    (handle, 2, buffer, count)      -> bytes read
 *   3 write   (handle, 3, buffer, count)      -> bytes written
 *   4 seek    (handle, 4, address of a 32-bit offset, whence) -> new position
 *   5 close   (handle, 5, 0, 0), or close and delete (handle, 5, 0, 512) -> not looked at
 *   6 exists  (0, 6, name, 0)                 -> what oxlOpen returns for OXL_EXISTS
 *   7 delete  (0, 7, name, 0)                 -> what oxlOpen returns for OXL_DELETE */
typedef struct OxlStreamDesc {
    HostWord target;
    HostWord size;
    HostWord growStep;
    HostWord lentFile;     /* FILE*, of msvcrt.dll on Windows; OXL_LENT without a procedure; never
                              closed by the stream */
    HostWord documentProc; /* OxlDocProc, or 0 */
    HostWord lentDocument; /* OXL_LENT with a procedure */
} OxlStreamDesc;

/* Opens a stream; 0 on failure, with nothing left allocated. Names are UTF-8 on Windows, and all
 * modes are for bytes. The names "stdin" and "stdout" are the
 * process's own, which closing the stream closes. A null or empty name makes a memory stream of the
 * descriptor.
 * OXL_EXISTS: (OxlStream)-1 when the file is missing, else not 0. OXL_DELETE: 1 deleted, 0 not.
 * The caller closes the stream; the block of a memory stream stays the caller's. */
TIVAR_API OxlStream oxlOpen(const char* name, OxlStreamDesc* descriptor, int32_t mode);

/* Flushes and closes: 0, or not 0 when the flush, the end mark or the file's close failed; 0 for a
 * document. The stream is gone in every case. -1 for stream 0. */
TIVAR_API int32_t oxlClose(OxlStream stream);

/* Closes the stream and deletes the named file (a document: through its procedure). 0; -1 for 0. */
TIVAR_API int32_t oxlCloseandDelete(OxlStream stream, const char* name);

/* Reads up to count bytes: the number read, 0 at the end, -1 on failure. */
TIVAR_API int32_t oxlRead(OxlStream stream, void* buffer, int32_t count);

/* Writes count bytes: the number written, 0 for stream 0 and for one in error whose buffer is full,
 * -1 on failure. */
TIVAR_API int32_t oxlWrite(OxlStream stream, const void* buffer, int32_t count);

/* Moves to offset from the start (whence 0), the position (1) or the end (2): the new position, or
 * -1, as for a place before the start, or behind the end of a stream that was opened to read. A
 * memory stream grows when the place, counted from the start, lies behind its limit. */
TIVAR_API int32_t oxlSeek(OxlStream stream, int32_t offset, int32_t whence);

/* Reads from a stream embedded in a compound file, once the component that opened the container has
 * set the stream up for it; oxlRead leads here then. Kept: where the container ends too early, or
 * leads nowhere, the last piece counts as read. 0 at the end, and for stream 0. */
TIVAR_API int32_t docRead(OxlStream stream, void* buffer, int32_t count);

/* Moves in it; oxlSeek leads here then. The place is held to the stream's bounds; kept: an offset
 * from the end counts back from it. -1 for stream 0 and other values of whence. */
TIVAR_API int32_t docSeek(OxlStream stream, int32_t offset, int32_t whence);

/* Copies a file: bytes written minus bytes read, 0 for a complete copy. */
TIVAR_API int32_t oxlCopy(const char* sourceName, const char* targetName);

/* fseek, then ftell; -1 when the seek fails or file is null. */
TIVAR_API int32_t unxSeek(FILE* file, int32_t offset, int32_t whence);

/* Reads the next buffer of a file stream, after writing a dirty one: bytes read, 0 at the end and
 * for memory streams, or -1. */
TIVAR_API int32_t FillOxlIOBuf(OxlStream stream);

/* File stream: writes a dirty buffer, bytes written, 0 when clean. Memory stream: grows the block
 * by its step, 1. -1 on failure. */
TIVAR_API int32_t FlushOxlIO(OxlStream stream);

/* Arrays of count items in the stream's byte order. Writing returns the number of items handled, or
 * the failing result (0 or -1) of the last write. Reading returns count, or 0 when the stream
 * failed or ended before count items; the bytes that came are then left as they are. The Char pair
 * is oxlRead and oxlWrite. */
TIVAR_API int32_t oxlReadChar(OxlStream stream, uint8_t* items, int32_t count);
TIVAR_API int32_t oxlReadShort(OxlStream stream, uint16_t* items, int32_t count);
TIVAR_API int32_t oxlReadLong(OxlStream stream, uint32_t* items, int32_t count);
TIVAR_API int32_t oxlReadFloat(OxlStream stream, float* items, int32_t count);
TIVAR_API int32_t oxlReadDouble(OxlStream stream, double* items, int32_t count);
TIVAR_API int32_t oxlWriteChar(OxlStream stream, const uint8_t* items, int32_t count);
TIVAR_API int32_t oxlWriteShort(OxlStream stream, const uint16_t* items, int32_t count);
TIVAR_API int32_t oxlWriteLong(OxlStream stream, const uint32_t* items, int32_t count);
TIVAR_API int32_t oxlWriteFloat(OxlStream stream, const float* items, int32_t count);
TIVAR_API int32_t oxlWriteDouble(OxlStream stream, const double* items, int32_t count);

/* byteOrder 1 = most significant byte first, any other = least significant first (0 at open).
 * floatFormat 1 = 32-bit floats travel as 16.16 fixed point, any other = IEEE single (0 at open).
 * Kept: a fixed-point value does not read back as written, and a double written with byte order 1
 * leaves as b4 b5 b6 b7 b3 b2 b1 b0. 0, -1 for stream 0. */
TIVAR_API int32_t oxlSetDataFormat(OxlStream stream, int16_t byteOrder, int16_t floatFormat);

/* Both as they were set. 0; -1, and nothing stored, for stream 0 or a null pointer. */
TIVAR_API int32_t oxlGetDataFormat(OxlStream stream, int16_t* byteOrder, int16_t* floatFormat);

/* Stores the n (0 to 4) least significant bytes of value, the least significant one first. 0; -1
 * for a null destination. */
TIVAR_API int32_t oxlNativeToLE(uint8_t* destination, uint32_t value, int32_t n);

/* The same with the most significant one first. */
TIVAR_API int32_t oxlNativeToBE(uint8_t* destination, uint32_t value, int32_t n);

/* Transfers count records that lie in memory with natural alignment and in the stream packed.
 * format is a sequence of [digits]C bytes, S 16-bit, L 32-bit, F floats, D doubles, {nested
 * records}, [members to skip] and, reading only, (unions|whose bytes are skipped). A "[" that no
 * "]" closes skips into the next record. Returns the records transferred, or the result below 1 of
 * the last element, after whose record the transfer stops; 0 for null pointers. An unknown
 * character sets the running count to -1, from where counting goes on. */
TIVAR_API int32_t oxlReadStruct(OxlStream stream, const char* format, void* destination,
                                int32_t count);
TIVAR_API int32_t oxlWriteStruct(OxlStream stream, const char* format, const void* source,
                                 int32_t count);

/* Alignment in bytes, 1, 2, 4 or 8, of the record or group that starts at format. */
TIVAR_API int32_t GetPadWidth(const char* format);

/* Size of the union whose opening parenthesis format points at, through size; returns the position
 * of the closing one. Kept: the alternative behind the last | does not count. */
TIVAR_API const char* GetUnionSize(const char* format, int32_t* size);

/* Reads one line, ended by CR, LF or CR LF, without its ending: the characters stored, at most
 * capacity, or -1 at the end, for stream 0 and for a capacity below 1. A line that fills the buffer
 * is not terminated, its rest is the next line. Kept: a last line without ending, or with a CR that
 * is the very last byte, is stored but reported as -1. */
TIVAR_API int32_t oxlReadLine(OxlStream stream, char* buffer, int32_t capacity);

/* Writes length bytes and the stream's line ending: the bytes of text written, or the failing
 * result of the ending; 0 for stream 0. */
TIVAR_API int32_t oxlWriteLine(OxlStream stream, const char* text, int32_t length);

/* Line endings: 1 = CR, 2 = LF (at open), any other = CR LF (at open of a document). 0, -1 for
 * stream 0. */
TIVAR_API int32_t oxlSetLineFormat(OxlStream stream, int16_t format);

/* The ending of the first line from the position on: 0 CR LF, 1 CR, 2 LF, -1 none. Moves the stream
 * to its start; its own setting stays. */
TIVAR_API int32_t oxlGetLineFormat(OxlStream stream);

TIVAR_END_C

#endif
