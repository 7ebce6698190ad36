"""What compressed files take and what the data of trial models lose with them, beside what velkmtx tells: a table.

    /usr/bin/python3 benchmarks/accuracy_table.py [--folder FOLDER] [--velkmtx PROGRAM] [--options 'OPTIONS']... SIZE...

A survey over a real terrain (examples/make_terrain_survey.py), every fourth station of every fourth line; meshes as velkmtx makes them. SIZE is
small, middle, large or huge: 32, 64, 128 or 256 cells or so along each axis. Each line is one file, made with OPTIONS,
which may be given several times; PROGRAM may be an earlier velkmtx. Errors are those of the data of models computed here, in the 2-norm over
the stations, against data of the rows of a dense file. Only the formats are shared with the programs: rows are read by SciPy,
models transformed by matrices.
"""

import argparse
import pathlib
import re
import subprocess
import sys

import numpy as np
from scipy.io import FortranFile

ROOT = pathlib.Path(__file__).resolve().parent.parent
SIZES = {  # core cells, depth of the core
    "small": ("300,300,60", "1200"),
    "middle": ("150,150,30", "800"),
    "large": ("75,75,20", "1500"),
    "huge": ("32,32,10", "1600"),
}
DEFAULT_OPTIONS = ["", "--tolerance 1e-2", "--tolerance 1e-3", "--tolerance 1e-3 --weights none",
                   "--tolerance 1e-3 --weights depth", "--tolerance 1e-3 --weights depth-volume", "--wavelet s8",
                   "--accuracy 20"]


def run(folder, *words):
    done = subprocess.run([str(w) for w in words], cwd=folder, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, words))}: {done.stderr}")
    return done.stdout


def write_stations(folder):
    lines = (folder / "survey.loc").read_text().splitlines()
    data = lines[3:]
    side = round(len(data) ** 0.5)
    few = [data[i * side + j] for i in range(0, side, 4) for j in range(0, side, 4)]
    (folder / "few.loc").write_text("\n".join(lines[:2] + [str(len(few))] + few) + "\n")
    return np.array([[float(word) for word in line.split()[:3]] for line in few])


class Matrix:
    """A sensitivity file: geometry, and data of models in the model's own units."""

    def __init__(self, name):
        self.file = FortranFile(name, "r", "<u4")
        self.rows, self.ncol, ny, nx, nz = self.file.read_ints("<i4")
        nodes = self.file.read_reals("<f8")
        self.y, self.x, down = np.split(nodes[:-1], [ny + 1, ny + nx + 2])
        self.z = nodes[-1] - down
        itop = self.file.read_ints("<i4").reshape(nx, ny).T
        self.below = np.arange(nz) >= itop[..., None]
        self.ground = self.z[np.minimum(itop, nz - 1)]
        record = self.file.read_record("u1").tobytes()
        self.low = np.frombuffer(record[4:], "<f8")
        self.cube = tuple(self.file.read_ints("<i4"))
        self.weights = self.file.read_record("<i4", f"({self.ncol},)<f8")[1]

    def data_of(self, models):
        """(models, rows); models are (ncol)."""
        weighted = np.array(models) * self.weights
        if not len(self.low):
            return np.array([weighted @ self.file.read_reals("<f4") for _ in range(self.rows)]).T
        cubes = [self.transformed(m) for m in weighted]
        data = []
        for _ in range(self.rows):
            record = self.file.read_record("u1").tobytes()
            n = int.from_bytes(record[:4], "little")
            idx, val = np.frombuffer(record[4:], "<i4", n) - 1, np.frombuffer(record[4 + 4 * n:], "<f4").astype(float)
            data.append([val @ cube[idx] for cube in cubes])
        return np.array(data).T

    def transformed(self, model):
        cube = np.zeros(self.cube)
        ny, nx, nz = self.below.shape
        cube[:ny, :nx, :nz][self.below] = model
        for axis, n in enumerate(self.cube):
            cube = np.moveaxis(np.tensordot(pyramid(n, self.low), cube, (1, axis)), 0, axis)
        return cube.ravel()


