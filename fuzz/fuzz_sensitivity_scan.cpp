/// The sensitivity file as velkmtx looks at it: a file without faults is one that loads and that a product works on.
#include <vector>

#include "builder/sensitivity_scan.h"
#include "files/active_cells.h"
#include "files/model_file.h"
#include "fuzz/fuzz_input.h"
#include "products/products.h"
#include "store/getpar.h"

namespace {

using namespace velko;

void load_and_form_product(const std::string& file) {
  reset_state();
  getpar(file);
  get_active_cells("null", mesh.itop);
  std::vector<r8> model(static_cast<std::size_t>(cells.ncell));
  read_model("VALUE 1.0", "model", model, store.wtz.elements(), mesh.itop);
  survey.ndata = store.ndata_mtx;
  std::vector<r8> data(static_cast<std::size_t>(survey.ndata));
  GPROD(model, data);
}

/// Large cubes and long filters take long and tell nothing that small ones don't.
bool is_small(const sensitivity_contents& c) {
  return r8{1} * c.cube.y * c.cube.x * c.cube.z <= 1 << 15 && c.nfilter <= 64;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  const fuzz::named_bytes file(fuzz::input(bytes, n).rest());
  sensitivity_contents contents;
  if (!fuzz::comes_back([&] { contents = scan_sensitivity_file(file.name()); })) return 0;
  fuzz::expect(contents.complete || !contents.faults.empty());
  if (contents.faults.empty() && contents.cells_below > 0 && is_small(contents))
    fuzz::expect(fuzz::comes_back([&] { load_and_form_product(file.name()); }));
  return 0;
}
