/// What a sensitivity file holds and whether it is what was written. velko/contents.py is what users see.
#include <pybind11/stl.h>

#include <string>
#include <utility>

#include "builder/provenance.h"
#include "builder/run_memory.h"
#include "builder/sensitivity_scan.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"

namespace velko::python {

namespace {

template <class T>
py::array_t<T> array_of(const std::vector<T>& values) {
  return py::array_t<T>(static_cast<py::ssize_t>(values.size()), values.data());
}

py::dict account_of(provenance&& p) {
  py::dict d;
  d["settings"] = p.origin.settings;
  d["first"] = p.rows.first;
  d["last"] = p.rows.last;
  d["ndata"] = p.origin.ndata;
  d["loss"] = array_of(p.loss);
  d["survey"] = to_python(std::move(p.stations));
  return d;
}

py::dict account_of(sensitivity_contents&& c) {
  py::dict d;
  d["bytes"] = c.bytes;
  d["ndata"] = c.ndata_mtx;
  d["ncol"] = c.ncol;
  d["shape"] = std::tuple(c.ny, c.nx, c.nz);
  d["compressed"] = c.compressed();
  d["filter"] = name_of_filter(c.wfilter);
  d["nfilter"] = c.nfilter;
  d["cube"] = std::tuple(c.cube.y, c.cube.x, c.cube.z);
  d["entries"] = array_of(c.nnz);
  d["bytes_of_a_run"] = c.complete ? bytes_of_a_run(c) : 0.0;
  d["faults"] = c.faults;
  d["damaged"] = c.damaged;
  d["made"] = c.made ? py::object(account_of(std::move(*c.made))) : py::none();
  return d;
}

py::dict contents(const std::string& file) {
  problem p;
  sensitivity_contents found;
  in_library(p, file, [&] { found = scan_sensitivity_file(file); });
  return account_of(std::move(found));
}

/// Between the stations of a survey and those that the file was made for; nothing where no provenance tells.
std::vector<std::string> differences_to(const std::string& file, const py::handle& of_survey) {
  problem p;
  const survey_state s = survey_from(of_survey);
  std::vector<std::string> lines;
  in_library(p, file, [&] {
    const provenance_reading reading = read_provenance(file);
    if (reading.found) lines = differences(s, *reading.found);
  });
  return lines;
}

}  // namespace

void add_contents(py::module_& m) {
  m.def("contents", contents);
  m.def("differences", differences_to);
}

}  // namespace velko::python
