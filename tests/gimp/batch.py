"""Everything that GIMP is asked to do, in one run of it: starting it takes longer than the work.

Test modules name their exports when they are loaded; the fixture `gimp` (conftest.py) has GIMP make all
of them with the first test."""

import os
import signal
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

from killer import Killer

# The arguments behind the names of the file, in the procedure's order, and what stands for nothing.
ARGUMENTS = {
    "bits": 0, "header": 0, "encoding": 0, "masks": 0, "resolution": 0, "colors": 0, "max_colors": 0,
    "palette": "", "dither": 0,
}
NONINTERACTIVE, LAST_VALS = 1, 2

JOBS = []


@dataclass(eq=False)
class Job:
    """One picture that goes through the plug-in."""

    picture: object  # a function that makes it
    arguments: dict
    before: str  # Script-Fu that is done to image and drawable before
    call: str  # Script-Fu that exports them to target
    stored: dict  # how the picture is stored
    number: int = field(default_factory=lambda: len(JOBS))

    @property
    def source(self):
        return f"{first_with(self).number}.png"

    @property
    def target(self):
        return f"{self.number}.bmp"


def first_with(job):
    """The first job with the picture of this one, which the others share: loading takes a while."""
    return next(other for other in JOBS if (other.picture, other.stored) == (job.picture, job.stored))


def export(picture, mode=NONINTERACTIVE, before="", call="", target="target", stored=None, **arguments):
    """Names an export that the plug-in is to make with these arguments."""
    assert arguments.keys() <= ARGUMENTS.keys()
    values = " ".join(text_of(value) for value in {**ARGUMENTS, **arguments}.values())
    call = call or f"(file-tivar-save {mode} image drawable {target} {target} {values})"
    job = Job(picture, arguments, before, call, stored or {})
    JOBS.append(job)
    return job


def text_of(value):
    return f'"{value}"' if isinstance(value, str) else str(int(value))


PROLOGUE = """
(define reports (open-output-file "reports"))
(define what-failed '())
(define *thrown* *error-hook*)
(set! *error-hook* (lambda words (set! what-failed words) (apply *thrown* words)))
(define (report number words)
  (write number reports) (display " " reports) (write words reports) (newline reports))
(define sources '())
(define (load-source name)
  (set! sources (cons (cons name (car (gimp-file-load 1 name name))) sources)))
(define (job number source target work)
  (gimp-context-set-background '(255 255 255))
  (let ((image (car (gimp-image-duplicate (cdr (assoc source sources))))))
    (report number
      (catch what-failed
        (work image (car (gimp-image-get-active-drawable image)) target)
        'done))
    (gimp-image-delete image)))
"""

# The name of the drawable may change before the call: layers are merged, or added.
JOB = """
(job {number} "{source}" "{target}" (lambda (image drawable target)
  {before}
  {call}))
"""


def script():
    sources = dict.fromkeys(job.source for job in JOBS)
    return PROLOGUE + "".join(f'(load-source "{source}")\n' for source in sources) + "".join(
        JOB.format(number=job.number, source=job.source, target=job.target, before=job.before, call=job.call)
        for job in JOBS
    ) + "(close-output-port reports)\n"


def linked(directory, sources):
    directory.mkdir()
    for source in sources:
        (directory / Path(source).name).symlink_to(source)
    return directory


def prepare_home(directory, plug_ins):
    """A place for GIMP's settings: with the plug-in under test and no more of GIMP's than the tests need."""
    home = directory / "home"
    home.mkdir()
    own = Path("/usr/lib/gimp/2.0/plug-ins")
    plugs = [own / name for name in ("script-fu", "file-png", "file-bmp")] + [plug_ins / "file-tivar"]
    found = linked(directory / "plug-ins", plugs)
    scripts = linked(directory / "scripts", Path("/usr/share/gimp/2.0/scripts").glob("*.init"))
    # Of GEGL's operations, which every plug-in would load first, these need none.
    (directory / "environ").mkdir()
    (directory / "environ" / "plug-ins.env").write_text("GEGL_PATH=/nonexistent\n")
    (home / "gimprc").write_text(
        f'(plug-in-path "{found}")\n(script-fu-path "{scripts}")\n(temp-path "{directory}")\n'
        f'(swap-path "{directory}")\n(environ-path "{directory}/environ")\n(num-processors 2)\n'
    )
    return home


def wait_for(gimp, seconds=300):
    """The exit code; GIMP that does not end is ended with its plug-ins."""
    try:
        return gimp.wait(timeout=seconds)
    except subprocess.TimeoutExpired:
        os.killpg(gimp.pid, signal.SIGKILL)
        return gimp.wait()


def run(directory, plug_ins):
    """Has GIMP do every job in a directory: what it reported, by the number of the job, and whether the
    one that was to be killed was."""
    for job in filter(lambda job: first_with(job) is job, JOBS):
        job.picture().save(directory / job.source, **job.stored)
    (directory / "jobs.scm").write_text(script())
    home = prepare_home(directory, plug_ins)
    environment = {name: text for name, text in os.environ.items() if name not in ("DISPLAY", "LD_LIBRARY_PATH")}
    environment |= {"HOME": str(home), "GIMP2_DIRECTORY": str(home), "LC_ALL": "C.UTF-8"}
    command = ["gimp-console-2.10", "--no-interface", "--no-data", "--no-fonts", "--new-instance"]
    command += ["-b", '(load "jobs.scm")', "-b", "(gimp-quit TRUE)"]
    with open(directory / "log", "w") as log:
        gimp = subprocess.Popen(
            command, cwd=directory, env=environment, start_new_session=True,
            stdin=subprocess.DEVNULL, stdout=log, stderr=log,
        )
        killer = Killer(directory, gimp.pid)
        killer.start()
        code = wait_for(gimp)
        killer.stop()
    reports = directory / "reports"
    said = (directory / "log").read_text()
    assert code == 0 and reports.exists(), said
    lines = [line.split(" ", 1) for line in reports.read_text().splitlines()]
    assert len(lines) == len(JOBS), said
    return {int(number): words for number, words in lines}, killer.killed
