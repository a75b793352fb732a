"""Pictures whose rows come one by one, from an iterator or from a function of their number."""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from typing import Any, Callable

from . import _arguments, _library, _memory
from ._callbacks import Guard
from ._source import Shape, Source, row_bytes

ROW_DONE = 0
ROW_FAILED = 1


def source_of_rows(rows: Iterable[Any], guard: Guard, shape: Shape) -> Source:
    """Rows from the top one on, as many as the picture is high."""
    iterator = iter(rows)

    def next_row(number: int) -> Any:
        return _next_of(iterator, number, shape)

    source = source_of_function(next_row, guard, shape)
    source.record.flags = _library.ROWS_IN_ORDER
    return source


def source_of_function(row_at: Callable[[int], Any], guard: Guard, shape: Shape) -> Source:
    """Rows in the order that suits the file, each once; 0 is the top one."""
    if shape.size is None:
        raise TypeError("size: must be given for a picture of rows")
    if shape.stride:
        raise ValueError("stride: rows that come one by one have none")
    format = shape.format or "RGB"
    length = row_bytes(shape.size[0], format)

    def read_row(_: Any, number: int, address: int) -> int:
        _memory.put_bytes(address, _bytes_of(row_at(number), number, length))
        return ROW_DONE

    source = Source(format, shape.size, shape.colormap)
    source.record.read_row = _library.ReadRow(guard.around(read_row, ROW_FAILED))
    return source


def _next_of(iterator: Iterator[Any], number: int, shape: Shape) -> Any:
    for row in iterator:
        return row
    assert shape.size is not None
    raise ValueError(f"picture: it ended after {number} of {shape.size[1]} rows")


def _bytes_of(row: Any, number: int, length: int) -> bytes:
    try:
        view = memoryview(row)
    except TypeError:
        raise TypeError(
            f"picture: row {number} must be bytes, not {_arguments.kind_of(row)}"
        ) from None
    if view.itemsize != 1:
        raise TypeError(f"picture: row {number} must be bytes, not of format {view.format!r}")
    if view.nbytes != length:
        raise ValueError(f"picture: row {number} has {view.nbytes} bytes instead of {length}")
    return view.tobytes()
