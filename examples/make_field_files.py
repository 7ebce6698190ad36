#!/usr/bin/env python3
"""Makes the files that a survey begins with: an elevation model and a table of flight lines, in longitude and latitude.

    make_field_files.py FOLDER       writes dem.asc and lines.csv there

The terrain is the one of make_terrain.py, the ridges along the Jacksboro fault, Tennessee: an ASCII grid in degrees, which
GDAL turns into any other form. The lines are flown from south to north over a part of it, 300 m apart, a station every 75 m,
150 m above the ground as the elevation model has it, with the unevenness of a pilot's hand.
"""

import pathlib
import sys

import make_terrain
import numpy as np

WEST, EAST, SOUTH, NORTH = -84.27, -84.21, 36.55, 36.60  # of the lines
BETWEEN_LINES, ALONG_LINE, CLEARANCE = 300.0, 75.0, 150.0


def write_grid(name, elevation, west, south, step):
    rows, columns = elevation.shape
    head = f"ncols {columns}\nnrows {rows}\nxllcenter {west:.10f}\nyllcenter {south:.10f}\ncellsize {step:.12f}\n"
    name.write_text(head + "".join(" ".join(str(z) for z in row) + "\n" for row in elevation[::-1]))


def lines(elevation, west, south, step):
    """name, longitude, latitude, altitude of the stations, line by line."""
    metres = make_terrain.DEGREE * np.cos(np.radians((SOUTH + NORTH) / 2))
    hand = np.random.default_rng(1)
    for number, longitude in enumerate(np.arange(WEST, EAST, BETWEEN_LINES / metres), 1):
        wander = 0.0
        for latitude in np.arange(SOUTH, NORTH, ALONG_LINE / make_terrain.DEGREE)[::1 if number % 2 else -1]:
            wander = 0.9 * wander + hand.normal(0.0, 3.0)
            row, column = round((latitude - south) / step), round((longitude - west) / step)
            around = elevation[row - 3:row + 4, column - 3:column + 4]
            yield f"L{number:02d}", longitude, latitude, around.mean() + CLEARANCE + wander


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    elevation, west, south, step = make_terrain.read_degrees()
    write_grid(folder / "dem.asc", elevation, west, south, step)
    stations = list(lines(elevation, west, south, step))
    table = "".join(f"{name},{x:.6f},{y:.6f},{z:.1f}\n" for name, x, y, z in stations)
    (folder / "lines.csv").write_text("line,longitude,latitude,altitude_m\n" + table)
    print(f"dem.asc: {elevation.shape[1]} x {elevation.shape[0]} elevations; "
          f"lines.csv: {len(stations)} stations on {stations[-1][0][1:].lstrip('0')} lines")


if __name__ == "__main__":
    main()
