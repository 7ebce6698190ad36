"""Judges the surface, and the surface index, of scattered points over a mesh.

    judge_surface.py FOLDER

For each NAME.topography in the folder: NAME.mesh holds ztop and then the edges along y, x and z, a line each; NAME.gz
the elevations at the samples and NAME.itop the index, y fastest. SciPy's LinearNDInterpolator gives the surface inside
the hull of the points; beyond it, it is as high as the nearest of all points of all edges of the hull. Nothing is taken
from the library.
"""

import pathlib
import sys

import numpy as np
from scipy.interpolate import LinearNDInterpolator
from scipy.spatial import ConvexHull


def numbers_of(line):
    return np.array([float(word) for word in line.split()])


def read_points(path):
    lines = [line for line in path.read_text().splitlines() if not line.startswith("!")]
    return np.array([numbers_of(line)[:3] for line in lines[1:1 + int(lines[0].split()[0])]])


def with_corners(points, x, y):
    """A corner of the mesh that the points do not reach, and are not as near to as a quarter of the first cell."""
    low, high = points[:, :2].min(axis=0), points[:, :2].max(axis=0)
    near = 0.25 * min(x[1] - x[0], y[1] - y[0])
    added = []
    for corner in np.array([[x[0], y[0]], [x[0], y[-1]], [x[-1], y[0]], [x[-1], y[-1]]]):
        distance = np.hypot(*(points[:, :2] - corner).T)
        if np.all((corner < low) | (corner > high)) and distance.min() > near:
            added.append([*corner, points[distance.argmin(), 2]])
    return np.array([*points, *added])


def samples(edges):
    return np.sort(np.concatenate([edges, (edges[1:] + edges[:-1]) / 2]))


def nearest_on_hull(points, where):
    ring = ConvexHull(points[:, :2]).vertices
    a, b = points[ring], points[np.roll(ring, -1)]
    along = (b - a)[:, :2]
    t = np.einsum("nj,pnj->pn", along, where[:, None, :] - a[None, :, :2]) / (along**2).sum(axis=1)
    t = np.clip(t, 0, 1)[:, :, None]
    foot = (1 - t) * a + t * b
    nearest = np.hypot(*(foot[:, :, :2] - where[:, None, :]).transpose(2, 0, 1)).argmin(axis=1)
    return foot[np.arange(len(where)), nearest, 2]


def surface(points, where):
    z = LinearNDInterpolator(points[:, :2], points[:, 2])(where)
    beyond = np.isnan(z)
    z[beyond] = nearest_on_hull(points, where[beyond])
    return z, beyond.sum()


def judge(name):
    lines = name.with_suffix(".mesh").read_text().splitlines()
    ztop, (y, x, z) = float(lines[0]), map(numbers_of, lines[1:4])
    points = with_corners(read_points(name), x, y)
    gx, gy = np.meshgrid(samples(x), samples(y), indexing="ij")  # y fastest
    expected, beyond = surface(points, np.column_stack([gx.ravel(), gy.ravel()]))
    gz = numbers_of(name.with_suffix(".gz").read_text())
    apart = np.abs(gz - expected).max()

    grid = expected.reshape(gx.shape)
    lowest = np.min([grid[p:grid.shape[0] - 2 + p:2, q:grid.shape[1] - 2 + q:2]
                     for p in range(3) for q in range(3)], axis=0).ravel()
    tops = ztop - z[:-1]
    index = (tops[None, :] > lowest[:, None]).sum(axis=1)
    undecided = np.abs(tops[None, :] - lowest[:, None]).min(axis=1) < 1e-9  # rounding decides
    itop = numbers_of(name.with_suffix(".itop").read_text())
    wrong = ((itop != index) & ~undecided).sum()
    return apart, wrong, len(expected), beyond


def main():
    worst, columns_wrong, all_samples, all_beyond = 0.0, 0, 0, 0
    names = sorted(pathlib.Path(sys.argv[1]).glob("*.topography"))
    for name in names:
        apart, wrong, count, beyond = judge(name)
        if not apart < 1e-8 or wrong:
            print(f"{name.name}: elevations {apart:.2e} apart, {wrong} columns differ")
        worst, columns_wrong = max(worst, apart), columns_wrong + wrong
        all_samples, all_beyond = all_samples + count, all_beyond + beyond
    print(f"{len(names)} files, {all_samples} samples, {all_beyond} of them beyond the hull: "
          f"elevations at most {worst:.1e} apart, {columns_wrong} columns differ")
    # Elevations are of the order of 100; slivers at the hull lose some of 16 digits.
    sys.exit(0 if names and worst < 1e-8 and columns_wrong == 0 and all_beyond > 1000 else 1)


if __name__ == "__main__":
    main()
