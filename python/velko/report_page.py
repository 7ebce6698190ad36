"""One page that tells of a run: its data, its model, the sensitivity file and how far to trust it, and the commands.

The page is one file of HTML that asks the network for nothing.
"""

from __future__ import annotations

import os
import shlex
import time
from dataclasses import dataclass
from typing import Any, Callable, Sequence

import numpy as np
from jinja2 import Environment, FileSystemLoader, StrictUndefined

from velko import _velko, plot, report_pictures
from velko.errors import Error
from velko.files import Name, _name
from velko.meshes import Array, Mesh
from velko.report_pictures import OBSERVED, PREDICTED, Line, Picture, Profiles
from velko.report_run import Run, judge, read
from velko.report_words import base, count, length, number, place, shown, shown_lines, signed, size
from velko.surveys import Survey


@dataclass(frozen=True)
class Table:
    caption: str
    head: Sequence[str]
    rows: Sequence[Sequence[str]]


# Tables


def _table_of_data(run: Run) -> Table:
    columns = {"predicted": run.predicted, "observed": None if run.observed is None else run.observed.values,
               "residual": run.residuals}
    there = {name: values for name, values in columns.items() if values is not None}
    kinds: dict[str, Callable[[Array], Any]] = {"least": np.min, "median": np.median, "mean": np.mean, "largest": np.max,
                                                "standard deviation": np.std}
    rows = [[kind, *(number(of(values)) for values in there.values())] for kind, of in kinds.items()]
    return Table("Data in nT", ("", *there), rows)


def _table_of_misfit(run: Run) -> Table | None:
    residuals, scaled = run.residuals, run.scaled_residuals
    if residuals is None or scaled is None:
        return None
    assert run.observed is not None and run.observed.values is not None
    rows = [["root mean square of the residuals", f"{_rms(residuals)} nT"],
            ["the same in standard deviations", _rms(scaled)],
            ["within one standard deviation", f"{number(100 * np.mean(np.abs(scaled) <= 1), 3)} % of the stations"],
            ["within two", f"{number(100 * np.mean(np.abs(scaled) <= 2), 3)} %"]]
    norm = float(np.linalg.norm(run.observed.values))
    if norm > 0:
        rows.append(["residuals relative to the data", f"{number(100 * np.linalg.norm(residuals) / norm, 3)} % (2-norm)"])
    return Table("Misfit", ("", ""), rows)


def _table_of_model(run: Run) -> Table:
    assert run.mesh is not None
    m, values = run.mesh, run.model.compressed() if run.model is not None and run.model.count() else np.zeros(1)
    rows = [["mesh", f"{_cells_of(m)} cells along x, y, z"],
            ["narrowest cells", f"{length(m.dx.min())} × {length(m.dy.min())} × {length(m.dz.min())}"],
            ["from west to east", f"{place(m.x[0])} to {place(m.x[-1])}"],
            ["from south to north", f"{place(m.y[0])} to {place(m.y[-1])}"],
            ["elevations", f"{place(m.z[-1])} to {place(m.z[0])}"],
            ["cells below the surface", count(int(m.below.sum()))]]
    if run.model is not None:
        rows += [["least value", f"{number(values.min())} SI"], ["median", f"{number(np.median(values))} SI"],
                 ["largest", f"{number(values.max())} SI"]]
    return Table("Mesh and model", ("", ""), rows)


def _table_of_matrix(run: Run) -> Table:
    c = run.contents
    assert c is not None
    rows = [["size", f"{count(c.shape[0])} data × {count(c.shape[1])} cells, {size(c.bytes)}"]]
    if c.compressed and c.entries.size:
        part = 100 * float(c.entries.sum(dtype=np.int64)) / (c.shape[0] * max(c.shape[1], 1))
        rows += [["form", f"compressed, {c.filter or 'unknown'} wavelets"],
                 ["cube of the transform", " × ".join(str(c.cube[n]) for n in (1, 0, 2)) + " along x, y, z"],
                 ["coefficients in a row", f"{count(c.entries.min())} to {count(c.entries.max())}, median "
                  f"{count(int(np.median(c.entries)))}"],
                 ["of a dense G", f"{number(part, 3)} % of the values"]]
    else:
        rows += [["form", "dense"]]
    if c.settings is not None:
        assert c.rows is not None and c.loss is not None
        rows += [["made by", c.settings.get("program", "unknown")],
                 *([name, value] for name, value in c.settings.items() if name not in ("program", "dense"))]
        if c.is_part:
            rows += [["part", f"rows {c.rows[0]} to {c.rows[1]} of {c.data_of_survey}"]]
        if c.compressed:
            rows += [["bound of a datum's error",
                      f"{number(c.loss.min(), 3)} to {number(c.loss.max(), 3)} nT times the largest value of the model (SI)"]]
    rows += [["memory for a run", f"{size(c.bytes_of_a_run)} beside the file"]]
    return Table("The sensitivity file", ("", ""), rows)


