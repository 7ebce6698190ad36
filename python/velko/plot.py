"""Pictures of data and models, on matplotlib; each function gives its axes back.

Lengths are taken for metres, data for nT, models for susceptibilities (SI).
"""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import Any, NamedTuple, Sequence, Union

import matplotlib
import matplotlib.pyplot as plt
import numpy as np
import numpy.typing as npt
from matplotlib import tri
from matplotlib.axes import Axes
from matplotlib.colors import BoundaryNorm, Colormap, ListedColormap, Normalize
from matplotlib.figure import Figure
from matplotlib.patches import FancyArrowPatch
from matplotlib.ticker import MaxNLocator
from matplotlib.transforms import Affine2D, ScaledTranslation

from velko.design import elevation as elevation_of_terrain
from velko.design import topography as with_topography
from velko.files import Name, read_model, read_predicted
from velko.meshes import Array, Mesh
from velko.surveys import Survey

Range = tuple[float, float]

SIGNED = matplotlib.colormaps["RdBu_r"]  # diverging, white at zero
UNEVEN = matplotlib.colormaps["viridis"]  # of both signs, one of which hardly counts
POSITIVE = ListedColormap(matplotlib.colormaps["magma_r"](np.linspace(0, 0.9, 256)))  # light where there is little
INK = "#222222"
MANY_STATIONS = 4000  # from here on lines and dots would hide the map


@dataclass
class _Colours:
    """How values become colours, and what the bar says of it."""

    cmap: Colormap
    norm: Normalize
    levels: Array
    note: str

    def extend(self, values: Array) -> str:
        low, high = values.min() < self.levels[0], values.max() > self.levels[-1]
        return {(False, False): "neither", (True, False): "min", (False, True): "max", (True, True): "both"}[low, high]


def _robust_range(values: Array, percentiles: Range) -> tuple[float, float, str]:
    """All values, unless a few of them would take most of the colours."""
    low, high = np.percentile(values, percentiles)
    least, most = float(values.min()), float(values.max())
    if most - least <= 1.3 * (high - low) or high == low:
        return least, most, ""
    return low, high, f"\ncolours from percentile {percentiles[0]:g} to {percentiles[1]:g}"


def _colours(values: Array, limits: Range | None, percentiles: Range, equalise: bool, cmap: Any) -> _Colours:
    if limits is not None:
        low, high, note = float(limits[0]), float(limits[1]), ""
        if not low < high:
            raise ValueError(f"a range of colours goes from less to more, not from {low:g} to {high:g}")
    else:
        low, high, note = _robust_range(values, percentiles)
    if low == high:
        low, high = low - (abs(low) or 1.0), high + (abs(high) or 1.0)
    if equalise:
        inside = values[(values >= low) & (values <= high)]
        levels = np.unique(np.quantile(inside, np.linspace(0, 1, 25))) if inside.size else np.array([low, high])
        levels = levels if levels.size > 2 else np.linspace(low, high, 25)
        chosen = matplotlib.colormaps[cmap or "viridis"] if not isinstance(cmap, Colormap) else cmap
        return _Colours(chosen, BoundaryNorm(levels, chosen.N, extend="neither"), levels, note + "\nequalised")
    balanced = low < 0 < high and min(-low, high) >= 0.25 * max(-low, high)
    if balanced and limits is None:
        low, high = -max(-low, high), max(-low, high)
    default = SIGNED if balanced else UNEVEN if low < 0 < high else POSITIVE if low >= 0 else POSITIVE.reversed()
    chosen = default if cmap is None else matplotlib.colormaps[cmap] if isinstance(cmap, str) else cmap
    if limits is not None:
        levels = np.linspace(low, high, 31)
    else:
        levels = MaxNLocator(nbins=30, symmetric=balanced).tick_values(low, high)
    return _Colours(chosen, Normalize(levels[0], levels[-1]), levels, note)


def _kilometres_or_metres(*extents: float) -> tuple[float, str]:
    """Divisor and unit for coordinates whose extents are so long."""
    return (1e3, "km") if max(extents) >= 10e3 else (1.0, "m")


