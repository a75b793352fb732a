"""Many files: folders, lists, what is there already, the count, the report, interruption, machines."""

import json
import os
import re
import resource
import shutil
import signal
import stat
import subprocess
import tempfile
import threading
import time
from pathlib import Path

import bmp
import drawing
import pytest
from conftest import Tivar, fails, leftovers
from PIL import Image
from test_outputs import on_a_terminal
from test_signals import INTERRUPTED, wait_for

SLOWLY = ["--bits", "4", "--route", "filter"]
PAGE = Path(__file__).parents[2] / "docs" / "many-files.md"


def draw(path, seed=0, width=12, height=8):
    """A small picture of the kind that the name says."""
    path.parent.mkdir(parents=True, exist_ok=True)
    drawing.clouds(width, height, seed).save(path)


def tree(directory):
    """Every file below the directory."""
    directory = Path(directory)
    return sorted(str(p.relative_to(directory)) for p in directory.rglob("*") if not p.is_dir())


def answer(result, code, summary):
    """The lines of failures, whose text ends with the summary."""
    lines = os.fsdecode(result.stderr).splitlines()
    assert result.returncode == code, lines
    assert lines and lines[-1] == f"tivar: {summary}", lines
    for line in lines[:-1]:
        assert line.startswith("tivar: ") and "; " in line, lines
    return lines[:-1]


def make_album(directory):
    """Folders of pictures with other files between them."""
    for seed, name in enumerate(
        ["a.png", "c.tiff", "sub/b.jpg", "sub/deep/d.gif", "sub/deep/e.webp", "z/f.ppm"]
    ):
        draw(directory / name, seed)
    (directory / "notes.txt").write_text("P5 is what this text begins with, BMP it is not\n")
    (directory / "sub" / "BMW.txt").write_text("BMW is what this text begins with\n")
    (directory / "sub" / "deep" / "film.mp4").write_bytes(b"\0\0\0\x20ftypisom" + bytes(90))


ALBUM = ["a.bmp", "c.bmp", "sub/b.bmp", "sub/deep/d.bmp", "sub/deep/e.bmp", "z/f.bmp"]


# --- Folders -------------------------------------------------------------------------------------


@pytest.mark.parametrize("jobs", [1, 3])
def test_folders_are_mirrored_into_the_output_directory(tivar, jobs):
    make_album(tivar.directory / "album")
    result = tivar.run("export", "-r", "album", "-o", "made/here", "-j", jobs)
    assert answer(result, 0, "6 written, 0 failed, 3 skipped (3 no pictures)") == []
    assert tree(tivar.directory / "made" / "here") == ALBUM
    written = bmp.read((tivar.directory / "made/here/sub/b.bmp").read_bytes())
    assert written.pixels() == bmp.grid(Image.open(tivar.directory / "album/sub/b.jpg"))


def test_without_an_output_directory_the_files_lie_beside_the_pictures(tivar):
    make_album(tivar.directory / "album")
    before = tree(tivar.directory)
    result = tivar.run("export", "--recursive", "album")
    assert answer(result, 0, "6 written, 0 failed, 3 skipped (3 no pictures)") == []
    assert sorted(set(tree(tivar.directory)) - set(before)) == [f"album/{name}" for name in ALBUM]


def test_a_directory_without_r_is_a_failure_of_its_own(tivar, chart):
    (tivar.directory / "album").mkdir()
    result = tivar.run("export", "album", "chart.png")
    fails(result, 1, "album: is a directory", "-r")
    assert (tivar.directory / "chart.bmp").exists()


def test_broken_pictures_of_a_folder_fail_and_other_files_do_not(tivar):
    album = tivar.directory / "album"
    draw(album / "good.png")
    (album / "empty.jpg").touch()
    (album / "cut.png").write_bytes((album / "good.png").read_bytes()[:60])
    (album / "text.gif").write_text("this is no GIF file")
    (album / "readme").write_text("nothing to see")
    (album / "empty").touch()
    result = tivar.run("export", "-r", "album", "-o", "out")
    lines = answer(result, 1, "1 written, 3 failed, 2 skipped (2 no pictures)")
    assert [line.split(": ")[1] for line in lines] == [
        "album/cut.png", "album/empty.jpg", "album/text.gif",
    ]  # fmt: skip
    assert tree(tivar.directory / "out") == ["good.bmp"]


@pytest.mark.parametrize("kind", ["PNG", "JPEG", "GIF", "TIFF", "WEBP", "BMP", "PPM"])
def test_a_picture_of_a_folder_is_known_by_its_content_too(tivar, kind):
    (tivar.directory / "album").mkdir()
    drawing.chart(9, 7).save(tivar.directory / "album" / "scan0001", kind)
    result = tivar.run("export", "-r", "album", "-o", "out")
    answer(result, 0, "1 written, 0 failed, 0 skipped")
    assert tree(tivar.directory / "out") == ["scan0001.bmp"]


def test_hidden_files_and_folders_are_left_out_of_a_walk_and_not_by_name(tivar):
    album = tivar.directory / "album"
    for name in ["a.png", "._a.png", ".thumbnails/a.png"]:
        draw(album / name)
    result = tivar.run("export", "-r", "album", "-o", "out")
    answer(result, 0, "1 written, 0 failed, 0 skipped")
    result = tivar.run("export", "-r", "album/._a.png", "album/.thumbnails", "-o", "more")
    answer(result, 0, "2 written, 0 failed, 0 skipped")
    assert tree(tivar.directory / "more") == ["._a.bmp", "a.bmp"]


