/// The library's own product on a sensitivity file: product_of_file FILE COUNT [MODELS] prints the seconds of each of COUNT
/// products, of a model or of a block of them.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "files/active_cells.h"
#include "library/call.h"
#include "products/model_block.h"
#include "products/products.h"
#include "store/getpar.h"
#include "store/state.h"

namespace {

using namespace velko;

/// Of models that are weighted already, as a program of the suite holds them.
void time_products(const char* file, int count, i8 models) {
  getpar(file);
  get_active_cells("null", mesh.itop);
  survey.ndata = store.ndata_mtx;
  owned_array2<r8> m(cells.ncell, models), d(survey.ndata, models);
  std::fill(m.begin(), m.end(), 0.01);
  block_work work;
  for (int n = 0; n < count; ++n) {
    const auto start = std::chrono::steady_clock::now();
    if (models == 1)
      GPROD(std::as_const(m).elements(), d.elements());
    else
      GPROD_BLOCK(std::as_const(m), d, work);
    std::printf("%.6f\n", std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) return 2;
  problem p;
  call(p, [&] { time_products(argv[1], std::atoi(argv[2]), argc == 4 ? std::atoi(argv[3]) : 1); });
}
