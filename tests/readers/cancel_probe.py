"""Cancels the writing of a BMP file through a library's progress call-back and prints what comes of it:
cancel_probe.py ImageMagick|GraphicsMagick PICTURE. A program of its own, for both use the same names."""

import ctypes
import sys
from ctypes import c_char_p, c_int, c_int64, c_size_t, c_uint64, c_void_p

Monitor = ctypes.CFUNCTYPE(c_int, c_char_p, c_int64, c_uint64, c_void_p)


class ImageMagick:
    def __init__(self):
        self.library = ctypes.CDLL("libMagickWand-6.Q16.so.6")
        self.library.MagickWandGenesis()
        self.write = self.library.MagickGetImageBlob
        self.format = b"BMP3"

    def watch(self, wand, monitor):
        self.library.MagickSetImageProgressMonitor(wand, monitor, None)


class GraphicsMagick:
    def __init__(self):
        self.library = ctypes.CDLL("libGraphicsMagickWand-Q16.so.2")
        ctypes.CDLL("libGraphicsMagick-Q16.so.3").InitializeMagick(None)
        self.write = self.library.MagickWriteImageBlob
        self.format = b"BMP"

    def watch(self, wand, monitor):
        del wand
        ctypes.CDLL("libGraphicsMagick-Q16.so.3").SetMonitorHandler(monitor)


def main():
    tool = {"ImageMagick": ImageMagick, "GraphicsMagick": GraphicsMagick}[sys.argv[1]]()
    tool.library.NewMagickWand.restype = c_void_p
    wand = c_void_p(tool.library.NewMagickWand())
    if not tool.library.MagickReadImage(wand, sys.argv[2].encode()):
        sys.exit(f"{sys.argv[1]} cannot read {sys.argv[2]}")
    tool.library.MagickSetImageFormat(wand, tool.format)
    calls = []

    def cancel(*_):
        calls.append(None)
        return 0

    monitor = Monitor(cancel)
    tool.watch(wand, monitor)
    size = c_size_t()
    tool.write.restype = c_void_p
    written = tool.write(wand, ctypes.byref(size))
    result = f"success, with {size.value} bytes" if written else "failure"
    print(f"stops after {len(calls)} call; reports {result}")


main()