def _triangles(x: Array, y: Array, blank: float | None) -> tri.Triangulation | None:
    """None where the stations lie on a line. What lies farther than `blank` from them belongs to no map."""
    try:
        mesh = tri.Triangulation(x, y)
    except (RuntimeError, ValueError):
        return None
    corners = np.stack((x[mesh.triangles], y[mesh.triangles]))
    longest = np.hypot(*(corners - np.roll(corners, 1, axis=2))).max(axis=1)
    limit = 6 * np.median(longest) if blank is None else 2 * blank
    outside = (longest > limit) | tri.TriAnalyzer(mesh).get_flat_tri_mask(0.01)
    mesh.set_mask(outside if not outside.all() else None)
    return mesh


def _number(value: float) -> str:
    """Four digits, and no power of ten for values that surveys have."""
    return f"{value:.0f}" if 1e4 <= abs(value) < 1e7 else f"{value:.4g}"


def _field_of(survey: Survey) -> str:
    text = f"field {survey.geomag:g} nT, inclination {survey.incl:g}°, declination {survey.decl:g}°"
    if np.ndim(survey.aincl) == 1:
        return text + "; a component for each station"
    if (survey.aincl, survey.adecl) != (survey.incl, survey.decl):
        text += f"; component {survey.aincl:g}°, {survey.adecl:g}°"
    return text


def _arrow_of(axes: Axes, survey: Survey) -> None:
    """The way that the field points, seen from above; over the upper left corner."""
    angle = np.radians(survey.decl)
    middle, half = np.array([10.0, 14.0]), 9 * np.array([np.sin(angle), np.cos(angle)])
    from_corner = ScaledTranslation(0, 1, axes.transAxes)
    in_points = Affine2D().scale(1 / 72) + axes.figure.dpi_scale_trans + from_corner
    arrow = FancyArrowPatch(tuple(middle - half), tuple(middle + half), transform=in_points, clip_on=False, color=INK,
                            arrowstyle="-|>", mutation_scale=8)
    axes.add_artist(arrow)


def _map(survey: Survey, values: Array, axes: Axes | None, blank: float | None, colours: _Colours, label: str,
         title: str) -> Axes:
    scale, unit = _kilometres_or_metres(float(np.ptp(survey.x)), float(np.ptp(survey.y)))
    x, y = survey.x / scale, survey.y / scale
    if axes is None:
        axes = plt.subplots(figsize=(7.2, 6.4), constrained_layout=True)[1]
    drawn = _draw_values(axes, x, y, values, colours, None if blank is None else blank / scale)
    axes.set(xlabel=f"x, east ({unit})", ylabel=f"y, north ({unit})", aspect="equal")
    axes.ticklabel_format(style="plain", useOffset=False)
    axes.set_title(title, fontsize=11, pad=18)
    axes.text(0.5, 1.01, _field_of(survey), transform=axes.transAxes, ha="center", va="bottom", fontsize=8)
    _arrow_of(axes, survey)
    axes.figure.colorbar(drawn, ax=axes, label=label + colours.note, shrink=0.9, extend=colours.extend(values))
    return axes


def _draw_values(axes: Axes, x: Array, y: Array, values: Array, colours: _Colours, blank: float | None) -> Any:
    triangles = _triangles(x, y, blank) if len(x) >= 3 else None
    if triangles is None:
        return axes.scatter(x, y, c=values, cmap=colours.cmap, norm=colours.norm, edgecolors=INK, s=40)
    many = len(x) > MANY_STATIONS
    drawn = axes.tripcolor(triangles, values, shading="gouraud", cmap=colours.cmap, norm=colours.norm, rasterized=True)
    if not many and np.ptp(values) > 0:
        inside = colours.levels[(colours.levels > values.min()) & (colours.levels < values.max())][::2]
        if inside.size:
            axes.tricontour(triangles, values, levels=inside, colors=INK, linewidths=0.4)
    dots = {"markersize": 0.25, "alpha": 0.35} if many else {"markersize": min(3.0, 60 / np.sqrt(len(x)))}
    axes.plot(x, y, ".", color=INK, markeredgewidth=0, rasterized=many, **dots)
    return drawn