def test_an_output_directory_within_the_input_is_not_read_again(tivar):
    make_album(tivar.directory)
    for _ in range(2):
        result = tivar.run("export", "-r", ".", "-o", "sub/made", "--overwrite")
        answer(result, 0, "6 written, 0 failed, 3 skipped (3 no pictures)")
    assert tree(tivar.directory / "sub" / "made") == ALBUM


@pytest.mark.parametrize("out", [[], ["-o", "."], ["-o", "../here"]])
def test_bmp_files_in_their_places_are_left_alone(program, tmp_path, out):
    here = Tivar(program, tmp_path / "here")
    make_album(here.directory)
    answer(here.run("export", "-r", ".", *out), 0, "6 written, 0 failed, 3 skipped (3 no pictures)")
    again = here.run("export", "-r", ".", *out, "--skip-existing")
    answer(
        again,
        0,
        "0 written, 0 failed, 15 skipped (6 up to date, 3 no pictures, 6 BMP files in their places)",
    )


def test_bmp_files_of_a_folder_are_pictures_where_they_go_elsewhere(tivar):
    draw(tivar.directory / "album" / "a.bmp")
    answer(tivar.run("export", "-r", "album", "-o", "out"), 0, "1 written, 0 failed, 0 skipped")


def test_links_in_folders(tivar):
    album = tivar.directory / "album"
    draw(album / "sub" / "a.png")
    draw(tivar.directory / "elsewhere" / "b.png")
    (album / "loop").symlink_to(".")
    (album / "sub" / "up").symlink_to("..")
    (album / "away").symlink_to("../elsewhere")
    (album / "linked.png").symlink_to("../elsewhere/b.png")
    (album / "dead.png").symlink_to("gone.png")
    (album / "round.png").symlink_to("round.png")
    (album / "dead").symlink_to("gone")
    result = tivar.run("export", "-r", "album", "-o", "out")
    lines = answer(result, 1, "2 written, 2 failed, 4 skipped (1 no picture, 3 linked folders)")
    assert lines[0].startswith("tivar: album/dead.png: No such file")
    assert lines[1].startswith("tivar: album/round.png: Too many levels of symbolic links")
    assert tree(tivar.directory / "out") == ["linked.bmp", "sub/a.bmp"]
    # A folder that the user names is walked through, whatever leads to it.
    answer(tivar.run("export", "-r", "album/away", "-o", "more"), 0, "1 written, 0 failed, 0 skipped")


def test_pipes_and_devices_of_a_folder_are_no_pictures(tivar):
    draw(tivar.directory / "album" / "a.png")
    os.mkfifo(tivar.directory / "album" / "pipe.png")
    result = tivar.run("export", "-r", "album", "-o", "out")
    answer(result, 0, "1 written, 0 failed, 1 skipped (1 no picture)")


def test_a_folder_without_pictures_is_no_failure(tivar):
    (tivar.directory / "album").mkdir()
    answer(tivar.run("export", "-r", "album", "-o", "out"), 0, "0 written, 0 failed, 0 skipped")
    assert os.listdir(tivar.directory) == ["album"]


def test_a_file_in_the_place_of_the_output_directory_is_wrong_usage(tivar, chart):
    (tivar.directory / "album").mkdir()
    fails(tivar.run("export", "-r", "album", "-o", "chart.png"), 2, "-o chart.png is no directory")


def test_inputs_below_the_base_keep_their_folders(tivar):
    for name in ["album/a/x.png", "album/b/x.png", "other/x.png"]:
        draw(tivar.directory / name)
    names = ["album/a/x.png", "./album/../album/b/x.png", tivar.directory / "other/x.png"]
    result = tivar.run("export", *names, "--base", "album", "-o", "out")
    (line,) = answer(result, 1, "2 written, 1 failed, 0 skipped")
    assert "other/x.png: lies outside of album; name a --base" in line
    assert tree(tivar.directory / "out") == ["a/x.bmp", "b/x.bmp"]


# --- Lists ---------------------------------------------------------------------------------------


def test_a_list_has_a_name_a_line(tivar):
    names = ["a b.png", "-dash.png", "'quoted'.png", "-"]
    for name in names:
        drawing.chart(9, 7).save(tivar.directory / name, "PNG")
    listed = "\n".join(names[:2]) + "\r\n\r\n\n" + "\n".join(names[2:])
    (tivar.directory / "list").write_bytes(listed.encode())
    result = tivar.run("export", "--files-from", "list", "-o", "out")
    answer(result, 0, "4 written, 0 failed, 0 skipped")
    assert tree(tivar.directory / "out") == ["'quoted'.bmp", "-.bmp", "-dash.bmp", "a b.bmp"]


@pytest.mark.parametrize("jobs", [1, 4])
def test_any_name_goes_through_a_list_with_zero_bytes(tivar, jobs):
    names = [b"line\nbreak.png", b"caf\xe9.png", b" blank .png", b"-r.png", b"tab\t\x1b[31m.png"]
    for name in names:
        drawing.chart(9, 7).save(tivar.directory / os.fsdecode(name))
    (tivar.directory / "bad\nname.png").touch()
    listed = b"\0".join([*names, b"bad\nname.png", b""])
    arguments = ["export", "--files-from", "-", "-0", "-o", "out", "-j", jobs, "--report", "report"]
    result = tivar.run(*arguments, input=listed)
    lines = answer(result, 1, "5 written, 1 failed, 0 skipped")
    assert lines[0].startswith("tivar: bad name.png: is empty")
    made = [os.fsdecode(name.replace(b".png", b".bmp")) for name in names]
    assert tree(tivar.directory / "out") == sorted(made)
    # Bytes that are no UTF-8 come back as Python's own names have them.
    inputs = [json.loads(line)["input"] for line in open(tivar.directory / "report")]
    assert [os.fsencode(name) for name in inputs] == [*names, b"bad\nname.png"]


