"""What compressed files take and what the data of trial models lose with them, beside what velkmtx tells: a table.

    /usr/bin/python3 benchmarks/accuracy_table.py [--folder FOLDER] [--velkmtx PROGRAM] [--options 'OPTIONS']... CASE...

CASE is terrain32 to terrain512 or flat32 to flat512: so many cells or so along each axis, over the mountains of
examples/make_terrain_survey.py with a mesh as velkmtx makes it for them, or a cube of even cells below flat ground. The
stations are a part of that survey, fewer the larger the mesh (STATIONS). Each case has two lines for each of OPTIONS,
which may be given several times: what velkmtx told of the data of its trial models, and what became of them. For
that the models are computed here anew, by their definition in docs/accuracy.md, with a single block
at each depth beside them; errors are in the 2-norm over the stations, against data of the rows of a dense file. Only formats
are shared with the programs: rows are taken from the files as NumPy maps them, models transformed by matrices.
PROGRAM may be an earlier velkmtx.

One thread; times are processor times, and rows a second those of a run that is told the tolerance. A case
of 256 takes a minute, one of 512 ten, 8 GB of memory, and 5 GB of disk.
"""

import argparse
import pathlib
import re
import subprocess
import sys

import numpy as np

ROOT = pathlib.Path(__file__).resolve().parent.parent
STATIONS = {32: 400, 64: 400, 128: 100, 256: 25, 512: 9}
TERRAIN = {  # core cells, depth of the core
    32: ("300,300,60", "1200"),
    64: ("150,150,30", "800"),
    128: ("75,75,20", "1500"),
    256: ("32,32,10", "1600"),
    512: ("13.5,13.5,5", "1700"),
}
FLAT_SIDE, FLAT_DEPTH = 8000.0, 4000.0  # of the cube of even cells
NAMES = ["uniform ground", "hills", "shallow blocks", "blocks", "deep blocks", "a dyke", "smooth ground"]
SINGLE = ["one block 1/16", "1/8", "1/4"]
LARGEST_OF_SINGLE = 64  # cells: stations of the others are too far apart for one block


class Run:
    """A command, with its processor time in seconds and its peak of memory in bytes."""

    def __init__(self, folder, *words):
        # A process of its own between this one, which is large, and the one whose memory is asked for.
        timed = ["/usr/bin/time", "-f", "%M %U %S", "-o", "peak", *map(str, words)]
        done = subprocess.run(timed, cwd=folder, capture_output=True, text=True)
        self.told = done.stdout
        if done.returncode != 0:
            sys.exit(f"{' '.join(map(str, words))}: {done.stderr}")
        kilobytes, user, system = map(float, (folder / "peak").read_text().split())
        self.peak, self.seconds = kilobytes * 1024, user + system


class Records:
    """Payloads of the records of a sequential file one after the other, mapped; a record may come in segments."""

    def __init__(self, name):
        self.bytes, self.at = np.memmap(name, "u1", "r"), 0

    def next(self):
        pieces, more = [], True
        while more:
            length = int(self.bytes[self.at : self.at + 4].view("<i4")[0])
            more, size = length < 0, abs(length)
            pieces.append(self.bytes[self.at + 4 : self.at + 4 + size])
            self.at += size + 8
        return pieces[0] if len(pieces) == 1 else np.concatenate(pieces)


class Matrix:
    """A sensitivity file: geometry, and data of models in the model's own units."""

    def __init__(self, name):
        records = Records(name)
        self.rows, self.ncol, ny, nx, nz = (int(n) for n in records.next().view("<i4"))
        nodes = records.next().copy().view("<f8")
        self.y, self.x, self.z = np.split(nodes[:-1], [ny + 1, ny + nx + 2])  # z counts downward
        self.top = nodes[-1]
        self.itop = records.next().copy().view("<i4").reshape(nx, ny).T
        self.below = np.arange(nz) >= self.itop[..., None]
        self.low = records.next()[4:].copy().view("<f8")
        self.cube = tuple(int(n) for n in records.next().view("<i4"))
        self.weights = records.next()[4:].copy().view("<f8")
        self.payloads = [records.next() for _ in range(self.rows)]

    def data_of(self, model):
        """(rows); the model is an array over the mesh."""
        if not len(self.low):
            weighted = (model[self.below] * self.weights).astype("f4")
            return np.array([self.dot(row, weighted) for row in self.payloads])
        cube = self.transformed(model)
        data = []
        for payload in self.payloads:
            words = payload.view("<i4")
            n = int(words[0])
            data.append(words[1 + n :].view("<f4").astype("f8") @ cube[words[1 : 1 + n] - 1])
        return np.array(data)

    @staticmethod
    def dot(row, weighted, piece=1 << 16):
        """Of floats, in pieces that are short enough for them."""
        row = row.view("<f4")
        return sum(float(row[a : a + piece] @ weighted[a : a + piece]) for a in range(0, len(row), piece))

    def transformed(self, model):
        cube = np.zeros(self.cube, "f4")
        ny, nx, nz = self.below.shape
        part = cube[:ny, :nx, :nz]
        part[self.below] = model[self.below] * self.weights
        for axis, n in enumerate(self.cube):
            lines = pyramid(n, self.low).astype("f4")
            if axis == 0:
                cube = (lines @ cube.reshape(n, -1)).reshape(self.cube)
            else:
                for plane in range(self.cube[0]):
                    cube[plane] = lines @ cube[plane] if axis == 1 else cube[plane] @ lines.T
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


