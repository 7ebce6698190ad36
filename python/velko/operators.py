"""G of a sensitivity file as a linear operator of SciPy."""

from __future__ import annotations

import os
from types import TracebackType
from typing import Any

import numpy as np
import numpy.typing as npt
from scipy.sparse import csr_matrix
from scipy.sparse.linalg import LinearOperator

from velko import _velko
from velko.files import Name, _name
from velko.meshes import Array, Mesh


class _Opened:
    """An open sensitivity file, which several operators may share."""

    def __init__(self, file: str) -> None:
        self.file = os.path.abspath(file)
        self._matrix: _velko.Sensitivity | None = _velko.Sensitivity(file)
        self._mesh: Mesh | None = None

    @property
    def matrix(self) -> _velko.Sensitivity:
        if self._matrix is None:
            raise ValueError(f"the operator of {self.file} is closed")
        return self._matrix

    @property
    def mesh(self) -> Mesh:
        if self._mesh is None:
            self._mesh = Mesh._from_library(self.matrix.mesh())
        return self._mesh

    def close(self) -> None:
        self._matrix = None

    @property
    def closed(self) -> bool:
        return self._matrix is None


def open(file: Name) -> Operator:  # noqa: A001: as in velko.open
    """Opens a sensitivity file: its G as a linear operator.

    Parameters
    ----------
    file : path
        The rows of a compressed G are used where the system keeps the file in memory, without a copy.

    Returns
    -------
    Operator
        Weighted: it acts on models as the suite's files hold them, of the cells below the surface.

    Examples
    --------
    >>> import velko
    >>> G = velko.open("survey.mtx")
    >>> m = G.vector(velko.read_model("survey.sus", G.mesh))
    >>> d = G @ m
    >>> abs(d - velko.read_predicted("survey.vlk").values).max() < 1e-4
    True
    >>> with velko.open("survey.mtx") as H:
    ...     H.shape
    (36, 1057)
    >>> H @ m
    Traceback (most recent call last):
    ValueError: the operator of ... is closed
    """
    return Operator(_Opened(_name(file)))


def _reopened(file: str, weighted: bool, columns: Any, deviations: Any) -> Operator:
    return Operator(_Opened(file), weighted, columns, deviations)


