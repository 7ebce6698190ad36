#!/usr/bin/env python3
"""Says how far the bodies of a recovered model are from those of the synthetic survey.

    measure_bodies.py TRUE.sus RECOVERED.sus

Around each body, in the cells nearer to it than to another and no farther than 60 m from it, the centre of mass of the
recovered susceptibility is taken over the cells that hold at least half of the largest value there. Its distance from
the true centre is told along x, y and depth. The correlation coefficient of the two models, over the volume above a
depth of 400 m, tells a model with bodies from one that is the same everywhere. The exit status is 0 when every centre
is within 40 m along each axis, two cells across, and the correlation is at least 0.5.
"""

import sys

import numpy as np
import survey_grid as grid

FARTHEST, LEAST_CORRELATION = 40.0, 0.5
NEIGHBOURHOOD, BOTTOM = 60.0, 400.0


def distances_to(body):
    """Of each cell, to the nearest cell of the body."""
    nearest = np.full(grid.SHAPE, np.inf)
    for centre in grid.CENTRES[grid.BODY == body]:
        np.minimum(nearest, np.linalg.norm(grid.CENTRES - centre, axis=-1), out=nearest)
    return nearest


def centre_of_mass(model):
    return np.einsum("ijk,ijkc->c", model * grid.VOLUME, grid.CENTRES) / np.sum(model * grid.VOLUME)


def offsets(recovered):
    """Of the recovered centres from the true ones: {body: (along x, along y, along depth)}."""
    distance = {body: distances_to(body) for body in grid.BODIES}
    nearest = np.min(list(distance.values()), axis=0)
    found = {}
    for body in grid.BODIES:
        around = np.where((distance[body] == nearest) & (nearest <= NEIGHBOURHOOD), recovered, 0.0)
        high = np.where(around >= 0.5 * around.max(), around, 0.0)
        found[body] = centre_of_mass(high) - centre_of_mass(grid.BODY == body)
    return found


def correlation(a, b):
    weight = np.where(grid.CENTRES[..., 2] < BOTTOM, grid.VOLUME, 0.0)
    a, b = (m - np.sum(weight * m) / np.sum(weight) for m in (a, b))
    return np.sum(weight * a * b) / np.sqrt(np.sum(weight * a * a) * np.sum(weight * b * b))


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    true, recovered = map(grid.read_model, sys.argv[1:])
    print("centres of the recovered bodies from the true ones, in metres:")
    found = offsets(recovered)
    for body, (x, y, depth) in found.items():
        print(f"  {body:6s} {x:+6.1f} east {y:+6.1f} north {depth:+6.1f} down")
    alike = correlation(true, recovered)
    print(f"correlation of the models: {alike:.2f}")
    if not (all(np.all(np.abs(offset) <= FARTHEST) for offset in found.values()) and alike >= LEAST_CORRELATION):
        sys.exit(f"the bodies are not where they should be (limits: {FARTHEST:g} m and {LEAST_CORRELATION:g})")


if __name__ == "__main__":
    main()
