"""Indexed pictures keep palette and indices, and lay transparent pixels over the background."""

import struct

import drawing
import pytest
from batch import export
from PIL import Image

SIZE = (149, 131)


def indexed(bits):
    return lambda: drawing.indexed(bits, *SIZE)


def transparent(bits, index):
    """Pixels of one index have no colour."""

    def picture():
        made = drawing.indexed(bits, *SIZE)
        made.info["transparency"] = bytes(0 if i == index else 255 for i in range(1 << bits))
        return made

    return picture


def parts(data):
    """Bits, palette and rows of indices, top row first, of a raw file with a header of 40 bytes."""
    offset, header, width, height, bits = struct.unpack_from("<IIiixxH", data, 10)
    assert header == 40
    palette = [tuple(data[at : at + 3][::-1]) for at in range(54, offset, 4)]
    stride = (width * bits + 31) // 32 * 4
    rows = []
    for y in range(height - 1, -1, -1):
        row = data[offset + y * stride :][:stride]
        values = (row[x * bits // 8] >> (8 - bits - x * bits % 8) & ((1 << bits) - 1) for x in range(width))
        rows.append(list(values))
    return bits, palette, rows


def palette_of(picture, count):
    flat = picture.getpalette()[: 3 * count]
    return [tuple(flat[i : i + 3]) for i in range(0, 3 * count, 3)]


def indices_of(picture):
    data = list(picture.getdata())
    return [data[y * SIZE[0] :][: SIZE[0]] for y in range(SIZE[1])]


# --- Opaque ones ----------------------------------------------------------------------------------

OWN = {bits: export(indexed(bits), stored={"bits": bits}) for bits in (1, 2, 4, 8)}
DEEPER = export(indexed(4), stored={"bits": 4}, bits=8)
ENCODED = export(indexed(4), stored={"bits": 4}, encoding=1)
REDUCED = export(indexed(8), bits=4)
COLORS = export(indexed(8), bits=24)


@pytest.mark.parametrize("bits", OWN)
def test_palette_and_indices_are_kept_in_their_order(gimp, bits):
    picture = drawing.indexed(bits, *SIZE)
    wanted = palette_of(picture, 1 << bits), indices_of(picture)
    found, palette, indices = parts(gimp.file(OWN[bits]))
    assert found == {1: 1, 2: 4, 4: 4, 8: 8}[bits]
    assert (palette[: 1 << bits], indices) == wanted


def test_a_deeper_file_keeps_them_too(gimp):
    picture = drawing.indexed(4, *SIZE)
    bits, palette, indices = parts(gimp.file(DEEPER))
    assert (bits, palette[:16], indices) == (8, palette_of(picture, 16), indices_of(picture))


def test_run_lengths_hold_the_same_indices(gimp, command_line):
    written = gimp.file(ENCODED)
    assert struct.unpack_from("<I", written, 30) == (2,)
    assert written == command_line(ENCODED, "--compress", "portable")


def test_more_colours_than_the_depth_has_are_reduced(gimp, command_line):
    assert gimp.file(REDUCED) == command_line(REDUCED, "--bits", 4)


def test_files_without_a_palette_hold_the_colours(gimp):
    assert gimp.file(COLORS)
    shown = Image.open(gimp.directory / COLORS.target)
    assert shown.tobytes() == drawing.indexed(8, *SIZE).convert("RGB").tobytes()


# --- Transparent ones -----------------------------------------------------------------------------

BACKGROUND = "(gimp-context-set-background '(16 32 48))"
ROOM = export(transparent(3, 5), before=BACKGROUND)
SHARED = export(
    transparent(3, 5),
    before="(gimp-context-set-background '(%d %d %d))" % tuple(drawing.indexed(3, 1, 1).getpalette()[6:9]),
)
NO_ROOM = export(transparent(8, 5), before=BACKGROUND, bits=8)
KEPT = export(transparent(3, 5), bits=32)


def test_transparent_pixels_become_an_entry_for_the_background(gimp):
    picture = drawing.indexed(3, *SIZE)
    bits, palette, indices = parts(gimp.file(ROOM))
    entry = palette.index((16, 32, 48))
    assert bits == 4 and entry >= 8
    assert palette[:8] == palette_of(picture, 8)
    assert indices == [[entry if i == 5 else i for i in row] for row in indices_of(picture)]


def test_or_the_entry_that_it_has(gimp):
    picture = drawing.indexed(3, *SIZE)
    bits, palette, indices = parts(gimp.file(SHARED))
    assert palette[:8] == palette_of(picture, 8)
    assert indices == [[2 if i == 5 else i for i in row] for row in indices_of(picture)]


def test_a_full_palette_is_chosen_anew(gimp, command_line):
    wanted = command_line(NO_ROOM, "--bits", 8, "--background", "102030")
    assert len(gimp.file(NO_ROOM)) == len(wanted)
    shown = Image.open(gimp.directory / NO_ROOM.target).convert("RGB")
    picture = drawing.indexed(8, *SIZE)
    places = [i for i, index in enumerate(picture.getdata()) if index == 5]
    assert {list(shown.getdata())[i] for i in places} == {(16, 32, 48)}


def test_32_bits_keep_their_transparency(gimp, command_line):
    assert gimp.file(KEPT) == command_line(KEPT, "--bits", 32)
