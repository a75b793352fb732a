"""The programs and libraries that are asked to open the files, and what they make of them."""

import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

import browser
import pnm
from failure import Failure

SECONDS = 30
LIBRARY_PROGRAM = Path(__file__).parent / "open_with_library.py"
PILLOW = "import sys; from PIL import Image; Image.open(sys.argv[1]).convert('RGB').save(sys.stdout.buffer, 'PPM')"
PILLOW_VERSION = "import PIL; print(PIL.__version__)"
CONVERT = "/usr/bin/convert"


@dataclass
class Reader:
    name: str
    command: list  # prints the picture of the file that is appended or stands in for {}
    version_command: list
    version_pattern: str = r"([\d.]+)"

    def version(self):
        """None when it is not there."""
        try:
            run = subprocess.run(
                self.version_command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=SECONDS
            )
        except OSError:
            return None
        found = re.search(self.version_pattern, run.stdout)
        return found.group(1) if found and run.returncode == 0 else None

    def read(self, path):
        """The picture, or None when it refuses the file."""
        command = [part.replace("{}", str(path)) for part in self.command]
        if command == self.command:
            command.append(str(path))
        try:
            run = subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, timeout=SECONDS)
        except subprocess.TimeoutExpired:
            return None
        return pnm.read(run.stdout) if run.returncode == 0 else None

    def read_all(self, paths):
        with ThreadPoolExecutor() as pool:
            return list(pool.map(self.read, paths))


class Decoder(Reader):
    """tivar decode, which prints PNG only."""

    def read(self, path):
        target = path.with_suffix(".ppm")
        run = subprocess.run([*self.command, path, target], capture_output=True, timeout=SECONDS)
        return pnm.read(target.read_bytes()) if run.returncode == 0 else None


class Browser(Reader):
    def read_all(self, paths):
        pictures = browser.read_all(paths)
        if pictures is None:
            raise Failure(f"{self.name} did not answer for every file; run it by hand to see why")
        return pictures


def library_reader(name):
    program = [sys.executable, str(LIBRARY_PROGRAM), name]
    return Reader(name, program, program)


def all_readers(tivar):
    return [
        Decoder("tivar decode", [tivar, "decode"], [tivar, "--version"]),
        Reader("ImageMagick", [CONVERT, "{}", "-depth", "8", "ppm:-"], [CONVERT, "-version"], r"ImageMagick (\S+)"),
        Reader("GraphicsMagick", ["gm", "convert", "{}", "ppm:-"], ["gm", "version"], r"GraphicsMagick (\S+)"),
        Reader("netpbm", ["bmptopnm", "-quiet"], ["bmptopnm", "--version"], r"Netpbm (\d\S+)"),
        Reader("Pillow", [sys.executable, "-I", "-c", PILLOW], [sys.executable, "-I", "-c", PILLOW_VERSION]),
        Reader(
            "FFmpeg",
            ["ffmpeg", "-v", "error", "-i", "{}", "-f", "image2pipe", "-c:v", "ppm", "-"],
            ["ffmpeg", "-version"],
            r"ffmpeg version ([\d.]+)",
        ),
        library_reader("libgd"),
        library_reader("GdkPixbuf"),
        library_reader("SDL"),
        Browser("Chromium", [], [browser.PROGRAM, "--version"], r"Chromium ([\d.]+)"),
    ]


def versions_of(readers):
    """By name; fails when one is missing."""
    versions = {reader.name: reader.version() for reader in readers}
    missing = [name for name, version in versions.items() if version is None]
    if missing:
        raise Failure(f"not installed: {', '.join(missing)}; ./dev readers installs them")
    return versions


def judge(picture, kind, wanted):
    if picture is None:
        return "refused"
    width, height, pixels = picture
    return "right" if (width, pixels) == (kind.width, wanted) and len(wanted) == width * height * 3 else "wrong"