def _survey_with(survey: Survey | Name, values: npt.ArrayLike | None) -> tuple[Survey, Array]:
    found = survey if isinstance(survey, Survey) else read_predicted(survey)
    shown = found.values if values is None else np.asarray(values, float)
    if shown is None or shown.shape != (len(found),):
        raise ValueError(f"the survey has {len(found)} stations, and not as many values")
    if not np.isfinite(shown).all():
        raise ValueError("a value to be drawn is not finite")
    return found, shown


def data(survey: Survey | Name, values: npt.ArrayLike | None = None, *, ax: Axes | None = None,
         limits: Range | None = None, percentiles: Range = (1, 99), equalise: bool = False, blank: float | None = None,
         cmap: Any = None, label: str = "magnetic anomaly (nT)", title: str | None = None) -> Axes:
    """A map of data.

    Parameters
    ----------
    survey : Survey or path
        Stations with values, or a file of predicted data.
    values : array_like, optional
        In place of the survey's own.
    ax : matplotlib.axes.Axes, optional
        Where to draw; a new figure unless given.
    limits : two floats, optional
        Values of the first and the last colour.
    percentiles : two floats
        The same by percentiles, where a few values would take most of the colours otherwise. The bar says so.
    equalise : bool
        Each colour for as many stations as any other.
    blank : float, optional
        Parts of the map that lie farther than so many metres from the stations stay blank; unless given, where sides of
        triangles are six times as long as is usual.
    cmap : str or matplotlib.colors.Colormap, optional
        Unless given: white at zero where both signs count, else from light to dark.

    Returns
    -------
    matplotlib.axes.Axes

    Examples
    --------
    >>> import velko
    >>> axes = velko.plot.data("survey.vlk")
    >>> axes.get_xlabel(), axes.get_ylabel()
    ('x, east (m)', 'y, north (m)')
    """
    stations, shown = _survey_with(survey, values)
    name = "" if isinstance(survey, Survey) else os.path.basename(os.fspath(survey)) + ": "
    heading = f"{name}{len(shown)} data, {_number(shown.min())} to {_number(shown.max())} nT" if title is None else title
    colours = _colours(shown, limits, percentiles, equalise, cmap)
    return _map(stations, shown, ax, blank, colours, label, heading)


def difference(first: Survey | Name, second: Survey | Name, *, ax: Axes | None = None, limits: Range | None = None,
               percentiles: Range = (1, 99), equalise: bool = False, blank: float | None = None, cmap: Any = None,
               title: str | None = None) -> Axes:
    """A map of the first data less the second, at the same stations; `data` tells the options.

    Examples
    --------
    >>> import velko
    >>> axes = velko.plot.difference("survey.vlk", "survey.vlk")
    >>> print(axes.get_title())
    survey.vlk less survey.vlk
    largest 0 nT, relative 0.0e+00 (2-norm)
    """
    (one, a), (other, b) = _survey_with(first, None), _survey_with(second, None)
    names = ["first" if isinstance(s, Survey) else os.fspath(s) for s in (first, second)]
    names[1] = "second" if isinstance(second, Survey) else names[1]
    if len(a) != len(b):
        raise ValueError(f"{names[0]} has {len(a)} data, {names[1]} has {len(b)}")
    if not (np.array_equal(one.x, other.x) and np.array_equal(one.y, other.y)):
        raise ValueError(f"{names[0]} and {names[1]} have different stations")
    apart = a - b
    norm = float(np.linalg.norm(b))
    relative = f", relative {np.linalg.norm(apart) / norm:.1e} (2-norm)" if norm > 0 else ""
    heading = f"{names[0]} less {names[1]}\nlargest {np.abs(apart).max():.3g} nT{relative}" if title is None else title
    colours = _colours(apart, limits, percentiles, equalise, cmap)
    return _map(one, apart, ax, blank, colours, "difference (nT)", heading)


