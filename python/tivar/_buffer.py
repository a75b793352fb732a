"""Pixels behind the buffer protocol: arrays with a shape, and plain bytes. They stay where they are
whenever the library can go through them; only other orders of pixels within a row are copied."""

from __future__ import annotations

from . import _memory
from ._source import BITS, BLACK_AND_WHITE, Shape, Source, row_bytes

_OF_CHANNELS = {1: "GREY", 3: "RGB", 4: "RGBA"}


def _sides(view: memoryview) -> tuple[int, ...]:
    """Its shape, which older type checkers take for something that may be missing."""
    return view.shape or ()


def _strides(view: memoryview) -> tuple[int, ...]:
    return view.strides or ()


def source_of(view: memoryview, shape: Shape) -> Source:
    kind = view.format.lstrip("@=<>!|")
    if view.itemsize != 1 or kind not in ("B", "b", "c", "?"):
        raise TypeError(
            f"picture: its items must be bytes or booleans, not of format {view.format!r}; bring"
            " them to 0 ... 255 first"
        )
    if 0 in _sides(view) or not view.ndim:
        raise ValueError("picture: it has no pixels")
    if view.ndim == 1:
        return _flat(view, shape)
    if view.ndim > 3:
        raise ValueError(f"picture: {view.ndim} dimensions are neither 2 nor 3")
    if shape.stride:
        raise ValueError("stride: an array has its own")
    if shape.format in ("INDEX1", "INDEX4"):
        return _packed(view, shape)
    return _array(view, shape, kind == "?")


# ---- Arrays: rows, columns, channels ----


def _array(view: memoryview, shape: Shape, boolean: bool) -> Source:
    height, width = _sides(view)[:2]
    channels = _sides(view)[2] if view.ndim == 3 else 1
    if shape.size not in (None, (width, height)):
        raise ValueError(f"size: {shape.size} is not that of the array, {(width, height)}")
    if boolean:
        return _boolean(view, shape, channels)
    if channels == 2 and shape.format is None:
        return _laid_out(_with_alpha(view), "RGBA", (width, height), shape)
    format = shape.format or _OF_CHANNELS.get(channels)
    if format is None:
        raise ValueError(f"picture: {channels} channels are none of 1, 2, 3 and 4")
    if BITS[format] != channels * 8:
        raise ValueError(f"format: {format!r} has not the array's {channels} bytes of a pixel")
    return _laid_out(view, format, (width, height), shape)


def _boolean(view: memoryview, shape: Shape, channels: int) -> Source:
    """True is white, as everywhere; a colormap says otherwise."""
    if channels != 1:
        raise ValueError(f"picture: booleans have one channel, not {channels}")
    if shape.format not in (None, "INDEX8"):
        raise ValueError(f"format: {shape.format!r} is not that of booleans")
    height, width = _sides(view)[:2]
    shape = shape._replace(colormap=shape.colormap or BLACK_AND_WHITE)
    source = _laid_out(view, "INDEX8", (width, height), shape)
    source.bits = 1
    return source


def _with_alpha(view: memoryview) -> memoryview:
    """Greys and their alpha, as colours."""
    greys = view.tobytes()
    pixels = bytearray(len(greys) * 2)
    pixels[0::4] = pixels[1::4] = pixels[2::4] = greys[0::2]
    pixels[3::4] = greys[1::2]
    return memoryview(pixels).cast("B", (*_sides(view)[:2], 4))


def _packed(view: memoryview, shape: Shape) -> Source:
    """Several indices in a byte: only the caller knows how many columns there are."""
    assert shape.format is not None
    if shape.size is None:
        raise TypeError(f"size: must be given with format {shape.format!r}")
    if view.ndim != 2 or _sides(view)[0] != shape.size[1]:
        raise ValueError(f"size: {shape.size[1]} rows are not those of the array, {_sides(view)[0]}")
    if _sides(view)[1] < row_bytes(shape.size[0], shape.format):
        raise ValueError(f"size: {shape.size[0]} pixels are more than a row of the array has")
    return _laid_out(view, shape.format, shape.size, shape)


def _laid_out(view: memoryview, format: str, size: tuple[int, int], shape: Shape) -> Source:
    strides = _strides(view)
    pixel = _sides(view)[2] if view.ndim == 3 else 1
    together = (_sides(view)[1] == 1 or strides[1] == pixel) and (pixel == 1 or strides[2] == 1)
    apart = size[1] == 1 or abs(strides[0]) >= row_bytes(size[0], format)
    if not (together and apart):
        view = memoryview(view.tobytes()).cast("B", _sides(view))
        strides = _strides(view)
    source = Source(format, size, shape.colormap)
    source.lies_at(_memory.address_of(view), strides[0], view)
    return source


# ---- Bytes without a shape ----


def _flat(view: memoryview, shape: Shape) -> Source:
    if shape.size is None:
        raise TypeError("size: must be given for a picture without a shape")
    format = shape.format or "RGB"
    width, height = shape.size
    row = row_bytes(width, format)
    step = abs(shape.stride) or row
    if step < row:
        raise ValueError(f"stride: {shape.stride} is less than a row of {row} bytes")
    needed = step * (height - 1) + row
    if view.nbytes < needed:
        raise ValueError(f"picture: {view.nbytes} bytes are too few for {height} rows, {needed}")
    if not view.contiguous:
        view = memoryview(view.tobytes())
    top = step * (height - 1) if shape.stride < 0 else 0
    source = Source(format, shape.size, shape.colormap)
    source.lies_at(_memory.address_of(view) + top, shape.stride, view)
    return source
