#include "files/mesh_file.h"

#include <string>

#include "files/list_directed.h"
#include "files/text_input.h"
#include "reports/reports.h"
#include "store/state.h"
#include "text/number_layout.h"

namespace velko {

namespace {

/// The open mesh file, with its one message for every failure.
struct mesh_lines {
  explicit mesh_lines(std::string_view file_name) : name(file_name), unit1(file_name, "mesh") {}

  template <class... items>
  void read(items&&... xs) {
    if (read_list(unit1, xs...) != read_status::ok)
      report_and_stop({std::string("ERROR reading mesh file: ").append(without_trailing_blanks(name))});
  }

  std::string_view name;
  text_input unit1;
};

/// Widths and edges along one axis, zero throughout.
void allocate_axis(i4 n, owned_array1<r8>& widths, owned_array1<r8>& edges) {
  widths = owned_array1<r8>(n);
  edges = owned_array1<r8>(i8{n} + 1);
}

/// The edges along one axis, from its first edge on.
void sum_widths(const owned_array1<r8>& widths, owned_array1<r8>& edges, r8 first_edge) {
  if (edges.size() == 0) return;
  edges(1) = first_edge;
  const i8 n = widths.size();
  for (i8 i = 1; i <= n; ++i) edges(i + 1) = edges(i) + widths(i);
}

}  // namespace

void read_mesh_file(std::string_view file_name) {
  mesh_lines in(file_name);
  r8 west = 0, south = 0;
  in.read(mesh.nx, mesh.ny, mesh.nz);
  allocate_axis(mesh.ny, mesh.dy, mesh.ynode);
  allocate_axis(mesh.nx, mesh.dx, mesh.xnode);
  allocate_axis(mesh.nz, mesh.dz, mesh.znode);
  in.read(west, south, mesh.ztop);
  in.read(mesh.dx.elements());
  in.read(mesh.dy.elements());
  in.read(mesh.dz.elements());
  sum_widths(mesh.dy, mesh.ynode, south);
  sum_widths(mesh.dx, mesh.xnode, west);
  sum_widths(mesh.dz, mesh.znode, 0);
}

}  // namespace velko
