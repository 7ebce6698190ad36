/// velkrund-mpi: velkrund on the ranks of an MPI job.
///
/// Use      mpirun velkrund-mpi velkosta.mtx locf model.sus
/// Exit status  0 always, as velkrund; that of mpirun tells of a rank that died
#include <string_view>
#include <vector>

#include "arrays/floating_point_mode.h"
#include "mpi/forward_run_on_ranks.h"
#include "programs/run_time.h"
#include "programs/standard_streams.h"
#include "reports/program_stop.h"

int main(int argc, char** argv) {
  velko::prepare_standard_streams();
  velko::prepare_run_time();
  const velko::mpi_session mpi(argc, argv);
  velko::set_flush_to_zero();
  const velko::ranks all;
  const std::vector<std::string_view> words(argv, argv + argc);
  const std::span arguments = std::span(words).subspan(words.empty() ? 0 : 1);
  const velko::stop_or_done end = velko::run_until_stop([&] { velko::velkrund(all, arguments); });
  if (all.first()) velko::write_end(end);
  return 0;
}
