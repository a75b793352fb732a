"""Builds BMP files field by field, right or wrong as a test wants them."""

import struct

RED_GREEN_BLUE_WHITE = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255)]


def palette_bytes(colors, entry):
    return b"".join(bytes([b, g, r, 0][:entry]) for r, g, b in colors)


def windows(width, height, bits, pixels, palette=(), **fields):
    """A 40-byte header; fields that are not named get their right values."""
    entries = palette_bytes(palette, 4)
    offset = fields.get("offset", 54 + len(entries))
    return (
        struct.pack(
            "<2sIII",
            b"BM",
            fields.get("size", 54 + len(entries) + len(pixels)),
            fields.get("reserved", 0),
            offset,
        )
        + struct.pack(
            "<IiiHHIIIIII",
            fields.get("header", 40),
            width,
            height,
            fields.get("planes", 1),
            bits,
            fields.get("compression", 0),
            fields.get("image", len(pixels) if fields.get("compression") else 0),
            0,
            0,
            fields.get("colors", len(palette)),
            0,
        )
        + entries
        + pixels
    )


def os2(width, height, bits, pixels, palette=(), **fields):
    entries = palette_bytes(palette, 3)
    offset = fields.get("offset", 26 + len(entries))
    size = fields.get("size", 26 + len(entries) + len(pixels))
    return (
        struct.pack("<2sIII", b"BM", size, 0, offset)
        + struct.pack("<IHHHH", 12, width, height, 1, bits)
        + entries
        + pixels
    )


def greys(bits):
    count = 1 << bits
    return [(i * 255 // (count - 1),) * 3 for i in range(count)]


# 6 x 4 pixels in RLE8, bottom row first: an encoded and an absolute run, a row that is left after
# two pixels, a delta that goes two columns and a row up, a delta within the row.
RLE8_CODES = bytes(
    [4, 9, 2, 7, 0, 0]  # 9 9 9 9 7 7
    + [0, 5, 1, 2, 3, 4, 5, 0, 1, 6, 0, 0]  # 1 2 3 4 5 6, the absolute run padded to a word
    + [1, 8, 0, 2, 2, 1, 1, 3]  # 8 - - - - -, then - - - 3 ...
    + [0, 2, 1, 0, 1, 4, 0, 1]  # ... - 4
)
RLE8_ROWS = [  # top row first
    [0, 0, 0, 3, 0, 4],
    [8, 0, 0, 0, 0, 0],
    [1, 2, 3, 4, 5, 6],
    [9, 9, 9, 9, 7, 7],
]

# 7 x 3 pixels in RLE4: pairs of pixels take turns, an absolute run of three is padded to a word.
RLE4_CODES = bytes(
    [5, 0x12, 2, 0x33, 0, 0]  # 1 2 1 2 1 3 3
    + [0, 7, 0x12, 0x34, 0x56, 0x70, 0, 0]  # 1 2 3 4 5 6 7
    + [4, 0x98, 0, 3, 0xAB, 0xC0, 0, 1]  # 9 8 9 8 10 11 12
)
RLE4_ROWS = [
    [9, 8, 9, 8, 10, 11, 12],
    [1, 2, 3, 4, 5, 6, 7],
    [1, 2, 1, 2, 1, 3, 3],
]


def rle8(codes=RLE8_CODES, height=4, **fields):
    return windows(6, height, 8, codes, greys(8), **{"compression": 1, **fields})


def rle4(codes=RLE4_CODES, **fields):
    return windows(7, 3, 4, codes, greys(4), **{"compression": 2, **fields})