def test_a_list_adds_to_the_names_on_the_line(tivar, chart):
    draw(tivar.directory / "album" / "b.png")
    arguments = ["export", "chart.png", "--files-from", "-", "-r", "-o", "out"]
    answer(tivar.run(*arguments, input=b"album\n"), 0, "2 written, 0 failed, 0 skipped")
    assert tree(tivar.directory / "out") == ["b.bmp", "chart.bmp"]


def test_an_empty_list_is_no_failure(tivar):
    result = tivar.run("export", "--files-from", "-", "-o", "out", input=b"")
    answer(result, 0, "0 written, 0 failed, 0 skipped")


@pytest.mark.parametrize(
    "arguments,code,wanted",
    [
        (["--files-from", "none"], 1, "none: No such file"),
        (["--files-from", "."], 1, ".: is a directory"),
        (["-0", "a.png"], 2, "--files-from"),
        (["-", "--files-from", "-", "-o", "out"], 2, "standard input"),
        (["a.png", "--base", "x"], 2, "--output"),
        (["a.png", "--overwrite", "--skip-existing"], 2, "--overwrite"),
        (["a.png", "-o", "-", "--report", "-"], 2, "standard output"),
        (["a.png", "--report", ""], 2, "the name is empty"),
        (["-r"], 2, "INPUT is required"),
    ],
)
def test_what_does_not_fit_together_is_one_line(tivar, arguments, code, wanted):
    fails(tivar.run("export", *arguments), code, wanted)
    assert os.listdir(tivar.directory) == []


def test_an_input_named_twice_is_one(tivar):
    draw(tivar.directory / "album" / "a.png")
    result = tivar.run("export", "-r", "album/a.png", "album", "./album/../album/a.png")
    answer(result, 0, "1 written, 0 failed, 0 skipped")


# --- What is there already -----------------------------------------------------------------------


def test_a_name_made_from_the_input_never_replaces_a_file(tivar):
    for name in ["a.png", "b.png", "c.png"]:
        draw(tivar.directory / name)
    (tivar.directory / "a.bmp").write_bytes(b"old")
    (tivar.directory / "c.bmp").write_bytes(b"old")
    result = tivar.run("export", "a.png", "b.png", "c.png", "-j", 2)
    lines = result.stderr.decode().splitlines()
    assert result.returncode == 1
    assert [line.split("; ")[0] for line in lines] == [
        "tivar: a.png: a.bmp is there already",
        "tivar: c.png: c.bmp is there already",
    ]
    assert all("--overwrite" in line and "--skip-existing" in line for line in lines)
    assert (tivar.directory / "a.bmp").read_bytes() == b"old"
    assert (tivar.directory / "b.bmp").read_bytes()[:2] == b"BM"


@pytest.mark.parametrize("where", [[], ["-o", "."]])
def test_a_single_name_made_from_the_input_replaces_no_file_either(tivar, chart, where):
    (tivar.directory / "chart.bmp").write_bytes(b"old")
    fails(tivar.run("export", "chart.png", *where), 1, "chart.bmp is there already", "--overwrite")
    assert (tivar.directory / "chart.bmp").read_bytes() == b"old"
    assert tivar.run("export", "chart.png", *where, "--overwrite").returncode == 0
    assert (tivar.directory / "chart.bmp").read_bytes()[:2] == b"BM"


def test_a_name_that_the_user_chose_replaces_the_file(tivar, chart):
    (tivar.directory / "out.bmp").write_bytes(b"old")
    assert tivar.export(chart, "out.bmp")[:2] == b"BM"


def test_a_file_that_comes_while_the_export_runs_is_not_replaced(tivar, slow_picture):
    (tivar.directory / "slow.ppm").symlink_to(slow_picture)
    process = tivar.start("export", "slow.ppm", *SLOWLY)
    wait_for(lambda: leftovers(tivar.directory), process)
    (tivar.directory / "slow.bmp").write_bytes(b"somebody else's")
    _, errors = process.communicate(timeout=30)
    assert process.returncode == 1
    assert b"slow.bmp: is there already; replace it with --overwrite\n" in errors
    assert (tivar.directory / "slow.bmp").read_bytes() == b"somebody else's"


def dated(path, seconds):
    os.utime(path, ns=(seconds * 10**9, seconds * 10**9))


def test_skip_existing_leaves_what_is_not_older_than_its_input(tivar):
    ages = {"older": 999, "equal": 1000, "newer": 1001}
    for name, age in ages.items():
        draw(tivar.directory / f"{name}.png")
        dated(tivar.directory / f"{name}.png", 1000)
        (tivar.directory / f"{name}.bmp").write_bytes(b"old")
        dated(tivar.directory / f"{name}.bmp", age)
    draw(tivar.directory / "fresh.png")
    names = [f"{name}.png" for name in [*ages, "fresh"]]
    result = tivar.run("export", *names, "--skip-existing")
    assert answer(result, 0, "2 written, 0 failed, 2 skipped (2 up to date)") == []
    there = {name: (tivar.directory / f"{name}.bmp").read_bytes()[:3] for name in [*ages, "fresh"]}
    assert there["equal"] == there["newer"] == b"old"
    assert there["older"][:2] == there["fresh"][:2] == b"BM"
    again = tivar.run("export", *names, "--skip-existing")
    answer(again, 0, "0 written, 0 failed, 4 skipped (4 up to date)")


