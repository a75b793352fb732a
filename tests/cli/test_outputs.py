"""Where the file goes: names, directories, standard output, devices, several inputs at once."""

import fcntl
import os
import signal
import stat
import subprocess
import threading
import time

import bmp
import drawing
import pytest
from conftest import fails, leftovers
from PIL import Image


def test_without_a_name_the_output_lies_beside_the_input(tivar):
    (tivar.directory / "sub").mkdir()
    drawing.chart(20, 10).save(tivar.directory / "sub" / "holiday.first.png")
    assert tivar.run("export", "sub/holiday.first.png").returncode == 0
    assert bmp.read((tivar.directory / "sub" / "holiday.first.bmp").read_bytes()).width == 20


def test_a_directory_receives_the_output_under_the_name_of_the_input(tivar, chart):
    (tivar.directory / "sub").mkdir()
    assert tivar.run("export", chart, "-o", "sub").returncode == 0
    assert (tivar.directory / "sub" / "chart.bmp").exists()


def test_standard_output_receives_exactly_the_file(tivar, chart):
    expected = tivar.export(chart, "out.bmp", "--bits", 8, "--route", "filter")
    for via in ("file", "memory", "document"):
        result = tivar.run("export", chart, "-o", "-", "--bits", 8, "--via", via)
        assert (result.returncode, result.stderr) == (0, b"")
        assert result.stdout == expected


def test_encoded_rows_go_through_a_pipe_complete(tivar, chart):
    options = ["--bits", 8, "--compress", "native"]
    expected = tivar.export(chart, "out.bmp", *options)
    assert tivar.run("export", chart, "-o", "-", *options).stdout == expected


def test_standard_output_that_is_a_terminal_is_refused(tivar, chart):
    master, slave = os.openpty()
    result = tivar.run("export", chart, "-o", "-", stdout=slave)
    os.close(slave)
    fails(result, 2, "terminal")
    os.close(master)


def test_a_device_receives_the_bytes_without_being_replaced(tivar, chart):
    before = os.stat("/dev/null")
    assert tivar.run("export", chart, "-o", "/dev/null").returncode == 0
    assert os.stat("/dev/null").st_ino == before.st_ino
    assert stat.S_ISCHR(os.stat("/dev/null").st_mode)


def test_a_fifo_receives_the_file(tivar, chart):
    expected = tivar.export(chart, "out.bmp")
    fifo = tivar.directory / "fifo"
    os.mkfifo(fifo)
    received = []
    reader = threading.Thread(target=lambda: received.append(fifo.read_bytes()), daemon=True)
    reader.start()
    assert tivar.run("export", chart, "-o", "fifo").returncode == 0
    reader.join(10)
    assert received == [expected]
    assert stat.S_ISFIFO(os.stat(fifo).st_mode)


def test_an_old_file_is_replaced_and_its_permissions_are_kept(tivar, chart):
    old = tivar.directory / "out.bmp"
    old.write_bytes(b"old")
    old.chmod(0o640)
    data = tivar.export(chart, "out.bmp")
    assert bmp.read(data).width == 61
    assert stat.S_IMODE(old.stat().st_mode) == 0o640


@pytest.mark.parametrize("mask", [0o022, 0o077])
def test_a_fresh_file_has_the_permissions_that_the_umask_leaves(tivar, chart, mask):
    result = tivar.run("export", chart, "-o", "out.bmp", limits=lambda: os.umask(mask))
    assert result.returncode == 0
    assert stat.S_IMODE((tivar.directory / "out.bmp").stat().st_mode) == 0o666 & ~mask


def test_a_symbolic_link_stays_and_the_file_behind_it_is_replaced(tivar, chart):
    (tivar.directory / "store").mkdir()
    (tivar.directory / "store" / "real.bmp").write_bytes(b"old")
    (tivar.directory / "link.bmp").symlink_to("hop.bmp")
    (tivar.directory / "hop.bmp").symlink_to("store/real.bmp")
    data = tivar.export(chart, "link.bmp")
    assert (tivar.directory / "link.bmp").is_symlink() and (tivar.directory / "hop.bmp").is_symlink()
    assert (tivar.directory / "store" / "real.bmp").read_bytes() == data
    assert leftovers(tivar.directory / "store") == []


def test_a_link_to_a_file_that_is_not_there_yet_creates_it(tivar, chart):
    (tivar.directory / "link.bmp").symlink_to("fresh.bmp")
    data = tivar.export(chart, "link.bmp")
    assert (tivar.directory / "link.bmp").is_symlink()
    assert (tivar.directory / "fresh.bmp").read_bytes() == data


