"""A small survey over a hill, with all its files, as the current folder of every test."""

import os
import pathlib
import shutil
import signal
import subprocess

import matplotlib
import numpy as np
import pytest

import velko

matplotlib.use("Agg")
BIN = pathlib.Path(os.environ["VELKO_BIN"])
# A shell starts what runs in the background with SIGINT ignored, and Python then leaves it so.
signal.signal(signal.SIGINT, signal.default_int_handler)


def hill(x, y):
    return 10 + 25 * np.exp(-((x - 70) ** 2 + (y - 90) ** 2) / 60**2)


def make_files():
    x, y = np.random.default_rng(1).uniform(-20, 180, (2, 200)).round(1)
    velko.write_topography("survey.topography", np.column_stack((x, y, hill(x, y).round(1))))
    velko.write_mesh("survey.mesh", velko.Mesh([10] * 16, [10] * 16, [5] * 8, origin=(0, 0, 35)))
    y, x = (30.0 * n.ravel() for n in np.mgrid[0:6, 0:6])
    velko.write_locations("survey.loc", velko.Survey(x + 5, y, np.full(36, 75), incl=62, decl=4, geomag=50000))
    mesh = velko.topography(velko.read_mesh("survey.mesh"), "survey.topography")
    velko.write_model("survey.sus", velko.sample_bodies(mesh, "sphere 65 85 15 20 0.05", background=0.001), mesh)
    for form in (["survey.mtx", "--tolerance", "1e-3", "--weights", "depth"], ["dense.mtx", "--dense", "--weights", "depth"]):
        subprocess.run([BIN / "velkmtx", "make", "survey.mesh", "survey.topography", "survey.loc", *form, "--quiet"], check=True)
    for form in ("dense", "survey"):
        subprocess.run([BIN / "velkrund", f"{form}.mtx", "survey.loc", "survey.sus"], check=True, stdout=subprocess.DEVNULL)
        os.rename("velkrund.vlk", f"{form}.vlk")


@pytest.fixture(scope="session")
def made_files(tmp_path_factory):
    folder = tmp_path_factory.mktemp("survey")
    before = os.getcwd()
    os.chdir(folder)
    make_files()
    os.chdir(before)
    return folder


@pytest.fixture(autouse=True)
def folder(made_files, tmp_path, monkeypatch):
    """Files that a test may spoil."""
    shutil.copytree(made_files, tmp_path / "survey")
    monkeypatch.chdir(tmp_path / "survey")
    yield tmp_path / "survey"
    import matplotlib.pyplot

    matplotlib.pyplot.close("all")
