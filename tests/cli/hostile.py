"""Files that are made to exhaust whoever reads them: small ones that claim or become something huge, loops,
things without an end. Every one says whether it is a picture all the same, or what is wrong with it."""

import io
import struct
import zlib
from dataclasses import dataclass

import bmp_build
import drawing

MEBI = 1 << 20
SIDE_AT_LIMIT = 16384  # a square of it has as many pixels as are read unasked
MOST_SIDE = 65535


@dataclass
class Hostile:
    name: str
    data: bytes
    wrong: tuple = ()  # fragments of the line that refuses it
    options: tuple = ()

    @property
    def is_picture(self):
        return not self.wrong


# --- PNG -----------------------------------------------------------------------------------------


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png(width, height, depth, color_type, packed, *extra):
    header = struct.pack(">IIBBBBB", width, height, depth, color_type, 0, 0, 0)
    parts = [(b"IHDR", header), *extra, (b"IDAT", packed), (b"IEND", b"")]
    return b"\x89PNG\r\n\x1a\n" + b"".join(chunk(kind, body) for kind, body in parts)


def deflated_zeros(count):
    """count zeros as zlib packs them, without having them: every mebibyte becomes the same bytes."""
    whole, rest = divmod(count, MEBI)
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    block = packer.compress(bytes(MEBI)) + packer.flush(zlib.Z_FULL_FLUSH)
    last = packer.compress(bytes(rest)) + packer.flush()
    # Zeros leave the first half of the sum at 1 and add it to the second once for each.
    return b"\x78\xda" + block * whole + last + struct.pack(">HH", count % 65521, 1)


def png_files():
    large = MOST_SIDE
    yield Hostile("header", png(large, large, 1, 0, b""), ("65535 x 65535", "--limit-pixels"))
    yield Hostile("longest sides", png(2**31 - 1, 2**31 - 1, 8, 6, b""), ("2147483647 x 2147483647",))
    yield Hostile("no sides", png(0, 0, 8, 6, b""), ("damaged",))
    row = (SIDE_AT_LIMIT + 7) // 8 + 1
    black = deflated_zeros(row * SIDE_AT_LIMIT)
    yield Hostile("bits at the limit", png(SIDE_AT_LIMIT, SIDE_AT_LIMIT, 1, 0, black))
    row = SIDE_AT_LIMIT * 8 + 1
    deep = deflated_zeros(row * SIDE_AT_LIMIT)  # 2 GB in 2 MB
    yield Hostile("deep colours at the limit", png(SIDE_AT_LIMIT, SIDE_AT_LIMIT, 16, 6, deep), ("memory",))
    row = (large + 7) // 8 + 1
    yield Hostile(
        "bits beyond the limit",
        png(large, large, 1, 0, deflated_zeros(row * large)),
        ("memory",),
        ("--limit-pixels", 1 << 32),
    )
    yield Hostile("too many pixels stored", png(1, 1, 1, 0, deflated_zeros(32 * MEBI)))
    one = zlib.compress(b"\0\0")
    bomb = deflated_zeros(1024 * MEBI)
    yield Hostile("profile of a gigabyte", png(1, 1, 1, 0, one, (b"iCCP", b"x\0\0" + bomb)))
    yield Hostile("text of a gigabyte", png(1, 1, 1, 0, one, (b"zTXt", b"x\0\0" + bomb)))
    yield Hostile("200000 texts", png(1, 1, 1, 0, one, *[(b"tEXt", b"a\0b")] * 200_000))
    yield Hostile("200000 pieces", pieces(png(4, 1, 8, 0, b""), 200_000))
    yield Hostile("chunk without an end", png(4, 4, 8, 2, b"")[:33] + b"\x7f\xff\xff\xffIDAT" + bytes(99), ("damaged",))


def pieces(frame, count):
    """The pixels of a picture of 4 grey ones, then count chunks of nothing."""
    start = frame.index(b"IDAT") - 4
    pixels = chunk(b"IDAT", zlib.compress(bytes(5)))
    return frame[:start] + pixels + chunk(b"IDAT", b"") * count + chunk(b"IEND", b"")


# --- JPEG ----------------------------------------------------------------------------------------


def segment(marker, body):
    return struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body


def jpeg_start(marker, width, height, components=1):
    sampled = b"".join(bytes([i + 1, 0x11, 0]) for i in range(components))
    frame = struct.pack(">BHHB", 8, height, width, components) + sampled
    return b"\xff\xd8" + segment(0xDB, b"\0" + bytes([1]) * 64) + segment(marker, frame)


