"""export --like: a picture in the form of another BMP file."""

import struct
from dataclasses import dataclass

import bmp
import bmp_build
import bmp_kinds
import drawing
import pytest
from bmp_kinds import KINDS
from conftest import fails
from PIL import Image

SRGB, WINDOWS, LINKED, EMBEDDED = (int.from_bytes(name, "big") for name in (b"sRGB", b"Win ", b"LINK", b"MBED"))


@dataclass
class Head:
    """The headers of a file, by their places in the format alone."""

    offset: int
    header: int
    width: int
    height: int
    bits: int
    compression: int = 0
    image: int = 0
    resolution: tuple = (0, 0)
    colors: int = 0
    masks: tuple = (0, 0, 0, 0)


def head_of(data):
    offset, header = struct.unpack_from("<II", data, 10)
    if header == 12:
        width, height, _, bits = struct.unpack_from("<4H", data, 18)
        return Head(offset, header, width, height, bits)
    width, height, _, bits = struct.unpack_from("<iiHH", data, 18)
    if header == 16:
        return Head(offset, header, width, height, bits)
    compression, image, x, y, colors = struct.unpack_from("<IIIII", data, 30)
    head = Head(offset, header, width, height, bits, compression, image, (x, y), colors)
    if compression in (3, 6) and bits in (16, 32):
        alpha = header >= 56 or (header == 40 and compression == 6)
        head.masks = (*struct.unpack_from("<3I", data, 54), struct.unpack_from("<I", data, 66)[0] if alpha else 0)
    return head


def is_refused(head):
    """2 and 64 bits, OS/2's RLE24, and pictures of other kinds."""
    return head.bits in (0, 2, 64) or head.compression in (4, 5)


def has_own_masks(head):
    if head.masks == (0, 0, 0, 0):
        return False
    usual = [(0xF800, 0x7E0, 0x1F, 0), (0x7C00, 0x3E0, 0x1F, 0)] if head.bits == 16 else [
        (0xFF0000, 0xFF00, 0xFF, 0),
        (0xFF0000, 0xFF00, 0xFF, 0xFF000000),
    ]
    return head.masks not in usual


HEADS = {kind.name: head_of(kind.data) for kind in KINDS}
REFUSED = [kind for kind in KINDS if is_refused(HEADS[kind.name])]
MASKED = [kind for kind in KINDS if has_own_masks(HEADS[kind.name])]
WRITTEN = [kind for kind in KINDS if kind not in REFUSED and kind not in MASKED]


def named(kinds):
    return pytest.mark.parametrize("kind", kinds, ids=[kind.name for kind in kinds])


def save_pixels(kind, path):
    picture = Image.new("RGBA", (len(kind.pixels[0]), len(kind.pixels)))
    picture.putdata([pixel for row in kind.pixels for pixel in row])
    (picture if kind.alpha else picture.convert("RGB")).save(path)


def reference(tivar, kind):
    data = kind.data if isinstance(kind, bmp_kinds.Kind) else kind
    (tivar.directory / "ref.bmp").write_bytes(data)
    return data


def decoded(tivar, name="out.bmp"):
    assert tivar.run("decode", name, "seen.png").returncode == 0
    return bmp.grid(Image.open(tivar.directory / "seen.png").convert("RGBA"))


def with_notice(tivar, *options):
    """An export that says one thing about what it does not follow: that line."""
    result = tivar.run("export", *options)
    text = result.stderr.decode()
    assert result.returncode == 0 and text.count("\n") == 1, text
    return text


def test_the_generator_has_every_form():
    assert len(WRITTEN) >= 80 and len(REFUSED) >= 20 and len(MASKED) >= 12
    assert {HEADS[kind.name].header for kind in WRITTEN} == {12, 16, 40, 52, 56, 64, 108, 124}


