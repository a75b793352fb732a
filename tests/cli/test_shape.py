"""Turning, fitting and scaling of pictures, held against a plain model in linear light."""

import io
import struct

import bmp
import drawing
import numpy
import pytest
from conftest import fails
from PIL import Image
from test_reading import exif, upright

WHITE = (255, 255, 255)
RED = (255, 0, 0)

# --- The model -----------------------------------------------------------------------------------

SHARES = numpy.arange(256) / 255
LIGHT = numpy.where(SHARES <= 0.04045, SHARES / 12.92, ((SHARES + 0.055) / 1.055) ** 2.4)


def light_of(picture):
    return LIGHT[numpy.asarray(picture)]


def values_of(light):
    light = numpy.clip(light, 0, 1)
    shares = numpy.where(light <= 0.0031308, light * 12.92, 1.055 * light ** (1 / 2.4) - 0.055)
    return shares * 255


def modelled(picture, size, box=None):
    """Pillow's cubic, which widens when it shrinks, over amounts of light."""
    planes = light_of(picture).astype("float32")
    planes = planes[:, :, None] if planes.ndim == 2 else planes
    scaled = [
        numpy.asarray(Image.fromarray(planes[:, :, i], "F").resize(size, Image.BICUBIC, box=box))
        for i in range(planes.shape[2])
    ]
    return values_of(numpy.stack(scaled, axis=2))


def nearest(picture, size, box=None):
    left, top, right, bottom = box or (0, 0, *picture.size)
    xs = [int(left + (2 * x + 1) * (right - left) / (2 * size[0])) for x in range(size[0])]
    ys = [int(top + (2 * y + 1) * (bottom - top) / (2 * size[1])) for y in range(size[1])]
    return [[picture.getpixel((x, y)) for x in xs] for y in ys]


def seen(data):
    return Image.open(io.BytesIO(data)).convert("RGB")


def headers(data):
    """Width, height, bits."""
    return struct.unpack_from("<ii2xH", data, 18)


def near(data, wanted, mean, most, border=(0, 0)):
    """The file's pixels are the model's, but for so much on average and so much anywhere."""
    difference = numpy.abs(numpy.asarray(seen(data)).astype(float) - wanted)
    (width, height), (right, below) = border, [side - edge for side, edge in zip(seen(data).size, border)]
    inner = difference[height:below, width:right]
    assert inner.mean() <= mean and inner.max() <= most, (inner.mean(), inner.max())


def edges(size, wanted):
    """How far the filter reaches for pixels beyond the picture's edges, of which the model takes none."""
    return [2 * max(1, -(-to // of)) for of, to in zip(size, wanted)]


def noise(width, height, seed):
    return Image.fromarray(numpy.random.default_rng(seed).integers(0, 256, (height, width, 3), "uint8"))


# --- Where the picture goes ----------------------------------------------------------------------


# 30 x 20 in 61 x 45: as wide, 61 * 20 / 30 = 40.67 rows, (45 - 41) / 2 = 2 rows of border above.
@pytest.mark.parametrize(
    "size,wanted,box",
    [
        ((30, 20), (61, 45), (0, 2, 61, 43)),
        ((20, 30), (45, 61), (2, 0, 43, 61)),
        ((30, 20), (15, 9), (0, 0, 14, 9)),
        ((1, 1), (5, 3), (1, 0, 4, 3)),
        ((1, 5000), (10, 10), (4, 0, 5, 10)),
        ((5000, 1), (10, 10), (0, 4, 10, 5)),
        ((3, 3), (7, 7), (0, 0, 7, 7)),
        ((400, 300), (1, 1), (0, 0, 1, 1)),
        ((400, 300), (400, 301), (0, 0, 400, 300)),
    ],
)
@pytest.mark.parametrize("options", [[], ["--fit", "contain"], ["--scale", "pixel"], ["--scale", "smooth"]])
def test_a_picture_is_contained_in_proportion_in_the_middle_of_the_exact_size(tivar, size, wanted, box, options):
    Image.new("RGB", size, RED).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "%dx%d" % wanted, *options)
    assert headers(written)[:2] == wanted
    expected = Image.new("RGB", wanted, WHITE)
    expected.paste(RED, box)
    assert seen(written).tobytes() == expected.tobytes()


@pytest.mark.parametrize("fit", ["cover", "stretch"])
@pytest.mark.parametrize(
    "size,wanted",
    [((30, 20), (61, 45)), ((1, 5000), (10, 10)), ((5000, 1), (3, 7)), ((1, 1), (7, 3)), ((9, 9), (1, 1))],
)
def test_other_fits_leave_no_borders(tivar, size, wanted, fit):
    Image.new("RGB", size, RED).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "%dx%d" % wanted, "--fit", fit)
    assert headers(written)[:2] == wanted
    assert seen(written).getcolors() == [(wanted[0] * wanted[1], RED)]


def test_cover_cuts_both_ends_alike(tivar):
    """Nine columns, of which the middle five are as wide as high."""
    picture = Image.new("RGB", (9, 5))
    for x in range(9):
        picture.paste((x * 20, 100, 100), (x, 0, x + 1, 5))
    picture.save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "5x5", "--fit", "cover")
    assert [seen(written).getpixel((x, 3))[0] for x in range(5)] == [40, 60, 80, 100, 120]
    assert [seen(written).getpixel((x, 0))[0] for x in range(5)] == [40, 60, 80, 100, 120]


