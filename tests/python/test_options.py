"""Every option of save(), held against what the command line writes where it has the option, and
against the bytes of the format where it has not."""

import struct

import numpy
import pytest
import tivar
from conftest import HEIGHT, seen


def number(data, at):
    return struct.unpack_from("<i", data, at)[0]


def palette_of(data):
    start = number(data, 10)
    return [tuple(data[at : at + 3][::-1]) for at in range(14 + number(data, 14), start, 4)]


# --- As the command line --------------------------------------------------------------------------


@pytest.mark.parametrize(
    "options,words",
    [
        ({}, []),
        *[({"bits": bits}, ["--bits", bits]) for bits in (1, 4, 8, 16, 24, 32)],
        *[
            ({"bits": bits, "header": "os2"}, ["--bits", bits, "--os2"])
            for bits in (1, 4, 8, 24)
        ],
        *[
            ({"bits": bits, "encoding": "rle"}, ["--bits", bits, "--compress", "portable"])
            for bits in (4, 8)
        ],
        *[
            ({"bits": bits, "dither": word}, ["--bits", bits, "--dither", word])
            for bits in (1, 4, 8, 16)
            for word in ("none", "diffuse", "ordered")
        ],
        ({"bits": 8, "colors": 5}, ["--bits", 8, "--colors", 5]),
        ({"bits": 16, "masks": "565"}, ["--bits", 16, "--rgb565"]),
        ({"bits": 16, "masks": "555"}, ["--bits", 16, "--rgb555"]),
    ],
)
def test_the_file_is_that_of_the_command_line(clouds, exported, options, words):
    assert tivar.save(clouds, **options) == exported(clouds, *words)


@pytest.mark.parametrize("bits", [4, 8])
def test_a_given_palette_is_that_of_the_command_line(clouds, exported, tmp_path, bits):
    colors = [(0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255)]
    (tmp_path / "five.hex").write_text("".join("%02x%02x%02x\n" % color for color in colors))
    wanted = exported(clouds, "--bits", bits, "--palette", "five.hex")
    flat = bytes(level for color in colors for level in color)
    for palette in (colors, flat, bytearray(flat), numpy.array(colors), iter(colors)):
        assert tivar.save(clouds, bits=bits, palette=palette) == wanted
    assert palette_of(wanted) == colors


def test_a_background_is_that_of_the_command_line(clouds, exported):
    image = clouds.copy()
    image.putalpha(clouds.convert("L"))
    wanted = exported(image, "--bits", 24, "--background", "102030")
    assert tivar.save(image, bits=24, background=(0x10, 0x20, 0x30)) == wanted


# --- By the format --------------------------------------------------------------------------------


@pytest.mark.parametrize("header,length", [("os2", 12), ("windows", 40), ("v4", 108), (None, 40)])
def test_headers(array, header, length):
    assert number(tivar.save(array, header=header), 14) == length


def test_the_smaller_encoding():
    flat = numpy.zeros((20, 20), numpy.uint8)
    noise = numpy.random.default_rng(1).integers(0, 256, (20, 20), dtype=numpy.uint8)
    encodings = {"raw": (0, 0), "rle": (1, 1), "smallest": (1, 0)}
    for encoding, wanted in encodings.items():
        found = tuple(number(tivar.save(each, encoding=encoding), 30) for each in (flat, noise))
        assert found == wanted, encoding


def test_the_top_row_first(array):
    data = tivar.save(array, top_down=True)
    assert number(data, 22) == -HEIGHT
    assert data[54:57] == bytes(array[0, 0][::-1])
    assert (seen(data) == array).all()


def test_a_full_palette(array):
    assert len(palette_of(tivar.save(array, bits=4, colors=3))) == 3
    full = palette_of(tivar.save(array, bits=4, colors=3, full_palette=True))
    assert len(full) == 16 and full[3:] == [(0, 0, 0)] * 13


# 72 / 0.0254 is 2834.6, 96 / 0.0254 is 3779.5.
@pytest.mark.parametrize(
    "dpi,wanted", [(None, (0, 0)), (72, (2835, 2835)), ((96.0, 72), (3780, 2835)), (0.0254, (1, 1))]
)
def test_a_resolution(array, dpi, wanted):
    assert struct.unpack_from("<ii", tivar.save(array, dpi=dpi), 38) == wanted


