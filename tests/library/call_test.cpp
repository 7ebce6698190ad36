#include "library/call.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <atomic>

#include "arrays/floating_point_mode.h"
#include "reports/reports.h"
#include "tests/support/fresh_problem.h"

namespace velko {
namespace {

class Call : public testing::Test {
 protected:
  Call() { omp_set_num_threads(4); }
  ~Call() override {
    _mm_setcsr(mode_before_);
    omp_set_num_threads(threads_before_);
  }

  /// How many threads of a parallel region have flush-to-zero and denormals-are-zero.
  static int threads_that_flush() {
    std::atomic<int> threads = 0;
#pragma omp parallel
    if ((_mm_getcsr() & flush_to_zero_bits) == flush_to_zero_bits) ++threads;
    return threads;
  }

  test::fresh_problem surroundings_;
  problem p_;

 private:
  unsigned mode_before_ = _mm_getcsr();
  int threads_before_ = omp_get_max_threads();
};

TEST_F(Call, ProblemStandsInThePlaceOfTheSharedStateMeanwhile) {
  store.ncol = 7;
  call(p_, [] { store.ncol = 3; });
  EXPECT_EQ(store.ncol, 7);
  call(p_, [] { EXPECT_EQ(store.ncol, 3); });
}

TEST_F(Call, FlushesDenormalsInAllThreadsAndNoneBehindIt) {
  ASSERT_EQ(threads_that_flush(), 0);
  call(p_, [] { EXPECT_EQ(threads_that_flush(), 4); });
  EXPECT_EQ(threads_that_flush(), 0);
}

TEST_F(Call, FlushModeOfTheCallerIsThereAgainAfterAStop) {
  set_flush_to_zero();
  const unsigned before = _mm_getcsr();
  EXPECT_THROW(call(p_, [] { stop_program("inside"); }), call_failed);
  EXPECT_EQ(_mm_getcsr(), before);
}

TEST_F(Call, RoundingThatTheBodyChoosesStays) {
  _mm_setcsr(_mm_getcsr() & ~flush_to_zero_bits);
  call(p_, [] { _MM_SET_ROUNDING_MODE(_MM_ROUND_UP); });
  EXPECT_EQ(_MM_GET_ROUNDING_MODE(), unsigned{_MM_ROUND_UP});
  EXPECT_EQ(_mm_getcsr() & flush_to_zero_bits, 0U);
}

TEST_F(Call, FailureCarriesTheReasonAndAllWords) {
  const capture said(console()), logged(log_file());
  try {
    call(p_, [] {
      log_file().write_line("counts");
      report_and_stop({"ERROR reading sensitivity file g.mtx"});
    });
    ADD_FAILURE() << "no failure";
  } catch (const call_failed& failure) {
    EXPECT_STREQ(failure.what(), "ERROR reading sensitivity file g.mtx");
    EXPECT_EQ(failure.told.end, (stop_or_done{stop_or_done::stopped, ""}));
    EXPECT_EQ(failure.told.console, "\nERROR reading sensitivity file g.mtx\n");
    EXPECT_EQ(failure.told.log, "counts\n\nERROR reading sensitivity file g.mtx\n");
  }
  EXPECT_EQ(said.text, "");
  EXPECT_EQ(logged.text, "");
}

TEST_F(Call, ChannelsSpeakWhereAsked) {
  const capture said(console());
  call(p_, [] { report("words"); });
  EXPECT_EQ(said.text, "");
  call(
      p_, [] { report("words"); }, capture::passed_on);
  EXPECT_EQ(said.text, "words\n");
}

TEST_F(Call, ProblemInUseIsAFailureToo) {
  call(p_, [&] {
    try {
      call(p_, [] {});
      ADD_FAILURE() << "no failure";
    } catch (const call_failed& failure) {
      EXPECT_STREQ(failure.what(), "the problem is in use");
      EXPECT_EQ(failure.told.end.kind, stop_or_done::stopped);
    }
  });
}

}  // namespace
}  // namespace velko
