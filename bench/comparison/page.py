"""The page that shows what was measured."""

from dataclasses import dataclass, field
from statistics import median

from comparison import drawing, earlier, growth, many, start
from comparison.jobs import BEFORE, FASTEST
from comparison.rounds import ENDLESS_SECONDS, SLOW_FACTOR, SLOW_ROUNDS, SLOW_SECONDS, Verdict

DEPTH_NAMES = {"24-bit": "24 bits", "8-bit": "8 bits", "4-bit": "4 bits", "1-bit": "1 bit"}


@dataclass
class Findings:
    machine: list
    picture_kind: str
    picture: object
    rounds: int
    versions: dict = field(default_factory=dict)
    outcomes: list = field(default_factory=list)
    profiles: dict = field(default_factory=dict)
    many: object = None  # many.Many
    start: object = None  # start.Start
    sizes: object = None
    memory: object = None
    quality: str = ""  # tables of quality/measure


# ---- Numbers and tables ----


def table(head, rows):
    """A Markdown table; columns whose head ends with a colon are aligned to the right."""
    right = [name.endswith(":") for name in head]
    cells = [[name.rstrip(":") for name in head], *[[str(cell) for cell in row] for row in rows]]
    widths = [max(3, *(len(row[i]) for row in cells)) for i in range(len(head))]

    def line(row):
        padded = [cell.rjust(w) if r else cell.ljust(w) for cell, w, r in zip(row, widths, right)]
        return "| " + " | ".join(padded) + " |"

    rule = "|" + "|".join("-" * (w + 1) + (":" if r else "-") for w, r in zip(widths, right)) + "|"
    return "\n".join([line(cells[0]), rule, *[line(row) for row in cells[1:]]]) + "\n"


def shown_time(seconds):
    """Three digits, about."""
    if seconds < 0.0995:
        return f"{seconds * 1000:.1f} ms"
    return f"{seconds * 1000:.0f} ms" if seconds < 0.9995 else f"{seconds:.2f} s"


def shown_ratio(ratio):
    return f"{ratio:.2f}" if ratio >= 0.9995 else f"{ratio:.3f}"


def judged(verdict):
    if verdict.met:
        return "met"
    return f"**missed by {(verdict.ratio / verdict.limit - 1) * 100:.0f} %**"


# ---- What was reached ----


def goal_rows(outcome):
    title = outcome.job.title
    own = shown_time(median(outcome.tivar.seconds))
    for goal, peer, verdict in outcome.verdicts():
        limit = f"≤ {goal.limit}"
        if verdict is None:
            yield title, goal.against, own, "-", "-", limit, "not measured"
            continue
        against = f"{peer.name}, the fastest" if goal.against == FASTEST else peer.name
        theirs = shown_time(median(peer.seconds))
        yield title, against, own, theirs, shown_ratio(verdict.ratio), limit, judged(verdict)


def many_rows(found):
    title = f"{found.count} small pictures in one call, 2 jobs"
    own, one = (median(found.seconds[name]) for name in (many.TWO_JOBS, many.ONE_JOB))
    least = f"≥ {many.GAIN} x as fast"
    gain = found.gain()
    verdict = "met" if gain >= many.GAIN else f"**missed by {(many.GAIN / gain - 1) * 100:.0f} %**"
    yield title, "1 job", shown_time(own), shown_time(one), f"{gain:.2f} x as fast", least, verdict
    limit = f"≤ {many.AGAINST_MOGRIFY}"
    if found.problem:
        yield title, "ImageMagick's mogrify", shown_time(own), "-", "-", limit, f"not measured: {found.problem}"
        return
    ratio = found.against_mogrify()
    theirs = shown_time(median(found.seconds[many.MOGRIFY]))
    judgement = judged(Verdict("", ratio, many.AGAINST_MOGRIFY))
    yield title, "ImageMagick's mogrify", shown_time(own), theirs, shown_ratio(ratio), limit, judgement


def start_row(found):
    limit = f"≤ {start.LIMIT * 1000:g} ms"
    judgement = judged(Verdict("", found.tivar, start.LIMIT))
    title = f"a PNG of {start.SIDE} x {start.SIDE}, direct interface"
    return title, "`true`", shown_time(found.tivar), shown_time(found.nothing), "-", limit, judgement


def goal_table(findings):
    rows = [row for outcome in findings.outcomes for row in goal_rows(outcome)]
    if findings.many:
        rows += [*many_rows(findings.many), start_row(findings.start)]
    return table(["Job", "Against", "tivar:", "other:", "ratio:", "goal:", "verdict"], rows)


