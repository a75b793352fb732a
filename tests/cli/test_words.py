"""What is said to somebody who typed something else than he meant, and the manual's examples."""

import os
import pty
import re
import struct
import subprocess
import fcntl
import termios
from pathlib import Path

import drawing
import pytest
from conftest import fails

MANUAL = Path(__file__).parents[2] / "docs" / "man" / "tivar.1"


@pytest.mark.parametrize(
    "arguments,blamed",
    [
        (["exprot", "a.png"], "exprot is no command; did you mean export?"),
        (["Export"], "Export is no command; did you mean export?"),
        (["decod", "a", "b"], "decod is no command; did you mean decode?"),
        (["setings", "show"], "setings is no command; did you mean settings?"),
        (["settings", "shw"], "shw is no command of tivar settings; did you mean show?"),
        (["exprot", "--help"], "exprot is no command; did you mean export?"),
        (["help", "exprot"], "exprot is no command; did you mean export?"),
        (["convert", "a.png"], "convert is no command; see tivar --help"),
        (["chart.png"], "chart.png is no command; did you mean tivar export chart.png?"),
        (["export", "chart.png", "--bit", "4"], "--bit is no option of tivar export; did you mean --bits?"),
        (["export", "chart.png", "--rote=driver"], "--rote is no option of tivar export; did you mean --route?"),
        (["export", "chart.png", "--quite"], "--quite is no option of tivar export; did you mean --quiet?"),
        (["export", "chart.png", "--level", "4"], "--level is no option of tivar export; see"),
        (["gallery", "chart.png", "pictures"], "pictures is one argument too many; did you mean -o pictures?"),
        (["decode", "a.bmp", "b.png", "c.png"], "c.png is one argument too many; see"),
        (["export", "chart.png", "out.bmp"], "out.bmp would be a second picture to read; did you mean -o out.bmp?"),
        (["export", "chart.png", "old.BMP"], "old.BMP would be a second picture to read; did you mean -o old.BMP?"),
    ],
)
def test_the_wrong_word_is_blamed_before_anything_is_written(tivar, chart, arguments, blamed):
    tivar.export(chart, "old.BMP")
    before = {p.name: p.read_bytes() for p in tivar.directory.iterdir()}
    fails(tivar.run(*arguments), 2, blamed)
    assert {p.name: p.read_bytes() for p in tivar.directory.iterdir()} == before


def test_a_directory_behind_the_picture_is_rather_where_it_goes(tivar, chart):
    (tivar.directory / "made").mkdir()
    fails(tivar.run("export", chart, "made"), 2, "made is a directory", "did you mean -o made?")
    assert sorted(os.listdir(tivar.directory)) == ["chart.png", "made"]


@pytest.mark.parametrize(
    "options,words",
    [
        (["-", "--palette", "-"], "a picture and the palette"),
        (["-", "--like", "-"], "a picture and the file to follow"),
        (["--files-from", "-", "--palette", "-"], "the list of others and the palette"),
        (["a.png", "--palette", "-", "--like", "-"], "the palette and the file to follow"),
    ],
)
def test_standard_input_is_one_thing_only(tivar, options, words):
    result = tivar.run("export", "-o", "out.bmp", *options, input=b"")
    fails(result, 2, f"standard input cannot be {words}; name one of them")


def test_bmp_files_among_many_inputs_are_inputs(tivar, chart):
    tivar.export(chart, "a.bmp")
    (tivar.directory / "out").mkdir()
    result = tivar.run("export", "chart.png", "a.bmp", "-o", "out")
    assert (result.returncode, result.stderr) == (0, b"")
    assert sorted(os.listdir(tivar.directory / "out")) == ["a.bmp", "chart.bmp"]


@pytest.mark.parametrize("command", ["", "export", "gallery", "inspect", "decode", "info", "settings set"])
def test_help_is_a_command_too(tivar, command):
    words = command.split()
    asked = tivar.run("help", *words)
    assert (asked.returncode, asked.stderr) == (0, b"")
    assert asked.stdout == tivar.run(*words, "--help").stdout
    assert f"Usage: tivar {command}".strip().encode() in asked.stdout


def on_terminal(tivar, columns, *arguments):
    """The lines that the program shows on a terminal of so many columns."""
    main, other = pty.openpty()
    fcntl.ioctl(other, termios.TIOCSWINSZ, struct.pack("HHHH", 50, columns, 0, 0))
    running = subprocess.Popen([tivar.program, *arguments], stdout=other, cwd=tivar.directory)
    os.close(other)
    text = b""
    while True:
        try:
            got = os.read(main, 4096)
        except OSError:
            break
        if not got:
            break
        text += got
    os.close(main)
    assert running.wait() == 0
    return text.decode().replace("\r\n", "\n").splitlines()


@pytest.mark.parametrize("columns", [50, 80, 132])
@pytest.mark.parametrize("command", ["export", "gallery", "decode"])
def test_help_wraps_at_the_width_of_the_terminal(tivar, columns, command):
    shown = on_terminal(tivar, columns, command, "--help")
    plain = tivar.run(command, "--help").stdout.decode()
    too_long = [line for line in shown if len(line) > columns]
    assert all(" " not in line.strip() for line in too_long), too_long
    assert " ".join(shown).split() == plain.split()
    assert max(map(len, plain.splitlines())) > 80


@pytest.mark.parametrize("name", ["out.png", "out.JPG", "out.tiff"])
def test_the_name_of_another_kind_of_picture_gets_a_notice(tivar, chart, name):
    result = tivar.run("export", chart, "-o", name)
    assert result.returncode == 0
    assert result.stderr.decode() == (
        f"tivar: {chart}: {name} is a BMP file, whatever its name says; name it .bmp\n"
    )
    assert (tivar.directory / name).read_bytes()[:2] == b"BM"
    assert tivar.run("export", chart, "-o", name, "--quiet").stderr == b""
    tivar.export(chart, "out.bmp")
    tivar.export(chart, "out")


def examples():
    return re.findall(r"^\.Dl \$ (.*)$", MANUAL.read_text(), re.MULTILINE)


def test_the_examples_of_the_manual_run(tivar):
    for name in ("photo.png", "photo.jpg", "chart.png"):
        drawing.clouds(64, 48, 1).save(tivar.directory / name)
    (tivar.directory / "bmps").mkdir()
    (tivar.directory / "album" / "trip").mkdir(parents=True)
    drawing.clouds(64, 48, 1).save(tivar.directory / "album" / "trip" / "chart.png")
    environment = {**os.environ, "PATH": f"{Path(tivar.program).parent}:{os.environ['PATH']}"}
    ran = examples()
    assert len(ran) >= 8
    for line in ran:
        done = subprocess.run(
            ["bash", "-c", line], cwd=tivar.directory, env=environment, capture_output=True, text=True
        )
        assert (done.returncode, done.stderr) == (0, ""), line
    assert {p.name for p in (tivar.directory / "bmps").iterdir()} == {"photo.bmp", "chart.bmp"}
    assert (tivar.directory / "made" / "trip" / "chart.bmp").exists()


def test_the_manual_and_the_help_have_the_same_options(tivar):
    manual = MANUAL.read_text()
    for command in ("export", "gallery", "inspect", "decode"):
        section = manual.split(f".Ss tivar {command}\n")[1].split(".Ss ")[0]
        named = set(re.findall(r"Fl -([a-z-]+)", section))
        offered = set(re.findall(r"^ +(?:-\w,)?--([a-z-]+)", tivar.run(command, "--help").stdout.decode(), re.MULTILINE))
        assert offered - {"help", "library"} <= named, command
