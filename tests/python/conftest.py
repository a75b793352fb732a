"""Fixtures of the Python package's tests: pictures, and the command line whose files are the measure.

Environment: TIVAR_LIBRARY (the library), TIVAR_BIN (the command-line host). The package is the one
that is installed where the tests run."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

import numpy
import pytest
from PIL import Image

ROOT = Path(__file__).parents[2]
# The pictures of the command line's tests.
sys.path.append(str(ROOT / "tests" / "cli"))

import drawing  # noqa: E402

WIDTH, HEIGHT = 61, 45


@pytest.fixture(scope="session")
def program():
    found = os.environ.get("TIVAR_BIN") or shutil.which("tivar")
    assert found, "TIVAR_BIN names no program"
    return str(Path(found).resolve())


@pytest.fixture
def exported(request, program, tmp_path):
    """What the command line writes of an image, by the direct route or by the one that the module names as ROUTE."""
    route = getattr(request.module, "ROUTE", "direct")

    def export(image, *options):
        image.save(tmp_path / "measure.png")
        subprocess.run(
            [program, "export", "measure.png", "-o", "measure.bmp", "--route", route]
            + [str(option) for option in options],
            cwd=tmp_path,
            check=True,
        )
        return (tmp_path / "measure.bmp").read_bytes()

    return export


@pytest.fixture(scope="session")
def clouds():
    """Many colours."""
    return drawing.clouds(WIDTH, HEIGHT, 5)


@pytest.fixture(scope="session")
def indexed():
    """An image of up to 16 colours with a palette."""
    return drawing.indexed(4, WIDTH, HEIGHT)


@pytest.fixture(scope="session")
def array(clouds):
    return numpy.array(clouds)


@pytest.fixture(scope="session")
def noise():
    """Large enough that a call takes a while."""
    random = numpy.random.default_rng(7)
    return random.integers(0, 256, (700, 900, 3), dtype=numpy.uint8)


def seen(data):
    """The pixels of a file as another reader sees them."""
    import io

    return numpy.array(Image.open(io.BytesIO(data)).convert("RGB"))
