"""Judges the two forms of a sensitivity file that velkmtx wrote.

    judge_sensitivity.py MESH LOCATIONS DENSE COMPRESSED FILTER_LENGTH TOLERANCE

SciPy reads the records. Rows of G are computed by Gauss quadrature of dipoles over the cells, the transform by plain
matrices from its definition, the filter from PyWavelets' tables; nothing is taken from velkmtx.
"""

import sys

import numpy as np
import pywt
from scipy.io import FortranFile


def numbers_of(name):
    return [float(word) for word in open(name).read().split()]


def read_mesh(name):
    values = numbers_of(name)
    nx, ny, nz = (int(v) for v in values[:3])
    x0, y0, ztop = values[3:6]
    widths = np.split(np.array(values[6:]), [nx, nx + ny])
    edges = [np.concatenate([[start], start + np.cumsum(w)]) for start, w in zip((x0, y0, 0.0), widths)]
    return edges, ztop


def read_survey(name):
    lines = [[float(word) for word in line.split()] for line in open(name)]
    field, measured, data = lines[0], lines[1], np.array(lines[3:])
    assert len(data) == lines[2][0]
    own = measured[2] == 0
    pairs = data[:, 3:5] if own else np.tile(measured[:2], (len(data), 1))
    return field, data[:, :3], pairs


def unit(incl, decl):
    i, d = np.radians(incl), np.radians(decl)
    return np.array([np.cos(i) * np.sin(d), np.cos(i) * np.cos(d), -np.sin(i)])


def quadrature(edges):
    """Points and weights of every interval: (intervals, points)."""
    t, w = np.polynomial.legendre.leggauss(12)
    half, middle = np.diff(edges) / 2, (edges[1:] + edges[:-1]) / 2
    return middle[:, None] + half[:, None] * t, half[:, None] * w


def rows_by_quadrature(edges, ztop, field, positions, pairs):
    (x, wx), (y, wy), (z, wz) = (quadrature(e) for e in (edges[0], edges[1], ztop - edges[2]))
    wz = -wz  # elevations fall along the axis
    b = unit(*field[:2])
    rows = []
    for position, pair in zip(positions, pairs):
        a = unit(*pair)
        row = np.empty((len(y), len(x), len(z)))  # model order: z fastest
        for i in range(len(y)):
            for j in range(len(x)):
                dx = (position[0] - x[j])[:, None, None, None]
                dy = (position[1] - y[i])[None, :, None, None]
                dz = (position[2] - z)[None, None, :, :]
                r2 = dx**2 + dy**2 + dz**2
                along_b, along_a = (v[0] * dx + v[1] * dy + v[2] * dz for v in (b, a))
                dipole = (3 * along_a * along_b / r2 - a @ b) / (4 * np.pi * r2**1.5)
                row[i, j] = np.einsum("a,b,kc,abkc->k", wx[j], wy[i], wz, dipole)
        rows.append(field[2] * row.ravel())
    return np.array(rows)


