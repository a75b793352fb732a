"""Test pictures, drawn rather than stored."""

import random

from PIL import Image, ImageDraw

CORNERS = {  # colours of the chart's four quarters
    "top left": (255, 0, 0),
    "top right": (0, 255, 0),
    "bottom left": (0, 0, 255),
    "bottom right": (255, 255, 255),
}


def quarters(width, height):
    """Four flat quarters, a different colour each."""
    picture = Image.new("RGB", (width, height))
    draw = ImageDraw.Draw(picture)
    middle_x, middle_y = width // 2, height // 2
    draw.rectangle((0, 0, middle_x - 1, middle_y - 1), CORNERS["top left"])
    draw.rectangle((middle_x, 0, width, middle_y - 1), CORNERS["top right"])
    draw.rectangle((0, middle_y, middle_x - 1, height), CORNERS["bottom left"])
    draw.rectangle((middle_x, middle_y, width, height), CORNERS["bottom right"])
    return picture


def chart(width, height):
    """Gradients that differ in every row and column, and lines one pixel wide."""
    picture = Image.new("RGB", (width, height))
    for y in range(height):
        for x in range(width):
            picture.putpixel((x, y), (x * 255 // width, y * 255 // height, (x * 7 + y * 13) % 256))
    draw = ImageDraw.Draw(picture)
    draw.line((0, 0, width - 1, height // 3), (255, 255, 255))
    draw.line((width // 4, 0, width // 4, height // 2), (0, 0, 0))
    return picture


def clouds(width, height, seed):
    """Soft colours, as a photograph has them."""
    source = random.Random(seed)
    small = Image.new("RGB", (9, 7))
    for y in range(7):
        for x in range(9):
            small.putpixel((x, y), tuple(source.randrange(256) for _ in range(3)))
    return small.resize((width, height), Image.BICUBIC)


def indexed(bits, width, height, seed=0):
    """A palette picture of 2^bits random colours, all of them used."""
    source = random.Random(seed)
    count = 1 << bits
    palette = [source.randrange(256) for _ in range(3 * count)]
    picture = Image.new("P", (width, height))
    picture.putpalette(palette)
    picture.putdata([(i * 7 + i // width) % count for i in range(width * height)])
    return picture