def test_palettes_that_are_chosen(array):
    greys = palette_of(tivar.save(array, bits=4, palette="greys"))
    assert greys == [(level * 17,) * 3 for level in range(16)]
    assert palette_of(tivar.save(array, bits=8, palette="greys", colors=3)) == [
        (0, 0, 0),
        (128, 128, 128),
        (255, 255, 255),
    ]
    assert tivar.save(array, bits=8, palette="best") == tivar.save(array, bits=8)
    assert tivar.save(array, bits=8, palette="filter") != tivar.save(array, bits=8)


# 128 of 255 are 0.502: 200 over 255 is 227.4, over 0 it is 100.4.
@pytest.mark.parametrize(
    "options,bits,pixel",
    [
        ({}, 32, (200, 128)),
        ({"alpha": "over"}, 32, (227, 0)),
        ({"alpha": "drop"}, 32, (200, 0)),
        ({"background": (0, 0, 0)}, 32, (100, 0)),
        ({"alpha": "over", "background": (0, 0, 0)}, 32, (100, 0)),
        ({"bits": 24}, 24, (227,)),
        ({"bits": 24, "alpha": "drop"}, 24, (200,)),
        ({"header": "windows"}, 32, (227, 0)),
    ],
)
def test_alpha(options, bits, pixel):
    pixels = bytes([200, 200, 200, 128] * 4)
    data = tivar.save(pixels, size=(4, 1), format="RGBA", **options)
    level, *alpha = pixel
    assert data[28] == bits
    assert data[-bits // 2 :] == bytes([level] * 3 + alpha) * 4


@pytest.mark.parametrize("bits", [1, 4, 8, 16, 24])
@pytest.mark.parametrize("threads", [None, 0, 1, 2, 5])
def test_threads_write_the_same(noise, bits, threads):
    part = noise[:200]
    wanted = tivar.save(part, bits=bits, dither="ordered" if bits < 24 else None)
    assert (
        tivar.save(part, bits=bits, dither="ordered" if bits < 24 else None, threads=threads) == wanted
    )


# --- Progress and cancelling ----------------------------------------------------------------------


def test_progress_is_told_from_0_to_100(noise, tmp_path):
    told = []
    tivar.save(noise, tmp_path / "out.bmp", bits=4, progress=told.append)
    assert told[0] == 0 and told[-1] == 100
    assert told == sorted(set(told)) and len(told) > 50


def test_progress_cancels_with_false_alone(noise, tmp_path):
    out = tmp_path / "out.bmp"
    for answer in (None, True, 0, "", 1):
        tivar.save(noise[:10], out, progress=lambda percent: answer)
    out.write_bytes(b"old")
    with pytest.raises(tivar.Cancelled) as caught:
        tivar.save(noise, out, bits=8, progress=lambda percent: percent < 50)
    assert (caught.value.result, str(caught.value)) == (1, "cancelled")
    assert out.read_bytes() == b"old"
    assert list(tmp_path.iterdir()) == [out]


def test_cancel_is_asked_before_every_row(noise):
    asked = []
    with pytest.raises(tivar.Cancelled):
        tivar.save(noise, cancel=lambda: asked.append(1) or len(asked) == 10)
    assert len(asked) == 10
    tivar.save(noise[:20], cancel=lambda: None)


class Broken(Exception):
    pass


@pytest.mark.parametrize("name", ["progress", "cancel"])
@pytest.mark.parametrize("error", [Broken, KeyboardInterrupt, SystemExit, StopIteration])
def test_what_a_call_back_raises_comes_out(noise, tmp_path, name, error):
    calls = []

    def failing(*_):
        calls.append(1)
        raise error("enough")

    with pytest.raises(error, match="enough"):
        tivar.save(noise, tmp_path / "out.bmp", bits=4, **{name: failing})
    assert len(calls) == 1
    assert list(tmp_path.iterdir()) == []


def test_a_call_back_may_save(array):
    inner = []

    def progress(percent):
        if percent == 100:
            inner.append(tivar.save(array, bits=1, progress=lambda _: None))

    tivar.save(array, progress=progress)
    assert inner == [tivar.save(array, bits=1)]


# --- What is refused ------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "options,error,text",
    [
        ({"bits": "4"}, TypeError, "bits: must be a whole number, not str"),
        ({"bits": 4.0}, TypeError, "bits: must be a whole number, not float"),
        ({"bits": 0}, ValueError, "bits: 0 is not from 1 to"),
        ({"bits": 3}, tivar.BadOption, "bits: it is none of 1, 4, 8, 16, 24 and 32"),
        ({"bits": 2**40}, ValueError, "bits: 1099511627776 is not from 1 to"),
        ({"header": "v5"}, ValueError, "header: 'v5' is none of 'windows', 'os2', 'v4'"),
        ({"header": 1}, TypeError, "header: must be one of 'windows', 'os2', 'v4', not int"),
        ({"encoding": "zip"}, ValueError, "encoding: 'zip' is none of 'raw', 'rle', 'smallest'"),
        ({"top_down": "yes"}, TypeError, "top_down: must be True or False, not str"),
        ({"full_palette": None}, TypeError, "full_palette: must be True or False, not NoneType"),
        ({"masks": 565}, TypeError, "masks: must be one of '565', '555', not int"),
        ({"dpi": -1}, ValueError, "dpi: -1 is not from 0 to"),
        ({"dpi": 1e9}, ValueError, "dpi: 1000000000.0 is not from 0 to"),
        ({"dpi": float("nan")}, ValueError, "dpi: nan is not from 0 to"),
        ({"dpi": "72"}, TypeError, "dpi: must be a number or two, not str"),
        ({"dpi": (1, 2, 3)}, TypeError, "dpi: must be a pair, not tuple"),
        ({"palette": "rainbow"}, ValueError, "palette: 'rainbow' is none of 'best', 'greys', 'filter'"),
        ({"palette": []}, ValueError, "palette: it is not from 1 to 2^bits"),
        ({"palette": [(0, 0, 0)] * 17, "bits": 4}, ValueError, "palette: it is not from 1 to 2^bits"),
        ({"palette": [1, 2, 3]}, TypeError, "palette: 1 is no colour (red, green, blue)"),
        ({"palette": [(0, 0, 0)], "colors": 2, "bits": 4}, tivar.Contradiction, "colors: the colours"),
        ({"palette": "best", "bits": 24}, tivar.Contradiction, "palette: the depth has no palette"),
        ({"colors": 1}, ValueError, "colors: 1 is not from 2 to"),
        ({"colors": 17, "bits": 4}, tivar.BadOption, "colors: it is not from 2 to 2^bits"),
        ({"dither": "random"}, ValueError, "dither: 'random' is none of 'none', 'diffuse', 'ordered'"),
        ({"dither": "diffuse", "bits": 24}, tivar.Contradiction, "dither: the depth has every colour"),
        ({"alpha": "keep"}, ValueError, "alpha: 'keep' is none of 'over', 'drop'"),
        ({"background": "white"}, TypeError, "background: 'white' is no colour (red, green, blue)"),
        ({"background": (1, 2, 999)}, ValueError, "background: 999 is not from 0 to 255"),
        ({"background": (0, 0, 0), "alpha": "drop"}, ValueError, "background: alpha='drop' does not"),
        ({"threads": -1}, ValueError, "threads: -1 is not from 0 to"),
        ({"progress": 5}, TypeError, "progress: must be callable, not int"),
        ({"cancel": True}, TypeError, "cancel: must be callable, not bool"),
        ({"sync": 1.5}, TypeError, "sync: must be True or False, not float"),
        ({"overwrite": "no"}, TypeError, "overwrite: must be True or False, not str"),
        ({"encoding": "rle"}, tivar.Contradiction, "encoding: only 4 and 8 bits are run-length"),
        ({"header": "os2", "bits": 16}, tivar.Contradiction, "header: the OS/2 header has"),
        ({"header": "os2", "dpi": 72}, tivar.Contradiction, "dpi: the OS/2 header has no resolution"),
        ({"encoding": "rle", "bits": 8, "top_down": True}, tivar.Contradiction, "top_down: encoded"),
        ({"masks": "555"}, tivar.Contradiction, "masks: only 16 bits have a choice of them"),
        ({"full_palette": True}, tivar.Contradiction, "full_palette: the depth has no palette"),
        ({"quality": 90}, TypeError, "save() got an unexpected keyword argument 'quality'"),
    ],
)
def test_wrong_options_are_named_in_one_line(array, tmp_path, options, error, text):
    if "palette" in options:
        options = {"bits": 8, **options}
    with pytest.raises(error) as caught:
        tivar.save(array, tmp_path / "out.bmp", **options)
    assert str(caught.value).startswith(text)
    assert "\n" not in str(caught.value)
    assert list(tmp_path.iterdir()) == []


def test_a_header_that_is_too_short_for_a_side_is_named():
    with pytest.raises(tivar.TooLarge, match="^size: the OS/2 header ends at 65535"):
        tivar.save(bytes(65536), size=(65536, 1), format="GREY", header="os2")