def pyramid(n, low):
    """The transform of a line as a matrix; a dimension of 4 or less is left alone."""
    high = np.array([low[len(low) - 1 - k] * (1 if (len(low) - 1 - k) % 2 else -1) for k in range(len(low))])
    whole, length = np.eye(n), n
    while n > 4 and length >= 4:
        step = np.eye(n)
        step[:length] = 0
        for h in range(length // 2):
            at = (2 * h + np.arange(len(low)) + 2 - len(low) // 2) % length
            np.add.at(step[h], at, low)
            np.add.at(step[h + length // 2], at, high)
        whole, length = step @ whole, length // 2
    return whole


def trial_models(matrix, stations):
    """Names and values (ncol): sizes are parts of the side of the survey."""
    west, south = stations[:, :2].min(axis=0)
    side = (stations[:, :2].max(axis=0) - [west, south]).min()
    y, x, z = ((e[1:] + e[:-1]) / 2 for e in (matrix.y, matrix.x, matrix.z))
    y, x, z = y[:, None, None] - south - side / 2, x[:, None] - west - side / 2, z + 0 * y[:, None, None] + 0 * x[:, None]
    depth = matrix.ground[..., None] - z
    inside = (np.abs(x[:, 0]) < side / 2) & (np.abs(y[:, :, 0]) < side / 2)
    hills = z > np.median(matrix.ground[inside])
    models = {"uniform": np.ones_like(z), "hills": 1.0 * hills}
    for part in (16, 8, 4):
        d = side / part
        models[f"block 1/{part}"] = 1.0 * ((np.abs(x) < d / 2) & (np.abs(y) < d / 2) & (depth > d) & (depth < 2 * d))
    models["dyke"] = 1.0 * ((np.abs(x - depth / 2) < side / 24) & (np.abs(y) < side / 3) & (depth < side / 3))
    random, smooth = np.random.default_rng(5), 0
    for _ in range(24):
        k = random.normal(size=3)
        k *= 2 * np.pi / (side * random.uniform(0.1, 1)) / np.linalg.norm(k)
        smooth = smooth + np.cos(k[0] * x + k[1] * y + k[2] * z + random.uniform(0, 6.28))
    models["smooth"] = smooth
    return list(models), [0.01 * m[matrix.below] for m in models.values()]


def measure(folder, program, size, stations, options, exact):
    told = run(folder, program, "make", f"{size}.mesh", "survey.topography", "few.loc", "g.mtx", *options.split())
    matrix = Matrix(folder / "g.mtx")
    names, models = trial_models(matrix, stations)
    data = matrix.data_of(models)
    errors = np.linalg.norm(data - exact, axis=1) / np.linalg.norm(exact, axis=1)
    kilobytes = 4 * matrix.ncol / 1e3 / float(re.search(r"compression ratio ([0-9.]+)", told)[1])
    words = re.search(r"(?:trial models, judged by \d+ rows?: |half of the mesh )(.*)", told)[1]
    largest = max(float(w) for w in re.findall(r"([0-9.e+-]+) %", words)) / 100 if "%" in words else float(words)
    tolerance = re.search(r"tolerance ([0-9.e-]+)", told)[1]
    cells = f"{matrix.below.shape[1]} x {matrix.below.shape[0]} x {matrix.below.shape[2]}"
    (folder / "g.mtx").unlink()
    print(f"| {cells} | {options.replace('--', '') or 'default'} | {tolerance.rstrip(',')} | {kilobytes:.0f} | {largest:.1e} | "
          + " | ".join(f"{e:.1e}" for e in errors) + " |", flush=True)


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--folder", default=ROOT / "build" / "accuracy_table", type=pathlib.Path)
    arguments.add_argument("--velkmtx", default=ROOT / "build" / "release" / "bin" / "velkmtx", type=pathlib.Path)
    arguments.add_argument("--options", action="append")
    arguments.add_argument("sizes", nargs="+", choices=SIZES)
    given = arguments.parse_args()
    given.folder.mkdir(parents=True, exist_ok=True)
    run(given.folder, sys.executable, ROOT / "examples" / "make_terrain_survey.py", given.folder)
    stations = write_stations(given.folder)
    print("| mesh | options | tolerance | kB a row | worst, as told | "
          "uniform | hills | block 1/16 | 1/8 | 1/4 | dyke | smooth |\n|" + "---|" * 12)
    for size in given.sizes:
        cell, depth = SIZES[size]
        run(given.folder, given.velkmtx, "mesh", f"{size}.mesh", "--cell", cell, "--depth", depth,
            "--locations", "survey.loc", "--topography", "survey.topography")
        run(given.folder, given.velkmtx, "make", f"{size}.mesh", "survey.topography", "few.loc", "dense.mtx", "--dense")
        dense = Matrix(given.folder / "dense.mtx")
        exact = dense.data_of(trial_models(dense, stations)[1])
        (given.folder / "dense.mtx").unlink()
        for options in given.options or DEFAULT_OPTIONS:
            measure(given.folder, given.velkmtx.resolve(), size, stations, options, exact)


if __name__ == "__main__":
    main()