def _table_of_files(run: Run) -> Table:
    rows = []
    for kind, name in run.names.items():
        try:
            found = os.stat(name)
        except OSError:  # "VALUE 0.01" and "null" are no files
            rows.append([kind, shown(name), "", ""])
            continue
        changed = time.strftime("%Y-%m-%d %H:%M", time.gmtime(found.st_mtime))
        rows.append([kind, shown(name), size(found.st_size), changed])
    return Table("Files", ("", "name", "size", "changed (UTC)"), rows)


def _component(survey: Survey) -> str:
    """What was measured, unless it is the component along the field."""
    if np.ndim(survey.aincl) == 1:
        return "; measured: a component for each station"
    if (survey.aincl, survey.adecl) == (survey.incl, survey.decl):
        return ""
    return f"; measured: the component along {_angles(survey.aincl, survey.adecl)}"


def _angles(inclination: Any, declination: Any) -> str:
    return f"inclination {number(inclination)}°, declination {number(declination)}°"


def _cells_of(mesh: Mesh) -> str:
    return " × ".join(str(mesh.shape[n]) for n in (1, 0, 2))


def _rms(values: Array) -> str:
    return number(np.sqrt(np.mean(values**2)), 3)


def _facts(run: Run) -> list[tuple[str, str, str]]:
    """Label, what catches the eye, and a line below it."""
    facts = []
    s, found = run.survey, run.predicted
    if s is not None:
        facts += [("Stations", count(len(s)), f"over {length(np.ptp(s.x))} × {length(np.ptp(s.y))}, elevations {place(s.z.min())} to "
                   f"{place(s.z.max())}"),
                  ("Inducing field", f"{number(s.geomag, 6)} nT", _angles(s.incl, s.decl) + _component(s))]
    if found is not None:
        facts.append(("Predicted data", f"{number(found.min(), 3)} to {number(found.max(), 3)} nT", f"median {number(np.median(found), 3)} nT"))
    if run.residuals is not None and run.scaled_residuals is not None:
        facts.append(("Misfit", f"{_rms(run.residuals)} nT", f"root mean square; {_rms(run.scaled_residuals)} standard deviations"))
    if run.mesh is not None:
        facts.append(("Cells", count(int(run.mesh.below.sum())), f"below the surface, of {_cells_of(run.mesh)}"))
    if run.contents is not None:
        facts.append(("Sensitivity file", size(run.contents.bytes), "compressed" if run.contents.compressed else "dense"))
    return facts


# Commands


def _folded(words: Sequence[str], width: int = 72) -> str:
    """A command line as shells take it, on as many lines as it needs; options begin them."""
    lines = [""]
    for n, word in enumerate(words):
        with_value = shlex.join(words[n:n + 2])
        if word.startswith("--") and len(lines[-1]) + len(with_value) > width:
            lines.append("   ")
        lines[-1] += (" " if lines[-1] else "") + shlex.quote(word)
    return " \\\n".join(lines)


def _make_command(run: Run) -> str:
    """That which makes the sensitivity file again, as its provenance tells."""
    c = run.contents
    assert c is not None and c.settings is not None and c.rows is not None
    s = c.settings
    words = ["velkmtx", "make", run.names.get("mesh", "MESH"), run.names.get("topography", "TOPOGRAPHY"),
             run.names.get("locations", run.names.get("observed", "LOCATIONS")), run.names["matrix"]]
    if "dense" in s:
        words += ["--dense"]
    else:
        words += ["--wavelet", s["wavelet"]]
        words += ["--accuracy", s["accuracy"], "--largest", "1"] if "accuracy" in s else ["--tolerance", s["tolerance"]]
    for name in ("weights", "beta", "z0"):
        if name in s:
            words += [f"--{name}", s[name]]
    if c.is_part:
        words += ["--rows", f"{c.rows[0]}:{c.rows[1]}"]
    return _folded(words)


