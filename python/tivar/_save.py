"""save(): one call from a picture to a file."""

from __future__ import annotations

import os
from collections.abc import Iterable, Sequence
from typing import Any, BinaryIO, Callable, Optional, Union, overload

from ._callbacks import Guard
from ._options import options_of
from ._picture import source_of
from ._target import Report, deliver

Color = Sequence[int]
Palette = Union[str, bytes, Iterable[Color]]
Target = Union[str, "os.PathLike[str]", BinaryIO]


@overload
def save(
    picture: Any,
    target: None = None,
    *,
    size: Optional[tuple[int, int]] = None,
    format: Optional[str] = None,
    stride: int = 0,
    colormap: Union[bytes, Iterable[Color], None] = None,
    bits: Optional[int] = None,
    header: Optional[str] = None,
    encoding: Optional[str] = None,
    top_down: bool = False,
    full_palette: bool = False,
    masks: Optional[str] = None,
    dpi: Union[float, tuple[float, float], None] = None,
    palette: Optional[Palette] = None,
    colors: Optional[int] = None,
    dither: Optional[str] = None,
    alpha: Optional[str] = None,
    background: Optional[Color] = None,
    threads: Optional[int] = None,
    progress: Optional[Callable[[int], Optional[bool]]] = None,
    cancel: Optional[Callable[[], Any]] = None,
    sync: bool = False,
    overwrite: bool = True,
) -> bytes: ...


@overload
def save(
    picture: Any,
    target: Target,
    *,
    size: Optional[tuple[int, int]] = None,
    format: Optional[str] = None,
    stride: int = 0,
    colormap: Union[bytes, Iterable[Color], None] = None,
    bits: Optional[int] = None,
    header: Optional[str] = None,
    encoding: Optional[str] = None,
    top_down: bool = False,
    full_palette: bool = False,
    masks: Optional[str] = None,
    dpi: Union[float, tuple[float, float], None] = None,
    palette: Optional[Palette] = None,
    colors: Optional[int] = None,
    dither: Optional[str] = None,
    alpha: Optional[str] = None,
    background: Optional[Color] = None,
    threads: Optional[int] = None,
    progress: Optional[Callable[[int], Optional[bool]]] = None,
    cancel: Optional[Callable[[], Any]] = None,
    sync: bool = False,
    overwrite: bool = True,
) -> Report: ...


def save(
    picture: Any,
    target: Optional[Target] = None,
    *,
    size: Optional[tuple[int, int]] = None,
    format: Optional[str] = None,
    stride: int = 0,
    colormap: Union[bytes, Iterable[Color], None] = None,
    bits: Optional[int] = None,
    header: Optional[str] = None,
    encoding: Optional[str] = None,
    top_down: bool = False,
    full_palette: bool = False,
    masks: Optional[str] = None,
    dpi: Union[float, tuple[float, float], None] = None,
    palette: Optional[Palette] = None,
    colors: Optional[int] = None,
    dither: Optional[str] = None,
    alpha: Optional[str] = None,
    background: Optional[Color] = None,
    threads: Optional[int] = None,
    progress: Optional[Callable[[int], Optional[bool]]] = None,
    cancel: Optional[Callable[[], Any]] = None,
    sync: bool = False,
    overwrite: bool = True,
) -> Union[Report, bytes]:
    """Writes a picture as a BMP file.

        tivar.save(image, "picture.bmp", bits=4)

    The result is a Report of the file, or the file itself, bytes, without a target. Whatever fails
    raises an exception (tivar.Error, TypeError, ValueError) and leaves a named file as it was.

    The picture is one of
        a Pillow image, of any mode with a range of levels; "P" keeps its indices and palette;
        an array, (rows, columns) or (rows, columns, channels), of bytes or booleans: 1 channel is
            grey, 2 grey and alpha, 3 red, green, blue, 4 and alpha; views are not copied;
        bytes or another buffer, with size, format and stride;
        an iterator of rows, the top one first, or a function that gives the row of a number, each
            row as bytes, with size and format.

    The target is a path, whose file is complete or not there; a binary file object; or None.

    What the picture cannot say itself:
        size      (width, height)
        format    "RGB" (default), "BGR", "RGBA", "BGRA", "GREY", "INDEX1", "INDEX4", "INDEX8"
        stride    bytes from a row to the next; negative: the top row is the last in the buffer
        colormap  the colours of indices: (red, green, blue) each, or bytes of them

    The form of the file:
        bits          1, 4, 8, 16, 24 or 32; None: the picture's own
        header        "windows" (default), "os2", "v4" (default where alpha is kept)
        encoding      "raw" (default), "rle", "smallest" of the two
        top_down      the top row first, which some readers do not know
        full_palette  2**bits entries, whether they are used or not
        masks         "565" (default) or "555" at 16 bits
        dpi           resolution in pixels per inch, a number or (across, down)

    Its colours:
        palette     "best" (default at 4 and 8 bits), "greys" (at 1 bit), "filter", as the filter
                    interface chooses, or the colours themselves in their order
        colors      at most so many, where they are chosen
        dither      "diffuse" (default at 1 and 4 bits), "ordered", "none" (at 8 and 16)
        alpha       "over" a background, "drop"; None: kept at 32 bits, else over white
        background  the colour behind what is transparent

    The call:
        threads    share the work where it can be shared; the bytes are the same
        progress   called with percents; returns False to cancel, or raises
        cancel     called before every row without arguments; returns True to cancel
        sync       a named file is on the disk when the call returns
        overwrite  False: a file of that name is a FileExistsError

    Other threads of the program run meanwhile, and may save at the same time."""
    guard = Guard()
    options = options_of(
        guard,
        bits=bits,
        header=header,
        encoding=encoding,
        top_down=top_down,
        full_palette=full_palette,
        masks=masks,
        dpi=dpi,
        palette=palette,
        colors=colors,
        dither=dither,
        alpha=alpha,
        background=background,
        threads=threads,
        progress=progress,
        cancel=cancel,
    )
    with source_of(picture, guard, options, size, format, stride, colormap) as source:
        options.bits = options.bits or source.bits
        return deliver(target, source.record, options, guard, sync, overwrite)
