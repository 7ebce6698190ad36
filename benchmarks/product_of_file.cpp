/// The library's own product on a sensitivity file: product_of_file FILE COUNT prints the seconds of each of COUNT products.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "files/active_cells.h"
#include "library/call.h"
#include "products/products.h"
#include "store/getpar.h"
#include "store/state.h"

namespace {

using namespace velko;

/// Of a model that is weighted already, as a program of the suite holds it.
void time_products(const char* file, int count) {
  getpar(file);
  get_active_cells("null", mesh.itop);
  survey.ndata = store.ndata_mtx;
  const std::vector<r8> m(static_cast<std::size_t>(cells.ncell), 0.01);
  std::vector<r8> d(static_cast<std::size_t>(survey.ndata));
  for (int n = 0; n < count; ++n) {
    const auto start = std::chrono::steady_clock::now();
    GPROD(m, d);
    std::printf("%.6f\n", std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  problem p;
  call(p, [&] { time_products(argv[1], std::atoi(argv[2])); });
}
