"""The shared library: where it is found, and the calls and records of tivar/write.h."""

from __future__ import annotations

import ctypes
import os
import sys
from ctypes import (
    CFUNCTYPE,
    POINTER,
    Structure,
    c_char,
    c_char_p,
    c_int32,
    c_size_t,
    c_ssize_t,
    c_uint8,
    c_uint32,
    c_uint64,
    c_void_p,
)
from pathlib import Path
from typing import Any

NAMES = {"win32": "libtivar-2.dll", "cygwin": "cygtivar-2.dll", "darwin": "libtivar.2.dylib"}
NAME = NAMES.get(sys.platform, "libtivar.so.2")

# ---- Call-backs ----

ReadRow = CFUNCTYPE(c_int32, c_void_p, c_uint32, c_void_p)
Progress = CFUNCTYPE(c_int32, c_void_p, c_int32)
Cancel = CFUNCTYPE(c_int32, c_void_p)
Write = CFUNCTYPE(c_size_t, c_void_p, c_void_p, c_size_t)

# ---- Records, as the header has them ----


class Picture(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("format", c_int32),
        ("width", c_uint32),
        ("height", c_uint32),
        ("pixels", c_void_p),
        ("stride", c_ssize_t),
        ("read_row", ReadRow),
        ("context", c_void_p),
        ("palette", c_char_p),
        ("palette_count", c_uint32),
        ("flags", c_uint32),
    ]


class Options(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("bits", c_int32),
        ("header", c_int32),
        ("encoding", c_int32),
        ("row_order", c_int32),
        ("palette_length", c_int32),
        ("masks", c_int32),
        ("x_per_meter", c_int32),
        ("y_per_meter", c_int32),
        ("colors", c_int32),
        ("max_colors", c_uint32),
        ("palette", c_char_p),
        ("palette_count", c_uint32),
        ("dither", c_int32),
        ("alpha", c_int32),
        ("background", c_uint8 * 4),
        ("threads", c_int32),
        ("progress", Progress),
        ("cancel", Cancel),
        ("context", c_void_p),
    ]


class Report(Structure):
    _fields_ = [
        ("size", c_uint32),
        ("result", c_int32),
        ("field", c_char * 32),
        ("text", c_char * 160),
        ("system_error", c_int32),
        ("bits", c_int32),
        ("colors", c_uint32),
        ("exact", c_int32),
        ("bytes", c_uint64),
    ]


class Sink(Structure):
    _fields_ = [("size", c_uint32), ("write", Write), ("context", c_void_p)]


# Their enumerations, without the prefixes.
RESULTS = {
    "OK": 0,
    "CANCELLED": 1,
    "NO_MEMORY": 2,
    "BAD_CALL": 3,
    "BAD_PICTURE": 4,
    "BAD_OPTION": 5,
    "CONTRADICTION": 6,
    "TOO_LARGE": 7,
    "ROW_FAILED": 8,
    "SINK_FAILED": 9,
    "FILE_FAILED": 10,
}
FORMATS = {
    "RGB": 0,
    "BGR": 1,
    "RGBA": 2,
    "BGRA": 3,
    "GREY": 4,
    "INDEX1": 5,
    "INDEX4": 6,
    "INDEX8": 7,
}
ROWS_IN_ORDER = 1
HEADERS = {"windows": 1, "os2": 2, "v4": 3}
ENCODINGS = {"raw": 0, "rle": 1, "smallest": 2}
TOP_DOWN = 1
MASKS = {"565": 0, "555": 1}
ALPHAS = {"over": 1, "drop": 2}
COLORS = {"best": 1, "greys": 2, "given": 3, "filter": 4}
DITHERS = {"none": 1, "diffuse": 2, "ordered": 3}
PALETTE_FULL = 1
FILE_SYNC = 1
FILE_NEW = 2

# ---- The library ----


def record(kind: type[Any], **fields: Any) -> Any:
    """A record that knows its size."""
    return kind(size=ctypes.sizeof(kind), **fields)


def _load() -> ctypes.CDLL:
    """TIVAR_LIBRARY when it is set; else the package's own directory; else the system's places."""
    told = os.environ.get("TIVAR_LIBRARY")
    beside = Path(__file__).parent / NAME
    place = told or (str(beside) if beside.exists() else NAME)
    try:
        return ctypes.CDLL(place)
    except OSError as error:
        remedy = (
            "TIVAR_LIBRARY must name that file"
            if told
            else f"install libtivar2, or let the environment variable TIVAR_LIBRARY name {NAME}"
        )
        words = ctypes.sizeof(c_void_p) * 8
        raise ImportError(
            f"tivar: cannot load the library {place} into this Python of {words}-bit words"
            f" ({error}); {remedy}"
        ) from None


def declare(name: str, result: Any, *arguments: Any) -> Any:
    try:
        function = getattr(library, name)
    except AttributeError:
        raise ImportError(
            f"tivar: the library {library._name} has no {name}; this package needs 2.1.0 or later"
        ) from None
    function.restype = result
    function.argtypes = arguments
    return function


library = _load()
version = declare("tivar_version", c_char_p)
result_text = declare("tivar_result_text", c_char_p, c_int32)
write = declare(
    "tivar_write_bmp", c_int32, POINTER(Picture), POINTER(Options), POINTER(Sink), POINTER(Report)
)
write_file = declare(
    "tivar_write_bmp_file",
    c_int32,
    POINTER(Picture),
    POINTER(Options),
    c_char_p,
    c_uint32,
    POINTER(Report),
)
write_memory = declare(
    "tivar_write_bmp_memory",
    c_int32,
    POINTER(Picture),
    POINTER(Options),
    POINTER(c_void_p),
    POINTER(c_size_t),
    POINTER(Report),
)
free = declare("tivar_free", None, c_void_p)
