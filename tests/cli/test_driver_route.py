"""The driver route: the same pictures, sent to the raster driver as numbered operations."""

import os
import resource
import signal

import bmp
import drawing
import pytest
from conftest import fails, leftovers
from PIL import Image
from test_outputs import on_a_terminal
from test_signals import INTERRUPTED
from test_sizes import scaled

ROUTE = "filter"

BANDED = ["--route", "driver"]
SINGLE = ["--route", "driver", "--cell-arrays", "single"]
ARRAYS = pytest.mark.parametrize("arrays", [BANDED, SINGLE], ids=["banded", "single"])
FORMATS = [
    (bits, os2, encoded)
    for bits in (1, 4, 8, 24)
    for os2 in (False, True)
    for encoded in (False, True)
    if not encoded or bits in (4, 8)
]


def format_options(bits, os2, encoded):
    options = ["--bits", bits] + (["--os2"] if os2 else [])
    return options + (["--compress", "native", "--force"] if encoded else [])


# --- The same files ------------------------------------------------------------------------------


@ARRAYS
def test_a_photograph_is_the_same_file_as_on_the_filter_route(tivar, photographs, arrays):
    for photograph in photographs[:2]:
        picture = Image.open(photograph).convert("RGB")
        picture.crop((0, 0, picture.width, picture.height // 2 * 2)).save(tivar.directory / "in.png")
        assert tivar.export("in.png", "d.bmp", *arrays) == tivar.export("in.png", "f.bmp")


@ARRAYS
@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_a_palette_picture_is_the_same_file_as_on_the_filter_route(tivar, bits, arrays):
    drawing.indexed(bits, 61, 44).save(tivar.directory / "in.png", bits=bits)
    written = tivar.export("in.png", "d.bmp", *arrays)
    assert written == tivar.export("in.png", "f.bmp")
    assert bmp.read(written).bits == {2: 4}.get(bits, bits)


@ARRAYS
@pytest.mark.parametrize("bits,os2,encoded", FORMATS)
def test_every_form_of_file_is_the_same_as_on_the_filter_route(tivar, bits, os2, encoded, arrays):
    options = format_options(bits, os2, encoded)
    # 100 and 101 rows are three bands, the last one short.
    for height in (44, 100) if arrays is SINGLE else (1, 101):
        drawing.chart(61, height).save(tivar.directory / "in.png")
        expected = tivar.export("in.png", "f.bmp", *options)
        for via in ("file", "memory", "document"):
            assert tivar.export("in.png", "d.bmp", *arrays, *options, "--via", via) == expected


@ARRAYS
@pytest.mark.parametrize("source", [1, 4, 8])
def test_a_palette_picture_changes_its_depth_as_on_the_filter_route(tivar, source, arrays):
    drawing.indexed(source, 61, 44).save(tivar.directory / "in.png", bits=source)
    for bits in (1, 4, 8, 24):
        expected = tivar.export("in.png", "f.bmp", "--bits", bits)
        assert tivar.export("in.png", "d.bmp", *arrays, "--bits", bits) == expected


@ARRAYS
def test_the_picture_is_upright(tivar, arrays):
    drawing.quarters(60, 120).save(tivar.directory / "in.png")
    rows = bmp.read(tivar.export("in.png", "out.bmp", *arrays)).pixels()
    assert rows[0][0] == drawing.CORNERS["top left"]
    assert rows[0][-1] == drawing.CORNERS["top right"]
    assert rows[-1][0] == drawing.CORNERS["bottom left"]
    assert rows[-1][-1] == drawing.CORNERS["bottom right"]


# --- Sizes ---------------------------------------------------------------------------------------


@pytest.mark.parametrize("height", [1, 45, 47, 49, 97])
def test_an_odd_height_becomes_even_in_an_image_and_stays_in_a_single_array(tivar, height):
    picture = drawing.chart(20, height)
    picture.save(tivar.directory / "in.png")
    assert tivar.export("in.png", "d.bmp", *BANDED) == tivar.export("in.png", "f.bmp")
    written = bmp.read(tivar.export("in.png", "s.bmp", *SINGLE))
    assert (written.width, written.height) == (20, height)
    assert written.pixels() == bmp.grid(picture)


SIZES = [
    (30, 20), (120, 90), (60, 20), (30, 44), (60, 88), (30, 88), (122, 20), (1, 2), (7, 44),
    (62, 44), (200, 46), (61, 200),
]  # fmt: skip


@ARRAYS
@pytest.mark.parametrize("width,height", SIZES)
def test_a_size_in_pixels_drops_or_repeats_pixels(tivar, chart, width, height, arrays):
    written = bmp.read(tivar.export(chart, "out.bmp", *arrays, "--size", f"{width}x{height}"))
    assert (written.width, written.height) == (width, height)
    assert written.pixels() == scaled(Image.open(chart), width, height)


@pytest.mark.parametrize("width,height", [(30, 21), (122, 89), (61, 43), (90, 45), (1, 1), (1, 99)])
def test_a_single_array_may_be_given_an_odd_height(tivar, chart, width, height):
    written = bmp.read(tivar.export(chart, "out.bmp", *SINGLE, "--size", f"{width}x{height}"))
    assert (written.width, written.height) == (width, height)
    assert written.pixels() == scaled(Image.open(chart), width, height)


@ARRAYS
@pytest.mark.parametrize("width,height", [(30, 20), (120, 90), (30, 88), (90, 22), (90, 44)])
def test_palette_pictures_are_scaled_index_by_index(tivar, width, height, arrays):
    picture = drawing.indexed(8, 61, 44)
    picture.save(tivar.directory / "in.png")
    size = ["--size", f"{width}x{height}"]
    written = bmp.read(tivar.export("in.png", "out.bmp", *arrays, *size))
    assert written.rows == scaled(picture, width, height)


@ARRAYS
@pytest.mark.parametrize("width,height", [(30, 20), (120, 90), (30, 88), (90, 44)])
def test_scaling_and_a_greater_depth_go_together(tivar, width, height, arrays):
    picture = drawing.indexed(4, 61, 44)
    picture.save(tivar.directory / "in.png", bits=4)
    options = ["--bits", 24, "--size", f"{width}x{height}"]
    written = bmp.read(tivar.export("in.png", "out.bmp", *arrays, *options))
    assert written.pixels() == scaled(picture.convert("RGB"), width, height)


@ARRAYS
def test_a_very_wide_picture_shrinks_to_a_column(tivar, arrays):
    row = b"".join(bytes([x >> 8, x & 0xFF, 7]) for x in range(65535))
    (tivar.directory / "in.ppm").write_bytes(b"P6 65535 4 255\n" + row * 4)
    for width in (1, 2, 1000):
        written = bmp.read(tivar.export("in.ppm", "out.bmp", *arrays, "--size", f"{width}x2"))
        expected = [x * 65535 // width for x in range(width - 1)] + [65534]
        assert [r << 8 | g for r, g, _ in written.rows[0]] == expected


@ARRAYS
def test_what_the_library_cannot_scale_is_refused(tivar, arrays):
    (tivar.directory / "in.ppm").write_bytes(b"P6 2 32768 255\n" + bytes(2 * 32768 * 3))
    result = tivar.run("export", "in.ppm", "-o", "out.bmp", *arrays, "--size", "2x1000")
    fails(result, 1, "32767")
    assert not (tivar.directory / "out.bmp").exists()


# --- Profiles ------------------------------------------------------------------------------------


def write_profile(tivar, *entries):
    lines = ["[Mode]", "Driver=TIVAR.1", *entries]
    (tivar.directory / "my.ini").write_text("\n".join(lines) + "\n")
    return ["--profile", "my.ini", "--mode", "Mode"]


@pytest.mark.parametrize("width,height", [(60, 30), (30, 60), (300, 20), (20, 1)])
def test_a_profile_s_page_gives_the_same_file_as_on_the_filter_route(tivar, width, height):
    profile = write_profile(tivar, "Color Format=222", "Width=2", "Height=1.01")
    drawing.chart(width, height).save(tivar.directory / "in.png")
    expected = tivar.export("in.png", "f.bmp", *profile)
    assert tivar.export("in.png", "d.bmp", *BANDED, *profile) == expected
    page, single = bmp.read(expected), bmp.read(tivar.export("in.png", "s.bmp", *SINGLE, *profile))
    assert (single.width, (single.height + 1) // 2 * 2) == (page.width, page.height)


@ARRAYS
def test_a_page_of_the_display_s_size_fills_the_display(tivar, arrays):
    profile = write_profile(tivar, "Color Format=222", "Size Mode=600", "Resolution Mode=307")
    drawing.chart(61, 44).save(tivar.directory / "wide.png")
    drawing.chart(44, 61).save(tivar.directory / "tall.png")
    for variables in ({"DISPLAYINFO": "800x600x100x100"}, {}):
        environment = dict(os.environ, **variables)
        for source in ("wide.png", "tall.png"):
            expected = tivar.export(source, "f.bmp", *profile, env=environment)
            written = bmp.read(tivar.export(source, "d.bmp", *arrays, *profile, env=environment))
            assert written.pixels() == bmp.read(expected).pixels()


def test_a_page_larger_than_a_picture_can_be_is_refused(tivar, chart):
    profile = write_profile(tivar, "Size Mode=600", "Resolution Mode=307")
    environment = dict(os.environ, DISPLAYINFO="100000x100000x1x1")
    result = tivar.run("export", chart, "-o", "out.bmp", *BANDED, *profile, env=environment)
    fails(result, 1, "my.ini", "--size")


def grey_of(color):
    return (3 * color[0] + 6 * color[1] + color[2]) // 10


def inverted(color):
    return tuple(255 - channel for channel in color)


def inverted_if_grey(color):
    return inverted(color) if max(color) - min(color) <= 10 else color


COLOR_MODES = {
    103: lambda color: color,
    104: inverted,
    105: inverted_if_grey,
    106: lambda color: (grey_of(color),) * 3,
    107: lambda color: (255 - grey_of(color),) * 3,
}


@ARRAYS
@pytest.mark.parametrize("mode", COLOR_MODES)
def test_the_profile_s_colour_mode_changes_colours(tivar, mode, arrays):
    profile = write_profile(tivar, f"Color Mode={mode}", "Color Format=222")
    picture = drawing.chart(61, 44)
    picture.paste((120, 124, 128), (0, 0, 20, 20))
    picture.save(tivar.directory / "in.png")
    change = COLOR_MODES[mode]
    expected = [[change(color) for color in row] for row in bmp.grid(picture)]
    assert bmp.read(tivar.export("in.png", "d.bmp", *arrays, *profile)).pixels() == expected

    indexed = drawing.indexed(8, 61, 44)
    indexed.save(tivar.directory / "in.png")
    palette = indexed.getpalette()
    written = bmp.read(tivar.export("in.png", "d.bmp", *arrays, *profile, "--bits", 8))
    colors = [tuple(palette[3 * i : 3 * i + 3]) for i in range(256)]
    assert written.palette == [change(color) for color in colors]
    assert written.rows == bmp.grid(indexed)


# --- Where it goes -------------------------------------------------------------------------------


@ARRAYS
def test_standard_output_and_devices_receive_the_file(tivar, chart, arrays):
    expected = tivar.export(chart, "out.bmp", *arrays)
    assert tivar.run("export", chart, "-o", "-", *arrays).stdout == expected
    assert tivar.run("export", chart, "-o", "/dev/null", *arrays).returncode == 0
    fails(tivar.run("export", chart, "-o", "/dev/full", *arrays), 1, "/dev/full", "No space left")


@pytest.mark.parametrize("length", [60, 100, 251])
def test_names_longer_than_the_driver_takes_work(tivar, chart, length):
    expected = tivar.export(chart, "out.bmp")
    deep = tivar.directory / ("d" * 90)
    deep.mkdir()
    name = deep / ("n" * length + ".bmp")
    assert tivar.export(chart, name, *BANDED) == expected
    assert os.listdir(deep) == [name.name]


def test_several_inputs_are_exported_at_once(tivar):
    for i in range(5):
        drawing.clouds(40 + i, 30, i).save(tivar.directory / f"in{i}.png")
    names = [f"in{i}.png" for i in range(5)]
    result = tivar.run("export", *names, "-j", 3, *BANDED)
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    for name in names:
        written = bmp.read((tivar.directory / name).with_suffix(".bmp").read_bytes())
        assert written.pixels() == bmp.grid(Image.open(tivar.directory / name))


def test_a_terminal_shows_the_driver_s_progress(tivar, chart):
    code, shown = on_a_terminal(tivar, "export", chart, "-o", "out.bmp", *BANDED)
    assert code == 0 and "chart.png: 100 %" in shown and " 0 %" not in shown
    code, shown = on_a_terminal(tivar, "export", chart, "-o", "out.bmp", *SINGLE, "--size", "20x20")
    assert code == 0 and "chart.png: 20 %" in shown and "chart.png: 50 %" in shown
    assert shown.endswith(f"out.bmp: 20 x 20, 24 bits, {54 + 60 * 20} bytes, driver route\r\n")


# --- What the driver is sent ---------------------------------------------------------------------


@pytest.fixture
def witness(tivar, witness_library):
    """Runs exports with a driver that writes down what it is sent: the result and the lines."""
    log = tivar.directory / "witness.log"

    def run(source, *options, **variables):
        log.unlink(missing_ok=True)
        environment = dict(os.environ, WITNESS_LOG=str(log), **variables)
        arguments = ["export", source, *options, "--library", witness_library]
        result = tivar.run(*arguments, env=environment)
        return result, log.read_text().splitlines()

    return run


def test_an_image_is_sent_in_bands_between_its_begin_and_its_end(tivar, witness):
    drawing.indexed(8, 61, 100).save(tivar.directory / "in.png")
    result, sent = witness("in.png", "-o", "out.bmp", *BANDED)
    assert result.returncode == 0
    assert sent == [
        "init hook",
        "1",
        "3",
        "518 0 0 60 99",
        f"521 1 {25.4 / 64:.6g}",
        "4",
        f"1314 {2 + 3 * 256} 0",
        "1034 -5",
        "1033 61 48 -8",
        "1033 61 48 -8",
        "1033 61 4 -8",
        "1034 -6",
        "5",
        "2 kept",
        "2 kept",
        "term",
    ]


def test_a_single_array_is_sent_outside_of_an_image(tivar, witness):
    drawing.chart(61, 44).save(tivar.directory / "in.png")
    _, sent = witness("in.png", "-o", "out.bmp", *SINGLE)
    body = sent[2:-4]
    assert body == ["3", "518 0 0 60 43", "521 0 0", "4", "1033 61 44 -24"]
    # Half as wide and high: two units of the window make a pixel, so that no cell is cut off.
    _, sent = witness("in.png", "-o", "out.bmp", *SINGLE, "--size", "31x22")
    assert sent[3:5] == ["518 0 0 61 43", f"521 1 {25.4 / 128:.6g}"]
    _, sent = witness("in.png", "-o", "out.bmp", *SINGLE, "--size", "122x88")
    assert sent[3:5] == ["518 0 0 121 87", f"521 1 {25.4 / 64:.6g}"]


def test_a_document_of_the_host_is_named_in_the_hook(tivar, chart, witness):
    result, sent = witness(chart, "-o", "out.bmp", *BANDED, "--via", "document")
    assert result.returncode == 0 and sent[0] == "init hook document"


@pytest.mark.parametrize("via", ["file", "memory", "document"])
@pytest.mark.parametrize("moment", ["1:1", "1033:1", "1033:2", "1034:2", "5:1", "2:1"])
def test_a_cancel_at_any_moment_deletes_the_file(tivar, witness, moment, via):
    drawing.chart(61, 100).save(tivar.directory / "in.png")
    (tivar.directory / "out.bmp").write_bytes(b"old")
    options = ["-o", "out.bmp", *BANDED, "--via", via]
    result, sent = witness("in.png", *options, WITNESS_SIGNAL=moment)
    assert (result.returncode, result.stdout, result.stderr) == (130, b"", INTERRUPTED)
    assert (tivar.directory / "out.bmp").read_bytes() == b"old"
    assert leftovers(tivar.directory) == []
    # The driver hears of it when it closes; a file of its own it deletes then.
    closing = [line for line in sent if line.startswith("2 ")][0]
    assert closing == ("2 = 901 gone" if via != "document" else "2 = 901 kept")
    if moment == "1033:1":
        assert "1034 -6" not in sent and sent.count("1033 61 48 -24") == 1
    assert sent[-1] == "term"


def test_a_cancel_during_a_single_array_deletes_the_file(tivar, chart, witness):
    result, sent = witness(chart, "-o", "out.bmp", *SINGLE, WITNESS_SIGNAL="1033:1")
    assert (result.returncode, result.stderr) == (130, INTERRUPTED)
    assert "2 = 901 gone" in sent and not (tivar.directory / "out.bmp").exists()


def test_a_cancel_under_a_name_longer_than_the_driver_takes_leaves_nothing(tivar, chart, witness):
    deep = tivar.directory / ("d" * 120)
    deep.mkdir()
    result, sent = witness(chart, "-o", deep / "out.bmp", *BANDED, WITNESS_SIGNAL="1033:1")
    assert (result.returncode, result.stderr) == (130, INTERRUPTED)
    assert any(line.startswith("2 = 901") for line in sent) and os.listdir(deep) == []


def test_ctrl_c_during_a_long_export_cancels_it(tivar, slow_picture):
    process = tivar.start("export", slow_picture, "-o", "out.bmp", "--bits", 4, *BANDED)
    while not leftovers(tivar.directory):
        assert process.poll() is None
    process.send_signal(signal.SIGINT)
    output, errors = process.communicate(timeout=30)
    assert (process.returncode, output, errors) == (130, b"", INTERRUPTED)
    assert os.listdir(tivar.directory) == []


OPERATIONS = {
    "0:300": "initialised",
    "1:300": "open its output",
    "1:303": "open its output",
    "3:300": "begin the picture",
    "518:300": "window",
    "521:300": "scale",
    "4:300": "body",
    "1314:300": "colours",
    "1034:300": "begin the image",
    "1033:300": "rows",
    "5:303": "end the picture",
    "2:303": "close its output",
}


@pytest.mark.parametrize("via", ["file", "memory"])
@pytest.mark.parametrize("failing", OPERATIONS)
def test_every_failing_operation_is_one_clear_line(tivar, witness, failing, via):
    drawing.indexed(8, 61, 44).save(tivar.directory / "in.png")
    (tivar.directory / "out.bmp").write_bytes(b"old")
    options = ["-o", "out.bmp", *BANDED, "--via", via]
    result, sent = witness("in.png", *options, WITNESS_FAIL=failing)
    opcode, code = failing.split(":")
    fails(result, 1, "in.png", "the driver could not", OPERATIONS[failing], f"code {code}")
    assert ("not enough memory" in result.stderr.decode()) == (code == "300")
    assert (tivar.directory / "out.bmp").read_bytes() == b"old"
    # Whatever failed, the device is closed and the driver terminated.
    assert opcode == "0" or sent[-1] == "term" and sent[-2].startswith("2 ")


def test_an_output_that_the_driver_cannot_open_is_an_error(tivar, chart):
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))
    for arrays in (BANDED, SINGLE):
        result = tivar.run("export", chart, "-o", "out.bmp", *arrays, limits=limit)
        fails(result, 1, "out.bmp", "File too large")
        assert os.listdir(tivar.directory) == ["chart.png"]


@ARRAYS
@pytest.mark.parametrize("via", ["file", "document"])
@pytest.mark.parametrize("room", [10, 4096])
def test_a_file_cut_off_by_a_limit(tivar, via, room, arrays):
    drawing.clouds(400, 300, 3).save(tivar.directory / "in.png")
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (room, room))
    for options in ([], ["--bits", 8, "--compress", "native"]):
        options = [*options, *arrays, "--via", via]
        result = tivar.run("export", "in.png", "-o", "out.bmp", *options, limits=limit)
        fails(result, 1, "out.bmp", "File too large")
        assert not (tivar.directory / "out.bmp").exists()


@ARRAYS
@pytest.mark.parametrize("megabytes", [75, 100, 130])
def test_exhausted_memory_is_one_line_and_never_a_wrong_file(tivar, sanitized, megabytes, arrays):
    if sanitized:
        pytest.skip("the sanitizer needs the address space itself")
    (tivar.directory / "in.pgm").write_bytes(b"P5 6000 5000 255\n" + bytes(30_000_000))
    limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (megabytes << 20, megabytes << 20))
    options = [*arrays, "--bits", 4]
    result = tivar.run("export", "in.pgm", "-o", "out.bmp", *options, limits=limit)
    if result.returncode == 0:
        assert Image.open(tivar.directory / "out.bmp").convert("L").getextrema() == (0, 0)
    else:
        fails(result, 1, "memory")
        assert not (tivar.directory / "out.bmp").exists()


# --- Usage ---------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "options",
    [
        ["--route", "road"],
        ["--route"],
        ["--cell-arrays", "single"],
        ["--cell-arrays", "banded"],
        ["--route", "filter", "--cell-arrays", "banded"],
        ["--route", "driver", "--cell-arrays", "some"],
    ],
)
def test_wrong_usage_is_one_line_and_code_2(tivar, chart, options):
    fails(tivar.run("export", chart, "-o", "out.bmp", *options), 2, options[-2:][0])
    assert os.listdir(tivar.directory) == ["chart.png"]


def test_the_help_names_all_routes(tivar):
    text = tivar.run("export", "--help").stdout.decode()
    assert "--route direct|filter|driver" in text and "--cell-arrays banded|single" in text
