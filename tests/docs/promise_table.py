"""The table of promises (docs/reliability.md), and the figures for it that tests/mutants/summary.txt has."""

import re
from dataclasses import dataclass
from pathlib import Path

PAGE = "docs/reliability.md"
SUMMARY = "tests/mutants/summary.txt"
HEAD = ["Promise", "Held by", "How", "Mutants"]
NO_FIGURE = "–"
FIGURES = "noticed by the tests of a promise"


@dataclass
class Promise:
    cells: list[str]
    title: str  # the part in bold type
    places: list[Path]  # what it is held by


def cells_of(line: str) -> list[str]:
    return [cell.strip() for cell in line.strip("|").split("|")]


def rows(lines: list[str]) -> range:
    """The places of the table's rows; none without a table."""
    start = next((i for i, line in enumerate(lines) if line.startswith("|") and cells_of(line) == HEAD), len(lines)) + 2
    end = start
    while end < len(lines) and lines[end].startswith("|"):
        end += 1
    return range(start, end)


def places_of(root: Path, held_by: str) -> list[Path]:
    """Paths, those without a directory beside the one before."""
    places: list[Path] = []
    for name in re.findall(r"`([^`]+)`", held_by):
        beside = places[-1].parent / name if places and "/" not in name else None
        places.append(beside if beside and beside.exists() else root / name)
    return places


def read(root: Path) -> list[Promise]:
    lines = (root / PAGE).read_text(encoding="utf-8").splitlines()
    promises = []
    for i in rows(lines):
        cells = cells_of(lines[i])
        title = re.match(r"\*\*(.+?)\.?\*\*", cells[0])
        promises.append(Promise(cells, title[1] if title else cells[0], places_of(root, cells[1])))
    return promises


def read_figures(root: Path) -> dict[str, str]:
    """By title, as they stand in the table."""
    lines = (root / SUMMARY).read_text(encoding="utf-8").splitlines()
    start = next((i for i, line in enumerate(lines) if line.startswith(FIGURES)), len(lines)) + 1
    figures = {}
    for line in lines[start:]:
        match = re.fullmatch(r" +(\d+) of +(\d+)  (.+)", line)
        if not match:
            break
        figures[match[3]] = f"{match[1]} of {match[2]}"
    return figures


def write_figures(root: Path, figures: dict[str, str]) -> None:
    lines = (root / PAGE).read_text(encoding="utf-8").splitlines()
    for i, promise in zip(rows(lines), read(root)):
        lines[i] = f"| {' | '.join([*promise.cells[: len(HEAD) - 1], figures.get(promise.title, NO_FIGURE)])} |"
    (root / PAGE).write_text("\n".join(lines) + "\n", encoding="utf-8")
