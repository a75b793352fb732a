"""Arguments checked one by one. What is refused is named: TypeError for a wrong kind of thing,
ValueError for a wrong one of the right kind."""

from __future__ import annotations

import operator
from collections.abc import Iterable
from typing import Any, Callable, Mapping, Optional

LARGEST_INT32 = 2**31 - 1
INCH = 0.0254  # in metres


def whole(name: str, value: Any, least: int, most: int) -> int:
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: must be a whole number, not {kind_of(value)}") from None
    if not least <= number <= most:
        raise ValueError(f"{name}: {number} is not from {least} to {most}")
    return number


def word(name: str, value: Any, words: Mapping[str, int]) -> int:
    """The code behind one of words; 0, the library's default, for None."""
    if value is None:
        return 0
    if not isinstance(value, str):
        raise TypeError(f"{name}: must be one of {_listed(words)}, not {kind_of(value)}")
    if value not in words:
        raise ValueError(f"{name}: {value!r} is none of {_listed(words)}")
    return words[value]


def flag(name: str, value: Any) -> bool:
    if not isinstance(value, int):
        raise TypeError(f"{name}: must be True or False, not {kind_of(value)}")
    return bool(value)


def function(name: str, value: Any) -> Optional[Callable[..., Any]]:
    if value is not None and not callable(value):
        raise TypeError(f"{name}: must be callable, not {kind_of(value)}")
    return value  # type: ignore[no-any-return]


def pair(name: str, value: Any) -> tuple[Any, Any]:
    try:
        first, second = value
    except (TypeError, ValueError):
        raise TypeError(f"{name}: must be a pair, not {kind_of(value)}") from None
    return first, second


def size(value: Any) -> tuple[int, int]:
    width, height = pair("size", value)
    return whole("size", width, 1, LARGEST_INT32), whole("size", height, 1, LARGEST_INT32)


def resolution(value: Any) -> tuple[int, int]:
    """Pixels per metre from a number of pixels per inch, or two."""
    if value is None:
        return 0, 0
    across, down = (value, value) if _is_number(value) else pair("dpi", value)
    return _per_meter(across), _per_meter(down)


def _per_meter(dots: Any) -> int:
    if not _is_number(dots):
        raise TypeError(f"dpi: must be a number or two, not {kind_of(dots)}")
    number = float(dots) / INCH
    if not 0 <= number <= LARGEST_INT32:  # nor is what is no number at all
        raise ValueError(f"dpi: {dots} is not from 0 to {int(LARGEST_INT32 * INCH)}")
    return round(number)


def _is_number(value: Any) -> bool:
    return hasattr(value, "__float__") and not hasattr(value, "__len__")


def colors(name: str, value: Any) -> bytes:
    """Bytes of red, green, blue: from such bytes, or from triples."""
    if isinstance(value, (bytes, bytearray)):
        found = bytes(value)
        if not found or len(found) % 3:
            raise ValueError(f"{name}: {len(found)} bytes are no entries of red, green, blue")
        return found
    if isinstance(value, str) or not isinstance(value, Iterable):
        raise TypeError(f"{name}: must be colours (red, green, blue), not {kind_of(value)}")
    return b"".join(color(name, entry) for entry in value)


def color(name: str, entry: Any) -> bytes:
    """Red, green and blue."""
    try:
        red, green, blue = entry
    except (TypeError, ValueError):
        raise TypeError(f"{name}: {entry!r} is no colour (red, green, blue)") from None
    return bytes(whole(name, level, 0, 255) for level in (red, green, blue))


def kind_of(value: Any) -> str:
    return type(value).__name__


def _listed(words: Mapping[str, int]) -> str:
    return ", ".join(repr(each) for each in words)