def test_the_longest_file_name_works(tivar, chart):
    name = "n" * 251 + ".bmp"
    assert bmp.read(tivar.export(chart, name)).width == 61


def test_links_in_a_circle_are_an_error(tivar, chart):
    (tivar.directory / "a.bmp").symlink_to("b.bmp")
    (tivar.directory / "b.bmp").symlink_to("a.bmp")
    fails(tivar.run("export", chart, "-o", "a.bmp"), 1, "a.bmp", "symbolic links")
    assert (tivar.directory / "a.bmp").is_symlink()


@pytest.mark.parametrize("same", ["in.bmp", "./in.bmp", "hard.bmp", "soft.bmp"])
def test_the_input_is_never_overwritten(tivar, same):
    source = tivar.directory / "in.bmp"
    drawing.chart(20, 10).save(source, "PNG")
    os.link(source, tivar.directory / "hard.bmp")
    (tivar.directory / "soft.bmp").symlink_to("in.bmp")
    before = source.read_bytes()
    fails(tivar.run("export", "in.bmp", "-o", same), 1, "input itself")
    assert source.read_bytes() == before


def several(tivar, count):
    names = []
    for i in range(count):
        drawing.clouds(40 + i, 30, i).save(tivar.directory / f"in{i}.png")
        names.append(f"in{i}.png")
    return names


@pytest.mark.parametrize("jobs", [1, 3, 16])
def test_several_inputs_are_exported_beside_themselves(tivar, jobs):
    names = several(tivar, 7)
    result = tivar.run("export", *names, "-j", jobs)
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    for name in names:
        written = bmp.read((tivar.directory / name).with_suffix(".bmp").read_bytes())
        assert written.pixels() == bmp.grid(Image.open(tivar.directory / name))


def test_several_inputs_are_exported_into_a_directory(tivar):
    (tivar.directory / "out").mkdir()
    assert tivar.run("export", *several(tivar, 3), "-o", "out", "-j", 2).returncode == 0
    assert sorted(os.listdir(tivar.directory / "out")) == ["in0.bmp", "in1.bmp", "in2.bmp"]


def test_one_failing_input_does_not_stop_the_others(tivar):
    names = several(tivar, 6)
    (tivar.directory / names[2]).write_bytes(b"")
    result = tivar.run("export", *names, "-j", 2)
    fails(result, 1, "in2.png")
    written = sorted(p.name for p in tivar.directory.glob("*.bmp"))
    assert written == ["in0.bmp", "in1.bmp", "in3.bmp", "in4.bmp", "in5.bmp"]


def test_a_caller_that_ignores_its_children_does_not_hide_failures(tivar):
    names = several(tivar, 3)
    (tivar.directory / names[1]).write_bytes(b"")
    ignore = lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN)
    fails(tivar.run("export", *names, "-j", 2, limits=ignore), 1, "in1.png")


def test_every_failing_input_gets_its_line(tivar):
    names = several(tivar, 4)
    for name in names[1:]:
        (tivar.directory / name).write_bytes(b"")
    result = tivar.run("export", *names, "-j", 4)
    assert result.returncode == 1
    lines = sorted(result.stderr.decode().splitlines())
    assert [line.split(": ")[1] for line in lines] == names[1:]


def on_a_terminal(tivar, *arguments):
    """Exit code and what a terminal behind standard error shows."""
    master, slave = os.openpty()
    result = tivar.run(*arguments, stderr=slave)
    os.close(slave)
    shown = b""
    try:
        while piece := os.read(master, 4096):
            shown += piece
    except OSError:
        pass  # the other end is closed
    os.close(master)
    return result.returncode, shown.decode()


def test_a_terminal_shows_progress_and_the_result(tivar, chart):
    code, shown = on_a_terminal(tivar, "export", chart, "-o", "out.bmp")
    size = (tivar.directory / "out.bmp").stat().st_size
    assert code == 0
    assert "100 %" in shown
    assert shown.endswith(f"out.bmp: 61 x 44, 24 bits, {size} bytes\r\n")


def test_quiet_shows_nothing_on_a_terminal(tivar, chart):
    assert on_a_terminal(tivar, "export", chart, "-o", "out.bmp", "--quiet") == (0, "")


