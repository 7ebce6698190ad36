/// Between the arrays of the library and those of NumPy.
///
/// Shapes   what is a(nz, nx, ny) in the library, first index fastest, is a[y, x, z] in NumPy: the same order of elements.
///          A surface itop(ny, nx) is surface[y, x], whose first index is fastest in memory
/// Memory   to_numpy of an owned array gives its elements away without a copy
/// Objects  Mesh and Survey of the package are read by their attributes: velko/meshes.py, velko/surveys.py
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <span>
#include <utility>

#include "arrays/array.h"
#include "store/state.h"

namespace velko::python {

namespace py = pybind11;

template <class T>
using input = py::array_t<T, py::array::c_style | py::array::forcecast>;

template <class T>
std::span<const T> elements(const input<T>& values) {
  return {values.data(), static_cast<std::size_t>(values.size())};
}

/// The elements in their order in memory; they belong to the result from here on.
template <class T, int rank>
py::array_t<T> to_numpy(owned_array<T, rank>&& values) {
  using owner = owned_array<T, rank>;
  auto* kept = new owner(std::move(values));
  const py::capsule keeper(kept, [](void* p) { delete static_cast<owner*>(p); });
  return py::array_t<T>({kept->size()}, {static_cast<py::ssize_t>(sizeof(T))}, kept->data(), keeper);
}

/// surface[y, x].
py::object surface_to_numpy(owned_array2<i4>&& itop);

/// Cell edges, widths, top and, where there is one, surface, by the names of Mesh.
py::dict to_python(mesh_state&& m);
mesh_state mesh_from(const py::handle& mesh);

/// Positions, field and directions by the names of Survey.
py::dict to_python(survey_state&& s);
survey_state survey_from(const py::handle& survey);

}  // namespace velko::python
