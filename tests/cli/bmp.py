"""A reader of the files under test that shares no code with the program or the library.

It knows raw rows and rows that are encoded as nothing but pairs of count and value, a row ending
where its bytes are complete."""

import struct
from dataclasses import dataclass


@dataclass
class Bmp:
    os2: bool
    width: int
    height: int
    bits: int
    encoded: bool
    palette: list  # (red, green, blue)
    rows: list  # top row first; indices, or (red, green, blue)

    def pixels(self):
        """Colours, top row first."""
        if self.bits == 24:
            return self.rows
        return [[self.palette[index] for index in row] for row in self.rows]


def row_bytes(width, bits):
    return (width * bits + 31) // 32 * 4


def decode_pairs(data, bits, length):
    """Expands pairs into length bytes; a count of 4-bit pixels covers half as many bytes."""
    out = bytearray()
    for count, value in zip(data[0::2], data[1::2]):
        assert count > 0 and (bits == 8 or count % 2 == 0)
        out += bytes([value]) * (count if bits == 8 else count // 2)
    assert len(data) % 2 == 0 and len(out) == length
    return bytes(out)


def unpack(row, width, bits):
    if bits == 24:
        return [(row[3 * x + 2], row[3 * x + 1], row[3 * x]) for x in range(width)]
    per_byte = 8 // bits
    mask = (1 << bits) - 1
    return [
        row[x // per_byte] >> (8 - bits - x % per_byte * bits) & mask for x in range(width)
    ]


def read(data, encoded=None):
    """encoded: whether rows are pairs; the OS/2 flavour does not tell by itself."""
    assert data[:2] == b"BM" and data[6:10] == bytes(4)
    size, offset, header = struct.unpack_from("<I4xII", data, 2)
    os2 = header == 12
    if os2:
        width, height, planes, bits = struct.unpack_from("<HHHH", data, 18)
        compression = 0
    else:
        assert header == 40
        width, height, planes, bits, compression, image = struct.unpack_from("<iiHHII", data, 18)
        assert data[38:54] == bytes(16)
    assert planes == 1
    if encoded is None:
        encoded = compression != 0
    colors = 0 if bits == 24 else 1 << bits
    entry = 3 if os2 else 4
    start = 14 + header
    assert offset == start + entry * colors
    palette = [
        (data[p + 2], data[p + 1], data[p]) for p in range(start, offset, entry)
    ]
    stride = row_bytes(width, bits)
    assert size == offset + stride * height
    body = data[offset:]
    if encoded:
        assert bits in (4, 8) and (os2 or compression == (1 if bits == 8 else 2))
        assert struct.unpack_from("<I", data, 34)[0] == len(body)
        body = decode_pairs(body, bits, stride * height)
    assert len(body) == stride * height
    rows = [unpack(body[y * stride : (y + 1) * stride], width, bits) for y in range(height)]
    rows.reverse()
    return Bmp(os2, width, height, bits, encoded, palette, rows)


def grid(picture):
    """Pixels of a Pillow picture as rows."""
    data = list(picture.getdata())
    return [data[y * picture.width : (y + 1) * picture.width] for y in range(picture.height)]
