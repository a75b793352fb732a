"""Files made to exhaust whoever reads them, under limits of memory and time: one line that refuses them, or the
picture where there is one; never more than that, and nothing is left."""

import os
import resource
import signal
import subprocess
import time

import hostile
import pytest
from conftest import start_clean
from test_signals import INTERRUPTED

# What a picture at the limit of pixels takes as bytes, twice; and many times the second that any of these files took.
MEMORY = 512 << 20
SECONDS = 10

# For streams, which are kept whole as long as they might be a picture.
LITTLE_MEMORY = 128 << 20


def bounded(memory=MEMORY):
    """What a process here may use. Two processors, for threads have memory of their own."""
    os.sched_setaffinity(0, sorted(os.sched_getaffinity(0))[:2])
    resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
    resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))


@pytest.fixture
def limits(sanitized):
    return None if sanitized else bounded  # sanitizers reserve more memory than there is


def one_line(result, *fragments):
    text = os.fsdecode(result.stderr)
    assert result.returncode == 1, (result.returncode, text)
    assert text.startswith("tivar: ") and "; " in text and text.count("\n") == 1, text
    for fragment in fragments:
        assert fragment in text, text


def export(tivar, limits, name, *options, **more):
    return tivar.run("export", name, "-o", "out.bmp", *options, limits=limits, **more)


@pytest.mark.parametrize("format", hostile.FORMATS)
def test_hostile_files_are_read_within_limits(tivar, limits, format):
    target = tivar.directory / "out.bmp"
    for file in hostile.FORMATS[format]():
        (tivar.directory / "in").write_bytes(file.data)
        target.write_bytes(b"old")
        result = export(tivar, limits, "in", *file.options)
        if file.is_picture:
            assert result.returncode == 0, (file.name, result)
            assert target.read_bytes()[:2] == b"BM", file.name
        else:
            one_line(result, "in: ", *file.wrong)
            assert target.read_bytes() == b"old", file.name
        assert sorted(os.listdir(tivar.directory)) == ["in", "out.bmp"], file.name


def test_hostile_bmp_files_are_inspected_and_decoded_within_limits(tivar, limits):
    for file in hostile.bmp_files():
        (tivar.directory / "in").write_bytes(file.data)
        inspected = tivar.run("inspect", "in", limits=limits)
        assert inspected.returncode in (0, 1) and inspected.stdout, file.name
        decoded = tivar.run("decode", "in", "out.png", limits=limits)
        if not file.is_picture:
            one_line(decoded, *file.wrong)
        assert (tivar.directory / "out.png").exists() == file.is_picture, file.name
        (tivar.directory / "out.png").unlink(missing_ok=True)


def test_one_hostile_file_does_not_keep_others_from_their_turn(tivar, limits):
    """All of them at once in two processes, as somebody's downloads might lie."""
    (tivar.directory / "album").mkdir()
    pictures, refused = [], []
    for format, files in hostile.FORMATS.items():
        for i, file in enumerate(files()):
            if len(file.data) > hostile.MEBI // 8 or file.options:
                continue
            (pictures if file.is_picture else refused).append(f"{format}-{i}")
            (tivar.directory / "album" / f"{format}-{i}").write_bytes(file.data)
    (tivar.directory / "made").mkdir()
    names = [f"album/{name}" for name in pictures + refused]
    result = tivar.run("export", *names, "-o", "made", "-j", 2, limits=limits)
    assert result.returncode == 1
    lines = os.fsdecode(result.stderr).splitlines()
    assert sorted(os.listdir(tivar.directory / "made")) == sorted(f"{name}.bmp" for name in pictures)
    for name in refused:
        assert sum(f"album/{name}: " in line for line in lines) == 1, name


@pytest.mark.parametrize("format", ["PNG", "JPEG", "GIF", "TIFF", "WEBP", "PPM", "BMP"])
def test_whatever_is_missing_at_the_end_is_one_line(tivar, limits, format):
    whole = hostile.encoded(format)
    for twelfth in range(12):
        (tivar.directory / "in").write_bytes(whole[: len(whole) * twelfth // 12])
        one_line(export(tivar, limits, "in"), "in: ")
        assert os.listdir(tivar.directory) == ["in"]


@pytest.mark.parametrize("device", ["/dev/null", "/dev/zero", "/dev/urandom", "/dev/full", "/proc/self/mem", "/dev"])
def test_what_is_no_file_is_refused(tivar, limits, device):
    for command in (["export", device, "-o", "out.bmp"], ["inspect", device], ["decode", device, "out.png"]):
        one_line(tivar.run(*command, limits=limits), device)
    assert os.listdir(tivar.directory) == []


@pytest.mark.parametrize("format", hostile.BEGINNINGS)
def test_a_stream_without_an_end_is_given_up(tivar, sanitized, format):
    """Zeros for ever behind the first bytes of a picture: they stand in no file of that kind, or memory ends."""
    if sanitized:
        pytest.skip("there is no limit of memory to reach")
    source = subprocess.Popen(
        ["sh", "-c", 'printf "$0"; cat /dev/zero', "".join(f"\\{byte:03o}" for byte in hostile.BEGINNINGS[format])],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, preexec_fn=start_clean,
    )
    try:
        one_line(export(tivar, lambda: bounded(LITTLE_MEMORY), "-", stdin=source.stdout), "standard input: ")
    finally:
        source.stdout.close()
        source.wait()
    assert os.listdir(tivar.directory) == []


# What goes on without an end and might still become a picture is waited for, as everywhere, until somebody has enough.


def interrupted(tivar, process):
    time.sleep(0.2)
    assert process.poll() is None, process.communicate()
    process.send_signal(signal.SIGINT)
    _, errors = process.communicate(timeout=20)
    assert (process.returncode, errors) == (128 + signal.SIGINT, INTERRUPTED)


@pytest.mark.parametrize("command", [["export", "fifo", "-o", "out.bmp"], ["inspect", "fifo"]])
def test_a_fifo_that_nobody_writes_to_can_be_left(tivar, command):
    os.mkfifo(tivar.directory / "fifo")
    interrupted(tivar, tivar.start(*command))
    assert os.listdir(tivar.directory) == ["fifo"]


@pytest.mark.parametrize("start,rest", [("P5\\n#", "x"), ("P5\\n", " "), ("\\377\\330", "\\377")])
def test_a_header_without_an_end_can_be_left(tivar, start, rest):
    endless = ["sh", "-c", f"printf '{start}'; tr '\\000' '{rest}' </dev/zero"]
    source = subprocess.Popen(endless, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, preexec_fn=start_clean)
    try:
        interrupted(tivar, tivar.start("export", "-", "-o", "out.bmp", stdin=source.stdout))
    finally:
        source.stdout.close()
        source.wait()
    assert os.listdir(tivar.directory) == []
