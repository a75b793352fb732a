"""The direct route, which exports take by themselves: the picture as it is, at its exact size."""

import io
import os
import resource
import signal
import struct
import subprocess

import drawing
import pytest
from conftest import fails, leftovers
from PIL import Image, ImageStat
from test_outputs import on_a_terminal
from test_signals import INTERRUPTED, wait_for


def headers(data):
    """Width, height, bits, encoding as the 40 bytes behind the file header say."""
    return struct.unpack_from("<ii2xHI", data, 18)


def pixels(data):
    return Image.open(io.BytesIO(data)).convert("RGB")


def same(data, picture):
    return pixels(data).tobytes() == picture.convert("RGB").tobytes()


@pytest.mark.parametrize("size", [(1, 1), (7, 3), (61, 45), (250, 122), (33, 1)])
def test_a_picture_keeps_its_size_and_its_pixels(tivar, size):
    picture = drawing.chart(*size)
    picture.save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp")
    assert headers(written) == (*size, 24, 0)
    assert len(written) == 54 + (size[0] * 3 + 3) // 4 * 4 * size[1]
    assert same(written, picture)


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_a_palette_picture_keeps_indices_and_palette(tivar, bits):
    picture = drawing.indexed(bits, 61, 45)
    picture.save(tivar.directory / "in.png", bits=bits)
    written = tivar.export("in.png", "out.bmp")
    assert headers(written) == (61, 45, {2: 4}.get(bits, bits), 0)
    assert same(written, picture)
    read = Image.open(tivar.directory / "in.png")
    if bits == 8:
        assert Image.open(io.BytesIO(written)).tobytes() == read.tobytes()


def test_greys_keep_their_depth(tivar):
    picture = drawing.clouds(61, 45, 1).convert("L")
    picture.save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp")
    assert headers(written) == (61, 45, 8, 0)
    assert same(written, picture)


@pytest.mark.parametrize("bits", [1, 4, 8, 16, 24, 32])
def test_every_depth_has_the_tones_of_the_picture(tivar, bits):
    picture = drawing.clouds(160, 121, 3)
    picture.save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--bits", bits)
    assert headers(written)[:3] == (160, 121, bits)
    wanted = picture.convert("L") if bits == 1 else picture
    got = pixels(written).convert(wanted.mode)
    means = zip(ImageStat.Stat(got).mean, ImageStat.Stat(wanted).mean)
    assert max(abs(a - b) for a, b in means) < 4


@pytest.mark.parametrize("bits", [1, 4, 8, 24])
def test_the_os2_flavour_has_12_bytes_of_header(tivar, chart, bits):
    written = tivar.export(chart, "out.bmp", "--bits", bits, "--os2")
    assert struct.unpack_from("<IHHHH", written, 14) == (12, 61, 44, 1, bits)
    assert pixels(written).size == (61, 44)


@pytest.mark.parametrize("bits,encoding", [(8, 1), (4, 2)])
def test_portable_run_lengths_are_the_raw_pixels(tivar, imagemagick, bits, encoding):
    picture = drawing.indexed(bits, 61, 45)
    picture.save(tivar.directory / "in.png", bits=bits)
    written = tivar.export("in.png", "out.bmp", "--compress", "portable")
    assert headers(written) == (61, 45, bits, encoding)
    seen = subprocess.run(
        [imagemagick, "bmp:-", "-depth", "8", "rgb:-"], input=written, capture_output=True, check=True
    ).stdout
    assert seen == picture.convert("RGB").tobytes()


# --- Transparent pixels ---------------------------------------------------------------------------


def half_transparent(mode):
    color = {"RGBA": (200, 100, 0, 128), "LA": (100, 128)}[mode]
    return Image.new(mode, (5, 3), color)


@pytest.mark.parametrize("mode,stored", [("RGBA", (0, 100, 200, 128)), ("LA", (100,) * 3 + (128,))])
def test_32_bits_keep_alpha(tivar, mode, stored):
    half_transparent(mode).save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", "--bits", 32)
    assert struct.unpack_from("<I", written, 14) == (108,)
    assert written[-4:] == bytes(stored)
    assert len(written) == 122 + 5 * 3 * 4


# 128 of 255 are 0.502: 200 over 0 is 100.4, 100 over 0 is 50.2; over 255 they are 227.4 and 177.2.
@pytest.mark.parametrize(
    "options,wanted",
    [
        ([], (227, 177, 127)),
        (["--background", "000000"], (100, 50, 0)),
        (["--bits", 32, "--background", "000000"], (100, 50, 0)),
    ],
)
def test_else_they_are_laid_over_the_background(tivar, options, wanted):
    half_transparent("RGBA").save(tivar.directory / "in.png")
    written = tivar.export("in.png", "out.bmp", *options)
    assert pixels(written).getpixel((4, 2)) == wanted


def test_transparent_entries_of_a_palette_are_laid_over_the_background(tivar):
    picture = Image.new("P", (3, 3), 1)
    picture.putpalette([0, 0, 0, 200, 100, 0])
    picture.save(tivar.directory / "in.png", transparency=bytes([255, 0]))
    written = tivar.export("in.png", "out.bmp", "--background", "102030")
    assert headers(written)[2] == 1
    assert pixels(written).getpixel((1, 1)) == (0x10, 0x20, 0x30)


