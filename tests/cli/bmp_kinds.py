"""Every kind of BMP file that programs write, each with the pixels that it holds, from a plain model.

A pixel is red, green, blue and alpha; kinds without alpha are opaque."""

import io
import random
import struct
from dataclasses import dataclass

from PIL import Image

MASKS_555 = (0x7C00, 0x03E0, 0x001F, 0)
MASKS_888 = (0xFF0000, 0x00FF00, 0x0000FF, 0)


@dataclass
class Kind:
    name: str
    data: bytes
    pixels: list  # rows of (red, green, blue, alpha), top row first
    alpha: bool = False


def header(size, width, height, bits, compression=0, image=0, colors=0, masks=(0, 0, 0, 0), profile=(0, 0)):
    """An info header of any size."""
    if size == 12:
        return struct.pack("<IHHHH", 12, width, height, 1, bits)
    whole = struct.pack(
        "<IiiHHIIiiII", size, width, height, 1, bits, compression, image, 2835, 2835, colors, 0
    )
    if size == 64:
        return whole + bytes(24)
    whole += struct.pack("<4I", *masks) + b"BGRs" + bytes(36 + 12)
    whole += struct.pack("<4I", 4, *profile, 0)
    return whole[:size]


def file(info, palette, pixels, loose=b"", tail=b""):
    offset = 14 + len(info) + len(loose) + len(palette)
    total = offset + len(pixels) + len(tail)
    return struct.pack("<2sIII", b"BM", total, 0, offset) + info + loose + palette + pixels + tail


def palette_of(colors, entry):
    return b"".join(bytes((b, g, r, 0)[:entry]) for r, g, b in colors)


