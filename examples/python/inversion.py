#!/usr/bin/python3
"""An inversion in thirty lines: depth weights, positive susceptibility, and as much structure as the noise allows.

    inversion.py FOLDER

The unknowns are x = weights * model, those of the stored G. For each trade-off the cost |(A x - d) / s|^2 + trade |x|^2 is brought
down over x >= 0; the trade-off is halved until the misfit is that of the noise: one standard deviation for each datum.
"""

import pathlib
import sys

import numpy as np
import scipy.optimize
import velko

folder = pathlib.Path(sys.argv[1])
folder.mkdir(parents=True, exist_ok=True)

# A survey of two bodies, with noise.
y, x = (50.0 * n.ravel() for n in np.mgrid[0:13, 0:13])
survey = velko.Survey(x, y, np.full(x.size, 40.0), incl=62, decl=4, geomag=52000)
mesh = velko.design_mesh([50, 50, 25], survey=survey, clearance=40, depth=200, padding=3)
truth = velko.sample_bodies(mesh, ["sphere 200 300 -110 70 0.05", "block 380 480 100 450 -150 -50 0.03"])
velko.make(folder / "survey.mtx", mesh, survey, weights="depth")
G = velko.open(folder / "survey.mtx")
noise = 1.0 + 0.02 * np.abs(G @ G.vector(truth))
observed = G @ G.vector(truth) + noise * np.random.default_rng(1).normal(size=len(survey))

# The inversion.
A, d = G.unweighted.scaled(noise), observed / noise


def cost_and_gradient(x, trade):
    residual = A @ x - d
    return residual @ residual + trade * (x @ x), 2 * (A.T @ residual + trade * x)


x = np.zeros(A.shape[1])
trade = np.sum((A @ (A.T @ d)) ** 2) / np.sum((A.T @ d) ** 2)  # about the largest eigenvalue of A'A
misfit = np.inf
while misfit > len(d):
    trade /= 2
    x = scipy.optimize.minimize(cost_and_gradient, x, trade, "L-BFGS-B", jac=True, bounds=[(0, None)] * x.size,
                                options={"maxiter": 200}).x
    misfit = np.sum((A @ x - d) ** 2)
    print(f"trade-off {trade:.2e}: misfit {misfit:.0f} of {len(d)}")

model = G.array(x / G.weights)
velko.write_model(folder / "recovered.sus", model)


def centre(m):
    """Of the cells with at least half of the largest value, in the western half, where the sphere is."""
    x, y, z = mesh.centres
    western = np.ma.filled(m, 0)[:, x < 290]
    i, j, k = np.nonzero(western >= western.max() / 2)
    return x[j].mean(), y[i].mean(), z[k].mean()


for name, m in (("truth", truth), ("recovered", model)):
    print(f"{name}: western body around x, y, elevation", *(f"{at:.0f}" for at in centre(m)))