def test_skip_existing_says_so_of_one_input_and_of_a_name_that_the_user_chose(tivar, chart):
    tivar.export(chart, "out.bmp")
    result = tivar.run("export", "chart.png", "-o", "out.bmp", "--skip-existing")
    answer(result, 0, "0 written, 0 failed, 1 skipped (1 up to date)")
    result = tivar.run("export", "chart.png", "-o", "out.bmp", "--skip-existing", "--quiet")
    assert (result.returncode, result.stderr) == (0, b"")


def test_inputs_that_would_write_one_file_are_refused_and_the_others_go_on(tivar):
    for name in ["a.png", "a.jpg", "b.png", "a.gif"]:
        draw(tivar.directory / name)
    result = tivar.run("export", "a.png", "a.jpg", "b.png", "a.gif", "-j", 2)
    assert result.returncode == 1
    lines = [line.split("; ")[0] for line in result.stderr.decode().splitlines()]
    assert lines == [
        "tivar: a.png: would write a.bmp, as a.jpg would",
        "tivar: a.jpg: would write a.bmp, as a.png would",
        "tivar: a.gif: would write a.bmp, as a.png would",
    ]
    assert sorted(p.name for p in tivar.directory.glob("*.bmp")) == ["b.bmp"]


# --- What the user sees --------------------------------------------------------------------------


def test_a_terminal_shows_one_line_that_counts_and_a_summary(tivar):
    names = [f"{i}.png" for i in range(5)]
    for name in names:
        draw(tivar.directory / name)
    (tivar.directory / "3.png").write_bytes(b"")
    again = ["export", "0.png", "1.png", "--skip-existing"]
    code, shown = on_a_terminal(tivar, "export", *names)
    assert code == 1
    counts = re.findall(r"\r\x1b\[K(\d+) of 5", shown)
    assert counts[0] == "0" and counts[-1] == "5"
    assert "5 of 5, 1 failed" in shown
    # What stays when the line has been rewritten.
    stays = [line.split("\x1b[K")[-1] for line in shown.split("\r\n")]
    assert stays == [
        "tivar: 3.png: is empty; get a complete copy of it",
        "tivar: 4 written, 1 failed, 0 skipped",
        "",
    ]
    # No count where there is nothing to do.
    assert on_a_terminal(tivar, *again) == (0, "tivar: 0 written, 0 failed, 2 skipped (2 up to date)\r\n")


def test_quiet_hides_the_count_and_the_summary_but_no_failure(tivar):
    draw(tivar.directory / "album" / "a.png")
    (tivar.directory / "album" / "b.png").touch()
    code, shown = on_a_terminal(tivar, "export", "-r", "album", "-o", "out", "--quiet")
    assert code == 1
    assert shown == "tivar: album/b.png: is empty; get a complete copy of it\r\n"


def test_the_count_tells_how_long_the_rest_takes(tivar):
    """Two pictures that come slowly: one of four in every 1.2 seconds leaves as long for each of the others."""
    fifos = [tivar.directory / f"{i}.ppm" for i in range(4)]
    for fifo in fifos:
        os.mkfifo(fifo)

    def feed():
        for fifo in fifos:
            time.sleep(1.2)
            fifo.write_bytes(b"P6 2 2 255\n" + bytes(12))

    feeder = threading.Thread(target=feed, daemon=True)
    feeder.start()
    code, shown = on_a_terminal(tivar, "export", *(fifo.name for fifo in fifos))
    feeder.join(10)
    assert code == 0
    assert re.search(r"\x1b\[K1 of 4\r", shown)  # too early to tell
    assert re.search(r"\x1b\[K2 of 4, 3 s left\r", shown)
    assert re.search(r"\x1b\[K3 of 4, 2 s left\r", shown)


@pytest.mark.parametrize("jobs", [1, 2, 5])
def test_lines_come_in_the_order_of_the_inputs(tivar, jobs, slow_picture):
    """The first input takes longest and fails in the end."""
    cut = slow_picture.read_bytes()[:-1]
    (tivar.directory / "0.ppm").write_bytes(cut)
    names = ["0.ppm"] + [f"{i}.png" for i in range(1, 12)]
    for i, name in enumerate(names[1:], 1):
        draw(tivar.directory / name)
        if i % 3 == 0:
            (tivar.directory / name).write_bytes(b"x")
    result = tivar.run("export", *names, "-j", jobs, "--report", "report")
    assert result.returncode == 1
    lines = result.stderr.decode().splitlines()
    assert [line.split(": ")[1] for line in lines] == ["0.ppm", "3.png", "6.png", "9.png"]
    reported = [json.loads(line)["input"] for line in open(tivar.directory / "report")]
    assert reported == names


# --- The report ----------------------------------------------------------------------------------


def read_report(path):
    lines = path.read_bytes().decode().splitlines()
    return [json.loads(line) for line in lines]


KEYS = [
    "input", "output", "status", "reason", "error", "bits", "width", "height", "bytes", "seconds",
    "route",
]  # fmt: skip


