"""The direct interface of the shared library, called through the package for Python."""

import os
import sys
from pathlib import Path

from failure import Failure

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "python"))

HEADERS = {"Windows": "windows", "OS/2": "os2", "V4": "v4"}


def write(library, image, kind, path):
    """A file of the kind, which must keep every pixel's colour."""
    os.environ["TIVAR_LIBRARY"] = str(library)
    import tivar  # looks for the library as soon as it is imported

    try:
        report = tivar.save(
            image,
            path,
            bits=kind.bits,
            header=HEADERS[kind.header],
            encoding="rle" if "RLE" in kind.rows else "raw",
            top_down="top-down" in kind.rows,
            masks="555" if "555" in kind.rows else None,
        )
    except tivar.Error as error:
        raise Failure(f"{kind.name}: {error}") from None
    if not report.exact:
        raise Failure(f"{kind.name}: not exact")
