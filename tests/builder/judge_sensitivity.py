"""Judges the two forms of a sensitivity file that velkmtx wrote.

    judge_sensitivity.py MESH LOCATIONS DENSE [COMPRESSED WAVELET TOLERANCE] ...

SciPy reads the records. Rows of G are computed by Gauss quadrature of dipoles over the cells, the transform by plain
matrices from its definition, the filter from PyWavelets' tables; from velkmtx only the surface is taken. Data lie outside
of the cells, and not close by.
"""

import struct
import sys

import numpy as np
import pywt
from scipy.io import FortranFile


def numbers_of(name):
    """Blanks between them; 3*2.5 stands for three times 2.5."""
    pairs = [("1*" + word).split("*")[-2:] for word in open(name).read().split()]
    return [value for count, number in pairs for value in [float(number)] * int(count)]


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


def pyramid_matrices(cube, low):
    return [pyramid_matrix(n, low) for n in cube]


def laid_out(rows, below, cube):
    """Rows in surface order on the cube, 0 elsewhere."""
    laid = np.zeros((len(rows),) + cube)
    ny, nx, nz = below.shape
    laid[:, :ny, :nx, :nz][:, below] = rows
    return laid


def filled(laid, below):
    """Free elements: a column's topmost value in its air; beyond the mesh, one axis after the other, a straight line
    to the value on the other side, or 0 where the axis is not transformed."""
    ny, nx, nz = below.shape
    for i, j in np.ndindex(ny, nx):
        if below[i, j].any():
            top = np.argmax(below[i, j])
            laid[:, i, j, :top] = laid[:, i, j, top, None]
    for axis, count in ((3, nz), (2, nx), (1, ny)):
        beyond = laid.shape[axis] - count
        values = np.moveaxis(laid, axis, 0)
        for n in range(beyond):
            part = (n + 1) / (beyond + 1)
            values[count + n] = (1 - part) * values[count - 1] + part * values[0] if laid.shape[axis] > 4 else 0
    return laid


def importance(cube):
    """What the energy of each coefficient counts: the square root of the cells that its wavelet spans."""
    spans = [np.ones(n) if n <= 4 else n / 2.0 ** np.floor(np.log2(np.maximum(np.arange(n), 2))) for n in cube]
    return np.sqrt(np.einsum("a,b,c->abc", *spans)).ravel()


def transform(laid, low):
    """Cubes of shape (rows, y, x, z) to transformed ones, flat."""
    wy, wx, wz = pyramid_matrices(laid.shape[1:], low)
    return np.einsum("ai,bj,ck,rijk->rabc", wy, wx, wz, laid, optimize=True).reshape(len(laid), -1)


def restore(transformed, below, cube, low):
    """The way back: the transposed matrices."""
    wy, wx, wz = pyramid_matrices(cube, low)
    laid = np.einsum("ai,bj,ck,rabc->rijk", wy, wx, wz, transformed.reshape((-1,) + cube), optimize=True)
    ny, nx, nz = below.shape
    return laid[:, :ny, :nx, :nz][:, below]