@pytest.mark.parametrize("jobs", [1, 3])
@pytest.mark.parametrize("route", ["filter", "driver", "direct"])
def test_the_report_has_a_line_about_each_input(tivar, jobs, route):
    album = tivar.directory / "album"
    draw(album / "a.png", width=12, height=8)
    drawing.indexed(4, 10, 6).save(album / "b.png", bits=4)
    (album / "c.png").write_bytes(b'"')
    (album / "d.txt").write_text("text")
    draw(album / "e.png")
    (tivar.directory / "out").mkdir()
    (tivar.directory / "out" / "e.bmp").write_bytes(b"newer")
    arguments = ["export", "-r", "album", "-o", "out", "--skip-existing", "--report", "report.jsonl"]
    result = tivar.run(*arguments, "-j", jobs, "--route", route)
    answer(result, 1, "2 written, 1 failed, 2 skipped (1 up to date, 1 no picture)")
    a, b, c, d, e = entries = read_report(tivar.directory / "report.jsonl")
    assert all(list(entry) == KEYS for entry in entries)
    seconds = [entry.pop("seconds") for entry in entries]
    assert all(0 < s < 20 for s in seconds[:3]) and seconds[3:] == [None, None]
    done = {"status": "written", "reason": None, "error": None, "route": route}
    assert a == {
        "input": "album/a.png", "output": "out/a.bmp", "bits": 24, "width": 12, "height": 8,
        "bytes": 54 + 12 * 3 * 8, **done,
    }  # fmt: skip
    assert b == {
        "input": "album/b.png", "output": "out/b.bmp", "bits": 4, "width": 10, "height": 6,
        "bytes": 54 + 16 * 4 + 8 * 6, **done,
    }  # fmt: skip
    nothing = {"bits": None, "width": None, "height": None, "bytes": None}
    assert c.pop("error").startswith("is no picture of a known kind")
    assert c == {
        "input": "album/c.png", "output": "out/c.bmp", "status": "failed", "reason": None,
        "route": route, **nothing,
    }  # fmt: skip
    left = {"status": "skipped", "error": None, "route": None, **nothing}
    assert d == {"input": "album/d.txt", "output": None, "reason": "no picture", **left}
    assert e == {"input": "album/e.png", "output": "out/e.bmp", "reason": "up to date", **left}


def test_one_input_has_a_report_too(tivar, chart):
    assert tivar.run("export", "chart.png", "--report", "-").stdout.count(b"\n") == 1
    (tivar.directory / "chart.png").write_bytes(b"")
    result = tivar.run("export", "chart.png", "-o", "x.bmp", "--report", "report")
    fails(result, 1, "chart.png: is empty")
    (entry,) = read_report(tivar.directory / "report")
    assert (entry["status"], entry["error"]) == ("failed", "is empty; get a complete copy of it")


def test_an_error_of_the_output_names_it_in_the_report(tivar, chart):
    (tivar.directory / "chart.bmp").mkdir()
    fails(tivar.run("export", "chart.png", "--report", "report"), 1, "chart.bmp: Is a directory")
    (entry,) = read_report(tivar.directory / "report")
    assert entry["error"].startswith("chart.bmp: Is a directory; ")


def test_a_report_replaces_an_older_one_and_nothing_else(tivar, chart):
    for _ in range(2):
        tivar.run("export", "chart.png", "--overwrite", "--report", "report")
        assert len(read_report(tivar.directory / "report")) == 1
    before = chart.read_bytes()
    fails(tivar.run("export", "chart.png", "--report", "chart.png"), 1, "chart.png: is there already")
    assert chart.read_bytes() == before
    fails(tivar.run("export", "chart.png", "--report", "no/report"), 1, "no/report: No such file")


@pytest.mark.parametrize("text", ['{"name": "my settings"}\n', '{"inputs": 3}\n', "{}", "{\\rtf1 dear}"])
def test_a_file_that_begins_like_json_is_no_report(tivar, chart, text):
    mine = tivar.directory / "mine"
    mine.write_text(text)
    fails(tivar.run("export", "chart.png", "--report", "mine"), 1, "mine: is there already and no report")
    assert mine.read_text() == text


@pytest.mark.parametrize("text", ["", "{", '{"input": "a.pn'])
def test_a_report_that_was_cut_short_is_replaced(tivar, chart, text):
    (tivar.directory / "report").write_text(text)
    tivar.run("export", "chart.png", "--report", "report")
    assert len(read_report(tivar.directory / "report")) == 1


def test_a_report_without_room_is_told_once_and_the_exports_go_on(tivar):
    for name in ["a.png", "b.png", "c.png"]:
        draw(tivar.directory / name)
    result = tivar.run("export", "a.png", "b.png", "c.png", "--report", "/dev/full")
    fails(result, 1, "/dev/full: No space left")
    assert len(list(tivar.directory.glob("*.bmp"))) == 3


# --- Interruption --------------------------------------------------------------------------------


def begin_album(tivar, slow_picture, jobs):
    """A run of a few small pictures and two that take long, with the slow ones at work."""
    album = tivar.directory / "album"
    for i in range(4):
        draw(album / f"a{i}.png", i)
    for name in ["m0.ppm", "m1.ppm"]:
        (album / name).symlink_to(slow_picture)
    for i in range(3):
        draw(album / "z" / f"{i}.png", i)
    arguments = ["export", "-r", "album", "-o", "out", "-j", str(jobs), *SLOWLY]
    arguments += ["--skip-existing", "--report", "report"]
    process = tivar.start(*arguments)
    out = tivar.directory / "out"
    wait_for(lambda: out.exists() and any(".m" in name for name in leftovers(out)), process)
    return process, arguments, out


def make_quick(tivar):
    """In the place of the pictures that take long."""
    for link in (tivar.directory / "album").glob("m*"):
        link.unlink()
        draw(link)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
