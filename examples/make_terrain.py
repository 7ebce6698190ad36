#!/usr/bin/env python3
"""Makes a topography file and a mesh file of a real terrain: the mountains along the Jacksboro fault in Tennessee.

    make_terrain.py FOLDER [POINTS]       writes terrain.topography and terrain.mesh there; 2500 points unless told

The terrain is the digital elevation model jacksboro_fault_dem.npz, 403 x 344 elevations in whole metres, 3 seconds of
arc apart, over 30 km x 32 km. Matplotlib ships it among its sample data, under its own licence (BSD-compatible, derived
from that of Python); Debian's package is python-matplotlib-data. It is read from there and thinned to points drawn at
random, always the same ones.

Lengths in metres from the south-western corner, x east, y north, elevation above the sea. The mesh has columns of
250 m x 250 m and layers of 20 m.
"""

import math
import pathlib
import random
import sys

import matplotlib
import numpy as np

SOURCE = "mpl-data/sample_data/jacksboro_fault_dem.npz"
DEGREE = 6371e3 * math.pi / 180  # metres along a meridian
COLUMN, LAYER, LAYERS, TOP = 250.0, 20.0, 45, 1100.0


def find_source():
    """Debian keeps the sample data beside the other data, wheels within the package."""
    for root in ("/usr/share/matplotlib", pathlib.Path(matplotlib.get_data_path()).parent):
        path = pathlib.Path(root) / SOURCE
        if path.exists():
            return path
    sys.exit("jacksboro_fault_dem.npz is not there; it comes with Debian's python-matplotlib-data")


def read_degrees():
    """Elevations, rows from south to north; longitude and latitude of the south-western one; the degrees from one to the next."""
    model = np.load(find_source())
    step = float(model["dx"])
    west, south = float(model["xmin"]), min(float(model["ymin"]), float(model["ymax"]))  # edges
    return model["elevation"][::-1], west + step / 2, south + step / 2, step


def read_terrain():
    """Elevations, rows from south to north, and the metres between columns and between rows."""
    elevation, _, south, step = read_degrees()
    middle = south + step * (len(elevation) - 1) / 2
    return elevation, step * DEGREE * math.cos(math.radians(middle)), step * DEGREE


def write_topography(name, elevation, across, along, count):
    rows, columns = elevation.shape
    chosen = random.Random(1).sample(range(rows * columns), count)
    lines = ["! Jacksboro fault, Tennessee: points drawn from Matplotlib's jacksboro_fault_dem.npz",
             "! x (m, east), y (m, north), elevation (m)", f"{count} points"]
    for place in chosen:
        row, column = divmod(place, columns)
        lines.append(f"{across * column:.2f} {along * row:.2f} {elevation[row, column]}")
    name.write_text("\n".join(lines) + "\n")


def write_mesh(name, elevation, across, along):
    rows, columns = elevation.shape
    nx, ny = (math.ceil(metres / COLUMN) for metres in (across * (columns - 1), along * (rows - 1)))
    name.write_text(f"{nx} {ny} {LAYERS}\n0 0 {TOP}\n{nx}*{COLUMN}\n{ny}*{COLUMN}\n{LAYERS}*{LAYER}\n")


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    terrain = read_terrain()
    write_topography(folder / "terrain.topography", *terrain, int(sys.argv[2]) if len(sys.argv) == 3 else 2500)
    write_mesh(folder / "terrain.mesh", *terrain)


if __name__ == "__main__":
    main()
