"""Pictures of a report: maps, histograms, profiles above sections, as SVG that suits light, dark and paper.

A picture is drawn at the size of its place, since letters shrink with it: small ones as wide as a phone or half a page, wide
ones twice, for a phone and for a screen. What text and frames are coloured with is a variable of the SVG.
"""

from __future__ import annotations

import base64
import io
import re
from dataclasses import dataclass
from typing import Any, Callable, Sequence

import matplotlib
import numpy as np
import numpy.typing as npt
from matplotlib import tri
from matplotlib.axes import Axes
from matplotlib.backends.backend_agg import FigureCanvasAgg
from matplotlib.collections import TriMesh
from matplotlib.figure import Figure

from velko import plot
from velko.meshes import Array
from velko.surveys import Survey

SMALL, PHONE, SCREEN = 4.7, 4.3, 9.6  # inches
FRAME = "#30363d"  # in place of the variable, until it is SVG
PREDICTED, OBSERVED = "#1f5fa8", "#c2410c"
THEME = ("<style>svg{--frame:#30363d}@media screen and (prefers-color-scheme:dark){svg{--frame:#c9d1d9}}</style>")
STYLE = {
    "font.family": "sans-serif", "font.sans-serif": ["DejaVu Sans"], "font.size": 9, "axes.titlesize": 9,
    "text.color": FRAME, "axes.edgecolor": FRAME, "axes.labelcolor": FRAME, "xtick.color": FRAME, "ytick.color": FRAME,
    "axes.linewidth": 0.7, "xtick.major.width": 0.7, "ytick.major.width": 0.7, "axes.facecolor": "white",
    "figure.facecolor": "none", "savefig.facecolor": "none", "legend.frameon": False, "svg.fonttype": "path",
    "svg.hashsalt": "velko", "axes.axisbelow": True, "axes.unicode_minus": True,
}


@dataclass(frozen=True)
class Picture:
    """A small picture has one source, a wide one another for phones; each is a data URL."""

    alt: str
    caption: str
    source: str
    size: tuple[int, int]
    phone: str | None = None


@dataclass(frozen=True)
class Line:
    """Values along a section: interpolated, and of the stations near it."""

    name: str
    colour: str
    values: Array


def _svg(figure: Figure) -> str:
    buffer = io.StringIO()
    figure.savefig(buffer, format="svg", dpi=200, metadata={"Date": None, "Creator": None, "Format": None, "Type": None})
    text = re.sub(r"^.*?(?=<svg)", "", buffer.getvalue(), flags=re.DOTALL)
    return text.replace(FRAME, "var(--frame)").replace("<defs>", THEME + "<defs>", 1)


def _drawn(draw: Callable[[float], Figure], width: float) -> tuple[str, tuple[int, int]]:
    with matplotlib.rc_context(STYLE):
        figure = draw(width)
        text = _svg(figure)
        wide, high = figure.get_size_inches() * 96
    return "data:image/svg+xml;base64," + base64.b64encode(text.encode()).decode(), (round(wide), round(high))


def picture(draw: Callable[[float], Figure], alt: str, caption: str, wide: bool = False) -> Picture:
    """Draws once, or at both widths."""
    source, size = _drawn(draw, SCREEN if wide else SMALL)
    return Picture(alt, caption, source, size, _drawn(draw, PHONE)[0] if wide else None)


def _figure(width: float, height: float, **more: Any) -> Figure:
    """Without pyplot, which would keep it."""
    figure = Figure(figsize=(width, height), **more)
    FigureCanvasAgg(figure)
    return figure


def _height_of_map(x: Array, y: Array, width: float) -> float:
    """For a map with a scale of colours at its right, in reason."""
    wide, high = float(np.ptp(x)) or 1.0, float(np.ptp(y)) or 1.0
    return float(np.clip((width - 1.65) * high / wide + 1.0, 0.5 * width, 1.3 * width))


def common_limits(*columns: Array) -> tuple[float, float]:
    """Of colours that several maps share."""
    colours = plot._colours(np.concatenate(columns), None, (1, 99), False, None)
    return float(colours.levels[0]), float(colours.levels[-1])


