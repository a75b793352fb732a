"""A picture on its way into a call, and what keeps its memory where it is until then."""

from __future__ import annotations

from typing import Any, NamedTuple, Optional

from . import _library

BLACK_AND_WHITE = b"\0\0\0\xff\xff\xff"
BITS = {
    "RGB": 24,
    "BGR": 24,
    "RGBA": 32,
    "BGRA": 32,
    "GREY": 8,
    "INDEX1": 1,
    "INDEX4": 4,
    "INDEX8": 8,
}


class Shape(NamedTuple):
    """What the caller says of a picture beside the picture itself."""

    size: Optional[tuple[int, int]] = None
    format: Optional[str] = None
    stride: int = 0
    colormap: Optional[bytes] = None


class Source:
    """The library's record of a picture. Close it when the call is over."""

    def __init__(self, format: str, size: tuple[int, int], colormap: Optional[bytes] = None):
        self.record = _library.record(
            _library.Picture, format=_library.FORMATS[format], width=size[0], height=size[1]
        )
        self.colormap = colormap
        if colormap is not None:
            self.record.palette = colormap
            self.record.palette_count = len(colormap) // 3
        self.bits = 0  # the picture's own depth, where the library would take another one
        self.view: Optional[memoryview] = None

    def lies_at(self, address: int, stride: int, view: memoryview) -> None:
        """The pixels are at address for as long as view holds them there."""
        self.record.pixels, self.record.stride, self.view = address, stride, view

    def __enter__(self) -> Source:
        return self

    def __exit__(self, *_: Any) -> None:
        if self.view is not None:
            self.view.release()


def row_bytes(width: int, format: str) -> int:
    return (width * BITS[format] + 7) // 8
