"""GIF, TIFF, WebP and HEIF as input: every kind arrives with its pixels, several pictures with a notice."""

import io
import struct
import subprocess

import bmp
import drawing
import pytest
from conftest import fails
from PIL import Image
from test_reading import PROFILE, TURNS, converted, near, single

ROUTE = "filter"


def rgb(picture):
    return bmp.grid(picture.convert("RGB"))


def over_white(picture):
    below = Image.new("RGBA", picture.size, "white")
    return bmp.grid(Image.alpha_composite(below, picture.convert("RGBA")).convert("RGB"))


def told_of_several(tivar, name):
    result = tivar.run("export", name, "-o", "out.bmp", "--route", "driver", "--cell-arrays", "single")
    assert result.returncode == 0
    assert result.stderr.count(b"\n") == 1 and b"several pictures, the first one" in result.stderr
    assert tivar.run("export", name, "-o", "q.bmp", "--quiet").stderr == b""
    return bmp.read((tivar.directory / "out.bmp").read_bytes()).pixels()


def through_a_pipe(tivar, name):
    data = (tivar.directory / name).read_bytes()
    return bmp.read(tivar.export("-", "pipe.bmp", "--route", "driver", "--cell-arrays", "single", input=data)).pixels()


# --- GIF -----------------------------------------------------------------------------------------


@pytest.mark.parametrize("bits", [1, 4, 8])
@pytest.mark.parametrize("interlace", [0, 1])
def test_gif_keeps_its_palette_and_as_few_bits(tivar, bits, interlace):
    picture = drawing.indexed(bits, 61, 44)
    picture.save(tivar.directory / "in.gif", interlace=interlace, optimize=False)
    shown = Image.open(tivar.directory / "in.gif")
    written = bmp.read(tivar.export("in.gif", "out.bmp"))
    assert written.bits == bits and written.pixels() == rgb(shown)
    assert through_a_pipe(tivar, "in.gif") == rgb(shown)


