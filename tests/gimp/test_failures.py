"""What cannot be done is told in one line, and leaves no file."""

import drawing
import pytest
from batch import JOBS, export
from killer import TARGET

WRONG = "file-tivar-save failed"


def chart():
    return drawing.chart(70, 66)


def palette(name):
    entries = "".join(f'(gimp-palette-add-entry "{name}" "" \'({i} 0 0))' for i in range(3))
    return f'(gimp-palette-new "{name}")' + entries


FAILURES = {
    "a run mode that there is not": (export(chart, mode=9), "run mode 9"),
    "a depth that there is not": (export(chart, bits=7), "options.bits"),
    "a negative depth": (export(chart, bits=-8), "options.bits"),
    "run lengths of 24 bits": (export(chart, bits=24, encoding=1), "options.encoding"),
    "run lengths with an OS/2 header": (export(chart, bits=8, encoding=1, header=2), "options.encoding"),
    "16 bits with an OS/2 header": (export(chart, bits=16, header=2), "options.header"),
    "a resolution in an OS/2 header": (export(chart, header=2, resolution=1), "options.x_per_meter"),
    "a header that there is not": (export(chart, header=9), "options.header"),
    "masks of 24 bits": (export(chart, masks=1), "options.masks"),
    "dithering of 24 bits": (export(chart, dither=2), "options.dither"),
    "a negative number of colours": (export(chart, bits=8, max_colors=-1), "options.max_colors"),
    "more colours than the depth has": (export(chart, bits=4, max_colors=17), "options.max_colors"),
    "a palette that there is not": (export(chart, bits=8, colors=3, palette="none"), "'none'"),
    "a palette without colours": (
        export(chart, bits=8, colors=3, palette="empty", before='(gimp-palette-new "empty")'), "no colours"),
    "a palette without its choice": (
        export(chart, bits=8, palette="own", before=palette("own")), "options.palette"),
    "a choice without its palette": (export(chart, bits=8, colors=3), "options.palette"),
    "a palette that is too large": (
        export(chart, bits=1, colors=3, palette="three", before=palette("three")), "has 3 colours"),
    "a palette's name beyond all measure": (export(chart, bits=8, colors=3, palette="x" * 300), "255 bytes"),
    "a directory that there is not": (
        export(chart, target='"nowhere/x.bmp"'), "No such file or directory"),
    "a directory instead of a file": (export(chart, target='"plug-ins"'), "Is a directory"),
    "a name that is empty": (export(chart, target='""'), "name: it is empty"),
}


@pytest.mark.parametrize("what", FAILURES)
def test_it_fails_with_one_line_and_without_a_file(gimp, what):
    job, fragment = FAILURES[what]
    words = gimp.error(job)
    assert WRONG in words and fragment in words
    assert "\\n" not in words
    assert not (gimp.directory / job.target).exists()


OLD = export(chart, target='"0.png"', bits=7)


def test_a_file_of_that_name_stays_as_it_was(gimp):
    assert "options.bits" in gimp.error(OLD)
    assert (gimp.directory / "0.png").read_bytes()[1:4] == b"PNG"


# Large enough to be met on its way.
KILLED = export(
    chart, bits=4, target=f'"{TARGET}"',
    before="(gimp-context-set-interpolation INTERPOLATION-NONE)(gimp-image-scale image 4000 4000)",
)


def test_a_plug_in_that_is_killed_leaves_nothing(gimp):
    assert gimp.killed
    assert "file-tivar-save" in gimp.error(KILLED)
    assert list(gimp.directory.glob("killed*")) == []


def test_nothing_is_left_beside_the_files(gimp):
    left = {path.name for path in gimp.directory.iterdir() if path.name[0].isdigit()}
    assert left <= {"0.dib"} | {name for job in JOBS for name in (job.source, job.target)}
