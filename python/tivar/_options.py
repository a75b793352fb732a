"""The options of save() as the library's record."""

from __future__ import annotations

from typing import Any, Callable, Optional

from . import _arguments, _library
from ._callbacks import Guard

GO_ON = 0
STOP = 1
_CHOSEN = {name: code for name, code in _library.COLORS.items() if name != "given"}
_WHITE = b"\xff\xff\xff"


def options_of(
    guard: Guard,
    bits: Any,
    header: Any,
    encoding: Any,
    top_down: Any,
    full_palette: Any,
    masks: Any,
    dpi: Any,
    palette: Any,
    colors: Any,
    dither: Any,
    alpha: Any,
    background: Any,
    threads: Any,
    progress: Any,
    cancel: Any,
) -> _library.Options:
    most = _arguments.LARGEST_INT32
    across, down = _arguments.resolution(dpi)
    options = _library.record(
        _library.Options,
        bits=0 if bits is None else _arguments.whole("bits", bits, 1, most),
        header=_arguments.word("header", header, _library.HEADERS),
        encoding=_arguments.word("encoding", encoding, _library.ENCODINGS),
        row_order=_library.TOP_DOWN * _arguments.flag("top_down", top_down),
        palette_length=_library.PALETTE_FULL * _arguments.flag("full_palette", full_palette),
        masks=_arguments.word("masks", masks, _library.MASKS),
        x_per_meter=across,
        y_per_meter=down,
        max_colors=0 if colors is None else _arguments.whole("colors", colors, 2, most),
        dither=_arguments.word("dither", dither, _library.DITHERS),
        threads=0 if threads is None else _arguments.whole("threads", threads, 0, most),
    )
    _set_palette(options, palette)
    _set_alpha(options, alpha, background)
    _set_callbacks(options, guard, progress, cancel)
    return options  # type: ignore[no-any-return]


def _set_palette(options: _library.Options, palette: Any) -> None:
    if palette is None or isinstance(palette, str):
        options.colors = _arguments.word("palette", palette, _CHOSEN)
        return
    options.colors = _library.COLORS["given"]
    options.palette = entries = _arguments.colors("palette", palette)
    options.palette_count = len(entries) // 3


def _set_alpha(options: _library.Options, alpha: Any, background: Any) -> None:
    """A background alone says that it is wanted; without one it is white."""
    options.alpha = _arguments.word("alpha", alpha, _library.ALPHAS)
    if background is not None:
        if alpha == "drop":
            raise ValueError("background: alpha='drop' does not look at it")
        options.alpha = _library.ALPHAS["over"]
    if options.alpha == _library.ALPHAS["over"]:
        behind = _WHITE if background is None else _arguments.color("background", background)
        options.background[:3] = tuple(behind)


def _set_callbacks(options: _library.Options, guard: Guard, progress: Any, cancel: Any) -> None:
    if _arguments.function("progress", progress):
        options.progress = _library.Progress(guard.around(_told(progress), STOP))
    if _arguments.function("cancel", cancel):
        options.cancel = _library.Cancel(guard.around(_asked(cancel), STOP))


def _told(progress: Callable[[int], Optional[bool]]) -> Callable[[Any, int], int]:
    return lambda _, percent: STOP if progress(percent) is False else GO_ON


def _asked(cancel: Callable[[], Any]) -> Callable[[Any], int]:
    return lambda _: STOP if cancel() else GO_ON
