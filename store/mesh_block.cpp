#include "store/mesh_block.h"

#include "store/state.h"

namespace velko {

namespace {

owned_array1<r8> edges_of(i4 cells_along_axis) {
  return owned_array1<r8>(uninitialised, i8{cells_along_axis} + 1);
}

owned_array1<r8> widths_of(const owned_array1<r8>& node) {
  owned_array1<r8> width(uninitialised, node.size() - 1);
  for (i8 edge = 1; edge <= width.size(); ++edge) width(edge) = node(edge + 1) - node(edge);
  return width;
}

}  // namespace

bool read_mesh_block(record_reader* in, i4 ny, i4 nx, i4 nz) {
  mesh.ny = ny;
  mesh.nx = nx;
  mesh.nz = nz;
  if (in == nullptr) return true;
  mesh.ynode = edges_of(ny);
  mesh.xnode = edges_of(nx);
  mesh.znode = edges_of(nz);
  const bool complete = in->begin_record() && in->read_all(mesh.ynode.elements()) &&
                        in->read_all(mesh.xnode.elements()) && in->read_all(mesh.znode.elements()) &&
                        in->read(mesh.ztop) && in->end_record();
  if (!complete) return false;
  set_widths();
  return true;
}

void set_widths() {
  mesh.dy = widths_of(mesh.ynode);
  mesh.dx = widths_of(mesh.xnode);
  mesh.dz = widths_of(mesh.znode);
}

bool read_itop(record_reader& in, i4 ny, i4 nx) {
  mesh.itop = owned_array2<i4>(uninitialised, ny, nx);
  return in.begin_record() && in.read_all(mesh.itop.elements()) && in.end_record();
}

}  // namespace velko