@pytest.mark.parametrize("jobs", [1, 2])
def test_an_interrupted_run_is_finished_by_the_same_command(tivar, slow_picture, number, jobs):
    process, arguments, out = begin_album(tivar, slow_picture, jobs)
    process.send_signal(number)
    _, errors = process.communicate(timeout=30)
    assert process.returncode == 128 + number
    assert errors.endswith(INTERRUPTED)
    there = tree(out)
    assert there == [f"a{i}.bmp" for i in range(4)]
    assert [e["input"] for e in read_report(tivar.directory / "report")] == [
        f"album/a{i}.png" for i in range(4)
    ]
    stamps = {name: (out / name).stat().st_mtime_ns for name in there}
    make_quick(tivar)
    result = tivar.run(*arguments)
    answer(result, 0, "5 written, 0 failed, 4 skipped (4 up to date)")
    names = [*there, "m0.bmp", "m1.bmp", *(f"z/{i}.bmp" for i in range(3))]
    assert tree(out) == names
    assert {name: (out / name).stat().st_mtime_ns for name in there} == stamps
    assert len(read_report(tivar.directory / "report")) == 9


def test_a_killed_run_is_finished_by_the_same_command(tivar, slow_picture):
    process, arguments, out = begin_album(tivar, slow_picture, 2)
    process.kill()
    process.communicate()
    for line in (tivar.directory / "report").read_text().splitlines():
        json.loads(line)
    make_quick(tivar)
    result = tivar.run(*arguments)
    assert result.returncode == 0
    assert len(tree(out)) == 9 and leftovers(out) == []


def test_a_killed_worker_costs_one_picture(tivar, slow_picture):
    album = tivar.directory / "album"
    (album / "z").mkdir(parents=True)
    (album / "m.ppm").symlink_to(slow_picture)
    for i in range(3):
        draw(album / f"n{i}.png")
    arguments = ["export", "-r", "album", "-o", "out", *SLOWLY, "--report", "report"]
    process = tivar.start(*arguments)
    out = tivar.directory / "out"
    wait_for(lambda: out.exists() and leftovers(out), process)
    os.kill(int(leftovers(out)[0].split(".")[-2]), signal.SIGKILL)
    _, errors = process.communicate(timeout=30)
    assert process.returncode == 1
    lines = errors.decode().splitlines()
    assert lines[0].startswith("tivar: album/m.ppm: the export was ended (Killed)")
    assert lines[1:] == ["tivar: 3 written, 1 failed, 0 skipped"]
    assert read_report(tivar.directory / "report")[0]["status"] == "failed"
    make_quick(tivar)
    answer(tivar.run(*arguments, "--skip-existing"), 0, "1 written, 0 failed, 3 skipped (3 up to date)")
    assert leftovers(out) == []


# --- Permissions ---------------------------------------------------------------------------------


@pytest.fixture
def somebody(program, library):
    """Runs as somebody who owns nothing: a directory with all that it needs, and how to run there."""
    if os.geteuid() != 0:
        pytest.skip("only root can become somebody else")
    with tempfile.TemporaryDirectory() as place:
        os.chmod(place, 0o755)
        shutil.copy(program, f"{place}/tivar")
        shutil.copy(library, f"{place}/libtivar.so.2")

        def become(processes):
            if processes is not None:
                resource.setrlimit(resource.RLIMIT_NPROC, (processes, processes))
            os.setgroups([])
            os.setgid(65534)
            os.setuid(65534)

        def run(*arguments, processes=None):
            return Tivar(f"{place}/tivar", place).run(
                "export", *arguments, "--library", "./libtivar.so.2", limits=lambda: become(processes)
            )

        yield Path(place), run


def test_what_a_worker_has_waiting_behind_a_failure_is_done_by_another(tivar):
    """Where there are plenty of pictures, each worker has the next one at hand."""
    folder = tivar.directory / "in"
    for number in range(60):
        draw(folder / f"{number:02}.png", number)
    broken = {f"{number:02}.png" for number in range(0, 60, 3)}
    for name in broken:
        (folder / name).write_bytes((folder / name).read_bytes()[:-20])
    result = tivar.run("export", "-r", "in", "-o", "out", "-j", 2)
    lines = answer(result, 1, "40 written, 20 failed, 0 skipped")
    assert {line.split(":")[1].strip() for line in lines} == {f"in/{name}" for name in broken}
    whole = {f"{number:02}.bmp" for number in range(60)} - {name[:-3] + "bmp" for name in broken}
    assert set(tree(tivar.directory / "out")) == whole


def test_what_cannot_be_read_fails_and_the_rest_goes_on(somebody):
    place, run = somebody
    for name in ["album/a.png", "album/closed.png", "album/closed/b.png", "album/z.png"]:
        draw(place / name)
    (place / "album" / "closed.png").chmod(0o600)
    (place / "album" / "closed").chmod(0o700)
    (place / "out").mkdir()
    (place / "out").chmod(0o777)
    lines = answer(run("-r", "album", "-o", "out"), 1, "2 written, 2 failed, 0 skipped")
    assert [line.split("; ")[0] for line in lines] == [
        "tivar: album/closed: Permission denied",
        "tivar: album/closed.png: Permission denied",
    ]
    assert tree(place / "out") == ["a.bmp", "z.bmp"]


def test_an_output_directory_that_cannot_be_written_fails_each(somebody):
    place, run = somebody
    for name in ["album/a.png", "album/sub/b.png"]:
        draw(place / name)
    (place / "out").mkdir()
    lines = answer(run("-r", "album", "-o", "out", "-j", "2"), 1, "0 written, 2 failed, 0 skipped")
    assert lines[0].startswith("tivar: out/a.bmp: Permission denied")
    assert lines[1].startswith("tivar: out/sub: Permission denied")
    assert tree(place / "out") == []


