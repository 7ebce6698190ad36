"""The run that a report tells of: its files, read, and whether they belong together and can be trusted."""

from __future__ import annotations

import os
import tempfile
from dataclasses import dataclass, field
from typing import Any

import numpy as np

from velko.contents import Contents, differences, info
from velko.design import topography as with_topography
from velko.files import read_data, read_locations, read_mesh, read_model, read_predicted
from velko.making import make
from velko.meshes import Array, Mesh
from velko.operators import Operator
from velko.operators import open as open_matrix
from velko.report_words import base, count, number
from velko.surveys import Survey

VALUES_TO_VERIFY = 200_000_000  # of exact rows: more would take long
PART_OF_DATA = 0.05  # which compression may cost, and not more


@dataclass(frozen=True)
class Verdict:
    """One answer to whether a result can be trusted; `holds` is None where nobody can tell."""

    subject: str
    holds: bool | None
    text: str
    more: tuple[str, ...] = ()

    @property
    def word(self) -> str:
        return {True: "yes", False: "no", None: "unknown"}[self.holds]


@dataclass
class Run:
    """What a page is made of; everything but the names may be missing."""

    names: dict[str, str]
    contents: Contents | None = None
    matrix: Operator | None = None
    survey: Survey | None = None
    predicted: Array | None = None
    observed: Survey | None = None
    mesh: Mesh | None = None
    model: Any = None
    verdicts: list[Verdict] = field(default_factory=list)

    @property
    def residuals(self) -> Array | None:
        if self.observed is None or self.predicted is None:
            return None
        assert self.observed.values is not None
        return self.observed.values - self.predicted

    @property
    def scaled_residuals(self) -> Array | None:
        """In standard deviations."""
        residuals = self.residuals
        if residuals is None:
            return None
        assert self.observed is not None and self.observed.deviations is not None
        return residuals / self.observed.deviations

    @property
    def largest(self) -> float:
        """Of the model, by size."""
        return float(np.abs(self.model).max()) if self.model is not None and self.model.count() else 0.0


def _check_same_survey(one: Survey, of_one: str, other: Survey, of_other: str) -> None:
    """To the tenth digit: predicted data have no more."""
    if len(one) != len(other):
        raise ValueError(f"{of_one} has {count(len(one), 'station')}, {of_other} has {len(other)}: they are not one survey")
    same = np.all([np.isclose(getattr(one, n), getattr(other, n), rtol=1e-9, atol=1e-9) for n in ("x", "y", "z")], axis=0)
    if not same.all():
        raise ValueError(f"{of_one} and {of_other} have different stations; the first is datum {same.argmin() + 1}")


def _some(survey: Survey, chosen: Any) -> Survey:
    angles = (a if np.ndim(a) == 0 else np.asarray(a)[chosen] for a in (survey.aincl, survey.adecl))
    return Survey(survey.x[chosen], survey.y[chosen], survey.z[chosen], survey.incl, survey.decl, survey.geomag, *angles)


READERS = {"data": read_predicted, "observed": read_data, "locations": read_locations}


def _read_surveys(run: Run) -> None:
    """Predicted data tell the stations before others do, and all must agree."""
    first = ""
    for kind, reader in READERS.items():
        if kind not in run.names:
            continue
        found = reader(run.names[kind])
        if run.survey is not None:
            _check_same_survey(run.survey, run.names[first], found, run.names[kind])
        else:
            run.survey, first = found, kind
        if kind == "data":
            run.predicted = found.values
        if kind == "observed":
            run.observed = found


def _read_mesh_and_model(run: Run) -> None:
    names = run.names
    if "matrix" in names:
        run.contents = info(names["matrix"])
        run.matrix = open_matrix(names["matrix"])
        run.mesh = run.matrix.mesh
        run.survey = run.survey or run.contents.stations
    elif "mesh" in names:
        run.mesh = read_mesh(names["mesh"])
        if "topography" in names:
            run.mesh = with_topography(run.mesh, names["topography"])
    if "model" in names:
        if run.mesh is None:
            raise ValueError(f"the model {names['model']} needs its mesh: --matrix or --mesh tells it")
        run.model = read_model(names["model"], run.mesh)


def read(names: dict[str, str]) -> Run:
    """Everything that was given a name, the parts that are quick to refuse first."""
    run = Run(names)
    _read_surveys(run)
    _read_mesh_and_model(run)
    columns = {"data": run.predicted, "model": run.model, "observed": None if run.observed is None else run.observed.values}
    for kind, values in columns.items():
        if values is not None and not np.isfinite(np.ma.compressed(values)).all():
            raise ValueError(f"{names[kind]} holds a value that is not finite")
    return run


def _verdict_of_bytes(run: Run) -> Verdict:
    assert run.contents is not None
    subject, name = "Undamaged", base(run.names["matrix"])
    faults = run.contents.faults
    if faults:
        told = f"{name} is damaged or does not fit together: {count(len(faults), 'fault')}."
        return Verdict(subject, False, told, faults[:8])
    if run.contents.settings is None:
        return Verdict(subject, None, f"{name} fits together. It has no provenance, so nobody can tell whether values have changed.")
    return Verdict(subject, True, f"Every byte of {name} is as it was written: all checksums agree.")


def _verdict_of_survey(run: Run, survey: Survey, name: str) -> Verdict:
    assert run.contents is not None
    matrix = base(run.names["matrix"])
    faults = differences(run.names["matrix"], run.contents, survey)
    if faults:
        return Verdict("Stations", False, f"{matrix} was not made for the stations of {name}.", tuple(faults))
    if run.contents.settings is None:
        return Verdict("Stations", None, f"{name} has as many data as {matrix}, which tells no more of its stations.")
    return Verdict("Stations", True, f"{matrix} was made for the stations and the field of {name}.")