def unlike(tivar, *names):
    """The fields that inspect shows with different values for two consistent files."""
    texts = []
    for name in names:
        result = tivar.run("inspect", name)
        assert result.returncode == 0, result.stdout.decode()
        texts.append(result.stdout.decode().splitlines()[1:])
    assert len(texts[0]) == len(texts[1])
    return {line.split("  ")[1] for line, other in zip(*texts) if line != other}


# --- What is followed -----------------------------------------------------------------------------


@named(WRITTEN)
def test_headers_and_palette_are_those_of_the_reference(tivar, kind):
    data = reference(tivar, kind)
    drawing.chart(61, 44).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
    head = HEADS[kind.name]
    wanted = bytearray(data[: head.offset])
    struct.pack_into("<I", wanted, 2, len(written))
    if head.compression in (1, 2):
        struct.pack_into("<I", wanted, 34, len(written) - head.offset)
    else:
        assert len(written) == len(data)
    assert written[: head.offset] == bytes(wanted)
    lengths = {"file size", "image size", "bytes"} if head.compression in (1, 2) else set()
    assert unlike(tivar, "ref.bmp", "out.bmp") <= lengths


@named(WRITTEN)
def test_the_references_own_picture_keeps_its_pixels(tivar, kind):
    reference(tivar, kind)
    save_pixels(kind, tivar.directory / "in.png")
    tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
    assert decoded(tivar) == kind.pixels


@named(MASKED)
def test_masks_that_cannot_be_written_are_told_and_others_stand_in_their_place(tivar, kind):
    reference(tivar, kind)
    save_pixels(kind, tivar.directory / "in.png")
    told = with_notice(tivar, "in.png", "-o", "out.bmp", "--like", "ref.bmp")
    assert told.startswith("tivar: in.png: ref.bmp is not followed in its colour masks; ")
    there, here = HEADS[kind.name], head_of((tivar.directory / "out.bmp").read_bytes())
    if there.bits == 32:
        wanted = (0xFF0000, 0xFF00, 0xFF, 0xFF000000 if there.masks[3] else 0)
        assert decoded(tivar) == kind.pixels
    else:
        wanted = (0x7C00, 0x3E0, 0x1F, 0)
    assert here.masks == wanted
    there.masks = here.masks
    assert here == there
    assert tivar.run("inspect", "out.bmp").returncode == 0


def test_quiet_exports_tell_nothing(tivar, chart):
    reference(tivar, MASKED[0])
    tivar.export(chart, "out.bmp", "--like", "ref.bmp", "--quiet")


def test_an_opaque_picture_is_opaque_where_the_reference_has_alpha(tivar):
    kind = next(kind for kind in KINDS if kind.name == "32 bits with alpha, header 108")
    reference(tivar, kind)
    for size in ((7, 5), (14, 10)):
        picture = drawing.chart(*size)
        picture.save(tivar.directory / "in.png")
        tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
        assert {pixel[3] for row in decoded(tivar) for pixel in row} == {255}


def test_alpha_is_laid_over_white_where_the_reference_has_none(tivar):
    kind = next(kind for kind in KINDS if kind.name == "32 bits, header 40")
    reference(tivar, kind)
    Image.new("RGBA", (7, 5), (200, 100, 0, 128)).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
    assert set(zip(*[iter(written[54:])] * 4)) == {(127, 177, 227, 0)}


def test_a_gap_before_the_pixels_is_as_long_and_empty(tivar):
    kind = bmp_build.windows(2, 2, 24, bytes(16), offset=70)
    data = kind[:54] + b"private data 123" + kind[54:]
    data = data[:2] + struct.pack("<I", len(data)) + data[6:]
    reference(tivar, data)
    drawing.chart(2, 2).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
    assert written[:54] == data[:54] and written[54:70] == bytes(16) and len(written) == len(data)


def test_important_colours_and_an_explicit_count_stay(tivar):
    data = bytearray(bmp_build.windows(2, 2, 8, bytes(8), bmp_build.greys(8)))
    struct.pack_into("<I", data, 50, 256)
    reference(tivar, bytes(data))
    drawing.chart(2, 2).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
    assert written[: 54 + 1024] == data[: 54 + 1024]


