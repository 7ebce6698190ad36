/// What module.cpp puts together: each adds its functions to the module velko._velko.
#pragma once

#include <pybind11/pybind11.h>

namespace velko::python {

void add_files(pybind11::module_& m);
void add_design(pybind11::module_& m);
void add_exchange(pybind11::module_& m);
void add_builder(pybind11::module_& m);
void add_contents(pybind11::module_& m);
void add_matrix(pybind11::module_& m);

}  // namespace velko::python
