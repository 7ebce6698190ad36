#!/usr/bin/env python3
"""Draws a recovery of the synthetic survey: sections through the true and the recovered model side by side, the trade-off
curve, the observed data, and by how many standard deviations the last predicted ones miss them.

    draw_recovery.py TRUE.sus BASE OBSERVED PICTURE.png

BASE is that of the files that recover wrote: BASE.sus, BASE.curve, BASE_001.pre ...
"""

import pathlib
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402: after the choice of a backend that needs no screen
import numpy as np  # noqa: E402
import survey_grid as grid  # noqa: E402
from matplotlib.ticker import MaxNLocator  # noqa: E402

SECTIONS = {"ball": 330.0, "dyke": 230.0, "sheet": 100.0}  # northing of the section through each body
WEST, EAST, BOTTOM = -40.0, 520.0, 320.0


def columns(name):
    return np.loadtxt(name, skiprows=3, unpack=True)


def symmetric_levels(largest, steps):
    return MaxNLocator(nbins=steps, symmetric=True).tick_values(-largest, largest)


def draw_section(axes, model, northing, largest):
    row = np.searchsorted(grid.Y_EDGES, northing) - 1
    image = axes.pcolormesh(grid.X_EDGES, grid.DEPTH_EDGES, model[row].T, cmap="YlOrRd", vmin=0.0, vmax=largest)
    x, depth = np.linspace(WEST, EAST, 561), np.linspace(0.0, BOTTOM, 321)
    j, k = np.searchsorted(grid.X_EDGES, x, "right") - 1, np.searchsorted(grid.DEPTH_EDGES, depth, "right") - 1
    in_a_body = (grid.BODY[row] != "None").astype(float)
    axes.contour(x, depth, in_a_body[np.ix_(j, k)].T, levels=[0.5], colors="black", linewidths=0.8)
    axes.set(xlim=(WEST, EAST), ylim=(BOTTOM, 0.0), aspect="equal", ylabel="depth (m)")
    return image


def draw_map(figure, axes, x, y, values, title, unit, levels):
    colours = axes.tricontourf(x, y, values, levels=levels, cmap="RdBu_r", extend="both")
    axes.set(title=title, aspect="equal", ylabel="north (m)")
    figure.colorbar(colours, ax=axes, label=unit, format="%g")


def draw_trade_off(axes, norm, misfit):
    axes.loglog(norm[1:], misfit[1:], "o-", color="black", markersize=4)
    axes.plot(norm[-1], misfit[-1], "o", color="firebrick", markersize=6)
    axes.axhline(1.0, color="firebrick", linewidth=0.8)
    axes.set(title="Trade-off curve", xlabel="model norm", ylabel="misfit")


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    true, base, observed, picture = sys.argv[1:]
    models = {"True": grid.read_model(true), "Recovered": grid.read_model(base + ".sus")}
    _, _, misfit, norm, _ = np.loadtxt(base + ".curve", comments="!", unpack=True)
    x, y, _, data, deviation = columns(observed)
    predicted = columns(f"{base}_{len(misfit) - 1:03d}.pre")[-1]

    figure = plt.figure(figsize=(14.0, 9.0), constrained_layout=True)
    left, right = figure.subfigures(1, 2, width_ratios=(2.2, 1.0))
    sections, panels = left.subplots(3, 2, sharex=True, sharey=True), right.subplots(3, 1)
    image = {}
    for row, (body, northing) in zip(sections, SECTIONS.items()):
        for panel, (name, model) in zip(row, models.items()):
            image[name] = draw_section(panel, model, northing, model.max())
            panel.set_title(f"{name}: section at {northing:g} m north, {body}")
    for panel in sections[-1]:
        panel.set_xlabel("east (m)")
    for column, (name, colours) in zip(sections.T, image.items()):
        left.colorbar(colours, ax=column, label=f"{name.lower()} susceptibility (SI)", shrink=0.7, location="bottom")
    draw_trade_off(panels[0], norm, misfit)
    draw_map(right, panels[1], x, y, data, "Observed", "nT", symmetric_levels(np.abs(data).max(), 24))
    draw_map(right, panels[2], x, y, (data - predicted) / deviation, "Observed - predicted", "standard deviations",
             symmetric_levels(3.0, 12))
    figure.savefig(picture, dpi=80)


if __name__ == "__main__":
    main()
