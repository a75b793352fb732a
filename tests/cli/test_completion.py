"""Bash completion of options and their values."""

import subprocess
from pathlib import Path

import pytest

COMPLETION = Path(__file__).parents[2] / "tools" / "tivar" / "bash-completion"
SCRIPT = """
source "$0"
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_tivar
printf '%s\\n' "${COMPREPLY[@]}"
"""


@pytest.mark.parametrize(
    "words,wanted",
    [
        ("export --bits ", ["1", "16", "24", "32", "4", "8"]),
        ("export --bits = ", ["1", "16", "24", "32", "4", "8"]),
        ("export --route d", ["direct", "driver"]),
        ("export --dither o", ["ordered"]),
        ("export --fit = c", ["contain", "cover"]),
        ("export --rotate ", ["180", "270", "90"]),
        ("export --size 9x9 --pad b", ["black", "blue"]),
        ("export --palette = e", ["epaper6", "epaper7"]),
        ("export --palette o", ["old.bmp"]),
        ("export --like = ", ["old.bmp", "pictures"]),
        ("gallery --background b", ["black", "blue"]),
        ("export --compress = p", ["portable"]),
        ("export --profile = m", ["my.ini"]),
        ("export --profile my.ini --mode ", ["Big\\ one", "Small"]),
        ("export --profile = my.ini --mode = S", ["Small"]),
        ("settings show --profile my.ini --mode B", ["Big\\ one"]),
        ("export --mode ", []),
        ("gallery a.png -o ", ["pictures"]),
        ("export a.png -o ", ["old.bmp", "pictures"]),
        ("export --base ", ["pictures"]),
        ("export --files-from ", ["my.ini", "old.bmp", "pictures"]),
        ("export --skip", ["--skip-existing"]),
        ("help dec", ["decode"]),
        ("inspect --", ["--brief", "--help", "--json"]),
        ("export --li", ["--library", "--like", "--limit-pixels"]),
        ("settings set header = ", ["os2", "windows"]),
    ],
)
def test_completions(tmp_path, words, wanted):
    (tmp_path / "pictures").mkdir()
    (tmp_path / "old.bmp").touch()
    (tmp_path / "my.ini").write_text("[TIVAR]\n~Mode=Small\n[Small]\r\nDriver=A\n[Big one]\nDriver=A\n")
    typed = ["tivar", *words.split(" ")]
    done = subprocess.run(
        ["bash", "-c", SCRIPT, COMPLETION, *typed], cwd=tmp_path, capture_output=True, text=True
    )
    assert sorted(filter(None, done.stdout.splitlines())) == wanted
    assert done.stderr == ""
