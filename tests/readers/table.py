"""The table of the page: verdicts by kind of file and reader, between two comments."""

import datetime
import re
import textwrap

from failure import Failure
from kinds import all_kinds

BEGIN = "<!-- readers: written by ./dev readers -->"
END = "<!-- readers: end -->"
KEY = ("Bits", "Header", "Rows")
WORDS = {"right": "right", "refused": "refused", "wrong": "**wrong**"}  # from best to worst


def key_of(kind):
    return (str(kind.bits), kind.header, kind.rows)


def enter(verdicts, kind, name, verdict):
    """A row shows the worst of its files, which differ in width."""
    key = key_of(kind), name
    verdicts[key] = max(verdicts.get(key, verdict), verdict, key=list(WORDS).index)


def align(rows):
    """Rows of cells as lines of a table; the first is the head."""
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    rows = [rows[0], ["-" * width for width in widths], *rows[1:]]
    return ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |" for row in rows]


def render(verdicts, names):
    """verdicts: by key of the kind and name of the reader."""
    rows = [[*KEY, *names]]
    for key in dict.fromkeys(map(key_of, all_kinds())):
        rows.append([*key, *(WORDS[verdicts[key, name]] for name in names)])
    return "\n".join(align(rows))


def versions_line(versions):
    listed = [f"{name} {version}" for name, version in versions.items() if name != "tivar decode"]
    return textwrap.fill(f"Measured on {datetime.date.today()}: {', '.join(listed)}.", 106)


def find(page):
    """The page before, within and behind the comments."""
    if page.count(BEGIN) != 1 or page.count(END) != 1:
        raise Failure(f"the page needs exactly one {BEGIN} and one {END}")
    before, rest = page.split(BEGIN)
    within, behind = rest.split(END)
    return before, within, behind


def parse(within):
    """Verdicts and names of readers of a table on the page."""
    plain = {shown: word for word, shown in WORDS.items()}
    rows = [[cell.strip() for cell in line.strip("| \n").split("|")] for line in within.splitlines() if "|" in line]
    if not rows:
        return {}, []
    names = rows[0][len(KEY) :]
    verdicts = {}
    for row in rows[2:]:
        for name, cell in zip(names, row[len(KEY) :]):
            verdicts[tuple(row[: len(KEY)]), name] = plain.get(cell, cell)
    return verdicts, names


def replace(page, verdicts, versions):
    before, _, behind = find(page)
    parts = [BEGIN, "", render(verdicts, list(versions)), "", versions_line(versions), "", END]
    return before + "\n".join(parts) + behind


def differences(page, verdicts, versions):
    """What the page says otherwise, and a warning for each reader that was of another version."""
    within = find(page)[1]
    shown, names = parse(within)
    wrong = [f"the page has no column for {name}" for name in versions if name not in names]
    for (key, name), verdict in verdicts.items():
        if name in names and shown.get((key, name)) != verdict:
            wrong.append(f"{name}, {' '.join(key)}: {verdict}, the page says {shown.get((key, name), 'nothing')}")
    unknown = {key for key, _ in shown} - {key for key, _ in verdicts}
    wrong += [f"{' '.join(key)}: there is no such file" for key in sorted(unknown)]
    if not wrong and render(verdicts, list(versions)) not in within:
        wrong.append("the table is not laid out as it is written")
    text = " ".join(within.split())
    warnings = [
        f"{name} is {version} here, another one on the page"
        for name, version in versions.items()
        if name != "tivar decode" and not re.search(re.escape(f"{name} {version}") + r"[,.]( |$)", text)
    ]
    return wrong, warnings
