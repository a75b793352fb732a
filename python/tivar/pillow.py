"""Importing this module gives Pillow the format "TIVAR":

    import tivar.pillow

    image.save("picture.bmp", format="TIVAR", bits=4, rle=True)

The options are those of tivar.save; rle=True is short for encoding="rle". Pillow's own BMP format
and the ending .bmp stay what they are."""

from __future__ import annotations

from typing import Any, BinaryIO

from PIL import Image

from ._save import save

FORMAT = "TIVAR"


def _save(image: Any, file: BinaryIO, _name: Any) -> None:
    options = dict(image.encoderinfo)
    if "rle" in options:
        if "encoding" in options:
            raise TypeError("rle: encoding says the same, one of them is too many")
        options["encoding"] = "rle" if options.pop("rle") else "raw"
    save(image, file, **options)


Image.register_save(FORMAT, _save)
