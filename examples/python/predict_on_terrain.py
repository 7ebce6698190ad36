#!/usr/bin/python3
"""Predicts a survey over a real terrain, and looks at it: from points of a terrain and stations to a map and sections.

    predict_on_terrain.py FOLDER [CELL]        the core cells are CELL metres wide (250)

Terrain and stations come from make_terrain_survey.py: the ridges along the Jacksboro fault, Tennessee.
"""

import pathlib
import subprocess
import sys

import matplotlib

matplotlib.use("Agg")
import velko
import velko.plot

folder, cell = pathlib.Path(sys.argv[1]), float(sys.argv[2]) if len(sys.argv) > 2 else 250.0
here = pathlib.Path(__file__).resolve().parent
subprocess.run([sys.executable, "-B", here.parent / "make_terrain_survey.py", folder], check=True)
terrain, survey = folder / "survey.topography", velko.read_survey(folder / "survey.loc")

# A mesh for the survey and the ground below it; the terrain cuts it.
mesh = velko.design_mesh([cell, cell, cell / 2], survey=survey, topography=terrain, padding=4)
mesh = velko.topography(mesh, terrain)
print(mesh)

# Two bodies in the ground, and what the survey would see of them.
model = velko.sample_bodies(mesh, ["sphere 2000 2500 0 700 0.03", "dyke 4300 3000 200 20 70 4000 600 1500 0.02"])
made = velko.make(folder / "survey.mtx", mesh, survey, tolerance=1e-2)
print(f"{made.bytes / 1e6:.1f} MB, relative loss of rows {made.loss:.1e}")
with velko.open(folder / "survey.mtx") as G:
    data = G @ G.vector(model)

velko.write_predicted(folder / "predicted.vlk", survey, data)
velko.plot.data(survey, data).figure.savefig(folder / "data.png", dpi=130)
velko.plot.model(mesh, model, survey=survey, topography=terrain).plan.figure.savefig(folder / "model.png", dpi=130)
velko.plot.sections(mesh, model, y=[1500, 2500, 3500], topography=terrain)[0].figure.savefig(folder / "sections.png", dpi=130)
print(f"data from {data.min():.1f} to {data.max():.1f} nT; pictures in {folder}")