class Judge:
    def __init__(self, mesh, locations):
        self.edges, self.ztop = read_mesh(mesh)
        self.field, self.positions, self.pairs = read_survey(locations)
        nx, ny, nz = (len(e) - 1 for e in self.edges)
        self.counts = (ny, nx, nz)
        self.cube = tuple(1 << (n - 1).bit_length() for n in self.counts)
        self.all_cells = rows_by_quadrature(self.edges, self.ztop, self.field, self.positions, self.pairs)

    def depth_weights(self, itop):
        """w = ((z + z0) / (zmin + z0))^(-3/2), z0 the mean height of the data or half a cell."""
        x, y, z = self.edges
        ground = z[itop]  # (ny, nx), downward
        depth = ((z[1:] + z[:-1]) / 2 - ground[..., None])[self.below]
        columns = [np.clip(np.searchsorted(e, p, "right") - 1, 0, len(e) - 2)
                   for e, p in ((y, self.positions[:, 1]), (x, self.positions[:, 0]))]
        heights = self.positions[:, 2] - (self.ztop - ground[tuple(columns)])
        z0 = max(np.maximum(heights, 0).mean(), depth.min())
        return ((depth + z0) / (depth.min() + z0)) ** -1.5

    def volume_weights(self):
        x, y, z = (np.diff(e) for e in self.edges)
        volumes = (y[:, None, None] * x[:, None] * z)[self.below]
        return np.sqrt(volumes / volumes.min())

    def geometry(self, file, low):
        header = list(file.read_ints("<i4"))
        x, y, z = self.edges
        np.testing.assert_array_equal(file.read_reals("<f8"), np.concatenate([y, x, z, [self.ztop]]))
        itop = file.read_ints("<i4").reshape(self.counts[1::-1]).T  # the y index runs fastest
        self.below = np.arange(self.counts[2]) >= itop[..., None]
        self.ncol = int(self.below.sum())
        assert header == [len(self.positions), self.ncol, *self.counts]
        filter_record = file.read_record("u1").tobytes()
        assert int.from_bytes(filter_record[:4], "little") == len(low)
        np.testing.assert_allclose(np.frombuffer(filter_record[4:], "<f8"), low, rtol=0, atol=1e-11)
        assert tuple(file.read_ints("<i4")) == self.cube
        kind, self.weights = file.read_record("<i4", f"({self.ncol},)<f8")
        expected = np.ones(self.ncol)
        if kind[0] in (1, 3):
            expected *= self.depth_weights(itop)
        if kind[0] in (2, 3):
            expected *= self.volume_weights()
        np.testing.assert_allclose(self.weights, expected, rtol=1e-7)
        self.rows = self.all_cells[:, self.below.ravel()] / self.weights

    def diagonal_and_end(self, file, stored_rows):
        # Rows are rounded to floats before they are squared; 6e-8 is half a unit in their last place.
        np.testing.assert_allclose(file.read_reals("<f8"), (stored_rows**2).sum(axis=0), rtol=1.3e-7, atol=1e-20)
        self.provenance(file)

    def provenance(self, file):
        """Two records behind the last: what the file was made of, and where its rows are."""
        count = len(self.positions)
        origin = file.read_record("u1").tobytes()
        begin, _, magic = struct.unpack("<qQ8s", file.read_record("u1").tobytes())
        assert magic == b"velkmtx1" and not file._fp.read(1)
        length = struct.unpack_from("<5i", origin)[4]
        assert struct.unpack_from("<5i", origin) == (1, 1, count, count, length)
        assert origin[20 : 20 + length].startswith(b"program velkmtx, ")
        at = 20 + length + 4 * 8
        idir = struct.unpack_from("<i", origin, at + 40)[0]
        np.testing.assert_array_equal(np.frombuffer(origin, "<f8", 3, at), self.field[:3])
        places = np.frombuffer(origin, "<f8", 3 * count, at + 44).reshape(3, count).T
        np.testing.assert_array_equal(places, self.positions)
        at += 44 + 8 * count * (5 if idir == 0 else 3)
        begins = np.frombuffer(origin, "<i8", count + 4, at)
        assert begins[0] == 0 and begins[-1] == begins[-2] == begin and np.all(np.diff(begins[:-1]) > 0)
        assert len(origin) == at + 8 * (count + 4) + 8 * (count + 3) + 8 * count
        for first, last in zip(begins[1 : count + 1], begins[2 : count + 2]):  # each row is one record
            file._fp.seek(first)
            assert struct.unpack("<i", file._fp.read(4))[0] == last - first - 8

    def dense(self, name):
        file = FortranFile(name, "r", "<u4")
        self.geometry(file, np.array([]))
        stored = []
        for row in self.rows:
            stored.append(file.read_reals("<f4").astype(float))
            np.testing.assert_allclose(stored[-1], row, rtol=0, atol=1e-6 * np.abs(row).max())
        self.diagonal_and_end(file, np.array(stored))

    def compressed(self, name, low, tolerance):
        file = FortranFile(name, "r", "<u4")
        self.geometry(file, low)
        model = np.random.default_rng(1).normal(size=(1, self.ncol))
        weighted = model * self.weights
        transformed_model = transform(laid_out(weighted, self.below, self.cube), low)[0]
        transformed_rows = transform(filled(laid_out(self.rows, self.below, self.cube), self.below), low)
        matters = importance(self.cube)
        stored = np.zeros((len(self.rows), np.prod(self.cube)))
        for n, (row, full) in enumerate(zip(self.rows, transformed_rows)):
            record = file.read_record("u1").tobytes()
            nnz = int.from_bytes(record[:4], "little")
            assert len(record) == 4 + 8 * nnz
            idx, val = np.frombuffer(record[4:], "<i4", nnz), np.frombuffer(record[4 + 4 * nnz :], "<f4")
            assert np.all(np.diff(idx) > 0) and idx[0] >= 1 and idx[-1] <= full.size
            stored[n, idx - 1] = val
            norm = np.linalg.norm(row)
            np.testing.assert_allclose(val, full[idx - 1], rtol=1e-7, atol=1e-6 * norm)
            discarded = np.delete(full, idx - 1)
            assert np.linalg.norm(discarded) <= tolerance * norm + 1e-6 * norm
            if tolerance > 1e-4:
                assert np.hypot(np.linalg.norm(discarded), np.abs(val).max()) > tolerance * norm * (1 - 1e-3)
                least = (val**2 * matters[idx - 1]).min()
                assert (discarded**2 * np.delete(matters, idx - 1)).max() <= least * (1 + 2e-3)
            error = val @ transformed_model[idx - 1] - self.all_cells[n, self.below.ravel()] @ model[0]
            assert abs(error) <= (tolerance + 2e-6) * norm * np.linalg.norm(weighted)
        self.diagonal_and_end(file, restore(stored, self.below, self.cube, low))


def filter_of(wavelet):
    """Energy first; PyWavelets counts vanishing moments, half the coefficients, and its symlets come as they are."""
    if wavelet == "haar":
        return np.array(pywt.Wavelet("haar").rec_lo)
    family = {"d": "db", "s": "sym"}[wavelet[0]]
    low = np.array(pywt.Wavelet(f"{family}{int(wavelet[1:]) // 2}").rec_lo)
    centre = low**2 @ np.arange(len(low))
    return low if centre <= (len(low) - 1) / 2 else low[::-1]


def main():
    mesh, locations, dense, *compressed = sys.argv[1:]
    judge = Judge(mesh, locations)
    judge.dense(dense)
    for name, wavelet, tolerance in zip(*[iter(compressed)] * 3):
        judge.compressed(name, filter_of(wavelet), float(tolerance))


if __name__ == "__main__":
    main()