# --- Usage ----------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "options,wanted",
    [
        (["--profile", "my.ini"], "--profile does not go with --route direct"),
        (["--compress", "native", "--bits", 8], "--compress native does not go with --route direct"),
        (["--via", "memory"], "--via does not go with --route direct"),
        (["--cell-arrays", "single"], "--cell-arrays needs --route driver"),
        (["--compress", "portable"], "--compress portable exists for 4 and 8 bits, not for 24"),
        (["--compress", "portable", "--bits", 8, "--os2"], "--compress portable needs the Windows"),
        (["--bits", 16, "--os2"], "the OS/2 flavour has no form of 16 bits"),
        (["--bits", 32, "--os2"], "the OS/2 flavour has no form of 32 bits"),
    ],
)
def test_what_the_route_does_not_have_is_wrong_usage(tivar, chart, options, wanted):
    fails(tivar.run("export", chart, "-o", "out.bmp", "--route", "direct", *options), 2, wanted)
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize("bits", [16, 32])
@pytest.mark.parametrize("route", ["filter", "driver"])
def test_depths_of_this_route_alone_are_wrong_usage_on_others(tivar, chart, route, bits):
    result = tivar.run("export", chart, "-o", "out.bmp", "--route", route, "--bits", bits)
    fails(result, 2, f"--bits {bits} needs --route direct")


# --- The route that nobody names --------------------------------------------------------------------


def test_the_direct_route_is_the_usual_one(tivar):
    drawing.chart(61, 45).save(tivar.directory / "in.png")
    assert tivar.export("in.png", "a.bmp") == tivar.export("in.png", "b.bmp", "--route", "direct")
    assert headers(tivar.export("in.png", "c.bmp", "--route", "filter")) == (61, 46, 24, 0)


@pytest.mark.parametrize(
    "options", [["--via", "memory"], ["--bits", 8, "--compress", "native"], ["--profile", "my.ini"]]
)
def test_what_only_the_filter_has_takes_its_route_and_the_result_says_so(tivar, options):
    drawing.chart(61, 45).save(tivar.directory / "in.png")
    assert tivar.run("settings", "init", "--profile", "my.ini").returncode == 0
    alone = tivar.export("in.png", "a.bmp", *options)
    assert alone == tivar.export("in.png", "b.bmp", *options, "--route", "filter")
    code, shown = on_a_terminal(tivar, "export", "in.png", "-o", "c.bmp", *options)
    assert code == 0 and shown.endswith(" bytes, filter route\r\n")


@pytest.mark.parametrize(
    "options,wanted",
    [
        (["--profile", "my.ini", "--bits", 16], "--profile does not go with --bits 16"),
        (["--via", "document", "--palette", "bw"], "--via does not go with --palette"),
        (["--compress", "native", "--colors", 5], "--compress native does not go with --colors"),
    ],
)
def test_options_of_two_routes_are_wrong_usage(tivar, chart, options, wanted):
    fails(tivar.run("export", chart, "-o", "out.bmp", *options), 2, wanted, "leave out one of the two")


def test_a_terminal_is_told_of_the_driver_s_route(tivar, chart):
    code, shown = on_a_terminal(tivar, "export", chart, "-o", "out.bmp", "--route", "driver")
    assert code == 0 and shown.endswith(" bytes, driver route\r\n")


# --- Where it goes --------------------------------------------------------------------------------


def test_standard_output_gets_the_same_bytes(tivar, chart):
    written = tivar.export(chart, "out.bmp", "--bits", 4)
    piped = tivar.run("export", chart, "-o", "-", "--bits", 4)
    assert (piped.returncode, piped.stdout, piped.stderr) == (0, written, b"")


def test_a_file_that_cannot_grow_is_a_failure_and_the_old_one_stays(tivar, chart):
    old = tivar.directory / "out.bmp"
    old.write_bytes(b"old")

    def limits():
        resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

    fails(tivar.run("export", chart, "-o", "out.bmp", limits=limits), 1, "File too large")
    assert old.read_bytes() == b"old"


def test_a_full_device_is_a_failure(tivar, chart):
    fails(tivar.run("export", chart, "-o", "/dev/full"), 1, "/dev/full: No space left")


def test_a_signal_cancels(tivar, slow_picture):
    old = tivar.directory / "out.bmp"
    old.write_bytes(b"old")
    process = tivar.start("export", slow_picture, "-o", "out.bmp", "--bits", 8)
    wait_for(lambda: leftovers(tivar.directory), process)
    process.send_signal(signal.SIGTERM)
    output, errors = process.communicate(timeout=30)
    assert (process.returncode, output, errors) == (128 + signal.SIGTERM, b"", INTERRUPTED)
    assert old.read_bytes() == b"old"


def test_a_terminal_shows_progress_and_the_result(tivar, chart):
    code, shown = on_a_terminal(tivar, "export", chart, "-o", "out.bmp", "--bits", 4)
    length = os.path.getsize(tivar.directory / "out.bmp")
    assert code == 0 and "100 %" in shown
    assert shown.endswith(f"out.bmp: 61 x 44, 4 bits, {length} bytes\r\n")