def _commands(run: Run, this: Sequence[str]) -> list[str]:
    lines = []
    if run.contents is not None and run.contents.settings is not None:
        lines.append(_make_command(run))
    if "matrix" in run.names and "model" in run.names:
        locations = run.names.get("locations", run.names.get("observed", run.names.get("data", "LOCATIONS")))
        lines.append(_folded(["velkrund", run.names["matrix"], locations, run.names["model"]]))
    return [shown_lines(line) for line in (*lines, _folded(this)) if line]


def _unknown(commands: Sequence[str]) -> bool:
    """Whether a file stands there by its kind alone."""
    return any(word in ("MESH", "TOPOGRAPHY", "LOCATIONS") for line in commands for word in line.split())


# Pictures


def _beyond(many: int) -> str:
    return f" {count(many, 'value')} {'lies' if many == 1 else 'lie'} beyond the ends of the axis." if many else ""


def _map(survey: Survey, values: Array, name: str, limits: tuple[float, float], told: str) -> Picture:
    high, low = int(values.argmax()), int(values.argmin())
    places = [f"{number(values[n])} nT at x {place(survey.x[n])}, y {place(survey.y[n])}" for n in (high, low)]
    return report_pictures.picture(
        report_pictures.data_map(survey, values, f"{name} (nT)", limits),
        f"Map of {name} data at {count(len(survey), 'station')}: {number(values.min())} to {number(values.max())} nT.",
        f"{name.capitalize()} data: largest {places[0]}; least {places[1]}. {told}")


def _pictures_of_residuals(survey: Survey, residuals: Array, scaled: Array) -> list[Picture]:
    draw, beyond = report_pictures.histogram([Line("residuals", OBSERVED, scaled)], "residual (standard deviations)", normal=True)
    return [
        report_pictures.picture(
            report_pictures.data_map(survey, residuals, "observed less predicted (nT)", None, contours=False),
            f"Map of the residuals: {number(residuals.min())} to {number(residuals.max())} nT.",
            "Residuals: observed less predicted data. Shapes that stay are what the model does not explain."),
        report_pictures.picture(
            draw, f"Histogram of the residuals in standard deviations, {number(scaled.min(), 3)} to {number(scaled.max(), 3)}.",
            "Residuals in units of their standard deviations, and the curve that errors of just these deviations would "
            f"follow.{_beyond(beyond)}")]


def _lines_of_data(run: Run) -> list[Line]:
    """The first is drawn through in a profile, the second as dots."""
    columns = {"predicted": (PREDICTED, run.predicted),
               "observed": (OBSERVED, None if run.observed is None else run.observed.values)}
    return [Line(name, colour, values) for name, (colour, values) in columns.items() if values is not None]


def _pictures_of_data(run: Run) -> list[Picture]:
    lines = _lines_of_data(run)
    if not lines or run.survey is None:
        return []
    limits = report_pictures.common_limits(*(line.values for line in lines))
    told = ["The arrow points where the inducing field does, seen from above.", "Its colours are those of the observed data."]
    pictures = [_map(run.survey, line.values, line.name, limits, words) for line, words in zip(reversed(lines), told)]
    if run.residuals is not None and run.scaled_residuals is not None:
        pictures += _pictures_of_residuals(run.survey, run.residuals, run.scaled_residuals)
    draw, beyond = report_pictures.histogram(lines, "nT")
    names = " and ".join(line.name for line in lines)
    return [*pictures, report_pictures.picture(draw, f"Histogram of {names} data.",
                                               f"How often which value occurs among {names} data.{_beyond(beyond)}")]


def _profiles(run: Run) -> Profiles | None:
    lines = _lines_of_data(run)
    return Profiles(run.survey, lines) if lines and run.survey is not None else None


def _words_of_profile(profiles: Profiles, half: float) -> str:
    first = profiles.lines[0].name
    if profiles.triangles is None:
        return f"{first} data along the line of the stations"
    if len(profiles.lines) == 1:
        return f"{first} data, interpolated"
    return f"{first} data, interpolated; dots: {profiles.lines[1].name} data of stations within {length(half)} of the line"