def data_map(survey: Survey, values: Array, label: str, limits: tuple[float, float] | None,
             contours: bool = True) -> Callable[[float], Figure]:
    """Without contours where they would follow nothing but noise."""

    def draw(width: float) -> Figure:
        figure = _figure(width, _height_of_map(survey.x, survey.y, width), constrained_layout=True)
        axes = plot.data(survey, values, ax=figure.add_subplot(), limits=limits, title="", label=label)
        if isinstance(axes.collections[0], TriMesh):
            axes.margins(0)
        for text in axes.texts:
            text.remove()  # the page tells the field
        for arrow in axes.artists:
            arrow.set_color(FRAME)
        for lines in list(axes.collections)[1:] if not contours else []:
            lines.remove()
        for dots in axes.get_lines():
            dots.set_rasterized(len(survey) > 500)
        return figure

    return draw


def _bins(values: Sequence[Array], count: int) -> tuple[Array, int]:
    """Edges that far values do not stretch, and how many values lie beyond."""
    everything = np.concatenate(values)
    low, high, _ = plot._robust_range(everything, (0.5, 99.5))
    low, high = (low, high) if low < high else (low - 1, high + 1)
    return np.linspace(low, high, count + 1), int(((everything < low) | (everything > high)).sum())


def histogram(lines: Sequence[Line], label: str, normal: bool = False) -> tuple[Callable[[float], Figure], int]:
    """How to draw it, and how many values lie beyond its ends. `normal` adds the curve of errors of deviation 1."""
    count = int(np.clip(np.sqrt(len(lines[0].values)), 8, 50))
    edges, beyond = _bins([line.values for line in lines], count)

    def draw(width: float) -> Figure:
        figure = _figure(width, 0.62 * width, constrained_layout=True)
        axes = figure.add_subplot()
        for n, line in enumerate(lines):
            filled = {"histtype": "stepfilled", "alpha": 0.35} if n == 0 else {"histtype": "step", "linewidth": 1.4}
            axes.hist(line.values, edges, color=line.colour, label=line.name, **filled)
        if normal:
            x = np.linspace(edges[0], edges[-1], 200)
            axes.set_ylim(0, 1.25 * axes.get_ylim()[1])  # where the curve is far higher, its foot is enough
            bell = np.exp(-(x**2) / 2) / np.sqrt(2 * np.pi) * len(lines[0].values) * (edges[1] - edges[0])
            axes.plot(x, bell, color="#6e7781", linewidth=1.4, label="errors as told")
        _plain_frame(axes)
        axes.set(xlabel=label, ylabel="stations", xlim=(edges[0], edges[-1]))
        if len(lines) > 1 or normal:
            _legend(axes)
        return figure

    return draw, beyond


def _plain_frame(axes: Axes) -> None:
    axes.spines[["top", "right"]].set_visible(False)
    axes.grid(color="#d0d7de", linewidth=0.5)


def _legend(axes: Axes) -> None:
    axes.legend(loc="lower left", bbox_to_anchor=(0, 1), ncol=3, borderaxespad=0.2, handlelength=1.4, columnspacing=1.2)


class Profiles:
    """Data along straight lines over a survey."""

    def __init__(self, survey: Survey, lines: Sequence[Line]) -> None:
        self.survey, self.lines = survey, lines
        self.triangles = plot._triangles(survey.x, survey.y, None) if len(survey) >= 3 else None
        self.finder = None if self.triangles is None else self.triangles.get_trifinder()
        area = max(float(np.ptp(survey.x)) * float(np.ptp(survey.y)), 0.0)
        self.spacing = np.sqrt(area / len(survey))

    def near(self, along_x: bool, at: float, half: float) -> npt.NDArray[np.intp]:
        """Stations that lie beside the line, in their order along it; all of them where they form a line themselves."""
        along, beside = (self.survey.x, self.survey.y) if along_x else (self.survey.y, self.survey.x)
        found = np.arange(len(along)) if self.triangles is None else np.flatnonzero(np.abs(beside - at) <= half)
        return found[np.argsort(along[found], kind="stable")]

    def interpolated(self, values: Array, along_x: bool, at: float, along: Array) -> Any:
        beside = np.full(along.size, at)
        of = tri.LinearTriInterpolator(self.triangles, values, self.finder)
        return of(along, beside) if along_x else of(beside, along)

    def draw(self, axes: Axes, along_x: bool, at: float, half: float, scale: float, extent: tuple[float, float]) -> None:
        near = self.near(along_x, at, half)
        along = (self.survey.x if along_x else self.survey.y)[near]
        for n, line in enumerate(self.lines):
            marker = {"marker": "o", "markersize": 3.2, "markerfacecolor": "white", "linestyle": "none", "alpha": 0.9}
            if self.triangles is None:
                axes.plot(along / scale, line.values[near], color=line.colour, label=line.name, linewidth=1.4)
            elif n == 0:
                x = np.linspace(*extent, 600)
                axes.plot(x / scale, self.interpolated(line.values, along_x, at, x), color=line.colour, label=line.name,
                          linewidth=1.4)
            else:
                axes.plot(along / scale, line.values[near], color=line.colour, label=line.name, zorder=1.9, **marker)
        _plain_frame(axes)
        axes.set(ylabel="nT", xlim=(extent[0] / scale, extent[1] / scale))
        axes.margins(y=0.08)
        _legend(axes)