class ModelAxes(NamedTuple):
    """Where a model is cut: from above, along x, along y."""

    plan: Axes
    across: Axes
    along: Axes


def _step_line(edges: Array, heights: Array) -> tuple[Array, Array]:
    return np.repeat(edges, 2)[1:-1], np.repeat(heights, 2)


def _cell(edges: Array, at: float | None, default: int, name: str) -> int:
    if at is None:
        return default
    if not edges[0] <= at <= edges[-1]:
        raise ValueError(f"{name} lies outside of the mesh")
    return min(int(np.searchsorted(edges, at, side="right")) - 1, len(edges) - 2)


def _narrow(widths: Array) -> npt.NDArray[np.intp]:
    return np.flatnonzero(widths < 1.2 * widths.min())


class _Drawing:
    """A model and what is shown of it: colours, extents, and the sections that panels draw."""

    def __init__(self, mesh: Mesh, model: npt.ArrayLike, survey: Survey | None, topography: Name | None, whole: bool,
                 limits: Range | None, percentiles: Range, cmap: Any) -> None:
        self.mesh = with_topography(mesh, topography) if topography is not None and mesh.surface is None else mesh
        cells = np.ma.asarray(model)
        cells = cells if cells.shape == self.mesh.shape else self.mesh.to_array(cells)
        self.model: Any = np.ma.MaskedArray(np.ma.filled(cells, 0).astype(float), mask=~self.mesh.below)
        if not np.isfinite(self.model.compressed()).all():
            raise ValueError("a value to be drawn is not finite")
        self.survey, self.topography = survey, topography
        self.x = self._core(self.mesh.x, self.mesh.dx, whole)
        self.y = self._core(self.mesh.y, self.mesh.dy, whole)
        self.z = self._depths(whole)
        self.scale, self.unit = _kilometres_or_metres(float(np.ptp(self.x)), float(np.ptp(self.y)))
        values = self.model.compressed() if self.model.count() else np.zeros(1)
        if limits is None and values.min() >= 0:
            self.colours = _colours(values, (0.0, _robust_range(values, percentiles)[1] or 1.0), percentiles, False, cmap)
            self.colours.note = _robust_range(values, percentiles)[2]
        else:
            self.colours = _colours(values, limits, percentiles, False, cmap)

    @staticmethod
    def _core(edges: Array, widths: Array, whole: bool) -> Range:
        """The part with the narrow cells: padding would dwarf it."""
        narrow = _narrow(widths)
        return (edges[0], edges[-1]) if whole else (edges[narrow[0]], edges[narrow[-1] + 1])

    def _depths(self, whole: bool) -> Range:
        """Down to the last narrow layer, or to the last one that differs from what lies below it."""
        z, cells = self.mesh.z, self.model.filled(0.0)
        differs = np.flatnonzero(((cells != cells[:, :, -1:]) & self.mesh.below).any(axis=(0, 1)))
        last = max(_narrow(self.mesh.dz)[-1], differs[-1] + 1 if len(differs) else 0)
        low = z[-1] if whole else z[min(last + 1, len(z) - 1)]
        high = z[0]
        if self.survey is not None:  # but not stations high above the mesh, which would leave the model no room
            high = max(high, min(float(self.survey.z.max()) + 0.02 * (high - low), 2 * high - low))
        return low, high

    def most_anomalous_cell(self) -> tuple[int, int, int]:
        """In the middle of those, of all that are shown, that are farthest from the median."""
        shown = self.mesh.below.copy()
        for axis, edges, extent in ((0, self.mesh.y, self.y), (1, self.mesh.x, self.x)):
            outside = (edges[:-1] < extent[0]) | (edges[1:] > extent[1])
            shown[(slice(None),) * axis + (outside,)] = False
        if not shown.any():
            return 0, 0, 0
        cells = self.model.filled(0.0)
        apart = np.where(shown, np.abs(cells - np.median(cells[shown])), -1)
        found = np.argwhere(apart >= 0.999 * apart.max())
        i, j, k = found[np.argmin(np.linalg.norm(found - found.mean(axis=0), axis=1))]
        return int(i), int(j), int(k)

    def cells(self, axes: Axes, across: Array, up: Array, values: npt.NDArray[Any]) -> Any:
        drawn = axes.pcolormesh(across / self.scale, up / self.scale, values, cmap=self.colours.cmap,
                                norm=self.colours.norm)
        drawn.set_rasterized(True)  # a PDF of vectors would be slow to show
        axes.ticklabel_format(style="plain", useOffset=False)
        return drawn

    def limits(self, extent: Range) -> Range:
        return extent[0] / self.scale, extent[1] / self.scale

    def line(self, axes: Axes, x: float | None = None, y: float | None = None) -> None:
        style = {"color": "grey", "linewidth": 0.8, "linestyle": "--"}
        if x is not None:
            axes.axvline(x / self.scale, **style)
        if y is not None:
            axes.axhline(y / self.scale, **style)

    @staticmethod
    def middle(edges: Array, n: int) -> float:
        return float(edges[n] + edges[n + 1]) / 2

    def text(self, edges: Array, n: int) -> str:
        """The middle of a cell, to a hundredth of its width."""
        width = abs(edges[n + 1] - edges[n]) / self.scale
        digits = max(0, int(np.ceil(2 - np.log10(width))))
        number = f"{self.middle(edges, n) / self.scale:.{digits}f}"
        number = number.rstrip("0").rstrip(".") if "." in number else number
        return f"{number} {self.unit}"

    def plan(self, axes: Axes, i: int | None, j: int | None, k: int) -> Any:
        m = self.mesh
        drawn = self.cells(axes, m.x, m.y, self.model[:, :, k])
        self.line(axes, None if j is None else self.middle(m.x, j), None if i is None else self.middle(m.y, i))
        if self.survey is not None:
            dots = 1 if len(self.survey) <= MANY_STATIONS else 0.25
            axes.plot(self.survey.x / self.scale, self.survey.y / self.scale, ".", color=INK, alpha=0.5, markersize=dots,
                      markeredgewidth=0 if dots < 1 else None)
        axes.set(xlim=self.limits(self.x), ylim=self.limits(self.y), ylabel=f"y, north ({self.unit})",
                 title=f"elevation {self.text(m.z, k)}")
        return drawn

    def _profile(self, along_x: bool, n: int) -> tuple[Array, Array, Array | None, Array, Array]:
        """Edges along the section, cells [along, z], surface index, and the stations near it: along, elevation."""
        m = self.mesh
        edges, across = (m.x, m.y) if along_x else (m.y, m.x)
        cells = self.model[n] if along_x else self.model[:, n]
        itop = None if m.surface is None else m.surface[n] if along_x else m.surface[:, n]
        if self.survey is None:
            return edges, cells, itop, np.empty(0), np.empty(0)
        along, beside = (self.survey.x, self.survey.y) if along_x else (self.survey.y, self.survey.x)
        near = np.abs(beside - self.middle(across, n)) <= (across[n + 1] - across[n]) / 2
        return edges, cells, itop, along[near], self.survey.z[near]

    def _terrain(self, along_x: bool, n: int) -> tuple[Array, Array]:
        m = self.mesh
        assert self.topography is not None
        along = np.linspace(*(self.x if along_x else self.y), 500)
        at = self.middle(m.y if along_x else m.x, n)
        other = np.array([at])
        heights = elevation_of_terrain(m, self.topography, *((along, other) if along_x else (other, along)))
        return along, heights.ravel()

    def section(self, axes: Axes, along_x: bool, n: int, upright: bool = True) -> Any:
        """A vertical section; upright has elevations upward, otherwise they run to the left."""
        edges, cells, itop, stations, heights = self._profile(along_x, n)

        def points(along: Array, up: Array) -> tuple[Array, Array]:
            return (along / self.scale, up / self.scale) if upright else (up / self.scale, along / self.scale)

        z = self.mesh.z
        drawn = self.cells(axes, edges, z, cells.T) if upright else self.cells(axes, z, edges, cells)
        if itop is not None:
            axes.plot(*points(*_step_line(edges, z[itop])), color=INK, linewidth=1)
        if self.topography is not None:
            axes.plot(*points(*self._terrain(along_x, n)), color="tab:brown", linewidth=1)
        if self.survey is not None:
            axes.plot(*points(stations, heights), "v" if upright else "<", color=INK, markersize=3)
        other = self.mesh.y if along_x else self.mesh.x
        axes.set_title(f"{'y' if along_x else 'x'} = {self.text(other, n)}")
        if upright:
            axes.set(xlim=self.limits(self.x if along_x else self.y), ylim=self.limits(self.z),
                     xlabel=f"{'x, east' if along_x else 'y, north'} ({self.unit})", ylabel=f"elevation ({self.unit})")
        else:
            axes.set(xlim=self.limits(self.z)[::-1], xlabel=f"elevation ({self.unit})")
        return drawn

    def bar(self, figure: Figure, drawn: Any, **where: Any) -> None:
        values = self.model.compressed() if self.model.count() else np.zeros(1)
        figure.colorbar(drawn, label="susceptibility (SI)" + self.colours.note, extend=self.colours.extend(values), **where)