def _profiles_without_model(run: Run, x: Sequence[float], y: Sequence[float]) -> list[Picture]:
    profiles = _profiles(run)
    if profiles is None or run.survey is None:
        return []
    s, values = run.survey, profiles.lines[0].values
    most = int(np.abs(values - np.median(values)).argmax())
    cuts = [(True, float(at)) for at in y] + [(False, float(at)) for at in x]
    cuts = cuts or [(True, float(s.y[most])), (False, float(s.x[most]))]
    if profiles.triangles is None:
        cuts = cuts[:1] if np.ptp(s.x) >= np.ptp(s.y) else [(False, float(s.x[most]))]
    return [_picture_of_profile(profiles, along_x, at) for along_x, at in cuts if np.ptp(s.x if along_x else s.y) > 0]


def _picture_of_profile(profiles: Profiles, along_x: bool, at: float) -> Picture:
    half = profiles.spacing / 2
    where = f"{_way(along_x)} at {_axis(along_x)} = {place(at)}"
    return report_pictures.picture(report_pictures.profile(profiles, along_x, at, half), f"Profile of the data {where}.",
                                   f"Profile {where}: {_words_of_profile(profiles, half)}.", wide=True)


def _way(along_x: bool) -> str:
    return "from west to east" if along_x else "from south to north"


def _axis(along_x: bool) -> str:
    """On which a section along the other has its place."""
    return "y" if along_x else "x"


def _cells(edges: Array, places: Sequence[float], default: int, name: str) -> list[int]:
    return [plot._cell(edges, float(at), default, name) for at in places] or [default]


Places = Sequence[float]


def _pictures_of_model(run: Run, x: Places, y: Places, z: Places) -> tuple[list[Picture], list[Picture]]:
    """Plans, and sections below the data."""
    assert run.mesh is not None
    drawing = plot._Drawing(run.mesh, run.model, run.survey, run.names.get("topography"), False, None, (0, 100), None)
    i, j, k = drawing.most_anomalous_cell()
    m = drawing.mesh
    rows, columns = _cells(m.y, y, i, "y"), _cells(m.x, x, j, "x")
    layers = _cells(-m.z, [-at for at in z], k, "elevation")
    profiles = _profiles(run)
    plans = [_picture_of_plan(drawing, rows[0], columns[0], layer, chosen=bool(z)) for layer in layers]
    sections = [_picture_of_section(drawing, profiles, along_x, n, chosen=bool(y if along_x else x))
                for along_x, cuts in ((True, rows), (False, columns)) for n in cuts]
    return plans, sections


def _picture_of_plan(drawing: plot._Drawing, i: int, j: int, k: int, chosen: bool) -> Picture:
    level = signed(drawing.text(drawing.mesh.z, k))
    why = "" if chosen else ", the level of its most anomalous cell"
    stations = " Dots: stations." if drawing.survey is not None else ""
    return report_pictures.picture(
        report_pictures.plan(drawing, i, j, k), f"Plan of the model at elevation {level}.",
        f"The model from above, at elevation {level}{why}. Dashed: where the first sections below cut it.{stations}")


def _words_of_section(drawing: plot._Drawing) -> str:
    lines = ["black: the surface as the cells have it"] if drawing.mesh.surface is not None else []
    lines += ["brown: the terrain"] if drawing.topography is not None else []
    lines += ["triangles: stations over these cells"] if drawing.survey is not None else []
    return "; ".join(["below: susceptibility", *lines]).capitalize() + "."


def _picture_of_section(drawing: plot._Drawing, profiles: Profiles | None, along_x: bool, n: int, chosen: bool) -> Picture:
    edges = drawing.mesh.y if along_x else drawing.mesh.x
    half = float(edges[n + 1] - edges[n]) / 2
    stretched = report_pictures.stretch_of_section(drawing, along_x)
    where = f"{_way(along_x)} at {_axis(along_x)} = {place(drawing.middle(edges, n))}"
    words = [f"{where[0].upper()}{where[1:]}{'' if chosen else ', through the most anomalous cell'}."]
    words += [f"Above: {_words_of_profile(profiles, half)}."] if profiles is not None else []
    words += [_words_of_section(drawing)]
    words += [f"Elevations are stretched {stretched:g} times."] if stretched != 1 else []
    return report_pictures.picture(
        report_pictures.section(drawing, along_x, n, profiles, half),
        f"Section of the model {where}{', below a profile of the data' if profiles is not None else ''}.", " ".join(words), wide=True)


# The page


def _written_on() -> str:
    """As reproducible builds have it, where they tell."""
    now = float(os.environ.get("SOURCE_DATE_EPOCH") or time.time())
    return time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime(now))


