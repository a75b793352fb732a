"""The kinds of file that are written, and the drawing to write them with.

The drawing has a palette of no more colours than the depth holds: every kind keeps them exactly, so that
the drawing itself is what a reader has to show. Stripes across it are longer than the longest run. The
lower half has runs of one pixel and more."""

from dataclasses import dataclass

from PIL import Image

HEIGHT = 24
# No depth pads rows of 320 pixels, every depth pads those of 317. The native form encodes the padding,
# which a reader may or may not be ready for.
UNPADDED, PADDED = 320, 317

# Of 16 bits the readers agree on the brightest and the darkest level alone.
BRIGHT = [(255 * (i & 1), 255 * (i >> 1 & 1), 255 * (i >> 2)) for i in range(8)]
COLORS = [(0, 0, 255), (255, 255, 0), (0, 0, 0), (255, 0, 0), (64, 0, 128), (1, 2, 3), (0, 255, 9), (250, 251, 252)]


@dataclass(frozen=True)
class Kind:
    bits: int
    header: str  # Windows, OS/2 or V4
    rows: str  # raw, native or portable; of the direct interface they begin with "direct"
    width: int

    @property
    def name(self):
        return f"{self.bits}-{self.header.replace('/', '').lower()}-{self.rows.replace(' ', '-')}-{self.width}.bmp"

    @property
    def is_direct(self):
        return self.rows.startswith("direct")

    @property
    def colors(self):
        """How many the drawing has."""
        return min(len(COLORS), 1 << min(self.bits, 8))

    def options(self):
        options = ["--route", "filter", "--bits", str(self.bits)]
        options += ["--compress", self.rows.replace("raw", "none")]
        if self.header == "OS/2":
            options.append("--os2")
            if self.rows == "native":
                options.append("--force")
        return options


def all_kinds():
    kinds = []
    for bits in (24, 8, 4, 1):
        encoded = bits in (4, 8)
        for header in ("Windows", "OS/2"):
            kinds.append(Kind(bits, header, "raw", PADDED))
            if encoded and header == "Windows":
                kinds.append(Kind(bits, header, "portable", PADDED))
            if encoded:
                kinds += [Kind(bits, header, "native", width) for width in (UNPADDED, PADDED)]
    return kinds + direct_kinds()


def direct_kinds():
    """What the direct interface writes beside that: an alpha of 255 throughout, where there is one."""
    kinds = [
        Kind(32, "Windows", "direct", PADDED),
        Kind(32, "V4", "direct", PADDED),
        Kind(32, "V4", "direct, alpha", PADDED),
    ]
    for header in ("Windows", "V4"):
        kinds += [Kind(16, header, f"direct, {masks}", PADDED) for masks in ("565", "555")]
    for bits in (24, 8, 4, 1):
        for header in ("Windows", "OS/2", "V4"):
            kinds.append(Kind(bits, header, "direct", PADDED))
            if header == "OS/2":
                continue
            kinds.append(Kind(bits, header, "direct, top-down", PADDED))
            if bits in (4, 8):
                kinds.append(Kind(bits, header, "direct, RLE", PADDED))
    return kinds


def draw(width, colors):
    """Rows of indices, top row first."""
    rows = [bytes([y % colors]) * width for y in range(HEIGHT // 2)]
    for y in range(HEIGHT // 2, HEIGHT):
        longest = y - HEIGHT // 2 + 1
        rows.append(bytes((x // (1 + x % longest) + y) % colors for x in range(width)))
    return rows


def drawing_for(kind):
    """The drawing with a palette of the kind's depth; in true colour there is none."""
    colors = (BRIGHT if kind.bits == 16 else COLORS)[: kind.colors]
    picture = Image.frombytes("P", (kind.width, HEIGHT), b"".join(draw(kind.width, len(colors))))
    picture.putpalette(bytes(channel for color in colors for channel in color))
    return picture if kind.bits <= 8 else picture.convert("RGBA" if "alpha" in kind.rows else "RGB")


def save_drawing(kind, path):
    depth = {"bits": kind.bits} if kind.bits <= 8 else {}
    drawing_for(kind).save(path, **depth)


def pixels_for(kind):
    """What a file of this kind is to show: red, green and blue of every pixel."""
    return drawing_for(kind).convert("RGB").tobytes()
