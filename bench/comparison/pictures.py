"""The pictures that are exported: a mosaic of photographs, or the test chart."""

import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import Callable

from PIL import Image, ImageOps

from comparison.failure import Failure

TILE = 512
SUFFIXES = {".png", ".jpg", ".jpeg", ".ppm", ".bmp", ".tif", ".tiff"}
MODES = {"ppm": "RGB", "pgm": "L", "png": "RGB", "jpg": "RGB"}
QUALITY = 90  # of JPEG
TURNS = (None, Image.Transpose.FLIP_LEFT_RIGHT, Image.Transpose.FLIP_TOP_BOTTOM, Image.Transpose.ROTATE_180)


@dataclass
class Maker:
    description: str
    draw: Callable  # (width, height) -> Image


@dataclass
class Picture:
    width: int
    height: int
    files: dict  # suffix -> path

    def decoded_bytes(self, suffix):
        return self.width * self.height * (1 if MODES[suffix] == "L" else 3)


def landscape(megapixels):
    """Sides of about that many million pixels at 4 : 3; even, as the height of a file is."""
    width = round((megapixels * 1e6 * 4 / 3) ** 0.5 / 8) * 8
    return width, width * 3 // 4 // 2 * 2


def choose_maker(build, directory):
    photos = photographs_in(Path(directory)) if directory else []
    if photos:
        tiles = [ImageOps.fit(Image.open(path).convert("RGB"), (TILE, TILE)) for path in photos]
        return Maker(f"a mosaic of {len(photos)} photographs", lambda *size: draw_mosaic(tiles, *size))
    return Maker("the test chart", lambda *size: draw_chart(build / "tivar_chart", *size))


def photographs_in(directory):
    if not directory.is_dir():
        raise Failure(f"TIVAR_PHOTOS names {directory}, which is no directory")
    return sorted(path for path in directory.iterdir() if path.suffix.lower() in SUFFIXES)


def draw_mosaic(tiles, width, height):
    """Tiles side by side, each time round turned another way, so that no two neighbours are alike."""
    mosaic = Image.new("RGB", (width, height))
    places = [(x, y) for y in range(0, height, TILE) for x in range(0, width, TILE)]
    for number, place in enumerate(places):
        turn = TURNS[number // len(tiles) % len(TURNS)]
        tile = tiles[number % len(tiles)]
        mosaic.paste(tile.transpose(turn) if turn is not None else tile, place)
    return mosaic


def draw_chart(program, width, height):
    drawn = subprocess.run([program, str(width), str(height)], stdout=subprocess.PIPE, check=True).stdout
    start = len(b"P6\n%d %d\n255\n" % (width, height))
    return Image.frombytes("RGB", (width, height), drawn[start:])


def make(maker, width, height, directory, suffixes=("ppm", "pgm", "png")):
    """Draws a picture and saves it, in colour as PPM, PNG and JPEG and in grey as PGM."""
    image = maker.draw(width, height)
    picture = Picture(width, height, {})
    for suffix in suffixes:
        picture.files[suffix] = directory / f"picture-{width}x{height}.{suffix}"
        image.convert(MODES[suffix]).save(picture.files[suffix], quality=QUALITY)
    return picture
