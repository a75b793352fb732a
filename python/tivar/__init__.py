"""BMP files from pictures, through the library libtivar.

    import tivar

    tivar.save(image, "picture.bmp", bits=4)      # a Pillow image, an array, bytes, rows
    data = tivar.save(array)                      # without a target: the file as bytes

help(tivar.save) has every option. tivar.filter drives the filter interface, importing tivar.pillow
gives Pillow the format "TIVAR". The library is looked for where the environment variable
TIVAR_LIBRARY says, then beside this package, then in the system's places."""

from __future__ import annotations

from typing import Any

from . import _library
from ._save import save
from ._target import Report
from .errors import (
    BadOption,
    BadPicture,
    Cancelled,
    Contradiction,
    Error,
    FileError,
    NoMemory,
    TooLarge,
)

__all__ = [
    "save",
    "version",
    "Report",
    "Error",
    "Cancelled",
    "NoMemory",
    "BadPicture",
    "BadOption",
    "Contradiction",
    "TooLarge",
    "FileError",
]


def version() -> str:
    """The release of the library that is loaded, such as "2.1.0"."""
    text: bytes = _library.version()
    return text.decode("ascii")


def __getattr__(name: str) -> Any:
    # Only who asks for the package's own release pays for reading it.
    if name == "__version__":
        from importlib.metadata import version as installed

        return installed("tivar")
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
