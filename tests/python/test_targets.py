"""Where save() puts a file."""

import errno
import io
import os
import pickle
import stat
from pathlib import Path

import pytest
import tivar

OLD = b"old"


@pytest.fixture
def data(array):
    return tivar.save(array)


# --- Named files ----------------------------------------------------------------------------------


@pytest.mark.parametrize("kind", [str, Path])
@pytest.mark.parametrize("name", ["out.bmp", "grün und blau.bmp", "stdout", "-"])
def test_a_path_is_a_file(array, data, tmp_path, monkeypatch, kind, name):
    monkeypatch.chdir(tmp_path)
    report = tivar.save(array, kind(name))
    assert Path(name).read_bytes() == data
    assert report == tivar.Report(bits=24, colors=0, exact=True, bytes=len(data))
    assert os.listdir(tmp_path) == [name]


def test_a_name_that_is_no_text_is_a_file_too(array, data, tmp_path):
    name = os.fsdecode(os.fsencode(tmp_path) + b"/\xff.bmp")
    tivar.save(array, name)
    assert Path(name).read_bytes() == data


def test_an_old_file_is_replaced_and_lends_its_mode(array, data, tmp_path):
    old = tmp_path / "out.bmp"
    old.write_bytes(OLD)
    old.chmod(0o640)
    tivar.save(array, old, sync=True)
    assert old.read_bytes() == data
    assert stat.S_IMODE(old.stat().st_mode) == 0o640


def failure(*arguments, **options):
    with pytest.raises(tivar.FileError) as caught:
        tivar.save(*arguments, **options)
    assert isinstance(caught.value, OSError)
    assert caught.value.result == 10 and caught.value.text.startswith("the file could not be")
    return caught.value


def test_a_missing_directory_is_a_file_not_found(array, tmp_path):
    error = failure(array, tmp_path / "none" / "out.bmp")
    assert isinstance(error, FileNotFoundError)
    assert error.errno == errno.ENOENT
    assert error.filename == str(tmp_path / "none" / "out.bmp")
    assert str(error) == f"[Errno 2] No such file or directory: '{error.filename}'"


def test_an_old_file_may_be_kept(array, tmp_path):
    old = tmp_path / "out.bmp"
    old.write_bytes(OLD)
    assert isinstance(failure(array, old, overwrite=False), FileExistsError)
    assert old.read_bytes() == OLD
    tivar.save(array, tmp_path / "new.bmp", overwrite=False)


def test_a_directory_is_no_file(array, tmp_path):
    assert isinstance(failure(array, tmp_path), IsADirectoryError)


def test_a_full_disk_is_an_os_error(array):
    error = failure(array, "/dev/full")
    assert error.errno == errno.ENOSPC
    assert type(error) is tivar.FileError


@pytest.mark.parametrize("target", ["none/out.bmp", "/dev/full"])
def test_errors_come_home_from_other_processes(array, target):
    error = failure(array, target)
    again = pickle.loads(pickle.dumps(error))
    assert type(again) is type(error)
    assert str(again) == str(error)
    assert (again.result, again.text, again.filename) == (error.result, error.text, error.filename)


@pytest.mark.parametrize("name", ["", "a\0b"])
def test_names_that_are_none(array, name):
    with pytest.raises(ValueError, match="^target: the path"):
        tivar.save(array, name)


# --- File objects ---------------------------------------------------------------------------------


def test_a_file_object_gets_the_same_bytes(array, data, tmp_path):
    memory = io.BytesIO()
    assert tivar.save(array, memory).bytes == len(data)
    assert memory.getvalue() == data
    with open(tmp_path / "out.bmp", "wb") as file:
        tivar.save(array, file)
    assert (tmp_path / "out.bmp").read_bytes() == data
    with open(tmp_path / "raw.bmp", "wb", buffering=0) as file:
        tivar.save(array, file)
    assert (tmp_path / "raw.bmp").read_bytes() == data


def test_a_pipe_gets_the_same_bytes(array, data):
    reader, writer = os.pipe()
    with os.fdopen(reader, "rb") as end:
        with os.fdopen(writer, "wb") as file:
            tivar.save(array[:5], file)
        assert end.read() == tivar.save(array[:5])


class Sparing:
    """Takes a few bytes at a time, as a raw file may, or says nothing, as simple objects do."""

    def __init__(self, most):
        self.most = most
        self.taken = b""

    def write(self, data):
        part = bytes(data[: self.most])
        self.taken += part
        return len(part) if self.most else None


def test_an_object_may_take_less_than_it_is_given(array, data):
    target = Sparing(7)
    tivar.save(array, target)
    assert target.taken == data


def test_an_object_that_answers_nothing_took_it_all(array):
    class Silent:
        length = 0

        def write(self, data):
            self.length += len(data)

    target = Silent()
    assert tivar.save(array, target).bytes == target.length


def test_blocks_stay_what_they_are_when_an_object_keeps_them(array, data):
    blocks = []

    class Keeping:
        write = staticmethod(lambda block: blocks.append(block))

    tivar.save(array, Keeping())
    assert b"".join(blocks) == data


class Broken(Exception):
    pass


@pytest.mark.parametrize("after", [0, 1, 3])
def test_what_an_object_raises_comes_out(array, after):
    class Failing:
        calls = 0

        def write(self, data):
            self.calls += 1
            if self.calls > after:
                raise Broken("no more")
            return min(len(data), 100)

    with pytest.raises(Broken, match="no more") as caught:
        tivar.save(array, Failing())
    assert caught.value.__cause__ is None and caught.value.__context__ is None


def test_a_full_disk_comes_out_of_a_file_object(array):
    with pytest.raises(OSError) as caught, open("/dev/full", "wb", buffering=0) as file:
        tivar.save(array, file)
    assert caught.value.errno == errno.ENOSPC


@pytest.mark.parametrize("answer", [0, -1, 10**9])
def test_an_object_that_takes_nothing_or_too_much_has_failed(array, answer):
    class Odd:
        write = staticmethod(lambda data: answer)

    with pytest.raises(OSError, match=f"^target: write\\(\\) took {answer} of"):
        tivar.save(array, Odd())


def test_a_raw_file_that_would_block_has_failed(array):
    class Blocking(io.RawIOBase):
        def write(self, data):
            return None

    with pytest.raises(BlockingIOError, match="^target: the file would block"):
        tivar.save(array, Blocking())


@pytest.mark.parametrize(
    "target,error,text",
    [
        (3, TypeError, "target: must be a path, a binary file object or None, not int"),
        (b"out.bmp", TypeError, "target: must be a path, a binary file object or None, not bytes"),
        (io.StringIO(), TypeError, "target: it is a text file; open it with mode 'wb'"),
    ],
)
def test_what_is_no_target_is_named(array, target, error, text):
    with pytest.raises(error) as caught:
        tivar.save(array, target)
    assert str(caught.value) == text


@pytest.mark.parametrize("options", [{"sync": True}, {"overwrite": False}])
def test_only_named_files_are_synchronised_or_kept(array, options):
    for target in (None, io.BytesIO()):
        with pytest.raises(ValueError, match=f"^{next(iter(options))}: the target must be a path"):
            tivar.save(array, target, **options)
