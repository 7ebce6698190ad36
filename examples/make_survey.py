#!/usr/bin/env python3
"""Makes a synthetic magnetic survey: a mesh, a model with three bodies, and a grid of stations above them.

    make_survey.py FOLDER       writes survey.mesh, survey.loc and survey.sus there

The mesh has 32 x 32 x 32 cells. Counts that are powers of two fill the wavelet cube, so that rows compress best.
Lengths in metres, x east, y north, elevation up; the field in nT; susceptibility in SI.
"""

import pathlib
import sys

CORE, PADDING = [20.0] * 24, [28.0, 40.0, 56.0, 80.0]  # widths along x and y: cells under the survey, cells around it
ALONG_X = ALONG_Y = PADDING[::-1] + CORE + PADDING
DOWN = [10.0 * 1.06**k for k in range(32)]  # cells grow with depth, as the resolution of the data falls
STATIONS, SPACING, HEIGHT = 61, 8.0, 25.0
INCL, DECL, GEOMAG = 62.0, 4.0, 52000.0
SUSCEPTIBILITY = {"ball": 0.08, "dyke": 0.05, "sheet": 0.03, None: 0.0005}


def edges(origin, widths):
    nodes = [origin]
    for width in widths:
        nodes.append(nodes[-1] + width)
    return nodes


def centres(nodes):
    return [(a + b) / 2 for a, b in zip(nodes, nodes[1:])]


def body_at(x, y, depth):
    """A compact body, a dyke that dips east, a thin sheet near the surface, or None in the background."""
    if (x - 330) ** 2 + (y - 330) ** 2 + (depth - 90) ** 2 < 55**2:
        return "ball"
    if abs(x - 150 - 0.5 * (depth - 20)) < 22 and 60 < y < 400 and 20 < depth < 260:
        return "dyke"
    if 250 < x < 440 and 60 < y < 140 and 15 < depth < 40:
        return "sheet"
    return None


def write_mesh(name, west, south):
    lines = [f"{len(ALONG_X)} {len(ALONG_Y)} {len(DOWN)}", f"{west} {south} 0.0"]
    lines += [" ".join(f"{width:.4f}" for width in axis) for axis in (ALONG_X, ALONG_Y, DOWN)]
    name.write_text("\n".join(lines) + "\n")


def write_model(name, xs, ys, depths):
    """One value per cell: y outermost, then x, then from the top down."""
    values = (SUSCEPTIBILITY[body_at(x, y, depth)] for y in ys for x in xs for depth in depths)
    name.write_text("".join(f"{value}\n" for value in values))


def write_stations(name):
    lines = [f"{INCL} {DECL} {GEOMAG}  !! incl, decl, geomag", f"{INCL} {DECL} 1  !! aincl, adecl, idir"]
    lines.append(f"{STATIONS * STATIONS}  !! # of data")
    lines += [f"{SPACING * j} {SPACING * i} {HEIGHT}" for i in range(STATIONS) for j in range(STATIONS)]
    name.write_text("\n".join(lines) + "\n")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    west = south = -sum(PADDING)
    write_mesh(folder / "survey.mesh", west, south)
    write_model(folder / "survey.sus", centres(edges(west, ALONG_X)), centres(edges(south, ALONG_Y)),
                centres(edges(0.0, DOWN)))
    write_stations(folder / "survey.loc")


if __name__ == "__main__":
    main()
