#!/usr/bin/python3
"""An ensemble of models in one pass: what is known of a body, and what the data would then be.

    ensemble.py FOLDER [MODELS]

The depth, radius and susceptibility of a sphere are known to within an error each. All models are predicted in one product with a
block, which reads G once for several of them; the spread of the data tells where a station would decide most.
"""

import pathlib
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
import velko
import velko.plot

folder, count = pathlib.Path(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 64
folder.mkdir(parents=True, exist_ok=True)
rng = np.random.default_rng(1)

y, x = (50.0 * n.ravel() for n in np.mgrid[0:17, 0:17])
survey = velko.Survey(x, y, np.full(x.size, 30.0), incl=62, decl=4, geomag=52000)
mesh = velko.design_mesh([50, 50, 25], survey=survey, clearance=30, depth=300, padding=3)
velko.make(folder / "survey.mtx", mesh, survey)

with velko.open(folder / "survey.mtx") as G:
    models = np.column_stack([
        G.vector(velko.sample_bodies(mesh, f"sphere 400 400 {depth} {radius} {value}"))
        for depth, radius, value in zip(rng.normal(-170, 15, count), rng.normal(80, 8, count), rng.normal(0.05, 0.005, count))])
    data = G @ models

mean, spread = data.mean(axis=1), data.std(axis=1)
figure, (left, right) = plt.subplots(1, 2, figsize=(13, 6), constrained_layout=True)
velko.plot.data(survey, mean, ax=left, title=f"Mean of {count} models")
velko.plot.data(survey, spread, ax=right, title="Standard deviation")
figure.savefig(folder / "ensemble.png", dpi=130)
print(f"{count} models of {models.shape[0]} cells at {data.shape[0]} stations; largest spread {spread.max():.1f} nT, "
      f"where the mean is {mean[spread.argmax()]:.1f} nT")
