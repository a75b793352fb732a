/* The raster colour library: bitmaps of 1, 4, 8, 24 or 32 bits in movable memory.
 *
 * A bitmap travels as pixel handle, width, height, depth and, where needed, colour table. Rows lie
 * one after another, each padded to a multiple of 4 bytes. Depth 1 and 4 put the leftmost pixel
 * into the highest bits; 24 is red, green, blue; 32 has a fourth byte. A colour table is packed
 * 3-byte entries red, green, blue, its count travels beside it; table 0 = none.
 *
 * A pixel value is the table index at depths to 8, red << 24 | green << 16 | blue << 8 ("packed
 * RGB") at 24, and the four bytes, first one highest, at 32.
 *
 * Routines that make pixels or tables return a new handle that the caller frees with GlobalFree; 0
 * = failure. Sources stay the caller's. Bytes missing from a block that is too short read as zero;
 * what would land outside a block is dropped. */
#ifndef TIVAR_COLOR_H
#define TIVAR_COLOR_H

#include <tivar/types.h>

TIVAR_BEGIN_C

/* Debug level: not 0 prints summaries, below 3 also a dot per scan line (1, 2), above 3 every pixel
 * written by rlSetPixel. Conversion and reduction print to standard error, dithering to standard
 * output. The host may set it. */
TIVAR_API extern int16_t _debug_color_res;

/* Bytes of a row: its bits rounded up to bytes, those to a multiple of 4; 0 when 32 bits do not
 * hold its bits. */
TIVAR_API int32_t rlBytesPerLine(uint32_t width, int16_t bitsPerPixel);

/* Bytes of a bitmap: rows times rlBytesPerLine; 0 when 32 bits do not hold them. */
TIVAR_API uint32_t rlCalcNewSize(uint32_t width, uint32_t height, int16_t bitsPerPixel);

/* The value of pixel (x, y) of locked rows, stride bytes apart; 0 at other depths and for null. */
TIVAR_API uint32_t rlGetPixel(const uint8_t* rows, int32_t stride, uint32_t x, uint32_t y,
                              int16_t bitsPerPixel);

/* Stores one pixel; 0. With indexMap the stored value is indexMap[value]; without one, a table
 * below depth 24 makes it the nearest entry to the packed RGB value. At depth 24 and 32 a table and
 * a map store the table entry at indexMap[value]; a table without a map is not used there. */
TIVAR_API int32_t rlSetPixel(uint8_t* rows, int32_t stride, uint32_t x, uint32_t y,
                             int16_t bitsPerPixel, uint32_t value, const uint32_t* indexMap,
                             const uint8_t* colorTable, int16_t colorCount);

/* Index of the nearest entry by squared distance, lowest index on ties. Grey queries (components
 * within 4 of each other) see only exactly grey entries, others only coloured ones; 0 when none is
 * left, and for a null table. */
TIVAR_API uint32_t rlNearestRGBIndex(int16_t red, int16_t green, int16_t blue,
                                     const uint8_t* colorTable, int16_t colorCount);

/* Map of 2^sourceBits 32-bit values, one for each source index: the nearest index of the
 * destination table, or the packed RGB value where destBits is 24. Free it with rlFreeColormap.
 * Without a destination table and for a source not deeper than the destination, the source table
 * serves as both. 0 for sources of more than 15 bits, whose pixels need no map, or of fewer than
 * 0. */
TIVAR_API MemHandle rlBuildColormap(const uint8_t* sourceTable, int16_t sourceBits,
                                    const uint8_t* destTable, int16_t destBits, int16_t destCount);

/* Frees a map; map 0 is allowed. Always 0. */
TIVAR_API int32_t rlFreeColormap(MemHandle map);

/* A block of elementSize x count zeroed bytes; 0 without memory, for more than 32 bits hold, and
 * for an elementSize below 0. */
TIVAR_API MemHandle rlGetMemory(int16_t elementSize, uint32_t count);

/* The same as GlobalLock of memory.h. */
TIVAR_API void* rlLockMemory(MemHandle handle);

/* The same as GlobalUnlock. */
TIVAR_API int32_t rlUnlockMemory(MemHandle handle);

/* Frees a block: 1, or 0 for handle 0. */
TIVAR_API int32_t rlFreeNewData(MemHandle handle);

/* The same as GlobalHandle. */
TIVAR_API MemHandle rlPointertoHandle(const void* pointer);

