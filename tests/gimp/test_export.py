"""What the plug-in writes of pictures: the same bytes as the command line on the direct route."""

import struct

import drawing
import icc
import pytest
from batch import LAST_VALS, export
from PIL import Image


def chart():
    """Larger than a tile of GIMP's in both directions, and of odd size."""
    return drawing.chart(149, 131)


def clouds():
    return drawing.clouds(149, 131, 4)


def greys():
    return clouds().convert("L")


def per_meter(data):
    return struct.unpack_from("<ii", data, 38)


def header_bytes(data):
    return struct.unpack_from("<I", data, 14)[0]


WINDOWS, OS2, V4 = 1, 2, 3
RLE, SMALLEST = 1, 2
BEST, GREYS, GIVEN = 1, 2, 3
NONE, DIFFUSE, ORDERED = 1, 2, 3

# --- Depths, headers, encodings -------------------------------------------------------------------

DEPTHS = {bits: export(clouds, bits=bits) for bits in (1, 4, 8, 16, 24, 32)}
OS2_DEPTHS = {bits: export(clouds, bits=bits, header=OS2) for bits in (1, 4, 8, 24)}
ENCODED = {bits: export(chart, bits=bits, encoding=RLE) for bits in (4, 8)}
OWN = export(chart)


@pytest.mark.parametrize("bits", DEPTHS)
def test_every_depth_is_the_command_line_s(gimp, command_line, bits):
    assert gimp.file(DEPTHS[bits]) == command_line(DEPTHS[bits], "--bits", bits)


@pytest.mark.parametrize("bits", OS2_DEPTHS)
def test_os2_headers_are_the_command_line_s(gimp, command_line, bits):
    written = gimp.file(OS2_DEPTHS[bits])
    assert header_bytes(written) == 12
    assert written == command_line(OS2_DEPTHS[bits], "--bits", bits, "--os2")


@pytest.mark.parametrize("bits", ENCODED)
def test_run_lengths_are_the_command_line_s(gimp, command_line, bits):
    assert gimp.file(ENCODED[bits]) == command_line(ENCODED[bits], "--bits", bits, "--compress", "portable")


def test_bits_0_are_24_for_colours(gimp, command_line):
    written = gimp.file(OWN)
    assert struct.unpack_from("<H", written, 28) == (24,)
    assert written == command_line(OWN)


VERSION_4 = export(chart, header=V4)
SMALLER = export(chart, bits=4, encoding=SMALLEST)


def test_version_4_headers_have_108_bytes(gimp, command_line):
    written = gimp.file(VERSION_4)
    assert header_bytes(written) == 108
    assert written[122:] == command_line(VERSION_4)[54:]


def test_the_smaller_encoding_is_never_longer_than_either(gimp, command_line):
    sizes = [len(command_line(SMALLER, "--bits", 4, *more)) for more in ([], ["--compress", "portable"])]
    assert len(gimp.file(SMALLER)) == min(sizes)


# --- Colours --------------------------------------------------------------------------------------

FEW = export(clouds, bits=8, max_colors=11)
MASKS = export(clouds, bits=16, masks=1)
DITHERS = {
    (bits, way): export(clouds, bits=bits, dither=number)
    for bits in (1, 4, 8, 16)
    for number, way in enumerate(("none", "diffuse", "ordered"), NONE)
}
PANEL = [(0, 0, 0), (255, 255, 255), (250, 10, 20), (16, 32, 48)]
NAMED = export(
    clouds, bits=4, colors=GIVEN, palette="panel",
    before='(gimp-palette-new "panel")'
    + "".join(f'(gimp-palette-add-entry "panel" "" \'({r} {g} {b}))' for r, g, b in PANEL),
)
GREY_STEPS = export(clouds, bits=4, colors=GREYS)


def palette(data):
    offset = struct.unpack_from("<I", data, 10)[0]
    return [tuple(data[at : at + 3][::-1]) for at in range(54, offset, 4)]


def test_the_number_of_colours_is_the_command_line_s(gimp, command_line):
    written = gimp.file(FEW)
    assert len(palette(written)) == 11
    assert written == command_line(FEW, "--bits", 8, "--colors", 11)


