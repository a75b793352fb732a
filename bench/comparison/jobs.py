"""The jobs, who does them besides tivar, with what commands, and what tivar is to reach.

A command is the list of a program and its arguments, or a shell line for pipelines. {source}, {png} (the same
picture), {target} and {scratch} are filled in for each run."""

import re
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

from comparison.bmp import RLE8

CONVERT = "/usr/bin/convert"


@dataclass
class Places:
    program: Path  # tivar
    scratch: Path


@dataclass
class Tool:
    version_command: list
    version_pattern: str

    def version(self):
        """The installed version, None when the tool is missing or another one goes by its name."""
        try:
            run = subprocess.run(
                self.version_command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60
            )
        except OSError:
            return None
        found = re.search(self.version_pattern, run.stdout)
        return found.group(1) if found else None


TOOLS = {
    "GraphicsMagick": Tool(["gm", "version"], r"GraphicsMagick (\S+)"),
    "ImageMagick": Tool([CONVERT, "-version"], r"ImageMagick (\S+)"),
    "netpbm": Tool(["ppmtobmp", "--version"], r"Netpbm Version: Netpbm (\S+)"),
    "Pillow": Tool([sys.executable, "-I", "-c", "import PIL; print('Pillow', PIL.__version__)"], r"Pillow (\S+)"),
    "FFmpeg": Tool(["ffmpeg", "-version"], r"ffmpeg version (\S+)"),
    "cp": Tool(["cp", "--version"], r"coreutils\) (\S+)"),
    "pngquant": Tool(["pngquant", "--version"], r"(\S+)"),
}


@dataclass
class Peer:
    tool: str
    command: object = None  # None: the tool cannot do this job, and the note says why
    bits: int = 0  # of its file, when it has no such depth as the job's
    note: str = ""
    yardstick: bool = False  # runs beside the peers, but is none: its output is no BMP file


@dataclass
class Goal:
    against: str  # FASTEST or the name of a tool
    limit: float  # of tivar's time over its time


FASTEST = "fastest peer"


@dataclass
class Job:
    name: str
    title: str
    bits: int
    goals: list
    memory_limit: float  # of peak memory over the decoded picture
    bound: str  # what limits tivar, in words
    peers: list
    source: str = "ppm"
    options: tuple = ()  # of tivar, besides the depth
    compression: int = 0
    direct: bool = False  # by the direct interface

    def command(self, program):
        route = [] if self.direct else ["--route", "filter"]
        options = [*route, "--bits", str(self.bits), *self.options, "--quiet"]
        return [program, "export", "{source}", "-o", "{target}", *options]


def pillow(statement):
    code = f"import sys; from PIL import Image; p = Image.open(sys.argv[1]); {statement}.save(sys.argv[2])"
    return [sys.executable, "-I", "-c", code, "{source}", "{target}"]


def ffmpeg(*options):
    return ["ffmpeg", "-v", "error", "-nostdin", "-y", "-i", "{source}", *options, "{target}"]


def palette_filter(generate, use):
    filters = f"split[a][b];[a]palettegen={generate}reserve_transparent=0[p];[b][p]paletteuse=dither={use}"
    return ffmpeg("-filter_complex", filters)


EIGHT_BIT_FILE = "its 16 colours take 8 bits a pixel"

# The goal is 1.2 times the decoded picture and 16 MB, which at 30 MB decoded are this many times.
DIRECT_MEMORY = 1.73

TO_256_COLORS = [
    Peer("FFmpeg", palette_filter("", "none")),
    Peer("Pillow", pillow("p.quantize(256, method=Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE)")),
    Peer(
        "ImageMagick",
        [CONVERT, "{source}", "-dither", "None", "-colors", "256", "-compress", "None", "BMP3:{target}"],
    ),
    Peer(
        "GraphicsMagick",
        ["gm", "convert", "{source}", "+dither", "-colors", "256", "-compress", "None", "{target}"],
    ),
    Peer("netpbm", "pnmquant -quiet 256 {source} | ppmtobmp -quiet -bpp=8 >{target}"),
]
TO_16_COLORS = [
    Peer("ImageMagick", [CONVERT, "{source}", "-dither", "FloydSteinberg", "-colors", "16", "BMP3:{target}"]),
    Peer("GraphicsMagick", ["gm", "convert", "{source}", "-dither", "-colors", "16", "{target}"]),
    Peer(
        "Pillow",
        pillow("p.quantize(palette=p.quantize(16), dither=Image.Dither.FLOYDSTEINBERG)"),
        bits=8,
        note=EIGHT_BIT_FILE,
    ),
    Peer("FFmpeg", palette_filter("max_colors=16:", "floyd_steinberg"), bits=8, note=EIGHT_BIT_FILE),
    Peer(
        "netpbm",
        "pnmcolormap -quiet 16 {source} >{scratch}/map.ppm && "
        "pnmremap -quiet -mapfile={scratch}/map.ppm -fs {source} | ppmtobmp -quiet -bpp=4 >{target}",
    ),
]
TO_BLACK_AND_WHITE = [
    Peer("netpbm", "ppmtopgm {source} | pgmtopbm -fs | ppmtobmp -quiet -bpp=1 >{target}"),
    Peer("Pillow", pillow("p.convert('1')")),
    Peer("ImageMagick", [CONVERT, "{source}", "-monochrome", "BMP3:{target}"]),
    Peer("GraphicsMagick", ["gm", "convert", "{source}", "-monochrome", "{target}"]),
    Peer("FFmpeg", ffmpeg("-sws_dither", "ed", "-pix_fmt", "monob")),
]


