"""tivar decode: the pixels of BMP files as PNG and PPM."""

import io
import os
import resource
import subprocess

import bmp
import bmp_build
import drawing
import pytest
from conftest import fails, leftovers
from PIL import Image

ROUTE = "filter"


def pixels_of(path):
    return bmp.grid(Image.open(path).convert("RGB"))


def decode(tivar, data, *names):
    """The pixels that every output named has."""
    (tivar.directory / "in.bmp").write_bytes(data)
    results = []
    for name in names or ("out.png", "out.ppm"):
        result = tivar.run("decode", "in.bmp", name)
        assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
        results.append(pixels_of(tivar.directory / name))
    assert all(result == results[0] for result in results)
    return results[0]


def greys(rows, bits):
    palette = bmp_build.greys(bits)
    return [[palette[index] for index in row] for row in rows]


@pytest.mark.parametrize("os2", [False, True])
@pytest.mark.parametrize("bits", [1, 4, 8, 24])
@pytest.mark.parametrize("width", [1, 2, 3, 61])
def test_raw_files_of_every_kind(tivar, width, bits, os2):
    drawing.chart(width, 10).save(tivar.directory / "in.png")
    data = tivar.export("in.png", "out.bmp", "--bits", bits, *(["--os2"] if os2 else []))
    assert decode(tivar, data) == bmp.read(data).pixels()


@pytest.mark.parametrize("bits", [4, 8])
@pytest.mark.parametrize("width", [1, 2, 3, 61, 700])
@pytest.mark.parametrize("draw", [drawing.chart, drawing.quarters])
def test_the_native_form_has_the_pixels_of_the_raw_file(tivar, draw, width, bits):
    draw(width, 12).save(tivar.directory / "in.png")
    raw = tivar.export("in.png", "out.bmp", "--bits", bits)
    native = tivar.export("in.png", "out.bmp", "--bits", bits, "--compress", "native")
    assert decode(tivar, native) == bmp.read(raw).pixels()


@pytest.mark.parametrize("bits", [4, 8])
def test_the_native_form_is_read_with_the_os2_header_too(tivar, bits):
    drawing.quarters(61, 12).save(tivar.directory / "in.png")
    data = tivar.export("in.png", "out.bmp", "--bits", bits, "--os2", "--compress", "native", "--force")
    assert decode(tivar, data) == bmp.read(data, encoded=True).pixels()


def test_standard_run_lengths(tivar):
    assert decode(tivar, bmp_build.rle8()) == greys(bmp_build.RLE8_ROWS, 8)
    assert decode(tivar, bmp_build.rle4()) == greys(bmp_build.RLE4_ROWS, 4)


@pytest.mark.parametrize("maker", ["ImageMagick", "GraphicsMagick"])
@pytest.mark.parametrize("width,padded", [(60, False), (61, True)])
def test_run_lengths_of_other_makers(tivar, imagemagick, maker, width, padded):
    drawing.chart(width, 44).quantize(200).save(tivar.directory / "in.png")
    command = [imagemagick] if maker == "ImageMagick" else ["gm", "convert"]
    subprocess.run(
        [*command, "in.png", "-type", "palette", "-compress", "RLE", "BMP3:theirs.bmp"],
        check=True,
        cwd=tivar.directory,
    )
    data = (tivar.directory / "theirs.bmp").read_bytes()
    assert data[30] == 1  # RLE8
    assert decode(tivar, data) == pixels_of(tivar.directory / "in.png")
    # Both encode the padding of rows, too.
    result = tivar.run("inspect", "theirs.bmp")
    assert (result.returncode, b"padding left" in result.stdout) == (int(padded), padded)


def test_a_missing_end_of_the_bitmap_loses_nothing(tivar):
    assert decode(tivar, bmp_build.rle4(bmp_build.RLE4_CODES[:-2])) == greys(bmp_build.RLE4_ROWS, 4)


def test_what_an_early_end_of_the_bitmap_leaves_out_is_the_first_colour(tivar):
    rows = decode(tivar, bmp_build.rle8(bytes([6, 5, 0, 1])))
    assert rows == greys([[0] * 6] * 3 + [[5] * 6], 8)


