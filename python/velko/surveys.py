"""The survey: stations, the field that magnetises, and what was measured or predicted there."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from velko import _velko

if TYPE_CHECKING:
    import pandas
    import xarray

Array = npt.NDArray[np.float64]


def _vector(values: Any, length: int, name: str) -> Array:
    array = np.array(values, dtype=float)
    if array.shape != (length,):
        raise ValueError(f"{name} has shape {array.shape}, and the survey {length} stations")
    array.flags.writeable = False
    return array


def _field(attributes: Any, given: dict[str, Any], what: str) -> dict[str, Any]:
    """The inducing field by what is given, else by the attributes of a frame or a map."""
    found = {name: attributes.get(name) if value is None else value for name, value in given.items()}
    missing = [name for name, value in found.items() if value is None]
    if missing:
        raise ValueError(f"the {what} does not tell {', '.join(missing)}")
    return found


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
        """The same stations with other values.

        Examples
        --------
        >>> import velko
        >>> velko.read_locations("survey.loc").with_values(range(36), deviations=[2.0] * 36).values[:3]
        array([0., 1., 2.])
        """
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
        inducing = _field(frame.attrs, {"incl": incl, "decl": decl, "geomag": geomag}, "frame")
        names = ("x", "y", "z", "aincl", "adecl", "values", "deviations")
        return cls(**{name: frame[name].to_numpy() for name in names if name in frame}, **inducing)

    def to_xarray(self, spacing: float | None = None, name: str = "anomaly") -> xarray.DataArray:
        """The values as a map, an `xarray.DataArray` over y and x; the field stands in its ``attrs``.

        Parameters
        ----------
        spacing : float, optional
            Of nodes between the stations, at whole multiples of it: linear over the Delaunay triangulation, NaN beyond its hull.
            Unless given, the nodes are the stations, which then lie on a grid; places without a station are NaN.
        name : str
            Of the array.

        Examples
        --------
        >>> import velko
        >>> survey = velko.read_predicted("survey.vlk")
        >>> grid = survey.to_xarray()
        >>> grid.shape, grid.sel(x=65, y=90).item() in survey.values[(survey.x == 65) & (survey.y == 90)]
        ((6, 6), True)
        >>> survey.to_xarray(spacing=10).sizes["x"]
        15
        """
        import xarray

        if self.values is None:
            raise ValueError("the survey has no values to make a map of")
        if spacing is not None and not 0 < spacing < 1e300:
            raise ValueError("the spacing is a positive length")
        x, y, nodes = _velko.grid_of_data(self.x, self.y, self.values, spacing or 0.0)
        field_of_survey = {"incl": self.incl, "decl": self.decl, "geomag": self.geomag}
        return xarray.DataArray(nodes, coords={"y": y, "x": x}, dims=("y", "x"), name=name, attrs={"units": "nT", **field_of_survey})

    @classmethod
    def from_xarray(cls, grid: xarray.DataArray, z: npt.ArrayLike | xarray.DataArray, incl: float | None = None,
                    decl: float | None = None, geomag: float | None = None) -> Survey:
        """Stations at the nodes of a map that have a value.

        Parameters
        ----------
        grid : xarray.DataArray
            Values over x and y, in either order of the two.
        z : float or array_like or xarray.DataArray
            Elevation of the stations, one for all or one for each node.
        incl, decl, geomag : float, optional
            The field; unless given, that of the map's ``attrs``.

        Examples
        --------
        >>> import velko
        >>> survey = velko.read_predicted("survey.vlk")
        >>> again = velko.Survey.from_xarray(survey.to_xarray(), z=75)
        >>> len(again), bool((sorted(again.values) == sorted(survey.values)))
        (36, True)
        """
        values = grid.transpose("y", "x")
        heights = z.transpose("y", "x") if hasattr(z, "transpose") and hasattr(z, "dims") and z.dims else z
        here = np.isfinite(values.to_numpy())
        x, y = np.meshgrid(values["x"].to_numpy(), values["y"].to_numpy())
        each = np.broadcast_to(np.asarray(heights, float), here.shape)
        inducing = _field(grid.attrs, {"incl": incl, "decl": decl, "geomag": geomag}, "map")
        return cls(x[here], y[here], each[here], values=values.to_numpy()[here], **inducing)

    def __repr__(self) -> str:
        text = (f"Survey of {len(self)} stations, field {self.geomag:g} nT, inclination {self.incl:g}, "
                f"declination {self.decl:g}")
        if self.values is not None:
            text += f", values from {self.values.min():g} to {self.values.max():g}"
        return text
