/// The mesh file. The arrays of a mesh that is read have the sizes of its counts.
#include <algorithm>

#include "files/mesh_file.h"
#include "fuzz/fuzz_input.h"

namespace {

using namespace velko;

void check_axis(i4 n, const owned_array1<r8>& widths, const owned_array1<r8>& edges) {
  fuzz::expect(widths.size() == std::max(n, 0));
  fuzz::expect(edges.size() == std::max(i8{n} + 1, i8{0}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  const fuzz::named_bytes file(fuzz::input(bytes, n).rest());
  reset_state();
  if (!fuzz::comes_back([&] { read_mesh_file(file.name()); })) return 0;
  check_axis(mesh.nx, mesh.dx, mesh.xnode);
  check_axis(mesh.ny, mesh.dy, mesh.ynode);
  check_axis(mesh.nz, mesh.dz, mesh.znode);
  return 0;
}
