"""Addresses of buffers, and bytes behind addresses."""

from __future__ import annotations

from ctypes import (
    POINTER,
    Structure,
    byref,
    c_char,
    c_char_p,
    c_int,
    c_ssize_t,
    c_void_p,
    memmove,
    py_object,
    pythonapi,
)


class _PyBuffer(Structure):
    """What Python's own C interface tells of a buffer; the only way to a read-only one's address."""

    _fields_ = [
        ("buf", c_void_p),
        ("obj", c_void_p),
        ("len", c_ssize_t),
        ("itemsize", c_ssize_t),
        ("readonly", c_int),
        ("ndim", c_int),
        ("format", c_char_p),
        ("shape", c_void_p),
        ("strides", c_void_p),
        ("suboffsets", c_void_p),
        ("internal", c_void_p),
    ]


_WITH_STRIDES = 0x18  # PyBUF_STRIDES

_get = pythonapi.PyObject_GetBuffer
_get.argtypes = [py_object, POINTER(_PyBuffer), c_int]
_release = pythonapi.PyBuffer_Release
_release.argtypes = [POINTER(_PyBuffer)]
_release.restype = None


def address_of(view: memoryview) -> int:
    """Where the first item of view lies, for as long as view is not released."""
    buffer = _PyBuffer()
    _get(view, byref(buffer), _WITH_STRIDES)
    address: int = buffer.buf or 0
    _release(byref(buffer))
    return address


def bytes_at(address: int, length: int) -> bytes:
    # ctypes.string_at ends at 2 GiB.
    found: bytes = (c_char * length).from_address(address).raw if length else b""
    return found


def put_bytes(address: int, data: bytes) -> None:
    memmove(address, data, len(data))
