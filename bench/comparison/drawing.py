"""A small writer of line charts as SVG, readable on light and on dark pages."""

import math
from dataclasses import dataclass
from html import escape

WIDTH, HEIGHT = 900, 400
TOP, BOTTOM, LEFT = 64, 56, 58
LABEL_ROOM = 66  # right of the lines, for their names
LABEL_GAP = 16  # least distance of two names
INSET = 14  # of the first and last point

LIGHT = {
    "page": "#ffffff",
    "ink": "#1f2328",
    "faint": "#59636e",
    "grid": "#d8dee4",
    "lines": ("#0969da", "#bc4c00", "#8250df", "#1a7f37"),
}
DARK = {
    "page": "#0d1117",
    "ink": "#e6edf3",
    "faint": "#9198a1",
    "grid": "#30363d",
    "lines": ("#58a6ff", "#f0883e", "#bc8cff", "#3fb950"),
}


def style_of(colors):
    rules = [
        f".page {{ fill: {colors['page']} }}",
        f".title {{ fill: {colors['ink']} }}",
        f".faint {{ fill: {colors['faint']} }}",
        f".grid {{ stroke: {colors['grid']} }}",
    ]
    for i, color in enumerate(colors["lines"]):
        rules += [f".fill{i} {{ fill: {color} }}", f".stroke{i} {{ stroke: {color} }}"]
    return "\n".join(rules)


STYLE = f"""
svg {{ font: 13px system-ui, -apple-system, "Segoe UI", "DejaVu Sans", sans-serif }}
.title {{ font-weight: 600; font-size: 15px }}
polyline {{ fill: none; stroke-width: 2.2; stroke-linejoin: round }}
{style_of(LIGHT)}
@media (prefers-color-scheme: dark) {{
{style_of(DARK)}
}}
"""


@dataclass
class Line:
    name: str
    values: list
    dashed: bool = False


@dataclass
class Panel:
    title: str
    x_title: str
    y_title: str
    x_values: list
    lines: list
    logarithmic: bool  # the y axis
    x_logarithmic: bool = True
    x_ticks: list | None = None  # other values than those of the points, which then have no dots


def linear_ticks(highest):
    """At most six steps of 1, 2 or 5 times a power of ten, from 0 to the value or above."""
    power = 10 ** math.floor(math.log10(highest))
    step = next(power * factor for factor in (0.2, 0.5, 1, 2) if highest / (power * factor) <= 6)
    return [step * i for i in range(math.ceil(highest / step - 1e-9) + 1)]


def logarithmic_ticks(lowest, highest):
    """1, 2, 5, 10 ... around the values."""
    ticks = [factor * 10.0**power for power in range(-6, 7) for factor in (1, 2, 5)]
    below = max(tick for tick in ticks if tick <= lowest)
    above = min(tick for tick in ticks if tick >= highest)
    return [tick for tick in ticks if below <= tick <= above]


def fraction(value, low, high, logarithmic):
    if logarithmic:
        value, low, high = math.log(value), math.log(low), math.log(high)
    return (value - low) / (high - low) if high > low else 0.5


def spread(places):
    """Moves names apart that would lie on each other, keeping their order."""
    order = sorted(range(len(places)), key=lambda i: places[i])
    moved = list(places)
    for upper, lower in zip(order, order[1:]):
        moved[lower] = max(moved[lower], moved[upper] + LABEL_GAP)
    return moved


def text(kind, x, y, content, anchor="start"):
    return f'<text class="{kind}" x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}">{escape(content)}</text>'


class Frame:
    """A panel's place on the sheet, and where values lie in it."""

    def __init__(self, panel, left, width):
        self.panel = panel
        self.left = left
        self.right = left + width - LABEL_ROOM
        self.bottom = HEIGHT - BOTTOM
        values = [value for line in panel.lines for value in line.values]
        self.ticks = logarithmic_ticks(min(values), max(values)) if panel.logarithmic else linear_ticks(max(values))

    def x_of(self, value):
        room = self.right - self.left - 2 * INSET
        values = self.panel.x_ticks or self.panel.x_values
        return self.left + INSET + room * fraction(value, values[0], values[-1], self.panel.x_logarithmic)

    def y_of(self, value):
        share = fraction(value, self.ticks[0], self.ticks[-1], self.panel.logarithmic)
        return self.bottom - (self.bottom - TOP) * share

    def axes(self):
        yield text("title", self.left, 24, self.panel.title)
        yield text("faint", self.left, 46, self.panel.y_title)
        for tick in self.ticks:
            y = self.y_of(tick)
            yield f'<line class="grid" x1="{self.left:.1f}" y1="{y:.1f}" x2="{self.right:.1f}" y2="{y:.1f}"/>'
            yield text("faint", self.left - 8, y + 4, f"{tick:g}", "end")
        for value in self.panel.x_ticks or self.panel.x_values:
            yield text("faint", self.x_of(value), self.bottom + 20, f"{value:g}", "middle")
        yield text("faint", (self.left + self.right) / 2, self.bottom + 42, self.panel.x_title, "middle")

    def lines(self):
        name_places = spread([self.y_of(line.values[-1]) for line in self.panel.lines])
        for i, (line, name_y) in enumerate(zip(self.panel.lines, name_places)):
            points = [(self.x_of(x), self.y_of(y)) for x, y in zip(self.panel.x_values, line.values)]
            path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
            dashes = ' stroke-dasharray="6 4"' if line.dashed else ""
            yield f'<polyline class="stroke{i}"{dashes} points="{path}"/>'
            for x, y in [] if self.panel.x_ticks else points:
                yield f'<circle class="fill{i}" cx="{x:.1f}" cy="{y:.1f}" r="3.5"/>'
            yield text(f"fill{i}", self.right, name_y + 4, line.name)


def draw(title, panels):
    """The panels side by side, as the text of an SVG file."""
    width = (WIDTH - LEFT * len(panels)) / len(panels)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" role="img">',
        f"<title>{escape(title)}</title>",
        f"<style>{STYLE}</style>",
        f'<rect class="page" width="{WIDTH}" height="{HEIGHT}" rx="8"/>',
    ]
    for i, panel in enumerate(panels):
        frame = Frame(panel, LEFT + i * (width + LEFT), width)
        parts += [*frame.axes(), *frame.lines()]
    return "\n".join([*parts, "</svg>", ""])
