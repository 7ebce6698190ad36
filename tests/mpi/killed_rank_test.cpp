#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <thread>

#include "tests/end_to_end/survey.h"
#include "tests/mpi/on_ranks.h"

namespace velko::test {
namespace {

// mpiexec comes back within so many seconds, or `timeout` ends it with a status of its own.
// Behind that it is killed: now and then Open MPI's own stays in PMIx with all ranks gone, and heeds no other signal.
constexpr int limit = 30, ended_by_timeout = 124;

double seconds_of(const std::function<void()>& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// How many signals are tried; VELKO_KILLS asks for more.
int signals_to_try() {
  const char* const asked = std::getenv("VELKO_KILLS");
  return asked != nullptr ? std::atoi(asked) : 6;
}

class KilledRank : public ForwardRun {
 protected:
  /// One of three ranks is killed after so many seconds, wherever it is then.
  program_run kill(int rank, double after, const std::string& program,
                   const std::vector<std::string>& arguments) {
    folder_.write("run", "[ " + rank_in_shell + " = " + std::to_string(rank) + " ] && { (sleep " +
                             std::to_string(after) + "; kill -9 $$) >/dev/null 2>&1 & }\nexec " + program +
                             " \"$@\"\n");
    std::vector<std::string> words{"-k", "5", std::to_string(limit), MPIEXEC, "-n", "3", "/bin/sh", "run"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_program(folder_, "timeout", words, on_one_machine + "OMP_NUM_THREADS=1");
  }

  /// Signals at random moments of a run, and a little behind it. Each run ends, and leaves `result` whole or not at all.
  void kill_at_random(const std::string& program, const std::vector<std::string>& arguments,
                      const std::string& result) {
    double whole = 1e9;  // the least of three: the machine may be busy
    for (int n = 0; n < 3; ++n)
      whole = std::min(whole, seconds_of([&] { run_on_ranks(folder_, 3, program, arguments); }));
    const std::string wanted = folder_.read(result);
    std::mt19937 generator(std::random_device{}());
    std::uniform_real_distribution<double> moment(0, 1.2 * whole);
    int ended = 0;
    for (int n = 0; n < signals_to_try(); ++n) {
      std::filesystem::remove(folder_.path(result));
      const double after = moment(generator);
      const program_run run = kill(static_cast<int>(generator() % 3), after, program, arguments);
      ASSERT_NE(run.status, ended_by_timeout) << "killed after " << after << " s";
      if (run.status != 0) ++ended;
      if (run.status == 0 || folder_.holds(result)) {
        EXPECT_TRUE(folder_.read(result) == wanted) << "killed after " << after << " s";
      }
    }
    std::printf("%d signals: %d ended the job, %d came behind it\n", signals_to_try(), ended,
                signals_to_try() - ended);
  }

  /// Processes whose working directory is the folder.
  int at_work_in_folder() const {
    int found = 0;
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
      std::error_code gone_or_no_process;
      found +=
          std::filesystem::read_symlink(process.path() / "cwd", gone_or_no_process) == folder_.path() ? 1 : 0;
    }
    return found;
  }
  void expect_nobody_at_work() const {
    for (int tenths = 0; tenths < 100 && at_work_in_folder() > 0; ++tenths)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(at_work_in_folder(), 0);
  }
};

TEST_F(KilledRank, EndsAJobThatWouldLastForEver) {
  std::filesystem::remove(folder_.path("loc"));
  ASSERT_EQ(mkfifo(folder_.path("loc").c_str(), 0600), 0);  // nobody writes there
  for (const int rank : {0, 2}) {
    const program_run run = kill(rank, 0.7, VELKRUND_MPI, {"velkosta.mtx", "loc", "model.sus"});
    EXPECT_NE(run.status, ended_by_timeout);
    EXPECT_NE(run.status, 0);
    EXPECT_FALSE(folder_.holds("velkrund.vlk"));
  }
}

TEST_F(KilledRank, EndsTheForwardRunAtAnyMoment) {
  kill_at_random(VELKRUND_MPI, {"velkosta.mtx", "loc", "model.sus"}, "velkrund.vlk");
}

TEST_F(KilledRank, EndsTheMakingOfAMatrixAtAnyMoment) {
  folder_.write("mesh", "8 8 8\n0 0 0\n8*20\n8*20\n8*10\n");
  folder_.write("loc", locations(40));
  kill_at_random(VELKMTX_MPI, {"make", "mesh", "null", "loc", "made", "--allow-buried"}, "made");
  expect_nobody_at_work();
}

}  // namespace
}  // namespace velko::test
