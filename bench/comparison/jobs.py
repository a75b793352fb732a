"""The jobs, who does them besides tivar, with what commands, and what tivar is to reach.

A command is the list of a program and its arguments, or a shell line for pipelines. {source}, {png} (the same
picture), {target}, {scratch} and {before} (tivar as it was) are filled in for each run."""

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
    before: Path | None = None  # tivar as it was
    no_before: str = ""  # why there is none


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
    "djpeg": Tool(["djpeg", "-version"], r"version (\S+)"),
}


@dataclass
class Peer:
    tool: str
    command: object = None  # None: the tool cannot do this job, and the note says why
    bits: int = 0  # of its file, when it has no such depth as the job's
    note: str = ""
    yardstick: bool = False  # runs beside the peers, but is none: its output is no BMP file

    @property
    def rival(self):
        return not self.yardstick and self.tool != BEFORE


@dataclass
class Goal:
    against: str  # FASTEST or the name of a tool
    limit: float  # of tivar's time over its time


FASTEST = "fastest peer"
BEFORE = "tivar before"  # as it was before the latest work on its speed


@dataclass
class Job:
    name: str
    title: str
    bits: int
    goals: list
    memory_limit: float | None  # of peak memory over the decoded picture, or of its megabytes; None = no goal
    bound: str  # what limits tivar, in words
    peers: list
    source: str = "ppm"
    options: tuple = ()  # of tivar, besides the depth
    compression: int = 0
    direct: bool = False  # by the direct interface
    memory_in_megabytes: bool = False
    size: tuple = ()  # of the file, where it is not the picture's

    def command(self, program):
        route = [] if self.direct else ["--route", "filter"]
        depth = ["--bits", str(self.bits)] if "--colors" not in self.options else []
        options = [*route, *depth, *self.options, "--quiet"]
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
]
TO_16_BY_NETPBM = Peer(
    "netpbm",
    "pnmcolormap -quiet 16 {source} >{scratch}/map.ppm && "
    "pnmremap -quiet -mapfile={scratch}/map.ppm -fs {source} | ppmtobmp -quiet -bpp=4 >{target}",
)
TO_BLACK_AND_WHITE = [
    Peer("netpbm", "ppmtopgm {source} | pgmtopbm -fs | ppmtobmp -quiet -bpp=1 >{target}"),
    Peer("Pillow", pillow("p.convert('1')")),
    Peer("ImageMagick", [CONVERT, "{source}", "-monochrome", "BMP3:{target}"]),
    Peer("GraphicsMagick", ["gm", "convert", "{source}", "-monochrome", "{target}"]),
    Peer("FFmpeg", ffmpeg("-sws_dither", "ed", "-pix_fmt", "monob")),
]


def without(peers, *tools):
    """The direct interface's sections leave away who takes long, and has run beside the filter interface."""
    return [peer for peer in peers if peer.tool not in tools]


def before(bits):
    """The same job by an earlier tivar."""
    command = ["{before}", "export", "{source}", "-o", "{target}", "--route", "filter", "--bits", str(bits), "--quiet"]
    return Peer(BEFORE, command)


def pngquant(*options):
    command = ["pngquant", "--force", "-o", "{target}", *options, "--", "{png}"]
    return Peer("pngquant", command, note="reads and writes PNG", yardstick=True)


TO_24_BITS = [
    Peer("GraphicsMagick", ["gm", "convert", "{source}", "{target}"]),
    Peer("ImageMagick", [CONVERT, "{source}", "BMP3:{target}"]),
    Peer("netpbm", "ppmtobmp -quiet -bpp=24 {source} >{target}"),
    Peer("Pillow", pillow("p")),
    Peer("FFmpeg", ffmpeg()),
    Peer("cp", ["cp", "{source}", "{target}"], note="only copies the file", yardstick=True),
]
TO_A_FRAME = [
    Peer(
        "ImageMagick",
        [CONVERT, "{source}", "-resize", "800x480", "-background", "white", "-gravity", "center"]
        + ["-extent", "800x480", "-dither", "FloydSteinberg", "-colors", "7", "BMP3:{target}"],
    ),
    Peer(
        "GraphicsMagick",
        ["gm", "convert", "{source}", "-resize", "800x480", "-background", "white", "-gravity", "center"]
        + ["-extent", "800x480", "-dither", "-colors", "7", "{target}"],
    ),
    Peer("djpeg", ["djpeg", "-outfile", "{target}", "{source}"], note="only decodes the file", yardstick=True),
]

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
        TO_24_BITS,
    ),
    Job(
        "8-bit",
        "8 bits by median cut, not dithered",
        8,
        [Goal(BEFORE, 0.45), Goal("FFmpeg", 0.05)],
        3.5,
        "Bound by two looks a pixel into the answers of its cell of colour space (`lookUp`), which are more than "
        "the first-level cache holds, by the histogram (`RowCounter`), which adds one at a place that depends "
        "on the pixel, and by the kernel's part of reading and writing. Sorting and cutting (`AdjustHeap`) and "
        "finding the answers (`buildList`, `weighCell`) cost about the same whatever the size.",
        [*TO_256_COLORS, before(8)],
    ),
    Job(
        "4-bit",
        "4 bits, dithered",
        4,
        [Goal(BEFORE, 0.4), Goal("ImageMagick", 0.09)],
        3.5,
        "Bound by the diffusion (`diffuseToFew`) and, about as much, by the kernel's part of reading and writing. Eight "
        "rows in flight hide that a pixel waits for its left neighbour's error; all 16 entries are weighed at once.",
        [*TO_16_COLORS, TO_16_BY_NETPBM, before(4)],
    ),
    Job(
        "1-bit",
        "1 bit, dithered",
        1,
        [Goal(BEFORE, 0.45), Goal("netpbm", 0.3)],
        3.5,
        "Bound by the kernel's part of reading the picture and by the diffusion over greys (`diffuseGreys`), sixteen rows "
        "in flight, whose entries follow from comparisons instead of looks into a table.",
        [*TO_BLACK_AND_WHITE, before(1)],
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
        "24-bit-direct",
        "24 bits, raw, direct interface",
        24,
        [Goal("cp", 1.3)],
        12,
        "The kernel's copies into and out of the page cache, as with `cp`. Rows are read in bands as the library asks for "
        "them, so that no page is cleared for the picture, and room for the file is found at once.",
        TO_24_BITS,
        direct=True,
        memory_in_megabytes=True,
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
        [*without(TO_256_COLORS, "GraphicsMagick", "netpbm"), pngquant("--nofs", "256")],
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
        "The diffusion over greys; rows are read in bands as the library asks for them.",
        TO_BLACK_AND_WHITE,
        direct=True,
    ),
    Job(
        "frame",
        "JPEG of 12 megapixels to 800 x 480 in 7 colours",
        4,
        [Goal("ImageMagick", 0.25), Goal("djpeg", 1.6)],
        None,
        "Bound by libjpeg, which decodes at half the sides where those are enough; scaling in linear light and the "
        "choice of colours work on what is left.",
        TO_A_FRAME,
        source="jpg",
        options=("--size", "800x480", "--colors", "7"),
        direct=True,
        size=(800, 480),
    ),
]