def pngquant(*options):
    command = ["pngquant", "--force", "-o", "{target}", *options, "--", "{png}"]
    return Peer("pngquant", command, note="reads and writes PNG", yardstick=True)


JOBS = [
    Job(
        "24-bit",
        "24 bits, raw",
        24,
        [Goal(FASTEST, 0.5), Goal("cp", 2)],
        2.5,
        "The kernel bounds it: it reads the file, clears the pages that will hold the picture and copies the "
        "rows into the page cache. Of the library's own work the exchange of red and blue is left, done on "
        "blocks that stay in the cache until they are written. `cp` has no picture in memory and no pages to "
        "clear.",
        [
            Peer("GraphicsMagick", ["gm", "convert", "{source}", "{target}"]),
            Peer("ImageMagick", [CONVERT, "{source}", "BMP3:{target}"]),
            Peer("netpbm", "ppmtobmp -quiet -bpp=24 {source} >{target}"),
            Peer("Pillow", pillow("p")),
            Peer("FFmpeg", ffmpeg()),
            Peer("cp", ["cp", "{source}", "{target}"], note="only copies the file", yardstick=True),
        ],
    ),
    Job(
        "8-bit",
        "8 bits by median cut, not dithered",
        8,
        [Goal(FASTEST, 0.2)],
        3.5,
        "Bound by two looks a pixel into the answers of its cell of colour space (`lookUp`), which are more than "
        "the first-level cache holds, by the histogram (`RowCounter`), which adds one at a place that depends "
        "on the pixel, and by the kernel's part of reading and writing. Sorting and cutting (`AdjustHeap`) and "
        "finding the answers (`buildList`, `weighCell`) cost about the same whatever the size.",
        TO_256_COLORS,
    ),
    Job(
        "4-bit",
        "4 bits, dithered",
        4,
        [Goal(FASTEST, 0.25)],
        3.5,
        "Bound by the diffusion (`ditherColorRows`): a pixel's colour is known only after its left neighbour's "
        "error, so every pixel waits for a search and the arithmetic behind it. Two rows in flight hide a part "
        "of that; reading, histogram and writing are small beside it.",
        TO_16_COLORS,
    ),
    Job(
        "1-bit",
        "1 bit, dithered",
        1,
        [Goal("netpbm", 0.8), Goal("Pillow", 0.5)],
        3.5,
        "Bound by the same chain as at 4 bits, over greys (`ditherGreyRows`): the search is a look into a table "
        "of 256 levels, and what remains is the wait for that look and a clamped sum a pixel.",
        TO_BLACK_AND_WHITE,
    ),
    Job(
        "8-bit-rle",
        "8 bits, run-length encoded, from 8-bit grey",
        8,
        [Goal(FASTEST, 0.5)],
        3.5,
        "Bound by the pairs themselves (`encodeRow`): the ends of runs are found 64 bytes at a time, but in photographs "
        "nearly every byte ends one and makes a pair of its own. The file then has up to two bytes for each pixel, "
        "which the kernel has to take.",
        [
            # Without these options it dithers the greys away, or writes 24 bits.
            Peer(
                "ImageMagick",
                [CONVERT, "{source}", "+dither", "-type", "Palette", "-compress", "RLE", "BMP3:{target}"],
            ),
            Peer("GraphicsMagick", ["gm", "convert", "{source}", "-compress", "RLE", "{target}"]),
            Peer("netpbm", note="ppmtobmp writes no run-length encoding"),
            Peer("Pillow", note="writes no run-length encoding"),
            Peer("FFmpeg", note="writes no run-length encoding"),
        ],
        source="pgm",
        options=("--compress", "native"),
        compression=RLE8,
    ),
    Job(
        "8-bit-direct",
        "8 bits, not dithered, direct interface",
        8,
        [Goal("FFmpeg", 0.15), Goal("pngquant", 0.03)],
        DIRECT_MEMORY,
        "About equal parts: counting the colours of every pixel (`Histogram::addRow`), looking up the nearest entry "
        "(`mapRow`), reading and writing, and the cuts and k-means, which work on the histogram and cost the same "
        "whatever the size.",
        [*TO_256_COLORS, pngquant("--nofs", "256")],
        direct=True,
    ),
    Job(
        "4-bit-direct",
        "4 bits, dithered, direct interface",
        4,
        [Goal("ImageMagick", 0.2)],
        DIRECT_MEMORY,
        "Bound by the diffusion over three channels, eight rows in flight.",
        [*TO_16_COLORS, pngquant("16")],
        direct=True,
    ),
    Job(
        "1-bit-direct",
        "1 bit, dithered, direct interface",
        1,
        [Goal("netpbm", 0.4), Goal("Pillow", 0.25)],
        DIRECT_MEMORY,
        "Half of it is the kernel's, which reads the picture into fresh pages; then the diffusion over greys.",
        TO_BLACK_AND_WHITE,
        direct=True,
    ),
]