# --- Smooth --------------------------------------------------------------------------------------

PICTURES = {"clouds": drawing.clouds(301, 207, 5), "chart": drawing.chart(160, 121), "noise": noise(97, 140, 7)}


# Half a value is lost by rounding. Values of the dark are close to each other as amounts of light.
@pytest.mark.parametrize("name,mean,most", [("clouds", 0.5, 3), ("chart", 0.5, 26), ("noise", 0.7, 14)])
@pytest.mark.parametrize("size", [(122, 95), (40, 31), (17, 11), (333, 271), (61, 250)])
def test_scaling_is_the_cubic_of_light(tivar, name, mean, most, size):
    PICTURES[name].save(tivar.directory / "in.png")
    asked = ["--size", "%dx%d" % size, "--fit", "stretch", "--scale", "smooth"]
    written = tivar.export("in.png", "out.bmp", *asked)
    near(written, modelled(PICTURES[name], size), mean, most, edges(PICTURES[name].size, size))


@pytest.mark.parametrize("name", PICTURES)
def test_a_single_pixel_has_the_light_of_all(tivar, name):
    PICTURES[name].save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "1x1")
    near(written, values_of(light_of(PICTURES[name]).mean(axis=(0, 1))), 0.5, 0.6)


@pytest.mark.parametrize("size", [(60, 60), (31, 77), (200, 41)])
def test_what_is_cut_does_not_move_the_rest(tivar, size):
    picture = PICTURES["clouds"]
    picture.save(tivar.directory / "in.png")
    scale = max(size[0] / picture.width, size[1] / picture.height)
    width, height = size[0] / scale, size[1] / scale
    left, top = (picture.width - width) / 2, (picture.height - height) / 2
    written = tivar.export("in.png", "out.bmp", "--size", "%dx%d" % size, "--fit", "cover")
    near(written, modelled(picture, size, (left, top, left + width, top + height)), 0.4, 4)


@pytest.mark.parametrize("size", [(250, 122), (33, 20), (7, 5), (1999, 3)])
def test_the_light_of_a_picture_stays(tivar, size):
    """Fine patterns too, which are darker than they look when values are mixed."""
    picture = Image.fromarray((numpy.indices((200, 2000)).sum(axis=0) % 2 * 255).astype("uint8"))
    picture.paste(drawing.clouds(1000, 200, 2).convert("L"), (500, 0))
    picture.save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "%dx%d" % size, "--fit", "stretch")
    assert headers(written) == (*size, 8)
    assert abs(light_of(seen(written)).mean() - light_of(picture).mean()) < 1.5 / 255


