"""Every kind of PNG, JPEG and PNM arrives with its pixels; transparency meets the background."""

import io
import struct
import subprocess
import zlib

import bmp
import drawing
import pytest
from PIL import Image

ROUTE = "filter"


def exported(tivar, name, *options):
    return bmp.read(tivar.export(name, "out.bmp", *options))


def grey_table(count, bits):
    greys = [(i * 255 // (count - 1),) * 3 for i in range(count)]
    return greys + [(0, 0, 0)] * ((1 << bits) - count)


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png(width, depth, color_type, rows, *extra):
    """A PNG file from packed rows."""
    header = struct.pack(">IIBBBBB", width, len(rows), depth, color_type, 0, 0, 0)
    body = zlib.compress(b"".join(b"\0" + row for row in rows))
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", header)
        + b"".join(chunk(kind, data) for kind, data in extra)
        + chunk(b"IDAT", body)
        + chunk(b"IEND", b"")
    )


def over(color, alpha, background):
    return tuple((c * alpha + b * (255 - alpha) + 127) // 255 for c, b in zip(color, background))


@pytest.mark.parametrize("depth,bits", [(1, 1), (2, 4), (4, 4), (8, 8)])
def test_grey_png_becomes_indices_into_a_grey_table(tivar, depth, bits):
    rows = [bytes([0x1B, 0xE4, 0x05, 0xFA]), bytes([0x80, 0x7F, 0x3C, 0xC3])]
    width = 32 // depth
    (tivar.directory / "in.png").write_bytes(png(width, depth, 0, rows))
    written = exported(tivar, "in.png")
    assert written.bits == bits
    assert written.palette == grey_table(1 << depth, bits)
    assert written.rows == [bmp.unpack(row, width, depth) if depth != 2 else
                            [row[x // 4] >> (6 - x % 4 * 2) & 3 for x in range(width)]
                            for row in rows]


def test_16_bit_grey_png_is_scaled_to_8_bits(tivar):
    values = [0, 1, 127, 128, 255, 256, 32767, 32768, 65407, 65535]
    row = struct.pack(f">{len(values)}H", *values)
    (tivar.directory / "in.png").write_bytes(png(len(values), 16, 0, [row, row]))
    written = exported(tivar, "in.png")
    assert written.bits == 8 and written.palette == grey_table(256, 8)
    assert written.rows == [[(v * 255 + 32767) // 65535 for v in values]] * 2


def test_16_bit_colour_png_is_scaled_to_24_bits(tivar):
    values = [0, 65535, 256, 32768, 511, 40000]
    row = struct.pack(">6H", *values)
    (tivar.directory / "in.png").write_bytes(png(2, 16, 2, [row, row]))
    scaled = [(v * 255 + 32767) // 65535 for v in values]
    assert exported(tivar, "in.png").pixels() == [[tuple(scaled[:3]), tuple(scaled[3:])]] * 2


@pytest.mark.parametrize("background", [(255, 255, 255), (10, 200, 60)])
def test_transparent_colours_are_blended_with_the_background(tivar, background):
    picture = Image.new("RGBA", (16, 16))
    picture.putdata([(x * 16, y * 16, 99, (x * 16 + y) % 256) for y in range(16) for x in range(16)])
    picture.save(tivar.directory / "in.png")
    written = exported(tivar, "in.png", "--background", "%02x%02X%02x" % background)
    assert written.bits == 24
    assert written.pixels() == [
        [over(p[:3], p[3], background) for p in row] for row in bmp.grid(picture)
    ]


def test_transparent_greys_stay_grey_over_a_grey_background(tivar):
    picture = Image.new("LA", (16, 16))
    picture.putdata([(i, 255 - i // 2) for i in range(256)])
    picture.save(tivar.directory / "in.png")
    written = exported(tivar, "in.png")
    assert written.bits == 8 and written.palette == grey_table(256, 8)
    assert written.rows == [
        [over((p[0],), p[1], (255,))[0] for p in row] for row in bmp.grid(picture)
    ]


def test_transparent_greys_become_colours_over_a_coloured_background(tivar):
    picture = Image.new("LA", (16, 16))
    picture.putdata([(i, i) for i in range(256)])
    picture.save(tivar.directory / "in.png")
    written = exported(tivar, "in.png", "--background", "#2040C0")
    assert written.bits == 24
    assert written.pixels() == [
        [over((p[0],) * 3, p[1], (0x20, 0x40, 0xC0)) for p in row] for row in bmp.grid(picture)
    ]


def test_transparent_palette_entries_are_blended_in_the_palette(tivar):
    picture = drawing.indexed(4, 16, 16)
    alphas = bytes(i * 17 for i in range(16))
    picture.save(tivar.directory / "in.png", bits=4, transparency=alphas)
    written = exported(tivar, "in.png", "--background", "336699")
    palette = picture.getpalette()[:48]
    assert written.rows == bmp.grid(picture)
    assert written.palette == [
        over(tuple(palette[3 * i : 3 * i + 3]), alphas[i], (0x33, 0x66, 0x99)) for i in range(16)
    ]


@pytest.mark.parametrize("depth", [1, 2, 4, 8])
def test_the_transparent_grey_becomes_the_background(tivar, depth):
    rows = [bytes([0x1B, 0xE4]), bytes([0x55, 0xAA])]
    key = struct.pack(">H", 1)
    width = 16 // depth
    (tivar.directory / "in.png").write_bytes(png(width, depth, 0, rows, (b"tRNS", key)))
    written = exported(tivar, "in.png", "--background", "FF8000")
    table = grey_table(1 << depth, written.bits)
    table[1] = (255, 128, 0)
    assert written.palette == table


def test_the_transparent_colour_becomes_the_background(tivar):
    row = bytes([1, 2, 3, 4, 5, 6, 1, 2, 4])
    key = struct.pack(">HHH", 1, 2, 3)
    (tivar.directory / "in.png").write_bytes(png(3, 8, 2, [row, row], (b"tRNS", key)))
    written = exported(tivar, "in.png", "--background", "FF8000")
    assert written.pixels() == [[(255, 128, 0), (4, 5, 6), (1, 2, 4)]] * 2


def test_the_transparent_grey_of_16_bits_is_compared_at_16_bits(tivar):
    row = struct.pack(">3H", 0x8000, 0x8001, 0x1234)
    key = struct.pack(">H", 0x8000)
    (tivar.directory / "in.png").write_bytes(png(3, 16, 0, [row, row], (b"tRNS", key)))
    written = exported(tivar, "in.png")
    assert written.pixels()[0] == [(255,) * 3, (128,) * 3, (18,) * 3]


@pytest.mark.parametrize("kind", ["RGB", "RGBA", "P", "two bits"])
def test_interlaced_png_equals_the_plain_one(tivar, imagemagick, kind):
    if kind in ("P", "two bits"):
        picture = drawing.indexed(2 if kind == "two bits" else 8, 29, 18)
        picture.save(tivar.directory / "plain.png", bits=2 if kind == "two bits" else 8)
    else:
        picture = drawing.chart(29, 18).convert(kind)
        if kind == "RGBA":
            picture.putalpha(Image.linear_gradient("L").resize((29, 18)))
        picture.save(tivar.directory / "plain.png")
    subprocess.run(
        [imagemagick, "plain.png", "-interlace", "PNG", "laced.png"],
        cwd=tivar.directory,
        check=True,
    )
    assert (tivar.directory / "laced.png").read_bytes()[28] == 1
    plain = exported(tivar, "plain.png", "--bits", 24)
    assert exported(tivar, "laced.png", "--bits", 24).pixels() == plain.pixels()


@pytest.mark.parametrize("options", [{}, {"progressive": True}, {"subsampling": 2}])
def test_colour_jpeg_equals_what_another_program_decodes(tivar, options):
    drawing.clouds(61, 44, 1).save(tivar.directory / "in.jpg", quality=80, **options)
    written = exported(tivar, "in.jpg")
    assert written.bits == 24
    assert written.pixels() == bmp.grid(Image.open(tivar.directory / "in.jpg"))


def test_grey_jpeg_becomes_8_bits_with_a_grey_table(tivar):
    drawing.clouds(61, 44, 1).convert("L").save(tivar.directory / "in.jpg")
    written = exported(tivar, "in.jpg")
    assert written.palette == grey_table(256, 8)
    assert written.rows == bmp.grid(Image.open(tivar.directory / "in.jpg"))


def test_cmyk_jpeg_comes_out_in_its_colours(tivar):
    drawing.clouds(61, 44, 1).convert("CMYK").save(tivar.directory / "in.jpg", quality=95)
    written = exported(tivar, "in.jpg").pixels()
    expected = bmp.grid(Image.open(tivar.directory / "in.jpg").convert("RGB"))
    for row, wanted in zip(written, expected):
        for color, other in zip(row, wanted):
            assert all(abs(a - b) <= 1 for a, b in zip(color, other))


def pnm(kind, width, rows, highest):
    """rows: sample values. kind: the digit behind P."""
    head = f"P{kind}\n# made by a test\n{width} {len(rows)}\n"
    if kind not in (1, 4):
        head += f"{highest}\n"
    if kind == 4:
        body = b"".join(
            int("".join(map(str, row)).ljust((width + 7) // 8 * 8, "0"), 2).to_bytes(
                (width + 7) // 8, "big"
            )
            for row in rows
        )
    elif kind in (5, 6):
        code = "B" if highest < 256 else "H"
        body = b"".join(struct.pack(f">{len(row)}{code}", *row) for row in rows)
    else:
        body = "\n".join(" ".join(map(str, row)) for row in rows).encode() + b"\n"
    return head.encode() + body


@pytest.mark.parametrize("kind", [1, 4])
def test_pbm_becomes_1_bit_with_white_before_black(tivar, kind):
    rows = [[(x * y + x) // 2 % 2 for x in range(19)] for y in range(6)]
    (tivar.directory / "in.pbm").write_bytes(pnm(kind, 19, rows, 1))
    written = exported(tivar, "in.pbm")
    assert written.palette == [(255, 255, 255), (0, 0, 0)]
    assert written.rows == rows


@pytest.mark.parametrize("highest", [1, 15, 200, 255, 1023, 65535])
@pytest.mark.parametrize("kind", [2, 5])
def test_pgm_becomes_8_bits_with_a_grey_table(tivar, kind, highest):
    rows = [[(x * 977 + y * 61) % (highest + 1) for x in range(19)] for y in range(6)]
    (tivar.directory / "in.pgm").write_bytes(pnm(kind, 19, rows, highest))
    written = exported(tivar, "in.pgm")
    assert written.palette == grey_table(256, 8)
    assert written.rows == [[(v * 255 + highest // 2) // highest for v in row] for row in rows]


@pytest.mark.parametrize("highest", [1, 15, 200, 255, 1023, 65535])
@pytest.mark.parametrize("kind", [3, 6])
def test_ppm_becomes_24_bits(tivar, kind, highest):
    rows = [[(x * 977 + y * 61) % (highest + 1) for x in range(57)] for y in range(6)]
    (tivar.directory / "in.ppm").write_bytes(pnm(kind, 19, rows, highest))
    scaled = [[(v * 255 + highest // 2) // highest for v in row] for row in rows]
    assert exported(tivar, "in.ppm").pixels() == [
        list(zip(row[0::3], row[1::3], row[2::3])) for row in scaled
    ]


@pytest.mark.parametrize("format", ["PNG", "JPEG", "PPM"])
def test_the_content_decides_the_format_not_the_name(tivar, format):
    stream = io.BytesIO()
    drawing.chart(20, 10).save(stream, format)
    (tivar.directory / "picture.txt").write_bytes(stream.getvalue())
    expected = bmp.grid(Image.open(stream).convert("RGB"))
    assert exported(tivar, "picture.txt").pixels() == expected


@pytest.mark.parametrize("format", ["PNG", "JPEG", "PPM"])
def test_standard_input_is_read_through_a_pipe(tivar, format):
    stream = io.BytesIO()
    drawing.chart(20, 10).save(stream, format)
    data = tivar.export("-", "out.bmp", input=stream.getvalue())
    assert bmp.read(data).pixels() == bmp.grid(Image.open(stream).convert("RGB"))


def test_the_largest_sides_are_accepted(tivar):
    (tivar.directory / "wide.pbm").write_bytes(b"P4 65535 2\n" + bytes(8192 * 2))
    assert exported(tivar, "wide.pbm").width == 65535
    (tivar.directory / "tall.pbm").write_bytes(b"P4 2 65535\n" + bytes(65535))
    assert exported(tivar, "tall.pbm").height == 65536
