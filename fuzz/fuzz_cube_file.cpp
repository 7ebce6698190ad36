/// A cube of values on small meshes with some surface, with and without weights, and the constant form: two readers,
/// one rule.
#include <algorithm>
#include <vector>

#include "files/model_file.h"
#include "fuzz/fuzz_input.h"
#include "tests/support/slow_files.h"

namespace {

using namespace velko;
using fuzz::expect;

constexpr r8 kept = -77, weight = 0.5;

owned_array3<r8> new_cube() {
  owned_array3<r8> cube(mesh.nz, mesh.nx, mesh.ny);
  std::fill(cube.begin(), cube.end(), kept);
  return cube;
}

bool surface_fits() {
  return std::all_of(mesh.itop.begin(), mesh.itop.end(), [](i4 above) { return above <= mesh.nz; });
}

i4 cells_below() {
  i4 below = 0;
  for (const i4 above : mesh.itop) below += mesh.nz - above;
  return below;
}

/// A constant is not known here: the values that came without weights are the measure of those with them.
void compare_weighted(const std::string& name, const owned_array3<r8>& plain) {
  const std::vector<r8> wtz(static_cast<std::size_t>(cells_below()), weight);
  owned_array3<r8> cube = new_cube();
  expect(fuzz::comes_back([&] { read_cube(name, "cube", cube, wtz, mesh.itop); }));
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j)
      for (i4 k = 1; k <= mesh.nz; ++k)
        expect(test::same_value(cube(k, j, i), plain(k, j, i) * (k > mesh.itop(i, j) ? weight : 1)));
}

void read_with_any_weights(const std::string& name, i4 weights) {
  const std::vector<r8> wtz(static_cast<std::size_t>(weights), weight);
  owned_array3<r8> cube = new_cube();
  const bool fits = fuzz::comes_back([&] { read_cube(name, "cube", cube, wtz, mesh.itop); });
  expect(!fits || (surface_fits() && weights == cells_below()));
}

/// Whether the cube could be read; if so, its values have to be the expected ones, where there are any.
bool read_all_ways(const std::string& name, const std::optional<std::vector<r8>>& expected, i4 weights) {
  owned_array3<r8> cube = new_cube();
  const bool read = fuzz::comes_back([&] { read_cube(name, "cube", cube, {}, {}); });
  if (expected) expect(std::equal(cube.begin(), cube.end(), expected->begin(), test::same_value));
  if (read && surface_fits()) compare_weighted(name, cube);
  read_with_any_weights(name, weights);
  return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, n);
  reset_state();
  fuzz::set_mesh(in);
  const i4 weights = in.below(64);
  const std::string text(in.rest());
  const fuzz::named_bytes file(text);
  const auto count = static_cast<std::size_t>(new_cube().size());
  const auto expected = test::read_array_slowly(text, count, 'r', kept);
  expect(read_all_ways(file.name(), expected, weights) == expected.has_value());
  read_all_ways("VALUE " + text, {}, weights);
  return 0;
}