def test_5_5_5_is_the_command_line_s(gimp, command_line):
    assert gimp.file(MASKS) == command_line(MASKS, "--rgb555")


@pytest.mark.parametrize("bits,way", DITHERS)
def test_dithering_is_the_command_line_s(gimp, command_line, bits, way):
    job = DITHERS[bits, way]
    assert gimp.file(job) == command_line(job, "--bits", bits, "--dither", way)


def test_a_palette_of_gimp_s_is_the_file_s(gimp, command_line):
    written = gimp.file(NAMED)
    assert palette(written) == PANEL
    list_file = gimp.directory / "panel.hex"
    list_file.write_text("".join("%02x%02x%02x\n" % color for color in PANEL))
    assert written == command_line(NAMED, "--bits", 4, "--palette", list_file)


def test_greys_are_equal_steps(gimp):
    assert palette(gimp.file(GREY_STEPS)) == [(17 * i,) * 3 for i in range(16)]


# --- Grey pictures --------------------------------------------------------------------------------

GREY = {bits: export(greys, bits=bits) for bits in (0, 1, 4, 8, 24)}


@pytest.mark.parametrize("bits", GREY)
def test_grey_pictures_are_the_command_line_s(gimp, command_line, bits):
    assert gimp.file(GREY[bits]) == command_line(GREY[bits], "--bits", bits or 8)


# --- Alpha ----------------------------------------------------------------------------------------


def translucent():
    picture = clouds().convert("RGBA")
    picture.putalpha(drawing.clouds(149, 131, 5).convert("L"))
    return picture


def grey_translucent():
    return translucent().convert("LA")


BACKGROUND = "(gimp-context-set-background '(16 32 48))"
ALPHA = {picture: export(picture, bits=32) for picture in (translucent, grey_translucent)}
OWN_ALPHA = export(translucent)
LAID = {bits: export(translucent, bits=bits, before=BACKGROUND) for bits in (1, 4, 8, 16, 24)}
LAID_WHITE = export(grey_translucent, bits=24)
WITHOUT_ALPHA = export(translucent, bits=32, header=WINDOWS, before=BACKGROUND)


@pytest.mark.parametrize("picture", ALPHA)
def test_32_bits_keep_alpha(gimp, command_line, picture):
    written = gimp.file(ALPHA[picture])
    assert header_bytes(written) == 108
    assert written == command_line(ALPHA[picture], "--bits", 32)


def test_bits_0_are_32_for_alpha(gimp, command_line):
    assert gimp.file(OWN_ALPHA) == command_line(OWN_ALPHA, "--bits", 32)


@pytest.mark.parametrize("bits", LAID)
def test_else_alpha_is_laid_over_gimp_s_background(gimp, command_line, bits):
    assert gimp.file(LAID[bits]) == command_line(LAID[bits], "--bits", bits, "--background", "102030")


def test_the_background_is_white_at_first(gimp, command_line):
    assert gimp.file(LAID_WHITE) == command_line(LAID_WHITE, "--bits", 24)


def test_a_windows_header_keeps_no_alpha(gimp, command_line):
    wanted = command_line(WITHOUT_ALPHA, "--bits", 32, "--background", "102030")
    assert gimp.file(WITHOUT_ALPHA) == wanted


# --- Colour profiles ------------------------------------------------------------------------------


def wide_indexed():
    return drawing.indexed(4, 149, 131)


STORED = {"icc_profile": icc.display_profile(2.2, icc.WIDE)}
WIDE = export(clouds, stored=STORED)
WIDE_ALPHA = export(translucent, stored=STORED, bits=32)
WIDE_PALETTE = export(wide_indexed, stored={**STORED, "bits": 4})
SIXTEEN = export(clouds, before="(gimp-image-convert-precision image PRECISION-U16-LINEAR)")


def near(written, wanted):
    """Two ways through the same colour engine differ by rounding, never by more."""
    return len(written) == len(wanted) and max(abs(a - b) for a, b in zip(written, wanted)) <= 1