def _mesh_and_model(mesh: Mesh | Name, model: npt.ArrayLike | Name) -> tuple[Mesh, Any, str]:
    from velko.files import read_mesh

    cells = mesh if isinstance(mesh, Mesh) else read_mesh(mesh)
    if isinstance(model, (str, os.PathLike)):
        return cells, read_model(model, cells), os.path.basename(os.fspath(model))
    return cells, model, ""


def _stretch(inches_deep: float) -> float:
    """By which a section is stretched that would be too flat to read."""
    return float(np.ceil(1.0 / inches_deep)) if inches_deep < 1.0 else 1.0


def _heading(title: str, stretched: float) -> str:
    told = "" if stretched == 1 else f"elevations stretched {stretched:g} times"
    return ", ".join(filter(None, (title, told)))


def model(mesh: Mesh | Name, model: npt.ArrayLike | Name, *, x: float | None = None, y: float | None = None,
          elevation: float | None = None, survey: Survey | None = None, topography: Name | None = None,
          whole: bool = False, limits: Range | None = None, percentiles: Range = (0, 100), cmap: Any = None,
          title: str | None = None) -> ModelAxes:
    """Plan and two sections of a model.

    Parameters
    ----------
    mesh : Mesh or path
        Mesh, mesh file or sensitivity file.
    model : array_like or path
        Array ``[y, x, z]``, vector of the cells below the surface or of all, model file, or ``"VALUE number"``.
    x, y, elevation : float, optional
        Where the model is cut; unless given, through the most anomalous cell of what is shown.
    survey : Survey, optional
        Its stations are drawn.
    topography : path, optional
        Topography file: the terrain is drawn in the sections. A mesh without a surface takes its own from there.
    whole : bool
        Show the padding too.
    limits, percentiles, cmap
        As for `data`.

    Returns
    -------
    ModelAxes
        ``plan``, ``across`` (along x, below the plan) and ``along`` (along y, beside it).

    Examples
    --------
    >>> import velko
    >>> axes = velko.plot.model("survey.mtx", "survey.sus", x=62, topography="survey.topography")
    >>> axes.along.get_title()
    'x = 65 m'
    """
    cells, values, name = _mesh_and_model(mesh, model)
    drawing = _Drawing(cells, values, survey, topography, whole, limits, percentiles, cmap)
    i, j, k = drawing.most_anomalous_cell()
    i, j = _cell(drawing.mesh.y, y, i, "y"), _cell(drawing.mesh.x, x, j, "x")
    k = _cell(-drawing.mesh.z, None if elevation is None else -elevation, k, "elevation")

    # Three panels on one scale: the section below the plan has its width, the one beside it its height.
    wide, high, deep = (float(np.ptp(extent)) for extent in (drawing.x, drawing.y, drawing.z))
    inches = min(6.0 / max(wide, high), 5.0 / deep)  # for a metre
    stretched = _stretch(deep * inches)
    wide, high, deep = wide * inches, high * inches, deep * inches * stretched
    left, bottom, gap, bar = 0.9, 0.65, 0.55, 0.2
    figure = plt.figure(figsize=(left + wide + gap + deep + gap / 2 + bar + 0.9, bottom + deep + gap + high + 0.8))

    def panel(x0: float, y0: float, width: float, height: float, **shared: Any) -> Axes:
        w, h = figure.get_size_inches()
        return figure.add_axes((x0 / w, y0 / h, width / w, height / h), **shared)

    plan = panel(left, bottom + deep + gap, wide, high)
    drawn = drawing.plan(plan, i, j, k)
    across = panel(left, bottom, wide, deep, sharex=plan)
    drawing.section(across, True, i)
    drawing.line(across, y=drawing.middle(drawing.mesh.z, k))
    along = panel(left + wide + gap, bottom + deep + gap, deep, high, sharey=plan)
    drawing.section(along, False, j, upright=False)
    drawing.line(along, x=drawing.middle(drawing.mesh.z, k))
    plan.tick_params(labelbottom=False)
    drawing.bar(figure, drawn, cax=panel(left + wide + gap + deep + gap / 2, bottom + deep + gap, bar, high))
    heading = _heading(name if title is None else title, stretched)
    figure.suptitle(heading, fontsize=11, y=1 - 0.15 / figure.get_figheight(), va="top")
    return ModelAxes(plan, across, along)


