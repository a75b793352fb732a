"""The jobs whose quality is measured, and who does them with what commands. {source} is a PNM file, {png} the same
picture as PNG, {target} the file to write, without a suffix that a tool would go by: each command adds its own."""

import sys
from dataclasses import dataclass

CONVERT = "/usr/bin/convert"


@dataclass
class Peer:
    name: str
    command: object  # a list, or a shell line
    suffix: str = ".bmp"


@dataclass
class Job:
    title: str
    bits: int
    mode: str  # what the file is compared in, as Pillow calls it
    dithered: bool
    floors: dict  # name of the picture's kind -> least PSNR, blurred where it is dithered
    peers: list


def pillow(statement):
    code = (
        "import sys; from PIL import Image; p = Image.open(sys.argv[1]); Q = Image.Quantize; D = Image.Dither;"
        f" {statement}.save(sys.argv[2])"
    )
    return [sys.executable, "-I", "-c", code, "{source}", "{target}.bmp"]


def ffmpeg(*options):
    return ["ffmpeg", "-v", "error", "-nostdin", "-y", "-i", "{source}", *options, "{target}.bmp"]


def palette_filter(generate, use):
    filters = f"split[a][b];[a]palettegen={generate}reserve_transparent=0[p];[b][p]paletteuse=dither={use}"
    return ffmpeg("-filter_complex", filters)


def pngquant(*options):
    return ["pngquant", "--force", "-o", "{target}.png", *options, "--", "{png}"]


def magick(*options):
    return [CONVERT, "{source}", *options, "BMP3:{target}.bmp"]


def graphics_magick(*options):
    return ["gm", "convert", "{source}", *options, "{target}.bmp"]


JOBS = [
    Job(
        "8 bits, not dithered",
        8,
        "RGB",
        False,
        {"photographs": 38.0, "chart": 35.2},
        [
            Peer("ImageMagick", magick("-dither", "None", "-colors", "256")),
            Peer("GraphicsMagick", graphics_magick("+dither", "-colors", "256")),
            Peer("Pillow, median cut", pillow("p.quantize(256, Q.MEDIANCUT, dither=D.NONE)")),
            Peer("Pillow, with k-means", pillow("p.quantize(256, Q.MEDIANCUT, 10, dither=D.NONE)")),
            Peer("Pillow, fast octree", pillow("p.quantize(256, Q.FASTOCTREE, dither=D.NONE)")),
            Peer("libimagequant, by Pillow", pillow("p.quantize(256, Q.LIBIMAGEQUANT, dither=D.NONE)")),
            Peer("FFmpeg", palette_filter("", "none")),
            Peer("netpbm", "pnmquant -quiet 256 {source} | ppmtobmp -quiet -bpp=8 >{target}.bmp"),
            Peer("pngquant", pngquant("--nofs", "256"), ".png"),
            Peer("pngquant, slowest", pngquant("--speed", "1", "--nofs", "256"), ".png"),
        ],
    ),
    Job(
        "4 bits, dithered",
        4,
        "RGB",
        True,
        {"photographs": 36.0, "chart": 29.3},
        [
            Peer("ImageMagick", magick("-dither", "FloydSteinberg", "-colors", "16")),
            Peer("GraphicsMagick", graphics_magick("-dither", "-colors", "16")),
            Peer("Pillow, median cut", pillow("p.quantize(palette=p.quantize(16), dither=D.FLOYDSTEINBERG)")),
            Peer(
                "Pillow, with k-means",
                pillow("p.quantize(palette=p.quantize(16, kmeans=10), dither=D.FLOYDSTEINBERG)"),
            ),
            Peer("FFmpeg", palette_filter("max_colors=16:", "floyd_steinberg")),
            Peer(
                "netpbm",
                "pnmcolormap -quiet 16 {source} >{target}.map && "
                "pnmremap -quiet -mapfile={target}.map -fs {source} | ppmtobmp -quiet -bpp=4 >{target}.bmp",
            ),
            Peer("pngquant", pngquant("16"), ".png"),
            Peer("pngquant, slowest", pngquant("--speed", "1", "16"), ".png"),
        ],
    ),
    Job(
        "1 bit, dithered, as greys",
        1,
        "L",
        True,
        {"photographs": 41.0, "chart": 40.3},
        [
            Peer("ImageMagick", magick("-monochrome")),
            Peer("GraphicsMagick", graphics_magick("-monochrome")),
            Peer("Pillow", pillow("p.convert('1')")),
            Peer("FFmpeg", ffmpeg("-sws_dither", "ed", "-pix_fmt", "monob")),
            Peer("netpbm", "ppmtopgm {source} | pgmtopbm -fs | ppmtobmp -quiet -bpp=1 >{target}.bmp"),
        ],
    ),
]