def packed(values, bits):
    """A row of values, padded to 4 bytes."""
    if bits < 8:
        text = "".join(f"{value:0{bits}b}" for value in values)
        text += "0" * (-len(text) % 32)
        return int(text, 2).to_bytes(len(text) // 8, "big")
    row = b"".join(value.to_bytes(bits // 8, "little") for value in values)
    return row + bytes(-len(row) % 4)


def stored(rows, bits, top_down):
    return b"".join(packed(row, bits) for row in (rows if top_down else rows[::-1]))


def share(value, mask):
    """The masked part of a value, as 0 to 255."""
    if mask == 0:
        return 255
    low = mask & -mask
    highest = mask // low
    return ((value & mask) // low * 255 + highest // 2) // highest


def indexed(name, size, bits, width, height, count=None, top_down=False):
    random.seed(name)
    count = count or 1 << bits
    colors = [tuple(random.randrange(256) for _ in range(3)) for _ in range(count)]
    rows = [[random.randrange(count) for _ in range(width)] for _ in range(height)]
    said = 0 if count == 1 << bits else count
    info = header(size, width, -height if top_down else height, bits, colors=said)
    data = file(info, palette_of(colors, 3 if size == 12 else 4), stored(rows, bits, top_down))
    return Kind(name, data, [[colors[i] + (255,) for i in row] for row in rows])


def fields(name, size, bits, masks, width=7, height=5, top_down=False, compression=3, said=True):
    """Pixels that masks cut into colours; said: whether the file has the masks."""
    random.seed(name)
    rows = [[random.getrandbits(bits) for _ in range(width)] for _ in range(height)]
    pixels = [[tuple(share(value, mask) for mask in masks) for value in row] for row in rows]
    loose = b""
    if said and size == 40:
        loose = struct.pack("<4I", *masks)[: 16 if compression == 6 else 12]
    info = header(
        size, width, -height if top_down else height, bits, compression if said else 0,
        image=0, masks=masks if said else (0, 0, 0, 0),
    )
    return Kind(name, file(info, b"", stored(rows, bits, top_down), loose), pixels, alpha=masks[3] != 0)


def true_color(name, size, width, height, top_down=False):
    random.seed(name)
    rows = [[random.getrandbits(24) for _ in range(width)] for _ in range(height)]
    info = header(size, width, -height if top_down else height, 24)
    pixels = [[(v >> 16, v >> 8 & 255, v & 255, 255) for v in row] for row in rows]
    return Kind(name, file(info, b"", stored(rows, 24, top_down)), pixels)


def linear(name):
    """64 bits: 13 bits behind the point, linear light."""
    random.seed(name)
    rows = [[[random.randrange(8193) for _ in range(4)] for _ in range(7)] for _ in range(5)]
    rows[0][0] = [-5, 0, 8192, 8192]
    rows[0][1] = [32767, 8191, 1, 4096]

    def curve(value):
        light = min(max(value, 0), 8192) / 8192
        gamma = 12.92 * light if light <= 0.0031308 else 1.055 * light ** (1 / 2.4) - 0.055
        return int(gamma * 255 + 0.5)

    body = b"".join(struct.pack("<4h", *pixel) for row in rows[::-1] for pixel in row)
    pixels = [[(curve(r), curve(g), curve(b), (a * 255 + 4096) // 8192) for b, g, r, a in row] for row in rows]
    return Kind(name, file(header(40, 7, 5, 64), b"", body), pixels, alpha=True)


GREYS = [(i, i, i) for i in range(256)]


def runs8(name, size):
    # 6 x 3: a run and a literal run of three; a row that ends early; a delta into the top row.
    codes = bytes([4, 9, 2, 7, 0, 0, 0, 3, 1, 2, 3, 0, 0, 2, 2, 1, 1, 200, 0, 0, 0, 1])
    rows = [[0, 0, 0, 0, 0, 200], [1, 2, 3, 0, 0, 0], [9, 9, 9, 9, 7, 7]]
    info = header(size, 6, 3, 8, 1, image=len(codes))
    pixels = [[GREYS[i] + (255,) for i in row] for row in rows]
    return Kind(name, file(info, palette_of(GREYS, 4), codes), pixels)


def runs4(name, size):
    codes = bytes([5, 0x12, 2, 0x33, 0, 0, 0, 7, 0x12, 0x34, 0x56, 0x70, 0, 0, 7, 0x98, 0, 1])
    rows = [[9, 8, 9, 8, 9, 8, 9], [1, 2, 3, 4, 5, 6, 7], [1, 2, 1, 2, 1, 3, 3]]
    greys = [(i * 17,) * 3 for i in range(16)]
    info = header(size, 7, 3, 4, 2, image=len(codes))
    return Kind(name, file(info, palette_of(greys, 4), codes), [[greys[i] + (255,) for i in row] for row in rows])


def runs24(name, size):
    # Blue, green, red; the literal run of three pixels is padded to a word.
    codes = bytes([3, 1, 2, 3, 1, 250, 0, 9, 0, 0])
    codes += bytes([0, 3, 10, 20, 30, 40, 50, 60, 70, 80, 90, 0, 1, 5, 6, 7, 0, 1])
    bottom = [(3, 2, 1, 255)] * 3 + [(9, 0, 250, 255)]
    top = [(30, 20, 10, 255), (60, 50, 40, 255), (90, 80, 70, 255), (7, 6, 5, 255)]
    return Kind(name, file(header(size, 4, 2, 24, 4, image=len(codes)), b"", codes), [top, bottom])


def embedded(name, format, compression, bits=0):
    random.seed(name)
    picture = Image.new("RGB", (16, 8))
    picture.putdata([(x * 16, y * 30, 128) for y in range(8) for x in range(16)])
    stream = io.BytesIO()
    picture.save(stream, format, **({"quality": 95, "subsampling": 0} if format == "JPEG" else {}))
    body = stream.getvalue()
    shown = list(Image.open(io.BytesIO(body)).convert("RGBA").getdata())
    rows = [shown[y * 16 : y * 16 + 16] for y in range(8)]
    info = header(40 if bits == 0 else 124, 16, 8, bits, compression, image=len(body))
    return Kind(name, file(info, b"", body), rows)


def all_kinds():
    for size in (12, 40, 64, 108, 124):
        for bits in (1, 2, 4, 8):
            for width, height in ((1, 1), (7, 5), (33, 4)):
                yield indexed(f"{bits} bits, {width} x {height}, header {size}", size, bits, width, height)
        yield true_color(f"24 bits, header {size}", size, 7, 5)
        if size in (12, 64):
            continue
        for bits in (1, 2, 4, 8):
            yield indexed(f"{bits} bits, short palette, header {size}", size, bits, 7, 5, count=2)
            yield indexed(f"{bits} bits, top row first, header {size}", size, bits, 7, 5, top_down=True)
        yield true_color(f"24 bits, top row first, header {size}", size, 7, 5, top_down=True)
        yield fields(f"16 bits, header {size}", size, 16, MASKS_555, said=False)
        yield fields(f"32 bits, header {size}", size, 32, MASKS_888, said=False)
        yield fields(f"16 bits, 565, header {size}", size, 16, (0xF800, 0x07E0, 0x001F, 0))
        yield fields(f"16 bits, 565, top row first, header {size}", size, 16, (0xF800, 0x7E0, 0x1F, 0), top_down=True)
        yield fields(f"32 bits, 10 each, header {size}", size, 32, (0x3FF00000, 0xFFC00, 0x3FF, 0))
        yield fields(f"32 bits, other order, header {size}", size, 32, (0xFF, 0xFF00, 0xFF000000, 0))
        yield fields(f"32 bits, odd widths, header {size}", size, 32, (0x1, 0x3FFF8, 0xFFC00000, 0))
        yield runs8(f"RLE8, header {size}", size)
        yield runs4(f"RLE4, header {size}", size)
    for size in (56, 108, 124):
        yield fields(f"32 bits with alpha, header {size}", size, 32, (0xFF0000, 0xFF00, 0xFF, 0xFF000000))
        yield fields(f"16 bits with alpha, header {size}", size, 16, (0x7C00, 0x3E0, 0x1F, 0x8000))
        yield fields(f"16 bits, 4 each, header {size}", size, 16, (0xF00, 0xF0, 0xF, 0xF000))
    yield fields("16 bits, header 52", 52, 16, (0xF800, 0x07E0, 0x001F, 0))
    yield fields("32 bits, masks of alpha behind 40 bytes", 40, 32, (0xFF000000, 0xFF0000, 0xFF00, 0xFF), compression=6)
    yield indexed("8 bits, header 16", 16, 8, 7, 5)
    yield indexed("1 bit, header 16", 16, 1, 33, 4)
    yield linear("64 bits")
    yield runs8("RLE8 of OS/2", 64)
    yield runs4("RLE4 of OS/2", 64)
    yield runs24("RLE24 of OS/2", 64)
    yield runs24("RLE24, header 40", 40)
    yield embedded("a PNG picture", "PNG", 5)
    yield embedded("a JPEG picture", "JPEG", 4)
    yield embedded("a JPEG picture with 24 bits", "JPEG", 4, 24)


KINDS = list(all_kinds())
