"""What the pages tell a Python programmer, done with the installed package. (Every block of the guide runs
as it stands in tests/docs/check.)"""

import re
import subprocess
import sys

from conftest import ROOT
from PIL import Image

import drawing


def blocks_of(page):
    return re.findall(r"^```python\n(.*?)^```", (ROOT / page).read_text(), re.MULTILINE | re.DOTALL)


def test_the_guide_converts_a_folder(tmp_path, exported):
    (script,) = [block for block in blocks_of("docs/python.md") if "ThreadPoolExecutor" in block]
    folder = tmp_path / "folder"
    folder.mkdir()
    for seed in range(5):
        drawing.clouds(61, 45, seed).save(folder / f"{seed}.jpg")
    (tmp_path / "convert.py").write_text(script)
    done = subprocess.run(
        [sys.executable, tmp_path / "convert.py", folder], check=True, capture_output=True, text=True
    )
    assert done.stdout == "".join(
        f"{folder}/{seed}.jpg: 16 colours, 1558 bytes\n" for seed in range(5)
    )
    for seed in range(5):
        with Image.open(folder / f"{seed}.jpg") as picture:
            assert (folder / f"{seed}.bmp").read_bytes() == exported(picture, "--bits", 4)


def test_the_example_of_the_package_runs(tmp_path):
    (script,) = blocks_of("python/README.md")
    subprocess.run([sys.executable, "-c", script], cwd=tmp_path, check=True)
    with Image.open(tmp_path / "flag.bmp") as picture:
        assert picture.size == (8, 8)
        assert picture.convert("RGB").getpixel((3, 3)) == (200, 100, 0)
