#!/usr/bin/env python3
"""Makes a topography file and a location file: an airborne survey over a real terrain.

    make_terrain_survey.py FOLDER       writes survey.topography and survey.loc there

The terrain is a part of the one that make_terrain.py reads, where the ridges along the Jacksboro fault meet the valley
to their east; its file holds points drawn at random. The stations are a grid at a constant clearance above the surface
through these points: piecewise linear over their Delaunay triangulation. The field is that of Tennessee, roughly.

Lengths in metres from the south-western corner of the stations, x east, y north, elevation above the sea; nT.
"""

import pathlib
import random
import sys

import numpy as np
from matplotlib import tri

import make_terrain

SOUTH, WEST = 11500.0, 12500.0  # of the stations, in the whole terrain
SIDE, SPACING, CLEARANCE = 6000.0, 150.0, 120.0
MARGIN, POINTS = 2500.0, 4000  # terrain around the stations; points in all
INCL, DECL, GEOMAG = 64.0, -5.0, 50500.0


def terrain_points():
    """x, y, elevation of points drawn from the elevation model, always the same ones."""
    elevation, across, along = make_terrain.read_terrain()
    rows, columns = elevation.shape
    y, x = np.meshgrid(along * np.arange(rows) - SOUTH, across * np.arange(columns) - WEST, indexing="ij")
    inside = (np.abs(x - SIDE / 2) < SIDE / 2 + MARGIN) & (np.abs(y - SIDE / 2) < SIDE / 2 + MARGIN)
    points = np.column_stack((x[inside], y[inside], elevation[inside])).round(2)
    return points[random.Random(1).sample(range(len(points)), POINTS)]


def stations(points):
    """A grid, row by row from the south, at the clearance above the surface through the points."""
    x, y, z = points.T
    surface = tri.LinearTriInterpolator(tri.Triangulation(x, y), z)
    along = np.arange(0.0, SIDE + 1, SPACING)
    grid_y, grid_x = np.meshgrid(along, along, indexing="ij")
    return np.column_stack((grid_x.ravel(), grid_y.ravel(), surface(grid_x, grid_y).ravel() + CLEARANCE))


def write_topography(name, points):
    lines = ["! Jacksboro fault, Tennessee", "! x (m, east), y (m, north), elevation", f"{len(points)} points"]
    name.write_text("\n".join(lines + [f"{x:.2f} {y:.2f} {z:.0f}" for x, y, z in points]) + "\n")


def write_stations(name, positions):
    lines = [f"{INCL} {DECL} {GEOMAG}  !! incl, decl, geomag", f"{INCL} {DECL} 1  !! aincl, adecl, idir",
             f"{len(positions)}  !! # of data"]
    name.write_text("\n".join(lines + [f"{x:.1f} {y:.1f} {z:.2f}" for x, y, z in positions]) + "\n")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    points = terrain_points()
    positions = stations(points)
    write_topography(folder / "survey.topography", points)
    write_stations(folder / "survey.loc", positions)
    print(f"{len(points)} points of the surface from {points[:, 2].min():.0f} to {points[:, 2].max():.0f} m; "
          f"{len(positions)} stations {CLEARANCE:.0f} m above it")


if __name__ == "__main__":
    main()