def profile(profiles: Profiles, along_x: bool, at: float, half: float) -> Callable[[float], Figure]:
    """Over no model."""
    along = profiles.survey.x if along_x else profiles.survey.y
    scale, unit = plot._kilometres_or_metres(float(np.ptp(profiles.survey.x)), float(np.ptp(profiles.survey.y)))
    extent = float(along.min()), float(along.max())

    def draw(width: float) -> Figure:
        figure = _figure(width, 2.6, constrained_layout=True)
        axes = figure.add_subplot()
        profiles.draw(axes, along_x, at, half, scale, extent)
        axes.set_xlabel(f"{'x, east' if along_x else 'y, north'} ({unit})")
        return figure

    return draw


def stretch_of_section(drawing: plot._Drawing, along_x: bool) -> float:
    """By which elevations are drawn larger than lengths: as a phone needs it."""
    long, deep = float(np.ptp(drawing.x if along_x else drawing.y)), float(np.ptp(drawing.z))
    return plot._stretch(deep * _inches_for_a_metre(long, deep, PHONE))


def _inches_for_a_metre(long: float, deep: float, width: float) -> float:
    return min((width - 1.05) / long, 3.4 / deep)


def section(drawing: plot._Drawing, along_x: bool, n: int, profiles: Profiles | None,
            half: float) -> Callable[[float], Figure]:
    """A section through a model; above it, on the same scale, the data."""
    long, deep = float(np.ptp(drawing.x if along_x else drawing.y)), float(np.ptp(drawing.z))
    at = drawing.middle(drawing.mesh.y if along_x else drawing.mesh.x, n)

    def draw(width: float) -> Figure:
        scale = _inches_for_a_metre(long, deep, width)
        wide, high = long * scale, deep * scale * stretch_of_section(drawing, along_x)
        left, bottom, bar, gap = 0.8, 1.15, 0.13, 0.2
        data = 1.5 if profiles is not None else 0.0
        total = bottom + high + (gap + data + 0.3 if data else 0.15)
        figure = _figure(width, total)

        def panel(x0: float, y0: float, w: float, h: float, **shared: Any) -> Axes:
            return figure.add_axes((x0 / width, y0 / total, w / width, h / total), **shared)

        below = panel(left, bottom, wide, high)
        drawn = drawing.section(below, along_x, n)
        below.set_title("")
        if profiles is not None:
            above = panel(left, bottom + high + gap, wide, data, sharex=below)
            profiles.draw(above, along_x, at, half, drawing.scale, drawing.x if along_x else drawing.y)
            above.tick_params(labelbottom=False)
        drawing.bar(figure, drawn, cax=panel(left, 0.45, min(wide, 3.0), bar), orientation="horizontal")
        return figure

    return draw


def plan(drawing: plot._Drawing, i: int, j: int, k: int) -> Callable[[float], Figure]:
    def draw(width: float) -> Figure:
        figure = _figure(width, _height_of_map(np.array(drawing.x), np.array(drawing.y), width), constrained_layout=True)
        axes = figure.add_subplot()
        drawn = drawing.plan(axes, i, j, k)
        axes.set(title="", xlabel=f"x, east ({drawing.unit})", aspect="equal")
        for dots in axes.get_lines():
            dots.set_rasterized(True)
        drawing.bar(figure, drawn, ax=axes, shrink=0.9)
        return figure

    return draw
