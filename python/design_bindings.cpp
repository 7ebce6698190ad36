/// What a user invents, and the surface over a mesh. Arrays are flat here; velko/making.py gives them their shapes.
#include <pybind11/stl.h>

#include <string>
#include <vector>

#include "builder/input_checks.h"
#include "design/bodies.h"
#include "design/mesh_design.h"
#include "design/model_sampling.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"
#include "topography/topography_file.h"

namespace velko::python {

namespace {

/// Start of the axis, and its widths.
py::tuple axis_to_python(const mesh_axis& axis) {
  return py::make_tuple(axis.start, py::cast(axis.widths));
}

py::tuple horizontal(const std::string& name, r8 low, r8 high, r8 width, i4 cells_around, r8 factor,
                     bool power_of_two) {
  problem p;
  mesh_axis axis;
  in_library(p, "", [&] {
    axis = horizontal_axis(name, {low, high}, width, {cells_around, factor, power_of_two});
  });
  return axis_to_python(axis);
}

py::tuple vertical(r8 low, r8 high, r8 depth, r8 width, i4 cells_below, r8 factor, bool power_of_two) {
  problem p;
  mesh_axis axis;
  in_library(p, "", [&] {
    axis = vertical_axis({low, high}, depth, width, {cells_below, factor, power_of_two});
  });
  return axis_to_python(axis);
}

/// Values in model order; for each body the number of its cells and its volume; the background.
py::tuple sample(const py::handle& mesh_of_model, const std::vector<std::string>& lines,
                 const std::string& body_file, r8 background, i4 samples) {
  problem p;
  const mesh_state m = mesh_from(mesh_of_model);
  body_list list;
  sampled_model model;
  in_library(p, body_file, [&] {
    check_mesh(m);
    if (!body_file.empty()) add_body_file(body_file, list);
    for (const std::string& line : lines) add_body(line, "bodies", list);
    model = sample_bodies(m, list.bodies, list.background.value_or(background), samples);
  });
  py::list shares;
  for (std::size_t n = 0; n < list.bodies.size(); ++n)
    shares.append(py::make_tuple(list.bodies[n].words, model.shares[n].cells, model.shares[n].volume));
  return py::make_tuple(to_numpy(std::move(model.values)), shares);
}

py::object surface_index(const py::handle& mesh_below, const std::string& file) {
  problem p;
  mesh_state m = mesh_from(mesh_below);
  m.itop = {};
  owned_array2<i4> itop;
  in_library(
      p, file,
      [&] {
        check_mesh(m);
        mesh = std::move(m);
        read_topography(file);
        itop = std::move(mesh.itop);
      },
      [&] { return explain_topography_file(file); });
  return surface_to_numpy(std::move(itop));
}

/// Elevations of the surface, [y, x], where the lines of a grid cross.
py::object elevations(const py::handle& mesh_below, const std::string& file, const input<r8>& y,
                      const input<r8>& x) {
  problem p;
  mesh_state m = mesh_from(mesh_below);
  owned_array2<r8> gz;
  in_library(
      p, file,
      [&] {
        check_mesh(m);
        mesh = std::move(m);
        gz = sample_surface(read_surface(file), array1<const r8>(y.data(), y.size()),
                            array1<const r8>(x.data(), x.size()));
      },
      [&] { return explain_topography_file(file); });
  const i8 ny = gz.extent(1), nx = gz.extent(2);
  return to_numpy(std::move(gz)).attr("reshape")(nx, ny).attr("T");
}

}  // namespace

void add_design(py::module_& m) {
  m.def("horizontal_axis", horizontal);
  m.def("vertical_axis", vertical);
  m.def("sample_bodies", sample);
  m.def("surface_index", surface_index);
  m.def("elevations", elevations);
}

}  // namespace velko::python