class Operator(LinearOperator):  # type: ignore[misc]
    """G as a `scipy.sparse.linalg.LinearOperator`; made by `velko.open`.

    Attributes
    ----------
    shape : tuple of int
        Data, and cells that the models are of.
    dtype : numpy.dtype
        64-bit floats; G is stored in 32-bit ones.
    compressed : bool
        Whether G is held by wavelet coefficients, or dense.
    mesh : Mesh
        With its surface.
    weights, diagonal, filter : ndarray
        As the file has them, without a copy: the weights of the cells below the surface, the diagonal of G transposed G in
        weighted variables, the wavelet filter.
    cube : tuple of int
        Sizes along y, x and z of the cube in which the wavelet transform runs.
    file : str

    Notes
    -----
    Products leave the interpreter free, and run one at a time: those of other threads take their turn. Ctrl-C ends them.
    Blocks of models are taken as they lie; columns in one piece, as NumPy's order "F" has them, come a little faster.
    Arrays that were taken from an operator keep the file mapped after the operator is closed.

    Examples
    --------
    >>> import numpy, scipy.sparse.linalg, velko
    >>> G = velko.open("survey.mtx")
    >>> G
    <36x1057 velko.Operator of survey.mtx, compressed, weighted>
    >>> d = G @ numpy.full(1057, 0.01)
    >>> g = G.T @ d
    >>> D = G @ numpy.full((1057, 3), 0.01)
    >>> bool((D[:, 0] == d).all())
    True
    >>> m = scipy.sparse.linalg.lsqr(G, d, iter_lim=50)[0]
    >>> bool(abs(G @ m - d).max() < 0.01 * abs(d).max())
    True
    """

    # SciPy's __new__ and __init__ are for operators that are put together from functions.
    def __new__(cls, *args: Any, **kwargs: Any) -> Operator:
        return object.__new__(cls)

    def __init__(self, opened: _Opened, weighted: bool = True, columns: npt.NDArray[np.intp] | None = None,
                 deviations: Array | None = None) -> None:
        self._opened, self.weighted, self._columns, self._deviations = opened, weighted, columns, deviations
        matrix = opened.matrix
        super().__init__(np.dtype(float), (matrix.ndata, matrix.ncol if columns is None else columns.size))

    def __reduce__(self) -> Any:
        return _reopened, (self.file, self.weighted, self._columns, self._deviations)

    def __repr__(self) -> str:
        if self.closed:
            return f"<velko.Operator of {os.path.basename(self.file)}, closed>"
        kinds = ["compressed" if self.compressed else "dense", "weighted" if self.weighted else "unweighted"]
        kinds += ["restricted"] * (self._columns is not None) + ["scaled"] * (self._deviations is not None)
        return f"<{self.shape[0]}x{self.shape[1]} velko.Operator of {os.path.basename(self.file)}, {', '.join(kinds)}>"

    def __enter__(self) -> Operator:
        self._opened.matrix
        return self

    def __exit__(self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None) -> None:
        self.close()

    def close(self) -> None:
        """Closes the file, for all operators that were derived from one another.

        Examples
        --------
        >>> import velko
        >>> G = velko.open("survey.mtx")
        >>> G.close()
        >>> G
        <velko.Operator of survey.mtx, closed>
        """
        self._opened.close()

    @property
    def closed(self) -> bool:
        return self._opened.closed

    @property
    def _matrix(self) -> _velko.Sensitivity:
        return self._opened.matrix

    @property
    def file(self) -> str:
        return self._opened.file

    @property
    def mesh(self) -> Mesh:
        return self._opened.mesh

    @property
    def surface(self) -> npt.NDArray[np.int32]:
        """``surface[y, x]`` cells of each column lie above the surface."""
        surface = self.mesh.surface
        assert surface is not None
        return surface

    @property
    def compressed(self) -> bool:
        return self._matrix.compressed

    @property
    def weights(self) -> Array:
        return self._matrix.weights

    @property
    def diagonal(self) -> Array:
        return self._matrix.diagonal

    @property
    def filter(self) -> Array:
        return self._matrix.filter

    @property
    def cube(self) -> tuple[int, int, int]:
        return self._matrix.cube

    @property
    def stored_bytes(self) -> int:
        """Bytes of the rows, as they are stored."""
        return self._matrix.stored_bytes

    # ---- derived operators

    @property
    def unweighted(self) -> Operator:
        """The operator of the suite's own variables: models that are multiplied by the weights already.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> m = numpy.full(G.shape[1], 0.01)
        >>> bool((G.unweighted @ (G.weights * m) == G @ m).all())
        True
        """
        return Operator(self._opened, False, self._columns, self._deviations)

    def restrict(self, active: npt.ArrayLike) -> Operator:
        """The operator on models of the active cells alone; the others are 0.

        Parameters
        ----------
        active : array_like
            For each cell of the mesh, ``[y, x, z]``, or for each one that the models of this operator are of: whether it is
            active. Of the numbers of an active-cell file 1 alone is. Cells above the surface never are.

        Examples
        --------
        >>> import velko
        >>> G = velko.open("survey.mtx")
        >>> deep = G.restrict(G.mesh.z[:-1] - 0 * G.mesh.below < 10)
        >>> deep.shape[1] < G.shape[1]
        True
        """
        chosen = np.asarray(active)
        chosen = chosen if chosen.dtype == bool else chosen == 1
        if chosen.shape == self.mesh.shape:
            chosen = chosen[self.mesh.below]
            chosen = chosen if self._columns is None else chosen[self._columns]
        if chosen.shape != (self.shape[1],):
            raise ValueError(f"active cells have shape {np.shape(active)}, neither {self.mesh.shape} nor ({self.shape[1]},)")
        if not chosen.any():
            raise ValueError("no cell is active")
        columns = np.flatnonzero(chosen) if self._columns is None else self._columns[chosen]
        return Operator(self._opened, self.weighted, columns, self._deviations)

    def scaled(self, deviations: npt.ArrayLike) -> Operator:
        """The operator of data divided by their standard deviations, one for each or one for all.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> m = numpy.full(G.shape[1], 0.01)
        >>> bool(numpy.allclose(G.scaled(2.0) @ m, (G @ m) / 2))
        True
        """
        each = np.array(np.broadcast_to(np.asarray(deviations, float), self.shape[:1]))
        if not (each > 0).all():
            raise ValueError("a standard deviation is not above 0")
        return Operator(self._opened, self.weighted, self._columns,
                        each if self._deviations is None else each * self._deviations)

    # ---- products

    def _whole(self, models: Array) -> Array:
        """A model, or models as columns, over all cells below the surface."""
        if self._columns is None:
            return models
        whole = np.zeros((self._matrix.ncol, *models.shape[1:]))
        whole[self._columns] = models
        return whole

    def _active(self, models: Array) -> Array:
        return models if self._columns is None else models[self._columns]

    def _scaled(self, data: Array) -> Array:
        return data if self._deviations is None else (data.T / self._deviations).T

    def _matvec(self, x: npt.NDArray[Any]) -> Array:
        return self._matmat(x.ravel())

    def _rmatvec(self, x: npt.NDArray[Any]) -> Array:
        return self._rmatmat(x.ravel())

    def _matmat(self, X: npt.NDArray[Any]) -> Array:
        return self._scaled(self._matrix.forward(self._whole(_real(X)), self.weighted))

    def _rmatmat(self, X: npt.NDArray[Any]) -> Array:
        return self._active(self._matrix.adjoint(self._scaled(_real(X)), self.weighted))

    def _adjoint(self) -> _Adjoint:
        return _Adjoint(self)

    def _transpose(self) -> _Adjoint:
        return _Adjoint(self)

    def normal(self, x: npt.ArrayLike) -> Array:
        """G transposed G x, in one pass over the rows unless data are scaled.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> m = numpy.full(G.shape[1], 0.01)
        >>> bool(numpy.allclose(G.normal(m), G.T @ (G @ m)))
        True
        """
        model = _real(np.asarray(x))
        if model.shape != (self.shape[1],):
            raise ValueError("dimension mismatch")
        if self._deviations is not None:
            return self._rmatmat(self._matmat(model))
        return self._active(self._matrix.normal(self._whole(model), self.weighted))

    # ---- models

    def vector(self, model: npt.ArrayLike) -> Array:
        """A model ``[y, x, z]`` as a vector that the operator takes.

        Examples
        --------
        >>> import velko
        >>> G = velko.open("survey.mtx")
        >>> G.vector(velko.read_model("survey.sus", G.mesh)).shape
        (1057,)
        """
        return self._active(np.asarray(self.mesh.to_vector(model), float))

    def array(self, vector: npt.ArrayLike) -> np.ma.MaskedArray[Any, Any]:
        """A vector of the operator as a model ``[y, x, z]``, masked above the surface and 0 where cells are not active.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> G.array(numpy.full(G.shape[1], 0.01)).shape
        (16, 16, 8)
        """
        return self.mesh.to_array(self._whole(np.asarray(vector, float)), order="surface")

    # ---- rows

    def _number(self, i: int) -> int:
        count = self.shape[0]
        if not -count <= i < count:
            raise IndexError(f"G has {count} rows, and no row {i}")
        return int(i % count)

    def row(self, i: int) -> Array:
        """Row i of the operator, over the cells of its models.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> m = numpy.random.default_rng(1).uniform(size=G.shape[1])
        >>> bool(numpy.isclose(G.row(5) @ m, (G @ m)[5]))
        True
        """
        number = self._number(i)
        cells = self._active(self._matrix.cells_of_row(number, self.weighted))
        return cells if self._deviations is None else cells / float(self._deviations[number])

    def stored_row(self, i: int) -> Any:
        """Row i as it is stored, without a copy and read-only.

        Returns
        -------
        positions, values : ndarray
            Of a compressed G: where in the cube of coefficients, counted from 1 with z fastest, then x, then y, stands which
            value. A dense G has the values alone, one for each cell below the surface.

        Examples
        --------
        >>> import velko
        >>> positions, values = velko.open("survey.mtx").stored_row(0)
        >>> positions.dtype.name, values.dtype.name, positions.size == values.size
        ('int32', 'float32', True)
        >>> velko.open("dense.mtx").stored_row(0).shape
        (1057,)
        """
        return self._matrix.stored_row(self._number(i))

    def coefficients(self, model: npt.ArrayLike) -> Array:
        """The wavelet coefficients of a model vector, on which stored rows act; 0 wherever no cell is.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> m = numpy.full(G.shape[1], 0.01)
        >>> positions, values = G.stored_row(5)
        >>> bool(numpy.isclose(values @ G.coefficients(m)[positions - 1], (G @ m)[5]))
        True
        """
        self._check_compressed("coefficients")
        return self._matrix.coefficients(self._whole(_real(np.asarray(model))), self.weighted)

    def _check_compressed(self, what: str) -> None:
        if not self.compressed:
            raise ValueError(f"a dense G has no {what}; see to_dense and stored_row")

    def to_scipy(self, max_bytes: int = 1 << 30) -> csr_matrix:
        """The stored rows of a compressed G as a sparse matrix, a copy.

        It acts on wavelet coefficients: ``G.to_scipy() @ G.coefficients(m)`` is ``G @ m``. Rows of an operator that is scaled
        are divided by the deviations.

        Parameters
        ----------
        max_bytes : int
            A copy of more bytes is refused.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> S, m = G.to_scipy(), numpy.full(G.shape[1], 0.01)
        >>> S.shape, bool(numpy.allclose(S @ G.coefficients(m), G @ m))
        ((36, 2048), True)
        >>> G.to_scipy(max_bytes=1000)
        Traceback (most recent call last):
        MemoryError: the stored rows as a sparse matrix have ... bytes, more than max_bytes, 1000
        """
        self._check_compressed("sparse rows")
        entries = self._matrix.entries_of_rows()
        starts = np.insert(np.cumsum(entries), 0, 0)
        index = np.int32 if starts[-1] < 2**31 else np.int64
        _check_bytes("the stored rows as a sparse matrix have", int(starts[-1]) * (4 + np.dtype(index).itemsize), max_bytes)
        positions, values = np.empty(starts[-1], index), np.empty(starts[-1], np.float32)
        for i in range(self.shape[0]):
            at, val = self._matrix.stored_row(i)
            positions[starts[i] : starts[i + 1]] = at - 1
            values[starts[i] : starts[i + 1]] = val
        rows = csr_matrix((values, positions, starts.astype(index)), shape=(self.shape[0], int(np.prod(self.cube))))
        return rows if self._deviations is None else csr_matrix(rows.multiply(1 / self._deviations[:, None]))

    def to_dense(self, max_bytes: int = 1 << 30) -> Array:
        """All values of the operator, over the cells of its models.

        Parameters
        ----------
        max_bytes : int
            An array of more bytes is refused.

        Examples
        --------
        >>> import numpy, velko
        >>> G = velko.open("survey.mtx")
        >>> m = numpy.random.default_rng(1).uniform(size=G.shape[1])
        >>> bool(numpy.allclose(G.to_dense() @ m, G @ m))
        True
        >>> G.to_dense(max_bytes=1000)
        Traceback (most recent call last):
        MemoryError: a dense G of 36 x 1057 has 304416 bytes, more than max_bytes, 1000
        """
        rows, columns = self.shape
        _check_bytes(f"a dense G of {rows} x {columns} has", 8 * rows * columns, max_bytes)
        dense = np.empty((rows, columns))
        for i in range(rows):
            dense[i] = self.row(i)
        return dense