@pytest.mark.parametrize("job", [WIDE, WIDE_ALPHA, WIDE_PALETTE], ids=["colours", "alpha", "palette"])
def test_colours_with_a_profile_become_those_of_srgb(gimp, command_line, job):
    bits = ["--bits", 32] if job is WIDE_ALPHA else []
    assert near(gimp.file(job), command_line(job, *bits))


def test_profiles_make_a_difference_at_all(gimp):
    plain = gimp.file(DEPTHS[24])
    assert not near(gimp.file(WIDE), plain)


def test_linear_light_of_16_bits_is_written_as_the_picture_looks(gimp, command_line):
    assert near(gimp.file(SIXTEEN), command_line(SIXTEEN))


# --- Resolution -----------------------------------------------------------------------------------

# 254 and 127 to the inch of 0.0254 metres are 10000 and 5000 to the metre, whatever GIMP shows.
RESOLUTION = "(gimp-image-set-resolution image 254 127)"
STATED = {
    unit: export(chart, resolution=1, before=f"{RESOLUTION}(gimp-image-set-unit image {unit})")
    for unit in ("UNIT-INCH", "UNIT-MM", "UNIT-POINT")
}
UNSTATED = export(chart, before=RESOLUTION)


@pytest.mark.parametrize("unit", STATED)
def test_the_resolution_is_the_image_s_in_pixels_per_metre(gimp, unit):
    assert per_meter(gimp.file(STATED[unit])) == (10000, 5000)


def test_the_resolution_may_be_left_out(gimp):
    assert per_meter(gimp.file(UNSTATED)) == (0, 0)


# --- Layers and modes -----------------------------------------------------------------------------

# A red square of 20 x 10 at 30, 40 on a layer of its own, above the picture.
LAYER = """
(let ((layer (car (gimp-layer-new image 20 10 RGB-IMAGE "square" 100 LAYER-MODE-NORMAL))))
  (gimp-image-insert-layer image layer 0 0)
  (gimp-layer-set-offsets layer 30 40)
  (gimp-context-set-foreground '(255 0 0))
  (gimp-drawable-fill layer FILL-FOREGROUND)
  (set! drawable layer))
"""
ONE_LAYER = export(chart, before=LAYER)
ALL_LAYERS = export(chart, mode=LAST_VALS, before=LAYER + RESOLUTION)


def test_scripts_export_the_drawable_that_they_name(gimp):
    written = gimp.file(ONE_LAYER)
    assert struct.unpack_from("<ii", written, 18) == (20, 10)
    assert written[54:] == b"\0\0\xff" * 200


def test_last_values_export_the_whole_image_by_the_defaults(gimp):
    """Layers that GIMP puts together have an alpha channel, opaque as it may be."""
    written = gimp.file(ALL_LAYERS)
    assert struct.unpack_from("<iixxH", written, 18) == (149, 131, 32)
    assert per_meter(written) == (10000, 5000)
    wanted = chart()
    wanted.paste((255, 0, 0), (30, 40, 50, 50))
    wanted.putalpha(255)
    assert Image.open(gimp.directory / ALL_LAYERS.target).tobytes() == wanted.tobytes()


SUFFIX_DIB = export(chart, call='(gimp-file-save 1 image drawable "0.dib" "0.dib")')
OWN_HANDLER = export(chart, call="(gimp-file-save 1 image drawable target target)")
MIDDLE = (74, 65)


def test_gimp_s_own_handler_keeps_the_suffix(gimp):
    """Its files state the colour space in a header of 124 bytes unless they are told otherwise."""
    written = gimp.file(OWN_HANDLER)
    assert header_bytes(written) != header_bytes(gimp.file(OWN))
    assert Image.open(gimp.directory / OWN_HANDLER.target).getpixel(MIDDLE) == chart().getpixel(MIDDLE)


def test_the_suffix_dib_is_the_plug_in_s(gimp):
    assert gimp.reports[SUFFIX_DIB.number] == "done"
    assert (gimp.directory / "0.dib").read_bytes() == gimp.file(OWN)
