"""The exceptions of the library's results."""

import pickle
import subprocess
import sys

import pytest
import tivar
from tivar import _library
from tivar.errors import error_of

BUILTIN = {
    "CANCELLED": (tivar.Cancelled, Exception),
    "NO_MEMORY": (tivar.NoMemory, MemoryError),
    "BAD_CALL": (tivar.Error, Exception),
    "BAD_PICTURE": (tivar.BadPicture, ValueError),
    "BAD_OPTION": (tivar.BadOption, ValueError),
    "CONTRADICTION": (tivar.Contradiction, ValueError),
    "TOO_LARGE": (tivar.TooLarge, ValueError),
    "ROW_FAILED": (tivar.Error, Exception),
    "SINK_FAILED": (tivar.Error, Exception),
    "FILE_FAILED": (tivar.FileError, OSError),
}


def test_every_failure_has_its_exception():
    assert {"OK", *BUILTIN} == set(_library.RESULTS)


@pytest.mark.parametrize("name", BUILTIN)
def test_an_error_is_the_library_s_and_a_built_in_one_and_can_be_sent(name):
    own, builtin = BUILTIN[name]
    error = error_of(_library.RESULTS[name], "options.bits: why", "options.bits")
    for each in (error, pickle.loads(pickle.dumps(error))):
        assert isinstance(each, tivar.Error) and isinstance(each, own) and isinstance(each, builtin)
        assert (each.result, each.text) == (_library.RESULTS[name], "options.bits: why")
        assert each.field == "options.bits"


# The picture of 1.2 GB would have to be kept: all of its colours count before the first row is written.
WITHOUT_MEMORY = """
import resource, tivar
resource.setrlimit(resource.RLIMIT_AS, (2**29, 2**29))
try:
    tivar.save(iter([]), size=(20000, 20000), bits=8)
except MemoryError as error:
    print(type(error).__name__, error)
"""


def test_a_picture_that_memory_does_not_hold_is_a_memory_error():
    done = subprocess.run([sys.executable, "-c", WITHOUT_MEMORY], capture_output=True, text=True)
    assert (done.stdout, done.stderr) == ("NoMemory there is not enough memory\n", "")
