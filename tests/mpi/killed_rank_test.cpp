#include <sys/stat.h>

#include "tests/end_to_end/survey.h"
#include "tests/mpi/on_ranks.h"

namespace velko::test {
namespace {

/// A rank that is killed, before it starts, while it loads, or later, ends the job: mpirun comes back, within this time.
constexpr int limit_in_seconds = 60;

class KilledRank : public ForwardRun {};

TEST_F(KilledRank, EndsTheJob) {
  // The last rank kills itself after so many milliseconds, wherever it is then.
  folder_.write(
      "run",
      "#!/bin/sh\n[ \"${OMPI_COMM_WORLD_RANK:-$PMI_RANK}\" = 2 ] && { (sleep $1; kill -9 $$) & }\nexec " +
          std::string(VELKRUND_MPI) + " velkosta.mtx loc model.sus\n");
  std::filesystem::remove(folder_.path("velkosta.mtx"));
  ASSERT_EQ(mkfifo(folder_.path("velkosta.mtx").c_str(), 0600),
            0);  // nobody writes there: the run would last for ever
  for (const std::string after : {"0", "0.2", "0.7"}) {
    const program_run run = run_program(
        folder_, "timeout", {std::to_string(limit_in_seconds), MPIEXEC, "-n", "3", "/bin/sh", "run", after},
        on_one_machine + "OMP_NUM_THREADS=1");
    EXPECT_NE(run.status, 124) << after;  // that of timeout
    EXPECT_NE(run.status, 0) << after;
    EXPECT_FALSE(folder_.holds("velkrund.vlk"));
  }
}

}  // namespace
}  // namespace velko::test
