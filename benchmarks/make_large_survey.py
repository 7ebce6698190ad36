"""Makes a compressed sensitivity file of a given size with its location file and model: random rows as long as a real
survey's, to time whole runs with. Usage: make_large_survey.py FOLDER [MiB]"""
import os
import sys

import numpy as np

NY, NX, NZ = 120, 120, 60
CUBE = (128, 128, 64)
NNZ = 13400  # about 1.3 percent of the coefficients, as wavelet compression leaves


def record(out, *parts):
    payload = b"".join(np.ascontiguousarray(part).tobytes() for part in parts)
    length = np.array([len(payload)], dtype="<i4").tobytes()
    out.write(length + payload + length)


def write_matrix(name, rows):
    rng = np.random.default_rng(20260101)
    ncol, ncube = NY * NX * NZ, int(np.prod(CUBE))
    edges = [np.arange(n + 1, dtype="<f8") * 25.0 for n in (NY, NX, NZ)]
    s = np.sqrt(3.0)
    filter_ = np.array([1 + s, 3 + s, 3 - s, 1 - s]) / (4 * np.sqrt(2.0))
    with open(name, "wb") as out:
        record(out, np.array([rows, ncol, NY, NX, NZ], dtype="<i4"))
        record(out, *edges, np.array([0.0]))
        record(out, np.zeros(NY * NX, dtype="<i4"))
        record(out, np.array([4], dtype="<i4"), filter_.astype("<f8"))
        record(out, np.array(CUBE, dtype="<i4"))
        record(out, np.array([1], dtype="<i4"), np.ones(ncol))
        for _ in range(rows):
            idx = np.flatnonzero(rng.random(ncube, dtype=np.float32) < NNZ / ncube).astype("<i4") + 1
            val = rng.standard_normal(idx.size, dtype=np.float32)
            record(out, np.array([idx.size], dtype="<i4"), idx, val)
        record(out, np.ones(ncol))


def write_locations(name, rows):
    with open(name, "w") as out:
        out.write("65.0 -12.5 54321.0\n65.0 -12.5 1\n%d\n" % rows)
        for i in range(rows):
            out.write("%.3f %.3f 30.0\n" % (25.0 * (i % 120), 25.0 * (i // 120)))


def write_model(name):
    rng = np.random.default_rng(7)
    np.savetxt(name, rng.random(NY * NX * NZ) * 0.05, fmt="%.6f")


def main():
    folder, mebibytes = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 1024
    rows = (mebibytes << 20) // (8 * NNZ)
    os.makedirs(folder, exist_ok=True)
    write_matrix(os.path.join(folder, "velkosta.mtx"), rows)
    write_locations(os.path.join(folder, "locations.loc"), rows)
    write_model(os.path.join(folder, "model.sus"))


if __name__ == "__main__":
    main()
