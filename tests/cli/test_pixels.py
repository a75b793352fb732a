"""What is in the file is the picture: every depth and flavour, judged by independent readers."""

import io
import subprocess

import bmp
import drawing
import pytest
from conftest import fails
from PIL import Image, ImageChops

ROUTE = "filter"

FORMS = [
    (bits, os2, encoded)
    for bits in (1, 4, 8, 24)
    for os2 in (False, True)
    for encoded in (False, True)
]


def options_of(bits, os2, encoded):
    return ["--bits", bits] + (["--os2"] if os2 else []) + (
        ["--compress", "native", "--force", "--quiet"] if encoded else []
    )


def pillow_pixels(data):
    return bmp.grid(Image.open(io.BytesIO(data)).convert("RGB"))


def imagemagick_pixels(program, path):
    raw = subprocess.run(
        [program, f"bmp:{path}", "-depth", "8", "ppm:-"], check=True, capture_output=True
    ).stdout
    return bmp.grid(Image.open(io.BytesIO(raw)).convert("RGB"))


def netpbm_pixels(path):
    raw = subprocess.run(["bmptopnm", str(path)], check=True, capture_output=True).stdout
    return bmp.grid(Image.open(io.BytesIO(raw)).convert("RGB"))


def near(color, wanted, distance):
    return all(abs(a - b) <= distance for a, b in zip(color, wanted))


@pytest.mark.parametrize("os2", [False, True])
@pytest.mark.parametrize("bits", [1, 4, 8, 24])
def test_every_reader_sees_the_pixels_that_the_file_holds(tivar, imagemagick, chart, bits, os2):
    data = tivar.export(chart, "out.bmp", *options_of(bits, os2, False))
    expected = bmp.read(data)
    assert (expected.bits, expected.os2) == (bits, os2)
    path = tivar.directory / "out.bmp"
    assert pillow_pixels(data) == expected.pixels()
    assert imagemagick_pixels(imagemagick, path) == expected.pixels()
    assert netpbm_pixels(path) == expected.pixels()


@pytest.mark.parametrize("os2", [False, True])
def test_24_bits_are_identical_to_the_source(tivar, chart, os2):
    data = tivar.export(chart, "out.bmp", *options_of(24, os2, False))
    assert bmp.read(data).pixels() == bmp.grid(Image.open(chart))


def test_photographs_at_24_bits_are_identical_to_the_source(tivar, photographs):
    for photograph in photographs:
        data = tivar.export(photograph, "out.bmp")
        source = Image.open(photograph).convert("RGB")
        written = Image.open(io.BytesIO(data)).convert("RGB")
        assert written.size == source.size
        assert written.tobytes() == source.tobytes()


def test_photographs_at_8_bits_stay_close_to_the_source(tivar, photographs):
    for photograph in photographs:
        data = tivar.export(photograph, "out.bmp", "--bits", 8)
        source = Image.open(photograph).convert("RGB")
        written = Image.open(io.BytesIO(data)).convert("RGB")
        difference = ImageChops.difference(source, written).resize((1, 1), Image.BOX)
        upside_down = ImageChops.difference(
            source, written.transpose(Image.FLIP_TOP_BOTTOM)
        ).resize((1, 1), Image.BOX)
        assert max(difference.getpixel((0, 0))) <= 12
        assert max(upside_down.getpixel((0, 0))) > max(difference.getpixel((0, 0)))


# One bit has no colours, and the encoded size overwrites two palette entries of the OS/2 flavour.
@pytest.mark.parametrize(
    "bits,os2,encoded", [f for f in FORMS if f[0] != 1 and not (f[1] and f[2] and f[0] != 24)]
)
def test_colours_stand_in_their_corners(tivar, bits, os2, encoded):
    drawing.quarters(40, 30).save(tivar.directory / "in.png")
    data = tivar.export("in.png", "out.bmp", *options_of(bits, os2, encoded))
    rows = bmp.read(data).pixels()
    places = {
        "top left": rows[2][2],
        "top right": rows[2][37],
        "bottom left": rows[27][2],
        "bottom right": rows[27][37],
    }
    for corner, color in places.items():
        assert near(color, drawing.CORNERS[corner], 8), corner


