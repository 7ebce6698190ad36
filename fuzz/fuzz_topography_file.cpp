/// The topography file over meshes of many sizes. A surface that comes back has the tables of a triangulation, and the
/// index of its columns lies within the mesh.
#include <algorithm>
#include <array>

#include "fuzz/fuzz_input.h"
#include "topography/topography_file.h"
#include "topography/triangulation_check.h"

namespace {

using namespace velko;
using fuzz::expect;

// Each pair of points on one place is a line of the report, so that many points make minutes of text.
constexpr std::size_t longest_file = 2048;

constexpr std::array<r8, 8> first_edges{0, -1, 0.1, 1e6, -1e15, 1e15, -1e308, 1e-310};
constexpr std::array<r8, 8> widths{1, 0.1, 1e5, 1e16, 0, -1, 1e300, 1e-300};

template <std::size_t n>
r8 one_of(const std::array<r8, n>& values, fuzz::input& in) {
  return values[static_cast<std::size_t>(in.below(n))];
}

/// Edges of 1 to 8 cells; each width is the one before or a new one.
owned_array1<r8> edges(fuzz::input& in, i4& cells) {
  cells = 1 + in.below(8);
  owned_array1<r8> node(cells + 1);
  node(1) = one_of(first_edges, in);
  r8 width = one_of(widths, in);
  for (i4 i = 1; i <= cells; ++i) {
    node(i + 1) = node(i) + width;
    if (in.below(4) == 3) width = one_of(widths, in);
  }
  return node;
}

void set_odd_mesh(fuzz::input& in) {
  mesh.ynode = edges(in, mesh.ny);
  mesh.xnode = edges(in, mesh.nx);
  mesh.znode = edges(in, mesh.nz);
  mesh.ztop = one_of(first_edges, in);
}

void check_surface(const std::string& name) {
  triangulated_surface s;
  expect(fuzz::comes_back([&] { s = read_surface(name); }));
  for (i4 i = 2; i <= s.n; ++i) expect(s.ty(i - 1) <= s.ty(i));
  if (s.n >= 3) expect(check_table(s.n, s.adj_list, s.adj_end).empty());
}

void check_itop() {
  expect(mesh.itop.extent(1) == mesh.ny && mesh.itop.extent(2) == mesh.nx);
  for (const i4 above : mesh.itop) expect(0 <= above && above <= mesh.nz);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, std::min(n, longest_file));
  reset_state();
  set_odd_mesh(in);
  const fuzz::named_bytes file(in.rest());
  if (!fuzz::comes_back([&] { read_topography(file.name()); })) return 0;
  check_itop();
  check_surface(file.name());
  return 0;
}
