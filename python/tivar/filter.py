"""The filter interface: settings, perhaps of a profile, and exports with them.

    with tivar.filter.Settings() as settings:
        settings.bits = 4
        settings.export(image, "picture.bmp")

It writes what hosts of that interface have always got, to the last byte: its own run lengths, even
heights, sizes that settings decide. tivar.save is what new programs want.

Escapes are methods, with their numbers in the docstrings; with save=True what is set goes to the
profile too. Two are missing: 56 works on whichever settings were used last, 81 is for documents of
the host. Exports of several threads are served one after the other by the library."""

from __future__ import annotations

import ctypes
import os
from pathlib import Path
from typing import Any, Optional, Union

from . import _arguments, _memory
from . import _filter_library as _library
from ._cells import Cells, cells_of
from .errors import Error

__all__ = ["Settings", "ExportError"]

_COLOR_MODES = {
    "as-given": 101,
    "inverted": 102,
    "greys-inverted": 103,
    "grey": 104,
    "grey-inverted": 105,
}
_RESOLUTION_MODES = {"display": 0, "printer": 1, "caller": 2, "fixed": 3}
_SIZE_MODES = {"display": 0, "printer": 1, "given": 2}
_LEAST_DOTS, _MOST_DOTS = 32, 400
_LEAST_INCHES, _MOST_INCHES = 0.03125, 22.0
_LARGEST_INT16 = 0x7FFF
_LARGEST_WORD = 2 ** (8 * ctypes.sizeof(_library.HostWord)) - 1


class ExportError(Error):
    """An export left nothing usable; result is the interface's code, 0 where it did not notice."""

    def __init__(self, text: str, result: int) -> None:
        super().__init__(text)
        self.result, self.text, self.field = result, text, ""

    def __reduce__(self) -> Any:
        return ExportError, (self.text, self.result)


