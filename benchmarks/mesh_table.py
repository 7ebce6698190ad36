#!/usr/bin/env python3
"""What data depend on of a mesh: the width of its cells, below a terrain and for a body.

    mesh_table.py FOLDER [STATIONS]       keeps its files there; 100 stations unless told

The survey of examples/make_terrain_survey.py, 120 m above its hills, thinned to some stations. For each width the hills alone
(0.01 SI throughout) and a dyke 200 m wide below flat ground are predicted, and compared in the 2-norm with those of the
finest cells.
"""

import pathlib
import subprocess
import sys

import numpy as np

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "build/release/python"))
import velko  # noqa: E402: from the tree

CELLS = [(400, 200), (200, 100), (150, 75), (150, 25), (100, 50), (100, 25), (75, 37.5), (75, 12.5), (50, 12.5)]  # width, height
DYKE = "dyke 3000 3000 300 20 70 3000 200 800 0.05"


def of(survey, chosen, z):
    return velko.Survey(survey.x[chosen], survey.y[chosen], z, survey.incl, survey.decl, survey.geomag)


def predicted(folder, name, mesh, survey, model):
    file = folder / f"{name}.mtx"
    made = velko.make(file, mesh, survey, tolerance=1e-3)
    with velko.open(file) as G:
        data = G @ G.vector(model)
    file.unlink()
    return data, made


def main():
    folder, count = pathlib.Path(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 100
    subprocess.run([sys.executable, "-B", HERE.parent / "examples/make_terrain_survey.py", folder], check=True)
    terrain, every = folder / "survey.topography", velko.read_survey(folder / "survey.loc")
    chosen = np.random.default_rng(1).choice(len(every), count, replace=False)
    survey = of(every, chosen, every.z[chosen])
    flat = of(every, chosen, np.full(count, 450.0))
    rows = []
    for width, height in CELLS:
        hilly = velko.topography(velko.design_mesh([width, width, height], survey=every, topography=terrain, depth=600), terrain)
        hills, made = predicted(folder, "hills", hilly, survey, np.full(hilly.shape, 0.01))
        level = velko.design_mesh([width, width, height], survey=flat, ground=(330.0, 330.0), depth=1200)
        level = level.with_surface(np.zeros(level.shape[:2], int))
        dyke, _ = predicted(folder, "dyke", level, flat, velko.sample_bodies(level, [DYKE]))
        rows.append((width, height, made.cells, hills, dyke))
        print(f"{width} m x {height} m, {made.cells} cells", file=sys.stderr)
    print("| cells | in the mesh | hills | dyke |\n|---|---|---|---|")
    for width, height, cells, hills, dyke in rows[:-1]:
        errors = [np.linalg.norm(a - b) / np.linalg.norm(b) for a, b in ((hills, rows[-1][3]), (dyke, rows[-1][4]))]
        print(f"| {width} m x {width} m x {height} m | {cells} | " + " | ".join(f"{100 * e:.2g} %" for e in errors) + " |")


if __name__ == "__main__":
    main()
