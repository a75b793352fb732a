"""Pillow's images. Pillow is not needed: who hands over an image has loaded it."""

from __future__ import annotations

import sys
from typing import Any, Optional

from . import _library, _memory
from ._source import BLACK_AND_WHITE, Shape, Source, row_bytes

_AS_THEY_ARE = {"L": "GREY", "RGB": "RGB", "RGBA": "RGBA"}
_WITH_ALPHA = ("LA", "PA", "RGBa")
_HIGH_BYTE = {"I;16": 1, "I;16L": 1, "I;16B": 0, "I;16N": 1 if sys.byteorder == "little" else 0}
_NO_RANGE = ("I", "F")
_WHITE = (255, 255, 255)


def is_image(picture: Any) -> bool:
    module = sys.modules.get("PIL.Image")
    return module is not None and isinstance(picture, module.Image)


def source_of(image: Any, shape: Shape, options: _library.Options) -> Source:
    _refuse_shape(shape)
    if 0 in image.size:
        raise ValueError("picture: it has no pixels")
    image.load()
    if image.mode == "P" and not (_is_transparent(image) and _keeps_alpha(options)):
        return _indices(image, options)
    if image.mode in _HIGH_BYTE:
        return _pixels("GREY", image.size, image.tobytes()[_HIGH_BYTE[image.mode] :: 2])
    if image.mode in _NO_RANGE:
        raise ValueError(
            f"picture: levels of mode {image.mode!r} have no range; bring them to 0 ... 255 and mode"
            " 'L' first"
        )
    if image.mode == "1" and not _is_transparent(image):
        return _pixels("INDEX1", image.size, image.tobytes(), BLACK_AND_WHITE)
    if image.mode == "La":
        image = image.convert("LA")  # the one way that Pillow knows
    if image.mode in _WITH_ALPHA or _is_transparent(image):
        image = image.convert("RGBA")
    elif image.mode not in _AS_THEY_ARE:
        image = image.convert("RGB")
    return _pixels(_AS_THEY_ARE[image.mode], image.size, image.tobytes())


def _refuse_shape(shape: Shape) -> None:
    for name, value in zip(shape._fields, shape):
        if value:
            raise ValueError(f"{name}: a Pillow image has its own")


def _pixels(
    format: str, size: tuple[int, int], pixels: bytes, colormap: Optional[bytes] = None
) -> Source:
    source = Source(format, size, colormap)
    view = memoryview(pixels)
    source.lies_at(_memory.address_of(view), row_bytes(size[0], format), view)
    return source


# ---- Palettes ----


def _indices(image: Any, options: _library.Options) -> Source:
    """The indices as they are, so that the file has them, and the palette, when they fit."""
    colormap = _opaque_palette(image, options)
    if options.bits in (1, 4) and len(colormap) > 3 << options.bits:
        # Palettes are often padded, and quantised images use their first entries.
        colormap = colormap[: 3 * (image.getextrema()[1] + 1)]
    return _pixels("INDEX8", image.size, image.tobytes(), colormap)


def _opaque_palette(image: Any, options: _library.Options) -> bytes:
    """The palette, transparent entries laid over the background as the library lays pixels."""
    entries = image.getpalette("RGBA")
    colors = [entries[at : at + 3] for at in range(0, len(entries), 4)]
    if options.alpha != _library.ALPHAS["drop"]:
        over = options.alpha == _library.ALPHAS["over"]
        background = options.background[:3] if over else _WHITE
        alphas = _alphas(image, entries[3::4])
        colors = [_laid_over(*each, background) for each in zip(colors, alphas)]
    return bytes(level for color in colors[: _length(image, len(colors))] for level in color)


def _length(image: Any, most: int) -> int:
    """How many entries there are, which Pillow's core rounds up to 256."""
    told = getattr(image.palette, "palette", None)
    return min(most, len(told) // len(image.palette.mode)) if told else most


def _alphas(image: Any, of_palette: list[int]) -> list[int]:
    told = image.info.get("transparency")
    if isinstance(told, bytes):
        return [*told, *of_palette[len(told) :]]
    if isinstance(told, int):
        return [0 if index == told else alpha for index, alpha in enumerate(of_palette)]
    return of_palette


def _laid_over(color: Any, alpha: int, background: Any) -> list[int]:
    parts = (level * alpha + behind * (255 - alpha) for level, behind in zip(color, background))
    return [(part + 127) // 255 for part in parts]


def _is_transparent(image: Any) -> bool:
    if "transparency" in image.info:
        return True
    return image.mode == "P" and getattr(image.palette, "mode", "RGB") == "RGBA"


def _keeps_alpha(options: _library.Options) -> bool:
    """Whether the file will tell of alpha, as the library settles it."""
    kept = options.alpha == 0 and options.header != _library.HEADERS["windows"]
    return bool(options.bits == 32 and kept)
