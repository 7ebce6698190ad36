#!/usr/bin/env python3
"""Judges predicted data by the field of the model, computed directly at some stations and without any matrix.

    direct_field.py FILE.mtx MODEL velkrund.vlk STATIONS LIMIT

Mesh and surface come from the sensitivity file, positions and directions from the predicted data. Each cell below the
surface is a uniformly magnetised prism; its field is the closed form for the second derivatives of the Newtonian
potential of a prism (D. Nagy, Geophysics 31 (1966) 362-371, doi 10.1190/1.1439779, differentiated once more), summed over
all cells in plain double precision. The exit status is 0 when the largest difference at the stations is at most LIMIT,
relative to the largest field among them.
"""

import math
import pathlib
import sys

import numpy as np

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts"))

import built_package  # noqa: E402, F401: after its folder is on the path; finds velko
import velko  # noqa: E402


def unit_vector(inclination, declination):
    """East, north, up."""
    i, d = math.radians(inclination), math.radians(declination)
    return np.array([math.cos(i) * math.sin(d), math.cos(i) * math.cos(d), -math.sin(i)])


def cells_below(mesh, model):
    """Values, and the two edges along x, y and z of every cell below the surface whose value is not 0."""
    i, j, k = np.nonzero(mesh.below & (model != 0))
    edges = [np.stack((e[n], e[n + 1])) for e, n in ((mesh.x, j), (mesh.y, i), (mesh.z, k))]
    edges[2] = edges[2][::-1]  # from the bottom up
    return model[i, j, k], edges


def edge(along, across, up):
    """log(r + along) less a term that both ends of an edge share, so that an edge in line with the station does no harm."""
    return np.arcsinh(along / np.maximum(np.hypot(across, up), 1e-6))


def angle(normal, u, v, r):
    """arctan(u v / (normal r)); on the plane of a face that of a point just before it."""
    return np.where(normal < 0, -1, 1) * np.arctan2(u * v, np.abs(normal) * r)


def field_at(station, values, edges, inducing, measured):
    """Sum over cells of value times measured . T . inducing, T the second derivatives of the integral of 1/r."""
    total = np.zeros_like(values)
    m = np.outer(measured, inducing)
    m = m + m.T - np.diag(np.diag(m))  # both orders of a mixed derivative at once
    for a in (0, 1):
        for b in (0, 1):
            for c in (0, 1):
                x, y, z = (edges[axis][n] - station[axis] for axis, n in enumerate((a, b, c)))
                r = np.sqrt(x * x + y * y + z * z)
                corner = (m[0, 1] * edge(z, x, y) + m[0, 2] * edge(y, x, z) + m[1, 2] * edge(x, y, z)
                          - m[0, 0] * angle(x, y, z, r) - m[1, 1] * angle(y, x, z, r) - m[2, 2] * angle(z, x, y, r))
                total += corner if (a + b + c) % 2 else -corner
    return float(values @ total)


def main():
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    try:
        mesh = velko.read_mesh(sys.argv[1])
        values, edges = cells_below(mesh, np.ma.getdata(velko.read_model(sys.argv[2], mesh)))
        data = velko.read_predicted(sys.argv[3])
    except velko.Error as failure:
        sys.exit(str(failure))
    if np.ndim(data.aincl) == 1:
        sys.exit(f"{sys.argv[3]} has a direction for each datum")
    count, limit = int(sys.argv[4]), float(sys.argv[5])
    inducing, measured = unit_vector(data.incl, data.decl), unit_vector(data.aincl, data.adecl)
    chosen = np.linspace(0, len(data.values) - 1, min(count, len(data.values))).astype(int)
    direct = np.array([data.geomag / (4 * math.pi) * field_at((data.x[n], data.y[n], data.z[n]), values, edges, inducing, measured)
                       for n in chosen])
    apart = np.abs(data.values[chosen] - direct).max() / np.abs(direct).max()
    print(f"{len(chosen)} stations, directly computed from {direct.min():.2f} to {direct.max():.2f} nT; "
          f"relative difference {apart:.1e}")
    if not apart <= limit:  # true for a NaN too
        sys.exit(f"the relative difference {apart:.1e} is above the limit of {limit:g}")


if __name__ == "__main__":
    main()
