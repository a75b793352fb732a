"""--compress portable: standard RLE8 and RLE4, judged by the readers of other makers."""

import functools
import io
import random
import resource
import struct
import subprocess

import bmp
import drawing
import pytest
from conftest import fails
from PIL import Image

ROUTE = "filter"


def ppm(*command):
    raw = subprocess.run([str(c) for c in command], check=True, capture_output=True).stdout
    return Image.open(io.BytesIO(raw)).convert("RGB").tobytes()


READERS = {
    "Pillow": lambda path, _: Image.open(path).convert("RGB").tobytes(),
    "ImageMagick": lambda path, magick: ppm(magick, f"bmp:{path}", "-depth", "8", "ppm:-"),
    "GraphicsMagick": lambda path, _: ppm("gm", "convert", f"bmp:{path}", "-depth", "8", "ppm:-"),
    "netpbm": lambda path, _: ppm("bmptopnm", path),
    "FFmpeg": lambda path, _: ppm(
        *("ffmpeg", "-v", "error", "-f", "image2", "-c:v", "bmp", "-i", path),
        *("-f", "image2pipe", "-c:v", "ppm", "-"),
    ),
}


def palette_picture(bits, width, height, indices):
    picture = Image.new("P", (width, height))
    source = random.Random(bits)
    picture.putpalette(source.randbytes(3 << bits))
    picture.putdata(indices)
    return picture