@pytest.mark.parametrize("turned", [False, True])
@pytest.mark.parametrize("suffix", ["png", "jpg"])
@pytest.mark.parametrize("left", [250, 97, 600])
def test_lines_of_one_pixel_do_not_drop_out(tivar, left, suffix, turned):
    picture = Image.new("L", (2000, 40), 255)
    for x in range(50, 2000, 100):
        picture.paste(0, (x, 0, x + 1, 40))
    picture = picture.transpose(Image.TRANSPOSE) if turned else picture
    picture.save(tivar.directory / f"in.{suffix}", quality=95)
    size = (left, 40)[::-1] if turned else (left, 40)
    asked = ["--size", "%dx%d" % size, "--fit", "stretch"]
    written = seen(tivar.export(f"in.{suffix}", "out.bmp", *asked)).convert("L")
    row = numpy.asarray(written.transpose(Image.TRANSPOSE) if turned else written)[20]
    for x in range(0, 2000, 100):
        part = LIGHT[row[x * left // 2000 : max((x + 100) * left // 2000, x * left // 2000 + 1)]]
        # A line takes left / 2000 of a pixel's light, from one pixel or from two.
        assert 1 - part.min() > 0.4 * left / 2000, x


def test_what_is_transparent_has_no_colour(tivar):
    """Red beside green that nobody sees."""
    picture = Image.new("RGBA", (40, 20), (255, 0, 0, 255))
    picture.paste((0, 255, 0, 0), (0, 0, 21, 20))
    picture.save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--bits", 32, "--size", "10x5")
    assert headers(written) == (10, 5, 32)
    pixels = numpy.frombuffer(written[122:], "uint8").reshape(5, 10, 4)
    shown = pixels[pixels[:, :, 3] > 0]
    assert (shown[:, 1] == 0).all() and (shown[:, 2] == 255).all()
    assert (pixels[:, :4, 3] == 0).all() and (pixels[:, 7:, 3] == 255).all()
    assert abs(pixels[2, :, 3].mean() / 255 - 19 / 40) < 0.02


def test_alpha_is_blended_before_a_picture_of_24_bits_is_scaled(tivar):
    picture = Image.new("RGBA", (40, 20), (200, 100, 0, 128))
    picture.save(tivar.directory / "in.png")
    asked = ["--size", "10x5", "--background", "000000"]
    # 128 of 255 are 0.502: 200 over 0 is 100.4, 100 over 0 is 50.2.
    assert seen(tivar.export("in.png", "out.bmp", *asked)).getcolors() == [(50, (100, 50, 0))]


@pytest.mark.parametrize("bits,gives", [(1, 8), (8, 24)])
def test_mixed_colours_have_a_depth_of_their_own(tivar, bits, gives):
    picture = drawing.indexed(bits, 61, 45)
    if bits == 1:
        picture.putpalette([0, 0, 0, 255, 255, 255])
    picture.save(tivar.directory / "in.png", bits=bits)
    written = tivar.export("in.png", "out.bmp", "--size", "30x22", "--fit", "stretch")
    assert headers(written) == (30, 22, gives)
    near(written, modelled(picture.convert("RGB"), (30, 22)), 0.5, 14, (2, 2))


# --- JPEG, which is decoded smaller where that is enough -----------------------------------------


@pytest.mark.parametrize("orientation", [1, 6])
@pytest.mark.parametrize("fit", ["contain", "cover", "stretch"])
@pytest.mark.parametrize("size", [(250, 122), (61, 45), (800, 480)])
def test_a_photograph_is_as_if_all_of_it_had_been_decoded(tivar, size, fit, orientation):
    picture = drawing.clouds(1203, 907, 4)
    picture.save(tivar.directory / "in.jpg", quality=92, exif=b"Exif\0\0" + exif(orientation, False))
    whole = upright(Image.open(tivar.directory / "in.jpg").convert("RGB"), orientation)
    whole.save(tivar.directory / "in.png")
    asked = ["--size", "%dx%d" % size, "--fit", fit]
    wanted = seen(tivar.export("in.png", "out.bmp", *asked))
    near(tivar.export("in.jpg", "out.bmp", *asked), numpy.asarray(wanted).astype(float), 0.8, 12)


def test_the_limit_on_pixels_is_about_the_file(tivar):
    Image.new("L", (1600, 1200)).save(tivar.directory / "in.jpg")
    result = tivar.run("export", "in.jpg", "--size", "16x12", "--limit-pixels", 1000000)
    fails(result, 1, "in.jpg: has 1600 x 1200 pixels, more than the limit of 1000000")


# --- Pixels stay pixels --------------------------------------------------------------------------


@pytest.mark.parametrize("bits", [1, 4, 8])
@pytest.mark.parametrize("size", [(122, 90), (30, 22), (100, 31), (61, 45)])
def test_pixel_scaling_takes_the_pixel_under_each_centre(tivar, bits, size):
    picture = drawing.indexed(bits, 61, 45)
    picture.save(tivar.directory / "in.png", bits=bits)
    asked = ["--size", "%dx%d" % size, "--fit", "stretch", "--scale", "pixel"]
    written = bmp.read(tivar.export("in.png", "out.bmp", *asked))
    assert (written.bits, written.rows) == (bits, nearest(picture, size))


@pytest.mark.parametrize("mode", ["L", "RGB", "RGBA"])
def test_pixel_scaling_of_other_pictures_makes_no_new_colours(tivar, mode):
    picture = drawing.clouds(61, 45, 1).convert(mode)
    picture.save(tivar.directory / "in.png")
    asked = ["--size", "100x31", "--fit", "stretch", "--scale", "pixel"]
    written = seen(tivar.export("in.png", "out.bmp", *asked))
    assert bmp.grid(written) == nearest(picture.convert("RGB"), (100, 31))


@pytest.mark.parametrize("colors,pixels", [(2, True), (64, True), (65, False)])
@pytest.mark.parametrize(
    "size,whole", [((120, 90), True), ((90, 91), False), ((100, 75), False), ((130, 90), True)]
)
def test_drawings_that_grow_by_a_whole_number_keep_their_pixels(tivar, colors, pixels, size, whole):
    picture = Image.new("RGB", (40, 30))
    picture.putdata([(i % colors * 3, 0, 0) for i in range(1200)])
    picture.save(tivar.directory / "in.png")
    assert len(picture.getcolors()) == colors
    asked = ["--size", "%dx%d" % size]
    written = tivar.export("in.png", "out.bmp", *asked)
    other = "pixel" if pixels and whole else "smooth"
    assert written == tivar.export("in.png", "out.bmp", *asked, "--scale", other)
    other = "smooth" if pixels and whole else "pixel"
    assert written != tivar.export("in.png", "out.bmp", *asked, "--scale", other)


def test_a_picture_that_fits_is_only_given_borders(tivar):
    picture = drawing.chart(61, 45)
    picture.save(tivar.directory / "in.png")
    written = seen(tivar.export("in.png", "out.bmp", "--size", "61x51", "--scale", "smooth"))
    assert written.crop((0, 3, 61, 48)).tobytes() == picture.tobytes()


# --- Borders -------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "options,color",
    [
        ([], WHITE),
        (["--pad", "navy"], (0, 0, 128)),
        (["--pad", "#f80"], (255, 136, 0)),
        (["--background", "102030"], (16, 32, 48)),
        (["--background", "102030", "--pad", "black"], (0, 0, 0)),
    ],
)
def test_borders_have_the_colour_that_is_asked_for(tivar, chart, options, color):
    written = seen(tivar.export(chart, "out.bmp", "--size", "100x44", *options))
    for box in ((0, 0, 19, 44), (80, 0, 100, 44)):
        assert written.crop(box).getcolors() == [((box[2] - box[0]) * 44, color)]


# Black and white have white already. What is missing takes an entry that no pixel has, or makes the
# palette larger.
@pytest.mark.parametrize(
    "entries,pad,bits",
    [(2, "white", 1), (2, "red", 4), (16, "red", 8), (15, "red", 4), (200, "red", 8), (256, "red", 24)],
)
def test_borders_of_palette_pictures(tivar, entries, pad, bits):
    depth = {2: 1, 15: 4, 16: 4}.get(entries, 8)
    picture = Image.new("P", (61, 45))
    greys = [255 - i * 255 // (entries - 1) for i in range(entries)]
    picture.putpalette([grey for grey in greys for _ in range(3)])
    picture.putdata([i % entries for i in range(61 * 45)])
    picture.save(tivar.directory / "in.png", bits=depth)
    written = tivar.export("in.png", "out.bmp", "--size", "70x53", "--scale", "pixel", "--pad", pad)
    assert headers(written) == (70, 53, bits)
    content = Image.new("RGB", (70, 52))
    content.putdata(sum(nearest(picture.convert("RGB"), (70, 52)), []))
    expected = Image.new("RGB", (70, 53), pad)
    expected.paste(content, (0, 0))
    assert seen(written).tobytes() == expected.tobytes()


@pytest.mark.parametrize("pad,bits", [("black", 8), ("808080", 8), ("red", 24)])
def test_greys_stay_greys_beside_grey_borders(tivar, pad, bits):
    drawing.clouds(40, 20, 1).convert("L").save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "41x41", "--pad", pad)
    assert headers(written) == (41, 41, bits)
    assert seen(written).getpixel((20, 0)) == seen(written).getpixel((20, 40)) != WHITE


@pytest.mark.parametrize("options,alpha", [([], 0), (["--pad", "white"], 255)])
@pytest.mark.parametrize("mode", ["RGBA", "LA"])
def test_nothing_is_beside_a_picture_that_keeps_its_alpha(tivar, mode, options, alpha):
    Image.new(mode, (5, 3), {"RGBA": (200, 100, 0, 128), "LA": (100, 128)}[mode]).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--bits", 32, "--size", "5x5", *options)
    pixels = numpy.frombuffer(written[122:], "uint8").reshape(5, 5, 4)
    assert pixels[:, 2, 3].tolist() == [alpha, 128, 128, 128, alpha]
    assert pixels[2, 2, :3].tolist() == ([0, 100, 200] if mode == "RGBA" else [100] * 3)


# --- Turned --------------------------------------------------------------------------------------

# Pillow's go the other way.
QUARTERS = {90: Image.ROTATE_270, 180: Image.ROTATE_180, 270: Image.ROTATE_90}
KEPT = [["--route", "filter"], ["--route", "driver"], ["--route", "driver", "--cell-arrays", "single"]]


@pytest.mark.parametrize("orientation,route", [(n, []) for n in range(1, 9)] + [(7, kept) for kept in KEPT])
@pytest.mark.parametrize("degrees", QUARTERS)
def test_an_upright_picture_is_turned_clockwise(tivar, degrees, orientation, route):
    picture = drawing.chart(14, 8)
    picture.save(tivar.directory / "in.png", exif=exif(orientation, False))
    for options, first in (([], upright(picture, orientation)), (["--no-orient"], picture)):
        written = tivar.export("in.png", "out.bmp", *route, *options, "--rotate", degrees)
        assert seen(written).tobytes() == first.transpose(QUARTERS[degrees]).tobytes()


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_palette_pictures_are_turned_index_by_index(tivar, bits):
    picture = drawing.indexed(bits, 13, 9)
    picture.save(tivar.directory / "in.png", bits=bits)
    written = tivar.export("in.png", "out.bmp", "--rotate", 90)
    assert headers(written) == (9, 13, {2: 4}.get(bits, bits))
    assert seen(written).tobytes() == picture.transpose(Image.ROTATE_270).convert("RGB").tobytes()


@pytest.mark.parametrize("scale", ["smooth", "pixel"])
@pytest.mark.parametrize("fit", ["contain", "cover", "stretch"])
@pytest.mark.parametrize("size", [(45, 31), (122, 120), (20, 90)])
def test_a_size_is_that_of_the_turned_picture(tivar, size, fit, scale):
    picture = drawing.clouds(61, 47, 3)
    picture.save(tivar.directory / "in.png")
    picture.transpose(Image.ROTATE_270).save(tivar.directory / "turned.png")
    asked = ["--size", "%dx%d" % size, "--fit", fit, "--scale", scale]
    wanted = numpy.asarray(seen(tivar.export("turned.png", "out.bmp", *asked))).astype(float)
    near(tivar.export("in.png", "out.bmp", *asked, "--rotate", 90), wanted, 0.1, 0 if scale == "pixel" else 1)


# --- The other routes ----------------------------------------------------------------------------


@pytest.mark.parametrize("route", KEPT)
@pytest.mark.parametrize(
    "options",
    [["--fit", "contain"], ["--fit", "cover"], ["--fit", "stretch"], ["--pad", "red"], ["--scale", "smooth"]],
)
def test_other_routes_get_a_picture_of_that_shape_when_one_is_named(tivar, chart, route, options):
    asked = ["--size", "50x38", *options]
    wanted = tivar.export(chart, "out.bmp", *asked)
    assert seen(tivar.export(chart, "out.bmp", *route, *asked)).tobytes() == seen(wanted).tobytes()


def test_an_odd_height_becomes_even_on_the_filter_route_whatever_the_fit(tivar, chart):
    asked = ["--size", "50x37", "--fit", "cover"]
    assert headers(tivar.export(chart, "out.bmp", "--route", "filter", *asked)) == (50, 38, 24)


@pytest.mark.parametrize("fit", ["cover", "contain"])
def test_the_even_height_is_shaped_and_not_filled_with_a_repeated_row(tivar, fit):
    drawing.clouds(40, 30, 4).save(tivar.directory / "in.png")
    asked = ["in.png", "odd.bmp", "--route", "filter", "--fit", fit, "--bits", 24]
    odd = tivar.export(*asked, "--size", "21x21")
    assert odd == tivar.export("in.png", "even.bmp", *asked[2:], "--size", "21x22")


def test_a_size_in_inches_has_a_fit_too(tivar, chart):
    asked = ["--size", "0.5x0.5in", "--resolution", 101, "--fit", "cover"]
    assert headers(tivar.export(chart, "out.bmp", *asked)) == (51, 51, 24)


# --- What goes wrong -----------------------------------------------------------------------------


@pytest.mark.parametrize(
    "options,wanted",
    [
        (["--fit", "cover"], "--fit requires --size"),
        (["--pad", "red"], "--pad requires --size"),
        (["--scale", "pixel"], "--scale requires --size"),
        (["--size", "9x9", "--fit", "fill"], "--fit: fill is none of contain, cover, stretch"),
        (["--size", "9x9", "--scale", "fast"], "--scale: fast is none of smooth, pixel"),
        (["--size", "9x9", "--pad", "reddish"], "--pad reddish is no colour; write it as RRGGBB"),
        (["--size", "9x9", "--fit", "cover", "--pad", "red"], "--fit cover leaves no borders for --pad"),
        (["--size", "9x9", "--fit", "stretch", "--pad", "red"], "--fit stretch leaves no borders for --pad"),
        (["--rotate", "45"], "--rotate: 45 is none of 90, 180, 270"),
        (["--rotate", "-90"], "--rotate: -90 is none of 90, 180, 270"),
        (["--rotate"], "--rotate needs a value, 90|180|270"),
        (["--fit"], "--fit needs a value, contain|cover|stretch"),
    ],
)
def test_mistakes_are_told_in_plain_words(tivar, chart, options, wanted):
    fails(tivar.run("export", chart, "-o", "out.bmp", *options), 2, wanted)
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize("scale", ["smooth", "pixel"])
def test_a_size_that_no_file_can_have_is_refused(tivar, chart, scale):
    asked = ["export", chart, "-o", "out.bmp", "--size", "65535x65535", "--scale", scale]
    wanted = "chart.png: --size 65535x65535 makes a picture of more than 4 gigabytes; choose a smaller"
    fails(tivar.run(*asked), 1, wanted)
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize("size", [(65535, 1), (1, 65535), (65535, 3)])
@pytest.mark.parametrize("fit", ["contain", "cover", "stretch"])
def test_the_longest_sides_are_there(tivar, size, fit):
    Image.new("RGB", size[::-1], RED).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--size", "%dx%d" % size, "--fit", fit)
    assert headers(written)[:2] == size
    assert RED in [color for _, color in seen(written).getcolors()]
