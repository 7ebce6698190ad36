"""The examples run, and find what they look for."""

import pathlib
import subprocess
import sys

import pytest

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"


def said_by(name, *arguments):
    done = subprocess.run([sys.executable, "-B", EXAMPLES / f"{name}.py", "out", *arguments], capture_output=True, text=True)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def test_predict_on_terrain():
    said = said_by("predict_on_terrain", "500")
    assert "relative loss of rows" in said
    for picture in ("data", "model", "sections"):
        assert pathlib.Path(f"out/{picture}.png").stat().st_size > 10000


def test_inversion():
    """The sphere is found where it is, to within two cells across and four in depth."""
    *steps, truth, found = said_by("inversion").splitlines()
    assert float(steps[-1].split()[-3]) <= 169 < float(steps[-2].split()[-3])
    truth, found = ([float(word) for word in line.split()[-3:]] for line in (truth, found))
    assert all(abs(a - b) <= limit for a, b, limit in zip(truth, found, (100, 100, 100)))


def test_ensemble():
    assert "8 models" in said_by("ensemble", "8")
    assert pathlib.Path("out/ensemble.png").stat().st_size > 10000
