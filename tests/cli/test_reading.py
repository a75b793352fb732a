"""What is done with a picture while it is read: limits, damage, orientation and colour profiles."""

import io
import resource
import struct
import subprocess
import time

import bmp
import bmp_build
import drawing
import pytest
from conftest import fails
from hostile import coefficients_jpeg, scanning_jpeg
from icc import WIDE, display_profile
from PIL import Image, ImageCms

# --- Limits --------------------------------------------------------------------------------------


def test_a_picture_of_a_thousand_scans_is_refused_at_once(tivar):
    (tivar.directory / "in.jpg").write_bytes(scanning_jpeg(1024, 15))
    tivar.export("in.jpg", "out.bmp")
    (tivar.directory / "in.jpg").write_bytes(scanning_jpeg(1024, 16000))
    begin = time.monotonic()
    fails(tivar.run("export", "in.jpg", "-o", "out.bmp"), 1, "in.jpg", "more scans")
    assert time.monotonic() - begin < 2


def little_memory():
    resource.setrlimit(resource.RLIMIT_AS, (3 << 30, 3 << 30))


def test_the_memory_of_a_progressive_picture_is_bounded(tivar, sanitized):
    """65500 x 4000 pixels in three colours, whose coefficients alone are 1.5 GB."""
    (tivar.directory / "in.jpg").write_bytes(coefficients_jpeg(65500, 4000))
    result = tivar.run("export", "in.jpg", "-o", "out.bmp", limits=None if sanitized else little_memory)
    fails(result, 1, "in.jpg", "needs more memory", "--limit-pixels")


def test_more_pixels_than_the_limit_are_refused(tivar):
    header = b"P6 30000 10000 255\n"
    fails(tivar.run("export", "-", "-o", "out.bmp", input=header), 1, "30000 x 10000", "268435456", "--limit-pixels")
    drawing.chart(20, 10).save(tivar.directory / "in.png")
    for command in (["export", "in.png", "-o", "out.bmp"], ["gallery", "in.png", "-o", "out"]):
        fails(tivar.run(*command, "--limit-pixels", 199), 1, "20 x 10", "199")
        assert tivar.run(*command, "--limit-pixels", 200).returncode == 0
    fails(tivar.run("decode", "out.bmp", "out.png", "--limit-pixels", 199), 1, "20 x 10", "199")
    assert tivar.run("decode", "out.bmp", "out.png", "--limit-pixels", 200).returncode == 0


def test_a_small_file_of_millions_of_pixels_is_not_decoded_without_end(tivar):
    data = bmp_build.windows(60000, 60000, 8, b"\0\0" * 400 + b"\0\1", bmp_build.greys(8), compression=1)
    (tivar.directory / "in.bmp").write_bytes(data)
    begin = time.monotonic()
    fails(tivar.run("decode", "in.bmp", "out.png"), 1, "60000 x 60000", "--limit-pixels")
    fails(tivar.run("export", "in.bmp", "-o", "out.png.bmp"), 1, "60000 x 60000", "--limit-pixels")
    tivar.run("inspect", "in.bmp")
    assert time.monotonic() - begin < 5


# --- Damage --------------------------------------------------------------------------------------


