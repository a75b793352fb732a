"""Every kind of BMP file as input, to tivar decode and to tivar inspect."""

import json
import os
import random

import bmp
import bmp_kinds
import pytest
from conftest import fails
from PIL import Image


@pytest.fixture(params=bmp_kinds.KINDS, ids=lambda kind: kind.name)
def kind(request, tivar):
    (tivar.directory / "in.bmp").write_bytes(request.param.data)
    return request.param


def test_decode_gives_the_pixels(tivar, kind):
    result = tivar.run("decode", "in.bmp", "out.png")
    assert (result.returncode, result.stderr) == (0, b"")
    picture = Image.open(tivar.directory / "out.png")
    assert (picture.mode == "RGBA") == kind.alpha
    assert bmp.grid(picture.convert("RGBA")) == kind.pixels


def test_export_takes_it_over_the_background(tivar, kind):
    options = ["--bits", 24, "--background", "204080", "--route", "driver", "--cell-arrays", "single"]
    written = bmp.read(tivar.export("in.bmp", "out.bmp", *options))
    behind = (0x20, 0x40, 0x80)
    assert written.pixels() == [
        [tuple((c * p[3] + b * (255 - p[3]) + 127) // 255 for c, b in zip(p, behind)) for p in row]
        for row in kind.pixels
    ]


def test_inspect_finds_it_consistent(tivar, kind):
    result = tivar.run("inspect", "--json", "in.bmp")
    told = json.loads(result.stdout)
    assert (told["verdict"], told["flaws"], result.returncode) == ("consistent", [], 0)
    assert told["info_header"]["width"] == len(kind.pixels[0])
    assert told["info_header"]["height"] == len(kind.pixels)
    text = tivar.run("inspect", "in.bmp")
    assert (text.returncode, text.stdout.splitlines()[-1]) == (0, b"consistent")


HUFFMAN = bmp_kinds.file(bmp_kinds.header(64, 8, 8, 1, 3), bmp_kinds.palette_of(bmp_kinds.GREYS[:2], 4), bytes(9))
CMYK = bmp_kinds.file(bmp_kinds.header(40, 4, 4, 32, 11), b"", bytes(64))


@pytest.mark.parametrize("data,why", [(HUFFMAN, "compression 3"), (CMYK, "compression 11")])
def test_kinds_that_are_not_decoded_are_not_inconsistent(tivar, data, why):
    (tivar.directory / "in.bmp").write_bytes(data)
    told = tivar.run("inspect", "in.bmp")
    assert told.returncode == 0 and b"inconsistent" not in told.stdout
    assert told.stdout.decode().splitlines()[-2:] == [
        "not decoded",
        f"  not decoded: {why} at a depth of {1 if data is HUFFMAN else 32} bit{'s' if data is CMYK else ''}",
    ]
    assert json.loads(tivar.run("inspect", "--json", "in.bmp").stdout)["verdict"] == "not decoded"
    fails(tivar.run("decode", "in.bmp", "out.png"), 1, "in.bmp", "not decoded", why)
    fails(tivar.run("export", "in.bmp", "-o", "out.bmp"), 1, "in.bmp", "not decoded", why)


@pytest.mark.parametrize("masks", [(0xF801, 0x07E0, 0x1E, 0), (0xF800, 0xFE0, 0x1F, 0), (0xF80000, 0x7E0, 0x1F, 0)])
def test_masks_that_make_no_colours(tivar, masks):
    (tivar.directory / "in.bmp").write_bytes(bmp_kinds.fields("16", 108, 16, masks).data)
    told = json.loads(tivar.run("inspect", "--json", "in.bmp").stdout)
    assert told["verdict"] == "inconsistent" and told["flaws"][0]["at"] == 54
    fails(tivar.run("decode", "in.bmp", "out.png"), 1, "masks", "byte 54")


def lenient(tivar, data):
    """The pixels and the notice."""
    (tivar.directory / "in.bmp").write_bytes(data)
    fails(tivar.run("decode", "in.bmp", "out.png"), 1, "in.bmp")
    result = tivar.run("decode", "--lenient", "in.bmp", "out.png")
    assert result.returncode == 0
    return bmp.grid(Image.open(tivar.directory / "out.png").convert("RGBA")), result.stderr.decode()


BLACK = (0, 0, 0, 255)


def test_a_file_cut_short_is_read_as_far_as_it_goes(tivar):
    whole = bmp_kinds.true_color("cut", 40, 7, 5)
    pixels, told = lenient(tivar, whole.data[: 54 + 24 * 2 + 6])  # two rows and two pixels
    assert pixels == [[BLACK] * 7] * 2 + [whole.pixels[2][:2] + [BLACK] * 5] + whole.pixels[3:]
    assert "cut short: 54 of 120 bytes" in told and told.count("\n") == 1


def test_run_lengths_cut_short_are_read_as_far_as_they_go(tivar):
    whole = bmp_kinds.runs8("cut", 40)
    pixels, told = lenient(tivar, whole.data[:-12])  # within the second row from the bottom
    assert pixels[2] == whole.pixels[2] and pixels[0] == [BLACK] * 6
    assert "cut short" in told


def test_json_names_files_of_any_bytes(tivar):
    kind = bmp_kinds.KINDS[0]
    name = b"d\xe9j\xc3\xa0 \"x\"\n\x9b.bmp"
    with open(os.fsencode(tivar.directory) + b"/" + name, "wb") as file:
        file.write(kind.data)
    told = json.loads(tivar.run("inspect", "--json", os.fsdecode(name)).stdout)
    assert told["file"].encode("utf-8", "surrogateescape") == name


def test_json_has_every_field(tivar):
    data = bmp_kinds.file(
        bmp_kinds.header(40, 3, -2, 8, colors=2), bmp_kinds.palette_of([(1, 2, 3), (255, 0, 16)], 4), bytes(8), tail=b"xy"
    )
    (tivar.directory / "in.bmp").write_bytes(data)
    assert json.loads(tivar.run("inspect", "--json", "in.bmp").stdout) == {
        "file": "in.bmp",
        "bytes": 72,
        "file_header": {"size": 72, "reserved": 0, "pixel_offset": 62},
        "info_header": {
            "bytes": 40, "kind": "Windows, 40 bytes", "width": 3, "height": 2, "row_order": "top-down",
            "planes": 1, "bits": 8, "compression": 0, "compression_name": "none", "image_size": 0,
            "x_per_meter": 2835, "y_per_meter": 2835, "colors_used": 2,
        },
        "pixels": {"form": "raw", "row_stride": 4, "at": 62, "bytes": 8, "bytes_after": 2},
        "palette": ["010203", "FF0010"],
        "verdict": "consistent",
        "flaws": [],
        "more_flaws": 0,
    }


def damaged(data, seed):
    """Some bytes changed, most of them in the headers, or the end cut off."""
    draw = random.Random(seed)
    data = bytearray(data)
    for _ in range(draw.randrange(1, 4)):
        place = draw.randrange(2, min(len(data), 80) if draw.randrange(4) else len(data))
        data[place] = draw.choice((0, 1, 2, 127, 128, 255, draw.randrange(256)))
    return bytes(data[: draw.randrange(20, len(data))] if draw.randrange(3) == 0 else data)


def test_damaged_files_of_every_kind_are_survived(tivar, kind):
    for seed in range(6):
        (tivar.directory / "in.bmp").write_bytes(damaged(kind.data, f"{kind.name} {seed}"))
        limit = ["--limit-pixels", 1000000]
        for arguments in (
            ["inspect", "--json", "in.bmp"],
            ["decode", *limit, "--lenient", "in.bmp", "out.png"],
            ["export", *limit, "--lenient", "in.bmp", "-o", "out.bmp"],
        ):
            result = tivar.run(*arguments)
            assert result.returncode in (0, 1), (seed, arguments, result.stderr)
            if arguments[0] == "inspect" and result.stdout:
                json.loads(result.stdout)