def test_a_failure_on_a_terminal_is_a_clean_line(tivar, chart):
    chart.write_bytes(chart.read_bytes()[:200])
    code, shown = on_a_terminal(tivar, "export", chart, "-o", "out.bmp")
    assert code == 1
    last = shown.split("\x1b[K")[-1]
    assert last.startswith("tivar: ") and last.count("\n") == 1


def test_leftovers_that_nobody_works_on_go_and_other_files_stay(tivar, chart):
    stale = [".out.bmp.tivar.1.part", f".out.bmp.tivar.{os.getpid()}.part"]
    busy = ".out.bmp.tivar.4000000.part"
    stay = [
        busy,
        ".other.bmp.tivar.1.part",
        ".out.bmp.tivar.1x.part",
        ".out.bmp.tivar..part",
        ".out.bmp.tivar.1.part.txt",
    ]
    for name in [*stale, *stay]:
        (tivar.directory / name).write_bytes(b"x")
    with open(tivar.directory / busy, "rb") as worked_on:
        fcntl.flock(worked_on, fcntl.LOCK_EX)
        tivar.export(chart, "out.bmp")
    assert leftovers(tivar.directory) == sorted(stay)
    for name in stay:
        (tivar.directory / name).unlink()


def test_a_killed_export_s_file_goes_though_nobody_has_waited_for_the_process(tivar, chart, slow_picture):
    killed = tivar.start("export", slow_picture, "-o", "out.bmp", "--bits", 4)
    end = time.monotonic() + 20
    while not leftovers(tivar.directory):
        assert time.monotonic() < end and killed.poll() is None
        time.sleep(0.001)
    tivar.export(chart, "out.bmp")
    assert len(leftovers(tivar.directory)) == 1  # of an export that runs
    killed.kill()
    os.waitid(os.P_PID, killed.pid, os.WEXITED | os.WNOWAIT)
    os.kill(killed.pid, 0)  # still there as a number
    tivar.export(chart, "out.bmp")
    assert leftovers(tivar.directory) == []
    killed.communicate()


