#include "store/problem.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <atomic>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "reports/program_stop.h"
#include "tests/support/fresh_problem.h"

namespace velko {
namespace {

class Problem : public testing::Test {
 protected:
  static stop_or_done stop(const std::string& text) { return {stop_or_done::stopped, text}; }
  static stop_or_done opening(problem& p) {
    return run_until_stop([&] { const problem_scope scope(p); });
  }

  test::fresh_problem surroundings_;
  problem p_, q_;
};

/// One number in each part of the shared state.
void mark(i4 number) {
  mesh.itop = owned_array2<i4>(1, number);
  store.ncol = number;
  store.file_name = std::string(static_cast<std::size_t>(number), 'x');
  store.Gs_memory.take(number);
  survey.incl = number;
  survey.xobs = owned_array1<r8>(number);
  cells.cell_map = owned_array3<i4>(1, 1, number);
  run.amodel = owned_array1<r8>(number);
  const std::vector<r8> filter(static_cast<std::size_t>(number), 0.5);
  SET_WTN_FILTER(filter, number);
}

void expect_mark(i4 number) {
  EXPECT_EQ(mesh.itop.size(), number);
  EXPECT_EQ(store.ncol, number);
  EXPECT_EQ(store.file_name.size(), static_cast<std::size_t>(number));
  EXPECT_EQ(survey.incl, number);
  EXPECT_EQ(survey.xobs.size(), number);
  EXPECT_EQ(cells.cell_map.size(), number);
  EXPECT_EQ(run.amodel.size(), number);
  EXPECT_EQ(wavelet.filter_len, number);
  EXPECT_EQ(wavelet.lo_filter.size(), number);
}

TEST_F(Problem, NewOneIsEmpty) {
  mark(7);
  const problem_scope scope(p_);
  expect_mark(0);
}

TEST_F(Problem, StandsInThePlaceOfAllSharedStateWhileItsScopeIsOpen) {
  mark(7);
  for (i4 turn = 0; turn < 3; ++turn) {
    {
      const problem_scope scope(p_);
      expect_mark(turn == 0 ? 0 : 3);
      mark(3);
    }
    {
      const problem_scope scope(q_);
      expect_mark(turn == 0 ? 0 : 40);
      mark(40);
    }
    expect_mark(7);
  }
}

TEST_F(Problem, ScopesMayStandInsideOneAnother) {
  const problem_scope outer(p_);
  mark(3);
  {
    const problem_scope inner(q_);
    mark(40);
  }
  expect_mark(3);
}

TEST_F(Problem, ElementsStayWhereTheyAre) {
  std::span<r8> seen;
  {
    const problem_scope scope(p_);
    mark(3);
    seen = survey.xobs.elements();
    seen[1] = 5;
  }
  EXPECT_EQ(seen[1], 5);
  const problem_scope scope(p_);
  EXPECT_EQ(survey.xobs.data(), seen.data());
}

TEST_F(Problem, ScopeOfAProblemInUseStops) {
  const problem_scope scope(p_);
  mark(3);
  EXPECT_EQ(opening(p_), stop("the problem is in use"));
  expect_mark(3);
  const problem_scope another(q_);
  EXPECT_EQ(opening(p_), stop("the problem is in use"));
}

TEST_F(Problem, ScopeOfAProblemInUseStopsInAnotherThreadToo) {
  const problem_scope scope(p_);
  stop_or_done end;
  std::thread([&] { end = opening(p_); }).join();
  EXPECT_EQ(end, stop("the problem is in use"));
}

/// It could wait for ever: for the scope of the thread that waits for its team.
TEST_F(Problem, ScopeInsideAParallelRegionStops) {
  const problem_scope outer(p_);
  mark(3);
  std::array<problem, 2> of_threads;
  std::array<stop_or_done, 2> ends;
  int team = 0;
#pragma omp parallel num_threads(2)
  {
    const auto thread = static_cast<std::size_t>(omp_get_thread_num());
    ends[thread] = opening(of_threads[thread]);
#pragma omp single
    team = omp_get_num_threads();
  }
  ASSERT_EQ(team, 2);
  for (const stop_or_done& end : ends)
    EXPECT_EQ(end, stop("a problem can't be put in place inside a parallel region"));
  expect_mark(3);
  const problem_scope behind_it(of_threads[0]);
  expect_mark(0);
}

TEST_F(Problem, StopInsideAScopeLeavesTheProblemForTheNext) {
  EXPECT_EQ(run_until_stop([&] {
              const problem_scope scope(p_);
              mark(3);
              stop_program("inside");
            }),
            stop("inside"));
  expect_mark(0);
  const problem_scope scope(p_);
  expect_mark(3);
}

TEST_F(Problem, MovedProblemIsTheSameAlsoWhileInUse) {
  problem moved;
  {
    const problem_scope scope(p_);
    mark(3);
    moved = std::move(p_);
    EXPECT_EQ(opening(moved), stop("the problem is in use"));
  }
  EXPECT_EQ(opening(p_), stop("the problem was moved away"));
  const problem_scope scope(moved);
  expect_mark(3);
}

TEST_F(Problem, EndOfAProblemInUseWaitsForItsScope) {
  std::optional<problem> short_lived(problem{});
  {
    const problem_scope scope(*short_lived);
    short_lived.reset();
    mark(3);
  }
  expect_mark(0);
}

TEST(Problems, OfDifferentThreadsTakeTurns) {
  constexpr i4 turns = 200;
  std::atomic<i4> right = 0;
  const auto count = [&](i4 step) {
    problem p;
    for (i4 turn = 1; turn <= turns; ++turn) {
      const problem_scope scope(p);
      store.ncol += step;
      std::this_thread::yield();
      if (store.ncol == turn * step) ++right;
    }
  };
  std::vector<std::thread> threads;
  for (const i4 step : {1, 10, 100}) threads.emplace_back(count, step);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 3 * turns);
}

}  // namespace
}  // namespace velko
