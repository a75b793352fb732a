"""What save() takes for a picture."""

import array as arrays
import mmap

import numpy
import pytest
import tivar
from conftest import HEIGHT, WIDTH, seen
from PIL import Image

SIZE = (WIDTH, HEIGHT)


def same(data, wanted):
    return numpy.array_equal(seen(data), numpy.array(wanted.convert("RGB")))


# --- Pillow's images ------------------------------------------------------------------------------


@pytest.mark.parametrize("mode,bits", [("1", 1), ("L", 8), ("P", 8), ("RGB", 24)])
def test_an_image_keeps_its_depth_and_its_pixels(clouds, mode, bits):
    image = clouds.convert(mode)
    data = tivar.save(image)
    assert data[28] == bits
    assert same(data, image)


@pytest.mark.parametrize("mode", ["CMYK", "YCbCr", "HSV", "RGBX"])
def test_an_image_of_other_colours_is_converted(clouds, mode):
    image = Image.new(mode, SIZE, (10, 20, 30, 40)[: len(Image.new(mode, (1, 1)).getbands())])
    assert same(tivar.save(image), image)


@pytest.mark.parametrize("mode", ["RGBA", "LA", "RGBa", "La", "PA"])
def test_an_image_with_alpha_keeps_it_at_32_bits(mode):
    image = Image.new("LA", (3, 2), (255, 128))
    image = image.convert("RGBA").convert(mode) if mode in ("RGBA", "RGBa") else image.convert(mode)
    data = tivar.save(image)
    assert data[28] == 32
    alpha = image.convert("RGBA").getpixel((0, 0))[3] if mode == "PA" else 128
    assert data[-4:] == bytes([255, 255, 255, alpha])


# 0x1280 is 0x12 in 8 bits, 0xfe01 is 0xfe.
@pytest.mark.parametrize("mode", ["I;16", "I;16B"])
def test_levels_of_16_bits_keep_their_upper_half(mode):
    order = ">u2" if mode == "I;16B" else "<u2"
    levels = numpy.array([[0x1280, 0xFE01]], dtype=order)
    image = Image.frombytes(mode, (2, 1), levels.tobytes())
    assert seen(tivar.save(image)).tolist() == [[[0x12] * 3, [0xFE] * 3]]


@pytest.mark.parametrize("mode", ["I", "F"])
def test_levels_without_a_range_are_refused(mode):
    with pytest.raises(ValueError, match=f"^picture: levels of mode '{mode}' have no range"):
        tivar.save(Image.new(mode, (2, 2)))


def test_the_command_line_writes_the_same_file_of_an_image(clouds, exported):
    assert tivar.save(clouds, bits=4) == exported(clouds, "--bits", 4)
    assert tivar.save(clouds.convert("L"), bits=1) == exported(clouds.convert("L"), "--bits", 1)


# --- Palettes of Pillow's -------------------------------------------------------------------------


def palette_in(data):
    """Red, green and blue of the entries between the headers and the rows."""
    start = int.from_bytes(data[10:14], "little")
    entries = data[54:start]
    return [tuple(entries[at : at + 3][::-1]) for at in range(0, len(entries), 4)]


