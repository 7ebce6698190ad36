#!/usr/bin/env python3
"""A synthetic survey with the troubles of a real one: flight lines at uneven heights over a real terrain.

    make_line_survey.py places FOLDER             writes line.topography, line.loc, line.bodies there
    make_line_survey.py observe FOLDER            velkrund.vlk there -> line.obs: trend, noise and outliers added, no errors told

Lines run north, 250 m apart, bent by what a pilot does; stations are 70 m apart, 80 to 220 m above ground. The plane under
the data falls by 60 nT across the survey. Noise is 2 % of a datum and 5 nT; one station in fifty is off by 100 to 400 nT.
"""

import pathlib
import sys

import numpy as np
from matplotlib import tri

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import make_terrain_survey as terrain  # noqa: E402: after its folder is on the path

SIDE, LINES, STATION = 3500.0, 250.0, 70.0
BODIES = """! kind, position and size in metres, susceptibility: see docs/formats/body_file.md
block 700 1150 700 1300 {shallow_bottom} {shallow_top} 0.05
sphere 2500 2500 {ball} 300 0.06
block 1900 2300 600 1500 {dyke_bottom} {dyke_top} 0.04
"""
NOISE_SHARE, NOISE_FLOOR, OUTLIERS = 0.02, 5.0, 50


def surface_of(points):
    x, y, z = points.T
    return tri.LinearTriInterpolator(tri.Triangulation(x, y), z)


def stations(surface, random):
    rows = []
    for number, x0 in enumerate(np.arange(0.0, SIDE + 1, LINES)):
        y = np.arange(0.0, SIDE + 1, STATION) + random.uniform(-20, 20)
        x = x0 + 25 * np.sin(y / 700 + number)
        height = 150 + 50 * np.sin(y / 900 + 2 * number) + random.normal(0, 8, len(y))
        rows.append(np.column_stack((x, y, surface(x, y) + np.clip(height, 80, 220))))
    return np.concatenate(rows)


def places(folder):
    points = terrain.terrain_points()
    points = points[(np.abs(points[:, :2] - SIDE / 2) < SIDE / 2 + 2200).all(axis=1)]
    surface = surface_of(points)
    terrain.write_topography(folder / "line.topography", points)
    terrain.write_stations(folder / "line.loc", stations(surface, np.random.default_rng(5)))
    ground = {name: float(surface(x, y)) for name, (x, y) in
              {"shallow": (925, 1000), "ball": (2500, 2500), "dyke": (2100, 1050)}.items()}
    (folder / "line.bodies").write_text(BODIES.format(
        shallow_top=ground["shallow"] - 60, shallow_bottom=ground["shallow"] - 310, ball=ground["ball"] - 420,
        dyke_top=ground["dyke"] - 60, dyke_bottom=ground["dyke"] - 460))


def observe(folder):
    lines = (folder / "velkrund.vlk").read_text().splitlines()
    x, y, z, data = np.array([line.split() for line in lines[3:]], dtype=float).T
    random = np.random.default_rng(6)
    observed = data + 35.0 - 60.0 * (x / SIDE) + 20.0 * (y / SIDE)
    observed += (NOISE_SHARE * np.abs(observed) + NOISE_FLOOR) * random.standard_normal(len(data))
    wrong = random.choice(len(data), len(data) // OUTLIERS, replace=False)
    observed[wrong] += random.choice([-1, 1], len(wrong)) * random.uniform(100, 400, len(wrong))
    rows = [f"{a:.2f} {b:.2f} {c:.2f} {d:.3f}" for a, b, c, d in zip(x, y, z, observed)]
    (folder / "line.obs").write_text("\n".join(lines[:3] + rows) + "\n")


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("places", "observe"):
        sys.exit(__doc__)
    {"places": places, "observe": observe}[sys.argv[1]](pathlib.Path(sys.argv[2]))


if __name__ == "__main__":
    main()