def step_matrix(n, low):
    length, offset = len(low), -(len(low) // 2)
    high = np.array([low[length - 1 - k] * (1 if (length - 1 - k) % 2 else -1) for k in range(length)])
    matrix = np.zeros((n, n))
    for h in range(n // 2):
        for k in range(1, length + 1):
            at = (2 * h + k + 1 + offset) % n
            matrix[h, at] += low[k - 1]
            matrix[h + n // 2, at] += high[k - 1]
    return matrix


def pyramid_matrix(n, low):
    whole = np.eye(n)
    if n > 4:
        length = n
        while length >= 4:
            step = np.eye(n)
            step[:length, :length] = step_matrix(length, low)
            whole = step @ whole
            length //= 2
    return whole


def transform(rows, counts, cube, low):
    """Rows in model order to the transformed cube, y slowest."""
    laid = np.zeros((len(rows),) + cube)
    laid[:, : counts[0], : counts[1], : counts[2]] = rows.reshape((-1,) + counts)
    wy, wx, wz = (pyramid_matrix(n, low) for n in cube)
    return np.einsum("ai,bj,ck,rijk->rabc", wy, wx, wz, laid, optimize=True).reshape(len(rows), -1)


class Judge:
    def __init__(self, mesh, locations):
        self.edges, self.ztop = read_mesh(mesh)
        self.field, self.positions, self.pairs = read_survey(locations)
        nx, ny, nz = (len(e) - 1 for e in self.edges)
        self.counts = (ny, nx, nz)
        self.ncol = nx * ny * nz
        self.cube = tuple(1 << (n - 1).bit_length() for n in self.counts)
        self.rows = rows_by_quadrature(self.edges, self.ztop, self.field, self.positions, self.pairs)

    def geometry(self, file, low):
        assert list(file.read_ints("<i4")) == [len(self.rows), self.ncol, *self.counts]
        x, y, z = self.edges
        np.testing.assert_array_equal(file.read_reals("<f8"), np.concatenate([y, x, z, [self.ztop]]))
        np.testing.assert_array_equal(file.read_ints("<i4"), np.zeros(self.counts[0] * self.counts[1]))
        filter_record = file.read_record("u1").tobytes()
        assert int.from_bytes(filter_record[:4], "little") == len(low)
        np.testing.assert_allclose(np.frombuffer(filter_record[4:], "<f8"), low, rtol=0, atol=1e-12)
        assert tuple(file.read_ints("<i4")) == self.cube
        _, weights = file.read_record("<i4", f"({self.ncol},)<f8")
        np.testing.assert_array_equal(weights, np.ones(self.ncol))

    def diagonal_and_end(self, file):
        np.testing.assert_allclose(file.read_reals("<f8"), (self.rows**2).sum(axis=0), rtol=1e-6)
        assert not file._fp.read(1)

    def dense(self, name):
        file = FortranFile(name, "r", "<u4")
        self.geometry(file, np.array([]))
        for row in self.rows:
            np.testing.assert_allclose(file.read_reals("<f4"), row, rtol=0, atol=1e-6 * np.abs(row).max())
        self.diagonal_and_end(file)

    def compressed(self, name, low, tolerance):
        file = FortranFile(name, "r", "<u4")
        self.geometry(file, low)
        model = np.random.default_rng(1).normal(size=(1, self.ncol))
        transformed_model = transform(model, self.counts, self.cube, low)[0]
        for row, full in zip(self.rows, transform(self.rows, self.counts, self.cube, low)):
            record = file.read_record("u1").tobytes()
            nnz = int.from_bytes(record[:4], "little")
            assert len(record) == 4 + 8 * nnz
            idx, val = np.frombuffer(record[4:], "<i4", nnz), np.frombuffer(record[4 + 4 * nnz :], "<f4")
            assert np.all(np.diff(idx) > 0) and idx[0] >= 1 and idx[-1] <= full.size
            norm = np.linalg.norm(row)
            np.testing.assert_allclose(val, full[idx - 1], rtol=1e-7, atol=1e-6 * norm)
            discarded = np.delete(full, idx - 1)
            assert np.linalg.norm(discarded) <= tolerance * norm + 1e-6 * norm
            if tolerance > 1e-4:
                assert np.hypot(np.linalg.norm(discarded), np.abs(val).min()) > tolerance * norm * (1 - 1e-3)
                assert np.abs(discarded).max() <= np.abs(val).min() * (1 + 1e-3)
            error = val @ transformed_model[idx - 1] - row @ model[0]
            assert abs(error) <= (tolerance + 2e-6) * norm * np.linalg.norm(model)
        self.diagonal_and_end(file)


def main():
    mesh, locations, dense, compressed, length, tolerance = sys.argv[1:]
    judge = Judge(mesh, locations)
    judge.dense(dense)
    low = np.array(pywt.Wavelet(f"db{int(length) // 2}").rec_lo)
    judge.compressed(compressed, low, float(tolerance))


if __name__ == "__main__":
    main()
