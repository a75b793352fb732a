"""Opens a picture with a shared library and prints it as PPM: open_with_library.py LIBRARY FILE.
Without a file it prints the library's version. A program of its own, as a library may crash."""

import ctypes
import sys
from ctypes import POINTER, byref, c_char_p, c_int, c_ubyte, c_void_p

sys.dont_write_bytecode = True

import pnm  # noqa: E402


class Gd:
    def __init__(self):
        self.library = ctypes.CDLL("libgd.so.3")
        self.library.gdImageCreateFromFile.restype = c_void_p
        self.library.gdVersionString.restype = c_char_p

    def version(self):
        return self.library.gdVersionString().decode()

    def open(self, path):
        image = self.library.gdImageCreateFromFile(path.encode())
        if not image:
            return None
        # gdImageSX and gdImageSY are macros: the sizes stand behind the record's first pointer.
        width, height = (c_int * 2).from_address(image + ctypes.sizeof(c_void_p))
        color_at = self.library.gdImageGetTrueColorPixel
        color_at.argtypes = [c_void_p, c_int, c_int]
        pixels = bytearray()
        for y in range(height):
            for x in range(width):
                pixels += (color_at(image, x, y) & 0xFFFFFF).to_bytes(3, "big")
        return width, height, bytes(pixels)


class GdkPixbuf:
    def __init__(self):
        self.library = ctypes.CDLL("libgdk_pixbuf-2.0.so.0")
        self.library.gdk_pixbuf_new_from_file.restype = c_void_p
        self.library.gdk_pixbuf_get_pixels.restype = POINTER(c_ubyte)

    def version(self):
        return c_char_p.in_dll(self.library, "gdk_pixbuf_version").value.decode()

    def measure(self, name, image):
        return getattr(self.library, f"gdk_pixbuf_get_{name}")(c_void_p(image))

    def open(self, path):
        image = self.library.gdk_pixbuf_new_from_file(path.encode(), None)
        if not image:
            return None
        width, height, stride, channels = (
            self.measure(name, image) for name in ("width", "height", "rowstride", "n_channels")
        )
        start = ctypes.addressof(self.library.gdk_pixbuf_get_pixels(c_void_p(image)).contents)
        rows = (ctypes.string_at(start + y * stride, width * channels) for y in range(height))
        return width, height, b"".join(without_alpha(row, channels) for row in rows)


class SdlSurface(ctypes.Structure):
    _fields_ = [
        ("flags", ctypes.c_uint32),
        ("format", c_void_p),
        ("width", c_int),
        ("height", c_int),
        ("pitch", c_int),
        ("pixels", c_void_p),
    ]


class Sdl:
    def __init__(self):
        self.library = ctypes.CDLL("libSDL2-2.0.so.0")
        self.library.SDL_RWFromFile.restype = c_void_p
        self.library.SDL_LoadBMP_RW.restype = POINTER(SdlSurface)
        self.library.SDL_ConvertSurfaceFormat.restype = POINTER(SdlSurface)

    def version(self):
        numbers = (c_ubyte * 3)()
        self.library.SDL_GetVersion(byref(numbers))
        return ".".join(map(str, numbers))

    def open(self, path):
        stream = self.library.SDL_RWFromFile(path.encode(), b"rb")
        loaded = self.library.SDL_LoadBMP_RW(c_void_p(stream), 1)
        if not loaded:
            return None
        rgb24 = 0x17101803
        surface = self.library.SDL_ConvertSurfaceFormat(loaded, rgb24, 0).contents
        rows = (surface.pixels + y * surface.pitch for y in range(surface.height))
        pixels = b"".join(ctypes.string_at(row, surface.width * 3) for row in rows)
        return surface.width, surface.height, pixels


LIBRARIES = {"libgd": Gd, "GdkPixbuf": GdkPixbuf, "SDL": Sdl}


def without_alpha(row, channels):
    return row if channels == 3 else b"".join(row[x : x + 3] for x in range(0, len(row), channels))


def main():
    library = LIBRARIES[sys.argv[1]]()
    if len(sys.argv) == 2:
        print(library.version())
        return
    picture = library.open(sys.argv[2])
    if picture is None:
        sys.exit(f"{sys.argv[1]} refuses {sys.argv[2]}")
    sys.stdout.buffer.write(pnm.write(*picture))


if __name__ == "__main__":
    main()
