/// The readers and writers of files, one function each. Arrays are flat here; velko/files.py gives them their shapes.
#include <pybind11/stl.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "design/text_writer.h"
#include "files/active_cells.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "files/model_file.h"
#include "files/output_file.h"
#include "files/predicted_data.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"
#include "reports/reports.h"
#include "store/getpar.h"
#include "topography/topography_file.h"

namespace velko::python {

namespace {

/// The mesh that a reader leaves behind.
py::dict read_mesh_by(const std::string& file, void (*reader)(std::string_view),
                      const diagnosis_of_file& explain) {
  problem p;
  mesh_state found;
  in_library(
      p, file,
      [&] {
        reader(file);
        found = std::move(mesh);
      },
      explain);
  return to_python(std::move(found));
}

py::dict read_mesh(const std::string& file) {
  return read_mesh_by(file, read_mesh_file, [&] { return explain_mesh_file(file); });
}

py::dict read_sensitivity_mesh(const std::string& file) {
  return read_mesh_by(file, read_mesh_of_sensitivity_file, {});
}

/// One value for each cell of the mesh, in model order.
py::array_t<r8> read_model_of(const std::string& file, const py::handle& mesh_of_model) {
  problem p;
  mesh_state m = mesh_from(mesh_of_model);
  const i8 count = i8{m.nx} * m.ny * m.nz;
  owned_array1<r8> values;
  in_library(
      p, file,
      [&] {
        mesh = std::move(m);
        const owned_array2<i4> no_air(mesh.ny, mesh.nx);
        get_active_cells("null", no_air);
        values = owned_array1<r8>(uninitialised, cells.ncell);
        read_model(file, "model", values.elements(), {}, no_air);
      },
      [&] { return explain_model_file(file, count); });
  return to_numpy(std::move(values));
}

py::array_t<i4> read_active(const std::string& file, i4 ny, i4 nx, i4 nz) {
  problem p;
  owned_array3<i4> active(nz, nx, ny);
  in_library(
      p, file, [&] { read_active_file(file, active); },
      [&] { return explain_active_file(file, active.size()); });
  return to_numpy(std::move(active));
}

py::object column(owned_array1<r8>&& values) {
  return values.size() > 0 ? py::object(to_numpy(std::move(values))) : py::object(py::none());
}

py::dict read_survey(const std::string& file, i4 columns) {
  problem p;
  survey_state stations;
  data_values behind;
  in_library(
      p, file,
      [&] {
        behind = read_survey_file(file, columns);
        stations = std::move(survey);
        if (const std::string more = told_of_lines_behind(file, stations.ndata); !more.empty()) report(more);
      },
      [&] { return explain_data_file(file, columns); });
  py::dict d = to_python(std::move(stations));
  d["values"] = column(std::move(behind.value));
  d["deviations"] = column(std::move(behind.deviation));
  return d;
}

py::array_t<r8> read_points(const std::string& file) {
  problem p;
  owned_array2<r8> points;
  in_library(
      p, file, [&] { points = read_topography_points(file); }, [&] { return explain_topography_file(file); });
  return to_numpy(std::move(points));
}

/// The file, whole or not at all.
template <class body>
void write_file(const std::string& file, body&& write) {
  problem p;
  in_library(p, file, [&] {
    output_file out(file);
    write(out);
    out.keep();
  });
}

mesh_axis axis_of(r8 start, const owned_array1<r8>& widths) {
  return {start, {widths.begin(), widths.end()}};
}

void write_mesh(const std::string& file, const py::handle& mesh_to_write) {
  const mesh_state m = mesh_from(mesh_to_write);
  const mesh_axes axes{axis_of(m.xnode(1), m.dx), axis_of(m.ynode(1), m.dy), axis_of(m.ztop, m.dz)};
  write_file(file, [&](output_file& out) { write_mesh_file(out, axes); });
}

void write_model(const std::string& file, const input<r8>& values) {
  write_file(file, [&](output_file& out) { write_model_file(out, elements(values), model_digits::all); });
}

void write_active(const std::string& file, const input<i4>& active) {
  write_file(file, [&](output_file& out) { write_active_file(out, elements(active)); });
}

void write_survey(const std::string& file, const py::handle& stations, const input<r8>& values,
                  const input<r8>& deviations) {
  const survey_state s = survey_from(stations);
  write_file(file,
             [&](output_file& out) { write_survey_file(out, s, elements(values), elements(deviations)); });
}

void write_predicted(const std::string& file, const py::handle& stations, const input<r8>& values) {
  problem p;
  survey_state s = survey_from(stations);
  in_library(p, file, [&] {
    survey = std::move(s);
    write_predicted_data(file, elements(values));
  });
}

void write_bytes(const std::string& file, const py::bytes& content) {
  const std::string_view bytes = content;
  write_file(file, [&](output_file& out) { out.write(std::as_bytes(std::span(bytes))); });
}

void write_points(const std::string& file, const input<r8>& points) {
  write_file(file, [&](output_file& out) { write_topography_file(out, elements(points)); });
}

}  // namespace

void add_files(py::module_& m) {
  m.def("read_mesh", read_mesh);
  m.def("read_sensitivity_mesh", read_sensitivity_mesh);
  m.def("read_model", read_model_of);
  m.def("read_active", read_active);
  m.def("read_survey", read_survey);
  m.def("read_topography", read_points);
  m.def("write_mesh", write_mesh);
  m.def("write_model", write_model);
  m.def("write_active", write_active);
  m.def("write_survey", write_survey);
  m.def("write_predicted", write_predicted);
  m.def("write_topography", write_points);
  m.def("write_bytes", write_bytes);
}

}  // namespace velko::python
