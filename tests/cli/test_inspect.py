"""tivar inspect: what is in a BMP file, and every inconsistency with its place."""

import json
import random
import re
import resource
import struct
import time

import bmp_build
import drawing
import pytest
from conftest import fails


def inspect(tivar, data):
    """Exit code, fields by name, palette, inconsistencies as (byte, text)."""
    (tivar.directory / "in.bmp").write_bytes(data)
    result = tivar.run("inspect", "in.bmp")
    text = result.stdout.decode()
    assert result.stderr == b""
    fields = dict(re.findall(r"^  ([a-z]\D+?)  +(.+)$", text, re.MULTILINE))
    palette = re.findall(r"^ +(\d+)  ([0-9A-F]{6})$", text, re.MULTILINE)
    assert [int(index) for index, _ in palette] == list(range(len(palette)))
    flaws = [(int(at), what) for at, what in re.findall(r"^  byte (\d+): (.+)$", text, re.MULTILINE)]
    assert ("\nconsistent\n" in text) == (not flaws) == (result.returncode == 0)
    return result.returncode, fields, [color for _, color in palette], flaws


def flaws_of(tivar, data):
    code, _, _, flaws = inspect(tivar, data)
    assert code == (1 if flaws else 0)
    return flaws


# --- Files that are in order ---------------------------------------------------------------------


@pytest.mark.parametrize("os2", [False, True])
@pytest.mark.parametrize("bits", [1, 4, 8, 24])
def test_raw_exports_are_consistent(tivar, chart, bits, os2):
    data = tivar.export(chart, "out.bmp", "--bits", bits, *(["--os2"] if os2 else []))
    code, fields, palette, flaws = inspect(tivar, data)
    assert (code, flaws) == (0, [])
    stride = (61 * bits + 31) // 32 * 4
    colors = 0 if bits == 24 else 1 << bits
    offset = 26 + 3 * colors if os2 else 54 + 4 * colors
    assert fields["kind"] == ("OS/2 1.x, 12 bytes" if os2 else "Windows, 40 bytes")
    assert fields["size"] == "61 x 44, bottom row first"
    assert fields["depth"] == ("1 bit" if bits == 1 else f"{bits} bits")
    assert fields["file size"] == str(len(data))
    assert fields["pixel offset"] == str(offset)
    assert fields["compression"] == ("no field" if os2 else "0 (none)")
    assert fields["form"] == "raw rows"
    assert fields["row stride"] == f"{stride} bytes"
    assert fields["bytes"] == f"{stride * 44} from byte {offset}"
    assert fields["bytes after"] == "0"
    entry = 3 if os2 else 4
    stored = [data[offset - entry * (colors - i) :][:3] for i in range(colors)]
    assert palette == [f"{c[2]:02X}{c[1]:02X}{c[0]:02X}" for c in stored]


@pytest.mark.parametrize("bits", [4, 8])
def test_the_native_form_is_recognised_with_the_windows_header(tivar, chart, bits):
    data = tivar.export(chart, "out.bmp", "--bits", bits, "--compress", "native")
    code, fields, _, flaws = inspect(tivar, data)
    assert (code, flaws) == (0, [])
    assert fields["form"].startswith("native")
    assert fields["compression"] == {8: "1 (RLE8)", 4: "2 (RLE4)"}[bits]
    assert fields["image size"] == str(len(data) - 54 - 4 * (1 << bits))


def test_standard_run_lengths_are_recognised(tivar):
    for data, form in ((bmp_build.rle8(), "RLE8"), (bmp_build.rle4(), "RLE4")):
        code, fields, _, flaws = inspect(tivar, data)
        # The delta of the RLE8 picture leaves pixels out, which is allowed.
        assert (code, flaws) == (0, [])
        assert fields["form"].startswith(form)
        assert fields["image size"] == fields["bytes"].split()[0]


def test_top_down_rows_are_named(tivar):
    data = bmp_build.windows(1, -2, 24, bytes(8))
    assert inspect(tivar, data)[1]["size"] == "1 x 2, top row first"


