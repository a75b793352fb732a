/* The filter's front door: the entry table, the settings record and the profile behind it. */
#ifndef TIVAR_FILTER_H
#define TIVAR_FILTER_H

#include <tivar/types.h>

TIVAR_BEGIN_C

/* ---- Entry table ----------------------------------------------------------------------------- */

/* One row of the entry table. The nine rows, in order: "CreateSetup" 1001, "DestroySetup" 1002,
 * "EditSetup" 1003, "EscapeSetup" 1004 (xEscapeSetup), "OXLGetFilterVersion" 1005, "dd_entry" 1006,
 * "RASTER_dd_entry" 1008, "ExportCellData" 1009 and "szDLLName" 1010, the only data item
 * (export_szDLLName). Ordinal 1007 does not occur. */
typedef struct FilterEntry {
    const char* name;
    uint16_t ordinal;
    void* address;
} FilterEntry;

/* The host's record for fltLoadPointers. Only count and entries are written. */
typedef struct FilterHostRecord {
    uint32_t hostData;    /* the host's own */
    uint16_t count;       /* out: 9 rows */
    FilterEntry* entries; /* out: the library's table, valid while the library is loaded */
} FilterHostRecord;

/* Hands out the entry table; a null record changes nothing. */
TIVAR_API void fltLoadPointers(FilterHostRecord* record);

/* The filter's version: 0x02000005 = 2.0.5. */
TIVAR_API int32_t OXLGetFilterVersion(void);

/* Copies the text with the identifier (its low 16 bits) into buffer: size bytes without a
 * terminator when size is at most the text's length, else the text and its terminator. Returns the
 * text's length; an unknown identifier copies "Not Defined" and returns 0. A null buffer or a size
 * below 1 copies nothing. module is ignored. */
TIVAR_API int32_t LoadString(HostWord module, int32_t id, char* buffer, int32_t size);

/* Module name from which the profile's file name is derived when CreateSetup gets no path; zero at
 * load, the host may fill it (terminated). */
TIVAR_API extern char export_szDLLName[260];
TIVAR_API extern int16_t FilterVersion; /* 1 */
TIVAR_API extern int16_t FilterID;      /* 16 */

/* ---- Settings -------------------------------------------------------------------------------- */

enum {
    COLOR_MODE_AS_GIVEN = 103, /* colour modes: heard by the raster driver only */
    COLOR_MODE_INVERTED = 104,
    COLOR_MODE_GREYS_INVERTED = 105,
    COLOR_MODE_GREY = 106,
    COLOR_MODE_GREY_INVERTED = 107,
    COLOR_FORMAT_1BIT = 215,
    COLOR_FORMAT_216 = 216, /* 216 to 218 are negotiated but not written */
    COLOR_FORMAT_217 = 217,
    COLOR_FORMAT_218 = 218,
    COLOR_FORMAT_4BIT = 219,
    COLOR_FORMAT_8BIT = 221,
    COLOR_FORMAT_24BIT = 222,
    COMPRESSION_RLE = 228,
    COMPRESSION_NONE = 310,
    RESOLUTION_OF_DISPLAY = 307,
    RESOLUTION_OF_PRINTER = 308,
    RESOLUTION_OF_CALLER = 309,
    RESOLUTION_FIXED = 310,
    FILE_TYPE_WINDOWS = 331,
    FILE_TYPE_OS2 = 332,
    SIZE_OF_DISPLAY = 600,
    SIZE_OF_PRINTER = 601,
    SIZE_GIVEN = 602
};

/* The settings of an export, 1376 bytes of movable memory. Strings are zero-terminated. Sizes are
 * in inches, resolutions in pixels per inch. Fields without a default stay 0 until something sets
 * them. */
typedef struct SetupRecord {
    char filterName[144];
    char modeName[144];          /* profile section that holds the mode's settings */
    char profilePath[144];       /* "" = built-in defaults */
    char backupProfilePath[144]; /* written by BackupProfile */
    char driverName[16];         /* profile key "Driver"; default "TIVAR.1" */
    int32_t reservedWord;
    HostWord editContext;     /* second argument of the last EditSetup */
    HostWord escapeUserValue; /* a value that the host stores and fetches */
    int32_t colorMode;        /* 103 ... 107 */
    int32_t colorModeAux;
    HostWord documentStream;  /* OxlDocProc; not 0: output goes to a document of the host */
    double driverValue;       /* kept for the driver route */
    int32_t lineMode;         /* profile default 119 */
    char outputFileName[144]; /* driver route */
    int32_t sizeMode;         /* 600 ... 602, or 603, which nothing knows; default 602 */
    int32_t resolutionMode;   /* 307 ... 310; default 309, in a profile 310 */
    int32_t compressionMode;  /* 228 = run-length encoded; default 310 */
    int32_t colorFormat;      /* 215, 219, 221 or 222; default 221 */
    int32_t fileType;         /* 331 or 332; default 331 */
    double pictureWidth;      /* default 6.67 */
    double pictureHeight;     /* default 5.0 */
    int16_t xResolution;      /* default 96 */
    int16_t yResolution;      /* default 96 */
    HostWord metafileValue1;  /* driver route */
    HostWord metafileValue2;  /* driver route */
    int32_t paletteSize;      /* palette entries of the file being written */
    int32_t bitsPerPixel;     /* of the file being written */
    HostWord* exportParams;   /* status block of the current export (export.h), else null */
    int32_t printerAvailable; /* 0: printer modes fall back to display modes; never set here */
    MemHandle hRLEBuffer;     /* run-length work buffer of the file being written */
    uint8_t* lpRLEBuffer;
    void* metafileBlock;       /* driver route: address of the memory output's block */
    OxlStream metafileStream;  /* driver route */
    HostWord platformWords[2]; /* driver route */
    uint8_t unused[sizeof(void*) == 4 ? 516 : 456];
} SetupRecord;

