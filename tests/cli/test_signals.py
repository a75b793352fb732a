"""Ctrl-C and its relatives: the export is cancelled, the old file stays, nothing is left."""

import fcntl
import os
import random
import re
import signal
import subprocess
import termios
import time
from pathlib import Path

import pytest
from conftest import leftovers, start_clean
from PIL import Image

INTERRUPTED = b"tivar: interrupted; nothing half-written is left\n"


def wait_for(condition, process):
    end = time.monotonic() + 20
    while not condition():
        assert time.monotonic() < end, "waited in vain"
        assert process.poll() is None, process.communicate()
        time.sleep(0.001)


def catches_signals(process):
    status = Path(f"/proc/{process.pid}/status").read_text()
    caught = int(re.search(r"SigCgt:\s*(\w+)", status).group(1), 16)
    return caught >> (signal.SIGINT - 1) & 1


def export_in_progress(tivar, source, count=1):
    """An export whose unfinished files are there, stopped in the middle."""
    old = tivar.directory / "out.bmp"
    old.write_bytes(b"old")
    process = tivar.start("export", source, "-o", "out.bmp", "--bits", 4)
    wait_for(lambda: len(leftovers(tivar.directory)) == count, process)
    time.sleep(0.05)  # the file is there a moment before the library is called
    process.send_signal(signal.SIGSTOP)
    return process, old


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_during_the_export_cancels_it(tivar, slow_picture, number):
    process, old = export_in_progress(tivar, slow_picture)
    process.send_signal(number)
    process.send_signal(signal.SIGCONT)
    output, errors = process.communicate(timeout=30)
    assert (process.returncode, output, errors) == (128 + number, b"", INTERRUPTED)
    assert old.read_bytes() == b"old"
    assert leftovers(tivar.directory) == []


@pytest.fixture(scope="session")
def endless_library(library_around):
    return library_around("endless_library.c")


def test_a_signal_is_answered_through_the_status_call_back(tivar, chart, endless_library):
    asked = ["--route", "filter", "--library", endless_library]
    process = tivar.start("export", chart, "-o", "out.bmp", *asked)
    wait_for(lambda: leftovers(tivar.directory), process)
    time.sleep(0.1)
    process.send_signal(signal.SIGINT)
    output, errors = process.communicate(timeout=10)
    assert (process.returncode, output, errors) == (130, b"", INTERRUPTED)
    assert os.listdir(tivar.directory) == ["chart.png"]


def test_a_second_signal_ends_the_export_at_once(tivar, slow_picture):
    process, old = export_in_progress(tivar, slow_picture)
    process.send_signal(signal.SIGINT)
    process.send_signal(signal.SIGTERM)
    process.send_signal(signal.SIGCONT)
    _, errors = process.communicate(timeout=30)
    # Waiting for the library would end with the code of the first signal.
    assert (process.returncode, errors) == (128 + signal.SIGTERM, INTERRUPTED)
    assert old.read_bytes() == b"old"
    assert leftovers(tivar.directory) == []


def test_a_signal_while_the_input_is_read_ends_the_program(tivar):
    process = tivar.start("export", "-", "-o", "out.bmp", stdin=subprocess.PIPE)
    process.stdin.write(b"P6 100 100 255\n")
    process.stdin.flush()
    wait_for(lambda: catches_signals(process), process)
    process.send_signal(signal.SIGINT)
    assert process.wait(10) == 130
    assert process.stderr.read() == INTERRUPTED
    assert os.listdir(tivar.directory) == []
    process.stdin.close()


def test_a_signal_reaches_all_workers(tivar, slow_picture):
    for name in ("a.ppm", "b.ppm", "c.ppm"):
        (tivar.directory / name).symlink_to(slow_picture)
    process = tivar.start("export", "a.ppm", "b.ppm", "c.ppm", "-j", 2, "--bits", 4)
    wait_for(lambda: leftovers(tivar.directory), process)
    process.send_signal(signal.SIGINT)
    output, errors = process.communicate(timeout=30)
    assert (process.returncode, output, errors) == (130, b"", INTERRUPTED)
    assert sorted(os.listdir(tivar.directory)) == ["a.ppm", "b.ppm", "c.ppm"]


def on_own_terminal(tivar, arguments):
    """The program with a terminal of its own, whose keys it gets: process, terminal."""
    master, slave = os.openpty()

    def prepare():
        start_clean()
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    process = subprocess.Popen(
        [tivar.program, *map(str, arguments)],
        cwd=tivar.directory,
        stdin=slave,
        stdout=slave,
        stderr=slave,
        preexec_fn=prepare,
    )
    os.close(slave)
    return process, master


