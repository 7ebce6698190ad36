"""Reads the suite's files for scripts: predicted data, locations, meshes, models, topography, sensitivity files.

Lengths in the units of the files, x east, y north, elevations upward. Whatever is wrong with a file becomes a BadFile
whose text is one line with the file's name.
"""

import re
import struct
from dataclasses import dataclass, field

import numpy as np


class BadFile(Exception):
    pass


@dataclass
class Data:
    """Stations and what a file says of each; values is None where there are none."""

    x: np.ndarray
    y: np.ndarray
    z: np.ndarray
    values: np.ndarray


@dataclass
class Mesh:
    """Cell edges: ascending along x and y, descending elevations along z, from the top."""

    x: np.ndarray
    y: np.ndarray
    z: np.ndarray
    itop: np.ndarray = field(default=None)  # (nx, ny), cells above the surface; None where the file has no surface

    @property
    def shape(self):
        """Cells along y, x, z: the walk of a model file."""
        return len(self.y) - 1, len(self.x) - 1, len(self.z) - 1


def _opened(name):
    try:
        return open(name, "rb")
    except OSError as failure:
        raise BadFile(f"cannot read {name}: {failure.strerror}") from None


def _lines(name):
    with _opened(name) as file:
        return file.read().decode("latin-1").splitlines()


def _number(word, name):
    try:
        return float(word.replace("d", "e").replace("D", "e"))
    except ValueError:
        raise BadFile(f"{name}: '{word}' is not a number") from None


def _words(line):
    return re.split(r"[\s,]+", line.strip())


def _list_directed(name):
    """The numbers of one read after the other: next(reader)(count) begins on a new line, and repeats count."""
    lines = iter(_lines(name))

    def read(count):
        values = []
        while len(values) < count:
            line = next(lines, None)
            if line is None:
                raise BadFile(f"{name} ends before all its numbers")
            for word in filter(None, _words(line)):
                if len(values) < count:
                    repeats, star, constant = word.rpartition("*")
                    times = int(_number(repeats, name)) if star else 1
                    values += [_number(constant, name)] * min(times, count - len(values))
        return np.array(values)

    return read


def _significant_lines(name):
    return [line for line in _lines(name) if line.strip() and not line.startswith("!")]


def read_data(name):
    """A location file, a data file, or predicted data; the last column is the value, where there is one."""
    lines = _significant_lines(name)
    try:
        has_directions = int(_words(lines[1])[2]) == 0
        count = int(_words(lines[2])[0])
    except (IndexError, ValueError):
        raise BadFile(f"{name} has not the three header lines of a data file") from None
    if count < 1 or len(lines) < 3 + count:
        raise BadFile(f"{name} has {max(len(lines) - 3, 0)} data lines, and promises {count}")
    positions = 5 if has_directions else 3
    rows = []
    for line in lines[3 : 3 + count]:
        words = _words(line)
        if len(words) < positions:
            raise BadFile(f"{name}: '{line.strip()}' has too few numbers")
        rows.append([_number(word, name) for word in words[: positions + 1]])
    width = min(map(len, rows))
    table = np.array([row[:width] for row in rows])
    if not np.isfinite(table).all():
        raise BadFile(f"{name} holds a number that is not finite")
    return Data(*table[:, :3].T, table[:, positions] if width > positions else None)


def read_predicted(name):
    data = read_data(name)
    if data.values is None:
        raise BadFile(f"{name} has stations, but no values")
    return data


def read_mesh_file(name):
    read = _list_directed(name)
    counts = read(3).astype(int)
    if (counts < 1).any() or (counts > 1 << 20).any():
        raise BadFile(f"{name} has counts that no mesh has: {' '.join(map(str, counts))}")
    origin = read(3)
    edges = [start + np.concatenate(([0.0], way * np.cumsum(read(n)))) for start, n, way in zip(origin, counts, (1, 1, -1))]
    return _checked(Mesh(*edges), name)


