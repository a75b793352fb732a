"""The calls and records of tivar/filter.h, export.h and memory.h that tivar.filter uses."""

from __future__ import annotations

from ctypes import (
    POINTER,
    Structure,
    c_char,
    c_char_p,
    c_double,
    c_int16,
    c_int32,
    c_size_t,
    c_uint8,
    c_uint16,
    c_uint32,
    c_void_p,
)

from ._library import declare

HostWord = c_size_t
MemHandle = c_size_t


class SetupRecord(Structure):
    """Its beginning: the rest is the library's own."""

    _fields_ = [
        ("filterName", c_char * 144),
        ("modeName", c_char * 144),
        ("profilePath", c_char * 144),
        ("backupProfilePath", c_char * 144),
        ("driverName", c_char * 16),
        ("reservedWord", c_int32),
        ("editContext", HostWord),
        ("escapeUserValue", HostWord),
        ("colorMode", c_int32),
        ("colorModeAux", c_int32),
        ("documentStream", HostWord),
        ("driverValue", c_double),
        ("lineMode", c_int32),
        ("outputFileName", c_char * 144),
        ("sizeMode", c_int32),
        ("resolutionMode", c_int32),
        ("compressionMode", c_int32),
        ("colorFormat", c_int32),
        ("fileType", c_int32),
    ]


class CellPicture(Structure):
    _fields_ = [
        ("bits", c_uint16),
        ("width", c_uint16),
        ("height", c_uint16),
        ("resolution", c_int16),
        ("targetWidth", c_double),
        ("targetHeight", c_double),
        ("colorTable", MemHandle),
        ("pixels", MemHandle),
        ("reserved", c_uint8 * 48),
    ]


class PictureDescription(Structure):
    _fields_ = [
        ("reserved0", c_uint16),
        ("displayResolution", c_int16),
        ("reserved4", c_uint8 * 6),
        ("resolution", c_int16),
        ("width", c_int32),
        ("height", c_int32),
        ("displayWidth", c_int32),
        ("displayHeight", c_int32),
    ]


# Words of the export parameter block and of the status block.
EXPORT_SETUP = 2
EXPORT_STATUS = 6
EXPORT_WORDS = 7
STATUS_MEMORY = 6
STATUS_WORDS = 13

COLOR_FORMATS = {1: 215, 4: 219, 8: 221, 24: 222}
FILE_TYPES = {"windows": 331, "os2": 332}
COMPRESSION_RLE = 228
COMPRESSION_NONE = 310

create_setup = declare("CreateSetup", MemHandle, HostWord, c_char_p, c_char_p, c_char_p)
destroy_setup = declare("DestroySetup", c_int32, MemHandle)
use_default_settings = declare("UseDefaultSettings", c_int32, POINTER(SetupRecord))
escape_setup = declare(
    "xEscapeSetup", c_int32, MemHandle, c_int32, c_int32, c_void_p, c_void_p, c_int32
)
export_cell_data = declare(
    "ExportCellData",
    c_int32,
    c_char_p,
    POINTER(CellPicture),
    POINTER(PictureDescription),
    POINTER(HostWord),
)
lock = declare("GlobalLock", c_void_p, MemHandle)
size_of = declare("GlobalSize", c_uint32, MemHandle)
free = declare("GlobalFree", MemHandle, MemHandle)
wrap = declare("GlobalPointerToHandle", MemHandle, c_void_p, c_uint32)