/* A table of at most *colorCount entries for a 24-bit bitmap, by median cut over a histogram of 5
 * bits a channel (P. Heckbert, "Color Image Quantization for Frame Buffer Display", 1982).
 * *colorCount receives the entries produced; the table has room for as many as were wanted. */
TIVAR_API MemHandle rlReduceColorTable(MemHandle bits, uint16_t width, uint16_t height,
                                       uint16_t* colorCount);

/* Brings a bitmap to another depth, with a new table and dithering where the depth asks for them.
 * The handle behind colorTable is replaced by the new table's, 0 when none was made; the old table
 * is neither freed nor changed. */
TIVAR_API MemHandle rlChangeColorResolution(MemHandle bits, uint32_t width, uint32_t height,
                                            int16_t sourceBits, int16_t destBits,
                                            MemHandle* colorTable);

/* Converts pixel by pixel through an index map, the nearest entry of destTable, or directly.
 * destCount is the number of entries in destTable. */
TIVAR_API MemHandle rlConvertBitmapDepth(MemHandle bits, uint32_t width, uint32_t height,
                                         int16_t sourceBits, int16_t destBits,
                                         MemHandle sourceTable, MemHandle destTable,
                                         int16_t destCount);

/* 32-bit pixels in place, from red, green, blue, any to cyan, magenta, yellow, 0: each is 255 less
 * what it was. */
TIVAR_API void rlRGB4toCMYK(MemHandle bits, uint32_t width, uint32_t height);

/* 32-bit pixels of cyan, magenta, yellow, black to 3-byte pixels, each channel 255 less the greater
 * of itself and black. They lie without row padding from the start of the same block. */
TIVAR_API void rlCMYKtoRGB(MemHandle bits, uint32_t width, uint32_t height);

/* The same from red, green, blue, alpha: the alpha is left out. */
TIVAR_API void rlALPHAtoRGB(MemHandle bits, uint32_t width, uint32_t height);

/* Error diffusion to fewer than 8 bits (R. Floyd, L. Steinberg, "An Adaptive Algorithm for Spatial
 * Greyscale", 1976), left to right on every row. *colorTable is the table to use, or 0: then 8
 * greys for 1 bit, else a reduced table and 8 fixed colours. It receives the table used. Kept:
 * 1-bit output stores bit 0 of the grey's index, so that every other grey of the eight is white. */
TIVAR_API MemHandle rlDitherBitmap(MemHandle bits, uint32_t width, uint32_t height,
                                   int16_t sourceBits, int16_t destBits, MemHandle sourceTable,
                                   MemHandle* colorTable);

/* The table that rlDitherBitmap would choose, and its count. *colorTable is 0 on entry, or at 1 bit
 * the table to use. 0; -1 when a pointer is null. */
TIVAR_API int32_t rlDitherGetCT(MemHandle bits, uint32_t width, uint32_t height, int16_t sourceBits,
                                int16_t destBits, MemHandle sourceTable, MemHandle* colorTable,
                                uint16_t* colorCount);

/* Dithers to a given table of count entries. */
TIVAR_API MemHandle rlDitherGivenCT(MemHandle bits, uint32_t width, uint32_t height,
                                    int16_t sourceBits, int16_t destBits, MemHandle sourceTable,
                                    MemHandle table, int16_t count);

/* Diffuses one locked 24-bit row into itself and the row below (null: none). */
TIVAR_API void _rlDitherOneLine(uint8_t* row, uint8_t* nextRow, const uint8_t* table,
                                uint32_t width, int16_t count);

/* Resizes by dropping and repeating pixels, in both directions whichever way they go. 16-bit
 * places: a source row beyond 32767 is read as 0 unless the height grows, and a width beyond 65535
 * wraps. */
TIVAR_API MemHandle rlShrinkBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t sourceWidth,
                                   uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight);

/* The same. */
TIVAR_API MemHandle rlStretchBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t sourceWidth,
                                    uint32_t sourceHeight, uint32_t destWidth, uint32_t destHeight);

/* Mirrors in place and returns bits, locked once more. Kept: horizontally pixel x trades places
 * with pixel width - x, so the first one goes just past the row and the last one stays. */
TIVAR_API MemHandle rlFlipBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t width,
                                 uint32_t height, int16_t mirrorHorizontally,
                                 int16_t mirrorVertically);

TIVAR_END_C

#endif