def memory_row(outcome):
    verdict = outcome.memory_verdict()
    peak = f"{outcome.tivar.peak_bytes / 1e6:.0f} MB"
    decoded = f"{outcome.decoded_bytes / 1e6:.0f} MB"
    unit = " MB" if outcome.job.memory_in_megabytes else ""
    ratio = f"{outcome.memory_multiple(outcome.tivar):.2f}"
    return outcome.job.title, peak, decoded, ratio, f"≤ {verdict.limit}{unit}", judged(verdict)


def memory_table(findings):
    rows = [memory_row(outcome) for outcome in findings.outcomes if outcome.job.memory_limit is not None]
    return table(["Job", "peak memory:", "decoded picture:", "ratio:", "goal:", "verdict"], rows)


# ---- One job ----


def measured_row(outcome, one):
    ratio = "1" if one is outcome.tivar else shown_ratio(outcome.ratio(one))
    times = [shown_time(value) for value in (median(one.seconds), min(one.seconds), max(one.seconds))]
    return [one.name, *times, len(one.seconds), ratio, f"{outcome.memory_multiple(one):.2f}", one.note]


def job_table(outcome):
    """Everybody who did the job, the quickest first, then who did not, and why."""
    racing = [one for one in [outcome.tivar, *outcome.peers] if one.takes_part]
    rows = [measured_row(outcome, one) for one in sorted(racing, key=lambda one: median(one.seconds))]
    rows += [[one.name, "-", "-", "-", 0, "-", "-", one.problem] for one in outcome.peers if not one.takes_part]
    return table(["Tool", "median:", "least:", "most:", "runs:", "tivar / tool:", "memory:", "remark"], rows)


def quoted(part):
    if not set(part) & set(" ;()|[]'"):
        return part
    return f'"{part}"' if "'" in part else f"'{part}'"


def shown_command(contestant, suffix):
    """A command as one would type it."""
    line = contestant.command
    if not isinstance(line, str):
        program, *parts = [str(part) for part in line]
        line = " ".join([program.rsplit("/", 1)[-1], *map(quoted, parts)])
    names = {"source": f"in.{suffix}", "png": "in.png", "target": "out.bmp", "scratch": "tmp", "before": "tivar"}
    return line.format(**names)


def job_section(findings, outcome):
    yield f"### {outcome.job.title[0].upper()}{outcome.job.title[1:]}\n"
    yield job_table(outcome)
    yield outcome.job.bound + "\n"
    shares = findings.profiles.get(outcome.job.name)
    if shares:
        yield "Shares of tivar's time: " + ", ".join(f"{place} {share:.0f} %" for place, share in shares) + ".\n"
    lines = [
        shown_command(one, outcome.job.source) for one in [outcome.tivar, *outcome.peers] if one.command is not None
    ]
    yield "<details><summary>Commands</summary>\n"
    yield "```console\n" + "\n".join(lines) + "\n```\n"
    yield "</details>\n"


# ---- Growth ----


def sizes_table(sizes):
    rows = [
        [DEPTH_NAMES[name], *[f"{value * 1000:.1f}" for value in sizes.per_megapixel(name)]] for name in sizes.seconds
    ]
    return table(["ms a megapixel, at", *[f"{size:g}:" for size in sizes.megapixels]], rows)


def memory_growth_table(memory):
    rows = [
        ["first export of a process", *[f"{value / 1e9:.2f}" for value in memory.first]],
        ["one export after another", *[f"{value / 1e9:.2f}" for value in memory.repeated]],
    ]
    return table(["GB/s, to a file of", *[f"{size} MB:" for size in memory.megabytes]], rows)


def memory_growth_verdict(memory):
    factor = memory.factor()
    if factor is None:
        return "The sizes of the goal for output to memory were not run.\n"
    verdict = "met" if factor <= growth.WITHIN else "**missed**"
    return (
        f"A first export to memory is {factor:.2f} times as fast at {growth.SMALL} MB as at {growth.LARGE} MB; "
        f"the goal is at most {growth.WITHIN}: {verdict}.\n"
    )


def chart(findings):
    sizes, memory = findings.sizes, findings.memory
    pixels = drawing.Panel(
        "Whole export, from PPM to BMP",
        "megapixels",
        "milliseconds a megapixel",
        sizes.megapixels,
        [
            drawing.Line(DEPTH_NAMES[name], [value * 1000 for value in sizes.per_megapixel(name)])
            for name in sizes.seconds
        ],
        True,
    )
    rates = drawing.Panel(
        "24-bit export into memory",
        "megabytes of the file",
        "gigabytes a second",
        memory.megabytes,
        [
            drawing.Line("first", [value / 1e9 for value in memory.first]),
            drawing.Line("repeated", [value / 1e9 for value in memory.repeated], dashed=True),
        ],
        False,
    )
    return drawing.draw("Time by size of the picture, throughput by size of the output to memory", [pixels, rates])


