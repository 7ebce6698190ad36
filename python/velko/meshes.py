"""The mesh: its cells, its surface, and the orders in which models walk through them."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Literal

import numpy as np
import numpy.typing as npt

if TYPE_CHECKING:
    import xarray

Array = npt.NDArray[np.float64]
Order = Literal["model", "surface"]


def _edges(start: float, widths: Array) -> Array:
    """Running sums, as the library forms them."""
    return np.cumsum(np.insert(widths, 0, start))


def _constant(values: Any, kind: npt.DTypeLike = np.float64) -> npt.NDArray[Any]:
    array = np.array(values, dtype=kind)
    array.flags.writeable = False
    return array


class Mesh:
    """A rectilinear mesh: x east, y north, z down from its top; with the surface that cuts it, where that is known.

    Parameters
    ----------
    dx, dy, dz : array_like
        Widths of the cells: eastward, northward, and downward from the top.
    origin : tuple of float
        Western edge, southern edge, elevation of the top.
    surface : array_like of int, optional
        ``surface[y, x]`` cells of the column lie above the surface.

    Attributes
    ----------
    x, y : ndarray
        Edges of the cells, one more than there are cells.
    z : ndarray
        Elevations of the edges, from the top down.
    depth : ndarray
        The same as depths below the top.
    top : float
        Elevation of the top.
    shape : tuple of int
        Cells along y, x and z: the shape of a model.

    Notes
    -----
    A model is an array ``[y, x, z]``, z from the top down, or a vector in one of two orders:

    ``"model"``
        every cell of the mesh, y outermost, then x, z fastest: the order of a model file;
    ``"surface"``
        the same without the cells above the surface: the columns of G.

    Examples
    --------
    Six cells, of which one lies above the surface:

    >>> import velko
    >>> mesh = velko.Mesh([10, 10, 10], [20], [5, 5], origin=(0, 0, 100), surface=[[0, 1, 0]])
    >>> mesh
    Mesh of 3 x 1 x 2 cells along x, y, z, 5 of them below the surface
    >>> mesh.z
    array([100.,  95.,  90.])
    >>> model = mesh.to_array([1, 2, 3, 4, 5])
    >>> model[0]
    masked_array(
      data=[[1.0, 2.0],
            [--, 3.0],
            [4.0, 5.0]],
      mask=[[False, False],
            [ True, False],
            [False, False]],
      fill_value=0.0)
    >>> mesh.to_vector(model)
    array([1., 2., 3., 4., 5.])
    """

    def __init__(self, dx: npt.ArrayLike, dy: npt.ArrayLike, dz: npt.ArrayLike,
                 origin: tuple[float, float, float] = (0.0, 0.0, 0.0), surface: npt.ArrayLike | None = None) -> None:
        widths = [_constant(np.atleast_1d(np.asarray(d, float))) for d in (dx, dy, dz)]
        starts = (float(origin[0]), float(origin[1]), 0.0)
        self._set([_edges(start, d) for start, d in zip(starts, widths)], widths, float(origin[2]), surface)

    @classmethod
    def from_edges(cls, x: npt.ArrayLike, y: npt.ArrayLike, z: npt.ArrayLike,
                   surface: npt.ArrayLike | None = None) -> Mesh:
        """A mesh from its edges: ascending along x and y, descending elevations along z.

        Examples
        --------
        >>> import velko
        >>> velko.Mesh.from_edges([0, 10, 30], [0, 5], [100, 90, 70]).dz
        array([10., 20.])
        """
        z = np.asarray(z, float)
        edges = [np.asarray(x, float), np.asarray(y, float), z[0] - z]
        mesh = cls.__new__(cls)
        mesh._set(edges, [np.diff(e) for e in edges], float(z[0]), surface)
        return mesh

    @classmethod
    def _from_library(cls, found: dict[str, Any]) -> Mesh:
        mesh = cls.__new__(cls)
        mesh._set([found[n] for n in ("x", "y", "depth")], [found[n] for n in ("dx", "dy", "dz")], found["top"],
                  found["surface"])
        return mesh

    def _set(self, edges: list[Array], widths: list[Array], top: float, surface: npt.ArrayLike | None) -> None:
        for axis, d in zip("xyz", widths):
            if d.ndim != 1 or d.size == 0:
                raise ValueError(f"the mesh has no cell along {axis}")
            if not (np.isfinite(d).all() and (d > 0).all()):
                raise ValueError(f"the mesh has a cell along {axis} whose width is not positive")
        self.x, self.y, self.depth = (_constant(e) for e in edges)
        self.dx, self.dy, self.dz = (_constant(d) for d in widths)
        self.top = top
        self.surface = None if surface is None else self._checked_surface(surface)

    def _checked_surface(self, surface: npt.ArrayLike) -> npt.NDArray[np.int32]:
        cells = np.asarray(surface)
        if cells.shape != self.shape[:2]:
            raise ValueError(f"the surface has shape {cells.shape}, and the mesh {self.shape[:2]} columns along y and x")
        if cells.min() < 0 or cells.max() > self.shape[2] or not np.array_equal(cells, cells.astype(np.int32)):
            raise ValueError(f"the surface holds something else than whole numbers from 0 to {self.shape[2]}")
        return _constant(cells, np.int32)

    @property
    def shape(self) -> tuple[int, int, int]:
        return self.dy.size, self.dx.size, self.dz.size

    @property
    def z(self) -> Array:
        return self.top - self.depth

    @property
    def centres(self) -> tuple[Array, Array, Array]:
        """x, y and elevation of the middles of the cells, along each axis."""
        x, y, z = ((e[:-1] + e[1:]) / 2 for e in (self.x, self.y, self.z))
        return x, y, z

    @property
    def below(self) -> npt.NDArray[np.bool_]:
        """Which cells lie below the surface: an array like a model."""
        if self.surface is None:
            return np.ones(self.shape, dtype=bool)
        return np.arange(self.shape[2]) >= self.surface[:, :, None]

    @property
    def ncells(self) -> int:
        """All cells of the mesh."""
        return int(np.prod(self.shape))

    @property
    def nbelow(self) -> int:
        """Cells below the surface."""
        return self.ncells if self.surface is None else int(self.ncells - self.surface.sum(dtype=np.int64))

    def with_surface(self, surface: npt.ArrayLike | None) -> Mesh:
        """The same cells below another surface.

        Examples
        --------
        >>> import velko
        >>> velko.Mesh([10, 10], [20], [5, 5]).with_surface([[0, 1]])
        Mesh of 2 x 1 x 2 cells along x, y, z, 3 of them below the surface
        """
        mesh = type(self).__new__(type(self))
        mesh._set([self.x, self.y, self.depth], [self.dx, self.dy, self.dz], self.top, surface)
        return mesh

    def to_array(self, vector: npt.ArrayLike, order: Order | None = None) -> np.ma.MaskedArray[Any, Any]:
        """A model vector as an array ``[y, x, z]``, masked above the surface.

        Parameters
        ----------
        vector : array_like
            One value for each cell below the surface, or for each of the mesh.
        order : {"model", "surface"}, optional
            The order of the vector; if not given, its length tells.

        Returns
        -------
        numpy.ma.MaskedArray
            0 above the surface, where the vector has nothing to say.

        Examples
        --------
        >>> import velko
        >>> mesh = velko.Mesh([10, 10], [20], [5, 5], surface=[[0, 1]])
        >>> mesh.to_array([1, 2, 3])[0, 1]
        masked_array(data=[--, 3.0],
                     mask=[ True, False],
               fill_value=0.0)
        """
        values = np.asarray(vector)
        if order is None:
            order = "surface" if values.size == self.nbelow else "model"
        wanted = self.nbelow if order == "surface" else self.ncells
        if values.size != wanted:
            raise ValueError(f"the vector has {values.size} values; order {order!r} has {wanted}")
        below = self.below
        if order == "model":
            cells = values.reshape(self.shape)
        else:
            cells = np.zeros(self.shape, dtype=values.dtype if values.dtype.kind in "fb" else float)
            cells[below] = values.ravel()
        return np.ma.MaskedArray(cells, mask=~below, fill_value=0)

    def to_vector(self, array: npt.ArrayLike, order: Order = "surface") -> npt.NDArray[Any]:
        """An array ``[y, x, z]`` as a vector; cells that are masked become 0.

        Parameters
        ----------
        array : array_like
            One value for each cell of the mesh.
        order : {"model", "surface"}
            Of the vector: all cells, or those below the surface.

        Examples
        --------
        >>> import velko
        >>> mesh = velko.Mesh([10, 10], [20], [5, 5], surface=[[0, 1]])
        >>> mesh.to_vector([[[1, 2], [9, 3]]]), mesh.to_vector([[[1, 2], [9, 3]]], order="model")
        (array([1, 2, 3]), array([1, 2, 9, 3]))
        """
        cells = np.ma.filled(np.ma.asarray(array), 0)
        if cells.shape != self.shape:
            raise ValueError(f"the array has shape {cells.shape}, and the mesh {self.shape} cells along y, x, z")
        return np.asarray(cells[self.below] if order == "surface" else cells.ravel())

    def to_xarray(self, model: npt.ArrayLike, name: str = "susceptibility") -> xarray.DataArray:
        """A model, array or vector, as an `xarray.DataArray` with the middles of the cells as coordinates.

        Examples
        --------
        >>> import velko
        >>> mesh = velko.Mesh([10, 10], [20], [5], origin=(0, 0, 100))
        >>> mesh.to_xarray([0.01, 0.02]).sel(x=15, y=10, z=97.5).item()
        0.02
        """
        import xarray

        cells = np.ma.asarray(model)
        cells = cells if cells.shape == self.shape else self.to_array(cells)
        x, y, z = self.centres
        below = cells.astype(float).filled(np.nan)
        return xarray.DataArray(np.where(self.below, below, np.nan), coords={"y": y, "x": x, "z": z},
                                dims=("y", "x", "z"), name=name)

    def from_xarray(self, model: xarray.DataArray) -> np.ma.MaskedArray[Any, Any]:
        """A model of an `xarray.DataArray` over x, y and z, in any order of them, as an array ``[y, x, z]``.

        Its coordinates are the middles of the cells. What it holds above the surface does not count.

        Examples
        --------
        >>> import velko
        >>> mesh = velko.read_mesh("survey.mtx")
        >>> model = velko.read_model("survey.sus", mesh)
        >>> again = mesh.from_xarray(mesh.to_xarray(model).transpose("z", "y", "x"))
        >>> bool((again == model).all())
        True
        """
        cells = model.transpose("y", "x", "z")
        for axis, middles, widths in zip("xyz", self.centres, (self.dx, self.dy, self.dz)):
            if cells.sizes[axis] != middles.size or np.abs(cells[axis].to_numpy() - middles).max() > 1e-3 * widths.min():
                raise ValueError(f"the coordinates of the array along {axis} are not the middles of the cells of the mesh")
        return np.ma.MaskedArray(np.where(self.below, cells.to_numpy(), 0.0), mask=~self.below, fill_value=0)

    def __eq__(self, other: object) -> bool:
        """The same edges, the same top, the same surface."""
        if not isinstance(other, Mesh):
            return NotImplemented
        mine, its = ((m.x, m.y, m.depth, np.array(m.top)) for m in (self, other))
        surfaces = self.surface is None and other.surface is None or (
            self.surface is not None and other.surface is not None and np.array_equal(self.surface, other.surface))
        return surfaces and all(map(np.array_equal, mine, its))

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        ny, nx, nz = self.shape
        below = "" if self.surface is None else f", {self.nbelow} of them below the surface"
        return f"Mesh of {nx} x {ny} x {nz} cells along x, y, z{below}"