/* The record that was created, edited, exported with or used by the driver last, and its handle.
 * Escapes work on the record that they are given and leave these as they are. */
TIVAR_API extern MemHandle hRaster;
TIVAR_API extern SetupRecord* lpRaster;

/* A new settings record, unlocked; 0 without memory. The host owns the handle and ends it with
 * DestroySetup. Every string may be null or empty: profilePath names the profile (without one it is
 * derived from export_szDLLName), modeName its section (without one key "~Mode" of section "TIVAR"
 * names it), filterName the filter. The profile is looked for in the directory that the environment
 * variable INIDIR names, then under profilePath itself. Without a profile the record holds the
 * defaults; a mode section without key "Driver" leaves it zero apart from the names. Names are cut
 * to 143 characters; a longer profilePath is not found. reserved is ignored. */
TIVAR_API MemHandle CreateSetup(HostWord reserved, const char* profilePath, const char* modeName,
                                const char* filterName);

/* Stores context in the record and makes it the one in lpRaster: 0, -1 for handle 0. */
TIVAR_API int32_t EditSetup(MemHandle handle, HostWord context);

/* Frees the record and makes lpRaster null, whichever record that was; always 0. */
TIVAR_API int32_t DestroySetup(MemHandle handle);

/* Reads or changes one setting of the record. inSize is the size of inData in bytes, 4 for an int32
 * and 8 for a double; saveToProfile not 0 also writes the settings 1 and 11 to 14 to the mode's
 * section of the profile. Result: 1 done, or input ignored; 0 not an escape; -1 refused, handle 0,
 * or a null pointer where data is read or written (18, 19 and 56 ignore one). A refusal changes
 * neither record nor profile.
 *
 *    1  set colour mode         int32: 101 to 105 for the modes 103 to 107
 *   11  set x resolution        int32: 32 to 400 pixels per inch
 *   12  set y resolution        int32: 32 to 400
 *   13  set width               double: 0.03125 to 22 inches; kept: saved with ".3" in front of it
 *   14  set height              double: 0.03125 to 22 inches
 *   16  get resolutions         outData: two int32, x and y; 0 0 when the caller gives them (309)
 *   17  get size                outData: two doubles, in inches; 0 0 when it is given (602)
 *   18  set resolution mode     int32: 0 display, 1 printer, 2 caller, 3 fixed; others are ignored
 *   19  set size mode           int32: 0 display, 1 printer, 2 given, 3 = 603; others are ignored
 *   25  set user value          inData itself, not what it points at
 *   26  get user value          outData: one HostWord
 *   56  size of an export       GetRasterInfo(setup, inData, outData)
 *   57  get colour mode         inSize 4; outData: int32, 101 to 105; -1, and another number, when
 *                               the record's mode is none of the five
 *   81  set document procedure  inData itself, an OxlDocProc or null; inSize 4 on hosts of either
 *                               word size, another size is ignored
 *
 * 13 and 14 take what is no number, too. */
TIVAR_API int32_t xEscapeSetup(MemHandle setup, int32_t escape, int32_t inSize, void* inData,
                               void* outData, int32_t saveToProfile);

/* The size of an export with the settings in lpRaster, rounded up to whole pixels: width in
 * size[0], height in size[1]. (The export itself cuts fractions off and makes the height even.)
 * info holds seven int32:
 *
 *   [0]       resolution of the display, pixels per inch, 0 = unknown
 *   [1]       not used
 *   [2]       resolution of the picture, pixels per inch, 0 = none
 *   [3], [4]  width and height of the picture, pixels
 *   [5], [6]  width and height of the display, pixels
 *
 * As an export would, it writes into the settings: pictureWidth and pictureHeight in size modes 602
 * (of the picture) and 600 (of the display), both resolutions in resolution modes 309 and 307, as
 * long as the resolution that this needs is not 0. setup is not used. Always 0; null pointers, and
 * a null lpRaster, change nothing. */
TIVAR_API int32_t GetRasterInfo(MemHandle setup, const int32_t* info, int32_t* size);

/* Fits a size in inches into 22 inches, keeping its proportions. Always 0. */
TIVAR_API int32_t ScaleImageSize(double* width, double* height);

/* Writes the built-in defaults; filterName and lineMode stay. 0; -1 for null. */
TIVAR_API int32_t UseDefaultSettings(SetupRecord* record);

