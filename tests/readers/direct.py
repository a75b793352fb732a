"""The direct interface of the shared library, called as a host calls it."""

import ctypes
from ctypes import POINTER, byref, c_char, c_char_p, c_int32, c_ssize_t, c_ubyte, c_uint8, c_uint32, c_uint64, c_void_p

from failure import Failure

RGB, RGBA, INDEX8 = 0, 2, 7
HEADERS = {"Windows": 1, "OS/2": 2, "V4": 3}


class Picture(ctypes.Structure):
    _fields_ = [
        ("size", c_uint32),
        ("format", c_int32),
        ("width", c_uint32),
        ("height", c_uint32),
        ("pixels", c_char_p),
        ("stride", c_ssize_t),
        ("read_row", c_void_p),
        ("context", c_void_p),
        ("palette", c_char_p),
        ("palette_count", c_uint32),
        ("flags", c_uint32),
    ]


class Options(ctypes.Structure):
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
        ("palette", POINTER(c_ubyte)),
        ("palette_count", c_uint32),
        ("dither", c_int32),
        ("alpha", c_int32),
        ("background", c_uint8 * 4),
        ("threads", c_int32),
        ("progress", c_void_p),
        ("cancel", c_void_p),
        ("context", c_void_p),
    ]


class Report(ctypes.Structure):
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


def pixels_of(image):
    """Format, pixels and palette of a picture of Pillow's."""
    if image.mode == "P":
        return INDEX8, image.tobytes(), bytes(image.getpalette())
    return (RGBA if image.mode == "RGBA" else RGB), image.tobytes(), None


def write(library, image, kind, path):
    """A file of the kind, which must keep every pixel's colour."""
    form, pixels, palette = pixels_of(image)
    picture = Picture(ctypes.sizeof(Picture), form, *image.size, pixels)
    if palette is not None:
        picture.palette, picture.palette_count = palette, min(len(palette) // 3, kind.colors)
    options = Options(ctypes.sizeof(Options), kind.bits, HEADERS[kind.header])
    options.encoding = "RLE" in kind.rows
    options.row_order = "top-down" in kind.rows
    options.masks = "555" in kind.rows
    report = Report(ctypes.sizeof(Report))
    ctypes.CDLL(str(library)).tivar_write_bmp_file(
        byref(picture), byref(options), c_char_p(str(path).encode()), c_uint32(0), byref(report)
    )
    if report.result != 0 or report.exact != 1:
        raise Failure(f"{kind.name}: {report.text.decode() or 'not exact'}")
