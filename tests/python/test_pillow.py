"""Pillow's format "TIVAR"."""

import io
import subprocess
import sys

import pytest
import tivar
import tivar.pillow  # noqa: F401
from PIL import BmpImagePlugin, Image


def test_images_are_saved_as_save_does(clouds, tmp_path):
    clouds.save(tmp_path / "out.bmp", format="TIVAR", bits=4, dither="ordered")
    assert (tmp_path / "out.bmp").read_bytes() == tivar.save(clouds, bits=4, dither="ordered")


def test_rle_is_short_for_the_encoding(clouds):
    for rle, encoding in ((True, "rle"), (False, "raw")):
        memory = io.BytesIO()
        clouds.save(memory, "TIVAR", bits=8, rle=rle)
        assert memory.getvalue() == tivar.save(clouds, bits=8, encoding=encoding)
    with pytest.raises(TypeError, match="^rle: encoding says the same"):
        clouds.save(io.BytesIO(), "TIVAR", rle=True, encoding="rle")


def test_what_fails_comes_out_and_leaves_no_file(clouds, tmp_path):
    with pytest.raises(TypeError, match="unexpected keyword argument 'quality'"):
        clouds.save(tmp_path / "out.bmp", format="TIVAR", quality=3)
    with pytest.raises(tivar.BadOption):
        clouds.save(tmp_path / "out.bmp", format="TIVAR", bits=3)
    assert list(tmp_path.iterdir()) == []


def test_the_own_format_of_pillow_stays(clouds, tmp_path):
    assert Image.registered_extensions()[".bmp"] == "BMP"
    assert Image.SAVE["BMP"] is BmpImagePlugin._save
    clouds.save(tmp_path / "out.bmp")
    with Image.open(tmp_path / "out.bmp") as read:
        assert read.format == "BMP"
        assert read.tobytes() == clouds.tobytes()


def test_nothing_else_imports_pillow():
    code = "import sys, tivar, tivar.filter; tivar.save(bytes(3), size=(1, 1)); print('PIL' in sys.modules)"
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    assert done.stdout == "False\n"
