/// The sensitivity file, and on what loads a whole product: cells, a constant model, G m.
#include <algorithm>
#include <vector>

#include "files/active_cells.h"
#include "files/model_file.h"
#include "fuzz/fuzz_input.h"
#include "products/products.h"
#include "store/getpar.h"

namespace {

using namespace velko;

void expect_rows_to_match_their_header() {
  fuzz::expect(store.compressed == (store.nfilter >= 1));
  for (const sparse_row& row : store.Gs) fuzz::expect(row.val.size() == row.idx.size());
  if (!store.compressed && store.ndata_mtx > 0)
    fuzz::expect(store.Gfull.size() == i8{store.ndata_mtx} * std::max(store.ncol, 0));
}

void form_product() {
  get_active_cells("null", mesh.itop);
  std::vector<r8> model(static_cast<std::size_t>(cells.ncell));
  read_model("VALUE 1.0", "model", model, store.wtz.elements(), mesh.itop);
  survey.ndata = store.ndata_mtx;
  std::vector<r8> data(static_cast<std::size_t>(std::max(survey.ndata, 0)));
  GPROD(model, data);
}

/// Large cubes and long filters take long and tell nothing that small ones don't.
bool is_small() {
  return store.ncube <= 1 << 15 && store.nfilter <= 64;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  const fuzz::named_bytes file(fuzz::input(bytes, n).rest());
  reset_state();
  if (!fuzz::comes_back([&] { getpar(file.name()); })) return 0;
  expect_rows_to_match_their_header();
  if (is_small()) fuzz::comes_back(form_product);
  return 0;
}
