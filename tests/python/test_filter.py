"""The filter interface from Python, held against what the command line writes by it."""

import pickle

import numpy
import pytest
import tivar.filter
from conftest import HEIGHT, WIDTH
from PIL import Image
from tivar.filter import Settings

ROUTE = "filter"
MODE = "[Poster]\nDriver=TIVAR.1\nColor Format=219\nWidth=2.0\nHeight=1.5\nResolution Mode=309\n"


@pytest.fixture
def profile(tmp_path):
    path = tmp_path / "my.ini"
    path.write_text(MODE)
    return path


@pytest.mark.parametrize("bits", [1, 4, 8, 24])
@pytest.mark.parametrize("mode", ["RGB", "L", "P", "1"])
def test_an_export_is_that_of_the_command_line(clouds, exported, bits, mode):
    image = clouds.convert(mode).crop((0, 0, WIDTH, HEIGHT - 1))
    with Settings() as settings:
        settings.bits = bits
        assert settings.bits == bits
        assert settings.export(image) == exported(image, "--bits", bits)


def test_os2_and_run_lengths(clouds, exported):
    with Settings() as settings:
        settings.bits = 4
        settings.header = "os2"
        assert settings.export(clouds) == exported(clouds, "--bits", 4, "--os2")
        settings.header = "windows"
        settings.compressed = True
        assert (settings.header, settings.compressed) == ("windows", True)
        assert settings.export(clouds) == exported(clouds, "--bits", 4, "--compress", "native")
        settings.header = "os2"
        wanted = exported(clouds, "--bits", 4, "--os2", "--compress", "native", "--force")
        assert settings.export(clouds) == wanted


def test_arrays_and_bytes_are_left_as_they_were(array):
    part = array[:44].copy()
    kept = part.copy()
    with Settings() as settings:
        settings.bits = 24
        wanted = settings.export(part)
        assert (part == kept).all()
        assert settings.export(part[:, :, ::-1], format="BGR") == wanted
        assert settings.export(part.tobytes(), size=(WIDTH, 44)) == wanted
        assert settings.export(part[::-1])[54:57] == bytes(part[0, 0][::-1])
    assert wanted[54:] == tivar.save(part)[54:]


def test_an_export_to_a_path(clouds, tmp_path):
    with Settings() as settings:
        assert settings.export(clouds, tmp_path / "out.bmp") is None
        assert (tmp_path / "out.bmp").read_bytes() == settings.export(clouds)
        with pytest.raises(FileNotFoundError):
            settings.export(clouds, tmp_path / "none" / "out.bmp")


def test_a_profile(clouds, profile):
    with Settings(profile, "Poster") as settings:
        assert settings.bits == 4
        # The page is 2 by 1.5 inches; at 96 pixels per inch 61 x 45 fill its width.
        assert settings.size() == (0.0, 0.0)
        assert settings.export(clouds, resolution=0)[18:22] == (192).to_bytes(4, "little")


def test_a_profile_must_be_there_and_have_the_mode(profile, tmp_path):
    with pytest.raises(FileNotFoundError, match="^profile: .*none.ini' cannot be read"):
        Settings(tmp_path / "none.ini")
    with pytest.raises(ValueError, match="^mode: .*my.ini' does not have the mode 'Card', a section"):
        Settings(profile, "Card")
    with pytest.raises(ValueError, match="^mode: .*my.ini' does not have a mode, a section"):
        Settings(profile)
    with pytest.raises(ValueError, match="^mode: without a profile there is none"):
        Settings(mode="Poster")
    for name in ("", "my.ini\0"):
        with pytest.raises(ValueError, match="^profile: it is empty or has a null character"):
            Settings(name)
    with pytest.raises(TypeError, match="^mode: must be text, not int"):
        Settings(profile, 3)


def test_no_profile_lies_around(clouds, tmp_path, monkeypatch):
    (tmp_path / ".ini").write_text("[TIVAR]\n~Mode=Poster\n" + MODE)
    monkeypatch.chdir(tmp_path)
    with Settings() as settings:
        assert settings.bits == 8


def test_escapes(profile):
    with Settings(profile, "Poster") as settings:
        settings.set_color_mode("grey")
        assert settings.color_mode() == "grey"
        settings.set_resolution_mode("fixed")
        settings.set_x_resolution(200, save=True)
        settings.set_y_resolution(numpy.int64(100))
        assert settings.resolution() == (200, 100)
        settings.set_size_mode("display")
        settings.set_width(3.5)
        settings.set_height(3.25, save=True)
        assert settings.size() == (3.5, 3.25)
        settings.user_value = 2**32 - 1
        assert settings.user_value == 2**32 - 1
    saved = profile.read_text().splitlines()
    assert "X Resolution=200" in saved and "Height=3.25" in saved
    assert "Width=2.0" in saved and not any(line.startswith("Y Resolution") for line in saved)