def test_without_room_for_a_worker_every_picture_has_its_line(somebody):
    place, run = somebody
    place.chmod(0o777)
    for name in ["a.png", "b.png"]:
        draw(place / name)
    result = run("a.png", "b.png", "-j", "2", processes=0)
    lines = result.stderr.decode().splitlines()
    assert result.returncode == 1
    assert [line.split(": ")[1] for line in lines] == ["a.png", "b.png"]
    assert all("unavailable; try a smaller -j" in line for line in lines)


# --- Five hundred and one ------------------------------------------------------------------------

SUFFIXES = ["png", "jpg", "gif", "bmp", "ppm", "tif", "webp"]


def make_collection(directory):
    """501 files in folders: 480 pictures of many kinds, 9 broken ones, 12 that are none."""
    samples = {}
    for number in range(480):
        suffix = SUFFIXES[number % len(SUFFIXES)]
        folder = directory / f"year {number % 5}" / f"{number % 3}"
        folder.mkdir(parents=True, exist_ok=True)
        path = folder / f"picture {number}.{suffix}"
        if suffix not in samples:
            draw(path, number, 10, 6)
            samples[suffix] = path.read_bytes()
        path.write_bytes(samples[suffix])
    broken = [f"year {i % 5}/broken {i}.{SUFFIXES[i % 3]}" for i in range(9)]
    for i, name in enumerate(broken):
        (directory / name).write_bytes(samples[SUFFIXES[i % 3]][: 5 * i])
    for i in range(12):
        (directory / f"year {i % 5}" / f"note {i}.txt").write_text("a note\n")
    return broken


def test_501_mixed_files_every_picture_one_line_a_failure_and_again_nothing_to_do(tivar):
    broken = make_collection(tivar.directory / "all")
    arguments = ["export", "-r", "all", "-o", "out", "-j", 2, "--skip-existing", "--report", "report"]
    lines = answer(tivar.run(*arguments), 1, "480 written, 9 failed, 12 skipped (12 no pictures)")
    assert [line.split(": ")[1] for line in lines] == sorted(f"all/{name}" for name in broken)
    made = tree(tivar.directory / "out")
    pictures = [name for name in tree(tivar.directory / "all") if "picture" in name]
    assert made == sorted(name.rsplit(".", 1)[0] + ".bmp" for name in pictures)
    for name in made:
        assert Image.open(tivar.directory / "out" / name).size == (10, 6)
    entries = read_report(tivar.directory / "report")
    assert len(entries) == 501
    assert [entry["input"] for entry in entries if entry["status"] == "failed"] == sorted(
        f"all/{name}" for name in broken
    )
    again = answer(
        tivar.run(*arguments), 1, "0 written, 9 failed, 492 skipped (480 up to date, 12 no pictures)"
    )
    assert again == lines


def test_a_directory_is_searched_for_leftovers_once_and_not_for_each_file(tivar):
    """Otherwise the cost would grow with the square of the number of files."""
    draw(tivar.directory / "b.png")
    os.mkfifo(tivar.directory / "a.ppm")
    before, later = ".b.bmp.tivar.1.part", ".b.bmp.tivar.2.part"
    (tivar.directory / before).write_bytes(b"x")
    process = tivar.start("export", "a.ppm", "b.png")
    with open(tivar.directory / "a.ppm", "wb") as fifo:  # a worker reads it by now
        (tivar.directory / later).write_bytes(b"x")
        fifo.write(b"P6 2 2 255\n" + bytes(12))
    assert process.communicate(timeout=30) == (b"", b"") and process.returncode == 0
    assert leftovers(tivar.directory) == [later]
    (tivar.directory / later).unlink()
    assert bmp.read((tivar.directory / "b.bmp").read_bytes()).width == 12


# --- Machines ------------------------------------------------------------------------------------

# Stands in for ssh: runs the command on this machine, and writes down for which one. Like a server, it sets SHELL, by
# which parallel runs its jobs: an environment without one would have them do nothing.
SSH = """#!/bin/bash
while [[ $1 = -* ]]; do shift; done
echo "$1" >>"$SSH_LOG"
shift
[ "$1" = -- ] && shift
cd "$HOME" && SHELL=/bin/sh exec sh -c "$*"
"""


def commands_of(page):
    """The blocks of the page, by the heading above them."""
    sections = re.split(r"^## ", page.read_text(encoding="utf-8"), flags=re.MULTILINE)
    return {
        section.splitlines()[0]: re.findall(r"^```(?:sh|console)\n(.*?)^```", section, re.MULTILINE | re.DOTALL)
        for section in sections[1:]
    }


@pytest.fixture
def shell(tivar, library):
    """Runs a block of the page with the program under test and the stand-in for ssh."""
    place = tivar.directory / "bin"
    place.mkdir()
    (place / "ssh").write_text(SSH)
    (place / "ssh").chmod(0o755)
    (place / "tivar").symlink_to(tivar.program)
    environment = {
        **os.environ,
        "PATH": f"{place}:{os.environ['PATH']}",
        "TIVAR_LIBRARY": library,
        "SSH_LOG": str(tivar.directory / "ssh.log"),
        "HOME": str(tivar.directory),
    }

    def run(block):
        return subprocess.run(
            ["bash", "-o", "pipefail", "-c", block], cwd=tivar.directory, env=environment, timeout=120,
            stdin=subprocess.DEVNULL, capture_output=True, text=True,
        )  # fmt: skip

    return run


