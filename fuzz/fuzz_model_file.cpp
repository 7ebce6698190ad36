/// The model file on small meshes with some surface, with and without weights, and the constant form.
#include <vector>

#include "files/active_cells.h"
#include "files/model_file.h"
#include "fuzz/fuzz_input.h"

namespace {

using namespace velko;

void read_into_model(const std::string& name, std::size_t weights) {
  std::vector<r8> model(static_cast<std::size_t>(cells.ncell));
  const std::vector<r8> wtz(weights, 0.5);
  fuzz::comes_back([&] { read_model(name, "model", model, std::span<const r8>(wtz), mesh.itop); });
  fuzz::comes_back([&] { read_model(name, "model", model, {}, mesh.itop); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, n);
  reset_state();
  fuzz::set_mesh(in);
  if (!fuzz::comes_back([] { get_active_cells("null", mesh.itop); })) return 0;
  const std::size_t weights =
      in.below(2) == 0 ? static_cast<std::size_t>(cells.nbelow) : static_cast<std::size_t>(in.below(64));
  const fuzz::named_bytes file(in.rest());
  read_into_model(file.name(), weights);
  read_into_model("VALUE " + std::string(in.rest()), weights);
  return 0;
}