class Models:
    """The trial models over a mesh, one at a time."""

    def __init__(self, matrix, stations):
        low, high = stations[:, :2].min(axis=0), stations[:, :2].max(axis=0)
        mesh_side = min(np.ptp(matrix.x), np.ptp(matrix.y))
        self.side = min(np.max(high - low), mesh_side)
        y, x, z = (((e[1:] + e[:-1]) / 2).astype("f4") for e in (matrix.y, matrix.x, matrix.z))
        inside = ((y >= low[1]) & (y <= high[1]))[:, None] & ((x >= low[0]) & (x <= high[0]))
        self.y, self.x, self.z = y[:, None] - (low[1] + high[1]) / 2, x - (low[0] + high[0]) / 2, z
        self.surface = matrix.z[np.minimum(matrix.itop, len(z))]  # below the top of the mesh
        ground = np.sort(matrix.top - self.surface[inside])
        self.median = ground[len(ground) // 2]
        self.matrix = matrix

    def where(self, columns, value, holds):
        """The value in those columns (a 2d array) where the condition holds of the depth below the surface."""
        model = np.zeros(self.matrix.below.shape, "f4")
        for i, j in zip(*np.nonzero(columns)):
            model[i, j] = value[i, j] * holds(self.z - self.surface[i, j], i, j)
        return model

    def blocks(self, part, single):
        side = self.side / part
        near_x, near_y = np.floor(self.x / (4 * side) + 0.5), np.floor(self.y / (4 * side) + 0.5)
        columns = (np.abs(self.x - 4 * side * near_x) < side / 2) & (np.abs(self.y - 4 * side * near_y) < side / 2)
        if single:
            columns &= (near_x == 0) & (near_y == 0)
        sign = np.where((near_x + near_y) % 2 == 0, 0.05, -0.05)
        return self.where(columns, sign, lambda depth, i, j: (side < depth) & (depth < 2 * side))

    def dyke(self):
        columns = (np.abs(self.y) <= self.side / 3) & (np.abs(self.x) <= self.side / 3)
        return self.where(columns, 0 * self.surface + 0.03,
                          lambda depth, i, j: (depth < self.side / 3) & (np.abs(self.x[j] - depth / 2) < self.side / 24))

    def smooth(self):
        drawn = np.random.RandomState(1).randint(0, 1 << 32, 16**3, "u4")
        lattice = (drawn.reshape(16, 16, 16) / 2.0**31 - 1).astype("f4")

        def place(length):
            steps = length.ravel() * 8 / self.side
            floor = np.floor(steps)
            t = steps - floor
            return floor.astype(int) % 16, (floor.astype(int) + 1) % 16, (t * t * (3 - 2 * t)).astype("f4")

        def along(axis, values, length):
            before, behind, part = place(length)
            shape = [1, 1, 1]
            shape[axis] = -1
            a, b = np.take(values, before, axis), np.take(values, behind, axis)
            return a + (b - a) * part.reshape(shape)

        model = np.float32(0.01) * along(0, along(1, along(2, lattice, self.z), self.y), self.x)  # x, y, z
        return model.transpose(1, 0, 2)

    def model(self, name):
        match name:
            case "uniform ground":
                return np.full(self.matrix.below.shape, 0.01, "f4")
            case "hills":
                height = self.matrix.top - self.surface - self.median
                return self.where(height > 0, 0 * height + 0.01, lambda depth, i, j: depth < height[i, j])
            case "a dyke":
                return self.dyke()
            case "smooth ground":
                return self.smooth()
        part = {"shallow blocks": 16, "blocks": 8, "deep blocks": 4}.get(name) or int(name.split("/")[-1])
        return self.blocks(part, name not in NAMES)


def errors(data, exact):
    """Of the data of each model; None for one that has none."""
    return [np.linalg.norm(d - e) / np.linalg.norm(e) if np.any(e) else None for d, e in zip(data, exact)]


def text(error):
    return "-" if error is None else f"{100 * error:.2g}"


def told_errors(words):
    line = re.search(r"errors of the data of trial models, judged by \d+ rows?: (.*)", words)[1]
    found = {name: float(percent) / 100 for name, percent in re.findall(r"([a-z ]+?) ([0-9.e+-]+) %", line.replace(", ", ","))}
    return [found.get(name) for name in NAMES]


def spread_stations(folder, count):
    """A square of so many of the survey's stations, as wide as it; their positions."""
    lines = (folder / "survey.loc").read_text().splitlines()
    data = lines[3:]
    side, few = round(len(data) ** 0.5), round(count**0.5)
    places = np.linspace(0, side - 1, few).round().astype(int)
    chosen = [data[i * side + j] for i in places for j in places]
    (folder / "few.loc").write_text("\n".join(lines[:2] + [str(len(chosen))] + chosen) + "\n")
    return np.array([[float(word) for word in line.split()[:3]] for line in chosen])


def write_flat(folder, cells, count):
    """The stations 120 m above flat ground."""
    width = FLAT_SIDE / cells
    (folder / "mesh").write_text(f"{cells} {cells} {cells}\n-1000 -1000 0\n{cells}*{width}\n{cells}*{width}\n"
                                 f"{cells}*{FLAT_DEPTH / cells}\n")
    stations = spread_stations(folder, count)
    head = (folder / "few.loc").read_text().splitlines()[:3]
    (folder / "few.loc").write_text("\n".join(head + [f"{x} {y} 120" for x, y, _ in stations]) + "\n")
    return stations, "null"


def write_terrain(folder, program, cells, count):
    size, depth = TERRAIN[cells]
    Run(folder, program, "mesh", "mesh", "--cell", size, "--depth", depth, "--locations", "survey.loc",
        "--topography", "survey.topography")
    return spread_stations(folder, count), "survey.topography"


def tolerance_of(run):
    return re.search(r"tolerance ([0-9.e-]+)", run.told)[1].rstrip(",")


def measure(folder, program, case, options):
    kind, cells = re.fullmatch(r"(flat|terrain)(\d+)", case).groups()
    cells, count = int(cells), STATIONS[int(cells)]
    stations, surface = write_flat(folder, cells, count) if kind == "flat" else write_terrain(folder, program, cells, count)
    make = lambda name, *more: Run(folder, program, "make", "mesh", surface, "few.loc", name, "--threads", "1", *more)
    make("dense.mtx", "--dense")
    runs = [(o, make(f"{n}.mtx", *o.split())) for n, o in enumerate(options)]
    again = [make("again.mtx", *(o or f"--tolerance {tolerance_of(run)}").split()) for o, run in runs]
    dense = Matrix(folder / "dense.mtx")
    models = Models(dense, stations)
    matrices = [Matrix(folder / f"{n}.mtx") for n in range(len(runs))]
    exact, data = [], [[] for _ in runs]
    for name in NAMES + (SINGLE if cells <= LARGEST_OF_SINGLE else []):
        model = models.model(name)
        exact.append(dense.data_of(model))
        for n, matrix in enumerate(matrices):
            data[n].append(matrix.data_of(model))
    shape = dense.below.shape
    mesh = f"{kind}, {shape[1]} x {shape[0]} x {shape[2]}"
    for n, (o, run) in enumerate(runs):
        kilobytes = sum(len(p) for p in matrices[n].payloads) / 1e3 / dense.rows
        tolerance, rate = tolerance_of(run), dense.rows / again[n].seconds
        true, told = errors(data[n], exact), told_errors(run.told)
        true += [None] * (len(NAMES + SINGLE) - len(true))
        print(f"| {mesh} | {o.replace('--', '') or 'none'} | {tolerance} | {dense.rows} | {kilobytes:.0f} | {4 * dense.ncol / 1e3:.0f} "
              f"| {rate:.2g} | {run.seconds:.0f} | {run.peak / 1e6:.0f} | true | " + " | ".join(text(e) for e in true) + " |")
        print("| | | | | | | | | | told | " + " | ".join(text(e) for e in told) + " | | | |", flush=True)
    del dense, matrices, models
    for name in ["dense.mtx", "again.mtx"] + [f"{n}.mtx" for n in range(len(runs))]:
        (folder / name).unlink()


def main():
    cases = [f"{kind}{cells}" for kind in ("terrain", "flat") for cells in TERRAIN]
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--folder", default=ROOT / "build" / "accuracy_table", type=pathlib.Path)
    arguments.add_argument("--velkmtx", default=ROOT / "build" / "release" / "bin" / "velkmtx", type=pathlib.Path)
    arguments.add_argument("--options", action="append")
    arguments.add_argument("cases", nargs="+", choices=cases, metavar="CASE")
    given = arguments.parse_args()
    given.folder.mkdir(parents=True, exist_ok=True)
    Run(given.folder, sys.executable, ROOT / "examples" / "make_terrain_survey.py", given.folder.resolve())
    print("| mesh | options | tolerance | rows | kB a row | dense | rows a second and core | s with the search | peak, MB | error, % | "
          + " | ".join(NAMES + SINGLE) + " |\n|" + "---|" * (10 + len(NAMES) + len(SINGLE)))
    for case in given.cases:
        measure(given.folder, given.velkmtx.resolve(), case, given.options or [""])


if __name__ == "__main__":
    main()