def test_one_reference_serves_many_pictures_and_sizes(tivar):
    kind = next(kind for kind in KINDS if kind.name == "RLE8, header 40")
    data = reference(tivar, kind)
    (tivar.directory / "out").mkdir()
    for number in range(3):
        drawing.clouds(20 + number, 30, number).save(tivar.directory / f"{number}.png")
    done = tivar.run("export", "0.png", "1.png", "2.png", "-o", "out", "--like", "ref.bmp", "--size", "21x13", "-j2")
    assert (done.returncode, done.stderr) == (0, b"")
    for number in range(3):
        head = head_of((tivar.directory / "out" / f"{number}.bmp").read_bytes())
        assert (head.width, head.height, head.compression) == (21, 13, 1)
        assert (tivar.directory / "out" / f"{number}.bmp").read_bytes()[54:1078] == data[54:1078]


def test_standard_output_gets_the_same_bytes(tivar, chart):
    reference(tivar, next(kind for kind in KINDS if kind.name == "8 bits, 33 x 4, header 124"))
    written = tivar.export(chart, "out.bmp", "--like", "ref.bmp")
    piped = tivar.run("export", chart, "-o", "-", "--like", "ref.bmp")
    assert (piped.returncode, piped.stdout, piped.stderr) == (0, written, b"")


def test_a_file_can_take_the_place_of_its_reference(tivar, chart):
    data = reference(tivar, next(kind for kind in KINDS if kind.name == "24 bits, header 124"))
    written = tivar.export(chart, "ref.bmp", "--like", "ref.bmp")
    assert written[:138] == data[:138] and written != data


# --- Colour spaces --------------------------------------------------------------------------------


def space_of(data):
    return struct.unpack_from("<I", data, 70)[0], data[74:122], data[126:134]


@pytest.mark.parametrize(
    "space,points,profile,kept",
    [
        (SRGB, bytes(48), (0, 0), True),
        (WINDOWS, bytes(48), (0, 0), True),
        (0, bytes(48), (0, 0), True),
        (0, bytes(range(48)), (0, 0), False),
        (EMBEDDED, bytes(48), (124, 4), False),
        (LINKED, bytes(48), (124, 4), False),
    ],
)
def test_a_colour_space_that_the_pixels_have_not_becomes_srgb(tivar, space, points, profile, kept):
    info = bytearray(bmp_kinds.header(124, 2, 2, 24, profile=profile))
    struct.pack_into("<I", info, 56, space)
    info[60:108] = points
    data = bmp_kinds.file(bytes(info), b"", bytes(16), b"icc!" if profile[0] else b"")
    reference(tivar, data)
    drawing.chart(2, 2).save(tivar.directory / "in.png")
    options = ["in.png", "-o", "out.bmp", "--like", "ref.bmp"]
    if not kept:
        assert "ref.bmp is not followed in its colour space; " in with_notice(tivar, *options)
        wanted = (SRGB, bytes(48), bytes(8))
    else:
        tivar.export("in.png", "out.bmp", "--like", "ref.bmp")
        wanted = space_of(data)
    written = (tivar.directory / "out.bmp").read_bytes()
    assert space_of(written) == wanted and b"icc!" not in written
    assert len(written) == len(data)


# --- Other options win ----------------------------------------------------------------------------


def like(tivar, name, *options):
    """The head of an export like the kind of that name, and the line that it said."""
    kind = next(kind for kind in KINDS if kind.name == name)
    reference(tivar, kind)
    drawing.chart(61, 44).save(tivar.directory / "in.png")
    result = tivar.run("export", "in.png", "-o", "out.bmp", "--like", "ref.bmp", *options)
    assert result.returncode == 0, result.stderr
    written = (tivar.directory / "out.bmp").read_bytes()
    assert tivar.run("inspect", "out.bmp").returncode == 0
    return head_of(written), result.stderr.decode(), written


