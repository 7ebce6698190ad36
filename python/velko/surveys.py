"""The survey: stations, the field that magnetises, and what was measured or predicted there."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

if TYPE_CHECKING:
    import pandas

Array = npt.NDArray[np.float64]


def _vector(values: Any, length: int, name: str) -> Array:
    array = np.array(values, dtype=float)
    if array.shape != (length,):
        raise ValueError(f"{name} has shape {array.shape}, and the survey {length} stations")
    array.flags.writeable = False
    return array


@dataclass(frozen=True, eq=False)
class Survey:
    """Stations, and what belongs to them.

    Parameters
    ----------
    x, y, z : array_like
        Positions: east, north, elevation.
    incl, decl, geomag : float
        Inclination (degrees, positive down), declination (degrees, clockwise from north) and strength (nT) of the
        inducing field.
    aincl, adecl : float or array_like, optional
        Direction of the measured component, common to all stations or one for each; that of the inducing field
        unless given.
    values : array_like, optional
        Observed or predicted data (nT).
    deviations : array_like, optional
        Their standard deviations.

    Examples
    --------
    >>> import velko
    >>> survey = velko.Survey([0, 50], [0, 0], [10, 10], incl=62, decl=4, geomag=52000, values=[1.5, -7])
    >>> survey
    Survey of 2 stations, field 52000 nT, inclination 62, declination 4, values from -7 to 1.5
    >>> survey.aincl
    62.0
    >>> survey.with_values(None).values is None
    True
    """

    x: Array
    y: Array
    z: Array
    incl: float
    decl: float
    geomag: float
    aincl: float | Array = field(default=None)  # type: ignore[assignment]
    adecl: float | Array = field(default=None)  # type: ignore[assignment]
    values: Array | None = None
    deviations: Array | None = None

    def __post_init__(self) -> None:
        def put(name: str, value: Any) -> None:
            object.__setattr__(self, name, value)

        count = np.asarray(self.x).size
        if count == 0:
            raise ValueError("the survey has no station")
        for name in ("x", "y", "z"):
            put(name, _vector(getattr(self, name), count, name))
        for name in ("incl", "decl", "geomag"):
            put(name, float(getattr(self, name)))
        aincl = self.incl if self.aincl is None else self.aincl
        adecl = self.decl if self.adecl is None else self.adecl
        common = np.ndim(aincl) == 0 and np.ndim(adecl) == 0
        for name, angle in (("aincl", aincl), ("adecl", adecl)):
            put(name, float(angle) if common else _vector(np.broadcast_to(angle, count), count, name))
        for name in ("values", "deviations"):
            if getattr(self, name) is not None:
                put(name, _vector(getattr(self, name), count, name))
        if self.deviations is not None and self.values is None:
            raise ValueError("deviations without values")
        if self.deviations is not None and not (self.deviations > 0).all():
            raise ValueError("a standard deviation is not above 0")

    def __len__(self) -> int:
        return self.x.size

    def with_values(self, values: npt.ArrayLike | None, deviations: npt.ArrayLike | None = None) -> Survey:
        """The same stations with other values."""
        return Survey(self.x, self.y, self.z, self.incl, self.decl, self.geomag, self.aincl, self.adecl, values,  # type: ignore[arg-type]
                      deviations)  # type: ignore[arg-type]

    def to_pandas(self) -> pandas.DataFrame:
        """The stations as a `pandas.DataFrame`; the field stands in its ``attrs``.

        Examples
        --------
        >>> import velko
        >>> survey = velko.Survey([0, 50], [0, 0], [10, 12], incl=62, decl=4, geomag=52000, values=[1.5, -7])
        >>> survey.to_pandas()
              x    y     z  values
        0   0.0  0.0  10.0     1.5
        1  50.0  0.0  12.0    -7.0
        """
        import pandas

        columns = {name: getattr(self, name) for name in ("x", "y", "z", "aincl", "adecl", "values", "deviations")}
        frame = pandas.DataFrame({name: column for name, column in columns.items() if np.ndim(column) == 1})
        frame.attrs.update(incl=self.incl, decl=self.decl, geomag=self.geomag)
        return frame

    @classmethod
    def from_pandas(cls, frame: pandas.DataFrame, incl: float | None = None, decl: float | None = None,
                    geomag: float | None = None) -> Survey:
        """Stations of a `pandas.DataFrame` with columns x, y, z, and others by the names of the parameters.

        The field is that of the arguments, or of the frame's ``attrs``.

        Examples
        --------
        >>> import pandas, velko
        >>> frame = pandas.DataFrame({"x": [0, 50], "y": [0, 0], "z": [10, 12]})
        >>> velko.Survey.from_pandas(frame, incl=62, decl=4, geomag=52000)
        Survey of 2 stations, field 52000 nT, inclination 62, declination 4
        """
        given = {"incl": incl, "decl": decl, "geomag": geomag}
        inducing = {name: frame.attrs.get(name) if value is None else value for name, value in given.items()}
        missing = [name for name, value in inducing.items() if value is None]
        if missing:
            raise ValueError(f"the frame does not tell {', '.join(missing)}")
        names = ("x", "y", "z", "aincl", "adecl", "values", "deviations")
        return cls(**{name: frame[name].to_numpy() for name in names if name in frame}, **inducing)

    def __repr__(self) -> str:
        text = (f"Survey of {len(self)} stations, field {self.geomag:g} nT, inclination {self.incl:g}, "
                f"declination {self.decl:g}")
        if self.values is not None:
            text += f", values from {self.values.min():g} to {self.values.max():g}"
        return text
