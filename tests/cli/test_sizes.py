"""The size of the output: the picture's own, pixels, inches; scaling by dropping and repeating."""

import bmp
import drawing
import pytest
from conftest import fails
from PIL import Image

ROUTE = "filter"


def shrunk(count, wanted):
    """Source positions of an axis that drops pixels."""
    return [i * count // wanted for i in range(wanted)]


def stretched(count, wanted):
    """Source positions of an axis that repeats pixels, exact at its end."""
    positions = []
    done = 0
    for step in range(1, count + 1):
        until = step * wanted // count
        positions[:0] = [count - step] * (until - done)
        done = until
    return positions


def columns(count, wanted):
    if wanted > count:
        return stretched(count, wanted)
    return shrunk(count, wanted)[:-1] + [count - 1]


def scaled(picture, width, height):
    """The picture's pixels at another size; rows count from the bottom."""
    rows = bmp.grid(picture)[::-1]
    choose = stretched if height > picture.height else shrunk
    xs = columns(picture.width, width)
    ys = choose(picture.height, height)
    return [[rows[y][x] for x in xs] for y in ys][::-1]


def test_without_a_size_the_output_has_the_size_of_the_picture(tivar):
    for width, height in ((1, 2), (7, 4), (640, 2), (33, 480)):
        picture = drawing.chart(width, height)
        picture.save(tivar.directory / "in.png")
        written = bmp.read(tivar.export("in.png", "out.bmp"))
        assert (written.width, written.height) == (width, height)
        assert written.pixels() == bmp.grid(picture)


@pytest.mark.parametrize("height", [1, 3, 45])
def test_an_odd_height_becomes_the_next_even_one(tivar, height):
    picture = drawing.chart(20, height)
    picture.save(tivar.directory / "in.png")
    written = bmp.read(tivar.export("in.png", "out.bmp"))
    assert (written.width, written.height) == (20, height + 1)
    assert written.pixels() == scaled(picture, 20, height + 1)


@pytest.mark.parametrize(
    "width,height",
    [(30, 20), (120, 90), (60, 20), (30, 44), (60, 88), (59, 44), (1, 2), (61, 46), (200, 200)],
)
def test_a_size_in_pixels_drops_or_repeats_pixels(tivar, chart, width, height):
    written = bmp.read(tivar.export(chart, "out.bmp", "--size", f"{width}x{height}"))
    assert (written.width, written.height) == (width, height)
    assert written.pixels() == scaled(Image.open(chart), width, height)


@pytest.mark.parametrize("width,height", [(30, 88), (122, 20), (60, 46), (62, 42), (1, 200)])
def test_one_axis_may_shrink_while_the_other_grows(tivar, chart, width, height):
    written = bmp.read(tivar.export(chart, "out.bmp", "--size", f"{width}x{height}"))
    assert written.pixels() == scaled(Image.open(chart), width, height)


def test_an_odd_height_that_is_rounded_up_past_the_picture_counts_as_growing(tivar):
    picture = drawing.chart(40, 25)
    picture.save(tivar.directory / "in.png")
    written = bmp.read(tivar.export("in.png", "out.bmp", "--size", "30x25"))
    assert (written.width, written.height) == (30, 26)
    assert written.pixels() == scaled(picture, 30, 26)


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
@pytest.mark.parametrize("width,height", [(30, 20), (120, 90), (30, 88), (90, 22)])
def test_palette_pictures_are_scaled_index_by_index(tivar, bits, width, height):
    picture = drawing.indexed(bits, 61, 44)
    picture.save(tivar.directory / "in.png", bits=bits)
    written = bmp.read(tivar.export("in.png", "out.bmp", "--size", f"{width}x{height}"))
    assert written.rows == scaled(picture, width, height)


def test_scaling_and_a_greater_depth_go_together(tivar):
    picture = drawing.indexed(4, 61, 44)
    picture.save(tivar.directory / "in.png", bits=4)
    for width, height in ((30, 20), (120, 90), (30, 88)):
        data = tivar.export("in.png", "out.bmp", "--bits", 24, "--size", f"{width}x{height}")
        assert bmp.read(data).pixels() == scaled(picture.convert("RGB"), width, height)


@pytest.mark.parametrize(
    "size,resolution,pixels",
    [
        ("6.67x5in", None, (640, 480)),
        ("1x0.5in", None, (96, 48)),
        ("1x0.5in", 100, (100, 50)),
        ("2.5x1.25in", 300, (750, 376)),
        ("0.25x0.25in", 32, (8, 8)),
    ],
)
def test_a_size_in_inches_follows_the_resolution(tivar, chart, size, resolution, pixels):
    options = ["--size", size] + ([] if resolution is None else ["--resolution", resolution])
    written = bmp.read(tivar.export(chart, "out.bmp", *options))
    assert (written.width, written.height) == pixels


def numbered_rows(count):
    """A picture whose rows tell their numbers."""
    rows = [bytes([y >> 8, y & 0xFF, 0, 1, 2, 3]) for y in range(count)]
    return b"P6 2 %d 255\n" % count + b"".join(rows)


@pytest.mark.parametrize(
    "count,width,height", [(32767, 2, 1000), (32767, 1, 20000), (40000, 2, 50000), (40001, 1, 40002)]
)
def test_the_tallest_pictures_are_scaled_row_by_row(tivar, count, width, height):
    (tivar.directory / "in.ppm").write_bytes(numbered_rows(count))
    written = bmp.read(tivar.export("in.ppm", "out.bmp", "--size", f"{width}x{height}"))
    seen = [(row[0][0] << 8 | row[0][1]) if width == 2 else row[0] for row in written.rows]
    choose = stretched if height > count else shrunk
    numbers = [count - 1 - y for y in choose(count, height)][::-1]
    assert seen == (numbers if width == 2 else [(1, 2, 3)] * height)


@pytest.mark.parametrize("size", ["2x1000", "1x32768", "3x32768"])
def test_what_the_library_cannot_scale_is_refused(tivar, size):
    (tivar.directory / "in.ppm").write_bytes(numbered_rows(32768))
    fails(tivar.run("export", "in.ppm", "-o", "out.bmp", "--size", size), 1, "32767")
    assert not (tivar.directory / "out.bmp").exists()


def test_the_widest_pictures_are_scaled_column_by_column(tivar):
    row = b"".join(bytes([x >> 8, x & 0xFF, 7]) for x in range(40000))
    (tivar.directory / "in.ppm").write_bytes(b"P6 40000 2 255\n" + row * 2)
    for width in (65535, 50000, 1000):
        written = bmp.read(tivar.export("in.ppm", "out.bmp", "--size", f"{width}x2"))
        assert [r << 8 | g for r, g, _ in written.rows[0]] == columns(40000, width)