@pytest.mark.parametrize("bits", [4, 8])
def test_indices_keep_their_numbers_and_their_palette(indexed, bits):
    data = tivar.save(indexed, bits=bits)
    colors = indexed.getpalette()
    # At 8 bits there is room for a black one, for indices beyond the palette.
    assert palette_in(data)[:16] == [tuple(colors[at : at + 3]) for at in range(0, 48, 3)]
    start = int.from_bytes(data[10:14], "little")
    first = list(data[start:][: WIDTH if bits == 8 else (WIDTH + 1) // 2])
    bottom = [indexed.getpixel((x, HEIGHT - 1)) for x in range(WIDTH)]
    if bits == 4:
        first = [half for byte in first for half in (byte >> 4, byte & 15)][:WIDTH]
    assert first == bottom


def test_a_padded_palette_fits_when_its_indices_do():
    image = Image.new("P", (4, 1))
    image.putpalette([level for level in range(256) for _ in "rgb"])
    image.putdata([0, 1, 15, 2])
    data = tivar.save(image, bits=4)
    assert palette_in(data) == [(level,) * 3 for level in range(16)]
    assert data[-4:-2] == b"\x01\xf2"


def test_indices_that_do_not_fit_are_reduced(clouds):
    image = clouds.quantize(200)
    assert tivar.save(image, bits=4) == tivar.save(image.convert("RGB"), bits=4)


def test_another_palette_replaces_that_of_an_image(indexed):
    data = tivar.save(indexed, bits=1, palette=[(255, 0, 0), (0, 0, 255)])
    assert palette_in(data) == [(255, 0, 0), (0, 0, 255)]


def transparent(told):
    image = Image.new("P", (2, 1))
    image.putpalette([10, 20, 30, 200, 100, 0])
    image.putdata([0, 1])
    image.info["transparency"] = told
    return image


# 200 x 128 + 255 x 127 is 57985, the 255th of which is 227.4; likewise 177.2 and 127.
@pytest.mark.parametrize(
    "told,options,entry",
    [
        (bytes([255, 0]), {}, (255, 255, 255)),
        (1, {}, (255, 255, 255)),
        (bytes([255, 128]), {}, (227, 177, 127)),
        (1, {"background": (1, 2, 3)}, (1, 2, 3)),
        (1, {"alpha": "drop"}, (200, 100, 0)),
        (1, {"alpha": "over"}, (255, 255, 255)),
    ],
)
def test_transparent_entries_are_laid_over_the_background(told, options, entry):
    data = tivar.save(transparent(told), **options)
    assert data[28] == 8
    assert seen(data)[0, 1].tolist() == list(entry)


def test_transparent_entries_are_alpha_at_32_bits():
    data = tivar.save(transparent(bytes([255, 128])), bits=32)
    assert data[-8:] == bytes([30, 20, 10, 255, 0, 100, 200, 128])


def test_a_palette_with_alpha_is_laid_over_the_background():
    image = Image.new("P", (2, 1))
    image.putpalette([10, 20, 30, 255, 200, 100, 0, 0], "RGBA")
    image.putdata([0, 1])
    assert seen(tivar.save(image)).tolist() == [[[10, 20, 30], [255, 255, 255]]]


def test_an_image_leaves_nothing_to_be_said(clouds):
    for argument in ({"size": SIZE}, {"format": "RGB"}, {"stride": 3}, {"colormap": [(0, 0, 0)]}):
        with pytest.raises(ValueError, match=f"^{next(iter(argument))}: a Pillow image has its own"):
            tivar.save(clouds, **argument)


# --- Arrays ---------------------------------------------------------------------------------------


def test_arrays_of_every_number_of_channels(array):
    grey = array[:, :, 0].copy()
    assert (seen(tivar.save(grey)) == grey[:, :, None]).all()
    assert tivar.save(grey[:, :, None]) == tivar.save(grey)
    assert (seen(tivar.save(array)) == array).all()
    both = numpy.dstack([grey, array[:, :, 1]])
    wanted = numpy.dstack([grey, grey, grey, array[:, :, 1]])
    assert tivar.save(both) == tivar.save(wanted)
    assert tivar.save(wanted)[28] == 32


def test_booleans_are_black_and_white(array):
    bright = array[:, :, 0] > 128
    data = tivar.save(bright)
    assert data[28] == 1
    assert (seen(data) == numpy.where(bright, 255, 0)[:, :, None]).all()


VIEWS = {
    "upside down": lambda a: a[::-1],
    "mirrored": lambda a: a[:, ::-1],
    "every second row": lambda a: a[::2],
    "every second column": lambda a: a[:, ::2],
    "a part": lambda a: a[5:20, 3:50],
    "turned": lambda a: a.transpose(1, 0, 2),
    "channels exchanged": lambda a: a[:, :, ::-1],
    "one row": lambda a: a[7:8],
    "one column": lambda a: a[:, 4:5],
    "one row again and again": lambda a: numpy.broadcast_to(a[0], a.shape),
    "read-only": lambda a: numpy.frombuffer(a.tobytes(), numpy.uint8).reshape(a.shape),
    "columns first in memory": lambda a: numpy.asfortranarray(a),
}


@pytest.mark.parametrize("view", VIEWS)
def test_views_of_arrays(array, view):
    part = VIEWS[view](array)
    assert (seen(tivar.save(part)) == part).all()
    grey = part[:, :, 1]
    assert (seen(tivar.save(grey)) == grey[:, :, None]).all()


@pytest.mark.parametrize("view", ["upside down", "every second row", "a part", "read-only"])
def test_views_whose_rows_lie_together_are_not_copied(array, view, monkeypatch):
    from tivar import _memory

    addresses = []
    monkeypatch.setattr(
        _memory,
        "address_of",
        lambda view, really=_memory.address_of: addresses.append(really(view)) or addresses[-1],
    )
    part = VIEWS[view](array)
    tivar.save(part)
    assert addresses == [part.__array_interface__["data"][0]]


def test_the_order_of_channels_may_be_told(array):
    assert tivar.save(array[:, :, ::-1].copy(), format="BGR") == tivar.save(array)
    alpha = numpy.dstack([array, array[:, :, 0]])
    assert tivar.save(alpha[:, :, [2, 1, 0, 3]].copy(), format="BGRA") == tivar.save(alpha)


def test_indices_in_arrays(indexed):
    indices = numpy.array(indexed)
    colors = numpy.array(indexed.getpalette()[:48], numpy.uint8).reshape(16, 3)
    data = tivar.save(indices, format="INDEX8", colormap=colors, bits=4)
    assert data == tivar.save(indexed, bits=4)
    packed = numpy.zeros((HEIGHT, (WIDTH + 1) // 2 * 2), numpy.uint8)
    packed[:, :WIDTH] = indices
    packed = packed[:, ::2] << 4 | packed[:, 1::2]
    assert tivar.save(packed, format="INDEX4", size=SIZE, colormap=colors) == data


@pytest.mark.parametrize(
    "shape,kind,arguments,error,text",
    [
        ((2, 2), "uint16", {}, TypeError, "picture: its items must be bytes or booleans, not of"),
        ((2, 2), "float64", {}, TypeError, "picture: its items must be bytes or booleans, not of"),
        ((2, 2), "datetime64[s]", {}, ValueError, "picture: cannot include dtype"),
        ((2, 2, 5), "uint8", {}, ValueError, "picture: 5 channels are none of 1, 2, 3 and 4"),
        ((2, 2, 2, 3), "uint8", {}, ValueError, "picture: 4 dimensions are neither 2 nor 3"),
        ((0, 2, 3), "uint8", {}, ValueError, "picture: it has no pixels"),
        ((), "uint8", {}, ValueError, "picture: it has no pixels"),
        ((2, 2, 3), "bool", {}, ValueError, "picture: booleans have one channel, not 3"),
        ((2, 2), "bool", {"format": "RGB"}, ValueError, "format: 'RGB' is not that of booleans"),
        ((2, 2, 3), "uint8", {"format": "RGBA"}, ValueError, "format: 'RGBA' has not the array's 3"),
        ((2, 2, 3), "uint8", {"size": (3, 2)}, ValueError, "size: (3, 2) is not that of the array"),
        ((2, 2, 3), "uint8", {"stride": 6}, ValueError, "stride: an array has its own"),
        ((2, 2), "uint8", {"format": "INDEX4"}, TypeError, "size: must be given with format"),
        ((2, 2), "uint8", {"format": "INDEX4", "size": (5, 2)}, ValueError, "size: 5 pixels are"),
        ((2, 2), "uint8", {"format": "INDEX4", "size": (4, 3)}, ValueError, "size: 3 rows are not"),
        ((2, 2), "uint8", {"format": "INDEX8"}, ValueError, "colormap: indices need one"),
    ],
)
def test_arrays_that_are_no_pictures(shape, kind, arguments, error, text):
    with pytest.raises(error) as caught:
        tivar.save(numpy.zeros(shape, kind), **arguments)
    assert str(caught.value).startswith(text)


# --- Bytes ----------------------------------------------------------------------------------------


KINDS = {
    "bytes": bytes,
    "bytearray": bytearray,
    "memoryview": memoryview,
    "array": lambda data: arrays.array("B", data),
    "numpy": lambda data: numpy.frombuffer(data, numpy.uint8),
}


@pytest.mark.parametrize("kind", KINDS)
def test_bytes_with_a_size(array, kind):
    assert tivar.save(KINDS[kind](array.tobytes()), size=SIZE) == tivar.save(array)


def test_a_mapped_file(array, tmp_path):
    (tmp_path / "raw").write_bytes(array.tobytes())
    with open(tmp_path / "raw", "rb") as file:
        with mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as mapped:
            assert tivar.save(mapped, size=SIZE) == tivar.save(array)


def test_rows_may_be_padded_and_bottom_up(array):
    row = WIDTH * 3
    padded = numpy.zeros((HEIGHT, row + 5), numpy.uint8)
    padded[:, :row] = array.reshape(HEIGHT, row)
    wanted = tivar.save(array)
    # The padding of the last row need not be there.
    assert tivar.save(padded.tobytes()[:-5], size=SIZE, stride=row + 5) == wanted
    turned = padded[::-1].tobytes()
    assert tivar.save(turned[:-5], size=SIZE, stride=-(row + 5)) == wanted


def test_every_second_of_some_bytes(array):
    twice = array.repeat(2)
    assert tivar.save(memoryview(twice)[::2], size=SIZE) == tivar.save(array)


# 1 bit: two rows of 9 pixels are two bytes each; the upper bits of a byte are its left pixels.
def test_packed_bits():
    data = tivar.save(
        b"\xff\x00\x00\x80", size=(9, 2), format="INDEX1", colormap=b"\0\0\0\xff\xff\xff"
    )
    wanted = [[255] * 8 + [0], [0] * 8 + [255]]
    assert seen(data)[:, :, 0].tolist() == wanted


@pytest.mark.parametrize(
    "arguments,error,text",
    [
        ({}, TypeError, "size: must be given for a picture without a shape"),
        ({"size": (4, 3)}, ValueError, "picture: 35 bytes are too few for 3 rows, 36"),
        ({"size": (4, 2), "stride": 11}, ValueError, "stride: 11 is less than a row of 12 bytes"),
        ({"size": (4, 2), "stride": -24}, ValueError, "picture: 35 bytes are too few for 2 rows, 36"),
        ({"size": (4,)}, TypeError, "size: must be a pair, not tuple"),
        ({"size": 4}, TypeError, "size: must be a pair, not int"),
        ({"size": (4, 0)}, ValueError, "size: 0 is not from 1 to 2147483647"),
        ({"size": (2**32 + 1, 1)}, ValueError, "size: 4294967297 is not from 1 to 2147483647"),
        ({"size": (4, 2.0)}, TypeError, "size: must be a whole number, not float"),
        ({"size": (4, 2), "format": "rgb"}, ValueError, "format: 'rgb' is none of 'RGB', 'BGR'"),
        ({"size": (4, 2), "format": 3}, TypeError, "format: must be one of 'RGB', 'BGR'"),
        ({"size": (4, 2), "stride": "1"}, TypeError, "stride: must be a whole number, not str"),
        ({"size": (4, 2), "colormap": b"\0\0\0"}, ValueError, "colormap: only indices have one"),
        ({"size": (4, 2), "colormap": b"\0\0"}, ValueError, "colormap: 2 bytes are no entries"),
        ({"size": (4, 2), "colormap": [(1, 2)]}, TypeError, "colormap: (1, 2) is no colour"),
        ({"size": (4, 2), "colormap": 3}, TypeError, "colormap: must be colours"),
        ({"size": (4, 2), "colormap": [(1, 2, 256)]}, ValueError, "colormap: 256 is not from 0"),
    ],
)
def test_bytes_that_are_no_picture(arguments, error, text):
    with pytest.raises(error) as caught:
        tivar.save(bytes(35), **arguments)
    assert str(caught.value).startswith(text)


# --- Rows -----------------------------------------------------------------------------------------


def test_rows_from_an_iterator(array):
    assert tivar.save((row for row in array), size=SIZE) == tivar.save(array)
    assert tivar.save([row.tobytes() for row in array], size=SIZE, bits=4) == tivar.save(array, bits=4)


def test_rows_by_their_numbers_come_in_the_order_of_the_file(array):
    asked = []

    def row(number):
        asked.append(number)
        return array[number]

    assert tivar.save(row, size=SIZE) == tivar.save(array)
    assert asked == list(reversed(range(HEIGHT)))


def test_rows_of_other_formats(array):
    grey = array[:, ::-1, 0]  # not contiguous
    assert tivar.save(iter(grey), size=SIZE, format="GREY") == tivar.save(grey)


def test_no_more_rows_are_taken_than_there_are(array):
    rows = iter([*array, None])
    tivar.save(rows, size=SIZE)
    assert list(rows) == [None]


@pytest.mark.parametrize(
    "rows,error,text",
    [
        ([bytes(6)], ValueError, "picture: it ended after 1 of 2 rows"),
        ([bytes(6), bytes(5)], ValueError, "picture: row 1 has 5 bytes instead of 6"),
        ([bytes(6), bytes(7)], ValueError, "picture: row 1 has 7 bytes instead of 6"),
        ([bytes(6), [0] * 6], TypeError, "picture: row 1 must be bytes, not list"),
        ([numpy.zeros(3, "uint16")] * 2, TypeError, "picture: row 0 must be bytes, not of format"),
    ],
)
def test_rows_that_are_none(rows, error, text):
    with pytest.raises(error) as caught:
        tivar.save(rows, size=(2, 2))
    assert str(caught.value).startswith(text)


def test_rows_need_a_size():
    with pytest.raises(TypeError, match="^size: must be given for a picture of rows"):
        tivar.save([b""])
    with pytest.raises(ValueError, match="^stride: rows that come one by one have none"):
        tivar.save([bytes(3)], size=(1, 1), stride=3)


class Broken(Exception):
    pass


@pytest.mark.parametrize("target", [None, "out.bmp"])
def test_what_an_iterator_raises_comes_out(tmp_path, target):
    def rows():
        yield bytes(30)
        raise Broken("no more")

    with pytest.raises(Broken, match="no more"):
        tivar.save(rows(), target and tmp_path / target, size=(10, 5))
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("picture", [None, 3, "picture.png", object()])
def test_what_is_no_picture_is_named(picture):
    with pytest.raises(TypeError, match="^picture: must be a Pillow image, an array") as caught:
        tivar.save(picture)
    assert "\n" not in str(caught.value)
