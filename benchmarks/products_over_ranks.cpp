/// products_over_ranks FILE REPEATS: seconds that the products take with the rows spread over ranks, and peak memory.
///
/// A line for each product: ranks, name, median over the repeats of the slowest rank's seconds; and one for the most resident
/// memory of a rank, in MB. benchmarks/scaling_model.py check takes the former.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "files/active_cells.h"
#include "mpi/spread_matrix.h"
#include "reports/program_stop.h"
#include "store/state.h"

using namespace velko;

namespace {

r8 largest(r8 mine) {
  MPI_Allreduce(MPI_IN_PLACE, &mine, 1, MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
  return mine;
}

void measure(const ranks& all, const char* name, int repeats, const std::function<void()>& product) {
  std::vector<r8> seconds;
  product();
  for (int n = 0; n < repeats; ++n) {
    MPI_Barrier(MPI_COMM_WORLD);
    const r8 start = MPI_Wtime();
    product();
    seconds.push_back(largest(MPI_Wtime() - start));
  }
  std::nth_element(seconds.begin(), seconds.begin() + repeats / 2, seconds.end());
  if (all.first())
    std::printf("%d %s %.5f\n", all.size(), name, seconds[static_cast<std::size_t>(repeats / 2)]);
}

void measure_all(const ranks& all, const char* file, int repeats) {
  MPI_Barrier(MPI_COMM_WORLD);
  const r8 start = MPI_Wtime();
  spread_matrix G(all, file);
  const r8 load = largest(MPI_Wtime() - start);
  if (all.first()) std::printf("# %d load %.5f\n", all.size(), load);
  get_active_cells("null", mesh.itop);
  survey.ndata = store.ndata_mtx;
  std::vector<r8> m(static_cast<std::size_t>(cells.ncell), 0.01), y(m.size());
  std::vector<r8> d(static_cast<std::size_t>(survey.ndata), 1.0);
  measure(all, "forward", repeats, [&] { G.forward(m, d); });
  measure(all, "adjoint", repeats, [&] { G.adjoint(y, d); });
  measure(all, "reduction", repeats, [&] { G.adjoint_by_reduction(y, d); });
  measure(all, "normal", repeats, [&] { G.normal(m, y); });
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const r8 most = largest(static_cast<r8>(used.ru_maxrss) / 1000);
  if (all.first()) std::printf("# %d memory of a rank %.0f MB\n", all.size(), most);
}

}  // namespace

int main(int argc, char** argv) {
  const mpi_session mpi(argc, argv);
  const ranks all;
  if (argc != 3) return 2;
  const stop_or_done end =
      run_until_stop([&] { measure_all(all, argv[1], std::max(1, std::atoi(argv[2]))); });
  if (all.first()) write_end(end);
  return 0;
}
