/// The model file on small meshes with some surface, with and without weights, and the constant form: two readers, one
/// rule.
#include <vector>

#include "files/active_cells.h"
#include "files/model_file.h"
#include "fuzz/fuzz_input.h"
#include "tests/support/slow_files.h"

namespace {

using namespace velko;
using fuzz::expect;

/// The grid has a value for every cell of the mesh, in model order.
void expect_model(const std::vector<r8>& model, const std::vector<r8>& grid) {
  const i4* position = cells.cell_map.data();
  for (const r8 value : grid) {
    if (*position > 0) expect(test::same_value(model[static_cast<std::size_t>(*position - 1)], value));
    ++position;
  }
}

/// Whether the model could be read without weights.
bool read_into_model(const std::string& name, std::size_t weights, std::vector<r8>& model) {
  const std::vector<r8> wtz(weights, 0.5);
  fuzz::comes_back([&] { read_model(name, "model", model, std::span<const r8>(wtz), mesh.itop); });
  return fuzz::comes_back([&] { read_model(name, "model", model, {}, mesh.itop); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, n);
  reset_state();
  fuzz::set_mesh(in);
  if (!fuzz::comes_back([] { get_active_cells("null", mesh.itop); })) return 0;
  const std::size_t weights =
      in.below(2) == 0 ? static_cast<std::size_t>(cells.nbelow) : static_cast<std::size_t>(in.below(64));
  const std::string text(in.rest());
  const fuzz::named_bytes file(text);
  const auto expected = test::read_model_slowly(text, static_cast<std::size_t>(cells.ntotal));
  std::vector<r8> model(static_cast<std::size_t>(cells.ncell));
  expect(read_into_model(file.name(), weights, model) == expected.has_value());
  if (expected) expect_model(model, *expected);
  read_into_model("VALUE " + text, weights, model);
  return 0;
}