@pytest.mark.parametrize(
    "size,name",
    [
        (52, "Windows with colour masks"),
        (64, "OS/2 2.x"),
        (108, "Windows, version 4"),
        (124, "Windows, version 5"),
    ],
)
def test_longer_headers_are_named(tivar, size, name):
    plain = bmp_build.windows(1, 2, 24, bytes(8), header=size, offset=14 + size, size=22 + size)
    data = plain[:54] + bytes(size - 40) + plain[54:]
    code, fields, _, _ = inspect(tivar, data)
    assert (code, fields["kind"]) == (0, f"{name}, {size} bytes")


def test_standard_input_is_read(tivar):
    result = tivar.run("inspect", "-", input=bmp_build.rle8())
    assert result.returncode == 0
    assert result.stdout.startswith(b"standard input: ")


# --- Inconsistencies -----------------------------------------------------------------------------

RAW = dict(width=3, height=2, bits=8, pixels=bytes(8), palette=bmp_build.greys(8))
END = 54 + 1024 + 8


@pytest.mark.parametrize(
    "change,at,fragment",
    [
        (dict(size=99), 2, "says 99 instead of 1086"),
        (dict(reserved=7), 6, "reserved"),
        (dict(offset=END + 1), 10, "behind the end"),
        (dict(offset=20), 10, "within the headers"),
        (dict(planes=3), 26, "3 planes"),
        (dict(bits=7), 28, "7 bits"),
        (dict(width=-3), 18, "width of -3"),
        (dict(height=0), 22, "height of 0"),
        (dict(height=3), END, "8 of 12 bytes"),
        (dict(image=9), 34, "says 9 instead of 8"),
        (dict(colors=257), 46, "257 colours"),
        (dict(compression=2), 30, "RLE4 at a depth of 8"),
        (dict(header=41), 14, "41 bytes"),
        (dict(palette=[(0, 0, 0)] * 2, colors=4), 54, "2 of 4 palette entries"),
        # The second row of the file is the upper one of the picture.
        (dict(palette=[(0, 0, 0)] * 5, pixels=b"\0\1\2\0" b"\3\4\5\0"), 54 + 20 + 6, "pixel 2, 0"),
    ],
)
def test_every_wrong_field_is_told_with_its_place(tivar, change, at, fragment):
    flaws = flaws_of(tivar, bmp_build.windows(**{**RAW, **change}))
    assert [what for place, what in flaws if place == at and fragment in what], flaws


def test_fields_of_the_os2_header_have_other_places(tivar):
    data = bytearray(bmp_build.os2(3, 2, 8, bytes(8), bmp_build.greys(8)))
    assert flaws_of(tivar, data) == []
    struct.pack_into("<HHH", data, 20, 0, 2, 5)
    assert [at for at, _ in flaws_of(tivar, data)] == [18, 20, 22, 24]


def test_the_os2_native_form_loses_colours_under_its_length(tivar, chart):
    data = tivar.export(chart, "out.bmp", "--bits", 8, "--os2", "--compress", "native", "--force")
    code, fields, _, flaws = inspect(tivar, data)
    assert fields["form"].startswith("native")
    assert code == 1 and [at for at, _ in flaws] == [34]
    assert "entries 2 and 3" in flaws[0][1]


BODY = 54 + 1024


@pytest.mark.parametrize(
    "codes,at,fragment",
    [
        ([9, 1, 0, 0, 0, 1], BODY, "a run of 9 pixels in row 0 of the file, which has 6 left"),
        ([6, 1, 0, 0, 6, 1, 3, 1, 0, 0], BODY + 6, "a run of 3 pixels in row 1"),
        ([5, 1, 3, 1, 0, 0], BODY + 2, "row 0 of the file, which has 1 and padding left"),
        ([6, 1, 0, 0, 0, 1], BODY + 4, "the bitmap ends in row 1"),
        ([6, 1, 0, 0, 6, 1], BODY + 6, "cut short in row 1"),
        ([6, 1, 0, 0, 0, 5, 1, 2], BODY + 4, "cut short in row 1"),
        ([0, 2, 7, 0, 0, 1], BODY, "a delta out of the picture"),
        ([0, 2, 0, 4, 0, 1], BODY, "a delta out of the picture"),
        ([0, 0] * 4 + [1, 1, 0, 1], BODY + 8, "after the last row"),
        ([6, 1, 0, 0] * 4, BODY + 16, "no end-of-bitmap code"),
    ],
)
def test_every_wrong_run_is_told_with_its_place(tivar, codes, at, fragment):
    flaws = flaws_of(tivar, bmp_build.rle8(bytes(codes)))
    assert [what for place, what in flaws if place == at and fragment in what], flaws


