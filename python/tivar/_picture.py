"""What save() takes for a picture, as the library's record of it."""

from __future__ import annotations

from typing import Any, Optional

from . import _arguments, _buffer, _image, _library, _rows
from ._callbacks import Guard
from ._source import Shape, Source


def source_of(
    picture: Any,
    guard: Guard,
    options: _library.Options,
    size: Any = None,
    format: Any = None,
    stride: Any = 0,
    colormap: Any = None,
) -> Source:
    shape = _shape(size, format, stride, colormap)
    if _image.is_image(picture):
        return _image.source_of(picture, shape, options)
    if callable(picture):
        return _rows.source_of_function(picture, guard, shape)
    view = _view_of(picture)
    if view is not None:
        return _buffer.source_of(view, shape)
    if isinstance(picture, str) or not hasattr(picture, "__iter__"):
        raise TypeError(
            "picture: must be a Pillow image, an array or another buffer, rows or a function that"
            f" gives them, not {_arguments.kind_of(picture)}"
        )
    return _rows.source_of_rows(picture, guard, shape)


def _shape(size: Any, format: Any, stride: Any, colormap: Any) -> Shape:
    if format is not None:
        _arguments.word("format", format, _library.FORMATS)
    most = _arguments.LARGEST_INT32
    return Shape(
        None if size is None else _arguments.size(size),
        format,
        _arguments.whole("stride", stride, -most, most),
        None if colormap is None else _arguments.colors("colormap", colormap),
    )


def _view_of(picture: Any) -> Optional[memoryview]:
    try:
        return memoryview(picture)
    except TypeError:
        return None
    except (ValueError, BufferError) as error:
        raise ValueError(f"picture: {error}") from None