def _default_title(names: dict[str, str]) -> str:
    main = next(names[kind] for kind in ("data", "matrix", "observed", "model", "mesh", "locations") if kind in names)
    return f"Report of {base(main)}"


def _template() -> Any:
    loader = FileSystemLoader(os.path.dirname(os.path.abspath(__file__)))
    return Environment(loader=loader, autoescape=True, undefined=StrictUndefined, trim_blocks=True,
                       lstrip_blocks=True).get_template("report_page.html")


def report(output: Name, *, matrix: Name | None = None, data: Name | None = None, observed: Name | None = None,
           locations: Name | None = None, model: Name | None = None, mesh: Name | None = None,
           topography: Name | None = None, x: Sequence[float] = (), y: Sequence[float] = (),
           elevation: Sequence[float] = (), title: str | None = None, commands: Name | None = None, verify: int = 16,
           command: Sequence[str] = ()) -> list[str]:
    """Writes a page that tells of a run: one file of HTML that needs nothing else, for screens, phones and paper.

    Parameters
    ----------
    output : path
        HTML file to write; replaced when it is whole.
    matrix : path, optional
        Sensitivity file. Tells the mesh, and how far to trust predicted data.
    data, observed, locations : path, optional
        Predicted data, observed data with standard deviations, stations. Where there are a matrix and a model and no
        predicted data, they are computed.
    model : path, optional
        Model file, or ``"VALUE number"``; needs the matrix or a mesh.
    mesh, topography : path, optional
        Mesh file and topography file. Beside a matrix they are compared with it.
    x, y, elevation : sequence of float, optional
        Where the model is cut; unless given, through its most anomalous cell.
    title : str, optional
        Unless given, the name of a file.
    commands : path, optional
        Text file with the commands of the run, shown as it is.
    verify : int
        Stations at which predicted data are compared with exact ones.
    command : sequence of str
        The command line that asks for the page, which shows it.

    Returns
    -------
    list of str
        What does not fit together; the page tells it too.

    Examples
    --------
    >>> import velko
    >>> velko.report("report.html", matrix="survey.mtx", data="survey.vlk", model="survey.sus", title="A hill")
    []
    >>> page = open("report.html").read()
    >>> "<title>A hill</title>" in page, page.count("<img ")
    (True, 5)
    """
    given = {"matrix": matrix, "data": data, "observed": observed, "locations": locations, "model": model, "mesh": mesh,
             "topography": topography}
    names = {kind: _name(name) for kind, name in given.items() if name is not None}
    if not set(names) - {"topography"}:
        raise ValueError("a report needs a matrix, data, or a model with its mesh")
    run = read(names)
    if run.contents is not None:
        judge(run, verify)
    page = _render(run, x, y, elevation, title or _default_title(names), _lines_of(commands), command)
    _velko.write_bytes(_name(output), page.encode())
    return [verdict.text for verdict in run.verdicts if verdict.holds is False]


def _lines_of(commands: Name | None) -> list[str]:
    if commands is None:
        return []
    try:
        with open(commands, encoding="utf-8", errors="replace") as opened:
            return [shown(line.replace("\t", "  ")) for line in opened.read().splitlines()]
    except OSError as failure:
        raise Error(f"cannot read {_name(commands)}: {failure.strerror}") from None


def _render(run: Run, x: Sequence[float], y: Sequence[float], elevation: Sequence[float], title: str, told: Sequence[str],
            command: Sequence[str]) -> str:
    plans, sections = _pictures_of_model(run, x, y, elevation) if run.model is not None else ([], [])
    has_data = run.predicted is not None or run.observed is not None
    return str(_template().render(
        title=shown(title), written=_written_on(), facts=_facts(run),
        verdicts=run.verdicts, faults=[v for v in run.verdicts if v.holds is False],
        data_pictures=_pictures_of_data(run) if has_data else [],
        profiles=_profiles_without_model(run, x, y) if has_data and run.model is None else [],
        data_tables=[t for t in (_table_of_data(run), _table_of_misfit(run)) if t is not None] if has_data else [],
        predicted_here=run.predicted is not None and "data" not in run.names, plans=plans, sections=sections,
        model_table=_table_of_model(run) if run.mesh is not None else None,
        matrix_table=_table_of_matrix(run) if run.contents is not None else None, files=_table_of_files(run), told=told,
        commands=_commands(run, command), unknown=_unknown(_commands(run, command))))
