"""A small survey whose every array is known: random G, surface, weights; and the files that recover reads."""

import struct

import numpy as np

NY, NX, NZ, NDATA = 4, 5, 6, 25


def record(*arrays):
    payload = b"".join(np.asarray(a).tobytes(order="F") for a in arrays)
    length = struct.pack("<i", len(payload))
    return length + payload + length


class small_survey:
    """G is dense, with smooth rows, so that the model is far from determined. Each test changes what it is about."""

    def __init__(self):
        random = np.random.default_rng(3)
        self.itop = random.integers(0, 3, (NY, NX), dtype=np.int32)
        self.below = np.arange(NZ) >= self.itop[:, :, None]  # (NY, NX, NZ), model order
        y, x, z = np.stack(np.nonzero(self.below)).astype(float)
        self.ncol = len(x)
        self.x, self.y = random.uniform(0, NX, NDATA), random.uniform(0, NY, NDATA)
        distance = (self.x[:, None] - x - 0.5) ** 2 + (self.y[:, None] - y - 0.5) ** 2 + (z + 1.5) ** 2
        self.G = (100.0 * distance**-1.5).astype(np.float32)
        self.wtz = np.ones(self.ncol)
        self.gdiag = np.sum(self.G.astype(float) ** 2, axis=0)
        self.std = random.uniform(0.5, 2.0, NDATA)
        self.noise = self.std * random.standard_normal(NDATA)
        self.observe(random.uniform(0.0, 1.0, self.ncol))

    def observe(self, model):
        self.observed = self.G @ model + self.noise

    def write(self, folder):
        integers = lambda *values: np.array(values, dtype=np.int32)  # noqa: E731
        nodes = [np.arange(n + 1.0) for n in (NY, NX, NZ)]
        with open(folder / "small.mtx", "wb") as out:
            out.write(record(integers(NDATA, self.ncol, NY, NX, NZ)) + record(*nodes, np.float64(0.0)))
            out.write(record(self.itop) + record(integers(0)) + record(integers(NY, NX, NZ)))
            out.write(record(integers(1), self.wtz))
            for row in self.G:
                out.write(record(row.astype(np.float32)))
            out.write(record(self.gdiag))
        rows = [f"{x} {y} 0.5 {d!r} {s!r}" for x, y, d, s in
                zip(self.x.tolist(), self.y.tolist(), self.observed.tolist(), self.std.tolist())]
        (folder / "small.obs").write_text("\n".join(["60 0 50000", "60 0 1", str(len(rows)), *rows]) + "\n")


def write_grid(name, values):
    name.write_text("".join(f"{value}\n" for value in np.ravel(values)))


def read_grid(name):
    return np.loadtxt(name).reshape(NY, NX, NZ)
