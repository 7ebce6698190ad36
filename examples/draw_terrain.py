#!/usr/bin/env python3
"""Draws what surface_of_a_terrain wrote: the points and triangles of a terrain, and its surface index; needs matplotlib.

    draw_terrain.py COLUMNS TRIANGLES PICTURE.png
"""

import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402: after the choice of a backend that needs no screen
import numpy as np  # noqa: E402


def numbers_of(line):
    return np.array([float(word) for word in line.split()])


def read_columns(name):
    """Edges along x and y, and the index, rows from south to north."""
    with open(name) as lines:
        xnode, ynode, *rows = map(numbers_of, lines)
    return xnode, ynode, np.array(rows)


def read_triangles(name):
    """Coordinates of the points, and triangles as positions of points, counted from 0."""
    with open(name) as lines:
        count, *rows = map(numbers_of, lines)
    n = int(count[0])
    return np.array(rows[:n]), np.array(rows[n:], dtype=int) - 1


def kilometres(values):
    return values / 1e3


def draw_triangles(axes, points, triangles, title):
    x, y, z = points.T
    colours = axes.tripcolor(kilometres(x), kilometres(y), z, triangles=triangles, shading="gouraud", cmap="terrain")
    axes.triplot(kilometres(x), kilometres(y), triangles, color="black", linewidth=0.15)
    axes.plot(kilometres(x), kilometres(y), ".", color="black", markersize=1)
    axes.set(title=title, xlabel="x, east (km)", ylabel="y, north (km)", aspect="equal")
    axes.figure.colorbar(colours, ax=axes, label="elevation (m)", shrink=0.8)


def draw_index(axes, xnode, ynode, itop):
    colours = axes.pcolormesh(kilometres(xnode), kilometres(ynode), itop, cmap="terrain_r")
    axes.set(title="itop: cells of each column above the surface", xlabel="x, east (km)", aspect="equal")
    axes.figure.colorbar(colours, ax=axes, label="cells", shrink=0.8)


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    points, triangles = read_triangles(sys.argv[2])
    figure, (left, right) = plt.subplots(1, 2, figsize=(13, 6), sharex=True, sharey=True, constrained_layout=True)
    draw_triangles(left, points, triangles, f"{len(points)} points, {len(triangles)} triangles")
    draw_index(right, *read_columns(sys.argv[1]))
    figure.savefig(sys.argv[3], dpi=120)


if __name__ == "__main__":
    main()