def _checked(mesh, name):
    for axis, way, edges in (("x", 1, mesh.x), ("y", 1, mesh.y), ("z", -1, mesh.z)):
        if not (np.isfinite(edges).all() and (way * np.diff(edges) > 0).all()):
            raise BadFile(f"{name} has a cell along {axis} whose width is not positive")
    return mesh


def read_model(name, mesh):
    """Values as an array (ny, nx, nz), z from the top down. "VALUE number" stands for a constant model."""
    ny, nx, nz = mesh.shape
    if name.startswith("VALUE "):
        return np.full(mesh.shape, _number(name[6:].strip(), "the model"))
    words = [_words(line)[0] for line in _lines(name) if line.strip()]
    if len(words) != ny * nx * nz:
        raise BadFile(f"{name} has {len(words)} values, and the mesh {ny * nx * nz} cells")
    try:
        values = np.array(words, dtype=float)
    except ValueError:
        values = np.array([_number(word, name) for word in words])
    if not np.isfinite(values).all():
        raise BadFile(f"{name} holds a number that is not finite")
    return values.reshape(ny, nx, nz)


def read_topography(name):
    """Points as an array (n, 3)."""
    lines = _lines(name)
    while lines and lines[0].startswith("!"):
        del lines[0]
    try:
        count = int(_words(lines[0][:40])[0])
    except (IndexError, ValueError):
        raise BadFile(f"{name} does not begin with a number of points") from None
    points = [[_number(word, name) for word in _words(line)[:3]] for line in lines[1:] if line.strip()][:count]
    if count < 3 or len(points) < count or {len(point) for point in points} != {3}:
        raise BadFile(f"{name} has not {max(count, 3)} lines of x, y and elevation")
    return np.array(points)


class _Records:
    """The unformatted records of an open sensitivity file, one after the other."""

    def __init__(self, file):
        self.file, self.name = file, file.name

    def next(self):
        payload, more = b"", True
        while more:
            length = self._word()
            more = length < 0
            payload += self._bytes(abs(length))
            if abs(self._word()) != abs(length):
                raise BadFile(f"{self.name} is no sensitivity file: the two lengths of a record differ")
        return payload

    def _bytes(self, count):
        found = self.file.read(count)
        if len(found) < count:
            raise BadFile(f"{self.name} is no sensitivity file, or is cut off")
        return found

    def _word(self):
        return struct.unpack("<i", self._bytes(4))[0]


def read_sensitivity_mesh(name):
    """Mesh and surface of a sensitivity file; its rows stay unread."""
    with _opened(name) as file:
        records = _Records(file)
        header, block, surface = records.next(), records.next(), records.next()
    if len(header) < 20:
        raise BadFile(f"{name} is no sensitivity file: its header is too short")
    ny, nx, nz = np.frombuffer(header, "<i4")[2:5].astype(int)
    if min(ny, nx, nz) < 1 or len(block) < 8 * (ny + nx + nz + 4) or len(surface) < 4 * ny * nx:
        raise BadFile(f"{name} has counts that do not fit its records")
    y, x, depth, ztop = np.split(np.frombuffer(block, "<f8")[: ny + nx + nz + 4], np.cumsum([ny + 1, nx + 1, nz + 1]))
    itop = np.frombuffer(surface, "<i4")[: ny * nx].reshape(nx, ny)
    if itop.min() < 0 or itop.max() > nz:
        raise BadFile(f"{name} has a surface outside of its mesh")
    return _checked(Mesh(x, y, ztop[0] - depth, itop), name)


def read_mesh(name):
    """Of a mesh file, or of a sensitivity file, which is told by its first bytes: the length of its header."""
    with _opened(name) as file:
        is_binary = file.read(4) == struct.pack("<i", 20)
    return read_sensitivity_mesh(name) if is_binary else read_mesh_file(name)
