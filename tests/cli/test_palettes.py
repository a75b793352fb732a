"""Colours of the file: palettes from files and by name, how many, how they are mixed."""

import io
import struct

import drawing
import pytest
from conftest import fails
from PIL import Image

BLACK, WHITE, RED, GREEN, BLUE = (0, 0, 0), (255, 255, 255), (255, 0, 0), (0, 255, 0), (0, 0, 255)
COLORS = [WHITE, (1, 2, 3), RED, (16, 32, 48), GREEN]
LINES = [f"{r:3} {g:3} {b:3}" for r, g, b in COLORS]


def palette(data):
    """The entries between the headers and the pixels."""
    offset = struct.unpack_from("<I", data, 10)[0]
    return [tuple(data[at : at + 3][::-1]) for at in range(54, offset, 4)]


def depth(data):
    return struct.unpack_from("<H", data, 28)[0]


def used(data):
    return {color for _, color in Image.open(io.BytesIO(data)).convert("RGB").getcolors(1 << 24)}


def riff(colors, before=b""):
    entries = b"".join(bytes([*color, 0]) for color in colors)
    data = struct.pack("<4sIHH", b"data", 4 + len(entries), 0x300, len(colors)) + entries
    return b"RIFF" + struct.pack("<I", 4 + len(before + data)) + b"PAL " + before + data


def table(colors):
    return b"".join(map(bytes, colors)).ljust(768, b"\0")


FILES = {
    "a.gpl": "GIMP Palette\nName: five\nColumns: 3\n#\n" + "\n".join(f"{l}\tone" for l in LINES) + "\n",
    "a.pal": "JASC-PAL\r\n0100\r\n5\r\n" + "\r\n".join(" ".join(l.split()) for l in LINES) + "\r\n",
    "riff.pal": riff(COLORS),
    "chunks.pal": riff(COLORS, b"odd \x03\0\0\0abc\0"),
    "a.hex": "ffffff\n010203\nFF0000\n#102030\n\n00ff00",
    "a.act": table(COLORS) + b"\0\x05\xff\xff",
}


@pytest.fixture
def clouds(tivar):
    picture = drawing.clouds(61, 45, 2)
    picture.save(tivar.directory / "in.png")
    return "in.png"


@pytest.mark.parametrize("name", FILES)
def test_a_palette_file_is_the_palette_in_its_order(tivar, clouds, name):
    text = FILES[name]
    (tivar.directory / name).write_bytes(text if isinstance(text, bytes) else text.encode())
    written = tivar.export(clouds, "out.bmp", "--palette", name)
    assert depth(written) == 4
    assert palette(written) == COLORS
    assert len(used(written)) > 1