def test_bytes_after_the_end_of_the_bitmap_are_counted(tivar):
    codes = bmp_build.RLE8_CODES
    code, fields, _, flaws = inspect(tivar, bmp_build.rle8(codes + b"abc", image=len(codes)))
    assert (code, fields["bytes after"]) == (0, "3")


def test_a_native_file_that_is_cut_short_is_told(tivar, chart):
    data = tivar.export(chart, "out.bmp", "--bits", 8, "--compress", "native")
    flaws = flaws_of(tivar, data[:-40])
    assert [at for at, _ in flaws] == [34, len(data) - 40]
    assert "cut short" in flaws[1][1]


# --- Files that are none -------------------------------------------------------------------------


@pytest.mark.parametrize(
    "data,fragment",
    [
        (b"", "empty"),
        (b"B", "no BMP"),
        (b"\x89PNG", "no BMP"),
        (bmp_build.rle8()[:17], "cut short in its header, at byte 17"),
        (bmp_build.rle8()[:53], "cut short in its header, at byte 53"),
        (b"BM" + bytes(12) + b"\x0d\0\0\0" + bytes(60), "13 bytes at byte 14"),
    ],
)
def test_what_is_no_bmp_file_is_one_line(tivar, data, fragment):
    (tivar.directory / "in.bmp").write_bytes(data)
    fails(tivar.run("inspect", "in.bmp"), 1, "in.bmp", fragment)
    fails(tivar.run("decode", "in.bmp", "out.png"), 1, "in.bmp", fragment)


def test_a_missing_file_and_a_directory_are_one_line(tivar):
    fails(tivar.run("inspect", "none.bmp"), 1, "none.bmp", "No such file")
    fails(tivar.run("inspect", "."), 1, "directory")


@pytest.mark.parametrize("arguments", [["inspect"], ["decode", "a"]])
def test_wrong_usage(tivar, arguments):
    fails(tivar.run(*arguments), 2, f"see tivar {arguments[0]} --help")


def test_several_files_are_shown_in_turn_whichever_fail(tivar):
    (tivar.directory / "a.bmp").write_bytes(bmp_build.rle8())
    (tivar.directory / "b.bmp").write_bytes(bmp_build.os2(5, 2, 1, bytes(8), [(0, 0, 0), (9, 9, 9)]))
    result = tivar.run("inspect", "a.bmp", "missing.bmp", "b.bmp")
    fails(result, 1, "missing.bmp")
    assert [line for line in result.stdout.decode().splitlines() if ".bmp: " in line] == [
        f"a.bmp: {len(bmp_build.rle8())} bytes",
        "b.bmp: 40 bytes",
    ]


def test_the_brief_form_is_a_line_for_each_file(tivar):
    (tivar.directory / "a.bmp").write_bytes(bmp_build.rle8())
    (tivar.directory / "b.bmp").write_bytes(bmp_build.os2(5, 2, 1, bytes(8), [(0, 0, 0), (9, 9, 9)]))
    (tivar.directory / "c.bmp").write_bytes(bmp_build.windows(1, -1, 24, bytes(4), size=5))
    result = tivar.run("inspect", "--brief", "a.bmp", "b.bmp", "c.bmp")
    assert (result.returncode, result.stderr) == (1, b"")  # c.bmp contradicts itself
    heading, *lines = [line.split() for line in result.stdout.decode().splitlines()]
    assert heading == ["bits", "header", "compression", "size", "bytes", "colours", "file"]
    assert lines == [
        ["8", "Windows", "RLE8", "6x4", str(len(bmp_build.rle8())), "256", "a.bmp"],
        ["1", "OS/2", "none", "5x2", "40", "2", "b.bmp"],
        ["24", "Windows", "none", "1x1", "58", "16777216", "c.bmp"],
    ]


