#include "reports/told_end.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "reports/reports.h"

namespace velko {
namespace {

TEST(ToldEnd, HoldsTheEndAndAllThatWasSaid) {
  const told_end told = run_and_tell([] {
    report("to both");
    console().write_line("to the console");
    log_file().write_line("to the log");
    stop_program("size(x) /= # of cells");
  });
  EXPECT_EQ(told.end, (stop_or_done{stop_or_done::stopped, "size(x) /= # of cells"}));
  EXPECT_EQ(told.console, "to both\nto the console\n");
  EXPECT_EQ(told.log, "to both\nto the log\n");
  EXPECT_EQ(told.reason(), "size(x) /= # of cells");
}

TEST(ToldEnd, ReasonOfAStopWithoutTextIsTheLastReport) {
  const told_end told = run_and_tell([] {
    report("");
    report("WARNING: no compression is used for the sensitivity matrix.");
    report("");
    report_and_stop({"ERROR: values in the active cell file should be -1, 0 or 1.", "act.txt"});
  });
  EXPECT_EQ(told.reason(), "ERROR: values in the active cell file should be -1, 0 or 1. act.txt");
  EXPECT_EQ(run_and_tell([] { report_allocation_error("gprod"); }).reason(),
            "Memory allocation error in: gprod");
  EXPECT_EQ(run_and_tell([] { report_file_not_found("model", "m.sus "); }).reason(),
            "ERROR: model file not found: m.sus");
}

TEST(ToldEnd, ReasonOfAFailureIsItsText) {
  EXPECT_EQ(run_and_tell([] { throw std::runtime_error("no disk"); }).reason(), "velko: no disk");
}

TEST(ToldEnd, EndWithoutAWordHasNoReason) {
  EXPECT_EQ(run_and_tell([] {}).reason(), "");
  EXPECT_EQ(run_and_tell([] { stop_program(); }).reason(), "");
}

TEST(ToldEnd, WordsAreKeptFromTheChannelsOrPassedOn) {
  const capture outer(console());
  run_and_tell([] { console().write_line("kept"); });
  EXPECT_EQ(outer.text, "");
  const told_end told = run_and_tell([] { console().write_line("passed on"); }, capture::passed_on);
  EXPECT_EQ(told.console, "passed on\n");
  EXPECT_EQ(outer.text, "passed on\n");
  console().write_line("behind");
  EXPECT_EQ(outer.text, "passed on\nbehind\n");
}

}  // namespace
}  // namespace velko
