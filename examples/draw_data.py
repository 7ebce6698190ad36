#!/usr/bin/env python3
"""Draws predicted data as a map; needs matplotlib.

    draw_data.py velkrund.vlk PICTURE.png
"""

import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402: after the choice of a backend that needs no screen
from matplotlib.ticker import MaxNLocator  # noqa: E402


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    with open(sys.argv[1]) as lines:
        rows = [[float(word) for word in line.split()] for line in list(lines)[3:]]
    x, y, value = ([row[column] for row in rows] for column in (0, 1, -1))
    figure, axes = plt.subplots(figsize=(6.4, 5.4), constrained_layout=True)
    largest = max(map(abs, value))
    levels = MaxNLocator(nbins=40, symmetric=True).tick_values(-largest, largest)
    colours = axes.tricontourf(x, y, value, levels=levels, cmap="RdBu_r")
    axes.tricontour(x, y, value, levels=levels[::2], colors="black", linewidths=0.4)
    axes.set(xlabel="x, east (m)", ylabel="y, north (m)", title="Predicted magnetic anomaly", aspect="equal")
    figure.colorbar(colours, label="nT", format="%g")
    figure.savefig(sys.argv[2], dpi=120)


if __name__ == "__main__":
    main()