def gif(width, height, frames, palette, interlaced=False):
    """frames: (left, top, width, height, indices, transparent index or None)."""
    bits = 8
    data = b"GIF89a" + struct.pack("<HHBBB", width, height, 0x80 | 0x77, 0, 0)
    data += b"".join(bytes(color) for color in palette).ljust(768, b"\0")
    for left, top, w, h, indices, transparent in frames:
        if transparent is not None:
            data += b"\x21\xf9\4\1\0\0" + bytes([transparent]) + b"\0"
        data += b"," + struct.pack("<HHHHB", left, top, w, h, 0) + bytes([bits])
        codes = []
        for i, index in enumerate(indices):  # a clear code often enough that codes keep 9 bits
            if i % 200 == 0:
                codes.append(256)
            codes.append(index)
        codes.append(257)
        packed = sum(code << 9 * i for i, code in enumerate(codes))
        body = packed.to_bytes((9 * len(codes) + 7) // 8, "little")
        blocks = [body[i : i + 255] for i in range(0, len(body), 255)]
        data += b"".join(bytes([len(b)]) + b for b in blocks) + b"\0"
    return data + b";"


PALETTE = [(i, 255 - i, i // 2) for i in range(256)]


def test_a_gif_frame_lies_on_its_canvas(tivar):
    indices = list(range(10, 16))
    (tivar.directory / "in.gif").write_bytes(gif(5, 4, [(1, 1, 3, 2, indices, 12)], PALETTE))
    pixels = single(tivar, "in.gif", "--background", "102030", "--bits", "24")
    behind = (16, 32, 48)
    expected = [[behind] * 5 for _ in range(4)]
    for i, index in enumerate(indices):
        if index != 12:
            expected[1 + i // 3][1 + i % 3] = PALETTE[index]
    assert pixels == expected


def test_a_gif_frame_beyond_its_canvas_is_cut(tivar):
    (tivar.directory / "in.gif").write_bytes(gif(2, 2, [(1, 1, 3, 2, range(6), 200)], PALETTE))
    pixels = single(tivar, "in.gif", "--background", "102030", "--bits", "24")
    assert pixels == [[(16, 32, 48)] * 2, [(16, 32, 48), PALETTE[0]]]


def test_the_first_frame_of_an_animation_is_taken(tivar):
    frames = [(0, 0, 2, 1, [1, 2], None), (0, 0, 2, 1, [3, 4], None)]
    (tivar.directory / "in.gif").write_bytes(gif(2, 1, frames, PALETTE))
    assert told_of_several(tivar, "in.gif") == [[PALETTE[1], PALETTE[2]]]


def test_a_gif_cut_short(tivar):
    data = gif(40, 40, [(0, 0, 40, 40, [i % 256 for i in range(1600)], None)], PALETTE)
    (tivar.directory / "in.gif").write_bytes(data[:-900])
    fails(tivar.run("export", "in.gif", "-o", "out.bmp"), 1, "in.gif", "cut short")
    result = tivar.run("export", "in.gif", "-o", "out.bmp", "--lenient", "--bits", "24")
    assert result.returncode == 0 and b"left empty" in result.stderr
    pixels = bmp.read((tivar.directory / "out.bmp").read_bytes()).pixels()
    assert pixels[0] == [PALETTE[i] for i in range(40)] and pixels[39] == [PALETTE[0]] * 40


# --- TIFF ----------------------------------------------------------------------------------------


@pytest.mark.parametrize("compression", [None, "tiff_lzw", "tiff_adobe_deflate", "packbits"])
@pytest.mark.parametrize("mode,bits", [("1", 1), ("P", 8), ("L", 8), ("LA", 8), ("RGB", 24), ("RGBA", 24)])
def test_tiff_of_every_mode(tivar, mode, bits, compression):
    picture = drawing.indexed(8, 61, 44) if mode == "P" else drawing.chart(61, 44).convert(mode)
    if mode in ("LA", "RGBA"):
        picture.putalpha(Image.linear_gradient("L").resize((61, 44)))
    picture.save(tivar.directory / "in.tif", compression=compression)
    assert bmp.read(tivar.export("in.tif", "out.bmp")).bits == bits
    assert near(single(tivar, "in.tif"), over_white(picture))
    if mode not in ("LA", "RGBA"):
        assert through_a_pipe(tivar, "in.tif") == rgb(picture)


def tiff(width, height, bits, samples, photometric, body, *more, big_endian=False):
    """An uncompressed TIFF file of one strip; more: (tag, type, values)."""
    order = ">" if big_endian else "<"
    codes = {3: "H", 4: "I", 7: "B"}
    entries = [
        (256, 4, [width]), (257, 4, [height]), (258, 3, [bits] * samples), (259, 3, [1]),
        (262, 3, [photometric]), (277, 3, [samples]), (278, 4, [height]), (279, 4, [len(body)]), *more,
    ]
    entries.append((273, 4, [8]))
    tail = b""
    at = 8 + len(body) + 2 + 12 * len(entries) + 4
    table = b""
    for tag, kind, values in sorted(entries):
        data = struct.pack(f"{order}{len(values)}{codes[kind]}", *values)
        count = len(values)
        if len(data) > 4:
            place = struct.pack(order + "I", at + len(tail))
            tail += data
        else:
            place = data.ljust(4, b"\0")
        table += struct.pack(order + "HHI", tag, kind, count) + place
    head = (b"MM\0*" if big_endian else b"II*\0") + struct.pack(order + "I", 8 + len(body))
    return head + body + struct.pack(order + "H", len(entries)) + table + bytes(4) + tail


@pytest.mark.parametrize("big_endian", [False, True])
@pytest.mark.parametrize("samples,photometric", [(1, 1), (1, 0), (3, 2), (4, 2)])
def test_16_bit_tiff_is_rounded(tivar, samples, photometric, big_endian):
    values = [0, 65535, 128, 129, 32767, 32768, 65407, 511, 40000, 385, 386, 20000]
    body = struct.pack(f"{'>' if big_endian else '<'}{len(values)}H", *values)
    more = [(338, 3, [2])] if samples == 4 else []
    data = tiff(len(values) // samples, 1, 16, samples, photometric, body, *more, big_endian=big_endian)
    (tivar.directory / "in.tif").write_bytes(data)
    scaled = [(v * 255 + 32767) // 65535 for v in values]
    if samples == 1:
        greys = scaled if photometric == 1 else [255 - v for v in scaled]
        expected = [(v, v, v) for v in greys]
    else:
        pixels = [scaled[i : i + samples] for i in range(0, len(scaled), samples)]
        expected = [
            tuple((c * p[3] + 255 * (255 - p[3]) + 127) // 255 for c in p[:3]) if samples == 4 else tuple(p)
            for p in pixels
        ]
    assert single(tivar, "in.tif") == [expected]


@pytest.mark.parametrize("bits", [1, 2, 4])
@pytest.mark.parametrize("photometric", [0, 1, 3])
def test_tiff_of_few_bits_stays_indices(tivar, bits, photometric):
    body = bytes([0x1B, 0xE4, 0x05] * 2)
    count = 1 << bits
    columns = [[(i * 7919 + c * 104729) % 65536 for i in range(count)] for c in range(3)]
    more = [(320, 3, sum(columns, []))] if photometric == 3 else []
    (tivar.directory / "in.tif").write_bytes(tiff(24 // bits, 2, bits, 1, photometric, body, *more))
    written = bmp.read(tivar.export("in.tif", "out.bmp"))
    assert written.bits == (4 if bits == 2 else bits)
    if photometric == 3:
        table = [tuple(column[i] >> 8 for column in columns) for i in range(count)]
    else:
        table = [(i * 255 // (count - 1),) * 3 for i in range(count)]
        table = table if photometric == 1 else table[::-1]
    text = "".join(f"{byte:08b}" for byte in body[:3])
    row = [table[int(text[i : i + bits], 2)] for i in range(0, 24, bits)]
    assert written.pixels() == [row, row]


@pytest.mark.parametrize("orientation", TURNS)
@pytest.mark.parametrize("mode,compression", [("RGB", None), ("1", None), ("RGB", "jpeg")])
def test_tiff_stands_upright(tivar, mode, compression, orientation):
    drawing.chart(61, 44).convert(mode).save(
        tivar.directory / "in.tif", compression=compression, tiffinfo={274: orientation}
    )
    stored = single(tivar, "in.tif", "--bits", 24, "--no-orient")
    if compression is None:
        assert stored == rgb(drawing.chart(61, 44).convert(mode))
    flat = Image.new("RGB", (61, 44))
    flat.putdata(sum(stored, []))
    assert single(tivar, "in.tif", "--bits", 24) == bmp.grid(flat.transpose(TURNS[orientation]))


def test_inks_of_tiff_become_colours(tivar):
    values = [0, 0, 0, 0, 255, 0, 0, 0, 0, 128, 255, 51, 0, 0, 0, 255]
    (tivar.directory / "in.tif").write_bytes(tiff(4, 1, 8, 4, 5, bytes(values)))
    pixels = [values[i : i + 4] for i in range(0, 16, 4)]
    expected = [tuple(((255 - c) * (255 - p[3]) + 127) // 255 for c in p[:3]) for p in pixels]
    assert single(tivar, "in.tif") == [expected]


@pytest.mark.parametrize(
    "options", [["-define", "tiff:tile-geometry=16x16"], ["-interlace", "plane"], ["-compress", "JPEG", "-quality", "98"]]
)
def test_tiff_of_rare_kinds(tivar, imagemagick, options):
    picture = drawing.clouds(60, 44, 5)
    picture.save(tivar.directory / "in.png")
    subprocess.run([imagemagick, "in.png", *options, "in.tif"], check=True, cwd=tivar.directory)
    shown = bmp.grid(picture)
    assert near(single(tivar, "in.tif"), shown, 12 if "JPEG" in options else 0)


def test_the_first_page_is_taken(tivar):
    pages = [drawing.chart(61, 44), drawing.clouds(20, 20, 1)]
    pages[0].save(tivar.directory / "in.tif", save_all=True, append_images=pages[1:])
    assert told_of_several(tivar, "in.tif") == bmp.grid(pages[0])


def test_tiff_profiles_are_used(tivar):
    picture = drawing.clouds(60, 40, 2)
    picture.save(tivar.directory / "in.tif", icc_profile=PROFILE)
    assert near(single(tivar, "in.tif"), bmp.grid(converted(picture, PROFILE)))


def test_tiff_cut_short(tivar):
    drawing.clouds(300, 200, 2).save(tivar.directory / "in.tif")
    data = (tivar.directory / "in.tif").read_bytes()
    (tivar.directory / "in.tif").write_bytes(data[:100])
    fails(tivar.run("export", "in.tif", "-o", "out.bmp"), 1, "in.tif")
    (tivar.directory / "in.tif").write_bytes(tiff(100, 100, 8, 3, 2, bytes(30000)).replace(bytes(30000), bytes(90)))
    fails(tivar.run("export", "in.tif", "-o", "out.bmp"), 1, "in.tif")


# --- WebP ----------------------------------------------------------------------------------------


@pytest.mark.parametrize("mode", ["RGB", "RGBA"])
@pytest.mark.parametrize("lossless", [False, True])
def test_webp(tivar, mode, lossless):
    picture = drawing.clouds(61, 43, 4).convert(mode)
    if mode == "RGBA":
        picture.putalpha(Image.linear_gradient("L").resize((61, 43)))
    picture.save(tivar.directory / "in.webp", lossless=lossless, exact=True, quality=90)
    shown = Image.open(tivar.directory / "in.webp")
    assert near(single(tivar, "in.webp"), over_white(shown))
    assert through_a_pipe(tivar, "in.webp") == single(tivar, "in.webp")


@pytest.mark.parametrize("orientation", TURNS)
def test_webp_is_upright_and_in_srgb(tivar, orientation):
    from test_reading import exif

    picture = drawing.clouds(60, 40, 4)
    picture.save(tivar.directory / "in.webp", lossless=True, icc_profile=PROFILE,
                 exif=b"Exif\0\0" + exif(orientation, True))
    wanted = converted(picture, PROFILE).transpose(TURNS[orientation])
    assert near(single(tivar, "in.webp"), bmp.grid(wanted))


def test_the_first_frame_of_a_webp_animation_is_taken(tivar):
    frames = [drawing.chart(61, 44), drawing.clouds(61, 44, 1)]
    frames[0].save(tivar.directory / "in.webp", save_all=True, append_images=frames[1:], lossless=True)
    assert told_of_several(tivar, "in.webp") == bmp.grid(frames[0])


def test_webp_cut_short(tivar):
    drawing.clouds(60, 40, 4).save(tivar.directory / "in.webp")
    data = (tivar.directory / "in.webp").read_bytes()
    for cut in (20, len(data) // 2, len(data) - 3):
        (tivar.directory / "in.webp").write_bytes(data[:cut])
        fails(tivar.run("export", "in.webp", "-o", "out.bmp"), 1, "in.webp", "cut short")


# --- HEIF ----------------------------------------------------------------------------------------


@pytest.fixture(params=["avif", "heic"])
def heif(request, tivar, imagemagick):
    help_text = tivar.run("export", "--help").stdout
    if b"HEIF" not in help_text:
        pytest.skip("built without libheif")
    formats = subprocess.run([imagemagick, "-list", "format"], capture_output=True, text=True).stdout
    line = [text for text in formats.splitlines() if text.split()[:1] in ([request.param.upper()], [request.param.upper() + "*"])]
    if not line or "rw" not in line[0]:
        pytest.skip(f"nothing here writes {request.param}")
    return request.param


def test_heif(tivar, imagemagick, heif):
    picture = drawing.clouds(64, 48, 4)
    picture.save(tivar.directory / "in.png")
    subprocess.run([imagemagick, "in.png", "-quality", "90", f"in.{heif}"], check=True, cwd=tivar.directory)
    shown = single(tivar, f"in.{heif}")
    mean = sum(abs(x - y) for p, q in zip(shown, bmp.grid(picture)) for c, d in zip(p, q) for x, y in zip(c, d))
    assert mean / (64 * 48 * 3) < 10
    assert through_a_pipe(tivar, f"in.{heif}") == shown
    fails(tivar.run("export", f"in.{heif}", "-o", "out.bmp", "--limit-pixels", 64 * 48 - 1), 1, "--limit-pixels")


# --- All -----------------------------------------------------------------------------------------


@pytest.mark.parametrize("format", ["GIF", "TIFF", "WEBP"])
def test_limits_hold_for_every_kind(tivar, format):
    drawing.chart(20, 10).save(tivar.directory / "in", format)
    fails(tivar.run("export", "in", "-o", "out.bmp", "--limit-pixels", 199), 1, "20 x 10", "--limit-pixels")


@pytest.mark.parametrize("format", ["GIF", "TIFF", "WEBP", "JPEG", "PNG"])
def test_damaged_bytes_are_survived(tivar, format):
    stream = io.BytesIO()
    drawing.chart(40, 30).save(stream, format)
    data = bytearray(stream.getvalue())
    for seed in range(60):
        damaged = bytearray(data)
        for i in range(4):
            damaged[(seed * 7919 + i * 104729) % len(data)] = (seed * 31 + i * 17) % 256
        (tivar.directory / "in").write_bytes(damaged)
        for options in ([], ["--lenient"]):
            result = tivar.run("export", "in", "-o", "out.bmp", *options)
            assert result.returncode in (0, 1), result.stderr