def sections(mesh: Mesh | Name, model: npt.ArrayLike | Name, *, x: Union[float, Sequence[float]] = (),
             y: Union[float, Sequence[float]] = (), survey: Survey | None = None, topography: Name | None = None,
             whole: bool = False, limits: Range | None = None, percentiles: Range = (0, 100), cmap: Any = None,
             title: str | None = None) -> list[Axes]:
    """Vertical sections of a model, one below the other; `model` tells the options.

    Parameters
    ----------
    x, y : float or sequence of float
        Where they are: sections along y at these x, behind sections along x at these y. Without any, one through the most
        anomalous cell of what is shown.

    Returns
    -------
    list of matplotlib.axes.Axes
        In the order of y, then x.

    Examples
    --------
    >>> import velko
    >>> [axes.get_title() for axes in velko.plot.sections("survey.mtx", "survey.sus", y=[45, 85], x=62)]
    ['y = 45 m', 'y = 85 m', 'x = 65 m']
    """
    cells, values, name = _mesh_and_model(mesh, model)
    drawing = _Drawing(cells, values, survey, topography, whole, limits, percentiles, cmap)
    cuts = [(True, _cell(cells.y, float(at), 0, "y")) for at in np.atleast_1d(y)]
    cuts += [(False, _cell(cells.x, float(at), 0, "x")) for at in np.atleast_1d(x)]
    cuts = cuts or [(True, drawing.most_anomalous_cell()[0])]
    longest = max(float(np.ptp(drawing.x if along_x else drawing.y)) for along_x, _ in cuts)
    deep = float(np.ptp(drawing.z)) * 7.0 / longest
    stretched = _stretch(deep)
    figure, column = plt.subplots(len(cuts), squeeze=False, constrained_layout=True,
                                  figsize=(8.5, 0.6 + len(cuts) * (deep * stretched + 0.8)))
    panels = list(column[:, 0])
    for axes, (along_x, n) in zip(panels, cuts):
        drawn = drawing.section(axes, along_x, n)
        axes.set_aspect(stretched)
    drawing.bar(figure, drawn, ax=panels)
    figure.suptitle(_heading(name if title is None else title, stretched), fontsize=11)
    return panels
