"""Fixtures of the command-line tests: the program under test, its judges and test pictures.

Environment: TIVAR_BIN (the program), TIVAR_LIBRARY (the library), TIVAR_PHOTOS (optional directory of
photographs)."""

import os
import shutil
import signal
import subprocess
from pathlib import Path

import pytest
from PIL import Image

import drawing

os.environ.pop("INIDIR", None)
os.environ.pop("DISPLAYINFO", None)


def start_clean():
    """Children must not inherit ignored signals from a test run in the background."""
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.SIG_DFL)


class Tivar:
    """Runs the program under test, its exports by a route of the tests' choice where they name none."""

    def __init__(self, program, directory, route=None):
        self.program = program
        self.directory = directory
        self.route = route

    def spell_out(self, arguments):
        words = [self.program, *map(str, arguments)]
        routed = self.route and words[1:2] == ["export"] and "--route" not in words
        return words[:2] + ["--route", self.route] + words[2:] if routed else words

    def run(self, *arguments, limits=None, **options):
        def prepare():
            start_clean()
            if limits:
                limits()

        options.setdefault("cwd", self.directory)
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        if "input" not in options:
            options.setdefault("stdin", subprocess.DEVNULL)
        return subprocess.run(self.spell_out(arguments), preexec_fn=prepare, timeout=60, **options)

    def start(self, *arguments, **options):
        options.setdefault("cwd", self.directory)
        options.setdefault("stdin", subprocess.DEVNULL)
        return subprocess.Popen(
            self.spell_out(arguments),
            preexec_fn=start_clean,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            **options,
        )

    def export(self, source, target, *options, **settings):
        """One export that must succeed in silence: the bytes of the file."""
        result = self.run("export", source, "-o", target, *options, **settings)
        assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
        return (Path(self.directory) / target).read_bytes()


def fails(result, code, *fragments):
    """The result is a failure of one line that contains all fragments."""
    text = result.stderr.decode()
    assert result.returncode == code, text
    assert text.endswith("\n") and text.count("\n") == 1, text
    assert text.startswith("tivar: ") and ";" in text, text
    for fragment in fragments:
        assert fragment in text, text


def leftovers(directory):
    return sorted(p.name for p in Path(directory).iterdir() if ".tivar." in p.name)


@pytest.fixture(scope="session")
def program():
    found = os.environ.get("TIVAR_BIN") or shutil.which("tivar")
    assert found, "TIVAR_BIN names no program"
    return str(Path(found).resolve())


@pytest.fixture(scope="session")
def library(program):
    """Where the program finds the library."""
    text = subprocess.run([program, "info"], check=True, capture_output=True, text=True).stdout
    return text.splitlines()[1].strip()


@pytest.fixture(scope="session")
def sanitized(program):
    return b"__asan_init" in Path(program).read_bytes()


@pytest.fixture(scope="session")
def library_around(tmp_path_factory, library, sanitized):
    """Builds a library around the real one from a source file beside the tests."""

    def build(source):
        if sanitized:
            pytest.skip("an uninstrumented library would be in the way of the sanitizer")
        here = Path(__file__).parent
        built = tmp_path_factory.mktemp("around") / "libaround.so"
        subprocess.run(
            ["cc", "-shared", "-fPIC", "-Wall", "-Werror", "-I", here.parents[1] / "include"]
            + [here / source, "-Wl,--no-as-needed", library]
            + [f"-Wl,-rpath,{Path(library).parent}", "-ldl", "-o", built],
            check=True,
        )
        return built

    return build


@pytest.fixture(scope="session")
def witness_library(library_around):
    return library_around("witness_library.c")


@pytest.fixture
def tivar(request, program, tmp_path):
    """Modules whose tests are about the files of one route name it as ROUTE."""
    yield Tivar(program, tmp_path, getattr(request.module, "ROUTE", None))
    assert leftovers(tmp_path) == []


@pytest.fixture(scope="session")
def imagemagick():
    for name in ("convert-im6.q16", "/usr/bin/convert", "magick"):
        if shutil.which(name):
            return name
    pytest.fail("ImageMagick is missing")


@pytest.fixture
def chart(tmp_path):
    """A 24-bit picture that is different in every corner."""
    path = tmp_path / "chart.png"
    drawing.chart(61, 44).save(path)
    return path


@pytest.fixture(scope="session")
def photographs(tmp_path_factory):
    """Pictures with many colours: photographs where there are any, else drawn ones."""
    wanted = os.environ.get("TIVAR_PHOTOS")
    found = sorted(Path(wanted).glob("*.png")) if wanted else []
    if found:
        return found[:4]
    directory = tmp_path_factory.mktemp("photographs")
    for seed in range(2):
        drawing.clouds(320, 214, seed).save(directory / f"clouds{seed}.png")
    return sorted(directory.glob("*.png"))


@pytest.fixture(scope="session")
def slow_picture(tmp_path_factory):
    """Large enough that the reduction of its colours can be interrupted."""
    path = tmp_path_factory.mktemp("slow") / "slow.ppm"
    noise = Image.frombytes("RGB", (512, 512), os.urandom(512 * 512 * 3))
    noise.resize((6000, 5000), Image.BILINEAR).save(path)
    return path