@pytest.mark.parametrize("format", ["PNG", "JPEG", "PPM"])
def test_damaged_pictures_are_read_as_far_as_they_go(tivar, format):
    stream = io.BytesIO()
    picture = drawing.clouds(320, 240, 3)
    picture.save(stream, format)
    whole = bmp.grid(Image.open(io.BytesIO(stream.getvalue())).convert("RGB"))
    (tivar.directory / "in").write_bytes(stream.getvalue()[: len(stream.getvalue()) * 2 // 3])
    fails(tivar.run("export", "in", "-o", "out.bmp"), 1, "in", "cut short")
    result = tivar.run("export", "in", "-o", "out.bmp", "--lenient")
    assert result.returncode == 0
    if format != "JPEG":  # whose library tells no place
        assert b"cut short" in result.stderr and b"left empty" in result.stderr
    shown = bmp.read((tivar.directory / "out.bmp").read_bytes()).pixels()
    assert shown[:40] == whole[:40]
    assert shown[239] != whole[239]


# --- Orientation ---------------------------------------------------------------------------------

TURNS = {
    2: Image.Transpose.FLIP_LEFT_RIGHT,
    3: Image.Transpose.ROTATE_180,
    4: Image.Transpose.FLIP_TOP_BOTTOM,
    5: Image.Transpose.TRANSPOSE,
    6: Image.Transpose.ROTATE_270,
    7: Image.Transpose.TRANSVERSE,
    8: Image.Transpose.ROTATE_90,
}


def exif(orientation, big_endian):
    order = ">" if big_endian else "<"
    head = b"MM\0*" if big_endian else b"II*\0"
    entries = [(0x0100, 4, 1, struct.pack(order + "I", 77))]
    entries.append((0x0112, 3, 1, struct.pack(order + "HH", orientation, 0)))
    body = b"".join(struct.pack(order + "HHI", *entry[:3]) + entry[3] for entry in entries)
    return head + struct.pack(order + "IH", 8, len(entries)) + body + bytes(4)


def single(tivar, name, *options):
    options = ["--route", "driver", "--cell-arrays", "single", *options]
    return bmp.read(tivar.export(name, "out.bmp", *options)).pixels()


def upright(picture, orientation):
    return picture.transpose(TURNS[orientation]) if orientation in TURNS else picture


@pytest.mark.parametrize("big_endian", [False, True])
@pytest.mark.parametrize("orientation", range(0, 10))
def test_a_photograph_stands_upright(tivar, orientation, big_endian):
    stored = drawing.chart(61, 44)
    stored.save(tivar.directory / "in.jpg", exif=b"Exif\0\0" + exif(orientation, big_endian), quality=95)
    shown = Image.open(tivar.directory / "in.jpg").convert("RGB")
    assert single(tivar, "in.jpg") == bmp.grid(upright(shown, orientation))
    assert single(tivar, "in.jpg", "--no-orient") == bmp.grid(shown)


@pytest.mark.parametrize("orientation", TURNS)
@pytest.mark.parametrize("mode,bits", [("1", 1), ("P", 4), ("P", 8), ("L", 8), ("LA", 8), ("RGB", 24), ("RGBA", 24)])
def test_every_kind_of_pixel_is_turned(tivar, mode, bits, orientation):
    stored = drawing.indexed(bits, 61, 44) if mode == "P" else drawing.chart(61, 44).convert(mode)
    more = {"bits": bits} if mode == "P" else {}
    stored.save(tivar.directory / "in.png", exif=exif(orientation, False), **more)
    assert single(tivar, "in.png", "--bits", 24) == bmp.grid(upright(stored, orientation).convert("RGB"))


def test_damaged_orientations_are_none(tivar):
    whole = exif(6, False)
    picture = drawing.chart(20, 10)
    for cut in range(len(whole)):
        picture.save(tivar.directory / "in.png", exif=whole[:cut])
        width = len(single(tivar, "in.png")[0])
        assert width == (10 if cut >= 34 else 20), cut


# --- Colour profiles -----------------------------------------------------------------------------


PROFILE = display_profile(2.2, WIDE)


def converted(picture, profile, mode="RGB"):
    source = ImageCms.ImageCmsProfile(io.BytesIO(profile))
    return ImageCms.profileToProfile(picture, source, ImageCms.createProfile("sRGB"), outputMode=mode)


def near(a, b, distance=1):
    return all(abs(x - y) <= distance for p, q in zip(a, b) for c, d in zip(p, q) for x, y in zip(c, d))


@pytest.mark.parametrize("format", ["PNG", "JPEG"])
def test_colours_are_converted_to_srgb(tivar, format):
    drawing.clouds(60, 40, 2).save(tivar.directory / "in", format, icc_profile=PROFILE, quality=95)
    stored = Image.open(tivar.directory / "in").convert("RGB")
    wanted = bmp.grid(converted(stored, PROFILE))
    shown = single(tivar, "in")
    assert near(shown, wanted) and not near(shown, bmp.grid(stored), 8)


def test_a_palette_is_converted_to_srgb(tivar):
    picture = drawing.indexed(4, 61, 44)
    picture.save(tivar.directory / "in.png", bits=4, icc_profile=PROFILE)
    shown = single(tivar, "in.png")
    assert near(shown, bmp.grid(converted(picture.convert("RGB"), PROFILE)))


def test_alpha_passes_the_conversion(tivar):
    picture = drawing.clouds(60, 40, 2)
    picture.putalpha(Image.linear_gradient("L").resize((60, 40)))
    picture.save(tivar.directory / "in.png", icc_profile=PROFILE)
    below = Image.new("RGBA", (60, 40), "white")
    colors = converted(picture.convert("RGB"), PROFILE)
    colors.putalpha(picture.getchannel("A"))
    wanted = Image.alpha_composite(below, colors).convert("RGB")
    assert near(single(tivar, "in.png"), bmp.grid(wanted), 2)


def test_greys_stay_greys_and_get_their_tone(tivar):
    ramp = Image.linear_gradient("L")
    ramp.save(tivar.directory / "in.png", icc_profile=display_profile(1.0, [], b"GRAY"))
    shown = bmp.read(tivar.export("in.png", "out.bmp", "--route", "filter"))
    assert shown.bits == 8

    def tone(value):
        light = value / 255
        return round(255 * (12.92 * light if light <= 0.0031308 else 1.055 * light ** (1 / 2.4) - 0.055))

    assert all(abs(row[0][0] - tone(y)) <= 1 for y, row in enumerate(shown.pixels()))


def test_srgb_profiles_change_nothing(tivar):
    srgb = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    picture = drawing.clouds(60, 40, 2)
    picture.save(tivar.directory / "in.png", icc_profile=srgb)
    assert single(tivar, "in.png") == bmp.grid(picture)


@pytest.mark.parametrize("profile", [b"rubbish" * 40, PROFILE[:300], display_profile(1.0, [], b"GRAY")])
def test_a_profile_that_cannot_be_used_is_told(tivar, profile):
    picture = drawing.chart(61, 44)
    picture.save(tivar.directory / "in.jpg", icc_profile=profile, quality=95)
    result = tivar.run("export", "in.jpg", "-o", "out.bmp")
    assert result.returncode == 0
    assert result.stderr.count(b"\n") == 1 and b"colour profile cannot be used" in result.stderr
    stored = Image.open(tivar.directory / "in.jpg").convert("RGB")
    assert bmp.read((tivar.directory / "out.bmp").read_bytes()).pixels() == bmp.grid(stored)
