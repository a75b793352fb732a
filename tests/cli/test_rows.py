"""Pictures of which no more than a band of rows is in memory: PNM files on the direct route, where nothing
needs all of the picture."""

import os
import resource
import signal

import drawing
import pytest
from conftest import fails, leftovers
from PIL import Image
from test_signals import wait_for

HIGH = (3, 30000)
WIDE = (30001, 5)


def noise(mode, size):
    picture = Image.frombytes("RGB", size, os.urandom(3 * size[0] * size[1]))
    return picture.convert(mode)


def empty_ppm(path, width, height):
    """A black picture that takes no room on the disk: the length of its head."""
    head = b"P6\n%d %d\n255\n" % (width, height)
    with path.open("wb") as file:
        file.write(head)
        file.truncate(len(head) + 3 * width * height)
    return len(head)


@pytest.mark.parametrize("size", [(1, 1), (7, 5), (160, 120), (250, 801), HIGH, WIDE])
@pytest.mark.parametrize("mode", ["RGB", "L"])
def test_the_file_is_that_of_the_picture_in_memory(tivar, mode, size):
    picture = noise(mode, size)
    picture.save(tivar.directory / "in.ppm")
    picture.save(tivar.directory / "in.png", compress_level=1)
    for bits in (1, 16, 24, 32):
        rows = tivar.export("in.ppm", "rows.bmp", "--bits", bits)
        assert rows == tivar.export("in.png", "whole.bmp", "--bits", bits), f"{bits} bits"


@pytest.mark.parametrize(
    "options",
    [
        ["--bits", 4, "--palette", "colors.hex"],
        ["--palette", "colors.hex", "--dither", "none"],
        ["--bits", 1, "--dither", "ordered"],
        ["--rgb555", "--dither", "diffuse"],
        ["--os2", "--bits", 24],
    ],
)
def test_so_is_that_of_every_option_that_needs_no_other_row(tivar, options):
    (tivar.directory / "colors.hex").write_text("000000\nff0000\n00c000\nffffff\n4040ff\n")
    picture = drawing.clouds(301, 211, 4)
    picture.save(tivar.directory / "in.ppm")
    picture.save(tivar.directory / "in.png")
    rows = tivar.export("in.ppm", "rows.bmp", *options)
    assert rows == tivar.export("in.png", "whole.bmp", *options)


def test_top_down_files_are_followed(tivar):
    picture = noise("RGB", (150, 700))
    picture.save(tivar.directory / "in.ppm")
    picture.save(tivar.directory / "in.png")
    bottom_up = tivar.export("in.png", "up.bmp", "--bits", 24)
    negative = (-700).to_bytes(4, "little", signed=True)
    (tivar.directory / "like.bmp").write_bytes(bottom_up[:22] + negative + bottom_up[26:])
    rows = tivar.export("in.ppm", "rows.bmp", "--like", "like.bmp")
    assert rows == tivar.export("in.png", "whole.bmp", "--like", "like.bmp")
    assert rows[22:26] == negative


@pytest.mark.parametrize("options", [["--size", "40x30"], ["--rotate", 90], ["--colors", 7], ["--bits", 8]])
def test_what_needs_the_picture_has_it(tivar, options):
    picture = drawing.clouds(80, 60, 4)
    picture.save(tivar.directory / "in.ppm")
    picture.save(tivar.directory / "in.png")
    assert tivar.export("in.ppm", "rows.bmp", *options) == tivar.export("in.png", "whole.bmp", *options)


def test_memory_stays_small_whatever_the_picture(tivar, sanitized):
    if sanitized:
        pytest.skip("the sanitizer's own memory is larger")
    empty_ppm(tivar.directory / "in.ppm", 10000, 10000)

    def limits():
        resource.setrlimit(resource.RLIMIT_DATA, (12 << 20, 12 << 20))

    tivar.export("in.ppm", "out.bmp", "--bits", 1, limits=limits)


@pytest.mark.parametrize("keep", [0, 1, 29, 30, 31, 299])
@pytest.mark.parametrize("kind", ["file", "pipe"])
def test_a_file_cut_short_tells_its_complete_rows(tivar, kind, keep):
    data = b"P6\n10 10\n255\n" + bytes(range(100)) * 3
    cut = data[: len(data) - 300 + keep]
    (tivar.directory / "in.ppm").write_bytes(cut)
    source = "in.ppm" if kind == "file" else "-"
    options = {} if kind == "file" else {"input": cut}
    result = tivar.run("export", source, "-o", "out.bmp", **options)
    fails(result, 1, f"the picture is cut short ({keep // 30} of 10 rows are complete)")
    assert not (tivar.directory / "out.bmp").exists()


def test_a_file_that_becomes_shorter_meanwhile_is_a_failure_and_the_old_one_stays(tivar):
    source = tivar.directory / "in.ppm"
    head = empty_ppm(source, 16000, 16000)
    (tivar.directory / "out.bmp").write_bytes(b"old")
    process = tivar.start("export", "in.ppm", "-o", "out.bmp", "--bits", 1)
    wait_for(lambda: leftovers(tivar.directory), process)
    process.send_signal(signal.SIGSTOP)
    # The rows at the bottom come first.
    os.truncate(source, head + 3 * 16000 * 7 + 1)
    process.send_signal(signal.SIGCONT)
    output, errors = process.communicate(timeout=30)
    told = b"tivar: in.ppm: the picture is cut short (7 of 16000 rows are complete); get a complete copy of it\n"
    assert (process.returncode, output, errors) == (1, b"", told)
    assert (tivar.directory / "out.bmp").read_bytes() == b"old"
