/// velko._velko: the library as the Python package velko calls it. What users see is in velko/*.py.
#include "python/bindings.h"
#include "python/library_call.h"
#include "reports/version.h"

PYBIND11_MODULE(_velko, m) {
  using namespace velko::python;
  add_files(m);
  add_design(m);
  add_exchange(m);
  add_builder(m);
  add_contents(m);
  add_matrix(m);
  m.attr("version") = velko::suite_version();
  m.def("hold_library", hold_library);
  m.def("free_library", free_library);
}
