"""Pictures as the filter interface takes them: rows bottom-up, padded to four bytes, with a table."""

from __future__ import annotations

from typing import Any, NamedTuple

from . import _library, _memory
from ._callbacks import Guard
from ._picture import source_of
from ._source import BITS, Source, row_bytes

LARGEST_SIDE = 0xFFFF
LARGEST_BLOCK = 0xFFFFFFFF
_NAMES = {code: name for name, code in _library.FORMATS.items()}
_GREYS = bytes(level for level in range(256) for _ in "rgb")


class Cells(NamedTuple):
    bits: int
    width: int
    height: int
    rows: bytearray
    table: bytes  # 2**bits entries; none at 24 bits


def cells_of(picture: Any, **shape: Any) -> Cells:
    """A copy: the export exchanges red and blue in its rows."""
    with source_of(picture, Guard(), _library.record(_library.Options), **shape) as source:
        record, format = source.record, _NAMES[source.record.format]
        if not record.pixels:
            raise TypeError("picture: rows that come one by one are for tivar.save")
        if format in ("RGBA", "BGRA"):
            raise ValueError("picture: the filter interface has no alpha; lay it over a colour")
        if max(record.width, record.height) > LARGEST_SIDE:
            raise ValueError(f"picture: a side is longer than {LARGEST_SIDE}")
        if (row_bytes(record.width, format) + 3) // 4 * 4 * record.height > LARGEST_BLOCK:
            raise ValueError(f"picture: its rows have more than {LARGEST_BLOCK} bytes")
        table = _table(source, format)
        return Cells(BITS[format], record.width, record.height, _rows(record, format), table)


def _rows(record: _library.Picture, format: str) -> bytearray:
    length = row_bytes(record.width, format)
    stride = record.stride or length
    padding = bytes(-length % 4)
    rows = bytearray()
    for y in reversed(range(record.height)):
        row = bytearray(_memory.bytes_at(record.pixels + y * stride, length))
        if format == "BGR":
            row[0::3], row[2::3] = row[2::3], row[0::3]
        rows += row + padding
    return rows


def _table(source: Source, format: str) -> bytes:
    if format == "GREY":
        return _GREYS
    if format in ("RGB", "BGR"):
        return b""
    length = 3 << BITS[format]
    if source.colormap is None:
        raise ValueError("colormap: indices need one")
    if len(source.colormap) > length:
        raise ValueError(f"colormap: it has more than {length // 3} entries")
    return source.colormap.ljust(length, b"\0")
