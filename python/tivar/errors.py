"""What a call that fails raises.

Every failure that the library tells is an :class:`Error`; most are a built-in exception as well, so
that ``except FileNotFoundError`` and ``except ValueError`` do what one expects. What a call-back, an
iterator or a file object raises comes out as it is."""

from __future__ import annotations

import errno as errno_names
import functools
import os
from typing import Any, Optional

from . import _library


class Error(Exception):
    """The library could not do what it was asked.

    ``result`` is its code (``enum TivarResult`` of ``tivar/write.h``), ``text`` its sentence and
    ``field`` the field of its records that it refused, "" when there is none."""

    result: int
    text: str
    field: str

    def __reduce__(self) -> Any:
        # Errors of worker processes come home pickled, those of a class made on the way as well.
        number, name = getattr(self, "errno", None) or 0, getattr(self, "filename", None)
        return error_of, (self.result, self.text, self.field, number, name)


class Cancelled(Error):
    """``progress`` or ``cancel`` said so."""


class NoMemory(Error, MemoryError):
    """The library had no memory left."""


class BadPicture(Error, ValueError):
    """The picture's description is not what it may be."""


class BadOption(Error, ValueError):
    """An option is not what it may be."""


class Contradiction(Error, ValueError):
    """Two options exclude each other, or the picture one of them."""


class TooLarge(Error, ValueError):
    """The file would pass 4 GiB, or the sides that its header can tell."""


class FileError(Error, OSError):
    """The named file could not be written: ``errno`` and ``filename`` say why, and which. It is also
    the ``OSError`` of that number, as ``FileNotFoundError``."""


_CLASSES = {
    "CANCELLED": Cancelled,
    "NO_MEMORY": NoMemory,
    "BAD_PICTURE": BadPicture,
    "BAD_OPTION": BadOption,
    "CONTRADICTION": Contradiction,
    "TOO_LARGE": TooLarge,
    "FILE_FAILED": FileError,
}
_BY_RESULT = {_library.RESULTS[name]: kind for name, kind in _CLASSES.items()}

# The record's field by the argument that fills it, where the two are not called the same.
_ARGUMENTS = {
    "picture.width": "size",
    "picture.height": "size",
    "picture.stride": "stride",
    "picture.format": "format",
    "picture.palette": "colormap",
    "picture.palette_count": "colormap",
    "picture.pixels": "picture",
    "options.row_order": "top_down",
    "options.palette_length": "full_palette",
    "options.x_per_meter": "dpi",
    "options.y_per_meter": "dpi",
    "options.colors": "palette",
    "options.max_colors": "colors",
    "options.palette_count": "palette",
}


def _sentence(text: str, field: str) -> str:
    """The library's sentence with the name of the argument in front of it."""
    if not field:
        return text
    return text.replace(field, _ARGUMENTS.get(field, field.split(".")[-1]), 1)


@functools.lru_cache(maxsize=None)
def _file_error(number: int) -> type:
    """FileError, and the built-in class of that errno where there is one."""
    builtin = type(OSError(number, ""))
    if builtin is OSError:
        return FileError
    return type(builtin.__name__, (FileError, builtin), {"__doc__": FileError.__doc__})


def error_of(
    result: int, text: str, field: str = "", number: int = 0, name: Optional[str] = None
) -> Error:
    """The exception for a result of the library."""
    kind = _BY_RESULT.get(result, Error)
    error: Error
    if kind is FileError:
        number = number or errno_names.EIO
        error = _file_error(number)(number, os.strerror(number), name)
    else:
        error = kind(_sentence(text, field))
    error.result, error.text, error.field = result, text, field
    return error


def error_in(report: _library.Report, name: Optional[str] = None) -> Error:
    """The exception for what a call has reported about the file of that name."""
    return error_of(
        report.result,
        report.text.decode("utf-8", "replace") or result_text(report.result),
        report.field.decode("utf-8", "replace"),
        report.system_error,
        name,
    )


def result_text(result: int) -> str:
    """What a result of the library means, in a few words."""
    text: bytes = _library.result_text(result)
    return text.decode("utf-8")
