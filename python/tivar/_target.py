"""Where a file goes: a name, a file object, or bytes. Each has a function that makes the call."""

from __future__ import annotations

import io
import os
import sys
from ctypes import byref, c_size_t, c_void_p
from typing import Any, NamedTuple, Optional, Union

from . import _arguments, _library, _memory
from ._callbacks import Guard
from .errors import error_in

_TOOK_NOTHING = 0


class Report(NamedTuple):
    """What a file that was written is."""

    bits: int  #: of its pixels
    colors: int  #: entries of its palette, 0 without one
    exact: bool  #: nothing was reduced: every pixel has its own colour
    bytes: int  #: its length


def deliver(
    target: Any,
    picture: _library.Picture,
    options: _library.Options,
    guard: Guard,
    sync: Any,
    overwrite: Any,
) -> Union[Report, bytes]:
    flags = _library.FILE_SYNC * _arguments.flag("sync", sync)
    flags |= _library.FILE_NEW * (not _arguments.flag("overwrite", overwrite))
    if isinstance(target, (str, os.PathLike)):
        return _to_name(target, picture, options, guard, flags)
    if flags:
        raise ValueError(f"{'sync' if sync else 'overwrite'}: the target must be a path for that")
    if target is None:
        return _to_bytes(picture, options, guard)
    if not callable(getattr(target, "write", None)):
        raise TypeError(
            "target: must be a path, a binary file object or None, not"
            f" {_arguments.kind_of(target)}"
        )
    return _to_object(target, picture, options, guard)


def _judge(report: _library.Report, name: Optional[str] = None) -> Report:
    if report.result != _library.RESULTS["OK"]:
        raise error_in(report, name)
    return Report(report.bits, report.colors, bool(report.exact), report.bytes)


def _to_name(
    target: Any, picture: _library.Picture, options: _library.Options, guard: Guard, flags: int
) -> Report:
    name = os.fspath(target)
    if not name:
        raise ValueError("target: the path is empty")
    encoded = os.fsdecode(name).encode("utf-8") if sys.platform == "win32" else os.fsencode(name)
    if b"\0" in encoded:
        raise ValueError("target: the path has a null character")
    report = _library.record(_library.Report)
    with guard:
        _library.write_file(byref(picture), byref(options), encoded, flags, byref(report))
    return _judge(report, name)


def _to_bytes(picture: _library.Picture, options: _library.Options, guard: Guard) -> bytes:
    block, length, report = c_void_p(), c_size_t(), _library.record(_library.Report)
    try:
        with guard:
            _library.write_memory(
                byref(picture), byref(options), byref(block), byref(length), byref(report)
            )
        _judge(report)
        return _memory.bytes_at(block.value or 0, length.value)
    finally:
        _library.free(block)


def _to_object(
    target: Any, picture: _library.Picture, options: _library.Options, guard: Guard
) -> Report:
    if isinstance(target, io.TextIOBase):
        raise TypeError("target: it is a text file; open it with mode 'wb'")

    def write(_: Any, address: int, length: int) -> int:
        _write_all(target, _memory.bytes_at(address, length))
        return length

    sink = _library.record(
        _library.Sink, write=_library.Write(guard.around(write, _TOOK_NOTHING))
    )
    report = _library.record(_library.Report)
    with guard:
        _library.write(byref(picture), byref(options), byref(sink), byref(report))
    return _judge(report)


def _write_all(target: Any, block: bytes) -> None:
    """Raw files may take less than they are given; objects that answer nothing took it all."""
    rest = memoryview(block)
    while rest:
        taken = target.write(rest)
        if taken is None:
            if isinstance(target, io.RawIOBase):
                raise BlockingIOError("target: the file would block")
            return
        if not 0 < taken <= len(rest):
            raise OSError(f"target: write() took {taken} of {len(rest)} bytes")
        rest = rest[taken:]