def scanning_jpeg(side, scans):
    """A grey progressive picture in which every scan says nothing about all blocks, in few bytes."""
    end_of_bands = b"\x10\1" + bytes(15) + b"\xe0"  # one code, for 16384 blocks and more
    same_grey = b"\0\1" + bytes(15) + b"\0"  # one code, for a block as light as the one before
    blocks = (side // 8) ** 2
    first = segment(0xDA, bytes([1, 1, 0, 0, 0, 0])) + bytes(blocks // 8)
    codes = 15 * (blocks // 16384)  # bits, all of them 0
    scan = segment(0xDA, bytes([1, 1, 0, 1, 63, 0])) + bytes(codes // 8) + bytes([0xFF >> codes % 8])
    return (
        jpeg_start(0xC2, side, side)
        + segment(0xC4, end_of_bands + same_grey) + first + scan * scans + b"\xff\xd9"
    )


def coefficients_jpeg(width, height):
    """The beginning of a progressive picture in three colours, all coefficients of which stay in memory."""
    table = segment(0xC4, b"\0\1" + bytes(15) + b"\0")
    scan = segment(0xDA, bytes([3, 1, 0, 2, 0, 3, 0, 0, 0, 0])) + bytes(100)
    return jpeg_start(0xC2, width, height, 3) + table + scan + b"\xff\xd9"


def jpeg_files():
    end = b"\xff\xd9"
    grey_scan = segment(0xDA, bytes([1, 1, 0, 0, 63, 0])) + end
    yield Hostile("header", jpeg_start(0xC0, MOST_SIDE, MOST_SIDE) + grey_scan, ("65500",))
    yield Hostile("largest sides", jpeg_start(0xC0, 65500, 65500) + grey_scan, ("65500 x 65500", "--limit-pixels"))
    yield Hostile("600 scans", scanning_jpeg(4096, 600), ("more scans",))
    yield Hostile("coefficients", coefficients_jpeg(65500, 4000), ("memory",))
    whole = encoded("JPEG")
    fill = whole[:2] + b"\xff" * (16 * MEBI) + whole[2:]
    yield Hostile("sixteen mebibytes between two segments", fill)
    yield Hostile("400 comments", whole[:2] + segment(0xFE, bytes(65533)) * 400 + whole[2:])
    parts = b"".join(segment(0xE2, b"ICC_PROFILE\0" + bytes([i, 255]) + bytes(65000)) for i in range(1, 256))
    yield Hostile("profile of 16 megabytes", whole[:2] + parts + whole[2:])
    loop = b"Exif\0\0MM\0*" + struct.pack(">IH", 8, 0xFFFF) + struct.pack(">HHII", 0x8769, 4, 1, 8) * 5000
    yield Hostile("Exif of 65535 entries", whole[:2] + segment(0xE1, loop[:65000]) + whole[2:])


# --- GIF -----------------------------------------------------------------------------------------


def endless_run(pixels):
    """Codes of GIF's compression for many pixels of index 0, as few as there can be: each is longer by one pixel."""
    codes, width, following, bits, used = bytearray(), 3, 6, 4, 3

    def put(code):
        nonlocal bits, used
        bits |= code << used
        used += width
        while used >= 8:
            codes.append(bits & 255)
            bits >>= 8
            used -= 8

    put(0)
    pixels -= 1
    length = 1
    while pixels > 0:
        if following < 4096:
            length += 1
            put(following)
            following += 1
            if following == 1 << width and width < 12:
                width += 1
        else:
            put(4095)
        pixels -= length
    put(5)
    codes.append(bits & 255)
    return bytes(codes)


def gif(canvas, frames):
    head = b"GIF89a" + struct.pack("<HHBBB", *canvas, 0x80, 0, 0) + bytes([0, 0, 0, 255, 255, 255])
    data = bytearray(head)
    for width, height, codes in frames:
        parts = [codes[at : at + 255] for at in range(0, len(codes), 255)]
        blocks = b"".join(bytes([len(part)]) + part for part in parts)
        data += b"," + struct.pack("<HHHHB", 0, 0, width, height, 0) + b"\2" + blocks + b"\0"
    return bytes(data + b";")


def gif_files():
    dot = endless_run(1)
    yield Hostile("canvas", gif((MOST_SIDE, MOST_SIDE), [(1, 1, dot)]), ("65535 x 65535", "--limit-pixels"))
    yield Hostile("frame beyond its canvas", gif((2, 2), [(MOST_SIDE, MOST_SIDE, dot)]), ("cut short",))
    run = endless_run(4096 * 4096)
    yield Hostile("frame of one run", gif((4096, 4096), [(4096, 4096, run)]))
    yield Hostile("100000 frames", gif((1, 1), [(1, 1, dot)] * 100_000))
    whole = gif((1, 1), [(1, 1, dot)])
    extension = b"\x21\xfe" + (b"\xff" + bytes(255)) * 100_000 + b"\0"
    yield Hostile("comment of 25 megabytes", whole[:19] + extension + whole[19:])


# --- TIFF ----------------------------------------------------------------------------------------

SHORT, LONG = 3, 4


def tiff(entries, data=b"", following=0):
    """One directory, then data, whose place is the value of entries that are None."""
    start = 8 + 2 + 12 * len(entries) + 4
    body = b"".join(
        struct.pack("<HHII", tag, kind, count, start if value is None else value)
        for tag, kind, count, value in sorted(entries)
    )
    return b"II*\0" + struct.pack("<IH", 8, len(entries)) + body + struct.pack("<I", following) + data


def tiff_of(width, height, compression, data, bits=1, rows=None, **more):
    entries = [
        (256, LONG, 1, width), (257, LONG, 1, height), (258, SHORT, 1, bits), (259, SHORT, 1, compression),
        (262, SHORT, 1, 1), (273, LONG, 1, None), (277, SHORT, 1, 1), (278, LONG, 1, rows or height),
        (279, LONG, 1, more.pop("count", len(data))),
    ]
    return tiff(entries, data, **more)


def tiff_files():
    plain, deflate, packbits = 1, 8, 32773
    large = SIDE_AT_LIMIT
    yield Hostile("header", tiff_of(MOST_SIDE, MOST_SIDE, plain, bytes(9)), ("65535 x 65535", "--limit-pixels"))
    yield Hostile("longest sides", tiff_of(2**32 - 1, 2**32 - 1, plain, bytes(9)), ("4294967295",))
    black = deflated_zeros(large // 8 * large)
    yield Hostile("deflated at the limit", tiff_of(large, large, deflate, black))
    yield Hostile("deflated, grey", tiff_of(4096, 4096, deflate, deflated_zeros(4096 * 4096), bits=8))
    runs = b"\x81\0" * (8192 // 8 // 128 * 8192)
    yield Hostile("packed at length", tiff_of(8192, 8192, packbits, runs))
    yield Hostile("nothing behind it", tiff_of(large, large, packbits, b"\x81\0"), ("cut short",))
    yield Hostile("strip of 4 gigabytes", tiff_of(4, 4, plain, bytes(4), count=2**32 - 1))
    yield Hostile("directory after itself", tiff_of(4, 4, plain, bytes(4), following=8))
    tiles = [
        (256, LONG, 1, 16), (257, LONG, 1, 16), (258, SHORT, 1, 8), (259, SHORT, 1, plain), (262, SHORT, 1, 1),
        (277, SHORT, 1, 1), (322, LONG, 1, 2**31 - 16), (323, LONG, 1, 16), (324, LONG, 1, None), (325, LONG, 1, 99),
    ]
    yield Hostile("tile of 34 gigabytes", tiff(tiles, bytes(99)), ("damaged",))
    yield Hostile("profile of 4 gigabytes", tiff([*small_tiff(), (34675, 7, 2**32 - 1, None)], bytes(4)))
    yield Hostile("65535 fields", b"II*\0" + struct.pack("<IH", 8, 65535) + bytes(12) * 65535, ("damaged",))


def small_tiff():
    return [
        (256, LONG, 1, 4), (257, LONG, 1, 4), (258, SHORT, 1, 1), (259, SHORT, 1, 1), (262, SHORT, 1, 1),
        (273, LONG, 1, None), (277, SHORT, 1, 1), (278, LONG, 1, 4), (279, LONG, 1, 4),
    ]


# --- WebP ----------------------------------------------------------------------------------------


def webp(*chunks):
    body = b"WEBP"
    for kind, data in chunks:
        body += kind + struct.pack("<I", len(data)) + data + bytes(len(data) % 2)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def one_color_webp(width, height):
    """Every code has one symbol, which takes no bit: all pixels are in none."""
    bits = (width - 1) | (height - 1) << 14
    at = 14 + 14 + 1 + 3 + 3  # sides, alpha, version; no transform, no cache, no groups of codes
    for _ in range(5):
        bits |= 1 << at  # a simple code, of one symbol, of one bit: 0
        at += 4
    return b"\x2f" + bits.to_bytes((at + 7) // 8, "little")


def webp_files():
    most = 16383
    yield Hostile("one colour at the limit", webp((b"VP8L", one_color_webp(most, most))), ("memory",))
    yield Hostile("one colour", webp((b"VP8L", one_color_webp(2048, 2048))))
    canvas = struct.pack("<I", 2) + b"\xff\xff\xff" * 2
    dot = webp((b"VP8L", one_color_webp(1, 1)))[12:]
    frame = bytes(6) + bytes(6) + bytes(4) + dot
    animation = [(b"VP8X", canvas), (b"ANIM", bytes(6)), (b"ANMF", frame), (b"ANMF", frame)]
    yield Hostile("canvas", webp(*animation), ("damaged",))
    small = struct.pack("<I", 2) + bytes(6)
    many = [(b"VP8X", small), (b"ANIM", bytes(6)), *[(b"ANMF", frame)] * 2_000]
    yield Hostile("2000 frames", webp(*many))
    claim = webp((b"VP8L", one_color_webp(4, 4)))[:16] + b"\xf0\xff\xff\xff"
    yield Hostile("chunk of 4 gigabytes", claim + bytes(40), ("damaged",))


# --- PNM -----------------------------------------------------------------------------------------


def pnm_files():
    for kind in range(1, 7):
        yield Hostile(f"header of P{kind}", b"P%d\n65535 65535\n255\n" % kind, ("65535 x 65535",))
    yield Hostile("side without an end", b"P5\n" + b"9" * 16 * MEBI + b" 1 255\n", ("damaged",))
    yield Hostile("comment without an end", b"P5\n#" + b"x" * 32 * MEBI, ("damaged",))
    yield Hostile("space without an end", b"P5\n" + b" " * 32 * MEBI, ("damaged",))
    yield Hostile("value without an end", b"P2\n1 1\n255\n" + b"9" * 16 * MEBI, ("damaged",))
    yield Hostile("comments", b"P5\n" + b"#\n" * 8 * MEBI + b"1 1\n255\n\0")


# --- BMP -----------------------------------------------------------------------------------------


def bmp_files():
    grey = bmp_build.greys(8)
    for bits in (1, 4, 8, 24):
        data = bmp_build.windows(MOST_SIDE, MOST_SIDE, bits, bytes(40), bmp_build.greys(bits) if bits <= 8 else ())
        yield Hostile(f"header of {bits} bits", data, ("cut short",))
    yield Hostile("longest sides", bmp_build.windows(2**31 - 1, -(2**31), 8, bytes(40), grey), ("cut short",))
    claimed = {"compression": 1}
    yield Hostile("no code", bmp_build.windows(MOST_SIDE, MOST_SIDE, 8, b"\0\1", grey, **claimed), ("--limit-pixels",))
    # Rows of empty codes: as many as there are rows, and for ever more of them.
    yield Hostile("ends of rows", bmp_build.windows(4, 4, 8, b"\0\0" * 4 * MEBI + b"\0\1", grey, **claimed))
    yield Hostile("empty runs", bmp_build.windows(4, 4, 8, b"\1\1" * 8 * MEBI, grey, **claimed))
    yield Hostile("empty moves", bmp_build.windows(4, 4, 8, b"\0\2\0\0" * 4 * MEBI + b"\0\1", grey, **claimed))
    leaps = b"\0\2\xff\xff" * 16 + b"\0\1"
    yield Hostile("moves without a pixel", bmp_build.windows(4096, 4096, 8, leaps, grey, **claimed))
    yield Hostile("palette of 4 billion", bmp_build.windows(4, 4, 8, bytes(16), grey, colors=2**32 - 1))
    beyond = bmp_build.windows(4, 4, 8, bytes(16), grey, offset=2**32 - 1)
    yield Hostile("pixels at 4 gigabytes", beyond, ("cut short",))
    yield Hostile("header of 4 gigabytes", bmp_build.windows(4, 4, 8, bytes(16), grey, header=2**32 - 1))
    inner = png(MOST_SIDE, MOST_SIDE, 1, 0, b"")
    yield Hostile("PNG within", bmp_build.windows(4, 4, 0, inner, compression=5), ("65535 x 65535",))


# --- All -----------------------------------------------------------------------------------------


def encoded(format, **options):
    stream = io.BytesIO()
    drawing.chart(61, 44).save(stream, format, **options)
    return stream.getvalue()


FORMATS = {
    "PNG": png_files, "JPEG": jpeg_files, "GIF": gif_files, "TIFF": tiff_files, "WebP": webp_files,
    "PNM": pnm_files, "BMP": bmp_files,
}

# What each format begins with, for streams that go on with zeros for ever. JPEG's may have anything between segments.
BEGINNINGS = {
    "nothing": b"", "PNG": b"\x89PNG\r\n\x1a\n", "GIF": b"GIF89a", "TIFF": b"II*\0",
    "WebP": b"RIFF\xff\xff\xff\xffWEBP", "PNM": b"P5\n", "BMP": b"BM", "HEIF": b"\0\0\0\x18ftypheic",
}
