#!/usr/bin/env python3
"""Says how good a model of the synthetic line survey is: bodies, padding, bounds, misfit.

    measure_lines.py MESH_FILE TRUE.sus RECOVERED.sus LOG       exit status 0 when all of it holds

Bodies      around each (cells nearer to it than to another and within 250 m), the centre of mass of the cells with at least
            half of the largest value there, against the true centre: within a cell and a half along x and y, and for the
            shallow ones along z
Padding     at most 5 % of the magnetisation (value times volume) outside the core of the mesh
Bounds      no value outside 0..1
Misfit      1 to within 5 %, as the last line of the table tells it
"""

import pathlib
import re
import sys

import numpy as np

CELL, LAYER, NEAR = 100.0, 50.0, 250.0
BODIES = {"shallow": 0.05, "ball": 0.06, "dyke": 0.04}
SHALLOW = ("shallow", "dyke")


def read_mesh(name):
    words = []
    for word in pathlib.Path(name).read_text().split():
        count, _, value = word.rpartition("*")
        words += [float(value)] * int(count or 1)
    nx, ny, nz = map(int, words[:3])
    edges = []
    for start, widths in zip(words[3:6], np.split(np.array(words[6:]), [nx, nx + ny])):
        edges.append(start + np.concatenate(([0.0], np.cumsum(widths))) if len(edges) < 2
                     else start - np.concatenate(([0.0], np.cumsum(widths))))
    return edges


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    x, y, z = read_mesh(sys.argv[1])
    shape = len(y) - 1, len(x) - 1, len(z) - 1
    true, recovered = (np.loadtxt(name).reshape(shape) for name in sys.argv[2:4])
    middle = [(e[1:] + e[:-1]) / 2 for e in (y, x, z)]
    centres = np.stack(np.meshgrid(*middle, indexing="ij"), axis=-1)[..., [1, 0, 2]]
    width = [np.abs(np.diff(e)) for e in (y, x, z)]
    volume = np.einsum("i,j,k->ijk", *width)
    faults = []

    distance = {}
    for name, value in BODIES.items():
        inside = centres[true > 0.6 * value] if name == "ball" else centres[np.isclose(true, value, rtol=0.02)]
        distance[name] = np.min([np.linalg.norm(centres - c, axis=-1) for c in inside[:: max(1, len(inside) // 150)]], axis=0)
    nearest = np.min(list(distance.values()), axis=0)
    for name in BODIES:
        near = (distance[name] == nearest) & (distance[name] < NEAR)
        centre = []
        for model in (true, recovered):
            part = np.where(near, model, 0.0)
            part = np.where(part >= part.max() / 2, part, 0.0) * volume
            centre.append(np.einsum("ijk,ijkc->c", part, centres) / part.sum())
        off = centre[1] - centre[0]
        print(f"{name:8s} {off[0]:+7.1f} m east {off[1]:+7.1f} m north {off[2]:+7.1f} m up")
        limits = np.array([1.5 * CELL, 1.5 * CELL, 1.5 * LAYER if name in SHALLOW else np.inf])
        if np.any(np.abs(off) > limits):
            faults.append(f"the {name} is not where it should be")

    core = np.einsum("i,j,k->ijk", *[w < 1.01 * w.min() for w in width]).astype(bool)
    share = np.sum((np.abs(recovered) * volume)[~core]) / np.sum(np.abs(recovered) * volume)
    print(f"magnetisation in the padding: {100 * share:.1f} %")
    print(f"values from {recovered.min():g} to {recovered.max():g}")
    misfit = float(re.findall(r"^ +\d+ +[\d.e+-]+ +\d+ +([\d.]+) +[\d.e+-]+$", pathlib.Path(sys.argv[4]).read_text(), re.M)[-1])
    print(f"misfit {misfit:.3f}")
    if share > 0.05:
        faults.append("too much of it is in the padding")
    if recovered.min() < 0 or recovered.max() > 1:
        faults.append("a value is outside its bounds")
    if abs(misfit - 1) > 0.05:
        faults.append("the misfit is not at its target")
    sys.exit("; ".join(faults) or 0)


if __name__ == "__main__":
    main()