def test_the_size_of_an_option_wins(tivar):
    head, told, _ = like(tivar, "8 bits, top row first, header 124", "--size", "9x3")
    assert (head.width, head.height, head.bits, head.header, told) == (9, -3, 8, 124, "")


def test_the_references_size_is_met_as_options_say(tivar):
    head, told, _ = like(tivar, "24 bits, header 40", "--fit", "contain", "--pad", "0000ff")
    assert (head.width, head.height, told) == (7, 5, "")
    # 61 x 44 in 7 x 5 leaves no border; 9 x 3 does, above and below.
    drawing.chart(9, 3).save(tivar.directory / "in.png")
    tivar.export("in.png", "out.bmp", "--like", "ref.bmp", "--fit", "contain", "--pad", "0000ff")
    seen = decoded(tivar)
    assert set(seen[0]) == set(seen[4]) == {(0, 0, 255, 255)}


def test_the_depth_of_an_option_wins(tivar):
    head, told, _ = like(tivar, "8 bits, top row first, header 40", "--bits", 24)
    assert (head.width, head.height, head.bits, head.header) == (7, -5, 24, 40)
    assert (head.resolution, told) == ((2835, 2835), "")


def test_a_palette_of_an_option_wins(tivar):
    head, told, written = like(tivar, "8 bits, 7 x 5, header 108", "--palette", "bw")
    assert (head.bits, head.header, head.compression) == (8, 108, 0)
    assert written[122:130] == bytes([0, 0, 0, 0, 255, 255, 255, 0]) and told == ""


def test_a_palette_that_the_depth_has_no_room_for_brings_its_own_depth(tivar):
    assert like(tivar, "1 bits, 7 x 5, header 40", "--palette", "grey16")[0].bits == 4


@pytest.mark.parametrize("option,masks", [("--rgb565", (0xF800, 0x7E0, 0x1F, 0)), ("--rgb555", (0, 0, 0, 0))])
def test_masks_of_an_option_win(tivar, option, masks):
    name = "16 bits, header 40" if option == "--rgb565" else "16 bits, 565, header 40"
    head, told, _ = like(tivar, name, option)
    assert (head.bits, head.masks, told) == (16, masks, "")


@pytest.mark.parametrize("option,compression", [("none", 0), ("portable", 1)])
def test_the_encoding_of_an_option_wins(tivar, option, compression):
    name = "RLE8, header 40" if option == "none" else "8 bits, 7 x 5, header 40"
    head, told, _ = like(tivar, name, "--compress", option)
    assert (head.bits, head.compression, told) == (8, compression, "")


def test_run_lengths_leave_the_order_of_rows_with_a_notice(tivar):
    head, told, _ = like(tivar, "8 bits, top row first, header 40", "--compress", "portable")
    assert head.height == 5 and "is not followed in its row order; " in told


def test_a_depth_without_run_lengths_leaves_them_with_a_notice(tivar):
    head, told, _ = like(tivar, "RLE4, header 40", "--bits", 24)
    assert (head.bits, head.compression) == (24, 0) and "its run lengths" in told


def test_the_flavour_of_an_option_wins_with_a_notice_of_what_it_has_no_field_for(tivar):
    head, told, _ = like(tivar, "8 bits, top row first, header 124", "--os2")
    assert (head.header, head.height) == (12, 5)
    assert "is not followed in its row order, its resolution, its header (Windows, version 5, 124 bytes); " in told


def test_an_os2_reference_becomes_a_windows_file_for_depths_that_it_has_not(tivar):
    head, told, _ = like(tivar, "8 bits, 7 x 5, header 12", "--bits", 16)
    assert (head.header, head.bits) == (40, 16) and "its header (OS/2 1.x, 12 bytes)" in told


def test_a_background_wins_over_transparency_and_the_file_keeps_its_form(tivar):
    kind = next(kind for kind in KINDS if kind.name == "32 bits with alpha, header 124")
    data = reference(tivar, kind)
    Image.new("RGBA", (7, 5), (200, 100, 0, 128)).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--like", "ref.bmp", "--background", "000000")
    assert written[14:138] == data[14:138]
    assert set(zip(*[iter(written[138:])] * 4)) == {(0, 50, 100, 255)}


