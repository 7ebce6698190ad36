#include "reports/program_stop.h"

#include <gtest/gtest.h>

#include <new>
#include <system_error>

#include "arrays/memory.h"
#include "reports/channel.h"

namespace velko {
namespace {

TEST(ProgramStop, BodyThatReturnsIsDone) {
  bool ran = false;
  EXPECT_EQ(run_until_stop([&] { ran = true; }), stop_or_done{});
  EXPECT_TRUE(ran);
}

TEST(ProgramStop, EndsTheBodyAndGivesItsText) {
  bool went_on = false;
  const stop_or_done end = run_until_stop([&] {
    stop_program("size(x) /= # of cells");
    went_on = true;
  });
  EXPECT_EQ(end, (stop_or_done{stop_or_done::stopped, "size(x) /= # of cells"}));
  EXPECT_FALSE(went_on);
}

TEST(ProgramStop, NeedsNoText) {
  EXPECT_EQ(run_until_stop([] { stop_program(); }), (stop_or_done{stop_or_done::stopped, ""}));
}

TEST(ProgramStop, ExhaustedMemoryIsAFailureInOneLine) {
  EXPECT_EQ(run_until_stop([] { throw std::bad_alloc(); }),
            (stop_or_done{stop_or_done::failed, "velko: out of memory"}));
}

TEST(ProgramStop, RefusedArrayIsAFailureThatSaysItsSize) {
  EXPECT_EQ(run_until_stop([] { throw memory_refused(17179869176U); }),
            (stop_or_done{stop_or_done::failed, "velko: out of memory: 17179869176 bytes refused"}));
}

TEST(ProgramStop, RefusalOfTheSystemIsAFailureInOneLine) {
  const stop_or_done end = run_until_stop(
      [] { throw std::system_error(ENOSPC, std::generic_category(), "cannot write velkrund.vlk"); });
  EXPECT_EQ(
      end, (stop_or_done{stop_or_done::failed, "velko: cannot write velkrund.vlk: No space left on device"}));
}

TEST(ProgramStop, TextGoesToTheStandardErrorStreamAlone) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  write_end({stop_or_done::stopped, "problem in gprod"});
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "problem in gprod\n");
}

TEST(ProgramStop, WithoutTextNothingIsWritten) {
  testing::internal::CaptureStderr();
  write_end({stop_or_done::stopped, ""});
  write_end({});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ProgramStop, ConsoleIsOutBeforeTheText) {
  testing::internal::CaptureStdout();
  console().write_line("a report");
  testing::internal::CaptureStderr();
  write_end({stop_or_done::stopped, "a text"});
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "a report\n");
}

}  // namespace
}  // namespace velko
