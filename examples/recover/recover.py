#!/usr/bin/python3
"""The inversion of recover in Python: the smoothest model within 0 and 1 that explains the data as well as their noise allows.

    recover.py SENSITIVITY OBSERVED MODEL.sus [BETA]

Without BETA it is lowered by a factor of 3 until chi^2 / N is 1 or less. Objective, weights and lengths are those of recover
without options (README.md beside this file).
"""

import sys

import numpy as np
import scipy.optimize
import scipy.sparse
import velko

sensitivity, observed, out = sys.argv[1:4]
G = velko.open(sensitivity)
survey = velko.read_data(observed)
d, s = survey.values, survey.deviations

# Model norm: m' H m, over the cells below the surface in the order of the columns of G.
below = ~np.ma.getmaskarray(G.array(np.ones(G.shape[1])))  # (y, x, z)
x, y, z = G.mesh.x, G.mesh.y, G.mesh.z  # edges
widths = [np.abs(np.diff(e)) for e in (y, x, z)]
volume = np.einsum("i,j,k->ijk", *widths)
w2 = np.zeros(below.shape)
w2[below] = np.sqrt(G.diagonal) * G.weights / volume[below]
w2 = np.maximum(w2 / w2.max(), 0.03)
beside = [(e[1:] < p.min()) | (e[:-1] > p.max()) for e, p in ((y, survey.y), (x, survey.x))]
w2[beside[0][:, None] | beside[1][None, :]] = 1.0
number = np.cumsum(below.ravel()).reshape(below.shape) - 1
H = scipy.sparse.diags((w2 * volume)[below])
for axis, width in enumerate(widths):
    a, b = (np.take(number, range(n, n + len(width) - 1), axis) for n in (0, 1))
    pair = np.take(below, range(len(width) - 1), axis) & np.take(below, range(1, len(width)), axis)
    distance = (width[1:] + width[:-1]).reshape([-1 if n == axis else 1 for n in range(3)]) / 2
    face = np.take(volume, range(len(width) - 1), axis) / width[:-1].reshape(distance.shape)
    mean = (np.take(w2, range(len(width) - 1), axis) + np.take(w2, range(1, len(width)), axis)) / 2
    bond = (width.min() ** 2 * mean * face / distance)[pair]
    rows = np.arange(len(bond))
    D = scipy.sparse.csr_matrix((np.r_[np.ones(len(bond)), -np.ones(len(bond))], (np.r_[rows, rows], np.r_[a[pair], b[pair]])),
                                (len(bond), G.shape[1]))
    H = H + D.T @ scipy.sparse.diags(bond) @ D


def objective(u, beta, scale):  # u = m / scale: variables of one size, which is what L-BFGS-B begins with
    m = u * scale
    r, Hm = (G @ m - d) / s, H @ m
    return r @ r + beta * (m @ Hm), 2 * scale * (G.T @ (r / s) + beta * Hm)


model, sensitivity_of = np.zeros(G.shape[1]), G.diagonal * G.weights**2 * np.mean(s**-2.0)
beta, last = (float(sys.argv[4]), True) if len(sys.argv) > 4 else (3.0 * np.max(sensitivity_of / H.diagonal()), False)
while True:
    scale = 1 / np.sqrt(sensitivity_of + beta * H.diagonal())
    found = scipy.optimize.minimize(objective, model / scale, (beta, scale), "L-BFGS-B", jac=True, bounds=[(0, b) for b in 1 / scale],
                                    options={"maxiter": 500, "maxcor": 40, "ftol": 1e-10, "gtol": 1e-6})
    model = found.x * scale
    misfit = np.mean(((G @ model - d) / s) ** 2)
    print(f"beta {beta:.4e}: {found.nfev} products each way, misfit {misfit:.4f}")
    if last or misfit <= 1:
        break
    beta /= 3
velko.write_model(out, G.array(model))