# --- What cannot be followed ----------------------------------------------------------------------


@named(REFUSED)
def test_a_form_that_cannot_be_written_is_refused_until_an_option_replaces_it(tivar, chart, kind):
    reference(tivar, kind)
    asked = ["export", chart, "-o", "out.bmp", "--like", "ref.bmp"]
    remedy = "--compress" if HEADS[kind.name].compression == 4 and "RLE24" in kind.name else "--bits"
    fails(tivar.run(*asked), 1, "tivar: ref.bmp: has ", "which cannot be written; ", remedy)
    assert not (tivar.directory / "out.bmp").exists()
    option = ["--compress", "none"] if remedy == "--compress" else ["--bits", 24]
    assert tivar.run(*asked, *option).returncode == 0
    head = head_of((tivar.directory / "out.bmp").read_bytes())
    there = HEADS[kind.name]
    assert (head.bits, head.compression, head.width, head.height) == (24, 0, there.width, there.height)


def cut(data):
    return data[:-1]


def without_planes(data):
    return data[:26] + bytes(2) + data[28:]


def with_pixels_in_the_header(data):
    return data[:10] + struct.pack("<I", 30) + data[14:]


def with_many_colors(data):
    return data[:46] + struct.pack("<I", 300) + data[50:]


def without_end(data):
    return data[: head_of(data).offset + 3]


@pytest.mark.parametrize("damage", [cut, without_planes, with_pixels_in_the_header, with_many_colors, without_end])
def test_a_damaged_reference_is_refused(tivar, chart, damage):
    reference(tivar, damage(next(kind for kind in KINDS if kind.name == "8 bits, 7 x 5, header 40").data))
    result = tivar.run("export", chart, "-o", "out.bmp", "--like", "ref.bmp")
    fails(result, 1, "tivar: ref.bmp: ", "; see tivar inspect, or follow a sound file")
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize("place,value", [(2, 9), (6, 77), (34, 3)])
def test_a_wrong_size_or_reserved_field_is_put_right_with_a_notice(tivar, chart, place, value):
    data = next(kind for kind in KINDS if kind.name == "8 bits, 7 x 5, header 40").data
    reference(tivar, data[:place] + struct.pack("<I", value) + data[place + 4 :])
    told = with_notice(tivar, chart, "-o", "out.bmp", "--like", "ref.bmp")
    assert "in ref.bmp the " in told
    assert tivar.run("inspect", "out.bmp").returncode == 0


@pytest.mark.parametrize(
    "data,wanted",
    [(b"", "is empty"), (b"\x89PNG\r\n", "is no BMP file"), (b"BM" + bytes(30), "has an info header of 0 bytes")],
)
def test_what_is_no_bmp_file_is_refused(tivar, chart, data, wanted):
    reference(tivar, data)
    fails(tivar.run("export", chart, "-o", "o.bmp", "--like", "ref.bmp"), 1, f"tivar: ref.bmp: {wanted}")


def test_a_reference_that_is_not_there_is_a_failure(tivar, chart):
    fails(tivar.run("export", chart, "-o", "o.bmp", "--like", "none.bmp"), 1, "tivar: none.bmp: No such file")


@pytest.mark.parametrize(
    "options,wanted",
    [
        (["--route", "filter"], "--like needs --route direct"),
        (["--profile", "my.ini"], "--profile does not go with --like"),
        (["--bits", 24, "--compress", "portable"], "--compress portable exists for 4 and 8 bits"),
    ],
)
def test_options_that_exclude_it_are_wrong_usage(tivar, chart, options, wanted):
    reference(tivar, KINDS[0])
    fails(tivar.run("export", chart, "-o", "o.bmp", "--like", "ref.bmp", *options), 2, wanted)