@pytest.mark.parametrize(
    "name", ["/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "/proc/thread-self/fd/1", "link.bmp"]
)
@pytest.mark.parametrize("piped", [False, True])
def test_a_name_of_standard_output_is_standard_output(tivar, chart, name, piped):
    expected = tivar.export(chart, "out.bmp")
    (tivar.directory / "link.bmp").symlink_to("/dev/stdout")
    target = tivar.directory / "redirected"
    with open(target, "wb") as redirected:
        output = subprocess.PIPE if piped else redirected
        result = tivar.run("export", chart, "-o", name, stdout=output)
    assert (result.returncode, result.stderr) == (0, b"")
    assert (result.stdout if piped else target.read_bytes()) == expected
    assert (tivar.directory / "link.bmp").is_symlink()
    assert not [entry for entry in os.listdir("/") if "tivar" in entry]


def test_a_name_of_standard_output_that_is_a_terminal_is_refused(tivar, chart):
    master, slave = os.openpty()
    result = tivar.run("export", chart, "-o", "/dev/stdout", stdout=slave)
    os.close(slave)
    os.close(master)
    fails(result, 2, "terminal")


def test_a_decoded_picture_goes_to_a_name_of_standard_output_as_a_png(tivar, chart):
    tivar.export(chart, "out.bmp")
    result = tivar.run("decode", "out.bmp", "/dev/stdout")
    assert result.stdout == tivar.run("decode", "out.bmp", "-").stdout
    assert result.stdout.startswith(b"\x89PNG")


def test_a_pipe_that_the_caller_has_opened_receives_the_file(tivar, chart):
    expected = tivar.export(chart, "out.bmp")
    read_end, write_end = os.pipe()
    with os.fdopen(read_end, "rb") as reader:
        result = tivar.run("export", chart, "-o", f"/dev/fd/{write_end}", pass_fds=[write_end])
        os.close(write_end)
        assert (result.returncode, result.stderr, reader.read()) == (0, b"", expected)


@pytest.mark.parametrize("number", [3, 5, 99])
def test_a_descriptor_that_the_caller_has_not_opened_is_an_error(tivar, chart, number):
    name = f"/dev/fd/{number}"
    fails(tivar.run("export", chart, "-o", name), 1, name, "Bad file descriptor")


def test_a_deleted_file_of_another_process_gets_no_second_one(tivar, chart):
    expected = tivar.export(chart, "out.bmp")
    with open(tivar.directory / "gone.bmp", "w+b") as gone:
        os.unlink(gone.name)
        name = f"/proc/{os.getpid()}/fd/{gone.fileno()}"
        assert tivar.run("export", chart, "-o", name).returncode == 0
        assert gone.read() == expected
    assert sorted(os.listdir(tivar.directory)) == ["chart.png", "out.bmp"]


def test_two_inputs_do_not_write_one_file_through_a_link(tivar):
    several(tivar, 2)
    (tivar.directory / "in0.bmp").symlink_to("in1.bmp")
    result = tivar.run("export", "in0.png", "in1.png")
    assert result.returncode == 1
    lines = [line.split("; ")[0] for line in result.stderr.decode().splitlines()]
    assert lines == [
        "tivar: in0.png: would write in0.bmp, as in1.png would",
        "tivar: in1.png: would write in1.bmp, as in0.png would",
    ]
    assert not (tivar.directory / "in1.bmp").exists()


def test_a_bmp_file_as_input_is_told_as_such(tivar, chart):
    tivar.export(chart, "photo.bmp")
    fails(tivar.run("export", "photo.bmp"), 1, "photo.bmp: is the input itself", "-o")


def test_standard_output_closed_by_the_caller_is_an_error(tivar, chart):
    result = tivar.run("export", chart, "-o", "-", limits=lambda: os.close(1))
    fails(result, 1, "standard output")


def test_standard_output_closed_by_the_caller_of_decode_is_an_error(tivar, chart):
    tivar.export(chart, "out.bmp")
    result = tivar.run("decode", "out.bmp", "-", limits=lambda: os.close(1))
    fails(result, 1, "standard output", "Bad file descriptor")


def test_standard_input_closed_by_the_caller_is_an_error(tivar):
    result = tivar.run("export", "-", "-o", "out.bmp", limits=lambda: os.close(0))
    fails(result, 1, "standard input", "not open for reading")
    assert b"is empty" not in result.stderr  # that would be another stream in its place


def test_a_reader_that_goes_away_is_an_error(tivar):
    drawing.clouds(900, 700, 1).save(tivar.directory / "in.ppm")
    read_end, write_end = os.pipe()
    os.close(read_end)
    result = tivar.run("export", "in.ppm", "-o", "-", stdout=write_end)
    os.close(write_end)
    fails(result, 1, "standard output", "Broken pipe")


@pytest.mark.parametrize("arguments", [["inspect", "in.bmp"], ["--help"], ["export", "--help"], ["info"]])
def test_nothing_is_said_when_the_reader_of_a_listing_goes_away(tivar, chart, arguments):
    tivar.export(chart, "in.bmp", "--bits", 8)
    read_end, write_end = os.pipe()
    os.close(read_end)
    result = tivar.run(*arguments, stdout=write_end)
    os.close(write_end)
    assert (result.returncode, result.stderr) == (128 + signal.SIGPIPE, b"")


def part_file(directory, tivar_process):
    """The unfinished file in the directory, once it is there."""
    for _ in range(2000):
        found = [p for p in directory.iterdir() if ".tivar." in p.name]
        if found:
            return found[0]
        assert tivar_process.poll() is None, tivar_process.stderr.read()
        time.sleep(0.005)
    raise AssertionError("no unfinished file")


# What nobody may write is root's to replace alone.
@pytest.mark.parametrize("mode", [0o600, 0o640] + [0o000] * (os.geteuid() == 0))
def test_an_unfinished_file_is_nobody_elses_to_read(tivar, slow_picture, mode):
    target = tivar.directory / "out.bmp"
    target.write_bytes(b"old")
    target.chmod(mode)
    os.umask(0)
    running = tivar.start("export", slow_picture, "-o", "out.bmp", "--bits", 8)
    unfinished = part_file(tivar.directory, running)
    assert stat.S_IMODE(unfinished.stat().st_mode) == 0o600
    running.terminate()
    running.communicate()


@pytest.mark.skipif(os.geteuid() != 0, reason="only root writes such files")
@pytest.mark.parametrize("mode", [0o600, 0o640, 0o000, 0o777])
def test_a_file_replaced_keeps_its_mode_owner_and_group(tivar, chart, mode):
    target = tivar.directory / "out.bmp"
    target.write_bytes(b"old")
    os.chown(target, 4321, 8765)
    target.chmod(mode)
    tivar.run("export", chart, "-o", "out.bmp")
    status = target.stat()
    assert (stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid) == (mode, 4321, 8765)
    assert target.read_bytes()[:2] == b"BM"
