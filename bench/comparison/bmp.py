"""Just enough of the BMP header to see that a tool wrote what it was asked for."""

import struct
from dataclasses import dataclass

RLE8 = 1
HEADER_BYTES = 54


@dataclass
class Header:
    width: int
    height: int
    bits: int
    compression: int
    complete: bool  # the file is as long as its header promises


def read_header(path):
    """The header of a Windows BMP file, or None."""
    with path.open("rb") as file:
        data = file.read(HEADER_BYTES)
    if len(data) < HEADER_BYTES or data[:2] != b"BM":
        return None
    offset, header_size, width, height = struct.unpack_from("<IIii", data, 10)
    if header_size < 40:
        return None
    bits, compression, image_size = struct.unpack_from("<HII", data, 28)
    height = abs(height)
    stored = image_size if compression == RLE8 else (width * bits + 31) // 32 * 4 * height
    return Header(width, height, bits, compression, 0 < stored <= path.stat().st_size - offset)


def problem_of(path, width, height, bits, compression):
    """What is wrong with a file, or an empty text."""
    header = read_header(path) if path.exists() else None
    if header is None:
        return "wrote no BMP file"
    if (header.width, header.height) != (width, height):
        return f"wrote {header.width} x {header.height} pixels"
    if header.bits != bits:
        return f"wrote {header.bits} bits a pixel"
    if header.compression != compression:
        return f"wrote compression {header.compression}"
    return "" if header.complete else "wrote too few bytes"