@pytest.mark.parametrize(
    "call,error,text",
    [
        (lambda s: s.set_x_resolution(31), ValueError, "dots: 31 is not from 32 to 400"),
        (lambda s: s.set_y_resolution(401), ValueError, "dots: 401 is not from 32 to 400"),
        (lambda s: s.set_y_resolution("96"), TypeError, "dots: must be a whole number, not str"),
        (lambda s: s.set_width(23), ValueError, "inches: 23 is not from 0.03125 to 22"),
        (lambda s: s.set_height(float("nan")), ValueError, "inches: nan is not from 0.03125"),
        (lambda s: s.set_height("2"), TypeError, "inches: must be a number, not str"),
        (lambda s: s.set_color_mode("red"), ValueError, "mode: 'red' is none of 'as-given'"),
        (lambda s: s.set_color_mode(None), TypeError, "mode: must be a word, not None"),
        (lambda s: s.set_size_mode("a4"), ValueError, "mode: 'a4' is none of 'display'"),
        (lambda s: s.set_resolution_mode(1), TypeError, "mode: must be one of 'display'"),
        (lambda s: s.set_width(2, save="no"), TypeError, "save: must be True or False, not str"),
        (lambda s: setattr(s, "bits", 16), ValueError, "bits: 16 is none of 1, 4, 8 and 24"),
        (lambda s: setattr(s, "header", "v4"), ValueError, "header: 'v4' is none of 'windows', 'os2'"),
        (lambda s: setattr(s, "compressed", 2.0), TypeError, "compressed: must be True or False"),
        (lambda s: setattr(s, "user_value", -1), ValueError, "user_value: -1 is not from 0 to"),
        (lambda s: s.export(None), TypeError, "picture: must be a Pillow image"),
        (lambda s: s.export(Image.new("RGBA", (2, 2))), ValueError, "picture: the filter interface has"),
        (lambda s: s.export([b""], size=(1, 1)), TypeError, "picture: rows that come one by one"),
        (lambda s: s.export(bytes(65536), size=(65536, 1), format="GREY"), ValueError, "picture: a side"),
        (lambda s: s.export(bytes(1), size=(1, 1), format="INDEX8"), ValueError, "colormap: indices"),
        (
            lambda s: s.export(bytes(1), size=(1, 1), format="INDEX1", colormap=bytes(9)),
            ValueError,
            "colormap: it has more than 2 entries",
        ),
        (lambda s: s.export(bytes(3), size=(1, 1), resolution=-1), ValueError, "resolution: -1 is"),
    ],
)
def test_wrong_arguments_are_named_in_one_line(call, error, text):
    with Settings() as settings, pytest.raises(error) as caught:
        call(settings)
    assert str(caught.value).startswith(text)
    assert "\n" not in str(caught.value)


def test_rows_that_no_block_holds_are_refused(array, monkeypatch):
    from tivar import _cells

    monkeypatch.setattr(_cells, "LARGEST_BLOCK", 184 * HEIGHT - 1)  # 61 x 3 and a byte of padding
    with Settings() as settings:
        with pytest.raises(ValueError, match="^picture: its rows have more than"):
            settings.export(array)
        settings.export(array[1:])


def test_closed_settings_say_so(clouds):
    settings = Settings()
    settings.close()
    settings.close()
    for use in (lambda: settings.bits, settings.resolution, lambda: settings.export(clouds)):
        with pytest.raises(ValueError, match="^settings: they are closed"):
            use()
    with pytest.raises(ValueError, match="^settings: they are closed"), settings:
        pass


def test_errors_come_home_from_other_processes():
    error = pickle.loads(pickle.dumps(tivar.filter.ExportError("the export failed (code 303)", 303)))
    assert isinstance(error, tivar.Error)
    assert (str(error), error.result) == ("the export failed (code 303)", 303)


def test_exports_of_several_threads_are_those_of_one(clouds):
    from concurrent.futures import ThreadPoolExecutor

    def export(bits):
        with Settings() as settings:
            settings.bits = bits
            return settings.export(clouds)

    depths = [1, 4, 8, 24] * 5
    with ThreadPoolExecutor(4) as pool:
        assert list(pool.map(export, depths)) == [export(bits) for bits in depths]
