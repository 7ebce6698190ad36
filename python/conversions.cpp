#include "python/conversions.h"

#include <algorithm>

namespace velko::python {

namespace {

owned_array1<r8> vector_from(const py::handle& object, const char* name) {
  const auto values = object.attr(name).cast<input<r8>>();
  return owned_array1<r8>(elements(values));
}

owned_array2<i4> surface_from(const py::handle& surface, i4 ny, i4 nx) {
  owned_array2<i4> itop(uninitialised, ny, nx);
  const auto values = surface.cast<input<i4>>();
  if (values.size() != itop.size())
    throw py::value_error("the surface has not an element for each column of the mesh");
  for (i4 i = 1; i <= ny; ++i)
    for (i4 j = 1; j <= nx; ++j) itop(i, j) = values.data()[i8{nx} * (i - 1) + j - 1];
  return itop;
}

}  // namespace

py::object surface_to_numpy(owned_array2<i4>&& itop) {
  const i8 ny = itop.extent(1), nx = itop.extent(2);
  return to_numpy(std::move(itop)).attr("reshape")(nx, ny).attr("T");
}

py::dict to_python(mesh_state&& m) {
  py::dict d;
  d["surface"] = m.itop.size() > 0 ? surface_to_numpy(std::move(m.itop)) : py::object(py::none());
  d["x"] = to_numpy(std::move(m.xnode));
  d["y"] = to_numpy(std::move(m.ynode));
  d["depth"] = to_numpy(std::move(m.znode));
  d["dx"] = to_numpy(std::move(m.dx));
  d["dy"] = to_numpy(std::move(m.dy));
  d["dz"] = to_numpy(std::move(m.dz));
  d["top"] = m.ztop;
  return d;
}

mesh_state mesh_from(const py::handle& mesh) {
  mesh_state m;
  m.xnode = vector_from(mesh, "x");
  m.ynode = vector_from(mesh, "y");
  m.znode = vector_from(mesh, "depth");
  m.dx = vector_from(mesh, "dx");
  m.dy = vector_from(mesh, "dy");
  m.dz = vector_from(mesh, "dz");
  m.nx = static_cast<i4>(m.dx.size());
  m.ny = static_cast<i4>(m.dy.size());
  m.nz = static_cast<i4>(m.dz.size());
  m.ztop = mesh.attr("top").cast<r8>();
  if (const py::object surface = mesh.attr("surface"); !surface.is_none())
    m.itop = surface_from(surface, m.ny, m.nx);
  return m;
}

py::dict to_python(survey_state&& s) {
  py::dict d;
  d["x"] = to_numpy(std::move(s.xobs));
  d["y"] = to_numpy(std::move(s.yobs));
  d["z"] = to_numpy(std::move(s.zobs));
  d["incl"] = s.incl;
  d["decl"] = s.decl;
  d["geomag"] = s.geomag;
  const bool common = s.idir >= 1;
  d["aincl"] = common ? py::object(py::float_(s.aincl)) : py::object(to_numpy(std::move(s.aincl_obs)));
  d["adecl"] = common ? py::object(py::float_(s.adecl)) : py::object(to_numpy(std::move(s.adecl_obs)));
  return d;
}

survey_state survey_from(const py::handle& survey) {
  survey_state s;
  s.incl = survey.attr("incl").cast<r8>();
  s.decl = survey.attr("decl").cast<r8>();
  s.geomag = survey.attr("geomag").cast<r8>();
  s.xobs = vector_from(survey, "x");
  s.yobs = vector_from(survey, "y");
  s.zobs = vector_from(survey, "z");
  s.ndata = static_cast<i4>(s.xobs.size());
  s.idir = py::isinstance<py::array>(survey.attr("aincl")) ? 0 : 1;
  if (s.idir == 0) {
    s.aincl_obs = vector_from(survey, "aincl");
    s.adecl_obs = vector_from(survey, "adecl");
  } else {
    s.aincl = survey.attr("aincl").cast<r8>();
    s.adecl = survey.attr("adecl").cast<r8>();
  }
  return s;
}

}  // namespace velko::python