def runs(source, bits, count):
    """Runs and noise in turns, of lengths around those that the codes can hold."""
    indices = []
    while len(indices) < count:
        length = source.choice([1, 2, 3, 4, 5, 7, 254, 255, 256, 257, 300])
        a, b = source.randrange(1 << bits), source.randrange(1 << bits)
        kind = source.randrange(3)
        if kind == 0:
            indices += [a] * length
        elif kind == 1:
            indices += [a, b] * (length // 2) + [a] * (length % 2)
        else:
            indices += [source.randrange(1 << bits) for _ in range(length)]
    return indices[:count]


def structured(kind, bits, width, height):
    source = random.Random(f"{kind} {bits} {width}")
    count = width * height
    top = (1 << bits) - 1
    indices = {
        "flat": lambda: [top] * count,
        "noise": lambda: [source.randint(0, top) for _ in range(count)],
        "turns": lambda: [top if i % 2 else 1 for i in range(count)],
        "few": lambda: [top if source.random() < 0.1 else 0 for _ in range(count)],
        "runs": lambda: runs(source, bits, count),
    }[kind]()
    return palette_picture(bits, width, height, indices)


def codes_of(data):
    """The header is what the standard asks for: the codes behind it."""
    bits = struct.unpack_from("<H", data, 28)[0]
    size, offset = struct.unpack_from("<I4xI", data, 2)
    compression, image = struct.unpack_from("<II", data, 30)
    assert (size, offset, image) == (len(data), 54 + 4 * (1 << bits), len(data) - offset)
    assert compression == {8: 1, 4: 2}[bits]
    return data[offset:]


@pytest.mark.parametrize("kind", ["flat", "noise", "turns", "few", "runs"])
@pytest.mark.parametrize("bits", [4, 8])
@pytest.mark.parametrize("width", [1, 2, 3, 259, 773])
def test_every_reader_sees_the_pixels_of_the_raw_file(tivar, imagemagick, kind, bits, width):
    structured(kind, bits, width, 6).save(tivar.directory / "in.png", bits=bits)
    raw = tivar.export("in.png", "raw.bmp")
    codes_of(tivar.export("in.png", "out.bmp", "--compress", "portable"))
    assert tivar.run("inspect", "out.bmp").returncode == 0
    colors = b"".join(bytes(c) for row in bmp.read(raw).pixels() for c in row)
    for name, read in READERS.items():
        assert read(tivar.directory / "out.bmp", imagemagick) == colors, name
    assert tivar.run("decode", "out.bmp", "out.ppm").returncode == 0
    assert Image.open(tivar.directory / "out.ppm").tobytes() == colors


@pytest.mark.parametrize("bits", [4, 8])
def test_photographs_go_through_every_reader(tivar, imagemagick, photographs, bits):
    picture = Image.open(photographs[0]).convert("RGB")
    picture.crop((0, 0, min(picture.width, 501), min(picture.height, 300))).save(
        tivar.directory / "in.png"
    )
    raw = bmp.read(tivar.export("in.png", "raw.bmp", "--bits", bits))
    tivar.export("in.png", "out.bmp", "--bits", bits, "--compress", "portable")
    colors = b"".join(bytes(c) for row in raw.pixels() for c in row)
    for name, read in READERS.items():
        assert read(tivar.directory / "out.bmp", imagemagick) == colors, name


# --- Size ----------------------------------------------------------------------------------------


def smallest(row, bits):
    """Bytes of the best encoding of a row, found by trying every one."""
    per_word = 16 // bits
    period = 8 // bits

    @functools.cache
    def rest(x):
        if x == len(row):
            return 2  # the end of the line
        best = 1 << 30
        for count in range(1, min(255, len(row) - x) + 1):
            piece = row[x : x + count]
            if all(piece[i] == piece[i % period] for i in range(count)):
                best = min(best, 2 + rest(x + count))
            # Literal runs of 4 bits are even: Pillow drops the last pixel of odd ones.
            if count >= 3 and (bits == 8 or count % 2 == 0):
                best = min(best, 2 + -(-count // per_word) * 2 + rest(x + count))
        return best

    return rest(0)


@pytest.mark.parametrize("bits", [4, 8])
def test_no_encoding_is_smaller(tivar, bits):
    source = random.Random(bits)
    for _ in range(12):
        width = source.choice([5, 40, 300])
        colors = source.choice([2, 3, 1 << bits])
        rows = [[source.randrange(colors) for _ in range(width)] for _ in range(3)]
        rows.append(runs(source, bits, width))
        flat = [index for row in rows for index in row]
        palette_picture(bits, width, 4, flat).save(tivar.directory / "in.png", bits=bits)
        codes = codes_of(tivar.export("in.png", "out.bmp", "--compress", "portable"))
        assert len(codes) == sum(smallest(row, bits) for row in rows) + 2


# --- Ways ----------------------------------------------------------------------------------------


@pytest.mark.parametrize("route", ["filter", "driver"])
@pytest.mark.parametrize("via", ["file", "memory", "document"])
@pytest.mark.parametrize("bits", [4, 8])
def test_every_way_through_the_library_gives_the_same_file(tivar, chart, bits, via, route):
    options = ["--bits", bits, "--compress", "portable"]
    expected = tivar.export(chart, "expected.bmp", *options)
    options += ["--via", via, "--route", route]
    assert tivar.export(chart, "out.bmp", *options) == expected
    result = tivar.run("export", chart, "-o", "-", *options)
    assert (result.returncode, result.stdout, result.stderr) == (0, expected, b"")


def test_several_inputs(tivar):
    for i in range(3):
        drawing.quarters(40 + i, 30).save(tivar.directory / f"in{i}.png")
    names = [f"in{i}.png" for i in range(3)]
    options = ["--bits", 8, "--compress", "portable", "-j", 2]
    assert tivar.run("export", *names, *options).returncode == 0
    for i in range(3):
        data = (tivar.directory / f"in{i}.bmp").read_bytes()
        assert len(codes_of(data)) < 40 * 30 // 4
        assert Image.open(io.BytesIO(data)).convert("RGB").getpixel((0, 0)) == (255, 0, 0)


@pytest.mark.parametrize(
    "options,fragment",
    [
        (["--bits", 1], "not for 1"),
        (["--bits", 24], "not for 24"),
        ([], "not for 24"),
        (["--bits", 8, "--os2"], "OS/2 header has no field"),
        (["--bits", 8, "--os2", "--force"], "OS/2 header has no field"),
    ],
)
def test_files_that_cannot_have_the_portable_form(tivar, chart, options, fragment):
    result = tivar.run("export", chart, "-o", "out.bmp", "--compress", "portable", *options)
    fails(result, 2, "chart.png", fragment)
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize("bits", [4, 8])
def test_os2_files_in_the_native_form_need_force(tivar, chart, bits):
    options = ["--bits", bits, "--os2", "--compress", "native"]
    fails(tivar.run("export", chart, "-o", "out.bmp", *options), 2, "chart.png", "--force")
    assert not (tivar.directory / "out.bmp").exists()
    assert bmp.read(tivar.export(chart, "out.bmp", *options, "--force"), encoded=True).os2


def test_a_disk_without_room_leaves_nothing(tivar):
    # Noise, whose codes are longer than its raw rows.
    source = random.Random(1)
    noise = [source.randrange(256) for _ in range(301 * 200)]
    palette_picture(8, 301, 200, noise).save(tivar.directory / "in.png")
    raw = len(tivar.export("in.png", "raw.bmp"))
    (tivar.directory / "raw.bmp").unlink()
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (raw, raw))
    result = tivar.run("export", "in.png", "-o", "out.bmp", "--compress", "portable", limits=limit)
    fails(result, 1, "out.bmp", "File too large")
    assert [p.name for p in tivar.directory.iterdir()] == ["in.png"]