@pytest.mark.parametrize("os2", [False, True])
def test_black_and_white_stay_black_and_white_at_1_bit(tivar, os2):
    picture = Image.new("RGB", (37, 20), (255, 255, 255))
    picture.paste((0, 0, 0), (5, 3, 20, 9))
    picture.save(tivar.directory / "in.png")
    data = tivar.export("in.png", "out.bmp", *options_of(1, os2, False))
    assert bmp.read(data).pixels() == bmp.grid(picture)


@pytest.mark.parametrize("os2", [False, True])
@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_palette_pictures_keep_their_indices_and_their_palette(tivar, bits, os2):
    picture = drawing.indexed(bits, 45, 22)
    picture.save(tivar.directory / "in.png", bits=bits)
    data = tivar.export("in.png", "out.bmp", *(["--os2"] if os2 else []))
    written = bmp.read(data)
    assert written.bits == (4 if bits == 2 else bits)
    assert written.rows == bmp.grid(picture)
    palette = picture.getpalette()[: 3 << bits]
    entries = list(zip(palette[0::3], palette[1::3], palette[2::3]))
    black = [(0, 0, 0)] * ((1 << written.bits) - len(entries))
    assert written.palette == entries + black


@pytest.mark.parametrize("bits,wider", [(1, 4), (1, 8), (1, 24), (4, 8), (4, 24), (8, 24)])
def test_palette_pictures_keep_their_colours_at_greater_depths(tivar, bits, wider):
    picture = drawing.indexed(bits, 45, 22)
    picture.save(tivar.directory / "in.png", bits=bits)
    data = tivar.export("in.png", "out.bmp", "--bits", wider)
    assert bmp.read(data).pixels() == bmp.grid(picture.convert("RGB"))


@pytest.mark.parametrize("os2", [False, True])
@pytest.mark.parametrize("bits", [4, 8])
def test_encoded_rows_hold_the_same_pixels_as_raw_rows(tivar, chart, bits, os2):
    raw = bmp.read(tivar.export(chart, "raw.bmp", *options_of(bits, os2, False)), False)
    encoded = bmp.read(tivar.export(chart, "rle.bmp", *options_of(bits, os2, True)), True)
    assert encoded.rows == raw.rows
    overwritten = (2, 3) if os2 else ()
    for index in range(1 << bits):
        assert index in overwritten or encoded.palette[index] == raw.palette[index]


@pytest.mark.parametrize("bits", [1, 24])
def test_depths_without_an_encoding_are_written_raw(tivar, chart, bits):
    raw = tivar.export(chart, "raw.bmp", *options_of(bits, False, False))
    assert tivar.export(chart, "rle.bmp", *options_of(bits, False, True)) == raw


def test_a_depth_without_the_native_form_gets_a_notice(tivar, chart):
    result = tivar.run("export", chart, "-o", "out.bmp", "--bits", 24, "--compress", "native")
    fails(result, 0, "chart.png", "written raw", "4 and 8 bits")


@pytest.mark.parametrize("bits,os2,encoded", FORMS)
def test_file_memory_and_document_give_the_same_bytes(tivar, chart, bits, os2, encoded):
    options = options_of(bits, os2, encoded)
    by_file = tivar.export(chart, "file.bmp", *options, "--via", "file")
    assert tivar.export(chart, "memory.bmp", *options, "--via", "memory") == by_file
    assert tivar.export(chart, "document.bmp", *options, "--via", "document") == by_file


def test_a_picture_that_ends_in_bytes_like_the_end_mark_survives_memory(tivar):
    for color in ((255, 255, 255), (0, 0, 0)):
        picture = Image.new("RGB", (64, 64), color)
        picture.save(tivar.directory / "in.png")
        data = tivar.export("in.png", "out.bmp", "--via", "memory")
        assert bmp.read(data).pixels() == bmp.grid(picture)