class _Adjoint(LinearOperator):  # type: ignore[misc]
    """The transpose of an operator, real as it is."""

    def __new__(cls, *args: Any, **kwargs: Any) -> _Adjoint:
        return object.__new__(cls)

    def __init__(self, forward: Operator) -> None:
        self._of = forward
        super().__init__(forward.dtype, forward.shape[::-1])

    def _matvec(self, x: npt.NDArray[Any]) -> Array:
        return self._of._rmatvec(x)

    def _rmatvec(self, x: npt.NDArray[Any]) -> Array:
        return self._of._matvec(x)

    def _matmat(self, X: npt.NDArray[Any]) -> Array:
        return self._of._rmatmat(X)

    def _rmatmat(self, X: npt.NDArray[Any]) -> Array:
        return self._of._matmat(X)

    def _adjoint(self) -> Operator:
        return self._of

    def _transpose(self) -> Operator:
        return self._of


def _real(x: npt.NDArray[Any]) -> Array:
    if np.iscomplexobj(x):
        raise TypeError("G is real, and takes real vectors")
    real: Array = np.require(x, float, "A")  # as it lies: the library takes any strides
    return real


def _check_bytes(what: str, count: int, limit: int) -> None:
    if count > limit:
        raise MemoryError(f"{what} {count} bytes, more than max_bytes, {limit}")