@pytest.mark.parametrize("bits", [1, 4, 8, 24])
def test_top_down_rows(tivar, bits):
    palette = [] if bits == 24 else bmp_build.greys(bits)
    stride = bmp.row_bytes(5, bits)
    body = bytes(i * 37 % 256 for i in range(3 * stride))
    upright = decode(tivar, bmp_build.windows(5, 3, bits, body, palette))
    assert decode(tivar, bmp_build.windows(5, -3, bits, body, palette)) == upright[::-1]
    with Image.open(io.BytesIO(bmp_build.windows(5, -3, bits, body, palette))) as picture:
        assert bmp.grid(picture.convert("RGB")) == upright[::-1]


def test_a_short_palette_is_black_beyond_its_end(tivar):
    data = bmp_build.windows(4, 1, 8, bytes([0, 1, 2, 255]), [(9, 8, 7), (6, 5, 4)])
    assert decode(tivar, data) == [[(9, 8, 7), (6, 5, 4), (0, 0, 0), (0, 0, 0)]]


def test_palettes_and_indices_are_kept_in_png(tivar):
    drawing.indexed(4, 61, 44).save(tivar.directory / "in.png", bits=4)
    decode(tivar, tivar.export("in.png", "out.bmp"), "out.png")
    before, after = (Image.open(tivar.directory / name) for name in ("in.png", "out.png"))
    assert after.mode == "P" and list(after.getdata()) == list(before.getdata())


def test_standard_streams(tivar):
    result = tivar.run("decode", "-", "-", input=bmp_build.rle8())
    assert (result.returncode, result.stderr) == (0, b"")
    assert pixels_of(io.BytesIO(result.stdout)) == greys(bmp_build.RLE8_ROWS, 8)


# --- Failures ------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "data,fragment",
    [
        (bmp_build.windows(4, 4, 24, bytes(47)), "47 of 48 bytes, at byte 101"),
        (bmp_build.windows(1, 1, 16, bytes(2)), "2 of 4 bytes, at byte 56"),
        (bmp_build.windows(1, 1, 24, bytes(4), compression=9), "compression 9"),
        (bmp_build.rle8(bytes([9, 1, 0, 1])), "a run of 9 pixels"),
        (bmp_build.rle8(bytes([0, 0, 3, 1])), "cut short in row 1"),
    ],
)
def test_a_file_whose_pixels_are_not_certain_leaves_the_old_output(tivar, data, fragment):
    (tivar.directory / "in.bmp").write_bytes(data)
    (tivar.directory / "out.png").write_bytes(b"old")
    fails(tivar.run("decode", "in.bmp", "out.png"), 1, "in.bmp", fragment)
    assert (tivar.directory / "out.png").read_bytes() == b"old"
    assert leftovers(tivar.directory) == []


def test_a_disk_without_room_leaves_nothing(tivar):
    drawing.clouds(400, 300, 1).save(tivar.directory / "in.png")
    tivar.export("in.png", "in.bmp")
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
    for name in ("out.png", "out.ppm"):
        fails(tivar.run("decode", "in.bmp", name, limits=limit), 1, name, "File too large")
    assert sorted(os.listdir(tivar.directory)) == ["in.bmp", "in.png"]


def test_outputs_that_cannot_be(tivar):
    (tivar.directory / "in.bmp").write_bytes(bmp_build.rle8())
    fails(tivar.run("decode", "in.bmp", "out.gif"), 2, "out.gif", ".png")
    fails(tivar.run("decode", "in.bmp", "none/out.png"), 1, "none/out.png")
    os.symlink("in.bmp", tivar.directory / "same.png")
    fails(tivar.run("decode", "in.bmp", "same.png"), 1, "the input itself; name another file\n")
    master, slave = os.openpty()
    fails(tivar.run("decode", "in.bmp", "-", stdout=slave), 2, "terminal")
    os.close(slave)
    os.close(master)
