/// Files for other programs, and maps of data.
#include <string>
#include <vector>

#include "exchange/data_grid.h"
#include "exchange/model_text.h"
#include "files/output_file.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"

namespace velko::python {

namespace {

/// The model in model order.
void write_vtr_of(const std::string& file, const py::handle& of_mesh, const input<r8>& model) {
  problem p;
  const mesh_state m = mesh_from(of_mesh);
  in_library(p, file, [&] {
    output_file out(file);
    write_vtr(out, m, array3<const r8>(model.data(), m.nz, m.nx, m.ny));
    out.keep();
  });
}

/// A spacing of 0: the grid of the stations themselves. x and y of the nodes, and values (y, x).
py::tuple grid_of_data(const input<r8>& x, const input<r8>& y, const input<r8>& values, r8 spacing) {
  problem p;
  std::vector<ground_point> points;
  for (py::ssize_t n = 0; n < x.size(); ++n) points.push_back({x.data()[n], y.data()[n], values.data()[n]});
  map_grid grid;
  in_library(p, "", [&] { grid = spacing > 0 ? interpolated(points, spacing) : stations_on_grid(points); });
  py::array_t<r8> east(grid.columns), north(grid.rows), nodes({grid.rows, grid.columns});
  for (i4 j = 0; j < grid.columns; ++j) east.mutable_at(j) = grid.x(j);
  for (i4 i = 0; i < grid.rows; ++i) north.mutable_at(i) = grid.y(i);
  std::copy(grid.values.begin(), grid.values.end(), nodes.mutable_data());
  return py::make_tuple(east, north, nodes);
}

}  // namespace

void add_exchange(py::module_& m) {
  m.def("write_vtr", write_vtr_of);
  m.def("grid_of_data", grid_of_data);
}

}  // namespace velko::python
