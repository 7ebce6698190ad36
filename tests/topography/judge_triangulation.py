"""Triangles and surface values by SciPy (Qhull), and the surface beyond the hull by brute force over the hull's edges.

Prints problems, each of seven lines of numbers: x, y and z of the nodes, sorted along x; the triangles, three node
numbers each, counted from 1; x and y of sample points; the surface there. Needs /usr/bin/python3 with python3-scipy.

    scattered    nodes in general position: the triangles are unique, samples lie inside and outside the hull
    turned       square grids turned by an angle. The two triangles of a square may meet along either diagonal, so the
                 samples lie on the sides of squares, inside the hull
"""
import sys

import numpy as np
from scipy.interpolate import LinearNDInterpolator
from scipy.spatial import ConvexHull, Delaunay


def nearest_on_hull(points, z, sample):
    """The surface at the point of the hull that is nearest to a sample: every edge is looked at."""
    best, value = np.inf, np.nan
    for a, b in ConvexHull(points).simplices:
        along = points[b] - points[a]
        t = np.clip(np.dot(sample - points[a], along) / np.dot(along, along), 0, 1)
        distance = np.hypot(*(points[a] + t * along - sample))
        if distance < best:
            best, value = distance, (1 - t) * z[a] + t * z[b]
    return value


def show(points, z, triangles, samples, values):
    for line in (points[:, 0], points[:, 1], z, triangles.ravel() + 1, samples[:, 0], samples[:, 1], values):
        print(*(repr(number) for number in line.tolist()))


def sorted_along_x(points):
    return points[np.lexsort((points[:, 1], points[:, 0]))]


def scattered(n, scale, random):
    points = sorted_along_x(random.uniform(-1, 1, (n, 2)) * scale)
    z = random.uniform(0, 1, n)
    triangulation = Delaunay(points)
    samples = random.uniform(-1.6, 1.6, (200, 2)) * scale
    values = LinearNDInterpolator(triangulation, z)(samples)
    for i in np.flatnonzero(np.isnan(values)):
        values[i] = nearest_on_hull(points, z, samples[i])
    show(points, z, triangulation.simplices, samples, values)


def turned(side, degrees, spacing, random):
    j, i = np.meshgrid(np.arange(side), np.arange(side))
    c, s = np.cos(np.radians(degrees)), np.sin(np.radians(degrees))
    points = sorted_along_x(spacing * np.column_stack(((c * i - s * j).ravel(), (s * i + c * j).ravel())))
    z = random.uniform(0, 1, side * side)
    triangulation = Delaunay(points)
    sides = random.integers(1, side - 1, (100, 2)) + random.uniform(0, 1, 100)[:, None] * [0, 1]
    samples = spacing * np.column_stack((c * sides[:, 0] - s * sides[:, 1], s * sides[:, 0] + c * sides[:, 1]))
    show(points, z, triangulation.simplices, samples, LinearNDInterpolator(triangulation, z)(samples))


random = np.random.default_rng(20261121)
if sys.argv[1] == "scattered":
    for n in (3, 4, 5, 10, 50, 200, 1000, 3000):
        for scale in ((1, 1), (1000, 1000), (1e5, 10)):
            scattered(n, np.array(scale), random)
else:
    for side in (3, 4, 5, 8, 10, 13, 20, 31):
        for degrees in (0, 0.01, 1, 7, 13.5, 30, 33, 45, 60, 89, 90, 101.5, 180, 211):
            for spacing in (1, 12.5):
                turned(side, degrees, spacing, random)