def _verdict_of_mesh(run: Run) -> Verdict:
    assert run.mesh is not None
    mesh = read_mesh(run.names["mesh"])
    matrix, name = base(run.names["matrix"]), base(run.names["mesh"])
    same = mesh.shape == run.mesh.shape and all(np.allclose(getattr(mesh, n), getattr(run.mesh, n), rtol=1e-9)
                                                for n in ("x", "y", "z"))
    return Verdict("Mesh", same, f"{matrix} {'has' if same else 'has not'} the mesh of {name}.")


def _verdict_of_surface(run: Run) -> Verdict:
    assert run.mesh is not None and run.mesh.surface is not None
    other = with_topography(run.mesh, run.names["topography"]).surface
    apart = int((other != run.mesh.surface).sum())
    matrix, name = base(run.names["matrix"]), base(run.names["topography"])
    if apart == 0:
        return Verdict("Surface", True, f"{matrix} has the surface of {name}.")
    return Verdict("Surface", False, f"{matrix} has another surface than that of {name}, in {count(apart, 'column')}"
                   f" of {count(run.mesh.surface.size)}.")


def _verdict_of_prediction(run: Run, product: Array) -> Verdict:
    """The file of predicted data has seven digits."""
    assert run.predicted is not None
    apart, most = float(np.abs(product - run.predicted).max()), float(np.abs(product).max())
    matrix, model, data = (base(run.names[n]) for n in ("matrix", "model", "data"))
    if apart <= 2e-6 * most + 1e-12:
        told = "computed again, with the same result to its last digit."
        return Verdict("Prediction", True, f"{data} is what {matrix} predicts for {model}: {told}")
    told = f"data differ by up to {number(apart, 3)} nT."
    return Verdict("Prediction", False, f"{data} is not what {matrix} predicts for {model}: {told}")


def _spread_out(rows: int, most: int) -> Any:
    return np.unique(np.linspace(0, rows - 1, min(rows, most)).round().astype(int))


def _measured_errors(run: Run, product: Array, most: int) -> Array:
    """Of data of this model at some stations: exact rows, for the same mesh and surface, are made for them."""
    assert run.contents is not None and run.contents.stations is not None and run.matrix is not None
    chosen = _spread_out(run.matrix.shape[0], min(most, VALUES_TO_VERIFY // run.matrix.shape[1]))
    if chosen.size == 0:
        return np.empty(0)
    with tempfile.TemporaryDirectory(prefix="velko-") as folder:
        exact = os.path.join(folder, "exact.mtx")
        make(exact, run.matrix.mesh, _some(run.contents.stations, chosen), dense=True, weights="none")
        with open_matrix(exact) as rows:
            errors: Array = product[chosen] - rows @ run.matrix.vector(run.model)
    return errors


def _share_of_deviations(run: Run, error: float) -> str:
    if run.observed is None or run.observed.deviations is None:
        return ""
    share = 100 * error / float(np.median(run.observed.deviations))
    return f", {number(share, 2)} % of the median standard deviation of the observed data"


def _verdict_of_accuracy(run: Run, product: Array, most: int) -> Verdict:
    assert run.contents is not None
    if not run.contents.compressed:
        return Verdict("Accuracy", True, "Rows are dense: nothing of them was left out, and data are exact to seven digits.")
    if run.contents.loss is None:
        return Verdict("Accuracy", None, "What compression costs is not told: the file has no provenance.")
    bound = float(run.contents.loss.max()) * run.largest
    proven = f"Proven: no datum is off by more than {number(bound, 3)} nT for values up to {number(run.largest, 3)} SI, as these are."
    errors = _measured_errors(run, product, most)
    if errors.size == 0:
        return Verdict("Accuracy", None, proven)
    typical, worst, scale = (float(v) for v in (_rms(errors), np.abs(errors).max(), _rms(product)))
    good = typical <= PART_OF_DATA * scale
    part = f" ({number(100 * typical / scale, 2)} % of the data)" if scale > 0 else ""
    advice = () if good else (f"That is beyond {100 * PART_OF_DATA:g} % of the data: a smaller --tolerance costs less of them.",)
    told = (f"What compression left out costs a datum of this model {number(typical, 2)} nT{part} as a rule"
            f"{_share_of_deviations(run, typical)}; at most {number(worst, 2)} nT at {count(errors.size, 'station')} where it was "
            "compared with exact rows.")
    return Verdict("Accuracy", good, told, (*advice, proven))


def _rms(values: Array) -> float:
    return float(np.sqrt(np.mean(values**2)))


def judge(run: Run, verify: int) -> None:
    """Fills the verdicts, and the predicted data where no file has them."""
    assert run.contents is not None and run.matrix is not None
    run.verdicts.append(_verdict_of_bytes(run))
    for name in ("data", "observed", "locations"):
        if name in run.names:
            survey = run.observed if name == "observed" else run.survey
            assert survey is not None
            run.verdicts.append(_verdict_of_survey(run, survey, base(run.names[name])))
    if "mesh" in run.names:
        run.verdicts.append(_verdict_of_mesh(run))
    if "topography" in run.names:
        run.verdicts.append(_verdict_of_surface(run))
    if run.model is None:
        return
    product = run.matrix @ run.matrix.vector(run.model)
    if run.predicted is not None and run.predicted.size == product.size:
        run.verdicts.append(_verdict_of_prediction(run, product))
    elif run.predicted is None and run.survey is not None and len(run.survey) == product.size:
        run.predicted = product
    run.verdicts.append(_verdict_of_accuracy(run, product, verify))