def test_a_full_disk_behind_standard_output_is_an_error(tivar):
    (tivar.directory / "in.bmp").write_bytes(bmp_build.rle8())
    with open("/dev/full", "wb") as full:
        fails(tivar.run("inspect", "in.bmp", stdout=full), 1, "standard output")


# --- Hostile files -------------------------------------------------------------------------------


def little_memory():
    resource.setrlimit(resource.RLIMIT_AS, (256 << 20, 256 << 20))


@pytest.mark.parametrize("side", [0x7FFFFFFF, -0x80000000, 65535])
@pytest.mark.parametrize("bits,compression", [(24, 0), (1, 0), (8, 1), (4, 2)])
def test_enormous_claims_need_no_memory(tivar, sanitized, side, bits, compression):
    width = side if side > 0 else 0x7FFFFFFF
    palette = [] if bits == 24 else bmp_build.greys(bits)
    # One end of a line, so that it is the standard form of run lengths.
    data = bmp_build.windows(width, side, bits, b"\0\0\1\1", palette, compression=compression)
    (tivar.directory / "in.bmp").write_bytes(data)
    limits = None if sanitized else little_memory
    assert tivar.run("inspect", "in.bmp", limits=limits).returncode == 1
    fails(tivar.run("decode", "in.bmp", "out.png", limits=limits), 1, "in.bmp")
    assert not (tivar.directory / "out.png").exists()


@pytest.mark.parametrize("bits", [4, 8])
def test_a_portable_file_of_one_row_is_not_taken_for_native(tivar, bits):
    (tivar.directory / "in.ppm").write_bytes(b"P6 16 1 255\n" + bytes(range(48)))
    single = ["--route", "driver", "--cell-arrays", "single"]
    options = ["--bits", bits, "--compress", "portable", *single]
    tivar.export("in.ppm", "out.bmp", *options)
    result = tivar.run("inspect", "out.bmp")
    assert result.returncode == 0
    assert f"RLE{bits}, with end-of-line codes".encode() in result.stdout


def test_millions_of_pixels_that_nothing_sets_are_judged_in_a_moment(tivar):
    # A claim of 4294 million pixels with one colour, of which the data set none.
    data = bmp_build.windows(1000000, 4294, 8, b"\0\1", bmp_build.greys(1), compression=1)
    before = time.monotonic()
    assert b"with pixels left unset" in tivar.run("inspect", "-", input=data).stdout
    assert time.monotonic() - before < 15


def test_millions_of_flaws_are_counted(tivar):
    data = bmp_build.rle8(b"\0\0" + bytes([9, 1]) * 100000 + b"\0\1")
    text = tivar.run("inspect", "-", input=data).stdout
    assert text.count(b"\n  byte ") < 50
    assert b"  and 99981 more\n" in text  # the end of the bitmap is one too


def test_damaged_files_are_survived(tivar, chart):
    source = random.Random(3)
    files = [bmp_build.rle8(), bmp_build.rle4(), bmp_build.os2(3, 2, 8, bytes(8), bmp_build.greys(8))]
    for bits in (4, 8):
        files.append(tivar.export(chart, "out.bmp", "--bits", bits, "--compress", "native"))
    for _ in range(150):
        data = bytearray(source.choice(files))
        for _ in range(source.randrange(1, 5)):
            place = source.randrange(min(len(data), source.choice([60, 5000])))
            data[place] = source.choice([0, 1, 2, 255, source.randrange(256)])
        if source.random() < 0.3:
            del data[source.randrange(len(data)) :]
        (tivar.directory / "in.bmp").write_bytes(data)
        assert tivar.run("inspect", "in.bmp").returncode in (0, 1)
        assert tivar.run("decode", "in.bmp", "out.ppm").returncode in (0, 1)


def test_json_has_a_line_for_a_file_that_cannot_be_read_too(tivar, chart):
    tivar.export(chart, "out.bmp")
    result = tivar.run("inspect", "--json", "missing.bmp", "out.bmp")
    missing, sound = map(json.loads, result.stdout.decode().splitlines())
    assert result.returncode == 1
    assert missing == {"file": "missing.bmp", "error": "No such file or directory"}
    assert (sound["file"], sound["verdict"]) == ("out.bmp", "consistent")
    assert result.stderr.startswith(b"tivar: missing.bmp: No such file or directory; ")