@pytest.mark.parametrize("count", [1, 2])
def test_ctrl_c_on_a_terminal_cancels(tivar, slow_picture, count):
    names = [f"{i}.ppm" for i in range(count)]
    for name in names:
        (tivar.directory / name).symlink_to(slow_picture)
    process, terminal = on_own_terminal(tivar, ["export", *names, "-j", count, "--bits", 4])
    wait_for(lambda: len(leftovers(tivar.directory)) == count, process)
    os.write(terminal, b"\x03")
    assert process.wait(30) == 130
    shown = os.read(terminal, 4096)
    os.close(terminal)
    assert shown.endswith(INTERRUPTED.replace(b"\n", b"\r\n"))
    assert sorted(os.listdir(tivar.directory)) == names


def test_an_ignored_signal_stays_ignored(tivar, slow_picture):
    process = subprocess.Popen(
        [tivar.program, "export", slow_picture, "-o", "out.bmp", "--bits", "4"],
        cwd=tivar.directory,
        preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN),
    )
    wait_for(lambda: leftovers(tivar.directory), process)
    process.send_signal(signal.SIGHUP)
    assert process.wait(30) == 0
    assert (tivar.directory / "out.bmp").stat().st_size > 15_000_000


def test_a_killed_worker_is_reported_and_the_others_finish(tivar, slow_picture):
    (tivar.directory / "slow.ppm").symlink_to(slow_picture)
    (tivar.directory / "small.pbm").write_bytes(b"P4 8 2\n\x0f\xf0")
    process = tivar.start("export", "slow.ppm", "small.pbm", "--bits", 4)
    wait_for(lambda: leftovers(tivar.directory), process)
    worker = int(leftovers(tivar.directory)[0].split(".")[-2])
    assert worker != process.pid
    os.kill(worker, signal.SIGKILL)
    _, errors = process.communicate(timeout=30)
    assert process.returncode == 1
    assert errors.startswith(b"tivar: slow.ppm: ") and errors.count(b"\n") == 1
    assert (tivar.directory / "small.bmp").exists()
    # Nobody could clean up behind it; the next export of the same file does.
    left = leftovers(tivar.directory)
    assert len(left) == 1
    assert tivar.run("export", "small.pbm", "-o", "slow.bmp").returncode == 0


# ---- At any moment ------------------------------------------------------------------------------

ROUNDS = 12


def ended_at_random(tivar, number, longest, *arguments):
    """Runs the program and sends it the signal at some moment of its run: the exit code."""
    process = tivar.start(*arguments)
    time.sleep(random.uniform(0, longest))
    process.send_signal(number)
    process.communicate(timeout=30)
    return process.returncode


def duration(work):
    start = time.monotonic()
    work()
    return time.monotonic() - start


@pytest.fixture
def medium_picture(tivar, slow_picture):
    """Takes a tenth of a second or two."""
    picture = Image.open(slow_picture).crop((0, 0, 1200, 900))
    picture.save(tivar.directory / "medium.ppm")
    return "medium.ppm"


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_whenever_an_export_is_ended_the_target_is_the_old_or_the_new_one(
    tivar, medium_picture, number
):
    export = ["export", medium_picture, "-o", "out.bmp", "--bits", "4"]
    target = tivar.directory / "out.bmp"
    longest = duration(lambda: tivar.run(*export))
    complete = target.read_bytes()
    codes = []
    for _ in range(ROUNDS):
        target.write_bytes(b"old")
        codes.append(ended_at_random(tivar, number, longest, *export))
        there = target.read_bytes()
        assert there == complete or (codes[-1] != 0 and there == b"old")
        if number == signal.SIGKILL:
            # Nobody could clean up; the next run of the same export does.
            assert tivar.run(*export).returncode == 0
            assert target.read_bytes() == complete
        assert leftovers(tivar.directory) == []
    # A signal before the program looks out for it ends it by itself.
    assert set(codes) <= {0, 128 + number, -number}
    assert any(code != 0 for code in codes), "no signal came in time"


def test_whenever_setting_is_killed_the_profile_is_the_old_or_the_new_one(tivar):
    profile = tivar.directory / "my.ini"
    rest = "".join(f"key{i}=a line of a profile that takes a while to rewrite\n" for i in range(9000))
    old = f"[Mode]\nDriver=TIVAR.1\nX Resolution=96\n{rest}"
    new = old.replace("=96", "=200")
    change = ["settings", "set", "--profile", "my.ini", "--mode", "Mode", "X Resolution=200"]
    profile.write_text(old)
    longest = duration(lambda: tivar.run(*change))
    assert profile.read_text() == new
    seen = []
    for _ in range(4 * ROUNDS):
        profile.write_text(old)
        code = ended_at_random(tivar, signal.SIGKILL, 1.1 * longest, *change)
        seen.append(profile.read_text())
        assert seen[-1] == new or (code != 0 and seen[-1] == old)
    assert old in seen, "no signal came in time"