PHOTOS = ["a/p 1.jpg", "a/it's.png", "b c/PHOTO.JPG", "b c/deep/\"x\" $(y).png", "line\nbreak.png"]


def make_photos(directory):
    for i in range(60):
        draw(directory / f"d{i % 4}" / f"{i}.png", i % 7)
    for name in PHOTOS:
        draw(directory / name)
    (directory / "notes.txt").write_text("notes")


@pytest.mark.parametrize("heading", ["Several machines", "Several processes of one machine"])
def test_the_page_s_commands_share_the_work_among_machines(tivar, shell, heading):
    make_photos(tivar.directory / "photos")
    (command, *more) = commands_of(PAGE)[heading]
    done = shell(command)
    assert (done.returncode, done.stderr) == (0, "")
    pictures = [name for name in tree(tivar.directory / "photos") if not name.endswith(".txt")]
    made = tree(tivar.directory / "bmps")
    assert made == sorted(re.sub(r"\.\w+$", ".bmp", name) for name in pictures)
    assert leftovers(tivar.directory / "bmps") == []
    entries = [e for path in (tivar.directory / "reports").iterdir() for e in read_report(path)]
    assert sorted(e["input"] for e in entries) == sorted(f"photos/{name}" for name in pictures)
    assert {e["status"] for e in entries} == {"written"}
    if heading == "Several machines":
        assert set((tivar.directory / "ssh.log").read_text().split()) == {"machine1", "machine2"}
    # Again, with one file gone and one picture broken meanwhile.
    stamps = {name: (tivar.directory / "bmps" / name).stat().st_mtime_ns for name in made}
    (tivar.directory / "bmps" / "d0" / "0.bmp").unlink()
    (tivar.directory / "photos" / "d1" / "1.png").write_bytes(b"broken")
    dated(tivar.directory / "photos" / "d1" / "1.png", int(time.time()) + 10)
    done = shell(command)
    assert done.returncode == 1
    assert done.stderr.count("\n") == 1 and "photos/d1/1.png: is no picture" in done.stderr
    again = {name: (tivar.directory / "bmps" / name).stat().st_mtime_ns for name in made}
    assert [name for name in made if again[name] != stamps[name]] == ["d0/0.bmp"]
    for block in more:
        shown = shell(block)
        assert (shown.returncode, shown.stderr) == (0, "")
        assert "photos/d1/1.png" in shown.stdout


# --- What must not be lost --------------------------------------------------------------------------


@pytest.mark.parametrize("report", ["out.bmp", "./out.bmp", "link.bmp"])
def test_the_report_is_no_picture_s_file(tivar, chart, report):
    (tivar.directory / "link.bmp").symlink_to("out.bmp")
    result = tivar.run("export", chart, "-o", "out.bmp", "--report", report)
    fails(result, 2, "out.bmp is the picture and the report; name another --report")
    assert not (tivar.directory / "out.bmp").exists()


def test_no_picture_is_written_over_another_input(tivar):
    draw(tivar.directory / "a.png", 1)
    draw(tivar.directory / "b.png", 2)
    before = (tivar.directory / "b.png").read_bytes()
    (tivar.directory / "o").mkdir()
    (tivar.directory / "o" / "a.bmp").symlink_to("../b.png")
    result = tivar.run("export", "a.png", "b.png", "-o", "o", "--overwrite")
    fails(result, 1, "a.png: would be written over b.png")
    assert (tivar.directory / "b.png").read_bytes() == before
    assert (tivar.directory / "o" / "b.bmp").exists()


def test_two_pictures_that_would_replace_each_other_both_stay(tivar):
    (tivar.directory / "o").mkdir()
    before = {}
    for name, other in (("a", "b"), ("b", "a")):
        draw(tivar.directory / f"{name}.png", len(before))
        before[name] = (tivar.directory / f"{name}.png").read_bytes()
        (tivar.directory / "o" / f"{name}.bmp").symlink_to(f"../{other}.png")
    result = tivar.run("export", "a.png", "b.png", "-o", "o", "--overwrite")
    lines = result.stderr.decode().splitlines()
    assert result.returncode == 1 and len(lines) == 2
    assert "a.png: would be written over b.png" in lines[0]
    assert "b.png: would be written over a.png" in lines[1]
    assert before == {name: (tivar.directory / f"{name}.png").read_bytes() for name in before}


def test_a_pipe_in_a_list_is_not_waited_for(tivar):
    draw(tivar.directory / "a.png")
    os.mkfifo(tivar.directory / "p.png")
    (tivar.directory / "list").write_text("p.png\na.png\n")
    result = tivar.run("export", "--files-from", "list")
    (line,) = answer(result, 1, "1 written, 1 failed, 0 skipped")
    assert line.startswith("tivar: p.png: is a pipe or a device; ")


def test_zero_bytes_in_a_list_of_lines_are_told(tivar):
    (tivar.directory / "list").write_bytes(b"a.png\0b.png\0")
    fails(tivar.run("export", "--files-from", "list"), 1, "list: has zero bytes in it; add -0")


def test_what_is_no_suffix_of_pictures_belongs_to_the_name(tivar):
    for name in ("scan.1", "scan.2", "scan.png"):
        draw(tivar.directory / "in.png", len(name))
        shutil.copy(tivar.directory / "in.png", tivar.directory / name)
    assert tivar.run("export", "scan.1", "scan.2", "scan.png").returncode == 0
    assert {"scan.1.bmp", "scan.2.bmp", "scan.bmp"} <= set(os.listdir(tivar.directory))
