#include "threads/team.h"

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>

#include "arrays/memory_limit.h"
#include "tests/support/little_memory.h"

extern "C" std::size_t kmp_get_stacksize_s();

namespace velko {
namespace {

/// Runs body in a process of its own, whose run-time has no team yet; gives its exit status, or -1 after a signal.
int status_of(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Threads that run a region of the size that team_size gives.
int threads_of_region() {
  std::atomic<int> threads = 0;
#pragma omp parallel num_threads(team_size())
  ++threads;
  return threads;
}

TEST(Team, HasAsManyThreadsAsAreAskedFor) {
  for (const int wanted : {1, 2, 5})
    EXPECT_EQ(status_of([&] {
                omp_set_num_threads(wanted);
                return threads_of_region();
              }),
              wanted);
}

TEST(Team, FollowsTheNumberThatIsAskedForLater) {
  EXPECT_EQ(status_of([] {
              omp_set_num_threads(4);
              if (threads_of_region() != 4) return 1;
              omp_set_num_threads(2);
              if (threads_of_region() != 2) return 2;
              omp_set_num_threads(6);
              return threads_of_region() == 6 ? 0 : 3;
            }),
            0);
}

TEST(Team, OfAThreadOfATeamIsItsOwn) {
  omp_set_num_threads(2);
  int inner = 0;
#pragma omp parallel num_threads(2) reduction(+ : inner)
  inner += threads_of_region();
  EXPECT_EQ(inner, 2);
}

#if !defined(VELKO_SANITIZED)

/// The run-time asks for stacks of 4 MiB each, unless it is told otherwise.
TEST(Team, GetsSmallerStacksWhereTheAddressSpaceIsTight) {
  EXPECT_EQ(status_of([] {
              omp_set_num_threads(8);
              set_worker_stack(i8{64} << 20);
              const test::little_memory limit(i8{200} << 20);
              return threads_of_region();
            }),
            8);
}

TEST(Team, IsSmallerWhereStacksCannotBeHad) {
  const int threads = status_of([] {
    omp_set_num_threads(100);
    const test::little_memory limit(i8{16} << 20);
    return threads_of_region();
  });
  EXPECT_GE(threads, 1);
  EXPECT_LT(threads, 100);
}

#endif

TEST(Team, IsOneThreadWhereNoOtherIsAllowed) {
  constexpr uid_t nobody = 65534;
  EXPECT_EQ(status_of([] {
              omp_set_num_threads(4);
              const rlimit one{1, 1};
              if (setrlimit(RLIMIT_NPROC, &one) != 0) return 100;
              if (geteuid() == 0 && setuid(nobody) != 0) return 101;  // the limit does not bind root
              return threads_of_region();
            }),
            1);
}

TEST(WorkerStack, IsThatWhichIsAskedFor) {
  EXPECT_EQ(status_of([] {
              set_worker_stack(i8{16} << 20);
              return kmp_get_stacksize_s() == std::size_t{16} << 20 ? 0 : 1;
            }),
            0);
}

TEST(WorkerStack, OfTheWholeTeamStaysBelowAQuarterOfTheMachine) {
  for (const int threads : {1, 2, 3, 64})
    EXPECT_EQ(status_of([&] {
                omp_set_num_threads(threads);
                set_worker_stack(i8{1} << 60);
                const i8 stack = static_cast<i8>(kmp_get_stacksize_s()), quarter = memory_limit() / 4;
                const int workers = std::max(threads - 1, 1);
                return stack * workers <= quarter && (stack + 4096) * workers > quarter ? 0 : 1;
              }),
              0)
        << threads;
}

#if !defined(VELKO_SANITIZED)
TEST(WorkerStack, StaysBelowAQuarterOfTheAddressSpace) {
  EXPECT_EQ(status_of([] {
              const rlimit limit{rlim_t{4} << 30, RLIM_INFINITY};
              if (setrlimit(RLIMIT_DATA, &limit) != 0) return 2;
              omp_set_num_threads(2);
              set_worker_stack(i8{1} << 60);
              return kmp_get_stacksize_s() == std::size_t{1} << 30 ? 0 : 1;
            }),
            0);
}
#endif

TEST(WorkerStack, BelowOneByteIsLeftAsItIs) {
  const std::size_t before = kmp_get_stacksize_s();
  set_worker_stack(0);
  set_worker_stack(-16);
  EXPECT_EQ(kmp_get_stacksize_s(), before);
}

}  // namespace
}  // namespace velko