class Settings:
    """Settings of exports: those of a mode of a profile, or the built-in ones without a profile.

    profile is the path of a profile, mode the name of its section, None for the one that the
    profile itself names. Close them, or use them with "with"."""

    def __init__(
        self,
        profile: Union[str, os.PathLike[str], None] = None,
        mode: Optional[str] = None,
    ) -> None:
        self._handle = 0
        name = None if profile is None else _text("profile", os.fspath(profile))
        section = None if mode is None else _text("mode", mode)
        self._handle = _library.create_setup(0, name, section, None)
        if not self._handle:
            raise MemoryError("settings: the library has no memory left")
        try:
            self._settle(profile, mode)
        except BaseException:
            self.close()
            raise

    def _settle(self, profile: Any, mode: Optional[str]) -> None:
        record = self._record()
        if profile is None:
            if mode is not None:
                raise ValueError("mode: without a profile there is none")
            # Else a file that is called just .ini would count.
            _library.use_default_settings(ctypes.byref(record))
        elif not record.profilePath:
            raise FileNotFoundError(f"profile: {os.fspath(profile)!r} cannot be read as a profile")
        elif not record.driverName:
            wanted = "a mode" if mode is None else f"the mode {mode!r}"
            raise ValueError(
                f"mode: {os.fspath(profile)!r} does not have {wanted}, a section with the key Driver"
            )

    # ---- Life ----

    def close(self) -> None:
        handle, self._handle = self._handle, 0
        if handle:
            _library.destroy_setup(handle)

    def __enter__(self) -> Settings:
        self._record()
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def _record(self) -> _library.SetupRecord:
        if not self._handle:
            raise ValueError("settings: they are closed")
        return _library.SetupRecord.from_address(_library.lock(self._handle))

    # ---- The form of the file ----

    @property
    def bits(self) -> int:
        """Bits of the file's pixels: 1, 4, 8 or 24."""
        code = self._record().colorFormat
        return {value: bits for bits, value in _library.COLOR_FORMATS.items()}.get(code, 0)

    @bits.setter
    def bits(self, value: int) -> None:
        if value not in _library.COLOR_FORMATS:
            raise ValueError(f"bits: {value!r} is none of 1, 4, 8 and 24")
        self._record().colorFormat = _library.COLOR_FORMATS[value]

    @property
    def header(self) -> str:
        """"windows" or "os2"."""
        return "os2" if self._record().fileType == _library.FILE_TYPES["os2"] else "windows"

    @header.setter
    def header(self, value: str) -> None:
        code = _arguments.word("header", value, _library.FILE_TYPES)
        self._record().fileType = code or _library.FILE_TYPES["windows"]

    @property
    def compressed(self) -> bool:
        """Run lengths at 4 and 8 bits, in the interface's own form, which few readers open."""
        return bool(self._record().compressionMode == _library.COMPRESSION_RLE)

    @compressed.setter
    def compressed(self, value: bool) -> None:
        self._record().compressionMode = (
            _library.COMPRESSION_RLE
            if _arguments.flag("compressed", value)
            else _library.COMPRESSION_NONE
        )

    # ---- Escapes ----

    def set_color_mode(self, mode: str, *, save: bool = False) -> None:
        """1: "as-given", "inverted", "greys-inverted", "grey" or "grey-inverted". The raster driver
        hears of it, exports do not."""
        self._set_whole(1, "mode", _code("mode", mode, _COLOR_MODES), save)

    def color_mode(self) -> str:
        """57"""
        found = ctypes.c_int32()
        self._escape(57, ctypes.sizeof(found), None, ctypes.byref(found))
        return {code: name for name, code in _COLOR_MODES.items()}[found.value]

    def set_x_resolution(self, dots: int, *, save: bool = False) -> None:
        """11: 32 to 400 pixels per inch."""
        self._set_whole(11, "dots", _arguments.whole("dots", dots, _LEAST_DOTS, _MOST_DOTS), save)

    def set_y_resolution(self, dots: int, *, save: bool = False) -> None:
        """12: 32 to 400 pixels per inch."""
        self._set_whole(12, "dots", _arguments.whole("dots", dots, _LEAST_DOTS, _MOST_DOTS), save)

    def set_width(self, inches: float, *, save: bool = False) -> None:
        """13: the page's, 0.03125 to 22 inches. The profile reads back as another number, which
        hosts of the interface know."""
        self._set_inches(13, inches, save)

    def set_height(self, inches: float, *, save: bool = False) -> None:
        """14: the page's, 0.03125 to 22 inches."""
        self._set_inches(14, inches, save)

    def resolution(self) -> tuple[int, int]:
        """16: across and down, in pixels per inch; (0, 0) when the caller gives them."""
        found = (ctypes.c_int32 * 2)()
        self._escape(16, 0, None, ctypes.byref(found))
        return found[0], found[1]

    def size(self) -> tuple[float, float]:
        """17: the page, in inches; (0, 0) when it is given."""
        found = (ctypes.c_double * 2)()
        self._escape(17, 0, None, ctypes.byref(found))
        return found[0], found[1]

    def set_resolution_mode(self, mode: str) -> None:
        """18: "display", "printer", "caller" or "fixed"."""
        self._set_whole(18, "mode", _code("mode", mode, _RESOLUTION_MODES), False)

    def set_size_mode(self, mode: str) -> None:
        """19: "display", "printer" or "given"."""
        self._set_whole(19, "mode", _code("mode", mode, _SIZE_MODES), False)

    @property
    def user_value(self) -> int:
        """26, and 25 to set it: a number of the host's own, as wide as an address."""
        found = _library.HostWord()
        self._escape(26, 0, None, ctypes.byref(found))
        return found.value

    @user_value.setter
    def user_value(self, value: int) -> None:
        self._escape(25, 0, _arguments.whole("user_value", value, 0, _LARGEST_WORD), None)

    def _set_whole(self, escape: int, name: str, value: int, save: bool) -> None:
        given = ctypes.c_int32(value)
        self._escape(
            escape, 4, ctypes.byref(given), None, _arguments.flag("save", save), f"{name}: {value}"
        )

    def _set_inches(self, escape: int, inches: float, save: bool) -> None:
        try:
            given = ctypes.c_double(inches)
        except TypeError:
            kind = _arguments.kind_of(inches)
            raise TypeError(f"inches: must be a number, not {kind}") from None
        if not _LEAST_INCHES <= given.value <= _MOST_INCHES:  # nor is what is no number at all
            raise ValueError(f"inches: {inches} is not from {_LEAST_INCHES} to {_MOST_INCHES}")
        self._escape(escape, 8, ctypes.byref(given), None, _arguments.flag("save", save))

    def _escape(
        self, escape: int, size: int, given: Any, found: Any, save: bool = False, what: str = ""
    ) -> None:
        self._record()
        if _library.escape_setup(self._handle, escape, size, given, found, int(save)) != 1:
            raise ValueError(f"{what or 'settings'}: escape {escape} is refused")

    # ---- Exports ----

    def export(
        self,
        picture: Any,
        target: Union[str, os.PathLike[str], None] = None,
        *,
        resolution: int = 64,
        size: Any = None,
        format: Any = None,
        stride: int = 0,
        colormap: Any = None,
    ) -> Optional[bytes]:
        """Exports a picture to the file of that name, or as bytes without one.

        picture is an image, an array or a buffer as tivar.save takes it, without alpha; size,
        format, stride and colormap are as there. resolution is offered in pixels per inch; 0 fits
        the picture into the settings' page, 64 keeps its size as long as the settings do not say
        otherwise. The file is written when the export is complete."""
        dots = _arguments.whole("resolution", resolution, 0, _LARGEST_INT16)
        self._record()
        cells = cells_of(picture, size=size, format=format, stride=stride, colormap=colormap)
        file = self._export(cells, dots)
        if target is None:
            return file
        Path(target).write_bytes(file)
        return None

    def _export(self, cells: Cells, dots: int) -> bytes:
        rows = (ctypes.c_char * len(cells.rows)).from_buffer(cells.rows)
        table = ctypes.create_string_buffer(cells.table, len(cells.table))
        picture = _library.CellPicture(
            bits=cells.bits,
            width=cells.width,
            height=cells.height,
            pixels=_library.wrap(ctypes.addressof(rows), len(rows)),
            colorTable=_library.wrap(ctypes.addressof(table), len(table)) if cells.table else 0,
        )
        target = _library.PictureDescription(
            resolution=dots, width=cells.width, height=cells.height
        )
        status = (_library.HostWord * _library.STATUS_WORDS)()
        parameters = (_library.HostWord * _library.EXPORT_WORDS)()
        parameters[_library.EXPORT_SETUP] = self._handle
        parameters[_library.EXPORT_STATUS] = ctypes.addressof(status)
        try:
            result = _library.export_cell_data(
                b"", ctypes.byref(picture), ctypes.byref(target), parameters
            )
            file = _file_in(status[_library.STATUS_MEMORY])
        finally:
            _library.free(status[_library.STATUS_MEMORY])
            _library.free(picture.pixels)
            _library.free(picture.colorTable)
        if result != 0 or not _is_complete(file):
            raise ExportError(f"the export failed (code {result})", result)
        return file


def _code(name: str, value: Any, words: dict[str, int]) -> int:
    if value is None:
        raise TypeError(f"{name}: must be a word, not None")
    return _arguments.word(name, value, words)


def _text(name: str, value: Any) -> bytes:
    if not isinstance(value, str):
        raise TypeError(f"{name}: must be text, not {_arguments.kind_of(value)}")
    if not value or "\0" in value:
        raise ValueError(f"{name}: it is empty or has a null character")
    return os.fsencode(value)


def _file_in(block: int) -> bytes:
    """The file ends before the block's last byte that is not 0, an end mark."""
    address = _library.lock(block)
    if not address:
        return b""
    return _memory.bytes_at(address, _library.size_of(block)).rstrip(b"\0")[:-1]


def _is_complete(file: bytes) -> bool:
    """The call answers 0 even when memory ran out on the way; the headers tell what there must be.
    An OS/2 header does not say that rows are encoded, which then end where they end."""

    def number(at: int) -> int:
        return int.from_bytes(file[at : at + 4], "little")

    if file[:2] != b"BM" or len(file) < 26:
        return False
    if len(file) == number(2):
        return True
    if number(14) == 12:
        return len(file) > number(10)
    return number(30) != 0 and len(file) == number(10) + number(34)