def test_a_table_without_a_count_has_256_colours(tivar, clouds):
    colors = [(i, 255 - i, i // 2) for i in range(256)]
    (tivar.directory / "a.act").write_bytes(table(colors))
    written = tivar.export(clouds, "out.bmp", "--palette", "a.act")
    assert (depth(written), palette(written)) == (8, colors)


@pytest.mark.parametrize("suffix", ["png", "bmp"])
def test_a_picture_lends_its_palette(tivar, clouds, suffix):
    colors = [BLACK, (9, 8, 7), WHITE, (1, 1, 1), RED, (4, 5, 6), GREEN, BLUE] + 8 * [(3, 3, 3)]
    lender = Image.new("P", (4, 4), 5)
    lender.putpalette(sum(colors, ()))
    lender.save(tivar.directory / f"lender.{suffix}")
    written = tivar.export(clouds, "out.bmp", "--palette", f"lender.{suffix}", "--bits", 8)
    assert palette(written)[:16] == colors


def test_a_picture_without_a_palette_lends_its_colours(tivar, clouds):
    lender = Image.new("RGB", (3, 2), RED)
    lender.putpixel((1, 0), (7, 8, 9))
    lender.putpixel((0, 1), BLUE)
    lender.save(tivar.directory / "lender.png")
    written = tivar.export(clouds, "out.bmp", "--palette", "lender.png")
    assert palette(written) == [RED, (7, 8, 9), BLUE]


EVEN16 = [(17 * i,) * 3 for i in range(16)]
DARK8 = [BLACK, (128, 0, 0), (0, 128, 0), (128, 128, 0), (0, 0, 128), (128, 0, 128), (0, 128, 128)]
DARK8 += [(192,) * 3]
LIGHT8 = [(128,) * 3, RED, GREEN, (255, 255, 0), BLUE, (255, 0, 255), (0, 255, 255), WHITE]
BETWEEN = [(192, 220, 192), (166, 202, 240), (255, 251, 240), (160, 160, 164)]
STEPS = [0, 51, 102, 153, 204, 255]


@pytest.mark.parametrize(
    "name,bits,wanted",
    [
        ("bw", 1, [BLACK, WHITE]),
        ("grey4", 4, [(0,) * 3, (85,) * 3, (170,) * 3, (255,) * 3]),
        ("grey16", 4, EVEN16),
        ("epaper7", 4, [BLACK, WHITE, GREEN, BLUE, RED, (255, 255, 0), (255, 128, 0)]),
        ("epaper6", 4, [BLACK, WHITE, (255, 255, 0), RED, BLUE, GREEN]),
        ("bwr", 4, [BLACK, WHITE, RED]),
        ("bwy", 4, [BLACK, WHITE, (255, 255, 0)]),
        ("windows16", 4, DARK8 + LIGHT8),
        ("windows20", 8, DARK8 + BETWEEN + LIGHT8),
        ("web216", 8, [(r, g, b) for r in STEPS for g in STEPS for b in STEPS]),
    ],
)
def test_a_known_palette_needs_no_file(tivar, clouds, name, bits, wanted):
    written = tivar.export(clouds, "out.bmp", "--palette", name)
    assert (depth(written), palette(written)) == (bits, wanted)
    assert used(written) <= set(wanted)


@pytest.mark.parametrize(
    "name,content,wanted",
    [
        ("a.gpl", b"GIMP Palette\n1 2\n", "a.gpl: is no palette: line 2 is no colour"),
        ("a.gpl", b"1 2 3\n", "a.gpl: is no palette: it does not begin like one"),
        ("a.gpl", b"GIMP Palette\n1 2 256\n", "line 2 is no colour"),
        ("a.gpl", b"GIMP Palette\n", "it has no colours"),
        ("a.gpl", b"GIMP Palette\n" + b"1 2 3\n" * 257, "a.gpl: has more than 256 colours"),
        ("a.hex", b"12345\n", "line 1 is no colour"),
        ("a.act", b"abc", "it has not 768 or 772 bytes"),
        ("a.pal", riff(COLORS)[:-1], "its end is missing"),
        ("a.pal", b"RIFF\0\0\0\0PAL odd \xf0\xff\xff\xff" + bytes(40), "it has no data"),
        ("a.pal", b"RIFF", "it does not begin like one"),
        ("a.png", b"abc", "a.png: is no picture of a known kind"),
        ("none.gpl", None, "none.gpl: No such file"),
    ],
)
def test_what_is_no_palette_is_a_failure(tivar, clouds, name, content, wanted):
    if content is not None:
        (tivar.directory / name).write_bytes(content)
    fails(tivar.run("export", clouds, "-o", "out.bmp", "--palette", name), 1, wanted)


@pytest.mark.parametrize("count,bits", [(2, 1), (3, 4), (16, 4), (17, 8), (256, 8)])
def test_a_number_of_colours_is_not_passed(tivar, clouds, count, bits):
    written = tivar.export(clouds, "out.bmp", "--colors", count)
    assert depth(written) == bits
    assert 1 < len(used(written)) <= count


def test_few_colours_stay_exactly(tivar):
    picture = Image.new("RGB", (40, 3), (1, 2, 3))
    for x in range(10):
        picture.putpixel((4 * x, 1), (10 * x, 255 - x, 7))
    picture.save(tivar.directory / "in.png")
    for options in (["--bits", 4, "--route", "direct"], ["--colors", 11]):
        written = tivar.export("in.png", "out.bmp", *options)
        assert depth(written) == 4
        assert Image.open(io.BytesIO(written)).convert("RGB").tobytes() == picture.tobytes()


def grey(tivar, value=128):
    Image.new("RGB", (64, 64), (value,) * 3).save(tivar.directory / "in.png")
    return "in.png"


def test_without_dithering_each_pixel_has_the_nearest_colour(tivar):
    for value, wanted in ((60, BLACK), (240, WHITE)):
        written = tivar.export(grey(tivar, value), "o.bmp", "--palette", "bw", "--dither", "none")
        assert used(written) == {wanted}


@pytest.mark.parametrize("dither", ["diffuse", "ordered"])
def test_dithering_mixes_the_tone(tivar, dither):
    written = tivar.export(grey(tivar), "o.bmp", "--palette", "bw", "--dither", dither)
    share = Image.open(io.BytesIO(written)).convert("L").histogram()[255] / 64**2
    # As many white ones as the eye, which sees light, or as the number, which is 128 of 255, wants.
    assert 0.15 < share < 0.55


@pytest.mark.parametrize("dither,stays", [("ordered", True), ("diffuse", False)])
def test_only_in_a_fixed_pattern_a_pixel_is_free_of_its_neighbours(tivar, dither, stays):
    halves = []
    for value in (128, 40):
        picture = Image.new("RGB", (64, 64), (128,) * 3)
        picture.paste((value,) * 3, (32, 0, 64, 64))
        picture.save(tivar.directory / "in.png")
        written = tivar.export("in.png", "o.bmp", "--palette", "bw", "--dither", dither)
        halves.append(Image.open(io.BytesIO(written)).crop((0, 0, 32, 64)).tobytes())
    assert (halves[0] == halves[1]) == stays


# 200, 100, 50 have the levels 24, 25, 6 of 31, 63, 31 and 24, 12, 6 of 31 each.
@pytest.mark.parametrize(
    "options,word",
    [
        (["--bits", 16], 24 << 11 | 25 << 5 | 6),
        (["--rgb565"], 24 << 11 | 25 << 5 | 6),
        (["--rgb555"], 24 << 10 | 12 << 5 | 6),
    ],
)
def test_16_bits_have_the_levels_asked_for(tivar, options, word):
    Image.new("RGB", (2, 1), (200, 100, 50)).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", *options)
    assert depth(written) == 16
    assert written[-4:] == struct.pack("<HH", word, word)


@pytest.mark.parametrize(
    "options,wanted",
    [
        (["--palette", "bw", "--route", "filter"], "--palette needs --route direct"),
        (["--colors", 4, "--route", "driver"], "--colors needs --route direct"),
        (["--dither", "none", "--route", "filter"], "--dither needs --route direct"),
        (["--rgb555", "--route", "filter"], "--rgb555 needs --route direct"),
        (["--palette", "bw", "--profile", "my.ini"], "--profile does not go with --palette"),
        (["--dither", "none", "--compress", "native"], "--compress native does not go with --dither"),
        (["--palette", "epaper7", "--bits", 1], "--palette has 7 colours, more than 2 at a depth"),
        (["--palette", "bw", "--bits", 24], "--palette is for 1, 4 and 8 bits, not for 24"),
        (["--colors", 17, "--bits", 4], "--colors has 17 colours, more than 16"),
        (["--colors", 1], "--colors"),
        (["--colors", 257], "--colors"),
        (["--colors", 4, "--palette", "bw"], "--colors"),
        (["--dither", "ordered"], "--dither is for 1, 4, 8 and 16 bits, not for 24"),
        (["--dither", "maybe"], "--dither: maybe is none of none, diffuse, ordered"),
        (["--rgb565", "--rgb555"], "--rgb5"),
        (["--rgb565", "--bits", 8], "--rgb565 or --rgb555 is for 16 bits, not for 8"),
    ],
)
def test_options_that_do_not_fit_are_wrong_usage(tivar, clouds, options, wanted):
    fails(tivar.run("export", clouds, "-o", "out.bmp", *options), 2, wanted)
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize(
    "text,wanted",
    [
        ("f80", (255, 136, 0)),
        ("#F80", (255, 136, 0)),
        ("#102030", (16, 32, 48)),
        ("black", BLACK),
        ("White", WHITE),
        ("navy", (0, 0, 128)),
        ("orange", (255, 165, 0)),
    ],
)
def test_colours_may_be_short_or_named(tivar, text, wanted):
    Image.new("RGBA", (2, 2), (9, 9, 9, 0)).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--background", text)
    assert used(written) == {wanted}


def test_a_palette_that_is_neither_known_nor_a_file_names_the_known_ones(tivar, chart):
    result = tivar.run("export", chart, "-o", "out.bmp", "--palette", "epaper8")
    fails(result, 2, "--palette epaper8 is neither a file nor a known palette", "epaper7, epaper6")
    assert not (tivar.directory / "out.bmp").exists()


def test_known_palettes_are_known_in_capitals_too(tivar, chart):
    small = tivar.export(chart, "a.bmp", "--palette", "epaper7")
    assert tivar.export(chart, "b.bmp", "--palette", "EPaper7") == small