/* Reads lpRaster's settings from its mode section: 1, 0 when the section has no "Driver". */
TIVAR_API int32_t LoadProfile(HostWord unused);

/* Puts an unusable resolution of lpRaster (outside 32 ... 400) back to 96 and an unusable size
 * (outside 0.03125 ... 22 inches) back to 6.67 x 5: 0, -62 for a resolution, -63 for a size (which
 * wins). */
TIVAR_API int32_t LimitCheck(void);

/* Writes nothing; settings reach the profile through the escapes. 1. */
TIVAR_API int32_t SaveProfile(SetupRecord* record);

/* Makes later profile writes go to a temporary file: the directory of profilePath goes to
 * backupProfilePath, a temporary name to profilePath. 1; 0, and nothing changed, for null or when
 * there is no such name. */
TIVAR_API int32_t BackupProfile(SetupRecord* record);

/* Does nothing. */
TIVAR_API void LoadProfileList(HostWord a, HostWord b, int16_t c);

/* ---- Profile files --------------------------------------------------------------------------- */

/* A profile holds [sections] of key=value lines; ";" starts a comment. Names and keys compare
 * without regard to case. Numbers use a point whatever the process's locale. A file is looked for
 * under its name, then in the directory that the environment variable INIDIR names; the three
 * routines without a file name take "OXL.INI". */

/* The value of a key, without its quotes, into buffer, which has size bytes; without a value
 * defaultText. The result is the number of characters placed. Kept: a value of size characters or
 * more fills the buffer without a terminator; a default is always terminated. key null lists the
 * section's keys, each with a terminator, and one more at the end; kept: the result counts the
 * characters of the default and the keys, not the terminators, or is size - 1 when they do not fit.
 * 0, with buffer untouched, when section is null or empty, when defaultText or buffer is null or
 * size is below 1. */
TIVAR_API int32_t GetPrivateProfileString(const char* section, const char* key,
                                          const char* defaultText, char* buffer, int32_t size,
                                          const char* file);
TIVAR_API int32_t GetProfileString(const char* section, const char* key, const char* defaultText,
                                   char* buffer, int32_t size);

/* The value as a number, 0x... hexadecimal or decimal; defaultValue when there is none. A value
 * that starts with neither is 0. */
TIVAR_API int32_t GetPrivateProfileInt(const char* section, const char* key, int32_t defaultValue,
                                       const char* file);
TIVAR_API int32_t GetProfileInt(const char* section, const char* key, int32_t defaultValue);

/* Sets key to value; value null removes the entry, key null the section. The file is rewritten
 * whole, and at every moment the old or the complete new one is on disk. Always 0, written or not:
 * a profile in a directory that cannot be written stays as it was. */
TIVAR_API int32_t WritePrivateProfileString(const char* section, const char* key, const char* value,
                                            const char* file);
TIVAR_API int32_t WriteProfileString(const char* section, const char* key, const char* value);

/* Opens a profile, in INIDIR when it is not found under name; the path found there is copied into
 * name, cut to its capacity and terminated, when that is above 0. mode is oxlOpen's. 0 on
 * failure. */
TIVAR_API OxlStream INIopen(char* name, int32_t capacity, int32_t mode);

/* Closes it; stream 0 is allowed. */
TIVAR_API void INIclose(OxlStream stream);

/* Completes name (144 bytes), when it is empty the file name of path with the ending ".ini", to the
 * path of the profile that exists: in INIDIR first, then under the name itself. 0, or 1 with name
 * unchanged when there is none, or none whose path fits. */
TIVAR_API int32_t GetProfileDirectory(char* name, const char* path);

/* ---- Display and printer --------------------------------------------------------------------- */

/* What size and resolution modes of the display follow: its size in pixels and its resolutions in
 * pixels per inch. 0 = not recorded, for each value on its own; 1280, 1078, 96 and 96 stand in for
 * it. ExportCellData records what its description says. */
TIVAR_API void SetDisplayInfo(double widthPixels, double heightPixels, int16_t xResolution,
                              int16_t yResolution);

/* The same of the printer: its size in inches and its resolutions. Nothing stands in for 0. */
TIVAR_API void SetPrinterInfo(double width, double height, int16_t xResolution,
                              int16_t yResolution);

/* The display's size in inches and its resolutions, each where its pointer is not null. The
 * environment variable DISPLAYINFO ("1280x1078x96x96"), when it is set and not empty, goes before
 * what SetDisplayInfo stored. Always 0. Kept: a resolution of 0 in DISPLAYINFO gives an infinite or
 * undefined size. */
TIVAR_API int32_t GetDisplayInfo(double* width, double* height, int16_t* xResolution,
                                 int16_t* yResolution);

/* What SetPrinterInfo stored, each where its pointer is not null. Always 0. */
TIVAR_API int32_t GetPrinterInfo(double* width, double* height, int16_t* xResolution,
                                 int16_t* yResolution);

/* Does nothing; 0. */
TIVAR_API int32_t GetDisplayColorInfo(HostWord unused);

TIVAR_END_C

#endif