# ---- The page ----


def introduction(findings):
    picture = findings.picture
    yield "# Performance\n"
    yield (
        "The same jobs done by `tivar` and by other tools: whole processes, from a PNM file to a BMP file, side by "
        "side in one run. To repeat it:\n"
    )
    yield "```console\n./dev bench      # installs the other tools, measures, writes this page\n```\n"
    yield (
        f"The picture is {findings.picture_kind}, {picture.width} x {picture.height} pixels. When `TIVAR_PHOTOS` "
        "names a directory of photographs, the picture is a mosaic of those, else the test chart.\n"
    )
    yield (
        f"After a warm-up come {findings.rounds} rounds. In each, everybody runs once, in an order that turns from "
        "round to round. A ratio is tivar's time over the other's in the same round, and the median of the rounds "
        f"counts; times are medians too. A tool that takes more than {SLOW_SECONDS} s and more than {SLOW_FACTOR} "
        f"times as long as tivar runs in {SLOW_ROUNDS} rounds only, and one that takes more than {ENDLESS_SECONDS} s "
        "once. Nobody is held to one core. The size, depth and encoding of every file are checked.\n"
    )
    yield f"\"{BEFORE}\" is commit {earlier.COMMIT}, built by the same compiler and measured in the same rounds.\n"


def goals(findings):
    yield "## Goals\n"
    yield goal_table(findings)
    yield (
        "Memory is the peak of the process, or of the largest process of a pipeline, and is compared with the "
        "decoded picture.\n"
    )
    yield memory_table(findings)
    yield memory_growth_verdict(findings.memory)


def jobs(findings):
    yield "## Jobs\n"
    yield "Memory is a multiple of the decoded picture.\n"
    for outcome in findings.outcomes:
        yield from job_section(findings, outcome)


def small_pictures(findings):
    yield "### Small pictures\n"
    found = findings.many
    rows = [[name, shown_time(median(taken)), len(taken)] for name, taken in found.seconds.items() if taken]
    yield table(["Tool", "median:", "runs:"], rows)
    yield (
        f"{found.count} PNG files of {many.SIDE} x {many.SIDE} pixels become files of 4 bits, dithered, in one call. "
        "Reading them and choosing their colours take about the same time each.\n"
    )
    lines = [line.format(source="in", target="out") for line in many.commands("tivar").values()]
    yield "<details><summary>Commands</summary>\n"
    yield "```console\n" + "\n".join(lines) + "\n```\n"
    yield "</details>\n"
    yield (
        f"The start: the median of {findings.start.runs} runs over a PNG of {start.SIDE} x {start.SIDE} pixels. The "
        "library of a format is loaded when a picture of that kind comes.\n"
    )


def quality_section(findings):
    if not findings.quality:
        return
    yield "## Time against quality\n"
    yield (
        "How near the pictures of reduced depth come to their originals: the mean peak signal-to-noise ratio in decibels, "
        "and the same after a Gaussian blur of radius 2 of both pictures, which stands for looking from a distance; that "
        "is what dithering is for. Times are the sums over the pictures. pngquant and libimagequant write no BMP files. "
        "`./dev quality` repeats it.\n"
    )
    yield findings.quality


def growth_section(findings, chart_name):
    yield "## Growth\n"
    yield f"![Time by size of the picture, throughput by size of the output to memory]({chart_name})\n"
    yield sizes_table(findings.sizes)
    yield (
        "Left: the time of whole processes over their pixels, a megapixel being 2^20 of them. A small picture carries "
        "the start of the process and, below 24 bits, the choice of colours, which hardly grows with the picture.\n"
    )
    yield memory_growth_table(findings.memory)
    yield (
        "Right: the export call alone, with the output going to memory that grows as it is written. A process's first "
        "export gets its pages from the system; later exports of small pictures find them in the heap, those of large "
        "ones are given back in between.\n"
    )


def machine(findings):
    versions = [(name, version or "not installed") for name, version in findings.versions.items()]
    yield "## Machine\n"
    yield table(["", ""], findings.machine + versions)
    yield (
        "`./dev bench` also leaves `build/bench.txt`: the stages by themselves, as `tivar_bench` measures them. "
        "Nearest colours, conversions between depths, colour reduction, dithering, scaling, mirroring, run-length "
        "encoders, the writer, streams and export targets.\n"
    )


def write(findings, path):
    chart_path = path.with_suffix(".svg")
    chart_path.write_text(chart(findings))
    parts = [introduction(findings), goals(findings), jobs(findings), small_pictures(findings)]
    parts += [quality_section(findings), growth_section(findings, chart_path.name), machine(findings)]
    path.write_text("\n".join(line for part in parts for line in part))
